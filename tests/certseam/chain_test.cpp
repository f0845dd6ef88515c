#include <openssl/pem.h>
#include <openssl/x509.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <sstream>

#include "certseam_test_util.h"
#include "platform/openssl/http.h"
#include "support/local_http_server.h"

namespace {

using namespace certseam;

// The flags of a certificate's trust check: cache the end certificate, check revocation of the
// chain without its root, one time-out for all retrievals.
constexpr DWORD kTrustFlags = 0x48000001;
// The port of the CRL distribution point of the "cdp_local" fixture.
constexpr unsigned short kCdpPort = 47391;

struct ChainFree {
  void operator()(PCCERT_CHAIN_CONTEXT chain) const { CertFreeCertificateChain(chain); }
};
using Chain = std::unique_ptr<const CERT_CHAIN_CONTEXT, ChainFree>;

Chain BuildChain(PCCERT_CONTEXT certificate, DWORD flags = kTrustFlags, LPFILETIME time = nullptr) {
  CERT_CHAIN_PARA para{};
  para.cbSize = sizeof(para);
  para.dwUrlRetrievalTimeout = 2000;
  PCCERT_CHAIN_CONTEXT chain = nullptr;
  EXPECT_TRUE(CertGetCertificateChain(nullptr, certificate, time, nullptr, &para, flags, nullptr, &chain))
      << std::hex << GetLastError();
  return Chain(chain);
}

DWORD ErrorsOf(const std::string& name, DWORD flags = kTrustFlags, LPFILETIME time = nullptr) {
  const Context context = Load(name);
  EXPECT_NE(context, nullptr);
  const Chain chain = BuildChain(context.get(), flags, time);
  return chain ? chain->TrustStatus.dwErrorStatus : 0xFFFFFFFF;
}

const PCERT_CHAIN_ELEMENT* Elements(const Chain& chain) { return chain->rgpChain[0]->rgpElement; }

TEST(CertificateChain, ATrustedChainWithCurrentCrlsHasNoError) {
  const ScopedTrustStore store({"root"}, {"intermediate"}, {"root.crl", "intermediate.crl"});
  const Context logon = Load("logon");
  ASSERT_NE(logon, nullptr);
  const Chain chain = BuildChain(logon.get());
  ASSERT_NE(chain, nullptr);
  EXPECT_EQ(chain->TrustStatus.dwErrorStatus, static_cast<DWORD>(CERT_TRUST_NO_ERROR));
  EXPECT_EQ(chain->TrustStatus.dwInfoStatus, static_cast<DWORD>(CERT_TRUST_HAS_NAME_MATCH_ISSUER));
  ASSERT_EQ(chain->cChain, 1u);
  ASSERT_EQ(chain->rgpChain[0]->cElement, 3u);
  const PCERT_CHAIN_ELEMENT* elements = Elements(chain);
  const Context root = Load("root");
  ASSERT_NE(root, nullptr);
  EXPECT_EQ(elements[0]->pCertContext->cbCertEncoded, logon->cbCertEncoded);
  EXPECT_EQ(elements[2]->pCertContext->cbCertEncoded, root->cbCertEncoded);
  EXPECT_EQ(elements[2]->TrustStatus.dwInfoStatus,
            static_cast<DWORD>(CERT_TRUST_HAS_NAME_MATCH_ISSUER | CERT_TRUST_IS_SELF_SIGNED));
  // Revocation was checked for the leaf and the issuing CA, not for the root.
  ASSERT_NE(elements[0]->pRevocationInfo, nullptr);
  EXPECT_EQ(elements[0]->pRevocationInfo->dwRevocationResult, 0u);
  ASSERT_NE(elements[1]->pRevocationInfo, nullptr);
  EXPECT_EQ(elements[2]->pRevocationInfo, nullptr);

  // Before the hierarchy existed: every element out of its time, and no CRL current yet.
  FILETIME past = At(2023, 6, 1);
  EXPECT_EQ(ErrorsOf("logon", kTrustFlags, &past),
            static_cast<DWORD>(CERT_TRUST_IS_NOT_TIME_VALID | CERT_TRUST_REVOCATION_STATUS_UNKNOWN));
  Bytes forged = Fixture("logon");
  forged.back() ^= 1;
  const Context context = NewContext(forged);
  ASSERT_NE(context, nullptr);
  const Chain forgedChain = BuildChain(context.get());
  ASSERT_NE(forgedChain, nullptr);
  EXPECT_EQ(forgedChain->TrustStatus.dwErrorStatus, static_cast<DWORD>(CERT_TRUST_IS_NOT_SIGNATURE_VALID));
  EXPECT_EQ(Elements(forgedChain)[0]->TrustStatus.dwErrorStatus,
            static_cast<DWORD>(CERT_TRUST_IS_NOT_SIGNATURE_VALID));
}

// What `openssl verify` reports for `leaf` with the same roots, issuers and CRLs (revocation
// checked for every certificate it can): (error code, depth) for each error it prints; none when
// it says OK.
std::vector<std::pair<int, std::size_t>> OpensslVerify(const std::vector<std::string>& roots,
                                                       const std::vector<std::string>& issuers,
                                                       const std::vector<std::string>& crls, const std::string& leaf) {
  std::string command = "openssl verify -crl_check_all";
  if (roots.empty()) command += " -no-CAfile -no-CApath";
  for (const auto& root : roots) command += " -CAfile " + zttest::ShellQuoted(CertPath(root + ".pem"));
  for (const auto& issuer : issuers) command += " -untrusted " + zttest::ShellQuoted(CertPath(issuer + ".pem"));
  for (const auto& crl : crls) command += " -CRLfile " + zttest::ShellQuoted(CertPath(crl));
  std::istringstream lines(
      zttest::CommandOutput(command + " " + zttest::ShellQuoted(CertPath(leaf + ".pem")) + " 2>&1"));
  std::vector<std::pair<int, std::size_t>> errors;
  for (std::string line; std::getline(lines, line);) {
    int code = 0;
    std::size_t depth = 0;
    if (std::sscanf(line.c_str(), "error %d at %zu depth", &code, &depth) == 2) errors.emplace_back(code, depth);
  }
  return errors;
}

// The trust-status bit of an openssl verification error (X509_V_ERR_*).
DWORD TrustBitOf(int e) {
  if (e == 9 || e == 10) return CERT_TRUST_IS_NOT_TIME_VALID;          // not yet valid, expired
  if (e == 7) return CERT_TRUST_IS_NOT_SIGNATURE_VALID;                // signature failure
  if (e == 18 || e == 19) return CERT_TRUST_IS_UNTRUSTED_ROOT;         // self-signed, untrusted
  if (e == 2 || e == 20) return CERT_TRUST_IS_PARTIAL_CHAIN;           // issuer not found
  if (e == 3) return CERT_TRUST_REVOCATION_STATUS_UNKNOWN;             // no CRL
  if (e == 23) return CERT_TRUST_IS_REVOKED;                           // revoked
  return e == 25 ? CERT_TRUST_INVALID_BASIC_CONSTRAINTS : 0xFFFFFFFF;  // path length exceeded
}

// Each fault in its own bit of the error word, with the flags given; where marked, each error
// `openssl verify` reports (revocation checked but for the root) is reported at the same element.
TEST(CertificateChain, EachFaultShowsInItsOwnBitAsOpensslVerifyReportsIt) {
  using Names = std::vector<std::string>;
  struct Case {
    Names roots, issuers, crls;
    const char* leaf;
    DWORD flags, errors;
    std::size_t elements;
    bool openssl;
  };
  const Names root = {"root"}, issuing = {"intermediate"}, crls = {"root.crl", "intermediate.crl"};
  constexpr DWORD kUnknown = CERT_TRUST_REVOCATION_STATUS_UNKNOWN;
  const Case cases[] = {
      {root, issuing, crls, "logon", kTrustFlags, 0, 3, true},
      {root, issuing, crls, "sig_pss", kTrustFlags, 0, 3, true},
      {root, issuing, crls, "revoked", kTrustFlags, CERT_TRUST_IS_REVOKED, 3, true},
      {root, issuing, crls, "logon_expired", kTrustFlags, CERT_TRUST_IS_NOT_TIME_VALID, 3, true},
      // Without revocation flags nothing is checked; the root is too when the whole chain is.
      {root, issuing, crls, "revoked", CERT_CHAIN_CACHE_END_CERT, 0, 3, false},
      {root, issuing, crls, "logon", CERT_CHAIN_REVOCATION_CHECK_CHAIN, 0, 3, false},
      {root, issuing, crls, "revoked", CERT_CHAIN_REVOCATION_CHECK_END_CERT, CERT_TRUST_IS_REVOKED, 3, false},
      // The root known only as an issuer: the chain is complete and its root untrusted.
      {{}, {"intermediate", "root"}, crls, "logon", kTrustFlags, CERT_TRUST_IS_UNTRUSTED_ROOT, 3, true},
      // No root at all: the chain ends at the issuing CA, whose revocation nothing can check.
      {{}, issuing, {"intermediate.crl"}, "logon", kTrustFlags, CERT_TRUST_IS_PARTIAL_CHAIN | kUnknown, 2, false},
      // Without a current CRL revocation is unknown, never good (and not offline: the fixtures
      // name no distribution points); a CRL past its next update does not count.
      {root, issuing, {}, "logon", kTrustFlags, kUnknown, 3, true},
      {root, issuing, {}, "revoked", kTrustFlags, kUnknown, 3, false},
      {root, issuing, {"root.crl", "intermediate_stale.crl"}, "revoked", kTrustFlags, kUnknown, 3, false},
      // A path length that forbids the CA below, and an ECDSA issuer.
      {root, {"intermediate", "sub_ca"}, crls, "sub_leaf", CERT_CHAIN_CACHE_END_CERT,
       CERT_TRUST_INVALID_BASIC_CONSTRAINTS, 4, true},
      {root, {"ec_ca"}, {"root.crl"}, "sig_ecdsa_sha384", CERT_CHAIN_CACHE_END_CERT, 0, 3, true},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::Message() << c.leaf << " flags " << std::hex << c.flags);
    const ScopedTrustStore store(c.roots, c.issuers, c.crls);
    const Context leaf = Load(c.leaf);
    ASSERT_NE(leaf, nullptr);
    const Chain chain = BuildChain(leaf.get(), c.flags);
    ASSERT_NE(chain, nullptr);
    EXPECT_EQ(chain->TrustStatus.dwErrorStatus, c.errors) << std::hex << chain->TrustStatus.dwErrorStatus;
    ASSERT_EQ(chain->rgpChain[0]->cElement, c.elements);
    if (!c.openssl) continue;
    const auto theirs = OpensslVerify(c.roots, c.issuers, c.crls, c.leaf);
    // openssl checks revocation of the root too where it can; it has no CRL that covers the root.
    const Chain checked = BuildChain(leaf.get(), CERT_CHAIN_REVOCATION_CHECK_CHAIN_EXCLUDE_ROOT);
    ASSERT_NE(checked, nullptr);
    EXPECT_EQ(checked->TrustStatus.dwErrorStatus == 0, theirs.empty())
        << std::hex << checked->TrustStatus.dwErrorStatus;
    // openssl stops at some errors; each one it reports is reported here, at the same element.
    for (const auto& [code, depth] : theirs) {
      ASSERT_LT(depth, checked->rgpChain[0]->cElement);
      const DWORD bit = TrustBitOf(code);
      EXPECT_EQ(Elements(checked)[depth]->TrustStatus.dwErrorStatus & bit, bit)
          << "openssl error " << code << " at " << depth;
    }
  }
}

// The "cdp_local" leaf names http://127.0.0.1:47391/intermediate.crl; the store has no CRL of
// the issuing CA, so only that distribution point can decide. One test, so that no two cases
// share the port at once. A server that never answers is timed through VerifyTrust.
TEST(CertificateChain, RevocationByAFetchedCrl) {
  const ScopedTrustStore store({"root"}, {"intermediate"}, {"root.crl"});
  const Context leaf = Load("cdp_local");
  ASSERT_NE(leaf, nullptr);
  const Bytes crl = Fixture("intermediate.crl");
  const std::string crlResponse = zttest::LocalHttpServer::OkResponse(std::string(crl.begin(), crl.end()));
  constexpr DWORD kOffline = CERT_TRUST_REVOCATION_STATUS_UNKNOWN | CERT_TRUST_IS_OFFLINE_REVOCATION;
  {
    SCOPED_TRACE("nothing listens");
    const Chain chain = BuildChain(leaf.get());
    ASSERT_NE(chain, nullptr);
    EXPECT_EQ(chain->TrustStatus.dwErrorStatus, kOffline);
    EXPECT_EQ(Elements(chain)[0]->pRevocationInfo->dwRevocationResult, static_cast<DWORD>(CRYPT_E_REVOCATION_OFFLINE));
  }
  {
    SCOPED_TRACE("the CRL is served");
    const zttest::LocalHttpServer server(kCdpPort, crlResponse);
    if (!server.Listening()) GTEST_SKIP() << "port " << kCdpPort << " is taken";
    EXPECT_EQ(BuildChain(leaf.get())->TrustStatus.dwErrorStatus, 0u);
    EXPECT_EQ(server.Requests(), 1);
    // Cache only: the point is not even asked.
    EXPECT_EQ(BuildChain(leaf.get(), kTrustFlags | CERT_CHAIN_REVOCATION_CHECK_CACHE_ONLY)->TrustStatus.dwErrorStatus,
              kOffline);
    EXPECT_EQ(server.Requests(), 1);
  }
  {
    SCOPED_TRACE("something else is served");
    const zttest::LocalHttpServer server(kCdpPort, zttest::LocalHttpServer::OkResponse("not a CRL"));
    ASSERT_TRUE(server.Listening());
    EXPECT_EQ(BuildChain(leaf.get())->TrustStatus.dwErrorStatus, kOffline);
  }
}

// The first certificate of the system's CA bundle that is valid now.
Bytes CurrentSystemRoot() {
  BIO* bio = BIO_new_file("/etc/ssl/certs/ca-certificates.crt", "r");
  Bytes found;
  for (X509* x; found.empty() && bio && (x = PEM_read_bio_X509(bio, nullptr, nullptr, nullptr)); X509_free(x)) {
    unsigned char* der = nullptr;
    const int size = i2d_X509(x, &der);
    const Bytes bytes(der, der + std::max(size, 0));
    OPENSSL_free(der);
    const Context context = NewContext(bytes);
    if (context && CertVerifyTimeValidity(nullptr, context->pCertInfo) == 0) found = bytes;
  }
  BIO_free(bio);
  return found;
}

TEST(CertificateChain, TheSystemTrustStoreHoldsTheBundlesRootsAndNotTheFixtures) {
  const Bytes root = CurrentSystemRoot();
  ASSERT_FALSE(root.empty()) << "no current root in /etc/ssl/certs/ca-certificates.crt";
  const Context context = NewContext(root);
  const Chain chain = BuildChain(context.get());
  ASSERT_NE(chain, nullptr);
  EXPECT_EQ(chain->TrustStatus.dwErrorStatus, 0u);
  EXPECT_EQ(chain->rgpChain[0]->cElement, 1u);
  EXPECT_TRUE(Elements(chain)[0]->TrustStatus.dwInfoStatus & CERT_TRUST_IS_SELF_SIGNED);
  // The fixtures' root is not among them (the partial chain of a leaf is checked through VerifyTrust).
  EXPECT_EQ(ErrorsOf("root", CERT_CHAIN_CACHE_END_CERT), static_cast<DWORD>(CERT_TRUST_IS_UNTRUSTED_ROOT));
}

TEST(CertificateChain, RefusesWhatItDoesNotOffer) {
  const Context logon = Load("logon");
  ASSERT_NE(logon, nullptr);
  CERT_CHAIN_PARA para{};
  para.cbSize = sizeof(para);
  PCCERT_CHAIN_CONTEXT chain = nullptr;
  int engine = 0;
  LPSTR usage[] = {const_cast<LPSTR>("1.3.6.1.5.5.7.3.2")};
  EXPECT_EQ(ErrorOf(CertGetCertificateChain(&engine, logon.get(), nullptr, nullptr, &para, 0, nullptr, &chain)),
            Code(E_INVALIDARG));
  EXPECT_FALSE(CertGetCertificateChain(nullptr, nullptr, nullptr, nullptr, &para, 0, nullptr, &chain));
  para.cbSize = sizeof(DWORD);
  EXPECT_FALSE(CertGetCertificateChain(nullptr, logon.get(), nullptr, nullptr, &para, 0, nullptr, &chain));
  para.cbSize = sizeof(para);
  para.RequestedUsage.Usage = {1, usage};
  EXPECT_FALSE(CertGetCertificateChain(nullptr, logon.get(), nullptr, nullptr, &para, 0, nullptr, &chain));
  EXPECT_EQ(chain, nullptr);
  CertFreeCertificateChain(nullptr);
}

// ---- CRL retrieval: the seam's HTTP GET --------------------------------------------------------

using zttest::LocalHttpServer;
using namespace std::chrono_literals;

ZT::Platform::Deadline In(std::chrono::milliseconds time) { return std::chrono::steady_clock::now() + time; }

std::string Fetched(const std::string& response, const std::string& path = "/a.crl", std::size_t maxSize = 1024) {
  const LocalHttpServer server(0, response);
  std::vector<unsigned char> body;
  if (!ZT::Platform::HttpGet(server.Url(path), In(2000ms), maxSize, &body)) return "<failed>";
  return std::string(body.begin(), body.end());
}

TEST(HttpGet, TakesTheBodyOfAnOkAnswerFromAnHttpUrlOnly) {
  EXPECT_EQ(Fetched(LocalHttpServer::OkResponse("crl bytes")), "crl bytes");
  EXPECT_EQ(Fetched("HTTP/1.1 200 OK\r\n\r\nto the end"), "to the end");
  EXPECT_EQ(Fetched("HTTP/1.0 200 OK\r\nContent-Length: 3\r\n\r\nabcdef"), "abc");
  EXPECT_EQ(Fetched(LocalHttpServer::OkResponse(std::string(1024, 'x'))), std::string(1024, 'x'));

  // Anything else fails.
  EXPECT_EQ(Fetched("HTTP/1.0 404 Not Found\r\nContent-Length: 0\r\n\r\n"), "<failed>");
  EXPECT_EQ(Fetched("HTTP/1.0 301 Moved\r\nLocation: http://127.0.0.1/\r\n\r\n"), "<failed>");
  EXPECT_EQ(Fetched("HTTP/1.0 200 OK\r\nContent-Length: 10\r\n\r\nshort"), "<failed>");
  EXPECT_EQ(Fetched("HTTP/1.0 200 OK\r\nContent-Length: x\r\n\r\nbody"), "<failed>");
  EXPECT_EQ(Fetched("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n4\r\nbody\r\n0\r\n\r\n"), "<failed>");
  EXPECT_EQ(Fetched(LocalHttpServer::OkResponse(std::string(1025, 'x'))), "<failed>");
  EXPECT_EQ(Fetched("garbage"), "<failed>");

  // So does a URL it cannot fetch.
  std::vector<unsigned char> body;
  for (const char* url : {"https://127.0.0.1/a.crl", "ldap://127.0.0.1/cn=crl", "http://", "http://[::1/a",
                          "http://127.0.0.1:port/a", "http://127.0.0.1:123456/a"})
    EXPECT_FALSE(ZT::Platform::HttpGet(url, In(1000ms), 1024, &body)) << url;
}

TEST(HttpGet, GivesUpAtTheDeadline) {
  const LocalHttpServer server(0, "", LocalHttpServer::Mode::Stall);
  std::vector<unsigned char> body;
  const auto start = std::chrono::steady_clock::now();
  EXPECT_FALSE(ZT::Platform::HttpGet(server.Url("/a.crl"), In(200ms), 1024, &body));
  const auto elapsed = std::chrono::steady_clock::now() - start;
  EXPECT_GE(elapsed, 150ms);
  EXPECT_LT(elapsed, 3s);
  // A deadline already passed fails at once.
  EXPECT_FALSE(ZT::Platform::HttpGet(server.Url("/a.crl"), In(-1ms), 1024, &body));
}

TEST(HttpGet, AddressesIpv6LiteralsAndDefaultPaths) {
  const LocalHttpServer server(0, LocalHttpServer::OkResponse("ok"));
  std::vector<unsigned char> body;
  ASSERT_TRUE(ZT::Platform::HttpGet("HTTP://127.0.0.1:" + std::to_string(server.Port()), In(2000ms), 16, &body));
  EXPECT_EQ(std::string(body.begin(), body.end()), "ok");
  // Nothing listens on the IPv6 loopback at that port: refused, not hung.
  EXPECT_FALSE(ZT::Platform::HttpGet("http://[::1]:" + std::to_string(server.Port()) + "/", In(2000ms), 16, &body));
}

}  // namespace
