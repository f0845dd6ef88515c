// The key storage entries. No key storage provider exists here and no NCrypt function issues
// handles, so whatever handle comes in was issued by no provider: the system's answer to such a
// handle is NTE_INVALID_HANDLE, checked before any other argument as the system does.

#include "platform/ncrypt.h"
#include "platform/openssl/callfailures.h"

extern "C" {

SECURITY_STATUS WINAPI NCryptExportKey(NCRYPT_KEY_HANDLE, NCRYPT_KEY_HANDLE, LPCWSTR, NCryptBufferDesc*, PBYTE, DWORD,
                                       DWORD*, DWORD) {
  ZT_FAIL_POINT_STATUS(SECURITY_STATUS);
  return NTE_INVALID_HANDLE;
}

SECURITY_STATUS WINAPI NCryptFreeObject(NCRYPT_HANDLE) { return NTE_INVALID_HANDLE; }

SECURITY_STATUS WINAPI NCryptSetProperty(NCRYPT_HANDLE, LPCWSTR, PBYTE, DWORD, DWORD) {
  ZT_FAIL_POINT_STATUS(SECURITY_STATUS);
  return NTE_INVALID_HANDLE;
}

}  // extern "C"
