// The library's exception: every failure of a public operation is a CCryptoException created on
// the heap and thrown as a pointer; the catcher owns it and deletes it.
#pragma once

#include <cstdint>

#include "nq/nqcext.h"
#include "zt/export.h"
#include "zt/secure.h"

namespace ZT::Framework {

enum CryptoExceptionId : std::uint64_t {
  CRYPTO_BAD_PARAM = 4000,              // null, empty or malformed arguments, decoding errors
  CRYPTO_NOT_IMPLEMENTED = 4001,
  CRYPTO_NOT_SUPPORTED = 4002,
  CRYPTO_UNKNOWN_ERROR = 4003,          // a CryptoAPI call failed
  CRYPTO_INTERNAL_ERROR = 4004,         // a CNG or other platform call failed
  CRYPTO_NOT_P12 = 4005,
  CRYPTO_NO_SUCH_ALGORITHM = 4006,
  CRYPTO_NO_SUCH_PADDING = 4007,
  CRYPTO_INVALID_KEY = 4008,
  CRYPTO_ILLEGAL_STATE = 4009,          // an engine used in the wrong state
  CRYPTO_INVALID_KEY_SIZE = 4010,
  CRYPTO_UNSUPPORTED_FIPS_MODE = 4011,
  CRYPTO_BAD_AUTH = 4012,
  CRYPTO_INVALID_DATA_SIZE = 4013,
};

class ZT_CRYPTO_API CCryptoException : public CException {
 public:
  // `pInner` (may be null) is owned by the new exception and released with it.
  CCryptoException(WString sFilename, std::uint64_t nLineNumber, WString sMessage, CryptoExceptionId nId,
                   IException* pInner);
  CCryptoException(const CCryptoException& other);
  CCryptoException& operator=(const CCryptoException& other);
  ~CCryptoException() override;

  // "ID:" + the decimal id + " (" + its name + ")", e.g. "ID:4006 (CRYPTO_NO_SUCH_ALGORITHM)";
  // an id outside 4000..4013 gives "ID:<id> (Unknown Exception Id)".
  virtual WString StringFromId() const;
};

}  // namespace ZT::Framework
