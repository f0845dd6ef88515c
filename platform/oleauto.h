// OLE automation dates (oleaut32): a date text read into a DATE, and a DATE as a SYSTEMTIME, as
// the certificate's validity check at a given date uses them. On Windows they come from
// <oleauto.h>.
//
// A DATE counts days since 1899-12-30 00:00 (its fraction is the time of day); the dates it may
// hold run from 100-01-01 to 9999-12-31. It carries no time zone: the text's time is taken as it
// stands.
#pragma once

#include "platform/systime.h"
#include "platform/wintypes.h"

#if defined(_WIN32)

#include <oleauto.h>

ZT_SEAM_WRAPPER(HRESULT, VarDateFromStr, (LPCOLESTR strIn, LCID lcid, ULONG dwFlags, DATE* pdateOut))
ZT_SEAM_WRAPPER(INT, VariantTimeToSystemTime, (DATE vtime, LPSYSTEMTIME lpSystemTime))
#define VarDateFromStr ZT_Seam_VarDateFromStr
#define VariantTimeToSystemTime ZT_Seam_VariantTimeToSystemTime

#else

typedef double DATE;
typedef DWORD LCID;
typedef WCHAR OLECHAR;
typedef OLECHAR* LPOLESTR;
typedef const OLECHAR* LPCOLESTR;

#define LOCALE_USER_DEFAULT 0x0400
#define LOCALE_SYSTEM_DEFAULT 0x0800

#define DISP_E_TYPEMISMATCH ((HRESULT)0x80020005L)
#define DISP_E_OVERFLOW ((HRESULT)0x8002000AL)

extern "C" {

// Reads `strIn` as a date, as the user-default locale (en-US here, for LOCALE_USER_DEFAULT and
// LOCALE_SYSTEM_DEFAULT alike) writes and reads it; dwFlags must be 0. Accepted, with blanks
// allowed before and after:
//   ISO 8601    YYYY-MM-DD, YYYY-MM-DDThh:mm[:ss[.fff]] (or a blank for the "T"), optionally
//               ending in "Z"; no other zone designator
//   numeric     M/D/YYYY or M/D/YY (month first), or YYYY/M/D (year first, four digits); "-" or
//               "." may stand for both "/" ("1-2-2024", "2024.01.02")
//   month name  "Jan 2, 2024", "January 2 2024", "2 January 2024", "2-Jan-2024": a month's name
//               in full or its first three letters, in any case, with the day before or after
//               it, then the year; blanks and one of "," "-" "/" "." may separate the parts
//   time        h:mm[:ss] [AM|PM] or h AM|PM, after the date or before it ("10:30 1/2/2024");
//               a time alone ("10:30", "10:30:15 PM") is on day 0 of a DATE, 1899-12-30
// A weekday's name (in full or its first three letters, an optional "," after it) may come
// first; it is read and not checked. A year of two digits YY means 20YY below 30 and 19YY from
// 30 on; months and days may have one digit; the time of day defaults to 00:00:00. Not read: a
// date without its year, zone designators other than "Z", era and ordinal words. Text that is
// none of these, an impossible date such as 02/30/2024 or a time such as 24:00:
// DISP_E_TYPEMISMATCH; a year outside 100..9999: DISP_E_OVERFLOW; another locale or flag, or a
// null pointer: E_INVALIDARG.
HRESULT WINAPI VarDateFromStr(LPCOLESTR strIn, LCID lcid, ULONG dwFlags, DATE* pdateOut);

// The SYSTEMTIME of a DATE, rounded to the nearest second (milliseconds 0), with its day of the
// week. Returns FALSE for a DATE outside 100-01-01..9999-12-31 or a null pointer.
INT WINAPI VariantTimeToSystemTime(DATE vtime, LPSYSTEMTIME lpSystemTime);

}  // extern "C"

#endif  // _WIN32
