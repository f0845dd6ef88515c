// Random bytes and GUIDs from the platform's generators.
#pragma once

#include <cstdint>

#include "zt/algorithm.h"
#include "zt/export.h"
#include "zt/parameters.h"
#include "zt/secure.h"

namespace ZT::Framework {

class ZT_CRYPTO_API RandomGenerator {
 public:
  virtual ~RandomGenerator();

  // The engine's algorithm, owned by the engine.
  virtual IAlgorithm* GetAlgorithm() const = 0;
  // Seeding is not offered: always throws CRYPTO_NOT_IMPLEMENTED.
  virtual void SetSeed(const ByteArray& baSeed) = 0;
  // Replaces `baRandom` with `nLength` random bytes from the platform generator (CNG, or the
  // CryptoAPI provider where CNG cannot be loaded). A failed platform call throws
  // CRYPTO_INTERNAL_ERROR.
  virtual void GenerateRandom(std::uint32_t nLength, ByteArray& baRandom) = 0;

  // A new generator, owned by the caller, for the algorithm "FIPS186DSARNG" (cloned); any other
  // name throws CRYPTO_NO_SUCH_ALGORITHM ("Unknown algorithm"), a null algorithm
  // CRYPTO_BAD_PARAM. `pParams` is kept, not owned.
  static RandomGenerator* Create(IAlgorithm* pAlgorithm, ICryptoParserParameterMap* pParams);
};

class ZT_CRYPTO_API GUIDGenerator {
 public:
  virtual ~GUIDGenerator();

  // Replaces `baGUID` with a new random GUID: 16 bytes in the GUID structure's memory order
  // (Data1 as a little-endian 32-bit value, Data2 and Data3 as little-endian 16-bit values,
  // then the 8 bytes of Data4). A platform failure throws CRYPTO_INTERNAL_ERROR.
  virtual void GenerateGUID(ByteArray& baGUID) = 0;

  // A new generator, owned by the caller. Neither argument is examined (both may be null).
  static GUIDGenerator* Create(IAlgorithm* pAlgorithm, ICryptoParserParameterMap* pParams);
};

}  // namespace ZT::Framework
