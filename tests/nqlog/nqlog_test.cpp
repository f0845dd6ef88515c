#include <nq/nqlog.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "support/log_capture.h"
#include "zt/secure.h"

namespace {

using zttest::LogCapture;

std::wstring Only(const LogCapture& capture) {
  EXPECT_EQ(capture.Lines().size(), 1u);
  return capture.Lines().empty() ? L"" : capture.Lines().back().text;
}

TEST(NqlogFormat, WideFormatTakesWideStringsForPercentS) {
  LogCapture capture;
  const ZT::Framework::WString secure = L"SHA256";
  const std::wstring plain = L"x\u00e9\u4e2d";
  nqlogLog(L"CRYPTO", 0, L"A : sOID=%s, name=%s, raw=%s", secure, plain, L"lit");
  EXPECT_EQ(Only(capture), L"A : sOID=SHA256, name=x\u00e9\u4e2d, raw=lit");
}

TEST(NqlogFormat, NarrowStringsNeedPercentCapitalSOrHs) {
  LogCapture capture;
  nqlogLog(L"CRYPTO", 0, L"%S|%hs|%ls", "utf8 \xc3\xa9", std::string("ab"), L"w");
  EXPECT_EQ(Only(capture), L"utf8 \u00e9|ab|w");
}

TEST(NqlogFormat, NullStringsPrintAsNull) {
  LogCapture capture;
  const wchar_t* none = nullptr;
  nqlogLog(L"CRYPTO", 0, L"[%s]", none);
  EXPECT_EQ(Only(capture), L"[(null)]");
}

TEST(NqlogFormat, IntegersFollowPrintfRulesAtTheirOwnWidth) {
  LogCapture capture;
  const long status = static_cast<int32_t>(0xC000000D);  // an NTSTATUS held in a signed 32-bit value
  const int32_t ntstatus = static_cast<int32_t>(0xC000000D);
  nqlogLog(L"CRYPTO", 1, L"Error 0x%x returned", ntstatus);
  nqlogLog(L"CRYPTO", 1, L"%d %u %i", -5, 7u, static_cast<int64_t>(-9000000000LL));
  nqlogLog(L"CRYPTO", 1, L"%#x %#x %#X %x", 0, 255u, 255u, static_cast<uint64_t>(0x1122334455667788ULL));
  nqlogLog(L"CRYPTO", 1, L"%5d|%-5d|%05d|%+d|%.3d|%o|%#o", 42, 42, -42, 3, 7, 8, 8);
  nqlogLog(L"CRYPTO", 1, L"%u", static_cast<int32_t>(-1));
  nqlogLog(L"CRYPTO", 1, L"%d", static_cast<uint32_t>(0xFFFFFFFF));
  nqlogLog(L"CRYPTO", 1, L"%c%c 100%%", L'o', L'k');
  nqlogLog(L"CRYPTO", 1, L"%ld", status);
  const auto lines = capture.At(1);
  ASSERT_EQ(lines.size(), 8u);
  EXPECT_EQ(lines[0], L"Error 0xc000000d returned");
  EXPECT_EQ(lines[1], L"-5 7 -9000000000");
  EXPECT_EQ(lines[2], L"0 0xff 0XFF 1122334455667788");
  EXPECT_EQ(lines[3], L"   42|42   |-0042|+3|007|10|010");
  EXPECT_EQ(lines[4], L"4294967295");
  EXPECT_EQ(lines[5], L"-1");
  EXPECT_EQ(lines[6], L"ok 100%");
  EXPECT_EQ(lines[7], L"-1073741811");
}

TEST(NqlogFormat, PointerToHashXPrintsInFull) {
  LogCapture capture;
  const void* p = reinterpret_cast<const void*>(static_cast<std::uintptr_t>(0x7ffd12345678abcdULL));
  nqlogLog(L"CRYPTO", 8, L"CCNGMessageDigest::Digest : this=%#x", p);
  nqlogLog(L"CRYPTO", 8, L"%p", p);
  nqlogLog(L"CRYPTO", 8, L"%#x", static_cast<const void*>(nullptr));
  const auto lines = capture.At(8);
  ASSERT_EQ(lines.size(), 3u);
  EXPECT_EQ(lines[0], L"CCNGMessageDigest::Digest : this=0x7ffd12345678abcd");
  EXPECT_EQ(lines[1], L"7FFD12345678ABCD");
  EXPECT_EQ(lines[2], L"0");
}

TEST(NqlogFormat, StringWidthAndPrecision) {
  LogCapture capture;
  nqlogLog(L"CRYPTO", 0, L"[%6s][%-6s][%.2s]", L"ab", L"ab", L"abcdef");
  EXPECT_EQ(Only(capture), L"[    ab][ab    ][ab]");
}

TEST(NqlogSinks, DefaultIsSilentAndNothingIsFormatted) {
  const std::uint64_t before = nqlogFormattedLines();
  int evaluated = 0;
  for (int i = 0; i < 1000; ++i) {
    nqlogLog(L"CRYPTO", 8, L"%s : this=%#x", L"X::Y", &evaluated);
    nqlogLogBin(L"CRYPTO", 0, &evaluated, sizeof evaluated, L"label:");
  }
  EXPECT_EQ(nqlogFormattedLines(), before);

  LogCapture capture;
  nqlogLog(L"CRYPTO", 8, L"%s : this=%#x", L"X::Y", &evaluated);
  EXPECT_EQ(nqlogFormattedLines(), before + 1);
}

TEST(NqlogSinks, ThresholdRanksErrorsFirstAndDataLast) {
  auto levelsPassing = [](int threshold) {
    LogCapture capture(threshold);
    for (int level : {NQLOG_DATA, NQLOG_ERROR, NQLOG_WARNING, NQLOG_ENTRY, NQLOG_EXIT})
      nqlogLog(L"CRYPTO", level, L"line");
    std::wstring seen;
    for (const auto& line : capture.Lines()) seen += std::to_wstring(line.level) + L",";
    return seen;
  };
  EXPECT_EQ(levelsPassing(NQLOG_ERROR), L"1,");
  EXPECT_EQ(levelsPassing(NQLOG_WARNING), L"1,2,");
  EXPECT_EQ(levelsPassing(NQLOG_ENTRY), L"1,2,8,");
  EXPECT_EQ(levelsPassing(NQLOG_EXIT), L"1,2,8,16,");
  EXPECT_EQ(levelsPassing(NQLOG_DATA), L"0,1,2,8,16,");
}

TEST(NqlogSinks, SinkReceivesCategoryAndLevel) {
  LogCapture capture;
  nqlogLog(L"CRYPTO", 2, L"IOIDDecoder::OIDToString : sOID=empty!");
  ASSERT_EQ(capture.Lines().size(), 1u);
  EXPECT_EQ(capture.Lines()[0], (zttest::LogLine{L"CRYPTO", 2, L"IOIDDecoder::OIDToString : sOID=empty!"}));
}

TEST(NqlogSinks, ResetSilencesAgain) {
  { LogCapture capture; }
  const std::uint64_t before = nqlogFormattedLines();
  nqlogLog(L"CRYPTO", 1, L"after reset");
  EXPECT_EQ(nqlogFormattedLines(), before);
}

TEST(NqlogBinary, DumpIsLabelThenHexPairs) {
  LogCapture capture;
  const unsigned char bytes[] = {0x00, 0x7f, 0xa5, 0xff};
  nqlogLogBin(L"CRYPTO", 0, bytes, 4, L"CCNGSignature::GetValue : m_baValue:");
  nqlogLogBin(L"CRYPTO", 0, bytes, 0, L"empty:");
  nqlogLogBin(L"CRYPTO", 0, nullptr, 12, L"null:");
  const auto lines = capture.At(0);
  ASSERT_EQ(lines.size(), 3u);
  EXPECT_EQ(lines[0], L"CCNGSignature::GetValue : m_baValue: 00 7f a5 ff");
  EXPECT_EQ(lines[1], L"empty:");
  EXPECT_EQ(lines[2], L"null:");
}

}  // namespace
