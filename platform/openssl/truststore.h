// What the chain engine trusts and where it looks for issuers and CRLs: the system trust store
// (the certificates of OpenSSL's default locations), or the store a test put in its place.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "codec/crypto.der.h"
#include "platform/openssl/certcontext.h"

namespace ZT::Platform {

// A certificate revocation list (RFC 5280 5.1), read with the library's DER reader. It owns its
// encoding; the views below point into it.
class Crl {
 public:
  // The CRL of the DER `der`, or null when it is not exactly one CRL.
  static std::shared_ptr<const Crl> Parse(ZT::Framework::Der::Bytes der);

  ZT::Framework::Der::Bytes Encoded() const { return {m_encoded.data(), m_encoded.size()}; }
  // The issuer's Name, as its DER.
  ZT::Framework::Der::Bytes Issuer() const { return m_issuer; }
  std::uint64_t ThisUpdate() const { return m_thisUpdate; }
  // 0 when the CRL names no next update.
  std::uint64_t NextUpdate() const { return m_nextUpdate; }
  // Whether the certificate with `serial` (as CERT_INFO holds it) is listed.
  bool Lists(const CRYPT_INTEGER_BLOB& serial) const;

  Crl(const Crl&) = delete;
  Crl& operator=(const Crl&) = delete;

 private:
  Crl() = default;
  bool Read();

  std::vector<unsigned char> m_encoded;
  ZT::Framework::Der::Bytes m_issuer;
  std::uint64_t m_thisUpdate = 0;
  std::uint64_t m_nextUpdate = 0;
  std::vector<ZT::Framework::Der::Bytes> m_revokedSerials;  // INTEGER contents, big-endian
};

class TrustStore {
 public:
  // Certificates and CRLs as DER; what does not decode is left out.
  TrustStore(const std::vector<std::vector<unsigned char>>& roots,
             const std::vector<std::vector<unsigned char>>& issuers,
             const std::vector<std::vector<unsigned char>>& crls);

  // The certificates whose subject is `name`: the trusted roots first, then the other issuers.
  std::vector<PCCERT_CONTEXT> CertificatesNamed(const CERT_NAME_BLOB& name) const;
  // Whether `certificate` is one of the trusted roots (the same encoding).
  bool IsTrustedRoot(PCCERT_CONTEXT certificate) const;
  // The CRLs whose issuer is `name`.
  std::vector<std::shared_ptr<const Crl>> CrlsOf(const CERT_NAME_BLOB& name) const;

 private:
  std::vector<CertContextRef> m_roots;
  std::vector<CertContextRef> m_issuers;
  std::vector<std::shared_ptr<const Crl>> m_crls;
};

// The store chains are built against now: the system's, loaded on first use (thread-safely), or
// the one a test put in its place (platform/testing.h).
std::shared_ptr<const TrustStore> CurrentTrustStore();

}  // namespace ZT::Platform
