#include "cng/crypto.cng.x500name.h"

#include "cng/crypto.cng.util.h"
#include "common/crypto.x500text.h"

namespace ZT::Framework {
namespace {

// The two format bits that GetName passes on.
constexpr unsigned int kHonouredFormatBits = CERT_NAME_STR_REVERSE_FLAG | CERT_NAME_STR_CRLF_FLAG;

// The DER of the text `sName`, or CRYPTO_BAD_PARAM "Error encoding the blob (0x<error code>)". The
// text ends at its first null character, as the platform's CertStrToNameW reads it.
ByteArray EncodeNameText(const FunctionTrace& fn, const WString& sName) {
  ByteArray encoded;
  X500Text::NameTextError error;
  if (!X500Text::EncodeName(sName.c_str(), CERT_X500_NAME_STR, &encoded, &error))
    fn.Raise(CRYPTO_BAD_PARAM, WithCode(L"Error encoding the blob", error.code));
  return encoded;
}

}  // namespace

IX500Name::~IX500Name() = default;

CCNGX500Name::CCNGX500Name(const ByteArray& baEncodedName) {
  const FunctionTrace fn(L"ZT::Framework::CCNGX500Name::CCNGX500Name", this);
  fn.Run([&] {
    if (baEncodedName.empty()) fn.Raise(CRYPTO_BAD_PARAM, L"baEncodedName=empty!");
    fn.Bytes(L"baEncodedName", baEncodedName);
    m_baEncodedName = baEncodedName;
    DecodeName(fn);
  });
}

CCNGX500Name::CCNGX500Name(const WString& sName) {
  const FunctionTrace fn(L"ZT::Framework::CCNGX500Name::CCNGX500Name", this);
  fn.Run([&] {
    if (sName.empty()) fn.Raise(CRYPTO_BAD_PARAM, L"sName=empty!");
    m_baEncodedName = EncodeNameText(fn, sName);
    DecodeName(fn);
  });
}

CCNGX500Name::~CCNGX500Name() {
  TraceLifetime(L"ZT::Framework::CCNGX500Name::~CCNGX500Name", this);
}

void CCNGX500Name::DecodeName(const FunctionTrace& fn) {
  m_nameInfo = fn.Wrap(L"CryptoUtil::DecodeObject() failed",
                       [&] { return CryptoUtil::DecodeObject<Structure::X509Name>(m_baEncodedName); });
  for (const Asn1::Rdn& rdn : m_nameInfo.rgRDN)
    for (const Asn1::AttributeTypeAndValue& attr : rdn.rgRDNAttr)
      m_lstAttributes.push_back(CryptoUtil::CharStringToString(attr.pszObjId));
  m_lstAttributes.unique();  // only a type equal to the one directly before it goes
}

WString CCNGX500Name::GetName(unsigned int uiFormat) const {
  const FunctionTrace fn(L"ZT::Framework::CCNGX500Name::GetName", this);
  return fn.Run([&] {
    fn.Data(L"uiFormat=%u", uiFormat);
    const std::uint32_t dwStrType = CERT_X500_NAME_STR | (uiFormat & kHonouredFormatBits);
    // The text CertNameToStrW gives for m_baEncodedName, from the name decoded at construction:
    // decoding it again for every rendering would double the cost of reading a name.
    WString sName = X500Text::NameInfoToStr(m_nameInfo, dwStrType);
    if (sName.empty()) {
      fn.Outcome(L"Empty string found");
      return WString();
    }
    fn.Data(L"sName=%s", sName);
    return sName;
  });
}

ByteArray CCNGX500Name::GetEncoded() const {
  const FunctionTrace fn(L"ZT::Framework::CCNGX500Name::GetEncoded", this);
  return fn.Run([&] {
    fn.Bytes(L"m_baEncodedName", m_baEncodedName);
    return m_baEncodedName;
  });
}

void CCNGX500Name::ListAttributes(StringList& out) const {
  const FunctionTrace fn(L"ZT::Framework::CCNGX500Name::ListAttributes", this);
  fn.Run([&] { out = m_lstAttributes; });
}

void CCNGX500Name::GetAttributeValue(const WString& sOID, StringList& out) const {
  const FunctionTrace fn(L"ZT::Framework::CCNGX500Name::GetAttributeValue", this);
  fn.Run([&] {
    if (sOID.empty()) {
      fn.Warning(L"sOID=empty!");
      return;
    }
    bool found = false;
    for (const Asn1::Rdn& rdn : m_nameInfo.rgRDN)
      for (const Asn1::AttributeTypeAndValue& attr : rdn.rgRDNAttr) {
        if (CryptoUtil::CharStringToString(attr.pszObjId) != sOID) continue;
        out.push_back(X500Text::RDNValueToString(attr.dwValueType, attr.Value));
        found = true;
      }
    if (!found) fn.Outcome(L"Attribute not found");
  });
}

}  // namespace ZT::Framework
