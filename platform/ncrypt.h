// Key storage (the "Ncrypt.dll" part of the seam): the three entries of the CNG service table.
// On Windows they come from <ncrypt.h>. This platform has no key storage provider, so no
// NCrypt handle can exist: every handle passed in is answered with NTE_INVALID_HANDLE, which is
// what the system answers for a handle that no provider issued.
#pragma once

#include "platform/wintypes.h"

#if defined(_WIN32)

#include <ncrypt.h>

#else

typedef ULONG_PTR NCRYPT_HANDLE;
typedef ULONG_PTR NCRYPT_PROV_HANDLE;
typedef ULONG_PTR NCRYPT_KEY_HANDLE;

struct _BCryptBufferDesc;
typedef struct _BCryptBufferDesc NCryptBufferDesc;

#define NTE_INVALID_HANDLE ((SECURITY_STATUS)0x80090026L)
#define NTE_INVALID_PARAMETER ((SECURITY_STATUS)0x80090027L)
#define NTE_NOT_SUPPORTED ((SECURITY_STATUS)0x80090029L)

extern "C" {

// Exports a key held by a key storage provider. Here: NTE_INVALID_HANDLE for every hKey.
SECURITY_STATUS WINAPI NCryptExportKey(NCRYPT_KEY_HANDLE hKey, NCRYPT_KEY_HANDLE hExportKey, LPCWSTR pszBlobType,
                                       NCryptBufferDesc* pParameterList, PBYTE pbOutput, DWORD cbOutput,
                                       DWORD* pcbResult, DWORD dwFlags);

// Releases a key storage object. Here: NTE_INVALID_HANDLE for every handle.
SECURITY_STATUS WINAPI NCryptFreeObject(NCRYPT_HANDLE hObject);

// Sets a property of a key storage object. Here: NTE_INVALID_HANDLE for every handle.
SECURITY_STATUS WINAPI NCryptSetProperty(NCRYPT_HANDLE hObject, LPCWSTR pszProperty, PBYTE pbInput, DWORD cbInput,
                                         DWORD dwFlags);

}  // extern "C"

#endif  // _WIN32
