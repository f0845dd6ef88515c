#include "codec/crypto.asn1.readers.h"

namespace ZT::Framework::Asn1Read {

using namespace Der;

namespace {

ByteArray CopyBytes(Bytes bytes) { return ByteArray(bytes.begin(), bytes.end()); }

}  // namespace

bool ReadOidText(Reader& in, std::string* oid) {
  Bytes contents;
  return in.ReadOid(&contents) && OidToText(contents, oid);
}

bool ReadBitStringBytes(Reader& in, Asn1::BitStringBytes* out, Tag tag) {
  BitString bits;
  if (!in.ReadBitString(&bits, tag)) return false;
  out->pbData = CopyBytes(bits.bytes);
  out->cUnusedBits = bits.unusedBits;
  return true;
}

bool ReadLittleEndianInteger(Reader& in, Asn1::LittleEndianInteger* out, Tag tag) {
  Bytes twosComplement;
  if (!in.ReadInteger(&twosComplement, tag)) return false;
  out->assign(twosComplement.rbegin(), twosComplement.rend());
  return true;
}

bool ReadOctets(Reader& in, ByteArray* out, Tag tag) {
  Bytes octets;
  if (!in.ReadOctetString(&octets, tag)) return false;
  *out = CopyBytes(octets);
  return true;
}

bool ReadElementBytes(Reader& in, Asn1::EncodedElement* out) {
  Tag tag;
  Bytes element;
  if (!in.ReadAnyElement(&tag, &element)) return false;
  *out = CopyBytes(element);
  return true;
}

}  // namespace ZT::Framework::Asn1Read
