// The random generator (the platform generator with extra entropy from rand_s) and the GUID
// generator.
#pragma once

#include <memory>

#include "framework/crypto.engine.h"
#include "zt/random.h"

namespace ZT::Framework {

inline constexpr ClassTrace kCCNGFIPS186RandomGeneratorTrace = ZT_CLASS_TRACE(CCNGFIPS186RandomGenerator);

class CCNGFIPS186RandomGenerator final : public AlgorithmEngine<RandomGenerator, kCCNGFIPS186RandomGeneratorTrace> {
 public:
  using AlgorithmEngine::AlgorithmEngine;

  void SetSeed(const ByteArray& baSeed) override;
  void GenerateRandom(std::uint32_t nLength, ByteArray& baRandom) override;
};

class CCNGGUIDGenerator final : public GUIDGenerator {
 public:
  CCNGGUIDGenerator();
  ~CCNGGUIDGenerator() override;

  void GenerateGUID(ByteArray& baGUID) override;
};

}  // namespace ZT::Framework
