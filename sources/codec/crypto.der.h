// A strict DER reader on a byte cursor (with the few lenient readings listed below).
//
// A Reader is a non-owning view of bytes (pointer, size) plus the nesting depth at which those
// bytes stand. Each Read... call takes one whole TLV element off the front of the cursor and, on
// success, advances past it; the contents come back as a sub-reader one level deeper. Every call
// fails closed: on any tag, length or value error it returns false and leaves the cursor where it
// was, so a caller cannot go on reading from the middle of a bad element. Nothing here allocates
// except the functions that produce text (strings, OID text), and nothing here throws.
//
// A structure reader is written as the steps of its ASN.1 definition (the readers of the
// structures are in crypto.asn1.*.h, one reader each):
//
//   // BasicConstraints ::= SEQUENCE { cA BOOLEAN DEFAULT FALSE, pathLenConstraint INTEGER OPTIONAL }
//   bool ReadBasicConstraints(Der::Reader& in, bool* ca, std::uint64_t* pathLength) {
//     Der::Reader seq;
//     return in.Read(Der::kSequence, &seq) &&
//            seq.ReadOptional(Der::kBoolean, [&] { return seq.ReadBoolean(ca); }) &&
//            seq.ReadOptional(Der::kInteger, [&] { return seq.ReadUint64(pathLength); }) && seq.Empty();
//   }
//
// What is checked, and why:
// - tags: high tag numbers in minimal base-128 form, at most 2^28 - 1 (no real schema goes near);
//   universal tag 0 (end-of-contents) never appears in DER;
// - the constructed bit against the universal type (SEQUENCE and SET constructed; BOOLEAN,
//   INTEGER, strings, times and the rest primitive, since DER forbids constructed strings);
// - lengths: definite, minimal (short form below 128, long form without leading zero octets),
//   at most four length octets, and never past the end of what remains;
// - nesting: a sub-reader is one level deeper than its parent and a reader at kMaxDepth reads
//   nothing, so any recursive walk over Readers is bounded by kMaxDepth.
// Read leniently, because certificates in the field carry these forms and OpenSSL reads them
// (refusing one would refuse the whole certificate):
// - the ordering of SET OF components is not checked: multi-valued RDNs are not always sorted;
// - a BOOLEAN true may be any non-zero octet (DecodeBoolean);
// - UTCTime without seconds or with a difference from UTC, GeneralizedTime likewise and with a
//   fraction that ends in zeros (DecodeUtcTime, DecodeGeneralizedTime in crypto.der.time.h).
// Everything the writer produces is DER.
#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <span>
#include <string>
#include <string_view>

#include "codec/crypto.der.time.h"
#include "zt/secure.h"

namespace ZT::Framework::Der {

using Bytes = std::span<const std::uint8_t>;

enum class TagClass : std::uint8_t { Universal = 0, Application = 1, ContextSpecific = 2, Private = 3 };

// The identifier of an element: class, constructed bit and tag number.
struct Tag {
  TagClass cls = TagClass::Universal;
  bool constructed = false;
  std::uint32_t number = 0;

  constexpr bool operator==(const Tag&) const = default;
};

// Universal tag numbers (X.680 8.4).
enum UniversalType : std::uint32_t {
  kBooleanType = 1,
  kIntegerType = 2,
  kBitStringType = 3,
  kOctetStringType = 4,
  kNullType = 5,
  kOidType = 6,
  kObjectDescriptorType = 7,
  kExternalType = 8,
  kRealType = 9,
  kEnumeratedType = 10,
  kEmbeddedPdvType = 11,
  kUtf8StringType = 12,
  kRelativeOidType = 13,
  kSequenceType = 16,
  kSetType = 17,
  kNumericStringType = 18,
  kPrintableStringType = 19,
  kTeletexStringType = 20,  // also known as T61String
  kVideotexStringType = 21,
  kIa5StringType = 22,
  kUtcTimeType = 23,
  kGeneralizedTimeType = 24,
  kGraphicStringType = 25,
  kVisibleStringType = 26,
  kGeneralStringType = 27,
  kUniversalStringType = 28,
  kBmpStringType = 30,
};

// The largest tag number accepted, on read and on write.
inline constexpr std::uint32_t kMaxTagNumber = (1u << 28) - 1;
// The deepest nesting a Reader follows (a certificate needs about ten levels).
inline constexpr unsigned kMaxDepth = 32;

constexpr Tag UniversalTag(std::uint32_t number, bool constructed = false) {
  return Tag{TagClass::Universal, constructed, number};
}
// [number] of the context-specific class; explicit tags and implicit constructed types are
// constructed, implicit primitive types are not.
constexpr Tag ContextTag(std::uint32_t number, bool constructed = false) {
  return Tag{TagClass::ContextSpecific, constructed, number};
}
constexpr Tag ExplicitTag(std::uint32_t number) { return ContextTag(number, true); }

inline constexpr Tag kBoolean = UniversalTag(kBooleanType);
inline constexpr Tag kInteger = UniversalTag(kIntegerType);
inline constexpr Tag kBitString = UniversalTag(kBitStringType);
inline constexpr Tag kOctetString = UniversalTag(kOctetStringType);
inline constexpr Tag kNull = UniversalTag(kNullType);
inline constexpr Tag kOid = UniversalTag(kOidType);
inline constexpr Tag kEnumerated = UniversalTag(kEnumeratedType);
inline constexpr Tag kUtf8String = UniversalTag(kUtf8StringType);
inline constexpr Tag kPrintableString = UniversalTag(kPrintableStringType);
inline constexpr Tag kIa5String = UniversalTag(kIa5StringType);
inline constexpr Tag kBmpString = UniversalTag(kBmpStringType);
inline constexpr Tag kUtcTime = UniversalTag(kUtcTimeType);
inline constexpr Tag kGeneralizedTime = UniversalTag(kGeneralizedTimeType);
inline constexpr Tag kSequence = UniversalTag(kSequenceType, true);
inline constexpr Tag kSet = UniversalTag(kSetType, true);

// True when `tag` is a universal type whose constructed bit DER fixes and `tag` has the other
// value (a constructed INTEGER, a primitive SEQUENCE), or is universal tag 0. Other classes and
// unassigned universal numbers are accepted in either form.
bool HasWrongForm(Tag tag);

// True when `number` is one of the string types that DecodeString understands.
bool IsStringType(std::uint32_t number);

// A BIT STRING's contents: the bytes, most significant bit first, and how many low bits of the
// last byte are not part of the value (0..7; 0 when `bytes` is empty).
struct BitString {
  Bytes bytes;
  unsigned unusedBits = 0;

  std::size_t BitCount() const { return bytes.size() * 8 - unusedBits; }
  // Bit `index` counted from the first (most significant) bit; false past the end, so a named
  // bit that the encoding left out (DER drops trailing zero bits) reads as clear.
  bool Bit(std::size_t index) const;
};

// The cursor. Copying a Reader copies the view, never the bytes; the bytes must outlive it.
class Reader {
 public:
  Reader() = default;
  // A view of `bytes` at nesting depth `depth`: a walk that starts again inside an OCTET STRING
  // passes the depth it had reached so the bound holds across the hop.
  explicit Reader(Bytes bytes, unsigned depth = 0) : m_data(bytes.data()), m_size(bytes.size()), m_depth(depth) {}
  // A reader over a temporary array would dangle as soon as the statement ends.
  explicit Reader(ByteArray&& temporary, unsigned depth = 0) = delete;

  // What remains to be read.
  Bytes Remaining() const { return {m_data, m_size}; }
  std::size_t Size() const { return m_size; }
  bool Empty() const { return m_size == 0; }
  unsigned Depth() const { return m_depth; }

  // The tag of the next element without consuming anything; false when the cursor is empty or
  // the next element's tag or length is malformed.
  bool PeekTag(Tag* tag) const;
  // True when the next element is well formed and has exactly `tag`.
  bool Peek(Tag tag) const;

  // Reads the next element whatever its tag: `*tag` gets its tag, `*contents` its contents one
  // level deeper. Fails on a malformed tag or length, a wrong constructed bit, or when this
  // reader is already at kMaxDepth (the contents would stand deeper than the bound).
  bool ReadAny(Tag* tag, Reader* contents);
  // Reads the next element, which must have `tag`; `*contents` as ReadAny. `contents` may be
  // this reader itself, to step into an element (`r.Read(kSequence, &r)`).
  bool Read(Tag tag, Reader* contents);

  // OPTIONAL and DEFAULT fields, the one way to read them. The field is there when the next
  // element starts with `tag` (one of `tags`, for a CHOICE): then `read` reads it off this cursor
  // and its result is returned. Otherwise (the cursor is empty, or the next tag differs) nothing
  // is read and the answer is true. A malformed element that starts with the field's tag is the
  // field, so `read` fails on it rather than the field being taken for absent:
  //   seq.ReadOptional(Der::ContextTag(0), [&] { return ReadOctets(seq, &out->KeyId, Der::ContextTag(0)); })
  // (An ANY OPTIONAL last in its SEQUENCE has no tag to go by: it is there when anything is left.)
  template <class Read>
  bool ReadOptional(Tag tag, Read&& read) {
    return !StartsWith(tag) || read();
  }
  template <class Read>
  bool ReadOptional(std::initializer_list<Tag> tags, Read&& read) {
    for (const Tag tag : tags)
      if (StartsWith(tag)) return read();
    return true;
  }
  // The same for a field read as its contents: `*present` tells whether it was there.
  bool ReadOptional(Tag tag, Reader* contents, bool* present);
  // As ReadAny and Read, but `*element` is the whole encoding: tag, length and contents (to keep
  // a signed part as signed, or an ANY value for later).
  bool ReadAnyElement(Tag* tag, Bytes* element);
  bool ReadElement(Tag tag, Bytes* element);
  // Steps over the next element (which must have `tag`, for Skip).
  bool Skip(Tag tag);
  bool SkipAny();
  // Takes the next `count` raw bytes; fails when fewer remain.
  bool ReadRaw(std::size_t count, Bytes* out);

  // Primitive readers. Each reads one element with the universal tag of its type, or with
  // `tag` for an implicitly tagged field, and fails when the contents break the DER rules of
  // the type (see the Decode... functions below).
  bool ReadBoolean(bool* out, Tag tag = kBoolean);
  // INTEGER as its two's-complement contents, minimal form checked.
  bool ReadInteger(Bytes* twosComplement, Tag tag = kInteger);
  // A non-negative INTEGER as its big-endian magnitude without the sign octet (a modulus, an
  // exponent); fails on a negative value. Zero gives one 0x00 byte.
  bool ReadUnsignedInteger(Bytes* magnitude, Tag tag = kInteger);
  // INTEGER that must fit the result type; fails on overflow (and, for uint64, on negatives).
  bool ReadInt64(std::int64_t* out, Tag tag = kInteger);
  bool ReadUint64(std::uint64_t* out, Tag tag = kInteger);
  bool ReadEnumerated(std::int64_t* out, Tag tag = kEnumerated);
  bool ReadBitString(BitString* out, Tag tag = kBitString);
  bool ReadOctetString(Bytes* out, Tag tag = kOctetString);
  bool ReadNull(Tag tag = kNull);
  // OBJECT IDENTIFIER: `*contents` views the validated contents octets (OidToText renders them).
  bool ReadOid(Bytes* contents, Tag tag = kOid);
  // A string of universal string type `type` (kUtf8StringType, kBmpStringType, ...), or of
  // `type` implicitly tagged with `tag`, decoded to wide text.
  bool ReadString(std::uint32_t type, WString* out);
  bool ReadString(std::uint32_t type, WString* out, Tag tag);
  // Whichever string type comes next (a DirectoryString CHOICE): `*type` gets its tag number.
  bool ReadAnyString(std::uint32_t* type, WString* out);
  // UTCTime or GeneralizedTime (each alone, or whichever comes next for a Time CHOICE).
  bool ReadUtcTime(CalendarTime* out, Tag tag = kUtcTime);
  bool ReadGeneralizedTime(CalendarTime* out, Tag tag = kGeneralizedTime);
  bool ReadTime(CalendarTime* out);

 private:
  struct Header {
    Tag tag;
    std::size_t headerSize = 0;
    std::size_t contentSize = 0;
  };
  bool ParseHeader(Header* header) const;
  // Whether the next element's tag octets read as `tag`, whatever follows them.
  bool StartsWith(Tag tag) const;
  bool TakeElement(const Header& header, Reader* contents, Bytes* element);
  // Reads an element with `tag` and hands its contents to `decode`; the cursor moves only when
  // both succeed.
  template <class Decode>
  bool ReadDecoded(Tag tag, Decode&& decode);

  const std::uint8_t* m_data = nullptr;
  std::size_t m_size = 0;
  unsigned m_depth = 0;
};

// Reads `der` as exactly one element with `tag`: fails when anything follows it.
bool ReadWhole(Bytes der, Tag tag, Reader* contents);
// Reads `der` as exactly one element of any tag.
bool ReadWholeAny(Bytes der, Tag* tag, Reader* contents);

// Content decoders: the DER rules of each type applied to contents octets alone, for callers
// that hold contents already (an implicitly tagged field read with Read).

// BOOLEAN: exactly one octet, 0x00 false and any other value true. DER writes true as 0xFF
// only, but issuers have written 0x01 (BER allows any non-zero octet) and OpenSSL reads it.
bool DecodeBoolean(Bytes contents, bool* out);
// INTEGER: at least one octet, and no redundant leading 0x00 or 0xFF octet.
bool IsMinimalInteger(Bytes contents);
// A minimal INTEGER's value; fails when it does not fit.
bool DecodeInt64(Bytes contents, std::int64_t* out);
bool DecodeUint64(Bytes contents, std::uint64_t* out);
// BIT STRING: a first octet 0..7 giving the unused bits, 0 when no octet follows, and the
// unused bits of the last octet all zero. Whether a named-bit list (key usage) dropped its
// trailing zero bits, as DER also asks, is left to the structure reader: only it knows the type,
// and issued certificates do not always drop them.
bool DecodeBitString(Bytes contents, BitString* out);
// OBJECT IDENTIFIER: not empty, no sub-identifier starting with 0x80 (a non-minimal one), the
// last octet ending a sub-identifier.
bool IsValidOid(Bytes contents);
// Dotted text ("1.2.840.113549") of valid OID contents; arcs of any size are written in full.
// Fails (and leaves `*text` unspecified) on invalid contents.
bool OidToText(Bytes contents, std::string* text);
// Contents octets of dotted text: at least two arcs, decimal digits without leading zeros,
// first arc 0, 1 or 2, second arc below 40 under 0 and 1; arcs of any size. Appends to `*out`.
bool OidFromText(std::string_view text, ByteArray* out);
// Wide-text form of OidToText / OidFromText, for the library's interfaces.
bool OidToText(Bytes contents, WString* text);
bool OidFromText(const WString& text, ByteArray* out);

// The contents of a string of universal type `type`, decoded to wide text (UTF-32 where wchar_t
// has 32 bits, UTF-16 where it has 16). This is the one reading of each string type: names, their
// attribute values and the OID decoder's renderings all go through it.
//
// Read leniently, as the platform and OpenSSL read what issuers write:
// - PrintableString: any graphic ASCII character (0x20..0x7E), not only X.680's set, so that
//   wildcard common names ("*.example.com") and company names with '&', '@' or '_' read;
// - IA5String: octets 0x80..0xFF too, each read as the ISO 8859-1 character of that value;
// - TeletexString: as UTF-8 when the octets are valid UTF-8, else one octet per character as
//   ISO 8859-1 (its escape-sequence character sets are not used in certificates);
// - VideotexString, GraphicString, GeneralString: one octet per character as ISO 8859-1.
// Refused: invalid UTF-8 (overlong forms, surrogates, values past U+10FFFF, truncated
// sequences), control characters and 8-bit octets in a PrintableString, characters outside
// NumericString's and VisibleString's sets, BMPString of odd length or with an unpaired
// surrogate, UniversalString not a multiple of four or holding a surrogate or a value past
// U+10FFFF. Writing (EncodeString, IsWritableString) stays strict.
bool DecodeString(std::uint32_t type, Bytes contents, WString* out);
// True when `contents` are what EncodeString writes for type `type`: every character within the
// type's own set (X.680's PrintableString set, seven-bit IA5String, ...). For encoders that copy
// the octets of a value that was read (and so may have been read leniently).
bool IsWritableString(std::uint32_t type, Bytes contents);
// The contents octets of `text` as a string of universal type `type`, appended to `*out`;
// fails when a character has no encoding in that type (or `text` holds an unpaired surrogate).
bool EncodeString(std::uint32_t type, const WString& text, ByteArray* out);

}  // namespace ZT::Framework::Der
