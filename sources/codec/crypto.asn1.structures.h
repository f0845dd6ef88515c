// The structure types of names, general names, extensions and attribute values: what
// CryptoUtil::DecodeObject and CryptoUtil::EncodeObject take as their type argument (see
// sources/cng/crypto.cng.util.h for the contract a structure type meets).
//
// Each type is named after the platform's structure selector it stands for (kName: "X509_NAME",
// or the extension's OID where the platform selects the decoder by OID) and decodes exactly one
// DER element into the published structure of crypto.asn1.types.h. Every decoder is strict: the
// element must be DER, nothing may follow it, and any tag, length or value error fails the whole
// decode (nothing half-decoded is returned).
#pragma once

#include <cstdint>

#include "codec/crypto.asn1.types.h"
#include "codec/crypto.der.h"

namespace ZT::Framework::Structure {

// Name ::= SEQUENCE OF SET OF AttributeTypeAndValue. Values of the string types are decoded
// (BMP, UTF-8 and Universal to wide text, the others kept as their octets after their character
// set is checked), OCTET STRING keeps its octets, anything else is CERT_RDN_ENCODED_BLOB.
// Encode writes the attributes of each RDN as a DER SET OF (sorted) and fails on a value that
// its type cannot hold.
struct X509Name {
  using Decoded = CERT_NAME_INFO;
  static constexpr const wchar_t* kName = L"X509_NAME";
  static bool Decode(Der::Bytes der, Decoded* out);
  static bool Encode(const Decoded& in, ByteArray* der);
};

// Any one element as a CERT_NAME_VALUE, under the value conventions of X509Name.
struct AnyString {
  using Decoded = CERT_NAME_VALUE;
  static constexpr const wchar_t* kName = L"X509_ANY_STRING";
  static bool Decode(Der::Bytes der, Decoded* out);
};

// GeneralNames (the alternative-name extensions 2.5.29.7, 2.5.29.8, 2.5.29.17, 2.5.29.18); an
// empty SEQUENCE is an empty list (see Asn1Read::ReadGeneralNames).
struct AlternateName {
  using Decoded = CERT_ALT_NAME_INFO;
  static constexpr const wchar_t* kName = L"X509_ALTERNATE_NAME";
  static bool Decode(Der::Bytes der, Decoded* out);
};

// The superseded authority key identifier:
//   AuthorityKeyId ::= SEQUENCE { keyIdentifier [0] IMPLICIT OCTET STRING OPTIONAL,
//                                 certIssuer [1] EXPLICIT Name OPTIONAL,
//                                 certSerialNumber [2] IMPLICIT INTEGER OPTIONAL }
// certIssuer is explicitly tagged because Name is a CHOICE, which an implicit tag cannot carry.
struct AuthorityKeyId {
  using Decoded = CERT_AUTHORITY_KEY_ID_INFO;
  static constexpr const wchar_t* kName = L"2.5.29.1";
  static bool Decode(Der::Bytes der, Decoded* out);
};

// AuthorityKeyIdentifier of RFC 5280 4.2.1.1.
struct AuthorityKeyId2 {
  using Decoded = CERT_AUTHORITY_KEY_ID2_INFO;
  static constexpr const wchar_t* kName = L"2.5.29.35";
  static bool Decode(Der::Bytes der, Decoded* out);
};

// SubjectKeyIdentifier ::= OCTET STRING.
struct SubjectKeyId {
  using Decoded = CRYPT_DATA_BLOB;
  static constexpr const wchar_t* kName = L"2.5.29.14";
  static bool Decode(Der::Bytes der, Decoded* out);
};

// BasicConstraints ::= SEQUENCE { cA BOOLEAN DEFAULT FALSE, pathLenConstraint INTEGER (0..MAX)
// OPTIONAL }. DER leaves a FALSE cA out, but certificates in the field write it; it is read as
// FALSE rather than refused. A limit beyond 32 bits fails.
struct BasicConstraints2 {
  using Decoded = CERT_BASIC_CONSTRAINTS2_INFO;
  static constexpr const wchar_t* kName = L"2.5.29.19";
  static bool Decode(Der::Bytes der, Decoded* out);
};

// certificatePolicies (RFC 5280 4.2.1.4); each qualifier is kept as its whole element.
struct CertPolicies {
  using Decoded = CERT_POLICIES_INFO;
  static constexpr const wchar_t* kName = L"2.5.29.32";
  static bool Decode(Der::Bytes der, Decoded* out);
};

// UserNotice ::= SEQUENCE { noticeRef NoticeReference OPTIONAL, explicitText DisplayText OPTIONAL }.
struct PolicyQualifierUserNotice {
  using Decoded = CERT_POLICY_QUALIFIER_USER_NOTICE;
  static constexpr const wchar_t* kName = L"1.3.6.1.5.5.7.2.2";
  static bool Decode(Der::Bytes der, Decoded* out);
};

// KeyUsage ::= BIT STRING.
struct KeyUsage {
  using Decoded = CRYPT_BIT_BLOB;
  static constexpr const wchar_t* kName = L"2.5.29.15";
  static bool Decode(Der::Bytes der, Decoded* out);
};

// Any BIT STRING.
struct Bits {
  using Decoded = CRYPT_BIT_BLOB;
  static constexpr const wchar_t* kName = L"X509_BITS";
  static bool Decode(Der::Bytes der, Decoded* out);
};

// The superseded key attributes:
//   KeyAttributes ::= SEQUENCE { keyIdentifier OCTET STRING OPTIONAL,
//                                intendedKeyUsage BIT STRING OPTIONAL,
//                                privateKeyUsagePeriod PrivateKeyValidity OPTIONAL }
//   PrivateKeyValidity ::= SEQUENCE { notBefore [0] IMPLICIT GeneralizedTime OPTIONAL,
//                                     notAfter [1] IMPLICIT GeneralizedTime OPTIONAL }
struct KeyAttributes {
  using Decoded = CERT_KEY_ATTRIBUTES_INFO;
  static constexpr const wchar_t* kName = L"2.5.29.2";
  static bool Decode(Der::Bytes der, Decoded* out);
};

// The superseded key usage restriction:
//   KeyUsageRestriction ::= SEQUENCE { certPolicySet SEQUENCE OF CertPolicyId OPTIONAL,
//                                      restrictedKeyUsage BIT STRING OPTIONAL }
//   CertPolicyId ::= SEQUENCE OF OBJECT IDENTIFIER
struct KeyUsageRestriction {
  using Decoded = CERT_KEY_USAGE_RESTRICTION_INFO;
  static constexpr const wchar_t* kName = L"2.5.29.4";
  static bool Decode(Der::Bytes der, Decoded* out);
};

// ExtKeyUsageSyntax ::= SEQUENCE SIZE (1..MAX) OF KeyPurposeId. An empty SEQUENCE, which issuers
// write and OpenSSL reads, is read as an empty list.
struct EnhancedKeyUsage {
  using Decoded = CERT_ENHKEY_USAGE;
  static constexpr const wchar_t* kName = L"2.5.29.37";
  static bool Decode(Der::Bytes der, Decoded* out);
};

// CRLDistributionPoints (RFC 5280 4.2.1.13).
struct CrlDistPoints {
  using Decoded = CRL_DIST_POINTS_INFO;
  static constexpr const wchar_t* kName = L"2.5.29.31";
  static bool Decode(Der::Bytes der, Decoded* out);
};

// AuthorityInfoAccessSyntax (RFC 5280 4.2.2.1).
struct AuthorityInfoAccess {
  using Decoded = CERT_AUTHORITY_INFO_ACCESS;
  static constexpr const wchar_t* kName = L"1.3.6.1.5.5.7.1.1";
  static bool Decode(Der::Bytes der, Decoded* out);
};

// SMIMECapabilities ::= SEQUENCE OF SEQUENCE { capabilityID OID, parameters ANY OPTIONAL }.
struct SMimeCapabilities {
  using Decoded = CRYPT_SMIME_CAPABILITIES;
  static constexpr const wchar_t* kName = L"1.2.840.113549.1.9.15";
  static bool Decode(Der::Bytes der, Decoded* out);
};

// CertificateTemplate ::= SEQUENCE { templateID OID, templateMajorVersion INTEGER (0..4294967295),
//                                    templateMinorVersion INTEGER (0..4294967295) OPTIONAL }
struct CertificateTemplate {
  using Decoded = CERT_TEMPLATE_EXT;
  static constexpr const wchar_t* kName = L"1.3.6.1.4.1.311.21.7";
  static bool Decode(Der::Bytes der, Decoded* out);
};

// An INTEGER that fits 32 bits signed.
struct Integer {
  using Decoded = std::int32_t;
  static constexpr const wchar_t* kName = L"X509_INTEGER";
  static bool Decode(Der::Bytes der, Decoded* out);
};

// Time ::= CHOICE { utcTime UTCTime, generalTime GeneralizedTime }, as a FILETIME; a time
// before 1601 has no FILETIME and fails.
struct ChoiceOfTime {
  using Decoded = FileTimeTicksValue;
  static constexpr const wchar_t* kName = L"X509_CHOICE_OF_TIME";
  static bool Decode(Der::Bytes der, Decoded* out);
};

// SEQUENCE OF ANY.
struct SequenceOfAny {
  using Decoded = CRYPT_SEQUENCE_OF_ANY;
  static constexpr const wchar_t* kName = L"X509_SEQUENCE_OF_ANY";
  static bool Decode(Der::Bytes der, Decoded* out);
};

// Attribute ::= SEQUENCE { type OID, values SET OF ANY }.
struct PkcsAttribute {
  using Decoded = CRYPT_ATTRIBUTE;
  static constexpr const wchar_t* kName = L"PKCS_ATTRIBUTE";
  static bool Decode(Der::Bytes der, Decoded* out);
};

}  // namespace ZT::Framework::Structure
