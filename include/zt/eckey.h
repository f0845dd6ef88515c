// Elliptic-curve keys for ECDH on the NIST prime curves P-256, P-384 and P-521, chosen by the
// algorithm's friendly name "ECDH_P256", "ECDH_P384" or "ECDH_P521" (exactly, case-sensitively).
//
// A public key is imported from an uncompressed point (IKey::Create with the format
// "ECCPublicKey") or comes from a key pair made by KeyPairGenerator (zt/keyagreement.h). A private
// key lives only inside the platform, as the private half of such a pair: it is never imported
// or exported, and IKey::Create refuses the format "ECC" (CRYPTO_NOT_IMPLEMENTED).
//
// The encoded public key (GetEncoded, and what the import takes) is the byte 0x04, then X and Y
// big-endian, each of the curve's coordinate length (32, 48 or 66 bytes): 65, 97 or 133 bytes,
// the uncompressed point of SEC 1 without an ASN.1 wrapper. The import does not look at the
// first byte: any value there is read as the uncompressed form (a compressed point's bytes do not
// have the right length and are refused). The platform refuses a point that is not on the
// curve, a coordinate that is not below the field prime, the point at infinity (all zeros) and
// a length that does not fit the curve: the import throws "BCryptImportKeyPair failed!"
// (CRYPTO_INTERNAL_ERROR); no such point reaches an agreement.
#pragma once

#include "zt/export.h"
#include "zt/key.h"
#include "zt/secure.h"

namespace ZT::Framework {

class ZT_CRYPTO_API IECPublicKey : public IPublicKey {
 public:
  ~IECPublicKey() override;

  // GetFormat gives "ECCPublicKey" and GetEncoded the uncompressed point. Clone gives a key
  // imported afresh from that point: it lives on when the key (or key pair) it came from is
  // deleted.
  //
  // The coordinates on their own are not offered: both always throw CRYPTO_NOT_IMPLEMENTED.
  virtual ByteArray GetX() const = 0;
  virtual ByteArray GetY() const = 0;
};

class ZT_CRYPTO_API IECPrivateKey : public IPrivateKey {
 public:
  ~IECPrivateKey() override;

  // GetFormat gives "ECC". GetEncoded and GetS (the private value) always throw
  // CRYPTO_NOT_IMPLEMENTED: the private value never leaves the platform. The key and its Clone
  // share the key pair's platform key: neither may be used once the pair is deleted (an
  // agreement with it then fails with "BCryptSecretAgreement failed!").
  virtual ByteArray GetS() const = 0;
};

}  // namespace ZT::Framework
