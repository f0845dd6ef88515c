#include <gtest/gtest.h>

#include <memory>

#include "framework/crypto.trace.h"
#include "support/log_capture.h"
#include "zt/crypto.h"

namespace {

using namespace ZT::Framework;
using zttest::LogCapture;

WString IdText(std::uint64_t id) {
  return CCryptoException(L"f", 1, L"m", static_cast<CryptoExceptionId>(id), nullptr).StringFromId();
}

TEST(CCryptoException, StringFromIdNamesEveryId) {
  EXPECT_EQ(IdText(4000), L"ID:4000 (CRYPTO_BAD_PARAM)");
  EXPECT_EQ(IdText(4001), L"ID:4001 (CRYPTO_NOT_IMPLEMENTED)");
  EXPECT_EQ(IdText(4002), L"ID:4002 (CRYPTO_NOT_SUPPORTED)");
  EXPECT_EQ(IdText(4003), L"ID:4003 (CRYPTO_UNKNOWN_ERROR)");
  EXPECT_EQ(IdText(4004), L"ID:4004 (CRYPTO_INTERNAL_ERROR)");
  EXPECT_EQ(IdText(4005), L"ID:4005 (CRYPTO_NOT_P12)");
  EXPECT_EQ(IdText(4006), L"ID:4006 (CRYPTO_NO_SUCH_ALGORITHM)");
  EXPECT_EQ(IdText(4007), L"ID:4007 (CRYPTO_NO_SUCH_PADDING)");
  EXPECT_EQ(IdText(4008), L"ID:4008 (CRYPTO_INVALID_KEY)");
  EXPECT_EQ(IdText(4009), L"ID:4009 (CRYPTO_ILLEGAL_STATE)");
  EXPECT_EQ(IdText(4010), L"ID:4010 (CRYPTO_INVALID_KEY_SIZE)");
  EXPECT_EQ(IdText(4011), L"ID:4011 (CRYPTO_UNSUPPORTED_FIPS_MODE)");
  EXPECT_EQ(IdText(4012), L"ID:4012 (CRYPTO_BAD_AUTH)");
  EXPECT_EQ(IdText(4013), L"ID:4013 (CRYPTO_INVALID_DATA_SIZE)");
}

TEST(CCryptoException, StringFromIdOfAnUnknownId) {
  EXPECT_EQ(IdText(3999), L"ID:3999 (Unknown Exception Id)");
  EXPECT_EQ(IdText(4014), L"ID:4014 (Unknown Exception Id)");
  EXPECT_EQ(IdText(0), L"ID:0 (Unknown Exception Id)");
}

TEST(CCryptoException, ConstructorKeepsEveryField) {
  auto* inner = new CCryptoException(L"a", 1, L"inner", CRYPTO_INTERNAL_ERROR, nullptr);
  const CCryptoException e(L"sources/cng/crypto.cng.digest", 77, L"BCryptHashData failed", CRYPTO_BAD_PARAM, inner);
  EXPECT_EQ(e.getFilename(), L"sources/cng/crypto.cng.digest");
  EXPECT_EQ(e.getLineNumber(), 77u);
  EXPECT_EQ(e.getMessage(), L"BCryptHashData failed");
  EXPECT_EQ(e.getID(), 4000u);
  EXPECT_EQ(e.getInnerException(), inner);
}

// An inner exception that counts its own destruction.
struct CountedException : CCryptoException {
  static inline int destroyed = 0;
  CountedException() : CCryptoException(L"x", 1, L"counted", CRYPTO_NOT_SUPPORTED, nullptr) {}
  ~CountedException() override { ++destroyed; }
};

TEST(RaiseAndWrap, RaiseRecordsTheRaisingLineAndProjectRelativeFile) {
  const FunctionTrace fn(L"Test::Raise");
  unsigned expectedLine = 0;
  try {
    expectedLine = __LINE__ + 1;
    fn.Raise(CRYPTO_NO_SUCH_PADDING, L"Unsupported padding");
  } catch (CCryptoException* e) {
    const std::unique_ptr<CCryptoException> owned(e);
    EXPECT_EQ(e->getID(), CRYPTO_NO_SUCH_PADDING);
    EXPECT_EQ(e->getMessage(), L"Unsupported padding");
    EXPECT_EQ(e->getLineNumber(), expectedLine);
    EXPECT_EQ(e->getFilename(), L"tests/framework/exception_test");
    EXPECT_EQ(e->getInnerException(), nullptr);
  }
}

TEST(RaiseAndWrap, WrappedExceptionCarriesInnerIdItsOwnMessageAndLine) {
  const FunctionTrace fn(L"Factory::Create");
  CountedException::destroyed = 0;
  CountedException* inner = nullptr;
  unsigned wrapLine = 0;
  try {
    wrapLine = __LINE__ + 1;
    fn.Wrap(L"new CThing() failed", [&]() -> int {
      inner = new CountedException;
      throw inner;
    });
  } catch (CCryptoException* e) {
    EXPECT_EQ(e->getID(), CRYPTO_NOT_SUPPORTED);
    EXPECT_EQ(e->getMessage(), L"new CThing() failed");
    EXPECT_EQ(e->getLineNumber(), wrapLine);
    EXPECT_EQ(e->getInnerException(), inner);
    EXPECT_EQ(CountedException::destroyed, 0);
    delete e;
    EXPECT_EQ(CountedException::destroyed, 1) << "deleting the outer exception releases the inner one";
  }
}

TEST(RaiseAndWrap, WrapLetsOtherExceptionTypesPass) {
  const FunctionTrace fn(L"Factory::Create");
  auto* foreign = new CException(L"f", 1, L"foreign", 2, nullptr);
  try {
    fn.Wrap(L"never", [&]() -> int { throw static_cast<IException*>(foreign); });
  } catch (IException* e) {
    EXPECT_EQ(e, foreign);
    delete e;
  }
  // IException can be asked for explicitly.
  try {
    fn.Wrap<IException>(L"Digest failed", [&]() -> int { throw static_cast<IException*>(new CException(L"f", 1, L"in", 2, nullptr)); });
  } catch (CCryptoException* e) {
    EXPECT_EQ(e->getMessage(), L"Digest failed");
    EXPECT_EQ(e->getID(), 2u);
    delete e;
  }
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
  try {
    const FunctionTrace fn(L"CThing::Fail", &object);
    fn.Run([&] { fn.Raise(CRYPTO_INTERNAL_ERROR, L"BCryptHashData failed", L"Error 0x%x returned by BCryptHashData", 0xC000000Du); });
  } catch (CCryptoException* e) {
    delete e;
  }
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
  try {
    const FunctionTrace fn(L"MessageDigest::Create");
    fn.Run([&] {
      return fn.Wrap(L"new CCNGMessageDigest() failed", [&]() -> int {
        const FunctionTrace inner(L"CCNGMessageDigest::CCNGMessageDigest", &capture);
        return inner.Run([&]() -> int { inner.Raise(CRYPTO_INTERNAL_ERROR, L"Load CNG library failed",
                                                    L"Unable to load CNG library"); });
      });
    });
  } catch (CCryptoException* e) {
    EXPECT_EQ(e->getID(), CRYPTO_INTERNAL_ERROR);
    delete e;
  }
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
  try {
    const FunctionTrace fn(L"Signature::Create");
    fn.Run([&] { fn.RaiseUnlogged(CRYPTO_BAD_PARAM, L"pAlgorithm should not be NULL"); });
  } catch (CCryptoException* e) {
    EXPECT_EQ(e->getID(), CRYPTO_BAD_PARAM);
    delete e;
  }
  EXPECT_EQ(capture.Trace(), (std::vector<std::wstring>{
                                 L"8|Signature::Create",
                                 L"16|Signature::Create Returns pAlgorithm should not be NULL",
                             }));
}

}  // namespace
