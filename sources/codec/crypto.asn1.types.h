// The decoded structures of certificates, names and extensions, shaped as the platform's certificate
// services publish them (CERT_NAME_INFO, CERT_ALT_NAME_ENTRY, CERT_POLICIES_INFO, ...): the same
// structure names, the same member names, the same meaning of every member, so that the code that
// renders them reads like the platform's documentation. They differ in one way: they own their
// memory. Counted arrays (cRDN + rgRDN) are vectors, blobs (cbData + pbData) are byte arrays,
// strings are std::string (narrow OIDs) or WString (wide text), optional members pointed to are
// std::optional, and a union is a structure whose members beyond the chosen one stay empty.
//
// Three platform conventions are kept on purpose, since the renderings depend on them:
// - a CRYPT_INTEGER_BLOB holds the integer little-endian (least significant byte first), the
//   reverse of its DER order; serial numbers render in that order;
// - a string value of a name (CERT_RDN_ATTR, CERT_NAME_VALUE) of type BMP, UTF-8 or Universal
//   holds the decoded wide characters (wchar_t units, see WideValueBlob); the 8-bit string types
//   hold their content octets as encoded; CERT_RDN_OCTET_STRING holds the octets;
//   CERT_RDN_ENCODED_BLOB holds the whole encoding (tag, length and contents) of a value that is
//   not a string;
// - times are FILETIME values: 100-nanosecond ticks since 1601-01-01 UTC, kept here as one 64-bit
//   count (FileTimeTicks builds it from a FILETIME's two halves).
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "zt/secure.h"

// The platform's published constants. On Windows they come from the system's headers; elsewhere
// they are declared here with the published values.
#if defined(_WIN32)
#include <wincrypt.h>
#else

#ifndef X509_ASN_ENCODING
#define X509_ASN_ENCODING 0x00000001
#endif

// CERT_RDN_ATTR::dwValueType and CERT_NAME_VALUE::dwValueType.
#ifndef CERT_RDN_ANY_TYPE
#define CERT_RDN_ANY_TYPE 0
#define CERT_RDN_ENCODED_BLOB 1
#define CERT_RDN_OCTET_STRING 2
#define CERT_RDN_NUMERIC_STRING 3
#define CERT_RDN_PRINTABLE_STRING 4
#define CERT_RDN_TELETEX_STRING 5
#define CERT_RDN_T61_STRING 5
#define CERT_RDN_VIDEOTEX_STRING 6
#define CERT_RDN_IA5_STRING 7
#define CERT_RDN_GRAPHIC_STRING 8
#define CERT_RDN_VISIBLE_STRING 9
#define CERT_RDN_ISO646_STRING 9
#define CERT_RDN_GENERAL_STRING 10
#define CERT_RDN_UNIVERSAL_STRING 11
#define CERT_RDN_INT4_STRING 11
#define CERT_RDN_BMP_STRING 12
#define CERT_RDN_UNICODE_STRING 12
#define CERT_RDN_UTF8_STRING 13
#endif

// CERT_ALT_NAME_ENTRY::dwAltNameChoice: the GeneralName CHOICE's tag number plus one.
#ifndef CERT_ALT_NAME_OTHER_NAME
#define CERT_ALT_NAME_OTHER_NAME 1
#define CERT_ALT_NAME_RFC822_NAME 2
#define CERT_ALT_NAME_DNS_NAME 3
#define CERT_ALT_NAME_X400_ADDRESS 4
#define CERT_ALT_NAME_DIRECTORY_NAME 5
#define CERT_ALT_NAME_EDI_PARTY_NAME 6
#define CERT_ALT_NAME_URL 7
#define CERT_ALT_NAME_IP_ADDRESS 8
#define CERT_ALT_NAME_REGISTERED_ID 9
#endif

// CRL_DIST_POINT_NAME::dwDistPointNameChoice.
#ifndef CRL_DIST_POINT_NO_NAME
#define CRL_DIST_POINT_NO_NAME 0
#define CRL_DIST_POINT_FULL_NAME 1
#define CRL_DIST_POINT_ISSUER_RDN_NAME 2
#endif

// String types and options of the X.500 text form (CertNameToStrW, CertStrToNameW).
#ifndef CERT_X500_NAME_STR
#define CERT_SIMPLE_NAME_STR 1
#define CERT_OID_NAME_STR 2
#define CERT_X500_NAME_STR 3
#endif
#ifndef CERT_NAME_STR_REVERSE_FLAG
#define CERT_NAME_STR_SEMICOLON_FLAG 0x40000000
#define CERT_NAME_STR_NO_PLUS_FLAG 0x20000000
#define CERT_NAME_STR_NO_QUOTING_FLAG 0x10000000
#define CERT_NAME_STR_CRLF_FLAG 0x08000000
#define CERT_NAME_STR_COMMA_FLAG 0x04000000
#define CERT_NAME_STR_REVERSE_FLAG 0x02000000
#endif

// Last-error codes of the encoders and decoders.
#ifndef CRYPT_E_INVALID_X500_STRING
#define CRYPT_E_INVALID_NUMERIC_STRING 0x80092020u
#define CRYPT_E_INVALID_PRINTABLE_STRING 0x80092021u
#define CRYPT_E_INVALID_IA5_STRING 0x80092022u
#define CRYPT_E_INVALID_X500_STRING 0x80092023u
#endif
#ifndef CRYPT_E_ASN1_CORRUPT
#define CRYPT_E_ASN1_CORRUPT 0x80093103u
#endif

#endif  // _WIN32

namespace ZT::Framework {

// A platform blob (CRYPT_DATA_BLOB, CRYPT_OBJID_BLOB, CERT_NAME_BLOB, CERT_RDN_VALUE_BLOB, ...).
using CRYPT_DATA_BLOB = ByteArray;
using CRYPT_OBJID_BLOB = ByteArray;  // a whole DER element kept for later decoding
using CERT_NAME_BLOB = ByteArray;    // a DER Name
using CERT_RDN_VALUE_BLOB = ByteArray;
using CRYPT_INTEGER_BLOB = ByteArray;  // little-endian, see above

// A FILETIME as one count of 100-nanosecond ticks since 1601-01-01 UTC.
using FileTimeTicksValue = std::uint64_t;

// The tick count of anything shaped as a FILETIME (dwLowDateTime, dwHighDateTime).
template <class FileTime>
constexpr FileTimeTicksValue FileTimeTicks(const FileTime& ft) {
  return static_cast<FileTimeTicksValue>(ft.dwHighDateTime) << 32 | ft.dwLowDateTime;
}

// A BIT STRING: the bytes, most significant bit first, and the unused bits of the last byte.
struct CRYPT_BIT_BLOB {
  ByteArray pbData;
  std::uint32_t cUnusedBits = 0;
};

// ---- names ----------------------------------------------------------------------------------

struct CERT_RDN_ATTR {
  std::string pszObjId;  // dotted OID of the attribute type
  std::uint32_t dwValueType = CERT_RDN_ANY_TYPE;
  CERT_RDN_VALUE_BLOB Value;
};

// One relative distinguished name: its attributes in encoding order.
struct CERT_RDN {
  std::vector<CERT_RDN_ATTR> rgRDNAttr;
};

// A Name: its RDNs in encoding order.
struct CERT_NAME_INFO {
  std::vector<CERT_RDN> rgRDN;
};

// A value of any type (X509_ANY_STRING), with the same value conventions as CERT_RDN_ATTR.
struct CERT_NAME_VALUE {
  std::uint32_t dwValueType = CERT_RDN_ANY_TYPE;
  CERT_RDN_VALUE_BLOB Value;
};

// True for the value types whose Value holds wide characters.
bool IsWideValueType(std::uint32_t dwValueType);
// True for the value types that are character strings (all but ANY, ENCODED_BLOB and OCTET_STRING).
bool IsStringValueType(std::uint32_t dwValueType);
// The Value blob of wide text (wchar_t units, no terminator), and the text of such a blob.
CERT_RDN_VALUE_BLOB WideValueBlob(const WString& text);
WString WideValueText(const CERT_RDN_VALUE_BLOB& value);
// The characters of a string value (IsStringValueType): the wide types as held, the 8-bit types
// read from their octets as Der::DecodeString reads their universal type. Octets that it refuses
// (a value made by hand, not decoded) give one character per octet.
WString StringValueText(std::uint32_t dwValueType, const CERT_RDN_VALUE_BLOB& value);

// ---- general names --------------------------------------------------------------------------

struct CERT_OTHER_NAME {
  std::string pszObjId;    // type-id
  CRYPT_OBJID_BLOB Value;  // the DER element inside the [0] EXPLICIT wrapper
};

// One GeneralName. dwAltNameChoice says which member holds the value; X.400 addresses and EDI
// party names keep their contents octets in Raw (the platform's structure has no member for
// them, and nothing here renders them).
struct CERT_ALT_NAME_ENTRY {
  std::uint32_t dwAltNameChoice = 0;
  std::optional<CERT_OTHER_NAME> pOtherName;  // CERT_ALT_NAME_OTHER_NAME
  WString pwszRfc822Name;                     // CERT_ALT_NAME_RFC822_NAME
  WString pwszDNSName;                        // CERT_ALT_NAME_DNS_NAME
  WString pwszURL;                            // CERT_ALT_NAME_URL
  CERT_NAME_BLOB DirectoryName;               // CERT_ALT_NAME_DIRECTORY_NAME: a DER Name
  CRYPT_DATA_BLOB IPAddress;                  // CERT_ALT_NAME_IP_ADDRESS
  std::string pszRegisteredID;                // CERT_ALT_NAME_REGISTERED_ID
  ByteArray Raw;                              // X.400 address, EDI party name
};

struct CERT_ALT_NAME_INFO {
  std::vector<CERT_ALT_NAME_ENTRY> rgAltEntry;
};

// ---- key identifiers and constraints --------------------------------------------------------

// Authority key identifier, superseded form (2.5.29.1).
struct CERT_AUTHORITY_KEY_ID_INFO {
  CRYPT_DATA_BLOB KeyId;
  CERT_NAME_BLOB CertIssuer;
  CRYPT_INTEGER_BLOB CertSerialNumber;
};

// Authority key identifier (2.5.29.35).
struct CERT_AUTHORITY_KEY_ID2_INFO {
  CRYPT_DATA_BLOB KeyId;
  CERT_ALT_NAME_INFO AuthorityCertIssuer;
  CRYPT_INTEGER_BLOB AuthorityCertSerialNumber;
};

struct CERT_BASIC_CONSTRAINTS2_INFO {
  bool fCA = false;
  bool fPathLenConstraint = false;
  std::uint32_t dwPathLenConstraint = 0;
};

// ---- policies -------------------------------------------------------------------------------

struct CERT_POLICY_QUALIFIER_INFO {
  std::string pszPolicyQualifierId;
  CRYPT_OBJID_BLOB Qualifier;  // the qualifier's whole DER element
};

struct CERT_POLICY_INFO {
  std::string pszPolicyIdentifier;
  std::vector<CERT_POLICY_QUALIFIER_INFO> rgPolicyQualifier;
};

struct CERT_POLICIES_INFO {
  std::vector<CERT_POLICY_INFO> rgPolicyInfo;
};

struct CERT_POLICY_QUALIFIER_NOTICE_REFERENCE {
  std::string pszOrganization;
  std::vector<std::int32_t> rgNoticeNumbers;
};

// The user-notice qualifier (1.3.6.1.5.5.7.2.2).
struct CERT_POLICY_QUALIFIER_USER_NOTICE {
  std::optional<CERT_POLICY_QUALIFIER_NOTICE_REFERENCE> pNoticeReference;
  std::optional<WString> pszDisplayText;
};

struct CERT_ENHKEY_USAGE {
  std::vector<std::string> rgpszUsageIdentifier;
};

// ---- CRL distribution points and access descriptions ----------------------------------------

struct CRL_DIST_POINT_NAME {
  std::uint32_t dwDistPointNameChoice = CRL_DIST_POINT_NO_NAME;
  CERT_ALT_NAME_INFO FullName;  // CRL_DIST_POINT_FULL_NAME
};

struct CRL_DIST_POINT {
  CRL_DIST_POINT_NAME DistPointName;
  CRYPT_BIT_BLOB ReasonFlags;
  CERT_ALT_NAME_INFO CRLIssuer;
};

struct CRL_DIST_POINTS_INFO {
  std::vector<CRL_DIST_POINT> rgDistPoint;
};

struct CERT_ACCESS_DESCRIPTION {
  std::string pszAccessMethod;
  CERT_ALT_NAME_ENTRY AccessLocation;
};

struct CERT_AUTHORITY_INFO_ACCESS {
  std::vector<CERT_ACCESS_DESCRIPTION> rgAccDescr;
};

// ---- superseded key extensions (2.5.29.2, 2.5.29.4) -----------------------------------------

// An absent bound stays 0, the FILETIME the platform leaves in it.
struct CERT_PRIVATE_KEY_VALIDITY {
  FileTimeTicksValue NotBefore = 0;
  FileTimeTicksValue NotAfter = 0;
};

struct CERT_KEY_ATTRIBUTES_INFO {
  CRYPT_DATA_BLOB KeyId;
  CRYPT_BIT_BLOB IntendedKeyUsage;
  std::optional<CERT_PRIVATE_KEY_VALIDITY> pPrivateKeyUsagePeriod;
};

// A certificate policy of the restriction: a sequence of OIDs.
struct CERT_POLICY_ID {
  std::vector<std::string> rgpszCertPolicyElementId;
};

struct CERT_KEY_USAGE_RESTRICTION_INFO {
  std::vector<CERT_POLICY_ID> rgCertPolicyId;
  CRYPT_BIT_BLOB RestrictedKeyUsage;
};

// ---- capabilities, templates, attributes ----------------------------------------------------

struct CRYPT_SMIME_CAPABILITY {
  std::string pszObjId;
  CRYPT_OBJID_BLOB Parameters;  // the parameters' whole DER element; empty when absent
};

struct CRYPT_SMIME_CAPABILITIES {
  std::vector<CRYPT_SMIME_CAPABILITY> rgCapability;
};

// Certificate template (1.3.6.1.4.1.311.21.7).
struct CERT_TEMPLATE_EXT {
  std::string pszObjId;
  std::uint32_t dwMajorVersion = 0;
  bool fMinorVersion = false;
  std::uint32_t dwMinorVersion = 0;
};

// SEQUENCE OF ANY: every element's whole DER encoding.
struct CRYPT_SEQUENCE_OF_ANY {
  std::vector<CRYPT_OBJID_BLOB> rgValue;
};

// An Attribute (PKCS_ATTRIBUTE): type and every value's whole DER encoding.
struct CRYPT_ATTRIBUTE {
  std::string pszObjId;
  std::vector<CRYPT_OBJID_BLOB> rgValue;
};

}  // namespace ZT::Framework
