// UTCTime and GeneralizedTime as certificates carry them (see crypto.der.time.h), and calendar
// arithmetic.
#include "codec/crypto.der.time.h"

#include <cstdio>

namespace ZT::Framework::Der {
namespace {

constexpr std::int64_t kSecondsPerDay = 86400;
// Days from 1601-01-01 to 1970-01-01.
constexpr std::int64_t kFileTimeEpochDays = 134774;
constexpr std::uint64_t kTicksPerSecond = 10000000;

bool IsLeapYear(int year) { return (year % 4 == 0 && year % 100 != 0) || year % 400 == 0; }

int DaysInMonth(int year, int month) {
  static constexpr int kDays[12] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  return month == 2 && IsLeapYear(year) ? 29 : kDays[month - 1];
}

// Days since 1970-01-01 of a proleptic Gregorian date. The year is counted from March so that
// the leap day falls at the end; eras of 400 years repeat exactly.
std::int64_t DaysFromCivil(int year, int month, int day) {
  const std::int64_t y = month <= 2 ? year - 1 : year;
  const std::int64_t era = (y >= 0 ? y : y - 399) / 400;
  const std::int64_t yearOfEra = y - era * 400;
  const std::int64_t dayOfYear = (153 * (month > 2 ? month - 3 : month + 9) + 2) / 5 + day - 1;
  const std::int64_t dayOfEra = yearOfEra * 365 + yearOfEra / 4 - yearOfEra / 100 + dayOfYear;
  return era * 146097 + dayOfEra - 719468;
}

// The inverse of DaysFromCivil.
void CivilFromDays(std::int64_t days, CalendarTime* out) {
  days += 719468;
  const std::int64_t era = (days >= 0 ? days : days - 146096) / 146097;
  const std::int64_t dayOfEra = days - era * 146097;
  const std::int64_t yearOfEra = (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / 146096) / 365;
  const std::int64_t dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
  const std::int64_t monthFromMarch = (5 * dayOfYear + 2) / 153;
  out->day = static_cast<int>(dayOfYear - (153 * monthFromMarch + 2) / 5 + 1);
  out->month = static_cast<int>(monthFromMarch < 10 ? monthFromMarch + 3 : monthFromMarch - 9);
  out->year = static_cast<int>(yearOfEra + era * 400 + (out->month <= 2 ? 1 : 0));
}

// A cursor over the characters of a time's contents.
class TimeText {
 public:
  explicit TimeText(std::span<const std::uint8_t> text) : m_text(text) {}

  // `count` decimal digits as a number.
  bool Digits(int count, int* value) {
    if (m_text.size() - m_pos < static_cast<std::size_t>(count)) return false;
    int v = 0;
    for (int i = 0; i < count; ++i) {
      const std::uint8_t c = m_text[m_pos++];
      if (c < '0' || c > '9') return false;
      v = v * 10 + (c - '0');
    }
    *value = v;
    return true;
  }
  bool Accept(char c) {
    if (m_pos >= m_text.size() || m_text[m_pos] != static_cast<std::uint8_t>(c)) return false;
    ++m_pos;
    return true;
  }
  bool AtDigit() const { return m_pos < m_text.size() && m_text[m_pos] >= '0' && m_text[m_pos] <= '9'; }
  // A GeneralizedTime fraction of a second after the '.': one or more digits; those past the
  // ninth are finer than a nanosecond and dropped.
  bool Fraction(std::uint32_t* nanosecond) {
    std::uint32_t value = 0;
    int count = 0;
    for (; AtDigit(); ++m_pos, ++count)
      if (count < 9) value = value * 10 + (m_text[m_pos] - '0');
    if (count == 0) return false;
    for (; count < 9; ++count) value *= 10;
    *nanosecond = value;
    return true;
  }
  // The zone that ends a time: "Z", or the local time's difference from UTC as "+hhmm" or
  // "-hhmm" (local time = UTC + difference), in seconds.
  bool Zone(int* offsetSeconds) {
    if (Accept('Z')) {
      *offsetSeconds = 0;
      return true;
    }
    const int sign = Accept('+') ? 1 : Accept('-') ? -1 : 0;
    int hours, minutes;
    if (sign == 0 || !Digits(2, &hours) || !Digits(2, &minutes) || hours > 23 || minutes > 59) return false;
    *offsetSeconds = sign * (hours * 3600 + minutes * 60);
    return true;
  }
  bool AtEnd() const { return m_pos == m_text.size(); }

 private:
  std::span<const std::uint8_t> m_text;
  std::size_t m_pos = 0;
};

// "MMDDhhmm[ss]", the part both forms share after the year; the seconds may be left out (they
// are 0 then), and `*withSeconds` says whether they were there.
bool ReadMonthToSecond(TimeText* text, CalendarTime* t, bool* withSeconds) {
  if (!text->Digits(2, &t->month) || !text->Digits(2, &t->day) || !text->Digits(2, &t->hour) ||
      !text->Digits(2, &t->minute))
    return false;
  *withSeconds = text->AtDigit();
  return !*withSeconds || text->Digits(2, &t->second);
}

// The UTC time of local time `t` in a zone `offsetSeconds` ahead of UTC; fails on an invalid
// local time or a UTC time outside years 0..9999.
bool ToUtc(CalendarTime t, int offsetSeconds, CalendarTime* out) {
  if (!IsValidCalendarTime(t)) return false;
  if (offsetSeconds != 0) {
    const std::uint32_t nanosecond = t.nanosecond;
    if (!FromUnixSeconds(ToUnixSeconds(t) - offsetSeconds, &t)) return false;
    t.nanosecond = nanosecond;
  }
  *out = t;
  return true;
}

void AppendText(const char* text, int length, ByteArray* out) { out->insert(out->end(), text, text + length); }

}  // namespace

bool IsValidCalendarTime(const CalendarTime& t) {
  return t.year >= 0 && t.year <= 9999 && t.month >= 1 && t.month <= 12 && t.day >= 1 &&
         t.day <= DaysInMonth(t.year, t.month) && t.hour >= 0 && t.hour <= 23 && t.minute >= 0 &&
         t.minute <= 59 && t.second >= 0 && t.second <= 59 && t.nanosecond < 1000000000;
}

bool DecodeUtcTime(std::span<const std::uint8_t> contents, CalendarTime* out) {
  TimeText text(contents);
  CalendarTime t;
  int yy, offset;
  bool withSeconds;
  if (!text.Digits(2, &yy) || !ReadMonthToSecond(&text, &t, &withSeconds) || !text.Zone(&offset) || !text.AtEnd())
    return false;
  t.year = yy < 50 ? 2000 + yy : 1900 + yy;
  return ToUtc(t, offset, out);
}

bool DecodeGeneralizedTime(std::span<const std::uint8_t> contents, CalendarTime* out) {
  TimeText text(contents);
  CalendarTime t;
  int offset;
  bool withSeconds;
  if (!text.Digits(4, &t.year) || !ReadMonthToSecond(&text, &t, &withSeconds)) return false;
  if (withSeconds && text.Accept('.') && !text.Fraction(&t.nanosecond)) return false;
  if (!text.Zone(&offset) || !text.AtEnd()) return false;
  return ToUtc(t, offset, out);
}

bool EncodeUtcTime(const CalendarTime& t, ByteArray* out) {
  if (!IsValidCalendarTime(t) || t.year < 1950 || t.year > 2049 || t.nanosecond != 0) return false;
  char text[64];
  const int length = std::snprintf(text, sizeof text, "%02d%02d%02d%02d%02d%02dZ", t.year % 100, t.month, t.day,
                                   t.hour, t.minute, t.second);
  AppendText(text, length, out);
  return true;
}

bool EncodeGeneralizedTime(const CalendarTime& t, ByteArray* out) {
  if (!IsValidCalendarTime(t)) return false;
  char text[64];
  int length = std::snprintf(text, sizeof text, "%04d%02d%02d%02d%02d%02d", t.year, t.month, t.day, t.hour,
                             t.minute, t.second);
  if (t.nanosecond != 0) {
    length += std::snprintf(text + length, sizeof text - length, ".%09u", static_cast<unsigned>(t.nanosecond));
    while (text[length - 1] == '0') --length;  // DER: no trailing zeros in the fraction
  }
  text[length++] = 'Z';
  AppendText(text, length, out);
  return true;
}

std::int64_t ToUnixSeconds(const CalendarTime& t) {
  return DaysFromCivil(t.year, t.month, t.day) * kSecondsPerDay + t.hour * 3600 + t.minute * 60 + t.second;
}

bool FromUnixSeconds(std::int64_t seconds, CalendarTime* out) {
  // Years 0..9999 span these seconds; checking first keeps the arithmetic in range.
  const std::int64_t lowest = DaysFromCivil(0, 1, 1) * kSecondsPerDay;
  const std::int64_t highest = DaysFromCivil(10000, 1, 1) * kSecondsPerDay - 1;
  if (seconds < lowest || seconds > highest) return false;
  std::int64_t days = seconds / kSecondsPerDay;
  std::int64_t rest = seconds % kSecondsPerDay;
  if (rest < 0) {
    rest += kSecondsPerDay;
    --days;
  }
  CalendarTime t;
  CivilFromDays(days, &t);
  t.hour = static_cast<int>(rest / 3600);
  t.minute = static_cast<int>(rest / 60 % 60);
  t.second = static_cast<int>(rest % 60);
  *out = t;
  return true;
}

std::int64_t SignedFileTimeTicks(const CalendarTime& t) {
  const std::int64_t seconds = ToUnixSeconds(t) + kFileTimeEpochDays * kSecondsPerDay;
  return seconds * static_cast<std::int64_t>(kTicksPerSecond) + t.nanosecond / 100;
}

bool ToFileTimeTicks(const CalendarTime& t, std::uint64_t* ticks) {
  if (!IsValidCalendarTime(t) || t.year < 1601) return false;
  *ticks = static_cast<std::uint64_t>(SignedFileTimeTicks(t));
  return true;
}

bool FromFileTimeTicks(std::uint64_t ticks, CalendarTime* out) {
  const std::int64_t seconds = static_cast<std::int64_t>(ticks / kTicksPerSecond);
  CalendarTime t;
  if (!FromUnixSeconds(seconds - kFileTimeEpochDays * kSecondsPerDay, &t)) return false;
  t.nanosecond = static_cast<std::uint32_t>(ticks % kTicksPerSecond) * 100;
  *out = t;
  return true;
}

}  // namespace ZT::Framework::Der
