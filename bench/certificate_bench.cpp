// Reading certificates: ICertificate::Create and the queries a smart-card client asks first
// (serial, issuer and subject text, extended key usage, alternative names, key usage), beside
// OpenSSL's d2i_X509 with the getters that answer the same. Over the RSA fixture certificates,
// and over the RSA certificates of the system's CA bundle. A rate is certificates per second.
#include <benchmark/benchmark.h>
#include <openssl/bio.h>
#include <openssl/pem.h>
#include <openssl/x509.h>
#include <openssl/x509v3.h>

#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include "zt/crypto.h"

namespace {

using namespace ZT::Framework;

struct BioFree {
  void operator()(BIO* bio) const { BIO_free(bio); }
};
using Bio = std::unique_ptr<BIO, BioFree>;

// The certificates that ICertificate::Create reads (RSA keys) and whose queries all answer.
bool ReadsFully(const ByteArray& der) {
  try {
    const std::unique_ptr<ICertificate> certificate(ICertificate::Create(CERT_FORMAT_X509, der));
    for (IGeneralName* name : static_cast<IX509Certificate*>(certificate.get())->GetSubjectAlternativeNames())
      delete name;
    return true;
  } catch (IException* e) {
    delete e;
    return false;
  }
}

std::vector<ByteArray> RsaOnly(const std::vector<ByteArray>& all) {
  std::vector<ByteArray> rsa;
  for (const ByteArray& der : all)
    if (ReadsFully(der)) rsa.push_back(der);
  return rsa;
}

std::vector<ByteArray> Fixtures() {
  std::vector<ByteArray> all;
  for (const char* name : {"logon", "logon_no_ds", "logon_agent", "efs", "upn_wrong_type", "all_extensions", "root",
                           "intermediate", "ca_pathlen", "v1", "serial_008f", "old_san", "sig_pss", "revoked"}) {
    std::ifstream in(std::string(ZT_FIXTURES_DIR "/certs/") + name + ".der", std::ios::binary);
    all.emplace_back(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
  }
  return RsaOnly(all);
}

std::vector<ByteArray> Bundle() {
  std::vector<ByteArray> all;
  const Bio bio(BIO_new_file("/etc/ssl/certs/ca-certificates.crt", "r"));
  for (char *name = nullptr, *header = nullptr; bio;) {
    unsigned char* data = nullptr;
    long size = 0;
    if (PEM_read_bio(bio.get(), &name, &header, &data, &size) != 1) break;
    all.emplace_back(data, data + size);
    OPENSSL_free(name);
    OPENSSL_free(header);
    OPENSSL_free(data);
  }
  return RsaOnly(all);
}

void ReadOurs(const ByteArray& der) {
  const std::unique_ptr<IX509Certificate> certificate(
      static_cast<IX509Certificate*>(ICertificate::Create(CERT_FORMAT_X509, der)));
  benchmark::DoNotOptimize(certificate->GetSerialNumber());
  benchmark::DoNotOptimize(certificate->GetIssuerDN()->GetName(0));
  benchmark::DoNotOptimize(certificate->GetSubjectDN()->GetName(0));
  benchmark::DoNotOptimize(certificate->GetExtendedKeyUsage());
  for (IGeneralName* name : certificate->GetSubjectAlternativeNames()) delete name;
  benchmark::DoNotOptimize(certificate->GetKeyUsage());
}

void ReadOpenssl(const ByteArray& der, BIO* text) {
  const unsigned char* p = der.data();
  X509* certificate = d2i_X509(nullptr, &p, static_cast<long>(der.size()));
  benchmark::DoNotOptimize(X509_get_serialNumber(certificate));
  X509_NAME_print_ex(text, X509_get_issuer_name(certificate), 0, XN_FLAG_ONELINE);
  X509_NAME_print_ex(text, X509_get_subject_name(certificate), 0, XN_FLAG_ONELINE);
  BIO_reset(text);
  EXTENDED_KEY_USAGE_free(
      static_cast<EXTENDED_KEY_USAGE*>(X509_get_ext_d2i(certificate, NID_ext_key_usage, nullptr, nullptr)));
  GENERAL_NAMES_free(
      static_cast<GENERAL_NAMES*>(X509_get_ext_d2i(certificate, NID_subject_alt_name, nullptr, nullptr)));
  benchmark::DoNotOptimize(X509_get_key_usage(certificate));
  X509_free(certificate);
}

// Reads every certificate of `set` once an iteration; the rate is in certificates.
template <class Read>
void ReadAll(benchmark::State& state, const std::vector<ByteArray>& set, Read read) {
  if (set.empty()) {
    state.SkipWithError("no certificates");
    return;
  }
  for (auto _ : state)
    for (const ByteArray& der : set) read(der);
  state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * set.size()));
}

const std::vector<ByteArray>& FixtureSet() {
  static const std::vector<ByteArray> set = Fixtures();
  return set;
}

const std::vector<ByteArray>& BundleSet() {
  static const std::vector<ByteArray> set = Bundle();
  return set;
}

void Ours(benchmark::State& state, const std::vector<ByteArray>& (*set)()) { ReadAll(state, set(), ReadOurs); }

void Openssl(benchmark::State& state, const std::vector<ByteArray>& (*set)()) {
  const Bio text(BIO_new(BIO_s_mem()));
  ReadAll(state, set(), [&](const ByteArray& der) { ReadOpenssl(der, text.get()); });
}

BENCHMARK_CAPTURE(Ours, fixtures, FixtureSet)->Name("certificate-read-fixtures/ours");
BENCHMARK_CAPTURE(Openssl, fixtures, FixtureSet)->Name("certificate-read-fixtures/openssl");
BENCHMARK_CAPTURE(Ours, bundle, BundleSet)->Name("certificate-read-ca-bundle/ours");
BENCHMARK_CAPTURE(Openssl, bundle, BundleSet)->Name("certificate-read-ca-bundle/openssl");

}  // namespace
