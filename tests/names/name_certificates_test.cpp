// Names and alternative names inside certificates the openssl tool made
// (tests/fixtures/names/make-certs.sh), read through ICertificate and compared with what the
// tool reads from them.
#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "codec/crypto.asn1.names.h"
#include "names_test_util.h"
#include "support/command.h"

namespace {

using namespace ZT::Framework;
using namespace names_test;

ByteArray Fixture(const std::string& file) {
  const std::vector<unsigned char> bytes = zttest::ReadFixtureFile("names/certs/" + file);
  return ByteArray(bytes.begin(), bytes.end());
}

std::unique_ptr<IX509Certificate> Load(const std::string& name) {
  std::unique_ptr<ICertificate> certificate(ICertificate::Create(L"X509", Fixture(name + ".der")));
  return std::unique_ptr<IX509Certificate>(dynamic_cast<IX509Certificate*>(certificate.release()));
}

// The tool's text of the subject (UTF-8), with its key word for the e-mail address replaced by the
// one the platform's text form writes; the other key words and the layout are the same.
WString OpensslSubject(const std::string& name) {
  ByteArray text = Fixture(name + ".subject.txt");
  while (!text.empty() && text.back() == '\n') text.pop_back();
  WString subject = CConverter::MBCSByteArrayToString(text);
  const WString email = L"emailAddress=";
  if (const std::size_t at = subject.find(email); at != WString::npos) subject.replace(at, email.size(), L"E=");
  return subject;
}

StringList ValuesOf(const IX500Name& name, const wchar_t* oid) {
  StringList values;
  name.GetAttributeValue(oid, values);
  return values;
}

// PrintableStrings with '*', '&', '@', '_'; TeletexStrings of ISO 8859-1 octets; an IA5String
// with an 8-bit octet.
TEST(NameInCertificate, StringsBeyondTheirTypesSetReadAsTheToolReadsThem) {
  for (const std::string name : {"wildcard", "latin1"}) {
    SCOPED_TRACE(name);
    const auto certificate = Load(name);
    ASSERT_NE(certificate, nullptr);
    EXPECT_EQ(certificate->GetSubjectDN()->GetName(0), OpensslSubject(name));
    EXPECT_EQ(certificate->GetIssuerDN()->GetName(0), OpensslSubject(name));
  }
  const auto wildcard = Load("wildcard");
  EXPECT_EQ(ValuesOf(*wildcard->GetSubjectDN(), L"2.5.4.3"), StringList{L"*.example.com"});
  EXPECT_EQ(ValuesOf(*wildcard->GetSubjectDN(), L"2.5.4.11"), (StringList{L"R&D", L"ops@example.com"}));
  const auto latin1 = Load("latin1");
  EXPECT_EQ(ValuesOf(*latin1->GetSubjectDN(), L"1.2.840.113549.1.9.1"), StringList{L"j\u00fcrgen@example.com"});
  // A place of birth in ISO 8859-1 octets, and a date of birth before 1601, which renders as invalid.
  EXPECT_EQ(IOIDDecoder::DecodeOID(L"2.5.29.9", latin1->GetExtensionValue(L"2.5.29.9")),
            L"[Subject Directory Attributes]\r\n[1]Date of Birth\r\n     Invalid Date\r\n[2]Place of Birth\r\n"
            L"     Z\u00fcrich\r\n[3]Country of Citizenship\r\n     DE\r\n\r\n");
}

// What was read leniently is never written: the decoded names do not encode again as they stand;
// from the text, the wildcard name's values are encoded in the type that holds them (BMPString),
// and keys that take only a PrintableString or only an IA5String refuse those characters.
TEST(NameInCertificate, EncodingStaysStrict) {
  for (const std::string name : {"wildcard", "latin1"}) {
    const auto certificate = Load(name);
    Asn1::Name decoded;
    ByteArray encoded;
    ASSERT_TRUE(Structure::X509Name::Decode(certificate->GetSubjectDN()->GetEncoded(), &decoded)) << name;
    EXPECT_FALSE(Structure::X509Name::Encode(decoded, &encoded)) << name;
  }
  const auto wildcard = Load("wildcard");
  const std::unique_ptr<IX500Name> fromText(IX500Name::Create(wildcard->GetSubjectDN()->GetName(0)));
  EXPECT_EQ(fromText->GetName(0), wildcard->GetSubjectDN()->GetName(0));
  EXPECT_NE(fromText->GetEncoded(), wildcard->GetSubjectDN()->GetEncoded());

  const WString latin1 = Load("latin1")->GetSubjectDN()->GetName(0);
  for (const auto& [text, error] : std::initializer_list<std::pair<WString, const wchar_t*>>{
           {L"C=U&", L"Error encoding the blob (0x80092021)"},
           {L"SERIALNUMBER=*1", L"Error encoding the blob (0x80092021)"},
           {latin1, L"Error encoding the blob (0x80092022)"}}) {
    const auto e = Thrown([&t = text] { IX500Name::Create(t); });
    ASSERT_NE(e, nullptr);
    EXPECT_EQ(MessageAt(e.get(), 1), error);
  }
}

// An EDI party name is read with the certificate but cannot be rendered: the whole alternative
// name fails, in the certificate's list and in the OID decoder alike.
TEST(NameInCertificate, AlternativeNamesFailOnAnEdiPartyNameAndWinOverTheirSupersededForm) {
  const auto certificate = Load("san_edi");
  ASSERT_NE(certificate, nullptr);
  EXPECT_EQ(certificate->GetSubjectDN()->GetName(0), OpensslSubject("san_edi"));
  const ByteArray value = certificate->GetExtensionValue(L"2.5.29.17");
  ASSERT_FALSE(value.empty());
  const auto fromList = Thrown([&] { certificate->GetSubjectAlternativeNames(); });
  const auto fromDecoder = Thrown([&] { IOIDDecoder::DecodeOID(L"2.5.29.17", value); });
  for (const auto* e : {&fromList, &fromDecoder})
    ExpectFailure(*e, CRYPTO_NOT_IMPLEMENTED, L"Type not implemented: CERT_ALT_NAME_EDI_PARTY_NAME");

  // The alternative name extension wins over its superseded form.
  const auto both = Load("san_both");
  GeneralNameList names = both->GetSubjectAlternativeNames();
  std::vector<std::unique_ptr<IGeneralName>> owned(names.begin(), names.end());
  ASSERT_EQ(owned.size(), 2u);
  EXPECT_EQ(owned[0]->GetNameType(), L"dNSName");
  EXPECT_EQ(owned[0]->GetString(), L"new.example.com");
  EXPECT_EQ(owned[1]->GetNameType(), L"OtherName");
  EXPECT_EQ(owned[1]->GetOID(), L"1.3.6.1.4.1.311.20.2.3");
  // The superseded extension is there, with its own name.
  EXPECT_EQ(IOIDDecoder::DecodeOID(L"2.5.29.7", both->GetExtensionValue(L"2.5.29.7")),
            L"[Subject Alternative Name]\r\nold.example.com\r\n\r\n");
  EXPECT_EQ(IOIDDecoder::DecodeOID(L"2.5.29.17", both->GetExtensionValue(L"2.5.29.17")),
            L"[Subject Alternative Name]\r\nnew.example.com\r\nnew@example.com\r\n\r\n");
}

}  // namespace
