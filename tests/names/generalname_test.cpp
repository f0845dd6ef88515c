#include <gtest/gtest.h>

#include <memory>

#include "cng/crypto.cng.util.h"
#include "names_test_util.h"
#include "support/log_capture.h"

namespace {

using namespace ZT::Framework;
using namespace names_test;
using zttest::LogCapture;

struct Expected {
  const wchar_t* type;
  const wchar_t* format;
  const wchar_t* text;
  const char* encodedHex;
  const wchar_t* oid;
};

TEST(GeneralName, EveryImplementedKindOfAnOpenSSLAlternativeName) {
  const Asn1::GeneralNames info =
      CryptoUtil::DecodeObject<Structure::AlternateName>(Hex(OpensslAltNames()));
  const Expected expected[] = {
      {L"rfc822Name", L"String", L"user@example.com", "", L""},
      {L"dNSName", L"IA5String", L"www.example.com", "", L""},
      {L"uniformResourceIdentifier", L"IA5String", L"http://example.com/", "", L""},
      {L"IpAddress", L"IPadress", L"192.168.0.1", "c0a80001", L""},
      {L"IpAddress", L"IPadress", L"2001:db8::1", "20010db8000000000000000000000001", L""},
      {L"registeredID", L"ObjectIdentifier", L"1.2.3.4", "", L""},
      {L"OtherName", L"OtherName", L"", "0c1075736572406578616d706c652e636f6d", L"1.3.6.1.4.1.311.20.2.3"},
      {L"directoryName", L"X500Name", L"",
       "302f31143012060355040a130b4578616d706c65204f7267311730150603550403130e4469726563746f7279204e616d65", L""},
  };
  ASSERT_EQ(info.rgAltEntry.size(), std::size(expected));
  for (std::size_t i = 0; i < std::size(expected); ++i) {
    const std::unique_ptr<IGeneralName> name(CryptoUtil::GeneralNameFromAltNameEntry(&info.rgAltEntry[i]));
    EXPECT_EQ(name->GetNameType(), expected[i].type);
    EXPECT_EQ(name->GetFormat(), expected[i].format);
    EXPECT_EQ(name->GetString(), expected[i].text);
    EXPECT_EQ(name->GetEncoded(), Hex(expected[i].encodedHex));
    EXPECT_EQ(name->GetOID(), expected[i].oid);
  }
  // The directory name is a name of its own.
  const std::unique_ptr<IX500Name> directory(IX500Name::Create(info.rgAltEntry[7].DirectoryName));
  EXPECT_EQ(directory->GetName(0), L"O=Example Org, CN=Directory Name");
}

TEST(GeneralName, NullUnimplementedAndUnknownEntriesFail) {
  {
    const LogCapture log;
    ExpectFailure(Thrown([] { CryptoUtil::GeneralNameFromAltNameEntry(nullptr); }), CRYPTO_BAD_PARAM,
                  L"pAltNameEntry=empty!");
    EXPECT_EQ(log.At(NQLOG_ERROR),
              std::vector<std::wstring>{L"CryptoUtil::GeneralNameFromAltNameEntry : pAltNameEntry=NULL!"});
  }
  Asn1::GeneralName entry;
  struct Case {
    std::uint32_t choice;
    CryptoExceptionId id;
    const wchar_t* message;
  };
  for (const Case& c :
       {Case{Asn1::kX400AddressChoice, CRYPTO_NOT_IMPLEMENTED, L"Type not implemented: CERT_ALT_NAME_X400_ADDRESS"},
        Case{Asn1::kEdiPartyNameChoice, CRYPTO_NOT_IMPLEMENTED,
             L"Type not implemented: CERT_ALT_NAME_EDI_PARTY_NAME"},
        Case{0, CRYPTO_BAD_PARAM, L"Unknown type: 0"}, Case{10, CRYPTO_BAD_PARAM, L"Unknown type: 10"}}) {
    entry.dwAltNameChoice = c.choice;
    ExpectFailure(Thrown([&] { CryptoUtil::GeneralNameFromAltNameEntry(&entry); }), c.id, c.message);
  }
  // An entry whose value the factory refuses (an empty DNS name) is wrapped.
  entry.dwAltNameChoice = Asn1::kDnsNameChoice;
  const auto wrapped = Thrown([&] { CryptoUtil::GeneralNameFromAltNameEntry(&entry); });
  ASSERT_NE(wrapped, nullptr);
  EXPECT_EQ(wrapped->getMessage(), L"IGeneralName::Create() failed");
  EXPECT_EQ(MessageAt(wrapped.get(), 1), L"new CGeneralName() failed");
  EXPECT_EQ(MessageAt(wrapped.get(), 2), L"sName=empty!");
}

TEST(GeneralName, FactoriesRefuseTheWrongFormOfValue) {
  // Made from bytes (`hex`, "" for none) or from text (`text`, when `hex` is null).
  struct Case {
    const char* hex;
    const wchar_t* text;
    const wchar_t* type;
    CryptoExceptionId id;
    const wchar_t* inner;
  };
  constexpr const wchar_t* kNotString = L"ByteArray parameter passed instead of String";
  constexpr const wchar_t* kNotBytes = L"String parameter passed instead of ByteArray";
  for (const Case& c : {
           Case{"c0a80001", nullptr, L"dNSName", CRYPTO_BAD_PARAM, kNotString},
           Case{nullptr, L"10.0.0.1", L"IpAddress", CRYPTO_BAD_PARAM, kNotBytes},
           Case{"c0a80001", nullptr, L"x400Address", CRYPTO_NOT_IMPLEMENTED,
                L"Type not implemented: CERT_ALT_NAME_X400_ADDRESS"},
           Case{nullptr, L"x", L"ediPartyName", CRYPTO_NOT_IMPLEMENTED,
                L"Type not implemented: CERT_ALT_NAME_EDI_PARTY_NAME"},
           Case{"c0a80001", nullptr, L"ipaddress", CRYPTO_INTERNAL_ERROR, L"Unknown General Name Type"},
           Case{nullptr, L"x", L"DNSName", CRYPTO_INTERNAL_ERROR, L"Unknown General Name Type"},
           Case{"", nullptr, L"IpAddress", CRYPTO_BAD_PARAM, L"baEncodedName=empty!"},
           Case{"c0a80001", nullptr, L"", CRYPTO_BAD_PARAM, L"sNameType=empty!"},
           Case{nullptr, L"", L"dNSName", CRYPTO_BAD_PARAM, L"sName=empty!"},
           Case{nullptr, L"x", L"", CRYPTO_BAD_PARAM, L"sNameType=empty!"},
       }) {
    SCOPED_TRACE(testing::Message() << (c.hex ? c.hex : "text") << " as " << c.type);
    const auto e = Thrown(
        [&] { c.hex ? IGeneralName::Create(Hex(c.hex), c.type, L"") : IGeneralName::Create(WString(c.text), c.type); });
    ASSERT_NE(e, nullptr);
    EXPECT_EQ(e->getMessage(), L"new CGeneralName() failed");
    EXPECT_EQ(e->getID(), c.id);
    EXPECT_EQ(MessageAt(e.get(), 1), c.inner);
  }
}

TEST(GeneralName, TracesUnknownTypesEmptyOIDsAndWhatTheGettersGive) {
  const LogCapture log;
  Thrown([] { IGeneralName::Create(L"x", L"DNSName"); });
  const std::unique_ptr<IGeneralName> address(IGeneralName::Create(Hex("0a000001"), L"IpAddress", L""));
  EXPECT_EQ(log.At(NQLOG_ERROR), (std::vector<std::wstring>{
                                     L"CGeneralName::CGeneralName : Unknown General Name Type: DNSName",
                                     L"IGeneralName::Create : new CGeneralName() failed",
                                 }));
  EXPECT_EQ(log.At(NQLOG_WARNING), std::vector<std::wstring>{L"CGeneralName::CGeneralName : sOID=empty!"});
  EXPECT_EQ(address->GetString(), L"10.0.0.1");

  const std::unique_ptr<IGeneralName> name(IGeneralName::Create(Hex("0c0161"), L"OtherName", L"1.2.3"));
  const LogCapture getters(NQLOG_DATA);
  name->GetNameType();
  name->GetFormat();
  name->GetString();
  name->GetOID();
  name->GetEncoded();
  EXPECT_EQ(getters.At(NQLOG_DATA), (std::vector<std::wstring>{
                                        L"CGeneralName::GetNameType : m_sNameType=OtherName",
                                        L"CGeneralName::GetFormat : m_sNameFormat=OtherName",
                                        L"CGeneralName::GetString : m_sValue=",
                                        L"CGeneralName::GetOID : m_sOID=1.2.3",
                                        L"CGeneralName::GetEncoded : baEncoded: 0c 01 61",
                                    }));
}

}  // namespace
