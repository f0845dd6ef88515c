// Hex text to bytes and back, and what a writer writes, for the known encodings of the DER tests.
#pragma once

#include <string>
#include <string_view>

#include "common/crypto.der.h"
#include "common/crypto.der.writer.h"
#include "zt/secure.h"

namespace der_test {

// Bytes of hex text; blanks are ignored so that encodings can be written element by element.
inline ZT::Framework::ByteArray Hex(std::string_view text) {
  ZT::Framework::ByteArray out;
  int high = -1;
  for (char c : text) {
    if (c == ' ') continue;
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

inline std::string ToHex(ZT::Framework::Der::Bytes bytes) {
  static constexpr char kDigits[] = "0123456789abcdef";
  std::string out;
  for (unsigned char b : bytes) out += {kDigits[b >> 4], kDigits[b & 15]};
  return out;
}

// The hex of what `write` writes, or "failed".
template <class Write>
std::string Written(Write&& write) {
  ZT::Framework::Der::Writer writer;
  write(writer);
  ZT::Framework::ByteArray der;
  return writer.Finish(&der) ? ToHex(der) : "failed";
}

}  // namespace der_test
