// Certificate contexts, their signatures and times; and the date text, DATE, SYSTEMTIME and
// FILETIME conversions the times go through. Known dates: the DATE table of the OLE automation
// documentation (day 0 is 1899-12-30; before it the fraction still counts forward within the
// day) and the spreadsheet serial 45292 of 2024-01-01.
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string>

#include "certseam_test_util.h"
#include "platform/oleauto.h"
#include "support/sections.h"

namespace {

using namespace certseam;

// Serials, dates and thumbprints are compared with the openssl tool through the certificate
// classes (tests/certificate), which read them from these contexts.
TEST(CertificateContext, DecodesTheMembersOfCertInfoFromExactlyOneDerCertificate) {
  const Bytes der = Fixture("logon");
  const Context logon = NewContext(der);
  ASSERT_NE(logon, nullptr);
  // The context keeps its own copy of the encoding.
  ASSERT_EQ(logon->cbCertEncoded, der.size());
  EXPECT_NE(logon->pbCertEncoded, der.data());
  EXPECT_EQ(std::memcmp(logon->pbCertEncoded, der.data(), der.size()), 0);
  EXPECT_EQ(logon->hCertStore, nullptr);
  const CERT_INFO& info = *logon->pCertInfo;
  EXPECT_STREQ(info.SignatureAlgorithm.pszObjId, "1.2.840.113549.1.1.11");
  EXPECT_EQ(UpperHex(info.SignatureAlgorithm.Parameters.pbData, info.SignatureAlgorithm.Parameters.cbData), "0500");
  EXPECT_STREQ(info.SubjectPublicKeyInfo.Algorithm.pszObjId, "1.2.840.113549.1.1.1");
  EXPECT_EQ(info.SubjectPublicKeyInfo.PublicKey.cUnusedBits, 0u);
  // Issuer and subject are the DER Names: the issuing CA's subject is the logon's issuer.
  const Context issuer = Load("intermediate");
  ASSERT_NE(issuer, nullptr);
  ASSERT_EQ(info.Issuer.cbData, issuer->pCertInfo->Subject.cbData);
  EXPECT_EQ(std::memcmp(info.Issuer.pbData, issuer->pCertInfo->Subject.pbData, info.Issuer.cbData), 0);

  // Extensions in certificate order (the classes list them sorted), as extensions.cnf's [ logon ].
  const char* const oids[] = {"2.5.29.19", "2.5.29.15", "2.5.29.37", "2.5.29.17", "2.5.29.14", "2.5.29.35"};
  ASSERT_EQ(info.cExtension, std::size(oids));
  for (std::size_t i = 0; i < std::size(oids); ++i) EXPECT_STREQ(info.rgExtension[i].pszObjId, oids[i]);
  EXPECT_FALSE(info.rgExtension[0].fCritical);
  EXPECT_TRUE(info.rgExtension[1].fCritical);
  EXPECT_EQ(CertFindExtension("2.5.29.37", info.cExtension, info.rgExtension), &info.rgExtension[2]);
  SetLastError(0);
  EXPECT_EQ(ErrorOf(CertFindExtension("2.5.29.31", info.cExtension, info.rgExtension) != nullptr), Code(CRYPT_E_NOT_FOUND));

  // Unique identifiers keep their unused-bit counts (the classes give only the bytes).
  const Context v2 = NewContext(zttest::FromHex<Bytes>(zttest::kVersion2Certificate));
  ASSERT_NE(v2, nullptr) << std::hex << GetLastError();
  EXPECT_EQ(v2->pCertInfo->dwVersion, static_cast<DWORD>(CERT_V2));
  EXPECT_EQ(v2->pCertInfo->IssuerUniqueId.cUnusedBits, 4u);
  EXPECT_EQ(v2->pCertInfo->SubjectUniqueId.cUnusedBits, 0u);

  // What is not exactly one DER certificate is refused.
  const Bytes good = Fixture("logon");
  struct Case {
    const char* what;
    Bytes bytes;
    DWORD error;
  };
  Bytes trailing = good;
  trailing.push_back(0);
  Bytes truncated(good.begin(), good.end() - 1);
  Bytes notSequence = good;
  notSequence[0] = 0x31;
  Bytes badTbs = good;
  badTbs[4] = 0x31;  // the TBSCertificate must be a SEQUENCE
  for (const Case& c : {Case{"trailing byte", trailing, static_cast<DWORD>(CRYPT_E_ASN1_CORRUPT)},
                        Case{"truncated", truncated, static_cast<DWORD>(CRYPT_E_ASN1_CORRUPT)},
                        Case{"not a SEQUENCE", notSequence, static_cast<DWORD>(CRYPT_E_ASN1_BADTAG)},
                        Case{"TBS not a SEQUENCE", badTbs, static_cast<DWORD>(CRYPT_E_ASN1_CORRUPT)}}) {
    SCOPED_TRACE(c.what);
    SetLastError(0);
    EXPECT_EQ(NewContext(c.bytes), nullptr);
    EXPECT_EQ(GetLastError(), c.error);
  }
  SetLastError(0);
  EXPECT_EQ(ErrorOf(CertCreateCertificateContext(X509_ASN_ENCODING, nullptr, 0) != nullptr), Code(CRYPT_E_ASN1_EOD));
  const DWORD size = static_cast<DWORD>(good.size());
  EXPECT_EQ(ErrorOf(CertCreateCertificateContext(PKCS_7_ASN_ENCODING, good.data(), size) != nullptr), Code(E_INVALIDARG));
}

TEST(CertificateContext, DuplicatesShareTheContextUntilTheLastReferenceGoes) {
  const Bytes der = Fixture("logon");
  PCCERT_CONTEXT first = CertCreateCertificateContext(X509_ASN_ENCODING, der.data(), static_cast<DWORD>(der.size()));
  ASSERT_NE(first, nullptr);
  PCCERT_CONTEXT second = CertDuplicateCertificateContext(first);
  EXPECT_EQ(second, first);
  EXPECT_TRUE(CertFreeCertificateContext(first));
  // Still alive through the second reference (the sanitizer would see a use after free).
  EXPECT_EQ(second->pCertInfo->dwVersion, static_cast<DWORD>(CERT_V3));
  EXPECT_TRUE(CertFreeCertificateContext(second));
  EXPECT_TRUE(CertFreeCertificateContext(nullptr));
  EXPECT_EQ(CertDuplicateCertificateContext(nullptr), nullptr);
}

TEST(CertificateContext, HashPropertiesFollowTheSizeProtocol) {
  const Context context = Load("logon");
  ASSERT_NE(context, nullptr);
  DWORD size = 0;
  ASSERT_TRUE(CertGetCertificateContextProperty(context.get(), CERT_SHA1_HASH_PROP_ID, nullptr, &size));
  EXPECT_EQ(size, 20u);
  unsigned char hash[20];
  size = 19;
  SetLastError(0);
  EXPECT_EQ(ErrorOf(CertGetCertificateContextProperty(context.get(), CERT_SHA1_HASH_PROP_ID, hash, &size)),
            Code(ERROR_MORE_DATA));
  EXPECT_EQ(size, 20u);
  EXPECT_TRUE(CertGetCertificateContextProperty(context.get(), CERT_SHA1_HASH_PROP_ID, hash, &size));

  unsigned char md5[16];
  size = sizeof(md5);
  ASSERT_TRUE(CertGetCertificateContextProperty(context.get(), CERT_MD5_HASH_PROP_ID, md5, &size));
  EXPECT_EQ(UpperHex(md5, 16, ":"),
            zttest::FieldOf(zttest::OpensslX509("logon", "-fingerprint -md5"), "md5 Fingerprint"));

  SetLastError(0);
  EXPECT_EQ(ErrorOf(CertGetCertificateContextProperty(context.get(), 2, nullptr, &size)), Code(CRYPT_E_NOT_FOUND));
  EXPECT_EQ(ErrorOf(CertGetCertificateContextProperty(nullptr, CERT_SHA1_HASH_PROP_ID, nullptr, &size)), Code(E_INVALIDARG));
}

TEST(CertificateContext, TimeValidityAtItsBounds) {
  const Context context = Load("logon_expired");  // 2020-01-01 00:00:00 to 2021-01-01 00:00:00
  ASSERT_NE(context, nullptr);
  PCERT_INFO info = context->pCertInfo;
  FILETIME before = At(2019, 12, 31, 23, 59, 59), first = At(2020, 1, 1), last = At(2021, 1, 1),
           after = At(2021, 1, 1, 0, 0, 1);
  EXPECT_EQ(CertVerifyTimeValidity(&before, info), -1);
  EXPECT_EQ(CertVerifyTimeValidity(&first, info), 0);
  EXPECT_EQ(CertVerifyTimeValidity(&last, info), 0);
  EXPECT_EQ(CertVerifyTimeValidity(&after, info), 1);
  EXPECT_EQ(CertVerifyTimeValidity(nullptr, info), 1);  // now
  const Context current = Load("logon");
  ASSERT_NE(current, nullptr);
  EXPECT_EQ(CertVerifyTimeValidity(nullptr, current->pCertInfo), 0);
}

// ---- signatures -------------------------------------------------------------------------------

// Whether `der` verifies under the public key of fixture `issuer`; the last error when not.
struct Outcome {
  BOOL verified;
  DWORD error;
};
Outcome VerifyWith(const Bytes& der, const std::string& issuer) {
  const Context key = Load(issuer);
  EXPECT_NE(key, nullptr);
  SetLastError(0);
  const BOOL verified = CryptVerifyCertificateSignature(
      0, X509_ASN_ENCODING, der.data(), static_cast<DWORD>(der.size()), &key->pCertInfo->SubjectPublicKeyInfo);
  return {verified, verified ? 0u : GetLastError()};
}

struct Signed {
  const char* name;
  const char* issuer;
};
// Every signature algorithm of the fixtures, with the certificate (or CRL) that issued it.
const Signed kSigned[] = {
    {"sig_md5", "intermediate"},
    {"sig_sha1", "intermediate"},
    {"logon", "intermediate"},
    {"sig_sha384", "intermediate"},
    {"sig_sha512", "intermediate"},
    {"sig_pss", "intermediate"},
    {"sig_pss_sha384", "intermediate"},
    {"intermediate", "root"},
    {"root", "root"},
    {"sig_ecdsa", "ec_ca"},
    {"sig_ecdsa_sha384", "ec_ca"},
    {"ec_ca", "root"},
    {"intermediate.crl", "intermediate"},
    {"root.crl", "root"},
};

// Each verifies under its issuer's key and not under another key of the same kind (an RSA
// signature under another RSA key, an ECDSA signature under another EC key); changed input, and
// keys that do not suit the algorithm, are refused.
TEST(CertificateSignature, VerifiesUnchangedInputUnderTheIssuersSuitableKeyOnly) {
  for (const Signed& s : kSigned) {
    SCOPED_TRACE(s.name);
    const Outcome outcome = VerifyWith(Fixture(s.name), s.issuer);
    EXPECT_TRUE(outcome.verified) << std::hex << outcome.error;
    const Outcome other = VerifyWith(Fixture(s.name), std::string(s.issuer) == "ec_ca" ? "ec_leaf" : "logon");
    EXPECT_FALSE(other.verified);
    EXPECT_EQ(other.error, static_cast<DWORD>(NTE_BAD_SIGNATURE));
  }

  const Bytes good = Fixture("logon");
  Bytes signature = good;
  signature.back() ^= 1;
  // A byte of the subject's key, inside the signed part.
  const Context context = Load("logon");
  ASSERT_NE(context, nullptr);
  Bytes signedPart = good;
  signedPart[context->pCertInfo->SubjectPublicKeyInfo.PublicKey.pbData - context->pbCertEncoded + 10] ^= 1;
  // sha256WithRSAEncryption in the outer AlgorithmIdentifier made 1.2.840.113549.1.1.15, an
  // algorithm outside the list.
  Bytes unknown = good;
  const Bytes oid = {0x2A, 0x86, 0x48, 0x86, 0xF7, 0x0D, 0x01, 0x01, 0x0B};
  const auto outer = std::find_end(unknown.begin(), unknown.end(), oid.begin(), oid.end());
  ASSERT_NE(outer, unknown.end());
  *(outer + 8) = 0x0F;
  const Bytes truncated(good.begin(), good.end() - 1);
  struct Case {
    const char* what;
    Bytes der;
    const char* issuer;
    HRESULT error;
  };
  for (const Case& c : {Case{"changed signature", signature, "intermediate", NTE_BAD_SIGNATURE},
                        Case{"changed signed part", signedPart, "intermediate", NTE_BAD_SIGNATURE},
                        Case{"unknown algorithm", unknown, "intermediate", NTE_BAD_ALGID},
                        Case{"truncated", truncated, "intermediate", CRYPT_E_ASN1_CORRUPT},
                        Case{"ECDSA under RSA", Fixture("sig_ecdsa"), "root", NTE_BAD_ALGID},
                        Case{"PSS under EC", Fixture("sig_pss"), "ec_ca", NTE_BAD_ALGID},
                        Case{"PKCS #1 under EC", good, "ec_ca", NTE_BAD_ALGID}}) {
    SCOPED_TRACE(c.what);
    const Outcome outcome = VerifyWith(c.der, c.issuer);
    EXPECT_FALSE(outcome.verified);
    EXPECT_EQ(outcome.error, static_cast<DWORD>(c.error));
  }

  const Context key = Load("intermediate");
  ASSERT_NE(key, nullptr);
  CERT_PUBLIC_KEY_INFO broken = key->pCertInfo->SubjectPublicKeyInfo;
  broken.PublicKey.cbData -= 1;
  const DWORD size = static_cast<DWORD>(good.size());
  EXPECT_EQ(ErrorOf(CryptVerifyCertificateSignature(0, X509_ASN_ENCODING, good.data(), size, &broken)),
            Code(CRYPT_E_ASN1_CORRUPT));
  EXPECT_EQ(ErrorOf(CryptVerifyCertificateSignature(0, X509_ASN_ENCODING, good.data(), size, nullptr)), Code(E_INVALIDARG));
}

// ---- date text and times ------------------------------------------------------------------------

struct Parsed {
  HRESULT result;
  DATE date;
};

Parsed Parse(const wchar_t* text) {
  DATE date = -99999;
  const HRESULT result = VarDateFromStr(text, LOCALE_USER_DEFAULT, 0, &date);
  return {result, date};
}

// Each section of tests/fixtures/certseam/dates.txt: ISO dates and date-times, the user-default
// form, and month names, year-first dates and times alone (on day 0).
TEST(DateText, ReadsTheDocumentedFormsAndRefusesOtherText) {
  for (const char* section : {"iso", "user-default", "month-names"})
    for (const zttest::SectionLine& line : zttest::ReadSection("certseam/dates.txt", section)) {
      const std::wstring text(line.value.begin(), line.value.end());
      const Parsed parsed = Parse(text.c_str());
      EXPECT_EQ(parsed.result, S_OK) << line.value;
      EXPECT_DOUBLE_EQ(parsed.date, std::stod(line.key)) << line.value;
    }
  const Parsed padded = Parse(L"  2024-01-01  ");
  EXPECT_EQ(padded.result, S_OK);
  EXPECT_DOUBLE_EQ(padded.date, 45292.0);

  // Other text, and impossible dates, are refused.
  EXPECT_EQ(Parse(L"").result, DISP_E_TYPEMISMATCH);
  for (const zttest::SectionLine& line : zttest::ReadSection("certseam/dates.txt", "refused")) {
    const std::string text = line.value.empty() ? line.key : line.key + " " + line.value;
    EXPECT_EQ(Parse(std::wstring(text.begin(), text.end()).c_str()).result, DISP_E_TYPEMISMATCH) << text;
  }
  EXPECT_EQ(Parse(L"0099-12-31").result, DISP_E_OVERFLOW);
  EXPECT_EQ(Parse(L"2024-02-29").result, S_OK);
  DATE date = 0;
  EXPECT_EQ(VarDateFromStr(L"2024-01-01", 0x0409, 0, &date), E_INVALIDARG);
  EXPECT_EQ(VarDateFromStr(L"2024-01-01", LOCALE_USER_DEFAULT, 1, &date), E_INVALIDARG);
  EXPECT_EQ(VarDateFromStr(nullptr, LOCALE_USER_DEFAULT, 0, &date), E_INVALIDARG);
}

// "YYYY-MM-DD HH:MM:SS d" (d the day of the week) of a DATE; "-" when it has none.
std::string Text(DATE date) {
  SYSTEMTIME st{};
  if (!VariantTimeToSystemTime(date, &st)) return "-";
  char text[64];
  std::snprintf(text, sizeof text, "%04u-%02u-%02u %02u:%02u:%02u %u", st.wYear, st.wMonth, st.wDay, st.wHour,
                st.wMinute, st.wSecond, st.wDayOfWeek);
  return text;
}

TEST(DateText, DateToSystemTimeRoundsToTheSecond) {
  EXPECT_EQ(Text(45292.5 + 0.4 / 86400), "2024-01-01 12:00:00 1");  // a Monday
  EXPECT_EQ(Text(45292.5 + 0.6 / 86400), "2024-01-01 12:00:01 1");
  // The last half second of a day rounds into the next one.
  EXPECT_EQ(Text(45292.0 + 86399.6 / 86400), "2024-01-02 00:00:00 2");
  EXPECT_EQ(Text(-12.75), "1899-12-18 18:00:00 1");
  EXPECT_EQ(Text(-657434.0), "0100-01-01 00:00:00 5");
  EXPECT_EQ(Text(2958465.0), "9999-12-31 00:00:00 5");
  for (DATE outside : {-657435.0, 2958466.0, 2958465.0 + 86399.9 / 86400}) EXPECT_EQ(Text(outside), "-") << outside;
}

TEST(DateText, SystemTimeToFileTime) {
  FILETIME ft{};
  SYSTEMTIME st{1970, 1, 0, 1, 0, 0, 0, 0};
  ASSERT_TRUE(SystemTimeToFileTime(&st, &ft));
  EXPECT_EQ(static_cast<std::uint64_t>(ft.dwHighDateTime) << 32 | ft.dwLowDateTime, 116444736000000000ull);
  st = {1601, 1, 0, 1, 0, 0, 0, 1};
  ASSERT_TRUE(SystemTimeToFileTime(&st, &ft));
  EXPECT_EQ(ft.dwLowDateTime, 10000u);
  EXPECT_EQ(ft.dwHighDateTime, 0u);
  for (SYSTEMTIME bad : {SYSTEMTIME{1600, 12, 0, 31, 0, 0, 0, 0}, SYSTEMTIME{2024, 2, 0, 30, 0, 0, 0, 0},
                         SYSTEMTIME{2024, 1, 0, 1, 24, 0, 0, 0}, SYSTEMTIME{2024, 1, 0, 1, 0, 0, 0, 1000}}) {
    SetLastError(0);
    EXPECT_EQ(ErrorOf(SystemTimeToFileTime(&bad, &ft)), Code(ERROR_INVALID_PARAMETER));
  }
}

}  // namespace
