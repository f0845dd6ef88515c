#include <algorithm>

#include "certseam_test_util.h"

namespace {

using namespace certseam;

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
// signature under another RSA key, an ECDSA signature under another EC key).
TEST(CertificateSignature, VerifiesUnderTheIssuersKeyOnlyForEverySignatureAlgorithm) {
  for (const Signed& s : kSigned) {
    SCOPED_TRACE(s.name);
    const Outcome outcome = VerifyWith(Fixture(s.name), s.issuer);
    EXPECT_TRUE(outcome.verified) << std::hex << outcome.error;
    const Outcome other = VerifyWith(Fixture(s.name), std::string(s.issuer) == "ec_ca" ? "ec_leaf" : "logon");
    EXPECT_FALSE(other.verified);
    EXPECT_EQ(other.error, static_cast<DWORD>(NTE_BAD_SIGNATURE));
  }
}

TEST(CertificateSignature, RefusesChangedInputAndKeysThatDoNotSuitTheAlgorithm) {
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

}  // namespace
