#include <string>

#include "nq/nqcext.h"

namespace ZT::Framework {

namespace {

void AppendDecimal(WString& out, unsigned value) {
  const std::wstring digits = std::to_wstring(value);
  out.append(digits.c_str());
}

void AppendHex(WString& out, unsigned value, bool pad) {
  static constexpr wchar_t kHex[] = L"0123456789abcdef";
  bool started = pad;
  for (int shift = 12; shift >= 0; shift -= 4) {
    const unsigned nibble = (value >> shift) & 0xF;
    if (nibble != 0 || started || shift == 0) {
      out.push_back(kHex[nibble]);
      started = true;
    }
  }
}

void AppendIPv4(WString& out, const unsigned char* a) {
  for (int i = 0; i < 4; ++i) {
    if (i) out.push_back(L'.');
    AppendDecimal(out, a[i]);
  }
}

// RFC 5952: lower case, leading zeros dropped, the longest run of two or more zero groups
// (the first of equal runs) written as "::", and the IPv4-mapped form ::ffff:a.b.c.d.
void AppendIPv6(WString& out, const unsigned char* a) {
  unsigned groups[8];
  for (int i = 0; i < 8; ++i) groups[i] = (a[2 * i] << 8) | a[2 * i + 1];

  const bool mapped = groups[0] == 0 && groups[1] == 0 && groups[2] == 0 && groups[3] == 0 && groups[4] == 0 &&
                      groups[5] == 0xFFFF;
  if (mapped) {
    out.append(L"::ffff:");
    AppendIPv4(out, a + 12);
    return;
  }

  int bestStart = -1, bestLength = 0;
  for (int i = 0; i < 8;) {
    if (groups[i] != 0) {
      ++i;
      continue;
    }
    int j = i;
    while (j < 8 && groups[j] == 0) ++j;
    if (j - i > bestLength && j - i >= 2) {
      bestStart = i;
      bestLength = j - i;
    }
    i = j;
  }

  for (int i = 0; i < 8; ++i) {
    if (i == bestStart) {
      out.append(L"::");
      i += bestLength - 1;
      continue;
    }
    if (i > 0 && i != bestStart + bestLength) out.push_back(L':');
    AppendHex(out, groups[i], false);
  }
}

void AppendHexPairs(WString& out, const ByteArray& bytes) {
  static constexpr wchar_t kHex[] = L"0123456789abcdef";
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    if (i) out.push_back(L':');
    out.push_back(kHex[bytes[i] >> 4]);
    out.push_back(kHex[bytes[i] & 0xF]);
  }
}

// One code point as wide characters: itself where wchar_t is 32 bits, a surrogate pair above
// U+FFFF where it is 16.
void AppendCodePoint(WString& out, unsigned long cp) {
  if constexpr (sizeof(wchar_t) == 2) {
    if (cp > 0xFFFF) {
      cp -= 0x10000;
      out.push_back(static_cast<wchar_t>(0xD800 + (cp >> 10)));
      out.push_back(static_cast<wchar_t>(0xDC00 + (cp & 0x3FF)));
      return;
    }
  }
  out.push_back(static_cast<wchar_t>(cp));
}

[[noreturn]] void ThrowBadConversion(std::size_t offset) {
  const std::wstring where = std::to_wstring(offset);
  throw new CException(L"support/nqcext/converter", __LINE__,
                       WString(L"Invalid multi-byte sequence at offset ") + where.c_str(), NQCEXT_BAD_CONVERSION,
                       nullptr);
}

}  // namespace

WString CConverter::ByteArrayToString(const ByteArray& bytes) {
  WString text;
  switch (bytes.size()) {
    case 4:
      AppendIPv4(text, bytes.data());
      break;
    case 8:
      AppendIPv4(text, bytes.data());
      text.push_back(L'/');
      AppendIPv4(text, bytes.data() + 4);
      break;
    case 16:
      AppendIPv6(text, bytes.data());
      break;
    case 32:
      AppendIPv6(text, bytes.data());
      text.push_back(L'/');
      AppendIPv6(text, bytes.data() + 16);
      break;
    default:
      AppendHexPairs(text, bytes);
  }
  return text;
}

// Strict UTF-8: no overlong forms, no surrogates, nothing above U+10FFFF, no cut sequence.
WString CConverter::MBCSByteArrayToString(const ByteArray& bytes) {
  WString text;
  text.reserve(bytes.size());
  const std::size_t n = bytes.size();
  for (std::size_t i = 0; i < n;) {
    const unsigned char lead = bytes[i];
    std::size_t extra;
    unsigned long cp, minimum;
    if (lead < 0x80) { extra = 0; cp = lead; minimum = 0; }
    else if ((lead & 0xE0) == 0xC0) { extra = 1; cp = lead & 0x1F; minimum = 0x80; }
    else if ((lead & 0xF0) == 0xE0) { extra = 2; cp = lead & 0x0F; minimum = 0x800; }
    else if ((lead & 0xF8) == 0xF0) { extra = 3; cp = lead & 0x07; minimum = 0x10000; }
    else ThrowBadConversion(i);
    if (n - i <= extra) ThrowBadConversion(i);
    for (std::size_t k = 1; k <= extra; ++k) {
      if ((bytes[i + k] & 0xC0) != 0x80) ThrowBadConversion(i);
      cp = (cp << 6) | (bytes[i + k] & 0x3F);
    }
    if (cp < minimum || cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF)) ThrowBadConversion(i);
    AppendCodePoint(text, cp);
    i += extra + 1;
  }
  return text;
}

}  // namespace ZT::Framework
