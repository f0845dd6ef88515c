#include <gtest/gtest.h>

#include <initializer_list>
#include <memory>
#include <tuple>

#include "cng/crypto.cng.oiddecoder.h"
#include "cng/crypto.cng.util.h"
#include "names_test_util.h"
#include "support/log_capture.h"

namespace {

using namespace ZT::Framework;
using namespace names_test;
using zttest::LogCapture;

// FILETIME ticks computed independently (Python's datetime: seconds since 1601-01-01 * 10^7).
constexpr FileTimeTicksValue k2024Feb29Noon = 133536816000000000ull;
constexpr FileTimeTicksValue kLastSecondOf9999 = 2650467743990000000ull;
constexpr FileTimeTicksValue kFirstTickOf10000 = 2650467744000000000ull;

template <class S>
bool Fails(const char* hex) {
  return Thrown([&] { CryptoUtil::DecodeObject<S>(Hex(hex)); }) != nullptr;
}

TEST(FileTimeToString, WritesTheTwoFormatsInEnglishAndFailsOutsideThem) {
  EXPECT_EQ(CryptoUtil::FileTimeToString(k2024Feb29Noon, L"%Y-%m-%d %H:%M:%S"), L"2024-02-29 12:00:00");
  EXPECT_EQ(CryptoUtil::FileTimeToString(k2024Feb29Noon, L"%A, %B %d, %Y"), L"Thursday, February 29, 2024");
  EXPECT_EQ(CryptoUtil::FileTimeToString(0, L"%A, %B %d, %Y"), L"Monday, January 01, 1601");
  EXPECT_EQ(CryptoUtil::FileTimeToString(kLastSecondOf9999 + 9999999, L"%Y-%m-%d %H:%M:%S %a %b %j %y%%"),
            L"9999-12-31 23:59:59 Fri Dec 365 99%");
  // Times and formats it cannot write.
  for (FileTimeTicksValue ticks : {kFirstTickOf10000, ~FileTimeTicksValue{0}}) {
    const auto e = Thrown([&] { CryptoUtil::FileTimeToString(ticks, L"%Y"); });
    ASSERT_NE(e, nullptr);
    EXPECT_EQ(e->getMessage(), L"Invalid time");
  }
  for (const wchar_t* format : {L"%Q", L"%Y%", L"%c"}) {
    const auto e = Thrown([&] { CryptoUtil::FileTimeToString(0, format); });
    ASSERT_NE(e, nullptr) << format;
    EXPECT_EQ(e->getMessage(), L"Invalid format");
  }
}

TEST(StringConversions, TakeCountsOrTerminatorsAndNullPointers) {
  const wchar_t text[] = {L'a', L'\0', L'b', L'\0'};
  EXPECT_EQ(CryptoUtil::WcharStringToString(text, 3), WString(text, 3));  // a counted value keeps its NUL
  EXPECT_EQ(CryptoUtil::WcharStringToString(text), L"a");
  EXPECT_EQ(CryptoUtil::WcharStringToString(nullptr), L"");
  EXPECT_EQ(CryptoUtil::CharStringToString("2.5.4.3"), L"2.5.4.3");
  EXPECT_EQ(CryptoUtil::CharStringToString(static_cast<const char*>(nullptr)), L"");
}

// Key identifiers, serials and bit strings are checked through their renderings (DecodeOID).
TEST(DecodeObject, GivesThePublishedStructureOrFailsClosed) {
  // Both Time choices become FILETIME ticks.
  EXPECT_EQ(CryptoUtil::DecodeObject<Structure::ChoiceOfTime>(Hex("170d3234303232393132303030305a")), k2024Feb29Noon);
  EXPECT_EQ(CryptoUtil::DecodeObject<Structure::ChoiceOfTime>(Hex("180f32303234303232393132303030305a")),
            k2024Feb29Noon);
  EXPECT_EQ(CryptoUtil::DecodeObject<Structure::Integer>(Hex("020185")), -123);
  // An e-mail name is an IA5String: an 8-bit octet reads as ISO 8859-1 there too.
  EXPECT_EQ(CryptoUtil::DecodeObject<Structure::AlternateName>(Hex("30038101e9")).rgAltEntry.at(0).pwszRfc822Name,
            L"\u00e9");

  // What does not decode fails closed with the decoding error.
  const LogCapture log;
  const auto e = Thrown([] { CryptoUtil::DecodeObject<Structure::X509Name>(Hex("3003")); });
  ASSERT_NE(e, nullptr);
  EXPECT_EQ(e->getID(), CRYPTO_BAD_PARAM);
  EXPECT_EQ(e->getMessage(), L"Error decoding the blob (0x80093103)");
  EXPECT_EQ(e->getFilename(), L"sources/cng/crypto.cng.util");
  EXPECT_EQ(log.Trace(), (std::vector<std::wstring>{
                             L"8|CryptoUtil::DecodeObject",
                             L"0|CryptoUtil::DecodeObject : lpszStructType=X509_NAME",
                             L"1|CryptoUtil::DecodeObject : Error decoding the blob (0x80093103)",
                             L"16|CryptoUtil::DecodeObject Returns Error decoding the blob (0x80093103)",
                         }));
  // Structures that fail on what they hold, not only on their framing.
  EXPECT_TRUE(Fails<Structure::ChoiceOfTime>("180f31353030303130313030303030305a")) << "time before 1601";
  EXPECT_TRUE(Fails<Structure::Integer>("020500ffffffff")) << "integer beyond 32 bits";
  EXPECT_TRUE(Fails<Structure::Integer>("0204ffffff85")) << "integer not minimal";
  EXPECT_TRUE(Fails<Structure::BasicConstraints2>("300a0101ff02050100000000")) << "path length beyond 32 bits";
  EXPECT_TRUE(Fails<Structure::AlternateName>("30028400")) << "primitive directory name";
  EXPECT_TRUE(Fails<Structure::AlternateName>("3002a200")) << "constructed DNS name";
  EXPECT_TRUE(Fails<Structure::AlternateName>("30028900")) << "choice [9]";
  EXPECT_TRUE(Fails<Structure::Bits>("03020781")) << "bad unused bits";
}

TEST(EncodeObject, WritesNamesAndRefusesWhatATypeCannotHold) {
  Asn1::Name info;
  info.rgRDN.push_back({{{"2.5.4.6", Asn1::kPrintableStringValue, Hex("5553")}}});
  EXPECT_EQ(CryptoUtil::EncodeObject<Structure::X509Name>(info), Hex("300d310b3009060355040613025553"));

  for (Asn1::AttributeTypeAndValue bad :
       {Asn1::AttributeTypeAndValue{"2.5.4.6", Asn1::kPrintableStringValue, Hex("40")},  // '@'
        Asn1::AttributeTypeAndValue{"2.5.4.6", Asn1::kEncodedValue, Hex("0201")},          // cut element
        Asn1::AttributeTypeAndValue{"2.5.4.6", Asn1::kAnyValue, Hex("41")},
        Asn1::AttributeTypeAndValue{"2", Asn1::kOctetStringValue, Hex("41")}}) {
    info.rgRDN[0].rgRDNAttr[0] = bad;
    const auto e = Thrown([&] { CryptoUtil::EncodeObject<Structure::X509Name>(info); });
    ASSERT_NE(e, nullptr);
    EXPECT_EQ(e->getMessage(), L"Error encoding the blob (0x80093103)");
  }
  info.rgRDN[0].rgRDNAttr.clear();  // an RDN needs an attribute
  EXPECT_NE(Thrown([&] { CryptoUtil::EncodeObject<Structure::X509Name>(info); }), nullptr);
}

TEST(DecodeX509String, ReadsEveryStringTypeAsANameReadsIt) {
  for (const auto& [hex, text] : std::initializer_list<std::pair<const char*, const wchar_t*>>{
           {"1402e961", L"\u00e9a"},            // TeletexString in ISO 8859-1
           {"1402c3a9", L"\u00e9"},             // TeletexString holding UTF-8
           {"13062a2e26405f61", L"*.&@_a"},      // PrintableString beyond its set
           {"1602fc40", L"\u00fc@"},            // IA5String with an 8-bit octet
           {"0c02c3a9", L"\u00e9"},             // UTF8String
           {"1e0200e9", L"\u00e9"},             // BMPString
       }) {
    const ByteArray value = Hex(hex);
    EXPECT_EQ(CryptoUtil::DecodeX509String(L"2.5.4.3", value), text) << hex;
    StringList values;
    std::unique_ptr<IX500Name>(IX500Name::Create(NameWith(L"2.5.4.3", value)))->GetAttributeValue(L"2.5.4.3", values);
    EXPECT_EQ(values, StringList{text}) << hex;
  }
}

TEST(DecodeX509String, RendersEachKindOfValueAndFailsOnWhatDoesNotDecode) {
  // Octets and values that are no string are not read as names read strings.
  EXPECT_EQ(CryptoUtil::DecodeX509String(L"1.2.3", Hex("04030a1bff")), L"0a 1b ff ");
  EXPECT_EQ(CryptoUtil::DecodeX509String(L"1.2.3", Hex("020105")), L"#020105");
  // A date of birth: a time that a FILETIME cannot hold (1500) reads "Invalid Date".
  const WString dateOfBirth = L"1.3.6.1.5.5.7.9.1";
  EXPECT_EQ(CryptoUtil::DecodeX509String(dateOfBirth, Hex("170d3830303232393030303030305a")),
            L"Friday, February 29, 1980");
  EXPECT_EQ(CryptoUtil::DecodeX509String(dateOfBirth, Hex("180f31353030303331353132303030305a")), L"Invalid Date");
  // A user notice without a display text renders as nothing.
  EXPECT_EQ(CryptoUtil::DecodeX509String(L"1.3.6.1.5.5.7.2.2", Hex("3000")), L"");
  EXPECT_EQ(CryptoUtil::DecodeX509String(L"1.3.6.1.5.5.7.2.2", Hex("3011 300f 1a0b4578616d706c65204f7267 3000")), L"");

  // What does not decode fails, naming the step.
  const auto notDer = Thrown([] { CryptoUtil::DecodeX509String(L"2.5.4.3", Hex("0c")); });
  ASSERT_NE(notDer, nullptr);
  EXPECT_EQ(notDer->getMessage(), L"DecodeObject() failed");
  EXPECT_EQ(notDer->getFilename(), L"sources/cng/crypto.cng.util");
  // A date of birth that is no time at all is a decoding failure, not an invalid date.
  const auto notTime = Thrown([] { CryptoUtil::DecodeX509String(L"1.3.6.1.5.5.7.9.1", Hex("020101")); });
  ASSERT_NE(notTime, nullptr);
  EXPECT_EQ(notTime->getMessage(), L"DecodeObject() failed");

  const LogCapture log;
  CryptoUtil::DecodeX509String(L"", Hex("130141"));
  EXPECT_EQ(log.At(NQLOG_WARNING), std::vector<std::wstring>{L"CryptoUtil::DecodeX509String : sOID=empty!"});
  const auto exits = log.At(NQLOG_EXIT);
  EXPECT_EQ(exits[exits.size() - 2], L"CryptoUtil::DecodeX509String : sString=(A)");
}

// Each named bit, then the hex of the bytes: all of the key usage's (without leading zeros), the
// Netscape type's first byte only (zero-filled).
TEST(BitRenderings, NameEveryBitWithTheHexTail) {
  using Render = WString (*)(const ByteArray&);
  const Render keyUsage = CryptoUtil::GetKeyUsage, netscape = CryptoUtil::GetNetscapeCertType;
  for (const auto& [render, hex, text] : std::initializer_list<std::tuple<Render, const char*, const wchar_t*>>{
           {keyUsage, "a0", L"Digital Signature, Key Encipherment(a0)"},
           {keyUsage, "02", L"Off-line CRL Signing, CRL Signing(2)"},
           {keyUsage, "0080", L"Decipher Only(0 80)"},
           {keyUsage, "00", L"(0)"},
           {keyUsage, "ff807f",
            L"Digital Signature, Non-Repudiation, Key Encipherment, Data Encipherment, Key Agreement, "
            L"Certificate Signing, Off-line CRL Signing, CRL Signing, Encipher Only, Decipher Only(ff 80)"},
           {keyUsage, "017f", L"Encipher Only(1 7f)"},
           {netscape, "84", L"SSL Client Authentication, SSL CA(84)"},
           {netscape, "08", L"(08)"},  // the bit without a name
           {netscape, "05ff", L"SSL CA, Signature CA(05)"},
           {netscape, "f0", L"SSL Client Authentication, SSL Server Authentication, SMIME, Signature(f0)"},
       }) {
    EXPECT_EQ(render(Hex(hex)), text) << hex;
  }
  const LogCapture log;
  EXPECT_EQ(CryptoUtil::GetKeyUsage(ByteArray()), L"");
  EXPECT_EQ(log.At(NQLOG_WARNING), std::vector<std::wstring>{L"CryptoUtil::GetKeyUsage : baKeyUsage=empty!"});
  EXPECT_EQ(CryptoUtil::GetNetscapeCertType(Hex("40")), L"SSL Server Authentication(40)");
  const auto exits = log.At(NQLOG_EXIT);
  EXPECT_EQ(exits[exits.size() - 2], L"CryptoUtil::GetNetscapeCertType : ret=(SSL Server Authentication(40))");
}

TEST(HexAndTextDump, KeepsTheLastLineAsymmetry) {
  EXPECT_EQ(OIDRendering::HexAndTextDump(Hex("41420a")), L"41 42 0a " + WString(15, L' ') + L"  AB.");
  // Exactly eight bytes: one line of pairs and no character column.
  EXPECT_EQ(OIDRendering::HexAndTextDump(Hex("3031323334353637")), L"30 31 32 33 34 35 36 37 ");
  // Nine: the first eight characters end the first line; the second has 21 filler blanks.
  EXPECT_EQ(OIDRendering::HexAndTextDump(Hex("303132333435363738")),
            L"30 31 32 33 34 35 36 37   01234567\r\n38 " + WString(21, L' ') + L"  8");
  // Sixteen: the second line, full, has no characters either.
  EXPECT_EQ(OIDRendering::HexAndTextDump(Hex("7e7f80ff20000000 4142434445464748")),
            L"7e 7f 80 ff 20 00 00 00   ~... ...\r\n41 42 43 44 45 46 47 48 ");
}

}  // namespace
