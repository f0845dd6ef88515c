// The primitive types: known encodings read to their values and written back from them, and the
// DER rules that refuse the rest. Known encodings come from `openssl asn1parse -genstr ... -out`
// unless another source is named (X.690 examples, the Unicode code charts).
#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "codec/crypto.der.h"
#include "codec/crypto.der.writer.h"
#include "der_hex.h"
#include "support/sections.h"

using namespace ZT::Framework;
using namespace ZT::Framework::Der;
using der_test::Hex;
using der_test::ToHex;
using der_test::Written;

namespace {

// Reads `der` as exactly one element with `read`, which must consume all of it. Views that
// `read` keeps point into `der`.
template <class Read>
bool ReadsWhole(const ByteArray& der, Read&& read) {
  Reader reader(der);
  return read(reader) && reader.Empty();
}
template <class Read>
bool ReadsWhole(const char* hex, Read&& read) {
  return ReadsWhole(Hex(hex), read);
}

}  // namespace

TEST(DerBoolean, ReadsAnyNonZeroOctetAsTrueAndWritesFF) {
  const std::pair<const char*, bool> cases[] = {
      {"0101ff", true}, {"010100", false}, {"010101", true}, {"010180", true}};
  for (const auto& [hex, expected] : cases) {
    bool value = !expected;
    EXPECT_TRUE(ReadsWhole(hex, [&](Reader& r) { return r.ReadBoolean(&value); }) && value == expected) << hex;
  }
  EXPECT_EQ(Written([](Writer& w) { w.AddBoolean(true); }), "0101ff");
}

TEST(DerInteger, ReadsSignedValuesAtTheEdgesOfTheirWidth) {
  const std::pair<const char*, std::int64_t> cases[] = {
      {"020100", 0},     {"02017f", 127},   {"02020080", 128}, {"020180", -128},
      {"0202ff7f", -129}, {"0201ff", -1},   {"02087fffffffffffffff", INT64_MAX},
      {"02088000000000000000", INT64_MIN}, {"0a0105", 5} /* ENUMERATED */};
  for (const auto& [hex, expected] : cases) {
    std::int64_t value = 0;
    const bool enumerated = hex[1] == 'a';
    EXPECT_TRUE(ReadsWhole(hex, [&](Reader& r) { return enumerated ? r.ReadEnumerated(&value) : r.ReadInt64(&value); }));
    EXPECT_EQ(value, expected) << hex;
    EXPECT_EQ(Written([&, v = expected](Writer& w) { enumerated ? w.AddEnumerated(v) : w.AddInt64(v); }), hex);
  }
  std::int64_t value;
  EXPECT_FALSE(ReadsWhole("020900ffffffffffffffff", [&](Reader& r) { return r.ReadInt64(&value); }));
}

TEST(DerInteger, ReadsAndWritesUnsignedValuesAndRefusesNegativesAndOverflow) {
  for (const auto& [hex, expected] : {std::pair{"020900ffffffffffffffff", UINT64_MAX},
                                      std::pair{"0209008000000000000000", std::uint64_t{1} << 63}}) {
    std::uint64_t value = 0;
    EXPECT_TRUE(ReadsWhole(hex, [&](Reader& r) { return r.ReadUint64(&value); }) && value == expected) << hex;
    EXPECT_EQ(Written([v = expected](Writer& w) { w.AddUint64(v); }), hex);
  }
  std::uint64_t value = 0;
  for (const char* hex : {"0201ff", "020180", "0209010000000000000000"}) {
    EXPECT_FALSE(ReadsWhole(hex, [&](Reader& r) { return r.ReadUint64(&value); })) << hex;
  }
  Bytes magnitude;
  const ByteArray large = Hex("0209 00ffeeddccbbaa9988"), zero = Hex("020100");
  EXPECT_TRUE(ReadsWhole(large, [&](Reader& r) { return r.ReadUnsignedInteger(&magnitude); }));
  EXPECT_EQ(ToHex(magnitude), "ffeeddccbbaa9988");
  EXPECT_TRUE(ReadsWhole(zero, [&](Reader& r) { return r.ReadUnsignedInteger(&magnitude); }));
  EXPECT_EQ(ToHex(magnitude), "00");
  EXPECT_FALSE(ReadsWhole("0202ff7f", [&](Reader& r) { return r.ReadUnsignedInteger(&magnitude); }));
  // Written integers are minimal whatever the input's leading octets.
  EXPECT_EQ(Written([](Writer& w) { w.AddInteger(Hex("ffff80")); }), "020180");
  EXPECT_EQ(Written([](Writer& w) { w.AddUnsignedInteger(Hex("0000ff")); }), "020200ff");
  EXPECT_EQ(Written([](Writer& w) { w.AddUnsignedInteger({}); }), "020100");
}

TEST(DerBitString, ReadsBitsAndUnusedCounts) {
  BitString bits;
  // X.690 8.6.4.2: '0A3B5F291CD'H, 44 bits.
  const ByteArray example = Hex("0307040a3b5f291cd0"), named = Hex("030202a4");
  ASSERT_TRUE(ReadsWhole(example, [&](Reader& r) { return r.ReadBitString(&bits); }));
  EXPECT_EQ(bits.BitCount(), 44u);
  EXPECT_EQ(ToHex(bits.bytes), "0a3b5f291cd0");
  // openssl FORMAT:BITLIST 0,2,5 (a named-bit list such as key usage).
  ASSERT_TRUE(ReadsWhole(named, [&](Reader& r) { return r.ReadBitString(&bits); }));
  EXPECT_EQ(bits.unusedBits, 2u);
  EXPECT_TRUE(bits.Bit(0) && !bits.Bit(1) && bits.Bit(2) && bits.Bit(5) && !bits.Bit(6) && !bits.Bit(9));
  ASSERT_TRUE(ReadsWhole("030100", [&](Reader& r) { return r.ReadBitString(&bits); }));
  EXPECT_EQ(bits.BitCount(), 0u);
  EXPECT_EQ(Written([](Writer& w) { w.AddBitString(Hex("a7"), 2); }), "030202a4");  // unused bits zeroed
  EXPECT_EQ(Written([](Writer& w) { w.AddBitString({}, 0); }), "030100");
}

TEST(DerNullAndOctetString, HoldExactlyTheirContents) {
  Bytes value;
  EXPECT_TRUE(ReadsWhole("0500", [](Reader& r) { return r.ReadNull(); }));
  EXPECT_FALSE(ReadsWhole("050100", [](Reader& r) { return r.ReadNull(); }));
  EXPECT_EQ(Written([](Writer& w) { w.AddNull(); }), "0500");
  const ByteArray implicit = Hex("80026162");
  EXPECT_TRUE(ReadsWhole(implicit, [&](Reader& r) { return r.ReadOctetString(&value, ContextTag(0)); }));
  EXPECT_EQ(ToHex(value), "6162");
  EXPECT_FALSE(ReadsWhole("80026162", [&](Reader& r) { return r.ReadOctetString(&value); }));
  EXPECT_EQ(Written([](Writer& w) { w.AddOctetString(Hex("6162"), ContextTag(0)); }), "80026162");
}

// Dotted text and contents octets, both ways.
TEST(DerOid, ConvertsBetweenTextAndEncodingWithArcsOfAnySize) {
  const std::pair<const char*, const char*> cases[] = {
      {"1.2.840.113549", "2a864886f70d"},
      {"2.100.3", "813403"},  // also X.690 8.19.5
      {"2.5.29.37.0", "551d2500"},
      {"0.39", "27"},
      {"1.3.6.1.4.1.311.20.2.3", "2b060104018237140203"},
      {"1.39.18446744073709551615", "4f81ffffffffffffffff7f"},
      {"2.999.4294967296.18446744073709551616", "8837908080800082808080808080808000"},
      {"2.25.329800735698586629295641978511506172918", "6983f09da7ebcfdee0c7a1a7b2c0948cc8f9d776"},
  };
  for (const auto& [text, hex] : cases) {
    const ByteArray contents = Hex(hex);
    std::string decoded;
    EXPECT_TRUE(OidToText(contents, &decoded) && decoded == text) << text << " read as " << decoded;
    ByteArray encoded;
    EXPECT_TRUE(OidFromText(text, &encoded) && ToHex(encoded) == hex) << text;
  }
  WString wide;
  EXPECT_TRUE(OidToText(Hex("551d2500"), &wide) && wide == L"2.5.29.37.0");
}

TEST(DerOid, RefusesMalformedText) {
  for (const char* text : {"", "1", "3.1", "1.40", "0.40", "1.2.", ".1.2", "1..2", "1.02", "01.2", "1.2.a",
                           "-1.2", "1.+2", "1.2.3 ", "1.400000000000000000000"}) {
    ByteArray out = Hex("ff");
    EXPECT_FALSE(OidFromText(text, &out)) << text;
    EXPECT_EQ(ToHex(out), "ff") << text;  // nothing appended
  }
  ByteArray out;
  EXPECT_FALSE(OidFromText(WString(L"1.2.\u0663"), &out));  // an Arabic-Indic digit is no digit here
}

TEST(DerString, DecodesEachStringTypeToWideText) {
  const std::pair<const char*, const wchar_t*> cases[] = {
      {"0c0e5ac3bc72696368e282acf09f9880", L"Z\u00fcrich\u20ac\U0001F600"},  // UTF8String
      {"1e0e005a00fc007200690063006820ac", L"Z\u00fcrich\u20ac"},             // BMPString
      {"1e04d83dde00", L"\U0001F600"},  // BMPString surrogate pair (Unicode charts: U+1F600 = D83D DE00)
      {"1c0c00000041000020ac0001f600", L"A\u20ac\U0001F600"},  // UniversalString
      {"130c5465737420436f2e20283129", L"Test Co. (1)"},        // PrintableString
      {"160b6140622e6578616d706c65", L"a@b.example"},           // IA5String
      {"120730313233203435", L"0123 45"},                       // NumericString
      {"1a03787e79", L"x~y"},                                   // VisibleString
      {"1403616263", L"abc"},                                   // TeletexString
      {"1401e9", L"\u00e9"},  // TeletexString octets are read as ISO 8859-1
  };
  for (const auto& [hex, expected] : cases) {
    std::uint32_t type = 0;
    WString text;
    EXPECT_TRUE(ReadsWhole(hex, [&](Reader& r) { return r.ReadAnyString(&type, &text); })) << hex;
    EXPECT_TRUE(text == expected) << hex;
    ByteArray encoded;
    EXPECT_TRUE(EncodeString(type, text, &encoded) && ToHex(encoded) == std::string(hex).substr(4)) << hex;
  }
}

// What issuers write beyond a type's set is read, never written: a PrintableString with any
// graphic ASCII character, an IA5String with 8-bit octets (ISO 8859-1), a TeletexString holding
// UTF-8 (else ISO 8859-1).
TEST(DerString, ReadsLenientlyAndWritesStrictly) {
  struct Case {
    const char* hex;
    const wchar_t* text;
    const char* writtenAs;  // the contents EncodeString gives the text, or null when it cannot
  };
  for (const Case& c : {
           Case{"13072a2e612641405f", L"*.a&A@_", nullptr},
           Case{"13037e5c60", L"~\\`", nullptr},
           Case{"1603fce940", L"\u00fc\u00e9@", nullptr},
           Case{"1404c3bc6e67", L"\u00fcng", "fc6e67"},
           Case{"1404c3bce9ff", L"\u00c3\u00bc\u00e9\u00ff", "c3bce9ff"},  // not UTF-8: one octet each
           Case{"1403e282ac", L"\u20ac", nullptr},
           Case{"1303614062", L"a@b", nullptr},
           Case{"13012a", L"*", nullptr},
           Case{"1601e9", L"\u00e9", nullptr},
       }) {
    std::uint32_t type = 0;
    WString text;
    EXPECT_TRUE(ReadsWhole(c.hex, [&](Reader& r) { return r.ReadAnyString(&type, &text); })) << c.hex;
    EXPECT_TRUE(text == c.text) << c.hex;
    const ByteArray contents = Hex(std::string(c.hex).substr(4));
    EXPECT_EQ(IsWritableString(type, contents), type == kTeletexStringType) << c.hex;
    ByteArray written;
    EXPECT_EQ(EncodeString(type, text, &written), c.writtenAs != nullptr) << c.hex;
    EXPECT_EQ(ToHex(written), c.writtenAs ? c.writtenAs : "") << c.hex;
  }
  EXPECT_TRUE(IsWritableString(kPrintableStringType, Hex("4142")));
  EXPECT_FALSE(IsWritableString(kUtf8StringType, Hex("c328")));
}

// Encodings each reader refuses: sections of tests/fixtures/der/refused.txt.
TEST(DerPrimitives, RefuseWhatDerForbids) {
  bool boolean;
  Bytes bytes;
  BitString bits;
  std::uint32_t type;
  WString text;
  const std::pair<const char*, std::function<bool(Reader&)>> readers[] = {
      {"boolean", [&](Reader& r) { return r.ReadBoolean(&boolean); }},
      {"integer", [&](Reader& r) { return r.ReadInteger(&bytes); }},
      {"bit-string", [&](Reader& r) { return r.ReadBitString(&bits); }},
      {"oid", [&](Reader& r) { return r.ReadOid(&bytes); }},
      {"string", [&](Reader& r) { return r.ReadAnyString(&type, &text); }},
  };
  for (const auto& [section, read] : readers)
    for (const auto& [hex, why] : zttest::ReadSection("der/refused.txt", section))
      EXPECT_FALSE(ReadsWhole(Hex(hex), read)) << section << " " << hex << ": " << why;
}

TEST(DerTime, ReadsAndWritesUtcTimeInItsWindowAndGeneralizedTimeWithFractions) {
  const std::pair<const char*, CalendarTime> cases[] = {
      {"170d3439313233313233353935395a", {2049, 12, 31, 23, 59, 59, 0}},
      {"170d3530303130313030303030305a", {1950, 1, 1, 0, 0, 0, 0}},
      {"181332303234303232393132333435362e3738395a", {2024, 2, 29, 12, 34, 56, 789000000}},
  };
  for (const auto& [hex, expected] : cases) {
    CalendarTime t;
    EXPECT_TRUE(ReadsWhole(hex, [&](Reader& r) { return r.ReadTime(&t); }) && t == expected) << hex;
    const bool utc = hex[1] == '7';
    EXPECT_EQ(Written([&, e = expected](Writer& w) { utc ? w.AddUtcTime(e) : w.AddGeneralizedTime(e); }), hex);
  }
}

bool DecodesTime(bool generalized, const std::string& s, CalendarTime* t) {
  const Bytes bytes(reinterpret_cast<const std::uint8_t*>(s.data()), s.size());
  return generalized ? DecodeGeneralizedTime(bytes, t) : DecodeUtcTime(bytes, t);
}

// The forms issued certificates carry beside DER, read as UTC (the first two offsets are those of
// the fixture odd_time_offsets, whose dates `openssl x509 -dates` prints the same).
TEST(DerTime, ReadsTimesWithoutSecondsWithOffsetsAndLongFractions) {
  const std::tuple<bool, const char*, CalendarTime> cases[] = {
      {false, "4912312359Z", {2049, 12, 31, 23, 59, 0, 0}},
      {false, "240101000000+0100", {2023, 12, 31, 23, 0, 0, 0}},
      {false, "4912312359-0130", {2050, 1, 1, 1, 29, 0, 0}},
      {false, "500101000000+0000", {1950, 1, 1, 0, 0, 0, 0}},
      {true, "202402291234Z", {2024, 2, 29, 12, 34, 0, 0}},
      {true, "20240229123456.780Z", {2024, 2, 29, 12, 34, 56, 780000000}},
      {true, "20240229123456.1234567891Z", {2024, 2, 29, 12, 34, 56, 123456789}},
      {true, "20240301003456.5+0100", {2024, 2, 29, 23, 34, 56, 500000000}},
      {true, "15000101000000Z", {1500, 1, 1, 0, 0, 0, 0}},
  };
  for (const auto& [generalized, text, expected] : cases) {
    CalendarTime t;
    EXPECT_TRUE(DecodesTime(generalized, text, &t) && t == expected) << text;
  }
}

TEST(DerTime, RefusesInvalidDatesAndOtherForms) {
  const std::vector<const char*> utc = {
      "491331235959Z",  "490230000000Z",     "230229000000Z",     "491231235959",    "49123123Z",
      "491231235960Z",  "491231240000Z",     "491200235959Z",     "4912312359590Z",  "49123123595aZ",
      "491231235959+2400", "491231235959+0160", "491231235959+01", "4912312359.5Z", "491231235959z"};
  const std::vector<const char*> generalized = {"20240229123456.Z", "20240229123456,7Z", "2024022912Z",
                                                "20230229000000Z",  "20240229123456",    "202402291234.5Z",
                                                "00000101000000+0100", "99991231235959-0001"};
  for (bool isGeneralized : {false, true})
    for (const char* text : isGeneralized ? generalized : utc) {
      CalendarTime t;
      EXPECT_FALSE(DecodesTime(isGeneralized, text, &t)) << text;
    }
}

// Reference values: `date -u -d ... +%s`, and the FILETIME of 1970-01-01 (116444736000000000).
TEST(DerTime, ConvertsToUnixSecondsAndFileTimeTicks) {
  const std::pair<CalendarTime, std::int64_t> cases[] = {
      {{1970, 1, 1, 0, 0, 0, 0}, 0},
      {{1969, 12, 31, 23, 59, 59, 0}, -1},
      {{2000, 3, 1, 0, 0, 0, 0}, 951868800},
      {{2049, 12, 31, 23, 59, 59, 0}, 2524607999},
      {{1950, 1, 1, 0, 0, 0, 0}, -631152000},
      {{1601, 1, 1, 0, 0, 0, 0}, -11644473600},
  };
  for (const auto& [time, seconds] : cases) {
    EXPECT_EQ(ToUnixSeconds(time), seconds);
    CalendarTime back;
    EXPECT_TRUE(FromUnixSeconds(seconds, &back) && back == time) << seconds;
  }
  std::uint64_t ticks = 0;
  EXPECT_TRUE(ToFileTimeTicks({1970, 1, 1, 0, 0, 0, 123456789}, &ticks));
  EXPECT_EQ(ticks, 116444736000000000u + 1234567);
  EXPECT_TRUE(ToFileTimeTicks({1601, 1, 1, 0, 0, 0, 0}, &ticks) && ticks == 0);
  EXPECT_FALSE(ToFileTimeTicks({1600, 12, 31, 23, 59, 59, 0}, &ticks));
  EXPECT_EQ(SignedFileTimeTicks({1600, 12, 31, 23, 59, 59, 0}), -10000000);
  CalendarTime t;
  EXPECT_TRUE(FromFileTimeTicks(116444736000000000u + 1234567, &t));
  EXPECT_EQ(t, (CalendarTime{1970, 1, 1, 0, 0, 0, 123456700}));
}
