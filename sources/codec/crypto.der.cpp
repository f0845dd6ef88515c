// The DER cursor: identifier and length octets, element reads, and the primitive types whose
// contents are numbers or bits. Strings, OIDs and times have files of their own.
#include "codec/crypto.der.h"

namespace ZT::Framework::Der {
namespace {

// Reads one octet at `*pos` of `data` (size `size`), advancing `*pos`.
bool NextOctet(const std::uint8_t* data, std::size_t size, std::size_t* pos, std::uint8_t* octet) {
  if (*pos >= size) return false;
  *octet = data[(*pos)++];
  return true;
}

// The base-128 tag number that follows a first identifier octet of 0x1F: no leading 0x80
// octet, at most four octets (kMaxTagNumber), and a number that could not have been written in
// the first octet (31 and above).
bool ParseHighTagNumber(const std::uint8_t* data, std::size_t size, std::size_t* pos, std::uint32_t* number) {
  std::uint32_t value = 0;
  for (int count = 0; count < 4; ++count) {
    std::uint8_t octet;
    if (!NextOctet(data, size, pos, &octet)) return false;
    if (count == 0 && octet == 0x80) return false;
    value = (value << 7) | (octet & 0x7F);
    if ((octet & 0x80) == 0) {
      *number = value;
      return value >= 0x1F;
    }
  }
  return false;
}

bool ParseTag(const std::uint8_t* data, std::size_t size, std::size_t* pos, Tag* tag) {
  std::uint8_t first;
  if (!NextOctet(data, size, pos, &first)) return false;
  tag->cls = static_cast<TagClass>(first >> 6);
  tag->constructed = (first & 0x20) != 0;
  tag->number = first & 0x1F;
  if (tag->number != 0x1F) return true;
  return ParseHighTagNumber(data, size, pos, &tag->number);
}

// Definite lengths only, in minimal form: the short form below 128, otherwise one to four
// length octets with no leading zero octet and a value of 128 or more.
bool ParseLength(const std::uint8_t* data, std::size_t size, std::size_t* pos, std::size_t* length) {
  std::uint8_t first;
  if (!NextOctet(data, size, pos, &first)) return false;
  if (first < 0x80) {
    *length = first;
    return true;
  }
  const unsigned count = first & 0x7F;  // 0 is the indefinite form
  if (count == 0 || count > 4) return false;
  std::size_t value = 0;
  for (unsigned i = 0; i < count; ++i) {
    std::uint8_t octet;
    if (!NextOctet(data, size, pos, &octet)) return false;
    if (i == 0 && octet == 0) return false;
    value = (value << 8) | octet;
  }
  if (value < 0x80) return false;
  *length = value;
  return true;
}

enum class Form { Either, Primitive, Constructed };

// The form DER fixes for each universal type (X.690 8 and 10.2: strings are primitive in DER).
Form UniversalForm(std::uint32_t number) {
  switch (number) {
    case kExternalType:
    case kEmbeddedPdvType:
    case kSequenceType:
    case kSetType:
    case 29:  // CHARACTER STRING
      return Form::Constructed;
    case 15:  // reserved
      return Form::Either;
    default:
      return number <= kBmpStringType ? Form::Primitive : Form::Either;
  }
}

}  // namespace

bool HasWrongForm(Tag tag) {
  if (tag.cls != TagClass::Universal) return false;
  if (tag.number == 0) return true;
  switch (UniversalForm(tag.number)) {
    case Form::Primitive:
      return tag.constructed;
    case Form::Constructed:
      return !tag.constructed;
    case Form::Either:
      break;
  }
  return false;
}

bool BitString::Bit(std::size_t index) const {
  if (index >= BitCount()) return false;
  return ((bytes[index / 8] >> (7 - index % 8)) & 1) != 0;
}

bool Reader::ParseHeader(Header* header) const {
  std::size_t pos = 0;
  if (!ParseTag(m_data, m_size, &pos, &header->tag)) return false;
  if (HasWrongForm(header->tag)) return false;
  std::size_t length = 0;
  if (!ParseLength(m_data, m_size, &pos, &length)) return false;
  if (length > m_size - pos) return false;
  header->headerSize = pos;
  header->contentSize = length;
  return true;
}

bool Reader::TakeElement(const Header& header, Reader* contents, Bytes* element) {
  if (m_depth >= kMaxDepth) return false;
  const std::size_t total = header.headerSize + header.contentSize;
  // Built before the cursor moves and assigned after, so `contents` may be this reader itself.
  const Reader inner(Bytes(m_data + header.headerSize, header.contentSize), m_depth + 1);
  if (element != nullptr) *element = Bytes(m_data, total);
  m_data += total;
  m_size -= total;
  if (contents != nullptr) *contents = inner;
  return true;
}

bool Reader::PeekTag(Tag* tag) const {
  Header header;
  if (!ParseHeader(&header)) return false;
  *tag = header.tag;
  return true;
}

bool Reader::Peek(Tag tag) const {
  Tag next;
  return PeekTag(&next) && next == tag;
}

bool Reader::ReadAny(Tag* tag, Reader* contents) {
  Header header;
  if (!ParseHeader(&header)) return false;
  *tag = header.tag;
  return TakeElement(header, contents, nullptr);
}

bool Reader::Read(Tag tag, Reader* contents) {
  Header header;
  if (!ParseHeader(&header) || header.tag != tag) return false;
  return TakeElement(header, contents, nullptr);
}

bool Reader::StartsWith(Tag tag) const {
  Tag next;
  std::size_t pos = 0;
  return ParseTag(m_data, m_size, &pos, &next) && next == tag;
}

bool Reader::ReadOptional(Tag tag, Reader* contents, bool* present) {
  *present = false;
  return ReadOptional(tag, [&] { return *present = Read(tag, contents); });
}

bool Reader::ReadAnyElement(Tag* tag, Bytes* element) {
  Header header;
  if (!ParseHeader(&header)) return false;
  *tag = header.tag;
  return TakeElement(header, nullptr, element);
}

bool Reader::ReadElement(Tag tag, Bytes* element) {
  Header header;
  if (!ParseHeader(&header) || header.tag != tag) return false;
  return TakeElement(header, nullptr, element);
}

bool Reader::Skip(Tag tag) { return Read(tag, nullptr); }

bool Reader::SkipAny() {
  Tag tag;
  return ReadAny(&tag, nullptr);
}

bool Reader::ReadRaw(std::size_t count, Bytes* out) {
  if (count > m_size) return false;
  *out = Bytes(m_data, count);
  m_data += count;
  m_size -= count;
  return true;
}

template <class Decode>
bool Reader::ReadDecoded(Tag tag, Decode&& decode) {
  Reader next = *this;
  Reader contents;
  if (!next.Read(tag, &contents) || !decode(contents.Remaining())) return false;
  *this = next;
  return true;
}

bool Reader::ReadBoolean(bool* out, Tag tag) {
  return ReadDecoded(tag, [&](Bytes c) { return DecodeBoolean(c, out); });
}

bool Reader::ReadInteger(Bytes* twosComplement, Tag tag) {
  return ReadDecoded(tag, [&](Bytes c) {
    if (!IsMinimalInteger(c)) return false;
    *twosComplement = c;
    return true;
  });
}

bool Reader::ReadUnsignedInteger(Bytes* magnitude, Tag tag) {
  return ReadDecoded(tag, [&](Bytes c) {
    if (!IsMinimalInteger(c) || (c[0] & 0x80) != 0) return false;
    *magnitude = (c.size() > 1 && c[0] == 0) ? c.subspan(1) : c;
    return true;
  });
}

bool Reader::ReadInt64(std::int64_t* out, Tag tag) {
  return ReadDecoded(tag, [&](Bytes c) { return DecodeInt64(c, out); });
}

bool Reader::ReadUint64(std::uint64_t* out, Tag tag) {
  return ReadDecoded(tag, [&](Bytes c) { return DecodeUint64(c, out); });
}

bool Reader::ReadEnumerated(std::int64_t* out, Tag tag) { return ReadInt64(out, tag); }

bool Reader::ReadBitString(BitString* out, Tag tag) {
  return ReadDecoded(tag, [&](Bytes c) { return DecodeBitString(c, out); });
}

bool Reader::ReadOctetString(Bytes* out, Tag tag) {
  return ReadDecoded(tag, [&](Bytes c) {
    *out = c;
    return true;
  });
}

bool Reader::ReadNull(Tag tag) {
  return ReadDecoded(tag, [](Bytes c) { return c.empty(); });
}

bool Reader::ReadOid(Bytes* contents, Tag tag) {
  return ReadDecoded(tag, [&](Bytes c) {
    if (!IsValidOid(c)) return false;
    *contents = c;
    return true;
  });
}

bool Reader::ReadString(std::uint32_t type, WString* out) { return ReadString(type, out, UniversalTag(type)); }

bool Reader::ReadString(std::uint32_t type, WString* out, Tag tag) {
  if (!IsStringType(type)) return false;
  return ReadDecoded(tag, [&](Bytes c) { return DecodeString(type, c, out); });
}

bool Reader::ReadAnyString(std::uint32_t* type, WString* out) {
  Tag next;
  if (!PeekTag(&next) || next.cls != TagClass::Universal || !IsStringType(next.number)) return false;
  if (!ReadString(next.number, out)) return false;
  *type = next.number;
  return true;
}

bool Reader::ReadUtcTime(CalendarTime* out, Tag tag) {
  return ReadDecoded(tag, [&](Bytes c) { return DecodeUtcTime(c, out); });
}

bool Reader::ReadGeneralizedTime(CalendarTime* out, Tag tag) {
  return ReadDecoded(tag, [&](Bytes c) { return DecodeGeneralizedTime(c, out); });
}

bool Reader::ReadTime(CalendarTime* out) { return ReadUtcTime(out) || ReadGeneralizedTime(out); }

bool ReadWhole(Bytes der, Tag tag, Reader* contents) {
  Reader reader(der);
  Reader inner;
  if (!reader.Read(tag, &inner) || !reader.Empty()) return false;
  *contents = inner;
  return true;
}

bool ReadWholeAny(Bytes der, Tag* tag, Reader* contents) {
  Reader reader(der);
  Tag found;
  Reader inner;
  if (!reader.ReadAny(&found, &inner) || !reader.Empty()) return false;
  *tag = found;
  *contents = inner;
  return true;
}

bool DecodeBoolean(Bytes contents, bool* out) {
  if (contents.size() != 1) return false;
  *out = contents[0] != 0x00;
  return true;
}

bool IsMinimalInteger(Bytes contents) {
  if (contents.empty()) return false;
  if (contents.size() == 1) return true;
  // Nine leading bits all equal mean the first octet only repeats the sign.
  const bool redundantZero = contents[0] == 0x00 && (contents[1] & 0x80) == 0;
  const bool redundantOnes = contents[0] == 0xFF && (contents[1] & 0x80) != 0;
  return !redundantZero && !redundantOnes;
}

bool DecodeInt64(Bytes contents, std::int64_t* out) {
  if (!IsMinimalInteger(contents) || contents.size() > 8) return false;
  // Sign-extend from the first octet, then shift the rest in.
  std::uint64_t value = (contents[0] & 0x80) != 0 ? ~std::uint64_t{0} : 0;
  for (std::uint8_t octet : contents) value = (value << 8) | octet;
  *out = static_cast<std::int64_t>(value);
  return true;
}

bool DecodeUint64(Bytes contents, std::uint64_t* out) {
  if (!IsMinimalInteger(contents) || (contents[0] & 0x80) != 0) return false;
  // Values of 2^63 and up carry a 0x00 sign octet in front of eight octets.
  if (contents.size() == 9 && contents[0] == 0x00) contents = contents.subspan(1);
  if (contents.size() > 8) return false;
  std::uint64_t value = 0;
  for (std::uint8_t octet : contents) value = (value << 8) | octet;
  *out = value;
  return true;
}

bool DecodeBitString(Bytes contents, BitString* out) {
  if (contents.empty()) return false;
  const unsigned unused = contents[0];
  if (unused > 7) return false;
  if (contents.size() == 1) {
    if (unused != 0) return false;
  } else if ((contents.back() & ((1u << unused) - 1)) != 0) {
    return false;  // DER sets the unused bits to zero
  }
  out->bytes = contents.subspan(1);
  out->unusedBits = unused;
  return true;
}

}  // namespace ZT::Framework::Der
