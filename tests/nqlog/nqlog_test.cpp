#include <nq/nqlog.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "support/log_capture.h"
#include "zt/secure.h"

namespace {

using zttest::LogCapture;
using Lines = std::vector<std::wstring>;

// In a wide format %s takes a wide string of any kind; narrow strings need %S or %hs.
TEST(NqlogFormat, StringConversions) {
  LogCapture capture;
  const ZT::Framework::WString secure = L"SHA256";
  const std::wstring plain = L"x\u00e9\u4e2d";
  const wchar_t* none = nullptr;
  nqlogLog(L"CRYPTO", 0, L"A : sOID=%s, name=%s, raw=%s", secure, plain, L"lit");
  nqlogLog(L"CRYPTO", 0, L"%S|%hs|%ls", "utf8 \xc3\xa9", std::string("ab"), L"w");
  nqlogLog(L"CRYPTO", 0, L"[%s]", none);
  nqlogLog(L"CRYPTO", 0, L"[%6s][%-6s][%.2s]", L"ab", L"ab", L"abcdef");
  EXPECT_EQ(capture.At(0), (Lines{L"A : sOID=SHA256, name=x\u00e9\u4e2d, raw=lit", L"utf8 \u00e9|ab|w", L"[(null)]",
                                  L"[    ab][ab    ][ab]"}));
}

TEST(NqlogFormat, IntegersFollowPrintfRulesAtTheirOwnWidth) {
  LogCapture capture;
  const long status = static_cast<int32_t>(0xC000000D);  // an NTSTATUS held in a signed 32-bit value
  nqlogLog(L"CRYPTO", 1, L"Error 0x%x returned", static_cast<int32_t>(0xC000000D));
  nqlogLog(L"CRYPTO", 1, L"%d %u %i", -5, 7u, static_cast<int64_t>(-9000000000LL));
  nqlogLog(L"CRYPTO", 1, L"%#x %#x %#X %x", 0, 255u, 255u, static_cast<uint64_t>(0x1122334455667788ULL));
  nqlogLog(L"CRYPTO", 1, L"%5d|%-5d|%05d|%+d|%.3d|%o|%#o", 42, 42, -42, 3, 7, 8, 8);
  nqlogLog(L"CRYPTO", 1, L"%u", static_cast<int32_t>(-1));
  nqlogLog(L"CRYPTO", 1, L"%d", static_cast<uint32_t>(0xFFFFFFFF));
  nqlogLog(L"CRYPTO", 1, L"%c%c 100%%", L'o', L'k');
  nqlogLog(L"CRYPTO", 1, L"%ld", status);
  EXPECT_EQ(capture.At(1), (Lines{L"Error 0xc000000d returned", L"-5 7 -9000000000", L"0 0xff 0XFF 1122334455667788",
                                  L"   42|42   |-0042|+3|007|10|010", L"4294967295", L"-1", L"ok 100%", L"-1073741811"}));
}

TEST(NqlogFormat, PointerToHashXPrintsInFull) {
  LogCapture capture;
  const void* p = reinterpret_cast<const void*>(static_cast<std::uintptr_t>(0x7ffd12345678abcdULL));
  nqlogLog(L"CRYPTO", 8, L"CCNGMessageDigest::Digest : this=%#x", p);
  nqlogLog(L"CRYPTO", 8, L"%p", p);
  nqlogLog(L"CRYPTO", 8, L"%#x", static_cast<const void*>(nullptr));
  EXPECT_EQ(capture.At(8), (Lines{L"CCNGMessageDigest::Digest : this=0x7ffd12345678abcd", L"7FFD12345678ABCD", L"0"}));
}

// Without a sink nothing is formatted, and resetting the sink silences again.
TEST(NqlogSinks, DefaultIsSilentAndNothingIsFormatted) {
  const std::uint64_t before = nqlogFormattedLines();
  int evaluated = 0;
  for (int i = 0; i < 1000; ++i) {
    nqlogLog(L"CRYPTO", 8, L"%s : this=%#x", L"X::Y", &evaluated);
    nqlogLogBin(L"CRYPTO", 0, &evaluated, sizeof evaluated, L"label:");
  }
  EXPECT_EQ(nqlogFormattedLines(), before);
  {
    LogCapture capture;
    nqlogLog(L"CRYPTO", 8, L"%s : this=%#x", L"X::Y", &evaluated);
    EXPECT_EQ(nqlogFormattedLines(), before + 1);
  }
  nqlogLog(L"CRYPTO", 1, L"after reset");
  EXPECT_EQ(nqlogFormattedLines(), before + 1);
}

TEST(NqlogSinks, ThresholdRanksErrorsFirstAndDataLastAndSinkGetsCategory) {
  auto levelsPassing = [](int threshold) {
    LogCapture capture(threshold);
    for (int level : {NQLOG_DATA, NQLOG_ERROR, NQLOG_WARNING, NQLOG_ENTRY, NQLOG_EXIT}) nqlogLog(L"CRYPTO", level, L"line");
    std::wstring seen;
    for (const auto& line : capture.Lines()) seen += std::to_wstring(line.level) + L",";
    return seen;
  };
  EXPECT_EQ(levelsPassing(NQLOG_ERROR), L"1,");
  EXPECT_EQ(levelsPassing(NQLOG_WARNING), L"1,2,");
  EXPECT_EQ(levelsPassing(NQLOG_ENTRY), L"1,2,8,");
  EXPECT_EQ(levelsPassing(NQLOG_EXIT), L"1,2,8,16,");
  EXPECT_EQ(levelsPassing(NQLOG_DATA), L"0,1,2,8,16,");

  LogCapture capture;
  nqlogLog(L"CRYPTO", 2, L"IOIDDecoder::OIDToString : sOID=empty!");
  EXPECT_EQ(capture.Lines(), (std::vector<zttest::LogLine>{{L"CRYPTO", 2, L"IOIDDecoder::OIDToString : sOID=empty!"}}));
}

TEST(NqlogBinary, DumpIsLabelThenHexPairs) {
  LogCapture capture;
  const unsigned char bytes[] = {0x00, 0x7f, 0xa5, 0xff};
  nqlogLogBin(L"CRYPTO", 0, bytes, 4, L"CCNGSignature::GetValue : m_baValue:");
  nqlogLogBin(L"CRYPTO", 0, bytes, 0, L"empty:");
  nqlogLogBin(L"CRYPTO", 0, nullptr, 12, L"null:");
  EXPECT_EQ(capture.At(0), (Lines{L"CCNGSignature::GetValue : m_baValue: 00 7f a5 ff", L"empty:", L"null:"}));
}

}  // namespace
