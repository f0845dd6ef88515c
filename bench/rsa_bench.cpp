// RSA-2048 PKCS #1 v1.5 signature verification through Signature (Init, Update with the DigestInfo,
// Verify) beside OpenSSL's EVP_PKEY_verify on the same key and DigestInfo, on OpenSSL's default
// context: "rsa2048-pkcs1-verify/ours" and "rsa2048-pkcs1-verify/openssl".
#include <benchmark/benchmark.h>

#include <openssl/evp.h>
#include <openssl/rsa.h>
#include <openssl/x509.h>

#include <memory>

#include "zt/crypto.h"

namespace {

using namespace ZT::Framework;

// A DigestInfo of SHA-256 (RFC 8017, 9.2 note 1) over a fixed digest.
ByteArray DigestInfo() {
  ByteArray info{0x30, 0x31, 0x30, 0x0d, 0x06, 0x09, 0x60, 0x86, 0x48, 0x01,
                 0x65, 0x03, 0x04, 0x02, 0x01, 0x05, 0x00, 0x04, 0x20};
  for (int i = 0; i < 32; ++i) info.push_back(static_cast<unsigned char>(i * 7 + 1));
  return info;
}

// One key, its SubjectPublicKeyInfo and a signature of the DigestInfo, made once by OpenSSL.
struct Fixture {
  EVP_PKEY* pkey = EVP_RSA_gen(2048);
  ByteArray digestInfo = DigestInfo();
  ByteArray spki;
  ByteArray signature;

  Fixture() {
    unsigned char* der = nullptr;
    const int length = i2d_PUBKEY(pkey, &der);
    spki.assign(der, der + length);
    OPENSSL_free(der);
    EVP_PKEY_CTX* ctx = EVP_PKEY_CTX_new(pkey, nullptr);
    std::size_t size = 0;
    EVP_PKEY_sign_init(ctx);
    EVP_PKEY_CTX_set_rsa_padding(ctx, RSA_PKCS1_PADDING);
    EVP_PKEY_sign(ctx, nullptr, &size, digestInfo.data(), digestInfo.size());
    signature.resize(size);
    EVP_PKEY_sign(ctx, signature.data(), &size, digestInfo.data(), digestInfo.size());
    EVP_PKEY_CTX_free(ctx);
  }
  ~Fixture() { EVP_PKEY_free(pkey); }
};

const Fixture& Shared() {
  static const Fixture fixture;
  return fixture;
}

std::unique_ptr<IAlgorithm> Rsa() {
  const std::unique_ptr<IAlgorithmParameters> parameters(IAlgorithmParameters::Create());
  return std::unique_ptr<IAlgorithm>(IAlgorithm::CreateFromFriendlyName(L"RSA", parameters.get()));
}

void VerifyOurs(benchmark::State& state) {
  const Fixture& f = Shared();
  const std::unique_ptr<IKey> key(IKey::Create(Rsa().get(), L"X509", f.spki));
  auto* publicKey = dynamic_cast<IPublicKey*>(key.get());
  const std::unique_ptr<ICryptoParserParameterMap> map(ICryptoParserParameterMap::Create());
  map->SetPadding(L"PKCS1");
  const std::unique_ptr<Signature> engine(Signature::Create(Rsa().get(), map.get()));
  for (auto _ : state) {
    engine->Init(publicKey);  // each verification needs its own Init
    engine->Update(f.digestInfo);
    if (!engine->Verify(f.signature)) state.SkipWithError("signature did not verify");
  }
}

// The key is loaded once, as a caller holds it; each verification sets up its own context.
void VerifyOpenssl(benchmark::State& state) {
  const Fixture& f = Shared();
  for (auto _ : state) {
    EVP_PKEY_CTX* ctx = EVP_PKEY_CTX_new(f.pkey, nullptr);
    if (ctx == nullptr || EVP_PKEY_verify_init(ctx) != 1 || EVP_PKEY_CTX_set_rsa_padding(ctx, RSA_PKCS1_PADDING) != 1 ||
        EVP_PKEY_verify(ctx, f.signature.data(), f.signature.size(), f.digestInfo.data(), f.digestInfo.size()) != 1)
      state.SkipWithError("EVP_PKEY_verify");
    EVP_PKEY_CTX_free(ctx);
  }
}

BENCHMARK(VerifyOurs)->Name("rsa2048-pkcs1-verify/ours");
BENCHMARK(VerifyOpenssl)->Name("rsa2048-pkcs1-verify/openssl");

}  // namespace
