// PBKDF2: RFC 6070 and RFC 7914 answers, defaults, life cycle, and the factory.
#include <gmock/gmock.h>
#include <sstream>
#include <string>
#include <vector>

#include "engine_test_util.h"
#include "support/command.h"
#include "support/log_capture.h"

namespace {

using namespace enginetest;
using zttest::LogCapture;

std::unique_ptr<KeyDerivation> NewPbkdf2(ICryptoParserParameterMap* map) {
  return std::unique_ptr<KeyDerivation>(KeyDerivation::Create(Algorithm(L"PKCS5_PBKDF2").get(), map));
}

std::unique_ptr<ICryptoParserParameterMap> Map(std::uint64_t iterations, const WString& prf) {
  std::unique_ptr<ICryptoParserParameterMap> map(ICryptoParserParameterMap::Create());
  map->SetIterationCount(iterations);
  map->SetHMACAlgorithmName(prf);
  return map;
}

std::string DeriveHex(KeyDerivation& kdf, const ByteArray& password, const ByteArray& salt, std::uint32_t length) {
  const std::unique_ptr<ISharedSecret> secret(ISharedSecret::Create(password));
  kdf.Init(secret.get());
  ByteArray out;
  kdf.Derive(salt, length, out);
  return ToHex(out);
}

// PBKDF2 as the openssl tool derived it (tests/fixtures/kdf/make-pbkdf2.sh): an implementation
// apart from the library's.
std::string OpensslPbkdf2(const std::string& prf, const std::string& password, const std::string& salt, int iterations,
                          int length) {
  const std::vector<unsigned char> table = zttest::ReadFixtureFile("kdf/pbkdf2.txt");
  std::istringstream lines(std::string(table.begin(), table.end()));
  const std::string key =
      prf + "|" + password + "|" + salt + "|" + std::to_string(iterations) + "|" + std::to_string(length) + "|";
  for (std::string line; std::getline(lines, line);)
    if (line.rfind(key, 0) == 0) return line.substr(key.size());
  ADD_FAILURE() << "no answer of the openssl tool for " << key;
  return "";
}

// RFC 6070 and RFC 7914 answers (passwords and salts with NUL bytes among them); the defaults and
// the longer hashes against the openssl tool.
TEST(Pbkdf2, KnownAnswersDefaultsAndLongerHashes) {
  for (const auto& v : Published("pbkdf2", 6)) {
    const auto map = Map(std::stoull(v[1]), WString(v[0].begin(), v[0].end()));
    EXPECT_EQ(DeriveHex(*NewPbkdf2(map.get()), Hex(v[4]), Hex(v[5]), static_cast<std::uint32_t>(std::stoul(v[2]))), v[3])
        << v[4];
  }

  // Without parameters: HMAC-SHA256 and 10000 iterations.
  const std::string expected = OpensslPbkdf2("HMAC_SHA256", "pass phrase", "NaCl and pepper", 10000, 40);
  const std::unique_ptr<ICryptoParserParameterMap> empty(ICryptoParserParameterMap::Create());
  EXPECT_EQ(DeriveHex(*NewPbkdf2(empty.get()), Text("pass phrase"), Text("NaCl and pepper"), 40), expected);
  EXPECT_EQ(DeriveHex(*NewPbkdf2(nullptr), Text("pass phrase"), Text("NaCl and pepper"), 40), expected);

  for (const std::string prf : {"HMAC_SHA384", "HMAC_SHA512"}) {
    const auto map = Map(3, WString(prf.begin(), prf.end()));
    EXPECT_EQ(DeriveHex(*NewPbkdf2(map.get()), Text("pw"), Text("salt"), 80), OpensslPbkdf2(prf, "pw", "salt", 3, 80));
  }
}

// A secret that is not held as bytes by the library (one that stays inside the platform).
class ReferenceSecret : public ISharedSecret {
  ByteArray GetEncoded() const override { return {}; }
};

// Init once, with a non-null secret held as bytes; each Derive ends the initialisation.
TEST(Pbkdf2, LifeCycleAndSecrets) {
  const auto kdf = NewPbkdf2(nullptr);
  const std::unique_ptr<ISharedSecret> secret(ISharedSecret::Create(Text("pw")));
  ByteArray out;
  ExpectFailure(Thrown([&] { kdf->Derive(Text("salt"), 16, out); }), CRYPTO_ILLEGAL_STATE,
                L"KeyDerivation is not initialized");
  ExpectFailure(Thrown([&] { kdf->Init(static_cast<ISharedSecret*>(nullptr)); }), CRYPTO_BAD_PARAM,
                L"pSharedSecret should not be NULL");
  ExpectFailure(Thrown([&] { kdf->Init(static_cast<IKey*>(nullptr)); }), CRYPTO_BAD_PARAM, L"pKey should not be NULL");
  ExpectFailure(Thrown([&] { kdf->Init(RawKey(Text("a valid key")).get()); }), CRYPTO_NOT_SUPPORTED, L"Not Supported");

  kdf->Init(secret.get());
  ExpectFailure(Thrown([&] { kdf->Init(secret.get()); }), CRYPTO_ILLEGAL_STATE, L"KeyDerivation is already initialized");
  kdf->Derive(Text("salt"), 16, out);
  EXPECT_EQ(out.size(), 16u);
  ExpectFailure(Thrown([&] { kdf->Derive(Text("salt"), 16, out); }), CRYPTO_ILLEGAL_STATE,
                L"KeyDerivation is not initialized");

  ReferenceSecret reference;
  kdf->Init(&reference);
  LogCapture capture(NQLOG_ERROR);
  ExpectFailure(Thrown([&] { kdf->Derive(Text("salt"), 16, out); }), CRYPTO_NOT_SUPPORTED, L"Unsupported shared secret");
  EXPECT_EQ(capture.At(NQLOG_ERROR),
            std::vector<std::wstring>{L"CCNGPBKDF2KeyDerivation::Derive : Unsupported shared secret"});
}

// What the map gives is read at Derive: a PRF without an engine, and a caller's map that throws,
// fail the derivation with the reason inside.
TEST(Pbkdf2, AnUnknownPrfOrAFailingMapFailsTheDerivation) {
  const auto unknown = Map(1, L"HMAC_SHA224");
  LogCapture capture(NQLOG_ERROR);
  const auto e = Thrown([&] { DeriveHex(*NewPbkdf2(unknown.get()), Text("pw"), Text("salt"), 16); });
  ExpectFailure(e, CRYPTO_NO_SUCH_ALGORITHM, L"Derivation using shared secret value failed");
  EXPECT_EQ(MessageAt(e.get(), 1), L"Unsupported algorithm");
  EXPECT_EQ(capture.At(NQLOG_ERROR),
            (std::vector<std::wstring>{L"CCNGPBKDF2KeyDerivation::Derive : Unsupported algorithm: HMAC_SHA224",
                                       L"CCNGPBKDF2KeyDerivation::Derive : Derivation using shared secret value failed"}));

  for (const std::wstring failing : {L"GetIterationCount", L"GetHMACAlgorithmName"}) {
    CallersMap map;
    map.failing = {failing};
    const auto mapFailure = Thrown([&] { DeriveHex(*NewPbkdf2(&map), Text("pw"), Text("salt"), 16); });
    ExpectMapFailure(mapFailure, 1);
    ASSERT_TRUE(mapFailure);
    EXPECT_EQ(mapFailure->getMessage(), L"Derivation using shared secret value failed");
  }
}

class Pbkdf2WithoutCNG : public WithModuleHooks {};

TEST_F(Pbkdf2WithoutCNG, ReportsTheLoadFailureWrapped) {
  const auto kdf = NewPbkdf2(nullptr);
  const std::unique_ptr<ISharedSecret> secret(ISharedSecret::Create(Text("pw")));
  kdf->Init(secret.get());
  MakeCNGUnavailable();
  LogCapture capture(NQLOG_ERROR);
  ByteArray out;
  const auto e = Thrown([&] { kdf->Derive(Text("salt"), 16, out); });
  ExpectFailure(e, CRYPTO_INTERNAL_ERROR, L"Derivation using shared secret value failed");
  EXPECT_EQ(MessageAt(e.get(), 1), L"Failed to load CNG!");
  EXPECT_THAT(capture.At(NQLOG_ERROR),
              testing::Contains(L"CCNGPBKDF2KeyDerivation::Derive : Unable to load CNG library"));

  MakeCNGAvailable();
  kdf->Derive(Text("salt"), 16, out);  // the failure left the engine initialised
  EXPECT_EQ(ToHex(out), OpensslPbkdf2("HMAC_SHA256", "pw", "salt", 10000, 16));
}

TEST(KeyDerivationFactory, NamesWithoutAnEngineAreNotImplemented) {
  for (const wchar_t* name : {L"SHA256", L"AES"}) {
    const auto algorithm = Algorithm(name);
    LogCapture capture(NQLOG_EXIT);
    ExpectFailure(Thrown([&] { delete KeyDerivation::Create(algorithm.get(), nullptr); }), CRYPTO_NOT_IMPLEMENTED,
                  L"Not Implemented");
    EXPECT_EQ(capture.At(NQLOG_ENTRY).front(), L"KeyDerivation::Create");
    EXPECT_EQ(capture.At(NQLOG_EXIT).back(), L"KeyDerivation::Create Returns Not Implemented");
  }
}

}  // namespace
