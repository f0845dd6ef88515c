// What the fuzz targets share: the oracle's check, and calls whose failure by a library exception
// is an answer rather than a finding.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "zt/exception.h"
#include "zt/secure.h"

namespace fuzzcheck {

// Aborts (a finding) when an oracle does not hold.
inline void Require(bool condition) {
  if (!condition) std::abort();
}

// A byte string taken from the front of the input, as long as asked or as what is left.
inline ZT::Framework::ByteArray Take(const std::uint8_t*& data, std::size_t& size, std::size_t wanted) {
  const std::size_t n = wanted < size ? wanted : size;
  ZT::Framework::ByteArray bytes(data, data + n);
  data += n;
  size -= n;
  return bytes;
}

// Runs `call`; false when it raised a CCryptoException (deleted here). Anything else escapes.
template <class Call>
bool Succeeds(Call&& call) {
  try {
    call();
    return true;
  } catch (ZT::Framework::CCryptoException* e) {
    delete e;
    return false;
  }
}

}  // namespace fuzzcheck
