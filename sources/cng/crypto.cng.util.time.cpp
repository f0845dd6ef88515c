// CryptoUtil::FileTimeToString: a FILETIME rendered with a strftime-like format, in UTC and in
// English whatever the process locale (the text is read by people and compared by tests, and
// the C library's strftime would follow the locale).
#include "cng/crypto.cng.util.h"
#include "codec/crypto.der.time.h"

namespace ZT::Framework {
namespace {

constexpr const wchar_t* kDayNames[] = {L"Sunday",   L"Monday", L"Tuesday", L"Wednesday",
                                        L"Thursday", L"Friday", L"Saturday"};
constexpr const wchar_t* kMonthNames[] = {L"January", L"February", L"March",     L"April",   L"May",      L"June",
                                          L"July",    L"August",   L"September", L"October", L"November", L"December"};
constexpr std::int64_t kSecondsPerDay = 86400;

// Days since 1970-01-01 (negative before), rounding towards minus infinity.
std::int64_t DaysSinceEpoch(const Der::CalendarTime& time) {
  const std::int64_t seconds = Der::ToUnixSeconds(time);
  return seconds >= 0 ? seconds / kSecondsPerDay : -((-seconds + kSecondsPerDay - 1) / kSecondsPerDay);
}

// 0 for Sunday; 1970-01-01 was a Thursday.
int DayOfWeek(const Der::CalendarTime& time) { return static_cast<int>(((DaysSinceEpoch(time) + 4) % 7 + 7) % 7); }

int DayOfYear(const Der::CalendarTime& time) {
  Der::CalendarTime newYear;
  newYear.year = time.year;
  return static_cast<int>(DaysSinceEpoch(time) - DaysSinceEpoch(newYear)) + 1;
}

// `value` (not negative) in decimal, with leading zeros to at least `digits` digits; written by
// hand because a date is rendered for every certificate read and swprintf costs more than the
// rest of the rendering.
void AppendNumber(WString& out, int value, int digits) {
  wchar_t text[16];
  int length = 0;
  for (unsigned v = static_cast<unsigned>(value); v != 0 || length < digits; v /= 10)
    text[length++] = static_cast<wchar_t>(L'0' + v % 10);
  while (length > 0) out.push_back(text[--length]);
}

// Appends conversion `c` of `time`; false for a conversion that is not supported.
bool AppendConversion(WString& out, wchar_t c, const Der::CalendarTime& time) {
  switch (c) {
    case L'Y': AppendNumber(out, time.year, 4); return true;
    case L'y': AppendNumber(out, time.year % 100, 2); return true;
    case L'm': AppendNumber(out, time.month, 2); return true;
    case L'd': AppendNumber(out, time.day, 2); return true;
    case L'j': AppendNumber(out, DayOfYear(time), 3); return true;
    case L'H': AppendNumber(out, time.hour, 2); return true;
    case L'M': AppendNumber(out, time.minute, 2); return true;
    case L'S': AppendNumber(out, time.second, 2); return true;
    case L'A': out += kDayNames[DayOfWeek(time)]; return true;
    case L'a': out.append(kDayNames[DayOfWeek(time)], 3); return true;
    case L'B': out += kMonthNames[time.month - 1]; return true;
    case L'b': out.append(kMonthNames[time.month - 1], 3); return true;
    case L'%': out.push_back(L'%'); return true;
    default: return false;
  }
}

}  // namespace

WString CryptoUtil::FileTimeToString(FileTimeTicksValue ftTime, const WString& sFormat) {
  const FunctionTrace fn(L"CryptoUtil::FileTimeToString");
  return fn.Run([&] {
    fn.Data(L"sFormat=%s", sFormat);
    Der::CalendarTime time;
    if (!Der::FromFileTimeTicks(ftTime, &time)) fn.Raise(CRYPTO_BAD_PARAM, L"Invalid time");
    WString text;
    for (std::size_t i = 0; i < sFormat.size(); ++i) {
      if (sFormat[i] != L'%') {
        text.push_back(sFormat[i]);
        continue;
      }
      if (++i == sFormat.size() || !AppendConversion(text, sFormat[i], time))
        fn.Raise(CRYPTO_BAD_PARAM, L"Invalid format");
    }
    fn.Data(L"sTime=%s", text);
    return text;
  });
}

}  // namespace ZT::Framework
