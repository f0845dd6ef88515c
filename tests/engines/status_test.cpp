// The checks engines turn platform results into failures with.
#include <string>
#include <vector>

#include "cng/crypto.cng.status.h"
#include "engine_test_util.h"
#include "support/log_capture.h"

namespace {

using namespace enginetest;
using zttest::LogCapture;

// A status or a last error is logged in unsigned hex; the failure is raised from the caller's file.
TEST(StatusChecks, FailuresAreLoggedInUnsignedHexAndRaised) {
  const FunctionTrace fn(L"Engine::Step");
  CheckStatus(fn, STATUS_SUCCESS, L"BCryptHashData", L"BCryptHashData failed");
  LogCapture capture(NQLOG_ERROR);
  const auto e = Thrown([&] { CheckStatus(fn, STATUS_NOT_FOUND, L"BCryptOpenAlgorithmProvider", L"open failed!"); });
  ExpectFailure(e, CRYPTO_INTERNAL_ERROR, L"open failed!");
  ASSERT_TRUE(e);
  EXPECT_EQ(e->getFilename(), L"tests/engines/status_test");
  SetLastError(0x80090016);  // NTE_BAD_KEYSET
  ExpectFailure(
      Thrown([&] { CheckLastError(fn, FALSE, L"CryptAcquireContext", L"CryptAcquireContext failed", CRYPTO_UNKNOWN_ERROR); }),
      CRYPTO_UNKNOWN_ERROR, L"CryptAcquireContext failed");
  EXPECT_EQ(capture.At(NQLOG_ERROR),
            (std::vector<std::wstring>{L"Engine::Step : Error 0xc0000225 returned by BCryptOpenAlgorithmProvider",
                                       L"Engine::Step : Error 0x80090016 returned by CryptAcquireContext"}));
}

}  // namespace
