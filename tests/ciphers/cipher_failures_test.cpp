// Each platform call of the cipher engines and of CMAC fails in turn
// (tests/fixtures/failures/cipher.txt): what is thrown and logged, that nothing is left open, and
// that the engine, still initialised with its input, gives the right answer on the next try.
#include <functional>

#include "cipher_test_util.h"
#include "support/call_failures.h"

namespace {

using namespace ciphertest;
using zttest::ExpectCallFailure;
using zttest::NoHandleLeft;
using zttest::ReadCallFailures;

// Every row of `section`: a new engine and key from `make`, initialised in `mode`, fails on
// DoFinal of `input` as the row says, then succeeds with the same input.
void ExpectCipherFailures(const std::string& section, const WString& algorithm, ICryptoParserParameterMap* map,
                          IKey* key, unsigned mode, const ByteArray& input,
                          const std::function<void(const ByteArray&)>& checkRetry) {
  for (const auto& row : ReadCallFailures("cipher", section)) {
    const NoHandleLeft handles;
    const auto cipher = NewCipher(algorithm, map);
    cipher->Init(mode, key);
    ByteArray out;
    ExpectCallFailure(row, [&] { cipher->DoFinal(input, out); });
    cipher->DoFinal(out);
    checkRetry(out);
  }
}

// Both directions of a block cipher over `message` and `sealed`, its encryption: the sections
// `section` and `section`-decrypt.
void ExpectSymmetricFailures(const std::string& section, const WString& algorithm, const ByteArray& keyBytes,
                             const ByteArray& iv, const ByteArray& message, const ByteArray& sealed) {
  const auto map = BlockMap(L"CBC", L"PKCS7", &iv);
  const auto key = RawKey(keyBytes, algorithm);
  ExpectCipherFailures(section, algorithm, map.get(), key.get(), CIPHER_ENCRYPT_MODE, message,
                       [&](const ByteArray& out) { EXPECT_EQ(out, sealed); });
  ExpectCipherFailures(section + "-decrypt", algorithm, map.get(), key.get(), CIPHER_DECRYPT_MODE, sealed,
                       [&](const ByteArray& out) { EXPECT_EQ(out, message); });
}

const ByteArray kIv = Hex("000102030405060708090a0b0c0d0e0f");

TEST(CipherCallFailures, SymmetricOnCng) {
  const ByteArray message = Bytes(20), sealed = Transform(L"AES", 0, Bytes(16), message, L"CBC", L"PKCS7", &kIv);
  ExpectSymmetricFailures("symmetric-cng", L"AES", Bytes(16), kIv, message, sealed);
}

class CipherCallFailuresWithoutCNG : public WithModuleHooks {};

TEST_F(CipherCallFailuresWithoutCNG, SymmetricOnCryptoApi) {
  const ByteArray iv(kIv.begin(), kIv.begin() + 8), message = Bytes(20);
  MakeCNGUnavailable();
  const ByteArray sealed = Transform(L"DES", 0, Bytes(8), message, L"CBC", L"PKCS7", &iv);
  ExpectSymmetricFailures("symmetric-cryptoapi", L"DES", Bytes(8), iv, message, sealed);
}

std::unique_ptr<IKey> Rsa2048() {
  return std::unique_ptr<IKey>(IKey::Create(Algorithm(L"RSA").get(), L"X509", FixtureBytes("rsa/rsa2048.pub.der")));
}

TEST(CipherCallFailures, RsaOnCng) {
  const std::unique_ptr<ICryptoParserParameterMap> map(ICryptoParserParameterMap::Create());
  map->SetPadding(L"OAEP");
  const auto key = Rsa2048();
  ExpectCipherFailures("rsa-cng", L"RSA", map.get(), key.get(), CIPHER_ENCRYPT_MODE, Text("secret"),
                       [](const ByteArray& out) { EXPECT_EQ(out.size(), 256u); });
}

TEST_F(CipherCallFailuresWithoutCNG, RsaOnCryptoApi) {
  const std::unique_ptr<ICryptoParserParameterMap> map(ICryptoParserParameterMap::Create());
  map->SetPadding(L"PKCS1");
  const auto key = Rsa2048();
  MakeCNGUnavailable();
  ExpectCipherFailures("rsa-cryptoapi", L"RSA", map.get(), key.get(), CIPHER_ENCRYPT_MODE, ByteArray(),
                       [](const ByteArray& out) { EXPECT_EQ(out.size(), 256u); });
}

// A failed MAC keeps its message and its initialisation: padding and subkey are taken back off, so
// the retry gives the right value (RFC 4493, example 3, a padded last block).
TEST(CipherCallFailures, Cmac) {
  const auto key = RawKey(Hex("2b7e151628aed2a6abf7158809cf4f3c"), L"AES");
  const ByteArray message =
      Hex("6bc1bee22e409f96e93d7e117393172aae2d8a571e03ac9c9eb76fac45af8e5130c81c46a35ce411");
  for (const auto& row : ReadCallFailures("cipher", "cmac")) {
    const NoHandleLeft handles;
    const std::unique_ptr<MAC> mac(MAC::Create(Algorithm(L"CMAC").get(), nullptr));
    mac->Init(key.get());
    mac->Update(message);
    ByteArray out;
    ExpectCallFailure(row, [&] { mac->Mac(out); });
    mac->Mac(out);
    EXPECT_EQ(ToHex(out), "dfa66747de9ae63030ca32611497c827") << row.Name();
  }
}

}  // namespace
