// The PKCS #12 store against files the openssl tool writes and reads: current and legacy
// protection, chains with one key, no MAC, empty passwords; what it writes;
// its failures; and that passwords and keys stay out of the trace.
#include <algorithm>

#include "stores_test_util.h"

namespace {

using namespace storetest;

TEST(P12Store, ReadsWhatOpensslWritesWithEachCertificatesOwnKey) {
  struct Case {
    const char* file;
    bool emptyPassword;
    std::vector<std::string> listed;  // the file's certificates, last first
  };
  const std::vector<std::string> chain = {"root", "intermediate", "logon"};
  const Case cases[] = {
      {"modern.p12", false, {"logon"}},       {"legacy.p12", false, {"logon"}},
      {"nomac.p12", false, {"logon"}},        {"empty_password.p12", true, {"logon"}},
      {"chain.p12", false, chain},            {"chain_legacy.p12", false, chain},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.file);
    const P12Store store = LoadPfx(StoreFixture(c.file), c.emptyPassword ? WString() : FixturePassword());
    EXPECT_EQ(ListedEncodings(*store), Encodings(c.listed));
    for (ICertContext* context : Listed(*store)) {
      if (context->GetCertificate()->GetEncoded() == CertDer("logon"))
        ExpectPairedKey(*context, "logon");
      else
        EXPECT_EQ(context->GetPrivateKey(), nullptr);
    }
  }
  const P12Store keyless = LoadPfx("no_key.p12");
  EXPECT_EQ(ListedEncodings(*keyless), Encodings(chain));
  for (ICertContext* context : Listed(*keyless)) EXPECT_EQ(context->GetPrivateKey(), nullptr);
}

TEST(P12Store, WritesModernProtectionThatOpensslReadsWithTheKeyAndItsCertificate) {
  const P12Store chain = LoadPfx("chain.p12");
  const ByteArray pfx = ICertP12Store::save(chain.get(), FixturePassword());
  ScratchFile file("saved.p12");
  file.Write(pfx);
  const std::string password = "-passin file:" + zttest::ShellQuoted(StorePath("password.txt"));
  // What `openssl pkcs12 <options>` prints of the saved file, then `redirect`.
  const auto pkcs12 = [&](const std::string& options, const std::string& redirect) {
    return zttest::CommandOutput("openssl pkcs12 " + options + " " + password + " -in " +
                                 zttest::ShellQuoted(file.Path()) + redirect);
  };
  const std::string details = pkcs12("-info -noout", " 2>&1");
  for (const char* expected : {"MAC: sha256, Iteration 2048",
                               "PKCS7 Encrypted data: PBES2, PBKDF2, AES-256-CBC, Iteration 2048, PRF hmacWithSHA256",
                               "Shrouded Keybag: PBES2, PBKDF2, AES-256-CBC, Iteration 2048, PRF hmacWithSHA256"})
    EXPECT_NE(details.find(expected), std::string::npos) << expected << "\n" << details;
  // The certificates last listed first, as they stood in the file they came from.
  EXPECT_EQ(OpensslSubjects("pkcs12 -nokeys " + password, pfx),
            (std::vector<std::string>{FixtureSubject("logon"), FixtureSubject("intermediate"), FixtureSubject("root")}));
  // The key openssl takes out is the logon certificate's.
  EXPECT_EQ(pkcs12("-nocerts -nodes", " 2>/dev/null | openssl rsa -noout -modulus"),
            zttest::OpensslX509("logon", "-modulus"));
  // Key and certificate carry the certificate's thumbprint as local key identifier.
  const Certificate logon = LoadCertificate("logon");
  const std::string keyId = "localKeyID: " + zttest::UpperHex(dynamic_cast<IX509Certificate&>(*logon).GetHash(), " ");
  const std::string everything = pkcs12("-nodes", " 2>/dev/null");
  std::size_t count = 0;
  for (std::size_t at = everything.find(keyId); at != std::string::npos; at = everything.find(keyId, at + 1)) ++count;
  EXPECT_EQ(count, 2u) << keyId;
}

TEST(P12Store, RoundTripsContextsKeysAndOrder) {
  const P12Store chain = LoadPfx("chain.p12");
  const P12Store again = LoadPfx(ICertP12Store::save(chain.get(), L"another"), L"another");
  EXPECT_EQ(ListedEncodings(*again), ListedEncodings(*chain));
  ExpectPairedKey(*Listed(*again)[2], "logon");
  // The store's own Save writes under the password it was loaded with.
  ByteArray saved;
  again->Save(saved);
  EXPECT_EQ(ListedEncodings(*LoadPfx(saved, L"another")), ListedEncodings(*chain));
  // Any store's contexts: a P7B store with a context that has a key.
  const P7bStore bundle(ICertP7bStore::Create());
  bundle->AddCertContext(Listed(*chain)[2]);
  const P12Store fromBundle = LoadPfx(ICertP12Store::save(bundle.get(), L""), L"");
  ExpectPairedKey(*Listed(*fromBundle).front(), "logon");
}

TEST(P12Store, FailsWithTheIdOfEachReasonAndMakesNothing) {
  struct Case {
    const char* what;
    ByteArray pfx;
    WString password;
    std::uint64_t id;
    const wchar_t* message;
  };
  const WString password = FixturePassword();
  const wchar_t* const notPfx = L"Invalid PFX blob";
  const wchar_t* const refused = L"Unable to load the PFX blob (0x56)";
  const wchar_t* const tooSlow = L"Unable to load the PFX blob (0x80090005)";
  const Case cases[] = {
      {"no bytes", {}, password, CRYPTO_NOT_P12, notPfx},
      {"a bundle", StoreFixture("three.p7b"), password, CRYPTO_NOT_P12, notPfx},
      {"a certificate", CertDer("logon"), password, CRYPTO_NOT_P12, notPfx},
      {"a wrong password", StoreFixture("modern.p12"), L"wrong", CRYPTO_BAD_AUTH, refused},
      {"a wrong legacy password", StoreFixture("legacy.p12"), L"p\u00e4sswort", CRYPTO_BAD_AUTH, refused},
      {"a wrong password without MAC", StoreFixture("nomac.p12"), L"wrong", CRYPTO_BAD_AUTH, refused},
      {"no password where one is needed", StoreFixture("modern.p12"), L"", CRYPTO_BAD_AUTH, refused},
      {"a key without its certificate", StoreFixture("key_only.p12"), password, CRYPTO_BAD_PARAM,
       L"Private key without its certificate in the PFX blob"},
      {"an EC certificate and key", StoreFixture("ec.p12"), password, CRYPTO_NOT_SUPPORTED,
       L"new ICertificate() failed"},
      // A million and one iterations would hold the import: refused before any is run.
      {"a slow MAC", StoreFixture("slow.p12"), password, CRYPTO_BAD_PARAM, tooSlow},
      {"a slow safe", StoreFixture("slow_safe.p12"), password, CRYPTO_BAD_PARAM, tooSlow},
      {"a slow key", StoreFixture("slow_key.p12"), password, CRYPTO_BAD_PARAM, tooSlow},
  };

  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    const zttest::NoHandleLeft noHandleLeft;
    ExpectFailure(Thrown([&] { LoadPfx(c.pfx, c.password); }), c.id, c.message);
  }
}

// An RSA private key the library does not hold: a key of the caller's own.
class ForeignKey final : public IPrivateKey {
 public:
  IKey* Clone() const override { return new ForeignKey; }
  IAlgorithm* GetAlgorithm() const override { return nullptr; }
  WString GetFormat() const override { return L"RAW"; }
  ByteArray GetEncoded() const override { return {1, 2, 3}; }
};

TEST(P12Store, SaveRefusesWhatItCannotWrite) {
  ExpectFailure(Thrown([] { ICertP12Store::save(nullptr, L"x"); }), CRYPTO_BAD_PARAM, L"pStore=NULL!");
  const P7bStore store(ICertP7bStore::Create());
  const Certificate certificate = LoadCertificate("logon");
  ForeignKey key;
  const Context context(ICertContext::Create(certificate.get(), &key));
  store->AddCertContext(context.get());
  const zttest::NoHandleLeft noHandleLeft;
  ExpectFailure(Thrown([&] { ICertP12Store::save(store.get(), L"x"); }), CRYPTO_NOT_SUPPORTED,
                L"Only RSA private keys are supported");
}

TEST(P12Store, KeepsPasswordsAndKeysOutOfTheTrace) {
  const WString password = L"Trace-Me-Not-\u00e9";
  zttest::LogCapture capture(NQLOG_DATA);
  const P12Store chain = LoadPfx("chain.p12");
  const ByteArray privateExponent = RsaKey(Listed(*chain)[2]->GetPrivateKey()).GetPrivateExponent();
  const P12Store again = LoadPfx(ICertP12Store::save(chain.get(), password), password);
  ASSERT_FALSE(capture.Lines().empty());
  const std::string secret = zttest::ToHex(privateExponent.data() + 64, 12);
  std::string spaced;
  for (std::size_t i = 0; i < secret.size(); i += 2) spaced += (i ? " " : "") + secret.substr(i, 2);
  for (const zttest::LogLine& line : capture.Lines()) {
    const std::string text(line.text.begin(), line.text.end());
    std::string lower = text;
    std::transform(lower.begin(), lower.end(), lower.begin(), [](unsigned char ch) { return std::tolower(ch); });
    EXPECT_EQ(line.text.find(L"Trace-Me-Not"), std::wstring::npos) << text;
    EXPECT_EQ(lower.find(secret), std::string::npos) << text;
    EXPECT_EQ(lower.find(spaced), std::string::npos) << text;
  }
}

}  // namespace
