// X.500 distinguished names: made from DER (a certificate's issuer or subject, a directory
// name) or from the X.500 text form, and read back as text, DER, attribute types and values.
//
// The text form, both ways: RDNs as "key=value" joined by ", " (read: "," or ";"), attributes of
// one RDN joined by " + " (read: "+"), key words CN, L, O, OU, E, C, S, STREET, T, G, I, SN,
// SERIALNUMBER, DC, Description, PostalCode, POBox, Phone (read in any case, with the aliases
// Email, ST, Title, GivenName, Initials) and "OID.1.2.3" for other types; values in double
// quotes (an inner quote doubled) when they are empty, begin or end with white space, or hold
// one of  , + = " < > # ;  or a line break; "#" and hex digits for values that are not strings.
#pragma once

#include "zt/export.h"
#include "zt/secure.h"

namespace ZT::Framework {

class ZT_CRYPTO_API IX500Name {
 public:
  // The two format bits that GetName honours; every other bit is ignored.
  static constexpr unsigned int kReverseFlag = 0x02000000;  // RDNs last first
  static constexpr unsigned int kCRLFFlag = 0x08000000;     // RDNs separated by CR LF, not ", "

  virtual ~IX500Name();

  // The name of the DER Name `encoded`, owned by the caller. Strings are read as issuers write
  // them: a PrintableString may hold any graphic ASCII character ("*.example.com", "A&B_Co"),
  // an IA5String 8-bit octets (ISO 8859-1), a TeletexString UTF-8 (else ISO 8859-1); the text
  // form read back from such a name encodes those values in a type that holds them, or fails
  // where the key allows only one type. Fails with CRYPTO_BAD_PARAM for empty bytes
  // ("baEncodedName=empty!") and bytes that are not one DER Name; the failure is wrapped in
  // "new CX500Name() failed" with the inner id.
  static IX500Name* Create(const ByteArray& encoded);
  // The name written as `sName` in the text form, owned by the caller. Fails with
  // CRYPTO_BAD_PARAM for an empty string ("sName=empty!") and for text that is not a name
  // ("Error encoding the blob (0x80092023)"; 0x80092021 or 0x80092022 for a character that the
  // attribute's string type cannot hold), wrapped as above.
  static IX500Name* Create(const WString& sName);

  // The text form; `uiFormat` may carry kReverseFlag and kCRLFFlag. A name without RDNs gives "".
  virtual WString GetName(unsigned int uiFormat) const = 0;
  // The DER encoding (for a name made from text, the encoding of that text).
  virtual ByteArray GetEncoded() const = 0;
  // Copies into `out` the dotted OIDs of the attribute types, in encoding order, an OID equal to
  // the one directly before it left out.
  virtual void ListAttributes(StringList& out) const = 0;
  // Appends to `out` the text of every value of attribute type `sOID` (dotted), in encoding
  // order, unquoted. Nothing is appended when there is none; that is not an error.
  virtual void GetAttributeValue(const WString& sOID, StringList& out) const = 0;
};

}  // namespace ZT::Framework
