// What the fuzz targets share: the oracle's check, and calls whose failure by a library exception
// is an answer rather than a finding.
#pragma once

#include <cstdlib>

#include "zt/exception.h"

namespace fuzzcheck {

// Aborts (a finding) when an oracle does not hold.
inline void Require(bool condition) {
  if (!condition) std::abort();
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
