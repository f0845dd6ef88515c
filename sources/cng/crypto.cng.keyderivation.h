// PBKDF2 on CNG, with the password from a shared secret, and the Init steps of every derivation
// from a shared secret.
#pragma once

#include <memory>

#include "framework/crypto.engine.h"
#include "zt/keyderivation.h"

namespace ZT::Framework {

// The shared secret a derivation keeps from Init to Derive (not owned). Each step raises at the
// place of its caller (`where`), so that a failure names the engine's own source.
class DerivationSecret {
 public:
  // Keeps `pSharedSecret`: null throws CRYPTO_BAD_PARAM ("pSharedSecret should not be NULL"), a
  // secret already kept CRYPTO_ILLEGAL_STATE ("KeyDerivation is already initialized").
  void Init(const FunctionTrace& fn, ISharedSecret* pSharedSecret, SourceLine where = SourceLine());
  // The kept secret; none throws CRYPTO_ILLEGAL_STATE ("KeyDerivation is not initialized").
  const ISharedSecret& Get(const FunctionTrace& fn, SourceLine where = SourceLine()) const;
  // Forgets the secret: the next Derive needs a new Init.
  void Reset() { m_pSharedSecret = nullptr; }

 private:
  ISharedSecret* m_pSharedSecret = nullptr;
};

// Init with a key, which the derivations from shared secrets refuse: null throws CRYPTO_BAD_PARAM
// ("pKey should not be NULL"), any key CRYPTO_NOT_SUPPORTED ("Not Supported").
[[noreturn]] void RefuseKey(const FunctionTrace& fn, const IKey* pKey, SourceLine where = SourceLine());

inline constexpr ClassTrace kCCNGPBKDF2KeyDerivationTrace = ZT_CLASS_TRACE(CCNGPBKDF2KeyDerivation);

class CCNGPBKDF2KeyDerivation final : public AlgorithmEngine<KeyDerivation, kCCNGPBKDF2KeyDerivationTrace> {
 public:
  using AlgorithmEngine::AlgorithmEngine;

  void Init(ISharedSecret* pSharedSecret) override;
  void Init(IKey* pKey) override;
  IKey* Derive(const WString& sLabel, const ByteArray& baSalt, std::uint32_t nLength) override;
  void Derive(const ByteArray& baSalt, std::uint32_t nLength, ByteArray& baKey) override;

 private:
  DerivationSecret m_secret;  // the password
};

}  // namespace ZT::Framework
