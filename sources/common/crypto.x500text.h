// The X.500 text form of names, both ways, with the platform's function names, arguments and
// conventions: CertNameToStrW renders an encoded name, CertRDNValueToStrW one attribute value,
// CertStrToNameW encodes a name written as text. The output functions return the number of
// characters of the text including its terminator and, called with a null buffer or a size of
// 0, the size that the text needs; given a smaller buffer they write as much as fits and the
// terminator. CertStrToNameW asks for the size the same way (a null `pbEncoded`).
//
// The syntax is the platform's X.500 string form (CERT_X500_NAME_STR):
//
//   text  := [rdn { sep rdn }]       sep: "," or ";" (the flags may narrow this)
//   rdn   := attr { "+" attr }
//   attr  := key "=" value           blanks around key, "=" and value are ignored
//   key   := a key word (any case) | "OID." dotted-oid (any case) | dotted-oid
//   value := '"' chars, with '""' for '"' '"'  |  "#" hex digits (blanks ignored)  |  plain chars
//
// Key words, and the OIDs they stand for (the first word of an OID is the one written):
//   CN 2.5.4.3   L 2.5.4.7   O 2.5.4.10   OU 2.5.4.11   E, Email 1.2.840.113549.1.9.1   C 2.5.4.6
//   S, ST 2.5.4.8   STREET 2.5.4.9   T, Title 2.5.4.12   G, GivenName 2.5.4.42
//   I, Initials 2.5.4.43   SN 2.5.4.4   SERIALNUMBER 2.5.4.5   DC 0.9.2342.19200300.100.1.25
//   Description 2.5.4.13   PostalCode 2.5.4.17   POBox 2.5.4.18   Phone 2.5.4.20
// Any other type is written "OID." and its dotted form.
//
// Written, RDNs are joined by ", " ("\r\n" with CERT_NAME_STR_CRLF_FLAG, "; " with
// CERT_NAME_STR_SEMICOLON_FLAG) and the attributes of one RDN by " + " (" " with
// CERT_NAME_STR_NO_PLUS_FLAG); CERT_NAME_STR_REVERSE_FLAG writes the RDNs last first. A string
// value is put in double quotes, with each '"' in it doubled, when it is empty, begins or ends
// with white space, or holds one of  , + = " < > # ;  or a line break (CR or LF), unless
// CERT_NAME_STR_NO_QUOTING_FLAG is given. OCTET STRING values and values that are not strings
// are written "#" and their bytes in upper-case hex (the octets, or the whole encoding), never
// quoted.
//
// Read, a "#" value becomes an OCTET STRING. A string value takes the first type its key allows
// that holds every character: E only IA5String; C, SERIALNUMBER and Phone only PrintableString
// (X.520 defines them so); DC IA5String, else UTF8String; every other key and OID
// PrintableString, else BMPString.
//
// Where the platform's documentation leaves a choice, these rules take the one that makes the
// written form read back to the same name: the separator within an RDN is " + " as in the
// documented example, a line break forces quotes (a value holding one would otherwise be split
// by a reader of the CR LF form), and a plain (unquoted) value may not hold '"', so that a
// quote always opens a quoted value.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "codec/crypto.asn1.names.h"
#include "platform/certificates.h"
#include "zt/secure.h"

namespace ZT::Framework::X500Text {

// ---- the library's own interface: each does its work once ---------------------------------

// The text CertNameToStrW renders for a name, from the name already decoded (X509Name::Decode),
// without its terminator.
WString NameInfoToStr(const Asn1::Name& info, std::uint32_t dwStrType);

// The text of one attribute value as CertRDNValueToStrW writes it, without the terminator.
WString RDNValueToString(std::uint32_t dwValueType, const Asn1::ValueBytes& value);

// Why a text did not encode: the error code CertStrToNameW sets, and the offset in the text of the
// offending characters.
struct NameTextError {
  std::uint32_t code = 0;
  std::size_t at = 0;
};

// The DER Name of the text `text`, read as CertStrToNameW reads it (string type and flags
// likewise): true with `*der` set, or false with `*error` set.
bool EncodeName(std::wstring_view text, std::uint32_t dwStrType, ByteArray* der, NameTextError* error);

// ---- the platform's functions, over the above -------------------------------------------

// Renders the encoded name `pName` in string type `dwStrType` (CERT_SIMPLE_NAME_STR,
// CERT_OID_NAME_STR or CERT_X500_NAME_STR, with the flags above). A name that does not decode
// gives "" and sets the last error to CRYPT_E_ASN1_CORRUPT.
std::uint32_t CertNameToStrW(std::uint32_t dwCertEncodingType, const Asn1::EncodedName* pName, std::uint32_t dwStrType,
                             wchar_t* psz, std::uint32_t csz);
// Renders one attribute value, unquoted: a string's characters as Der::DecodeString reads its
// type (leniently: see there), "#" and upper-case hex for the others.
std::uint32_t CertRDNValueToStrW(std::uint32_t dwValueType, const Asn1::ValueBytes* pValue, wchar_t* psz,
                                 std::uint32_t csz);

// Encodes the text `pszX500` (string type CERT_X500_NAME_STR or CERT_OID_NAME_STR, optionally
// with CERT_NAME_STR_COMMA_FLAG, _SEMICOLON_FLAG, _CRLF_FLAG, _NO_PLUS_FLAG, _NO_QUOTING_FLAG,
// _REVERSE_FLAG) as a DER Name. With a null `pbEncoded` only `*pcbEncoded` is set to the size;
// otherwise `*pcbEncoded` gives the buffer's size and receives the encoding's. On failure it
// returns false, sets the last error (CRYPT_E_INVALID_X500_STRING for the syntax,
// CRYPT_E_INVALID_PRINTABLE_STRING or CRYPT_E_INVALID_IA5_STRING for a character that the
// key's type cannot hold, ERROR_MORE_DATA (234) for a short buffer, E_INVALIDARG for an
// unsupported string type) and points `*ppszError` (when given) at the offending characters.
bool CertStrToNameW(std::uint32_t dwCertEncodingType, const wchar_t* pszX500, std::uint32_t dwStrType, void* pvReserved,
                    std::uint8_t* pbEncoded, std::uint32_t* pcbEncoded, const wchar_t** ppszError);

// The error code of the last failing call above on this thread.
std::uint32_t LastError();

// The value type that CertStrToNameW gives the string `text` of attribute type `oid`, or
// Asn1::kAnyValue (0) when no type allowed for that type holds it.
std::uint32_t ValueTypeForText(const std::string& oid, const WString& text);

}  // namespace ZT::Framework::X500Text
