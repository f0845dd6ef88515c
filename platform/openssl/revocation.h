// Revocation checking of one chain element with CRLs, as the chain engine reports it.
#pragma once

#include <cstdint>

#include "platform/openssl/http.h"
#include "platform/openssl/truststore.h"

namespace ZT::Platform {

// How long CRL retrieval may take during one chain build: each fetch gets the whole time-out, or
// (accumulative) all fetches share it. With retrieval not allowed nothing is fetched.
class UrlRetrieval {
 public:
  UrlRetrieval(bool allowed, DWORD timeoutMilliseconds, bool accumulative);

  // The body of `url`, fetched within the time left; false when it cannot be had.
  bool Fetch(const std::string& url, std::vector<unsigned char>* body);

 private:
  bool m_allowed;
  std::chrono::milliseconds m_timeout;
  bool m_accumulative;
  Deadline m_sharedDeadline;
};

// The outcome for the chain: error status bits, and the revocation result as an error code
// (0, CRYPT_E_REVOKED, CRYPT_E_NO_REVOCATION_CHECK, CRYPT_E_REVOCATION_OFFLINE).
struct RevocationOutcome {
  DWORD errorStatus = 0;
  HRESULT result = 0;
};

// Whether `certificate`, issued by `issuer` (null when its issuer was not found), is revoked at
// `time`: the store's CRLs of the issuer are tried first, then those of the certificate's http
// distribution points. See CertGetCertificateChain for what is reported.
RevocationOutcome CheckRevocation(PCCERT_CONTEXT certificate, PCCERT_CONTEXT issuer, std::uint64_t time,
                                  const TrustStore& store, UrlRetrieval& retrieval);

}  // namespace ZT::Platform
