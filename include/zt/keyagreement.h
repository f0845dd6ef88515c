// ECDH: key-pair generation and key agreement on P-256, P-384 and P-521 (zt/eckey.h).
//
//   KeyPairGenerator  new key pairs on the algorithm's curve
//   KeyAgreement      the shared secret of one's own private key and the peer's public key
//
// The secrets of an agreement feed the SP 800-56A key derivation (KeyDerivation::Create with
// "800_56A_KDF", zt/keyderivation.h). Engines are not safe for concurrent use.
#pragma once

#include "zt/algorithm.h"
#include "zt/export.h"
#include "zt/key.h"
#include "zt/parameters.h"

namespace ZT::Framework {

class ZT_CRYPTO_API KeyPairGenerator {
 public:
  virtual ~KeyPairGenerator();

  // Generation on caller-given domain parameters: not offered, always CRYPTO_NOT_IMPLEMENTED.
  virtual IKeyPair* GenerateKeyPair(IECDomainParameters* pDomainParameters) = 0;
  // A new key pair on the generator's curve, owned by the caller; each call gives a pair of its
  // own. The pair owns its two keys (GetPrivateKey, GetPublicKey) and the platform key under
  // them, and releases all of them when it is deleted: the caller deletes the pair only.
  // Failures: CRYPTO_NOT_SUPPORTED "CNG is not supported" when the platform's services cannot be
  // loaded; a failed platform call CRYPTO_INTERNAL_ERROR ("BCryptGenerateKeyPair failed!", ...);
  // a failure while building the pair comes wrapped as "CECKeyPair constructor failed".
  virtual IKeyPair* GenerateKeyPair() = 0;
  // The generator's algorithm, owned by the generator.
  virtual IAlgorithm* GetAlgorithm() const = 0;

  // A new generator for "ECDH_P256", "ECDH_P384" or "ECDH_P521" (`pAlgorithm` cloned; the name
  // compared exactly), owned by the caller; other names throw CRYPTO_NOT_IMPLEMENTED, a null
  // algorithm CRYPTO_BAD_PARAM. `pParams` is not used.
  static KeyPairGenerator* Create(IAlgorithm* pAlgorithm, ICryptoParserParameterMap* pParams);
};

// Life cycle: Init once with one's own private key, then any number of agreements with peers'
// public keys. A failed agreement leaves the engine initialised.
class ZT_CRYPTO_API KeyAgreement {
 public:
  virtual ~KeyAgreement();

  // Keeps `pPrivateKey` (not owned: it, and the key pair it belongs to, must outlive the
  // agreements). Null throws CRYPTO_BAD_PARAM; a second Init CRYPTO_ILLEGAL_STATE; a key that is
  // not the private key of an EC key pair of this library CRYPTO_NOT_SUPPORTED ("Only ECC Private
  // keys are supported").
  virtual void Init(IPrivateKey* pPrivateKey) = 0;
  // A new shared secret owned by the caller, of the class ISharedSecret::Create makes: its bytes
  // (GetEncoded) are the SHA-1 of the agreed value (the shared point's x-coordinate, big-endian,
  // of the curve's coordinate length), 20 bytes; never the agreed value itself. The platform's agreement lives only
  // within the call. Before Init: CRYPTO_ILLEGAL_STATE; a key that is not an EC public key of
  // this library: CRYPTO_NOT_SUPPORTED ("Only ECC Public keys are supported"); keys of two
  // different curves, or a private key whose pair is gone: CRYPTO_INTERNAL_ERROR
  // ("BCryptSecretAgreement failed!").
  virtual ISharedSecret* GenerateSecret(IPublicKey* pPublicKey) = 0;
  // The same agreement, kept inside the platform: a new shared secret owned by the caller that
  // holds the platform's agreed secret (released when the object is deleted) and never its
  // bytes. Only the SP 800-56A key derivation reads it; other derivations refuse it as an
  // "Unsupported shared secret". Failures as GenerateSecret's.
  virtual ISharedSecret* GenerateSecretReference(IPublicKey* pPublicKey) = 0;
  // The engine's algorithm, owned by the engine.
  virtual IAlgorithm* GetAlgorithm() const = 0;

  // A new engine for "ECDH_P256", "ECDH_P384" or "ECDH_P521" (`pAlgorithm` cloned; the name
  // compared exactly), owned by the caller; other names throw CRYPTO_NOT_IMPLEMENTED, a null
  // algorithm CRYPTO_BAD_PARAM. `pParams` is not used. The curve of an agreement is the keys'
  // own: the engine's algorithm does not restrict it.
  static KeyAgreement* Create(IAlgorithm* pAlgorithm, ICryptoParserParameterMap* pParams);
};

}  // namespace ZT::Framework
