// Certificates in the forms issuers write beside DER (make-certs.sh unusual): each is read whole,
// its serial and dates agree with the openssl tool, its signature verifies under the issuing
// CA's key, and the policy answers as the rest of the certificate says.
#include "certificate_test_util.h"

namespace {

using namespace certtest;

struct Unusual {
  const char* name;
  bool pkiLogon;                       // UPN, digital signature and smart-card logon are all there
  const wchar_t* notBefore = nullptr;  // what the library gives where it differs from openssl
};

// "YYYY-MM-DD HH:MM:SS" of openssl's ISO 8601 form, which ends in "Z".
std::wstring OpensslDate(const std::string& fields, const std::string& key) {
  std::string value = FieldOf(fields, key);
  if (!value.empty() && value.back() == 'Z') value.pop_back();
  return std::wstring(value.begin(), value.end());
}

TEST(UnusualCertificates, ReadWholeAndAgreeWithTheOpensslTool) {
  const Unusual cases[] = {
      {"odd_serial_negative", false},  {"odd_serial_zero", false},       {"odd_serial_21_bytes", false},
      {"odd_dates_utc_window", false}, {"odd_dates_generalized", false}, {"odd_utc_no_seconds", true},
      {"odd_time_offsets", true},      {"odd_boolean_01", true},         {"odd_empty_eku", false},
      {"odd_empty_san", false},        {"odd_before_1601", true, L"Invalid Date"},
  };
  const auto issuer = Load("intermediate");
  for (const Unusual& c : cases) {
    SCOPED_TRACE(c.name);
    const ByteArray der = Der(c.name);
    std::unique_ptr<IX509Certificate> certificate;
    const auto e = Thrown([&] { certificate = Load(der); });
    ASSERT_EQ(e, nullptr) << Std(MessageAt(e.get(), 0)) << " / " << Std(MessageAt(e.get(), 1));
    const std::string fields = OpensslX509(c.name, "-serial -dates -dateopt iso_8601");
    EXPECT_EQ(SerialAsOpensslPrints(certificate->GetSerialNumber()), FieldOf(fields, "serial"));
    EXPECT_EQ(Std(certificate->GetNotBefore()), c.notBefore ? c.notBefore : OpensslDate(fields, "notBefore"));
    EXPECT_EQ(Std(certificate->GetNotAfter()), OpensslDate(fields, "notAfter"));
    EXPECT_TRUE(certificate->VerifySignature(issuer->GetPublicKey()));
    EXPECT_EQ(ICertificateProperties::nqIsCertOKForPKILogon(der.data(), static_cast<unsigned>(der.size())), c.pkiLogon);
  }
}

TEST(UnusualCertificates, ValidityOfShiftedAndEarlyDates) {
  // Read as 2023-12-31 23:00:00Z (+0100) to 2050-01-01 01:29:00Z (-0130).
  const auto offsets = Load("odd_time_offsets");
  EXPECT_TRUE(offsets->CheckValidity(L"2023-12-31 23:00:00"));
  EXPECT_FALSE(offsets->CheckValidity(L"2023-12-31 22:59:59"));
  EXPECT_TRUE(offsets->CheckValidity(L"2050-01-01 01:29:00"));
  EXPECT_FALSE(offsets->CheckValidity(L"2050-01-01 01:29:01"));
  // From 1500: earlier than any time a FILETIME holds, yet still before every one of them.
  const auto early = Load("odd_before_1601");
  EXPECT_TRUE(early->CheckValidity(L"1/1/1601"));
  EXPECT_TRUE(early->CheckValidity());
  EXPECT_FALSE(early->CheckValidity(L"2124-01-01"));
}

TEST(UnusualCertificates, NonCanonicalTrueAndEmptyListsAreRead) {
  const auto boolean = Load("odd_boolean_01");  // both criticality flags written as 01
  const std::unique_ptr<ICryptoParserFilter> critical(ICryptoParserFilter::Create());
  critical->SetCritical(1);
  StringList listed;
  boolean->ListExtensions(critical.get(), listed);
  EXPECT_EQ(Strings(listed), (std::vector<std::wstring>{L"2.5.29.15", L"2.5.29.19"}));

  const ByteArray emptyEku = Der("odd_empty_eku");
  EXPECT_TRUE(Load(emptyEku)->GetExtendedKeyUsage().empty());
  bool found = true;
  EXPECT_FALSE(ICertificateProperties::nqGetEKUFromCertificate(emptyEku.data(), static_cast<unsigned>(emptyEku.size()),
                                                               L"1.3.6.1.4.1.311.20.2.2", &found));
  EXPECT_FALSE(found);
  EXPECT_TRUE(Load("odd_empty_san")->GetSubjectAlternativeNames().empty());
}

TEST(UnusualCertificates, BytesAfterTheCertificateAreStillRefused) {
  const auto e = Thrown([] { Load("odd_trailing_byte"); });
  ASSERT_NE(e, nullptr);
  EXPECT_EQ(e->getID(), CRYPTO_BAD_PARAM);
  EXPECT_EQ(MessageAt(e.get(), 1), L"Error decoding the blob (0x80093103)");
}

}  // namespace
