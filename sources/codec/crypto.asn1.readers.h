// Reading steps that the structure readers of every family share (crypto.asn1.readers.cpp): each
// reads one element off the cursor into a member of a decoded form, failing closed as the cursor
// does. The readers of names and general names, which the extensions share too, are in
// crypto.asn1.names.h.
#pragma once

#include <cstdint>
#include <string>

#include "codec/crypto.asn1.h"
#include "codec/crypto.der.h"

namespace ZT::Framework::Asn1Read {

// An OBJECT IDENTIFIER as dotted text.
bool ReadOidText(Der::Reader& in, std::string* oid);
// A BIT STRING (with `tag` when implicitly tagged).
bool ReadBitStringBytes(Der::Reader& in, Asn1::BitStringBytes* out, Der::Tag tag = Der::kBitString);
// An INTEGER (with `tag` when implicitly tagged), least significant octet first.
bool ReadLittleEndianInteger(Der::Reader& in, Asn1::LittleEndianInteger* out, Der::Tag tag = Der::kInteger);
// An OCTET STRING's octets (with `tag` when implicitly tagged).
bool ReadOctets(Der::Reader& in, ByteArray* out, Der::Tag tag = Der::kOctetString);
// The next element, whatever it is, as its whole encoding (an ANY value kept for later).
bool ReadElementBytes(Der::Reader& in, Asn1::EncodedElement* out);

// Runs `readBody` on the contents of `der`, which must be one element with `tag` and nothing
// after it; the body must consume the contents entirely.
template <class Body>
bool ReadWholeWith(Der::Bytes der, Der::Tag tag, Body&& readBody) {
  Der::Reader contents;
  return Der::ReadWhole(der, tag, &contents) && readBody(contents) && contents.Empty();
}

// Reads `in` to its end, one element at a time with `readOne` (a SEQUENCE OF or SET OF body);
// at least `minimum` elements.
template <class ReadOne>
bool ReadEach(Der::Reader& in, ReadOne&& readOne, std::size_t minimum = 0) {
  std::size_t count = 0;
  for (; !in.Empty(); ++count)
    if (!readOne(in)) return false;
  return count >= minimum;
}

}  // namespace ZT::Framework::Asn1Read
