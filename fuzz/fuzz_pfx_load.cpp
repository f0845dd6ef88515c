// libFuzzer target over PKCS #12 files: ICertP12Store::load under the password of the fixtures
// (the corpus holds files made with it, so mutations reach the safes and bags), then the store's
// own Save and a second load. Oracles:
// - every context's key, when it has one, is an RSA key with its certificate's modulus and public
//   exponent (keys are paired by key);
// - what Save writes loads again under the same password with the same certificates in the same
//   order, each with a key exactly where it had one.
// The library's failures are CCryptoException pointers, deleted here; anything else escapes and
// is a finding.
#include <cstddef>
#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

#include "fuzz_checks.h"
#include "zt/crypto.h"

namespace {

using namespace ZT::Framework;

using fuzzcheck::Require;
using fuzzcheck::Succeeds;

// The fixtures' password, "pässwörd 1".
const WString kPassword = L"p\u00e4ssw\u00f6rd 1";

std::vector<std::pair<ByteArray, bool>> Contents(ICertStore& store) {
  CertContextList contexts;
  store.ListCertContext(nullptr, contexts);
  std::vector<std::pair<ByteArray, bool>> contents;
  for (ICertContext* context : contexts) {
    ICertificate* certificate = context->GetCertificate();
    if (IPrivateKey* key = context->GetPrivateKey()) {
      const auto* rsa = dynamic_cast<const IRSAPrivateCRTKey*>(key);
      const auto* publicKey = dynamic_cast<const IRSAPublicKey*>(certificate->GetPublicKey());
      Require(rsa != nullptr && publicKey != nullptr);
      Require(rsa->GetModulus() == publicKey->GetModulus() &&
              rsa->GetPublicExponent() == publicKey->GetPublicExponent());
    }
    contents.emplace_back(certificate->GetEncoded(), context->GetPrivateKey() != nullptr);
  }
  return contents;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::unique_ptr<ICertP12Store> store;
  if (!Succeeds([&] { store.reset(ICertP12Store::load(ByteArray(data, data + size), kPassword)); })) return 0;
  const auto contents = Contents(*store);
  ByteArray saved;
  // A key the library holds may still lack the form the platform takes keys in (a prime longer
  // than half the modulus); such a store cannot be written, which is an answer.
  if (!Succeeds([&] { store->Save(saved); })) return 0;
  const std::unique_ptr<ICertP12Store> again(ICertP12Store::load(saved, kPassword));
  Require(Contents(*again) == contents);
  return 0;
}
