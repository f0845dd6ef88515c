// The random generator on both platform paths, and the GUID generator.
#include <gmock/gmock.h>

#include <set>
#include <string>
#include <vector>

#include "engine_test_util.h"
#include "support/log_capture.h"

namespace {

using namespace enginetest;
using zttest::LogCapture;

std::unique_ptr<RandomGenerator> NewRandom() {
  return std::unique_ptr<RandomGenerator>(RandomGenerator::Create(Algorithm(L"FIPS186DSARNG").get(), nullptr));
}

// Every byte value occurs in a long enough output of a uniform generator (the chance that one
// of them is missing from 64 KiB is below 2^-300): the bytes drawn from rand_s lie in 0..254,
// the output is the platform generator's.
// Two draws of 64 KiB differ.
void ExpectFreshDrawsOverEveryByteValue(RandomGenerator& generator) {
  ByteArray first, second;
  generator.GenerateRandom(65536, first);
  generator.GenerateRandom(65536, second);
  EXPECT_EQ(first.size(), 65536u);
  EXPECT_NE(first, second);
  EXPECT_EQ(std::set<unsigned char>(first.begin(), first.end()).size(), 256u);
}

TEST(RandomGenerator, GivesTheLengthAskedForFreshEachTimeOverEveryByteValue) {
  const auto generator = NewRandom();
  ByteArray out;
  for (std::uint32_t length : {0u, 1u, 17u, 4096u}) {
    generator->GenerateRandom(length, out);
    EXPECT_EQ(out.size(), length);
  }
  ExpectFreshDrawsOverEveryByteValue(*generator);
}

class RandomGeneratorWithoutCNG : public WithModuleHooks {};

TEST_F(RandomGeneratorWithoutCNG, FallsBackToTheCryptoApiProvider) {
  const auto generator = NewRandom();
  MakeCNGUnavailable();
  LogCapture capture;
  ExpectFreshDrawsOverEveryByteValue(*generator);
  EXPECT_THAT(capture.At(NQLOG_ERROR),
              testing::Contains(L"CryptoSoftCNGWrapper::LoadCNGLibrary : LoadLibrary (BCrypt) failed (126)"));
  EXPECT_EQ(capture.At(NQLOG_EXIT).back(), L"CCNGFIPS186RandomGenerator::GenerateRandom");
}

TEST(RandomGeneratorFactory, OnlyFips186DsaRngHasAnEngine) {
  const auto sha256 = Algorithm(L"SHA256");
  ExpectFailure(Thrown([&] { delete RandomGenerator::Create(sha256.get(), nullptr); }), CRYPTO_NO_SUCH_ALGORITHM,
                L"Unknown algorithm");
  ExpectFailure(Thrown([] { delete RandomGenerator::Create(nullptr, nullptr); }), CRYPTO_BAD_PARAM,
                L"pAlgorithm should not be NULL");
  const auto algorithm = Algorithm(L"FIPS186DSARNG");
  LogCapture capture(NQLOG_EXIT);
  const std::unique_ptr<RandomGenerator> generator(RandomGenerator::Create(algorithm.get(), nullptr));
  EXPECT_EQ(capture.At(NQLOG_ENTRY).back(),
            L"CCNGFIPS186RandomGenerator::CCNGFIPS186RandomGenerator : this=" + zttest::AddressText(generator.get()));
  EXPECT_EQ(capture.At(NQLOG_EXIT).back(), L"RandomGenerator::Create");
  EXPECT_NE(generator->GetAlgorithm(), algorithm.get());
}

TEST(GuidGenerator, GivesVersionFourGuidsInMemoryOrderAndDumpsThem) {
  const auto sha256 = Algorithm(L"SHA256");
  // The arguments are not examined.
  const std::unique_ptr<GUIDGenerator> generator(GUIDGenerator::Create(sha256.get(), nullptr));
  const std::unique_ptr<GUIDGenerator> other(GUIDGenerator::Create(nullptr, nullptr));
  std::set<std::string> seen;
  for (int i = 0; i < 100; ++i) {
    ByteArray guid(3, 0xEE);
    (i % 2 ? other : generator)->GenerateGUID(guid);
    ASSERT_EQ(guid.size(), 16u);
    EXPECT_EQ(guid[7] >> 4, 4) << "version, the top nibble of Data3, in its second (high) byte";
    EXPECT_EQ(guid[8] & 0xC0, 0x80) << "variant";
    seen.insert(ToHex(guid));
  }
  EXPECT_EQ(seen.size(), 100u);

  LogCapture capture;
  ByteArray guid;
  generator->GenerateGUID(guid);
  const auto warnings = capture.At(NQLOG_WARNING);
  ASSERT_EQ(warnings.size(), 1u);
  EXPECT_EQ(warnings[0].rfind(L"CCNGGUIDGenerator::GenerateGUID: Generated GUID:", 0), 0u);
}

}  // namespace
