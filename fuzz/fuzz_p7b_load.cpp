// libFuzzer target over PKCS #7 certificate bundles: ICertP7bStore::Load, then ListCertContext and
// Save. Oracles:
// - every listed context has a certificate and no key, and the count returned is the list's;
// - what Save writes loads again with the same certificates in the same order, and saving that
//   store writes the same bytes (the platform's enumeration order turns twice).
// The library's failures are CCryptoException pointers, deleted here; anything else escapes and
// is a finding.
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "fuzz_checks.h"
#include "zt/crypto.h"

namespace {

using namespace ZT::Framework;

using fuzzcheck::Require;
using fuzzcheck::Succeeds;

std::vector<ByteArray> Encodings(ICertStore& store) {
  CertContextList contexts;
  const std::size_t count = store.ListCertContext(nullptr, contexts);
  Require(count == contexts.size());
  std::vector<ByteArray> encodings;
  for (ICertContext* context : contexts) {
    Require(context->GetCertificate() != nullptr && context->GetPrivateKey() == nullptr);
    encodings.push_back(context->GetCertificate()->GetEncoded());
  }
  return encodings;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::unique_ptr<ICertP7bStore> store;
  if (!Succeeds([&] { store.reset(ICertP7bStore::Load(ByteArray(data, data + size))); })) return 0;
  const std::vector<ByteArray> encodings = Encodings(*store);
  ByteArray saved;
  store->Save(saved);
  const std::unique_ptr<ICertP7bStore> again(ICertP7bStore::Load(saved));
  Require(Encodings(*again) == encodings);
  ByteArray savedAgain;
  again->Save(savedAgain);
  Require(savedAgain == saved);
  return 0;
}
