// Revocation checking with CRLs: a CRL counts only when its issuer, signature and dates hold;
// whatever cannot be decided is reported as unknown (and offline when a distribution point could
// not give a current CRL), never as good.

#include "platform/openssl/revocation.h"

#include "codec/crypto.asn1.extensions.h"

namespace ZT::Platform {
namespace {

namespace Asn1 = ZT::Framework::Asn1;
namespace Der = ZT::Framework::Der;

constexpr const char* kCrlDistributionPointsOid = "2.5.29.31";
// The largest CRL fetched.
constexpr std::size_t kMaxCrlSize = 16 * 1024 * 1024;
constexpr DWORD kDefaultTimeoutMilliseconds = 15000;

// A CRL that may decide: issued by `issuer`, signed with its key, and current at `time`.
bool Counts(const Crl& crl, PCCERT_CONTEXT issuer, std::uint64_t time) {
  return std::ranges::equal(crl.Issuer(), BlobBytes(issuer->pCertInfo->Subject)) && crl.ThisUpdate() <= time &&
         (crl.NextUpdate() == 0 || time <= crl.NextUpdate()) &&
         VerifySignedObject(crl.Encoded(), issuer->pCertInfo->SubjectPublicKeyInfo) == 0;
}

RevocationOutcome Decided(const Crl& crl, PCCERT_CONTEXT certificate) {
  if (crl.Lists(certificate->pCertInfo->SerialNumber)) return {CERT_TRUST_IS_REVOKED, CRYPT_E_REVOKED};
  return {};
}

RevocationOutcome Unknown(bool offline) {
  if (offline)
    return {CERT_TRUST_REVOCATION_STATUS_UNKNOWN | CERT_TRUST_IS_OFFLINE_REVOCATION, CRYPT_E_REVOCATION_OFFLINE};
  return {CERT_TRUST_REVOCATION_STATUS_UNKNOWN, CRYPT_E_NO_REVOCATION_CHECK};
}

// The URLs of the certificate's CRL distribution points (full names only), in order; a
// distribution-points extension that does not decode names none.
std::vector<std::string> DistributionPointUrls(PCCERT_CONTEXT certificate, bool* hasExtension) {
  const CERT_INFO& info = *certificate->pCertInfo;
  const PCERT_EXTENSION extension = CertFindExtension(kCrlDistributionPointsOid, info.cExtension, info.rgExtension);
  *hasExtension = extension != nullptr;
  std::vector<std::string> urls;
  Asn1::CrlDistributionPoints points;
  if (extension == nullptr || !ZT::Framework::Structure::CrlDistPoints::Decode(BlobBytes(extension->Value), &points))
    return urls;
  for (const auto& point : points.rgDistPoint)
    for (const auto& entry : point.DistPointName.FullName.rgAltEntry)
      if (entry.dwAltNameChoice == Asn1::kUriChoice) urls.emplace_back(entry.pwszURL.begin(), entry.pwszURL.end());
  return urls;
}

}  // namespace

UrlRetrieval::UrlRetrieval(bool allowed, DWORD timeoutMilliseconds, bool accumulative)
    : m_allowed(allowed),
      m_timeout(timeoutMilliseconds != 0 ? timeoutMilliseconds : kDefaultTimeoutMilliseconds),
      m_accumulative(accumulative),
      m_sharedDeadline(std::chrono::steady_clock::now() + m_timeout) {}

bool UrlRetrieval::Fetch(const std::string& url, std::vector<unsigned char>* body) {
  if (!m_allowed) return false;
  const Deadline deadline = m_accumulative ? m_sharedDeadline : std::chrono::steady_clock::now() + m_timeout;
  return std::chrono::steady_clock::now() < deadline && HttpGet(url, deadline, kMaxCrlSize, body);
}

RevocationOutcome CheckRevocation(PCCERT_CONTEXT certificate, PCCERT_CONTEXT issuer, std::uint64_t time,
                                  const TrustStore& store, UrlRetrieval& retrieval) {
  bool hasDistributionPoints = false;
  const std::vector<std::string> urls = DistributionPointUrls(certificate, &hasDistributionPoints);
  // Without the issuer's key no CRL can be checked.
  if (issuer == nullptr) return Unknown(false);
  for (const auto& crl : store.CrlsOf(issuer->pCertInfo->Subject))
    if (Counts(*crl, issuer, time)) return Decided(*crl, certificate);
  for (const std::string& url : urls) {
    std::vector<unsigned char> body;
    if (!retrieval.Fetch(url, &body)) continue;
    const auto crl = Crl::Parse({body.data(), body.size()});
    if (crl && Counts(*crl, issuer, time)) return Decided(*crl, certificate);
  }
  return Unknown(hasDistributionPoints);
}

}  // namespace ZT::Platform
