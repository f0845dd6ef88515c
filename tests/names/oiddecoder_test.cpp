// DecodeOID's layouts over values made by the openssl tool (tests/fixtures/names/make.sh) or,
// where a value has no other source, written here byte by byte.
#include <gtest/gtest.h>

#include <fstream>
#include <initializer_list>
#include <string>
#include <vector>

#include "names_test_util.h"
#include "support/log_capture.h"

namespace {

using namespace ZT::Framework;
using namespace names_test;
using zttest::LogCapture;

// An extension's text: its lines joined by CR LF, closed by an empty line.
WString Extension(std::initializer_list<std::wstring> lines) {
  WString text;
  for (const std::wstring& line : lines) text += WString(line.c_str()) + L"\r\n";
  return text + L"\r\n";
}

WString Decode(const wchar_t* oid, const char* hex) { return IOIDDecoder::DecodeOID(oid, Hex(hex)); }

// Every row both ways: OIDTable (oid_table_test.cpp, from tests/fixtures/names/oids.tsv).
TEST(OIDToString, WhatIsNotAWholeEntryComesBackUnchangedAndIsTraced) {
  // Never a prefix match; names are compared case-sensitively.
  for (const wchar_t* other : {L"2.5.29.37", L"1.3.6.1.5.5.7.3.3.1", L""})
    EXPECT_EQ(IOIDDecoder::OIDToString(other), other);
  for (const wchar_t* other : {L"code signing", L"Code Signing ", L""})
    EXPECT_EQ(IOIDDecoder::StringToOID(other), other);

  const LogCapture log;
  IOIDDecoder::OIDToString(L"1.2.3");
  IOIDDecoder::OIDToString(L"");
  IOIDDecoder::StringToOID(L"CPS");
  EXPECT_EQ(log.Trace(), (std::vector<std::wstring>{
                             L"8|IOIDDecoder::OIDToString",
                             L"0|IOIDDecoder::OIDToString : sOID=1.2.3",
                             L"2|IOIDDecoder::OIDToString OID not found: 1.2.3",
                             L"16|IOIDDecoder::OIDToString : ret=(1.2.3)",
                             L"16|IOIDDecoder::OIDToString",
                             L"8|IOIDDecoder::OIDToString",
                             L"2|IOIDDecoder::OIDToString : sOID=empty!",
                             L"16|IOIDDecoder::OIDToString",
                             L"8|IOIDDecoder::StringToOID",
                             L"0|IOIDDecoder::StringToOID : sString=CPS",
                             L"16|IOIDDecoder::StringToOID : ret=(1.3.6.1.5.5.7.2.1)",
                             L"16|IOIDDecoder::StringToOID",
                         }));
}

struct Layout {
  std::wstring oid;
  std::string hex;
  WString text;
};

// The layouts of the rendering table with the text each must give (tests/fixtures/names/layouts.txt).
std::vector<Layout> ReadLayouts() {
  std::vector<Layout> layouts;
  std::ifstream in(zttest::FixturePath("names/layouts.txt"));
  EXPECT_TRUE(in) << "missing names/layouts.txt";
  for (std::string line; std::getline(in, line);) {
    if (!line.empty() && line.back() == '\r') line.pop_back();
    if (line.empty() || line[0] == '#') continue;
    if (line[0] == '|' && !layouts.empty()) {
      layouts.back().text += WString(line.begin() + 1, line.end() - 1) + L"\r\n";  // ASCII only
      continue;
    }
    const std::size_t blank = line.find(' ');
    layouts.push_back({std::wstring(line.begin(), line.begin() + blank), line.substr(blank + 1), L""});
  }
  for (Layout& l : layouts) l.text += L"\r\n";
  return layouts;
}

TEST(DecodeOID, EveryLayoutOfTheTableAndDirectoryAttributesAloneWithoutHeader) {
  EXPECT_EQ(Decode(L"2.5.4.3", "0c0d4ac3bc7267656e2047726fc39f"), L"J\u00fcrgen Gro\u00df");
  EXPECT_EQ(Decode(L"2.5.4.10", "1e08682a5f0f4f1a793e"), L"\u682a\u5f0f\u4f1a\u793e");
  EXPECT_EQ(Decode(L"1.2.840.113549.1.9.1", "161075736572406578616d706c652e636f6d"), L"user@example.com");
  EXPECT_EQ(Decode(L"2.5.4.6", "13025553"), L"US");
  EXPECT_EQ(Decode(L"1.3.6.1.4.1.311.20.2.3", "0c1075736572406578616d706c652e636f6d"), L"user@example.com");
  const std::vector<Layout> layouts = ReadLayouts();
  EXPECT_EQ(layouts.size(), 46u);
  for (const Layout& l : layouts) {
    SCOPED_TRACE(l.hex);
    EXPECT_EQ(Decode(l.oid.c_str(), l.hex.c_str()), l.text);
  }
  // A rendering with characters beyond ASCII.
  EXPECT_EQ(Decode(L"2.5.29.9",
                   "305d301d06082b060105050709013111180f31393830303232393030303030305a301506082b0601050507090231090c07"
                   "5ac3bc72696368300f06082b060105050709033103130146301406082b0601050507090431081302434813024652"),
            Extension({L"[Subject Directory Attributes]", L"[1]Date of Birth", L"     Friday, February 29, 1980",
                       L"[2]Place of Birth", L"     Z\u00fcrich", L"[3]Gender", L"     F",
                       L"[4]Country of Citizenship", L"     CH", L"     FR"}));
}

TEST(DecodeOID, ValuesThatDoNotDecodeOrRenderFail) {
  for (const auto& [oid, hex] : std::initializer_list<std::pair<const wchar_t*, const char*>>{
           {L"2.5.29.19", "30040102ff00"},                 // BOOLEAN of two octets
           {L"2.5.29.19", "30060101ff02010300"},           // trailing octet
           {L"2.5.29.15", "030201"},                       // cut BIT STRING
           {L"2.5.29.37", "30020600"},                     // an empty OID
           {L"1.3.6.1.4.1.311.21.1", "02050100000000"},    // beyond 32 bits
           {L"2.5.29.32", "300a3008060355"},               // cut OID
           {L"2.5.4.3", "0c02c328"},                       // not UTF-8
           {L"1.3.6.1.4.1.311.21.7", "3006060129020180"},  // negative version
       }) {
    const LogCapture log(NQLOG_EXIT);
    // Init-captures: not every compiler lets a lambda capture structured bindings themselves.
    const auto e = Thrown([&o = oid, &h = hex] { Decode(o, h); });
    ASSERT_NE(e, nullptr) << hex;
    EXPECT_EQ(e->getID(), CRYPTO_BAD_PARAM) << hex;
    EXPECT_EQ(e->getMessage(), L"DecodeObject() failed") << hex;
    EXPECT_EQ(log.At(NQLOG_EXIT).back(), L"IOIDDecoder::DecodeOID Returns DecodeObject() failed") << hex;
  }
  // An X.400 address decodes, but fails the whole rendering.
  ExpectFailure(Thrown([] { Decode(L"2.5.29.17", "3008 8203 612e62 a301 00"); }), CRYPTO_NOT_IMPLEMENTED,
                L"Type not implemented: CERT_ALT_NAME_X400_ADDRESS");
}

TEST(DecodeOID, TracesTheResultAndEmptyData) {
  const LogCapture log;
  Decode(L"2.16.840.1.101.3.6.9.1", "0101ff");
  const std::vector<std::wstring> exits = log.At(NQLOG_EXIT);
  ASSERT_GE(exits.size(), 2u);
  EXPECT_EQ(exits[exits.size() - 2], L"IOIDDecoder::DecodeOID : sDecoded=[NACI Status]\r\nPending\r\n\r\n");
  EXPECT_EQ(exits.back(), L"IOIDDecoder::DecodeOID");
  EXPECT_EQ(log.At(NQLOG_DATA), (std::vector<std::wstring>{L"IOIDDecoder::DecodeOID : sOID=2.16.840.1.101.3.6.9.1",
                                                           L"IOIDDecoder::DecodeOID : baEncodedData: 01 01 ff"}));
  EXPECT_EQ(IOIDDecoder::DecodeOID(L"2.5.29.19", ByteArray()), L"");
  EXPECT_EQ(log.At(NQLOG_WARNING), std::vector<std::wstring>{L"IOIDDecoder::DecodeOID : baEncodedData=empty!"});
}

}  // namespace
