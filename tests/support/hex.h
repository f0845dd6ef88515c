// Bytes written as hex text in tests, and back. Non-hex characters (blanks, separators) are
// skipped, so that known encodings can be written element by element.
#pragma once

#include <cctype>
#include <string>
#include <string_view>

#include "zt/secure.h"

namespace zttest {

template <class Bytes = ZT::Framework::ByteArray>
Bytes FromHex(std::string_view text) {
  Bytes out;
  int high = -1;
  for (char c : text) {
    if (!std::isxdigit(static_cast<unsigned char>(c))) continue;
    const int nibble = c <= '9' ? c - '0' : (c | 0x20) - 'a' + 10;
    if (high < 0) {
      high = nibble;
    } else {
      out.push_back(static_cast<unsigned char>(high << 4 | nibble));
      high = -1;
    }
  }
  return out;
}

inline std::string ToHex(const unsigned char* data, std::size_t size) {
  static constexpr char kDigits[] = "0123456789abcdef";
  std::string out;
  for (std::size_t i = 0; i < size; ++i) out += {kDigits[data[i] >> 4], kDigits[data[i] & 15]};
  return out;
}
// Lower-case hex of any contiguous run of bytes.
template <class Bytes>
std::string ToHex(const Bytes& bytes) {
  return ToHex(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size());
}

}  // namespace zttest
