// The X.509 certificate against the fixtures: what make-certs.sh put in them (extensions.cnf) and
// what the openssl tool reads from them.
#include <vector>

#include "certificate_test_util.h"
#include "platform/certificates.h"
#include "support/log_capture.h"

namespace {

using namespace certtest;
using zttest::LogCapture;

std::vector<std::wstring> Listed(const IX509Certificate& certificate, ICryptoParserFilter* filter) {
  StringList out;
  certificate.ListExtensions(filter, out);
  return Strings(out);
}

TEST(CertificateCreate, DispatchesOnTheExactFormatWordAndWrapsWhatKeepsACertificateFromBeingMade) {
  const ByteArray der = Der("logon");
  const auto certificate = Load(der);
  ASSERT_NE(certificate, nullptr);
  EXPECT_EQ(certificate->GetFormat(), L"X509");
  EXPECT_EQ(certificate->GetEncoded(), der);
  for (const wchar_t* word : {L"x509", L"X509 ", L"X.509", L"", L"cvc"}) {
    SCOPED_TRACE(word);
    ExpectFailure(Thrown([&] { delete ICertificate::Create(word, der); }), CRYPTO_BAD_PARAM, L"Unknown format");
  }
  // What keeps an X.509 certificate from being made is wrapped in the factory's message.
  struct Case {
    const char* what;
    ByteArray bytes;
    CryptoExceptionId id;
    std::vector<const wchar_t*> messages;  // outermost first
  };
  // Other decoding errors are the seam's (CertificateContext.RefusesWhatIsNotExactlyOneDerCertificate).
  // The public key is always read as RSA.
  const Case cases[] = {
      {"no bytes", {}, CRYPTO_BAD_PARAM, {L"new ICertificate() failed", L"baEncoded=empty!"}},
      {"not DER", {0x04, 0x01, 0x00}, CRYPTO_BAD_PARAM,
       {L"new ICertificate() failed", L"Error decoding the blob (0x8009310b)"}},
      {"an EC key", Der("ec_leaf"), CRYPTO_NOT_SUPPORTED,
       {L"new ICertificate() failed", L"new IPublicKey failed", L"new CCNGRSAPublicKey() failed"}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    const auto e = Thrown([&] { delete ICertificate::Create(CERT_FORMAT_X509, c.bytes); });
    ExpectFailure(e, c.id, c.messages[0]);
    for (std::size_t i = 1; i < c.messages.size(); ++i)
      EXPECT_EQ(MessageAt(e.get(), static_cast<int>(i)), c.messages[i]);
  }
}

TEST(CertificateCreate, TracesAnEmptyInputAndTheNewObject) {
  LogCapture log;
  Thrown([] { ICertificate::Create(CERT_FORMAT_X509, ByteArray()); });
  EXPECT_EQ(log.At(NQLOG_ERROR), (std::vector<std::wstring>{
                                     L"CCNGX509Certificate::CCNGX509Certificate : baEncoded=empty!",
                                     L"ICertificate::Create : new ICertificate() failed",
                                 }));
  EXPECT_EQ(log.At(NQLOG_EXIT).back(), L"ICertificate::Create Returns new ICertificate() failed");

  const ByteArray der = Der("logon");
  log.Clear();
  const std::unique_ptr<ICertificate> certificate(ICertificate::Create(CERT_FORMAT_X509, der));
  const std::vector<std::wstring> trace = log.Trace();
  EXPECT_EQ(trace.front(), L"8|ICertificate::Create");
  EXPECT_EQ(trace[1], L"8|CCNGX509Certificate::CCNGX509Certificate : this=" + zttest::AddressText(certificate.get()));
  EXPECT_EQ(trace[trace.size() - 2],
            L"0|ICertificate::Create : pCertificate=" + zttest::AddressText(certificate.get()));
  EXPECT_EQ(trace.back(), L"16|ICertificate::Create");
}

TEST(X509Certificate, ThumbprintAndKeyAgreeWithTheOpensslTool) {
  for (const char* name : {"logon", "v1", "serial_008f", "all_extensions", "root", "sig_pss"}) {
    SCOPED_TRACE(name);
    const auto certificate = Load(name);
    ASSERT_NE(certificate, nullptr);
    // Dates, serials and names are compared over the system's CA bundle.
    const std::string fields = OpensslX509(name, "-fingerprint -sha1 -modulus");
    EXPECT_EQ(UpperHex(certificate->GetHash(), ":"), FieldOf(fields, "sha1 Fingerprint"));
    const auto* key = dynamic_cast<IRSAPublicKey*>(certificate->GetPublicKey());
    ASSERT_NE(key, nullptr);
    EXPECT_EQ(UpperHex(key->GetModulus()), FieldOf(fields, "Modulus"));
    EXPECT_EQ(key->GetPublicExponent(), ByteArray({0x01, 0x00, 0x01}));
  }
}

TEST(X509Certificate, KeepsTheSerialTheVersionAndTheUniqueIdentifiersAsEncoded) {
  // make-certs.sh gave the serial 8F0102030405060708; its INTEGER needs the sign octet 00.
  EXPECT_EQ(Load("serial_008f")->GetSerialNumber(), FromHex("008F0102030405060708"));
  EXPECT_EQ(Load("v1")->GetSerialNumber(), FromHex("1234"));
  EXPECT_EQ(Load("v1")->GetVersion(), 0);
  EXPECT_EQ(Load("logon")->GetVersion(), 2);
  const auto v2 = Load(FromHex(zttest::kVersion2Certificate));
  EXPECT_EQ(v2->GetVersion(), 1);
  EXPECT_EQ(v2->GetIssuerUniqueID(), FromHex("ABC0"));
  EXPECT_EQ(v2->GetSubjectUniqueID(), FromHex("EF"));
  const LogCapture log;
  EXPECT_TRUE(Load("logon")->GetIssuerUniqueID().empty());
  EXPECT_EQ(log.At(NQLOG_WARNING),
            std::vector<std::wstring>{L"CCNGX509Certificate::GetIssuerUniqueID Found empty issuer unique id"});
}

TEST(X509Certificate, TheSignatureAndTheSignedPart) {
  const ByteArray der = Der("sig_pss");
  const auto certificate = Load(der);
  ISignature* signature = certificate->GetSignature();
  ASSERT_NE(signature, nullptr);
  EXPECT_EQ(signature->GetAlgorithm()->GetOID(), L"1.2.840.113549.1.1.10");
  ByteArray parameters;
  ASSERT_TRUE(signature->GetAlgorithm()->GetParameters()->GetEncoded(parameters));
  EXPECT_EQ(parameters.front(), 0x30);  // RSASSA-PSS-params
  // The value is the certificate's last 256 bytes (a 2048-bit issuer key, no unused bits).
  EXPECT_EQ(signature->GetValue(), ByteArray(der.end() - 256, der.end()));
  // The to-be-signed part follows the outer header (30 82 LL LL).
  const ByteArray tbs = certificate->GetTBSCertificate();
  ASSERT_GT(tbs.size(), 4u);
  EXPECT_EQ(ByteArray(der.begin() + 4, der.begin() + 4 + static_cast<std::ptrdiff_t>(tbs.size())), tbs);
}

TEST(X509Certificate, NamesAreMadeOnceWhenFirstAskedFor) {
  const auto certificate = Load("logon");
  IX500Name* issuer = certificate->GetIssuerDN();
  ASSERT_NE(issuer, nullptr);
  EXPECT_EQ(issuer, certificate->GetIssuerDN());
  EXPECT_EQ(issuer->GetName(0), L"C=DE, O=Example Org, CN=ZT Fixture Issuing CA");
  EXPECT_EQ(certificate->GetSubjectDN()->GetName(0), L"C=DE, O=Example Org, OU=Smart Card, CN=Alice Fixture (logon)");

  // An issuer whose first RDN is a SEQUENCE instead of a SET: the certificate reads, the name
  // does not.
  const ByteArray issuerDer = issuer->GetEncoded();
  const auto broken = Load(Patched(Der("logon"), UpperHex(ByteArray(issuerDer.begin(), issuerDer.begin() + 3)),
                                   UpperHex(ByteArray{issuerDer[0], issuerDer[1], 0x30})));
  ASSERT_NE(broken, nullptr);
  const auto e = Thrown([&] { broken->GetIssuerDN(); });
  ASSERT_NE(e, nullptr);
  EXPECT_EQ(e->getMessage(), L"new ICertificate() failed");
  EXPECT_EQ(MessageAt(e.get(), 1), L"new CX500Name() failed");
}

// The order by OID text and the critical-only filter are compared over the CA bundle (CABundle).
TEST(X509Certificate, ListsExtensionsThroughAFilterAndGivesTheirValues) {
  const auto certificate = Load("logon");
  const std::unique_ptr<ICryptoParserFilter> filter(ICryptoParserFilter::Create());
  filter->SetCritical(0);
  EXPECT_EQ(Listed(*certificate, filter.get()).size(), 5u);
  // An OID list keeps the extensions it names, in table order, where the criticality agrees.
  filter->SetOID(StringList{L"2.5.29.37", L"1.2.3.4", L"2.5.29.15", L"2.5.29.14"});
  EXPECT_EQ(Listed(*certificate, filter.get()), (std::vector<std::wstring>{L"2.5.29.14", L"2.5.29.37"}));
  filter->SetCritical(1);
  EXPECT_EQ(Listed(*certificate, filter.get()), std::vector<std::wstring>{L"2.5.29.15"});
  filter->SetOID(StringList{});
  EXPECT_TRUE(Listed(*certificate, filter.get()).empty());
  // The key may also hold one wide string.
  const std::unique_ptr<ICryptoParserFilter> single(ICryptoParserFilter::Create());
  single->Add(L"CryptoFilterOID", NQData(WString(L"2.5.29.37")));
  EXPECT_EQ(Listed(*certificate, single.get()), std::vector<std::wstring>{L"2.5.29.37"});
  single->Add(L"CryptoFilterOID", NQData(WString(L"2.5.29.3")));
  EXPECT_TRUE(Listed(*certificate, single.get()).empty());
  // keyUsage = critical, digitalSignature, keyEncipherment.
  EXPECT_EQ(certificate->GetExtensionValue(L"2.5.29.15"), FromHex("030205A0"));
  const LogCapture log;
  EXPECT_TRUE(certificate->GetExtensionValue(L"1.2.3.4").empty());
  EXPECT_TRUE(certificate->GetExtensionValue(L"").empty());
  EXPECT_EQ(log.At(NQLOG_WARNING), (std::vector<std::wstring>{
                                       L"CCNGX509Certificate::GetExtensionValue Unknown extension 1.2.3.4",
                                       L"CCNGX509Certificate::GetExtensionValue : sOID=empty!",
                                   }));
}

TEST(X509Certificate, KeyUsageBitsByteByByte) {
  // The bits in their order, decipherOnly the first of the second byte.
  using Bit = bool (IX509Certificate::*)() const;
  const Bit bits[] = {&IX509Certificate::IsDigitalSignature, &IX509Certificate::IsNonRepudiation,
                      &IX509Certificate::IsKeyEncipherment,  &IX509Certificate::IsDataEncipherment,
                      &IX509Certificate::IsKeyAgreement,     &IX509Certificate::IsKeyCertSign,
                      &IX509Certificate::IsCRLSign,          &IX509Certificate::IsEncipherOnly,
                      &IX509Certificate::IsDecipherOnly};
  // The key usage as `openssl x509 -ext keyUsage` names it. The logon's made one byte with
  // encipherOnly alone: decipherOnly reads a second byte that is not there.
  const std::pair<ByteArray, const char*> cases[] = {
      {Der("logon"), "A0"},           // digitalSignature, keyEncipherment
      {Der("all_extensions"), "F980"},  // every bit but keyCertSign and cRLSign
      {Der("root"), "06"},            // keyCertSign, cRLSign
      {Patched(Der("logon"), "0404030205A0", "040403020001"), "01"},
  };
  for (const auto& [der, usage] : cases) {
    SCOPED_TRACE(usage);
    const auto certificate = Load(der);
    const ByteArray expected = FromHex(usage);
    EXPECT_EQ(certificate->GetKeyUsage(), expected);
    for (std::size_t bit = 0; bit < std::size(bits); ++bit) {
      const bool set = bit / 8 < expected.size() && (expected[bit / 8] & (0x80 >> bit % 8)) != 0;
      const Bit isSet = bits[bit];
      EXPECT_EQ(((*certificate).*isSet)(), set) << "bit " << bit;
    }
  }

  const auto v1 = Load("v1");
  const LogCapture log;
  EXPECT_TRUE(v1->GetKeyUsage().empty());
  EXPECT_FALSE(v1->IsDigitalSignature());
  EXPECT_FALSE(v1->IsDecipherOnly());
  EXPECT_EQ(log.At(NQLOG_WARNING),
            std::vector<std::wstring>{L"CCNGX509Certificate::GetKeyUsage No key usage extension"});
  EXPECT_EQ(log.At(NQLOG_DATA),
            (std::vector<std::wstring>{L"CCNGX509Certificate::IsDigitalSignature : bDigitalSignature=0",
                                       L"CCNGX509Certificate::IsDecipherOnly : bDecipherOnly=0"}));
}

TEST(X509Certificate, ExtendedKeyUsageInCertificateOrder) {
  EXPECT_EQ(Strings(Load("logon")->GetExtendedKeyUsage()),
            (std::vector<std::wstring>{L"1.3.6.1.5.5.7.3.2", L"1.3.6.1.4.1.311.20.2.2"}));
  EXPECT_EQ(
      Strings(Load("logon_agent")->GetExtendedKeyUsage()),
      (std::vector<std::wstring>{L"1.3.6.1.4.1.311.20.2.2", L"1.3.6.1.4.1.311.20.2.1", L"1.3.6.1.4.1.311.10.3.4"}));
  const auto v1 = Load("v1");
  const LogCapture log;
  EXPECT_TRUE(v1->GetExtendedKeyUsage().empty());
  EXPECT_EQ(log.At(NQLOG_WARNING),
            std::vector<std::wstring>{L"CCNGX509Certificate::GetExtendedKeyUsage No extented key usage extension"});
}

struct Name {
  std::wstring type, format, text, oid;
  bool operator==(const Name&) const = default;
};

std::vector<Name> AltNames(const IX509Certificate& certificate) {
  std::vector<Name> names;
  for (IGeneralName* name : certificate.GetSubjectAlternativeNames()) {
    names.push_back({Std(name->GetNameType()), Std(name->GetFormat()), Std(name->GetString()), Std(name->GetOID())});
    delete name;
  }
  return names;
}

TEST(X509Certificate, SubjectAlternativeNamesWithTheSupersededExtensionAsFallback) {
  EXPECT_EQ(AltNames(*Load("logon")), (std::vector<Name>{
                                          {L"OtherName", L"OtherName", L"", L"1.3.6.1.4.1.311.20.2.3"},
                                          {L"rfc822Name", L"String", L"alice@example.test", L""},
                                      }));
  // Only 2.5.29.7 (extensions.cnf: a DNS name and an e-mail name).
  EXPECT_EQ(AltNames(*Load("old_san")), (std::vector<Name>{
                                            {L"dNSName", L"IA5String", L"old.example.test", L""},
                                            {L"rfc822Name", L"String", L"old@example.test", L""},
                                        }));
  const auto x400 = Load("x400");
  ExpectFailure(Thrown([&] { x400->GetSubjectAlternativeNames(); }), CRYPTO_NOT_IMPLEMENTED,
                L"Type not implemented: CERT_ALT_NAME_X400_ADDRESS");

  const auto v1 = Load("v1");
  const LogCapture log;
  EXPECT_TRUE(v1->GetSubjectAlternativeNames().empty());
  EXPECT_EQ(log.At(NQLOG_WARNING),
            std::vector<std::wstring>{L"CCNGX509Certificate::GetSubjectAlternativeNames No Subject alternative name"});
}

TEST(X509Certificate, ValidityNowAndAtAGivenDate) {
  const auto expired = Load("logon_expired");  // 2020-01-01 to 2021-01-01
  EXPECT_EQ(expired->GetNotBefore(), L"2020-01-01 00:00:00");
  EXPECT_FALSE(expired->CheckValidity());
  EXPECT_TRUE(Load("logon")->CheckValidity());
  // The text forms are the seam's (DateText); the bounds are inclusive.
  for (const wchar_t* inside : {L"2021-01-01T00:00:00", L"06/01/2020 12:00:00 PM", L"Jun 1, 2020", L"2020.06.01"})
    EXPECT_TRUE(expired->CheckValidity(inside)) << inside;
  // A time alone is on 1899-12-30.
  for (const wchar_t* outside : {L"2019-12-31 23:59:59", L"1/2/2021", L"10:30"})
    EXPECT_FALSE(expired->CheckValidity(outside)) << outside;

  const LogCapture log;
  EXPECT_FALSE(expired->CheckValidity(L""));
  EXPECT_EQ(log.At(NQLOG_WARNING), std::vector<std::wstring>{L"CCNGX509Certificate::CheckValidity : sDate=empty!"});
  ExpectFailure(Thrown([&] { expired->CheckValidity(L"first of May"); }), CRYPTO_INTERNAL_ERROR,
                L"Cannot parse specified date (first of May)");
}

// Every signature algorithm is checked at the platform seam, which this passes the key to.
TEST(X509Certificate, VerifiesItsSignatureUnderTheIssuersKey) {
  const auto logon = Load("logon");
  EXPECT_TRUE(logon->VerifySignature(Load("intermediate")->GetPublicKey()));
  EXPECT_FALSE(logon->VerifySignature(Load("root")->GetPublicKey()));
  // An RSA key cannot check an ECDSA signature.
  EXPECT_FALSE(Load("sig_ecdsa")->VerifySignature(Load("intermediate")->GetPublicKey()));

  const LogCapture log;
  ExpectFailure(Thrown([&] { Load("logon")->VerifySignature(nullptr); }), CRYPTO_BAD_PARAM, L"pPublicKey=empty!");
  EXPECT_EQ(log.At(NQLOG_ERROR), std::vector<std::wstring>{L"CCNGX509Certificate::VerifySignature : pPublicKey=null!"});
}

TEST(X509Certificate, ComparesByThumbprint) {
  const auto logon = Load("logon");
  const std::unique_ptr<ICertificate> clone(logon->Clone());
  EXPECT_EQ(clone->GetEncoded(), logon->GetEncoded());
  const LogCapture log;
  EXPECT_TRUE(logon->Compare(clone.get()));
  EXPECT_EQ(log.At(NQLOG_DATA).back(), L"CCNGX509Certificate::Compare : Certificate found");
  EXPECT_FALSE(logon->Compare(Load("logon_agent").get()));
  EXPECT_FALSE(logon->Compare(nullptr));
  const std::unique_ptr<ICertificate> cvc(ICertificate::Create(CERT_FORMAT_CVC, ByteArray()));
  EXPECT_FALSE(logon->Compare(cvc.get()));
}

}  // namespace
