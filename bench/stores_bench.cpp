// Loading a PKCS #7 bundle of 150 RSA certificates and listing its contexts, beside OpenSSL's
// d2i_PKCS7 with a walk over its certificates. A rate is certificates per second.
#include <benchmark/benchmark.h>
#include <openssl/pkcs7.h>
#include <openssl/x509.h>

#include <fstream>
#include <iterator>
#include <memory>

#include "zt/crypto.h"

namespace {

using namespace ZT::Framework;

const ByteArray& Bundle() {
  static const ByteArray bundle = [] {
    std::ifstream in(ZT_FIXTURES_DIR "/stores/bundle150.p7b", std::ios::binary);
    return ByteArray(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
  }();
  return bundle;
}

constexpr std::int64_t kCertificates = 150;

void Ours(benchmark::State& state) {
  for (auto _ : state) {
    const std::unique_ptr<ICertP7bStore> store(ICertP7bStore::Load(Bundle()));
    CertContextList contexts;
    store->ListCertContext(nullptr, contexts);
    for (ICertContext* context : contexts) benchmark::DoNotOptimize(context->GetCertificate());
    if (contexts.size() != kCertificates) state.SkipWithError("the bundle does not hold 150 certificates");
  }
  state.SetItemsProcessed(state.iterations() * kCertificates);
}

void Openssl(benchmark::State& state) {
  for (auto _ : state) {
    const unsigned char* p = Bundle().data();
    PKCS7* bundle = d2i_PKCS7(nullptr, &p, static_cast<long>(Bundle().size()));
    STACK_OF(X509)* certificates = bundle != nullptr ? bundle->d.sign->cert : nullptr;
    for (int i = 0; i < sk_X509_num(certificates); ++i) {
      X509* certificate = sk_X509_value(certificates, i);
      benchmark::DoNotOptimize(X509_get_serialNumber(certificate));
      benchmark::DoNotOptimize(X509_get_subject_name(certificate));
      benchmark::DoNotOptimize(X509_get_issuer_name(certificate));
    }
    if (sk_X509_num(certificates) != kCertificates) state.SkipWithError("the bundle does not hold 150 certificates");
    PKCS7_free(bundle);
  }
  state.SetItemsProcessed(state.iterations() * kCertificates);
}

BENCHMARK(Ours)->Name("p7b-load-list-150/ours")->Unit(benchmark::kMillisecond);
BENCHMARK(Openssl)->Name("p7b-load-list-150/openssl")->Unit(benchmark::kMillisecond);

}  // namespace
