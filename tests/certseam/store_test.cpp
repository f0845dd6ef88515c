// The seam's memory stores, their PKCS #7 form, the key storage provider and PFX import and
// export, as the platform publishes them, against what the openssl tool writes and reads.
#include <cstdio>
#include <fstream>
#include <iterator>
#include <memory>
#include <sstream>

#include "certseam_test_util.h"
#include "platform/platform.h"
#include "platform/testing.h"

namespace {

using namespace certseam;

constexpr DWORD kEncoding = X509_ASN_ENCODING | PKCS_7_ASN_ENCODING;

struct StoreClose {
  void operator()(HCERTSTORE store) const { CertCloseStore(store, 0); }
};
using Store = std::unique_ptr<void, StoreClose>;

Store NewStore() { return Store(CertOpenStore(CERT_STORE_PROV_MEMORY, kEncoding, 0, 0, nullptr)); }

void Add(HCERTSTORE store, const std::string& name) {
  const Context context = Load(name);
  ASSERT_TRUE(CertAddCertificateContextToStore(store, context.get(), CERT_STORE_ADD_ALWAYS, nullptr));
}

// The encodings of the store's certificates in enumeration order.
std::vector<Bytes> Enumerated(HCERTSTORE store) {
  std::vector<Bytes> out;
  for (PCCERT_CONTEXT c = CertEnumCertificatesInStore(store, nullptr); c != nullptr;
       c = CertEnumCertificatesInStore(store, c))
    out.emplace_back(c->pbCertEncoded, c->pbCertEncoded + c->cbCertEncoded);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(CRYPT_E_NOT_FOUND));
  return out;
}

Bytes SaveAsPkcs7(HCERTSTORE store) {
  CRYPT_DATA_BLOB blob{0, nullptr};
  EXPECT_TRUE(CertSaveStore(store, kEncoding, CERT_STORE_SAVE_AS_PKCS7, CERT_STORE_SAVE_TO_MEMORY, &blob, 0));
  Bytes bytes(blob.cbData);
  blob.pbData = bytes.data();
  EXPECT_TRUE(CertSaveStore(store, kEncoding, CERT_STORE_SAVE_AS_PKCS7, CERT_STORE_SAVE_TO_MEMORY, &blob, 0));
  return bytes;
}

Store QueryBundle(const Bytes& bundle, DWORD* error = nullptr) {
  CERT_BLOB blob{static_cast<DWORD>(bundle.size()), const_cast<BYTE*>(bundle.data())};
  HCERTSTORE store = nullptr;
  DWORD contentType = 0;
  const BOOL ok = CryptQueryObject(CERT_QUERY_OBJECT_BLOB, &blob, CERT_QUERY_CONTENT_FLAG_PKCS7_UNSIGNED,
                                   CERT_QUERY_FORMAT_FLAG_BINARY, 0, nullptr, &contentType, nullptr, &store, nullptr,
                                   nullptr);
  if (error != nullptr) *error = ok ? 0 : GetLastError();
  if (ok) {
    EXPECT_EQ(contentType, static_cast<DWORD>(CERT_QUERY_CONTENT_PKCS7_UNSIGNED));
  }
  return Store(ok ? store : nullptr);
}

// Saving follows the size protocol (SaveAsPkcs7 asks for the size first) and offers PKCS #7 only.
TEST(MemoryStore, EnumeratesNewestFirstSavesInThatOrderAndReadsOnlyUnsignedBundles) {
  const Store store = NewStore();
  for (const char* name : {"logon", "intermediate", "root"}) Add(store.get(), name);
  EXPECT_EQ(Enumerated(store.get()), (std::vector<Bytes>{Fixture("root"), Fixture("intermediate"), Fixture("logon")}));
  // A bundle saved from it holds them in that order, and so is read back the other way round.
  const Bytes saved = SaveAsPkcs7(store.get());
  EXPECT_EQ(Enumerated(QueryBundle(saved).get()),
            (std::vector<Bytes>{Fixture("logon"), Fixture("intermediate"), Fixture("root")}));

  Bytes small(saved.size() - 1);
  CRYPT_DATA_BLOB blob{static_cast<DWORD>(small.size()), small.data()};
  EXPECT_EQ(ErrorOf(CertSaveStore(store.get(), kEncoding, CERT_STORE_SAVE_AS_PKCS7, CERT_STORE_SAVE_TO_MEMORY, &blob, 0)),
            Code(ERROR_MORE_DATA));
  EXPECT_EQ(blob.cbData, saved.size());
  EXPECT_EQ(ErrorOf(CertSaveStore(store.get(), kEncoding, CERT_STORE_SAVE_AS_STORE, CERT_STORE_SAVE_TO_MEMORY, &blob, 0)),
            Code(E_INVALIDARG));
  EXPECT_EQ(ErrorOf(CertCloseStore(reinterpret_cast<HCERTSTORE>(0x1234), 0)), Code(E_INVALIDARG));

  // Only an unsigned bundle in DER is read as one: not a certificate, nor a signed message (it
  // has a signer).
  DWORD error = 0;
  EXPECT_FALSE(QueryBundle(Fixture("logon"), &error));
  EXPECT_EQ(error, static_cast<DWORD>(CRYPT_E_NO_MATCH));
  const Bytes signedMessage = zttest::OpensslOutput(
      "cms -sign -in {in} -signer " + zttest::ShellQuoted(CertPath("logon.pem")) + " -inkey " +
          zttest::ShellQuoted(CertPath("logon.key")) + " -outform DER -nodetach -out {out}",
      Bytes{'h', 'i'});
  ASSERT_FALSE(signedMessage.empty());
  EXPECT_FALSE(QueryBundle(signedMessage, &error));
  EXPECT_EQ(error, static_cast<DWORD>(CRYPT_E_NO_MATCH));
}

TEST(MemoryStore, ReadsTheSystemCaBundleLastCertificateFirst) {
  const std::string path = "/etc/ssl/certs/ca-certificates.crt";
  std::ifstream in(path);
  if (!in) GTEST_SKIP() << "no system CA bundle";
  const std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  std::size_t count = 0;
  for (std::size_t at = text.find("-----BEGIN CERTIFICATE-----"); at != std::string::npos;
       at = text.find("-----BEGIN CERTIFICATE-----", at + 1))
    ++count;
  const Bytes bundle = zttest::OpensslOutput("crl2pkcs7 -nocrl -certfile {in} -outform DER -out {out}", Bytes(text.begin(), text.end()));
  const std::string last = text.substr(text.rfind("-----BEGIN CERTIFICATE-----"));
  const Bytes lastDer = zttest::OpensslOutput("x509 -in {in} -outform DER -out {out}", Bytes(last.begin(), last.end()));
  const Store store = QueryBundle(bundle);
  ASSERT_TRUE(store);
  const std::vector<Bytes> enumerated = Enumerated(store.get());
  EXPECT_EQ(enumerated.size(), count);
  ASSERT_FALSE(enumerated.empty());
  EXPECT_EQ(enumerated.front(), lastDer);
}

TEST(MemoryStore, KeepsContextsAliveAndEnumerationSafeAcrossDeletesAndClose) {
  Store store = NewStore();
  for (const char* name : {"logon", "intermediate", "root"}) Add(store.get(), name);
  // Deleting the context just enumerated ends nothing: the next call goes on from where it was.
  PCCERT_CONTEXT first = CertEnumCertificatesInStore(store.get(), nullptr);
  ASSERT_TRUE(CertDeleteCertificateFromStore(CertDuplicateCertificateContext(first)));
  EXPECT_EQ(CertEnumCertificatesInStore(store.get(), first), nullptr);  // first is gone from the list
  EXPECT_EQ(Enumerated(store.get()), (std::vector<Bytes>{Fixture("intermediate"), Fixture("logon")}));
  // ADD_NEW refuses a certificate that is there.
  const Context logon = Load("logon");
  EXPECT_EQ(ErrorOf(CertAddCertificateContextToStore(store.get(), logon.get(), CERT_STORE_ADD_NEW, nullptr)),
            Code(CRYPT_E_EXISTS));
  // A context held past the close stays readable; the check flag reports it.
  PCCERT_CONTEXT held = CertEnumCertificatesInStore(store.get(), nullptr);
  EXPECT_EQ(ErrorOf(CertCloseStore(store.release(), CERT_CLOSE_STORE_CHECK_FLAG)), Code(CRYPT_E_PENDING_CLOSE));
  EXPECT_EQ(Bytes(held->pbCertEncoded, held->pbCertEncoded + held->cbCertEncoded), Fixture("intermediate"));
  EXPECT_TRUE(CertDeleteCertificateFromStore(held));  // its store is closed: nothing to take it from
}

// ---- key storage ---------------------------------------------------------------------------

struct NCryptFree {
  void operator()(NCRYPT_HANDLE* handle) const {
    NCryptFreeObject(*handle);
    delete handle;
  }
};

// The PRIVATEKEYBLOB openssl writes for fixture key <name>.
Bytes OpensslPrivateKeyBlob(const std::string& name) {
  return zttest::OpensslOutput("rsa -in {in} -outform MSBLOB -out {out}", zttest::ReadBinaryFile(CertPath(name + ".key")));
}

TEST(KeyStorage, ImportsAndExportsOpensslsPrivateKeyBlobUnderItsExportPolicy) {
  const Bytes blob = OpensslPrivateKeyBlob("logon");
  ASSERT_FALSE(blob.empty());
  const std::size_t live = ZT::Platform::Testing::LiveHandleCount();
  NCRYPT_PROV_HANDLE provider = 0;
  ASSERT_EQ(NCryptOpenStorageProvider(&provider, MS_KEY_STORAGE_PROVIDER, 0), ERROR_SUCCESS);
  NCRYPT_KEY_HANDLE key = 0, locked = 0, broken = 0;
  Bytes input = blob;
  const auto import = [&](NCRYPT_KEY_HANDLE* imported, DWORD flags) {
    return NCryptImportKey(provider, 0, LEGACY_RSAPRIVATE_BLOB, nullptr, imported, input.data(),
                           static_cast<DWORD>(input.size()), flags);
  };
  ASSERT_EQ(import(&key, NCRYPT_DO_NOT_FINALIZE_FLAG), ERROR_SUCCESS);
  DWORD size = 0;
  EXPECT_EQ(NCryptExportKey(key, 0, LEGACY_RSAPRIVATE_BLOB, nullptr, nullptr, 0, &size, 0), NTE_BAD_KEY_STATE);
  DWORD policy = NCRYPT_ALLOW_EXPORT_FLAG | NCRYPT_ALLOW_PLAINTEXT_EXPORT_FLAG;
  ASSERT_EQ(NCryptSetProperty(key, NCRYPT_EXPORT_POLICY_PROPERTY, reinterpret_cast<PBYTE>(&policy), 4, 0), ERROR_SUCCESS);
  ASSERT_EQ(NCryptFinalizeKey(key, 0), ERROR_SUCCESS);
  EXPECT_EQ(NCryptSetProperty(key, NCRYPT_EXPORT_POLICY_PROPERTY, reinterpret_cast<PBYTE>(&policy), 4, 0), NTE_PERM);
  ASSERT_EQ(NCryptExportKey(key, 0, LEGACY_RSAPRIVATE_BLOB, nullptr, nullptr, 0, &size, 0), ERROR_SUCCESS);
  Bytes out(size - 1);
  EXPECT_EQ(NCryptExportKey(key, 0, LEGACY_RSAPRIVATE_BLOB, nullptr, out.data(), size - 1, &size, 0), NTE_BUFFER_TOO_SMALL);
  out.resize(size);
  ASSERT_EQ(NCryptExportKey(key, 0, LEGACY_RSAPRIVATE_BLOB, nullptr, out.data(), size, &size, 0), ERROR_SUCCESS);
  EXPECT_EQ(out, blob);
  EXPECT_EQ(NCryptExportKey(key, 0, L"RSAFULLPRIVATEBLOB", nullptr, nullptr, 0, &size, 0), NTE_NOT_SUPPORTED);
  // Imported and finalized at once: the policy is 0, nothing goes out in plain text.
  ASSERT_EQ(import(&locked, 0), ERROR_SUCCESS);
  EXPECT_EQ(NCryptExportKey(locked, 0, LEGACY_RSAPRIVATE_BLOB, nullptr, nullptr, 0, &size, 0), NTE_NOT_SUPPORTED);
  input[20] ^= 1;  // the modulus is even now
  EXPECT_EQ(import(&broken, 0), NTE_BAD_DATA);
  for (NCRYPT_HANDLE handle : {NCRYPT_HANDLE{locked}, NCRYPT_HANDLE{key}, NCRYPT_HANDLE{provider}})
    EXPECT_EQ(NCryptFreeObject(handle), ERROR_SUCCESS);
  EXPECT_EQ(NCryptFreeObject(key), NTE_INVALID_HANDLE);
  EXPECT_EQ(NCryptExportKey(key, 0, LEGACY_RSAPRIVATE_BLOB, nullptr, nullptr, 0, &size, 0), NTE_INVALID_HANDLE);
  EXPECT_EQ(ZT::Platform::Testing::LiveHandleCount(), live);
}

// ---- PFX -------------------------------------------------------------------------------------

Bytes StoreFixture(const std::string& name) { return zttest::ReadFixtureFile("stores/" + name); }

std::wstring FixturePassword() {
  // The fixtures' password, "pässwörd 1", written out here as wide text.
  return L"p\u00e4ssw\u00f6rd 1";
}

Store Import(const Bytes& pfx, const std::wstring& password, DWORD flags, DWORD* error = nullptr) {
  CRYPT_DATA_BLOB blob{static_cast<DWORD>(pfx.size()), const_cast<BYTE*>(pfx.data())};
  HCERTSTORE store = PFXImportCertStore(&blob, password.c_str(), flags);
  if (error != nullptr) *error = store == nullptr ? GetLastError() : 0;
  return Store(store);
}

// The PFX of a store (the size first, then the bytes), or empty with the reason in *error.
Bytes Export(HCERTSTORE store, const wchar_t* password, void* para, DWORD flags, DWORD* error = nullptr) {
  CRYPT_DATA_BLOB blob{0, nullptr};
  Bytes pfx;
  if (PFXExportCertStoreEx(store, &blob, password, para, flags)) {
    pfx.resize(blob.cbData);
    blob.pbData = pfx.data();
    const DWORD announced = blob.cbData;
    if (!PFXExportCertStoreEx(store, &blob, password, para, flags)) pfx.clear();
    EXPECT_EQ(blob.cbData, announced) << "two exports of one store differ in size";
  }
  if (error != nullptr) *error = pfx.empty() ? GetLastError() : 0;
  return pfx;
}

std::string OpensslPkcs12(const Bytes& pfx, const std::string& options) {
  const Bytes out = zttest::OpensslOutput("pkcs12 " + options + " -passin pass:pw -in {in} -out {out}", pfx);
  return std::string(out.begin(), out.end());
}

// What `openssl pkcs12 -info` says of the protection of a PFX.
std::string OpensslProtection(const Bytes& pfx) {
  const std::string path = testing::TempDir() + "zt-protection-" + std::to_string(::getpid()) + ".p12";
  std::ofstream(path, std::ios::binary).write(reinterpret_cast<const char*>(pfx.data()), static_cast<std::streamsize>(pfx.size()));
  const std::string info =
      zttest::CommandOutput("openssl pkcs12 -info -noout -legacy -passin pass:pw -in " + zttest::ShellQuoted(path) + " 2>&1");
  std::remove(path.c_str());
  return info;
}

TEST(Pfx, RecognisesAPfxWhateverFollowsIt) {
  Bytes pfx = StoreFixture("modern.p12");
  pfx.push_back(0);
  CRYPT_DATA_BLOB blob{static_cast<DWORD>(pfx.size()), pfx.data()};
  EXPECT_TRUE(PFXIsPFXBlob(&blob));
  Bytes bundle = StoreFixture("three.p7b");
  CRYPT_DATA_BLOB other{static_cast<DWORD>(bundle.size()), bundle.data()};
  EXPECT_FALSE(PFXIsPFXBlob(&other));
  DWORD error = 0;
  EXPECT_FALSE(Import(StoreFixture("modern.p12"), FixturePassword(), 0x10000000, &error));
  EXPECT_EQ(error, static_cast<DWORD>(NTE_BAD_FLAGS));
}

// Keys leave only when imported exportable; without PBES2 parameters the older protection.
TEST(Pfx, KeysLeaveOnlyWhenImportedExportableUnderTheProtectionAsked) {
  const Store exportable = Import(StoreFixture("modern.p12"), FixturePassword(), CRYPT_EXPORTABLE);
  const Store locked = Import(StoreFixture("modern.p12"), FixturePassword(), 0);
  ASSERT_TRUE(exportable && locked);
  PKCS12_PBES2_EXPORT_PARAMS modern{sizeof(modern), nullptr, const_cast<LPWSTR>(PKCS12_PBES2_ALG_AES256_SHA256)};
  const DWORD flags = EXPORT_PRIVATE_KEYS | PKCS12_EXPORT_PBES2_PARAMS;
  DWORD error = 0;
  EXPECT_TRUE(Export(locked.get(), L"pw", &modern, flags | REPORT_NOT_ABLE_TO_EXPORT_PRIVATE_KEY, &error).empty());
  EXPECT_EQ(error, static_cast<DWORD>(NTE_NOT_SUPPORTED));
  // Without the report flag the key is left out.
  EXPECT_EQ(OpensslPkcs12(Export(locked.get(), L"pw", &modern, flags), "-nocerts -nodes").find("PRIVATE KEY"),
            std::string::npos);
  EXPECT_NE(OpensslPkcs12(Export(exportable.get(), L"pw", &modern, flags), "-nocerts -nodes").find("PRIVATE KEY"),
            std::string::npos);
  // A certificate without key, reported.
  const Store keyless = NewStore();
  Add(keyless.get(), "root");
  EXPECT_TRUE(Export(keyless.get(), L"pw", &modern, flags | REPORT_NO_PRIVATE_KEY, &error).empty());
  EXPECT_EQ(error, static_cast<DWORD>(CRYPT_E_NO_KEY_PROPERTY));

  // Without PBES2 parameters, the older protection.
  const Bytes pfx = Export(exportable.get(), L"pw", nullptr, EXPORT_PRIVATE_KEYS);
  EXPECT_NE(OpensslPkcs12(pfx, "-nokeys -legacy").find("subject="), std::string::npos);
  const std::string text = OpensslProtection(pfx);
  for (const char* expected : {"MAC: sha1, Iteration 2048", "Shrouded Keybag: pbeWithSHA1And3-KeyTripleDES-CBC, Iteration 2048",
                               "PKCS7 Encrypted data: pbeWithSHA1And3-KeyTripleDES-CBC, Iteration 2048"})
    EXPECT_NE(text.find(expected), std::string::npos) << expected << "\n" << text;
  // Named parameters must name the one algorithm offered.
  PKCS12_PBES2_EXPORT_PARAMS other{sizeof(other), nullptr, const_cast<LPWSTR>(L"AES128-SHA1")};
  EXPECT_TRUE(Export(exportable.get(), L"pw", &other, flags, &error).empty());
  EXPECT_EQ(error, static_cast<DWORD>(E_INVALIDARG));
}

TEST(Pfx, PairsTheKeyWithItsContextOnly) {
  const Store store = Import(StoreFixture("chain.p12"), FixturePassword(), CRYPT_EXPORTABLE);
  ASSERT_TRUE(store);
  std::vector<bool> hasKey;
  for (PCCERT_CONTEXT c = CertEnumCertificatesInStore(store.get(), nullptr); c != nullptr;
       c = CertEnumCertificatesInStore(store.get(), c)) {
    HCRYPTPROV_OR_NCRYPT_KEY_HANDLE key = 0;
    DWORD keyKind = 0;
    BOOL callerFrees = TRUE;
    const BOOL found = CryptAcquireCertificatePrivateKey(c, CRYPT_ACQUIRE_ONLY_NCRYPT_KEY_FLAG, nullptr, &key, &keyKind, &callerFrees);
    hasKey.push_back(found != FALSE);
    if (found) {
      EXPECT_EQ(keyKind, CERT_NCRYPT_KEY_SPEC);
      EXPECT_FALSE(callerFrees);
      EXPECT_EQ(ErrorOf(CryptAcquireCertificatePrivateKey(c, 0, nullptr, &key, &keyKind, &callerFrees)),
                Code(NTE_BAD_FLAGS));
    } else {
      EXPECT_EQ(GetLastError(), static_cast<DWORD>(CRYPT_E_NO_KEY_PROPERTY));
    }
  }
  EXPECT_EQ(hasKey, (std::vector<bool>{false, false, true}));  // root, issuing CA, logon
}

}  // namespace
