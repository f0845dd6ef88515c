// Reading steps shared by the structure decoders of crypto.asn1.*.cpp: each reads one element
// off the cursor into a member of a published structure, failing closed as the cursor does.
#pragma once

#include <cstdint>
#include <string>

#include "codec/crypto.asn1.types.h"
#include "codec/crypto.der.h"

namespace ZT::Framework::Asn1Read {

// An OBJECT IDENTIFIER as dotted text.
bool ReadOidText(Der::Reader& in, std::string* oid);
// A BIT STRING (with `tag` when implicitly tagged).
bool ReadBitBlob(Der::Reader& in, CRYPT_BIT_BLOB* out, Der::Tag tag = Der::kBitString);
// An INTEGER (with `tag` when implicitly tagged) as the platform holds it: the two's-complement
// octets, least significant first.
bool ReadIntegerBlob(Der::Reader& in, CRYPT_INTEGER_BLOB* out, Der::Tag tag = Der::kInteger);
// An OCTET STRING's octets (with `tag` when implicitly tagged).
bool ReadDataBlob(Der::Reader& in, CRYPT_DATA_BLOB* out, Der::Tag tag = Der::kOctetString);
// The next element's whole encoding.
bool ReadObjidBlob(Der::Reader& in, CRYPT_OBJID_BLOB* out);

// One attribute value under the conventions of CERT_RDN_ATTR (see crypto.asn1.types.h).
bool ReadNameValue(Der::Reader& in, std::uint32_t* valueType, CERT_RDN_VALUE_BLOB* value);
// One GeneralName.
bool ReadGeneralName(Der::Reader& in, CERT_ALT_NAME_ENTRY* out);
// GeneralNames: a SEQUENCE (or `tag` when implicitly tagged) of GeneralName. Its definition asks
// for at least one, but empty lists are issued (an empty alternative-name extension) and OpenSSL
// reads them: an empty SEQUENCE is an empty list.
bool ReadGeneralNames(Der::Reader& in, CERT_ALT_NAME_INFO* out, Der::Tag tag = Der::kSequence);

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
