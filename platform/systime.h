// System times (kernel32): FILETIME and SYSTEMTIME, the current time, and the conversion between
// the two, as the certificate checks use them. On Windows they come from <windows.h>.
#pragma once

#include "platform/wintypes.h"

#if defined(_WIN32)

#include <windows.h>

ZT_SEAM_WRAPPER(BOOL, SystemTimeToFileTime, (const SYSTEMTIME* lpSystemTime, LPFILETIME lpFileTime))
#define SystemTimeToFileTime ZT_Seam_SystemTimeToFileTime

#else

// 100-nanosecond intervals since 1601-01-01 00:00:00 UTC, in two 32-bit halves.
typedef struct _FILETIME {
  DWORD dwLowDateTime;
  DWORD dwHighDateTime;
} FILETIME, *PFILETIME, *LPFILETIME;

// A calendar date and time; wDayOfWeek 0 is Sunday.
typedef struct _SYSTEMTIME {
  WORD wYear;
  WORD wMonth;
  WORD wDayOfWeek;
  WORD wDay;
  WORD wHour;
  WORD wMinute;
  WORD wSecond;
  WORD wMilliseconds;
} SYSTEMTIME, *PSYSTEMTIME, *LPSYSTEMTIME;

extern "C" {

// The current time (UTC) as a FILETIME.
void WINAPI GetSystemTimeAsFileTime(LPFILETIME lpSystemTimeAsFileTime);

// The FILETIME of a SYSTEMTIME. wDayOfWeek is ignored. Fails (FALSE, ERROR_INVALID_PARAMETER)
// for a field out of range: year 1601..30827, month 1..12, the day within its month, hour 0..23,
// minute and second 0..59, milliseconds 0..999; null pointers likewise.
BOOL WINAPI SystemTimeToFileTime(const SYSTEMTIME* lpSystemTime, LPFILETIME lpFileTime);

}  // extern "C"

#endif  // _WIN32
