#include "nq/nqlog.h"

#include <cstdio>
#include <memory>
#include <mutex>

namespace nqlog {

std::atomic<int> g_listeningRank{0};

namespace {

std::atomic<std::uint64_t> g_formattedLines{0};

struct SinkSlot {
  std::mutex lock;
  std::shared_ptr<const nqlogSink> sink;
};

SinkSlot& Slot() {
  static SinkSlot* slot = new SinkSlot;  // never destroyed: lines may be written during exit
  return *slot;
}

std::shared_ptr<const nqlogSink> CurrentSink() {
  SinkSlot& slot = Slot();
  std::lock_guard<std::mutex> guard(slot.lock);
  return slot.sink;
}

// Narrow text in trace arguments is UTF-8; a byte that does not fit reads as U+FFFD.
void AppendUtf8(std::wstring& out, const unsigned char* s, std::size_t n) {
  std::size_t i = 0;
  while (i < n) {
    const unsigned char lead = s[i];
    const std::size_t extra = lead < 0x80             ? 0
                              : (lead & 0xE0) == 0xC0 ? 1
                              : (lead & 0xF0) == 0xE0 ? 2
                              : (lead & 0xF8) == 0xF0 ? 3
                                                      : 4;
    bool ok = extra < 4 && i + extra < n;
    unsigned long cp = extra == 0 ? lead : lead & (0x3F >> extra);
    for (std::size_t k = 1; ok && k <= extra; ++k) {
      ok = (s[i + k] & 0xC0) == 0x80;
      cp = (cp << 6) | (s[i + k] & 0x3F);
    }
    out.push_back(ok ? static_cast<wchar_t>(cp) : L'\uFFFD');
    i += ok ? extra + 1 : 1;
  }
}

std::string ToUtf8(std::wstring_view w) {
  std::string out;
  out.reserve(w.size());
  for (wchar_t wc : w) {
    unsigned long cp = static_cast<unsigned long>(wc);
    if (cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF)) cp = 0xFFFD;
    if (cp < 0x80) {
      out.push_back(static_cast<char>(cp));
    } else if (cp < 0x800) {
      out.push_back(static_cast<char>(0xC0 | (cp >> 6)));
      out.push_back(static_cast<char>(0x80 | (cp & 0x3F)));
    } else if (cp < 0x10000) {
      out.push_back(static_cast<char>(0xE0 | (cp >> 12)));
      out.push_back(static_cast<char>(0x80 | ((cp >> 6) & 0x3F)));
      out.push_back(static_cast<char>(0x80 | (cp & 0x3F)));
    } else {
      out.push_back(static_cast<char>(0xF0 | (cp >> 18)));
      out.push_back(static_cast<char>(0x80 | ((cp >> 12) & 0x3F)));
      out.push_back(static_cast<char>(0x80 | ((cp >> 6) & 0x3F)));
      out.push_back(static_cast<char>(0x80 | (cp & 0x3F)));
    }
  }
  return out;
}

// Pads `body` (with its sign or prefix kept in front of zero padding) to the conversion's width.
void AppendPadded(std::wstring& out, const Conversion& c, std::wstring_view prefix, std::wstring_view body,
                  bool zeroPad) {
  const std::size_t len = prefix.size() + body.size();
  const std::size_t pad = c.width > 0 && static_cast<std::size_t>(c.width) > len ? c.width - len : 0;
  if (c.left) {
    out.append(prefix).append(body).append(pad, L' ');
  } else if (zeroPad) {
    out.append(prefix).append(pad, L'0').append(body);
  } else {
    out.append(pad, L' ').append(prefix).append(body);
  }
}

unsigned long long Truncate(unsigned long long v, unsigned bytes) {
  return bytes >= 8 ? v : v & ((1ULL << (bytes * 8)) - 1);
}

long long SignExtend(unsigned long long v, unsigned bytes) {
  if (bytes >= 8) return static_cast<long long>(v);
  const unsigned bits = bytes * 8;
  const unsigned long long sign = 1ULL << (bits - 1);
  v = Truncate(v, bytes);
  return static_cast<long long>((v ^ sign) - sign);
}

std::wstring Digits(unsigned long long v, unsigned base, bool upper) {
  const wchar_t* digits = upper ? L"0123456789ABCDEF" : L"0123456789abcdef";
  std::wstring s;
  do {
    s.insert(s.begin(), digits[v % base]);
    v /= base;
  } while (v);
  return s;
}

void AppendInteger(std::wstring& out, const Conversion& c, const Arg& a) {
  const unsigned long long raw = a.kind == Arg::Pointer ? reinterpret_cast<std::uintptr_t>(a.p)
                                 : a.kind == Arg::Signed ? static_cast<unsigned long long>(a.s)
                                                         : a.u;
  const unsigned bytes = a.kind == Arg::Pointer ? sizeof(void*) : a.bytes;
  if (c.type == L'c') {
    AppendPadded(out, c, L"", std::wstring(1, static_cast<wchar_t>(raw)), false);
    return;
  }
  if (c.type == L'p') {
    std::wstring body = Digits(Truncate(raw, bytes), 16, true);
    body.insert(0, 2 * sizeof(void*) - body.size(), L'0');
    AppendPadded(out, c, L"", body, false);
    return;
  }
  std::wstring prefix, body;
  if (c.type == L'd' || c.type == L'i') {
    const long long v = SignExtend(raw, bytes);
    const unsigned long long mag = v < 0 ? 0ULL - static_cast<unsigned long long>(v) : static_cast<unsigned long long>(v);
    prefix = v < 0 ? L"-" : c.plus ? L"+" : c.blank ? L" " : L"";
    body = (c.precision == 0 && mag == 0) ? L"" : Digits(mag, 10, false);
  } else {
    const unsigned long long v = Truncate(raw, bytes);
    const unsigned base = c.type == L'o' ? 8 : c.type == L'u' ? 10 : 16;
    body = (c.precision == 0 && v == 0) ? L"" : Digits(v, base, c.type == L'X');
    if (c.alternate && v != 0) prefix = c.type == L'x' ? L"0x" : c.type == L'X' ? L"0X" : c.type == L'o' ? L"0" : L"";
  }
  if (c.precision > 0 && body.size() < static_cast<std::size_t>(c.precision))
    body.insert(0, c.precision - body.size(), L'0');
  AppendPadded(out, c, prefix, body, c.zero && !c.left && c.precision < 0);
}

void AppendText(std::wstring& out, const Conversion& c, const Arg& a) {
  std::wstring text;
  if (a.text == nullptr) {
    text = L"(null)";
  } else if (a.kind == Arg::Wide) {
    text.assign(static_cast<const wchar_t*>(a.text), a.length);
  } else {
    AppendUtf8(text, static_cast<const unsigned char*>(a.text), a.length);
  }
  if (c.precision >= 0 && text.size() > static_cast<std::size_t>(c.precision)) text.resize(c.precision);
  AppendPadded(out, c, L"", text, false);
}

}  // namespace

std::wstring FormatLine(std::wstring_view format, std::span<const Arg> args) {
  g_formattedLines.fetch_add(1, std::memory_order_relaxed);
  std::wstring out;
  out.reserve(format.size() + 16 * args.size());
  std::size_t pos = 0, used = 0;
  for (Conversion c = NextConversion(format, pos); c.found; c = NextConversion(format, pos)) {
    out.append(format.substr(pos, c.begin - pos));
    pos = c.end;
    if (c.literalPercent) {
      out.push_back(L'%');
    } else if (c.malformed || used >= args.size()) {
      out.append(format.substr(c.begin, c.end - c.begin));  // unreachable for checked formats
    } else {
      const Arg& a = args[used++];
      if (a.kind == Arg::Wide || a.kind == Arg::Narrow) AppendText(out, c, a);
      else AppendInteger(out, c, a);
    }
  }
  out.append(format.substr(pos));
  return out;
}

void Deliver(const wchar_t* category, int level, std::wstring_view line) {
  if (auto sink = CurrentSink()) (*sink)(category ? category : L"", level, line);
}

}  // namespace nqlog

void nqlogSetSink(nqlogSink sink, int threshold) {
  auto& slot = nqlog::Slot();
  std::lock_guard<std::mutex> guard(slot.lock);
  slot.sink = sink ? std::make_shared<const nqlogSink>(std::move(sink)) : nullptr;
  nqlog::g_listeningRank.store(slot.sink ? nqlog::Rank(threshold) : 0, std::memory_order_relaxed);
}

void nqlogResetSink() { nqlogSetSink(nullptr, NQLOG_DATA); }

nqlogSink nqlogStderrSink() {
  return [](std::wstring_view category, int level, std::wstring_view line) {
    std::string text(1, '[');
    text.append(nqlog::ToUtf8(category)).append(1, ':').append(std::to_string(level)).append("] ");
    text.append(nqlog::ToUtf8(line)).append(1, '\n');
    std::fwrite(text.data(), 1, text.size(), stderr);
  };
}

std::uint64_t nqlogFormattedLines() { return nqlog::g_formattedLines.load(std::memory_order_relaxed); }

void nqlogLogBinLine(const wchar_t* category, int level, const void* bytes, std::uint32_t length,
                     const wchar_t* label) {
  nqlog::g_formattedLines.fetch_add(1, std::memory_order_relaxed);
  static constexpr wchar_t kHex[] = L"0123456789abcdef";
  std::wstring line = label ? label : L"";
  const auto* p = static_cast<const unsigned char*>(bytes);
  if (p != nullptr) {
    line.reserve(line.size() + 3 * static_cast<std::size_t>(length));
    for (std::uint32_t i = 0; i < length; ++i) {
      line.push_back(L' ');
      line.push_back(kHex[p[i] >> 4]);
      line.push_back(kHex[p[i] & 0xF]);
    }
  }
  nqlog::Deliver(category, level, line);
}
