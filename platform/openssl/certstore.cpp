// Memory stores: a list of contexts, newest first, behind a store handle of the seam's table; their
// PKCS #7 form (CertSaveStore) and the store read from one (CryptQueryObject).

#include "platform/openssl/certstore.h"

#include <openssl/pkcs7.h>
#include <openssl/x509.h>

#include <algorithm>
#include <cstring>
#include <deque>
#include <memory>
#include <mutex>

#include "codec/crypto.asn1.pkcs7.h"
#include "platform/openssl/callfailures.h"
#include "platform/openssl/handles.h"
#include "platform/openssl/library.h"

using namespace ZT::Platform;
namespace Der = ZT::Framework::Der;

namespace {

// A store's contexts, each holding one reference of the store's. The mutex guards the list:
// the platform's stores may be used from several threads.
struct CertStoreObject {
  std::mutex mutex;
  std::deque<CertContextRef> contexts;  // newest first
};

CertStoreObject* FindStore(HCERTSTORE store) { return FindHandle<CertStoreObject>(store, HandleKind::CertStore); }

template <class Result>
Result Fail(DWORD error, Result failed) {
  SetLastError(error);
  return failed;
}

// The place of `context` in the store's list, or the end.
std::deque<CertContextRef>::iterator Find(CertStoreObject& store, PCCERT_CONTEXT context) {
  return std::find_if(store.contexts.begin(), store.contexts.end(),
                      [context](const CertContextRef& held) { return held.get() == context; });
}

bool SameCertificate(PCCERT_CONTEXT a, PCCERT_CONTEXT b) {
  return std::memcmp(ContextSha1(a), ContextSha1(b), kSha1Size) == 0;
}

// Puts a new context of `source`'s certificate at the head of the store, paired with `key` (0:
// none) once it is in; *added (when given) gets a new reference to it.
bool AddCopy(HCERTSTORE handle, CertStoreObject& store, PCCERT_CONTEXT source, NCRYPT_KEY_HANDLE key,
             PCCERT_CONTEXT* added) {
  CertContextRef copy(CopyCertificateContext(source, handle));
  if (!copy) return false;
  {
    const std::lock_guard<std::mutex> lock(store.mutex);
    store.contexts.push_front(ShareContext(copy.get()));
  }
  if (key != 0) PairContextKey(copy.get(), key, true);
  if (added != nullptr) *added = copy.release();
  return true;
}

// The DER bundle of the store's certificates in enumeration order.
bool EncodeBundle(CertStoreObject& store, ZT::Framework::ByteArray* bundle) {
  std::vector<Der::Bytes> certificates;
  const std::lock_guard<std::mutex> lock(store.mutex);
  certificates.reserve(store.contexts.size());
  for (const CertContextRef& context : store.contexts)
    certificates.emplace_back(context->pbCertEncoded, context->cbCertEncoded);
  Der::Writer w;
  ZT::Framework::Asn1Write::WriteCertificateBundle(w, certificates);
  return w.Finish(bundle);
}

// The certificates of a bundle in BER (indefinite lengths, as some writers stream it), read by
// OpenSSL's PKCS #7 decoder and written out again one by one; false when it is not an unsigned
// bundle or anything follows it.
bool ReadBerBundle(const BYTE* bytes, DWORD size, std::vector<ZT::Framework::ByteArray>* certificates) {
  // Decoded into an object of the private context, so that its certificates are too.
  PKCS7* decoded = PKCS7_new_ex(Library::Get().Context(), nullptr);
  if (decoded == nullptr) return false;
  const unsigned char* cursor = bytes;
  const OpenSslPtr<PKCS7, PKCS7_free> bundle(d2i_PKCS7(&decoded, &cursor, static_cast<long>(size)));
  if (!bundle || cursor != bytes + size || PKCS7_type_is_signed(bundle.get()) == 0 || bundle->d.sign == nullptr ||
      sk_PKCS7_SIGNER_INFO_num(bundle->d.sign->signer_info) > 0)
    return false;
  for (int i = 0; i < sk_X509_num(bundle->d.sign->cert); ++i) {
    unsigned char* der = nullptr;
    const int length = i2d_X509(sk_X509_value(bundle->d.sign->cert, i), &der);
    if (length <= 0) return false;
    certificates->emplace_back(der, der + length);
    OPENSSL_free(der);
  }
  return true;
}

// A new memory store of the certificates, in the order given; null with the last error set.
HCERTSTORE StoreOf(const std::vector<Der::Bytes>& certificates) {
  HCERTSTORE store = NewMemoryStore();
  if (store == nullptr) return nullptr;
  for (const Der::Bytes certificate : certificates) {
    if (!AddEncodedCertificate(store, certificate.data(), static_cast<DWORD>(certificate.size()), 0)) {
      const DWORD error = GetLastError() == ERROR_NOT_ENOUGH_MEMORY ? ERROR_NOT_ENOUGH_MEMORY : CRYPT_E_NO_MATCH;
      CertCloseStore(store, 0);
      return Fail<HCERTSTORE>(error, nullptr);
    }
  }
  return store;
}

// A new memory store of the bundle's certificates, in stored order; null with the last error set.
// DER is read by the codec; BER, which the platform reads too, by OpenSSL.
HCERTSTORE StoreOfBundle(const BYTE* bytes, DWORD size) {
  if (bytes == nullptr || size == 0) return Fail<HCERTSTORE>(CRYPT_E_NO_MATCH, nullptr);
  std::vector<Der::Bytes> certificates;
  if (ZT::Framework::Asn1Read::ReadCertificateBundle({bytes, size}, &certificates)) return StoreOf(certificates);
  std::vector<ZT::Framework::ByteArray> reencoded;
  if (!ReadBerBundle(bytes, size, &reencoded)) return Fail<HCERTSTORE>(CRYPT_E_NO_MATCH, nullptr);
  certificates.assign(reencoded.begin(), reencoded.end());
  return StoreOf(certificates);
}

}  // namespace

namespace ZT::Platform {

HCERTSTORE NewMemoryStore() {
  try {
    auto store = std::make_unique<CertStoreObject>();
    HCERTSTORE handle = reinterpret_cast<HCERTSTORE>(HandleTable::Instance().Insert(HandleKind::CertStore, store.get()));
    store.release();
    return handle;
  } catch (const std::bad_alloc&) {
    return Fail<HCERTSTORE>(ERROR_NOT_ENOUGH_MEMORY, nullptr);
  }
}

bool AddEncodedCertificate(HCERTSTORE store, const BYTE* der, DWORD size, NCRYPT_KEY_HANDLE key) {
  CertStoreObject* object = FindStore(store);
  if (object == nullptr) return Fail(E_INVALIDARG, false);
  CertContextRef context(NewCertificateContext(X509_ASN_ENCODING | PKCS_7_ASN_ENCODING, der, size));
  try {
    return context && AddCopy(store, *object, context.get(), key, nullptr);
  } catch (const std::bad_alloc&) {
    return Fail(ERROR_NOT_ENOUGH_MEMORY, false);
  }
}

bool StoreContexts(HCERTSTORE store, std::vector<CertContextRef>* contexts) {
  CertStoreObject* object = FindStore(store);
  if (object == nullptr) return false;
  const std::lock_guard<std::mutex> lock(object->mutex);
  contexts->clear();
  for (const CertContextRef& context : object->contexts) contexts->push_back(ShareContext(context.get()));
  return true;
}

}  // namespace ZT::Platform

extern "C" {

HCERTSTORE WINAPI CertOpenStore(LPCSTR lpszStoreProvider, DWORD, HCRYPTPROV_LEGACY, DWORD, const void* pvPara) {
  ZT_FAIL_POINT_LAST_ERROR(nullptr);
  if (lpszStoreProvider != CERT_STORE_PROV_MEMORY) return Fail<HCERTSTORE>(ERROR_CALL_NOT_IMPLEMENTED, nullptr);
  if (pvPara != nullptr) return Fail<HCERTSTORE>(E_INVALIDARG, nullptr);
  return NewMemoryStore();
}

BOOL WINAPI CertCloseStore(HCERTSTORE hCertStore, DWORD dwFlags) {
  if (hCertStore == nullptr) return TRUE;
  auto* store = static_cast<CertStoreObject*>(
      HandleTable::Instance().Remove(reinterpret_cast<std::uintptr_t>(hCertStore), HandleKind::CertStore));
  if (store == nullptr) return Fail(E_INVALIDARG, FALSE);
  bool othersHold = false;
  for (const CertContextRef& context : store->contexts)
    othersHold = othersHold || ContextReferences(context.get()) > 1;
  delete store;
  if ((dwFlags & CERT_CLOSE_STORE_CHECK_FLAG) != 0 && othersHold) return Fail(CRYPT_E_PENDING_CLOSE, FALSE);
  return TRUE;
}

PCCERT_CONTEXT WINAPI CertEnumCertificatesInStore(HCERTSTORE hCertStore, PCCERT_CONTEXT pPrevCertContext) {
  // The previous context is freed on every path, the failing ones included.
  CertContextRef previous(pPrevCertContext);
  if (const auto failure = ArmedCallFailure(__func__)) return Fail<PCCERT_CONTEXT>(*failure, nullptr);
  CertStoreObject* store = FindStore(hCertStore);
  if (store == nullptr || (previous && previous->hCertStore != hCertStore))
    return Fail<PCCERT_CONTEXT>(E_INVALIDARG, nullptr);
  const std::lock_guard<std::mutex> lock(store->mutex);
  auto next = store->contexts.begin();
  if (previous) {
    next = Find(*store, previous.get());
    if (next != store->contexts.end()) ++next;
  }
  if (next == store->contexts.end()) return Fail<PCCERT_CONTEXT>(CRYPT_E_NOT_FOUND, nullptr);
  return CertDuplicateCertificateContext(next->get());
}

BOOL WINAPI CertAddCertificateContextToStore(HCERTSTORE hCertStore, PCCERT_CONTEXT pCertContext,
                                             DWORD dwAddDisposition, PCCERT_CONTEXT* ppStoreContext) {
  ZT_FAIL_POINT_LAST_ERROR(FALSE);
  if (ppStoreContext != nullptr) *ppStoreContext = nullptr;
  CertStoreObject* store = FindStore(hCertStore);
  if (store == nullptr || pCertContext == nullptr ||
      (dwAddDisposition != CERT_STORE_ADD_ALWAYS && dwAddDisposition != CERT_STORE_ADD_NEW))
    return Fail(E_INVALIDARG, FALSE);
  if (dwAddDisposition == CERT_STORE_ADD_NEW) {
    const std::lock_guard<std::mutex> lock(store->mutex);
    for (const CertContextRef& held : store->contexts)
      if (SameCertificate(held.get(), pCertContext)) return Fail(CRYPT_E_EXISTS, FALSE);
  }
  try {
    return AddCopy(hCertStore, *store, pCertContext, 0, ppStoreContext) ? TRUE : FALSE;
  } catch (const std::bad_alloc&) {
    return Fail(ERROR_NOT_ENOUGH_MEMORY, FALSE);
  }
}

BOOL WINAPI CertDeleteCertificateFromStore(PCCERT_CONTEXT pCertContext) {
  // The caller's reference goes on every path.
  CertContextRef context(pCertContext);
  if (const auto failure = ArmedCallFailure(__func__)) return Fail(*failure, FALSE);
  if (!context || context->hCertStore == nullptr) return Fail(E_INVALIDARG, FALSE);
  CertStoreObject* store = FindStore(context->hCertStore);
  if (store == nullptr) return TRUE;  // closed meanwhile: nothing left to take it from
  CertContextRef removed;
  {
    const std::lock_guard<std::mutex> lock(store->mutex);
    const auto held = Find(*store, context.get());
    if (held == store->contexts.end()) return TRUE;  // deleted already
    removed = std::move(*held);
    store->contexts.erase(held);
  }
  return TRUE;
}

BOOL WINAPI CertSaveStore(HCERTSTORE hCertStore, DWORD dwEncodingType, DWORD dwSaveAs, DWORD dwSaveTo,
                          void* pvSaveToPara, DWORD) {
  ZT_FAIL_POINT_LAST_ERROR(FALSE);
  CertStoreObject* store = FindStore(hCertStore);
  if (store == nullptr || (dwEncodingType & PKCS_7_ASN_ENCODING) == 0 || dwSaveAs != CERT_STORE_SAVE_AS_PKCS7 ||
      dwSaveTo != CERT_STORE_SAVE_TO_MEMORY || pvSaveToPara == nullptr)
    return Fail(E_INVALIDARG, FALSE);
  auto* blob = static_cast<CRYPT_DATA_BLOB*>(pvSaveToPara);
  try {
    ZT::Framework::ByteArray bundle;
    if (!EncodeBundle(*store, &bundle)) return Fail(E_FAIL, FALSE);
    return ReturnSized(bundle.data(), static_cast<DWORD>(bundle.size()), blob->pbData, &blob->cbData);
  } catch (const std::bad_alloc&) {
    return Fail(ERROR_NOT_ENOUGH_MEMORY, FALSE);
  }
}

BOOL WINAPI CryptQueryObject(DWORD dwObjectType, const void* pvObject, DWORD dwExpectedContentTypeFlags,
                             DWORD dwExpectedFormatTypeFlags, DWORD, DWORD* pdwMsgAndCertEncodingType,
                             DWORD* pdwContentType, DWORD* pdwFormatType, HCERTSTORE* phCertStore, HCRYPTMSG* phMsg,
                             const void** ppvContext) {
  ZT_FAIL_POINT_LAST_ERROR(FALSE);
  if (dwObjectType != CERT_QUERY_OBJECT_BLOB || pvObject == nullptr || phMsg != nullptr || ppvContext != nullptr)
    return Fail(E_INVALIDARG, FALSE);
  if ((dwExpectedContentTypeFlags & CERT_QUERY_CONTENT_FLAG_PKCS7_UNSIGNED) == 0 ||
      (dwExpectedFormatTypeFlags & CERT_QUERY_FORMAT_FLAG_BINARY) == 0)
    return Fail(CRYPT_E_NO_MATCH, FALSE);
  const auto* blob = static_cast<const CERT_BLOB*>(pvObject);
  HCERTSTORE store = StoreOfBundle(blob->pbData, blob->cbData);
  if (store == nullptr) return FALSE;
  if (pdwMsgAndCertEncodingType != nullptr) *pdwMsgAndCertEncodingType = X509_ASN_ENCODING | PKCS_7_ASN_ENCODING;
  if (pdwContentType != nullptr) *pdwContentType = CERT_QUERY_CONTENT_PKCS7_UNSIGNED;
  if (pdwFormatType != nullptr) *pdwFormatType = CERT_QUERY_FORMAT_BINARY;
  if (phCertStore != nullptr)
    *phCertStore = store;
  else
    CertCloseStore(store, 0);
  return TRUE;
}

}  // extern "C"
