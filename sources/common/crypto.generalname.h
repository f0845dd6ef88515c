// CGeneralName: the general name of include/zt/generalname.h, built from a type word and the
// value in the form its kind keeps (bytes or text).
#pragma once

#include "zt/generalname.h"

namespace ZT::Framework {

class CGeneralName : public IGeneralName {
 public:
  // A byte-array kind; see IGeneralName::Create for the failures.
  CGeneralName(const ByteArray& baEncodedName, const WString& sNameType, const WString& sOID);
  // A text kind; see IGeneralName::Create for the failures.
  CGeneralName(const WString& sName, const WString& sNameType);
  ~CGeneralName() override;

  WString GetNameType() const override;
  WString GetFormat() const override;
  ByteArray GetEncoded() const override;
  WString GetString() const override;
  WString GetOID() const override;

 private:
  ByteArray m_baEncoded;
  WString m_sNameType;
  WString m_sNameFormat;
  WString m_sValue;
  WString m_sOID;
};

}  // namespace ZT::Framework
