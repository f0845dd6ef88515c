// Each platform call of RSA signature verification fails in turn, on CNG and on the CryptoAPI
// fallback (tests/fixtures/failures/signature.txt): what is thrown and logged, that nothing is
// left open, and that the engine still holds its key and data.
#include <optional>

#include "rsa_test_util.h"
#include "support/call_failures.h"
#include "support/log_capture.h"

namespace {

using namespace rsatest;
using zttest::ExpectCallFailure;
using zttest::NoHandleLeft;
using zttest::ReadCallFailures;

// Verifies the tool's signature of the fixture data's SHA-256 DigestInfo under the 2048-bit
// fixture key with the row's failure armed; then, when `retry` says what it answers, again.
void ExpectSignatureFailures(const std::string& section, std::optional<bool> retry) {
  const auto key = ImportKey(L"X509", Fixture("rsa2048.pub.der"));
  const auto map = NewMap();
  map->SetPadding(L"PKCS1");
  const ByteArray info = DigestInfo("sha256", Fixture("data.txt"));
  const ByteArray signature = Fixture("data.sha256.sig");
  for (const auto& row : ReadCallFailures("signature", section)) {
    const NoHandleLeft handles;
    const std::unique_ptr<Signature> engine(Signature::Create(Algorithm(L"RSA").get(), map.get()));
    engine->Init(dynamic_cast<IPublicKey*>(key.get()));
    engine->Update(info);
    ExpectCallFailure(row, [&] { engine->Verify(signature); });
    if (retry) {
      EXPECT_EQ(engine->Verify(signature), *retry) << row.Name();
    }
  }
}

TEST(SignatureCallFailures, EachCallOnCngFails) { ExpectSignatureFailures("cng", true); }

class SignatureCallFailuresWithoutCNG : public WithModuleHooks {};

// The provider pads what it encrypts as a message, so a whole signature never gets past the first
// CryptEncrypt on its own (see RsaSignatureWithoutCNG): there is no answer to retry for.
TEST_F(SignatureCallFailuresWithoutCNG, EachCallOnCryptoApiFails) {
  MakeCNGUnavailable();
  ExpectSignatureFailures("cryptoapi", std::nullopt);
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
  const auto e = Thrown([&] { engine->Verify(Fixture("data.sha256.sig")); });
  ExpectFailure(e, CRYPTO_INTERNAL_ERROR, L"CryptDecodeObjectEx(RSA_CSP_PUBLICKEYBLOB) failed!");
  EXPECT_EQ(capture.At(NQLOG_ERROR).back(),
            L"CCNGRSASignature::Verify : Error 0x80093103 returned by CryptDecodeObjectEx(RSA_CSP_PUBLICKEYBLOB)");
}

}  // namespace
