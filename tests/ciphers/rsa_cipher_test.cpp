// RSA encryption: ciphertexts the openssl tool decrypts under each padding and label, the length
// limits at three key sizes, the refusals, and the CryptoAPI path with the library's own padding.
#include <algorithm>

#include "cipher_test_util.h"
#include "support/call_failures.h"

namespace {

using namespace ciphertest;

struct RsaKeyFiles {
  unsigned bits;
  std::string publicKey, privateKey;
};
const RsaKeyFiles kKeys[] = {
    {1024, "ciphers/rsa1024.pub.der", "ciphers/rsa1024.key.pem"},
    {2048, "rsa/rsa2048.pub.der", "rsa/rsa2048.key.pem"},
    {4096, "ciphers/rsa4096.pub.der", "ciphers/rsa4096.key.pem"},
};

std::unique_ptr<IKey> PublicKey(const RsaKeyFiles& files) {
  return std::unique_ptr<IKey>(IKey::Create(Algorithm(L"RSA").get(), L"X509", FixtureBytes(files.publicKey)));
}

std::unique_ptr<ICryptoParserParameterMap> RsaMap(const WString& padding, const ByteArray* label = nullptr) {
  std::unique_ptr<ICryptoParserParameterMap> map(ICryptoParserParameterMap::Create());
  if (!padding.empty()) map->SetPadding(padding);
  if (label != nullptr) map->SetOAEPEncodingParamMode(*label);
  return map;
}

ByteArray Encrypt(IKey* key, ICryptoParserParameterMap* map, const ByteArray& message) {
  const auto cipher = NewCipher(L"RSA", map);
  return Once(*cipher, CIPHER_ENCRYPT_MODE, key, message);
}

// The openssl tool's decryption with `files`' private key and pkeyutl `options`.
ByteArray OpensslDecrypt(const RsaKeyFiles& files, const ByteArray& cipher, const std::string& options) {
  return Openssl("pkeyutl -decrypt -inkey '" + Fixture(files.privateKey) + "' " + options + " -in {in} -out {out}",
                 cipher);
}

const std::string kOaep = "-pkeyopt rsa_padding_mode:oaep -pkeyopt rsa_oaep_md:sha1 -pkeyopt rsa_mgf1_md:sha1";

TEST(RsaCipher, CiphertextsDecryptWithTheOpensslToolUpToTheLengthLimitsOfThreeKeySizes) {
  const RsaKeyFiles& files = kKeys[1];
  const auto key = PublicKey(files);
  const ByteArray message = Text("attack at dawn");
  const ByteArray label = Text("a label");
  const ByteArray empty;

  EXPECT_EQ(OpensslDecrypt(files, Encrypt(key.get(), RsaMap(L"PKCS1").get(), message), ""), message);
  EXPECT_EQ(OpensslDecrypt(files, Encrypt(key.get(), RsaMap(L"OAEP").get(), message), kOaep), message);
  EXPECT_EQ(OpensslDecrypt(files, Encrypt(key.get(), RsaMap(L"OAEP", &empty).get(), message), kOaep), message);
  EXPECT_EQ(OpensslDecrypt(files, Encrypt(key.get(), RsaMap(L"OAEP", &label).get(), message),
                           kOaep + " -pkeyopt rsa_oaep_label:" + ToHex(label)),
            message);
  // Randomised: the same message twice gives two ciphertexts.
  EXPECT_NE(Encrypt(key.get(), RsaMap(L"PKCS1").get(), message), Encrypt(key.get(), RsaMap(L"PKCS1").get(), message));

  // Without padding (also when the map has none) the input is the block itself.
  ByteArray block = Bytes(256, 9);
  block[0] = 0x00;
  for (const WString& padding : {WString(L"None"), WString()})
    EXPECT_EQ(OpensslDecrypt(files, Encrypt(key.get(), RsaMap(padding).get(), block), "-pkeyopt rsa_padding_mode:none"),
              block);
  EXPECT_EQ(Encrypt(key.get(), nullptr, block), Encrypt(key.get(), RsaMap(L"None").get(), block));

  // The library checks k - 11 for PKCS #1 and k - 41 for OAEP; OAEP with SHA-1 holds at most
  // k - 42 bytes, so the platform refuses a message of k - 41 after the check let it through.
  for (const RsaKeyFiles& sized : kKeys) {
    SCOPED_TRACE(sized.bits);
    const auto sizedKey = PublicKey(sized);
    const std::size_t k = sized.bits / 8;
    const auto pkcs1 = RsaMap(L"PKCS1"), oaep = RsaMap(L"OAEP"), none = RsaMap(L"None");

    const ByteArray longest = Bytes(k - 11);
    EXPECT_EQ(OpensslDecrypt(sized, Encrypt(sizedKey.get(), pkcs1.get(), longest), ""), longest);
    const ByteArray longestOaep = Bytes(k - 42);
    EXPECT_EQ(OpensslDecrypt(sized, Encrypt(sizedKey.get(), oaep.get(), longestOaep), kOaep), longestOaep);

    const struct {
      ICryptoParserParameterMap* map;
      std::size_t length;
      std::uint64_t id;
      const wchar_t* inner;
    } refusals[] = {
        {pkcs1.get(), k - 10, CRYPTO_BAD_PARAM, L"Data to Encrypt Length is invalid"},
        {oaep.get(), k - 40, CRYPTO_BAD_PARAM, L"Data to Encrypt Length is invalid"},
        {oaep.get(), k - 41, CRYPTO_INTERNAL_ERROR, L"BCryptEncrypt failed!"},
        {none.get(), k - 1, CRYPTO_BAD_PARAM, L"Data to Encrypt Length is invalid"},
        {none.get(), k + 1, CRYPTO_BAD_PARAM, L"Data to Encrypt Length is invalid"},
    };
    for (const auto& r : refusals) {
      SCOPED_TRACE(r.length);
      ExpectCipherFailure([&] { Encrypt(sizedKey.get(), r.map, Bytes(r.length)); }, r.id, r.inner);
    }
  }
}

TEST(RsaCipher, RefusesWhatItCannotDo) {
  const auto key = PublicKey(kKeys[1]);
  const auto pkcs1 = RsaMap(L"PKCS1");
  ByteArray out;

  // There is no RSA decryption here.
  const auto cipher = NewCipher(L"RSA", pkcs1.get());
  cipher->Init(CIPHER_DECRYPT_MODE, key.get());
  ExpectCipherFailure([&] { cipher->DoFinal(Text("x"), out); }, CRYPTO_BAD_PARAM, L"Invalid operation");

  // Only the three paddings of encryption.
  LogCapture capture(NQLOG_ERROR);
  ExpectFailure(Thrown([&] { Encrypt(key.get(), RsaMap(L"X_931").get(), Text("x")); }), CRYPTO_NO_SUCH_PADDING,
                L"Cipher failed");
  EXPECT_EQ(capture.At(NQLOG_ERROR).front(), L"CCNGRSACipher::Cipher : Unsupported padding: X_931");

  // Only this library's RSA public keys: not a secret key, not a private key.
  const std::unique_ptr<IKey> privateKey(
      IKey::Create(Algorithm(L"RSA").get(), L"PKCS8", FixtureBytes("rsa/rsa2048.pkcs8.der")));
  const auto secretKey = RawKey(Bytes(16), L"AES");
  for (IKey* wrong : {secretKey.get(), privateKey.get()})
    ExpectCipherFailure([&] { Encrypt(wrong, pkcs1.get(), Text("x")); }, CRYPTO_NOT_SUPPORTED,
                        L"Only RSA Public keys are supported");

  // A caller's map that fails to give the padding.
  CallersMap failing;
  failing.failing.insert(L"GetPadding");
  EXPECT_EQ(MessageAt(Thrown([&] { Encrypt(key.get(), &failing, Text("x")); }).get(), 1),
            L"Error while parsing parameters");
}

class RsaCipherWithoutCNG : public WithModuleHooks {};

// On CryptoAPI the library pads a message into a k-byte block, and the provider, which pads
// whatever it is given, refuses that block; what is left to it unpadded (an empty message) it
// pads and returns little-endian.
TEST_F(RsaCipherWithoutCNG, CryptoApiPathPadsFirstAndTheProviderRefusesTheBlock) {
  const RsaKeyFiles& files = kKeys[1];
  const auto key = PublicKey(files);
  MakeCNGUnavailable();
  const zttest::NoHandleLeft handles;

  LogCapture capture(NQLOG_ERROR);
  ExpectCipherFailure([&] { Encrypt(key.get(), RsaMap(L"PKCS1").get(), Text("attack at dawn")); },
                      CRYPTO_INTERNAL_ERROR, L"CryptEncrypt failed");
  const auto errors = capture.At(NQLOG_ERROR);
  EXPECT_NE(std::find(errors.begin(), errors.end(), L"CCNGRSACipher::Cipher : Error 0x80090004 returned by CryptEncrypt"),
            errors.end());

  ByteArray sealed = Encrypt(key.get(), RsaMap(L"PKCS1").get(), ByteArray());
  ASSERT_EQ(sealed.size(), 256u);
  std::reverse(sealed.begin(), sealed.end());
  // The raw block: 00 02, k - 3 non-zero bytes, 00 and no message.
  const ByteArray block = OpensslDecrypt(files, sealed, "-pkeyopt rsa_padding_mode:none");
  ASSERT_EQ(block.size(), 256u);
  EXPECT_EQ(block[0], 0x00);
  EXPECT_EQ(block[1], 0x02);
  EXPECT_EQ(std::count(block.begin() + 2, block.end(), 0x00), 1);
  EXPECT_EQ(block.back(), 0x00);

  // OAEP goes through the "PKCS1" scheme with the cipher's own map: without an operation mode
  // there the scheme cannot be made.
  auto e = ExpectCipherFailure([&] { Encrypt(key.get(), RsaMap(L"OAEP").get(), Text("x")); }, CRYPTO_UNKNOWN_ERROR,
                               L"Create object padding failed!");
  EXPECT_EQ(MessageAt(e.get(), 2), L"Pkcs1 operation parameter is not set");
  const auto withMode = RsaMap(L"OAEP");
  withMode->SetPkcs1OperationMode(1);
  e = Thrown([&] { Encrypt(key.get(), withMode.get(), Text("x")); });
  EXPECT_EQ(MessageAt(e.get(), 1), L"CryptEncrypt failed") << "the block is made, the provider refuses it";
}

}  // namespace
