#include "codec/crypto.asn1.certificate.h"

#include <limits>

namespace ZT::Framework {

namespace Asn1Read {

bool ReadSignedObject(Der::Bytes der, Asn1::SignedObjectView* out) {
  Der::Reader seq;
  Der::BitString signature;
  if (!Der::ReadWhole(der, Der::kSequence, &seq) || !seq.ReadElement(Der::kSequence, &out->toBeSigned) ||
      !ReadAlgorithmIdentifier(seq, &out->signatureAlgorithm) || !seq.ReadBitString(&signature) ||
      signature.unusedBits != 0 || !seq.Empty())
    return false;
  out->signature = signature.bytes;
  return true;
}

namespace {

// version [0] EXPLICIT Version DEFAULT v1
bool ReadVersion(Der::Reader& seq, std::uint64_t* version) {
  *version = 0;
  return seq.ReadOptional(Der::ExplicitTag(0), [&] {
    Der::Reader explicitVersion;
    return seq.Read(Der::ExplicitTag(0), &explicitVersion) && explicitVersion.ReadUint64(version) &&
           explicitVersion.Empty() && *version <= std::numeric_limits<std::uint32_t>::max();
  });
}

// Validity ::= SEQUENCE { notBefore Time, notAfter Time }
bool ReadValidity(Der::Reader& seq, Der::CalendarTime* notBefore, Der::CalendarTime* notAfter) {
  Der::Reader validity;
  return seq.Read(Der::kSequence, &validity) && validity.ReadTime(notBefore) && validity.ReadTime(notAfter) &&
         validity.Empty();
}

// SubjectPublicKeyInfo: read, and kept whole as it was signed.
bool ReadPublicKey(Der::Reader& seq, Der::Bytes* element, Asn1::SubjectPublicKeyInfoView* out) {
  const Der::Bytes before = seq.Remaining();
  if (!ReadSubjectPublicKeyInfo(seq, out)) return false;
  *element = before.first(before.size() - seq.Size());
  return true;
}

// [n] IMPLICIT BIT STRING OPTIONAL
bool ReadUniqueId(Der::Reader& seq, std::uint32_t n, bool* present, Der::BitString* id) {
  return seq.ReadOptional(Der::ContextTag(n), [&] { return *present = seq.ReadBitString(id, Der::ContextTag(n)); });
}

// extensions [3] EXPLICIT SEQUENCE OF Extension OPTIONAL
bool ReadExtensions(Der::Reader& seq, Der::Reader* extensions) {
  *extensions = Der::Reader();
  return seq.ReadOptional(Der::ExplicitTag(3), [&] {
    Der::Reader outer;
    return seq.Read(Der::ExplicitTag(3), &outer) && outer.Read(Der::kSequence, extensions) && outer.Empty();
  });
}

}  // namespace

bool ReadTbsCertificate(Der::Bytes tbs, Asn1::TbsCertificateView* out) {
  Der::Reader seq;
  return Der::ReadWhole(tbs, Der::kSequence, &seq) && ReadVersion(seq, &out->version) &&
         seq.ReadInteger(&out->serialNumber) && ReadAlgorithmIdentifier(seq, &out->signature) &&
         seq.ReadElement(Der::kSequence, &out->issuer) && ReadValidity(seq, &out->notBefore, &out->notAfter) &&
         seq.ReadElement(Der::kSequence, &out->subject) &&
         ReadPublicKey(seq, &out->subjectPublicKeyInfo, &out->publicKey) &&
         ReadUniqueId(seq, 1, &out->hasIssuerUniqueId, &out->issuerUniqueId) &&
         ReadUniqueId(seq, 2, &out->hasSubjectUniqueId, &out->subjectUniqueId) &&
         ReadExtensions(seq, &out->extensions) && seq.Empty();
}

bool ReadExtension(Der::Reader& in, Asn1::ExtensionView* out) {
  Der::Reader seq;
  Der::Bytes oid;
  out->critical = false;
  return in.Read(Der::kSequence, &seq) && seq.ReadOid(&oid) && Der::OidToText(oid, &out->oid) &&
         seq.ReadOptional(Der::kBoolean, [&] { return seq.ReadBoolean(&out->critical); }) &&
         seq.ReadOctetString(&out->value) && seq.Empty();
}

}  // namespace Asn1Read

bool Structure::SignedContent::Decode(Der::Bytes der, Decoded* out) {
  Asn1::SignedObjectView view;
  if (!Asn1Read::ReadSignedObject(der, &view)) return false;
  out->ToBeSigned.assign(view.toBeSigned.begin(), view.toBeSigned.end());
  out->SignatureAlgorithm.pszObjId = std::move(view.signatureAlgorithm.oid);
  out->SignatureAlgorithm.Parameters.assign(view.signatureAlgorithm.parameters.begin(),
                                            view.signatureAlgorithm.parameters.end());
  out->Signature.pbData.assign(view.signature.begin(), view.signature.end());
  out->Signature.cUnusedBits = 0;
  return true;
}

}  // namespace ZT::Framework
