// Generation of new random secret keys.
#pragma once

#include <cstdint>

#include "zt/algorithm.h"
#include "zt/export.h"
#include "zt/key.h"
#include "zt/parameters.h"

namespace ZT::Framework {

class ZT_CRYPTO_API KeyGenerator {
 public:
  virtual ~KeyGenerator();

  // The engine's algorithm, owned by the engine.
  virtual IAlgorithm* GetAlgorithm() const = 0;
  // A key of a default size: not offered, always throws CRYPTO_NOT_IMPLEMENTED.
  virtual IKey* GenerateKey() = 0;
  // A new secret key of `nLength` random bytes, format "RAW", of the generator's algorithm;
  // owned by the caller. A failure of the random generator comes wrapped as "Unable to
  // generate the Host Identifier".
  virtual IKey* GenerateKey(std::uint32_t nLength) = 0;

  // A new generator for `pAlgorithm` (cloned; any name), owned by the caller. A null algorithm
  // throws CRYPTO_BAD_PARAM. `pParams` is kept, not owned.
  static KeyGenerator* Create(IAlgorithm* pAlgorithm, ICryptoParserParameterMap* pParams);
};

}  // namespace ZT::Framework
