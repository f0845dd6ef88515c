// Object identifiers and the values that travel with them, as text for people.
#pragma once

#include "zt/export.h"
#include "zt/secure.h"

namespace ZT::Framework {

class ZT_CRYPTO_API IOIDDecoder {
 public:
  IOIDDecoder();
  virtual ~IOIDDecoder();

  // The friendly name of the dotted OID `sOID` in the library's OID table ("1.3.6.1.5.5.7.3.3"
  // gives "Code Signing"), compared exactly over the whole string; an OID outside the table
  // comes back unchanged, and empty input gives "". Never fails.
  static WString OIDToString(const WString& sOID);
  // The reverse: the dotted OID of a friendly name (compared exactly and case-sensitively); a
  // name outside the table comes back unchanged, and empty input gives "". Never fails.
  static WString StringToOID(const WString& sString);
  // The text of the DER value `baEncodedData` that goes with `sOID`: a directory attribute's
  // value alone, or an extension's labelled, multi-line text ending with "\r\n\r\n" (an unknown
  // OID gives its friendly name in brackets and a hex-and-text dump). Lines end with CR LF.
  // Empty data gives "". Fails with CRYPTO_BAD_PARAM ("DecodeObject() failed") when the value
  // does not decode as the OID's structure, and with the failure of a general name that cannot
  // be rendered (CRYPTO_NOT_IMPLEMENTED for an X.400 address or an EDI party name). Strings are
  // read as names read them, leniently where issuers go beyond a type's set: a PrintableString
  // may hold any graphic ASCII character, an IA5String 8-bit octets (ISO 8859-1), a
  // TeletexString UTF-8 (else ISO 8859-1).
  static WString DecodeOID(const WString& sOID, const ByteArray& baEncodedData);
};

}  // namespace ZT::Framework
