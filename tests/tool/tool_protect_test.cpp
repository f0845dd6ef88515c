// The tool's protect and unprotect, with the user's real secret (the tool, like the library,
// takes no other place), and what it says when the machine's secret is missing or cannot be made.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <memory>

#include "dataprotection/dpapi_test_util.h"
#include "support/tool_runner.h"

namespace {

using namespace ZT::Framework;
using zttest::RunTool;

const std::string kMessage = std::string("a line to keep\n\0and binary after it", 36);

TEST(ToolProtect, RoundTripsForTheUserWithEntropyAndDescriptionAndTheCipherOpensIt) {
  const auto sealed = RunTool({"protect", "--entropy", "00ff", "--description", "d\xc3\xa9j\xc3\xa0 vu"}, kMessage);
  ASSERT_EQ(sealed.status, 0) << sealed.err;
  const auto opened = RunTool({"unprotect", "--entropy", "00ff", "-"}, sealed.out);
  ASSERT_EQ(opened.status, 0) << opened.err;
  EXPECT_EQ(opened.out, kMessage);
  EXPECT_EQ(opened.err, "Description: d\xc3\xa9j\xc3\xa0 vu\n");

  const auto wrong = RunTool({"unprotect", "--entropy", "00fe"}, sealed.out);
  EXPECT_EQ(wrong.status, 2);
  EXPECT_EQ(wrong.out, "");
  EXPECT_EQ(wrong.err, "ztcrypto: CryptUnprotectData failed (0xd) (ID:4004 (CRYPTO_INTERNAL_ERROR))\n");
  EXPECT_EQ(RunTool({"unprotect"}, sealed.out).status, 2);  // no entropy is another entropy

  // --out, and a file operand.
  const std::string path = testing::TempDir() + "zt_protect_" + std::to_string(getpid());
  ASSERT_EQ(RunTool({"protect", "--out", path}, kMessage).status, 0);
  const auto fromFile = RunTool({"unprotect", path});
  std::remove(path.c_str());
  EXPECT_EQ(fromFile.out, kMessage);
  EXPECT_EQ(fromFile.err, "");

  // What the tool protects, the DPAPI cipher opens.
  const auto plain = RunTool({"protect"}, kMessage);
  ASSERT_EQ(plain.status, 0) << plain.err;
  const auto key = dpapitest::StoreKey(L"User");
  const std::unique_ptr<Cipher> cipher(Cipher::Create(dpapitest::Algorithm(L"DPAPI").get(), nullptr));
  cipher->Init(CIPHER_DECRYPT_MODE, key.get());
  ByteArray out;
  cipher->DoFinal(ByteArray(plain.out.begin(), plain.out.end()), out);
  EXPECT_EQ(std::string(out.begin(), out.end()), kMessage);
}

TEST(ToolProtect, MachineScopeNeedsTheAdministratorsSecret) {
  const std::string path = "/var/lib/ztcrypto/machine.secret";
  if (IDataProtection::HasMachineSecret()) {
    const auto sealed = RunTool({"protect", "--machine"}, kMessage);
    ASSERT_EQ(sealed.status, 0) << sealed.err;
    EXPECT_EQ(RunTool({"unprotect"}, sealed.out).out, kMessage);
  } else {
    const auto refused = RunTool({"protect", "--machine"}, kMessage);
    EXPECT_EQ(refused.status, 1);
    EXPECT_EQ(refused.err, "ztcrypto: this machine has no usable data-protection secret (" + path +
                               "): an administrator creates it once with 'ztcrypto protect --init-machine'\n");
  }

  // Without the rights (as an ordinary user, which root can become for the test), the secret is
  // not made: the error names its place and the code.
  const bool root = zttest::RunsAsRoot();
  const auto init = RunTool({"protect", "--init-machine"}, "", root ? 65534 : -1);
  if (init.status == zttest::kToolUnreachable)
    GTEST_SKIP() << "uid 65534 cannot reach the tool in this build tree (a checkout in a private directory)";
  if (IDataProtection::HasMachineSecret()) {
    EXPECT_EQ(init.status, 0) << init.err;
    EXPECT_EQ(init.out, path + " exists already\n");
  } else {
    EXPECT_EQ(init.status, 2);
    EXPECT_EQ(init.err, "ztcrypto: Unable to create the machine secret " + path +
                            " (0x5) (ID:4004 (CRYPTO_INTERNAL_ERROR))\n");
  }
}

}  // namespace
