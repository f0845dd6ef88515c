// Date text to DATE to SYSTEMTIME to FILETIME. Known values: the DATE table of the OLE
// automation documentation (day 0 is 1899-12-30; before it the fraction still counts forward
// within the day) and the spreadsheet serial 45292 of 2024-01-01.
#include <gtest/gtest.h>

#include <cstdio>
#include <string>

#include "platform/oleauto.h"
#include "support/sections.h"

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

// Each section of tests/fixtures/certseam/dates.txt: ISO dates and date-times, the user-default
// form, and month names, year-first dates and times alone (on day 0).
TEST(DateText, ReadsIsoUserDefaultAndNamedMonthForms) {
  for (const char* section : {"iso", "user-default", "month-names"})
    for (const zttest::SectionLine& line : zttest::ReadSection("certseam/dates.txt", section)) {
      const std::wstring text(line.value.begin(), line.value.end());
      const Parsed parsed = Parse(text.c_str());
      EXPECT_EQ(parsed.result, S_OK) << line.value;
      EXPECT_DOUBLE_EQ(parsed.date, std::stod(line.key)) << line.value;
    }
  const Parsed padded = Parse(L"  2024-01-01  ");
  EXPECT_EQ(padded.result, S_OK);
  EXPECT_DOUBLE_EQ(padded.date, 45292.0);
}

TEST(DateText, RefusesOtherTextAndImpossibleDates) {
  EXPECT_EQ(Parse(L"").result, DISP_E_TYPEMISMATCH);
  for (const zttest::SectionLine& line : zttest::ReadSection("certseam/dates.txt", "refused")) {
    const std::string text = line.value.empty() ? line.key : line.key + " " + line.value;
    EXPECT_EQ(Parse(std::wstring(text.begin(), text.end()).c_str()).result, DISP_E_TYPEMISMATCH) << text;
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
