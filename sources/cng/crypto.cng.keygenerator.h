// Secret keys of random bytes from the library's own random generator.
#pragma once

#include <memory>

#include "zt/keygenerator.h"

namespace ZT::Framework {

class CCNGKeyGenerator final : public KeyGenerator {
 public:
  CCNGKeyGenerator(std::unique_ptr<IAlgorithm> pAlgorithm, ICryptoParserParameterMap* pParams);
  ~CCNGKeyGenerator() override;

  IAlgorithm* GetAlgorithm() const override;
  IKey* GenerateKey() override;
  IKey* GenerateKey(std::uint32_t nLength) override;

 private:
  std::unique_ptr<IAlgorithm> m_pAlgorithm;
  [[maybe_unused]] ICryptoParserParameterMap* m_pParams;  // kept for the engine's life, not read
};

}  // namespace ZT::Framework
