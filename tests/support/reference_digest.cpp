#include "support/reference_digest.h"

#include <gtest/gtest.h>

#include <string>

#if defined(_WIN32)
#include <windows.h>

#include <bcrypt.h>
#else
#include <openssl/evp.h>
#endif

namespace zttest {

#if defined(_WIN32)

std::vector<unsigned char> ReferenceDigest(std::string_view name, const void* data, std::size_t size) {
  const wchar_t* algorithm = name == "SHA1" ? BCRYPT_SHA1_ALGORITHM : BCRYPT_SHA256_ALGORITHM;
  std::vector<unsigned char> digest(name == "SHA1" ? 20 : 32);
  BCRYPT_ALG_HANDLE provider = nullptr;
  BCRYPT_HASH_HANDLE hash = nullptr;
  const bool done = BCryptOpenAlgorithmProvider(&provider, algorithm, nullptr, 0) == 0 &&
                    BCryptCreateHash(provider, &hash, nullptr, 0, nullptr, 0, 0) == 0 &&
                    BCryptHashData(hash, static_cast<PUCHAR>(const_cast<void*>(data)), static_cast<ULONG>(size), 0) == 0 &&
                    BCryptFinishHash(hash, digest.data(), static_cast<ULONG>(digest.size()), 0) == 0;
  if (hash != nullptr) BCryptDestroyHash(hash);
  if (provider != nullptr) BCryptCloseAlgorithmProvider(provider, 0);
  EXPECT_TRUE(done) << "the system's " << name << " failed";
  if (!done) digest.clear();
  return digest;
}

#else

std::vector<unsigned char> ReferenceDigest(std::string_view name, const void* data, std::size_t size) {
  unsigned char out[EVP_MAX_MD_SIZE];
  unsigned int length = 0;
  const bool done =
      EVP_Digest(data, size, out, &length, name == "SHA1" ? EVP_sha1() : EVP_sha256(), nullptr) == 1;
  EXPECT_TRUE(done) << "OpenSSL's " << name << " failed";
  return done ? std::vector<unsigned char>(out, out + length) : std::vector<unsigned char>();
}

#endif

}  // namespace zttest
