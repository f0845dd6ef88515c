// Certificates: the outer signed structure that certificates and CRLs share, the to-be-signed part
// of a certificate and its extensions, each with its one reader (which the engines and the
// platform's certificate services both use), and the owning form of the signed structure with its
// structure type for CryptoUtil::DecodeObject.
#pragma once

#include <cstdint>
#include <string>

#include "codec/crypto.asn1.keys.h"
#include "codec/crypto.der.h"
#include "codec/crypto.der.time.h"

namespace ZT::Framework {

namespace Asn1 {

// A signed object as it stands in the bytes read:
//   Certificate ::= SEQUENCE { tbsCertificate TBSCertificate, signatureAlgorithm AlgorithmIdentifier,
//                              signatureValue BIT STRING }
// and CertificateList (a CRL) likewise. `toBeSigned` is the whole SEQUENCE that the signature
// covers; what it holds is read by whoever reads the object.
struct SignedObjectView {
  Der::Bytes toBeSigned;
  AlgorithmIdentifierView signatureAlgorithm;
  Der::Bytes signature;
};

// A TBSCertificate as it stands in the bytes read (RFC 5280 4.1).
struct TbsCertificateView {
  std::uint64_t version = 0;         // as encoded: 0 for v1 (also when absent), 2 for v3
  Der::Bytes serialNumber;           // the INTEGER's two's-complement contents, big-endian
  AlgorithmIdentifierView signature;
  Der::Bytes issuer;                 // the whole Name element
  Der::CalendarTime notBefore;
  Der::CalendarTime notAfter;
  Der::Bytes subject;                // the whole Name element
  Der::Bytes subjectPublicKeyInfo;   // the whole element, as signed
  SubjectPublicKeyInfoView publicKey;
  bool hasIssuerUniqueId = false;
  Der::BitString issuerUniqueId;
  bool hasSubjectUniqueId = false;
  Der::BitString subjectUniqueId;
  Der::Reader extensions;            // the contents of the SEQUENCE OF Extension; empty when absent
};

// An Extension as it stands in the bytes read.
struct ExtensionView {
  std::string oid;
  bool critical = false;
  Der::Bytes value;  // the contents of extnValue
};

// A signed object kept as copies of what SignedObjectView views.
struct SignedObject {
  ByteArray ToBeSigned;  // the whole DER element that the signature covers
  AlgorithmIdentifier SignatureAlgorithm;
  BitStringBytes Signature;
};

}  // namespace Asn1

namespace Asn1Read {

// The signed object `der`: exactly one, nothing after it. The signature must be a whole number of
// bytes (no unused bits), as every signature algorithm makes it.
bool ReadSignedObject(Der::Bytes der, Asn1::SignedObjectView* out);

// The TBSCertificate `tbs`: exactly one, nothing after it.
//   TBSCertificate ::= SEQUENCE { version [0] EXPLICIT Version DEFAULT v1, serialNumber INTEGER,
//     signature AlgorithmIdentifier, issuer Name, validity Validity, subject Name,
//     subjectPublicKeyInfo SubjectPublicKeyInfo, issuerUniqueID [1] IMPLICIT BIT STRING OPTIONAL,
//     subjectUniqueID [2] IMPLICIT BIT STRING OPTIONAL, extensions [3] EXPLICIT Extensions OPTIONAL }
// An explicit v1 version, which DER leaves out, is met in the field and read; a version beyond
// 32 bits fails. The extensions are left to ReadExtension, one at a time.
bool ReadTbsCertificate(Der::Bytes tbs, Asn1::TbsCertificateView* out);

// Extension ::= SEQUENCE { extnID OID, critical BOOLEAN DEFAULT FALSE, extnValue OCTET STRING }.
// An explicit FALSE, which DER leaves out, is read as FALSE.
bool ReadExtension(Der::Reader& in, Asn1::ExtensionView* out);

}  // namespace Asn1Read

namespace Structure {

// The signed structure of a certificate (ReadSignedObject), kept as copies.
struct SignedContent {
  using Decoded = Asn1::SignedObject;
  static constexpr const wchar_t* kName = L"X509_CERT";
  static bool Decode(Der::Bytes der, Decoded* out);
};

}  // namespace Structure

}  // namespace ZT::Framework
