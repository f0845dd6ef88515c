// Certificate contexts: their own clones, the factories' refusals and messages, a clone that fails.
#include "stores_test_util.h"

namespace {

using namespace storetest;

std::unique_ptr<IPrivateKey> LogonKey() {
  const P12Store store(ICertP12Store::load(StoreFixture("modern.p12"), FixturePassword()));
  return std::unique_ptr<IPrivateKey>(static_cast<IPrivateKey*>(Listed(*store).front()->GetPrivateKey()->Clone()));
}

TEST(CertContext, KeepsClonesThatOutliveWhatItWasGiven) {
  Certificate certificate = LoadCertificate("logon");
  std::unique_ptr<IPrivateKey> key = LogonKey();
  const ByteArray modulus = RsaKey(key.get()).GetModulus();
  const Context context(ICertContext::Create(certificate.get(), key.get()));
  EXPECT_NE(context->GetCertificate(), certificate.get());
  EXPECT_NE(context->GetPrivateKey(), key.get());
  certificate.reset();
  key.reset();
  EXPECT_EQ(context->GetCertificate()->GetEncoded(), CertDer("logon"));
  EXPECT_EQ(RsaKey(context->GetPrivateKey()).GetModulus(), modulus);
  // A clone is made again from the context's own objects.
  const Context clone(context->Clone());
  EXPECT_NE(clone->GetPrivateKey(), context->GetPrivateKey());
  EXPECT_EQ(RsaKey(clone->GetPrivateKey()).GetModulus(), modulus);
}

TEST(CertContext, WithoutKeyStaysWithoutKeyWhenCloned) {
  const Certificate certificate = LoadCertificate("root");
  zttest::LogCapture capture(NQLOG_DATA);
  const Context context(ICertContext::Create(certificate.get()));
  EXPECT_EQ(capture.Trace().front(), L"8|ICertContext::Create");
  EXPECT_EQ(capture.At(NQLOG_DATA).back(), L"ICertContext::Create : pCertContext=" + zttest::AddressText(context.get()));
  EXPECT_EQ(context->GetPrivateKey(), nullptr);
  const Context clone(context->Clone());
  EXPECT_EQ(clone->GetPrivateKey(), nullptr);
  EXPECT_EQ(clone->GetCertificate()->GetEncoded(), CertDer("root"));
}

// A certificate whose Clone fails, as a caller's own certificate class may.
class UnclonableCertificate final : public ICertificate {
 public:
  ICertificate* Clone() const override {
    throw new CCryptoException(L"test", 1, L"cannot clone", CRYPTO_NOT_SUPPORTED, nullptr);
  }
  ByteArray GetEncoded() const override { return {}; }
  WString GetFormat() const override { return CERT_FORMAT_X509; }
  IPublicKey* GetPublicKey() const override { return nullptr; }
  bool VerifySignature(IPublicKey*) const override { return false; }
  std::uint32_t VerifyTrust(ICryptoParserParameterMap*) const override { return 0; }
  ISignature* GetSignature() const override { return nullptr; }
  bool Compare(ICertificate*) const override { return false; }
};

TEST(CertContext, RefusesNullArgumentsCertificateFirstAndReportsAFailingClone) {
  const Certificate certificate = LoadCertificate("root");
  const std::unique_ptr<IPrivateKey> key = LogonKey();
  struct Case {
    ICertificate* certificate;
    IPrivateKey* key;
    bool withKey;
    const wchar_t* reason;
  };
  for (const Case& c : {Case{nullptr, nullptr, false, L"pCertificate=empty"},
                        Case{nullptr, nullptr, true, L"pCertificate=empty"},
                        Case{nullptr, key.get(), true, L"pCertificate=empty"},
                        Case{certificate.get(), nullptr, true, L"pPrivateKey=empty"}}) {
    zttest::LogCapture capture(NQLOG_ERROR);
    const auto e = Thrown([&] {
      Context(c.withKey ? ICertContext::Create(c.certificate, c.key) : ICertContext::Create(c.certificate));
    });
    ExpectFailure(e, CRYPTO_BAD_PARAM, L"new CCertContext() failed");
    EXPECT_EQ(MessageAt(e.get(), 1), c.reason);
    EXPECT_EQ(capture.At(NQLOG_ERROR), (std::vector<std::wstring>{std::wstring(L"CCertContext::CCertContext : ") + c.reason,
                                                                   L"ICertContext::Create : new CCertContext() failed"}));
  }
  // The clone fails with the cause's id and the two blanks of the message.
  UnclonableCertificate unclonable;
  zttest::LogCapture capture(NQLOG_ERROR);
  const auto e = Thrown([&] { Context(ICertContext::Create(&unclonable, key.get())); });
  ExpectFailure(e, CRYPTO_NOT_SUPPORTED, L"new CCertContext() failed");
  EXPECT_EQ(MessageAt(e.get(), 1), L"Clone :  m_pCertificate/m_pPrivateKey() failed");
  EXPECT_EQ(MessageAt(e.get(), 2), L"cannot clone");
  EXPECT_EQ(capture.At(NQLOG_ERROR).front(), L"CCertContext::CCertContext : Clone m_pCertificate/m_pPrivateKey() failed");
  // Without a key the cause goes out as it is, inside the factory's message.
  const auto plain = Thrown([&] { Context(ICertContext::Create(&unclonable)); });
  ExpectFailure(plain, CRYPTO_NOT_SUPPORTED, L"new CCertContext() failed");
  EXPECT_EQ(MessageAt(plain.get(), 1), L"cannot clone");
}

}  // namespace
