// Each platform call of the digest, HMAC, random, GUID, key generation and PBKDF2 engines fails
// in turn (tests/fixtures/failures): what is thrown and logged, that nothing is left open, and
// what the engine can still do afterwards.
#include <string>

#include "engine_test_util.h"
#include "support/call_failures.h"

namespace {

using namespace enginetest;
using zttest::ExpectCallFailure;
using zttest::NoHandleLeft;
using zttest::ReadCallFailures;

const std::string kSha256Abc = "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad";

// A failed digest keeps the buffered data: the retry digests it.
TEST(DigestCallFailures, EachCallOfThePassFailsAndTheDataIsKept) {
  for (const auto& row : ReadCallFailures("hash", "digest")) {
    const NoHandleLeft handles;
    const std::unique_ptr<MessageDigest> digest(MessageDigest::Create(Algorithm(L"SHA256").get(), nullptr));
    digest->Update(Text("abc"));
    ByteArray out;
    ExpectCallFailure(row, [&] { digest->Digest(out); });
    digest->Digest(out);
    EXPECT_EQ(ToHex(out), kSha256Abc) << row.Name();
  }
}

// A failed MAC keeps the engine initialised with its data: the retry needs no new Init
// (RFC 4231, test case 2).
TEST(HmacCallFailures, EachCallOfThePassFailsAndTheEngineStaysInitialised) {
  const auto key = RawKey(Text("Jefe"));
  for (const auto& row : ReadCallFailures("hash", "hmac")) {
    const NoHandleLeft handles;
    const std::unique_ptr<MAC> mac(MAC::Create(Algorithm(L"HMAC_SHA256").get(), nullptr));
    mac->Init(key.get());
    mac->Update(Text("what do ya want for nothing?"));
    ByteArray out;
    ExpectCallFailure(row, [&] { mac->Mac(out); });
    mac->Mac(out);
    EXPECT_EQ(ToHex(out), "5bdcc146bf60754e6a042426089575c75a003f089d2739839dec58b964ec3843") << row.Name();
  }
}

std::unique_ptr<RandomGenerator> NewRandom() {
  return std::unique_ptr<RandomGenerator>(RandomGenerator::Create(Algorithm(L"FIPS186DSARNG").get(), nullptr));
}

void ExpectRandomFailures(const std::string& section) {
  const auto generator = NewRandom();
  for (const auto& row : ReadCallFailures("random", section)) {
    const NoHandleLeft handles;
    ByteArray out;
    ExpectCallFailure(row, [&] { generator->GenerateRandom(16, out); });
  }
}

// The random generator on CNG, the GUID generator, and key generation, which wraps its random
// generator's failures.
TEST(RandomCallFailures, EachCallOfRandomGuidAndKeyGenerationFails) {
  ExpectRandomFailures("cng");
  const std::unique_ptr<GUIDGenerator> guids(GUIDGenerator::Create(nullptr, nullptr));
  for (const auto& row : ReadCallFailures("random", "guid")) {
    ByteArray guid;
    ExpectCallFailure(row, [&] { guids->GenerateGUID(guid); });
  }
  const std::unique_ptr<KeyGenerator> keys(KeyGenerator::Create(Algorithm(L"AES").get(), nullptr));
  for (const auto& row : ReadCallFailures("random", "keygen")) {
    const NoHandleLeft handles;
    ExpectCallFailure(row, [&] { delete keys->GenerateKey(32); });
  }
}

class RandomCallFailuresWithoutCNG : public WithModuleHooks {};

TEST_F(RandomCallFailuresWithoutCNG, EachCallOnCryptoApiFailsAndTheContextIsReleased) {
  MakeCNGUnavailable();
  ExpectRandomFailures("cryptoapi");
}

// A failed derivation keeps the engine initialised: the retry needs no new Init (RFC 6070).
TEST(Pbkdf2CallFailures, EachCallFailsAndTheEngineStaysInitialised) {
  const std::unique_ptr<ISharedSecret> secret(ISharedSecret::Create(Text("password")));
  const std::unique_ptr<ICryptoParserParameterMap> map(ICryptoParserParameterMap::Create());
  map->SetIterationCount(1);
  map->SetHMACAlgorithmName(L"HMAC_SHA1");
  for (const auto& row : ReadCallFailures("pbkdf2", "derive")) {
    const NoHandleLeft handles;
    const std::unique_ptr<KeyDerivation> kdf(KeyDerivation::Create(Algorithm(L"PKCS5_PBKDF2").get(), map.get()));
    kdf->Init(secret.get());
    ByteArray out;
    ExpectCallFailure(row, [&] { kdf->Derive(Text("salt"), 20, out); });
    kdf->Derive(Text("salt"), 20, out);
    EXPECT_EQ(ToHex(out), "0c60c80f961f0e71f3a9b524af6012062fe037a6") << row.Name();
  }
}

}  // namespace
