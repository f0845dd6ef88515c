// EC keys, ECDH key-pair generation and key agreement: RFC 5903 through the engines, the openssl
// tool's agreements, points the platform must refuse, and who owns what.
#include <algorithm>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "cng/crypto.cng.ecdhkeypairgenerator.h"
#include "ecdh_test_util.h"
#include "platform/testing.h"
#include "support/call_failures.h"
#include "support/log_capture.h"
#include "support/reference_digest.h"

namespace {

using namespace enginetest;
using zttest::LogCapture;
using zttest::NoHandleLeft;
namespace Testing = ZT::Platform::Testing;

std::string Sha1Hex(const ByteArray& data) { return zttest::ToHex(zttest::ReferenceDigest("SHA1", data)); }

ByteArray Encoded(IKeyPair& pair) { return pair.GetPublicKey()->GetEncoded(); }

// The field prime of the curve (FIPS 186-4, D.1.2), big-endian in the coordinate's length.
ByteArray FieldPrime(const EcdhCurve& curve) {
  const char* p = curve.bits == 256 ? "ffffffff00000001000000000000000000000000ffffffffffffffffffffffff"
                  : curve.bits == 384
                      ? "ffffffffffffffffffffffffffffffffffffffffffffffffffffffffffffffffeffffffff0000000000000000ffffffff"
                      : "01ffffffffffffffffffffffffffffffffffffffffffffffffffffffffffffffffffffffffffffffffffffffffffffffffffffffffffffffffffffffffffffffffff";
  const ByteArray prime = Hex(p);
  EXPECT_EQ(prime.size(), curve.coordinate);
  return prime;
}

// `coordinate` (hex) plus the field prime, in the coordinate's length; empty when it does not fit.
std::string PlusPrime(const EcdhCurve& curve, const std::string& coordinate) {
  const ByteArray p = FieldPrime(curve);
  ByteArray sum = Hex(std::string(2 * curve.coordinate - std::min(coordinate.size(), 2 * curve.coordinate), '0') + coordinate);
  unsigned carry = 0;
  for (std::size_t i = sum.size(); i-- > 0;) {
    carry += sum[i] + p[i];
    sum[i] = static_cast<unsigned char>(carry);
    carry >>= 8;
  }
  return carry == 0 ? zttest::ToHex(sum) : "";
}

// Points that are no public key of the curve, each with what is wrong with it.
std::vector<std::pair<std::string, ByteArray>> InvalidPoints(const EcdhCurve& curve) {
  auto v = zttest::Rfc5903(curve);
  const ByteArray good = Point(v["gix"], v["giy"]);
  ByteArray offCurve = good;
  offCurve.back() ^= 1;
  const std::string zeros(2 * curve.coordinate, '0');
  std::vector<std::pair<std::string, ByteArray>> points = {
      {"off the curve", offCurve},
      {"one byte short", ByteArray(good.begin(), good.end() - 1)},
      {"one byte long", [&] { ByteArray b = good; b.push_back(0); return b; }()},
      {"the point at infinity as zero coordinates", Hex("04" + zeros + zeros)},
      {"the point at infinity in its own encoding", Hex("00")},
      {"the prime as X", Point(PlusPrime(curve, "0"), v["giy"])},
  };
  // X + p and Y + p name the same point modulo p: a reading that reduces would accept them.
  // They fit in the coordinate's bytes on P-521 (p = 2^521 - 1 in 66 bytes).
  for (const char* which : {"x", "y"}) {
    const std::string x = which[0] == 'x' ? PlusPrime(curve, v["gix"]) : v["gix"];
    const std::string y = which[0] == 'y' ? PlusPrime(curve, v["giy"]) : v["giy"];
    if (!x.empty() && !y.empty()) points.push_back({std::string(which) + " + p", Point(x, y)});
  }
  return points;
}

TEST(EcPublicKey, ImportsThePointOfEachCurveAsGivenWithAHandleOfItsOwn) {
  for (const EcdhCurve& curve : kEcdhCurves) {
    SCOPED_TRACE(curve.name);
    auto v = zttest::Rfc5903(curve);
    const ByteArray point = Point(v["gix"], v["giy"]);
    ASSERT_EQ(point.size(), 1 + 2 * curve.coordinate);
    const NoHandleLeft handles;
    auto key = ImportPoint(curve, point);
    EXPECT_EQ(key->GetFormat(), L"ECCPublicKey");
    EXPECT_EQ(key->GetEncoded(), point);
    EXPECT_EQ(key->GetAlgorithm()->GetFriendlyName(), curve.algorithm);
    auto* ec = dynamic_cast<IECPublicKey*>(key.get());
    ASSERT_NE(ec, nullptr);
    ExpectFailure(Thrown([&] { ec->GetX(); }), CRYPTO_NOT_IMPLEMENTED, L"Not Implemented");
    ExpectFailure(Thrown([&] { ec->GetY(); }), CRYPTO_NOT_IMPLEMENTED, L"Not Implemented");

    // The clone imports the point afresh and outlives its original.
    const std::size_t live = Testing::LiveHandleCount();
    std::unique_ptr<IKey> clone(key->Clone());
    EXPECT_EQ(Testing::LiveHandleCount(), live + 1);
    key.reset();
    auto responder = PairFromPrivateBlob(curve, zttest::EccBlob(curve.privateMagic, {v["grx"], v["gry"], v["r"]}));
    EXPECT_EQ(ToHex(Agree(curve, responder->GetPrivateKey(), clone.get())), Sha1Hex(Hex(v["girx"])));
  }
}

// The first byte is not looked at: the rest is read as X and Y, and the key keeps what it got.
TEST(EcPublicKey, RefusesOtherAlgorithmsEmptyBytesAndPrivateKeysButNotAnOddFirstByte) {
  auto v = zttest::Rfc5903(kEcdhCurves[0]);
  const ByteArray point = Point(v["gix"], v["giy"]);
  ByteArray odd = point;
  odd[0] = 0x02;
  EXPECT_EQ(ImportPoint(kEcdhCurves[0], odd)->GetEncoded(), odd);
  const std::unique_ptr<IAlgorithm> algorithms[] = {Algorithm(L"ECDH_P224"), Algorithm(L"RSA"),
                                                    UnlistedAlgorithm(L"ecdh_p256"), UnlistedAlgorithm(L"ECDH_P2560")};
  for (const auto& algorithm : algorithms) {
    LogCapture capture(NQLOG_ERROR);
    const auto e = Thrown([&] { delete IKey::Create(algorithm.get(), L"ECCPublicKey", point); });
    ExpectFailure(e, CRYPTO_NOT_SUPPORTED, L"new CCNGECPublicKey() failed");
    EXPECT_EQ(MessageAt(e.get(), 1), L"Unsupported algorithm");
    const WString name = algorithm->GetFriendlyName();
    EXPECT_EQ(capture.At(NQLOG_ERROR).front(),
              L"CCNGECPublicKey::CCNGECPublicKey : Unsupported algorithm(" + std::wstring(name.begin(), name.end()) + L")");
  }
  const auto p256 = CurveAlgorithm(kEcdhCurves[0]);
  const auto empty = Thrown([&] { delete IKey::Create(p256.get(), L"ECCPublicKey", ByteArray()); });
  ExpectFailure(empty, CRYPTO_BAD_PARAM, L"new CCNGECPublicKey() failed");
  EXPECT_EQ(MessageAt(empty.get(), 1), L"Encoded key buffer should not be empty");
  ExpectFailure(Thrown([&] { delete IKey::Create(p256.get(), L"ECC", Hex("01")); }), CRYPTO_NOT_IMPLEMENTED,
                L"Not Implemented");
}

// Invalid points never become keys, so they never reach an agreement: the platform refuses them
// at the import, and nothing is left behind.
TEST(EcPublicKey, ThePlatformRefusesPointsThatAreNoKeyOfTheCurve) {
  for (const EcdhCurve& curve : kEcdhCurves) {
    for (const auto& [what, point] : InvalidPoints(curve)) {
      SCOPED_TRACE(std::string(curve.name) + ": " + what);
      const NoHandleLeft handles;
      LogCapture capture(NQLOG_ERROR);
      const auto e = Thrown([&] { ImportPoint(curve, point); });
      ExpectFailure(e, CRYPTO_INTERNAL_ERROR, L"new CCNGECPublicKey() failed");
      EXPECT_EQ(MessageAt(e.get(), 1), L"BCryptImportKeyPair failed!");
      EXPECT_EQ(capture.At(NQLOG_ERROR).front(),
                L"CCNGECPublicKey::CCNGECPublicKey : Error 0xc000000d returned by BCryptImportKeyPair");
    }
  }
  // A point of one curve is no point of another.
  auto v = zttest::Rfc5903(kEcdhCurves[1]);
  ExpectFailure(Thrown([&] { ImportPoint(kEcdhCurves[0], Point(v["gix"], v["giy"])); }), CRYPTO_INTERNAL_ERROR,
                L"new CCNGECPublicKey() failed");
}

TEST(EcdhKeyPairGenerator, MakesIndependentPairsOnEachCurveAndEachThread) {
  for (const EcdhCurve& curve : kEcdhCurves) {
    SCOPED_TRACE(curve.name);
    auto first = GeneratePair(curve), second = GeneratePair(curve);
    const ByteArray point = Encoded(*first);
    EXPECT_EQ(point.size(), 1 + 2 * curve.coordinate);
    EXPECT_EQ(point[0], 0x04);
    EXPECT_NE(point, Encoded(*second));
    // The exported point is one the platform takes back as a key of the curve.
    EXPECT_EQ(ImportPoint(curve, point)->GetEncoded(), point);

    IPrivateKey* own = first->GetPrivateKey();
    EXPECT_EQ(own->GetFormat(), L"ECC");
    EXPECT_EQ(own->GetAlgorithm()->GetFriendlyName(), curve.algorithm);
    ExpectFailure(Thrown([&] { own->GetEncoded(); }), CRYPTO_NOT_IMPLEMENTED, L"Not Implemented");
    ExpectFailure(Thrown([&] { dynamic_cast<IECPrivateKey&>(*own).GetS(); }), CRYPTO_NOT_IMPLEMENTED,
                  L"Not Implemented");
  }

  // Separate generators on separate threads: every pair is a new one, on every curve.
  std::vector<std::vector<ByteArray>> points(4);
  std::vector<std::thread> threads;
  for (auto& mine : points)
    threads.emplace_back([&mine] {
      for (int i = 0; i < 12; ++i) mine.push_back(Encoded(*GeneratePair(kEcdhCurves[i % 3])));
    });
  for (auto& thread : threads) thread.join();
  std::set<ByteArray> distinct;
  for (const auto& mine : points) distinct.insert(mine.begin(), mine.end());
  EXPECT_EQ(distinct.size(), 48u);
}

// Neither the generator's nor the agreement's factory has another engine.
TEST(EcdhKeyPairGenerator, OnlyTheThreeCurvesAndNoDomainParameters) {
  for (const wchar_t* name : {L"ECDH_P224", L"RSA", L"SHA256"}) {
    const auto algorithm = Algorithm(name);
    LogCapture capture(NQLOG_EXIT);
    ExpectFailure(Thrown([&] { delete KeyPairGenerator::Create(algorithm.get(), nullptr); }),
                  CRYPTO_NOT_IMPLEMENTED, L"Not Implemented");
    EXPECT_EQ(capture.At(NQLOG_EXIT).back(), L"KeyPairGenerator::Create Returns Not Implemented");
    if (std::wstring(name) == L"SHA256") continue;
    ExpectFailure(Thrown([&] { delete KeyAgreement::Create(algorithm.get(), nullptr); }), CRYPTO_NOT_IMPLEMENTED,
                  L"Not Implemented");
    EXPECT_EQ(capture.At(NQLOG_EXIT).back(), L"KeyAgreement::Create Returns Not Implemented");
  }
  ExpectFailure(Thrown([&] { KeyPairGenerator::Create(nullptr, nullptr); }), CRYPTO_BAD_PARAM,
                L"pAlgorithm should not be NULL");
  const std::unique_ptr<KeyPairGenerator> generator(KeyPairGenerator::Create(Algorithm(L"ECDH_P384").get(), nullptr));
  EXPECT_EQ(generator->GetAlgorithm()->GetFriendlyName(), L"ECDH_P384");
  ExpectFailure(Thrown([&] { generator->GenerateKeyPair(nullptr); }), CRYPTO_NOT_IMPLEMENTED, L"Not Implemented");
}

// The pair owns both keys and the platform key: the caller deletes the pair only. A public key's
// clone has a key of its own and lives on; a private key's clone shares the pair's and does not.
TEST(EcdhKeyPair, OwnsItsKeysAndThePlatformKey) {
  const EcdhCurve& curve = kEcdhCurves[0];
  const NoHandleLeft handles;
  const std::size_t live = Testing::LiveHandleCount();
  auto pair = GeneratePair(curve), peer = GeneratePair(curve);
  EXPECT_EQ(Testing::LiveHandleCount(), live + 2) << "one platform key per pair, no provider kept";
  std::unique_ptr<IKey> publicClone(pair->GetPublicKey()->Clone());
  std::unique_ptr<IKey> privateClone(pair->GetPrivateKey()->Clone());
  EXPECT_EQ(Testing::LiveHandleCount(), live + 3);
  const ByteArray before = Agree(curve, peer->GetPrivateKey(), pair->GetPublicKey());
  EXPECT_EQ(Agree(curve, dynamic_cast<IPrivateKey*>(privateClone.get()), peer->GetPublicKey()), before);

  pair.reset();
  EXPECT_EQ(Testing::LiveHandleCount(), live + 2);
  EXPECT_EQ(Agree(curve, peer->GetPrivateKey(), publicClone.get()), before);
  LogCapture capture(NQLOG_ERROR);
  const auto e = Thrown([&] { Agree(curve, dynamic_cast<IPrivateKey*>(privateClone.get()), peer->GetPublicKey()); });
  ExpectFailure(e, CRYPTO_INTERNAL_ERROR, L"BCryptSecretAgreement failed!");
  EXPECT_EQ(capture.At(NQLOG_ERROR).front(),
            L"CCNGECDHKeyAgreement::GenerateSecret : Error 0xc0000008 returned by BCryptSecretAgreement");
}

// The constructors' own checks, which the generator's calls never reach.
TEST(EcdhKeyPair, ConstructorsRefuseMissingHandlesAndLeaveNothing) {
  const EcdhCurve& curve = kEcdhCurves[0];
  ExpectFailure(Thrown([&] { CCNGECKeyPair(CurveAlgorithm(curve), KeyHandle()); }), CRYPTO_INTERNAL_ERROR,
                L"m_hKey undefined");
  ExpectFailure(Thrown([&] { CCNGECPrivateKey(CurveAlgorithm(curve), nullptr); }), CRYPTO_BAD_PARAM,
                L"hKey should not be NULL");
  auto algorithm = CurveAlgorithm(curve);
  LogCapture capture(NQLOG_EXIT);
  ExpectFailure(Thrown([&] { CCNGECPublicKey(std::move(algorithm), static_cast<BCRYPT_KEY_HANDLE>(nullptr)); }),
                CRYPTO_BAD_PARAM, L"hKey should not be NULL");
  // The constructor's exit line, then the release of the algorithm clone it was given.
  EXPECT_EQ(capture.At(NQLOG_EXIT), (std::vector<std::wstring>{L"CCNGECPublicKey::CCNGECPublicKey Returns hKey should not be NULL",
                                                               L"CAlgorithm::~CAlgorithm"}));
}

// On every curve: symmetric, with the peer's point as generated or as it arrives from elsewhere;
// the SHA-1 of RFC 5903's shared X; the SHA-1 of the openssl tool's agreement, where both halves
// meet only through uncompressed points (the tool's key with the library's public point, the
// library's key with the tool's public point).
TEST(EcdhAgreement, IsSymmetricAndTheSha1OfRfc5903AndOfTheOpensslTool) {
  for (const EcdhCurve& curve : kEcdhCurves) {
    SCOPED_TRACE(curve.name);
    auto a = GeneratePair(curve), b = GeneratePair(curve);
    const ByteArray ab = Agree(curve, a->GetPrivateKey(), b->GetPublicKey());
    EXPECT_EQ(ab.size(), 20u);
    EXPECT_EQ(Agree(curve, b->GetPrivateKey(), a->GetPublicKey()), ab);
    EXPECT_EQ(Agree(curve, b->GetPrivateKey(), ImportPoint(curve, Encoded(*a)).get()), ab);
    EXPECT_NE(Agree(curve, a->GetPrivateKey(), GeneratePair(curve)->GetPublicKey()), ab);

    auto v = zttest::Rfc5903(curve);
    auto initiator = PairFromPrivateBlob(curve, zttest::EccBlob(curve.privateMagic, {v["gix"], v["giy"], v["i"]}));
    auto responder = PairFromPrivateBlob(curve, zttest::EccBlob(curve.privateMagic, {v["grx"], v["gry"], v["r"]}));
    EXPECT_EQ(Encoded(*initiator), Point(v["gix"], v["giy"]));
    const std::string shared = Sha1Hex(Hex(v["girx"]));
    EXPECT_EQ(ToHex(Agree(curve, initiator->GetPrivateKey(), ImportPoint(curve, Point(v["grx"], v["gry"])).get())),
              shared);
    EXPECT_EQ(ToHex(Agree(curve, responder->GetPrivateKey(), initiator->GetPublicKey())), shared);

    const ByteArray point = Encoded(*a);
    const std::string tool = zttest::OpensslAgreementHash(curve, {point.begin(), point.end()});
    ASSERT_EQ(tool.size(), 40u);
    EXPECT_EQ(ToHex(Agree(curve, a->GetPrivateKey(), ImportPoint(curve, OpensslKeyPoint(curve)).get())), tool);
  }
}

TEST(EcdhAgreement, LifeCycleAndTheKeysItTakes) {
  const EcdhCurve& curve = kEcdhCurves[0];
  auto own = GeneratePair(curve), peer = GeneratePair(curve), other = GeneratePair(kEcdhCurves[2]);
  const std::unique_ptr<KeyAgreement> agreement(KeyAgreement::Create(CurveAlgorithm(curve).get(), nullptr));
  ExpectFailure(Thrown([&] { delete agreement->GenerateSecret(peer->GetPublicKey()); }), CRYPTO_ILLEGAL_STATE,
                L"KeyAgreement is not initialized");
  ExpectFailure(Thrown([&] { agreement->Init(nullptr); }), CRYPTO_BAD_PARAM, L"pPrivateKey should not be NULL");
  const std::unique_ptr<IRSAPrivateCRTKey> rsa(
      IRSAPrivateCRTKey::Create(Hex("0b"), Hex("03"), Hex("07"), Hex("0b"), Hex("0d"), Hex("01"), Hex("01"), Hex("01")));
  {
    LogCapture capture(NQLOG_ERROR);
    ExpectFailure(Thrown([&] { agreement->Init(rsa.get()); }), CRYPTO_NOT_SUPPORTED,
                  L"Only ECC Private keys are supported");
    EXPECT_EQ(capture.At(NQLOG_ERROR),
              std::vector<std::wstring>{L"CCNGECDHKeyAgreement::Init : Only ECC Private keys are supported"});
  }
  agreement->Init(own->GetPrivateKey());
  ExpectFailure(Thrown([&] { agreement->Init(own->GetPrivateKey()); }), CRYPTO_ILLEGAL_STATE,
                L"KeyAgreement is already initialized");

  // Refused before any platform call: the armed failure stays pending.
  Testing::FailNextCall("BCryptSecretAgreement", STATUS_INVALID_HANDLE);
  const std::unique_ptr<IRSAPublicKey> rsaPublic(IRSAPublicKey::Create(Hex("0b"), Hex("03")));
  ExpectFailure(Thrown([&] { delete agreement->GenerateSecret(rsaPublic.get()); }), CRYPTO_NOT_SUPPORTED,
                L"Only ECC Public keys are supported");
  ExpectFailure(Thrown([&] { delete agreement->GenerateSecret(nullptr); }), CRYPTO_NOT_SUPPORTED,
                L"Only ECC Public keys are supported");
  EXPECT_EQ(Testing::PendingCallFailures(), 1u);
  Testing::ResetCallFailures();

  // Keys of two curves are refused by the platform; the engine stays initialised, for any number
  // of agreements, and no platform secret outlives a call.
  const NoHandleLeft handles;
  LogCapture capture(NQLOG_ERROR);
  ExpectFailure(Thrown([&] { delete agreement->GenerateSecret(other->GetPublicKey()); }), CRYPTO_INTERNAL_ERROR,
                L"BCryptSecretAgreement failed!");
  EXPECT_EQ(capture.At(NQLOG_ERROR).front(),
            L"CCNGECDHKeyAgreement::GenerateSecret : Error 0xc000000d returned by BCryptSecretAgreement");
  const std::unique_ptr<ISharedSecret> first(agreement->GenerateSecret(peer->GetPublicKey()));
  const std::unique_ptr<ISharedSecret> second(agreement->GenerateSecret(peer->GetPublicKey()));
  EXPECT_EQ(first->GetEncoded(), second->GetEncoded());
  EXPECT_EQ(first->GetEncoded(), Agree(curve, peer->GetPrivateKey(), own->GetPublicKey()));
}

class EcdhWithoutCNG : public WithModuleHooks {};

TEST_F(EcdhWithoutCNG, ImportAndGenerationSayCNGIsNotSupported) {
  MakeCNGUnavailable();
  const EcdhCurve& curve = kEcdhCurves[0];
  const auto import = Thrown([&] { ImportPoint(curve, Hex("04" + std::string(128, '1'))); });
  ExpectFailure(import, CRYPTO_NOT_SUPPORTED, L"new CCNGECPublicKey() failed");
  EXPECT_EQ(MessageAt(import.get(), 1), L"CNG is not supported");
  const std::unique_ptr<KeyPairGenerator> generator(KeyPairGenerator::Create(CurveAlgorithm(curve).get(), nullptr));
  ExpectFailure(Thrown([&] { delete generator->GenerateKeyPair(); }), CRYPTO_NOT_SUPPORTED, L"CNG is not supported");
  MakeCNGAvailable();
  delete generator->GenerateKeyPair();
}

}  // namespace
