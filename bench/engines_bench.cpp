// The digest, HMAC, PBKDF2 and random engines beside the raw OpenSSL one-shot call each wraps, on
// OpenSSL's default context: "<operation>/ours" and "<operation>/openssl".
#include <benchmark/benchmark.h>

#include <openssl/evp.h>
#include <openssl/hmac.h>
#include <openssl/rand.h>

#include <memory>
#include <string>

#include "bench_util.h"
#include "zt/crypto.h"

namespace {

using namespace ZT::Framework;
using benchutil::Algorithm;
using benchutil::Message;

const ByteArray kHmacKey(32, 0x5c);

// Runs `hash` over a message of `size` bytes for every iteration; the rate is in bytes.
template <class Hash>
void HashThroughput(benchmark::State& state, std::size_t size, Hash hash) {
  const ByteArray message = Message(size);
  for (auto _ : state) hash(message);
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * size));
}

void DigestOurs(benchmark::State& state, std::size_t size) {
  const std::unique_ptr<MessageDigest> digest(MessageDigest::Create(Algorithm(L"SHA256").get(), nullptr));
  ByteArray out;
  HashThroughput(state, size, [&](const ByteArray& message) {
    digest->Digest(message, out);
    benchmark::DoNotOptimize(out.data());
  });
}

void DigestOpenssl(benchmark::State& state, std::size_t size) {
  unsigned char out[EVP_MAX_MD_SIZE];
  unsigned int length = 0;
  HashThroughput(state, size, [&](const ByteArray& message) {
    if (EVP_Digest(message.data(), message.size(), out, &length, EVP_sha256(), nullptr) != 1) state.SkipWithError("EVP_Digest");
    benchmark::DoNotOptimize(out);
  });
}

void HmacOurs(benchmark::State& state, std::size_t size) {
  const std::unique_ptr<MAC> mac(MAC::Create(Algorithm(L"HMAC_SHA256").get(), nullptr));
  const std::unique_ptr<IKey> key(IKey::Create(Algorithm(L"HMAC_SHA256").get(), L"RAW", kHmacKey));
  ByteArray out;
  HashThroughput(state, size, [&](const ByteArray& message) {
    mac->Init(key.get());  // each MAC needs its own Init
    mac->Mac(message, out);
    benchmark::DoNotOptimize(out.data());
  });
}

void HmacOpenssl(benchmark::State& state, std::size_t size) {
  unsigned char out[EVP_MAX_MD_SIZE];
  unsigned int length = 0;
  HashThroughput(state, size, [&](const ByteArray& message) {
    if (HMAC(EVP_sha256(), kHmacKey.data(), static_cast<int>(kHmacKey.size()), message.data(), message.size(), out,
             &length) == nullptr)
      state.SkipWithError("HMAC");
    benchmark::DoNotOptimize(out);
  });
}

constexpr int kIterations = 10000;
const ByteArray kPassword(16, 'p');
const ByteArray kSalt(16, 's');

void Pbkdf2Ours(benchmark::State& state) {
  const std::unique_ptr<ICryptoParserParameterMap> map(ICryptoParserParameterMap::Create());
  map->SetIterationCount(kIterations);
  map->SetHMACAlgorithmName(L"HMAC_SHA256");
  const std::unique_ptr<KeyDerivation> kdf(KeyDerivation::Create(Algorithm(L"PKCS5_PBKDF2").get(), map.get()));
  const std::unique_ptr<ISharedSecret> password(ISharedSecret::Create(kPassword));
  ByteArray out;
  for (auto _ : state) {
    kdf->Init(password.get());  // each derivation needs its own Init
    kdf->Derive(kSalt, 32, out);
    benchmark::DoNotOptimize(out.data());
  }
}

void Pbkdf2Openssl(benchmark::State& state) {
  unsigned char out[32];
  for (auto _ : state) {
    if (PKCS5_PBKDF2_HMAC(reinterpret_cast<const char*>(kPassword.data()), static_cast<int>(kPassword.size()),
                          kSalt.data(), static_cast<int>(kSalt.size()), kIterations, EVP_sha256(), sizeof out,
                          out) != 1)
      state.SkipWithError("PKCS5_PBKDF2_HMAC");
    benchmark::DoNotOptimize(out);
  }
}

// GenerateRandom of `size` bytes for every iteration, beside RAND_bytes on the default context.
void RandomOurs(benchmark::State& state, std::size_t size) {
  const std::unique_ptr<RandomGenerator> generator(
      RandomGenerator::Create(Algorithm(L"FIPS186DSARNG").get(), nullptr));
  ByteArray out;
  for (auto _ : state) {
    generator->GenerateRandom(static_cast<std::uint32_t>(size), out);
    benchmark::DoNotOptimize(out.data());
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * size));
}

void RandomOpenssl(benchmark::State& state, std::size_t size) {
  ByteArray out(size);
  for (auto _ : state) {
    if (RAND_bytes(out.data(), static_cast<int>(size)) != 1) state.SkipWithError("RAND_bytes");
    benchmark::DoNotOptimize(out.data());
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * size));
}

const bool kRegistered = [] {
  const std::pair<const char*, std::size_t> sizes[] = {{"64B", 64}, {"1KiB", 1024}, {"1MiB", 1 << 20}};
  for (const auto& [label, size] : sizes) {
    const std::string suffix = std::string("/") + label;
    benchmark::RegisterBenchmark(("sha256-digest" + suffix + "/ours").c_str(), DigestOurs, size);
    benchmark::RegisterBenchmark(("sha256-digest" + suffix + "/openssl").c_str(), DigestOpenssl, size);
    benchmark::RegisterBenchmark(("hmac-sha256" + suffix + "/ours").c_str(), HmacOurs, size);
    benchmark::RegisterBenchmark(("hmac-sha256" + suffix + "/openssl").c_str(), HmacOpenssl, size);
  }
  const std::pair<const char*, std::size_t> randomSizes[] = {{"64B", 64}, {"1MiB", 1 << 20}, {"16MiB", 16 << 20}};
  for (const auto& [label, size] : randomSizes) {
    const std::string name = std::string("random-") + label;
    benchmark::RegisterBenchmark((name + "/ours").c_str(), RandomOurs, size);
    benchmark::RegisterBenchmark((name + "/openssl").c_str(), RandomOpenssl, size);
  }
  benchmark::RegisterBenchmark("pbkdf2-hmac-sha256/10000/ours", Pbkdf2Ours)->Unit(benchmark::kMillisecond);
  benchmark::RegisterBenchmark("pbkdf2-hmac-sha256/10000/openssl", Pbkdf2Openssl)->Unit(benchmark::kMillisecond);
  return true;
}();

}  // namespace
