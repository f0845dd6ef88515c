// OBJECT IDENTIFIER contents and their dotted text. Arcs that fit 64 bits take a fast path
// without allocation; larger ones (UUID arcs under 2.25 are 128-bit) go through a small
// arbitrary-size natural number.
#include <charconv>
#include <cstdint>
#include <vector>

#include "codec/crypto.der.h"

namespace ZT::Framework::Der {
namespace {

// A natural number of any size, in 32-bit limbs, least significant first (no leading zero limb).
class BigNat {
 public:
  // The value of base-128 digits, most significant first (an OID sub-identifier, high bits
  // already stripped).
  static BigNat FromBase128(Bytes digits) {
    BigNat n;
    for (std::uint8_t d : digits) n.MulAdd(128, d & 0x7F);
    return n;
  }
  // The value of decimal digits.
  static BigNat FromDecimal(std::string_view digits) {
    BigNat n;
    for (char d : digits) n.MulAdd(10, static_cast<std::uint32_t>(d - '0'));
    return n;
  }

  void MulAdd(std::uint32_t factor, std::uint32_t addend) {
    std::uint64_t carry = addend;
    for (std::uint32_t& limb : m_limbs) {
      const std::uint64_t v = std::uint64_t{limb} * factor + carry;
      limb = static_cast<std::uint32_t>(v);
      carry = v >> 32;
    }
    if (carry != 0) m_limbs.push_back(static_cast<std::uint32_t>(carry));
  }
  // Subtracts `value`, which must not exceed this number.
  void Subtract(std::uint32_t value) {
    std::uint64_t borrow = value;
    for (std::size_t i = 0; borrow != 0 && i < m_limbs.size(); ++i) {
      const std::uint64_t limb = m_limbs[i];
      m_limbs[i] = static_cast<std::uint32_t>(limb - borrow);
      borrow = limb < borrow ? 1 : 0;
    }
    Trim();
  }
  // Divides by `divisor` and returns the remainder.
  std::uint32_t DivMod(std::uint32_t divisor) {
    std::uint64_t rest = 0;
    for (std::size_t i = m_limbs.size(); i-- > 0;) {
      const std::uint64_t v = rest << 32 | m_limbs[i];
      m_limbs[i] = static_cast<std::uint32_t>(v / divisor);
      rest = v % divisor;
    }
    Trim();
    return static_cast<std::uint32_t>(rest);
  }
  bool IsZero() const { return m_limbs.empty(); }

  // Decimal digits, appended to `*text`.
  void AppendDecimal(std::string* text) const {
    BigNat n = *this;
    std::vector<std::uint32_t> groups;  // base 10^9, least significant first
    do {
      groups.push_back(n.DivMod(1000000000));
    } while (!n.IsZero());
    AppendNumber(groups.back(), text);
    for (std::size_t i = groups.size() - 1; i-- > 0;) {
      const std::string digits = std::to_string(groups[i]);
      text->append(9 - digits.size(), '0').append(digits);
    }
  }
  // Base-128 digits with the continuation bit on all but the last, appended to `*out`.
  void AppendBase128(ByteArray* out) const {
    BigNat n = *this;
    std::vector<std::uint8_t> digits;  // least significant first
    do {
      digits.push_back(static_cast<std::uint8_t>(n.DivMod(128)));
    } while (!n.IsZero());
    for (std::size_t i = digits.size(); i-- > 0;) out->push_back(digits[i] | (i != 0 ? 0x80 : 0));
  }

  static void AppendNumber(std::uint64_t value, std::string* text) {
    char buffer[24];
    const auto result = std::to_chars(buffer, buffer + sizeof buffer, value);
    text->append(buffer, result.ptr);
  }

 private:
  void Trim() {
    while (!m_limbs.empty() && m_limbs.back() == 0) m_limbs.pop_back();
  }
  std::vector<std::uint32_t> m_limbs;
};

// The sub-identifier at contents[*pos] (whose validity IsValidOid has checked), advancing *pos.
Bytes NextSubidentifier(Bytes contents, std::size_t* pos) {
  const std::size_t start = *pos;
  while ((contents[*pos] & 0x80) != 0) ++*pos;
  ++*pos;
  return contents.subspan(start, *pos - start);
}

// Up to nine base-128 digits (63 bits) fit a uint64.
bool FitsUint64(Bytes subidentifier) { return subidentifier.size() <= 9; }

std::uint64_t SmallValue(Bytes subidentifier) {
  std::uint64_t value = 0;
  for (std::uint8_t d : subidentifier) value = value << 7 | (d & 0x7F);
  return value;
}

// The first sub-identifier holds the first two arcs as 40 * first + second; the first arc is 2
// whenever the value is 80 or more, so the second arc of 2 is unbounded.
void AppendFirstTwoArcs(Bytes subidentifier, std::string* text) {
  if (FitsUint64(subidentifier)) {
    const std::uint64_t value = SmallValue(subidentifier);
    const std::uint64_t first = value < 80 ? value / 40 : 2;
    BigNat::AppendNumber(first, text);
    text->push_back('.');
    BigNat::AppendNumber(value - first * 40, text);
    return;
  }
  BigNat value = BigNat::FromBase128(subidentifier);
  value.Subtract(80);
  text->append("2.");
  value.AppendDecimal(text);
}

void AppendArc(Bytes subidentifier, std::string* text) {
  text->push_back('.');
  if (FitsUint64(subidentifier)) {
    BigNat::AppendNumber(SmallValue(subidentifier), text);
  } else {
    BigNat::FromBase128(subidentifier).AppendDecimal(text);
  }
}

void AppendBase128(std::uint64_t value, ByteArray* out) {
  std::uint8_t digits[10];
  std::size_t count = 0;
  do {
    digits[count++] = static_cast<std::uint8_t>(value & 0x7F);
    value >>= 7;
  } while (value != 0);
  while (count-- > 0) out->push_back(digits[count] | (count != 0 ? 0x80 : 0));
}

// Decimal digits with no leading zero (but "0" itself).
bool IsDecimalArc(std::string_view arc) {
  if (arc.empty() || (arc.size() > 1 && arc[0] == '0')) return false;
  for (char c : arc) {
    if (c < '0' || c > '9') return false;
  }
  return true;
}

// Arcs of up to 19 digits fit a uint64 (10^19 - 1 < 2^64).
constexpr std::size_t kSmallArcDigits = 19;

std::uint64_t ParseSmallArc(std::string_view arc) {
  std::uint64_t value = 0;
  std::from_chars(arc.data(), arc.data() + arc.size(), value);
  return value;
}

// Writes arc `arc` (a valid decimal arc) plus `addend`.
void AppendTextArc(std::string_view arc, std::uint32_t addend, ByteArray* out) {
  if (arc.size() < kSmallArcDigits) {  // below 10^18, so adding at most 80 cannot overflow
    AppendBase128(ParseSmallArc(arc) + addend, out);
    return;
  }
  BigNat value = BigNat::FromDecimal(arc);
  value.MulAdd(1, addend);
  value.AppendBase128(out);
}

// The first two arcs as the first sub-identifier.
bool AppendFirstTwoTextArcs(std::string_view first, std::string_view second, ByteArray* out) {
  if (first.size() != 1 || first[0] < '0' || first[0] > '2' || !IsDecimalArc(second)) return false;
  const std::uint32_t top = static_cast<std::uint32_t>(first[0] - '0');
  if (top < 2 && (second.size() > 2 || ParseSmallArc(second) >= 40)) return false;
  AppendTextArc(second, top * 40, out);
  return true;
}

}  // namespace

bool IsValidOid(Bytes contents) {
  if (contents.empty() || (contents.back() & 0x80) != 0) return false;
  bool atStart = true;
  for (std::uint8_t octet : contents) {
    if (atStart && octet == 0x80) return false;  // a leading zero digit: not minimal
    atStart = (octet & 0x80) == 0;
  }
  return true;
}

bool OidToText(Bytes contents, std::string* text) {
  if (!IsValidOid(contents)) return false;
  text->clear();
  std::size_t pos = 0;
  AppendFirstTwoArcs(NextSubidentifier(contents, &pos), text);
  while (pos < contents.size()) AppendArc(NextSubidentifier(contents, &pos), text);
  return true;
}

// Walks the arcs between the dots: the first two make one sub-identifier, each later one its
// own. An empty arc (a leading, doubled or trailing dot) is refused by IsDecimalArc.
bool OidFromText(std::string_view text, ByteArray* out) {
  const std::size_t start = out->size();
  std::string_view rest = text;
  std::string_view first;
  std::size_t count = 0;
  bool ok = true;
  while (ok) {
    const std::size_t dot = rest.find('.');
    const std::string_view arc = rest.substr(0, dot);
    if (count == 0) {
      first = arc;
    } else if (count == 1) {
      ok = AppendFirstTwoTextArcs(first, arc, out);
    } else if ((ok = IsDecimalArc(arc))) {
      AppendTextArc(arc, 0, out);
    }
    ++count;
    if (dot == std::string_view::npos) break;
    rest = rest.substr(dot + 1);
  }
  if (!ok || count < 2) {
    out->resize(start);
    return false;
  }
  return true;
}

bool OidToText(Bytes contents, WString* text) {
  std::string narrow;
  if (!OidToText(contents, &narrow)) return false;
  text->assign(narrow.begin(), narrow.end());
  return true;
}

bool OidFromText(const WString& text, ByteArray* out) {
  std::string narrow;
  narrow.reserve(text.size());
  for (wchar_t c : text) {
    // Only ASCII digits and dots can be part of an OID; anything else maps to a refused byte.
    // (wchar_t is signed on some platforms and unsigned on others: compare its code unit.)
    narrow.push_back(static_cast<std::uint32_t>(c) < 0x80 ? static_cast<char>(c) : '\x7F');
  }
  return OidFromText(narrow, out);
}

}  // namespace ZT::Framework::Der
