// CCNGX500Name: the X.500 name of include/zt/x500name.h, over the decoded Asn1::Name and
// the X.500 text functions (common/crypto.x500text.h).
#pragma once

#include "codec/crypto.asn1.names.h"
#include "framework/crypto.trace.h"
#include "zt/x500name.h"

namespace ZT::Framework {

class CCNGX500Name : public IX500Name {
 public:
  // From a DER Name; see IX500Name::Create for the failures.
  explicit CCNGX500Name(const ByteArray& baEncodedName);
  // From the text form; see IX500Name::Create for the failures.
  explicit CCNGX500Name(const WString& sName);
  ~CCNGX500Name() override;

  WString GetName(unsigned int uiFormat) const override;
  ByteArray GetEncoded() const override;
  void ListAttributes(StringList& out) const override;
  void GetAttributeValue(const WString& sOID, StringList& out) const override;

 private:
  // Decodes m_baEncodedName and lists its attribute types.
  void DecodeName(const FunctionTrace& fn);

  ByteArray m_baEncodedName;
  Asn1::Name m_nameInfo;
  StringList m_lstAttributes;
};

}  // namespace ZT::Framework
