// The system's functions that the library calls directly (CryptoAPI, the certificate services,
// OLE, the run-time library's rand_s, the kernel's time conversion), each behind a wrapper that
// first asks whether a test armed a failure of this call (platform/testing.h) and fails then as
// the function reports a failure, and that counts the CryptoAPI handles it opens and releases.

#ifndef _CRT_RAND_S
#define _CRT_RAND_S
#endif
#include <windows.h>

#include <objbase.h>
#include <oleauto.h>
#include <stdlib.h>
#include <wincrypt.h>

#include <atomic>
#include <mutex>
#include <set>

#include "platform/shared/callfailures.h"
#include "platform/testing.h"
#include "platform/windows/seam.h"
#include "platform/windows/truststore.h"

namespace {

using ZT::Platform::ArmedCallFailure;
using ZT::Platform::Windows::FailsWithLastError;

std::atomic<long> g_liveHandles{0};

// Counts a handle opened (delta 1) or released (delta -1) when `succeeded`; passes it on.
BOOL Counted(BOOL succeeded, int delta) {
  if (succeeded) ZT::Platform::Windows::CountHandles(delta);
  return succeeded;
}

}  // namespace

namespace ZT::Platform::Windows {

void CountHandles(int delta) { g_liveHandles.fetch_add(delta, std::memory_order_relaxed); }

namespace {

struct TrackedHandles {
  std::mutex mutex;
  std::set<const void*> handles;
};

TrackedHandles& Tracked() {
  static TrackedHandles tracked;
  return tracked;
}

}  // namespace

void Track(const void* handle) {
  if (handle == nullptr) return;
  TrackedHandles& tracked = Tracked();
  const std::lock_guard<std::mutex> lock(tracked.mutex);
  if (tracked.handles.insert(handle).second) CountHandles(1);
}

bool Untrack(const void* handle) {
  TrackedHandles& tracked = Tracked();
  const std::lock_guard<std::mutex> lock(tracked.mutex);
  if (tracked.handles.erase(handle) == 0) return false;
  CountHandles(-1);
  return true;
}

}  // namespace ZT::Platform::Windows

namespace ZT::Platform::Testing {

std::size_t LiveHandleCount() { return static_cast<std::size_t>(g_liveHandles.load(std::memory_order_relaxed)); }

}  // namespace ZT::Platform::Testing

extern "C" {

// ---- CryptoAPI (advapi32) -------------------------------------------------------------------

BOOL WINAPI ZT_Seam_CryptAcquireContextW(HCRYPTPROV* phProv, LPCWSTR szContainer, LPCWSTR szProvider,
                                         DWORD dwProvType, DWORD dwFlags) {
  if (FailsWithLastError("CryptAcquireContextW")) return FALSE;
  return Counted(CryptAcquireContextW(phProv, szContainer, szProvider, dwProvType, dwFlags), 1);
}

BOOL WINAPI ZT_Seam_CryptReleaseContext(HCRYPTPROV hProv, DWORD dwFlags) {
  return Counted(CryptReleaseContext(hProv, dwFlags), -1);
}

BOOL WINAPI ZT_Seam_CryptGenRandom(HCRYPTPROV hProv, DWORD dwLen, BYTE* pbBuffer) {
  if (FailsWithLastError("CryptGenRandom")) return FALSE;
  return CryptGenRandom(hProv, dwLen, pbBuffer);
}

BOOL WINAPI ZT_Seam_CryptImportKey(HCRYPTPROV hProv, const BYTE* pbData, DWORD dwDataLen, HCRYPTKEY hPubKey,
                                   DWORD dwFlags, HCRYPTKEY* phKey) {
  if (FailsWithLastError("CryptImportKey")) return FALSE;
  return Counted(CryptImportKey(hProv, pbData, dwDataLen, hPubKey, dwFlags, phKey), 1);
}

BOOL WINAPI ZT_Seam_CryptSetKeyParam(HCRYPTKEY hKey, DWORD dwParam, const BYTE* pbData, DWORD dwFlags) {
  if (FailsWithLastError("CryptSetKeyParam")) return FALSE;
  return CryptSetKeyParam(hKey, dwParam, pbData, dwFlags);
}

BOOL WINAPI ZT_Seam_CryptEncrypt(HCRYPTKEY hKey, HCRYPTHASH hHash, BOOL Final, DWORD dwFlags, BYTE* pbData,
                                 DWORD* pdwDataLen, DWORD dwBufLen) {
  if (FailsWithLastError("CryptEncrypt")) return FALSE;
  return CryptEncrypt(hKey, hHash, Final, dwFlags, pbData, pdwDataLen, dwBufLen);
}

BOOL WINAPI ZT_Seam_CryptDecrypt(HCRYPTKEY hKey, HCRYPTHASH hHash, BOOL Final, DWORD dwFlags, BYTE* pbData,
                                 DWORD* pdwDataLen) {
  if (FailsWithLastError("CryptDecrypt")) return FALSE;
  return CryptDecrypt(hKey, hHash, Final, dwFlags, pbData, pdwDataLen);
}

BOOL WINAPI ZT_Seam_CryptDestroyKey(HCRYPTKEY hKey) { return Counted(CryptDestroyKey(hKey), -1); }

// ---- Certificate services (crypt32) ---------------------------------------------------------

PCCERT_CONTEXT WINAPI ZT_Seam_CertCreateCertificateContext(DWORD dwCertEncodingType, const BYTE* pbCertEncoded,
                                                           DWORD cbCertEncoded) {
  if (FailsWithLastError("CertCreateCertificateContext")) return nullptr;
  return CertCreateCertificateContext(dwCertEncodingType, pbCertEncoded, cbCertEncoded);
}

BOOL WINAPI ZT_Seam_CertGetCertificateContextProperty(PCCERT_CONTEXT pCertContext, DWORD dwPropId, void* pvData,
                                                      DWORD* pcbData) {
  if (FailsWithLastError("CertGetCertificateContextProperty")) return FALSE;
  return CertGetCertificateContextProperty(pCertContext, dwPropId, pvData, pcbData);
}

BOOL WINAPI ZT_Seam_CryptVerifyCertificateSignature(HCRYPTPROV_LEGACY hCryptProv, DWORD dwCertEncodingType,
                                                    const BYTE* pbEncoded, DWORD cbEncoded,
                                                    PCERT_PUBLIC_KEY_INFO pPublicKey) {
  if (FailsWithLastError("CryptVerifyCertificateSignature")) return FALSE;
  return CryptVerifyCertificateSignature(hCryptProv, dwCertEncodingType, pbEncoded, cbEncoded, pPublicKey);
}

BOOL WINAPI ZT_Seam_CertGetCertificateChain(HCERTCHAINENGINE hChainEngine, PCCERT_CONTEXT pCertContext,
                                            LPFILETIME pTime, HCERTSTORE hAdditionalStore,
                                            PCERT_CHAIN_PARA pChainPara, DWORD dwFlags, LPVOID pvReserved,
                                            PCCERT_CHAIN_CONTEXT* ppChainContext) {
  if (FailsWithLastError("CertGetCertificateChain")) return FALSE;
  const ZT::Platform::Windows::ChainEngineInUse engine(hChainEngine);
  return CertGetCertificateChain(engine.Handle(), pCertContext, pTime, hAdditionalStore, pChainPara, dwFlags,
                                 pvReserved, ppChainContext);
}

// ---- OLE, the run-time library, the kernel --------------------------------------------------

HRESULT WINAPI ZT_Seam_CoCreateGuid(GUID* pguid) {
  if (const auto failure = ArmedCallFailure("CoCreateGuid")) return static_cast<HRESULT>(*failure);
  return CoCreateGuid(pguid);
}

errno_t WINAPI ZT_Seam_rand_s(unsigned int* randomValue) {
  if (const auto failure = ArmedCallFailure("rand_s")) return static_cast<errno_t>(*failure);
  return rand_s(randomValue);
}

HRESULT WINAPI ZT_Seam_VarDateFromStr(LPCOLESTR strIn, LCID lcid, ULONG dwFlags, DATE* pdateOut) {
  if (const auto failure = ArmedCallFailure("VarDateFromStr")) return static_cast<HRESULT>(*failure);
  // The system's declaration lacks the const its contract has: it does not write the text.
  return VarDateFromStr(const_cast<LPOLESTR>(strIn), lcid, dwFlags, pdateOut);
}

INT WINAPI ZT_Seam_VariantTimeToSystemTime(DATE vtime, LPSYSTEMTIME lpSystemTime) {
  if (ArmedCallFailure("VariantTimeToSystemTime")) return FALSE;
  return VariantTimeToSystemTime(vtime, lpSystemTime);
}

BOOL WINAPI ZT_Seam_SystemTimeToFileTime(const SYSTEMTIME* lpSystemTime, LPFILETIME lpFileTime) {
  if (FailsWithLastError("SystemTimeToFileTime")) return FALSE;
  return SystemTimeToFileTime(lpSystemTime, lpFileTime);
}

}  // extern "C"
