// The data-protection key derivation: keys of the data-protection cipher made from another one,
// with a label and a salt of their own.
#pragma once

#include <memory>

#include "cng/crypto.cng.dpapikeys.h"
#include "framework/crypto.engine.h"
#include "zt/keyderivation.h"

namespace ZT::Framework {

inline constexpr ClassTrace kCDataProtectionAPIKeyDerivationTrace = ZT_CLASS_TRACE(CDataProtectionAPIKeyDerivation);

class CDataProtectionAPIKeyDerivation final
    : public AlgorithmEngine<KeyDerivation, kCDataProtectionAPIKeyDerivationTrace> {
 public:
  using AlgorithmEngine::AlgorithmEngine;

  // Shared secrets are not derived from here: null CRYPTO_BAD_PARAM, any other
  // CRYPTO_NOT_SUPPORTED "Not Supported".
  void Init(ISharedSecret* pSharedSecret) override;
  // Keeps a copy of the data-protection key `pKey` (null: CRYPTO_BAD_PARAM "pKey should not be
  // NULL"; another kind of key: CRYPTO_BAD_PARAM "pKey should be a DPAPI key"; while initialised:
  // CRYPTO_ILLEGAL_STATE "KeyDerivation is already initialized").
  void Init(IKey* pKey) override;
  // A new data-protection key, owned by the caller: labelled `sLabel`, or as the key of Init when
  // it is empty; with the salt of the key of Init, or `baSalt` when that key has none (both: as
  // SetSalt, CRYPTO_ILLEGAL_STATE "A salt already exists, how to deal with it?"). `nLength` must
  // be 0: such a key has no length (else CRYPTO_NOT_SUPPORTED "Not Supported"). Before Init:
  // CRYPTO_ILLEGAL_STATE "KeyDerivation is not initialized". A successful Derive ends the
  // initialisation; a failed one keeps it.
  IKey* Derive(const WString& sLabel, const ByteArray& baSalt, std::uint32_t nLength) override;
  // There are no key bytes to derive: always CRYPTO_NOT_SUPPORTED "Not Supported".
  void Derive(const ByteArray& baSalt, std::uint32_t nLength, ByteArray& baKey) override;

 private:
  std::unique_ptr<CDataProtectionAPIKey> m_pKey;  // a copy of the key of Init; null when not initialised
};

}  // namespace ZT::Framework
