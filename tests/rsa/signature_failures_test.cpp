// Each platform call of RSA signature verification fails in turn, on CNG and on the CryptoAPI
// fallback (tests/fixtures/failures/signature.txt): what is thrown and logged, that nothing is
// left open, and that the engine still holds its key and data.
#include "rsa_test_util.h"
#include "support/call_failures.h"

namespace {

using namespace rsatest;
using zttest::ExpectCallFailure;
using zttest::NoHandleLeft;
using zttest::ReadCallFailures;

// Verifies `signature` of the fixture data's SHA-256 DigestInfo under the 2048-bit fixture key
// once with the row's failure armed, then again.
void ExpectSignatureFailures(const std::string& section, const ByteArray& signature, bool valid) {
  const auto key = ImportKey(L"X509", Fixture("rsa2048.pub.der"));
  const auto map = NewMap();
  map->SetPadding(L"PKCS1");
  const ByteArray info = DigestInfo("sha256", Fixture("data.txt"));
  for (const auto& row : ReadCallFailures("signature", section)) {
    const NoHandleLeft handles;
    const std::unique_ptr<Signature> engine(Signature::Create(Algorithm(L"RSA").get(), map.get()));
    engine->Init(dynamic_cast<IPublicKey*>(key.get()));
    engine->Update(info);
    ExpectCallFailure(row, [&] { engine->Verify(signature); });
    EXPECT_EQ(engine->Verify(signature), valid) << row.Name();
  }
}

TEST(SignatureCallFailures, EachCallOnCngFails) {
  ExpectSignatureFailures("cng", Fixture("data.sha256.sig"), true);
}

class SignatureCallFailuresWithoutCNG : public WithModuleHooks {};

// The provider pads what it encrypts, so only a value shorter than the modulus by 11 bytes gets
// through both calls (and never recovers a valid block).
TEST_F(SignatureCallFailuresWithoutCNG, EachCallOnCryptoApiFails) {
  MakeCNGUnavailable();
  ExpectSignatureFailures("cryptoapi", Text("short"), false);
}

}  // namespace
