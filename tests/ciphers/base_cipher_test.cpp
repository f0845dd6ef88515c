// The cipher factory and the life cycle every cipher engine shares: Init, Update, DoFinal,
// their state errors, what a failed DoFinal keeps, and the refused key wrapping.
#include <functional>

#include "cipher_test_util.h"

namespace {

using namespace ciphertest;

const ByteArray kKey = Hex("2b7e151628aed2a6abf7158809cf4f3c");

// An AES-128 ECB engine without padding, and its key.
struct AesEcb {
  std::unique_ptr<ICryptoParserParameterMap> map = BlockMap(L"ECB");
  std::unique_ptr<Cipher> cipher = NewCipher(L"AES", map.get());
  std::unique_ptr<IKey> key = RawKey(kKey, L"AES");
};

TEST(CipherFactory, DispatchesByTheExactFriendlyName) {
  const struct {
    const wchar_t* name;
    const wchar_t* engine;
  } kEngines[] = {{L"RSA", L"CCNGRSACipher"}, {L"DES", L"CCNGSymmetricCipher"},
                  {L"3DES", L"CCNGSymmetricCipher"}, {L"AES", L"CCNGSymmetricCipher"}};
  for (const auto& row : kEngines) {
    const auto algorithm = Algorithm(row.name);
    LogCapture capture(NQLOG_EXIT);
    const std::unique_ptr<Cipher> cipher(Cipher::Create(algorithm.get(), nullptr));
    const std::wstring engine = row.engine;
    const std::wstring self = zttest::AddressText(cipher.get());
    std::vector<std::wstring> entries = capture.At(NQLOG_ENTRY);
    std::erase_if(entries, [](const std::wstring& line) { return line.rfind(L"CAlgorithm::", 0) == 0; });
    EXPECT_EQ(entries, (std::vector<std::wstring>{L"Cipher::Create", L"CCNGBaseCipher::CCNGBaseCipher : this=" + self,
                                                  engine + L"::" + engine + L" : this=" + self}));
    EXPECT_NE(cipher->GetAlgorithm(), algorithm.get()) << "the engine owns a clone";
    EXPECT_EQ(cipher->GetAlgorithm()->GetFriendlyName(), row.name);
  }

  for (const wchar_t* name : {L"SHA256", L"CMAC", L"HMAC_SHA1"}) {
    const auto algorithm = Algorithm(name);
    LogCapture capture(NQLOG_EXIT);
    ExpectFailure(Thrown([&] { delete Cipher::Create(algorithm.get(), nullptr); }), CRYPTO_NO_SUCH_ALGORITHM,
                  L"Unknown algorithm");
    EXPECT_EQ(capture.At(NQLOG_ERROR), std::vector<std::wstring>{L"Cipher::Create : Unknown algorithm"});
    EXPECT_EQ(capture.At(NQLOG_EXIT).back(), L"Cipher::Create Returns Unknown algorithm");
  }
  // Names compare exactly: an OID the table lacks names itself, as "aes" would.
  ExpectFailure(Thrown([] { delete Cipher::Create(UnlistedAlgorithm(L"aes").get(), nullptr); }),
                CRYPTO_NO_SUCH_ALGORITHM, L"Unknown algorithm");

  LogCapture capture(NQLOG_EXIT);
  ExpectFailure(Thrown([] { delete Cipher::Create(nullptr, nullptr); }), CRYPTO_BAD_PARAM,
                L"pAlgorithm should not be NULL");
  EXPECT_TRUE(capture.At(NQLOG_ERROR).empty());
  EXPECT_EQ(capture.At(NQLOG_EXIT), std::vector<std::wstring>{L"Cipher::Create Returns pAlgorithm should not be NULL"});
}

TEST(CipherLifeCycle, BufferedInputEqualsOneDoFinalAndOnlyASuccessfulDoFinalEndsTheMessage) {
  AesEcb aes;
  const ByteArray message = Bytes(64);
  const ByteArray whole = Once(*aes.cipher, CIPHER_ENCRYPT_MODE, aes.key.get(), message);

  aes.cipher->Init(CIPHER_ENCRYPT_MODE, aes.key.get());
  aes.cipher->Update(ByteArray(message.begin(), message.begin() + 5));
  aes.cipher->Update(ByteArray());
  aes.cipher->Update(ByteArray(message.begin() + 5, message.begin() + 40));
  ByteArray out;
  aes.cipher->DoFinal(ByteArray(message.begin() + 40, message.end()), out);
  EXPECT_EQ(out, whole);

  // The next message starts empty, with a new Init.
  ExpectFailure(Thrown([&] { aes.cipher->DoFinal(out); }), CRYPTO_ILLEGAL_STATE, L"Cipher is not initialized");
  EXPECT_EQ(Once(*aes.cipher, CIPHER_ENCRYPT_MODE, aes.key.get(), message), whole);
  aes.cipher->Init(CIPHER_DECRYPT_MODE, aes.key.get());
  aes.cipher->Update(whole);
  aes.cipher->DoFinal(out);
  EXPECT_EQ(out, message);

  // The output array may be the input array, and may hold anything before.
  ByteArray inPlace = message;
  aes.cipher->Init(CIPHER_ENCRYPT_MODE, aes.key.get());
  aes.cipher->DoFinal(inPlace, inPlace);
  EXPECT_EQ(inPlace, whole);
  ByteArray longer(200, 0xEE);
  aes.cipher->Init(CIPHER_DECRYPT_MODE, aes.key.get());
  aes.cipher->DoFinal(whole, longer);
  EXPECT_EQ(longer, message);

  // A failed DoFinal keeps the engine initialised with all its input, the failed call's included.
  const ByteArray sevens = Bytes(32, 7);
  const ByteArray expected = Once(*aes.cipher, CIPHER_ENCRYPT_MODE, aes.key.get(), sevens);
  aes.cipher->Init(CIPHER_ENCRYPT_MODE, aes.key.get());
  aes.cipher->Update(ByteArray(sevens.begin(), sevens.begin() + 4));
  LogCapture capture(NQLOG_EXIT);
  ExpectCipherFailure([&] { aes.cipher->DoFinal(ByteArray(sevens.begin() + 4, sevens.begin() + 20), out); },
                      CRYPTO_BAD_PARAM, L"Data to Encrypt Length is invalid");
  EXPECT_EQ(capture.At(NQLOG_ERROR),
            (std::vector<std::wstring>{L"CryptoUtil::IsOriginalDataLengthValid : Data Length is invalid (20%16 != 0)",
                                       L"CCNGBaseCipher::DoFinal : Cipher failed"}));
  EXPECT_EQ(capture.At(NQLOG_EXIT).back(), L"CCNGBaseCipher::DoFinal Returns Cipher failed");
  aes.cipher->DoFinal(ByteArray(sevens.begin() + 20, sevens.end()), out);
  EXPECT_EQ(out, expected);
  // The same with nothing buffered before the failing input.
  aes.cipher->Init(CIPHER_ENCRYPT_MODE, aes.key.get());
  EXPECT_TRUE(Thrown([&] { aes.cipher->DoFinal(ByteArray(sevens.begin(), sevens.begin() + 9), out); }));
  aes.cipher->DoFinal(ByteArray(sevens.begin() + 9, sevens.end()), out);
  EXPECT_EQ(out, expected);
}

TEST(CipherLifeCycle, StateArgumentAndOperationErrors) {
  AesEcb aes;
  ByteArray out;
  for (const auto& call : std::vector<std::function<void()>>{
           [&] { aes.cipher->Update(out); }, [&] { aes.cipher->DoFinal(out); },
           [&] { aes.cipher->DoFinal(out, out); }, [&] { aes.cipher->Wrap(aes.key.get(), out); },
           [&] { delete aes.cipher->Unwrap(out, nullptr); }})
    ExpectFailure(Thrown(call), CRYPTO_ILLEGAL_STATE, L"Cipher is not initialized");

  ExpectFailure(Thrown([&] { aes.cipher->Init(0, static_cast<IKey*>(nullptr)); }), CRYPTO_BAD_PARAM,
                L"pKey should not be NULL");
  ExpectFailure(Thrown([&] { aes.cipher->Init(0, static_cast<ICertificate*>(nullptr)); }), CRYPTO_BAD_PARAM,
                L"pCertificate should not be NULL");
  ExpectFailure(Thrown([&] { aes.cipher->Init(4, aes.key.get()); }), CRYPTO_BAD_PARAM, L"Unknown operation");

  aes.cipher->Init(CIPHER_ENCRYPT_MODE, aes.key.get());
  LogCapture capture(NQLOG_EXIT);
  ExpectFailure(Thrown([&] { aes.cipher->Init(CIPHER_ENCRYPT_MODE, aes.key.get()); }), CRYPTO_ILLEGAL_STATE,
                L"Cipher is already initialized");
  EXPECT_EQ(capture.At(NQLOG_ERROR),
            std::vector<std::wstring>{L"CCNGBaseCipher::Init : Cipher is already initialized"});
  EXPECT_EQ(capture.At(NQLOG_EXIT).back(), L"CCNGBaseCipher::Init Returns Cipher is already initialized");
  ExpectFailure(Thrown([&] { aes.cipher->Wrap(aes.key.get(), out); }), CRYPTO_BAD_PARAM, L"Invalid operation");

  // Modes 2 and 3 initialise, but nothing transforms in them and key wrapping is not available.
  const AesEcb wrapping;
  wrapping.cipher->Init(CIPHER_WRAP_MODE, wrapping.key.get());
  ExpectFailure(Thrown([&] { wrapping.cipher->DoFinal(Bytes(16), out); }), CRYPTO_BAD_PARAM, L"Invalid operation");
  ExpectFailure(Thrown([&] { wrapping.cipher->Wrap(wrapping.key.get(), out); }), CRYPTO_NOT_IMPLEMENTED,
                L"Not Implemented");
  ExpectFailure(Thrown([&] { delete wrapping.cipher->Unwrap(out, nullptr); }), CRYPTO_BAD_PARAM, L"Invalid operation");

  const AesEcb unwrapping;
  unwrapping.cipher->Init(CIPHER_UNWRAP_MODE, unwrapping.key.get());
  ExpectFailure(Thrown([&] { delete unwrapping.cipher->Unwrap(out, nullptr); }), CRYPTO_NOT_IMPLEMENTED,
                L"Not Implemented");
  ExpectFailure(Thrown([&] { unwrapping.cipher->Wrap(unwrapping.key.get(), out); }), CRYPTO_BAD_PARAM,
                L"Invalid operation");
  // Still initialised in that mode: a new Init is refused.
  ExpectFailure(Thrown([&] { unwrapping.cipher->Init(0, unwrapping.key.get()); }), CRYPTO_ILLEGAL_STATE,
                L"Cipher is already initialized");
}

TEST(CipherLifeCycle, TracesItsLifeAndItsOperations) {
  LogCapture capture(NQLOG_EXIT);
  {
    AesEcb aes;
    Once(*aes.cipher, CIPHER_ENCRYPT_MODE, aes.key.get(), Bytes(16));
  }
  std::vector<std::wstring> lines;
  for (const std::wstring& line : capture.At(NQLOG_ENTRY))
    if (line.rfind(L"CCNG", 0) == 0) lines.push_back(line.substr(0, line.find(L" : this=")));
  EXPECT_EQ(lines, (std::vector<std::wstring>{
                       L"CCNGBaseCipher::CCNGBaseCipher", L"CCNGSymmetricCipher::CCNGSymmetricCipher",
                       L"CCNGBaseCipher::Init", L"CCNGBaseCipher::DoFinal", L"CCNGSymmetricCipher::Cipher",
                       L"CCNGSymmetricCipher::~CCNGSymmetricCipher", L"CCNGBaseCipher::~CCNGBaseCipher"}));
}

// The key of a certificate is its public key; a certificate without one cannot initialise.
TEST(CipherLifeCycle, InitWithACertificateTakesItsPublicKey) {
  const std::unique_ptr<ICertificate> cvc(ICertificate::Create(CERT_FORMAT_CVC, ByteArray()));
  const auto cipher = NewCipher(L"RSA", nullptr);
  const auto e = Thrown([&] { cipher->Init(CIPHER_ENCRYPT_MODE, cvc.get()); });
  ExpectFailure(e, CRYPTO_NOT_IMPLEMENTED, L"Unable to retrieve the certificate public key");
  // Not initialised by the failed attempt; the state and the mode are checked before the key.
  ByteArray out;
  ExpectFailure(Thrown([&] { cipher->DoFinal(out); }), CRYPTO_ILLEGAL_STATE, L"Cipher is not initialized");
  ExpectFailure(Thrown([&] { cipher->Init(4, cvc.get()); }), CRYPTO_BAD_PARAM, L"Unknown operation");

  const std::unique_ptr<ICertificate> certificate(
      ICertificate::Create(CERT_FORMAT_X509, FixtureBytes("certs/logon.der")));
  const std::unique_ptr<ICryptoParserParameterMap> map(ICryptoParserParameterMap::Create());
  map->SetPadding(L"PKCS1");
  const auto rsa = NewCipher(L"RSA", map.get());
  rsa->Init(CIPHER_ENCRYPT_MODE, certificate.get());
  rsa->DoFinal(Text("to the holder of logon.key"), out);
  EXPECT_EQ(Openssl("pkeyutl -decrypt -inkey '" + Fixture("certs/logon.key") + "' -in {in} -out {out}", out),
            Text("to the holder of logon.key"));
}

}  // namespace
