// Hex text to bytes and back, and what a writer writes, for the known encodings of the DER tests.
#pragma once

#include <string>
#include <string_view>

#include "codec/crypto.der.h"
#include "codec/crypto.der.writer.h"
#include "support/hex.h"
#include "zt/secure.h"

namespace der_test {

// Bytes of hex text; blanks are ignored so that encodings can be written element by element.
inline ZT::Framework::ByteArray Hex(std::string_view text) { return zttest::FromHex(text); }
inline std::string ToHex(ZT::Framework::Der::Bytes bytes) { return zttest::ToHex(bytes); }

// The hex of what `write` writes, or "failed".
template <class Write>
std::string Written(Write&& write) {
  ZT::Framework::Der::Writer writer;
  write(writer);
  ZT::Framework::ByteArray der;
  return writer.Finish(&der) ? ToHex(der) : "failed";
}

}  // namespace der_test
