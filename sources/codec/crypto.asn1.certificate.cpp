#include "codec/crypto.asn1.certificate.h"

#include "codec/crypto.asn1.readers.h"

namespace ZT::Framework::Structure {

bool SignedContent::Decode(Der::Bytes der, Decoded* out) {
  Der::Reader seq;
  Der::Bytes toBeSigned;
  if (!Der::ReadWhole(der, Der::kSequence, &seq) || !seq.ReadElement(Der::kSequence, &toBeSigned) ||
      !Asn1Read::ReadAlgorithmIdentifier(seq, &out->SignatureAlgorithm) ||
      !Asn1Read::ReadBitBlob(seq, &out->Signature) || !seq.Empty())
    return false;
  out->ToBeSigned.assign(toBeSigned.begin(), toBeSigned.end());
  return true;
}

bool SubjectPublicKeyInfoOf(Der::Bytes tbs, Der::Bytes* spki) {
  Der::Reader seq;
  bool present = false;
  Der::Reader version;
  return Der::ReadWhole(tbs, Der::kSequence, &seq) && seq.ReadOptional(Der::ExplicitTag(0), &version, &present) &&
         seq.Skip(Der::kInteger) && seq.Skip(Der::kSequence) && seq.Skip(Der::kSequence) &&
         seq.Skip(Der::kSequence) && seq.Skip(Der::kSequence) && seq.ReadElement(Der::kSequence, spki);
}

}  // namespace ZT::Framework::Structure
