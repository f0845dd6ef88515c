// DecodeOID's layouts over values made by the openssl tool (tests/fixtures/names/make.sh) or,
// where a value has no other source, written here byte by byte.
#include <gtest/gtest.h>

#include <initializer_list>

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

// One line of the hex-and-text dump with `pairs` bytes: the pairs (each with its blank), three
// blanks for each missing byte, two blanks and the characters.
std::wstring DumpLine(const wchar_t* hexPairs, int pairs, const wchar_t* characters) {
  return std::wstring(hexPairs) + L" " + std::wstring(3 * (8 - pairs), L' ') + L"  " + characters;
}

// Every row both ways: OIDTable (oid_table_test.cpp, from tests/fixtures/names/oids.tsv).
TEST(OIDToString, WhatIsNotAWholeEntryComesBackUnchanged) {
  // Never a prefix match; names are compared case-sensitively.
  for (const wchar_t* other : {L"2.5.29.37", L"1.3.6.1.5.5.7.3.3.1", L""})
    EXPECT_EQ(IOIDDecoder::OIDToString(other), other);
  for (const wchar_t* other : {L"code signing", L"Code Signing ", L""})
    EXPECT_EQ(IOIDDecoder::StringToOID(other), other);
}

TEST(OIDToString, TracesItsArgumentOutcomeAndResult) {
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

TEST(DecodeOID, DirectoryAttributesComeAloneWithoutHeader) {
  EXPECT_EQ(Decode(L"2.5.4.3", "0c0d4ac3bc7267656e2047726fc39f"), L"J\u00fcrgen Gro\u00df");
  EXPECT_EQ(Decode(L"2.5.4.10", "1e08682a5f0f4f1a793e"), L"\u682a\u5f0f\u4f1a\u793e");
  EXPECT_EQ(Decode(L"1.2.840.113549.1.9.1", "161075736572406578616d706c652e636f6d"), L"user@example.com");
  EXPECT_EQ(Decode(L"2.5.4.6", "13025553"), L"US");
  EXPECT_EQ(Decode(L"1.3.6.1.4.1.311.20.2.3", "0c1075736572406578616d706c652e636f6d"), L"user@example.com");
}

struct Layout {
  const wchar_t* oid;
  const char* hex;
  WString text;
};

// Each layout of the rendering table with the text it must give, line by line.
const Layout kLayouts[] = {
    {L"1.3.6.1.5.5.7.1.1",
     "3050302406082b060105050730018618687474703a2f2f6f6373702e6578616d706c652e636f6d2f302806082b0601"
     "0505073002861c687474703a2f2f63612e6578616d706c652e636f6d2f63612e637274",
     Extension({L"[Authority Information Access]", L"[1]Authority Information Access:",
                L"     Access Method=On-line Certificate Status Protocol (1.3.6.1.5.5.7.48.1)",
                L"     Alternative Name:", L"          http://ocsp.example.com/", L"[2]Authority Information Access:",
                L"     Access Method=Certification Authority Issuer (1.3.6.1.5.5.7.48.2)", L"     Alternative Name:",
                L"          http://ca.example.com/ca.crt"})},
    // The serial number 01 02 is held, and written, least significant byte first.
    {L"2.5.29.1",
     "303080040a1b2c3da1243022310b30090603550406130255533113301106035504030c0a4f6c642049737375657282020102",
     Extension({L"[Authority Key Identifier]", L"KeyID=0a 1b 2c 3d ", L"Certificate Issuer=C=US, CN=Old Issuer",
                L"Certificate SerialNumber= 02 01 "})},
    // The issuer is a directory name, whose general-name text is empty.
    {L"2.5.29.35",
     "305b80142adc8b0ac0514aaa700f732877c2de55fd0e392ca13fa43d303b311630140603550403130d4e616d657320546573"
     "74204341311430120603550403130b4578616d706c65204f7267310b300906035504061302555382020102",
     Extension({L"[Authority Key Identifier]", L"KeyID=2a dc 8b 0a c0 51 4a aa 70 0f 73 28 77 c2 de 55 fd 0e 39 2c ",
                L"Certificate Issuer:", L"", L"Certificate SerialNumber= 02 01 "})},
    // Key id alone (test-built): the issuer line stays, the serial line goes; names follow one another.
    {L"2.5.29.35", "3006 8004 01020304",
     Extension({L"[Authority Key Identifier]", L"KeyID=01 02 03 04 ", L"Certificate Issuer:", L""})},
    {L"2.5.29.35", "3014 a112 8209612e6578616d706c65 8205622e6f7267",
     Extension({L"[Authority Key Identifier]", L"Certificate Issuer:", L"a.exampleb.org"})},
    {L"2.5.29.14", "04142adc8b0ac0514aaa700f732877c2de55fd0e392c",
     Extension({L"[Subject Key Identifier]", L"2a dc 8b 0a c0 51 4a aa 70 0f 73 28 77 c2 de 55 fd 0e 39 2c "})},
    {L"2.5.29.17", openssl_name::kAltNames,
     Extension({L"[Subject Alternative Name]", L"user@example.com", L"www.example.com", L"http://example.com/",
                L"192.168.0.1", L"2001:db8::1", L"1.2.3.4", L"user@example.com", L""})},
    {L"2.5.29.7", "3022820f6f6c642e6578616d706c652e636f6d810f6f6c64406578616d706c652e636f6d",
     Extension({L"[Subject Alternative Name]", L"old.example.com", L"old@example.com"})},
    {L"2.5.29.18", "3020820e63612e6578616d706c652e636f6d810e6361406578616d706c652e636f6d",
     Extension({L"[Issuer Alternative Name]", L"ca.example.com", L"ca@example.com"})},
    {L"2.5.29.8", "30198617687474703a2f2f6f6c642e6578616d706c652e636f6d2f",
     Extension({L"[Issuer Alternative Name]", L"http://old.example.com/"})},
    {L"2.5.29.19", "30060101ff020103",
     Extension({L"[Basic Constraints]", L"Subject Type=CA", L"Path Length Constraint=3"})},
    {L"2.5.29.19", "30030101ff",
     Extension({L"[Basic Constraints]", L"Subject Type=CA", L"Path Length Constraint=None"})},
    // An end entity: with nothing, with a limit encoded for it, with an explicit FALSE (as issued).
    {L"2.5.29.19", "3000",
     Extension({L"[Basic Constraints]", L"Subject Type=Final Entity", L"Path Length Constraint=None"})},
    {L"2.5.29.19", "3003020105",
     Extension({L"[Basic Constraints]", L"Subject Type=Final Entity", L"Path Length Constraint=None"})},
    {L"2.5.29.19", "3003010100",
     Extension({L"[Basic Constraints]", L"Subject Type=Final Entity", L"Path Length Constraint=None"})},
    {L"2.5.29.32",
     "3077306d060a2b06010401868d1f0101305f302206082b060105050702011616687474703a2f2f6578616d706c652e636f"
     "6d2f637073303906082b06010505070202302d30151a0b4578616d706c65204f726730060201010201021a1455736520617"
     "420796f7572206f776e207269736b30060604551d2000",
     Extension({L"[Certificate Policies]", L"[1]Certificate Policy:", L"     PolicyIdentifier=1.3.6.1.4.1.99999.1.1",
                L"     [1,1]Policy Qualifier Info: ", L"          Policy Qualifier Id=CPS", L"          Qualifier:",
                L"               http://example.com/cps", L"     [1,2]Policy Qualifier Info: ",
                L"          Policy Qualifier Id=User Notice", L"          Qualifier:",
                L"               Notice Text=Use at your own risk", L"[2]Certificate Policy:",
                L"     PolicyIdentifier=2.5.29.32.0"})},
    {L"2.5.29.15", "030201e2",
     Extension({L"[Key Usage]",
                L"Digital Signature, Non-Repudiation, Key Encipherment, Off-line CRL Signing, CRL Signing(e2)"})},
    {L"2.5.29.15", "0303070780",
     Extension({L"[Key Usage]",
                L"Certificate Signing, Off-line CRL Signing, CRL Signing, Encipher Only, Decipher Only(7 80)"})},
    {L"2.16.840.1.113730.1.1", "03020013",
     Extension({L"[NetscapeCertType]", L"Signature, SMIME CA, Signature CA(13)"})},
    {L"2.5.29.2", "302e040401020304030205a03022800f32303234303232393132303030305a810f32303330313233313233353935395a",
     Extension({L"[Key Attributes Information]", L"KeyID=01 02 03 04 ",
                L"Intended Key Usage=Digital Signature, Key Encipherment(a0)", L"Private Key Usage Period:",
                L"     Not Before=Thursday, February 29, 2024", L"     Not After=Tuesday, December 31, 2030"})},
    // Test-built: the period's lines are there without a period; an absent bound is the zero FILETIME.
    {L"2.5.29.2", "3006 0401aa 030100",
     Extension({L"[Key Attributes Information]", L"KeyID=aa ", L"Intended Key Usage=", L"Private Key Usage Period:",
                L"     Not Before=Monday, January 01, 1601", L"     Not After=Monday, January 01, 1601"})},
    {L"2.5.29.2", "3013 3011 810f 32303330313233313233353935395a",
     Extension({L"[Key Attributes Information]", L"KeyID=", L"Intended Key Usage=", L"Private Key Usage Period:",
                L"     Not Before=Monday, January 01, 1601", L"     Not After=Tuesday, December 31, 2030"})},
    {L"2.5.29.31",
     "30613046a040a03e861d687474703a2f2f63726c2e6578616d706c652e636f6d2f63612e63726c861d6c6461703a2f2f6c"
     "6461702e6578616d706c652e636f6d2f636e3d4341810205603017a015a11330110603550403130a43524c20497373756572",
     Extension({L"[CRL Distribution Points]", L"[1]CRL Distribution Point", L"     Distribution Point Name: ",
                L"          Fullname: ", L"               http://crl.example.com/ca.crl",
                L"               ldap://ldap.example.com/cn=CA", L"[2]CRL Distribution Point",
                L"     Distribution Point Name: ", L"          Fullname: "})},
    {L"2.5.29.4", "3025301f300506032a0304301606092b06010401868d1f0206092b06010401868d1f03030206c0",
     Extension({L"[Key Usage Restriction]", L"Certificate Policies Restrictions:",
                L"     Certificate Policy Restriction=1.2.3.4",
                L"     Certificate Policy Restriction=1.3.6.1.4.1.99999.2",
                L"     Certificate Policy Restriction=1.3.6.1.4.1.99999.3",
                L"Key Usage Restriction=Digital Signature, Non-Repudiation(c0)"})},
    {L"2.5.29.16", "3022800f32303234303130313030303030305a810f32303235303130313030303030305a",
     Extension({L"[Private Key Usage Period]", L"30 22 80 0f 32 30 32 34   0\"..2024",
                L"30 31 30 31 30 30 30 30   01010000", L"30 30 5a 81 0f 32 30 32   00Z..202",
                L"35 30 31 30 31 30 30 30   50101000", DumpLine(L"30 30 30 5a", 4, L"000Z")})},
    {L"2.5.29.37",
     "303206082b0601050507030106082b06010505070302060a2b060104018237140202060b2b0601040182370a03040106032a0304",
     Extension({L"[Enhanced Key Usage]", L"Server Authentication (1.3.6.1.5.5.7.3.1)",
                L"Client Authentication (1.3.6.1.5.5.7.3.2)", L"Smart Card Logon (1.3.6.1.4.1.311.20.2.2)",
                L"File Recovery (1.3.6.1.4.1.311.10.3.4.1)", L"1.2.3.4 (1.2.3.4)"})},
    // Pending only for TRUE.
    {L"2.16.840.1.101.3.6.9.1", "0101ff", Extension({L"[NACI Status]", L"Pending"})},
    {L"2.16.840.1.101.3.6.9.1", "010100", Extension({L"[NACI Status]", L"Completed"})},
    {L"2.16.840.1.101.3.6.9.1", "0102ffff", Extension({L"[NACI Status]", L"Completed"})},
    {L"1.2.840.113549.1.9.15", "301d300b060960864801650304012a300e06082a864886f70d030202020080",
     Extension({L"[SMIME Capabilities]", L"[1]SMIME Capability", L"     Object ID=2.16.840.1.101.3.4.1.42",
                L"[2]SMIME Capability", L"     Object ID=1.2.840.113549.3.2", L"     Parameters=02 02 00 80 "})},
    {L"1.3.6.1.4.1.311.21.7", "3014060c2b0601040182371508010203020164020104",
     Extension({L"[Certificate Template Information]", L"Template=1.3.6.1.4.1.311.21.8.1.2.3",
                L"Major Version Number=100", L"Minor Version Number=4"})},
    {L"1.3.6.1.4.1.311.21.7", "300d 0608 2b06010505070302 020100",
     Extension({L"[Certificate Template Information]", L"Template=Client Authentication", L"Major Version Number=0"})},
    {L"1.3.6.1.4.1.311.21.10",
     "3040300a06082b060105050703023032060a2b0601040182371402023024302206082b06010505070201161668747470"
     "3a2f2f6578616d706c652e636f6d2f637073",
     Extension(
         {L"[Application Policies]", L"[1]Application Certificate Policy:",
          L"     Policy Identifier=Client Authentication", L"[2]Application Certificate Policy:",
          L"     Policy Identifier=Smart Card Logon", L"     Policy Qualifier: ",
          L"          1.3.6.1.5.5.7.2.1=16 16 68 74 74 70 3a 2f 2f 65 78 61 6d 70 6c 65 2e 63 6f 6d 2f 63 70 73 "})},
    // String-valued extensions: one row each, with its own header.
    {L"1.3.6.1.4.1.311.20.2", "1e0a00530075006200430041", Extension({L"[Certificate Template]", L"SubCA"})},
    {L"2.16.840.1.113730.1.13", "161c47656e65726174656420666f7220746865206e616d65207465737473",
     Extension({L"[NetscapeComment]", L"Generated for the name tests"})},
    {L"2.16.840.1.113730.1.2", "1613687474703a2f2f6578616d706c652e636f6d2f",
     Extension({L"[NetscapeBaseURL]", L"http://example.com/"})},
    {L"2.16.840.1.113730.1.3", "160b7265766f6b652e6367693f", Extension({L"[NetscapeRevocationURL]", L"revoke.cgi?"})},
    {L"2.16.840.1.113730.1.4", "161d687474703a2f2f6578616d706c652e636f6d2f63612d63726c2e70656d",
     Extension({L"[NetscapeCARevocationURL]", L"http://example.com/ca-crl.pem"})},
    {L"2.16.840.1.113730.1.7", "160a72656e65772e6367693f", Extension({L"[NetscapeCertRenewalURL]", L"renew.cgi?"})},
    {L"2.16.840.1.113730.1.8", "161e687474703a2f2f6578616d706c652e636f6d2f706f6c6963792e68746d6c",
     Extension({L"[NetscapeCAPolicyURL]", L"http://example.com/policy.html"})},
    {L"2.16.840.1.113730.1.12", "160f7777772e6578616d706c652e636f6d",
     Extension({L"[NetscapeSSLServerName]", L"www.example.com"})},
    // The CA Version shows the whole integer, not its two halves.
    {L"1.3.6.1.4.1.311.21.1", "0203010001", Extension({L"[CA Version]", L"V65537.0"})},
    {L"1.3.6.1.4.1.311.21.1", "020101", Extension({L"[CA Version]", L"V1.0"})},
    {L"1.3.6.1.4.1.311.21.1", "020100", Extension({L"[CA Version]", L"V0.0"})},
    {L"2.5.29.9",
     "305d301d06082b060105050709013111180f31393830303232393030303030305a301506082b0601050507090231090c07"
     "5ac3bc72696368300f06082b060105050709033103130146301406082b0601050507090431081302434813024652",
     Extension({L"[Subject Directory Attributes]", L"[1]Date of Birth", L"     Friday, February 29, 1980",
                L"[2]Place of Birth", L"     Z\u00fcrich", L"[3]Gender", L"     F", L"[4]Country of Citizenship",
                L"     CH", L"     FR"})},
    // Unknown OIDs, and known ones without a layout, are dumped under their friendly name.
    {L"1.2.3.4.5", "0c0c48656c6c6f2c20776f726c64",
     Extension({L"[1.2.3.4.5]", L"0c 0c 48 65 6c 6c 6f 2c   ..Hello,", DumpLine(L"20 77 6f 72 6c 64", 6, L" world")})},
    {L"1.3.6.1.5.5.7.3.1", "0101ff", Extension({L"[Server Authentication]", DumpLine(L"01 01 ff", 3, L"...")})},
};

TEST(DecodeOID, EveryLayoutOfTheTable) {
  for (const Layout& l : kLayouts) {
    SCOPED_TRACE(l.hex);
    EXPECT_EQ(Decode(l.oid, l.hex), l.text);
  }
}

TEST(DecodeOID, AnX400AddressFailsTheWholeRendering) {
  const auto e = Thrown([] { Decode(L"2.5.29.17", "3008 8203 612e62 a301 00"); });
  ASSERT_NE(e, nullptr);
  EXPECT_EQ(e->getID(), CRYPTO_NOT_IMPLEMENTED);
  EXPECT_EQ(e->getMessage(), L"Type not implemented: CERT_ALT_NAME_X400_ADDRESS");
}

TEST(DecodeOID, ValuesThatDoNotDecodeFail) {
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
