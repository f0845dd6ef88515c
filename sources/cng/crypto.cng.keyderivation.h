// PBKDF2 on CNG, with the password from a shared secret.
#pragma once

#include <memory>

#include "zt/keyderivation.h"

namespace ZT::Framework {

class CCNGPBKDF2KeyDerivation final : public KeyDerivation {
 public:
  CCNGPBKDF2KeyDerivation(std::unique_ptr<IAlgorithm> pAlgorithm, ICryptoParserParameterMap* pParams);
  ~CCNGPBKDF2KeyDerivation() override;

  IAlgorithm* GetAlgorithm() const override;
  void Init(ISharedSecret* pSharedSecret) override;
  void Init(IKey* pKey) override;
  IKey* Derive(const WString& sLabel, const ByteArray& baSalt, std::uint32_t nLength) override;
  void Derive(const ByteArray& baSalt, std::uint32_t nLength, ByteArray& baKey) override;

 private:
  std::unique_ptr<IAlgorithm> m_pAlgorithm;
  ICryptoParserParameterMap* m_pParams;  // read by Derive, not owned
  bool m_bInitialized = false;
  ISharedSecret* m_pSharedSecret = nullptr;  // the secret of the last Init, not owned
};

}  // namespace ZT::Framework
