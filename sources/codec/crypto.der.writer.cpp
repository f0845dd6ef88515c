// The DER writer: headers, length fix-up on close, SET OF ordering and the primitive types.
#include "codec/crypto.der.writer.h"

#include <algorithm>

namespace ZT::Framework::Der {
namespace {

// Number of octets of `value` without leading zero octets (at least one).
unsigned OctetCount(std::size_t value) {
  unsigned count = 1;
  while (count < sizeof value && (value >> (8 * count)) != 0) ++count;
  return count;
}

// DER SET OF order (X.690 11.6): encodings compared as octet strings, the shorter one padded
// with zero octets at its end.
bool SetOfLess(Bytes a, Bytes b) {
  const std::size_t common = std::min(a.size(), b.size());
  const auto diff = std::mismatch(a.begin(), a.begin() + common, b.begin());
  if (diff.first != a.begin() + common) return *diff.first < *diff.second;
  // Equal over the common part: the longer one is greater unless the rest is zero padding.
  const Bytes restOfB = b.subspan(common);
  return std::any_of(restOfB.begin(), restOfB.end(), [](std::uint8_t octet) { return octet != 0; });
}

// Drops the octets of a two's-complement number that only repeat its sign.
Bytes MinimalTwosComplement(Bytes value) {
  while (value.size() > 1 && ((value[0] == 0x00 && (value[1] & 0x80) == 0) ||
                              (value[0] == 0xFF && (value[1] & 0x80) != 0))) {
    value = value.subspan(1);
  }
  return value;
}

}  // namespace

bool Writer::Fail() {
  m_ok = false;
  return false;
}

void Writer::AppendTag(Tag tag) {
  const std::uint8_t classAndForm =
      static_cast<std::uint8_t>(static_cast<unsigned>(tag.cls) << 6 | (tag.constructed ? 0x20 : 0));
  if (tag.number < 0x1F) {
    m_buffer.push_back(static_cast<std::uint8_t>(classAndForm | tag.number));
    return;
  }
  m_buffer.push_back(classAndForm | 0x1F);
  int shift = 21;
  while (shift > 0 && (tag.number >> shift) == 0) shift -= 7;
  for (; shift >= 0; shift -= 7) {
    m_buffer.push_back(static_cast<std::uint8_t>((tag.number >> shift & 0x7F) | (shift != 0 ? 0x80 : 0)));
  }
}

void Writer::AppendLength(std::size_t length) {
  if (length < 0x80) {
    m_buffer.push_back(static_cast<std::uint8_t>(length));
    return;
  }
  const unsigned count = OctetCount(length);
  m_buffer.push_back(static_cast<std::uint8_t>(0x80 | count));
  for (unsigned i = count; i-- > 0;) m_buffer.push_back(static_cast<std::uint8_t>(length >> (8 * i)));
}

// Only tags that the reader accepts are written, so that what this writes reads back.
bool Writer::AddHeader(Tag tag, std::size_t length) {
  if (!m_ok) return false;
  if (tag.number > kMaxTagNumber || HasWrongForm(tag) || length > 0xFFFFFFFFu) return Fail();
  AppendTag(tag);
  AppendLength(length);
  return true;
}

bool Writer::Begin(Tag tag, bool sortAsSetOf) {
  if (!m_ok) return false;
  if (tag.number > kMaxTagNumber || HasWrongForm(tag)) return Fail();
  AppendTag(tag);
  m_open.push_back(OpenElement{m_buffer.size(), sortAsSetOf});
  m_buffer.push_back(0);  // the length, widened by End when it needs the long form
  return true;
}

bool Writer::End() {
  if (!m_ok) return false;
  if (m_open.empty()) return Fail();
  const OpenElement element = m_open.back();
  m_open.pop_back();
  const std::size_t contentsOffset = element.lengthOffset + 1;
  if (element.sortAsSetOf && !SortSetOf(contentsOffset)) return Fail();
  const std::size_t length = m_buffer.size() - contentsOffset;
  if (length < 0x80) {
    m_buffer[element.lengthOffset] = static_cast<std::uint8_t>(length);
    return true;
  }
  if (length > 0xFFFFFFFFu) return Fail();
  const unsigned count = OctetCount(length);
  m_buffer.insert(m_buffer.begin() + static_cast<std::ptrdiff_t>(contentsOffset), count, 0);
  m_buffer[element.lengthOffset] = static_cast<std::uint8_t>(0x80 | count);
  for (unsigned i = 0; i < count; ++i) {
    m_buffer[contentsOffset + i] = static_cast<std::uint8_t>(length >> (8 * (count - 1 - i)));
  }
  return true;
}

// Re-reads the children written since `contentsOffset` and writes them back in order.
bool Writer::SortSetOf(std::size_t contentsOffset) {
  Reader children(Bytes(m_buffer.data() + contentsOffset, m_buffer.size() - contentsOffset));
  std::vector<Bytes> elements;
  while (!children.Empty()) {
    Tag tag;
    Bytes element;
    if (!children.ReadAnyElement(&tag, &element)) return false;
    elements.push_back(element);
  }
  std::stable_sort(elements.begin(), elements.end(), SetOfLess);
  ByteArray sorted;
  sorted.reserve(m_buffer.size() - contentsOffset);
  for (Bytes element : elements) sorted.insert(sorted.end(), element.begin(), element.end());
  std::copy(sorted.begin(), sorted.end(), m_buffer.begin() + static_cast<std::ptrdiff_t>(contentsOffset));
  return true;
}

bool Writer::AddElement(Tag tag, Bytes contents) {
  if (!AddHeader(tag, contents.size())) return false;
  m_buffer.insert(m_buffer.end(), contents.begin(), contents.end());
  return true;
}

bool Writer::AddRaw(Bytes der) {
  if (!m_ok) return false;
  Reader elements(der);
  while (!elements.Empty()) {
    if (!elements.SkipAny()) return Fail();
  }
  m_buffer.insert(m_buffer.end(), der.begin(), der.end());
  return true;
}

bool Writer::AddBoolean(bool value, Tag tag) {
  const std::uint8_t octet = value ? 0xFF : 0x00;
  return AddElement(tag, Bytes(&octet, 1));
}

bool Writer::AddInteger(Bytes twosComplement, Tag tag) {
  if (twosComplement.empty()) return Fail();
  return AddElement(tag, MinimalTwosComplement(twosComplement));
}

bool Writer::AddUnsignedInteger(Bytes magnitude, Tag tag) {
  while (!magnitude.empty() && magnitude[0] == 0) magnitude = magnitude.subspan(1);
  ByteArray contents;
  contents.reserve(magnitude.size() + 1);
  if (magnitude.empty() || (magnitude[0] & 0x80) != 0) contents.push_back(0);  // zero, or the sign octet
  contents.insert(contents.end(), magnitude.begin(), magnitude.end());
  return AddElement(tag, contents);
}

bool Writer::AddInt64(std::int64_t value, Tag tag) {
  std::uint8_t octets[8];
  for (int i = 0; i < 8; ++i) octets[i] = static_cast<std::uint8_t>(static_cast<std::uint64_t>(value) >> (56 - 8 * i));
  return AddInteger(Bytes(octets, sizeof octets), tag);
}

bool Writer::AddUint64(std::uint64_t value, Tag tag) {
  std::uint8_t octets[8];
  for (int i = 0; i < 8; ++i) octets[i] = static_cast<std::uint8_t>(value >> (56 - 8 * i));
  return AddUnsignedInteger(Bytes(octets, sizeof octets), tag);
}

bool Writer::AddEnumerated(std::int64_t value, Tag tag) { return AddInt64(value, tag); }

bool Writer::AddBitString(Bytes bytes, unsigned unusedBits, Tag tag) {
  if (unusedBits > 7 || (bytes.empty() && unusedBits != 0)) return Fail();
  ByteArray contents;
  contents.reserve(bytes.size() + 1);
  contents.push_back(static_cast<std::uint8_t>(unusedBits));
  contents.insert(contents.end(), bytes.begin(), bytes.end());
  if (!bytes.empty()) contents.back() &= static_cast<std::uint8_t>(0xFF << unusedBits);
  return AddElement(tag, contents);
}

bool Writer::AddOctetString(Bytes bytes, Tag tag) { return AddElement(tag, bytes); }

bool Writer::AddNull(Tag tag) { return AddElement(tag, Bytes()); }

bool Writer::AddOid(std::string_view dotted, Tag tag) {
  ByteArray contents;
  if (!OidFromText(dotted, &contents)) return Fail();
  return AddElement(tag, contents);
}

bool Writer::AddOid(const WString& dotted, Tag tag) {
  ByteArray contents;
  if (!OidFromText(dotted, &contents)) return Fail();
  return AddElement(tag, contents);
}

bool Writer::AddString(std::uint32_t type, const WString& text) { return AddString(type, text, UniversalTag(type)); }

bool Writer::AddString(std::uint32_t type, const WString& text, Tag tag) {
  ByteArray contents;
  if (!EncodeString(type, text, &contents)) return Fail();
  return AddElement(tag, contents);
}

bool Writer::AddUtcTime(const CalendarTime& time, Tag tag) {
  ByteArray contents;
  if (!EncodeUtcTime(time, &contents)) return Fail();
  return AddElement(tag, contents);
}

bool Writer::AddGeneralizedTime(const CalendarTime& time, Tag tag) {
  ByteArray contents;
  if (!EncodeGeneralizedTime(time, &contents)) return Fail();
  return AddElement(tag, contents);
}

bool Writer::Finish(ByteArray* out) {
  if (!m_ok || !m_open.empty()) return false;
  *out = std::move(m_buffer);
  m_buffer = ByteArray();
  return true;
}

}  // namespace ZT::Framework::Der
