// Names, attribute values and general names: the value conventions, their readers (which the
// extension decoders share), the name decoder and encoder.
#include "codec/crypto.asn1.names.h"

#include <cstring>

#include "codec/crypto.asn1.readers.h"
#include "codec/crypto.der.writer.h"

namespace ZT::Framework {

namespace Asn1 {

bool IsWideValueType(std::uint32_t dwValueType) {
  return dwValueType == kBmpStringValue || dwValueType == kUtf8StringValue ||
         dwValueType == kUniversalStringValue;
}

bool IsStringValueType(std::uint32_t dwValueType) {
  return dwValueType >= kNumericStringValue && dwValueType <= kUtf8StringValue;
}

ValueBytes WideValueBytes(const WString& text) {
  ValueBytes blob(text.size() * sizeof(wchar_t));
  if (!blob.empty()) std::memcpy(blob.data(), text.data(), blob.size());
  return blob;
}

WString WideValueText(const ValueBytes& value) {
  WString text(value.size() / sizeof(wchar_t), L'\0');
  if (!text.empty()) std::memcpy(text.data(), value.data(), text.size() * sizeof(wchar_t));
  return text;
}

}  // namespace Asn1

namespace {

using namespace Asn1;
using namespace Der;

// The string types: universal tag number and value type.
struct StringType {
  std::uint32_t tagNumber;
  std::uint32_t valueType;
};
constexpr StringType kStringTypes[] = {
    {kNumericStringType, kNumericStringValue},
    {kPrintableStringType, kPrintableStringValue},
    {kTeletexStringType, kTeletexStringValue},
    {kVideotexStringType, kVideotexStringValue},
    {kIa5StringType, kIa5StringValue},
    {kGraphicStringType, kGraphicStringValue},
    {kVisibleStringType, kVisibleStringValue},
    {kGeneralStringType, kGeneralStringValue},
    {kUniversalStringType, kUniversalStringValue},
    {kBmpStringType, kBmpStringValue},
    {kUtf8StringType, kUtf8StringValue},
};

// The value type of a string element's universal tag number; 0 for any other tag.
std::uint32_t ValueTypeOfString(std::uint32_t tagNumber) {
  for (const StringType& type : kStringTypes)
    if (type.tagNumber == tagNumber) return type.valueType;
  return 0;
}

// The universal tag number of a string value type; 0 for the other value types.
std::uint32_t StringTypeOfValue(std::uint32_t dwValueType) {
  for (const StringType& type : kStringTypes)
    if (type.valueType == dwValueType) return type.tagNumber;
  return 0;
}

ByteArray CopyBytes(Bytes bytes) { return ByteArray(bytes.begin(), bytes.end()); }

// A string value: its characters checked against its type; wide types keep the decoded text,
// the 8-bit types their octets.
bool TakeStringValue(std::uint32_t valueType, std::uint32_t tagNumber, Bytes contents, ValueBytes* value) {
  WString text;
  if (!DecodeString(tagNumber, contents, &text)) return false;
  *value = IsWideValueType(valueType) ? WideValueBytes(text) : CopyBytes(contents);
  return true;
}

// AttributeTypeAndValue ::= SEQUENCE { type OID, value ANY }
bool ReadAttributeTypeAndValue(Reader& in, AttributeTypeAndValue* attr) {
  Reader seq;
  return in.Read(kSequence, &seq) && Asn1Read::ReadOidText(seq, &attr->pszObjId) &&
         Asn1Read::ReadAttributeValue(seq, &attr->dwValueType, &attr->Value) && seq.Empty();
}

// RelativeDistinguishedName ::= SET SIZE (1..MAX) OF AttributeTypeAndValue
bool ReadRdn(Reader& in, Rdn* rdn) {
  Reader set;
  return in.Read(kSet, &set) &&
         Asn1Read::ReadEach(
             set, [&](Reader& r) { return ReadAttributeTypeAndValue(r, &rdn->rgRDNAttr.emplace_back()); }, 1);
}

// One attribute value as its DER element; a value that its type cannot hold fails the writer.
void WriteNameValue(Writer& w, const AttributeTypeAndValue& attr) {
  const Bytes value(attr.Value);
  if (const std::uint32_t type = StringTypeOfValue(attr.dwValueType)) {
    if (IsWideValueType(attr.dwValueType))
      w.AddString(type, WideValueText(attr.Value));
    else if (IsWritableString(type, value))
      w.AddElement(UniversalTag(type), value);
    else
      w.Fail();
    return;
  }
  Tag tag;
  Reader contents;
  if (attr.dwValueType == kOctetStringValue)
    w.AddOctetString(value);
  else if (attr.dwValueType == kEncodedValue && ReadWholeAny(value, &tag, &contents))
    w.AddRaw(value);
  else
    w.Fail();
}

// GeneralName's IA5String choices, as wide text.
bool TakeIa5(Reader& contents, WString* out) { return DecodeString(kIa5StringType, contents.Remaining(), out); }

// OtherName ::= SEQUENCE { type-id OID, value [0] EXPLICIT ANY }
bool TakeOtherName(Reader& contents, OtherName* out) {
  Reader value;
  return Asn1Read::ReadOidText(contents, &out->pszObjId) && contents.Read(ExplicitTag(0), &value) &&
         Asn1Read::ReadElementBytes(value, &out->Value) && value.Empty() && contents.Empty();
}

// directoryName [4] EXPLICIT Name: the Name's own encoding, checked as a Name.
bool TakeDirectoryName(Reader& contents, EncodedName* out) {
  if (!Asn1Read::ReadElementBytes(contents, out) || !contents.Empty()) return false;
  Name checked;
  return Structure::X509Name::Decode(*out, &checked);
}

// Whether a GeneralName choice is written constructed ([0], [3], [4] and [5] are SEQUENCEs or
// an explicit tag; the others implicit primitives).
bool ChoiceIsConstructed(std::uint32_t number) { return number == 0 || number == 3 || number == 4 || number == 5; }

}  // namespace

WString Asn1::StringValueText(std::uint32_t dwValueType, const ValueBytes& value) {
  if (IsWideValueType(dwValueType)) return WideValueText(value);
  WString text;
  if (DecodeString(StringTypeOfValue(dwValueType), value, &text)) return text;
  return WString(value.begin(), value.end());
}

namespace Asn1Read {

bool ReadAttributeValue(Reader& in, std::uint32_t* valueType, ValueBytes* value) {
  const Reader before = in;
  Tag tag;
  Reader contents;
  if (!in.ReadAny(&tag, &contents)) return false;
  const bool universalPrimitive = tag.cls == TagClass::Universal && !tag.constructed;
  if (const std::uint32_t stringType = universalPrimitive ? ValueTypeOfString(tag.number) : 0) {
    *valueType = stringType;
    return TakeStringValue(stringType, tag.number, contents.Remaining(), value);
  }
  if (tag == kOctetString) {
    *valueType = kOctetStringValue;
    *value = CopyBytes(contents.Remaining());
    return true;
  }
  *valueType = kEncodedValue;
  *value = CopyBytes(before.Remaining().first(before.Size() - in.Size()));
  return true;
}

// GeneralName ::= CHOICE { otherName [0], rfc822Name [1], dNSName [2], x400Address [3],
//   directoryName [4], ediPartyName [5], uniformResourceIdentifier [6], iPAddress [7],
//   registeredID [8] }
bool ReadGeneralName(Reader& in, GeneralName* out) {
  Tag tag;
  Reader contents;
  if (!in.ReadAny(&tag, &contents) || tag.cls != TagClass::ContextSpecific || tag.number > 8 ||
      tag.constructed != ChoiceIsConstructed(tag.number))
    return false;
  out->dwAltNameChoice = tag.number + 1;
  switch (out->dwAltNameChoice) {
    case kOtherNameChoice: return TakeOtherName(contents, &out->pOtherName.emplace());
    case kRfc822NameChoice: return TakeIa5(contents, &out->pwszRfc822Name);
    case kDnsNameChoice: return TakeIa5(contents, &out->pwszDNSName);
    case kUriChoice: return TakeIa5(contents, &out->pwszURL);
    case kDirectoryNameChoice: return TakeDirectoryName(contents, &out->DirectoryName);
    case kIpAddressChoice: out->IPAddress = CopyBytes(contents.Remaining()); return true;
    case kRegisteredIdChoice:
      return IsValidOid(contents.Remaining()) && OidToText(contents.Remaining(), &out->pszRegisteredID);
    default:  // X.400 address, EDI party name: kept, not interpreted
      out->Raw = CopyBytes(contents.Remaining());
      return true;
  }
}

bool ReadGeneralNames(Reader& in, GeneralNames* out, Tag tag) {
  Reader seq;
  return in.Read(tag, &seq) &&
         ReadEach(seq, [&](Reader& r) { return ReadGeneralName(r, &out->rgAltEntry.emplace_back()); });
}

}  // namespace Asn1Read

namespace Structure {

// Name ::= RDNSequence ::= SEQUENCE OF RelativeDistinguishedName
bool X509Name::Decode(Bytes der, Decoded* out) {
  return Asn1Read::ReadWholeWith(der, kSequence, [&](Reader& seq) {
    return Asn1Read::ReadEach(seq, [&](Reader& r) { return ReadRdn(r, &out->rgRDN.emplace_back()); });
  });
}

// An RDN is a SET SIZE (1..MAX): an empty one fails the writer.
bool X509Name::Encode(const Decoded& in, ByteArray* der) {
  Writer w;
  w.Nest(kSequence, [&] {
    for (const Rdn& rdn : in.rgRDN) {
      if (rdn.rgRDNAttr.empty()) w.Fail();
      w.NestSetOf([&] {
        for (const AttributeTypeAndValue& attr : rdn.rgRDNAttr)
          w.Nest(kSequence, [&] {
            w.AddOid(attr.pszObjId);
            WriteNameValue(w, attr);
          });
      });
    }
  });
  return w.Finish(der);
}

bool AnyString::Decode(Bytes der, Decoded* out) {
  Reader in(der);
  return Asn1Read::ReadAttributeValue(in, &out->dwValueType, &out->Value) && in.Empty();
}

bool AlternateName::Decode(Bytes der, Decoded* out) {
  Reader in(der);
  return Asn1Read::ReadGeneralNames(in, out) && in.Empty();
}

}  // namespace Structure
}  // namespace ZT::Framework
