// The cipher engines and CMAC beside the raw OpenSSL calls they wrap: "<operation>/ours" and
// "<operation>/openssl". OpenSSL's side fetches its algorithms once (the fastest way to call it)
// and does one message per iteration from a new context, as one-shot callers do; ours uses one
// engine and one key, with Init and DoFinal (or Mac) per message. AES also runs as
// "<operation>/openssl-implicit-fetch", through EVP_aes_*_cbc(), the usual one-shot idiom.
#include <benchmark/benchmark.h>

#include <openssl/core_names.h>
#include <openssl/evp.h>
#include <openssl/rsa.h>
#include <openssl/x509.h>

#include <fstream>
#include <iterator>
#include <memory>
#include <string>

#include "bench_util.h"
#include "zt/crypto.h"

namespace {

using namespace ZT::Framework;
using benchutil::Algorithm;
using benchutil::Message;

const ByteArray kIv(16, 0x24);

void SetBytes(benchmark::State& state, std::size_t size) {
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * size));
}

// AES-CBC with PKCS #7 padding; `decrypt` runs over the ciphertext of the message.
void AesCbcOurs(benchmark::State& state, std::size_t keyBytes, std::size_t size, bool decrypt) {
  const std::unique_ptr<ICryptoParserParameterMap> map(ICryptoParserParameterMap::Create());
  map->SetCipherMode(L"CBC");
  map->SetPadding(L"PKCS7");
  map->SetIV(kIv);
  const std::unique_ptr<Cipher> cipher(Cipher::Create(Algorithm(L"AES").get(), map.get()));
  const std::unique_ptr<IKey> key(IKey::Create(Algorithm(L"AES").get(), L"RAW", ByteArray(keyBytes, 0x5c)));
  ByteArray input = Message(size), out;
  if (decrypt) {
    cipher->Init(CIPHER_ENCRYPT_MODE, key.get());
    cipher->DoFinal(input, out);
    input = out;
  }
  for (auto _ : state) {
    cipher->Init(decrypt ? CIPHER_DECRYPT_MODE : CIPHER_ENCRYPT_MODE, key.get());
    cipher->DoFinal(input, out);
    benchmark::DoNotOptimize(out.data());
  }
  SetBytes(state, size);
}

// `fetched`: the cipher fetched once, as the fastest callers do; otherwise the EVP_aes_*_cbc()
// object, which OpenSSL fetches again at each initialisation (the usual one-shot idiom).
void AesCbcOpenssl(benchmark::State& state, std::size_t keyBytes, std::size_t size, bool decrypt, bool fetched) {
  EVP_CIPHER* aes = fetched ? EVP_CIPHER_fetch(nullptr, keyBytes == 16 ? "AES-128-CBC" : "AES-256-CBC", nullptr)
                            : const_cast<EVP_CIPHER*>(keyBytes == 16 ? EVP_aes_128_cbc() : EVP_aes_256_cbc());
  const ByteArray key(keyBytes, 0x5c);
  ByteArray input = Message(size), out(size + 16);
  const auto run = [&](bool encrypt, const ByteArray& in) {
    EVP_CIPHER_CTX* ctx = EVP_CIPHER_CTX_new();
    int written = 0, last = 0;
    if (EVP_CipherInit_ex2(ctx, aes, key.data(), kIv.data(), encrypt ? 1 : 0, nullptr) != 1 ||
        EVP_CipherUpdate(ctx, out.data(), &written, in.data(), static_cast<int>(in.size())) != 1 ||
        EVP_CipherFinal_ex(ctx, out.data() + written, &last) != 1)
      state.SkipWithError("EVP_Cipher");
    EVP_CIPHER_CTX_free(ctx);
    return written + last;
  };
  if (decrypt) input.assign(out.begin(), out.begin() + run(true, input));
  for (auto _ : state) {
    benchmark::DoNotOptimize(run(!decrypt, input));
    benchmark::DoNotOptimize(out.data());
  }
  if (fetched) EVP_CIPHER_free(aes);
  SetBytes(state, size);
}

const ByteArray kCmacKey(16, 0x3a);

void CmacOurs(benchmark::State& state, std::size_t size) {
  const std::unique_ptr<MAC> mac(MAC::Create(Algorithm(L"CMAC").get(), nullptr));
  const std::unique_ptr<IKey> key(IKey::Create(Algorithm(L"AES").get(), L"RAW", kCmacKey));
  const ByteArray message = Message(size);
  ByteArray out;
  for (auto _ : state) {
    mac->Init(key.get());  // each MAC needs its own Init
    mac->Mac(message, out);
    benchmark::DoNotOptimize(out.data());
  }
  SetBytes(state, size);
}

void CmacOpenssl(benchmark::State& state, std::size_t size) {
  EVP_MAC* cmac = EVP_MAC_fetch(nullptr, "CMAC", nullptr);
  char cipher[] = "AES-128-CBC";
  const OSSL_PARAM params[] = {OSSL_PARAM_construct_utf8_string(OSSL_MAC_PARAM_CIPHER, cipher, 0),
                               OSSL_PARAM_construct_end()};
  const ByteArray message = Message(size);
  unsigned char out[16];
  for (auto _ : state) {
    EVP_MAC_CTX* ctx = EVP_MAC_CTX_new(cmac);
    std::size_t length = 0;
    if (EVP_MAC_init(ctx, kCmacKey.data(), kCmacKey.size(), params) != 1 ||
        EVP_MAC_update(ctx, message.data(), message.size()) != 1 || EVP_MAC_final(ctx, out, &length, sizeof out) != 1)
      state.SkipWithError("EVP_MAC");
    EVP_MAC_CTX_free(ctx);
    benchmark::DoNotOptimize(out);
  }
  EVP_MAC_free(cmac);
  SetBytes(state, size);
}

ByteArray Rsa2048SubjectPublicKeyInfo() {
  std::ifstream in(ZT_FIXTURES_DIR "/rsa/rsa2048.pub.der", std::ios::binary);
  return ByteArray(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

const ByteArray kRsaMessage = Message(32);  // a key to carry

void RsaOaepOurs(benchmark::State& state) {
  const std::unique_ptr<ICryptoParserParameterMap> map(ICryptoParserParameterMap::Create());
  map->SetPadding(L"OAEP");
  const std::unique_ptr<Cipher> cipher(Cipher::Create(Algorithm(L"RSA").get(), map.get()));
  const std::unique_ptr<IKey> key(IKey::Create(Algorithm(L"RSA").get(), L"X509", Rsa2048SubjectPublicKeyInfo()));
  ByteArray out;
  for (auto _ : state) {
    cipher->Init(CIPHER_ENCRYPT_MODE, key.get());
    cipher->DoFinal(kRsaMessage, out);
    benchmark::DoNotOptimize(out.data());
  }
}

void RsaOaepOpenssl(benchmark::State& state) {
  const ByteArray der = Rsa2048SubjectPublicKeyInfo();
  const unsigned char* p = der.data();
  EVP_PKEY* pkey = d2i_PUBKEY(nullptr, &p, static_cast<long>(der.size()));
  unsigned char out[256];
  for (auto _ : state) {
    EVP_PKEY_CTX* ctx = EVP_PKEY_CTX_new(pkey, nullptr);
    std::size_t length = sizeof out;
    if (EVP_PKEY_encrypt_init(ctx) != 1 || EVP_PKEY_CTX_set_rsa_padding(ctx, RSA_PKCS1_OAEP_PADDING) != 1 ||
        EVP_PKEY_CTX_set_rsa_oaep_md(ctx, EVP_sha1()) != 1 ||
        EVP_PKEY_encrypt(ctx, out, &length, kRsaMessage.data(), kRsaMessage.size()) != 1)
      state.SkipWithError("EVP_PKEY_encrypt");
    EVP_PKEY_CTX_free(ctx);
    benchmark::DoNotOptimize(out);
  }
  EVP_PKEY_free(pkey);
}

const bool kRegistered = [] {
  const std::pair<const char*, std::size_t> sizes[] = {{"64B", 64}, {"1KiB", 1024}, {"1MiB", 1 << 20}};
  for (std::size_t keyBytes : {16, 32})
    for (bool decrypt : {false, true})
      for (const auto& [label, size] : sizes) {
        const std::string name = "aes-" + std::to_string(keyBytes * 8) + "-cbc-" + (decrypt ? "decrypt" : "encrypt") +
                                 "/" + label;
        benchmark::RegisterBenchmark((name + "/ours").c_str(), AesCbcOurs, keyBytes, size, decrypt);
        benchmark::RegisterBenchmark((name + "/openssl").c_str(), AesCbcOpenssl, keyBytes, size, decrypt, true);
        benchmark::RegisterBenchmark((name + "/openssl-implicit-fetch").c_str(), AesCbcOpenssl, keyBytes, size, decrypt,
                                     false);
      }
  for (const auto& [label, size] : {std::pair<const char*, std::size_t>{"64B", 64}, {"1MiB", 1 << 20}}) {
    const std::string name = std::string("cmac-aes-128/") + label;
    benchmark::RegisterBenchmark((name + "/ours").c_str(), CmacOurs, size);
    benchmark::RegisterBenchmark((name + "/openssl").c_str(), CmacOpenssl, size);
  }
  benchmark::RegisterBenchmark("rsa-2048-oaep-encrypt/ours", RsaOaepOurs);
  benchmark::RegisterBenchmark("rsa-2048-oaep-encrypt/openssl", RsaOaepOpenssl);
  return true;
}();

}  // namespace
