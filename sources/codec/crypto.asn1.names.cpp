// Names, attribute values and general names: their decoders, the name encoder, and the reading
// steps that the extension decoders share.
#include <cstring>

#include "codec/crypto.asn1.readers.h"
#include "codec/crypto.asn1.structures.h"
#include "codec/crypto.der.writer.h"

namespace ZT::Framework {

bool IsWideValueType(std::uint32_t dwValueType) {
  return dwValueType == CERT_RDN_BMP_STRING || dwValueType == CERT_RDN_UTF8_STRING ||
         dwValueType == CERT_RDN_UNIVERSAL_STRING;
}

bool IsStringValueType(std::uint32_t dwValueType) {
  return dwValueType >= CERT_RDN_NUMERIC_STRING && dwValueType <= CERT_RDN_UTF8_STRING;
}

CERT_RDN_VALUE_BLOB WideValueBlob(const WString& text) {
  CERT_RDN_VALUE_BLOB blob(text.size() * sizeof(wchar_t));
  if (!blob.empty()) std::memcpy(blob.data(), text.data(), blob.size());
  return blob;
}

WString WideValueText(const CERT_RDN_VALUE_BLOB& value) {
  WString text(value.size() / sizeof(wchar_t), L'\0');
  if (!text.empty()) std::memcpy(text.data(), value.data(), text.size() * sizeof(wchar_t));
  return text;
}

namespace {

using namespace Der;

// The string types: universal tag number and CERT_RDN_* value type.
struct StringType {
  std::uint32_t tagNumber;
  std::uint32_t valueType;
};
constexpr StringType kStringTypes[] = {
    {kNumericStringType, CERT_RDN_NUMERIC_STRING},
    {kPrintableStringType, CERT_RDN_PRINTABLE_STRING},
    {kTeletexStringType, CERT_RDN_TELETEX_STRING},
    {kVideotexStringType, CERT_RDN_VIDEOTEX_STRING},
    {kIa5StringType, CERT_RDN_IA5_STRING},
    {kGraphicStringType, CERT_RDN_GRAPHIC_STRING},
    {kVisibleStringType, CERT_RDN_VISIBLE_STRING},
    {kGeneralStringType, CERT_RDN_GENERAL_STRING},
    {kUniversalStringType, CERT_RDN_UNIVERSAL_STRING},
    {kBmpStringType, CERT_RDN_BMP_STRING},
    {kUtf8StringType, CERT_RDN_UTF8_STRING},
};

// The CERT_RDN_* type of a string element's universal tag number; 0 for any other tag.
std::uint32_t ValueTypeOfString(std::uint32_t tagNumber) {
  for (const StringType& type : kStringTypes)
    if (type.tagNumber == tagNumber) return type.valueType;
  return 0;
}

// The universal tag number of a CERT_RDN_* string type; 0 for the other value types.
std::uint32_t StringTypeOfValue(std::uint32_t dwValueType) {
  for (const StringType& type : kStringTypes)
    if (type.valueType == dwValueType) return type.tagNumber;
  return 0;
}

ByteArray CopyBytes(Bytes bytes) { return ByteArray(bytes.begin(), bytes.end()); }

// A string value: its characters checked against its type; wide types keep the decoded text,
// the 8-bit types their octets.
bool TakeStringValue(std::uint32_t valueType, std::uint32_t tagNumber, Bytes contents, CERT_RDN_VALUE_BLOB* value) {
  WString text;
  if (!DecodeString(tagNumber, contents, &text)) return false;
  *value = IsWideValueType(valueType) ? WideValueBlob(text) : CopyBytes(contents);
  return true;
}

// AttributeTypeAndValue ::= SEQUENCE { type OID, value ANY }
bool ReadAttributeTypeAndValue(Reader& in, CERT_RDN_ATTR* attr) {
  Reader seq;
  return in.Read(kSequence, &seq) && Asn1Read::ReadOidText(seq, &attr->pszObjId) &&
         Asn1Read::ReadNameValue(seq, &attr->dwValueType, &attr->Value) && seq.Empty();
}

// RelativeDistinguishedName ::= SET SIZE (1..MAX) OF AttributeTypeAndValue
bool ReadRdn(Reader& in, CERT_RDN* rdn) {
  Reader set;
  return in.Read(kSet, &set) &&
         Asn1Read::ReadEach(
             set, [&](Reader& r) { return ReadAttributeTypeAndValue(r, &rdn->rgRDNAttr.emplace_back()); }, 1);
}

// One attribute value as its DER element; a value that its type cannot hold fails the writer.
void WriteNameValue(Writer& w, const CERT_RDN_ATTR& attr) {
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
  if (attr.dwValueType == CERT_RDN_OCTET_STRING)
    w.AddOctetString(value);
  else if (attr.dwValueType == CERT_RDN_ENCODED_BLOB && ReadWholeAny(value, &tag, &contents))
    w.AddRaw(value);
  else
    w.Fail();
}

// GeneralName's IA5String choices, as wide text.
bool TakeIa5(Reader& contents, WString* out) { return DecodeString(kIa5StringType, contents.Remaining(), out); }

// OtherName ::= SEQUENCE { type-id OID, value [0] EXPLICIT ANY }
bool TakeOtherName(Reader& contents, CERT_OTHER_NAME* out) {
  Reader value;
  return Asn1Read::ReadOidText(contents, &out->pszObjId) && contents.Read(ExplicitTag(0), &value) &&
         Asn1Read::ReadObjidBlob(value, &out->Value) && value.Empty() && contents.Empty();
}

// directoryName [4] EXPLICIT Name: the Name's own encoding, checked as a Name.
bool TakeDirectoryName(Reader& contents, CERT_NAME_BLOB* out) {
  if (!Asn1Read::ReadObjidBlob(contents, out) || !contents.Empty()) return false;
  CERT_NAME_INFO checked;
  return Structure::X509Name::Decode(*out, &checked);
}

// Whether a GeneralName choice is written constructed ([0], [3], [4] and [5] are SEQUENCEs or
// an explicit tag; the others implicit primitives).
bool ChoiceIsConstructed(std::uint32_t number) { return number == 0 || number == 3 || number == 4 || number == 5; }

}  // namespace

WString StringValueText(std::uint32_t dwValueType, const CERT_RDN_VALUE_BLOB& value) {
  if (IsWideValueType(dwValueType)) return WideValueText(value);
  WString text;
  if (DecodeString(StringTypeOfValue(dwValueType), value, &text)) return text;
  return WString(value.begin(), value.end());
}

namespace Asn1Read {

bool ReadOidText(Reader& in, std::string* oid) {
  Bytes contents;
  return in.ReadOid(&contents) && OidToText(contents, oid);
}

bool ReadBitBlob(Reader& in, CRYPT_BIT_BLOB* out, Tag tag) {
  BitString bits;
  if (!in.ReadBitString(&bits, tag)) return false;
  out->pbData = CopyBytes(bits.bytes);
  out->cUnusedBits = bits.unusedBits;
  return true;
}

bool ReadIntegerBlob(Reader& in, CRYPT_INTEGER_BLOB* out, Tag tag) {
  Bytes twosComplement;
  if (!in.ReadInteger(&twosComplement, tag)) return false;
  out->assign(twosComplement.rbegin(), twosComplement.rend());
  return true;
}

bool ReadDataBlob(Reader& in, CRYPT_DATA_BLOB* out, Tag tag) {
  Bytes octets;
  if (!in.ReadOctetString(&octets, tag)) return false;
  *out = CopyBytes(octets);
  return true;
}

bool ReadObjidBlob(Reader& in, CRYPT_OBJID_BLOB* out) {
  Tag tag;
  Bytes element;
  if (!in.ReadAnyElement(&tag, &element)) return false;
  *out = CopyBytes(element);
  return true;
}

bool ReadNameValue(Reader& in, std::uint32_t* valueType, CERT_RDN_VALUE_BLOB* value) {
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
    *valueType = CERT_RDN_OCTET_STRING;
    *value = CopyBytes(contents.Remaining());
    return true;
  }
  *valueType = CERT_RDN_ENCODED_BLOB;
  *value = CopyBytes(before.Remaining().first(before.Size() - in.Size()));
  return true;
}

// GeneralName ::= CHOICE { otherName [0], rfc822Name [1], dNSName [2], x400Address [3],
//   directoryName [4], ediPartyName [5], uniformResourceIdentifier [6], iPAddress [7],
//   registeredID [8] }
bool ReadGeneralName(Reader& in, CERT_ALT_NAME_ENTRY* out) {
  Tag tag;
  Reader contents;
  if (!in.ReadAny(&tag, &contents) || tag.cls != TagClass::ContextSpecific || tag.number > 8 ||
      tag.constructed != ChoiceIsConstructed(tag.number))
    return false;
  out->dwAltNameChoice = tag.number + 1;
  switch (out->dwAltNameChoice) {
    case CERT_ALT_NAME_OTHER_NAME: return TakeOtherName(contents, &out->pOtherName.emplace());
    case CERT_ALT_NAME_RFC822_NAME: return TakeIa5(contents, &out->pwszRfc822Name);
    case CERT_ALT_NAME_DNS_NAME: return TakeIa5(contents, &out->pwszDNSName);
    case CERT_ALT_NAME_URL: return TakeIa5(contents, &out->pwszURL);
    case CERT_ALT_NAME_DIRECTORY_NAME: return TakeDirectoryName(contents, &out->DirectoryName);
    case CERT_ALT_NAME_IP_ADDRESS: out->IPAddress = CopyBytes(contents.Remaining()); return true;
    case CERT_ALT_NAME_REGISTERED_ID:
      return IsValidOid(contents.Remaining()) && OidToText(contents.Remaining(), &out->pszRegisteredID);
    default:  // X.400 address, EDI party name: kept, not interpreted
      out->Raw = CopyBytes(contents.Remaining());
      return true;
  }
}

bool ReadGeneralNames(Reader& in, CERT_ALT_NAME_INFO* out, Tag tag) {
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
    for (const CERT_RDN& rdn : in.rgRDN) {
      if (rdn.rgRDNAttr.empty()) w.Fail();
      w.NestSetOf([&] {
        for (const CERT_RDN_ATTR& attr : rdn.rgRDNAttr)
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
  return Asn1Read::ReadNameValue(in, &out->dwValueType, &out->Value) && in.Empty();
}

bool AlternateName::Decode(Bytes der, Decoded* out) {
  Reader in(der);
  return Asn1Read::ReadGeneralNames(in, out) && in.Empty();
}

}  // namespace Structure
}  // namespace ZT::Framework
