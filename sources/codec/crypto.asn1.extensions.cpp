// Decoders of the extension values and of the small universal structures (integer, time,
// sequence of any, attribute), each written as the steps of its ASN.1 definition.
#include <limits>

#include "codec/crypto.asn1.readers.h"
#include "codec/crypto.asn1.extensions.h"

namespace ZT::Framework::Structure {

using namespace Der;
using Asn1Read::ReadBitStringBytes;
using Asn1Read::ReadOctets;
using Asn1Read::ReadEach;
using Asn1Read::ReadGeneralName;
using Asn1Read::ReadGeneralNames;
using Asn1Read::ReadLittleEndianInteger;
using Asn1Read::ReadElementBytes;
using Asn1Read::ReadOidText;
using Asn1Read::ReadWholeWith;

namespace {

// A non-negative INTEGER that fits 32 bits (with `tag` when implicitly tagged).
bool ReadUint32(Reader& in, std::uint32_t* out, Tag tag = kInteger) {
  std::uint64_t value;
  if (!in.ReadUint64(&value, tag) || value > std::numeric_limits<std::uint32_t>::max()) return false;
  *out = static_cast<std::uint32_t>(value);
  return true;
}

// A time read as calendar time, stored as a FILETIME.
bool TakeFileTime(const CalendarTime& time, FileTimeTicksValue* out) { return ToFileTimeTicks(time, out); }

// DisplayText ::= CHOICE { ia5String, visibleString, bmpString, utf8String }
bool ReadDisplayText(Reader& in, WString* out) {
  std::uint32_t type;
  return in.ReadAnyString(&type, out) &&
         (type == kIa5StringType || type == kVisibleStringType || type == kBmpStringType || type == kUtf8StringType);
}

// NoticeReference ::= SEQUENCE { organization DisplayText, noticeNumbers SEQUENCE OF INTEGER }
// The platform keeps the organization as narrow text; characters beyond one octet are refused.
bool ReadNoticeReference(Reader& in, Asn1::NoticeReference* out) {
  Reader seq, numbers;
  WString organization;
  if (!in.Read(kSequence, &seq) || !ReadDisplayText(seq, &organization) || !seq.Read(kSequence, &numbers) ||
      !seq.Empty())
    return false;
  for (wchar_t c : organization) {
    if (static_cast<std::uint32_t>(c) > 0xFF) return false;
    out->pszOrganization.push_back(static_cast<char>(c));
  }
  return ReadEach(numbers, [&](Reader& r) {
    std::int64_t number;
    if (!r.ReadInt64(&number) || number < std::numeric_limits<std::int32_t>::min() ||
        number > std::numeric_limits<std::int32_t>::max())
      return false;
    out->rgNoticeNumbers.push_back(static_cast<std::int32_t>(number));
    return true;
  });
}

// PolicyQualifierInfo ::= SEQUENCE { policyQualifierId OID, qualifier ANY }
bool ReadPolicyQualifier(Reader& in, Asn1::PolicyQualifierInfo* out) {
  Reader seq;
  return in.Read(kSequence, &seq) && ReadOidText(seq, &out->pszPolicyQualifierId) &&
         ReadElementBytes(seq, &out->Qualifier) && seq.Empty();
}

// PolicyInformation ::= SEQUENCE { policyIdentifier OID,
//                                  policyQualifiers SEQUENCE SIZE (1..MAX) OF PolicyQualifierInfo OPTIONAL }
bool ReadPolicyInformation(Reader& in, Asn1::PolicyInformation* out) {
  Reader seq, qualifiers;
  return in.Read(kSequence, &seq) && ReadOidText(seq, &out->pszPolicyIdentifier) &&
         seq.ReadOptional(kSequence,
             [&] {
               return seq.Read(kSequence, &qualifiers) &&
                      ReadEach(
                          qualifiers,
                          [&](Reader& r) { return ReadPolicyQualifier(r, &out->rgPolicyQualifier.emplace_back()); }, 1);
             }) &&
         seq.Empty();
}

// DistributionPointName ::= CHOICE { fullName [0] GeneralNames,
//                                    nameRelativeToCRLIssuer [1] RelativeDistinguishedName }
bool ReadDistributionPointName(Reader& in, Asn1::DistributionPointName* out) {
  Reader choice;
  if (!in.Read(ExplicitTag(0), &choice)) return false;
  if (choice.Peek(ContextTag(0, true))) {
    out->dwDistPointNameChoice = Asn1::kFullName;
    return ReadGeneralNames(choice, &out->FullName, ContextTag(0, true)) && choice.Empty();
  }
  Reader rdn;
  out->dwDistPointNameChoice = Asn1::kNameRelativeToCrlIssuer;
  return choice.Read(ContextTag(1, true), &rdn) && !rdn.Empty() && choice.Empty();
}

// DistributionPoint ::= SEQUENCE { distributionPoint [0] DistributionPointName OPTIONAL,
//                                  reasons [1] ReasonFlags OPTIONAL, cRLIssuer [2] GeneralNames OPTIONAL }
bool ReadDistributionPoint(Reader& in, Asn1::DistributionPoint* out) {
  Reader seq;
  return in.Read(kSequence, &seq) &&
         seq.ReadOptional(ExplicitTag(0), [&] { return ReadDistributionPointName(seq, &out->DistPointName); }) &&
         seq.ReadOptional(ContextTag(1), [&] { return ReadBitStringBytes(seq, &out->ReasonFlags, ContextTag(1)); }) &&
         seq.ReadOptional(ContextTag(2, true),
                  [&] { return ReadGeneralNames(seq, &out->CRLIssuer, ContextTag(2, true)); }) &&
         seq.Empty();
}

// AccessDescription ::= SEQUENCE { accessMethod OID, accessLocation GeneralName }
bool ReadAccessDescription(Reader& in, Asn1::AccessDescription* out) {
  Reader seq;
  return in.Read(kSequence, &seq) && ReadOidText(seq, &out->pszAccessMethod) &&
         ReadGeneralName(seq, &out->AccessLocation) && seq.Empty();
}

// PrivateKeyValidity ::= SEQUENCE { notBefore [0] GeneralizedTime OPTIONAL,
//                                   notAfter [1] GeneralizedTime OPTIONAL }
bool ReadPrivateKeyValidity(Reader& in, Asn1::PrivateKeyValidity* out) {
  Reader seq;
  CalendarTime time;
  return in.Read(kSequence, &seq) &&
         seq.ReadOptional(ContextTag(0),
             [&] { return seq.ReadGeneralizedTime(&time, ContextTag(0)) && TakeFileTime(time, &out->NotBefore); }) &&
         seq.ReadOptional(ContextTag(1),
             [&] { return seq.ReadGeneralizedTime(&time, ContextTag(1)) && TakeFileTime(time, &out->NotAfter); }) &&
         seq.Empty();
}

// CertPolicyId ::= SEQUENCE OF OBJECT IDENTIFIER
bool ReadCertPolicyId(Reader& in, Asn1::CertPolicyId* out) {
  Reader seq;
  return in.Read(kSequence, &seq) &&
         ReadEach(
             seq, [&](Reader& r) { return ReadOidText(r, &out->rgpszCertPolicyElementId.emplace_back()); }, 1);
}

// SMIMECapability ::= SEQUENCE { capabilityID OID, parameters ANY OPTIONAL }
bool ReadSMimeCapability(Reader& in, Asn1::SMimeCapability* out) {
  Reader seq;
  return in.Read(kSequence, &seq) && ReadOidText(seq, &out->pszObjId) &&
         (seq.Empty() || ReadElementBytes(seq, &out->Parameters)) && seq.Empty();
}

}  // namespace

bool AuthorityKeyId::Decode(Bytes der, Decoded* out) {
  return ReadWholeWith(der, kSequence, [&](Reader& seq) {
    Reader issuer;
    return seq.ReadOptional(ContextTag(0), [&] { return ReadOctets(seq, &out->KeyId, ContextTag(0)); }) &&
           seq.ReadOptional(ExplicitTag(1),
                    [&] {
                      Asn1::Name checked;
                      return seq.Read(ExplicitTag(1), &issuer) && ReadElementBytes(issuer, &out->CertIssuer) &&
                             issuer.Empty() && X509Name::Decode(out->CertIssuer, &checked);
                    }) &&
           seq.ReadOptional(ContextTag(2),
                            [&] { return ReadLittleEndianInteger(seq, &out->CertSerialNumber, ContextTag(2)); });
  });
}

// AuthorityKeyIdentifier ::= SEQUENCE { keyIdentifier [0] KeyIdentifier OPTIONAL,
//   authorityCertIssuer [1] GeneralNames OPTIONAL, authorityCertSerialNumber [2] CertificateSerialNumber OPTIONAL }
bool AuthorityKeyId2::Decode(Bytes der, Decoded* out) {
  return ReadWholeWith(der, kSequence, [&](Reader& seq) {
    return seq.ReadOptional(ContextTag(0), [&] { return ReadOctets(seq, &out->KeyId, ContextTag(0)); }) &&
           seq.ReadOptional(ContextTag(1, true),
                    [&] { return ReadGeneralNames(seq, &out->AuthorityCertIssuer, ContextTag(1, true)); }) &&
           seq.ReadOptional(ContextTag(2),
                    [&] { return ReadLittleEndianInteger(seq, &out->AuthorityCertSerialNumber, ContextTag(2)); });
  });
}

bool SubjectKeyId::Decode(Bytes der, Decoded* out) {
  Reader in(der);
  return ReadOctets(in, out) && in.Empty();
}

bool BasicConstraints2::Decode(Bytes der, Decoded* out) {
  return ReadWholeWith(der, kSequence, [&](Reader& seq) {
    return seq.ReadOptional(kBoolean, [&] { return seq.ReadBoolean(&out->fCA); }) && seq.ReadOptional(kInteger, [&] {
             out->fPathLenConstraint = true;
             return ReadUint32(seq, &out->dwPathLenConstraint);
           });
  });
}

// certificatePolicies ::= SEQUENCE SIZE (1..MAX) OF PolicyInformation
bool CertPolicies::Decode(Bytes der, Decoded* out) {
  return ReadWholeWith(der, kSequence, [&](Reader& seq) {
    return ReadEach(
        seq, [&](Reader& r) { return ReadPolicyInformation(r, &out->rgPolicyInfo.emplace_back()); }, 1);
  });
}

bool PolicyQualifierUserNotice::Decode(Bytes der, Decoded* out) {
  return ReadWholeWith(der, kSequence, [&](Reader& seq) {
    return seq.ReadOptional(kSequence, [&] { return ReadNoticeReference(seq, &out->pNoticeReference.emplace()); }) &&
           (seq.Empty() || ReadDisplayText(seq, &out->pszDisplayText.emplace()));
  });
}

bool KeyUsage::Decode(Bytes der, Decoded* out) {
  Reader in(der);
  return ReadBitStringBytes(in, out) && in.Empty();
}

bool Bits::Decode(Bytes der, Decoded* out) { return KeyUsage::Decode(der, out); }

bool KeyAttributes::Decode(Bytes der, Decoded* out) {
  return ReadWholeWith(der, kSequence, [&](Reader& seq) {
    return seq.ReadOptional(kOctetString, [&] { return ReadOctets(seq, &out->KeyId); }) &&
           seq.ReadOptional(kBitString, [&] { return ReadBitStringBytes(seq, &out->IntendedKeyUsage); }) &&
           seq.ReadOptional(kSequence,
                    [&] { return ReadPrivateKeyValidity(seq, &out->pPrivateKeyUsagePeriod.emplace()); });
  });
}

bool KeyUsageRestriction::Decode(Bytes der, Decoded* out) {
  return ReadWholeWith(der, kSequence, [&](Reader& seq) {
    Reader policies;
    return seq.ReadOptional(kSequence,
                    [&] {
                      return seq.Read(kSequence, &policies) && ReadEach(policies, [&](Reader& r) {
                               return ReadCertPolicyId(r, &out->rgCertPolicyId.emplace_back());
                             });
                    }) &&
           seq.ReadOptional(kBitString, [&] { return ReadBitStringBytes(seq, &out->RestrictedKeyUsage); });
  });
}

bool EnhancedKeyUsage::Decode(Bytes der, Decoded* out) {
  return ReadWholeWith(der, kSequence, [&](Reader& seq) {
    return ReadEach(seq, [&](Reader& r) { return ReadOidText(r, &out->rgpszUsageIdentifier.emplace_back()); });
  });
}

// CRLDistributionPoints ::= SEQUENCE SIZE (1..MAX) OF DistributionPoint
bool CrlDistPoints::Decode(Bytes der, Decoded* out) {
  return ReadWholeWith(der, kSequence, [&](Reader& seq) {
    return ReadEach(
        seq, [&](Reader& r) { return ReadDistributionPoint(r, &out->rgDistPoint.emplace_back()); }, 1);
  });
}

// AuthorityInfoAccessSyntax ::= SEQUENCE SIZE (1..MAX) OF AccessDescription
bool AuthorityInfoAccess::Decode(Bytes der, Decoded* out) {
  return ReadWholeWith(der, kSequence, [&](Reader& seq) {
    return ReadEach(
        seq, [&](Reader& r) { return ReadAccessDescription(r, &out->rgAccDescr.emplace_back()); }, 1);
  });
}

bool SMimeCapabilities::Decode(Bytes der, Decoded* out) {
  return ReadWholeWith(der, kSequence, [&](Reader& seq) {
    return ReadEach(seq, [&](Reader& r) { return ReadSMimeCapability(r, &out->rgCapability.emplace_back()); });
  });
}

bool CertificateTemplate::Decode(Bytes der, Decoded* out) {
  return ReadWholeWith(der, kSequence, [&](Reader& seq) {
    return ReadOidText(seq, &out->pszObjId) && ReadUint32(seq, &out->dwMajorVersion) && seq.ReadOptional(kInteger, [&] {
             out->fMinorVersion = true;
             return ReadUint32(seq, &out->dwMinorVersion);
           });
  });
}

bool Integer::Decode(Bytes der, Decoded* out) {
  Reader in(der);
  std::int64_t value;
  if (!in.ReadInt64(&value) || !in.Empty() || value < std::numeric_limits<std::int32_t>::min() ||
      value > std::numeric_limits<std::int32_t>::max())
    return false;
  *out = static_cast<std::int32_t>(value);
  return true;
}

bool ChoiceOfTime::Decode(Bytes der, Decoded* out) {
  Reader in(der);
  CalendarTime time;
  return in.ReadTime(&time) && in.Empty() && TakeFileTime(time, out);
}

bool SequenceOfAny::Decode(Bytes der, Decoded* out) {
  return ReadWholeWith(der, kSequence, [&](Reader& seq) {
    return ReadEach(seq, [&](Reader& r) { return ReadElementBytes(r, &out->rgValue.emplace_back()); });
  });
}

bool PkcsAttribute::Decode(Bytes der, Decoded* out) {
  return ReadWholeWith(der, kSequence, [&](Reader& seq) {
    Reader values;
    return ReadOidText(seq, &out->pszObjId) && seq.Read(kSet, &values) &&
           ReadEach(values, [&](Reader& r) { return ReadElementBytes(r, &out->rgValue.emplace_back()); });
  });
}

}  // namespace ZT::Framework::Structure
