// CMAC: RFC 4493 and the SP 800-38B examples, every message length against the openssl tool, the
// life cycle, and what a failure keeps.
#include <algorithm>
#include <functional>

#include "cipher_test_util.h"
#include "common/crypto.cmac.h"
#include "support/call_failures.h"

namespace {

using namespace ciphertest;

std::unique_ptr<MAC> NewCmac(ICryptoParserParameterMap* pParams = nullptr) {
  return std::unique_ptr<MAC>(MAC::Create(Algorithm(L"CMAC").get(), pParams));
}

ByteArray Cmac(const WString& algorithm, const ByteArray& key, const ByteArray& message) {
  const auto mac = NewCmac();
  const auto secret = RawKey(key, algorithm);
  mac->Init(secret.get());
  ByteArray out;
  mac->Mac(message, out);
  return out;
}

// RFC 4493's four examples (the empty message padded as a partial block and combined with K2,
// 16 and 64 bytes combined with K1, 40 bytes padded) and SP 800-38B's for AES-192, AES-256 and
// three- and two-key TDEA; the two-key keys also as 16 bytes, extended to K1 K2 K1.
TEST(Cmac, KnownAnswersOfTheStandards) {
  for (const KnownAnswer& v : ReadKnownAnswers("published.txt", "cmac")) {
    SCOPED_TRACE(v.name);
    EXPECT_EQ(ToHex(Cmac(v.algorithm, v.key, v.input)), ToHex(v.output));
    const bool twoKeys = v.algorithm == L"3DES" && std::equal(v.key.begin(), v.key.begin() + 8, v.key.begin() + 16);
    if (twoKeys) {
      EXPECT_EQ(Cmac(v.algorithm, ByteArray(v.key.begin(), v.key.begin() + 16), v.input), v.output);
    }
  }
}

// Every length from 0 to 3 blocks and a bit, each block size, against the openssl tool.
TEST(Cmac, EveryMessageLengthMatchesTheOpensslTool) {
  const struct {
    const wchar_t* algorithm;
    std::size_t keyLength;
    std::string cipher;
  } kinds[] = {{L"AES", 16, "AES-128-CBC"}, {L"AES", 32, "AES-256-CBC"}, {L"3DES", 24, "DES-EDE3-CBC"}};
  for (const auto& kind : kinds) {
    const ByteArray key = Bytes(kind.keyLength, 11);
    for (std::size_t length = 0; length <= 50; length += kind.keyLength == 24 ? 3 : 1) {
      const ByteArray message = Bytes(length, static_cast<unsigned>(length));
      const ByteArray expected = Openssl("mac -binary -cipher " + kind.cipher + " -macopt hexkey:" + ToHex(key) +
                                             " -in {in} -out {out} CMAC",
                                         message);
      ASSERT_FALSE(expected.empty());
      EXPECT_EQ(Cmac(kind.algorithm, key, message), expected) << kind.cipher << " " << length;
    }
  }
}

TEST(Cmac, LifeCycleTheMacAlgorithmAndItsMap) {
  const auto mac = NewCmac();
  const auto key = RawKey(Hex("2b7e151628aed2a6abf7158809cf4f3c"), L"AES");
  ByteArray out;
  for (const auto& call : std::vector<std::function<void()>>{
           [&] { mac->Mac(out); }, [&] { mac->Mac(out, out); }, [&] { mac->Update(out); },
           [&] { mac->GetMacLength(); }})
    ExpectFailure(Thrown(call), CRYPTO_ILLEGAL_STATE, L"MAC is not initialized");
  ExpectFailure(Thrown([&] { mac->Init(nullptr); }), CRYPTO_BAD_PARAM, L"pKey should not be NULL");
  const auto hmacKey = RawKey(Bytes(16), L"HMAC_SHA256");
  ExpectFailure(Thrown([&] { mac->Init(hmacKey.get()); }), CRYPTO_NO_SUCH_ALGORITHM, L"Unsupported algorithm");

  // Init, Mac, Init, Mac: the same value; each MAC ends the initialisation.
  for (int round = 0; round < 2; ++round) {
    mac->Init(key.get());
    EXPECT_EQ(mac->GetMacLength(), 16u);
    ExpectFailure(Thrown([&] { mac->Init(key.get()); }), CRYPTO_ILLEGAL_STATE, L"MAC is already initialized");
    mac->Update(Hex("6bc1bee22e409f96"));
    mac->Update(Hex("e93d7e117393172a"));
    mac->Mac(out);
    EXPECT_EQ(ToHex(out), "070a16b46b4d4144f79bdd9dd04a287c");
    ExpectFailure(Thrown([&] { mac->Mac(out); }), CRYPTO_ILLEGAL_STATE, L"MAC is not initialized");
  }
  const auto des = RawKey(Bytes(8), L"DES");
  mac->Init(des.get());
  EXPECT_EQ(mac->GetMacLength(), 8u);

  const auto aes = RawKey(Bytes(16), L"AES");
  // The engine made for another name refuses to compute.
  CMACCMAC other(std::unique_ptr<IAlgorithm>(Algorithm(L"AES")), nullptr);
  other.Init(aes.get());
  LogCapture capture(NQLOG_ERROR);
  ExpectFailure(Thrown([&] { other.Mac(out); }), CRYPTO_NO_SUCH_ALGORITHM, L"Unsupported algorithm");
  EXPECT_EQ(capture.At(NQLOG_ERROR), std::vector<std::wstring>{L"CMACCMAC::Mac : Unsupported algorithm: AES"});

  // The map's IV is read (and its failure reported) but plays no part.
  const ByteArray iv = Bytes(16, 2);
  const auto withIV = BlockMap(L"ECB", L"PKCS7", &iv);
  const auto withMap = NewCmac(withIV.get());
  withMap->Init(aes.get());
  withMap->Mac(Bytes(20), out);
  EXPECT_EQ(out, Cmac(L"AES", Bytes(16), Bytes(20)));
  CallersMap failing;
  failing.failing.insert(L"GetIV");
  const auto broken = NewCmac(&failing);
  broken->Init(aes.get());
  ExpectMapFailure(Thrown([&] { broken->Mac(out); }));
}

class CmacWithoutCNG : public WithModuleHooks {};

// CryptoAPI's provider takes no AES key: the MAC fails cleanly, handles released.
TEST_F(CmacWithoutCNG, AesFailsOnCryptoApi) {
  MakeCNGUnavailable();
  const zttest::NoHandleLeft handles;
  const auto e = Thrown([] { Cmac(L"AES", Bytes(16), Bytes(20)); });
  ExpectFailure(e, CRYPTO_INTERNAL_ERROR, L"Cipher failed");
  EXPECT_EQ(MessageAt(e.get(), 2), L"CryptImportKey failed");
}

}  // namespace
