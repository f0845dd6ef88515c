// The times of certificates: UTCTime and GeneralizedTime contents in their DER form, a plain
// calendar time, and its conversions to seconds since 1970 and to FILETIME ticks.
#pragma once

#include <cstdint>
#include <span>

#include "zt/secure.h"

namespace ZT::Framework::Der {

// A UTC time in the proleptic Gregorian calendar. A valid value has month 1..12, day within
// its month, hour 0..23, minute and second 0..59 (DER times have no leap second) and
// nanosecond below 10^9.
struct CalendarTime {
  int year = 1970;  // 0..9999
  int month = 1;
  int day = 1;
  int hour = 0;
  int minute = 0;
  int second = 0;
  std::uint32_t nanosecond = 0;

  constexpr bool operator==(const CalendarTime&) const = default;
};

// True when every field is in range (see CalendarTime), the year included.
bool IsValidCalendarTime(const CalendarTime& time);

// UTCTime contents "YYMMDDHHMMSSZ": seconds present, "Z" only, years 50..99 mean 1950..1999
// and 00..49 mean 2000..2049 (the X.509 window). Fails on any other form or an invalid date.
bool DecodeUtcTime(std::span<const std::uint8_t> contents, CalendarTime* out);
// GeneralizedTime contents "YYYYMMDDHHMMSS[.f...]Z": seconds present, "Z" only, a fraction
// written with "." and without trailing zeros (so never "." alone). Fractions finer than a
// nanosecond are refused: nothing here can keep them.
bool DecodeGeneralizedTime(std::span<const std::uint8_t> contents, CalendarTime* out);
// The DER contents of `time` as UTCTime (fails outside 1950..2049 or with a fraction) or
// GeneralizedTime (the fraction minimal); appended to `*out`. Fail on an invalid time.
bool EncodeUtcTime(const CalendarTime& time, ByteArray* out);
bool EncodeGeneralizedTime(const CalendarTime& time, ByteArray* out);

// Seconds since 1970-01-01T00:00:00Z (negative before), the fraction dropped.
std::int64_t ToUnixSeconds(const CalendarTime& time);
// The calendar time of `seconds` since 1970; fails outside years 0..9999.
bool FromUnixSeconds(std::int64_t seconds, CalendarTime* out);
// FILETIME: 100-nanosecond ticks since 1601-01-01T00:00:00Z, the fraction truncated to ticks;
// fails before 1601 (a FILETIME cannot hold it).
bool ToFileTimeTicks(const CalendarTime& time, std::uint64_t* ticks);
bool FromFileTimeTicks(std::uint64_t ticks, CalendarTime* out);

}  // namespace ZT::Framework::Der
