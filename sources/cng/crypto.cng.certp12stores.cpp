#include "cng/crypto.cng.certp12stores.h"

#include "cng/crypto.cng.status.h"
#include "cng/crypto.cng.util.keys.h"
#include "cng/crypto.cng.x509certificates.h"
#include "zt/rsakey.h"

namespace ZT::Framework {

namespace {

constexpr DWORD kEncoding = X509_ASN_ENCODING | PKCS_7_ASN_ENCODING;
// Keys stay in memory, exportable, in the key storage of CNG.
constexpr DWORD kImportFlags = CRYPT_EXPORTABLE | PKCS12_NO_PERSIST_KEY | PKCS12_ALWAYS_CNG_KSP;
// Keys go out with their certificates; one that cannot is a failure, not a silent omission.
constexpr DWORD kExportFlags = EXPORT_PRIVATE_KEYS | REPORT_NOT_ABLE_TO_EXPORT_PRIVATE_KEY | PKCS12_EXPORT_PBES2_PARAMS;
constexpr const wchar_t* kOnlyRsa = L"Only RSA private keys are supported";

CRYPT_DATA_BLOB BlobOf(const ByteArray& bytes) {
  return CRYPT_DATA_BLOB{static_cast<DWORD>(bytes.size()), const_cast<BYTE*>(bytes.data())};
}

std::unique_ptr<IAlgorithm> RsaAlgorithm() {
  const std::unique_ptr<IAlgorithmParameters> parameters(IAlgorithmParameters::Create());
  return std::unique_ptr<IAlgorithm>(IAlgorithm::CreateFromFriendlyName(L"RSA", parameters.get()));
}

[[noreturn]] void RaiseImportFailure(const FunctionTrace& fn, DWORD code) {
  if (code == static_cast<DWORD>(ERROR_INVALID_PASSWORD))
    fn.Raise(CRYPTO_BAD_AUTH, WithCode(L"Unable to load the PFX blob", code));
  if (code == static_cast<DWORD>(CRYPT_E_NOT_FOUND))
    fn.Raise(CRYPTO_BAD_PARAM, L"Private key without its certificate in the PFX blob",
             L"Error 0x%x returned by PFXImportCertStore", code);
  fn.Raise(CRYPTO_BAD_PARAM, WithCode(L"Unable to load the PFX blob", code));
}

// ---- load -------------------------------------------------------------------------------------

// The PRIVATEKEYBLOB of a key of the key storage: its size, then its bytes.
ByteArray ExportKeyBlob(const FunctionTrace& fn, NCRYPT_KEY_HANDLE hKey) {
  DWORD size = 0;
  const SECURITY_STATUS status = CNG().NCryptExportKey(hKey, 0, LEGACY_RSAPRIVATE_BLOB, nullptr, nullptr, 0, &size, 0);
  if (status == NTE_NOT_SUPPORTED)
    fn.Raise(CRYPTO_NOT_SUPPORTED, kOnlyRsa, L"Error 0x%x returned by NCryptExportKey", static_cast<DWORD>(status));
  CheckStatus(fn, status, L"NCryptExportKey", L"NCryptExportKey failed");
  ByteArray blob(size);
  CheckStatus(fn, CNG().NCryptExportKey(hKey, 0, LEGACY_RSAPRIVATE_BLOB, nullptr, blob.data(), size, &size, 0),
              L"NCryptExportKey", L"NCryptExportKey failed");
  blob.resize(size);
  return blob;
}

// The private key paired with a context of the imported store, or null when it has none.
std::unique_ptr<IPrivateKey> PrivateKeyOf(const FunctionTrace& fn, PCCERT_CONTEXT pContext) {
  HCRYPTPROV_OR_NCRYPT_KEY_HANDLE hKey = 0;
  DWORD dwKeySpec = 0;
  BOOL bCallerFree = FALSE;
  if (!CryptAcquireCertificatePrivateKey(pContext, CRYPT_ACQUIRE_ONLY_NCRYPT_KEY_FLAG | CRYPT_ACQUIRE_SILENT_FLAG,
                                         nullptr, &hKey, &dwKeySpec, &bCallerFree)) {
    if (GetLastError() == static_cast<DWORD>(CRYPT_E_NO_KEY_PROPERTY)) return nullptr;
    CheckLastError(fn, FALSE, L"CryptAcquireCertificatePrivateKey", L"CryptAcquireCertificatePrivateKey failed");
  }
  const NCryptObject owner(bCallerFree ? hKey : 0);
  const ByteArray blob = ExportKeyBlob(fn, hKey);
  std::unique_ptr<IKey> key(IKey::Create(RsaAlgorithm().get(), L"MSPrivateKeyBlob", blob));
  auto* privateKey = dynamic_cast<IPrivateKey*>(key.get());
  if (privateKey == nullptr) fn.Raise(CRYPTO_NOT_SUPPORTED, kOnlyRsa);
  key.release();
  return std::unique_ptr<IPrivateKey>(privateKey);
}

// ---- export -----------------------------------------------------------------------------------

// A PRIVATEKEYBLOB of an RSA private key.
ByteArray KeyBlobOf(const FunctionTrace& fn, const IPrivateKey& key) {
  const auto* rsa = dynamic_cast<const IRSAPrivateCRTKey*>(&key);
  if (rsa == nullptr) fn.Raise(CRYPTO_NOT_SUPPORTED, kOnlyRsa);
  const Asn1::RsaPrivateKeyNumbers numbers{rsa->GetModulus(),   rsa->GetPublicExponent(), rsa->GetPrivateExponent(),
                                           rsa->GetPrimeP(),    rsa->GetPrimeQ(),         rsa->GetPrimeExponentP(),
                                           rsa->GetPrimeExponentQ(), rsa->GetCrtCoefficient()};
  ByteArray blob;
  if (!WriteRsaPrivateKeyBlob(numbers, &blob)) fn.Raise(CRYPTO_NOT_SUPPORTED, L"Unsupported RSA private key");
  return blob;
}

// The key as a finalized key of the key storage that may be exported in plain text.
NCryptObject ImportKey(const FunctionTrace& fn, NCRYPT_PROV_HANDLE hProvider, const IPrivateKey& key) {
  ByteArray blob = KeyBlobOf(fn, key);
  NCryptObject hKey;
  CheckStatus(fn,
              NCryptImportKey(hProvider, 0, LEGACY_RSAPRIVATE_BLOB, nullptr, hKey.put(), blob.data(),
                              static_cast<DWORD>(blob.size()), NCRYPT_DO_NOT_FINALIZE_FLAG),
              L"NCryptImportKey", L"NCryptImportKey failed");
  DWORD dwPolicy = NCRYPT_ALLOW_EXPORT_FLAG | NCRYPT_ALLOW_PLAINTEXT_EXPORT_FLAG;
  CheckStatus(fn,
              CNG().NCryptSetProperty(hKey.get(), NCRYPT_EXPORT_POLICY_PROPERTY, reinterpret_cast<PBYTE>(&dwPolicy),
                                      static_cast<DWORD>(sizeof dwPolicy), 0),
              L"NCryptSetProperty", L"NCryptSetProperty failed");
  CheckStatus(fn, NCryptFinalizeKey(hKey.get(), 0), L"NCryptFinalizeKey", L"NCryptFinalizeKey failed");
  return hKey;
}

// The context's certificate at the head of `hStore`, paired with its key when it has one.
void AddPaired(const FunctionTrace& fn, HCERTSTORE hStore, NCRYPT_PROV_HANDLE hProvider, const ICertContext& context) {
  const ICertificate* certificate = context.GetCertificate();
  if (certificate == nullptr) fn.Raise(CRYPTO_BAD_PARAM, L"pCertificate=empty");
  const ByteArray encoded = certificate->GetEncoded();
  const CertContext created(CertCreateCertificateContext(kEncoding, encoded.data(), static_cast<DWORD>(encoded.size())));
  if (!created) fn.Raise(CRYPTO_BAD_PARAM, WithCode(L"Error decoding the blob", GetLastError()));
  CertContext stored;
  if (!CertAddCertificateContextToStore(hStore, created.get(), CERT_STORE_ADD_ALWAYS, stored.put()))
    fn.Raise(CRYPTO_INTERNAL_ERROR, WithCode(L"Error adding certificate context to store", GetLastError()));
  const IPrivateKey* key = context.GetPrivateKey();
  if (key == nullptr) return;
  NCryptObject hKey = ImportKey(fn, hProvider, *key);
  const NCRYPT_KEY_HANDLE handle = hKey.get();
  CheckLastError(fn, CertSetCertificateContextProperty(stored.get(), CERT_NCRYPT_KEY_HANDLE_PROP_ID, 0, &handle),
                 L"CertSetCertificateContextProperty", L"CertSetCertificateContextProperty failed");
  hKey.release();  // the store's context frees it
}

}  // namespace

ICertP12Store::~ICertP12Store() = default;

CCNGCertP12Store::CCNGCertP12Store(const WString& sPassword) : m_sPassword(sPassword) {
  const FunctionTrace fn(L"CCNGCertP12Store::CCNGCertP12Store", this);
  fn.Run([&] { m_pContexts = std::make_unique<CertContextCollection>(fn); });
}

CCNGCertP12Store::~CCNGCertP12Store() {
  TraceLifetime(L"CCNGCertP12Store::~CCNGCertP12Store", this, [&] { m_pContexts.reset(); });
}

CCNGCertP12Store* CCNGCertP12Store::Load(const ByteArray& baPfx, const WString& sPassword) {
  const FunctionTrace fn(L"CCNGCertP12Store::Load");
  return fn.Run([&] {
    CRYPT_DATA_BLOB blob = BlobOf(baPfx);
    if (baPfx.empty() || !PFXIsPFXBlob(&blob)) fn.Raise(CRYPTO_NOT_P12, L"Invalid PFX blob");
    RequireCNG(fn);
    const CertStore imported(PFXImportCertStore(&blob, sPassword.c_str(), kImportFlags));
    if (!imported) RaiseImportFailure(fn, GetLastError());
    std::unique_ptr<CCNGCertP12Store> store(new CCNGCertP12Store(sPassword));
    store->AddEach(fn, imported.get());
    return store.release();
  });
}

void CCNGCertP12Store::AddEach(const FunctionTrace& fn, HCERTSTORE hStore) {
  PCCERT_CONTEXT pContext = nullptr;
  while ((pContext = CertEnumCertificatesInStore(hStore, pContext)) != nullptr) {
    // Released on every path, the failing one included; handed back to the enumeration after.
    CertContext current(pContext);
    const std::unique_ptr<ICertificate> certificate(
        fn.Wrap(L"new ICertificate() failed", [&] { return new CCNGX509Certificate(current.get()); }));
    const std::unique_ptr<IPrivateKey> key = PrivateKeyOf(fn, current.get());
    const std::unique_ptr<ICertContext> context(key ? ICertContext::Create(certificate.get(), key.get())
                                                    : ICertContext::Create(certificate.get()));
    AddCertContext(context.get());
    pContext = current.release();
  }
  if (GetLastError() != static_cast<DWORD>(CRYPT_E_NOT_FOUND))
    fn.Raise(CRYPTO_INTERNAL_ERROR, WithCode(L"Error enumerating the store", GetLastError()));
}

ByteArray CCNGCertP12Store::Export(const FunctionTrace& fn, const CertContextList& contexts, const WString& sPassword) {
  RequireCNG(fn);
  const CertStore store(CertOpenStore(CERT_STORE_PROV_MEMORY, kEncoding, 0, 0, nullptr));
  if (!store) fn.Raise(CRYPTO_INTERNAL_ERROR, WithCode(L"Error open store", GetLastError()));
  NCryptObject provider;
  CheckStatus(fn, NCryptOpenStorageProvider(provider.put(), MS_KEY_STORAGE_PROVIDER, 0), L"NCryptOpenStorageProvider",
              L"NCryptOpenStorageProvider failed");
  for (const ICertContext* context : contexts) {
    if (context == nullptr) fn.Raise(CRYPTO_BAD_PARAM, L"pCertContext=empty!", L"pCertContext=NULL!");
    AddPaired(fn, store.get(), provider.get(), *context);
  }
  PKCS12_PBES2_EXPORT_PARAMS params{sizeof(params), nullptr, const_cast<LPWSTR>(PKCS12_PBES2_ALG_AES256_SHA256)};
  CRYPT_DATA_BLOB blob{0, nullptr};
  if (!PFXExportCertStoreEx(store.get(), &blob, sPassword.c_str(), &params, kExportFlags))
    fn.Raise(CRYPTO_INTERNAL_ERROR, WithCode(L"Error serialize (pkcs12) the store", GetLastError()));
  ByteArray pfx(blob.cbData);
  blob.pbData = pfx.data();
  if (!PFXExportCertStoreEx(store.get(), &blob, sPassword.c_str(), &params, kExportFlags))
    fn.Raise(CRYPTO_INTERNAL_ERROR, WithCode(L"Error serialize (pkcs12) the store 2", GetLastError()));
  pfx.resize(blob.cbData);
  return pfx;
}

void CCNGCertP12Store::Save(ByteArray& baStore) {
  const FunctionTrace fn(L"CCNGCertP12Store::Save", this);
  fn.Run([&] {
    baStore = Export(fn, m_pContexts->Contexts(), m_sPassword);
  });
}

std::size_t CCNGCertP12Store::ListCertContext(ICryptoParserFilter* pCertFilter, CertContextList& contexts) {
  const FunctionTrace fn(L"CCNGCertP12Store::ListCertContext", this);
  return fn.Run([&] { return m_pContexts->List(fn, pCertFilter, contexts); });
}

void CCNGCertP12Store::AddCertContext(ICertContext* pCertContext) {
  const FunctionTrace fn(L"CCNGCertP12Store::AddCertContext", this);
  fn.Run([&] { m_pContexts->Add(fn, pCertContext); });
}

void CCNGCertP12Store::DeleteCertContext(ICertContext* pCertContext) {
  const FunctionTrace fn(L"CCNGCertP12Store::DeleteCertContext", this);
  fn.Run([&] { m_pContexts->Delete(fn, pCertContext); });
}

ICertP12Store* ICertP12Store::load(const ByteArray& baPfx, const WString& sPassword) {
  const FunctionTrace fn(L"ICertP12Store::load");
  return fn.Run([&]() -> ICertP12Store* {
    ICertP12Store* pStore = CCNGCertP12Store::Load(baPfx, sPassword);
    fn.Data(L"pStore=%#x", static_cast<const void*>(pStore));
    return pStore;
  });
}

ByteArray ICertP12Store::save(ICertStore* pStore, const WString& sPassword) {
  const FunctionTrace fn(L"ICertP12Store::save");
  return fn.Run([&] {
    if (pStore == nullptr) fn.Raise(CRYPTO_BAD_PARAM, L"pStore=NULL!");
    // Every context: an empty filter lets all through (and the store lists all whatever it says).
    const std::unique_ptr<ICryptoParserFilter> filter(ICryptoParserFilter::Create());
    CertContextList contexts;
    pStore->ListCertContext(filter.get(), contexts);
    return CCNGCertP12Store::Export(fn, contexts, sPassword);
  });
}

}  // namespace ZT::Framework
