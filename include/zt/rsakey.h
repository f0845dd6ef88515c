// RSA keys: the public key (modulus and public exponent) and the private key with its CRT values.
// Both are immutable; every number is given and returned as a big-endian byte array without
// leading zero bytes.
//
// IKey::Create imports them from their encoded forms:
//   "X509"              a DER SubjectPublicKeyInfo of an RSA key (rsaEncryption) -> IRSAPublicKey
//   "PKCS8"             a DER PKCS #8 PrivateKeyInfo of an RSA key (unencrypted) -> IRSAPrivateCRTKey
//   "MSPrivateKeyBlob"  a CryptoAPI PRIVATEKEYBLOB of an RSA key ("RSA2")        -> IRSAPrivateCRTKey
// Bytes that do not decode as the format says throw CRYPTO_BAD_PARAM; a key of another type than
// RSA, or an algorithm other than "RSA", throws CRYPTO_NOT_SUPPORTED.
#pragma once

#include "zt/export.h"
#include "zt/key.h"
#include "zt/secure.h"

namespace ZT::Framework {

class ZT_CRYPTO_API IRSAPublicKey : public IPublicKey {
 public:
  ~IRSAPublicKey() override;

  // GetFormat gives "X509"; GetEncoded the DER SubjectPublicKeyInfo: algorithm rsaEncryption
  // (1.2.840.113549.1.1.1) with NULL parameters, and the RSAPublicKey in the BIT STRING.
  virtual ByteArray GetModulus() const = 0;
  virtual ByteArray GetPublicExponent() const = 0;

  // A new public key of the algorithm "RSA", owned by the caller. Leading zero bytes of either
  // number are dropped; a number that is then empty (zero) throws CRYPTO_BAD_PARAM.
  static IRSAPublicKey* Create(const ByteArray& baModulus, const ByteArray& baPublicExponent);
};

class ZT_CRYPTO_API IRSAPrivateCRTKey : public IPrivateKey {
 public:
  ~IRSAPrivateCRTKey() override;

  // GetFormat gives "PKCS8"; GetEncoded the DER PKCS #8 PrivateKeyInfo (version 0,
  // rsaEncryption with NULL parameters, the RSAPrivateKey in the OCTET STRING), in wiping memory.
  virtual ByteArray GetModulus() const = 0;
  virtual ByteArray GetPublicExponent() const = 0;
  virtual ByteArray GetPrivateExponent() const = 0;
  virtual ByteArray GetPrimeP() const = 0;
  virtual ByteArray GetPrimeQ() const = 0;
  virtual ByteArray GetPrimeExponentP() const = 0;  // d mod (p - 1)
  virtual ByteArray GetPrimeExponentQ() const = 0;  // d mod (q - 1)
  virtual ByteArray GetCrtCoefficient() const = 0;  // q^-1 mod p

  // A new private key of the algorithm "RSA" from its eight numbers, owned by the caller. The
  // numbers are kept as given (without leading zero bytes), not checked against each other; one
  // that is zero throws CRYPTO_BAD_PARAM.
  static IRSAPrivateCRTKey* Create(const ByteArray& baModulus, const ByteArray& baPublicExponent,
                                   const ByteArray& baPrivateExponent, const ByteArray& baPrimeP,
                                   const ByteArray& baPrimeQ, const ByteArray& baPrimeExponentP,
                                   const ByteArray& baPrimeExponentQ, const ByteArray& baCrtCoefficient);
};

}  // namespace ZT::Framework
