#include "cng/crypto.cng.certp7bstores.h"

#include <algorithm>
#include <new>

#include "cng/crypto.cng.x509certificates.h"

namespace ZT::Framework {

namespace {

constexpr DWORD kEncoding = X509_ASN_ENCODING | PKCS_7_ASN_ENCODING;
constexpr const wchar_t* kConstructor = L"CCNGCertP7bStore::CCNGCertP7bStore";

// `size` bytes for a result, or "Error : No memory".
ByteArray Allocate(const FunctionTrace& fn, std::size_t size) {
  try {
    return ByteArray(size);
  } catch (const std::bad_alloc&) {
    fn.Raise(CRYPTO_INTERNAL_ERROR, L"Error : No memory");
  }
}

}  // namespace

ICertStore::~ICertStore() = default;
ICertP7bStore::~ICertP7bStore() = default;

CCNGCertP7bStore::CCNGCertP7bStore() {
  const FunctionTrace fn(kConstructor, this);
  fn.Run([&] { m_pContexts = std::make_unique<CertContextCollection>(fn); });
}

CCNGCertP7bStore::CCNGCertP7bStore(const ByteArray& baP7bStore) {
  const FunctionTrace fn(kConstructor, this);
  fn.Run([&] {
    m_pContexts = std::make_unique<CertContextCollection>(fn);
    const CertStore bundle(Deserialize(fn, baP7bStore));
    AddEach(fn, bundle.get());
  });
}

CCNGCertP7bStore::~CCNGCertP7bStore() {
  TraceLifetime(L"CCNGCertP7bStore::~CCNGCertP7bStore", this, [&] { m_pContexts.reset(); });
}

// The platform's store of the bundle's certificates.
HCERTSTORE CCNGCertP7bStore::Deserialize(const FunctionTrace& fn, const ByteArray& baP7bStore) {
  if (baP7bStore.empty()) fn.Raise(CRYPTO_BAD_PARAM, L"Error : bad input parameters");
  // A buffer of the store's own, as the platform reads the blob in place.
  ByteArray baBlob = Allocate(fn, baP7bStore.size());
  std::copy(baP7bStore.begin(), baP7bStore.end(), baBlob.begin());
  CERT_BLOB blob{static_cast<DWORD>(baBlob.size()), baBlob.data()};
  HCERTSTORE hStore = nullptr;
  if (!CryptQueryObject(CERT_QUERY_OBJECT_BLOB, &blob, CERT_QUERY_CONTENT_FLAG_PKCS7_UNSIGNED,
                        CERT_QUERY_FORMAT_FLAG_BINARY, 0, nullptr, nullptr, nullptr, &hStore, nullptr, nullptr))
    fn.Raise(CRYPTO_BAD_PARAM, WithCode(L"Error deserialize (pkcs7) to store", GetLastError()));
  return hStore;
}

// Every certificate of `hStore`, in the platform's enumeration order, as a context without key.
void CCNGCertP7bStore::AddEach(const FunctionTrace& fn, HCERTSTORE hStore) {
  PCCERT_CONTEXT pContext = nullptr;
  while ((pContext = CertEnumCertificatesInStore(hStore, pContext)) != nullptr) {
    // Released on every path, the failing one included; handed back to the enumeration after.
    CertContext current(pContext);
    fn.Wrap(L"AddCertContext failed", [&] {
      const std::unique_ptr<ICertificate> certificate(new CCNGX509Certificate(current.get()));
      const std::unique_ptr<ICertContext> context(ICertContext::Create(certificate.get()));
      AddCertContext(context.get());
    });
    pContext = current.release();
  }
  if (GetLastError() != static_cast<DWORD>(CRYPT_E_NOT_FOUND))
    fn.Raise(CRYPTO_INTERNAL_ERROR, WithCode(L"Error enumerating the store", GetLastError()));
}

void CCNGCertP7bStore::Save(ByteArray& baStore) {
  const FunctionTrace fn(L"CCNGCertP7bStore::Save", this);
  fn.Run([&] {
    CRYPT_DATA_BLOB blob{0, nullptr};
    if (!CertSaveStore(m_pContexts->Store(), kEncoding, CERT_STORE_SAVE_AS_PKCS7, CERT_STORE_SAVE_TO_MEMORY, &blob, 0))
      fn.Raise(CRYPTO_INTERNAL_ERROR, WithCode(L"Error serialize (pkcs7) the store", GetLastError()));
    ByteArray baSaved = Allocate(fn, blob.cbData);
    blob.pbData = baSaved.data();
    if (!CertSaveStore(m_pContexts->Store(), kEncoding, CERT_STORE_SAVE_AS_PKCS7, CERT_STORE_SAVE_TO_MEMORY, &blob, 0))
      fn.Raise(CRYPTO_INTERNAL_ERROR, WithCode(L"Error serialize (pkcs7) the store 2", GetLastError()));
    baSaved.resize(blob.cbData);
    baStore = std::move(baSaved);
  });
}

std::size_t CCNGCertP7bStore::ListCertContext(ICryptoParserFilter* pCertFilter, CertContextList& contexts) {
  const FunctionTrace fn(L"CCNGCertP7bStore::ListCertContext", this);
  return fn.Run([&] { return m_pContexts->List(fn, pCertFilter, contexts); });
}

void CCNGCertP7bStore::AddCertContext(ICertContext* pCertContext) {
  const FunctionTrace fn(L"CCNGCertP7bStore::AddCertContext", this);
  fn.Run([&] { m_pContexts->Add(fn, pCertContext); });
}

void CCNGCertP7bStore::DeleteCertContext(ICertContext* pCertContext) {
  const FunctionTrace fn(L"CCNGCertP7bStore::DeleteCertContext", this);
  fn.Run([&] { m_pContexts->Delete(fn, pCertContext); });
}

// ---- factories ----------------------------------------------------------------------------------

namespace {

template <class Make>
ICertP7bStore* CreateStore(const wchar_t* name, const wchar_t* failure, Make&& make) {
  const FunctionTrace fn(name);
  return fn.Run([&] {
    ICertP7bStore* pStore = fn.Wrap(failure, make);
    fn.Data(L"pStore=%#x", static_cast<const void*>(pStore));
    return pStore;
  });
}

}  // namespace

ICertP7bStore* ICertP7bStore::Create() {
  return CreateStore(L"ICertP7bStore::Create", L"new CCertP7bStore() failed", []() -> ICertP7bStore* { return new CCNGCertP7bStore; });
}

ICertP7bStore* ICertP7bStore::Load(const ByteArray& baP7bStore) {
  return CreateStore(L"ICertP7bStore::Load", L"new CCertP7bStore(pP7bStore) failed",
                     [&]() -> ICertP7bStore* { return new CCNGCertP7bStore(baP7bStore); });
}

}  // namespace ZT::Framework
