// The times of certificates: UTCTime and GeneralizedTime contents (read in the forms certificates
// carry, written in DER), a plain calendar time, and its conversions to seconds since 1970 and to
// FILETIME ticks.
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

// UTCTime contents YYMMDDhhmm[ss](Z|+hhmm|-hhmm): DER writes only "YYMMDDhhmmssZ", but the
// earlier profiles of X.509 (RFC 2459, RFC 3280) allowed the seconds to be left out and a
// difference from UTC, certificates issued under them are still in use, and OpenSSL reads them:
// they are read leniently, and a difference is applied so that the result is UTC. Years 50..99
// mean 1950..1999 and 00..49 mean 2000..2049 (the X.509 window). Fails on any other form, an
// invalid date, a difference beyond 23:59, or a UTC time outside years 0..9999.
bool DecodeUtcTime(std::span<const std::uint8_t> contents, CalendarTime* out);
// GeneralizedTime contents YYYYMMDDhhmm[ss[.f...]](Z|+hhmm|-hhmm), read as leniently as UTCTime
// for the same reason (DER writes "YYYYMMDDhhmmss[.f...]Z" without trailing zeros in the
// fraction): a fraction follows seconds only, has at least one digit, may end in zeros, and
// digits finer than a nanosecond are dropped. The local forms without a zone are refused: they
// name no instant.
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
// The same count as a signed number, negative before 1601, for a valid time (any year 0..9999).
std::int64_t SignedFileTimeTicks(const CalendarTime& time);
bool FromFileTimeTicks(std::uint64_t ticks, CalendarTime* out);

}  // namespace ZT::Framework::Der
