// Each platform call of RSA signature verification fails in turn, on CNG and on the CryptoAPI
// fallback (tests/fixtures/failures/signature.txt): what is thrown and logged, that nothing is
// left open, and that the engine still holds its key and data.
#include "rsa_test_util.h"
#include "support/call_failures.h"
#include "support/log_capture.h"

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

// A public exponent wider than 32 bits has no CryptoAPI key blob: the fallback cannot take the
// key, and says so as the failed decoding of that blob.
TEST_F(SignatureCallFailuresWithoutCNG, AKeyTheProviderCannotHoldIsAFailedDecoding) {
  MakeCNGUnavailable();
  const NoHandleLeft handles;
  const std::unique_ptr<IRSAPublicKey> key(IRSAPublicKey::Create(HexFixture("rsa2048.n.hex"), Hex("0100000001")));
  const std::unique_ptr<Signature> engine(Signature::Create(Algorithm(L"RSA").get(), nullptr));
  engine->Init(key.get());
  engine->Update(Text("block"));
  zttest::LogCapture capture(NQLOG_ERROR);
  const auto e = Thrown([&] { engine->Verify(Text("short")); });
  ExpectFailure(e, CRYPTO_INTERNAL_ERROR, L"CryptDecodeObjectEx(RSA_CSP_PUBLICKEYBLOB) failed!");
  EXPECT_EQ(capture.At(NQLOG_ERROR).back(),
            L"CCNGRSASignature::Verify : Error 0x80093103 returned by CryptDecodeObjectEx(RSA_CSP_PUBLICKEYBLOB)");
}

}  // namespace
