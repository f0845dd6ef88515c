// CNG hashes and HMACs (object memory, the property protocol, handles, RFC 4231), random numbers,
// and PBKDF2 over the HMACs.

#include <openssl/evp.h>

#include <algorithm>
#include <set>
#include <sstream>

#include "platform_test_util.h"

using namespace zttest;

namespace {

const ULONG kHmac = BCRYPT_ALG_HANDLE_HMAC_FLAG;

// The whole sequence an engine runs: open, object length, create in caller memory, one update,
// digest length, finish, destroy, close.
Bytes Hash(const wchar_t* algorithm, const Bytes& data, ULONG openFlags = 0, const Bytes& secret = {}) {
  Provider provider(algorithm, openFlags);
  EXPECT_EQ(provider.status, STATUS_SUCCESS);
  Bytes object(UlongProperty(provider, BCRYPT_OBJECT_LENGTH));
  BCRYPT_HASH_HANDLE hash = nullptr;
  EXPECT_EQ(BCryptCreateHash(provider, &hash, object.data(), static_cast<ULONG>(object.size()),
                             const_cast<PUCHAR>(secret.data()), static_cast<ULONG>(secret.size()), 0),
            STATUS_SUCCESS);
  EXPECT_EQ(BCryptHashData(hash, const_cast<PUCHAR>(data.data()), static_cast<ULONG>(data.size()), 0), STATUS_SUCCESS);
  Bytes digest(UlongProperty(hash, BCRYPT_HASH_LENGTH));
  EXPECT_EQ(BCryptFinishHash(hash, digest.data(), static_cast<ULONG>(digest.size()), 0), STATUS_SUCCESS);
  EXPECT_EQ(BCryptDestroyHash(hash), STATUS_SUCCESS);
  return digest;
}

}  // namespace

// One published answer per digest (RFC 1321, FIPS 180-4) straight through the seam; the longer
// vectors run through MessageDigest and MAC. HMAC-SHA384/512 (RFC 4231) only the seam reaches.
TEST(CngHash, DigestsAndHmacsMatchPublishedExamplesAndAPlainProviderIgnoresTheSecret) {
  for (const SectionLine& v : ReadSection("platform/published.txt", "hash")) {
    std::istringstream fields(v.value);
    std::string hmac, secret, message, expected;
    fields >> hmac >> secret >> message >> expected;
    const std::wstring algorithm(v.key.begin(), v.key.end());
    EXPECT_EQ(ToHex(Hash(algorithm.c_str(), FromHex(message), hmac == "1" ? kHmac : 0, FromHex(secret))), expected)
        << v.key << " " << v.value;
  }
}

TEST(CngHash, ObjectLivesInCallerMemoryOfFullLengthAndIsWipedOnDestroy) {
  Provider provider(L"SHA256", kHmac);
  const ULONG length = UlongProperty(provider, BCRYPT_OBJECT_LENGTH);
  // One byte more, used from an odd address: placement must cope with any alignment.
  Bytes memory(length + 1, 0xA5), key(32, 0x42);
  PUCHAR object = memory.data() + 1;
  BCRYPT_HASH_HANDLE hash = nullptr;
  EXPECT_EQ(BCryptCreateHash(provider, &hash, object, length - 1, nullptr, 0, 0), STATUS_BUFFER_TOO_SMALL);
  EXPECT_EQ(hash, nullptr);
  ASSERT_EQ(BCryptCreateHash(provider, &hash, object, length, key.data(), 32, 0), STATUS_SUCCESS);
  EXPECT_TRUE(std::any_of(object, object + length, [](unsigned char b) { return b != 0xA5; }))
      << "the hash object is not in the caller's memory";
  EXPECT_EQ(memory[0], 0xA5);
  ASSERT_EQ(BCryptDestroyHash(hash), STATUS_SUCCESS);
  EXPECT_TRUE(std::all_of(object, object + length, [](unsigned char b) { return b == 0xA5 || b == 0; }))
      << "the destroyed object left data behind";
}

// A finished hash takes nothing but its destruction unless it is reusable; a hash outlives its
// provider; destroyed, closed and foreign handles are refused.
TEST(CngHash, HandlesLiveFromCreationToDestructionAndBadOnesAreRecognised) {
  Provider provider(L"SHA256");
  Bytes abc = FromText("abc"), digest(32);
  BCRYPT_HASH_HANDLE hash = nullptr, destroyed = nullptr;
  ASSERT_EQ(BCryptCreateHash(provider, &hash, nullptr, 0, nullptr, 0, 0), STATUS_SUCCESS);
  EXPECT_EQ(BCryptFinishHash(hash, digest.data(), 31, 0), STATUS_INVALID_PARAMETER) << "output must match exactly";
  EXPECT_EQ(BCryptFinishHash(hash, digest.data(), 33, 0), STATUS_INVALID_PARAMETER);
  EXPECT_EQ(BCryptFinishHash(hash, digest.data(), 32, 0), STATUS_SUCCESS);
  EXPECT_EQ(BCryptHashData(hash, abc.data(), 3, 0), STATUS_INVALID_HANDLE);
  EXPECT_EQ(BCryptFinishHash(hash, digest.data(), 32, 0), STATUS_INVALID_HANDLE);
  EXPECT_EQ(BCryptDestroyHash(hash), STATUS_SUCCESS);

  // A reusable HMAC starts afresh after each digest, with the same key.
  Provider hmac(L"SHA256", kHmac);
  Bytes jefe = FromText("Jefe"), question = FromText("what do ya want for nothing?");
  ASSERT_EQ(BCryptCreateHash(hmac, &hash, nullptr, 0, jefe.data(), 4, BCRYPT_HASH_REUSABLE_FLAG), STATUS_SUCCESS);
  for (int round = 0; round < 2; ++round) {
    EXPECT_EQ(BCryptHashData(hash, question.data(), static_cast<ULONG>(question.size()), 0), STATUS_SUCCESS);
    EXPECT_EQ(BCryptFinishHash(hash, digest.data(), 32, 0), STATUS_SUCCESS);
    EXPECT_EQ(ToHex(digest), "5bdcc146bf60754e6a042426089575c75a003f089d2739839dec58b964ec3843") << round;
  }
  EXPECT_EQ(BCryptDestroyHash(hash), STATUS_SUCCESS);

  BCRYPT_ALG_HANDLE closed = nullptr;
  ASSERT_EQ(BCryptOpenAlgorithmProvider(&closed, L"SHA1", nullptr, 0), STATUS_SUCCESS);
  ASSERT_EQ(BCryptCreateHash(closed, &destroyed, nullptr, 0, nullptr, 0, 0), STATUS_SUCCESS);
  ASSERT_EQ(BCryptCreateHash(closed, &hash, nullptr, 0, nullptr, 0, 0), STATUS_SUCCESS);
  ASSERT_EQ(BCryptDestroyHash(destroyed), STATUS_SUCCESS);
  ASSERT_EQ(BCryptCloseAlgorithmProvider(closed, 0), STATUS_SUCCESS);
  EXPECT_EQ(BCryptHashData(hash, abc.data(), 3, 0), STATUS_SUCCESS);
  EXPECT_EQ(BCryptFinishHash(hash, digest.data(), 20, 0), STATUS_SUCCESS);
  EXPECT_EQ(ToHex(Head(digest, 20)), "a9993e364706816aba3e25717850c26c9cd0d89d");
  EXPECT_EQ(BCryptDestroyHash(hash), STATUS_SUCCESS);

  ULONG got = 0;
  int stackObject = 0;
  for (BCRYPT_HASH_HANDLE h : {BCRYPT_HASH_HANDLE{}, destroyed, reinterpret_cast<BCRYPT_HASH_HANDLE>(0x1234),
                               static_cast<BCRYPT_HASH_HANDLE>(&stackObject), provider.handle}) {
    EXPECT_EQ(BCryptHashData(h, abc.data(), 3, 0), STATUS_INVALID_HANDLE);
    EXPECT_EQ(BCryptFinishHash(h, digest.data(), 20, 0), STATUS_INVALID_HANDLE);
    EXPECT_EQ(BCryptDestroyHash(h), STATUS_INVALID_HANDLE);
  }
  EXPECT_EQ(BCryptGetProperty(destroyed, BCRYPT_HASH_LENGTH, digest.data(), 4, &got, 0), STATUS_INVALID_HANDLE);
  EXPECT_EQ(BCryptCloseAlgorithmProvider(destroyed, 0), STATUS_INVALID_HANDLE);
  EXPECT_EQ(BCryptCloseAlgorithmProvider(closed, 0), STATUS_INVALID_HANDLE);
  EXPECT_EQ(BCryptCreateHash(closed, &hash, nullptr, 0, nullptr, 0, 0), STATUS_INVALID_HANDLE);
  EXPECT_EQ(BCryptGetProperty(closed, BCRYPT_OBJECT_LENGTH, digest.data(), 4, &got, 0), STATUS_INVALID_HANDLE);
}

TEST(CngProvider, OpensKnownAlgorithmsOnlyAndAnswersPropertyQueries) {
  BCRYPT_ALG_HANDLE handle = nullptr;
  EXPECT_EQ(BCryptOpenAlgorithmProvider(&handle, L"SHA224", nullptr, 0), STATUS_NOT_FOUND);
  EXPECT_EQ(BCryptOpenAlgorithmProvider(&handle, L"SHA256", L"Some Other Provider", 0), STATUS_NOT_FOUND);
  EXPECT_EQ(BCryptOpenAlgorithmProvider(&handle, L"AES", nullptr, kHmac), STATUS_NOT_FOUND);
  EXPECT_EQ(BCryptOpenAlgorithmProvider(&handle, L"SHA256", nullptr, 0x100), STATUS_INVALID_PARAMETER);
  EXPECT_EQ(BCryptOpenAlgorithmProvider(nullptr, L"SHA256", nullptr, 0), STATUS_INVALID_PARAMETER);
  EXPECT_EQ(BCryptOpenAlgorithmProvider(&handle, nullptr, nullptr, 0), STATUS_INVALID_PARAMETER);
  EXPECT_EQ(handle, nullptr);

  // Identifiers are matched without regard to case; the provider reports its own spelling.
  Provider lower(L"sha256");
  ASSERT_EQ(lower.status, STATUS_SUCCESS);
  wchar_t name[16] = {};
  ULONG got = 0;
  EXPECT_EQ(BCryptGetProperty(lower, BCRYPT_ALGORITHM_NAME, reinterpret_cast<PUCHAR>(name), sizeof(name), &got, 0),
            STATUS_SUCCESS);
  EXPECT_EQ(std::wstring(name), L"SHA256");
  EXPECT_EQ(got, 7 * sizeof(wchar_t));

  BCRYPT_ALG_HANDLE named = nullptr;
  EXPECT_EQ(BCryptOpenAlgorithmProvider(&named, L"AES", MS_PRIMITIVE_PROVIDER, 0), STATUS_SUCCESS);
  EXPECT_EQ(BCryptCloseAlgorithmProvider(named, 1), STATUS_INVALID_PARAMETER);
  EXPECT_EQ(BCryptCloseAlgorithmProvider(named, 0), STATUS_SUCCESS);

  // Properties follow the size query protocol.
  Provider provider(L"SHA384");
  EXPECT_EQ(BCryptGetProperty(provider, BCRYPT_HASH_LENGTH, nullptr, 0, &got, 0), STATUS_SUCCESS);
  EXPECT_EQ(got, sizeof(ULONG));
  UCHAR small[3] = {};
  got = 0;
  EXPECT_EQ(BCryptGetProperty(provider, BCRYPT_HASH_LENGTH, small, sizeof(small), &got, 0), STATUS_BUFFER_TOO_SMALL);
  EXPECT_EQ(got, sizeof(ULONG));
  EXPECT_EQ(UlongProperty(provider, BCRYPT_HASH_LENGTH), 48u);
  EXPECT_EQ(UlongProperty(provider, BCRYPT_HASH_BLOCK_LENGTH), 128u);
  EXPECT_GT(UlongProperty(provider, BCRYPT_OBJECT_LENGTH), 0u);
  EXPECT_EQ(BCryptGetProperty(provider, BCRYPT_BLOCK_LENGTH, nullptr, 0, &got, 0), STATUS_NOT_SUPPORTED);
  EXPECT_EQ(BCryptGetProperty(provider, L"NoSuchProperty", nullptr, 0, &got, 0), STATUS_NOT_SUPPORTED);
  EXPECT_EQ(BCryptGetProperty(provider, BCRYPT_HASH_LENGTH, nullptr, 0, nullptr, 0), STATUS_INVALID_PARAMETER);
  EXPECT_EQ(BCryptGetProperty(provider, BCRYPT_HASH_LENGTH, nullptr, 0, &got, 1), STATUS_INVALID_PARAMETER);
  UCHAR mode[64];
  EXPECT_EQ(BCryptSetProperty(provider, BCRYPT_CHAINING_MODE, mode, sizeof(mode), 0), STATUS_NOT_SUPPORTED);
}

// Handles made and released from several threads at once (HMACs duplicated from one shared,
// configured context) must still give right digests.
TEST(CngHash, ThreadsHashConcurrently) {
  std::vector<int> failures(4, 0);
  InThreads(4, [&failures](int t) {
    for (int i = 0; i < 200; ++i) {
      failures[t] += ToHex(Hash(L"SHA256", FromText("abc"))) !=
                     "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad";
      failures[t] += ToHex(Hash(L"SHA1", FromText("what do ya want for nothing?"), kHmac, FromText("Jefe"))) !=
                     "effcdf6ae5eb2fa2d27416d5f184df9c259a7c79";
    }
  });
  EXPECT_EQ(failures, std::vector<int>(4, 0));
}

TEST(CngRandom, ProviderAndSystemGeneratorsFillBuffersAndRefuseMismatches) {
  Provider rng(BCRYPT_RNG_ALGORITHM);
  Bytes a(64, 0), b(64, 0), c(64, 0x55), d(64, 0x55);
  ASSERT_EQ(BCryptGenRandom(rng, a.data(), 64, 0), STATUS_SUCCESS);
  ASSERT_EQ(BCryptGenRandom(nullptr, b.data(), 64, BCRYPT_USE_SYSTEM_PREFERRED_RNG), STATUS_SUCCESS);
  // With the buffer's content as extra entropy the output still changes, also for equal input.
  ASSERT_EQ(BCryptGenRandom(rng, c.data(), 64, BCRYPT_RNG_USE_ENTROPY_IN_BUFFER), STATUS_SUCCESS);
  ASSERT_EQ(BCryptGenRandom(rng, d.data(), 64, BCRYPT_RNG_USE_ENTROPY_IN_BUFFER), STATUS_SUCCESS);
  EXPECT_EQ(std::set<Bytes>({a, b, c, d, Bytes(64, 0), Bytes(64, 0x55)}).size(), 6u);
  // Every byte value in a large request: RandomGenerator's tests.
  EXPECT_EQ(BCryptGenRandom(rng, nullptr, 0, 0), STATUS_SUCCESS);

  // Handles and flags that do not match.
  Provider sha(BCRYPT_SHA256_ALGORITHM), fips(BCRYPT_FIPS186_DSA_RNG_ALGORITHM);
  Bytes buffer(8);
  EXPECT_EQ(BCryptGenRandom(nullptr, buffer.data(), 8, 0), STATUS_INVALID_HANDLE);
  EXPECT_EQ(BCryptGenRandom(sha, buffer.data(), 8, 0), STATUS_INVALID_HANDLE);
  EXPECT_EQ(BCryptGenRandom(rng, buffer.data(), 8, BCRYPT_USE_SYSTEM_PREFERRED_RNG), STATUS_INVALID_PARAMETER);
  EXPECT_EQ(BCryptGenRandom(rng, buffer.data(), 8, 0x10), STATUS_INVALID_PARAMETER);
  EXPECT_EQ(BCryptGenRandom(rng, nullptr, 8, 0), STATUS_INVALID_PARAMETER);
  EXPECT_EQ(BCryptGenRandom(fips, buffer.data(), 8, 0), STATUS_SUCCESS);
}

TEST(CngPbkdf2, NeedsAnHmacProviderAndSaneArgumentsAndMatchesOpenssl) {
  Provider plain(BCRYPT_SHA256_ALGORITHM), hmac(BCRYPT_SHA256_ALGORITHM, BCRYPT_ALG_HANDLE_HMAC_FLAG), aes(BCRYPT_AES_ALGORITHM);
  Bytes key(16);
  UCHAR password[] = "p";
  for (BCRYPT_ALG_HANDLE bad : {plain.handle, aes.handle, BCRYPT_ALG_HANDLE{}})
    EXPECT_EQ(BCryptDeriveKeyPBKDF2(bad, password, 1, nullptr, 0, 1, key.data(), 16, 0), STATUS_INVALID_HANDLE);
  EXPECT_EQ(BCryptDeriveKeyPBKDF2(hmac, password, 1, nullptr, 0, 0, key.data(), 16, 0), STATUS_INVALID_PARAMETER);
  EXPECT_EQ(BCryptDeriveKeyPBKDF2(hmac, password, 1, nullptr, 0, 1, nullptr, 16, 0), STATUS_INVALID_PARAMETER);
  EXPECT_EQ(BCryptDeriveKeyPBKDF2(hmac, password, 1, nullptr, 0, 1, key.data(), 16, 1), STATUS_INVALID_PARAMETER);
  EXPECT_EQ(BCryptDeriveKeyPBKDF2(hmac, nullptr, 1, nullptr, 0, 1, key.data(), 16, 0), STATUS_INVALID_PARAMETER);
  EXPECT_EQ(BCryptDeriveKeyPBKDF2(hmac, password, 1, nullptr, 0, 1, key.data(), 16, 0), STATUS_SUCCESS);

  // One answer of RFC 6070 (HMAC-SHA1) and of RFC 7914 section 11 (HMAC-SHA256); the others run
  // through KeyDerivation.
  const auto derive = [](const wchar_t* algorithm, const char* pass, const char* salt, ULONG count, ULONG length) {
    Provider prf(algorithm, BCRYPT_ALG_HANDLE_HMAC_FLAG);
    Bytes p = FromText(pass), s = FromText(salt), out(length);
    EXPECT_EQ(BCryptDeriveKeyPBKDF2(prf, p.data(), static_cast<ULONG>(p.size()), s.data(), static_cast<ULONG>(s.size()),
                                    count, out.data(), length, 0),
              STATUS_SUCCESS);
    return ToHex(out);
  };
  EXPECT_EQ(derive(BCRYPT_SHA1_ALGORITHM, "password", "salt", 2, 20), "ea6c014dc72d6f8ccd1ed92ace1d41f0d8de8957");
  EXPECT_EQ(derive(BCRYPT_SHA256_ALGORITHM, "passwd", "salt", 1, 64),
            "55ac046e56e3089fec1691c22544b605f94185216dde0465e68b9d57c20dacbc"
            "49ca9cccf179b645991664b39d77ef317c71b845b1e30bd509112041d3a19783");

  // An empty password and salt with HMAC-SHA512, against OpenSSL's own PBKDF2.
  Provider sha512(BCRYPT_SHA512_ALGORITHM, BCRYPT_ALG_HANDLE_HMAC_FLAG);
  Bytes expected(32), derived(32);
  ASSERT_EQ(PKCS5_PBKDF2_HMAC("", 0, nullptr, 0, 3, EVP_sha512(), 32, expected.data()), 1);
  ASSERT_EQ(BCryptDeriveKeyPBKDF2(sha512, nullptr, 0, nullptr, 0, 3, derived.data(), 32, 0), STATUS_SUCCESS);
  EXPECT_EQ(derived, expected);
}
