// Key storage (the "Ncrypt.dll" part of the seam): the three entries of the CNG service table,
// and the calls that put a private key into a key storage object and take it out again, as the
// PKCS #12 store pairs keys with certificates (platform/certificates.h). On Windows they come
// from <ncrypt.h>.
//
// This platform keeps no keys on disk: its one key storage provider, MS_KEY_STORAGE_PROVIDER,
// holds ephemeral keys only (unnamed, gone when their handle is freed). Handles that no call
// here issued, or that were freed, are answered with NTE_INVALID_HANDLE before any other
// argument is looked at, as the system answers a handle no provider issued.
#pragma once

#include "platform/wincrypt.h"
#include "platform/wintypes.h"

#if defined(_WIN32)

#include <ncrypt.h>

// The calls the PKCS #12 store makes directly (the CNG service table looks up the others).
ZT_SEAM_WRAPPER(SECURITY_STATUS, NCryptOpenStorageProvider,
                (NCRYPT_PROV_HANDLE * phProvider, LPCWSTR pszProviderName, DWORD dwFlags))
ZT_SEAM_WRAPPER(SECURITY_STATUS, NCryptImportKey,
                (NCRYPT_PROV_HANDLE hProvider, NCRYPT_KEY_HANDLE hImportKey, LPCWSTR pszBlobType,
                 NCryptBufferDesc* pParameterList, NCRYPT_KEY_HANDLE* phKey, PBYTE pbData, DWORD cbData,
                 DWORD dwFlags))
ZT_SEAM_WRAPPER(SECURITY_STATUS, NCryptFinalizeKey, (NCRYPT_KEY_HANDLE hKey, DWORD dwFlags))
#define NCryptOpenStorageProvider ZT_Seam_NCryptOpenStorageProvider
#define NCryptImportKey ZT_Seam_NCryptImportKey
#define NCryptFinalizeKey ZT_Seam_NCryptFinalizeKey

#else

typedef ULONG_PTR NCRYPT_HANDLE;
typedef ULONG_PTR NCRYPT_PROV_HANDLE;
typedef ULONG_PTR NCRYPT_KEY_HANDLE;

struct _BCryptBufferDesc;
typedef struct _BCryptBufferDesc NCryptBufferDesc;

#define NTE_PERM ((SECURITY_STATUS)0x80090010L)
#define NTE_INVALID_HANDLE ((SECURITY_STATUS)0x80090026L)
#define NTE_INVALID_PARAMETER ((SECURITY_STATUS)0x80090027L)
#define NTE_BUFFER_TOO_SMALL ((SECURITY_STATUS)0x80090028L)
#define NTE_NOT_SUPPORTED ((SECURITY_STATUS)0x80090029L)

#define MS_KEY_STORAGE_PROVIDER L"Microsoft Software Key Storage Provider"

// Key blob types: the CryptoAPI PRIVATEKEYBLOB of an RSA key ("RSA2", numbers little-endian).
#define LEGACY_RSAPRIVATE_BLOB L"CAPIPRIVATEBLOB"

#define NCRYPT_SILENT_FLAG 0x00000040
#define NCRYPT_DO_NOT_FINALIZE_FLAG 0x00000400

// The export policy property (a DWORD) and its flags.
#define NCRYPT_EXPORT_POLICY_PROPERTY L"Export Policy"
#define NCRYPT_ALLOW_EXPORT_FLAG 0x00000001
#define NCRYPT_ALLOW_PLAINTEXT_EXPORT_FLAG 0x00000002

extern "C" {

// Opens the key storage provider pszProviderName (MS_KEY_STORAGE_PROVIDER, or null for it);
// another name: NTE_INVALID_PARAMETER. Freed by NCryptFreeObject.
SECURITY_STATUS WINAPI NCryptOpenStorageProvider(NCRYPT_PROV_HANDLE* phProvider, LPCWSTR pszProviderName,
                                                 DWORD dwFlags);

// Imports a private key of blob type LEGACY_RSAPRIVATE_BLOB as a new ephemeral key of the
// provider (hImportKey 0, no parameters). Without NCRYPT_DO_NOT_FINALIZE_FLAG the key is
// finalized at once with an export policy of 0 (not exportable); with it, its properties may be
// set before NCryptFinalizeKey. A blob that is not an RSA private key: NTE_BAD_DATA; another
// blob type: NTE_NOT_SUPPORTED. Freed by NCryptFreeObject.
SECURITY_STATUS WINAPI NCryptImportKey(NCRYPT_PROV_HANDLE hProvider, NCRYPT_KEY_HANDLE hImportKey,
                                       LPCWSTR pszBlobType, NCryptBufferDesc* pParameterList, NCRYPT_KEY_HANDLE* phKey,
                                       PBYTE pbData, DWORD cbData, DWORD dwFlags);

// Completes a key imported with NCRYPT_DO_NOT_FINALIZE_FLAG; a finalized key: NTE_BAD_KEY_STATE.
SECURITY_STATUS WINAPI NCryptFinalizeKey(NCRYPT_KEY_HANDLE hKey, DWORD dwFlags);

// Exports a finalized key (NTE_BAD_KEY_STATE before) as LEGACY_RSAPRIVATE_BLOB, which needs the
// export policy NCRYPT_ALLOW_PLAINTEXT_EXPORT_FLAG (else NTE_NOT_SUPPORTED, as for a key that is
// not RSA or another blob type); an RSA key the blob cannot hold (a public exponent wider than 32
// bits, a prime longer than half the modulus) fails with NTE_BAD_KEY. hExportKey 0, no
// parameters. A null pbOutput stores the size
// in *pcbResult; a shorter cbOutput gives NTE_BUFFER_TOO_SMALL with the size.
SECURITY_STATUS WINAPI NCryptExportKey(NCRYPT_KEY_HANDLE hKey, NCRYPT_KEY_HANDLE hExportKey, LPCWSTR pszBlobType,
                                       NCryptBufferDesc* pParameterList, PBYTE pbOutput, DWORD cbOutput,
                                       DWORD* pcbResult, DWORD dwFlags);

// Frees a provider or a key (the key's material is wiped).
SECURITY_STATUS WINAPI NCryptFreeObject(NCRYPT_HANDLE hObject);

// Sets NCRYPT_EXPORT_POLICY_PROPERTY (a DWORD of the flags above) of a key not yet finalized
// (afterwards: NTE_PERM); another property or a provider handle: NTE_NOT_SUPPORTED; a value that
// is not 4 bytes: NTE_INVALID_PARAMETER.
SECURITY_STATUS WINAPI NCryptSetProperty(NCRYPT_HANDLE hObject, LPCWSTR pszProperty, PBYTE pbInput, DWORD cbInput,
                                         DWORD dwFlags);

}  // extern "C"

#endif  // _WIN32
