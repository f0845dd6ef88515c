#include <cstring>

#include "certseam_test_util.h"

namespace {

using namespace certseam;

// Serials, dates and thumbprints are compared with the openssl tool through the certificate
// classes (tests/certificate), which read them from these contexts.
TEST(CertificateContext, DecodesTheMembersOfCertInfo) {
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
}

TEST(CertificateContext, RefusesWhatIsNotExactlyOneDerCertificate) {
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

}  // namespace
