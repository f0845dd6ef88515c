// CNG random numbers and PBKDF2 (RFC 6070 for HMAC-SHA1, RFC 7914 section 11 for HMAC-SHA256).

#include <openssl/evp.h>

#include <algorithm>
#include <set>

#include "platform_test_util.h"

using namespace zttest;

namespace {

Bytes Pbkdf2(const wchar_t* hash, const Bytes& password, const Bytes& salt, ULONGLONG iterations, ULONG length) {
  Provider prf(hash, BCRYPT_ALG_HANDLE_HMAC_FLAG);
  Bytes key(length);
  EXPECT_EQ(BCryptDeriveKeyPBKDF2(prf, const_cast<PUCHAR>(password.data()), static_cast<ULONG>(password.size()),
                                  const_cast<PUCHAR>(salt.data()), static_cast<ULONG>(salt.size()), iterations, key.data(),
                                  length, 0),
            STATUS_SUCCESS);
  return key;
}

}  // namespace

TEST(CngRandom, ProviderAndSystemGeneratorsFillBuffersAndRefuseMismatches) {
  Provider rng(BCRYPT_RNG_ALGORITHM);
  Bytes a(64, 0), b(64, 0), c(64, 0x55), d(64, 0x55);
  ASSERT_EQ(BCryptGenRandom(rng, a.data(), 64, 0), STATUS_SUCCESS);
  ASSERT_EQ(BCryptGenRandom(nullptr, b.data(), 64, BCRYPT_USE_SYSTEM_PREFERRED_RNG), STATUS_SUCCESS);
  // With the buffer's content as extra entropy the output still changes, also for equal input.
  ASSERT_EQ(BCryptGenRandom(rng, c.data(), 64, BCRYPT_RNG_USE_ENTROPY_IN_BUFFER), STATUS_SUCCESS);
  ASSERT_EQ(BCryptGenRandom(rng, d.data(), 64, BCRYPT_RNG_USE_ENTROPY_IN_BUFFER), STATUS_SUCCESS);
  EXPECT_EQ(std::set<Bytes>({a, b, c, d, Bytes(64, 0), Bytes(64, 0x55)}).size(), 6u);
  // Large requests span several generator calls; every byte value shows up.
  Bytes big(1 << 16);
  ASSERT_EQ(BCryptGenRandom(rng, big.data(), static_cast<ULONG>(big.size()), BCRYPT_RNG_USE_ENTROPY_IN_BUFFER), STATUS_SUCCESS);
  EXPECT_EQ(std::set<unsigned char>(big.begin(), big.end()).size(), 256u);
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

TEST(CngPbkdf2, MatchesRfc6070AndRfc7914) {
  const Bytes password = FromText("password"), salt = FromText("salt");
  EXPECT_EQ(ToHex(Pbkdf2(L"SHA1", password, salt, 1, 20)), "0c60c80f961f0e71f3a9b524af6012062fe037a6");
  EXPECT_EQ(ToHex(Pbkdf2(L"SHA1", password, salt, 2, 20)), "ea6c014dc72d6f8ccd1ed92ace1d41f0d8de8957");
  EXPECT_EQ(ToHex(Pbkdf2(L"SHA1", password, salt, 4096, 20)), "4b007901b765489abead49d926f721d065a429c1");
  EXPECT_EQ(ToHex(Pbkdf2(L"SHA1", FromText("passwordPASSWORDpassword"), FromText("saltSALTsaltSALTsaltSALTsaltSALTsalt"),
                         4096, 25)),
            "3d2eec4fe41c849b80c8d83662c0e44a8b291a964cf2f07038");
  EXPECT_EQ(ToHex(Pbkdf2(L"SHA1", FromHex("7061737300776f7264"), FromHex("7361006c74"), 4096, 16)),
            "56fa6aa75548099dcc37d7f03425e0c3");
  EXPECT_EQ(ToHex(Pbkdf2(L"SHA256", FromText("passwd"), salt, 1, 64)),
            "55ac046e56e3089fec1691c22544b605f94185216dde0465e68b9d57c20dacbc"
            "49ca9cccf179b645991664b39d77ef317c71b845b1e30bd509112041d3a19783");
  EXPECT_EQ(ToHex(Pbkdf2(L"SHA256", FromText("Password"), FromText("NaCl"), 80000, 64)),
            "4ddcd8f60b98be21830cee5ef22701f9641a4418d04c0414aeff08876b34ab56"
            "a1d425a1225833549adb841b51c9b3176a272bdebba1d078478f62b397f33c8d");
  // Empty password and salt, against OpenSSL's own PBKDF2 on its default context, outside the seam.
  Bytes expected(32);
  ASSERT_EQ(PKCS5_PBKDF2_HMAC("", 0, nullptr, 0, 3, EVP_sha512(), 32, expected.data()), 1);
  EXPECT_EQ(Pbkdf2(L"SHA512", {}, {}, 3, 32), expected);
}

TEST(CngPbkdf2, NeedsAnHmacProviderAndSaneArguments) {
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
}
