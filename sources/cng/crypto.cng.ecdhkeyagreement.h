// ECDH key agreement on CNG, and the shared secret that stays inside the platform.
#pragma once

#include "cng/crypto.cng.ecprivatekeys.h"
#include "framework/crypto.engine.h"
#include "cng/crypto.cng.handles.h"
#include "zt/keyagreement.h"

namespace ZT::Framework {

// An agreed secret that lives only inside the platform (KeyAgreement::GenerateSecretReference):
// the object owns the platform's secret and releases it when deleted. The SP 800-56A derivation
// reads it through the platform; its bytes never reach the library's memory.
class CCNGReferenceSharedSecret final : public ISharedSecret {
 public:
  explicit CCNGReferenceSharedSecret(SecretHandle hSecret);
  ~CCNGReferenceSharedSecret() override;

  ByteArray GetEncoded() const override;  // CRYPTO_NOT_SUPPORTED: the bytes stay in the platform

  // The platform's secret, still owned by this object.
  BCRYPT_SECRET_HANDLE GetSecretHandle() const { return m_hSecret.get(); }

 private:
  SecretHandle m_hSecret;
};

inline constexpr ClassTrace kCCNGECDHKeyAgreementTrace = ZT_CLASS_TRACE(CCNGECDHKeyAgreement);

class CCNGECDHKeyAgreement final : public AlgorithmEngine<KeyAgreement, kCCNGECDHKeyAgreementTrace> {
 public:
  using AlgorithmEngine::AlgorithmEngine;

  void Init(IPrivateKey* pPrivateKey) override;
  ISharedSecret* GenerateSecret(IPublicKey* pPublicKey) override;
  ISharedSecret* GenerateSecretReference(IPublicKey* pPublicKey) override;

 private:
  // The platform's agreement of the private key of Init with `pPublicKey`.
  SecretHandle Agree(const FunctionTrace& fn, IPublicKey* pPublicKey) const;

  CCNGECPrivateKey* m_pPrivateKey = nullptr;  // the key of Init, not owned; null before Init
};

}  // namespace ZT::Framework
