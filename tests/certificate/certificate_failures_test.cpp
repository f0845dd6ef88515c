// The certificate services fail under an X.509 certificate, call by call
// (tests/fixtures/failures/certificate.txt): what is thrown and logged, and a refused signature
// check, which is an answer rather than a failure.
#include <functional>
#include <utility>

#include "certificate_test_util.h"
#include "platform/testing.h"
#include "support/call_failures.h"
#include "support/log_capture.h"

namespace {

using namespace certtest;
using zttest::ExpectCallFailure;
using zttest::ReadCallFailures;

// Creation fails at the context and at the thumbprint, the operations at their own calls.
TEST(CertificateCallFailures, CreationAndOperationsFailAtTheirPlatformCalls) {
  const ByteArray der = Der("logon");
  const auto certificate = Load(der);
  const auto other = Load("root");
  const std::pair<const char*, std::function<void()>> operations[] = {
      {"create", [&] { Load(der); }},
      {"compare", [&] { certificate->Compare(other.get()); }},
      {"trust", [&] { certificate->VerifyTrust(nullptr); }},
      {"date", [&] { certificate->CheckValidity(L"6/1/2024"); }},
  };
  for (const auto& [section, operation] : operations)
    for (const auto& row : ReadCallFailures("certificate", section))
      ExpectCallFailure(row, operation);
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
