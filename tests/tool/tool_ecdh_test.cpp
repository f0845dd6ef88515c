// The ecdh and kdf commands against the openssl command: the agreement's secret with the openssl
// tool's fixture key, and the SP 800-56A derivation against its SSKDF.
#include <gtest/gtest.h>

#include <regex>
#include <string>

#include "support/command.h"
#include "support/ecdh_vectors.h"
#include "support/hex.h"
#include "support/sections.h"
#include "support/tool_runner.h"

namespace {

using zttest::kEcdhCurves;
using zttest::RunTool;

const char* CurveOption(const zttest::EcdhCurve& curve) {
  return curve.bits == 256 ? "P256" : curve.bits == 384 ? "P384" : "P521";
}

// genkey prints a new uncompressed point each time. agree prints its new point, and the openssl
// tool's key reaches the same secret: the SHA-1 of what `openssl pkeyutl -derive` agrees with it.
TEST(ToolEcdh, GenkeyAndAgreePrintNewPointsAndTheSecretOpensslAgreesWithOrRefuse) {
  for (const auto& curve : kEcdhCurves) {
    SCOPED_TRACE(curve.name);
    const auto first = RunTool({"ecdh", "genkey", "--curve", CurveOption(curve)});
    ASSERT_EQ(first.status, 0) << first.err;
    EXPECT_TRUE(std::regex_match(first.out, std::regex("04[0-9a-f]{" + std::to_string(4 * curve.coordinate) + "}\n")))
        << first.out;
    EXPECT_NE(RunTool({"ecdh", "genkey", "--curve", CurveOption(curve)}).out, first.out);

    const auto result = RunTool({"ecdh", "agree", "--curve", CurveOption(curve), "--peer",
                                 zttest::ToHex(zttest::FixturePoint(curve))});
    ASSERT_EQ(result.status, 0) << result.err;
    std::smatch match;
    ASSERT_TRUE(std::regex_match(result.out, match, std::regex("Public key: (04[0-9a-f]+)\nSecret: ([0-9a-f]{40})\n")))
        << result.out;
    const auto point = zttest::FromHex<std::vector<unsigned char>>(match[1].str());
    EXPECT_EQ(zttest::OpensslAgreementHash(curve, point), match[2].str());
  }

  // Points off the curve or of another curve, unknown curves and bad usage.
  std::string offCurve = zttest::ToHex(zttest::FixturePoint(kEcdhCurves[0]));
  offCurve.back() = offCurve.back() == '0' ? '1' : '0';
  const auto refused = RunTool({"ecdh", "agree", "--curve", "P256", "--peer", offCurve});
  EXPECT_EQ(refused.status, 2);
  EXPECT_EQ(refused.out, "");
  EXPECT_EQ(refused.err,
            "ztcrypto: new CCNGECPublicKey() failed: BCryptImportKeyPair failed! (ID:4004 (CRYPTO_INTERNAL_ERROR))\n");
  // A P-384 point is no P-256 point.
  EXPECT_EQ(RunTool({"ecdh", "agree", "--curve", "P256", "--peer", zttest::ToHex(zttest::FixturePoint(kEcdhCurves[1]))})
                .status,
            2);
  for (const std::vector<std::string>& args :
       {std::vector<std::string>{"ecdh"}, {"ecdh", "genkey"}, {"ecdh", "genkey", "--curve", "P224"},
        {"ecdh", "agree", "--curve", "P256"}, {"ecdh", "export", "--curve", "P256"}, {"kdf", "800-56a", "--secret", "00"},
        {"kdf", "hkdf"}}) {
    EXPECT_EQ(RunTool(args).status, 64) << args.back();
  }
}

// RFC 7518's example, and lengths around the block size against `openssl kdf ... SSKDF`.
TEST(ToolKdf, Sp80056AEqualsThePublishedKeyAndOpensslsSskdf) {
  auto v = zttest::ReadVector("ec/vectors.txt", "rfc7518-ecdh-es");
  EXPECT_EQ(RunTool({"kdf", "800-56a", "--secret", v["z"], "--other-info", v["otherinfo"], "--length", "16"}).out,
            v["key"] + "\n");
  for (const char* length : {"32", "33", "100"}) {
    std::string expected;
    for (char c : zttest::CommandOutput("openssl kdf -keylen " + std::string(length) + " -kdfopt digest:SHA256 -kdfopt hexkey:" +
                                        v["z"] + " -kdfopt hexinfo:" + v["otherinfo"] + " SSKDF 2>/dev/null"))
      if (std::isxdigit(static_cast<unsigned char>(c))) expected += static_cast<char>(std::tolower(c));
    ASSERT_EQ(expected.size(), 2 * std::stoul(length));
    EXPECT_EQ(RunTool({"kdf", "800-56a", "--secret", v["z"], "--other-info", v["otherinfo"], "--length", length}).out,
              expected + "\n");
  }
}

}  // namespace
