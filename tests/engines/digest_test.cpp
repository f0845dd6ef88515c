// MessageDigest on CNG: FIPS 180-4 and RFC 1321 answers, buffering, refusals, the factory's trace.
#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "engine_test_util.h"
#include "support/log_capture.h"

namespace {

using namespace enginetest;
using zttest::LogCapture;

const std::string kSha256Abc = "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad";
const std::string kSha256Empty = "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855";
std::unique_ptr<MessageDigest> NewDigest(const IAlgorithm* algorithm) {
  return std::unique_ptr<MessageDigest>(MessageDigest::Create(const_cast<IAlgorithm*>(algorithm), nullptr));
}
std::unique_ptr<MessageDigest> NewDigest(const WString& name) { return NewDigest(Algorithm(name).get()); }

std::string DigestHex(MessageDigest& digest, const ByteArray& input) {
  ByteArray out;
  digest.Digest(input, out);
  return ToHex(out);
}

// RFC 1321 and FIPS 180-4 answers, and each digest's length.
TEST(MessageDigest, KnownAnswers) {
  for (const auto& v : Published("digest", 3)) {
    const auto digest = NewDigest(WString(v[0].begin(), v[0].end()));
    EXPECT_EQ(DigestHex(*digest, Text(v[2])), v[1]) << v[2];
    EXPECT_EQ(digest->GetDigestLength() * 2, v[1].size());
  }
}

TEST(MessageDigest, DigestsAllUpdatesAtOnceAndThenStartsAfresh) {
  const auto digest = NewDigest(L"SHA256");
  ByteArray out;
  digest->Digest(out);
  EXPECT_EQ(ToHex(out), kSha256Empty) << "nothing buffered";
  digest->Update(Hex("6162"));
  digest->Update(Hex("63"));
  digest->Digest(out);
  EXPECT_EQ(ToHex(out), kSha256Abc);
  digest->Digest(out);
  EXPECT_EQ(ToHex(out), kSha256Empty) << "a successful digest empties the buffer";
  digest->Update(Text("ab"));
  EXPECT_EQ(DigestHex(*digest, Text("c")), kSha256Abc) << "the two-argument form appends to what is buffered";

  // FIPS 180-4: a million 'a', here in a thousand updates.
  for (int i = 0; i < 1000; ++i) digest->Update(ByteArray(1000, 'a'));
  digest->Digest(out);
  EXPECT_EQ(ToHex(out), "cdc76e5c9914fb9281a1c7e284d73e67f1809a48a497200e046d39ccc7112cd0");
}

// SHA224 has a length but no digest; names outside the digest engine's five have neither.
TEST(MessageDigest, UnsupportedNames) {
  const auto sha224 = NewDigest(L"SHA224");
  EXPECT_EQ(sha224->GetDigestLength(), 28u);
  LogCapture capture;
  ByteArray out;
  ExpectFailure(Thrown([&] { sha224->Digest(out); }), CRYPTO_NO_SUCH_ALGORITHM, L"Unsupported algorithm");
  EXPECT_EQ(capture.At(NQLOG_ERROR), std::vector<std::wstring>{L"CCNGMessageDigest::Digest : Unsupported algorithm: SHA224"});

  std::vector<std::unique_ptr<IAlgorithm>> algorithms;
  algorithms.push_back(UnlistedAlgorithm(L"sha256"));
  algorithms.push_back(UnlistedAlgorithm(L"SHA-256"));
  algorithms.push_back(Algorithm(L"MD2"));  // in the table, but no digest engine has it
  algorithms.push_back(Algorithm(L"HMAC_SHA256"));
  for (const auto& algorithm : algorithms) {
    const auto digest = NewDigest(algorithm.get());
    ExpectFailure(Thrown([&] { digest->GetDigestLength(); }), CRYPTO_NO_SUCH_ALGORITHM, L"Unsupported algorithm");
    ExpectFailure(Thrown([&] { digest->Digest(out); }), CRYPTO_NO_SUCH_ALGORITHM, L"Unsupported algorithm");
  }
}

class MessageDigestWithoutCNG : public WithModuleHooks {};

TEST_F(MessageDigestWithoutCNG, FailedDigestKeepsTheBufferedData) {
  const auto digest = NewDigest(L"SHA256");
  digest->Update(Text("ab"));
  MakeCNGUnavailable();
  LogCapture capture;
  ByteArray out;
  const auto e = Thrown([&] { digest->Digest(out); });
  ExpectFailure(e, CRYPTO_INTERNAL_ERROR, L"Load CNG library failed");
  ASSERT_TRUE(e);
  EXPECT_EQ(e->getFilename(), L"sources/cng/crypto.cng.digest");
  EXPECT_THAT(capture.At(NQLOG_ERROR), testing::Contains(L"CCNGMessageDigest::Digest : Unable to load CNG library"));
  // The two-argument form wraps the failure and keeps its input too.
  const auto wrapped = Thrown([&] { digest->Digest(Text("c"), out); });
  ExpectFailure(wrapped, CRYPTO_INTERNAL_ERROR, L"Digest failed");
  EXPECT_EQ(MessageAt(wrapped.get(), 1), L"Load CNG library failed");

  MakeCNGAvailable();
  digest->Digest(out);
  EXPECT_EQ(ToHex(out), kSha256Abc);
}

// A null algorithm writes only the entry and return lines; any other name gives an engine.
TEST(MessageDigestFactory, RefusesOnlyANullAlgorithmAndTheEngineOwnsItsOwnClone) {
  LogCapture refusal;
  ExpectFailure(Thrown([] { delete MessageDigest::Create(nullptr, nullptr); }), CRYPTO_BAD_PARAM,
                L"pAlgorithm should not be NULL");
  EXPECT_EQ(refusal.Trace(), (std::vector<std::wstring>{L"8|MessageDigest::Create",
                                                        L"16|MessageDigest::Create Returns pAlgorithm should not be NULL"}));
  const auto algorithm = UnlistedAlgorithm(L"1.2.3.4");
  LogCapture capture;
  auto digest = NewDigest(algorithm.get());
  const std::wstring self = zttest::AddressText(digest.get());
  EXPECT_NE(digest->GetAlgorithm(), algorithm.get());

  std::vector<std::wstring> own;  // the lines of the factory and the engine, without the algorithm's
  digest.reset();
  for (const std::wstring& line : capture.Trace())
    if (line.find(L"Digest") != std::wstring::npos) own.push_back(line);
  EXPECT_EQ(own, (std::vector<std::wstring>{
                     L"8|MessageDigest::Create", L"8|CCNGMessageDigest::CCNGMessageDigest : this=" + self,
                     L"16|CCNGMessageDigest::CCNGMessageDigest", L"16|MessageDigest::Create",
                     L"8|CCNGMessageDigest::GetAlgorithm : this=" + self, L"16|CCNGMessageDigest::GetAlgorithm",
                     L"8|CCNGMessageDigest::~CCNGMessageDigest : this=" + self,
                     L"16|CCNGMessageDigest::~CCNGMessageDigest"}));
}

}  // namespace
