// Data protection (crypt32) subset of the seam: CryptProtectData and CryptUnprotectData with the
// published structures and flags, LocalFree for what they hand out, and the administration the
// service needs where this library provides it itself. On Windows the published part comes from
// <dpapi.h> and <windows.h>.
//
// Conventions: the functions return TRUE or FALSE; on FALSE the reason is in GetLastError and
// nothing was handed out (the output blob and the description pointer are left as they were).
// What they hand out is released by the caller with LocalFree.
//
// On Linux the service is this library's own (platform/openssl/dpapi.md has the design): data is
// sealed with AES-256-GCM under a key derived (HKDF-SHA256) from a 256-bit secret of the scope, a
// per-blob random salt and the caller's entropy; the user's secret lives in the user's private
// directory, the machine's in a fixed system location an administrator creates once. Codes in
// GetLastError:
//   ERROR_INVALID_PARAMETER  a null pDataIn, pDataOut or pbData (also for empty data), a
//                            reserved pointer that is not null, a flag outside those below, a
//                            prompt structure of the wrong size, a description with no UTF-8
//                            form (an unpaired surrogate), or data too long for a blob;
//   ERROR_INVALID_DATA       a blob that does not open: not one of this service's, a version
//                            or scope it does not know, any change to its bytes, a wrong or
//                            missing entropy, another user's or another machine's blob;
//   ERROR_FILE_NOT_FOUND     CryptProtectData only: the machine's secret does not exist (an
//                            administrator has not created it yet), or the user has no home
//                            directory (CryptUnprotectData finds no blob of a scope without a
//                            secret: ERROR_INVALID_DATA);
//   NTE_BAD_KEY_STATE        the scope's secret exists but is refused: not a regular file of the
//                            right size, another owner, or a mode that lets others read it (the
//                            user's) or write it (either); likewise its directory;
//   ERROR_ACCESS_DENIED      the file system refuses to let the secret or its directory be read
//                            or created;
//   ERROR_PASSWORD_RESTRICTION  a prompt is asked for with CRYPTPROTECT_UI_FORBIDDEN;
//   ERROR_NOT_SUPPORTED      a prompt is asked for without it (this service shows none);
//   ERROR_NOT_ENOUGH_MEMORY  the output could not be allocated;
//   NTE_FAIL                 the cryptographic provider or the file system failed otherwise.
#pragma once

#include <string>

#include "platform/certificates.h"
#include "platform/wincrypt.h"
#include "platform/wintypes.h"

#if defined(_WIN32)

#include <windows.h>

#include <dpapi.h>

ZT_SEAM_WRAPPER(BOOL, CryptProtectData,
                (DATA_BLOB * pDataIn, LPCWSTR szDataDescr, DATA_BLOB* pOptionalEntropy, PVOID pvReserved,
                 CRYPTPROTECT_PROMPTSTRUCT* pPromptStruct, DWORD dwFlags, DATA_BLOB* pDataOut))
ZT_SEAM_WRAPPER(BOOL, CryptUnprotectData,
                (DATA_BLOB * pDataIn, LPWSTR* ppszDataDescr, DATA_BLOB* pOptionalEntropy, PVOID pvReserved,
                 CRYPTPROTECT_PROMPTSTRUCT* pPromptStruct, DWORD dwFlags, DATA_BLOB* pDataOut))
ZT_SEAM_WRAPPER(HLOCAL, LocalFree, (HLOCAL hMem))
#define CryptProtectData ZT_Seam_CryptProtectData
#define CryptUnprotectData ZT_Seam_CryptUnprotectData
#define LocalFree ZT_Seam_LocalFree

#else

typedef void* HLOCAL;

// dwFlags of CryptProtectData and CryptUnprotectData.
#define CRYPTPROTECT_UI_FORBIDDEN 0x1
#define CRYPTPROTECT_LOCAL_MACHINE 0x4
#define CRYPTPROTECT_CRED_SYNC 0x8
#define CRYPTPROTECT_AUDIT 0x10
#define CRYPTPROTECT_NO_RECOVERY 0x20
#define CRYPTPROTECT_VERIFY_PROTECTION 0x40
#define CRYPTPROTECT_CRED_REGENERATE 0x80

// CRYPTPROTECT_PROMPTSTRUCT::dwPromptFlags.
#define CRYPTPROTECT_PROMPT_ON_UNPROTECT 0x1
#define CRYPTPROTECT_PROMPT_ON_PROTECT 0x2
#define CRYPTPROTECT_PROMPT_RESERVED 0x4
#define CRYPTPROTECT_PROMPT_STRONG 0x8
#define CRYPTPROTECT_PROMPT_REQUIRE_STRONG 0x10

typedef void* HWND;

typedef struct _CRYPTPROTECT_PROMPTSTRUCT {
  DWORD cbSize;  // sizeof(CRYPTPROTECT_PROMPTSTRUCT)
  DWORD dwPromptFlags;
  HWND hwndApp;
  LPCWSTR szPrompt;
} CRYPTPROTECT_PROMPTSTRUCT, *PCRYPTPROTECT_PROMPTSTRUCT;

extern "C" {

// Seals pDataIn into a new blob in *pDataOut, bound to the current user, or to this machine with
// CRYPTPROTECT_LOCAL_MACHINE. szDataDescr (may be null: none) is sealed with the data and given
// back by CryptUnprotectData. pOptionalEntropy (may be null; an empty one is the same as none)
// must be given again to unprotect. pvReserved must be null. pPromptStruct may be null; one that
// asks for no prompt is accepted. Flags: CRYPTPROTECT_UI_FORBIDDEN, CRYPTPROTECT_LOCAL_MACHINE,
// CRYPTPROTECT_AUDIT and CRYPTPROTECT_NO_RECOVERY (the last two change nothing here). The user's
// secret is created on first use. pDataOut->pbData is released with LocalFree.
BOOL WINAPI CryptProtectData(DATA_BLOB* pDataIn, LPCWSTR szDataDescr, DATA_BLOB* pOptionalEntropy, PVOID pvReserved,
                             CRYPTPROTECT_PROMPTSTRUCT* pPromptStruct, DWORD dwFlags, DATA_BLOB* pDataOut);

// Opens a blob of CryptProtectData into *pDataOut (its pbData released with LocalFree), and,
// when ppszDataDescr is not null, its description into *ppszDataDescr (an empty text when it has
// none; released with LocalFree). The blob names its scope: CRYPTPROTECT_LOCAL_MACHINE is
// accepted and changes nothing. Flags: CRYPTPROTECT_UI_FORBIDDEN, CRYPTPROTECT_LOCAL_MACHINE and
// CRYPTPROTECT_VERIFY_PROTECTION (every blob has the current protection). The entropy must be
// the one given to CryptProtectData. No secret is created.
BOOL WINAPI CryptUnprotectData(DATA_BLOB* pDataIn, LPWSTR* ppszDataDescr, DATA_BLOB* pOptionalEntropy,
                               PVOID pvReserved, CRYPTPROTECT_PROMPTSTRUCT* pPromptStruct, DWORD dwFlags,
                               DATA_BLOB* pDataOut);

// Releases memory handed out by the functions above: the block is wiped first. Returns null; a
// pointer that names no such block is returned as it is, with ERROR_INVALID_HANDLE. Null is
// accepted and returns null.
HLOCAL WINAPI LocalFree(HLOCAL hMem);

}  // extern "C"

#endif  // _WIN32

// The administration of the service, which Windows does not need (its data protection always
// has a machine key); each platform implements it, Windows trivially.
namespace ZT::Platform {

// Where this machine's data-protection secret lives (on Linux /var/lib/ztcrypto/machine.secret).
std::wstring MachineProtectionSecretPath();

// TRUE when this machine's secret exists and would be accepted; otherwise FALSE, with the code
// CryptProtectData would give for it in GetLastError (ERROR_FILE_NOT_FOUND, NTE_BAD_KEY_STATE,
// ERROR_ACCESS_DENIED, ...).
BOOL CheckMachineProtectionSecret();

// Creates this machine's secret once (its directory 0755 and the file 0644, owned by the
// administrator who runs it; atomically, so that concurrent calls make one secret). TRUE when it
// was created, or when it exists already and is accepted (GetLastError is then
// ERROR_ALREADY_EXISTS); FALSE with the reason (ERROR_ACCESS_DENIED without the rights,
// NTE_BAD_KEY_STATE when a refused secret or directory is in the way).
BOOL CreateMachineProtectionSecret();

}  // namespace ZT::Platform
