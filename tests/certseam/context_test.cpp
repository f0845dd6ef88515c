#include <algorithm>
#include <cctype>
#include <cstring>

#include "certseam_test_util.h"
#include "common/crypto.der.time.h"

namespace {

using namespace certseam;

const char* const kFixtures[] = {"root",        "intermediate",   "logon",     "logon_expired", "v1",
                                 "serial_008f", "all_extensions", "old_san",   "x400",          "ec_leaf",
                                 "ca_pathlen",  "sig_pss",        "sig_ecdsa", "ec_ca",         "revoked"};

Bytes Sha1Of(PCCERT_CONTEXT context) {
  Bytes hash(20);
  DWORD size = 20;
  EXPECT_TRUE(CertGetCertificateContextProperty(context, CERT_SHA1_HASH_PROP_ID, hash.data(), &size));
  return hash;
}

std::string IsoTime(const FILETIME& time) {
  ZT::Framework::Der::CalendarTime calendar;
  if (!ZT::Framework::Der::FromFileTimeTicks(static_cast<std::uint64_t>(time.dwHighDateTime) << 32 | time.dwLowDateTime,
                                             &calendar))
    return "<invalid>";
  char text[32];
  std::snprintf(text, sizeof text, "%04d-%02d-%02d %02d:%02d:%02dZ", calendar.year, calendar.month, calendar.day,
                calendar.hour, calendar.minute, calendar.second);
  return text;
}

// The serial as openssl prints a positive one: big-endian, the sign octet of a leading 0x80
// bit left out.
std::string SerialAsOpensslPrints(const CRYPT_INTEGER_BLOB& serial) {
  Bytes bigEndian(serial.pbData, serial.pbData + serial.cbData);
  std::reverse(bigEndian.begin(), bigEndian.end());
  if (bigEndian.size() > 1 && bigEndian[0] == 0 && bigEndian[1] >= 0x80) bigEndian.erase(bigEndian.begin());
  return UpperHex(bigEndian.data(), bigEndian.size());
}

TEST(CertificateContext, AgreesWithTheOpensslToolOnEveryFixture) {
  for (const char* name : kFixtures) {
    SCOPED_TRACE(name);
    const Context context = Load(name);
    ASSERT_NE(context, nullptr) << std::hex << GetLastError();
    const CERT_INFO& info = *context->pCertInfo;
    EXPECT_EQ(SerialAsOpensslPrints(info.SerialNumber), OpensslField(name, "-serial", "serial"));
    EXPECT_EQ(IsoTime(info.NotBefore), OpensslField(name, "-dates -dateopt iso_8601", "notBefore"));
    EXPECT_EQ(IsoTime(info.NotAfter), OpensslField(name, "-dates -dateopt iso_8601", "notAfter"));
    EXPECT_EQ(UpperHex(Sha1Of(context.get()).data(), 20, ":"),
              OpensslField(name, "-fingerprint -sha1", "sha1 Fingerprint"));
    // The context keeps its own copy of the encoding.
    const Bytes der = Fixture(name);
    ASSERT_EQ(context->cbCertEncoded, der.size());
    EXPECT_EQ(std::memcmp(context->pbCertEncoded, der.data(), der.size()), 0);
    EXPECT_EQ(context->pCertInfo, &info);
    EXPECT_EQ(context->hCertStore, nullptr);
  }
}

TEST(CertificateContext, DecodesTheMembersOfCertInfo) {
  const Context logon = Load("logon");
  ASSERT_NE(logon, nullptr);
  const CERT_INFO& info = *logon->pCertInfo;
  EXPECT_EQ(info.dwVersion, static_cast<DWORD>(CERT_V3));
  EXPECT_STREQ(info.SignatureAlgorithm.pszObjId, "1.2.840.113549.1.1.11");
  EXPECT_EQ(UpperHex(info.SignatureAlgorithm.Parameters.pbData, info.SignatureAlgorithm.Parameters.cbData), "0500");
  EXPECT_STREQ(info.SubjectPublicKeyInfo.Algorithm.pszObjId, "1.2.840.113549.1.1.1");
  EXPECT_EQ(info.SubjectPublicKeyInfo.PublicKey.cUnusedBits, 0u);
  EXPECT_EQ(info.IssuerUniqueId.cbData, 0u);
  // Issuer and subject are the DER Names: the issuing CA's subject is the logon's issuer.
  const Context issuer = Load("intermediate");
  ASSERT_NE(issuer, nullptr);
  ASSERT_EQ(info.Issuer.cbData, issuer->pCertInfo->Subject.cbData);
  EXPECT_EQ(std::memcmp(info.Issuer.pbData, issuer->pCertInfo->Subject.pbData, info.Issuer.cbData), 0);
  EXPECT_EQ(info.Subject.pbData[0], 0x30);
  // The public key is the one the openssl tool extracts: its SubjectPublicKeyInfo ends with the
  // key's bits.
  const std::string openssl = zttest::CommandOutput("openssl x509 -inform DER -noout -pubkey -in " +
                                                    zttest::ShellQuoted(CertPath("logon.der")) +
                                                    " | openssl pkey -pubin -outform DER | od -An -v -tx1");
  std::string hex;
  for (char c : openssl)
    if (std::isxdigit(static_cast<unsigned char>(c))) hex += static_cast<char>(std::toupper(c));
  const std::string keyBits =
      UpperHex(info.SubjectPublicKeyInfo.PublicKey.pbData, info.SubjectPublicKeyInfo.PublicKey.cbData);
  ASSERT_GT(hex.size(), keyBits.size());
  EXPECT_EQ(hex.substr(hex.size() - keyBits.size()), keyBits);

  // Extensions in certificate order, with the flags and values of extensions.cnf's [ logon ].
  const char* const oids[] = {"2.5.29.19", "2.5.29.15", "2.5.29.37", "2.5.29.17", "2.5.29.14", "2.5.29.35"};
  ASSERT_EQ(info.cExtension, std::size(oids));
  for (std::size_t i = 0; i < std::size(oids); ++i) EXPECT_STREQ(info.rgExtension[i].pszObjId, oids[i]);
  EXPECT_FALSE(info.rgExtension[0].fCritical);
  EXPECT_TRUE(info.rgExtension[1].fCritical);
  // keyUsage = digitalSignature, keyEncipherment: BIT STRING 05 A0 (five unused bits).
  EXPECT_EQ(UpperHex(info.rgExtension[1].Value.pbData, info.rgExtension[1].Value.cbData), "030205A0");
  EXPECT_EQ(CertFindExtension("2.5.29.37", info.cExtension, info.rgExtension), &info.rgExtension[2]);
  SetLastError(0);
  EXPECT_EQ(CertFindExtension("2.5.29.31", info.cExtension, info.rgExtension), nullptr);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(CRYPT_E_NOT_FOUND));
}

// A version 2 certificate written byte by byte (openssl x509 -text reads it: version 2, serial 5,
// issuer and subject CN=v2, an 8-bit RSA key, issuer unique ID ab:c0 with 4 unused bits, subject
// unique ID ef); its signature is not one.
constexpr const char* kVersion2 =
    "308192307da003020101020105300d06092a864886f70d01010b0500300d310b300906035504030c027632301e170d32343031303130"
    "30303030305a170d3334303130313030303030305a300d310b300906035504030c027632301d300d06092a864886f70d01010105000"
    "30c003009020200c30203010001810304abc0820200ef300d06092a864886f70d01010b050003020001";

TEST(CertificateContext, KeepsTheVersionAndTheSerialAsEncoded) {
  const Context v1 = Load("v1");
  ASSERT_NE(v1, nullptr);
  EXPECT_EQ(v1->pCertInfo->dwVersion, static_cast<DWORD>(CERT_V1));
  EXPECT_EQ(v1->pCertInfo->cExtension, 0u);
  EXPECT_EQ(v1->pCertInfo->rgExtension, nullptr);
  // Serial 00 8F 01 .. 08 as the platform gives it: least significant byte first, sign octet kept.
  const Context serial = Load("serial_008f");
  ASSERT_NE(serial, nullptr);
  const CRYPT_INTEGER_BLOB& blob = serial->pCertInfo->SerialNumber;
  EXPECT_EQ(UpperHex(blob.pbData, blob.cbData), "08070605040302018F00");

  Bytes v2Der;
  for (std::size_t i = 0; kVersion2[i] != 0; i += 2)
    v2Der.push_back(static_cast<unsigned char>(std::stoul(std::string(kVersion2 + i, 2), nullptr, 16)));
  const Context v2 = NewContext(v2Der);
  ASSERT_NE(v2, nullptr) << std::hex << GetLastError();
  const CERT_INFO& info = *v2->pCertInfo;
  EXPECT_EQ(info.dwVersion, static_cast<DWORD>(CERT_V2));
  EXPECT_EQ(UpperHex(info.IssuerUniqueId.pbData, info.IssuerUniqueId.cbData), "ABC0");
  EXPECT_EQ(info.IssuerUniqueId.cUnusedBits, 4u);
  EXPECT_EQ(UpperHex(info.SubjectUniqueId.pbData, info.SubjectUniqueId.cbData), "EF");
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
  EXPECT_EQ(CertCreateCertificateContext(X509_ASN_ENCODING, nullptr, 0), nullptr);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(CRYPT_E_ASN1_EOD));
  EXPECT_EQ(CertCreateCertificateContext(PKCS_7_ASN_ENCODING, good.data(), static_cast<DWORD>(good.size())), nullptr);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(E_INVALIDARG));
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
  EXPECT_FALSE(CertGetCertificateContextProperty(context.get(), CERT_SHA1_HASH_PROP_ID, hash, &size));
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_MORE_DATA));
  EXPECT_EQ(size, 20u);
  EXPECT_TRUE(CertGetCertificateContextProperty(context.get(), CERT_SHA1_HASH_PROP_ID, hash, &size));

  unsigned char md5[16];
  size = sizeof(md5);
  ASSERT_TRUE(CertGetCertificateContextProperty(context.get(), CERT_MD5_HASH_PROP_ID, md5, &size));
  EXPECT_EQ(UpperHex(md5, 16, ":"), OpensslField("logon", "-fingerprint -md5", "md5 Fingerprint"));

  SetLastError(0);
  EXPECT_FALSE(CertGetCertificateContextProperty(context.get(), 2, nullptr, &size));
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(CRYPT_E_NOT_FOUND));
  EXPECT_FALSE(CertGetCertificateContextProperty(nullptr, CERT_SHA1_HASH_PROP_ID, nullptr, &size));
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(E_INVALIDARG));
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
