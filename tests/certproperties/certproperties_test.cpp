// The policy answers for every fixture. The facts of each come from what make-certs.sh put in it
// (extensions.cnf): UPN other name, digital signature, and the smart-card logon (SCL),
// enrollment-agent (EA) and EFS extended key usages.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "support/cert_fixture.h"
#include "support/log_capture.h"
#include "zt/crypto.h"

namespace {

using ZT::Framework::ICertificateProperties;
using zttest::LogCapture;

using Bytes = std::vector<unsigned char>;
constexpr auto Der = &zttest::CertBytes;

unsigned Size(const Bytes& bytes) { return static_cast<unsigned>(bytes.size()); }

struct Expected {
  const char* name;
  bool logon;
  bool setAsDefault;          // bIgnoreEFS false
  bool setAsDefaultIgnoring;  // bIgnoreEFS true
  int priority;
  int priorityIgnoring;
};

// UPN: the UPN other name; DS: digital signature; SCL, EA, EFS: extended key usages.
const Expected kFixtures[] = {
    {"logon", true, true, true, 4, 4},               // UPN, DS, SCL
    {"logon_expired", true, true, true, 4, 4},       // the same: dates are not looked at
    {"revoked", true, true, true, 4, 4},             // nor revocation
    {"logon_no_ds", false, false, false, 0, 0},      // UPN, SCL
    {"logon_no_ds_agent", false, true, true, 2, 2},  // UPN, SCL, EA: not for logon, but as the default
    {"logon_agent", true, true, true, 7, 6},         // UPN, DS, SCL, EA, EFS
    {"efs", false, true, false, 1, 0},               // EFS alone
    {"upn_wrong_type", false, false, false, 0, 0},   // DS, SCL; the UPN's text only in other kinds of name
    {"all_extensions", true, true, true, 5, 4},      // UPN, every usage, SCL and EFS among the purposes
    {"v1", false, false, false, 0, 0},               // no extensions
    {"x400", false, false, false, 0, 0},             // unreadable alternative names, no usages
    {"ec_leaf", false, false, false, 0, 0},          // not readable here (an EC key)
};

TEST(CertificateProperties, AnswersForEveryFixtureAndNoInput) {
  for (const Expected& e : kFixtures) {
    SCOPED_TRACE(e.name);
    const Bytes der = Der(e.name);
    EXPECT_EQ(ICertificateProperties::nqIsCertOKForPKILogon(der.data(), Size(der)), e.logon);
    EXPECT_EQ(ICertificateProperties::nqIsCertOKForSetAsDefault(der.data(), Size(der), false), e.setAsDefault);
    EXPECT_EQ(ICertificateProperties::nqIsCertOKForSetAsDefault(der.data(), Size(der), true), e.setAsDefaultIgnoring);
    EXPECT_EQ(ICertificateProperties::nqGetCertPriorityForSetAsDefault(der.data(), Size(der), false), e.priority);
    EXPECT_EQ(ICertificateProperties::nqGetCertPriorityForSetAsDefault(der.data(), Size(der), true),
              e.priorityIgnoring);
  }

  // No input is answered without parsing.
  const Bytes logon = Der("logon");
  LogCapture log;
  EXPECT_FALSE(ICertificateProperties::nqIsCertOKForPKILogon(nullptr, Size(logon)));
  EXPECT_EQ(log.Trace(), (std::vector<std::wstring>{
                             L"8|ICertificateProperties::nqIsCertOKForPKILogon",
                             L"2|ICertificateProperties::nqIsCertOKForPKILogon : pusCertificateValue=NULL!",
                             L"16|ICertificateProperties::nqIsCertOKForPKILogon : ret=(0)",
                         }));
  log.Clear();
  EXPECT_EQ(ICertificateProperties::nqGetCertPriorityForSetAsDefault(logon.data(), 0, false), 0);
  EXPECT_EQ(log.Trace(), (std::vector<std::wstring>{
                             L"8|ICertificateProperties::nqGetCertPriorityForSetAsDefault",
                             L"2|ICertificateProperties::nqGetCertPriorityForSetAsDefault : unCertificateValueLen=0!",
                             L"16|ICertificateProperties::nqGetCertPriorityForSetAsDefault : ret=(0)",
                         }));
  log.Clear();
  bool found = true;
  EXPECT_FALSE(ICertificateProperties::nqGetEKUFromCertificate(nullptr, 0, L"1.2.3", &found));
  EXPECT_FALSE(found);
  EXPECT_FALSE(ICertificateProperties::nqIsCertOKForSetAsDefault(nullptr, 0, false));
  EXPECT_EQ(log.At(NQLOG_WARNING), (std::vector<std::wstring>{
                                       L"ICertificateProperties::nqGetEKUFromCertificate : pusCertificateValue=NULL!",
                                       L"ICertificateProperties::nqGetEKUFromCertificate : unCertificateValueLen=0!",
                                       L"ICertificateProperties::nqIsCertOKForSetAsDefault : pusCertificateValue=NULL!",
                                       L"ICertificateProperties::nqIsCertOKForSetAsDefault : unCertificateValueLen=0!",
                                   }));
}

TEST(CertificateProperties, ExtendedKeyUsageLookup) {
  struct Case {
    const char* name;
    const wchar_t* oid;
    bool answer, found;
  };
  for (const Case& c :
       {Case{"logon", L"1.3.6.1.4.1.311.20.2.2", true, true}, Case{"logon", L"1.3.6.1.4.1.311.20.2.1", true, false},
        Case{"logon", L"1.3.6.1.4.1.311.20.2", true, false},  // a prefix is not the purpose
        Case{"v1", L"1.3.6.1.4.1.311.20.2.2", false, false},  // no EKU extension
        Case{"logon", nullptr, false, false}}) {
    SCOPED_TRACE(c.name);
    const Bytes der = Der(c.name);
    bool found = !c.found;
    EXPECT_EQ(ICertificateProperties::nqGetEKUFromCertificate(der.data(), Size(der), c.oid, &found), c.answer);
    EXPECT_EQ(found, c.found);
  }
  const Bytes logon = Der("logon");
  EXPECT_TRUE(
      ICertificateProperties::nqGetEKUFromCertificate(logon.data(), Size(logon), L"1.3.6.1.5.5.7.3.2", nullptr));
}

// The lines of `log` written under `name` at `level`.
std::vector<std::wstring> LinesOf(const LogCapture& log, int level, const std::wstring& name) {
  std::vector<std::wstring> lines;
  for (const std::wstring& line : log.At(level))
    if (line.rfind(name, 0) == 0) lines.push_back(line);
  return lines;
}

// The logon check traces its steps; failures become answers and error lines.
TEST(CertificateProperties, TracesTheLogonChecksStepsAndTurnsFailuresIntoAnswers) {
  const Bytes logon = Der("logon");
  LogCapture log;
  EXPECT_TRUE(ICertificateProperties::nqIsCertOKForPKILogon(logon.data(), Size(logon)));
  const std::wstring name = L"ICertificateProperties::nqIsCertOKForPKILogon";
  EXPECT_EQ(LinesOf(log, NQLOG_WARNING, name), (std::vector<std::wstring>{
                                                   name + L" : Retrieving Subject Alt Names...",
                                                   name + L" : Subject Alt Names retrieved.",
                                                   name + L" : Subject Alt Names empty? 0",
                                                   name + L" : Subject Alt Names count=2",
                                               }));
  EXPECT_EQ(LinesOf(log, NQLOG_DATA, name), (std::vector<std::wstring>{
                                                name + L" : pusCertificateValue=" + zttest::AddressText(logon.data()),
                                                name + L" : unCertificateValueLen=" + std::to_wstring(logon.size()),
                                            }));
  EXPECT_EQ(LinesOf(log, NQLOG_EXIT, name).back(), name + L" : ret=(1)");

  const Bytes x400 = Der("x400");
  const Bytes ec = Der("ec_leaf");
  const Bytes garbage = {0x30, 0x03, 0x02, 0x01, 0x00};
  log.Clear();
  EXPECT_FALSE(ICertificateProperties::nqIsCertOKForPKILogon(x400.data(), Size(x400)));
  EXPECT_EQ(ICertificateProperties::nqGetCertPriorityForSetAsDefault(ec.data(), Size(ec), false), 0);
  EXPECT_FALSE(ICertificateProperties::nqIsCertOKForSetAsDefault(garbage.data(), Size(garbage), false));
  // The logon's first purpose (clientAuth) made an OCTET STRING: its EKU does not decode, the
  // smart-card logon purpose is not seen, and the UPN and DS alone do not make it fit.
  Bytes badEku = logon;
  const Bytes clientAuth = {0x06, 0x08, 0x2B, 0x06, 0x01, 0x05, 0x05, 0x07, 0x03, 0x02};
  const auto at = std::search(badEku.begin(), badEku.end(), clientAuth.begin(), clientAuth.end());
  ASSERT_NE(at, badEku.end());
  *at = 0x04;
  EXPECT_FALSE(ICertificateProperties::nqIsCertOKForPKILogon(badEku.data(), Size(badEku)));
  EXPECT_EQ(LinesOf(log, NQLOG_ERROR, L"ICertificateProperties::"),
            (std::vector<std::wstring>{
                L"ICertificateProperties::nqIsCertOKForPKILogon : getting subject alternative names failed: Type not "
                L"implemented: CERT_ALT_NAME_X400_ADDRESS",
                L"ICertificateProperties::nqGetCertPriorityForSetAsDefault : ICertificate::Create(CERT_FORMAT_X509) "
                L"failed: new ICertificate() failed",
                L"ICertificateProperties::nqIsCertOKForSetAsDefault : ICertificate::Create(CERT_FORMAT_X509) failed: "
                L"new ICertificate() failed",
                L"ICertificateProperties::nqIsCertOKForPKILogon : getting extented key usage failed: "
                L"CryptoUtil::DecodeObject() failed",
            }));
}

}  // namespace
