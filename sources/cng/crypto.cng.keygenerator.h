// Secret keys of random bytes from the library's own random generator.
#pragma once

#include <memory>

#include "framework/crypto.engine.h"
#include "zt/keygenerator.h"

namespace ZT::Framework {

inline constexpr ClassTrace kCCNGKeyGeneratorTrace = ZT_CLASS_TRACE(CCNGKeyGenerator);

class CCNGKeyGenerator final : public AlgorithmEngine<KeyGenerator, kCCNGKeyGeneratorTrace> {
 public:
  using AlgorithmEngine::AlgorithmEngine;

  IKey* GenerateKey() override;
  IKey* GenerateKey(std::uint32_t nLength) override;
};

}  // namespace ZT::Framework
