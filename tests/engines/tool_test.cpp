// The engine commands of the ztcrypto tool, against the openssl command on the same inputs.
#include <gtest/gtest.h>

#include <unistd.h>

#include <cctype>
#include <cstdio>
#include <fstream>
#include <regex>
#include <string>

#include "support/command.h"
#include "support/tool_runner.h"

namespace {

using zttest::RunTool;

// What the openssl command prints for `arguments` (a shell word list), as lower-case hex without
// separators.
std::string OpensslHex(const std::string& arguments) {
  std::string hex;
  for (char c : zttest::CommandOutput("openssl " + arguments + " 2>/dev/null"))
    if (std::isxdigit(static_cast<unsigned char>(c))) hex += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return hex;
}

// A file holding `content` for the length of a test.
class TempFile {
 public:
  explicit TempFile(const std::string& content) : m_path(testing::TempDir() + "zt_tool_" + std::to_string(getpid())) {
    std::ofstream(m_path, std::ios::binary) << content;
  }
  ~TempFile() { std::remove(m_path.c_str()); }
  const std::string& Path() const { return m_path; }

 private:
  std::string m_path;
};

std::string Line(const std::string& hex) { return hex + "\n"; }

// Standard input ("-" or no file) and a file; the algorithms' answers are the library's tests'.
TEST(ToolDigest, ReadsStdinOrAFileAndEqualsOpenssl) {
  EXPECT_EQ(RunTool({"digest", "SHA256", "-"}, "abc").out,
            Line("ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad"));
  EXPECT_EQ(RunTool({"digest", "MD5"}, "message digest").out, Line("f96b697d7cb7938d525a2f31aaf161d0"));
  std::string content;
  for (int i = 0; i < 5000; ++i) content += static_cast<char>(i * 7 + i / 13);
  const TempFile file(content);
  for (const auto& [ours, theirs] : {std::pair{"SHA1", "-sha1"}, std::pair{"SHA256", "-sha256"},
                                     std::pair{"SHA384", "-sha384"}, std::pair{"SHA512", "-sha512"}}) {
    const std::string expected = OpensslHex(std::string("dgst ") + theirs + " -r '" + file.Path() + "' | cut -d' ' -f1");
    ASSERT_FALSE(expected.empty());
    EXPECT_EQ(RunTool({"digest", ours, file.Path()}).out, Line(expected)) << ours;
  }
}

// The key as hex; the data from standard input (HMAC_SHA256) or a file (HMAC_SHA1).
TEST(ToolHmac, EqualsOpensslOnStdinAndOnAFile) {
  const std::string data = "what do ya want for nothing?";
  const TempFile file(data);
  for (const auto& [ours, digest] : {std::pair{"HMAC_SHA256", "SHA256"}, std::pair{"HMAC_SHA1", "SHA1"}}) {
    const std::string expected =
        OpensslHex(std::string("mac -digest ") + digest + " -macopt hexkey:4a656665 -in '" + file.Path() + "' HMAC");
    ASSERT_FALSE(expected.empty());
    const bool fromStdin = std::string(ours) == "HMAC_SHA256";
    const auto result = fromStdin ? RunTool({"hmac", ours, "--key", "4a656665"}, data)
                                  : RunTool({"hmac", ours, "--key", "4a656665", file.Path()});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.out, Line(expected)) << ours;
  }
}

// Options in both spellings ("--x v" and "--x=v"); the defaults are 10000 iterations of HMAC-SHA256.
TEST(ToolPbkdf2, OptionsInBothFormsAndDefaultsAsOpenssl) {
  EXPECT_EQ(RunTool({"pbkdf2", "--password=password", "--salt=73616c74", "--length=20", "--iterations=4096",
                     "--prf=HMAC_SHA1"})
                .out,
            Line("4b007901b765489abead49d926f721d065a429c1"));
  const std::string expected =
      OpensslHex("kdf -keylen 48 -kdfopt digest:SHA256 -kdfopt pass:correct-horse -kdfopt hexsalt:0011223344556677 "
                 "-kdfopt iter:10000 PBKDF2");
  ASSERT_EQ(expected.size(), 96u);
  EXPECT_EQ(RunTool({"pbkdf2", "--password", "correct-horse", "--salt", "0011223344556677", "--length", "48"}).out,
            Line(expected));
}

TEST(ToolRandom, RandomGuidAndKeysHaveTheirShapes) {
  const auto random = RunTool({"random", "16"});
  EXPECT_TRUE(std::regex_match(random.out, std::regex("[0-9a-f]{32}\n"))) << random.out;
  EXPECT_NE(random.out, RunTool({"random", "16"}).out);
  EXPECT_EQ(RunTool({"random", "0"}).out, "\n");

  const auto guid = RunTool({"guid"});
  EXPECT_TRUE(std::regex_match(guid.out, std::regex(R"(\{[0-9A-F]{8}-[0-9A-F]{4}-4[0-9A-F]{3}-[89AB][0-9A-F]{3}-[0-9A-F]{12}\}\n)")))
      << guid.out;

  const auto key = RunTool({"genkey", "24", "--algorithm", "3DES"});
  EXPECT_TRUE(std::regex_match(key.out, std::regex("[0-9a-f]{48}\n"))) << key.out;
}

TEST(ToolErrors, LibraryRefusalsAndBadUsage) {
  for (const auto& [args, message] :
       {std::pair<std::vector<std::string>, std::string>{{"digest", "sha256"}, "Unsupported algorithm"},
        {{"hmac", "HMAC_SHA384", "--key", "00"}, "Unknown algorithm"}}) {
    const auto result = RunTool(args, "abc");
    EXPECT_EQ(result.status, 2);
    EXPECT_EQ(result.err, "ztcrypto: " + message + " (ID:4006 (CRYPTO_NO_SUCH_ALGORITHM))\n");
  }
  EXPECT_EQ(RunTool({"hmac", "HMAC_SHA256"}, "abc").status, 64) << "--key is required";
  EXPECT_EQ(RunTool({"pbkdf2", "--password", "p", "--salt", "zz", "--length", "4"}).status, 64);
  EXPECT_EQ(RunTool({"random", "4294967296"}).status, 64);
}

}  // namespace
