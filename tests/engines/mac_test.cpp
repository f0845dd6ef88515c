// HMAC on CNG: RFC 4231 and RFC 2202 answers, life cycle, key formats, failures, the factory.
#include <string>
#include <vector>

#include "engine_test_util.h"
#include "support/log_capture.h"

namespace {

using namespace enginetest;
using zttest::LogCapture;

const std::string kRfc4231Case1 = "b0344c61d8db38535ca8afceaf0bf12b881dc200c9833da726e9376c2e32cff7";

std::unique_ptr<MAC> NewMac(const WString& name) {
  return std::unique_ptr<MAC>(MAC::Create(Algorithm(name).get(), nullptr));
}

std::string MacHex(MAC& mac, IKey& key, const ByteArray& data) {
  mac.Init(&key);
  ByteArray out;
  mac.Mac(data, out);
  return ToHex(out);
}

// A key in another format than "RAW".
class EncodedKey : public IKey {
 public:
  IKey* Clone() const override { return new EncodedKey; }
  IAlgorithm* GetAlgorithm() const override { return nullptr; }
  WString GetFormat() const override { return L"X509"; }
  ByteArray GetEncoded() const override { return ByteArray(16, 1); }
};

// RFC 4231 and RFC 2202 answers.
TEST(Hmac, KnownAnswers) {
  for (const auto& v : Published("hmac", 4)) {
    const auto mac = NewMac(WString(v[0].begin(), v[0].end()));
    EXPECT_EQ(MacHex(*mac, *RawKey(Hex(v[1])), Text(v[3])), v[2]) << v[3];
  }
}

TEST(Hmac, EachMacNeedsItsOwnInit) {
  const auto mac = NewMac(L"HMAC_SHA256");
  const auto key = RawKey(ByteArray(20, 0x0b));
  EXPECT_EQ(mac->GetMacLength(), 20u) << "twenty bytes whatever the hash";
  ByteArray out;
  ExpectFailure(Thrown([&] { mac->Mac(out); }), CRYPTO_ILLEGAL_STATE, L"Cipher is not initialized");
  mac->Update(Text("given before Init is discarded"));
  mac->Init(key.get());
  ExpectFailure(Thrown([&] { mac->Init(key.get()); }), CRYPTO_ILLEGAL_STATE, L"Mac is already initialized");
  mac->Update(Text("Hi "));
  mac->Mac(Text("There"), out);
  EXPECT_EQ(ToHex(out), kRfc4231Case1);

  const auto afterMac = Thrown([&] { mac->Mac(Text("Hi There"), out); });
  ExpectFailure(afterMac, CRYPTO_ILLEGAL_STATE, L"Mac failed");
  EXPECT_EQ(MessageAt(afterMac.get(), 1), L"Cipher is not initialized");
  // The failed Mac above buffered its input; the next Init discards it.
  EXPECT_EQ(MacHex(*mac, *key, Text("Hi There")), kRfc4231Case1);
}

// A caller's key that fails in its own way: the library wraps what it throws.
class FailingKey : public EncodedKey {
 public:
  WString GetFormat() const override {
    throw static_cast<IException*>(new CException(L"caller", 1, L"key unavailable", 7, nullptr));
  }
};

TEST(Hmac, RefusesNullKeysAndKeysThatAreNotRawAndWrapsWhatACallersKeyThrows) {
  const auto mac = NewMac(L"HMAC_SHA1");
  ExpectFailure(Thrown([&] { mac->Init(nullptr); }), CRYPTO_BAD_PARAM, L"pKey should not be NULL");
  EncodedKey key;
  mac->Init(&key);
  LogCapture capture(NQLOG_ERROR);
  ByteArray out;
  ExpectFailure(Thrown([&] { mac->Mac(out); }), CRYPTO_NOT_SUPPORTED, L"Only raw key format is supported");
  EXPECT_EQ(capture.At(NQLOG_ERROR), std::vector<std::wstring>{L"CCNGMACSHA::Mac : Only raw key format is supported"});

  const auto other = NewMac(L"HMAC_SHA256");
  FailingKey failing;
  other->Init(&failing);
  for (const bool withData : {false, true}) {
    const auto e = Thrown([&] { withData ? other->Mac(Text("x"), out) : other->Mac(out); });
    ExpectFailure(e, 7, withData ? L"Mac failed" : L"CCNGMACSHA::Mac failed");
    EXPECT_EQ(MessageAt(e.get(), withData ? 2 : 1), L"key unavailable");
  }
}

class HmacWithoutCNG : public WithModuleHooks {};

TEST_F(HmacWithoutCNG, FailedMacKeepsStateAndData) {
  const auto mac = NewMac(L"HMAC_SHA256");
  const auto key = RawKey(ByteArray(20, 0x0b));
  mac->Init(key.get());
  mac->Update(Text("Hi "));
  MakeCNGUnavailable();
  LogCapture capture(NQLOG_ERROR);
  ByteArray out;
  ExpectFailure(Thrown([&] { mac->Mac(out); }), CRYPTO_INTERNAL_ERROR, L"Load CNG library failed");
  EXPECT_EQ(capture.At(NQLOG_ERROR).back(), L"CCNGMACSHA::Mac : Unable to load CNG library");
  // The two-argument form keeps its input as well.
  ExpectFailure(Thrown([&] { mac->Mac(Text("There"), out); }), CRYPTO_INTERNAL_ERROR, L"Mac failed");

  MakeCNGAvailable();
  mac->Mac(out);  // still initialised, with all the data
  EXPECT_EQ(ToHex(out), kRfc4231Case1);
}

TEST(MacFactory, OnlyHmacSha1AndSha256AndCmacHaveAnEngine) {
  for (const wchar_t* name : {L"HMAC_SHA224", L"HMAC_SHA384", L"HMAC_SHA512", L"SHA256"}) {
    const auto algorithm = Algorithm(name);
    LogCapture capture(NQLOG_EXIT);
    ExpectFailure(Thrown([&] { delete MAC::Create(algorithm.get(), nullptr); }), CRYPTO_NO_SUCH_ALGORITHM,
                  L"Unknown algorithm");
    EXPECT_EQ(capture.At(NQLOG_ERROR), std::vector<std::wstring>{L"MAC::Create : Unknown algorithm"});
    EXPECT_EQ(capture.At(NQLOG_EXIT).back(), L"MAC::Create Returns Unknown algorithm");
  }
  ExpectFailure(Thrown([] { delete MAC::Create(nullptr, nullptr); }), CRYPTO_BAD_PARAM, L"pAlgorithm should not be NULL");

  const auto algorithm = Algorithm(L"HMAC_SHA1");
  LogCapture capture(NQLOG_EXIT);
  const std::unique_ptr<MAC> mac(MAC::Create(algorithm.get(), nullptr));
  const auto entries = capture.At(NQLOG_ENTRY);
  EXPECT_EQ(entries.front(), L"MAC::Create");
  EXPECT_EQ(entries.back(), L"CCNGMACSHA::CCNGMACSHA : this=" + zttest::AddressText(mac.get()));
  EXPECT_EQ(capture.At(NQLOG_EXIT).back(), L"MAC::Create");
}

}  // namespace
