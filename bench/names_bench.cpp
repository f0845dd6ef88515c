// X.500 names from DER to text, and the rendering of a certificate-policies value, beside the
// OpenSSL calls that do the same work: d2i_X509_NAME with X509_NAME_print_ex, and
// X509V3_EXT_print.
#include <benchmark/benchmark.h>
#include <openssl/bio.h>
#include <openssl/objects.h>
#include <openssl/x509.h>
#include <openssl/x509v3.h>

#include <memory>
#include <string_view>

#include "zt/crypto.h"

namespace {

using ZT::Framework::ByteArray;

ByteArray FromHex(std::string_view hex) {
  ByteArray bytes;
  for (std::size_t i = 0; i + 1 < hex.size(); i += 2) {
    auto nibble = [](char c) { return c <= '9' ? c - '0' : c - 'a' + 10; };
    bytes.push_back(static_cast<unsigned char>(nibble(hex[i]) << 4 | nibble(hex[i + 1])));
  }
  return bytes;
}

// "/CN=Test User/OU=Unit/OU=Unit 2/O=Acme, Inc./L=Springfield/ST=Oregon/C=US" as the openssl
// tool encodes it: a subject of the usual size.
const ByteArray kName = FromHex(
    "307d3112301006035504031309546573742055736572310d300b060355040b1304556e6974310f300d060355040b1306556e697420"
    "3231133011060355040a130a41636d652c20496e632e311430120603550407130b537072696e676669656c64310f300d0603550408"
    "13064f7265676f6e310b3009060355040613025553");

// certificatePolicies with a CPS pointer and a user notice, and the any-policy OID.
const ByteArray kPolicies = FromHex(
    "3077306d060a2b06010401868d1f0101305f302206082b060105050702011616687474703a2f2f6578616d706c652e636f6d2f6370"
    "73303906082b06010505070202302d30151a0b4578616d706c65204f726730060201010201021a1455736520617420796f7572206f"
    "776e207269736b30060604551d2000");

struct BioFree {
  void operator()(BIO* bio) const { BIO_free(bio); }
};
struct ExtensionFree {
  void operator()(X509_EXTENSION* ext) const { X509_EXTENSION_free(ext); }
};

void NameToText_Ours(benchmark::State& state) {
  for (auto _ : state) {
    const std::unique_ptr<ZT::Framework::IX500Name> name(ZT::Framework::IX500Name::Create(kName));
    benchmark::DoNotOptimize(name->GetName(0));
  }
}
BENCHMARK(NameToText_Ours)->Name("x500name-der-to-text/ours");

void NameToText_OpenSSL(benchmark::State& state) {
  const std::unique_ptr<BIO, BioFree> out(BIO_new(BIO_s_mem()));
  for (auto _ : state) {
    const unsigned char* p = kName.data();
    X509_NAME* name = d2i_X509_NAME(nullptr, &p, static_cast<long>(kName.size()));
    if (name == nullptr || X509_NAME_print_ex(out.get(), name, 0, XN_FLAG_ONELINE) <= 0) {
      state.SkipWithError("d2i_X509_NAME or X509_NAME_print_ex failed");
      X509_NAME_free(name);
      break;
    }
    char* text = nullptr;
    benchmark::DoNotOptimize(BIO_get_mem_data(out.get(), &text));
    BIO_reset(out.get());
    X509_NAME_free(name);
  }
}
BENCHMARK(NameToText_OpenSSL)->Name("x500name-der-to-text/openssl");

void DecodePolicies_Ours(benchmark::State& state) {
  for (auto _ : state) benchmark::DoNotOptimize(ZT::Framework::IOIDDecoder::DecodeOID(L"2.5.29.32", kPolicies));
}
BENCHMARK(DecodePolicies_Ours)->Name("decode-certificate-policies/ours");

void DecodePolicies_OpenSSL(benchmark::State& state) {
  ASN1_OCTET_STRING* value = ASN1_OCTET_STRING_new();
  ASN1_OCTET_STRING_set(value, kPolicies.data(), static_cast<int>(kPolicies.size()));
  const std::unique_ptr<X509_EXTENSION, ExtensionFree> extension(
      X509_EXTENSION_create_by_NID(nullptr, NID_certificate_policies, 0, value));
  ASN1_OCTET_STRING_free(value);
  const std::unique_ptr<BIO, BioFree> out(BIO_new(BIO_s_mem()));
  for (auto _ : state) {
    if (X509V3_EXT_print(out.get(), extension.get(), 0, 0) != 1) {
      state.SkipWithError("X509V3_EXT_print failed");
      break;
    }
    char* text = nullptr;
    benchmark::DoNotOptimize(BIO_get_mem_data(out.get(), &text));
    BIO_reset(out.get());
  }
}
BENCHMARK(DecodePolicies_OpenSSL)->Name("decode-certificate-policies/openssl");

}  // namespace
