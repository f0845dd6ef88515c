#include <gtest/gtest.h>

#include <memory>

#include "framework/crypto.trace.h"
#include "support/log_capture.h"
#include "support/thrown.h"
#include "zt/crypto.h"

namespace {

using namespace ZT::Framework;
using zttest::ExpectFailure;
using zttest::LogCapture;
using zttest::Thrown;

WString IdText(std::uint64_t id) {
  return CCryptoException(L"f", 1, L"m", static_cast<CryptoExceptionId>(id), nullptr).StringFromId();
}

TEST(CCryptoException, StringFromIdNamesEveryIdAndTheUnknownOnes) {
  const wchar_t* const names[] = {
      L"CRYPTO_BAD_PARAM",       L"CRYPTO_NOT_IMPLEMENTED", L"CRYPTO_NOT_SUPPORTED",    L"CRYPTO_UNKNOWN_ERROR",
      L"CRYPTO_INTERNAL_ERROR",  L"CRYPTO_NOT_P12",         L"CRYPTO_NO_SUCH_ALGORITHM", L"CRYPTO_NO_SUCH_PADDING",
      L"CRYPTO_INVALID_KEY",     L"CRYPTO_ILLEGAL_STATE",   L"CRYPTO_INVALID_KEY_SIZE",
      L"CRYPTO_UNSUPPORTED_FIPS_MODE", L"CRYPTO_BAD_AUTH",  L"CRYPTO_INVALID_DATA_SIZE"};
  for (std::uint64_t i = 0; i < std::size(names); ++i)
    EXPECT_EQ(IdText(4000 + i), WString(L"ID:") + std::to_wstring(4000 + i).c_str() + L" (" + names[i] + L")");
  for (std::uint64_t id : {3999, 4014, 0}) EXPECT_EQ(IdText(id), WString(L"ID:") + std::to_wstring(id).c_str() + L" (Unknown Exception Id)");
}

// Inner exceptions, ours and a caller's (an IException of the support library), that count their
// own destruction.
static int g_destroyed = 0;
struct CountedException : CCryptoException {
  CountedException() : CCryptoException(L"x", 1, L"counted", CRYPTO_NOT_SUPPORTED, nullptr) {}
  ~CountedException() override { ++g_destroyed; }
};
struct ForeignException : CException {
  ForeignException() : CException(L"caller", 3, L"caller's failure", 7, nullptr) {}
  ~ForeignException() override { ++g_destroyed; }
};

[[noreturn]] void ThrowForeign(IException** thrown) {
  IException* e = new ForeignException;
  *thrown = e;
  throw e;
}

// Wrap takes the inner exception's id, ours or a caller's, with its own message and line; the
// outer exception owns the inner one.
TEST(RaiseAndWrap, WrappedExceptionCarriesInnerIdItsOwnMessageAndLine) {
  const FunctionTrace fn(L"Factory::Create");
  const auto ours = []() -> IException* { return new CountedException; };
  const auto foreign = []() -> IException* { return new ForeignException; };
  for (const auto& [make, id] :
       {std::pair{+ours, std::uint64_t{CRYPTO_NOT_SUPPORTED}}, std::pair{+foreign, std::uint64_t{7}}}) {
    SCOPED_TRACE(id);
    g_destroyed = 0;
    IException* inner = nullptr;
    const unsigned line = __LINE__ + 1;
    auto e = Thrown([&] { fn.Wrap(L"new CThing() failed", [&]() -> int { throw inner = make(); }); });
    ExpectFailure(e, id, L"new CThing() failed");
    ASSERT_TRUE(e);
    EXPECT_EQ(e->getLineNumber(), line);
    EXPECT_EQ(e->getInnerException(), inner);
    EXPECT_EQ(g_destroyed, 0);
    e.reset();
    EXPECT_EQ(g_destroyed, 1) << "deleting the outer exception releases the inner one";
  }
}

// Only CCryptoException pointers leave: WrapAs takes any IException as the inner one, and Run
// wraps whatever else reaches it.
TEST(RaiseAndWrap, ForeignExceptionsBecomeInnerOnesOfCryptoExceptions) {
  const FunctionTrace fn(L"CThing::Do");
  g_destroyed = 0;
  IException* foreign = nullptr;
  const unsigned line = __LINE__ + 1;
  auto e = Thrown([&] { fn.WrapAs(CRYPTO_INTERNAL_ERROR, L"Error while parsing parameters", [&] { ThrowForeign(&foreign); }); });
  ExpectFailure(e, CRYPTO_INTERNAL_ERROR, L"Error while parsing parameters");
  EXPECT_EQ(e->getInnerException(), foreign);
  EXPECT_EQ(e->getLineNumber(), line);

  LogCapture capture;
  const unsigned runLine = __LINE__ + 1;
  e = Thrown([&] { fn.Run([&] { ThrowForeign(&foreign); }); });
  ExpectFailure(e, 7, L"CThing::Do failed");
  EXPECT_EQ(e->getInnerException(), foreign);
  EXPECT_EQ(e->getLineNumber(), runLine);
  EXPECT_EQ(e->getFilename(), L"tests/framework/exception_test");
  EXPECT_EQ(capture.Trace(), (std::vector<std::wstring>{L"1|CThing::Do : CThing::Do failed",
                                                         L"16|CThing::Do Returns CThing::Do failed"}));
  // A library exception goes through Run as it is.
  auto* ours = new CCryptoException(L"x", 1, L"ours", CRYPTO_BAD_PARAM, nullptr);
  e = Thrown([&] { fn.Run([&] { throw ours; }); });
  EXPECT_EQ(e.get(), ours);
  e.reset();
  EXPECT_EQ(g_destroyed, 2) << "each foreign exception is released with its wrapper";
}

TEST(TraceLines, FunctionTraceWritesEntryExitErrorAndReturnsLines) {
  int object = 0;
  LogCapture capture;
  {
    const FunctionTrace fn(L"CThing::Do", &object);
    EXPECT_EQ(fn.Run([&] {
      fn.Data(L"sOID=%s", L"1.2.3");
      fn.Warning(L"pFilter=NULL!");
      fn.Bytes(L"m_baValue", ByteArray{0xde, 0xad});
      return 5;
    }), 5);
  }
  // A raise records its own line and the project-relative file.
  const FunctionTrace fail(L"CThing::Fail", &object);
  const unsigned line = __LINE__ + 2;
  auto e = Thrown([&] {
    fail.Run([&] { fail.Raise(CRYPTO_INTERNAL_ERROR, L"BCryptHashData failed", L"Error 0x%x returned by BCryptHashData", 0xC000000Du); });
  });
  ExpectFailure(e, CRYPTO_INTERNAL_ERROR, L"BCryptHashData failed");
  ASSERT_TRUE(e);
  EXPECT_EQ(e->getLineNumber(), line);
  EXPECT_EQ(e->getFilename(), L"tests/framework/exception_test");
  EXPECT_EQ(e->getInnerException(), nullptr);
  const std::wstring self = zttest::AddressText(&object);
  EXPECT_EQ(capture.Trace(), (std::vector<std::wstring>{
                                 L"8|CThing::Do : this=" + self,
                                 L"0|CThing::Do : sOID=1.2.3",
                                 L"2|CThing::Do : pFilter=NULL!",
                                 L"0|CThing::Do : m_baValue: de ad",
                                 L"16|CThing::Do",
                                 L"8|CThing::Fail : this=" + self,
                                 L"1|CThing::Fail : Error 0xc000000d returned by BCryptHashData",
                                 L"16|CThing::Fail Returns BCryptHashData failed",
                             }));

  // A Wrap in a factory logs its message then the Returns line; a null-argument raise writes only
  // the Returns line.
  capture.Clear();
  e = Thrown([&] {
    const FunctionTrace fn(L"MessageDigest::Create");
    fn.Run([&] {
      return fn.Wrap(L"new CCNGMessageDigest() failed", [&]() -> int {
        const FunctionTrace inner(L"CCNGMessageDigest::CCNGMessageDigest", &capture);
        return inner.Run([&]() -> int { inner.Raise(CRYPTO_INTERNAL_ERROR, L"Load CNG library failed",
                                                    L"Unable to load CNG library"); });
      });
    });
  });
  ExpectFailure(e, CRYPTO_INTERNAL_ERROR, L"new CCNGMessageDigest() failed");
  EXPECT_EQ(capture.Trace(), (std::vector<std::wstring>{
                                 L"8|MessageDigest::Create",
                                 L"8|CCNGMessageDigest::CCNGMessageDigest : this=" + zttest::AddressText(&capture),
                                 L"1|CCNGMessageDigest::CCNGMessageDigest : Unable to load CNG library",
                                 L"16|CCNGMessageDigest::CCNGMessageDigest Returns Load CNG library failed",
                                 L"1|MessageDigest::Create : new CCNGMessageDigest() failed",
                                 L"16|MessageDigest::Create Returns new CCNGMessageDigest() failed",
                             }));

  capture.Clear();
  e = Thrown([&] {
    const FunctionTrace fn(L"Signature::Create");
    fn.Run([&] { fn.RaiseUnlogged(CRYPTO_BAD_PARAM, L"pAlgorithm should not be NULL"); });
  });
  ExpectFailure(e, CRYPTO_BAD_PARAM, L"pAlgorithm should not be NULL");
  EXPECT_EQ(capture.Trace(), (std::vector<std::wstring>{
                                 L"8|Signature::Create",
                                 L"16|Signature::Create Returns pAlgorithm should not be NULL",
                             }));
}

}  // namespace
