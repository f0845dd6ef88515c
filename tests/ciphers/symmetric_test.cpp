// AES, DES and triple DES: the standards' known answers, the parameter map and its defaults, the
// length check, PKCS #7 on the platform's side (CNG) and the library's (CryptoAPI).
#include <algorithm>
#include <functional>
#include <stdexcept>

#include "cipher_test_util.h"
#include "support/call_failures.h"

namespace {

using namespace ciphertest;

ByteArray Encrypt(const KnownAnswer& v, const WString& padding = L"") {
  return Transform(v.algorithm, CIPHER_ENCRYPT_MODE, v.key, v.input, v.mode, padding, v.hasIV ? &v.iv : nullptr);
}

ByteArray Decrypt(const KnownAnswer& v, const ByteArray& input, const WString& padding = L"") {
  return Transform(v.algorithm, CIPHER_DECRYPT_MODE, v.key, input, v.mode, padding, v.hasIV ? &v.iv : nullptr);
}

std::vector<KnownAnswer> AllCipherAnswers() {
  auto answers = ReadKnownAnswers("published.txt", "cipher");
  for (const auto& v : ReadKnownAnswers("tdes2.txt", "cipher")) answers.push_back(v);
  return answers;
}

KnownAnswer Named(const std::vector<KnownAnswer>& answers, const std::string& name) {
  for (const auto& v : answers)
    if (v.name == name) return v;
  throw std::runtime_error("no known answer " + name);
}

// SP 800-38A (AES), FIPS 81 (DES), SP 800-67 (three-key triple DES), and two-key triple DES by
// the openssl tool, whose 16-byte keys the engine extends to K1 K2 K1.
TEST(SymmetricCipher, KnownAnswersInBothDirections) {
  for (const KnownAnswer& v : AllCipherAnswers()) {
    SCOPED_TRACE(v.name);
    EXPECT_EQ(ToHex(Encrypt(v)), ToHex(v.output));
    EXPECT_EQ(ToHex(Decrypt(v, v.output)), ToHex(v.input));
    if (v.key.size() != 16 || v.algorithm != L"3DES") continue;
    KnownAnswer threeKeys = v;
    threeKeys.key.insert(threeKeys.key.end(), v.key.begin(), v.key.begin() + 8);
    EXPECT_EQ(Encrypt(threeKeys), v.output);
  }
}

// PKCS #7 adds 1 to a block's length of bytes of that value, a whole block to aligned input.
TEST(SymmetricCipher, Pkcs7PadsEveryLengthAndDecryptionTakesItOff) {
  const KnownAnswer cbc = Named(AllCipherAnswers(), "F.2.1");
  for (const char* name : {"F.2.1", "F.1.1"})
  for (std::size_t length : {0, 1, 15, 16, 17, 64}) {
    KnownAnswer v = Named(AllCipherAnswers(), name);
    v.input = Bytes(length, static_cast<unsigned>(length));
    const ByteArray sealed = Encrypt(v, L"PKCS7");
    const std::size_t pad = 16 - length % 16;
    ASSERT_EQ(sealed.size(), length + pad);
    ByteArray padded = v.input;
    padded.insert(padded.end(), pad, static_cast<unsigned char>(pad));
    EXPECT_EQ(Decrypt(v, sealed), padded) << length;
    EXPECT_EQ(Decrypt(v, sealed, L"PKCS7"), v.input) << length;
  }
  // SP 800-38A's ciphertext ends in no valid padding: a clean refusal.
  ExpectCipherFailure([&] { Decrypt(cbc, cbc.output, L"PKCS7"); }, CRYPTO_INTERNAL_ERROR,
                      L"BCryptEncrypt - BCryptDecrypt failed!");
}

TEST(SymmetricCipher, ParametersAndTheirDefaults) {
  const KnownAnswer ecb = Named(AllCipherAnswers(), "F.1.1");
  const auto key = RawKey(ecb.key, L"AES");
  // No padding in the map is "None"; an IV is handed on in ECB, which has no use for it.
  const ByteArray iv = Hex("0102030405");
  EXPECT_EQ(Transform(L"AES", CIPHER_ENCRYPT_MODE, ecb.key, ecb.input, L"ECB", L"", &iv), ecb.output);
  // Also by a padded decryption of one block, which takes that block on its own: nothing of
  // that IV is read.
  const ByteArray ten(ecb.input.begin(), ecb.input.begin() + 10);
  const ByteArray sealed = Transform(L"AES", CIPHER_ENCRYPT_MODE, ecb.key, ten, L"ECB", L"PKCS7", &iv);
  EXPECT_EQ(Transform(L"AES", CIPHER_DECRYPT_MODE, ecb.key, sealed, L"ECB", L"PKCS7", &iv), ten);
  EXPECT_EQ(Transform(L"AES", CIPHER_ENCRYPT_MODE, ecb.key, ecb.input, L"ECB", L"None"), ecb.output);

  struct Refusal {
    std::function<void(CallersMap&)> set;
    std::uint64_t id;
    const wchar_t* message;
    const wchar_t* line;  // the level-1 line of the engine, if any
  };
  const Refusal refusals[] = {
      {[](auto& map) { map.SetPadding(L"PKCS7"); }, CRYPTO_BAD_PARAM, L"No cipher mode in params",
       L"CCNGSymmetricCipher::Cipher : No cipher mode in params"},
      {[](auto& map) { map.SetCipherMode(L"CTR"); }, CRYPTO_NO_SUCH_ALGORITHM, L"Unsupported cipher mode",
       L"CCNGSymmetricCipher::Cipher : Unsupported cipher mode: CTR"},
      {[](auto& map) { map.SetCipherMode(L"cbc"); }, CRYPTO_NO_SUCH_ALGORITHM, L"Unsupported cipher mode",
       L"CCNGSymmetricCipher::Cipher : Unsupported cipher mode: cbc"},
      {[](auto& map) { map.SetCipherMode(L"ECB"); map.SetPadding(L"PKCS5"); }, CRYPTO_NO_SUCH_PADDING,
       L"Unsupported padding", L"CCNGSymmetricCipher::Cipher : Unsupported padding: PKCS5"},
      {[](auto& map) { map.SetCipherMode(L"ECB"); map.failing.insert(L"GetIV"); },
       CRYPTO_INTERNAL_ERROR, L"Error while parsing parameters",
       L"CCNGSymmetricCipher::Cipher : Error while parsing parameters"},
  };
  for (const Refusal& r : refusals) {
    const auto map = std::make_unique<CallersMap>();
    r.set(*map);
    const auto cipher = NewCipher(L"AES", map.get());
    cipher->Init(CIPHER_ENCRYPT_MODE, key.get());
    LogCapture capture(NQLOG_ERROR);
    ByteArray out;
    ExpectCipherFailure([&] { cipher->DoFinal(ecb.input, out); }, r.id, r.message);
    EXPECT_EQ(capture.At(NQLOG_ERROR).front(), r.line);
  }

  // A key that is not raw bytes.
  const std::unique_ptr<IKey> rsaKey(IKey::Create(Algorithm(L"RSA").get(), L"X509", FixtureBytes("rsa/rsa2048.pub.der")));
  const auto map = BlockMap(L"ECB");
  const auto cipher = NewCipher(L"AES", map.get());
  cipher->Init(CIPHER_ENCRYPT_MODE, rsaKey.get());
  ByteArray out;
  ExpectCipherFailure([&] { cipher->DoFinal(ecb.input, out); }, CRYPTO_NOT_SUPPORTED,
                      L"Only raw key format is supported");
}

// What the engine tells at level 2 of the names it maps.
// One engine over many calls reads the map again each time: a new IV, no IV, a new padding, a
// value taken away.
TEST(SymmetricCipher, OneEngineFollowsItsMapFromCallToCall) {
  const KnownAnswer cbc = Named(AllCipherAnswers(), "F.2.1");
  const ByteArray otherIv(16, 0x5a), message = Bytes(40);
  auto map = BlockMap(L"CBC", L"PKCS7", &cbc.iv);
  const auto cipher = NewCipher(L"AES", map.get());
  const auto key = RawKey(cbc.key, L"AES");
  const auto alone = [&](const ByteArray* iv, const WString& padding, const ByteArray& input) {
    return Transform(L"AES", CIPHER_ENCRYPT_MODE, cbc.key, input, L"CBC", padding, iv);
  };
  EXPECT_EQ(Once(*cipher, CIPHER_ENCRYPT_MODE, key.get(), message), alone(&cbc.iv, L"PKCS7", message));
  map->SetIV(otherIv);
  EXPECT_EQ(Once(*cipher, CIPHER_ENCRYPT_MODE, key.get(), message), alone(&otherIv, L"PKCS7", message));
  map->erase(L"CryptoParameterIV");
  EXPECT_EQ(Once(*cipher, CIPHER_ENCRYPT_MODE, key.get(), message), alone(nullptr, L"PKCS7", message));
  EXPECT_NE(alone(nullptr, L"PKCS7", message), alone(&otherIv, L"PKCS7", message));
  map->SetIV(cbc.iv);
  map->SetPadding(L"None");
  EXPECT_EQ(ToHex(Once(*cipher, CIPHER_ENCRYPT_MODE, key.get(), cbc.input)), ToHex(cbc.output));
  // What the last call read is not read again: a padding taken away is "None", a padding of the
  // wrong kind too, and a chaining mode taken away is missing.
  for (const auto& unpadded : std::vector<std::function<void()>>{
           [&] { map->erase(L"CryptoParameterPadding"); },
           [&] { map->Add(L"CryptoParameterPadding", ByteArray{'P', 'K', 'C', 'S', '7'}); }}) {
    map->SetPadding(L"PKCS7");
    EXPECT_EQ(Once(*cipher, CIPHER_ENCRYPT_MODE, key.get(), cbc.input).size(), cbc.input.size() + 16);
    unpadded();
    EXPECT_EQ(ToHex(Once(*cipher, CIPHER_ENCRYPT_MODE, key.get(), cbc.input)), ToHex(cbc.output));
  }
  map->erase(L"CryptoParameterCipherMode");
  cipher->Init(CIPHER_ENCRYPT_MODE, key.get());
  ByteArray out;
  ExpectCipherFailure([&] { cipher->DoFinal(cbc.input, out); }, CRYPTO_BAD_PARAM, L"No cipher mode in params");
}

TEST(SymmetricCipher, TracesTheMappedNames) {
  const ByteArray iv(8, 0);
  LogCapture capture(NQLOG_WARNING);
  Transform(L"3DES", CIPHER_ENCRYPT_MODE, Bytes(24), Bytes(8), L"CBC", L"PKCS7", &iv);
  EXPECT_EQ(capture.At(NQLOG_WARNING),
            (std::vector<std::wstring>{L"CCNGSymmetricCipher::Cipher : sBCryptAlgo: 3DES",
                                       L"CCNGSymmetricCipher::Cipher : padding: PKCS7",
                                       L"CCNGSymmetricCipher::Cipher : sCipherMode: ChainingModeCBC"}));
}

// What the platform refuses comes back as a failed call: a key or a CBC IV of the wrong length.
TEST(SymmetricCipher, KeysAndIVsOfTheWrongLengthAreRefusedByThePlatform) {
  const ByteArray iv16(16, 0), iv8(8, 0);
  struct Case {
    const wchar_t* algorithm;
    std::size_t keyLength;
    const ByteArray* iv;
    const wchar_t* failure;
  };
  for (const Case& c : {Case{L"AES", 15, &iv16, L"BCryptImportKey failed!"},
                        Case{L"AES", 33, &iv16, L"BCryptImportKey failed!"},
                        Case{L"DES", 16, &iv8, L"BCryptImportKey failed!"},
                        Case{L"3DES", 8, &iv8, L"BCryptImportKey failed!"},
                        Case{L"AES", 16, &iv8, L"BCryptEncrypt failed!"},
                        Case{L"DES", 8, &iv16, L"BCryptEncrypt failed!"}}) {
    SCOPED_TRACE(c.keyLength);
    ExpectCipherFailure(
        [&] { Transform(c.algorithm, CIPHER_ENCRYPT_MODE, Bytes(c.keyLength), Bytes(16), L"CBC", L"", c.iv); },
        CRYPTO_INTERNAL_ERROR, c.failure);
  }
}

class SymmetricCipherWithoutCNG : public WithModuleHooks {};

// The length check holds on both paths and in both directions.
TEST_F(SymmetricCipherWithoutCNG, ANoneInputMustBeWholeBlocks) {
  for (bool cng : {true, false}) {
    if (!cng) MakeCNGUnavailable();
    for (unsigned mode : {CIPHER_ENCRYPT_MODE, CIPHER_DECRYPT_MODE}) {
      LogCapture capture(NQLOG_ERROR);
      ExpectCipherFailure([&] { Transform(L"DES", mode, Bytes(8), Bytes(12), L"ECB", L"None"); }, CRYPTO_BAD_PARAM,
                          L"Data to Encrypt Length is invalid");
      EXPECT_EQ(capture.At(NQLOG_ERROR).back(), L"CCNGBaseCipher::DoFinal : Cipher failed");
      EXPECT_NE(std::find(capture.At(NQLOG_ERROR).begin(), capture.At(NQLOG_ERROR).end(),
                          L"CryptoUtil::IsOriginalDataLengthValid : Data Length is invalid (12%8 != 0)"),
                capture.At(NQLOG_ERROR).end());
    }
  }
}

// CryptoAPI's provider pads every final encryption itself: its output is the CNG path's output
// followed by one more block, and it takes that block off again on decryption.
TEST_F(SymmetricCipherWithoutCNG, CryptoApiAddsTheProvidersBlockToTheCngOutputAndToTheLibrarysPkcs7) {
  const auto answers = AllCipherAnswers();
  for (const char* name : {"FIPS81-CBC", "FIPS81-ECB", "SP800-67"}) {
    const KnownAnswer v = Named(answers, name);
    SCOPED_TRACE(name);
    MakeCNGUnavailable();
    const zttest::NoHandleLeft handles;
    const ByteArray sealed = Encrypt(v);
    ASSERT_EQ(sealed.size(), v.output.size() + 8);
    EXPECT_EQ(ByteArray(sealed.begin(), sealed.begin() + v.output.size()), v.output);
    EXPECT_EQ(Decrypt(v, sealed), v.input);
    MakeCNGAvailable();
    ByteArray withBlock = v.input;
    withBlock.insert(withBlock.end(), 8, 0x08);
    EXPECT_EQ(Decrypt(v, sealed), withBlock) << "the provider's block is PKCS #7 of a whole block";
  }

  // With PKCS7 the library pads, and the provider adds its own block: two blocks of 08 after an
  // aligned input. Decryption takes the provider's block off, then as many bytes as the last byte
  // says, unchecked.
  const KnownAnswer v = Named(answers, "FIPS81-CBC");
  const ByteArray message(v.input.begin(), v.input.begin() + 8);
  KnownAnswer aligned = v;
  aligned.input = message;
  MakeCNGUnavailable();
  const ByteArray sealed = Encrypt(aligned, L"PKCS7");
  ASSERT_EQ(sealed.size(), 24u);
  EXPECT_EQ(Decrypt(v, sealed, L"PKCS7"), message);
  MakeCNGAvailable();
  ByteArray shown = message;
  shown.insert(shown.end(), 16, 0x08);
  EXPECT_EQ(Decrypt(v, sealed), shown);

  // A last byte of 3 drops three bytes whatever they are.
  KnownAnswer odd = v;
  odd.input = Hex("41414141414141 03");
  MakeCNGUnavailable();
  EXPECT_EQ(Decrypt(v, Encrypt(odd), L"PKCS7"), Hex("4141414141"));
}

// The provider named for this path has no AES, and takes triple DES keys of 24 bytes only (no
// K1 K2 K1 extension here): both are refused at the import, with every handle released.
TEST_F(SymmetricCipherWithoutCNG, CryptoApiRefusesAesAndTwoKeyTripleDes) {
  MakeCNGUnavailable();
  const zttest::NoHandleLeft handles;
  const struct {
    const wchar_t* algorithm;
    std::size_t keyLength;
    const wchar_t* line;
  } cases[] = {{L"AES", 16, L"CCNGSymmetricCipher::Cipher : Error 0x80090008 returned by CryptImportKey"},
               {L"3DES", 16, L"CCNGSymmetricCipher::Cipher : Error 0x80090005 returned by CryptImportKey"}};
  for (const auto& c : cases) {
    LogCapture capture(NQLOG_ERROR);
    ExpectCipherFailure([&] { Transform(c.algorithm, CIPHER_ENCRYPT_MODE, Bytes(c.keyLength), Bytes(16), L"ECB"); },
                        CRYPTO_INTERNAL_ERROR, L"CryptImportKey failed");
    const auto errors = capture.At(NQLOG_ERROR);
    EXPECT_NE(std::find(errors.begin(), errors.end(), c.line), errors.end());
  }
}

// A message of a mebibyte both ways, against the openssl tool.
TEST(SymmetricCipher, LargeMessagesMatchTheOpensslTool) {
  const ByteArray key = Bytes(32, 3), iv = Bytes(16, 4), message = Bytes(1 << 20, 5);
  const ByteArray sealed = Transform(L"AES", CIPHER_ENCRYPT_MODE, key, message, L"CBC", L"PKCS7", &iv);
  EXPECT_EQ(sealed, Openssl("enc -aes-256-cbc -K " + ToHex(key) + " -iv " + ToHex(iv) + " -in {in} -out {out}", message));
  EXPECT_EQ(Transform(L"AES", CIPHER_DECRYPT_MODE, key, sealed, L"CBC", L"PKCS7", &iv), message);
}

}  // namespace
