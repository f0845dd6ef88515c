// ECDH through the library beside the raw OpenSSL calls, on OpenSSL's default context:
// "ecdh-<curve>-agree": KeyAgreement::GenerateSecret with a peer's imported point, beside
// EVP_PKEY_derive (a fresh context, the peer set, the value derived) and the SHA-1 of the value,
// the peer's key decoded from its encoding on both sides;
// "ecdh-p256-keygen": KeyPairGenerator::GenerateKeyPair beside what gives the same, a key and the
// encoding of its public point to send: EVP_PKEY_generate on one generation context set up
// beforehand, then EVP_PKEY_get_octet_string_param ("/openssl"), or EVP_PKEY_Q_keygen, which sets
// a context up for each key, the usual one-shot idiom ("/openssl-one-shot").
#include <benchmark/benchmark.h>

#include <openssl/core_names.h>
#include <openssl/evp.h>
#include <openssl/sha.h>
#include <openssl/x509.h>

#include <memory>
#include <string>

#include "zt/crypto.h"

namespace {

using namespace ZT::Framework;

std::unique_ptr<IAlgorithm> Algorithm(const WString& name) {
  const std::unique_ptr<IAlgorithmParameters> parameters(IAlgorithmParameters::Create());
  return std::unique_ptr<IAlgorithm>(IAlgorithm::CreateFromFriendlyName(name, parameters.get()));
}

std::unique_ptr<IKeyPair> NewPair(IAlgorithm* curve) {
  const std::unique_ptr<KeyPairGenerator> generator(KeyPairGenerator::Create(curve, nullptr));
  return std::unique_ptr<IKeyPair>(generator->GenerateKeyPair());
}

void AgreeOurs(benchmark::State& state, const wchar_t* curveName) {
  const auto curve = Algorithm(curveName);
  const auto own = NewPair(curve.get()), other = NewPair(curve.get());
  // The peer's point as it arrives from elsewhere.
  const std::unique_ptr<IKey> peer(IKey::Create(curve.get(), L"ECCPublicKey", other->GetPublicKey()->GetEncoded()));
  const std::unique_ptr<KeyAgreement> agreement(KeyAgreement::Create(curve.get(), nullptr));
  agreement->Init(own->GetPrivateKey());
  for (auto _ : state) {
    const std::unique_ptr<ISharedSecret> secret(agreement->GenerateSecret(dynamic_cast<IPublicKey*>(peer.get())));
    benchmark::DoNotOptimize(secret.get());
  }
}

// The peer's public key as it arrives from elsewhere: decoded from its SubjectPublicKeyInfo.
EVP_PKEY* DecodedPeer(const char* group) {
  EVP_PKEY* generated = EVP_PKEY_Q_keygen(nullptr, nullptr, "EC", group);
  unsigned char* der = nullptr;
  const int length = i2d_PUBKEY(generated, &der);
  const unsigned char* in = der;
  EVP_PKEY* peer = d2i_PUBKEY(nullptr, &in, length);
  OPENSSL_free(der);
  EVP_PKEY_free(generated);
  return peer;
}

void AgreeOpenssl(benchmark::State& state, const char* group) {
  EVP_PKEY* own = EVP_PKEY_Q_keygen(nullptr, nullptr, "EC", group);
  EVP_PKEY* peer = DecodedPeer(group);
  unsigned char value[66], digest[SHA_DIGEST_LENGTH];
  for (auto _ : state) {
    EVP_PKEY_CTX* ctx = EVP_PKEY_CTX_new(own, nullptr);
    std::size_t size = sizeof(value);
    if (ctx == nullptr || EVP_PKEY_derive_init(ctx) != 1 || EVP_PKEY_derive_set_peer(ctx, peer) != 1 ||
        EVP_PKEY_derive(ctx, value, &size) != 1 ||
        EVP_Digest(value, size, digest, nullptr, EVP_sha1(), nullptr) != 1)
      state.SkipWithError("EVP_PKEY_derive");
    EVP_PKEY_CTX_free(ctx);
    benchmark::DoNotOptimize(digest);
  }
  EVP_PKEY_free(peer);
  EVP_PKEY_free(own);
}

void KeygenOurs(benchmark::State& state) {
  const auto curve = Algorithm(L"ECDH_P256");
  const std::unique_ptr<KeyPairGenerator> generator(KeyPairGenerator::Create(curve.get(), nullptr));
  for (auto _ : state) {
    const std::unique_ptr<IKeyPair> pair(generator->GenerateKeyPair());
    benchmark::DoNotOptimize(pair.get());
  }
}

void KeygenOpenssl(benchmark::State& state, bool oneShot) {
  EVP_PKEY_CTX* ctx = EVP_PKEY_CTX_new_from_name(nullptr, "EC", nullptr);
  char group[] = "P-256";
  const OSSL_PARAM params[] = {OSSL_PARAM_construct_utf8_string(OSSL_PKEY_PARAM_GROUP_NAME, group, 0),
                               OSSL_PARAM_construct_end()};
  if (EVP_PKEY_keygen_init(ctx) != 1 || EVP_PKEY_CTX_set_params(ctx, params) != 1) state.SkipWithError("keygen_init");
  unsigned char point[65];
  for (auto _ : state) {
    EVP_PKEY* pkey = nullptr;
    if (oneShot) pkey = EVP_PKEY_Q_keygen(nullptr, nullptr, "EC", "P-256");
    else EVP_PKEY_generate(ctx, &pkey);
    std::size_t size = 0;
    if (pkey == nullptr || EVP_PKEY_get_octet_string_param(pkey, OSSL_PKEY_PARAM_PUB_KEY, point, sizeof(point), &size) != 1)
      state.SkipWithError("EVP_PKEY_generate");
    benchmark::DoNotOptimize(point);
    EVP_PKEY_free(pkey);
  }
  EVP_PKEY_CTX_free(ctx);
}

const bool kRegistered = [] {
  benchmark::RegisterBenchmark("ecdh-p256-agree/ours", AgreeOurs, L"ECDH_P256")->Unit(benchmark::kMicrosecond);
  benchmark::RegisterBenchmark("ecdh-p256-agree/openssl", AgreeOpenssl, "P-256")->Unit(benchmark::kMicrosecond);
  benchmark::RegisterBenchmark("ecdh-p384-agree/ours", AgreeOurs, L"ECDH_P384")->Unit(benchmark::kMicrosecond);
  benchmark::RegisterBenchmark("ecdh-p384-agree/openssl", AgreeOpenssl, "P-384")->Unit(benchmark::kMicrosecond);
  benchmark::RegisterBenchmark("ecdh-p256-keygen/ours", KeygenOurs)->Unit(benchmark::kMicrosecond);
  benchmark::RegisterBenchmark("ecdh-p256-keygen/openssl", KeygenOpenssl, false)->Unit(benchmark::kMicrosecond);
  benchmark::RegisterBenchmark("ecdh-p256-keygen/openssl-one-shot", KeygenOpenssl, true)->Unit(benchmark::kMicrosecond);
  return true;
}();

}  // namespace
