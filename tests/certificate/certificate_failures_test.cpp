// The certificate services fail under an X.509 certificate, call by call
// (tests/fixtures/failures/certificate.txt): what is thrown and logged, and a refused signature
// check, which is an answer rather than a failure.
#include "certificate_test_util.h"
#include "platform/testing.h"
#include "support/call_failures.h"
#include "support/log_capture.h"

namespace {

using namespace certtest;
using zttest::ExpectCallFailure;
using zttest::ReadCallFailures;

TEST(CertificateCallFailures, CreationFailsAtTheContextAndAtTheThumbprint) {
  const ByteArray der = Der("logon");
  for (const auto& row : ReadCallFailures("certificate", "create"))
    ExpectCallFailure(row, [&] { Load(der); });
}

TEST(CertificateCallFailures, OperationsFailAtTheirPlatformCalls) {
  const auto certificate = Load("logon");
  const auto other = Load("root");
  for (const auto& row : ReadCallFailures("certificate", "compare"))
    ExpectCallFailure(row, [&] { certificate->Compare(other.get()); });
  for (const auto& row : ReadCallFailures("certificate", "trust"))
    ExpectCallFailure(row, [&] { certificate->VerifyTrust(nullptr); });
  for (const auto& row : ReadCallFailures("certificate", "date"))
    ExpectCallFailure(row, [&] { certificate->CheckValidity(L"6/1/2024"); });
  // Nothing is left broken: the same calls answer (the certificate is valid from 2024 on).
  EXPECT_TRUE(certificate->Compare(Load("logon").get()));
  EXPECT_TRUE(certificate->CheckValidity(L"6/1/2024"));
}

TEST(CertificateCallFailures, ASignatureCheckThePlatformFailsIsFalse) {
  const auto root = Load("root");
  ZT::Platform::Testing::FailNextCall("CryptVerifyCertificateSignature", 0x80090006 /* NTE_BAD_SIGNATURE */);
  zttest::LogCapture capture(NQLOG_DATA);
  EXPECT_FALSE(root->VerifySignature(root->GetPublicKey()));
  EXPECT_EQ(capture.At(NQLOG_DATA).back(), L"CCNGX509Certificate::VerifySignature : bVerified=0");
  EXPECT_EQ(ZT::Platform::Testing::PendingCallFailures(), 0u);
  EXPECT_TRUE(root->VerifySignature(root->GetPublicKey()));
}

}  // namespace
