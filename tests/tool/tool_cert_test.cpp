#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>

#include "tool/tool_test_util.h"

namespace {

using namespace tooltest;
using zttest::RunTool;

bool HasLine(const std::string& out, const std::string& line) { return out.find(line + "\n") != std::string::npos; }

TEST(ToolCert, DumpAndPolicyPrintWhatCanBeReadAndRefuseTheRest) {
  const auto dump = RunTool({"cert", "dump", Cert("logon.der")});
  ASSERT_EQ(dump.status, 0) << dump.err;
  // openssl prints the serial's magnitude; the DER INTEGER has a sign octet before a leading 1 bit.
  const std::string magnitude = OpensslHex("logon.pem", "-serial", "serial");
  EXPECT_EQ(dump.out.substr(0, dump.out.find("Issuer:")),
            "Version: 3 (field 2)\nSerial number: " + std::string(magnitude[0] >= '8' ? "00" : "") + magnitude + "\n");
  for (const std::string& line : {
           std::string("Issuer: C=DE, O=Example Org, CN=ZT Fixture Issuing CA"),
           std::string("Subject: C=DE, O=Example Org, OU=Smart Card, CN=Alice Fixture (logon)"),
           std::string("Not before: 2024-01-01 00:00:00"),
           std::string("Signature algorithm: sha256RSA (1.2.840.113549.1.1.11)"),
           "SHA-1 thumbprint: " + OpensslHex("logon.pem", "-fingerprint -sha1", "Fingerprint"),
           std::string("  2.5.29.15 critical: yes"),
           std::string("    Digital Signature, Key Encipherment(a0)"),
           std::string("  OtherName (OtherName): 1.3.6.1.4.1.311.20.2.3 alice@corp.example.test"),
           std::string(
               "Policy:\n  EKU: yes (smart-card logon: yes)\n  PKI logon: yes\n  Set as default: yes\n  Priority: 4"),
       })
    EXPECT_TRUE(HasLine(dump.out, line)) << line << "\n---\n" << dump.out;
  // PEM and DER give the same.
  EXPECT_EQ(RunTool({"cert", "dump", Cert("logon.pem")}).out, dump.out);
  // The policy alone, one answer a line, with and without taking EFS into account.
  EXPECT_EQ(RunTool({"cert", "policy", Cert("efs.pem")}).out,
            "EKU: yes (smart-card logon: no)\nPKI logon: no\nSet as default: yes\nPriority: 1\n");
  EXPECT_EQ(RunTool({"cert", "policy", "--ignore-efs", Cert("efs.der")}).out,
            "EKU: yes (smart-card logon: no)\nPKI logon: no\nSet as default: no\nPriority: 0\n");
  // Alternative names that cannot be read do not stop the dump.
  const auto x400 = RunTool({"cert", "dump", Cert("x400.der")});
  EXPECT_EQ(x400.status, 0);
  EXPECT_TRUE(
      HasLine(x400.out, "Subject alternative names: unreadable (Type not implemented: CERT_ALT_NAME_X400_ADDRESS)"));
  // A certificate that cannot be read at all (bad usage: ToolUsage).
  const auto ec = RunTool({"cert", "dump", Cert("ec_leaf.der")});
  EXPECT_EQ(ec.status, 2);
  EXPECT_EQ(ec.err, "ztcrypto: new ICertificate() failed: new IPublicKey failed: new CCNGRSAPublicKey() failed: "
            "Only RSA keys are supported (ID:4002 (CRYPTO_NOT_SUPPORTED))\n");
}

TEST(ToolCert, VerifiesASignatureUnderTheIssuersCertificate) {
  const auto valid = RunTool({"cert", "verify", Cert("sig_pss.pem"), "--issuer", Cert("intermediate.der")});
  EXPECT_EQ(std::make_pair(valid.status, valid.out), std::make_pair(0, std::string("valid\n")));
  const auto invalid = RunTool({"cert", "verify", Cert("logon.der"), "--issuer", Cert("root.pem")});
  EXPECT_EQ(std::make_pair(invalid.status, invalid.out), std::make_pair(1, std::string("invalid\n")));
}

TEST(ToolCert, TrustPrintsTheStatusWordAndItsBits) {
  // The system trust store does not know the fixtures' issuing CA.
  const auto trust = RunTool({"cert", "trust", "--timeout", "500", Cert("logon.der")});
  EXPECT_EQ(trust.status, 1);
  EXPECT_EQ(trust.out,
            "Trust status: 0x00010040\n  CERT_TRUST_REVOCATION_STATUS_UNKNOWN\n  CERT_TRUST_IS_PARTIAL_CHAIN\n");
}

TEST(ToolVerify, TakesTheKeyOfACertificate) {
  // A signature by the logon certificate's key, made by the openssl tool (other keys: tests/rsa).
  const std::string data = testing::TempDir() + "zt_cert_data_" + std::to_string(getpid());
  const std::string signature = data + ".sig";
  zttest::CommandOutput("printf 'signed text' > " + data + " && openssl dgst -sha256 -sign " +
                        zttest::ShellQuoted(Cert("logon.key")) + " -out " + signature + " " + data);
  for (const char* key : {"logon.pem", "logon.der"}) {
    const auto result = RunTool(
        {"verify", "--key", Cert(key), "--padding", "PKCS1", "--hash", "SHA256", "--signature", signature, data});
    EXPECT_EQ(result.status, 0) << key << result.err;
    EXPECT_EQ(result.out, "valid\n");
  }
  std::remove(data.c_str());
  std::remove(signature.c_str());
}

}  // namespace
