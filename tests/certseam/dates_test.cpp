// Date text to DATE to SYSTEMTIME to FILETIME. Known values: the DATE table of the OLE
// automation documentation (day 0 is 1899-12-30; before it the fraction still counts forward
// within the day) and the spreadsheet serial 45292 of 2024-01-01.
#include <gtest/gtest.h>

#include <cstdio>
#include <initializer_list>
#include <string>

#include "platform/oleauto.h"

namespace {

struct Parsed {
  HRESULT result;
  DATE date;
};

Parsed Parse(const wchar_t* text) {
  DATE date = -99999;
  const HRESULT result = VarDateFromStr(text, LOCALE_USER_DEFAULT, 0, &date);
  return {result, date};
}

struct DateCase {
  const wchar_t* text;
  DATE date;
};

void ExpectDates(std::initializer_list<DateCase> cases) {
  for (const DateCase& c : cases) {
    const Parsed parsed = Parse(c.text);
    EXPECT_EQ(parsed.result, S_OK) << c.text;
    EXPECT_DOUBLE_EQ(parsed.date, c.date) << c.text;
  }
}

TEST(DateText, ReadsIsoDatesAndDateTimes) {
  ExpectDates({
      {L"2024-01-01", 45292.0},
      {L"  2024-01-01  ", 45292.0},
      {L"2024-01-01T12:00:00", 45292.5},
      {L"2024-01-01 12:00", 45292.5},
      {L"2024-01-01T12:00:00Z", 45292.5},
      {L"2024-01-01T06:00:00.5", 45292.25 + 0.5 / 86400},
      {L"1899-12-30", 0.0},
      {L"1900-01-04T21:00:00", 5.875},
      {L"1899-12-18T06:00:00", -12.25},
      {L"1899-12-18 18:00", -12.75},
  });
}

TEST(DateText, ReadsTheUserDefaultForm) {
  ExpectDates({
      {L"01/01/2024", 45292.0},
      {L"1/1/2024", 45292.0},
      {L"1/1/24", 45292.0},
      {L"01/01/2024 12:00:00", 45292.5},
      {L"1/1/2024 6:00 AM", 45292.25},
      {L"1/1/2024 12:00 AM", 45292.0},
      {L"1/1/2024 12:00 pm", 45292.5},
      {L"1/1/2024 9:00:00 PM", 45292.875},
      {L"12/18/1899 6:00 AM", -12.25},
      {L"1/4/1900 21:00", 5.875},
      {L"12/30/99", 36524.0},  // 1999: two-digit years from 30 on are 19xx
  });
}

TEST(DateText, ReadsMonthNamesYearFirstDatesAndTimesAlone) {
  ExpectDates({
      {L"Jan 2, 2024", 45293.0},
      {L"2 January 2024", 45293.0},
      {L"January 2 2024", 45293.0},
      {L"2-Jan-2024", 45293.0},
      {L"tuesday, jan 2, 24", 45293.0},
      {L"2024/01/02", 45293.0},
      {L"2024.1.2", 45293.0},
      {L"1-2-2024", 45293.0},
      {L"1.2.24 6:00 PM", 45293.75},
      {L"2024/01/02 18:00", 45293.75},
      {L"10:30 1/2/2024", 45293.4375},
      {L"Jan 2, 2024 10:30 am", 45293.4375},
      // A time alone is on day 0, 1899-12-30.
      {L"10:30", 0.4375},
      {L"10:30:15 PM", 81015.0 / 86400},
      {L"6 PM", 0.75},
  });
}

TEST(DateText, RefusesOtherTextAndImpossibleDates) {
  for (const wchar_t* text :
       {L"", L"tomorrow", L"2024-13-01", L"2023-02-29", L"02/30/2024", L"13/01/2024", L"2024-01-01T24:00",
        L"2024-01-01T10:60", L"2024-01-01T10:00+01:00", L"2024-01-01 x", L"1/1/2024 13:00 PM", L"1/1/2024 0:00 AM",
        L"1/1/202", L"10000-01-01", L"Janu 2, 2024", L"Jan 2", L"2 Jan", L"Jan 32, 2024", L"1/2-2024", L"10",
        L"10:30 PM PM", L"2024/1/2/3", L"Monday"}) {
    EXPECT_EQ(Parse(text).result, DISP_E_TYPEMISMATCH) << text;
  }
  EXPECT_EQ(Parse(L"0099-12-31").result, DISP_E_OVERFLOW);
  EXPECT_EQ(Parse(L"2024-02-29").result, S_OK);
  DATE date = 0;
  EXPECT_EQ(VarDateFromStr(L"2024-01-01", 0x0409, 0, &date), E_INVALIDARG);
  EXPECT_EQ(VarDateFromStr(L"2024-01-01", LOCALE_USER_DEFAULT, 1, &date), E_INVALIDARG);
  EXPECT_EQ(VarDateFromStr(nullptr, LOCALE_USER_DEFAULT, 0, &date), E_INVALIDARG);
}

// "YYYY-MM-DD HH:MM:SS d" (d the day of the week) of a DATE; "-" when it has none.
std::string Text(DATE date) {
  SYSTEMTIME st{};
  if (!VariantTimeToSystemTime(date, &st)) return "-";
  char text[64];
  std::snprintf(text, sizeof text, "%04u-%02u-%02u %02u:%02u:%02u %u", st.wYear, st.wMonth, st.wDay, st.wHour,
                st.wMinute, st.wSecond, st.wDayOfWeek);
  return text;
}

TEST(DateText, DateToSystemTimeRoundsToTheSecond) {
  EXPECT_EQ(Text(45292.5 + 0.4 / 86400), "2024-01-01 12:00:00 1");  // a Monday
  EXPECT_EQ(Text(45292.5 + 0.6 / 86400), "2024-01-01 12:00:01 1");
  // The last half second of a day rounds into the next one.
  EXPECT_EQ(Text(45292.0 + 86399.6 / 86400), "2024-01-02 00:00:00 2");
  EXPECT_EQ(Text(-12.75), "1899-12-18 18:00:00 1");
  EXPECT_EQ(Text(-657434.0), "0100-01-01 00:00:00 5");
  EXPECT_EQ(Text(2958465.0), "9999-12-31 00:00:00 5");
  for (DATE outside : {-657435.0, 2958466.0, 2958465.0 + 86399.9 / 86400}) EXPECT_EQ(Text(outside), "-") << outside;
}

TEST(DateText, SystemTimeToFileTime) {
  FILETIME ft{};
  SYSTEMTIME st{1970, 1, 0, 1, 0, 0, 0, 0};
  ASSERT_TRUE(SystemTimeToFileTime(&st, &ft));
  EXPECT_EQ(static_cast<std::uint64_t>(ft.dwHighDateTime) << 32 | ft.dwLowDateTime, 116444736000000000ull);
  st = {1601, 1, 0, 1, 0, 0, 0, 1};
  ASSERT_TRUE(SystemTimeToFileTime(&st, &ft));
  EXPECT_EQ(ft.dwLowDateTime, 10000u);
  EXPECT_EQ(ft.dwHighDateTime, 0u);
  for (SYSTEMTIME bad : {SYSTEMTIME{1600, 12, 0, 31, 0, 0, 0, 0}, SYSTEMTIME{2024, 2, 0, 30, 0, 0, 0, 0},
                         SYSTEMTIME{2024, 1, 0, 1, 24, 0, 0, 0}, SYSTEMTIME{2024, 1, 0, 1, 0, 0, 0, 1000}}) {
    SetLastError(0);
    EXPECT_FALSE(SystemTimeToFileTime(&bad, &ft));
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_PARAMETER));
  }
}

}  // namespace
