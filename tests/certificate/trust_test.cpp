// VerifyTrust over the fixture hierarchy, its time-out rules, and a certificate made from a
// platform context as the stores make it.
#include <chrono>
#include <functional>

#include "certificate_test_util.h"
#include "cng/crypto.cng.x509certificates.h"
#include "platform/certificates.h"
#include "support/local_http_server.h"
#include "support/log_capture.h"

namespace {

using namespace certtest;
using zttest::LogCapture;
using zttest::ScopedTrustStore;

constexpr std::uint32_t kRevocationUnknown = CERT_TRUST_REVOCATION_STATUS_UNKNOWN;

// The bits themselves are checked at the platform seam; here, that the chain is built with
// revocation checking and that its error word is what VerifyTrust answers.
TEST(VerifyTrust, TheFixtureChainWithAndWithoutItsRoot) {
  {
    const ScopedTrustStore store({"root"}, {"intermediate"}, {"root.crl", "intermediate.crl"});
    const LogCapture log;
    EXPECT_EQ(Load("logon")->VerifyTrust(nullptr), 0u);
    EXPECT_EQ(log.At(NQLOG_WARNING), std::vector<std::wstring>{L"CCNGX509Certificate::VerifyTrust : pParameter=null!"});
    EXPECT_EQ(log.At(NQLOG_DATA).back(), L"CCNGX509Certificate::VerifyTrust : uiTrustStatus=0");
  }
  {
    const ScopedTrustStore store({}, {"intermediate", "root"}, {"root.crl", "intermediate.crl"});
    EXPECT_EQ(Load("logon")->VerifyTrust(nullptr), static_cast<std::uint32_t>(CERT_TRUST_IS_UNTRUSTED_ROOT));
  }
  // The system store does not know the issuing CA.
  EXPECT_EQ(Load("logon")->VerifyTrust(nullptr), CERT_TRUST_IS_PARTIAL_CHAIN | kRevocationUnknown);
}

TEST(VerifyTrust, TheTimeOutComesFromTheLibrarysParameterMap) {
  const ScopedTrustStore store({"root"}, {"intermediate"}, {"root.crl"});
  // The distribution point of "cdp_local" accepts the connection and never answers.
  const zttest::LocalHttpServer server(47391, "", zttest::LocalHttpServer::Mode::Stall);
  if (!server.Listening()) GTEST_SKIP() << "port 47391 is taken";
  const auto certificate = Load("cdp_local");
  const auto timed = [&](ICryptoParserParameterMap* map) {
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(certificate->VerifyTrust(map), kRevocationUnknown | CERT_TRUST_IS_OFFLINE_REVOCATION);
    return std::chrono::steady_clock::now() - start;
  };
  const std::unique_ptr<ICryptoParserParameterMap> map(ICryptoParserParameterMap::Create());
  map->SetTimeout(200);
  const auto given = timed(map.get());
  EXPECT_GE(given, std::chrono::milliseconds(150));
  EXPECT_LT(given, std::chrono::milliseconds(1500));
  const auto byDefault = timed(nullptr);
  EXPECT_GE(byDefault, std::chrono::milliseconds(1900));
  EXPECT_LT(byDefault, std::chrono::milliseconds(5000));
}

TEST(VerifyTrust, TracesWhyTheDefaultTimeOutIsTaken) {
  const ScopedTrustStore store({"root"}, {"intermediate"}, {"root.crl", "intermediate.crl"});
  const auto certificate = Load("logon");
  constexpr const wchar_t* kNoParameter =
      L"CCNGX509Certificate::VerifyTrust : No Timeout parameter, setting timeout to 2000ms.";
  constexpr const wchar_t* kUnreadable =
      L"CCNGX509Certificate::VerifyTrust : Unable to retrieve Timeout parameter, setting timeout to 2000ms.";
  struct Case {
    std::function<void(ICryptoParserParameterMap*)> fill;
    const wchar_t* warning;
  };
  for (const Case& c :
       {Case{[](ICryptoParserParameterMap*) {}, kNoParameter},
        Case{[](ICryptoParserParameterMap* m) { m->Add(L"CryptoParameterTimeout", NQData(WString(L"5"))); },
             kUnreadable},
        Case{[](ICryptoParserParameterMap* m) { m->SetTimeout(0x100000000ull); }, kUnreadable}}) {
    const std::unique_ptr<ICryptoParserParameterMap> map(ICryptoParserParameterMap::Create());
    c.fill(map.get());
    const LogCapture log;
    EXPECT_EQ(certificate->VerifyTrust(map.get()), 0u);
    EXPECT_EQ(log.At(NQLOG_WARNING), std::vector<std::wstring>{c.warning});
  }
}

TEST(X509Certificate, MadeFromAPlatformContextItKeepsItsOwnReference) {
  const ByteArray der = Der("logon");
  zttest::CertContext context = zttest::NewCertContext(zttest::CertBytes("logon"));
  ASSERT_NE(context, nullptr);
  const CCNGX509Certificate certificate(context.get());
  context.reset();  // the caller's reference goes; the certificate's stays
  EXPECT_EQ(certificate.GetEncoded(), der);
  EXPECT_EQ(certificate.GetSubjectDN()->GetName(0), L"C=DE, O=Example Org, OU=Smart Card, CN=Alice Fixture (logon)");
  EXPECT_TRUE(certificate.Compare(Load("logon").get()));

  const LogCapture log;
  const auto e = Thrown([] { CCNGX509Certificate(static_cast<PCCERT_CONTEXT>(nullptr)); });
  ASSERT_NE(e, nullptr);
  EXPECT_EQ(e->getID(), CRYPTO_BAD_PARAM);
  EXPECT_EQ(log.At(NQLOG_ERROR),
            std::vector<std::wstring>{L"CCNGX509Certificate::CCNGX509Certificate : p_PCert_Context=NULL!"});
}

TEST(CVCCertificate, IsAnEmptyPlaceholderThatTracesItsArgumentsBeforeRefusing) {
  const std::unique_ptr<ICertificate> certificate(ICertificate::Create(CERT_FORMAT_CVC, FromHex("7F2181E8")));
  ASSERT_NE(certificate, nullptr);
  EXPECT_EQ(certificate->GetFormat(), L"CVC");
  EXPECT_TRUE(certificate->GetEncoded().empty());
  const std::unique_ptr<ICertificate> clone(certificate->Clone());
  EXPECT_EQ(clone->GetFormat(), L"CVC");
  auto* cvc = dynamic_cast<ICVCCertificate*>(certificate.get());
  ASSERT_NE(cvc, nullptr);
  std::vector<std::uint32_t> tags;
  const std::vector<std::function<void()>> queries = {
      [&] { cvc->GetPublicKey(); },        [&] { cvc->VerifySignature(nullptr); },
      [&] { cvc->VerifyTrust(nullptr); },  [&] { cvc->GetSignature(); },
      [&] { cvc->Compare(cvc); },          [&] { cvc->GetProfileIdentifier(); },
      [&] { cvc->GetIssuerIdentifier(); }, [&] { cvc->GetSubjectIdentifier(); },
      [&] { cvc->GetRoleIdentifier(); },   [&] { cvc->ListTags(tags); },
      [&] { cvc->GetTag(0x5F29); },
  };
  for (const auto& query : queries)
    ExpectFailure(Thrown(query), CRYPTO_NOT_IMPLEMENTED, L"Method not implemented");
  // Arguments are traced before the refusal.
  LogCapture log;
  Thrown([&] { certificate->VerifySignature(nullptr); });
  const std::wstring self = zttest::AddressText(certificate.get());
  EXPECT_EQ(log.Trace(), (std::vector<std::wstring>{
                             L"8|CCNGCVCCertificate::VerifySignature : this=" + self,
                             L"2|CCNGCVCCertificate::VerifySignature : pPublicKey=empty!",
                             L"1|CCNGCVCCertificate::VerifySignature : Method not implemented",
                             L"16|CCNGCVCCertificate::VerifySignature Returns Method not implemented",
                         }));
  log.Clear();
  const std::unique_ptr<ICryptoParserParameterMap> map(ICryptoParserParameterMap::Create());
  Thrown([&] { certificate->VerifyTrust(map.get()); });
  EXPECT_EQ(log.At(NQLOG_DATA), std::vector<std::wstring>{L"CCNGCVCCertificate::VerifyTrust : pParameter=" +
                                                          zttest::AddressText(map.get())});
}

// The getters that answer without the parsed content trace their entry and exit too.
TEST(CertificateTrace, FormatAndEncodingGettersWriteEntryAndExit) {
  const auto x509 = Load("logon");
  const std::unique_ptr<ICertificate> cvc(ICertificate::Create(CERT_FORMAT_CVC, ByteArray()));
  const std::wstring x509Self = zttest::AddressText(x509.get()), cvcSelf = zttest::AddressText(cvc.get());
  LogCapture log(NQLOG_EXIT);
  x509->GetFormat();
  x509->GetEncoded();
  cvc->GetFormat();
  EXPECT_EQ(log.Trace(), (std::vector<std::wstring>{
                             L"8|CCNGX509Certificate::GetFormat : this=" + x509Self,
                             L"16|CCNGX509Certificate::GetFormat",
                             L"8|CCNGX509Certificate::GetEncoded : this=" + x509Self,
                             L"16|CCNGX509Certificate::GetEncoded",
                             L"8|CCNGCVCCertificate::GetFormat : this=" + cvcSelf,
                             L"16|CCNGCVCCertificate::GetFormat",
                         }));
}

}  // namespace
