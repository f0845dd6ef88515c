// Helpers of the store tests: fixture bundles and PFX files, owned library objects, the contexts a
// store lists, and what the openssl tool says of what the stores write.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "codec/crypto.der.h"
#include "support/call_failures.h"
#include "support/cert_fixture.h"
#include "support/command.h"
#include "support/log_capture.h"
#include "support/thrown.h"
#include "zt/crypto.h"

namespace storetest {

using namespace ZT::Framework;
using zttest::ExpectFailure;
using zttest::MessageAt;
using zttest::Thrown;

using Certificate = std::unique_ptr<ICertificate>;
using Context = std::unique_ptr<ICertContext>;
using P7bStore = std::unique_ptr<ICertP7bStore>;
using P12Store = std::unique_ptr<ICertP12Store>;

inline ByteArray Bytes(const std::vector<unsigned char>& bytes) { return ByteArray(bytes.begin(), bytes.end()); }
inline std::vector<unsigned char> Plain(const ByteArray& bytes) { return {bytes.begin(), bytes.end()}; }

// tests/fixtures/stores/<name>.
inline ByteArray StoreFixture(const std::string& name) { return Bytes(zttest::ReadFixtureFile("stores/" + name)); }
inline std::string StorePath(const std::string& name) { return zttest::FixturePath("stores/" + name); }

// The DER of tests/fixtures/certs/<name>.der.
inline ByteArray CertDer(const std::string& name) { return Bytes(zttest::CertBytes(name)); }
inline Certificate LoadCertificate(const std::string& name) {
  return Certificate(ICertificate::Create(CERT_FORMAT_X509, CertDer(name)));
}

// The password of the PFX fixtures (stores/password.txt, UTF-8).
inline WString FixturePassword() {
  const ByteArray utf8 = StoreFixture("password.txt");
  WString password;
  EXPECT_TRUE(Der::DecodeString(Der::kUtf8StringType, Der::Bytes(utf8.data(), utf8.size()), &password));
  return password;
}

// The contexts the store lists (still the store's).
inline std::vector<ICertContext*> Listed(ICertStore& store) {
  CertContextList list;
  const std::size_t count = store.ListCertContext(nullptr, list);
  EXPECT_EQ(count, list.size());
  return {list.begin(), list.end()};
}

// The encodings of the listed contexts' certificates, in listing order.
inline std::vector<ByteArray> ListedEncodings(ICertStore& store) {
  std::vector<ByteArray> encodings;
  for (ICertContext* context : Listed(store)) encodings.push_back(context->GetCertificate()->GetEncoded());
  return encodings;
}

// The encodings of fixture certificates, in the order named.
inline std::vector<ByteArray> Encodings(const std::vector<std::string>& names) {
  std::vector<ByteArray> encodings;
  for (const std::string& name : names) encodings.push_back(CertDer(name));
  return encodings;
}

// A P7B store with a context of each fixture certificate named, added in that order.
inline P7bStore StoreOf(const std::vector<std::string>& names) {
  P7bStore store(ICertP7bStore::Create());
  for (const std::string& name : names) {
    const Certificate certificate = LoadCertificate(name);
    const Context context(ICertContext::Create(certificate.get()));
    store->AddCertContext(context.get());
  }
  return store;
}

// What the store's Save writes, which replaces what the array held.
inline ByteArray Saved(ICertStore& store) {
  ByteArray saved{0xde, 0xad};
  store.Save(saved);
  return saved;
}

// A file for the test to write, removed when it goes.
class ScratchFile {
 public:
  explicit ScratchFile(const std::string& name);
  ~ScratchFile();
  ScratchFile(const ScratchFile&) = delete;
  ScratchFile& operator=(const ScratchFile&) = delete;
  const std::string& Path() const { return m_path; }
  void Write(const ByteArray& bytes) const;

 private:
  std::string m_path;
};

// The subject lines ("subject=...") `openssl <command> -print_certs` prints for `input`, in order.
std::vector<std::string> OpensslSubjects(const std::string& command, const ByteArray& input);
// The subject line openssl prints for fixture certificate <name>.
std::string FixtureSubject(const std::string& name);

// `key` as an RSA private key (a failure of the test when it is not one).
const IRSAPrivateCRTKey& RsaKey(const IPrivateKey* key);
// The public key of a certificate, as an RSA key.
const IRSAPublicKey& RsaPublicKey(const ICertificate& certificate);

// The PKCS #12 store of `pfx` under `password`, or of fixture `name` under the fixtures' password.
P12Store LoadPfx(const ByteArray& pfx, const WString& password);
P12Store LoadPfx(const std::string& name);

// The context's key is the one of the certificate it is paired with, and of fixture key <keyName>
// (its private exponent as the openssl tool prints it).
void ExpectPairedKey(const ICertContext& context, const std::string& keyName);

}  // namespace storetest
