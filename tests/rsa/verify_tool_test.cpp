// ztcrypto verify, on the openssl tool's signatures.
#include <string>
#include <vector>

#include "rsa_test_util.h"

namespace {

using namespace rsatest;
using zttest::RunTool;
using zttest::ToolResult;

ToolResult Verify(const std::string& key, const std::string& padding, const std::string& signature,
                  const std::vector<std::string>& more, const std::string& data, const std::string& stdinText = "") {
  std::vector<std::string> args{"verify", "--key",       FixtureFile(key),      "--padding",
                                padding,  "--signature", FixtureFile(signature)};
  args.insert(args.end(), more.begin(), more.end());
  args.push_back(data == "-" ? data : FixtureFile(data));
  return RunTool(args, stdinText);
}

void ExpectAnswer(const ToolResult& r, bool valid) {
  EXPECT_EQ(r.status, valid ? 0 : 1) << r.err;
  EXPECT_EQ(r.out, valid ? "valid\n" : "invalid\n");
}

// With --hash the tool hashes the data into the padding's input; without, it takes the data as it is.
TEST(ToolVerify, VerifiesEachPaddingWithOrWithoutHash) {
  for (const std::string hash : {"MD5", "SHA1", "SHA256", "SHA384", "SHA512"}) {
    std::string lower = hash;
    for (char& c : lower) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    ExpectAnswer(Verify("rsa2048.pub.der", "PKCS1", "data." + lower + ".sig", {"--hash", hash}, "data.txt"), true);
  }
  ExpectAnswer(Verify("rsa2048.pub.pem", "PKCS1", "data.sha256.sig", {"--hash", "SHA256"}, "data.txt"), true);
  ExpectAnswer(Verify("rsa2048.pub.der", "PKCS1", "data.sha256.sig", {"--hash", "SHA256"}, "other.txt"), false);
  // The complement form of X9.31 is the library's answer, checked in the signature tests.
  ExpectAnswer(Verify("rsa2048.pub.der", "X_931", "x931.direct.sig", {"--hash=SHA256"}, "x931.direct.txt"), true);
  ExpectAnswer(Verify("rsa2048.pub.der", "None", "block.none.sig", {}, "block.bin"), true);

  const ByteArray digestInfo = DigestInfo("sha256", Fixture("data.txt"));
  ExpectAnswer(
      Verify("rsa2048.pub.der", "PKCS1", "data.sha256.sig", {}, "-", std::string(digestInfo.begin(), digestInfo.end())),
      true);
  ExpectAnswer(Verify("rsa2048.pub.der", "PKCS1", "data.sha256.sig", {}, "data.txt"), false);
}

TEST(ToolVerify, ReportsUsageAndLibraryErrors) {
  EXPECT_EQ(Verify("rsa2048.pub.der", "OAEP", "data.sha256.sig", {}, "data.txt").status, 64);
  EXPECT_EQ(Verify("rsa2048.pub.der", "X_931", "data.sha256.sig", {"--hash", "MD5"}, "data.txt").status, 64);
  EXPECT_EQ(Verify("rsa2048.pub.der", "PKCS1", "data.sha256.sig", {"--hash", "SHA224"}, "data.txt").status, 64);
  EXPECT_EQ(
      RunTool({"verify", "--padding", "PKCS1", "--signature", FixtureFile("data.sha256.sig"), FixtureFile("data.txt")})
          .status,
      64);

  const ToolResult ec = Verify("ec256.pub.der", "PKCS1", "data.sha256.sig", {"--hash", "SHA256"}, "data.txt");
  EXPECT_EQ(ec.status, 2);
  EXPECT_EQ(ec.err, "ztcrypto: new CCNGRSAPublicKey() failed: Only RSA keys are supported (ID:4002 (CRYPTO_NOT_SUPPORTED))\n");
  const ToolResult x931 = Verify("rsa2048.pub.der", "X_931", "x931.direct.sig", {}, "x931.direct.txt");
  EXPECT_EQ(x931.status, 2);
  EXPECT_EQ(x931.err, "ztcrypto: Padding X9.31 but no Hash Algid in params (ID:4000 (CRYPTO_BAD_PARAM))\n");
}

}  // namespace
