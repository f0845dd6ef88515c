// The padding schemes: layouts byte by byte, blocks exchanged with the openssl tool, quirks.
#include <functional>
#include <set>
#include <tuple>
#include <string>
#include <vector>

#include "cng/crypto.cng.util.h"
#include "common/crypto.padding.h"
#include "rsa_test_util.h"
#include "support/log_capture.h"
#include "support/sections.h"

namespace {

using namespace rsatest;
using zttest::AddressText;
using zttest::LogCapture;

ByteArray Repeat(std::size_t count, unsigned char byte) { return ByteArray(count, byte); }

ByteArray Concat(std::initializer_list<ByteArray> parts) {
  ByteArray out;
  for (const ByteArray& part : parts) out.insert(out.end(), part.begin(), part.end());
  return out;
}

// The bytes 0x10, 0x11, ...: a message whose every byte is non-zero and distinct from the markers.
ByteArray Message(std::size_t size) {
  ByteArray m(size);
  for (std::size_t i = 0; i < size; ++i) m[i] = static_cast<unsigned char>(0x10 + i % 0x60);
  return m;
}

// A padding and the map it reads (PKCS1 with its operation mode, X_931 with its hash identifier,
// OAEP with its label).
struct Scheme {
  std::unique_ptr<ICryptoParserParameterMap> map = NewMap();
  std::unique_ptr<IPadding> padding;
  Scheme(const wchar_t* name, unsigned int k, const std::function<void(ICryptoParserParameterMap&)>& fill) {
    fill(*map);
    padding.reset(IPadding::Create(name, k, map.get()));
  }
};
Scheme Pkcs1(unsigned char operation, unsigned int k) {
  return Scheme(L"PKCS1", k, [=](ICryptoParserParameterMap& m) { m.SetPkcs1OperationMode(operation); });
}
Scheme X931(unsigned char hashId, unsigned int k) {
  return Scheme(L"X_931", k, [=](ICryptoParserParameterMap& m) { m.SetHashAlgoPaddingMode(hashId); });
}
Scheme Oaep(const ByteArray& label, unsigned int k) {
  return Scheme(L"OAEP", k, [&](ICryptoParserParameterMap& m) { m.SetOAEPEncodingParamMode(label); });
}

ByteArray Encode(IPadding& padding, const ByteArray& in) {
  ByteArray out;
  padding.EncodeData(in, out);
  return out;
}

// The factory's choice of class shows in each scheme's layout tests below.
TEST(PaddingFactory, RefusesWhatItCannotBuildAndTracesTheRefusal) {
  struct Case {
    const wchar_t* name;
    void (*fill)(ICryptoParserParameterMap&);
    bool nullMap;
    CryptoExceptionId id;
    const wchar_t* message;
  };
  const auto nothing = [](ICryptoParserParameterMap&) {};
  const Case cases[] = {
      {L"OAEP", nothing, true, CRYPTO_BAD_PARAM, L"Bad Parameters"},
      {L"pkcs1", [](ICryptoParserParameterMap& m) { m.SetPkcs1OperationMode(0); }, false, CRYPTO_NO_SUCH_PADDING,
       L"Padding type is not supported"},
      {L"PSS", nothing, false, CRYPTO_NO_SUCH_PADDING, L"Padding type is not supported"},
      {L"None", nothing, false, CRYPTO_NO_SUCH_PADDING, L"Padding type is not supported"},
      {L"X_931", nothing, false, CRYPTO_BAD_PARAM, L"Hash alogo Padding type is not set"},
      {L"PKCS1", nothing, false, CRYPTO_BAD_PARAM, L"Pkcs1 operation parameter is not set"},
      {L"PKCS1", [](ICryptoParserParameterMap& m) { m.SetPkcs1OperationMode(2); }, false, CRYPTO_BAD_PARAM,
       L"Pkcs1 operation parameter is invalid"},
  };
  for (const Case& c : cases) {
    const auto map = NewMap();
    c.fill(*map);
    ExpectFailure(Thrown([&] { delete IPadding::Create(c.name, 256, c.nullMap ? nullptr : map.get()); }), c.id,
                  c.message);
  }
  const auto map = NewMap();
  LogCapture capture;
  EXPECT_TRUE(Thrown([&] { delete IPadding::Create(L"X_931", 256, map.get()); }));
  EXPECT_EQ(capture.Trace(), (std::vector<std::wstring>{
                                 L"8|IPadding::Create",
                                 L"1|IPadding::Create : Hash alogo Padding type is not set",
                                 L"16|IPadding::Create Returns Hash alogo Padding type is not set",
                             }));
}

TEST(PaddingFactory, ACallersMapThatThrowsIsAParameterError) {
  for (const auto& [name, failing] : {std::pair{L"X_931", L"GetHashAlgoPaddingMode"},
                                      std::pair{L"PKCS1", L"GetPkcs1OperationMode"}}) {
    CallersMap map;
    map.failing = {failing};
    ExpectMapFailure(Thrown([&] { delete IPadding::Create(name, 256, &map); }));
  }
  // Read when encoding and decoding: the X9.31 hash identifier and the OAEP label.
  CallersMap map;
  map.SetHashAlgoPaddingMode(0x34);
  const std::unique_ptr<IPadding> x931(IPadding::Create(L"X_931", 256, &map));
  const std::unique_ptr<IPadding> oaep(IPadding::Create(L"OAEP", 256, &map));
  map.failing = {L"GetHashAlgoPaddingMode", L"GetOAEPEncodingParamMode"};
  ByteArray out;
  ExpectMapFailure(Thrown([&] { x931->EncodeData(Message(20), out); }));
  ExpectMapFailure(Thrown([&] { oaep->EncodeData(Message(20), out); }));
  ExpectMapFailure(Thrown([&] { oaep->DecodeData(Repeat(256, 0), out); }));
}

// A message too long for its scheme: the id and message, the line that says why, and the
// scheme's own source file, also where a shared helper checks for the scheme. OAEP's check is one
// byte looser than its layout: k - 41 passes, and its zero string of 2^32 - 1 bytes cannot be built.
TEST(PaddingSchemes, RefuseALongMessageInTheirOwnName) {
  struct Case {
    Scheme scheme;
    std::size_t length;
    CryptoExceptionId id;
    const wchar_t* message;
    const wchar_t* line;
    const wchar_t* file;
  };
  const wchar_t* const tooLong = L"Data to Encode Length is invalid";
  const Case cases[] = {
      {Pkcs1(0, 64), 54, CRYPTO_BAD_PARAM, tooLong,
       L"CPKCS1SignPadding::EncodeData : Data to Encode Length is invalid (54 > 53)",
       L"sources/common/crypto.padding.pkcs1.sign"},
      {Pkcs1(1, 64), 54, CRYPTO_BAD_PARAM, tooLong,
       L" CPKCS1EncryptPadding::EncodeData : Data to Encode Length is invalid (54 > 53)",
       L"sources/common/crypto.padding.pkcs1.encrypt"},
      // k - 12 is the limit, the line prints k - 11.
      {X931(0x34, 64), 53, CRYPTO_BAD_PARAM, tooLong,
       L"CX931Padding::EncodeData : Data to Encode Length is invalid (53 > 53)", L"sources/common/crypto.padding.x931"},
      {Oaep({}, 64), 24, CRYPTO_BAD_PARAM, tooLong,
       L"COAEPPadding::EncodeData : Data to Encode Length is invalid (24 > 23)", L"sources/common/crypto.padding.oaep"},
      {Oaep({}, 64), 23, CRYPTO_INTERNAL_ERROR, L"Error : No memory",
       L"COAEPPadding::EncodeData : Len PS = -1 (0xffffffff))", L"sources/common/crypto.padding.oaep"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.line);
    LogCapture capture(NQLOG_WARNING);
    const auto e = Thrown([&] { Encode(*c.scheme.padding, Message(c.length)); });
    ExpectFailure(e, c.id, c.message);
    ASSERT_TRUE(e);
    EXPECT_EQ(e->getFilename(), c.file);
    const auto& lines = capture.Lines();
    EXPECT_TRUE(std::any_of(lines.begin(), lines.end(), [&](const zttest::LogLine& l) { return l.text == c.line; }));
  }
}

// The block the openssl tool signed is compared through Signature (RsaSignature tests).
TEST(Pkcs1SignPadding, LaysOutTheBlockByteForByteAndDoesNotDecode) {
  Scheme s = Pkcs1(0, 64);
  EXPECT_EQ(Encode(*s.padding, {}), Concat({{0x00, 0x01}, Repeat(61, 0xFF), {0x00}}));
  const ByteArray m = Message(53);  // k - 11: eight FF bytes, the fewest there may be
  EXPECT_EQ(Encode(*s.padding, m), Concat({{0x00, 0x01}, Repeat(8, 0xFF), {0x00}, m}));

  ByteArray out = Text("stale");
  ExpectFailure(Thrown([&] { s.padding->DecodeData(Encode(*s.padding, {}), out); }), CRYPTO_NOT_SUPPORTED,
                L"This function is not supported");
  EXPECT_TRUE(out.empty());
}

// 00 02, at least eight padding bytes, 00, the message; the padding bytes lie in 1..254 (over
// 50600 draws every value of 1..254 turns up, 0 and 255 never do).
TEST(Pkcs1EncryptPadding, LaysOutTheBlockWithPaddingBytesIn1To254) {
  Scheme s = Pkcs1(1, 256);
  const ByteArray m = Message(245);  // k - 11
  const ByteArray block = Encode(*s.padding, m);
  EXPECT_EQ(ByteArray(block.begin(), block.begin() + 2), Hex("0002"));
  EXPECT_EQ(block[10], 0x00);
  EXPECT_EQ(ByteArray(block.begin() + 11, block.end()), m);
  std::set<unsigned char> seen(block.begin() + 2, block.begin() + 10);
  for (int round = 0; round < 200; ++round) {
    const ByteArray empty = Encode(*s.padding, {});
    ASSERT_EQ(empty.size(), 256u);
    EXPECT_EQ(empty.back(), 0x00);
    seen.insert(empty.begin() + 2, empty.end() - 1);
  }
  EXPECT_EQ(seen.size(), 254u);
  EXPECT_EQ(seen.count(0) + seen.count(255), 0u);
}

TEST(Pkcs1EncryptPadding, ExchangesBlocksWithOpenssl) {
  Scheme s = Pkcs1(1, 256);
  const ByteArray hello = Fixture("hello.txt");
  // Our block, encrypted raw and decrypted by the tool with its PKCS #1 padding.
  EXPECT_EQ(OpensslDecrypt(OpensslRawPublic(Encode(*s.padding, hello)), "-pkeyopt rsa_padding_mode:pkcs1"), hello);
  // The tool's block, decoded here.
  ByteArray out;
  EXPECT_TRUE(s.padding->DecodeData(Fixture("hello.pkcs1.block"), out));
  EXPECT_EQ(out, hello);
}

TEST(Pkcs1EncryptPadding, TracesEncodingWithTheLeadingBlank) {
  Scheme s = Pkcs1(1, 64);
  LogCapture capture(NQLOG_EXIT);
  EXPECT_TRUE(Thrown([&] { Encode(*s.padding, Message(54)); }));
  const std::wstring self = AddressText(s.padding.get());
  EXPECT_EQ(capture.Trace(), (std::vector<std::wstring>{
                                 L"8| CPKCS1EncryptPadding::EncodeData : this=" + self,
                                 L"1| CPKCS1EncryptPadding::EncodeData : Data to Encode Length is invalid (54 > 53)",
                                 L"16| CPKCS1EncryptPadding::EncodeData Returns Data to Encode Length is invalid",
                             }));
}

TEST(Pkcs1EncryptPadding, MalformedBlocksDecodeToFalse) {
  constexpr unsigned int k = 64;
  const ByteArray m = Message(20);
  const auto block = [&](std::size_t zeroAt) {  // 00 02, non-zero bytes, a zero at `zeroAt`, then m
    ByteArray b = Concat({{0x00, 0x02}, Repeat(k - 2, 0x77)});
    b[zeroAt] = 0x00;
    return b;
  };
  struct Case {
    ByteArray in;
    const wchar_t* line;
  };
  const ByteArray good = block(30);
  ByteArray wrongHeader = good;
  wrongHeader[1] = 0x01;
  const Case cases[] = {
      {ByteArray(good.begin(), good.end() - 1), L"Key Length and MessageToDecode size do not match"},
      {wrongHeader, L"2 first bytes are wrong"},
      {block(9), L"separator not found"},                                     // fewer than eight padding bytes
      {Concat({{0x00, 0x02}, Repeat(k - 2, 0x77)}), L"separator not found"},  // no zero
      {block(k - 1), L"separator not found"},                                 // only the last byte is zero
  };
  Scheme s = Pkcs1(1, k);
  for (const Case& c : cases) {
    LogCapture capture(NQLOG_ERROR);
    ByteArray out = Text("stale");
    EXPECT_FALSE(s.padding->DecodeData(c.in, out)) << static_cast<int>(&c - cases);
    EXPECT_TRUE(out.empty());
    EXPECT_EQ(
        capture.At(NQLOG_ERROR),
        std::vector<std::wstring>{std::wstring(L"CPKCS1EncryptPadding::DecodeData: invalid decryption : ") + c.line});
  }
  // A zero at index 10 is the earliest separator there may be: the message starts at 11.
  ByteArray out;
  EXPECT_TRUE(s.padding->DecodeData(block(10), out));
  EXPECT_EQ(out, Repeat(k - 11, 0x77));
  // Keys too short for the header decode nothing, and read nothing outside the block.
  for (unsigned int tiny : {0u, 1u, 2u}) {
    Scheme t = Pkcs1(1, tiny);
    EXPECT_FALSE(t.padding->DecodeData(ByteArray(tiny, 0x00), out)) << tiny;
  }
}

// Encoding reads the hash byte from the map each time.
TEST(X931Padding, LaysOutTheBlockWithTheMapsHashByte) {
  // A block of the usual shape is compared with the tool's through Signature (RsaSignature tests).
  Scheme s = X931(0x34, 64);
  const ByteArray longest = Message(52);  // k - 12: eight BB bytes
  EXPECT_EQ(Encode(*s.padding, longest), Concat({{0x6B}, Repeat(8, 0xBB), {0xBA}, longest, {0x34, 0xCC}}));
  s.map->erase(L"CryptoParameterHashAlgoPaddingMode");
  ExpectFailure(Thrown([&] { Encode(*s.padding, Message(20)); }), CRYPTO_BAD_PARAM, L"Hash Algo X931 is not set");
}

// The block the tool signed decodes, without the hash byte, whose identifier is not compared with
// the map's; malformed blocks decode to false.
TEST(X931Padding, DecodesTheBlockOpensslSignedAndMalformedBlocksToFalse) {
  Scheme tool = X931(0x33, 256);
  ByteArray out;
  EXPECT_TRUE(tool.padding->DecodeData(Fixture("x931.direct.block"), out));
  EXPECT_EQ(out, OpensslDigest("sha256", Fixture("x931.direct.txt")));

  constexpr unsigned int k = 64;
  const auto block = [&](std::size_t separatorAt) {
    ByteArray b = Concat({{0x6B}, Repeat(k - 3, 0xBB), {0x34, 0xCC}});
    b[separatorAt] = 0xBA;
    return b;
  };
  const ByteArray good = block(20);
  ByteArray wrongTrailer = good, wrongHeader = good;
  wrongTrailer[k - 1] = 0xCD;
  wrongHeader[0] = 0x6A;
  Scheme s = X931(0x34, k);
  for (const ByteArray& in : {block(10), wrongTrailer, wrongHeader, Concat({{0x6B}, Repeat(k - 2, 0xBB), {0xCC}})}) {
    LogCapture capture(NQLOG_WARNING);
    EXPECT_FALSE(s.padding->DecodeData(in, out));
    EXPECT_EQ(capture.At(NQLOG_WARNING), std::vector<std::wstring>{L"CX931Padding::DecodeData : Signature is invalid"});
  }
  LogCapture capture(NQLOG_ERROR);
  EXPECT_FALSE(s.padding->DecodeData(ByteArray(good.begin(), good.end() - 1), out));
  EXPECT_EQ(capture.At(NQLOG_ERROR),
            std::vector<std::wstring>{
                L"CX931Padding::DecodeData: invalid decryption : Key Length and MessageToDecode size do not match"});

  // BA at index 11 is the earliest there may be; one in the last two bytes leaves no message.
  EXPECT_TRUE(s.padding->DecodeData(block(11), out));
  EXPECT_EQ(out, Concat({Repeat(k - 14, 0xBB)}));
  EXPECT_TRUE(s.padding->DecodeData(block(k - 2), out));
  EXPECT_TRUE(out.empty());
  Scheme empty = X931(0x34, 0);
  EXPECT_FALSE(empty.padding->DecodeData({}, out));
}

TEST(OaepPadding, ExchangesBlocksWithOpensslAndRoundTrips) {
  const ByteArray hello = Fixture("hello.txt");
  const std::string sha1 = "-pkeyopt rsa_padding_mode:oaep -pkeyopt rsa_oaep_md:sha1 -pkeyopt rsa_mgf1_md:sha1";
  Scheme labelled = Oaep(Text("zt"), 256);
  EXPECT_EQ(OpensslDecrypt(OpensslRawPublic(Encode(*labelled.padding, hello)), sha1 + " -pkeyopt rsa_oaep_label:7a74"),
            hello);
  // An empty label is hashed as the empty string.
  Scheme unlabelled = Oaep({}, 256);
  EXPECT_EQ(OpensslDecrypt(OpensslRawPublic(Encode(*unlabelled.padding, hello)), sha1), hello);

  ByteArray out;
  EXPECT_TRUE(labelled.padding->DecodeData(Fixture("hello.oaep.block"), out));
  EXPECT_EQ(out, hello);
  EXPECT_FALSE(unlabelled.padding->DecodeData(Fixture("hello.oaep.block"), out));

  // Every length up to k - 43 round-trips.
  Scheme s = Oaep(Text("label"), 128);
  for (std::size_t length : {0u, 1u, 20u, 64u, 85u}) {
    EXPECT_TRUE(s.padding->DecodeData(Encode(*s.padding, Message(length)), out)) << length;
    EXPECT_EQ(out, Message(length));
  }
}

TEST(OaepPadding, AnEmptyZeroStringEncodesButIsNotRecognised) {
  Scheme s = Oaep({}, 128);
  ByteArray out = Text("stale");
  // k - 42 bytes: DB = pHash || 01 || M. The search for the 01 starts one byte past pHash.
  EXPECT_FALSE(s.padding->DecodeData(Encode(*s.padding, Message(86)), out));
  EXPECT_TRUE(out.empty());
  // ... so a message that itself starts with 01 gives its own tail back.
  ByteArray m = Message(86);
  m[0] = 0x01;
  EXPECT_TRUE(s.padding->DecodeData(Encode(*s.padding, m), out));
  EXPECT_EQ(out, ByteArray(m.begin() + 1, m.end()));
}

TEST(OaepPadding, NeedsTheLabelAndABlockOfKBytes) {
  const auto map = NewMap();
  const std::unique_ptr<IPadding> padding(IPadding::Create(L"OAEP", 128, map.get()));
  ByteArray out;
  for (const auto& e : {Thrown([&] { padding->EncodeData(Message(5), out); }),
                        Thrown([&] { padding->DecodeData(Repeat(128, 0), out); })})
    ExpectFailure(e, CRYPTO_BAD_PARAM, L"EncodingParameters is not set");
  map->SetOAEPEncodingParamMode({});
  LogCapture capture(NQLOG_ERROR);
  ExpectFailure(Thrown([&] { padding->DecodeData(Repeat(127, 0), out); }), CRYPTO_BAD_PARAM,
                L"Data to Decode Length is invalid");
  EXPECT_EQ(capture.At(NQLOG_ERROR),
            std::vector<std::wstring>{L"COAEPPadding::DecodeData : Data to Encode Length is invalid (127 > 128)"});
}

TEST(OaepPadding, MalformedBlocksDecodeToFalse) {
  Scheme s = Oaep(Text("zt"), 256);
  const ByteArray good = Fixture("hello.oaep.block");
  ByteArray leadingByte = good, maskedDbBit = good, maskedSeedBit = good;
  leadingByte[0] = 0x01;
  maskedDbBit[200] ^= 0x04;
  maskedSeedBit[5] ^= 0x80;
  ByteArray out;
  for (const ByteArray& in : {leadingByte, maskedDbBit, maskedSeedBit}) {
    LogCapture capture(NQLOG_WARNING);
    EXPECT_FALSE(s.padding->DecodeData(in, out));
    const auto lines = capture.At(NQLOG_WARNING);
    EXPECT_EQ(lines.back(), L"COAEPPadding::DecodeData Error to decode MessageToDecode indice 0)");
  }
  // Keys too short for the random octets and a hash: nothing outside the block is read.
  for (unsigned int tiny : {0u, 1u, 20u, 21u, 42u}) {
    Scheme t = Oaep({}, tiny);
    EXPECT_FALSE(t.padding->DecodeData(Repeat(tiny, 0), out)) << tiny;
  }
}

TEST(OaepPadding, TracesEachStepOfTheEncoding) {
  Scheme s = Oaep({}, 64);
  LogCapture capture(NQLOG_WARNING);
  Encode(*s.padding, Message(3));
  std::vector<std::wstring> expected;
  for (const auto& [key, value] : zttest::ReadSection("rsa/traces.txt", "oaep-encoding")) {
    const std::string line = key + " " + value;
    expected.emplace_back(line.begin(), line.end());
  }
  EXPECT_EQ(capture.At(NQLOG_WARNING), expected);
}

TEST(OriginalDataLength, BoundsEachPaddingForA2048BitKey) {
  struct Case {
    const wchar_t* padding;
    std::uint32_t passes, fails;
  };
  for (const Case& c : {Case{L"PKCS1", 245, 246}, Case{L"X_931", 244, 245}, Case{L"OAEP", 215, 216}}) {
    EXPECT_TRUE(CryptoUtil::IsOriginalDataLengthValid(c.padding, c.passes, 256)) << c.padding;
    LogCapture capture(NQLOG_ERROR);
    EXPECT_FALSE(CryptoUtil::IsOriginalDataLengthValid(c.padding, c.fails, 256)) << c.padding;
    EXPECT_EQ(capture.At(NQLOG_ERROR),
              std::vector<std::wstring>{L"CryptoUtil::IsOriginalDataLengthValid : Data Length is invalid (" +
                                        std::to_wstring(c.fails) + L" > " + std::to_wstring(c.passes) + L")"});
  }
  EXPECT_TRUE(CryptoUtil::IsOriginalDataLengthValid(L"None", 256, 256));
  LogCapture capture(NQLOG_ERROR);
  EXPECT_FALSE(CryptoUtil::IsOriginalDataLengthValid(L"None", 255, 256));
  EXPECT_EQ(capture.At(NQLOG_ERROR),
            std::vector<std::wstring>{L"CryptoUtil::IsOriginalDataLengthValid : Data Length is invalid (255 != 256)"});
  ExpectFailure(Thrown([] { CryptoUtil::IsOriginalDataLengthValid(L"pkcs1", 1, 256); }), CRYPTO_BAD_PARAM,
                L"Unknown padding type");
}

}  // namespace
