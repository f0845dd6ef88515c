// ztcrypto p7b and p12: bundles and PFX files the openssl tool writes and reads, passwords from a
// file or standard input (never the command line), and the refusals.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>

#include "tool/tool_test_util.h"

namespace {

using namespace tooltest;
using zttest::RunTool;

std::string Stores(const std::string& file) { return zttest::FixturePath("stores/" + file); }
std::string Scratch(const std::string& name) { return testing::TempDir() + std::to_string(::getpid()) + "-" + name; }
std::string Sha1(const std::string& name) { return OpensslHex(name + ".pem", "-fingerprint -sha1", "Fingerprint"); }

std::string Subject(const std::string& name) {
  return Lines(zttest::CommandOutput("openssl x509 -noout -subject -in " + zttest::ShellQuoted(Cert(name + ".pem"))))[0];
}

TEST(ToolStores, ListsABundleLastStoredFirstWithEachCertificatesFields) {
  const auto list = RunTool({"p7b", "list", Stores("three.p7b")});
  ASSERT_EQ(list.status, 0) << list.err;
  const std::vector<std::string> lines = Lines(list.out);
  ASSERT_EQ(lines.size(), 3u);
  const char* names[] = {"root", "intermediate", "logon"};
  for (std::size_t i = 0; i < 3; ++i) EXPECT_NE(lines[i].find("| sha1: " + Sha1(names[i])), std::string::npos) << lines[i];
  // The PEM armour openssl writes by default is taken off.
  const std::string pem = Scratch("three.pem");
  zttest::CommandOutput("openssl pkcs7 -inform DER -in " + zttest::ShellQuoted(Stores("three.p7b")) + " -out " +
                        zttest::ShellQuoted(pem));
  EXPECT_EQ(RunTool({"p7b", "list", pem}).out, list.out);
  std::remove(pem.c_str());
  EXPECT_EQ(lines[2].rfind("subject: C=DE, O=Example Org, OU=Smart Card, CN=Alice Fixture (logon) | issuer: C=DE, O=Example "
                           "Org, CN=ZT Fixture Issuing CA | serial: 00",
                           0),
            0u)
      << lines[2];
}

TEST(ToolStores, MakesABundleOpensslReadsInTheOrderGiven) {
  const std::string out = Scratch("made.p7b");
  const auto make = RunTool({"p7b", "make", "--out", out, Cert("logon.der"), Cert("chain.pem")});
  ASSERT_EQ(make.status, 0) << make.err;
  const std::string printed =
      zttest::CommandOutput("openssl pkcs7 -inform DER -print_certs -noout -in " + zttest::ShellQuoted(out));
  const std::vector<std::string> chain = Lines(
      zttest::CommandOutput("openssl crl2pkcs7 -nocrl -certfile " + zttest::ShellQuoted(Cert("chain.pem")) +
                            " | openssl pkcs7 -print_certs -noout"),
      "subject=");
  std::vector<std::string> expected{Subject("logon")};
  expected.insert(expected.end(), chain.begin(), chain.end());
  EXPECT_EQ(Lines(printed, "subject="), expected);
  std::remove(out.c_str());
}

TEST(ToolStores, MakesAPfxOpensslReadsAndListsItBack) {
  const std::string out = Scratch("made.p12");
  const auto make = RunTool({"p12", "make", "--out", out, "--cert", Cert("logon.pem"), "--key", Cert("logon.key"),
                             "--chain", Cert("intermediate.der"), "--chain", Cert("root.pem"), "--password-file",
                             Stores("password.txt")});
  ASSERT_EQ(make.status, 0) << make.err;
  const std::string password = "-passin file:" + zttest::ShellQuoted(Stores("password.txt"));
  EXPECT_EQ(Lines(zttest::CommandOutput("openssl pkcs12 -nokeys " + password + " -in " + zttest::ShellQuoted(out)), "subject="),
            (std::vector<std::string>{Subject("logon"), Subject("intermediate"), Subject("root")}));
  EXPECT_EQ(zttest::CommandOutput("openssl pkcs12 -nocerts -nodes " + password + " -in " + zttest::ShellQuoted(out) +
                                  " | openssl rsa -noout -modulus"),
            zttest::CommandOutput("openssl rsa -noout -modulus -in " + zttest::ShellQuoted(Cert("logon.key"))));
  // The password from standard input, which is not a terminal here.
  const auto list = RunTool({"p12", "list", out}, "p\xc3\xa4ssw\xc3\xb6rd 1\n");
  ASSERT_EQ(list.status, 0) << list.err;
  const std::vector<std::string> lines = Lines(list.out);
  ASSERT_EQ(lines.size(), 3u);
  EXPECT_NE(lines[2].find("| sha1: " + Sha1("logon") + " | key: yes"), std::string::npos) << lines[2];
  EXPECT_NE(lines[0].find("| sha1: " + Sha1("root") + " | key: no"), std::string::npos) << lines[0];
  std::remove(out.c_str());
}

TEST(ToolStores, RefusesWrongPasswordsForeignKeysAndPasswordsOnTheCommandLine) {
  const auto wrong = RunTool({"p12", "list", Stores("modern.p12")}, "wrong\n");
  EXPECT_EQ(wrong.status, 2);
  EXPECT_EQ(wrong.err, "ztcrypto: Unable to load the PFX blob (0x56) (ID:4012 (CRYPTO_BAD_AUTH))\n");
  const auto foreign = RunTool({"p12", "make", "--out", Scratch("never.p12"), "--cert", Cert("logon.pem"), "--key",
                                Cert("root.key"), "--password-file", Stores("password.txt")});
  EXPECT_EQ(foreign.status, 1);
  EXPECT_EQ(foreign.err, "ztcrypto: the key is not the certificate's\n");
  EXPECT_EQ(RunTool({"p12", "list", Stores("modern.p12"), "--password", "x"}).status, 64);
  const auto notBundle = RunTool({"p7b", "list", Cert("logon.der")});
  EXPECT_EQ(notBundle.status, 2);
  EXPECT_EQ(notBundle.err,
            "ztcrypto: new CCertP7bStore(pP7bStore) failed: Error deserialize (pkcs7) to store (0x80092009) "
            "(ID:4000 (CRYPTO_BAD_PARAM))\n");
}

}  // namespace
