// CNG random numbers, and PBKDF2: its own rules and published answers.

#include <openssl/evp.h>

#include <set>

#include "platform_test_util.h"

using namespace zttest;

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
