// The tool's encrypt, decrypt, cmac and rsa-encrypt against the openssl tool, and their errors.
#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <iterator>

#include "support/command.h"
#include "support/hex.h"
#include "support/tool_runner.h"

namespace {

using zttest::RunTool;

std::string Openssl(const std::string& arguments, const std::string& input) {
  const auto out = zttest::OpensslOutput(arguments, std::vector<unsigned char>(input.begin(), input.end()));
  return std::string(out.begin(), out.end());
}

std::string Hex(const std::string& bytes) {
  return zttest::ToHex(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size());
}

std::string Message(std::size_t size) {
  std::string message(size, '\0');
  for (std::size_t i = 0; i < size; ++i) message[i] = static_cast<char>(i * 37 + 11);
  return message;
}

// The same key, IV and padding give openssl enc's bytes, and decrypt gives the message back.
TEST(ToolCipher, EncryptEqualsOpensslEncAndDecryptInvertsIt) {
  struct Case {
    std::string alg, mode, key, iv, padding, openssl;
  };
  const Case cases[] = {
      {"AES", "CBC", "000102030405060708090a0b0c0d0e0f", "0f0e0d0c0b0a09080706050403020100", "", "-aes-128-cbc"},
      {"AES", "CBC", std::string(48, 'a'), std::string(32, '1'), "PKCS7", "-aes-192-cbc"},
      {"AES", "ECB", std::string(64, '7'), "", "None", "-aes-256-ecb -nopad"},
      {"DES", "CBC", "0123456789abcdef", "1234567890abcdef", "PKCS7", "-des-cbc -provider legacy -provider default"},
      {"3DES", "CBC", "0123456789abcdef23456789abcdef01456789abcdef0123", "0001020304050607", "",
       "-des-ede3-cbc"},
      {"3DES", "ECB", "0123456789abcdef23456789abcdef01", "", "None", "-des-ede -nopad"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.openssl);
    const bool unpadded = c.padding == "None";
    const std::string message = Message(unpadded ? 48 : 45);
    std::vector<std::string> encrypt = {"encrypt", "--alg", c.alg, "--mode", c.mode, "--key", c.key};
    if (!c.iv.empty()) encrypt.insert(encrypt.end(), {"--iv", c.iv});
    if (!c.padding.empty()) encrypt.insert(encrypt.end(), {"--padding", c.padding});
    std::vector<std::string> decrypt = encrypt;
    decrypt[0] = "decrypt";

    const auto sealed = RunTool(encrypt, message);
    ASSERT_EQ(sealed.status, 0) << sealed.err;
    const std::string ivOption = c.iv.empty() ? "" : " -iv " + c.iv;
    const std::string expected = Openssl("enc " + c.openssl + " -K " + c.key + ivOption + " -in {in} -out {out}", message);
    ASSERT_FALSE(expected.empty());
    EXPECT_EQ(Hex(sealed.out), Hex(expected));
    const auto opened = RunTool(decrypt, sealed.out);
    ASSERT_EQ(opened.status, 0) << opened.err;
    EXPECT_EQ(opened.out, message);
  }
}

TEST(ToolCipher, WritesToAFileAndReadsOne) {
  const std::string dir = testing::TempDir(), in = dir + "zt_tool_plain", out = dir + "zt_tool_sealed";
  std::ofstream(in, std::ios::binary) << "file contents";
  const std::string key(32, '0');
  const auto result = RunTool({"encrypt", "--alg", "AES", "--mode", "ECB", "--key", key, "--out", out, in});
  ASSERT_EQ(result.status, 0) << result.err;
  EXPECT_TRUE(result.out.empty());
  std::ifstream written(out, std::ios::binary);
  const std::string sealed((std::istreambuf_iterator<char>(written)), std::istreambuf_iterator<char>());
  EXPECT_EQ(sealed.size(), 16u);
  EXPECT_EQ(RunTool({"decrypt", "--alg", "AES", "--mode", "ECB", "--key", key, out}).out, "file contents");
  std::remove(in.c_str());
  std::remove(out.c_str());
}

// One line on stderr, exit status 2, naming what was wrong and the library's innermost cause.
TEST(ToolCipher, WrongKeyIVOrPaddingIsOneLineWithStatus2) {
  const std::string key16 = std::string(32, '0'), iv16 = std::string(32, '0');
  const struct {
    std::vector<std::string> args;
    std::string input, line;
  } cases[] = {
      {{"encrypt", "--alg", "AES", "--mode", "CBC", "--key", "00112233", "--iv", iv16}, "x",
       "ztcrypto: --key: AES takes 16, 24 or 32 bytes, not 4: Cipher failed: BCryptImportKey failed! "
       "(ID:4004 (CRYPTO_INTERNAL_ERROR))\n"},
      {{"decrypt", "--alg", "DES", "--mode", "CBC", "--key", "0011223344556677", "--iv", iv16}, "12345678",
       "ztcrypto: --iv: DES in CBC takes 8 bytes, not 16: Cipher failed: BCryptEncrypt failed! "
       "(ID:4004 (CRYPTO_INTERNAL_ERROR))\n"},
      {{"encrypt", "--alg", "AES", "--mode", "CBC", "--key", key16, "--padding", "PKCS5"}, "x",
       "ztcrypto: Cipher failed: Unsupported padding (ID:4007 (CRYPTO_NO_SUCH_PADDING))\n"},
      {{"encrypt", "--alg", "AES", "--mode", "ECB", "--key", key16, "--padding", "None"}, "seventeen bytes!!",
       "ztcrypto: Cipher failed: Data to Encrypt Length is invalid (ID:4000 (CRYPTO_BAD_PARAM))\n"},
      {{"decrypt", "--alg", "AES", "--mode", "ECB", "--key", key16}, std::string(16, 'x'),
       "ztcrypto: Cipher failed: BCryptEncrypt - BCryptDecrypt failed! (ID:4004 (CRYPTO_INTERNAL_ERROR))\n"},
      {{"encrypt", "--alg", "AES", "--mode", "CTR", "--key", key16}, "x",
       "ztcrypto: Cipher failed: Unsupported cipher mode (ID:4006 (CRYPTO_NO_SUCH_ALGORITHM))\n"},
  };
  for (const auto& c : cases) {
    const auto result = RunTool(c.args, c.input);
    EXPECT_EQ(result.status, 2);
    EXPECT_EQ(result.err, c.line);
    EXPECT_TRUE(result.out.empty());
  }
  EXPECT_EQ(RunTool({"encrypt", "--alg", "RC4", "--mode", "CBC", "--key", key16}).status, 64);
}

TEST(ToolCipher, CmacPrintsHex) {
  // RFC 4493 example 2, and SP 800-38B's three-key TDEA example with the empty message.
  EXPECT_EQ(RunTool({"cmac", "--key", "2b7e151628aed2a6abf7158809cf4f3c"},
                    zttest::FromHex<std::string>("6bc1bee22e409f96e93d7e117393172a"))
                .out,
            "070a16b46b4d4144f79bdd9dd04a287c\n");
  EXPECT_EQ(RunTool({"cmac", "--alg", "3DES", "--key", "8aa83bf8cbda10620bc1bf19fbb6cd58bc313d4a371ca8b5", "-"}).out,
            "b7a688e122ffaf95\n");
}

TEST(ToolCipher, RsaEncryptDecryptsWithTheOpensslTool) {
  const std::string key = zttest::FixturePath("rsa/rsa2048.pub.pem"), privateKey = zttest::FixturePath("rsa/rsa2048.key.pem");
  const std::string oaep = " -pkeyopt rsa_padding_mode:oaep -pkeyopt rsa_oaep_md:sha1";
  const auto pkcs1 = RunTool({"rsa-encrypt", "--key", key}, "for your eyes only");
  ASSERT_EQ(pkcs1.status, 0) << pkcs1.err;
  EXPECT_EQ(Openssl("pkeyutl -decrypt -inkey " + privateKey + " -in {in} -out {out}", pkcs1.out), "for your eyes only");
  const auto labelled = RunTool({"rsa-encrypt", "--key", key, "--padding", "OAEP", "--label", "0102"}, "labelled");
  EXPECT_EQ(Openssl("pkeyutl -decrypt -inkey " + privateKey + oaep + " -pkeyopt rsa_oaep_label:0102 -in {in} -out {out}",
                    labelled.out),
            "labelled");
  // A certificate's key (DER), and a message too long for PKCS #1 with a 2048-bit key.
  const auto certificate = RunTool({"rsa-encrypt", "--key", zttest::FixturePath("certs/logon.der")}, "x");
  EXPECT_EQ(Openssl("pkeyutl -decrypt -inkey " + zttest::FixturePath("certs/logon.key") + " -in {in} -out {out}",
                    certificate.out),
            "x");
  const auto tooLong = RunTool({"rsa-encrypt", "--key", key}, std::string(246, 'a'));
  EXPECT_EQ(tooLong.status, 2);
  EXPECT_EQ(tooLong.err, "ztcrypto: Cipher failed: Data to Encrypt Length is invalid (ID:4000 (CRYPTO_BAD_PARAM))\n");
}

}  // namespace
