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
// LOCALE_SYSTEM_DEFAULT alike) writes it; dwFlags must be 0. Accepted, with blanks allowed
// before and after:
//   ISO 8601    YYYY-MM-DD, YYYY-MM-DDThh:mm[:ss[.fff]] (or a blank for the "T"), optionally
//               ending in "Z"; no other zone designator
//   user form   M/D/YYYY or M/D/YY [h:mm[:ss]] [AM|PM]; a two-digit year YY means 20YY below
//               30 and 19YY from 30 on
// Months and days may be written with one digit in the user form; the time of day defaults to
// 00:00:00. Text that is none of these (a month name, a time alone, an impossible date such as
// 02/30/2024, 24:00): DISP_E_TYPEMISMATCH; a year outside 100..9999: DISP_E_OVERFLOW; another
// locale or flag, or a null pointer: E_INVALIDARG.
HRESULT WINAPI VarDateFromStr(LPCOLESTR strIn, LCID lcid, ULONG dwFlags, DATE* pdateOut);

// The SYSTEMTIME of a DATE, rounded to the nearest second (milliseconds 0), with its day of the
// week. Returns FALSE for a DATE outside 100-01-01..9999-12-31 or a null pointer.
INT WINAPI VariantTimeToSystemTime(DATE vtime, LPSYSTEMTIME lpSystemTime);

}  // extern "C"

#endif  // _WIN32
