// RSA signature verification of the openssl tool's signatures: answers, refusals, states, the
// CryptoAPI path, and the signature value class.
#include <optional>
#include <string>
#include <vector>

#include "cng/crypto.cng.signature.h"
#include "rsa_test_util.h"
#include "support/log_capture.h"

namespace {

using namespace rsatest;
using zttest::LogCapture;

// An engine, its map and the 2048-bit fixture key.
struct Verifier {
  std::unique_ptr<ICryptoParserParameterMap> map = NewMap();
  std::unique_ptr<IKey> key = ImportKey(L"X509", Fixture("rsa2048.pub.der"));
  std::unique_ptr<Signature> engine{Signature::Create(Algorithm(L"RSA").get(), map.get())};

  explicit Verifier(const WString& padding, std::optional<unsigned char> hashId = std::nullopt) {
    map->SetPadding(padding);
    if (hashId) map->SetHashAlgoPaddingMode(*hashId);
  }
  IPublicKey* Key() { return dynamic_cast<IPublicKey*>(key.get()); }

  bool Verify(const ByteArray& data, const ByteArray& signature) {
    engine->Init(Key());
    engine->Update(data);
    return engine->Verify(signature);
  }
};

// A public key that is not one of this library's RSA keys, whatever it encodes.
class ForeignPublicKey final : public IPublicKey {
 public:
  IKey* Clone() const override { return new ForeignPublicKey; }
  IAlgorithm* GetAlgorithm() const override { return nullptr; }
  WString GetFormat() const override { return L"X509"; }
  ByteArray GetEncoded() const override { return Fixture("rsa2048.pub.der"); }
};

std::unique_ptr<CCryptoException> Failure(Verifier& v, const ByteArray& data, const ByteArray& signature) {
  return Thrown([&] { v.Verify(data, signature); });
}

// PKCS #1 over each DigestInfo (leaving the signature mode in the caller's map), raw, X9.31.
TEST(RsaSignature, VerifiesTheToolsSignaturesUnderEachPadding) {
  const ByteArray data = Fixture("data.txt");
  for (const std::string hash : {"md5", "sha1", "sha256", "sha384", "sha512"}) {
    Verifier v(L"PKCS1");
    v.map->SetPkcs1OperationMode(1);
    EXPECT_TRUE(v.Verify(DigestInfo(hash, data), Fixture("data." + hash + ".sig"))) << hash;
    unsigned char mode = 0xFF;
    EXPECT_TRUE(v.map->GetPkcs1OperationMode(mode) && mode == 0);
  }
  Verifier none(L"None");
  EXPECT_TRUE(none.Verify(Fixture("block.bin"), Fixture("block.none.sig")));
  // Absent, the padding is "None".
  none.map->erase(L"CryptoParameterPadding");
  EXPECT_TRUE(none.Verify(Fixture("block.bin"), Fixture("block.none.sig")));

  // The signer sent the representative itself for one message and n minus it for the other.
  // The recovered block is compared byte for byte, so only the first form is recognised.
  for (const std::string which : {"direct", "complement"}) {
    Verifier x931(L"X_931", 0x34);
    const ByteArray hash = OpensslDigest("sha256", Fixture("x931." + which + ".txt"));
    EXPECT_EQ(x931.Verify(hash, Fixture("x931." + which + ".sig")), which == "direct") << which;
    // The hash-identifier byte is part of the block.
    Verifier sha1Id(L"X_931", 0x33);
    EXPECT_FALSE(sha1Id.Verify(hash, Fixture("x931." + which + ".sig"))) << which;
  }
}

TEST(RsaSignature, AnswersFalseForWhatDoesNotMatchAndTracesItsAnswer) {
  const ByteArray info = DigestInfo("sha256", Fixture("data.txt"));
  const ByteArray signature = Fixture("data.sha256.sig");
  ByteArray flipped = signature;
  flipped[128] ^= 0x10;
  const ByteArray truncated(signature.begin(), signature.end() - 1);

  Verifier v(L"PKCS1");
  LogCapture capture;
  EXPECT_FALSE(v.Verify(DigestInfo("sha256", Fixture("other.txt")), signature));
  EXPECT_EQ(capture.At(NQLOG_WARNING).back(), L"CCNGRSASignature::Verify : Signature is invalid");
  EXPECT_EQ(capture.At(NQLOG_DATA).back(), L"CCNGRSASignature::Verify: returns false");
  EXPECT_FALSE(v.Verify(DigestInfo("sha1", Fixture("data.txt")), signature));
  EXPECT_FALSE(v.Verify(info, flipped));
  EXPECT_FALSE(v.Verify(info, truncated));
  EXPECT_FALSE(v.Verify(info, Fixture("data.sha1.sig")));
  capture.Clear();
  EXPECT_TRUE(v.Verify(info, signature));
  const auto lines = capture.Trace();
  const auto at = std::find(lines.begin(), lines.end(), L"2|CCNGRSASignature::Verify : Signature is valid");
  ASSERT_NE(at, lines.end());
  EXPECT_EQ(*(at + 1), L"0|CCNGRSASignature::Verify: returns true");
  EXPECT_EQ(*(at + 2), L"16|CCNGRSASignature::Verify");

  Verifier none(L"None");
  ByteArray otherBlock = Fixture("block.bin");
  otherBlock[100] ^= 0x01;
  EXPECT_FALSE(none.Verify(otherBlock, Fixture("block.none.sig")));
  // The whole block is compared: its tail alone does not match.
  const ByteArray block = Fixture("block.bin");
  EXPECT_FALSE(none.Verify(ByteArray(block.begin() + 1, block.end()), Fixture("block.none.sig")));
}

// A padding it cannot verify with, a message too long for the block, and a k-byte signature that
// is not below the modulus, which the platform refuses; each with the line that says why.
TEST(RsaSignature, RefusesWhatItCannotVerifyWith) {
  const ByteArray signature = Fixture("data.sha256.sig");
  const ByteArray info = DigestInfo("sha256", Fixture("data.txt"));
  const struct {
    const wchar_t* padding;
    ByteArray data, signature;
    CryptoExceptionId id;
    const wchar_t* message;
    std::wstring line;
  } cases[] = {
      {L"X_931", info, signature, CRYPTO_BAD_PARAM, L"Padding X9.31 but no Hash Algid in params",
       L"CCNGRSASignature::Verify : Padding X9.31 but no Hash Algid in params"},
      {L"OAEP", info, signature, CRYPTO_NO_SUCH_PADDING, L"Unsupported padding",
       L"CCNGRSASignature::Verify : Unsupported padding: OAEP"},
      {L"pkcs1", info, signature, CRYPTO_NO_SUCH_PADDING, L"Unsupported padding",
       L"CCNGRSASignature::Verify : Unsupported padding: pkcs1"},
      {L"", info, signature, CRYPTO_NO_SUCH_PADDING, L"Unsupported padding",
       L"CCNGRSASignature::Verify : Unsupported padding: "},
      {L"PKCS1", ByteArray(246, 0x30), signature, CRYPTO_BAD_PARAM, L"Decode EncodedMessage Failed",
       L"CPKCS1SignPadding::EncodeData : Data to Encode Length is invalid (246 > 245)"},
      {L"PKCS1", info, ByteArray(256, 0xFF), CRYPTO_INTERNAL_ERROR, L"BCryptEncrypt failed!",
       L"CCNGRSASignature::Verify : Error 0xc000000d returned by BCryptEncrypt"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.line);
    Verifier v(c.padding);
    LogCapture capture(NQLOG_ERROR);
    ExpectFailure(Failure(v, c.data, c.signature), c.id, c.message);
    EXPECT_EQ(capture.At(NQLOG_ERROR).front(), c.line);
  }
  // A public key that is not one of this library's RSA keys.
  Verifier v(L"PKCS1");
  ForeignPublicKey foreign;
  v.engine->Init(&foreign);
  LogCapture capture(NQLOG_ERROR);
  ExpectFailure(Thrown([&] { v.engine->Verify(signature); }), CRYPTO_NOT_SUPPORTED,
                L"Only  RSA Public keys are supported");
  EXPECT_EQ(capture.At(NQLOG_ERROR),
            std::vector<std::wstring>{L"CCNGRSASignature::Verify : Only  RSA Public keys are supported"});
}

// Every use of a caller's map that throws is "Error while parsing parameters": the padding read,
// the signature mode written for PKCS #1, the X9.31 hash identifier read, and the padding's own
// reads.
TEST(RsaSignature, ACallersMapThatThrowsIsAParameterError) {
  const auto key = ImportKey(L"X509", Fixture("rsa2048.pub.der"));
  const std::pair<const wchar_t*, const wchar_t*> cases[] = {
      {L"PKCS1", L"GetPadding"},
      {L"PKCS1", L"SetPkcs1OperationMode"},
      {L"PKCS1", L"GetPkcs1OperationMode"},
      {L"X_931", L"GetHashAlgoPaddingMode"},
  };
  for (const auto& [padding, failing] : cases) {
    CallersMap map;
    map.SetPadding(padding);
    map.SetHashAlgoPaddingMode(0x34);
    map.failing = {failing};
    const std::unique_ptr<Signature> engine(Signature::Create(Algorithm(L"RSA").get(), &map));
    engine->Init(dynamic_cast<IPublicKey*>(key.get()));
    engine->Update(DigestInfo("sha256", Fixture("data.txt")));
    const auto e = Thrown([&] { engine->Verify(Fixture("data.sha256.sig")); });
    if (std::wstring(failing) != L"GetPkcs1OperationMode") {
      ExpectMapFailure(e);
      continue;
    }
    // Read by the padding's factory: the padding cannot be created.
    ExpectFailure(e, CRYPTO_UNKNOWN_ERROR, L"Unsupported padding");
    EXPECT_EQ(MessageAt(e.get(), 1), L"Error while parsing parameters");
    EXPECT_EQ(MessageAt(e.get(), 2), L"caller's map failed");
  }
}

TEST(RsaSignature, FollowsItsLifeCycleAndCannotSign) {
  Verifier v(L"PKCS1");
  Signature& engine = *v.engine;
  ByteArray out;
  ExpectFailure(Thrown([&] { engine.Update(Text("x")); }), CRYPTO_ILLEGAL_STATE, L"Signature is not initialized");
  ExpectFailure(Thrown([&] { engine.Verify(Text("x")); }), CRYPTO_ILLEGAL_STATE, L"Signature is not initialized");
  ExpectFailure(Thrown([&] { engine.Sign(out); }), CRYPTO_ILLEGAL_STATE, L"Signature is not initialized");
  const auto wrapped = Thrown([&] { engine.Verify(Text("data"), Text("signature")); });
  ExpectFailure(wrapped, CRYPTO_ILLEGAL_STATE, L"Verify failed");
  EXPECT_EQ(MessageAt(wrapped.get(), 1), L"Signature is not initialized");
  ExpectFailure(Thrown([&] { engine.Init(static_cast<IPublicKey*>(nullptr)); }), CRYPTO_BAD_PARAM,
                L"pPublicKey should not be NULL");

  engine.Init(v.Key());
  ExpectFailure(Thrown([&] { engine.Init(v.Key()); }), CRYPTO_ILLEGAL_STATE, L"Signature is already initialized");
  ExpectFailure(Thrown([&] { engine.Sign(Text("x"), out); }), CRYPTO_BAD_PARAM, L"Invalid operation");

  // A verification that throws keeps the state and the buffered data.
  v.map->SetPadding(L"PSS");
  engine.Update(DigestInfo("sha256", Fixture("data.txt")));
  EXPECT_TRUE(Thrown([&] { engine.Verify(Fixture("data.sha256.sig")); }));
  v.map->SetPadding(L"PKCS1");
  EXPECT_TRUE(engine.Verify(Fixture("data.sha256.sig")));
  // An answer ends the verification.
  ExpectFailure(Thrown([&] { engine.Verify(Fixture("data.sha256.sig")); }), CRYPTO_ILLEGAL_STATE,
                L"Signature is not initialized");
  engine.Init(v.Key());
  EXPECT_TRUE(engine.Verify(DigestInfo("sha256", Fixture("data.txt")), Fixture("data.sha256.sig")));

  // Signing is not available; an engine initialised for it stays so.
  Verifier signer(L"PKCS1");
  const auto privateKey = ImportKey(L"PKCS8", Fixture("rsa2048.pkcs8.der"));
  auto* key = dynamic_cast<IPrivateKey*>(privateKey.get());
  ExpectFailure(Thrown([&] { signer.engine->Init(static_cast<IPrivateKey*>(nullptr)); }), CRYPTO_BAD_PARAM,
                L"pPrivateKey should not be NULL");
  ExpectFailure(Thrown([&] { signer.engine->Init(key); }), CRYPTO_NOT_IMPLEMENTED, L"Not Implemented");
  ExpectFailure(Thrown([&] { signer.engine->Sign(out); }), CRYPTO_NOT_IMPLEMENTED, L"Not Implemented");
  ExpectFailure(Thrown([&] { signer.engine->Init(key); }), CRYPTO_ILLEGAL_STATE, L"Signature is already initialized");
  ExpectFailure(Thrown([&] { signer.engine->Verify(Text("s")); }), CRYPTO_BAD_PARAM, L"Invalid operation");
}

class RsaSignatureWithoutCNG : public WithModuleHooks {};

TEST_F(RsaSignatureWithoutCNG, CryptEncryptPadsTheSignatureAsAnyDataAndRefusesAWholeBlock) {
  MakeCNGUnavailable();
  Verifier v(L"PKCS1");
  const ByteArray info = DigestInfo("sha256", Fixture("data.txt"));
  // The provider applies PKCS #1 type 2 padding to what it encrypts: a k-byte signature is longer
  // than k - 11 and refused (NTE_BAD_LEN) once context and key are in place.
  LogCapture capture(NQLOG_ERROR);
  ExpectFailure(Failure(v, info, Fixture("data.sha256.sig")), CRYPTO_INTERNAL_ERROR, L"CryptEncrypt failed");
  EXPECT_EQ(capture.At(NQLOG_ERROR), (std::vector<std::wstring>{
                                         L"CryptoSoftCNGWrapper::LoadCNGLibrary : LoadLibrary (BCrypt) failed (126)",
                                         L"CCNGRSASignature::Verify : Error 0x80090004 returned by CryptEncrypt",
                                     }));
  // A signature shorter than k is false before the provider sees it.
  Verifier shortSignature(L"PKCS1");
  capture.Clear();
  EXPECT_FALSE(shortSignature.Verify(info, Text("short")));
  EXPECT_EQ(capture.At(NQLOG_ERROR),
            std::vector<std::wstring>{L"CryptoSoftCNGWrapper::LoadCNGLibrary : LoadLibrary (BCrypt) failed (126)"});
  // Back on CNG, the engine that failed verifies what it still holds.
  MakeCNGAvailable();
  EXPECT_TRUE(v.engine->Verify(Fixture("data.sha256.sig")));
}

TEST(SignatureValue, HoldsItsAlgorithmAndValue) {
  const auto parameters = std::unique_ptr<IAlgorithmParameters>(IAlgorithmParameters::Create());
  std::unique_ptr<IAlgorithm> algorithm(IAlgorithm::CreateFromOID(L"1.2.840.113549.1.1.11", parameters.get()));
  const IAlgorithm* raw = algorithm.get();
  const CCNGSignature value(std::move(algorithm), Hex("0102ff"));
  LogCapture capture(NQLOG_DATA);
  EXPECT_EQ(value.GetAlgorithm(), raw);
  EXPECT_EQ(value.GetValue(), Hex("0102ff"));
  EXPECT_EQ(capture.At(NQLOG_DATA), (std::vector<std::wstring>{
                                        L"CCNGSignature::GetAlgorithm : m_pAlgorithm=" + zttest::AddressText(raw),
                                        L"CCNGSignature::GetValue : m_baValue: 01 02 ff",
                                    }));
}

}  // namespace
