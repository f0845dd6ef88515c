// Each platform call of the EC key import, ECDH generation and agreement, and the SP 800-56A
// derivation fails in turn (tests/fixtures/failures/ecdh.txt): what is thrown and logged, that no
// platform handle is left open, and that the engine works on afterwards.
#include <string>

#include "ecdh_test_util.h"
#include "support/call_failures.h"

namespace {

using namespace enginetest;
using zttest::ExpectCallFailure;
using zttest::NoHandleLeft;
using zttest::ReadCallFailures;

const EcdhCurve& kCurve = kEcdhCurves[0];

TEST(EcdhCallFailures, ImportOfAPointAndGenerationOfAPair) {
  const ByteArray point = OpensslKeyPoint(kCurve);
  const auto algorithm = CurveAlgorithm(kCurve);
  for (const auto& row : ReadCallFailures("ecdh", "import")) {
    const NoHandleLeft handles;
    ExpectCallFailure(row, [&] { delete IKey::Create(algorithm.get(), L"ECCPublicKey", point); });
  }
  // A failed generation leaves nothing behind, not even the half-built pair's key; the generator
  // makes the next pair as usual.
  const std::unique_ptr<KeyPairGenerator> generator(KeyPairGenerator::Create(CurveAlgorithm(kCurve).get(), nullptr));
  for (const auto& row : ReadCallFailures("ecdh", "generate")) {
    const NoHandleLeft handles;
    ExpectCallFailure(row, [&] { delete generator->GenerateKeyPair(); });
    delete generator->GenerateKeyPair();
  }
}

// A failed agreement leaves the engine initialised: the retry gives the secret.
TEST(EcdhCallFailures, AgreementStaysInitialised) {
  auto own = GeneratePair(kCurve), peer = GeneratePair(kCurve);
  const ByteArray expected = Agree(kCurve, peer->GetPrivateKey(), own->GetPublicKey());
  const std::unique_ptr<KeyAgreement> agreement(KeyAgreement::Create(CurveAlgorithm(kCurve).get(), nullptr));
  agreement->Init(own->GetPrivateKey());
  for (const std::string section : {"agree", "reference"}) {
    for (const auto& row : ReadCallFailures("ecdh", section)) {
      const NoHandleLeft handles;
      ExpectCallFailure(row, [&] {
        delete (section == "agree" ? agreement->GenerateSecret(peer->GetPublicKey())
                                   : agreement->GenerateSecretReference(peer->GetPublicKey()));
      });
      const std::unique_ptr<ISharedSecret> secret(agreement->GenerateSecret(peer->GetPublicKey()));
      EXPECT_EQ(secret->GetEncoded(), expected) << row.Name();
    }
  }
}

// A failed derivation leaves the engine initialised with the same secret, on both paths; the
// caller's output is left as it was.
TEST(EcdhCallFailures, DerivationStaysInitialised) {
  auto v = zttest::Rfc5903(kCurve);
  auto own = PairFromPrivateBlob(kCurve, zttest::EccBlob(kCurve.privateMagic, {v["gix"], v["giy"], v["i"]}));
  const auto peer = ImportPoint(kCurve, Point(v["grx"], v["gry"]));
  const std::unique_ptr<KeyAgreement> agreement(KeyAgreement::Create(CurveAlgorithm(kCurve).get(), nullptr));
  agreement->Init(own->GetPrivateKey());
  const std::unique_ptr<ISharedSecret> reference(agreement->GenerateSecretReference(dynamic_cast<IPublicKey*>(peer.get())));
  const std::unique_ptr<ISharedSecret> value(ISharedSecret::Create(Hex(v["girx"])));
  for (const auto& [section, secret] : {std::pair{"derive-reference", reference.get()}, std::pair{"derive-value", value.get()}}) {
    const std::unique_ptr<KeyDerivation> kdf(KeyDerivation::Create(Algorithm(L"800_56A_KDF").get(), nullptr));
    kdf->Init(secret);
    ByteArray expected;
    kdf->Derive(Text("other info"), 33, expected);
    for (const auto& row : ReadCallFailures("ecdh", section)) {
      const NoHandleLeft handles;
      ByteArray out = Text("kept");
      ExpectCallFailure(row, [&] { kdf->Derive(Text("other info"), 33, out); });
      EXPECT_EQ(out, Text("kept")) << row.Name();
      kdf->Derive(Text("other info"), 33, out);
      EXPECT_EQ(out, expected) << row.Name();
    }
  }
}

}  // namespace
