#include <gtest/gtest.h>

#include "support/tool_runner.h"

namespace {

using zttest::RunTool;

TEST(ToolName, PrintsTextDerAndAttributesFromTextOrDerOrTheLibrarysRefusal) {
  // The DER is the subject that `openssl req -subj "/CN=Test/O=Acme, Inc./C=US"` writes under
  // string_mask = nombstr.
  const auto result = RunTool({"name", "CN=Test, O=\"Acme, Inc.\", C=US"});
  ASSERT_EQ(result.status, 0) << result.err;
  EXPECT_EQ(
      result.out,
      "Name: CN=Test, O=\"Acme, Inc.\", C=US\n"
      "DER: 3031310d300b060355040313045465737431133011060355040a130a41636d652c20496e632e310b3009060355040613025553\n"
      "Attributes: 2.5.4.3, 2.5.4.10, 2.5.4.6\n");
  // From DER: "/CN=Alice+UID=alice/O=Example" as the openssl tool encodes it; reversed, with CR LF.
  const std::string der =
      "30373123300c06035504031305416c6963653013060a0992268993f22c6401011305616c6963653110300e060355040a13074578616d"
      "706c65";
  EXPECT_EQ(RunTool({"name", "--der", der}).out,
            "Name: CN=Alice + OID.0.9.2342.19200300.100.1.1=alice, O=Example\nDER: " + der +
                "\nAttributes: 2.5.4.3, 0.9.2342.19200300.100.1.1, 2.5.4.10\n");
  EXPECT_EQ(RunTool({"name", "--reverse", "--crlf", "--der", der}).out,
            "Name: O=Example\r\nCN=Alice + OID.0.9.2342.19200300.100.1.1=alice\nDER: " + der +
                "\nAttributes: 2.5.4.3, 0.9.2342.19200300.100.1.1, 2.5.4.10\n");

  const auto bad = RunTool({"name", "CN=a,"});
  EXPECT_EQ(bad.status, 2);
  // The inner messages follow the outer one, innermost last.
  EXPECT_EQ(bad.err,
            "ztcrypto: new CX500Name() failed: Error encoding the blob (0x80092023) (ID:4000 (CRYPTO_BAD_PARAM))\n");
  EXPECT_EQ(RunTool({"name", "--der", "3003"}).status, 2);
}

// oid translates both ways; decode prints the rendering exactly.
TEST(ToolOidAndDecode, TranslateBothWaysAndPrintTheRenderingExactly) {
  EXPECT_EQ(RunTool({"oid", "1.3.6.1.4.1.311.20.2.2"}).out, "Smart Card Logon\n");
  EXPECT_EQ(RunTool({"oid", "Smart Card Logon"}).out, "1.3.6.1.4.1.311.20.2.2\n");
  EXPECT_EQ(RunTool({"decode", "2.5.29.19", "30060101ff020100"}).out,
            "[Basic Constraints]\r\nSubject Type=CA\r\nPath Length Constraint=0\r\n\r\n");
  const auto bad = RunTool({"decode", "2.5.29.19", "30040102ff00"});
  EXPECT_EQ(bad.status, 2);
  EXPECT_EQ(bad.err,
            "ztcrypto: DecodeObject() failed: Error decoding the blob (0x80093103) (ID:4000 (CRYPTO_BAD_PARAM))\n");
}

}  // namespace
