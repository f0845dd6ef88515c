// The checks engines turn platform results into failures with.
#include <string>
#include <vector>

#include "cng/crypto.cng.status.h"
#include "engine_test_util.h"
#include "support/log_capture.h"

namespace {

using namespace enginetest;
using zttest::LogCapture;

TEST(StatusChecks, FailureStatusIsLoggedInUnsignedHexAndRaised) {
  const FunctionTrace fn(L"Engine::Step");
  CheckStatus(fn, STATUS_SUCCESS, L"BCryptHashData", L"BCryptHashData failed");
  LogCapture capture(NQLOG_ERROR);
  const auto e = Thrown([&] { CheckStatus(fn, STATUS_NOT_FOUND, L"BCryptOpenAlgorithmProvider", L"open failed!"); });
  ASSERT_TRUE(e);
  EXPECT_EQ(e->getID(), CRYPTO_INTERNAL_ERROR);
  EXPECT_EQ(e->getMessage(), L"open failed!");
  EXPECT_EQ(e->getFilename(), L"tests/engines/status_test");
  EXPECT_EQ(capture.At(NQLOG_ERROR),
            std::vector<std::wstring>{L"Engine::Step : Error 0xc0000225 returned by BCryptOpenAlgorithmProvider"});
}

TEST(StatusChecks, CryptoApiFailureReportsTheLastError) {
  const FunctionTrace fn(L"Engine::Step");
  LogCapture capture(NQLOG_ERROR);
  SetLastError(0x80090016);  // NTE_BAD_KEYSET
  const auto e = Thrown([&] { CheckLastError(fn, FALSE, L"CryptAcquireContext", L"CryptAcquireContext failed", CRYPTO_UNKNOWN_ERROR); });
  ASSERT_TRUE(e);
  EXPECT_EQ(e->getID(), CRYPTO_UNKNOWN_ERROR);
  EXPECT_EQ(capture.At(NQLOG_ERROR),
            std::vector<std::wstring>{L"Engine::Step : Error 0x80090016 returned by CryptAcquireContext"});
}

TEST(StatusChecks, WrapAsGivesItsOwnIdAndKeepsTheCause) {
  const FunctionTrace fn(L"Engine::Step");
  auto* cause = new CCryptoException(L"x", 1, L"bad map", CRYPTO_BAD_PARAM, nullptr);
  const auto e = Thrown([&] { WrapAs(fn, CRYPTO_INTERNAL_ERROR, L"Error while parsing parameters", [&] { throw cause; }); });
  ASSERT_TRUE(e);
  EXPECT_EQ(e->getID(), CRYPTO_INTERNAL_ERROR);
  EXPECT_EQ(e->getMessage(), L"Error while parsing parameters");
  EXPECT_EQ(e->getInnerException(), cause);
}

}  // namespace
