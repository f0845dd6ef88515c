#include "codec/crypto.asn1.keys.h"

#include "codec/crypto.der.writer.h"

namespace ZT::Framework {

bool Asn1Read::ReadAlgorithmIdentifier(Der::Reader& in, Asn1::AlgorithmIdentifierView* out) {
  Der::Reader seq;
  Der::Bytes oid;
  Der::Tag tag;
  out->parameters = {};
  return in.Read(Der::kSequence, &seq) && seq.ReadOid(&oid) && Der::OidToText(oid, &out->oid) &&
         (seq.Empty() || seq.ReadAnyElement(&tag, &out->parameters)) && seq.Empty();
}

bool Asn1Read::ReadAlgorithmIdentifier(Der::Reader& in, Asn1::AlgorithmIdentifier* out) {
  Asn1::AlgorithmIdentifierView view;
  if (!ReadAlgorithmIdentifier(in, &view)) return false;
  out->pszObjId = std::move(view.oid);
  out->Parameters.assign(view.parameters.begin(), view.parameters.end());
  return true;
}

bool Asn1Read::ReadSubjectPublicKeyInfo(Der::Reader& in, Asn1::SubjectPublicKeyInfoView* out) {
  Der::Reader seq;
  return in.Read(Der::kSequence, &seq) && ReadAlgorithmIdentifier(seq, &out->algorithm) &&
         seq.ReadBitString(&out->publicKey) && seq.Empty();
}

void Asn1Write::WriteAlgorithmIdentifier(Der::Writer& w, std::string_view oid, Der::Bytes parameters) {
  w.Nest(Der::kSequence, [&] {
    w.AddOid(oid);
    if (!parameters.empty()) w.AddRaw(parameters);
  });
}

void Asn1Write::WriteSubjectPublicKeyInfo(Der::Writer& w, std::string_view algorithm, Der::Bytes parameters,
                                          const Der::BitString& publicKey) {
  w.Nest(Der::kSequence, [&] {
    WriteAlgorithmIdentifier(w, algorithm, parameters);
    w.AddBitString(publicKey.bytes, publicKey.unusedBits);
  });
}

namespace Structure {

using Asn1Read::ReadAlgorithmIdentifier;

namespace {

ByteArray Copy(Der::Bytes bytes) { return ByteArray(bytes.begin(), bytes.end()); }

void WriteAlgorithmIdentifier(Der::Writer& w, const Asn1::AlgorithmIdentifier& in) {
  Asn1Write::WriteAlgorithmIdentifier(w, in.pszObjId, in.Parameters);
}

// A positive INTEGER as its magnitude (an RSA number: zero is no modulus, exponent or prime).
bool ReadPositive(Der::Reader& in, ByteArray* out) {
  Der::Bytes magnitude;
  if (!in.ReadUnsignedInteger(&magnitude) || (magnitude.size() == 1 && magnitude[0] == 0)) return false;
  *out = Copy(magnitude);
  return true;
}

template <std::size_t N>
bool ReadPositives(Der::Reader& in, ByteArray* const (&numbers)[N]) {
  for (ByteArray* number : numbers)
    if (!ReadPositive(in, number)) return false;
  return true;
}

}  // namespace

bool X509PublicKeyInfo::Decode(Der::Bytes der, Decoded* out) {
  Der::Reader in(der);
  Asn1::SubjectPublicKeyInfoView view;
  if (!Asn1Read::ReadSubjectPublicKeyInfo(in, &view) || !in.Empty()) return false;
  out->Algorithm.pszObjId = std::move(view.algorithm.oid);
  out->Algorithm.Parameters = Copy(view.algorithm.parameters);
  out->PublicKey.pbData = Copy(view.publicKey.bytes);
  out->PublicKey.cUnusedBits = view.publicKey.unusedBits;
  return true;
}

bool X509PublicKeyInfo::Encode(const Decoded& in, ByteArray* der) {
  Der::Writer w;
  Asn1Write::WriteSubjectPublicKeyInfo(w, in.Algorithm.pszObjId, in.Algorithm.Parameters,
                                       {in.PublicKey.pbData, in.PublicKey.cUnusedBits});
  return w.Finish(der);
}

bool PkcsPrivateKeyInfo::Decode(Der::Bytes der, Decoded* out) {
  Der::Reader seq;
  Der::Bytes privateKey;
  std::uint64_t version = 0;
  if (!Der::ReadWhole(der, Der::kSequence, &seq) || !seq.ReadUint64(&version) || version != 0 ||
      !ReadAlgorithmIdentifier(seq, &out->Algorithm) || !seq.ReadOctetString(&privateKey))
    return false;
  Der::Bytes attributes;
  if (!seq.ReadOptional(Der::ContextTag(0, true),
                        [&] { return seq.ReadElement(Der::ContextTag(0, true), &attributes); }) ||
      !seq.Empty())
    return false;
  out->Version = 0;
  out->PrivateKey = Copy(privateKey);
  out->Attributes = Copy(attributes);
  return true;
}

bool PkcsPrivateKeyInfo::Encode(const Decoded& in, ByteArray* der) {
  Der::Writer w;
  w.Nest(Der::kSequence, [&] {
    w.AddUint64(in.Version);
    WriteAlgorithmIdentifier(w, in.Algorithm);
    w.AddOctetString(in.PrivateKey);
    if (!in.Attributes.empty()) w.AddRaw(in.Attributes);
  });
  return w.Finish(der);
}

bool RsaPublicKey::Decode(Der::Bytes der, Decoded* out) {
  Der::Reader seq;
  return Der::ReadWhole(der, Der::kSequence, &seq) && ReadPositives(seq, {&out->modulus, &out->publicExponent}) &&
         seq.Empty();
}

bool RsaPublicKey::Encode(const Decoded& in, ByteArray* der) {
  Der::Writer w;
  w.Nest(Der::kSequence, [&] {
    w.AddUnsignedInteger(in.modulus);
    w.AddUnsignedInteger(in.publicExponent);
  });
  return w.Finish(der);
}

bool RsaPrivateKey::Decode(Der::Bytes der, Decoded* out) {
  Der::Reader seq;
  std::uint64_t version = 0;
  return Der::ReadWhole(der, Der::kSequence, &seq) && seq.ReadUint64(&version) && version == 0 &&
         ReadPositives(seq, {&out->modulus, &out->publicExponent, &out->privateExponent, &out->prime1, &out->prime2,
                             &out->exponent1, &out->exponent2, &out->coefficient}) &&
         seq.Empty();
}

bool RsaPrivateKey::Encode(const Decoded& in, ByteArray* der) {
  Der::Writer w;
  w.Nest(Der::kSequence, [&] {
    w.AddUint64(0);
    for (const ByteArray* number : {&in.modulus, &in.publicExponent, &in.privateExponent, &in.prime1, &in.prime2,
                                    &in.exponent1, &in.exponent2, &in.coefficient})
      w.AddUnsignedInteger(*number);
  });
  return w.Finish(der);
}

}  // namespace Structure

}  // namespace ZT::Framework
