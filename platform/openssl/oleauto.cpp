// System times and OLE automation dates: the current time, SYSTEMTIME to FILETIME, date text to
// DATE (the forms platform/oleauto.h lists) and DATE to SYSTEMTIME. The calendar arithmetic is
// the DER time code's (proleptic Gregorian, UTC, no leap seconds).

#include "platform/oleauto.h"

#include <cmath>
#include <ctime>
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
  // A letter pair such as "AM", in any case.
  bool TakeWord(const wchar_t* word) {
    std::size_t i = 0;
    for (; word[i] != L'\0'; ++i)
      if (static_cast<wchar_t>(std::towupper(m_p[i])) != word[i]) return false;
    m_p += i;
    return true;
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

// The hour of a 12-hour clock with its AM or PM; false for an hour outside 1..12.
bool ApplyMeridiem(DateText& text, int* hour) {
  const bool am = text.TakeWord(L"AM");
  const bool pm = !am && text.TakeWord(L"PM");
  if (!am && !pm) return true;
  if (*hour < 1 || *hour > 12) return false;
  *hour = *hour % 12 + (pm ? 12 : 0);
  return true;
}

// M/D/YYYY or M/D/YY [h:mm[:ss]] [AM|PM]
bool ReadUserDate(DateText text, ParsedDate* out) {
  int yearDigits = 0;
  if (!text.Number(1, 2, &out->time.month) || !text.Take(L'/') || !text.Number(1, 2, &out->time.day) ||
      !text.Take(L'/') || !text.Number(2, 4, &out->time.year, &yearDigits) || yearDigits == 3)
    return false;
  if (yearDigits == 2) out->time.year += out->time.year < 30 ? 2000 : 1900;
  text.SkipBlanks();
  if (!text.AtEnd()) {
    if (!ReadTime(text, false, out)) return false;
    text.SkipBlanks();
    if (!ApplyMeridiem(text, &out->time.hour)) return false;
    text.SkipBlanks();
  }
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
