// The extensions of certificates and the small universal structures (integer, time, sequence of
// any, attribute): their decoded forms and their structure types, each decoder written as the
// steps of its ASN.1 definition.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "codec/crypto.asn1.h"
#include "codec/crypto.asn1.names.h"
#include "codec/crypto.der.h"

namespace ZT::Framework {

namespace Asn1 {

// Which alternative a DistributionPointName holds (its dwDistPointNameChoice), numbered as the
// platform numbers it.
enum DistributionPointNameChoice : std::uint32_t {
  kNoDistributionPointName = 0,
  kFullName = 1,
  kNameRelativeToCrlIssuer = 2,
};

// ---- key identifiers and constraints --------------------------------------------------------

// Authority key identifier, superseded form (2.5.29.1).
struct SupersededAuthorityKeyId {
  ByteArray KeyId;
  EncodedName CertIssuer;
  LittleEndianInteger CertSerialNumber;
};

// Authority key identifier (2.5.29.35).
struct AuthorityKeyIdentifier {
  ByteArray KeyId;
  GeneralNames AuthorityCertIssuer;
  LittleEndianInteger AuthorityCertSerialNumber;
};

struct BasicConstraints {
  bool fCA = false;
  bool fPathLenConstraint = false;
  std::uint32_t dwPathLenConstraint = 0;
};

// ---- policies -------------------------------------------------------------------------------

struct PolicyQualifierInfo {
  std::string pszPolicyQualifierId;
  EncodedElement Qualifier;  // the qualifier's whole DER element
};

struct PolicyInformation {
  std::string pszPolicyIdentifier;
  std::vector<PolicyQualifierInfo> rgPolicyQualifier;
};

struct CertificatePolicies {
  std::vector<PolicyInformation> rgPolicyInfo;
};

struct NoticeReference {
  std::string pszOrganization;
  std::vector<std::int32_t> rgNoticeNumbers;
};

// The user-notice qualifier (1.3.6.1.5.5.7.2.2).
struct UserNotice {
  std::optional<NoticeReference> pNoticeReference;
  std::optional<WString> pszDisplayText;
};

struct ExtKeyUsageSyntax {
  std::vector<std::string> rgpszUsageIdentifier;
};

// ---- CRL distribution points and access descriptions ----------------------------------------

struct DistributionPointName {
  std::uint32_t dwDistPointNameChoice = kNoDistributionPointName;
  GeneralNames FullName;  // kFullName
};

struct DistributionPoint {
  DistributionPointName DistPointName;
  BitStringBytes ReasonFlags;
  GeneralNames CRLIssuer;
};

struct CrlDistributionPoints {
  std::vector<DistributionPoint> rgDistPoint;
};

struct AccessDescription {
  std::string pszAccessMethod;
  GeneralName AccessLocation;
};

struct AuthorityInfoAccessSyntax {
  std::vector<AccessDescription> rgAccDescr;
};

// ---- superseded key extensions (2.5.29.2, 2.5.29.4) -----------------------------------------

// An absent bound stays 0, the FILETIME the platform leaves in it.
struct PrivateKeyValidity {
  FileTimeTicksValue NotBefore = 0;
  FileTimeTicksValue NotAfter = 0;
};

struct KeyAttributesSyntax {
  ByteArray KeyId;
  BitStringBytes IntendedKeyUsage;
  std::optional<PrivateKeyValidity> pPrivateKeyUsagePeriod;
};

// A certificate policy of the restriction: a sequence of OIDs.
struct CertPolicyId {
  std::vector<std::string> rgpszCertPolicyElementId;
};

struct KeyUsageRestrictionSyntax {
  std::vector<CertPolicyId> rgCertPolicyId;
  BitStringBytes RestrictedKeyUsage;
};

// ---- capabilities, templates, attributes ----------------------------------------------------

struct SMimeCapability {
  std::string pszObjId;
  EncodedElement Parameters;  // the parameters' whole DER element; empty when absent
};

struct SMimeCapabilityList {
  std::vector<SMimeCapability> rgCapability;
};

// Certificate template (1.3.6.1.4.1.311.21.7).
struct CertificateTemplateInfo {
  std::string pszObjId;
  std::uint32_t dwMajorVersion = 0;
  bool fMinorVersion = false;
  std::uint32_t dwMinorVersion = 0;
};

// SEQUENCE OF ANY: every element's whole DER encoding.
struct ElementList {
  std::vector<EncodedElement> rgValue;
};

// An Attribute (PKCS_ATTRIBUTE): type and every value's whole DER encoding.
struct Attribute {
  std::string pszObjId;
  std::vector<EncodedElement> rgValue;
};

}  // namespace Asn1

namespace Structure {

// The superseded authority key identifier:
//   AuthorityKeyId ::= SEQUENCE { keyIdentifier [0] IMPLICIT OCTET STRING OPTIONAL,
//                                 certIssuer [1] EXPLICIT Name OPTIONAL,
//                                 certSerialNumber [2] IMPLICIT INTEGER OPTIONAL }
// certIssuer is explicitly tagged because Name is a CHOICE, which an implicit tag cannot carry.
struct AuthorityKeyId {
  using Decoded = Asn1::SupersededAuthorityKeyId;
  static constexpr const wchar_t* kName = L"2.5.29.1";
  static bool Decode(Der::Bytes der, Decoded* out);
};

// AuthorityKeyIdentifier of RFC 5280 4.2.1.1.
struct AuthorityKeyId2 {
  using Decoded = Asn1::AuthorityKeyIdentifier;
  static constexpr const wchar_t* kName = L"2.5.29.35";
  static bool Decode(Der::Bytes der, Decoded* out);
};

// SubjectKeyIdentifier ::= OCTET STRING.
struct SubjectKeyId {
  using Decoded = ByteArray;
  static constexpr const wchar_t* kName = L"2.5.29.14";
  static bool Decode(Der::Bytes der, Decoded* out);
};

// BasicConstraints ::= SEQUENCE { cA BOOLEAN DEFAULT FALSE, pathLenConstraint INTEGER (0..MAX)
// OPTIONAL }. DER leaves a FALSE cA out, but certificates in the field write it; it is read as
// FALSE rather than refused. A limit beyond 32 bits fails.
struct BasicConstraints2 {
  using Decoded = Asn1::BasicConstraints;
  static constexpr const wchar_t* kName = L"2.5.29.19";
  static bool Decode(Der::Bytes der, Decoded* out);
};

// certificatePolicies (RFC 5280 4.2.1.4); each qualifier is kept as its whole element.
struct CertPolicies {
  using Decoded = Asn1::CertificatePolicies;
  static constexpr const wchar_t* kName = L"2.5.29.32";
  static bool Decode(Der::Bytes der, Decoded* out);
};

// UserNotice ::= SEQUENCE { noticeRef NoticeReference OPTIONAL, explicitText DisplayText OPTIONAL }.
struct PolicyQualifierUserNotice {
  using Decoded = Asn1::UserNotice;
  static constexpr const wchar_t* kName = L"1.3.6.1.5.5.7.2.2";
  static bool Decode(Der::Bytes der, Decoded* out);
};

// KeyUsage ::= BIT STRING.
struct KeyUsage {
  using Decoded = Asn1::BitStringBytes;
  static constexpr const wchar_t* kName = L"2.5.29.15";
  static bool Decode(Der::Bytes der, Decoded* out);
};

// Any BIT STRING.
struct Bits {
  using Decoded = Asn1::BitStringBytes;
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
  using Decoded = Asn1::KeyAttributesSyntax;
  static constexpr const wchar_t* kName = L"2.5.29.2";
  static bool Decode(Der::Bytes der, Decoded* out);
};

// The superseded key usage restriction:
//   KeyUsageRestriction ::= SEQUENCE { certPolicySet SEQUENCE OF CertPolicyId OPTIONAL,
//                                      restrictedKeyUsage BIT STRING OPTIONAL }
//   CertPolicyId ::= SEQUENCE OF OBJECT IDENTIFIER
struct KeyUsageRestriction {
  using Decoded = Asn1::KeyUsageRestrictionSyntax;
  static constexpr const wchar_t* kName = L"2.5.29.4";
  static bool Decode(Der::Bytes der, Decoded* out);
};

// ExtKeyUsageSyntax ::= SEQUENCE SIZE (1..MAX) OF KeyPurposeId. An empty SEQUENCE, which issuers
// write and OpenSSL reads, is read as an empty list.
struct EnhancedKeyUsage {
  using Decoded = Asn1::ExtKeyUsageSyntax;
  static constexpr const wchar_t* kName = L"2.5.29.37";
  static bool Decode(Der::Bytes der, Decoded* out);
};

// CRLDistributionPoints (RFC 5280 4.2.1.13).
struct CrlDistPoints {
  using Decoded = Asn1::CrlDistributionPoints;
  static constexpr const wchar_t* kName = L"2.5.29.31";
  static bool Decode(Der::Bytes der, Decoded* out);
};

// AuthorityInfoAccessSyntax (RFC 5280 4.2.2.1).
struct AuthorityInfoAccess {
  using Decoded = Asn1::AuthorityInfoAccessSyntax;
  static constexpr const wchar_t* kName = L"1.3.6.1.5.5.7.1.1";
  static bool Decode(Der::Bytes der, Decoded* out);
};

// SMIMECapabilities ::= SEQUENCE OF SEQUENCE { capabilityID OID, parameters ANY OPTIONAL }.
struct SMimeCapabilities {
  using Decoded = Asn1::SMimeCapabilityList;
  static constexpr const wchar_t* kName = L"1.2.840.113549.1.9.15";
  static bool Decode(Der::Bytes der, Decoded* out);
};

// CertificateTemplate ::= SEQUENCE { templateID OID, templateMajorVersion INTEGER (0..4294967295),
//                                    templateMinorVersion INTEGER (0..4294967295) OPTIONAL }
struct CertificateTemplate {
  using Decoded = Asn1::CertificateTemplateInfo;
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
  using Decoded = Asn1::ElementList;
  static constexpr const wchar_t* kName = L"X509_SEQUENCE_OF_ANY";
  static bool Decode(Der::Bytes der, Decoded* out);
};

// Attribute ::= SEQUENCE { type OID, values SET OF ANY }.
struct PkcsAttribute {
  using Decoded = Asn1::Attribute;
  static constexpr const wchar_t* kName = L"PKCS_ATTRIBUTE";
  static bool Decode(Der::Bytes der, Decoded* out);
};

}  // namespace Structure

}  // namespace ZT::Framework
