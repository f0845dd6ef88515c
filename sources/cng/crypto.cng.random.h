// The random generator (the platform generator with extra entropy from rand_s) and the GUID
// generator.
#pragma once

#include <memory>

#include "zt/random.h"

namespace ZT::Framework {

class CCNGFIPS186RandomGenerator final : public RandomGenerator {
 public:
  CCNGFIPS186RandomGenerator(std::unique_ptr<IAlgorithm> pAlgorithm, ICryptoParserParameterMap* pParams);
  ~CCNGFIPS186RandomGenerator() override;

  IAlgorithm* GetAlgorithm() const override;
  void SetSeed(const ByteArray& baSeed) override;
  void GenerateRandom(std::uint32_t nLength, ByteArray& baRandom) override;

 private:
  std::unique_ptr<IAlgorithm> m_pAlgorithm;
  [[maybe_unused]] ICryptoParserParameterMap* m_pParams;  // kept for the engine's life, not read
};

class CCNGGUIDGenerator final : public GUIDGenerator {
 public:
  CCNGGUIDGenerator();
  ~CCNGGUIDGenerator() override;

  void GenerateGUID(ByteArray& baGUID) override;
};

}  // namespace ZT::Framework
