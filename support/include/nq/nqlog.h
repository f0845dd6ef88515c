// nqlogu64: the suite's trace facility.
//
//   nqlogLog(L"CRYPTO", 8, L"CCNGMessageDigest::Digest : this=%#x", this);
//   nqlogLogBin(L"CRYPTO", 0, bytes, length, L"CCNGSignature::GetValue : m_baValue:");
//
// Formats follow the suite's wide printf conventions: in a wide format %s takes a wide string
// (%S and %hs a narrow one); %d %i %u %x %X %o %c %p and %% with the usual flags (- + blank # 0),
// width and precision; length modifiers (h, l, ll, I64, ...) are accepted and ignored, since
// the argument's own type fixes its width. A pointer given to %x or %#x prints in full.
//
// The format is checked at compile time against the arguments: a wrong count, or a string where
// a number is expected (and the reverse), does not compile.
//
// Nothing is formatted unless a sink listens at the line's level: the check is one relaxed
// atomic load, done before any argument is converted. The default is silent.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>

#if defined(_WIN32)
#if defined(NQLOG_BUILDING)
#define NQLOG_API __declspec(dllexport)
#else
#define NQLOG_API __declspec(dllimport)
#endif
#else
#define NQLOG_API __attribute__((visibility("default")))
#endif

// The levels the suite writes: what the line is, not how bad it is.
enum : int {
  NQLOG_DATA = 0,     // argument and result values, byte dumps
  NQLOG_ERROR = 1,    // a failure being raised
  NQLOG_WARNING = 2,  // null or empty arguments, unloading
  NQLOG_ENTRY = 8,    // a function is entered
  NQLOG_EXIT = 16,    // a function returns (or " Returns %s" as an exception leaves it)
};

// Receives every line that passes the threshold: its category, its level and the formatted text
// (for a binary dump: the label, a blank and the bytes as blank-separated lower-case hex pairs).
using nqlogSink = std::function<void(std::wstring_view category, int level, std::wstring_view line)>;

// Installs the one sink; lines whose level is at most `threshold` reach it, where the levels rank
// ERROR < WARNING < ENTRY < EXIT < DATA (data lines may carry argument values and key bytes, so
// they come last). A threshold of NQLOG_DATA passes everything. Replaces any previous sink.
NQLOG_API void nqlogSetSink(nqlogSink sink, int threshold);
// Removes the sink: the facility is silent again.
NQLOG_API void nqlogResetSink();
// A sink that writes "[CATEGORY:level] line" in UTF-8 to stderr, one line per call.
NQLOG_API nqlogSink nqlogStderrSink();
// How many lines have been formatted since the process started (a diagnostic: it stays put while
// no sink listens).
NQLOG_API std::uint64_t nqlogFormattedLines();

namespace nqlog {

// Verbosity rank of a level, as the threshold orders them.
constexpr int Rank(int level) { return level == NQLOG_DATA ? 32 : level; }

// Highest rank a sink listens to; 0 while nobody listens.
extern NQLOG_API std::atomic<int> g_listeningRank;

inline bool Enabled(int level) {
  return Rank(level) <= g_listeningRank.load(std::memory_order_relaxed);
}

// One formatting argument, type-erased.
struct Arg {
  enum Kind : unsigned char { Signed, Unsigned, Pointer, Wide, Narrow };
  Kind kind;
  unsigned char bytes;  // width of an integer argument
  union {
    long long s;
    unsigned long long u;
    const void* p;
  };
  const void* text = nullptr;  // Wide or Narrow: the characters (may be null: "(null)")
  std::size_t length = 0;
};

template <class T> struct IsWideString : std::false_type {};
template <class Tr, class A> struct IsWideString<std::basic_string<wchar_t, Tr, A>> : std::true_type {};
template <class Tr> struct IsWideString<std::basic_string_view<wchar_t, Tr>> : std::true_type {};
template <class T> struct IsNarrowString : std::false_type {};
template <class Tr, class A> struct IsNarrowString<std::basic_string<char, Tr, A>> : std::true_type {};
template <class Tr> struct IsNarrowString<std::basic_string_view<char, Tr>> : std::true_type {};

template <class T>
constexpr Arg::Kind KindOf() {
  using U = std::remove_cvref_t<std::decay_t<T>>;
  if constexpr (std::is_same_v<U, const wchar_t*> || std::is_same_v<U, wchar_t*> || IsWideString<U>::value)
    return Arg::Wide;
  else if constexpr (std::is_same_v<U, const char*> || std::is_same_v<U, char*> || IsNarrowString<U>::value)
    return Arg::Narrow;
  else if constexpr (std::is_pointer_v<U> || std::is_null_pointer_v<U>)
    return Arg::Pointer;
  else if constexpr (std::is_enum_v<U>)
    return std::is_signed_v<std::underlying_type_t<U>> ? Arg::Signed : Arg::Unsigned;
  else if constexpr (std::is_integral_v<U>)
    return std::is_signed_v<U> ? Arg::Signed : Arg::Unsigned;
  else
    static_assert(sizeof(U) == 0, "nqlogLog: argument type has no format conversion");
}

template <class T>
Arg MakeArg(const T& value) {
  constexpr Arg::Kind kind = KindOf<T>();
  using U = std::remove_cvref_t<std::decay_t<T>>;
  Arg a{};
  a.kind = kind;
  a.bytes = sizeof(U);
  if constexpr (kind == Arg::Wide || kind == Arg::Narrow) {
    if constexpr (std::is_pointer_v<U>) {
      using Char = std::remove_cv_t<std::remove_pointer_t<U>>;
      const Char* ptr = value;
      a.text = ptr;
      a.length = ptr ? std::char_traits<Char>::length(ptr) : 0;
    } else {
      a.text = value.data();
      a.length = value.size();
    }
  } else if constexpr (kind == Arg::Pointer) {
    a.p = static_cast<const void*>(value);
  } else if constexpr (std::is_enum_v<U>) {
    if constexpr (kind == Arg::Signed) a.s = static_cast<long long>(value);
    else a.u = static_cast<unsigned long long>(value);
  } else if constexpr (kind == Arg::Signed) {
    a.s = value;
  } else {
    a.u = value;
  }
  return a;
}

// One conversion of a format: what it takes and how it renders.
struct Conversion {
  enum Takes : unsigned char { None, Integer, IntegerOrPointer, WideText, NarrowText };
  bool found = false;          // false at the end of the format
  bool literalPercent = false; // "%%"
  std::size_t begin = 0, end = 0;  // the conversion's extent in the format
  bool left = false, plus = false, blank = false, alternate = false, zero = false;
  int width = -1, precision = -1;
  wchar_t type = 0;
  Takes takes = None;
  bool malformed = false;
};

// Finds the next conversion at or after `pos`. Shared by the compile-time check and the
// run-time formatter so that both read a format the same way.
constexpr Conversion NextConversion(std::wstring_view f, std::size_t pos) {
  Conversion c;
  while (pos < f.size() && f[pos] != L'%') ++pos;
  if (pos >= f.size()) return c;
  c.found = true;
  c.begin = pos++;
  if (pos < f.size() && f[pos] == L'%') {
    c.literalPercent = true;
    c.end = pos + 1;
    return c;
  }
  for (; pos < f.size(); ++pos) {
    const wchar_t ch = f[pos];
    if (ch == L'-') c.left = true;
    else if (ch == L'+') c.plus = true;
    else if (ch == L' ') c.blank = true;
    else if (ch == L'#') c.alternate = true;
    else if (ch == L'0') c.zero = true;
    else break;
  }
  for (; pos < f.size() && f[pos] >= L'0' && f[pos] <= L'9'; ++pos)
    c.width = (c.width < 0 ? 0 : c.width) * 10 + (f[pos] - L'0');
  if (pos < f.size() && f[pos] == L'.') {
    c.precision = 0;
    for (++pos; pos < f.size() && f[pos] >= L'0' && f[pos] <= L'9'; ++pos)
      c.precision = c.precision * 10 + (f[pos] - L'0');
  }
  bool narrow = false, wide = false;
  for (; pos < f.size(); ++pos) {
    const wchar_t ch = f[pos];
    if (ch == L'h') narrow = true;
    else if (ch == L'l' || ch == L'w') wide = true;
    else if (ch == L'L' || ch == L'z' || ch == L'j' || ch == L't') {}
    else if (ch == L'I') {
      if (f.substr(pos + 1, 2) == L"64" || f.substr(pos + 1, 2) == L"32") pos += 2;
    } else break;
  }
  if (pos >= f.size()) {
    c.malformed = true;
    c.end = f.size();
    return c;
  }
  c.type = f[pos];
  c.end = pos + 1;
  switch (c.type) {
    case L'd': case L'i': case L'u': case L'o': case L'c':
      c.takes = Conversion::Integer; break;
    case L'x': case L'X': case L'p':
      c.takes = Conversion::IntegerOrPointer; break;
    case L's':
      c.takes = (narrow && !wide) ? Conversion::NarrowText : Conversion::WideText; break;
    case L'S':
      c.takes = wide ? Conversion::WideText : Conversion::NarrowText; break;
    default:
      c.malformed = true;
  }
  return c;
}

constexpr bool Accepts(Conversion::Takes takes, Arg::Kind kind) {
  switch (takes) {
    case Conversion::Integer: return kind == Arg::Signed || kind == Arg::Unsigned;
    case Conversion::IntegerOrPointer: return kind == Arg::Signed || kind == Arg::Unsigned || kind == Arg::Pointer;
    case Conversion::WideText: return kind == Arg::Wide;
    case Conversion::NarrowText: return kind == Arg::Narrow;
    default: return false;
  }
}

// Called (at compile time) only when a format does not fit its arguments: the call of a
// non-constexpr function makes the consteval check fail with this name in the diagnostic.
void FormatDoesNotMatchArguments();

template <class... Args>
consteval void CheckFormat(std::wstring_view f) {
  constexpr Arg::Kind kinds[] = {KindOf<Args>()..., Arg::Pointer};
  std::size_t used = 0, pos = 0;
  for (Conversion c = NextConversion(f, pos); c.found; c = NextConversion(f, pos)) {
    pos = c.end;
    if (c.literalPercent) continue;
    if (c.malformed || used >= sizeof...(Args) || !Accepts(c.takes, kinds[used])) FormatDoesNotMatchArguments();
    ++used;
  }
  if (used != sizeof...(Args)) FormatDoesNotMatchArguments();
}

// A format string checked against the argument types at compile time.
template <class... Args>
class BasicFormat {
 public:
  template <class S>
    requires std::is_convertible_v<const S&, std::wstring_view>
  consteval BasicFormat(const S& text) : m_text(text) {
    CheckFormat<Args...>(m_text);
  }
  constexpr std::wstring_view get() const { return m_text; }

 private:
  std::wstring_view m_text;
};

// Formats `format` with `args` (already checked). Counts the line for nqlogFormattedLines.
NQLOG_API std::wstring FormatLine(std::wstring_view format, std::span<const Arg> args);
// Hands a formatted line to the sink, if one still listens at `level`.
NQLOG_API void Deliver(const wchar_t* category, int level, std::wstring_view line);

template <class... Args>
std::wstring Format(std::wstring_view format, const Args&... args) {
  const Arg converted[] = {MakeArg(args)..., Arg{}};
  return FormatLine(format, std::span<const Arg>(converted, sizeof...(Args)));
}

}  // namespace nqlog

template <class... Args>
using nqlogFormat = nqlog::BasicFormat<std::type_identity_t<Args>...>;

// Writes one trace line: `format` with `args`, under `category` at `level`.
template <class... Args>
inline void nqlogLog(const wchar_t* category, int level, nqlogFormat<Args...> format, const Args&... args) {
  if (!nqlog::Enabled(level)) return;
  nqlog::Deliver(category, level, nqlog::Format(format.get(), args...));
}

// Writes a dump of `length` bytes at `bytes` after `label` (a null pointer dumps nothing).
NQLOG_API void nqlogLogBinLine(const wchar_t* category, int level, const void* bytes, std::uint32_t length,
                               const wchar_t* label);
inline void nqlogLogBin(const wchar_t* category, int level, const void* bytes, std::uint32_t length,
                        const wchar_t* label) {
  if (!nqlog::Enabled(level)) return;
  nqlogLogBinLine(category, level, bytes, length, label);
}
