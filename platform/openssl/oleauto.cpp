// System times and OLE automation dates: the current time, SYSTEMTIME to FILETIME, date text to
// DATE (the forms platform/oleauto.h lists) and DATE to SYSTEMTIME. The calendar arithmetic is
// the DER time code's (proleptic Gregorian, UTC, no leap seconds).

#include "platform/oleauto.h"

#include <cmath>
#include <ctime>
#include <cwchar>
#include <cwctype>
#include <optional>

#include "codec/crypto.der.time.h"
#include "platform/openssl/callfailures.h"
#include "platform/systime.h"

namespace Der = ZT::Framework::Der;

namespace {

constexpr std::int64_t kSecondsPerDay = 86400;
// 1899-12-30, day 0 of a DATE, is 25569 days before 1970-01-01.
constexpr std::int64_t kDateEpochDays = 25569;
// The days of 100-01-01 and 9999-12-31 as DATEs.
constexpr double kFirstDay = -657434.0;
constexpr double kLastDay = 2958465.0;
// 1601-01-01 (FILETIME 0) to 1970-01-01, in seconds.
constexpr std::int64_t kFileTimeEpochSeconds = 11644473600;
constexpr std::uint64_t kTicksPerSecond = 10000000;

// The names of the user-default locale (English), upper case.
constexpr const wchar_t* kMonthNames[] = {L"JANUARY", L"FEBRUARY", L"MARCH",     L"APRIL",   L"MAY",      L"JUNE",
                                          L"JULY",    L"AUGUST",   L"SEPTEMBER", L"OCTOBER", L"NOVEMBER", L"DECEMBER"};
constexpr const wchar_t* kDayNames[] = {L"SUNDAY",   L"MONDAY", L"TUESDAY", L"WEDNESDAY",
                                        L"THURSDAY", L"FRIDAY", L"SATURDAY"};

// A cursor over the date text.
class DateText {
 public:
  explicit DateText(const wchar_t* text) : m_p(text) {}

  void SkipBlanks() {
    while (*m_p == L' ' || *m_p == L'\t') ++m_p;
  }
  bool AtEnd() const { return *m_p == L'\0'; }
  bool Take(wchar_t c) {
    if (*m_p != c) return false;
    ++m_p;
    return true;
  }
  // `word` (upper case) in any case, not followed by another letter.
  bool TakeWord(const wchar_t* word) { return TakeLetters(word, std::wcslen(word)); }
  // One of `names` (upper case) in full, or its first three letters: `*index` gets its place.
  template <std::size_t N>
  bool TakeName(const wchar_t* const (&names)[N], int* index) {
    for (std::size_t i = 0; i < N; ++i) {
      if (TakeWord(names[i]) || TakeLetters(names[i], 3)) {
        *index = static_cast<int>(i);
        return true;
      }
    }
    return false;
  }
  // Blanks with at most one of `separators` among them; false when there is nothing of either.
  bool SkipSeparator(const wchar_t* separators) {
    const wchar_t* start = m_p;
    SkipBlanks();
    if (*m_p != L'\0' && std::wcschr(separators, *m_p) != nullptr) ++m_p;
    SkipBlanks();
    return m_p != start;
  }
  // `min`..`max` decimal digits; `*count` gets how many there were.
  bool Number(int min, int max, int* value, int* count = nullptr) {
    int n = 0, v = 0;
    while (n < max && *m_p >= L'0' && *m_p <= L'9') v = v * 10 + (*m_p++ - L'0'), ++n;
    if (n < min) return false;
    *value = v;
    if (count != nullptr) *count = n;
    return true;
  }
  // "." and one or more digits: the fraction of a second.
  bool Fraction(double* value) {
    if (!Take(L'.')) return true;
    double scale = 0.1;
    bool any = false;
    for (; *m_p >= L'0' && *m_p <= L'9'; ++m_p, scale /= 10) *value += (*m_p - L'0') * scale, any = true;
    return any;
  }

 private:
  bool TakeLetters(const wchar_t* word, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i)
      if (static_cast<wchar_t>(std::towupper(m_p[i])) != word[i]) return false;
    if (std::iswalpha(m_p[count])) return false;
    m_p += count;
    return true;
  }

  const wchar_t* m_p;
};

struct ParsedDate {
  Der::CalendarTime time;
  double fraction = 0;  // of the second
};

// h:mm[:ss], the seconds in ISO text optionally with a fraction.
bool ReadTime(DateText& text, bool allowFraction, ParsedDate* out) {
  if (!text.Number(1, 2, &out->time.hour) || !text.Take(L':') || !text.Number(2, 2, &out->time.minute)) return false;
  if (!text.Take(L':')) return true;
  return text.Number(2, 2, &out->time.second) && (!allowFraction || text.Fraction(&out->fraction));
}

// YYYY-MM-DD[(T| )hh:mm[:ss[.fff]]][Z]
bool ReadIsoDate(DateText text, ParsedDate* out) {
  if (!text.Number(4, 4, &out->time.year) || !text.Take(L'-') || !text.Number(1, 2, &out->time.month) ||
      !text.Take(L'-') || !text.Number(1, 2, &out->time.day))
    return false;
  const bool separatedByT = text.Take(L'T');
  if (!separatedByT) text.SkipBlanks();
  if (separatedByT || !text.AtEnd()) {
    if (!ReadTime(text, true, out)) return false;
    text.Take(L'Z');
  }
  text.SkipBlanks();
  return text.AtEnd();
}

// The hour of a 12-hour clock with its AM or PM (`*found` says whether one was there); false for
// an hour outside 1..12 with one.
bool ApplyMeridiem(DateText& text, int* hour, bool* found) {
  const bool am = text.TakeWord(L"AM");
  const bool pm = !am && text.TakeWord(L"PM");
  *found = am || pm;
  if (!*found) return true;
  if (*hour < 1 || *hour > 12) return false;
  *hour = *hour % 12 + (pm ? 12 : 0);
  return true;
}

// A year of two digits is 20YY below 30 and 19YY from 30 on; of four, as written.
bool ReadYear(DateText& text, int* year) {
  int digits = 0;
  if (!text.Number(2, 4, year, &digits) || digits == 3) return false;
  if (digits == 2) *year += *year < 30 ? 2000 : 1900;
  return true;
}

// YYYY/M/D, or M/D/YYYY and M/D/YY; "-" or "." may stand for both "/".
bool ReadNumericDate(DateText& text, Der::CalendarTime* t) {
  int first = 0, digits = 0;
  if (!text.Number(1, 4, &first, &digits) || digits == 3) return false;
  wchar_t separator = 0;
  for (const wchar_t c : {L'/', L'-', L'.'})
    if (separator == 0 && text.Take(c)) separator = c;
  if (separator == 0) return false;
  if (digits == 4) {
    t->year = first;
    return text.Number(1, 2, &t->month) && text.Take(separator) && text.Number(1, 2, &t->day);
  }
  t->month = first;
  return text.Number(1, 2, &t->day) && text.Take(separator) && ReadYear(text, &t->year);
}

// "Jan 2, 2024", "January 2 2024", "2 January 2024", "2-Jan-2024": a month's name or its first
// three letters, the day before or after it, then the year.
bool ReadNamedMonthDate(DateText& text, Der::CalendarTime* t) {
  int month = 0;
  const bool dayFirst = !text.TakeName(kMonthNames, &month);
  if (dayFirst && !(text.Number(1, 2, &t->day) && text.SkipSeparator(L"-/.") && text.TakeName(kMonthNames, &month)))
    return false;
  if (!dayFirst && !(text.SkipSeparator(L"-/.") && text.Number(1, 2, &t->day))) return false;
  t->month = month + 1;
  return text.SkipSeparator(L",-/.") && ReadYear(text, &t->year);
}

// A date in one of the two forms above; `text` and `*t` change only when one is read.
bool ReadUserDatePart(DateText& text, Der::CalendarTime* t) {
  for (const auto read : {ReadNumericDate, ReadNamedMonthDate}) {
    DateText trial = text;
    Der::CalendarTime date = *t;
    if (read(trial, &date)) {
      text = trial;
      *t = date;
      return true;
    }
  }
  return false;
}

// h:mm[:ss] [AM|PM], or h AM|PM.
bool ReadUserTimePart(DateText& text, ParsedDate* out) {
  DateText clock = text;
  const bool withMinutes = ReadTime(clock, false, out);
  if (!withMinutes) {
    clock = text;
    if (!clock.Number(1, 2, &out->time.hour)) return false;
    out->time.minute = out->time.second = 0;
  }
  clock.SkipBlanks();
  bool meridiem = false;
  if (!ApplyMeridiem(clock, &out->time.hour, &meridiem) || (!withMinutes && !meridiem)) return false;
  text = clock;
  return true;
}

// [weekday[,]] date [time], or [weekday[,]] time [date]; a time alone is on day 0 of a DATE
// (1899-12-30). A weekday's name is read and not checked against the date.
bool ReadUserDate(DateText text, ParsedDate* out) {
  int weekday = 0;
  if (text.TakeName(kDayNames, &weekday)) text.SkipSeparator(L",");
  Der::CalendarTime& t = out->time;
  t.year = 1899, t.month = 12, t.day = 30;
  if (ReadUserDatePart(text, &t)) {
    text.SkipBlanks();
    if (!text.AtEnd() && !ReadUserTimePart(text, out)) return false;
  } else {
    if (!ReadUserTimePart(text, out)) return false;
    text.SkipBlanks();
    if (!text.AtEnd() && !ReadUserDatePart(text, &t)) return false;
  }
  text.SkipBlanks();
  return text.AtEnd();
}

// The DATE of a calendar time: whole days since 1899-12-30, and the time of day as the fraction,
// added to the days from that day on and subtracted before it (the DATE convention).
double ToDate(const ParsedDate& parsed) {
  Der::CalendarTime midnight = parsed.time;
  midnight.hour = midnight.minute = midnight.second = 0;
  const std::int64_t days = Der::ToUnixSeconds(midnight) / kSecondsPerDay + kDateEpochDays;
  const double dayFraction =
      (parsed.time.hour * 3600 + parsed.time.minute * 60 + parsed.time.second + parsed.fraction) / kSecondsPerDay;
  return days >= 0 ? static_cast<double>(days) + dayFraction : static_cast<double>(days) - dayFraction;
}

}  // namespace

extern "C" {

void WINAPI GetSystemTimeAsFileTime(LPFILETIME lpSystemTimeAsFileTime) {
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  const std::uint64_t ticks = static_cast<std::uint64_t>(now.tv_sec + kFileTimeEpochSeconds) * kTicksPerSecond +
                              static_cast<std::uint64_t>(now.tv_nsec) / 100;
  lpSystemTimeAsFileTime->dwLowDateTime = static_cast<DWORD>(ticks);
  lpSystemTimeAsFileTime->dwHighDateTime = static_cast<DWORD>(ticks >> 32);
}

BOOL WINAPI SystemTimeToFileTime(const SYSTEMTIME* lpSystemTime, LPFILETIME lpFileTime) {
  ZT_FAIL_POINT_LAST_ERROR(FALSE);
  if (lpSystemTime == nullptr || lpFileTime == nullptr || lpSystemTime->wMilliseconds > 999) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return FALSE;
  }
  Der::CalendarTime time;
  time.year = lpSystemTime->wYear;
  time.month = lpSystemTime->wMonth;
  time.day = lpSystemTime->wDay;
  time.hour = lpSystemTime->wHour;
  time.minute = lpSystemTime->wMinute;
  time.second = lpSystemTime->wSecond;
  time.nanosecond = lpSystemTime->wMilliseconds * 1000000u;
  std::uint64_t ticks = 0;
  if (!Der::IsValidCalendarTime(time) || !Der::ToFileTimeTicks(time, &ticks)) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return FALSE;
  }
  lpFileTime->dwLowDateTime = static_cast<DWORD>(ticks);
  lpFileTime->dwHighDateTime = static_cast<DWORD>(ticks >> 32);
  return TRUE;
}

HRESULT WINAPI VarDateFromStr(LPCOLESTR strIn, LCID lcid, ULONG dwFlags, DATE* pdateOut) {
  ZT_FAIL_POINT_STATUS(HRESULT);
  if (strIn == nullptr || pdateOut == nullptr || dwFlags != 0 ||
      (lcid != LOCALE_USER_DEFAULT && lcid != LOCALE_SYSTEM_DEFAULT))
    return E_INVALIDARG;
  DateText text(strIn);
  text.SkipBlanks();
  ParsedDate iso, user;
  const bool isIso = ReadIsoDate(text, &iso);
  if (!isIso && !ReadUserDate(text, &user)) return DISP_E_TYPEMISMATCH;
  const ParsedDate& parsed = isIso ? iso : user;
  if (parsed.time.year < 100 || parsed.time.year > 9999) return DISP_E_OVERFLOW;
  if (!Der::IsValidCalendarTime(parsed.time)) return DISP_E_TYPEMISMATCH;
  *pdateOut = ToDate(parsed);
  return S_OK;
}

INT WINAPI VariantTimeToSystemTime(DATE vtime, LPSYSTEMTIME lpSystemTime) {
  ZT_FAIL_POINT_RESULT(FALSE);
  // The whole days count towards zero; the fraction is the time of day on either side of 0.
  const double wholeDays = std::trunc(vtime);
  if (lpSystemTime == nullptr || !(wholeDays >= kFirstDay && wholeDays <= kLastDay)) return FALSE;
  std::int64_t days = static_cast<std::int64_t>(wholeDays);
  std::int64_t seconds = std::llround(std::fabs(vtime - wholeDays) * kSecondsPerDay);
  if (seconds == kSecondsPerDay) seconds = 0, ++days;
  Der::CalendarTime time;
  // Rounding the last second of 9999-12-31 up leaves the range.
  if (!Der::FromUnixSeconds((days - kDateEpochDays) * kSecondsPerDay + seconds, &time)) return FALSE;
  const std::int64_t daysSince1970 = days - kDateEpochDays;
  lpSystemTime->wYear = static_cast<WORD>(time.year);
  lpSystemTime->wMonth = static_cast<WORD>(time.month);
  lpSystemTime->wDayOfWeek = static_cast<WORD>(((daysSince1970 + 4) % 7 + 7) % 7);  // 1970-01-01: Thursday
  lpSystemTime->wDay = static_cast<WORD>(time.day);
  lpSystemTime->wHour = static_cast<WORD>(time.hour);
  lpSystemTime->wMinute = static_cast<WORD>(time.minute);
  lpSystemTime->wSecond = static_cast<WORD>(time.second);
  lpSystemTime->wMilliseconds = 0;
  return TRUE;
}

}  // extern "C"
