#include <gtest/gtest.h>

#include <initializer_list>
#include <memory>
#include <vector>

#include "codec/crypto.der.writer.h"
#include "names_test_util.h"
#include "support/log_capture.h"

namespace {

using namespace ZT::Framework;
using namespace names_test;
using zttest::AddressText;
using zttest::LogCapture;

std::unique_ptr<IX500Name> FromDer(const char* hex) { return std::unique_ptr<IX500Name>(IX500Name::Create(Hex(hex))); }
std::unique_ptr<IX500Name> FromText(const wchar_t* text) {
  return std::unique_ptr<IX500Name>(IX500Name::Create(WString(text)));
}

std::vector<WString> Listed(const IX500Name& name) {
  StringList list;
  name.ListAttributes(list);
  return {list.begin(), list.end()};
}

std::vector<WString> ValuesOf(const IX500Name& name, const wchar_t* oid) {
  StringList list;
  name.GetAttributeValue(oid, list);
  return {list.begin(), list.end()};
}

// A Name of one attribute per RDN, each value written as `type` with `text`.
struct Attribute {
  const char* oid;
  std::uint32_t type;
  WString text;
};
ByteArray NameOf(const std::vector<Attribute>& attributes) {
  Der::Writer w;
  w.Nest(Der::kSequence, [&] {
    for (const Attribute& a : attributes)
      w.NestSetOf([&] { w.Nest(Der::kSequence, [&] { w.AddOid(a.oid), w.AddString(a.type, a.text); }); });
  });
  ByteArray der;
  EXPECT_TRUE(w.Finish(&der));
  return der;
}

// Names the openssl tool made, the text they read as, and the text that encodes to them ("" when
// a text cannot: the library writes BMPString where openssl wrote UTF8String or TeletexString).
struct ToolName {
  const char* name;  // in values.txt
  const wchar_t* text;
  const wchar_t* source;
};
const ToolName kOpensslNames[] = {
    {"printable", L"CN=Test User, OU=Unit, OU=Unit 2, O=\"Acme, Inc.\", L=Springfield, S=Oregon, C=US",
     nullptr},
    {"email",
     L"E=user@example.com, DC=example, DC=com, SERIALNUMBER=1234, T=Engineer, G=Ann, I=AB, SN=Smith, "
     L"STREET=1 Main St, PostalCode=12345",
     L"E=user@example.com; DC=example; DC=com; SERIALNUMBER=1234; T=Engineer; G=Ann; I=AB; SN=Smith; "
     L"STREET=1 Main St; PostalCode=12345"},
    {"unknown", L"CN=Known, OID.2.5.4.65=Nick, OID.2.5.4.46=q1",
     L"CN=Known, OID.2.5.4.65=Nick, 2.5.4.46=q1"},
    // The attributes of one RDN are written in DER SET OF order, whatever order the text gives.
    {"multivalued", L"CN=Alice + OID.0.9.2342.19200300.100.1.1=alice, O=Example",
     L"0.9.2342.19200300.100.1.1=alice + CN=Alice, O=Example"},
    {"bmp", L"CN=\u5c71\u7530\u592a\u90ce, O=\u682a\u5f0f\u4f1a\u793e, C=JP", nullptr},
    {"utf8", L"CN=J\u00fcrgen Gro\u00df, O=\u00dcn\u00efc\u00f6d\u00e9 \u00d6rg, C=DE", L""},
    {"t61", L"CN=J\u00fcrgen, C=DE", L""},
};

TEST(X500Name, OpensslNamesBothWays) {
  for (const ToolName& n : kOpensslNames) {
    SCOPED_TRACE(n.name);
    const char* hex = OpensslName(n.name);
    EXPECT_EQ(FromDer(hex)->GetName(0), n.text);
    const wchar_t* source = n.source ? n.source : n.text;
    if (*source) {
      EXPECT_EQ(FromText(source)->GetEncoded(), Hex(hex));
    }
  }
}

TEST(X500NameFromDer, EveryStringTypeReadsAsItsCharacters) {
  // A TeletexString holding UTF-8 is read as UTF-8; the other types as their own characters.
  const ByteArray der = NameOf({{"2.5.4.3", Der::kTeletexStringType, L"J\u00c3\u00bcrgen"},
                                {"2.5.4.5", Der::kNumericStringType, L"0123 456"},
                                {"2.5.4.11", Der::kUniversalStringType, L"\U0001F600 smile"},
                                {"2.5.4.10", Der::kVisibleStringType, L"Visible~Org"},
                                {"1.2.840.113549.1.9.1", Der::kIa5StringType, L"a@b.example"}});
  EXPECT_EQ(std::unique_ptr<IX500Name>(IX500Name::Create(der))->GetName(0),
            L"CN=J\u00fcrgen, SERIALNUMBER=0123 456, OU=\U0001F600 smile, O=Visible~Org, E=a@b.example");
}

TEST(X500NameFromDer, QuotesAsTheTextFormRequires) {
  const auto name = FromDer(OpensslName("quoting"));
  EXPECT_EQ(name->GetName(0),
            L"CN=\" leading\", O=\"trailing \", OU=\"a,b\", L=\"x=y\", S=\"#hash\", CN=\"semi;colon\", "
            L"CN=\"say \"\"hi\"\"\"");
  // Values come back unquoted.
  EXPECT_EQ(ValuesOf(*name, L"2.5.4.3"), (std::vector<WString>{L" leading", L"semi;colon", L"say \"hi\""}));
  // Consecutive blanks inside a value do not need quotes; the other special characters do.
  const ByteArray der = NameOf({{"2.5.4.3", Der::kUtf8StringType, L"two  blanks"},
                                {"2.5.4.3", Der::kUtf8StringType, L"a+b"},
                                {"2.5.4.3", Der::kUtf8StringType, L"<tag>"},
                                {"2.5.4.3", Der::kUtf8StringType, L"line\nbreak"},
                                {"2.5.4.3", Der::kUtf8StringType, L""}});
  EXPECT_EQ(std::unique_ptr<IX500Name>(IX500Name::Create(der))->GetName(0),
            L"CN=two  blanks, CN=\"a+b\", CN=\"<tag>\", CN=\"line\nbreak\", CN=\"\"");
}

TEST(X500NameFromDer, ReverseAndCrLfAreTheOnlyHonouredFormatBits) {
  const auto name = FromDer(OpensslName("multivalued"));
  EXPECT_EQ(name->GetName(IX500Name::kReverseFlag), L"O=Example, CN=Alice + OID.0.9.2342.19200300.100.1.1=alice");
  EXPECT_EQ(name->GetName(IX500Name::kCRLFFlag), L"CN=Alice + OID.0.9.2342.19200300.100.1.1=alice\r\nO=Example");
  EXPECT_EQ(name->GetName(IX500Name::kReverseFlag | IX500Name::kCRLFFlag),
            L"O=Example\r\nCN=Alice + OID.0.9.2342.19200300.100.1.1=alice");
  // Semicolons, no plus, no quoting, simple and OID forms cannot be asked for.
  const auto quoted = FromDer(OpensslName("quoting"));
  for (unsigned int ignored : {0x40000000u, 0x20000000u, 0x10000000u, 0x04000000u, 0x00000001u, 0x00000002u})
    EXPECT_EQ(quoted->GetName(ignored), quoted->GetName(0)) << std::hex << ignored;
}

TEST(X500NameFromText, TextToDerToTextRoundTrips) {
  for (const wchar_t* text : {
           L"CN=\" leading\", O=\"trailing \", OU=\"a,b\", L=\"x=y\", S=\"#hash\", CN=\"semi;colon\"",
           L"CN=\"\", O=x",
           L"CN=J\u00fcrgen Gro\u00df, O=\u682a\u5f0f\u4f1a\u793e, OU=\U0001F600",
           L"OID.1.2.3.4=#0A56CF, OID.2.5.4.65=Nick",
           L"DC=example, DC=\u00e9xample, E=a@b.example",
       }) {
    const auto name = FromText(text);
    EXPECT_EQ(name->GetName(0), text);
    EXPECT_EQ(std::unique_ptr<IX500Name>(IX500Name::Create(name->GetEncoded()))->GetName(0), text);
  }
}

TEST(X500NameAttributes, ListsRepeatedTypesOnceAndAppendsValuesInEncodingOrder) {
  EXPECT_EQ(Listed(*FromText(L"CN=a, OU=b, OU=c")), (std::vector<WString>{L"2.5.4.3", L"2.5.4.11"}));
  EXPECT_EQ(Listed(*FromText(L"OU=b, CN=a, OU=c")), (std::vector<WString>{L"2.5.4.11", L"2.5.4.3", L"2.5.4.11"}));
  EXPECT_EQ(Listed(*FromDer(OpensslName("multivalued"))),
            (std::vector<WString>{L"2.5.4.3", L"0.9.2342.19200300.100.1.1", L"2.5.4.10"}));

  // Values of a type come in encoding order and are appended.
  const auto name = FromDer(OpensslName("printable"));
  StringList values{L"already there"};
  name->GetAttributeValue(L"2.5.4.11", values);
  EXPECT_EQ(std::vector<WString>(values.begin(), values.end()),
            (std::vector<WString>{L"already there", L"Unit", L"Unit 2"}));
  EXPECT_EQ(ValuesOf(*name, L"2.5.4.10"), std::vector<WString>{L"Acme, Inc."});
  EXPECT_EQ(ValuesOf(*FromDer(OpensslName("bmp")), L"2.5.4.3"), std::vector<WString>{L"\u5c71\u7530\u592a\u90ce"});
  EXPECT_TRUE(ValuesOf(*name, L"2.5.4.3.").empty());  // compared exactly, never by prefix
  // Missing and empty types only log.
  const LogCapture log;
  EXPECT_TRUE(ValuesOf(*name, L"2.5.4.65").empty());
  EXPECT_TRUE(ValuesOf(*name, L"").empty());
  EXPECT_EQ(log.At(NQLOG_WARNING),
            (std::vector<std::wstring>{L"ZT::Framework::CCNGX500Name::GetAttributeValue Attribute not found",
                                       L"ZT::Framework::CCNGX500Name::GetAttributeValue : sOID=empty!"}));

  // A name without RDNs is empty, and says so.
  const auto empty = FromDer("3000");
  const LogCapture emptyLog;
  EXPECT_EQ(empty->GetName(0), L"");
  EXPECT_TRUE(Listed(*empty).empty());
  EXPECT_EQ(emptyLog.At(NQLOG_WARNING),
            std::vector<std::wstring>{L"ZT::Framework::CCNGX500Name::GetName Empty string found"});
}

// Text and DER that are no name fail closed with the reason inside. The syntax of the text itself
// is checked with CertStrToName; here, that its error is passed on.
TEST(X500Name, MalformedTextAndDerAreRefused) {
  const wchar_t* const decoding = L"CryptoUtil::DecodeObject() failed";
  const wchar_t* const badDer = L"Error decoding the blob (0x80093103)";
  const struct {
    const wchar_t* text;  // or null for `hex`
    const char* hex;
    const wchar_t* inner;
    const wchar_t* innermost;
  } cases[] = {
      {L"CN=a,", nullptr, L"Error encoding the blob (0x80092023)", L"<none>"},
      {L"", nullptr, L"sName=empty!", L"<none>"},
      {nullptr, "3000 00", decoding, badDer},                             // trailing byte (the framing is the DER reader's)
      {nullptr, "3100", decoding, badDer},                                // a SET, not a SEQUENCE
      {nullptr, "30023100", decoding, badDer},                            // an RDN without attributes
      {nullptr, "300e310c300a06035504030c01410500", decoding, badDer},    // a third element in an attribute
      {nullptr, "300d310b300906035504030c02c328", decoding, badDer},      // UTF8String that is not UTF-8
      {nullptr, "300d310b300906035504061302550a", decoding, badDer},      // a line feed in a PrintableString
      {nullptr, "300f310d300b06035504032c0402024f4b", decoding, badDer},  // constructed string
      {nullptr, "30093107300506035504 03", decoding, badDer},             // an attribute without a value
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::Message() << (c.text ? c.text : L"") << c.hex);
    const auto e = Thrown([&] { c.text ? IX500Name::Create(WString(c.text)) : IX500Name::Create(Hex(c.hex)); });
    ExpectFailure(e, CRYPTO_BAD_PARAM, L"new CX500Name() failed");
    EXPECT_EQ(MessageAt(e.get(), 1), c.inner);
    EXPECT_EQ(MessageAt(e.get(), 2), c.innermost);
  }
}

TEST(X500NameTrace, CreateGetNameDeleteAndARefusalWriteTheNamedLines) {
  const ByteArray der = Hex(OpensslName("t61"));
  LogCapture log;
  std::unique_ptr<IX500Name> name(IX500Name::Create(der));
  const std::wstring self = AddressText(name.get());
  const std::vector<std::wstring> trace = log.Trace();
  auto has = [&](const std::wstring& line) { return std::find(trace.begin(), trace.end(), line) != trace.end(); };
  EXPECT_EQ(trace.front(), L"8|IX500Name::Create");
  EXPECT_TRUE(has(L"8|ZT::Framework::CCNGX500Name::CCNGX500Name : this=" + self));
  EXPECT_TRUE(
      has(L"0|ZT::Framework::CCNGX500Name::CCNGX500Name : baEncodedName: 30 1e 31 0f 30 0d 06 03 55 04 03 14 06 "
          L"4a fc 72 67 65 6e 31 0b 30 09 06 03 55 04 06 13 02 44 45"));
  EXPECT_TRUE(has(L"16|ZT::Framework::CCNGX500Name::CCNGX500Name"));
  EXPECT_EQ(trace[trace.size() - 2], L"0|IX500Name::Create : pX500Name=" + self);
  EXPECT_EQ(trace.back(), L"16|IX500Name::Create");

  log.Clear();
  name->GetName(0x40000000u | IX500Name::kCRLFFlag);
  EXPECT_EQ(log.Trace(), (std::vector<std::wstring>{
                             L"8|ZT::Framework::CCNGX500Name::GetName : this=" + self,
                             L"0|ZT::Framework::CCNGX500Name::GetName : uiFormat=1207959552",
                             L"0|ZT::Framework::CCNGX500Name::GetName : sName=CN=J\u00fcrgen\r\nC=DE",
                             L"16|ZT::Framework::CCNGX500Name::GetName",
                         }));
  log.Clear();
  name.reset();
  EXPECT_EQ(log.At(NQLOG_ENTRY),
            std::vector<std::wstring>{L"ZT::Framework::CCNGX500Name::~CCNGX500Name : this=" + self});

  // Empty input is raised and wrapped.
  const LogCapture refusal;
  const auto e = Thrown([] { IX500Name::Create(ByteArray()); });
  ASSERT_NE(e, nullptr);
  EXPECT_EQ(e->getID(), CRYPTO_BAD_PARAM);
  EXPECT_EQ(refusal.At(NQLOG_ERROR), (std::vector<std::wstring>{
                                     L"ZT::Framework::CCNGX500Name::CCNGX500Name : baEncodedName=empty!",
                                     L"IX500Name::Create : new CX500Name() failed",
                                 }));
  EXPECT_EQ(refusal.At(NQLOG_EXIT), (std::vector<std::wstring>{
                                    L"ZT::Framework::CCNGX500Name::CCNGX500Name Returns baEncodedName=empty!",
                                    L"IX500Name::Create Returns new CX500Name() failed",
                                }));
  EXPECT_EQ(MessageAt(e.get(), 1), L"baEncodedName=empty!");
  EXPECT_EQ(e->getInnerException()->getFilename(), L"sources/cng/crypto.cng.x500name");
}

}  // namespace
