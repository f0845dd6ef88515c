#include <gtest/gtest.h>

#include <string>

#include "codec/crypto.asn1.names.h"
#include "common/crypto.x500text.h"
#include "names_test_util.h"

namespace {

using namespace ZT::Framework;
using namespace names_test;
using namespace ZT::Framework::X500Text;

// The DER of `text` under `flags`; empty (and `*error` set) on failure.
ByteArray Encode(const wchar_t* text, std::uint32_t flags = 0, std::uint32_t* error = nullptr,
                 std::ptrdiff_t* errorAt = nullptr) {
  std::uint32_t size = 0;
  const wchar_t* bad = nullptr;
  if (!CertStrToNameW(X509_ASN_ENCODING, text, CERT_X500_NAME_STR | flags, nullptr, nullptr, &size, &bad)) {
    if (error) *error = LastError();
    if (errorAt) *errorAt = bad ? bad - text : -1;
    return {};
  }
  ByteArray der(size);
  EXPECT_TRUE(CertStrToNameW(X509_ASN_ENCODING, text, CERT_X500_NAME_STR | flags, nullptr, der.data(), &size, &bad));
  EXPECT_EQ(bad, nullptr);
  der.resize(size);
  return der;
}

// The text of `der` under `strType`, asked for the size first.
std::wstring Render(const ByteArray& der, std::uint32_t strType) {
  const std::uint32_t size = CertNameToStrW(X509_ASN_ENCODING, &der, strType, nullptr, 0);
  std::wstring text(size, L'?');
  EXPECT_EQ(CertNameToStrW(X509_ASN_ENCODING, &der, strType, text.data(), size), size);
  EXPECT_EQ(text.back(), L'\0');
  text.pop_back();
  return text;
}

Asn1::Name Decoded(const ByteArray& der) {
  Asn1::Name info;
  EXPECT_TRUE(Structure::X509Name::Decode(der, &info));
  return info;
}

TEST(CertStrToName, ReadsTheDocumentedExamplesAndKeyWordsInAnyCaseWithTheirAliases) {
  // "1.2.3 = # AB CD 01 is the same as 1.2.3=#ABCD01": an OCTET STRING.
  EXPECT_EQ(Encode(L"1.2.3 = # AB CD 01"), Encode(L"1.2.3=#ABCD01"));
  EXPECT_EQ(Encode(L"1.2.3=#ABCD01"), Hex("300d 310b 3009 06022a03 0403abcd01"));
  // CN="User ""one""": a quote inside a quoted value is doubled.
  const Asn1::Name info = Decoded(Encode(L"CN=\"User \"\"one\"\"\""));
  EXPECT_EQ(Asn1::WideValueText(info.rgRDN[0].rgRDNAttr[0].Value), L"User \"one\"");

  // Key words in any case, with their aliases.
  const ByteArray expected = Encode(L"E=a@b.c, S=Oregon, T=Dr, G=Ann, I=AB, CN=x");
  EXPECT_EQ(Encode(L"email=a@b.c; ST=Oregon; title=Dr; GivenName=Ann; initials=AB; cn=x"), expected);
  EXPECT_EQ(Encode(L"OID.1.2.840.113549.1.9.1=a@b.c,oid.2.5.4.8=Oregon,2.5.4.12=Dr,Oid.2.5.4.42=Ann,2.5.4.43=AB,"
                   L"2.5.4.3=x"),
            expected);
  // Blanks around keys, "=", values and separators are not part of anything.
  EXPECT_EQ(Encode(L"  E = a@b.c ,S=  Oregon;T=Dr  ,  G=Ann,I=AB , CN = x  "), expected);
}

TEST(CertStrToName, ChoosesTheStringTypeByKeyAndCharacters) {
  struct Case {
    const char* oid;
    const wchar_t* text;
    std::uint32_t type;
  };
  for (const Case& c : {
           Case{"2.5.4.3", L"Plain (1) + 'x', y/z: =?", Asn1::kPrintableStringValue},
           Case{"2.5.4.3", L"a@b", Asn1::kBmpStringValue},  // '@' is not printable
           Case{"2.5.4.3", L"J\u00fcrgen", Asn1::kBmpStringValue},
           Case{"1.2.3.4", L"\U0001F600", Asn1::kBmpStringValue},  // as a surrogate pair
           Case{"0.9.2342.19200300.100.1.25", L"example", Asn1::kIa5StringValue},
           Case{"0.9.2342.19200300.100.1.25", L"\u00e9xample", Asn1::kUtf8StringValue},
           Case{"1.2.840.113549.1.9.1", L"a@b.c", Asn1::kIa5StringValue},
           Case{"1.2.840.113549.1.9.1", L"\u00e9@b.c", 0},
           Case{"2.5.4.6", L"US", Asn1::kPrintableStringValue},
           Case{"2.5.4.6", L"U@", 0},
           Case{"2.5.4.5", L"12-34", Asn1::kPrintableStringValue},
       }) {
    EXPECT_EQ(ValueTypeForText(c.oid, c.text), c.type) << c.oid;
  }
  const Asn1::Name info = Decoded(Encode(L"CN=J\u00fcrgen, DC=\u00e9xample"));
  EXPECT_EQ(info.rgRDN[0].rgRDNAttr[0].dwValueType, static_cast<std::uint32_t>(Asn1::kBmpStringValue));
  EXPECT_EQ(Asn1::WideValueText(info.rgRDN[0].rgRDNAttr[0].Value), L"J\u00fcrgen");
  EXPECT_EQ(info.rgRDN[1].rgRDNAttr[0].dwValueType, static_cast<std::uint32_t>(Asn1::kUtf8StringValue));
}

TEST(CertStrToName, ReportsWhereAndWhyTextIsRefused) {
  struct Case {
    const wchar_t* text;
    std::uint32_t error;
    std::ptrdiff_t at;
  };
  for (const Case& c : {
           Case{L"CN=a, XX=b", static_cast<std::uint32_t>(CRYPT_E_INVALID_X500_STRING), 6},
           Case{L"CN=a, O", static_cast<std::uint32_t>(CRYPT_E_INVALID_X500_STRING), 6},
           Case{L"CN=\"abc", static_cast<std::uint32_t>(CRYPT_E_INVALID_X500_STRING), 3},
           Case{L"CN=\"abc\" x", static_cast<std::uint32_t>(CRYPT_E_INVALID_X500_STRING), 9},
           Case{L"CN=ab\"c", static_cast<std::uint32_t>(CRYPT_E_INVALID_X500_STRING), 5},
           Case{L"OU=x, C=\u00e9", static_cast<std::uint32_t>(CRYPT_E_INVALID_PRINTABLE_STRING), 8},
           Case{L"E=\u00e9", static_cast<std::uint32_t>(CRYPT_E_INVALID_IA5_STRING), 2},
           Case{L"1.2=#0", static_cast<std::uint32_t>(CRYPT_E_INVALID_X500_STRING), 4},
       }) {
    std::uint32_t error = 0;
    std::ptrdiff_t at = -2;
    EXPECT_TRUE(Encode(c.text, 0, &error, &at).empty()) << c.text;
    EXPECT_EQ(error, c.error) << c.text;
    EXPECT_EQ(at, c.at) << c.text;
  }
  // No "=", nothing after or before a separator or "+", bad OIDs (a first arc above 2), bad hex.
  for (const wchar_t* text : {L"CN", L"CN=a,", L", CN=a", L"CN=a+", L"OID.1.2.a=x", L"3.1=x", L"OID.1.2.3=#AG"}) {
    std::uint32_t error = 0;
    EXPECT_TRUE(Encode(text, 0, &error).empty()) << text;
    EXPECT_EQ(error, static_cast<std::uint32_t>(CRYPT_E_INVALID_X500_STRING)) << text;
  }
}

TEST(CertStrToName, FlagsNarrowTheSeparatorsAndQuoting) {
  const ByteArray twoRdns = Encode(L"CN=a, O=b");
  EXPECT_EQ(Encode(L"CN=a;O=b", CERT_NAME_STR_SEMICOLON_FLAG), twoRdns);
  EXPECT_EQ(Decoded(Encode(L"CN=a,b", CERT_NAME_STR_SEMICOLON_FLAG)).rgRDN.size(), 1u);
  EXPECT_EQ(Encode(L"CN=a\r\nO=b", CERT_NAME_STR_CRLF_FLAG), twoRdns);
  EXPECT_EQ(Encode(L"CN=a\nO=b", CERT_NAME_STR_CRLF_FLAG), twoRdns);
  const Asn1::Name commaOnly = Decoded(Encode(L"CN=a;O=b", CERT_NAME_STR_COMMA_FLAG));
  ASSERT_EQ(commaOnly.rgRDN.size(), 1u);
  EXPECT_EQ(Asn1::WideValueText(commaOnly.rgRDN[0].rgRDNAttr[0].Value), L"a;O=b");
  EXPECT_EQ(Decoded(Encode(L"CN=a+b", CERT_NAME_STR_NO_PLUS_FLAG)).rgRDN[0].rgRDNAttr.size(), 1u);
  const Asn1::Name unquoted = Decoded(Encode(L"CN=\"a\"", CERT_NAME_STR_NO_QUOTING_FLAG));
  EXPECT_EQ(Asn1::WideValueText(unquoted.rgRDN[0].rgRDNAttr[0].Value), L"\"a\"");
  EXPECT_EQ(Encode(L"CN=a, O=b", CERT_NAME_STR_REVERSE_FLAG), Encode(L"O=b, CN=a"));
}

TEST(CertStrToName, AsksForTheSizeFirstAndRefusesAShortBuffer) {
  std::uint32_t size = 0;
  ASSERT_TRUE(CertStrToNameW(X509_ASN_ENCODING, L"CN=a", CERT_X500_NAME_STR, nullptr, nullptr, &size, nullptr));
  EXPECT_EQ(size, 14u);
  ByteArray buffer(size);
  std::uint32_t shortSize = size - 1;
  EXPECT_FALSE(
      CertStrToNameW(X509_ASN_ENCODING, L"CN=a", CERT_X500_NAME_STR, nullptr, buffer.data(), &shortSize, nullptr));
  EXPECT_EQ(LastError(), 234u);
  EXPECT_EQ(shortSize, 14u);
  EXPECT_FALSE(CertStrToNameW(X509_ASN_ENCODING, L"CN=a", CERT_SIMPLE_NAME_STR, nullptr, nullptr, &size, nullptr));
  EXPECT_EQ(LastError(), 0x80070057u);
  // An empty text is an empty name.
  EXPECT_EQ(Encode(L"   "), Hex("3000"));
}

TEST(CertNameToStr, WritesEachStringTypeAndFlagAndTruncatesToTheBuffer) {
  const ByteArray der = Hex(OpensslName("multivalued"));
  EXPECT_EQ(Render(der, CERT_X500_NAME_STR), L"CN=Alice + OID.0.9.2342.19200300.100.1.1=alice, O=Example");
  EXPECT_EQ(Render(der, CERT_OID_NAME_STR), L"2.5.4.3=Alice + 0.9.2342.19200300.100.1.1=alice, 2.5.4.10=Example");
  EXPECT_EQ(Render(der, CERT_SIMPLE_NAME_STR), L"Alice + alice, Example");
  EXPECT_EQ(Render(der, CERT_X500_NAME_STR | CERT_NAME_STR_SEMICOLON_FLAG | CERT_NAME_STR_NO_PLUS_FLAG),
            L"CN=Alice OID.0.9.2342.19200300.100.1.1=alice; O=Example");
  EXPECT_EQ(Render(Hex(OpensslName("quoting")), CERT_X500_NAME_STR | CERT_NAME_STR_NO_QUOTING_FLAG),
            L"CN= leading, O=trailing , OU=a,b, L=x=y, S=#hash, CN=semi;colon, CN=say \"hi\"");

  // The count includes the terminator; a short buffer gets what fits.
  const ByteArray t61 = Hex(OpensslName("t61"));  // "CN=Jürgen, C=DE"
  EXPECT_EQ(CertNameToStrW(X509_ASN_ENCODING, &t61, CERT_X500_NAME_STR, nullptr, 0), 16u);
  wchar_t small[5] = {L'x', L'x', L'x', L'x', L'x'};
  EXPECT_EQ(CertNameToStrW(X509_ASN_ENCODING, &t61, CERT_X500_NAME_STR, small, 5), 5u);
  EXPECT_EQ(std::wstring(small), L"CN=J");
  // A blob that is not a name gives the empty string.
  const ByteArray bad = Hex("3003");
  wchar_t text[4] = {L'x', L'x', L'x', L'x'};
  EXPECT_EQ(CertNameToStrW(X509_ASN_ENCODING, &bad, CERT_X500_NAME_STR, text, 4), 1u);
  EXPECT_EQ(text[0], L'\0');
  EXPECT_EQ(LastError(), CRYPT_E_ASN1_CORRUPT);
}

TEST(CertRDNValueToStr, WritesValuesUnquotedAndBinaryAsHex) {
  auto valueText = [](std::uint32_t type, const ByteArray& value) { return RDNValueToString(type, value); };
  EXPECT_EQ(valueText(Asn1::kOctetStringValue, Hex("0a56cf")), L"#0A56CF");
  EXPECT_EQ(valueText(Asn1::kEncodedValue, Hex("020105")), L"#020105");
  EXPECT_EQ(valueText(Asn1::kPrintableStringValue, Hex("612c2062")), L"a, b");
  EXPECT_EQ(valueText(Asn1::kTeletexStringValue, Hex("4ac3bc")), L"J\u00fc");  // UTF-8 when it is
  EXPECT_EQ(valueText(Asn1::kTeletexStringValue, Hex("4afc")), L"J\u00fc");    // else one octet each
  EXPECT_EQ(valueText(Asn1::kBmpStringValue, Asn1::WideValueBytes(L"\u5c71")), L"\u5c71");
  EXPECT_EQ(valueText(Asn1::kAnyValue, Hex("41")), L"");
}

}  // namespace
