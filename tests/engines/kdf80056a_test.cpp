// The SP 800-56A single-step derivation: RFC 7518's ECDH-ES example end to end, block counts
// against SHA-256 computed outside the library, both secret forms alike, and the life cycle.
#include <string>
#include <vector>

#include "ecdh_test_util.h"
#include "support/log_capture.h"
#include "support/reference_digest.h"
#include "support/sections.h"

namespace {

using namespace enginetest;
using zttest::LogCapture;

std::unique_ptr<KeyDerivation> New80056A() {
  return std::unique_ptr<KeyDerivation>(KeyDerivation::Create(Algorithm(L"800_56A_KDF").get(), nullptr));
}

ByteArray Derive(ISharedSecret& secret, const ByteArray& otherInfo, std::uint32_t length) {
  const auto kdf = New80056A();
  kdf->Init(&secret);
  ByteArray out;
  kdf->Derive(otherInfo, length, out);
  return out;
}

// SHA-256(counter || z || otherInfo) for counters 1..blocks, joined, computed outside the library.
ByteArray Blocks(const ByteArray& z, const ByteArray& otherInfo, unsigned blocks) {
  ByteArray out;
  for (unsigned i = 1; i <= blocks; ++i) {
    ByteArray input = {0, 0, 0, static_cast<unsigned char>(i)};
    input.insert(input.end(), z.begin(), z.end());
    input.insert(input.end(), otherInfo.begin(), otherInfo.end());
    const auto block = zttest::ReferenceDigest("SHA256", input);
    out.insert(out.end(), block.begin(), block.end());
  }
  return out;
}

ByteArray Cut(ByteArray bytes, std::size_t length) {
  bytes.resize(length);
  return bytes;
}

// The agreement of a published vector's private key with the peer's point, kept in the platform.
std::unique_ptr<ISharedSecret> ReferenceSecret(const EcdhCurve& curve, const std::vector<unsigned char>& privateBlob,
                                               const ByteArray& peerPoint) {
  auto own = PairFromPrivateBlob(curve, privateBlob);
  const std::unique_ptr<KeyAgreement> agreement(KeyAgreement::Create(CurveAlgorithm(curve).get(), nullptr));
  agreement->Init(own->GetPrivateKey());
  const auto peer = ImportPoint(curve, peerPoint);
  // The secret stays valid after the keys and the engine are gone.
  return std::unique_ptr<ISharedSecret>(agreement->GenerateSecretReference(dynamic_cast<IPublicKey*>(peer.get())));
}

// RFC 7518 appendix C: Alice's ephemeral key agrees with Bob's public key, and the Concat KDF
// gives the A128GCM key. Then one block up to the hash's length, a second one beyond it, cut to the
// length asked for. The platform's path and the digest path give the same bytes on every Z.
TEST(Kdf80056A, Rfc7518KeyAndBlocksAlikeOnBothSecretForms) {
  auto v = zttest::ReadVector("ec/vectors.txt", "rfc7518-ecdh-es");
  const EcdhCurve& p256 = kEcdhCurves[0];
  const auto agreed = ReferenceSecret(p256, zttest::EccBlob(p256.privateMagic, {v["xa"], v["ya"], v["da"]}),
                                      Point(v["xb"], v["yb"]));
  const std::unique_ptr<ISharedSecret> given(ISharedSecret::Create(Hex(v["z"])));
  for (ISharedSecret* secret : {agreed.get(), given.get()})
    EXPECT_EQ(ToHex(Derive(*secret, Hex(v["otherinfo"]), 16)), v["key"]);

  const ByteArray otherInfo = Text("AlgorithmID|PartyU|PartyV");
  for (const EcdhCurve& curve : kEcdhCurves) {
    SCOPED_TRACE(curve.name);
    auto r = zttest::Rfc5903(curve);
    const ByteArray z = Hex(r["girx"]);
    const auto reference = ReferenceSecret(curve, zttest::EccBlob(curve.privateMagic, {r["gix"], r["giy"], r["i"]}),
                                           Point(r["grx"], r["gry"]));
    const std::unique_ptr<ISharedSecret> value(ISharedSecret::Create(z));
    const ByteArray three = Blocks(z, otherInfo, 3);
    for (std::uint32_t length : {0u, 1u, 31u, 32u, 33u, 64u, 65u, 96u}) {
      SCOPED_TRACE(length);
      EXPECT_EQ(Derive(*reference, otherInfo, length), Cut(three, length));
      EXPECT_EQ(Derive(*value, otherInfo, length), Cut(three, length));
    }
    // Without OtherInfo the blocks hash the counter and Z alone.
    EXPECT_EQ(Derive(*reference, ByteArray(), 40), Cut(Blocks(z, ByteArray(), 2), 40));
  }
}

// The secret is borrowed and kept: any number of derivations follow one Init. A secret of another
// class is refused; the reference form has no bytes for the other derivations, nor for the caller.
TEST(Kdf80056A, LifeCycleAndTheSecretsItKnows) {
  const std::unique_ptr<ISharedSecret> secret(ISharedSecret::Create(Text("Z")));
  const auto kdf = New80056A();
  EXPECT_EQ(kdf->GetAlgorithm()->GetFriendlyName(), L"800_56A_KDF");
  ByteArray out = Text("untouched");
  const auto early = Thrown([&] { kdf->Derive(Text("info"), 16, out); });
  ASSERT_TRUE(early);
  ExpectFailure(early, CRYPTO_ILLEGAL_STATE, L"KeyDerivation is not initialized");
  EXPECT_EQ(early->getFilename(), L"sources/cng/crypto.cng.80056akeyderivation");
  EXPECT_EQ(out, Text("untouched"));
  ExpectFailure(Thrown([&] { kdf->Init(static_cast<ISharedSecret*>(nullptr)); }), CRYPTO_BAD_PARAM,
                L"pSharedSecret should not be NULL");
  ExpectFailure(Thrown([&] { kdf->Init(static_cast<IKey*>(nullptr)); }), CRYPTO_BAD_PARAM, L"pKey should not be NULL");
  ExpectFailure(Thrown([&] { kdf->Init(RawKey(Text("a valid key")).get()); }), CRYPTO_NOT_SUPPORTED, L"Not Supported");
  {
    LogCapture capture(NQLOG_ERROR);
    ExpectFailure(Thrown([&] { delete kdf->Derive(L"label", Text("info"), 16); }), CRYPTO_NOT_IMPLEMENTED,
                  L"Not Implemented");
    EXPECT_EQ(capture.At(NQLOG_ERROR), std::vector<std::wstring>{L"CCNG80056AKeyDerivation::Derive : Not Implemented"});
  }

  kdf->Init(secret.get());
  const auto again = Thrown([&] { kdf->Init(secret.get()); });
  ASSERT_TRUE(again);
  ExpectFailure(again, CRYPTO_ILLEGAL_STATE, L"KeyDerivation is already initialized");
  EXPECT_EQ(again->getFilename(), L"sources/cng/crypto.cng.80056akeyderivation");
  kdf->Derive(Text("info"), 16, out);
  ByteArray second;
  kdf->Derive(Text("info"), 16, second);
  EXPECT_EQ(second, out);
  EXPECT_EQ(out, Cut(Blocks(Text("Z"), Text("info"), 1), 16));

  class ForeignSecret : public ISharedSecret {
    ByteArray GetEncoded() const override { return Text("foreign"); }
  } foreign;
  const auto other = New80056A();
  other->Init(&foreign);
  LogCapture capture(NQLOG_ERROR);
  ExpectFailure(Thrown([&] { other->Derive(Text("info"), 16, out); }), CRYPTO_NOT_SUPPORTED, L"Unsupported shared secret");
  EXPECT_EQ(capture.At(NQLOG_ERROR), std::vector<std::wstring>{L"CCNG80056AKeyDerivation::Derive : Unsupported shared secret"});

  const EcdhCurve& curve = kEcdhCurves[0];
  auto a = GeneratePair(curve), b = GeneratePair(curve);
  const std::unique_ptr<KeyAgreement> agreement(KeyAgreement::Create(CurveAlgorithm(curve).get(), nullptr));
  agreement->Init(a->GetPrivateKey());
  const std::unique_ptr<ISharedSecret> reference(agreement->GenerateSecretReference(b->GetPublicKey()));
  ExpectFailure(Thrown([&] { reference->GetEncoded(); }), CRYPTO_NOT_SUPPORTED, L"The secret stays inside the platform");
  const std::unique_ptr<KeyDerivation> pbkdf2(KeyDerivation::Create(Algorithm(L"PKCS5_PBKDF2").get(), nullptr));
  pbkdf2->Init(reference.get());
  ExpectFailure(Thrown([&] { pbkdf2->Derive(Text("salt"), 16, out); }), CRYPTO_NOT_SUPPORTED,
                L"Unsupported shared secret");
}

}  // namespace
