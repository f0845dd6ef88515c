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
const std::string k448 = "abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq";
const std::string k896 =
    "abcdefghbcdefghicdefghijdefghijkefghijklfghijklmghijklmnhijklmnoijklmnopjklmnopqklmnopqrlmnopqrsmnopqrstnopqrstu";

std::unique_ptr<MessageDigest> NewDigest(const IAlgorithm* algorithm) {
  return std::unique_ptr<MessageDigest>(MessageDigest::Create(const_cast<IAlgorithm*>(algorithm), nullptr));
}
std::unique_ptr<MessageDigest> NewDigest(const WString& name) { return NewDigest(Algorithm(name).get()); }

std::string DigestHex(MessageDigest& digest, const ByteArray& input) {
  ByteArray out;
  digest.Digest(input, out);
  return ToHex(out);
}

TEST(MessageDigest, KnownAnswers) {
  const struct {
    const wchar_t* name;
    std::string message;
    std::string expected;
  } vectors[] = {
      {L"MD5", "", "d41d8cd98f00b204e9800998ecf8427e"},
      {L"MD5", "abc", "900150983cd24fb0d6963f7d28e17f72"},
      {L"MD5", "message digest", "f96b697d7cb7938d525a2f31aaf161d0"},
      {L"SHA1", "abc", "a9993e364706816aba3e25717850c26c9cd0d89d"},
      {L"SHA1", k448, "84983e441c3bd26ebaae4aa1f95129e5e54670f1"},
      {L"SHA256", "abc", kSha256Abc},
      {L"SHA256", k448, "248d6a61d20638b8e5c026930c3e6039a33ce45964ff2167f6ecedd419db06c1"},
      {L"SHA384", "abc",
       "cb00753f45a35e8bb5a03d699ac65007272c32ab0eded1631a8b605a43ff5bed8086072ba1e7cc2358baeca134c825a7"},
      {L"SHA512", "abc",
       "ddaf35a193617abacc417349ae20413112e6fa4e89a97ea20a9eeee64b55d39a2192992a274fc1a836ba3c23a3feebbd454d4423643ce80e2a9ac94fa54ca49f"},
      {L"SHA384", k896,
       "09330c33f71147e83d192fc782cd1b4753111b173b3b05d22fa08086e3b0f712fcc7c71a557e2db966c3e9fa91746039"},
      {L"SHA512", k896,
       "8e959b75dae313da8cf4f72814fc143f8f7779c6eb9f7fa17299aeadb6889018501d289e4900f7e4331b99dec4b5433ac7d329eeb6dd26545e96e55b874be909"},
  };
  for (const auto& v : vectors) {
    const auto digest = NewDigest(v.name);
    EXPECT_EQ(DigestHex(*digest, Text(v.message)), v.expected) << v.message;
    EXPECT_EQ(digest->GetDigestLength() * 2, v.expected.size());
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

TEST(MessageDigestFactory, NullAlgorithmWritesOnlyEntryAndReturnsLines) {
  LogCapture capture;
  ExpectFailure(Thrown([] { delete MessageDigest::Create(nullptr, nullptr); }), CRYPTO_BAD_PARAM,
                L"pAlgorithm should not be NULL");
  EXPECT_EQ(capture.Trace(), (std::vector<std::wstring>{L"8|MessageDigest::Create",
                                                        L"16|MessageDigest::Create Returns pAlgorithm should not be NULL"}));
}
TEST(MessageDigestFactory, AnyNameGivesAnEngineOwningItsOwnClone) {
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
