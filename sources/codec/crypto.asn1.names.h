// Names, attribute values and general names: their decoded forms, their readers (which the
// extension decoders share), and their structure types.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "codec/crypto.asn1.h"
#include "codec/crypto.der.h"

namespace ZT::Framework {

namespace Asn1 {

// The kind of value an attribute holds (AttributeTypeAndValue::dwValueType). The numbers are the
// platform's own for its value types, so that the kinds read the same on both sides.
enum ValueType : std::uint32_t {
  kAnyValue = 0,
  kEncodedValue = 1,  // not a string: the whole encoding is kept
  kOctetStringValue = 2,
  kNumericStringValue = 3,
  kPrintableStringValue = 4,
  kTeletexStringValue = 5,
  kVideotexStringValue = 6,
  kIa5StringValue = 7,
  kGraphicStringValue = 8,
  kVisibleStringValue = 9,
  kGeneralStringValue = 10,
  kUniversalStringValue = 11,
  kBmpStringValue = 12,
  kUtf8StringValue = 13,
};

// Which alternative of a GeneralName an entry holds (GeneralName::dwAltNameChoice): the CHOICE's
// tag number plus one, as the platform numbers it.
enum GeneralNameChoice : std::uint32_t {
  kOtherNameChoice = 1,
  kRfc822NameChoice = 2,
  kDnsNameChoice = 3,
  kX400AddressChoice = 4,
  kDirectoryNameChoice = 5,
  kEdiPartyNameChoice = 6,
  kUriChoice = 7,
  kIpAddressChoice = 8,
  kRegisteredIdChoice = 9,
};

// AttributeTypeAndValue ::= SEQUENCE { type OID, value ANY }
struct AttributeTypeAndValue {
  std::string pszObjId;  // dotted OID of the attribute type
  std::uint32_t dwValueType = kAnyValue;
  ValueBytes Value;
};

// RelativeDistinguishedName: its attributes in encoding order.
struct Rdn {
  std::vector<AttributeTypeAndValue> rgRDNAttr;
};

// Name (RDNSequence): its RDNs in encoding order.
struct Name {
  std::vector<Rdn> rgRDN;
};

// A value of any type, with the same value conventions as AttributeTypeAndValue.
struct AttributeValue {
  std::uint32_t dwValueType = kAnyValue;
  ValueBytes Value;
};

// OtherName ::= SEQUENCE { type-id OID, value [0] EXPLICIT ANY }
struct OtherName {
  std::string pszObjId;   // type-id
  EncodedElement Value;   // the element inside the [0] EXPLICIT wrapper
};

// One GeneralName. dwAltNameChoice says which member holds the value; X.400 addresses and EDI
// party names keep their contents octets in Raw (nothing here renders them).
struct GeneralName {
  std::uint32_t dwAltNameChoice = 0;
  std::optional<OtherName> pOtherName;  // kOtherNameChoice
  WString pwszRfc822Name;               // kRfc822NameChoice
  WString pwszDNSName;                  // kDnsNameChoice
  WString pwszURL;                      // kUriChoice
  EncodedName DirectoryName;            // kDirectoryNameChoice
  ByteArray IPAddress;                  // kIpAddressChoice
  std::string pszRegisteredID;          // kRegisteredIdChoice
  ByteArray Raw;                        // kX400AddressChoice, kEdiPartyNameChoice
};

struct GeneralNames {
  std::vector<GeneralName> rgAltEntry;
};

// True for the value types whose Value holds wide characters.
bool IsWideValueType(std::uint32_t dwValueType);
// True for the value types that are character strings (all but any, encoded and OCTET STRING).
bool IsStringValueType(std::uint32_t dwValueType);
// The Value of wide text (wchar_t units, no terminator), and the text of such a value.
ValueBytes WideValueBytes(const WString& text);
WString WideValueText(const ValueBytes& value);
// The characters of a string value (IsStringValueType): the wide types as held, the 8-bit types
// read from their octets as Der::DecodeString reads their universal type. Octets that it refuses
// (a value made by hand, not decoded) give one character per octet.
WString StringValueText(std::uint32_t dwValueType, const ValueBytes& value);

}  // namespace Asn1

namespace Asn1Read {

// One attribute value under the conventions of AttributeTypeAndValue.
bool ReadAttributeValue(Der::Reader& in, std::uint32_t* valueType, Asn1::ValueBytes* value);
// One GeneralName.
bool ReadGeneralName(Der::Reader& in, Asn1::GeneralName* out);
// GeneralNames: a SEQUENCE (or `tag` when implicitly tagged) of GeneralName. Its definition asks
// for at least one, but empty lists are issued (an empty alternative-name extension) and OpenSSL
// reads them: an empty SEQUENCE is an empty list.
bool ReadGeneralNames(Der::Reader& in, Asn1::GeneralNames* out, Der::Tag tag = Der::kSequence);

}  // namespace Asn1Read

namespace Structure {

// Name ::= SEQUENCE OF SET OF AttributeTypeAndValue. Values of the string types are decoded
// (BMP, UTF-8 and Universal to wide text, the others kept as their octets after their character
// set is checked), OCTET STRING keeps its octets, anything else is kept whole (kEncodedValue).
// Encode writes the attributes of each RDN as a DER SET OF (sorted) and fails on a value that
// its type cannot hold.
struct X509Name {
  using Decoded = Asn1::Name;
  static constexpr const wchar_t* kName = L"X509_NAME";
  static bool Decode(Der::Bytes der, Decoded* out);
  static bool Encode(const Decoded& in, ByteArray* der);
};

// Any one element as an AttributeValue, under the value conventions of X509Name.
struct AnyString {
  using Decoded = Asn1::AttributeValue;
  static constexpr const wchar_t* kName = L"X509_ANY_STRING";
  static bool Decode(Der::Bytes der, Decoded* out);
};

// GeneralNames (the alternative-name extensions 2.5.29.7, 2.5.29.8, 2.5.29.17, 2.5.29.18); an
// empty SEQUENCE is an empty list (see Asn1Read::ReadGeneralNames).
struct AlternateName {
  using Decoded = Asn1::GeneralNames;
  static constexpr const wchar_t* kName = L"X509_ALTERNATE_NAME";
  static bool Decode(Der::Bytes der, Decoded* out);
};

}  // namespace Structure

}  // namespace ZT::Framework
