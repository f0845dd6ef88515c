// The ASN.1 string types to and from the library's wide text. Each type is read as a sequence
// of Unicode code points (its own encoding) and written as wchar_t: one unit per code point where
// wchar_t has 32 bits, UTF-16 where it has 16. Writing holds every type to its own character set;
// reading is wider for the types that issued certificates misuse (see DecodeString).
#include <algorithm>
#include <cstdint>

#include "codec/crypto.der.h"

namespace ZT::Framework::Der {
namespace {

constexpr char32_t kMaxCodePoint = 0x10FFFF;

constexpr bool IsSurrogate(char32_t c) { return c >= 0xD800 && c <= 0xDFFF; }
constexpr bool IsScalarValue(char32_t c) { return c <= kMaxCodePoint && !IsSurrogate(c); }

void AppendCodePoint(char32_t c, WString* out) {
  if constexpr (sizeof(wchar_t) >= 4) {
    out->push_back(static_cast<wchar_t>(c));
  } else {
    if (c < 0x10000) {
      out->push_back(static_cast<wchar_t>(c));
    } else {
      c -= 0x10000;
      out->push_back(static_cast<wchar_t>(0xD800 + (c >> 10)));
      out->push_back(static_cast<wchar_t>(0xDC00 + (c & 0x3FF)));
    }
  }
}

// The character sets of the restricted types (X.680 41).
bool IsPrintableChar(char32_t c) {
  if ((c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9')) return true;
  switch (c) {
    case ' ': case '\'': case '(': case ')': case '+': case ',':
    case '-': case '.': case '/': case ':': case '=': case '?':
      return true;
    default:
      return false;
  }
}
bool IsNumericChar(char32_t c) { return (c >= '0' && c <= '9') || c == ' '; }
bool IsIa5Char(char32_t c) { return c < 0x80; }
bool IsVisibleChar(char32_t c) { return c >= 0x20 && c < 0x7F; }
bool IsLatin1Char(char32_t c) { return c <= 0xFF; }

// Which code points a one-octet-per-character type admits when written; null for the other types.
using CharSet = bool (*)(char32_t);
CharSet SingleOctetCharSet(std::uint32_t type) {
  switch (type) {
    case kPrintableStringType: return IsPrintableChar;
    case kNumericStringType: return IsNumericChar;
    case kIa5StringType: return IsIa5Char;
    case kVisibleStringType: return IsVisibleChar;
    case kTeletexStringType:
    case kVideotexStringType:
    case kGraphicStringType:
    case kGeneralStringType:
      return IsLatin1Char;
    default:
      return nullptr;
  }
}

// Which octets a one-octet-per-character type admits when read: a PrintableString any graphic
// ASCII character ('*' of wildcard names, '&', '@' and '_' of company names), an IA5String any
// octet (8-bit ones as ISO 8859-1); the other types their own set.
CharSet ReadableCharSet(std::uint32_t type) {
  switch (type) {
    case kPrintableStringType: return IsVisibleChar;
    case kIa5StringType: return IsLatin1Char;
    default: return SingleOctetCharSet(type);
  }
}

bool DecodeSingleOctet(CharSet allowed, Bytes in, WString* out) {
  for (std::uint8_t octet : in) {
    if (!allowed(octet)) return false;
    AppendCodePoint(octet, out);
  }
  return true;
}

// One UTF-8 sequence at in[*pos]: the shortest form only, no surrogates, nothing past U+10FFFF.
bool NextUtf8(Bytes in, std::size_t* pos, char32_t* c) {
  const std::uint8_t lead = in[(*pos)++];
  if (lead < 0x80) {
    *c = lead;
    return true;
  }
  std::size_t extra;
  char32_t minimum;
  if ((lead & 0xE0) == 0xC0) {
    extra = 1, minimum = 0x80, *c = lead & 0x1F;
  } else if ((lead & 0xF0) == 0xE0) {
    extra = 2, minimum = 0x800, *c = lead & 0x0F;
  } else if ((lead & 0xF8) == 0xF0) {
    extra = 3, minimum = 0x10000, *c = lead & 0x07;
  } else {
    return false;  // a continuation octet, or a lead octet of a five- or six-octet form
  }
  if (in.size() - *pos < extra) return false;
  for (std::size_t i = 0; i < extra; ++i) {
    const std::uint8_t octet = in[(*pos)++];
    if ((octet & 0xC0) != 0x80) return false;
    *c = (*c << 6) | (octet & 0x3F);
  }
  return *c >= minimum && IsScalarValue(*c);
}

bool DecodeUtf8(Bytes in, WString* out) {
  std::size_t pos = 0;
  while (pos < in.size()) {
    char32_t c;
    if (!NextUtf8(in, &pos, &c)) return false;
    AppendCodePoint(c, out);
  }
  return true;
}

// A TeletexString as UTF-8 when its octets are valid UTF-8 (what some issuers put there), else
// one octet per character as ISO 8859-1.
bool DecodeTeletex(Bytes in, WString* out) {
  if (DecodeUtf8(in, out)) return true;
  out->clear();
  return DecodeSingleOctet(IsLatin1Char, in, out);
}

// UTF-16BE with surrogate pairs; an unpaired surrogate is refused.
bool DecodeBmp(Bytes in, WString* out) {
  if (in.size() % 2 != 0) return false;
  for (std::size_t i = 0; i < in.size(); i += 2) {
    char32_t c = static_cast<char32_t>(in[i] << 8 | in[i + 1]);
    if (c >= 0xDC00 && c <= 0xDFFF) return false;
    if (c >= 0xD800 && c <= 0xDBFF) {
      if (in.size() - i < 4) return false;
      const char32_t low = static_cast<char32_t>(in[i + 2] << 8 | in[i + 3]);
      if (low < 0xDC00 || low > 0xDFFF) return false;
      c = 0x10000 + ((c - 0xD800) << 10) + (low - 0xDC00);
      i += 2;
    }
    AppendCodePoint(c, out);
  }
  return true;
}

// UTF-32BE (UCS-4).
bool DecodeUniversal(Bytes in, WString* out) {
  if (in.size() % 4 != 0) return false;
  for (std::size_t i = 0; i < in.size(); i += 4) {
    const char32_t c = static_cast<char32_t>(in[i]) << 24 | static_cast<char32_t>(in[i + 1]) << 16 |
                       static_cast<char32_t>(in[i + 2]) << 8 | in[i + 3];
    if (!IsScalarValue(c)) return false;
    AppendCodePoint(c, out);
  }
  return true;
}

// The code point at text[*pos]; where wchar_t is UTF-16, a surrogate pair is joined and an
// unpaired surrogate refused. Everywhere, values that are not Unicode scalar values are refused.
bool NextWide(const WString& text, std::size_t* pos, char32_t* c) {
  *c = static_cast<char32_t>(text[(*pos)++]);
  if constexpr (sizeof(wchar_t) == 2) {
    *c &= 0xFFFF;
    if (*c >= 0xD800 && *c <= 0xDBFF && *pos < text.size()) {
      const char32_t low = static_cast<char32_t>(text[*pos]) & 0xFFFF;
      if (low >= 0xDC00 && low <= 0xDFFF) {
        *c = 0x10000 + ((*c - 0xD800) << 10) + (low - 0xDC00);
        ++*pos;
      }
    }
  }
  return IsScalarValue(*c);
}

void PutUtf8(char32_t c, ByteArray* out) {
  if (c < 0x80) {
    out->push_back(static_cast<std::uint8_t>(c));
  } else if (c < 0x800) {
    out->push_back(static_cast<std::uint8_t>(0xC0 | c >> 6));
    out->push_back(static_cast<std::uint8_t>(0x80 | (c & 0x3F)));
  } else if (c < 0x10000) {
    out->push_back(static_cast<std::uint8_t>(0xE0 | c >> 12));
    out->push_back(static_cast<std::uint8_t>(0x80 | (c >> 6 & 0x3F)));
    out->push_back(static_cast<std::uint8_t>(0x80 | (c & 0x3F)));
  } else {
    out->push_back(static_cast<std::uint8_t>(0xF0 | c >> 18));
    out->push_back(static_cast<std::uint8_t>(0x80 | (c >> 12 & 0x3F)));
    out->push_back(static_cast<std::uint8_t>(0x80 | (c >> 6 & 0x3F)));
    out->push_back(static_cast<std::uint8_t>(0x80 | (c & 0x3F)));
  }
}

void PutUtf16Unit(char32_t unit, ByteArray* out) {
  out->push_back(static_cast<std::uint8_t>(unit >> 8));
  out->push_back(static_cast<std::uint8_t>(unit & 0xFF));
}

void PutBmp(char32_t c, ByteArray* out) {
  if (c < 0x10000) {
    PutUtf16Unit(c, out);
    return;
  }
  c -= 0x10000;
  PutUtf16Unit(0xD800 + (c >> 10), out);
  PutUtf16Unit(0xDC00 + (c & 0x3FF), out);
}

void PutUniversal(char32_t c, ByteArray* out) {
  for (int shift = 24; shift >= 0; shift -= 8) out->push_back(static_cast<std::uint8_t>(c >> shift));
}

// Encodes one code point in `type`; false when the type cannot hold it.
bool PutCodePoint(std::uint32_t type, char32_t c, ByteArray* out) {
  switch (type) {
    case kUtf8StringType: PutUtf8(c, out); return true;
    case kBmpStringType: PutBmp(c, out); return true;
    case kUniversalStringType: PutUniversal(c, out); return true;
    default: break;
  }
  const CharSet allowed = SingleOctetCharSet(type);
  if (allowed == nullptr || !allowed(c)) return false;
  out->push_back(static_cast<std::uint8_t>(c));
  return true;
}

}  // namespace

bool IsStringType(std::uint32_t number) {
  return number == kUtf8StringType || number == kBmpStringType || number == kUniversalStringType ||
         SingleOctetCharSet(number) != nullptr;
}

bool DecodeString(std::uint32_t type, Bytes contents, WString* out) {
  WString text;
  bool ok;
  switch (type) {
    case kUtf8StringType: ok = DecodeUtf8(contents, &text); break;
    case kBmpStringType: ok = DecodeBmp(contents, &text); break;
    case kUniversalStringType: ok = DecodeUniversal(contents, &text); break;
    case kTeletexStringType: ok = DecodeTeletex(contents, &text); break;
    default: {
      const CharSet allowed = ReadableCharSet(type);
      ok = allowed != nullptr && DecodeSingleOctet(allowed, contents, &text);
    }
  }
  if (!ok) return false;
  out->swap(text);
  return true;
}

bool IsWritableString(std::uint32_t type, Bytes contents) {
  if (const CharSet allowed = SingleOctetCharSet(type))
    return std::all_of(contents.begin(), contents.end(), [&](std::uint8_t octet) { return allowed(octet); });
  WString text;
  return IsStringType(type) && DecodeString(type, contents, &text);
}

bool EncodeString(std::uint32_t type, const WString& text, ByteArray* out) {
  if (!IsStringType(type)) return false;
  const std::size_t start = out->size();
  std::size_t pos = 0;
  while (pos < text.size()) {
    char32_t c;
    if (!NextWide(text, &pos, &c) || !PutCodePoint(type, c, out)) {
      out->resize(start);
      return false;
    }
  }
  return true;
}

}  // namespace ZT::Framework::Der
