// Keys: the common interface of every key (secret, public, private), key pairs, and shared
// secrets (the agreed or given secret bytes that key derivations start from).
#pragma once

#include "zt/algorithm.h"
#include "zt/export.h"
#include "zt/secure.h"

namespace ZT::Framework {

class ZT_CRYPTO_API IKey {
 public:
  virtual ~IKey();

  // A new key equal to this one; owned by the caller.
  virtual IKey* Clone() const = 0;
  // The key's algorithm, still owned by the key.
  virtual IAlgorithm* GetAlgorithm() const = 0;
  // The name of the encoding GetEncoded returns: "RAW" for plain secret-key bytes, "X509" and
  // "PKCS8" for RSA public and private keys, "ECCPublicKey" and "ECC" for EC public and private
  // keys (zt/eckey.h).
  virtual WString GetFormat() const = 0;
  // The key in its format, as a new byte array.
  virtual ByteArray GetEncoded() const = 0;

  // A new key of `pAlgorithm` (cloned; the caller keeps its own) from `baEncoded` in the format
  // named by `sFormat`, owned by the caller. "RAW": a secret key holding the bytes as they
  // are; "X509", "PKCS8" and "MSPrivateKeyBlob": RSA keys (zt/rsakey.h); "ECCPublicKey": an EC
  // public key from its uncompressed point on the curve of the algorithm (zt/eckey.h). "ECC", the
  // format of EC private keys, is never imported (they live only inside the platform):
  // CRYPTO_NOT_IMPLEMENTED ("Not Implemented"). A null algorithm throws CRYPTO_BAD_PARAM; a
  // format this library does not import throws CRYPTO_NOT_SUPPORTED ("Unsupported key format").
  // A failure of the format's import comes wrapped as "new <class>() failed" with the id of the
  // failure inside.
  static IKey* Create(IAlgorithm* pAlgorithm, const WString& sFormat, const ByteArray& baEncoded);
};

class ZT_CRYPTO_API IPublicKey : public IKey {
 public:
  ~IPublicKey() override;
};

class ZT_CRYPTO_API IPrivateKey : public IKey {
 public:
  ~IPrivateKey() override;
};

// A symmetric key.
class ZT_CRYPTO_API ISecretKey : public IKey {
 public:
  ~ISecretKey() override;
};

// A private key with its public key. Both keys stay owned by the pair: the caller deletes only
// the pair, and uses neither key after that.
class ZT_CRYPTO_API IKeyPair {
 public:
  virtual ~IKeyPair();
  virtual IPrivateKey* GetPrivateKey() = 0;
  virtual IPublicKey* GetPublicKey() = 0;
};

// Secret bytes that a key derivation starts from (a password, an agreed secret).
class ZT_CRYPTO_API ISharedSecret {
 public:
  virtual ~ISharedSecret();

  // The secret's bytes, as a new array. A secret that stays inside the platform
  // (KeyAgreement::GenerateSecretReference) has none to give: CRYPTO_NOT_SUPPORTED.
  virtual ByteArray GetEncoded() const = 0;

  // A new shared secret holding a copy of `baSecret`, owned by the caller.
  static ISharedSecret* Create(const ByteArray& baSecret);

 protected:
  ISharedSecret() = default;
  ISharedSecret(const ISharedSecret&) = default;
  ISharedSecret& operator=(const ISharedSecret&) = default;
};

}  // namespace ZT::Framework
