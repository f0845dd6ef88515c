// The outer signed structure of a certificate, shaped as the platform publishes it
// (CERT_SIGNED_CONTENT_INFO), and its structure type for CryptoUtil::DecodeObject.
#pragma once

#include "codec/crypto.asn1.keys.h"
#include "codec/crypto.asn1.types.h"
#include "codec/crypto.der.h"

namespace ZT::Framework {

struct CERT_SIGNED_CONTENT_INFO {
  ByteArray ToBeSigned;  // the whole DER element that the signature covers
  CRYPT_ALGORITHM_IDENTIFIER SignatureAlgorithm;
  CRYPT_BIT_BLOB Signature;
};

namespace Structure {

// Certificate ::= SEQUENCE { tbsCertificate TBSCertificate, signatureAlgorithm
// AlgorithmIdentifier, signatureValue BIT STRING }. The TBSCertificate is kept whole, as the
// SEQUENCE it must be; what it holds is read by whoever reads the certificate.
struct SignedContent {
  using Decoded = CERT_SIGNED_CONTENT_INFO;
  static constexpr const wchar_t* kName = L"X509_CERT";
  static bool Decode(Der::Bytes der, Decoded* out);
};

// The subjectPublicKeyInfo element of a TBSCertificate as it stands in `tbs`:
//   TBSCertificate ::= SEQUENCE { version [0] EXPLICIT Version DEFAULT v1, serialNumber INTEGER,
//     signature AlgorithmIdentifier, issuer Name, validity Validity, subject Name,
//     subjectPublicKeyInfo SubjectPublicKeyInfo, ... }
// The fields before it are stepped over by their tags; fails when one is missing.
bool SubjectPublicKeyInfoOf(Der::Bytes tbs, Der::Bytes* spki);

}  // namespace Structure

}  // namespace ZT::Framework
