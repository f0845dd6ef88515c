#include <string>

#include "zt/exception.h"

namespace ZT::Framework {

namespace {

const wchar_t* NameOfId(std::uint64_t id) {
  static constexpr const wchar_t* kNames[] = {
      L"CRYPTO_BAD_PARAM",         L"CRYPTO_NOT_IMPLEMENTED", L"CRYPTO_NOT_SUPPORTED",
      L"CRYPTO_UNKNOWN_ERROR",     L"CRYPTO_INTERNAL_ERROR",  L"CRYPTO_NOT_P12",
      L"CRYPTO_NO_SUCH_ALGORITHM", L"CRYPTO_NO_SUCH_PADDING", L"CRYPTO_INVALID_KEY",
      L"CRYPTO_ILLEGAL_STATE",     L"CRYPTO_INVALID_KEY_SIZE", L"CRYPTO_UNSUPPORTED_FIPS_MODE",
      L"CRYPTO_BAD_AUTH",          L"CRYPTO_INVALID_DATA_SIZE",
  };
  static_assert(std::size(kNames) == CRYPTO_INVALID_DATA_SIZE - CRYPTO_BAD_PARAM + 1);
  if (id < CRYPTO_BAD_PARAM || id > CRYPTO_INVALID_DATA_SIZE) return L"Unknown Exception Id";
  return kNames[id - CRYPTO_BAD_PARAM];
}

}  // namespace

CCryptoException::CCryptoException(WString sFilename, std::uint64_t nLineNumber, WString sMessage,
                                   CryptoExceptionId nId, IException* pInner)
    : CException(std::move(sFilename), nLineNumber, std::move(sMessage), nId, pInner) {}

CCryptoException::CCryptoException(const CCryptoException& other) = default;
CCryptoException& CCryptoException::operator=(const CCryptoException& other) = default;
CCryptoException::~CCryptoException() = default;

WString CCryptoException::StringFromId() const {
  const std::uint64_t id = getID();
  const std::wstring decimal = std::to_wstring(id);
  return WString(L"ID:") + decimal.c_str() + L" (" + NameOfId(id) + L")";
}

}  // namespace ZT::Framework
