// The library's exceptions in tests: what a call threw, its id and message, and the messages of
// its inner chain.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <string>

#include "zt/exception.h"

namespace zttest {

// The exception that `call` throws, owned; null when it returns. Any other IException pointer is
// a failure of the test: none may leave the library.
template <class Call>
std::unique_ptr<ZT::Framework::CCryptoException> Thrown(Call&& call) {
  try {
    call();
  } catch (ZT::Framework::CCryptoException* e) {
    return std::unique_ptr<ZT::Framework::CCryptoException>(e);
  } catch (ZT::Framework::IException* e) {
    const std::unique_ptr<ZT::Framework::IException> owned(e);
    ADD_FAILURE() << "an IException that is not a CCryptoException left the call";
  }
  return nullptr;
}

// `e` is a failure with `id` and `message`.
inline void ExpectFailure(const std::unique_ptr<ZT::Framework::CCryptoException>& e, std::uint64_t id,
                          const ZT::Framework::WString& message) {
  ASSERT_TRUE(e) << "no exception; expected " << std::string(message.begin(), message.end());
  EXPECT_EQ(e->getID(), id);
  EXPECT_EQ(e->getMessage(), message);
}

// The message of the exception `inner` levels down from `e` ("<none>" when there is none).
inline ZT::Framework::WString MessageAt(const ZT::Framework::IException* e, int inner) {
  for (; e != nullptr && inner > 0; --inner) e = e->getInnerException();
  return e ? e->getMessage() : ZT::Framework::WString(L"<none>");
}

}  // namespace zttest
