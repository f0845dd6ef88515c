// General names: one entry of an X.509 alternative-name list (a GeneralName), with its type as
// a fixed word, a format word saying how the value is held, and the value as text or bytes.
//
//   type word                    made from      format word          value
//   "OtherName"                  bytes + OID    "OtherName"          GetEncoded (the value's DER), GetOID
//   "rfc822Name"                 text           "String"             GetString
//   "dNSName"                    text           "IA5String"          GetString
//   "directoryName"              bytes          "X500Name"           GetEncoded (a DER Name)
//   "uniformResourceIdentifier"  text           "IA5String"          GetString
//   "IpAddress"                  bytes          "IPadress"           GetEncoded, and its text in GetString
//   "registeredID"               text           "ObjectIdentifier"   GetString (a dotted OID)
//   "x400Address", "ediPartyName": not implemented
//
// The words are compared exactly and case-sensitively, and are kept as written above (the
// e-mail format "String", the address format "IPadress"): callers compare against them.
#pragma once

#include "zt/export.h"
#include "zt/secure.h"

namespace ZT::Framework {

class ZT_CRYPTO_API IGeneralName {
 public:
  virtual ~IGeneralName();

  // A name of a byte-array kind ("OtherName", "directoryName", "IpAddress"), owned by the
  // caller. `sOID` is the other-name type (empty for the other kinds). Fails with
  // CRYPTO_BAD_PARAM for empty bytes or type ("baEncodedName=empty!", "sNameType=empty!") and
  // for a text kind ("ByteArray parameter passed instead of String"), CRYPTO_NOT_IMPLEMENTED for
  // "x400Address" and "ediPartyName", and CRYPTO_INTERNAL_ERROR for any other word ("Unknown
  // General Name Type"); each wrapped in "new CGeneralName() failed" with the inner id.
  static IGeneralName* Create(const ByteArray& baEncodedName, const WString& sNameType, const WString& sOID);
  // A name of a text kind ("rfc822Name", "dNSName", "uniformResourceIdentifier",
  // "registeredID"), owned by the caller. Fails as above, with "sName=empty!" for empty text and
  // "String parameter passed instead of ByteArray" for a byte-array kind.
  static IGeneralName* Create(const WString& sName, const WString& sNameType);

  virtual WString GetNameType() const = 0;
  virtual WString GetFormat() const = 0;
  // The bytes of a byte-array kind; empty for the text kinds.
  virtual ByteArray GetEncoded() const = 0;
  // The text of a text kind, or of an IP address; empty for "OtherName" and "directoryName".
  virtual WString GetString() const = 0;
  // The other-name type OID; empty for the other kinds.
  virtual WString GetOID() const = 0;
};

}  // namespace ZT::Framework
