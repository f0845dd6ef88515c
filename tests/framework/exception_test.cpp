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

// An inner exception that counts its own destruction.
struct CountedException : CCryptoException {
  static inline int destroyed = 0;
  CountedException() : CCryptoException(L"x", 1, L"counted", CRYPTO_NOT_SUPPORTED, nullptr) {}
  ~CountedException() override { ++destroyed; }
};

TEST(RaiseAndWrap, WrappedExceptionCarriesInnerIdItsOwnMessageAndLine) {
  const FunctionTrace fn(L"Factory::Create");
  CountedException::destroyed = 0;
  CountedException* inner = nullptr;
  const unsigned line = __LINE__ + 1;
  auto e = Thrown([&] { fn.Wrap(L"new CThing() failed", [&]() -> int { throw inner = new CountedException; }); });
  ExpectFailure(e, CRYPTO_NOT_SUPPORTED, L"new CThing() failed");
  ASSERT_TRUE(e);
  EXPECT_EQ(e->getLineNumber(), line);
  EXPECT_EQ(e->getInnerException(), inner);
  EXPECT_EQ(CountedException::destroyed, 0);
  e.reset();
  EXPECT_EQ(CountedException::destroyed, 1) << "deleting the outer exception releases the inner one";
}

// What a caller's map or key throws: an IException of the support library, not ours.
struct ForeignException : CException {
  static inline int destroyed = 0;
  explicit ForeignException(std::uint64_t id = 7) : CException(L"caller", 3, L"caller's failure", id, nullptr) {}
  ~ForeignException() override { ++destroyed; }
};

[[noreturn]] void ThrowForeign(IException** thrown = nullptr) {
  IException* e = new ForeignException;
  if (thrown) *thrown = e;
  throw e;
}

// Only CCryptoException pointers leave: Wrap and WrapAs take any IException as the inner one, and
// Run wraps whatever else reaches it.
TEST(RaiseAndWrap, ForeignExceptionsBecomeInnerOnesOfCryptoExceptions) {
  const FunctionTrace fn(L"CThing::Do");
  ForeignException::destroyed = 0;
  IException* foreign = nullptr;
  auto e = Thrown([&] { fn.Wrap(L"Digest failed", [&] { ThrowForeign(&foreign); }); });
  ExpectFailure(e, 7, L"Digest failed");
  ASSERT_TRUE(e);
  EXPECT_EQ(e->getInnerException(), foreign);

  const unsigned line = __LINE__ + 1;
  e = Thrown([&] { fn.WrapAs(CRYPTO_INTERNAL_ERROR, L"Error while parsing parameters", [&] { ThrowForeign(&foreign); }); });
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
  EXPECT_EQ(ForeignException::destroyed, 3) << "each foreign exception is released with its wrapper";
}

TEST(TraceLines, FunctionTraceWritesEntryExitAndReturnsLines) {
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
  const auto e = Thrown([&] {
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
}

TEST(TraceLines, WrapInAFactoryLogsItsMessageThenTheReturnsLine) {
  LogCapture capture;
  const auto e = Thrown([&] {
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
  const std::wstring self = zttest::AddressText(&capture);
  EXPECT_EQ(capture.Trace(), (std::vector<std::wstring>{
                                 L"8|MessageDigest::Create",
                                 L"8|CCNGMessageDigest::CCNGMessageDigest : this=" + self,
                                 L"1|CCNGMessageDigest::CCNGMessageDigest : Unable to load CNG library",
                                 L"16|CCNGMessageDigest::CCNGMessageDigest Returns Load CNG library failed",
                                 L"1|MessageDigest::Create : new CCNGMessageDigest() failed",
                                 L"16|MessageDigest::Create Returns new CCNGMessageDigest() failed",
                             }));
}

TEST(TraceLines, NullArgumentRaiseWritesOnlyTheReturnsLine) {
  LogCapture capture;
  const auto e = Thrown([&] {
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
