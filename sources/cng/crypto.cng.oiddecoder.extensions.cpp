// The layouts of DecodeOID: which OIDs are directory attributes, and for each extension the
// structure it is decoded into and the labelled lines it is written as.
#include <memory>
#include <string>

#include "cng/crypto.cng.oiddecoder.h"
#include "cng/crypto.cng.util.h"
#include "zt/oiddecoder.h"
#include "zt/x500name.h"

namespace ZT::Framework::OIDRendering {
namespace {

// Line starts: a new line, and a new line indented by five, ten or fifteen blanks.
constexpr const wchar_t* kNewLine = L"\r\n";
constexpr const wchar_t* kIndent5 = L"\r\n     ";
constexpr const wchar_t* kIndent10 = L"\r\n          ";
constexpr const wchar_t* kIndent15 = L"\r\n               ";
constexpr const wchar_t* kDateFormat = L"%A, %B %d, %Y";

constexpr const wchar_t* kDirectoryAttributes[] = {
    L"2.5.4.38",
    L"2.5.4.3",
    L"2.5.4.6",
    L"2.5.4.10",
    L"1.2.840.113549.1.9.1",
    L"2.5.4.13",
    L"2.5.4.7",
    L"2.5.4.15",
    L"2.5.4.37",
    L"2.5.4.39",
    L"2.5.4.40",
    L"2.5.4.27",
    L"2.5.4.5",
    L"0.9.2342.19200300.100.1.25",
    L"2.5.4.23",
    L"2.5.4.42",
    L"2.5.4.43",
    L"2.5.4.25",
    L"2.5.4.31",
    L"2.5.4.11",
    L"2.5.4.32",
    L"2.5.4.19",
    L"1.2.840.113549.1.9.20",
    L"1.2.840.113549.1.9.21",
    L"2.5.4.18",
    L"2.5.4.16",
    L"2.5.4.17",
    L"2.5.4.28",
    L"2.5.4.29",
    L"2.5.4.26",
    L"2.5.4.33",
    L"2.5.4.14",
    L"2.5.4.34",
    L"2.5.4.8",
    L"2.5.4.9",
    L"2.5.4.30",
    L"2.5.4.4",
    L"2.5.4.20",
    L"2.5.4.22",
    L"2.5.4.21",
    L"2.5.4.12",
    L"2.5.4.36",
    L"2.5.4.35",
    L"2.5.4.24",
    L"1.3.6.1.4.1.311.20.2.3",
};

WString Wide(const std::string& narrow) { return CryptoUtil::CharStringToString(narrow); }
WString Decimal(std::int64_t value) { return Wide(std::to_string(value)); }
WString Friendly(const std::string& oid) { return IOIDDecoder::OIDToString(Wide(oid)); }

// Each byte as two lower-case hex digits and a blank, in the order the structure holds them.
WString HexBytes(const ByteArray& bytes) {
  static constexpr wchar_t kDigits[] = L"0123456789abcdef";
  WString text;
  for (unsigned char b : bytes) text += {kDigits[b >> 4], kDigits[b & 0xF], L' '};
  return text;
}

// "[" i "]" and, for a second index, "[" i "," j "]".
WString Index(std::size_t i) { return L"[" + Decimal(static_cast<std::int64_t>(i)) + L"]"; }
WString Index(std::size_t i, std::size_t j) {
  return L"[" + Decimal(static_cast<std::int64_t>(i)) + L"," + Decimal(static_cast<std::int64_t>(j)) + L"]";
}

template <class Type>
typename Type::Decoded Decode(const FunctionTrace& fn, const ByteArray& bytes) {
  return fn.Wrap(L"DecodeObject() failed", [&] { return CryptoUtil::DecodeObject<Type>(bytes); });
}

// A general name as the layouts show it: an other-name's value as an attribute value of its
// type, any other kind's text value.
WString GeneralNameText(const Asn1::GeneralName& entry) {
  const std::unique_ptr<IGeneralName> name(CryptoUtil::GeneralNameFromAltNameEntry(&entry));
  if (name->GetNameType() == L"OtherName") return CryptoUtil::DecodeX509String(name->GetOID(), name->GetEncoded());
  return name->GetString();
}

WString Time(FileTimeTicksValue time) { return CryptoUtil::FileTimeToString(time, kDateFormat); }

// ---- the layouts, each after its header --------------------------------------------------

using Layout = WString (*)(const FunctionTrace& fn, const WString& sOID, const ByteArray& value);

WString AuthorityInfoAccessLayout(const FunctionTrace& fn, const WString&, const ByteArray& value) {
  const Asn1::AuthorityInfoAccessSyntax info = Decode<Structure::AuthorityInfoAccess>(fn, value);
  WString text;
  for (std::size_t i = 0; i < info.rgAccDescr.size(); ++i) {
    const Asn1::AccessDescription& description = info.rgAccDescr[i];
    text += kNewLine + Index(i + 1) + L"Authority Information Access:";
    text += kIndent5 + (L"Access Method=" + Friendly(description.pszAccessMethod)) + L" (" +
            Wide(description.pszAccessMethod) + L")";
    text += kIndent5 + WString(L"Alternative Name:");
    text += kIndent10 + GeneralNameText(description.AccessLocation);
  }
  return text;
}

WString AuthorityKeyIdLayout(const FunctionTrace& fn, const WString&, const ByteArray& value) {
  const Asn1::SupersededAuthorityKeyId info = Decode<Structure::AuthorityKeyId>(fn, value);
  WString text;
  if (!info.KeyId.empty()) text += kNewLine + (L"KeyID=" + HexBytes(info.KeyId));
  if (!info.CertIssuer.empty()) {
    const std::unique_ptr<IX500Name> issuer(IX500Name::Create(info.CertIssuer));
    text += kNewLine + (L"Certificate Issuer=" + issuer->GetName(0));
  }
  if (!info.CertSerialNumber.empty())
    text += kNewLine + (L"Certificate SerialNumber= " + HexBytes(info.CertSerialNumber));
  return text;
}

// The issuer's general names follow "Certificate Issuer:" and its line break one after the other.
WString AuthorityKeyId2Layout(const FunctionTrace& fn, const WString&, const ByteArray& value) {
  const Asn1::AuthorityKeyIdentifier info = Decode<Structure::AuthorityKeyId2>(fn, value);
  WString text;
  if (!info.KeyId.empty()) text += kNewLine + (L"KeyID=" + HexBytes(info.KeyId));
  text += L"\r\nCertificate Issuer:\r\n";
  for (const Asn1::GeneralName& entry : info.AuthorityCertIssuer.rgAltEntry) text += GeneralNameText(entry);
  if (!info.AuthorityCertSerialNumber.empty())
    text += kNewLine + (L"Certificate SerialNumber= " + HexBytes(info.AuthorityCertSerialNumber));
  return text;
}

WString SubjectKeyIdLayout(const FunctionTrace& fn, const WString&, const ByteArray& value) {
  return kNewLine + HexBytes(Decode<Structure::SubjectKeyId>(fn, value));
}

WString AlternativeNameLayout(const FunctionTrace& fn, const WString&, const ByteArray& value) {
  WString text;
  for (const Asn1::GeneralName& entry : Decode<Structure::AlternateName>(fn, value).rgAltEntry)
    text += kNewLine + GeneralNameText(entry);
  return text;
}

// An end entity always reads "None", whatever limit is encoded.
WString BasicConstraintsLayout(const FunctionTrace& fn, const WString&, const ByteArray& value) {
  const Asn1::BasicConstraints info = Decode<Structure::BasicConstraints2>(fn, value);
  if (!info.fCA) return L"\r\nSubject Type=Final Entity\r\nPath Length Constraint=None";
  return L"\r\nSubject Type=CA\r\nPath Length Constraint=" +
         (info.fPathLenConstraint ? Decimal(info.dwPathLenConstraint) : WString(L"None"));
}

WString CertificatePoliciesLayout(const FunctionTrace& fn, const WString&, const ByteArray& value) {
  const Asn1::CertificatePolicies info = Decode<Structure::CertPolicies>(fn, value);
  WString text;
  for (std::size_t i = 0; i < info.rgPolicyInfo.size(); ++i) {
    const Asn1::PolicyInformation& policy = info.rgPolicyInfo[i];
    text += kNewLine + Index(i + 1) + L"Certificate Policy:";
    text += kIndent5 + (L"PolicyIdentifier=" + Wide(policy.pszPolicyIdentifier));
    for (std::size_t j = 0; j < policy.rgPolicyQualifier.size(); ++j) {
      const Asn1::PolicyQualifierInfo& qualifier = policy.rgPolicyQualifier[j];
      text += kIndent5 + Index(i + 1, j + 1) + L"Policy Qualifier Info: ";
      text += kIndent10 + (L"Policy Qualifier Id=" + Friendly(qualifier.pszPolicyQualifierId));
      text += kIndent10 + WString(L"Qualifier:");
      text += kIndent15 + CryptoUtil::DecodeX509String(Wide(qualifier.pszPolicyQualifierId), qualifier.Qualifier);
    }
  }
  return text;
}

WString KeyUsageLayout(const FunctionTrace& fn, const WString&, const ByteArray& value) {
  return kNewLine + CryptoUtil::GetKeyUsage(Decode<Structure::KeyUsage>(fn, value).pbData);
}

WString KeyAttributesLayout(const FunctionTrace& fn, const WString&, const ByteArray& value) {
  const Asn1::KeyAttributesSyntax info = Decode<Structure::KeyAttributes>(fn, value);
  WString text = kNewLine + (L"KeyID=" + HexBytes(info.KeyId));
  text += kNewLine + (L"Intended Key Usage=" + CryptoUtil::GetKeyUsage(info.IntendedKeyUsage.pbData));
  // The period's lines are always written; an absent period reads as one whose bounds are both
  // absent, the zero FILETIME (1 January 1601).
  const Asn1::PrivateKeyValidity period = info.pPrivateKeyUsagePeriod.value_or(Asn1::PrivateKeyValidity{});
  text += L"\r\nPrivate Key Usage Period:";
  text += kIndent5 + (L"Not Before=" + Time(period.NotBefore));
  text += kIndent5 + (L"Not After=" + Time(period.NotAfter));
  return text;
}

// Only a full name has general names to list; a name relative to the CRL issuer lists none.
WString CrlDistributionPointsLayout(const FunctionTrace& fn, const WString&, const ByteArray& value) {
  const Asn1::CrlDistributionPoints info = Decode<Structure::CrlDistPoints>(fn, value);
  WString text;
  for (std::size_t i = 0; i < info.rgDistPoint.size(); ++i) {
    const Asn1::DistributionPointName& name = info.rgDistPoint[i].DistPointName;
    text += kNewLine + Index(i + 1) + L"CRL Distribution Point";
    text += kIndent5 + WString(L"Distribution Point Name: ");
    text += kIndent10 + WString(L"Fullname: ");
    if (name.dwDistPointNameChoice != Asn1::kFullName) continue;
    for (const Asn1::GeneralName& entry : name.FullName.rgAltEntry) text += kIndent15 + GeneralNameText(entry);
  }
  return text;
}

// A restricted policy is a sequence of OIDs; each gets its own line.
WString KeyUsageRestrictionLayout(const FunctionTrace& fn, const WString&, const ByteArray& value) {
  const Asn1::KeyUsageRestrictionSyntax info = Decode<Structure::KeyUsageRestriction>(fn, value);
  WString text = L"\r\nCertificate Policies Restrictions:";
  for (const Asn1::CertPolicyId& policy : info.rgCertPolicyId)
    for (const std::string& element : policy.rgpszCertPolicyElementId)
      text += kIndent5 + (L"Certificate Policy Restriction=" + Wide(element));
  text += kNewLine + (L"Key Usage Restriction=" + CryptoUtil::GetKeyUsage(info.RestrictedKeyUsage.pbData));
  return text;
}

WString DumpLayout(const FunctionTrace&, const WString&, const ByteArray& value) {
  return kNewLine + HexAndTextDump(value);
}

WString EnhancedKeyUsageLayout(const FunctionTrace& fn, const WString&, const ByteArray& value) {
  WString text;
  for (const std::string& usage : Decode<Structure::EnhancedKeyUsage>(fn, value).rgpszUsageIdentifier)
    text += kNewLine + Friendly(usage) + L" (" + Wide(usage) + L")";
  return text;
}

// "Pending" only for exactly a DER BOOLEAN TRUE.
WString NaciStatusLayout(const FunctionTrace&, const WString&, const ByteArray& value) {
  return value.size() == 3 && value[2] == 0xFF ? L"\r\nPending" : L"\r\nCompleted";
}

WString SMimeCapabilitiesLayout(const FunctionTrace& fn, const WString&, const ByteArray& value) {
  const Asn1::SMimeCapabilityList info = Decode<Structure::SMimeCapabilities>(fn, value);
  WString text;
  for (std::size_t i = 0; i < info.rgCapability.size(); ++i) {
    const Asn1::SMimeCapability& capability = info.rgCapability[i];
    text += kNewLine + Index(i + 1) + L"SMIME Capability";
    text += kIndent5 + (L"Object ID=" + Wide(capability.pszObjId));
    if (!capability.Parameters.empty()) text += kIndent5 + (L"Parameters=" + HexBytes(capability.Parameters));
  }
  return text;
}

WString CertificateTemplateLayout(const FunctionTrace& fn, const WString&, const ByteArray& value) {
  const Asn1::CertificateTemplateInfo info = Decode<Structure::CertificateTemplate>(fn, value);
  WString text = kNewLine + (L"Template=" + Friendly(info.pszObjId));
  text += kNewLine + (L"Major Version Number=" + Decimal(info.dwMajorVersion));
  if (info.fMinorVersion) text += kNewLine + (L"Minor Version Number=" + Decimal(info.dwMinorVersion));
  return text;
}

WString ApplicationPoliciesLayout(const FunctionTrace& fn, const WString&, const ByteArray& value) {
  const Asn1::CertificatePolicies info = Decode<Structure::CertPolicies>(fn, value);
  WString text;
  for (std::size_t i = 0; i < info.rgPolicyInfo.size(); ++i) {
    const Asn1::PolicyInformation& policy = info.rgPolicyInfo[i];
    text += kNewLine + Index(i + 1) + L"Application Certificate Policy:";
    text += kIndent5 + (L"Policy Identifier=" + Friendly(policy.pszPolicyIdentifier));
    for (const Asn1::PolicyQualifierInfo& qualifier : policy.rgPolicyQualifier) {
      text += kIndent5 + WString(L"Policy Qualifier: ");
      text += kIndent10 + Wide(qualifier.pszPolicyQualifierId) + L"=" + HexBytes(qualifier.Qualifier);
    }
  }
  return text;
}

WString NetscapeCertTypeLayout(const FunctionTrace& fn, const WString&, const ByteArray& value) {
  return kNewLine + CryptoUtil::GetNetscapeCertType(Decode<Structure::Bits>(fn, value).pbData);
}

WString StringLayout(const FunctionTrace&, const WString& sOID, const ByteArray& value) {
  return kNewLine + CryptoUtil::DecodeX509String(sOID, value);
}

// The whole integer before ".0": a version 0x00010001 reads "V65537.0", never "V1.1".
WString CAVersionLayout(const FunctionTrace& fn, const WString&, const ByteArray& value) {
  return L"\r\nV" + Decimal(Decode<Structure::Integer>(fn, value)) + L".0";
}

WString SubjectDirectoryAttributesLayout(const FunctionTrace& fn, const WString&, const ByteArray& value) {
  const Asn1::ElementList attributes = Decode<Structure::SequenceOfAny>(fn, value);
  WString text;
  for (std::size_t i = 0; i < attributes.rgValue.size(); ++i) {
    const Asn1::Attribute attribute = Decode<Structure::PkcsAttribute>(fn, attributes.rgValue[i]);
    text += kNewLine + Index(i + 1) + Friendly(attribute.pszObjId);
    for (const Asn1::EncodedElement& attributeValue : attribute.rgValue)
      text += kIndent5 + CryptoUtil::DecodeX509String(Wide(attribute.pszObjId), attributeValue);
  }
  return text;
}

struct ExtensionRow {
  const wchar_t* oid;
  const wchar_t* header;
  Layout layout;
};

constexpr ExtensionRow kExtensions[] = {
    {L"1.3.6.1.5.5.7.1.1", L"[Authority Information Access]", AuthorityInfoAccessLayout},
    {L"2.5.29.1", L"[Authority Key Identifier]", AuthorityKeyIdLayout},
    {L"2.5.29.35", L"[Authority Key Identifier]", AuthorityKeyId2Layout},
    {L"2.5.29.14", L"[Subject Key Identifier]", SubjectKeyIdLayout},
    {L"2.5.29.7", L"[Subject Alternative Name]", AlternativeNameLayout},
    {L"2.5.29.17", L"[Subject Alternative Name]", AlternativeNameLayout},
    {L"2.5.29.8", L"[Issuer Alternative Name]", AlternativeNameLayout},
    {L"2.5.29.18", L"[Issuer Alternative Name]", AlternativeNameLayout},
    {L"2.5.29.19", L"[Basic Constraints]", BasicConstraintsLayout},
    {L"2.5.29.32", L"[Certificate Policies]", CertificatePoliciesLayout},
    {L"2.5.29.15", L"[Key Usage]", KeyUsageLayout},
    {L"2.5.29.2", L"[Key Attributes Information]", KeyAttributesLayout},
    {L"2.5.29.31", L"[CRL Distribution Points]", CrlDistributionPointsLayout},
    {L"2.5.29.4", L"[Key Usage Restriction]", KeyUsageRestrictionLayout},
    {L"2.5.29.16", L"[Private Key Usage Period]", DumpLayout},
    {L"2.5.29.37", L"[Enhanced Key Usage]", EnhancedKeyUsageLayout},
    {L"2.16.840.1.101.3.6.9.1", L"[NACI Status]", NaciStatusLayout},
    {L"1.2.840.113549.1.9.15", L"[SMIME Capabilities]", SMimeCapabilitiesLayout},
    {L"1.3.6.1.4.1.311.21.7", L"[Certificate Template Information]", CertificateTemplateLayout},
    {L"1.3.6.1.4.1.311.21.10", L"[Application Policies]", ApplicationPoliciesLayout},
    {L"2.16.840.1.113730.1.1", L"[NetscapeCertType]", NetscapeCertTypeLayout},
    {L"1.3.6.1.4.1.311.20.2", L"[Certificate Template]", StringLayout},
    {L"2.16.840.1.113730.1.13", L"[NetscapeComment]", StringLayout},
    {L"1.3.6.1.4.1.311.21.1", L"[CA Version]", CAVersionLayout},
    {L"2.16.840.1.113730.1.2", L"[NetscapeBaseURL]", StringLayout},
    {L"2.16.840.1.113730.1.3", L"[NetscapeRevocationURL]", StringLayout},
    {L"2.16.840.1.113730.1.4", L"[NetscapeCARevocationURL]", StringLayout},
    {L"2.16.840.1.113730.1.7", L"[NetscapeCertRenewalURL]", StringLayout},
    {L"2.16.840.1.113730.1.8", L"[NetscapeCAPolicyURL]", StringLayout},
    {L"2.16.840.1.113730.1.12", L"[NetscapeSSLServerName]", StringLayout},
    {L"2.5.29.9", L"[Subject Directory Attributes]", SubjectDirectoryAttributesLayout},
};

}  // namespace

std::vector<WString> RenderedOIDs() {
  std::vector<WString> oids;
  for (const ExtensionRow& row : kExtensions) oids.emplace_back(row.oid);
  for (const wchar_t* oid : kDirectoryAttributes) oids.emplace_back(oid);
  return oids;
}

bool IsDirectoryAttribute(const WString& sOID) {
  for (const wchar_t* oid : kDirectoryAttributes)
    if (sOID == oid) return true;
  return false;
}

WString RenderExtension(const FunctionTrace& fn, const WString& sOID, const ByteArray& baValue) {
  for (const ExtensionRow& row : kExtensions)
    if (sOID == row.oid) return row.header + row.layout(fn, sOID, baValue);
  return L"[" + IOIDDecoder::OIDToString(sOID) + L"]" + DumpLayout(fn, sOID, baValue);
}

}  // namespace ZT::Framework::OIDRendering
