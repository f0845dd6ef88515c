// Certificate containers: PKCS #7 certificate bundles, a ContentInfo of signedData whose
// SignedData has no signers and carries certificates (".p7b" files, what "openssl crl2pkcs7
// -nocrl" writes and the platform's stores save), with its one reader and its writer; and the
// certificate bag of PKCS #12, with its reader.
//
//   ContentInfo ::= SEQUENCE { contentType OID (signedData 1.2.840.113549.1.7.2),
//                              content [0] EXPLICIT SignedData }
//   SignedData ::= SEQUENCE { version INTEGER, digestAlgorithms SET OF AlgorithmIdentifier,
//                             contentInfo ContentInfo, certificates [0] IMPLICIT SET OF Certificate
//                             OPTIONAL, crls [1] IMPLICIT SET OF CertificateList OPTIONAL,
//                             signerInfos SET OF SignerInfo }
#pragma once

#include <vector>

#include "codec/crypto.der.h"
#include "codec/crypto.der.writer.h"

namespace ZT::Framework {

namespace Asn1Read {

// The certificates of the bundle `der` (exactly one ContentInfo, nothing after it), each its
// whole element, in the order they are stored (the SET OF's order is taken as it stands, sorted
// or not, as writers leave it). The SignedData must have no signer infos; its version, digest
// algorithms, inner content and CRLs are stepped over. The certificates are only framed here
// (any SEQUENCE): whoever makes certificates of them reads them.
bool ReadCertificateBundle(Der::Bytes der, std::vector<Der::Bytes>* certificates);

// The certificate of a PKCS #12 SafeBag holding a certBag of an X.509 certificate, as the bytes
// of its OCTET STRING (the certificate exactly as stored); false for any other bag.
//   SafeBag ::= SEQUENCE { bagId OID, bagValue [0] EXPLICIT ANY, bagAttributes SET OF OPTIONAL }
//   CertBag ::= SEQUENCE { certId OID (x509Certificate 1.2.840.113549.1.9.22.1),
//                          certValue [0] EXPLICIT OCTET STRING }
bool ReadCertBagCertificate(Der::Bytes safeBag, Der::Bytes* certificate);

}  // namespace Asn1Read

namespace Asn1Write {

// The bundle of `certificates` (each one whole DER certificate, written as it is, in the order
// given; the field left out when there is none): version 1, no digest algorithms, an empty data
// content, no CRLs, no signers.
void WriteCertificateBundle(Der::Writer& w, const std::vector<Der::Bytes>& certificates);

}  // namespace Asn1Write

}  // namespace ZT::Framework
