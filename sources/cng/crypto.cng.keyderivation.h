// PBKDF2 on CNG, with the password from a shared secret.
#pragma once

#include <memory>

#include "framework/crypto.engine.h"
#include "zt/keyderivation.h"

namespace ZT::Framework {

inline constexpr ClassTrace kCCNGPBKDF2KeyDerivationTrace = ZT_CLASS_TRACE(CCNGPBKDF2KeyDerivation);

class CCNGPBKDF2KeyDerivation final : public AlgorithmEngine<KeyDerivation, kCCNGPBKDF2KeyDerivationTrace> {
 public:
  using AlgorithmEngine::AlgorithmEngine;

  void Init(ISharedSecret* pSharedSecret) override;
  void Init(IKey* pKey) override;
  IKey* Derive(const WString& sLabel, const ByteArray& baSalt, std::uint32_t nLength) override;
  void Derive(const ByteArray& baSalt, std::uint32_t nLength, ByteArray& baKey) override;

 private:
  bool m_bInitialized = false;
  ISharedSecret* m_pSharedSecret = nullptr;  // the secret of the last Init, not owned
};

}  // namespace ZT::Framework
