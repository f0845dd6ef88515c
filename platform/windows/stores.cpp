// The certificate stores, PKCS #12 (PFX) import and export and the key storage calls the PKCS #12
// store makes, as the system's crypt32 and ncrypt answer them, each behind a wrapper with its fail
// point (platform/testing.h); the stores it hands out are counted among the live handles. NCrypt
// keys are not counted here: the system's certificate contexts own and free most of them inside
// crypt32, out of the seam's sight.

#include <windows.h>

#include <ncrypt.h>
#include <wincrypt.h>

#include "platform/shared/callfailures.h"
#include "platform/windows/seam.h"

namespace {

using ZT::Platform::ArmedCallFailure;
using ZT::Platform::Windows::FailsWithLastError;
using ZT::Platform::Windows::Track;
using ZT::Platform::Windows::Untrack;

// `store` counted as handed out, when there is one.
HCERTSTORE Tracked(HCERTSTORE store) {
  Track(store);
  return store;
}

}  // namespace

extern "C" {

// ---- Stores ---------------------------------------------------------------------------------

HCERTSTORE WINAPI ZT_Seam_CertOpenStore(LPCSTR lpszStoreProvider, DWORD dwEncodingType, HCRYPTPROV_LEGACY hCryptProv,
                                        DWORD dwFlags, const void* pvPara) {
  if (FailsWithLastError("CertOpenStore")) return nullptr;
  return Tracked(CertOpenStore(lpszStoreProvider, dwEncodingType, hCryptProv, dwFlags, pvPara));
}

// The store is closed even when the check flag finds contexts still held (CRYPT_E_PENDING_CLOSE).
BOOL WINAPI ZT_Seam_CertCloseStore(HCERTSTORE hCertStore, DWORD dwFlags) {
  const BOOL closed = CertCloseStore(hCertStore, dwFlags);
  if (closed || GetLastError() == static_cast<DWORD>(CRYPT_E_PENDING_CLOSE)) Untrack(hCertStore);
  return closed;
}

// The previous context is freed on every path, as the system frees it.
PCCERT_CONTEXT WINAPI ZT_Seam_CertEnumCertificatesInStore(HCERTSTORE hCertStore, PCCERT_CONTEXT pPrevCertContext) {
  if (const auto failure = ArmedCallFailure("CertEnumCertificatesInStore")) {
    if (pPrevCertContext != nullptr) CertFreeCertificateContext(pPrevCertContext);
    SetLastError(*failure);
    return nullptr;
  }
  return CertEnumCertificatesInStore(hCertStore, pPrevCertContext);
}

BOOL WINAPI ZT_Seam_CertAddCertificateContextToStore(HCERTSTORE hCertStore, PCCERT_CONTEXT pCertContext,
                                                     DWORD dwAddDisposition, PCCERT_CONTEXT* ppStoreContext) {
  if (FailsWithLastError("CertAddCertificateContextToStore")) return FALSE;
  return CertAddCertificateContextToStore(hCertStore, pCertContext, dwAddDisposition, ppStoreContext);
}

// The caller's reference goes on every path, as the system frees it.
BOOL WINAPI ZT_Seam_CertDeleteCertificateFromStore(PCCERT_CONTEXT pCertContext) {
  if (const auto failure = ArmedCallFailure("CertDeleteCertificateFromStore")) {
    if (pCertContext != nullptr) CertFreeCertificateContext(pCertContext);
    SetLastError(*failure);
    return FALSE;
  }
  return CertDeleteCertificateFromStore(pCertContext);
}

BOOL WINAPI ZT_Seam_CertSaveStore(HCERTSTORE hCertStore, DWORD dwEncodingType, DWORD dwSaveAs, DWORD dwSaveTo,
                                  void* pvSaveToPara, DWORD dwFlags) {
  if (FailsWithLastError("CertSaveStore")) return FALSE;
  return CertSaveStore(hCertStore, dwEncodingType, dwSaveAs, dwSaveTo, pvSaveToPara, dwFlags);
}

BOOL WINAPI ZT_Seam_CryptQueryObject(DWORD dwObjectType, const void* pvObject, DWORD dwExpectedContentTypeFlags,
                                     DWORD dwExpectedFormatTypeFlags, DWORD dwFlags, DWORD* pdwMsgAndCertEncodingType,
                                     DWORD* pdwContentType, DWORD* pdwFormatType, HCERTSTORE* phCertStore,
                                     HCRYPTMSG* phMsg, const void** ppvContext) {
  if (FailsWithLastError("CryptQueryObject")) return FALSE;
  const BOOL found = CryptQueryObject(dwObjectType, pvObject, dwExpectedContentTypeFlags, dwExpectedFormatTypeFlags,
                                      dwFlags, pdwMsgAndCertEncodingType, pdwContentType, pdwFormatType, phCertStore,
                                      phMsg, ppvContext);
  if (found && phCertStore != nullptr) Track(*phCertStore);
  return found;
}

// ---- Contexts and their keys ----------------------------------------------------------------

BOOL WINAPI ZT_Seam_CertSetCertificateContextProperty(PCCERT_CONTEXT pCertContext, DWORD dwPropId, DWORD dwFlags,
                                                      const void* pvData) {
  if (FailsWithLastError("CertSetCertificateContextProperty")) return FALSE;
  return CertSetCertificateContextProperty(pCertContext, dwPropId, dwFlags, pvData);
}

BOOL WINAPI ZT_Seam_CryptAcquireCertificatePrivateKey(PCCERT_CONTEXT pCert, DWORD dwFlags, void* pvParameters,
                                                      HCRYPTPROV_OR_NCRYPT_KEY_HANDLE* phCryptProvOrNCryptKey,
                                                      DWORD* pdwKeySpec, BOOL* pfCallerFreeProvOrNCryptKey) {
  if (FailsWithLastError("CryptAcquireCertificatePrivateKey")) return FALSE;
  return CryptAcquireCertificatePrivateKey(pCert, dwFlags, pvParameters, phCryptProvOrNCryptKey, pdwKeySpec,
                                           pfCallerFreeProvOrNCryptKey);
}

SECURITY_STATUS WINAPI ZT_Seam_NCryptOpenStorageProvider(NCRYPT_PROV_HANDLE* phProvider, LPCWSTR pszProviderName,
                                                         DWORD dwFlags) {
  if (const auto failure = ArmedCallFailure("NCryptOpenStorageProvider")) return static_cast<SECURITY_STATUS>(*failure);
  return NCryptOpenStorageProvider(phProvider, pszProviderName, dwFlags);
}

SECURITY_STATUS WINAPI ZT_Seam_NCryptImportKey(NCRYPT_PROV_HANDLE hProvider, NCRYPT_KEY_HANDLE hImportKey,
                                               LPCWSTR pszBlobType, NCryptBufferDesc* pParameterList,
                                               NCRYPT_KEY_HANDLE* phKey, PBYTE pbData, DWORD cbData, DWORD dwFlags) {
  if (const auto failure = ArmedCallFailure("NCryptImportKey")) return static_cast<SECURITY_STATUS>(*failure);
  return NCryptImportKey(hProvider, hImportKey, pszBlobType, pParameterList, phKey, pbData, cbData, dwFlags);
}

SECURITY_STATUS WINAPI ZT_Seam_NCryptFinalizeKey(NCRYPT_KEY_HANDLE hKey, DWORD dwFlags) {
  if (const auto failure = ArmedCallFailure("NCryptFinalizeKey")) return static_cast<SECURITY_STATUS>(*failure);
  return NCryptFinalizeKey(hKey, dwFlags);
}

// ---- PKCS #12 -------------------------------------------------------------------------------

BOOL WINAPI ZT_Seam_PFXIsPFXBlob(CRYPT_DATA_BLOB* pPFX) { return PFXIsPFXBlob(pPFX); }

HCERTSTORE WINAPI ZT_Seam_PFXImportCertStore(CRYPT_DATA_BLOB* pPFX, LPCWSTR szPassword, DWORD dwFlags) {
  if (FailsWithLastError("PFXImportCertStore")) return nullptr;
  return Tracked(PFXImportCertStore(pPFX, szPassword, dwFlags));
}

BOOL WINAPI ZT_Seam_PFXExportCertStoreEx(HCERTSTORE hStore, CRYPT_DATA_BLOB* pPFX, LPCWSTR szPassword, void* pvPara,
                                         DWORD dwFlags) {
  if (FailsWithLastError("PFXExportCertStoreEx")) return FALSE;
  return PFXExportCertStoreEx(hStore, pPFX, szPassword, pvPara, dwFlags);
}

}  // extern "C"
