// RSA key objects: the public key that the RSA cipher and the signatures take, and the private key
// with its CRT values. Both hold only their numbers (and the public key its encoding): building
// one does not reach the platform, which sees the key when an engine uses it.
#pragma once

#include <memory>

#include "codec/crypto.asn1.keys.h"
#include "zt/rsakey.h"

namespace ZT::Framework {

class CCNGRSAPublicKey final : public IRSAPublicKey {
 public:
  // A key of `pAlgorithm` over `numbers` (positive, without leading zero bytes). Writes the
  // SubjectPublicKeyInfo once; nothing else is computed.
  CCNGRSAPublicKey(std::unique_ptr<IAlgorithm> pAlgorithm, Asn1::RsaPublicKeyNumbers numbers);
  ~CCNGRSAPublicKey() override;

  IKey* Clone() const override;
  IAlgorithm* GetAlgorithm() const override;
  WString GetFormat() const override;     // "X509"
  ByteArray GetEncoded() const override;  // the DER SubjectPublicKeyInfo
  ByteArray GetModulus() const override;
  ByteArray GetPublicExponent() const override;

  // The key of a DER SubjectPublicKeyInfo (`pAlgorithm` taken): an rsaEncryption key with NULL
  // (or absent) parameters. Bytes that are not one throw CRYPTO_BAD_PARAM; another key type
  // throws CRYPTO_NOT_SUPPORTED ("Only RSA keys are supported").
  static CCNGRSAPublicKey* Import(std::unique_ptr<IAlgorithm> pAlgorithm, const ByteArray& baSubjectPublicKeyInfo);

 private:
  // As above, with `baEncoded` the SubjectPublicKeyInfo that encoding `numbers` gives, or empty
  // to have it written.
  CCNGRSAPublicKey(std::unique_ptr<IAlgorithm> pAlgorithm, Asn1::RsaPublicKeyNumbers numbers, ByteArray baEncoded);

  std::unique_ptr<IAlgorithm> m_pAlgorithm;
  Asn1::RsaPublicKeyNumbers m_numbers;
  ByteArray m_baEncoded;
};

class CCNGRSAPrivateCRTKey final : public IRSAPrivateCRTKey {
 public:
  // A key of `pAlgorithm` over `numbers` (positive, without leading zero bytes).
  CCNGRSAPrivateCRTKey(std::unique_ptr<IAlgorithm> pAlgorithm, Asn1::RsaPrivateKeyNumbers numbers);
  ~CCNGRSAPrivateCRTKey() override;

  IKey* Clone() const override;
  IAlgorithm* GetAlgorithm() const override;
  WString GetFormat() const override;     // "PKCS8"
  ByteArray GetEncoded() const override;  // the DER PrivateKeyInfo
  ByteArray GetModulus() const override;
  ByteArray GetPublicExponent() const override;
  ByteArray GetPrivateExponent() const override;
  ByteArray GetPrimeP() const override;
  ByteArray GetPrimeQ() const override;
  ByteArray GetPrimeExponentP() const override;
  ByteArray GetPrimeExponentQ() const override;
  ByteArray GetCrtCoefficient() const override;

  // The key of a DER PKCS #8 PrivateKeyInfo holding an rsaEncryption RSAPrivateKey.
  static CCNGRSAPrivateCRTKey* ImportPKCS8(std::unique_ptr<IAlgorithm> pAlgorithm, const ByteArray& baPrivateKeyInfo);
  // The key of a CryptoAPI RSA PRIVATEKEYBLOB (see ReadRsaPrivateKeyBlob).
  static CCNGRSAPrivateCRTKey* ImportPrivateKeyBlob(std::unique_ptr<IAlgorithm> pAlgorithm, const ByteArray& baBlob);

 private:
  std::unique_ptr<IAlgorithm> m_pAlgorithm;
  Asn1::RsaPrivateKeyNumbers m_numbers;  // secret: held in wiping memory, never traced
};

}  // namespace ZT::Framework
