#include <gtest/gtest.h>

#include "tool/tool_test_util.h"

namespace {

using tooltest::Lines;
using zttest::RunTool;

TEST(ToolAlgorithms, ListsTheTableInOrderAndResolvesByNameAndByOID) {
  const auto result = RunTool({"algorithms"});
  ASSERT_EQ(result.status, 0) << result.err;
  const auto lines = Lines(result.out);
  ASSERT_EQ(lines.size(), 26u);
  EXPECT_EQ(lines.front(), "RSA             1.2.840.113549.1.1.1");
  EXPECT_EQ(lines[12], "CMAC            Unknown OID");
  EXPECT_EQ(lines.back(), "DPAPI           Unknown OID");
  // One row, by name or by OID; an OID outside the table names itself.
  EXPECT_EQ(RunTool({"algorithm", "SHA256"}).out, "SHA256          2.16.840.1.101.3.4.2.1\n");
  EXPECT_EQ(RunTool({"algorithm", "2.16.840.1.101.3.4.2.1"}).out, "SHA256          2.16.840.1.101.3.4.2.1\n");
  const auto unknown = RunTool({"algorithm", "1.2.3.4"});
  EXPECT_EQ(unknown.status, 0);
  EXPECT_EQ(unknown.out, "1.2.3.4         1.2.3.4\n");
}

TEST(ToolUsage, BadUsageEndsWithStatus64AndAUsageLine) {
  const std::string cert = tooltest::Cert("logon.der");
  for (const std::vector<std::string>& args :
       {std::vector<std::string>{}, {"algorithm"}, {"algorithm", "a", "b"}, {"nosuchcommand"}, {"algorithms", "--x"},
        {"--trace=3", "algorithms"}, {"cert"}, {"cert", "show", cert}, {"cert", "verify", cert} /* no --issuer */,
        {"cert", "trust", "--timeout", "soon", cert}, {"name"}, {"name", "--der", "zz"},
        {"unprotect", "--entropy", "0"}, {"protect", "--init-machine", "--machine"}}) {
    const auto result = RunTool(args);
    EXPECT_EQ(result.status, 64) << testing::PrintToString(args);
    EXPECT_NE(result.err.find("usage: ztcrypto"), std::string::npos) << result.err;
  }
}

// A library exception ends the tool with status 2 and one line; --trace adds the library's lines.
TEST(ToolTrace, TraceSendsLibraryLinesToStderr) {
  const auto quiet = RunTool({"algorithm", "sha256"});
  EXPECT_EQ(quiet.status, 2);
  EXPECT_EQ(quiet.out, "");
  EXPECT_EQ(quiet.err, "ztcrypto: Unsupported algorithm (ID:4006 (CRYPTO_NO_SUCH_ALGORITHM))\n");
  const auto traced = RunTool({"--trace", "algorithm", "sha256"});
  EXPECT_EQ(traced.status, 2);
  EXPECT_NE(traced.err.find("[CRYPTO:8] IAlgorithm::CreateFromFriendlyName\n"), std::string::npos) << traced.err;
  EXPECT_NE(traced.err.find("[CRYPTO:1] IAlgorithm::CreateFromFriendlyName : Unsupported algorithm: sha256\n"),
            std::string::npos);
  EXPECT_NE(traced.err.find("[CRYPTO:16] IAlgorithm::CreateFromFriendlyName Returns Unsupported algorithm\n"),
            std::string::npos);
  const auto errorsOnly = RunTool({"--trace=1", "algorithm", "sha256"});
  EXPECT_EQ(errorsOnly.err.find("[CRYPTO:8]"), std::string::npos);
  EXPECT_NE(errorsOnly.err.find("[CRYPTO:1]"), std::string::npos);
}

}  // namespace
