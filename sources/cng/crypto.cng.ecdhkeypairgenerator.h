// ECDH key-pair generation on CNG, and the key pairs it makes.
#pragma once

#include <memory>

#include "cng/crypto.cng.ecprivatekeys.h"
#include "cng/crypto.cng.ecpublickeys.h"
#include "framework/crypto.engine.h"
#include "zt/keyagreement.h"

namespace ZT::Framework {

// A generated key pair. It owns the platform key and both key objects over it: deleting the pair
// deletes the two keys (callers never delete what GetPrivateKey and GetPublicKey return) and then
// destroys the platform key, which the private key and its clones share.
class CCNGECKeyPair final : public IKeyPair {
 public:
  // Takes `hKey` (released even when the constructor fails) and builds the private key, then the
  // public key, on it. An empty handle throws CRYPTO_INTERNAL_ERROR ("m_hKey undefined").
  CCNGECKeyPair(std::unique_ptr<IAlgorithm> pAlgorithm, KeyHandle hKey);
  ~CCNGECKeyPair() override;

  IPrivateKey* GetPrivateKey() override;
  IPublicKey* GetPublicKey() override;

 private:
  std::unique_ptr<IAlgorithm> m_pAlgorithm;
  std::unique_ptr<CCNGECPublicKey> m_pPublicKey;
  std::unique_ptr<CCNGECPrivateKey> m_pPrivateKey;
  KeyHandle m_hKey;
};

inline constexpr ClassTrace kCCNGECDHKeyPairGeneratorTrace = ZT_CLASS_TRACE(CCNGECDHKeyPairGenerator);

// Generates pairs on the curve of its algorithm ("ECDH_P256", "ECDH_P384", "ECDH_P521").
class CCNGECDHKeyPairGenerator final : public AlgorithmEngine<KeyPairGenerator, kCCNGECDHKeyPairGeneratorTrace> {
 public:
  using AlgorithmEngine::AlgorithmEngine;

  IKeyPair* GenerateKeyPair(IECDomainParameters* pDomainParameters) override;
  IKeyPair* GenerateKeyPair() override;
};

}  // namespace ZT::Framework
