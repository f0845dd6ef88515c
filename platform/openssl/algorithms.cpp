#include "platform/openssl/algorithms.h"

#include <cwchar>
#include <iterator>

namespace ZT::Platform {

namespace {

constexpr HashAlgorithm kMD5{DigestId::MD5, 16, 64};
constexpr HashAlgorithm kSHA1{DigestId::SHA1, 20, 64};
constexpr HashAlgorithm kSHA256{DigestId::SHA256, 32, 64};
constexpr HashAlgorithm kSHA384{DigestId::SHA384, 48, 128};
constexpr HashAlgorithm kSHA512{DigestId::SHA512, 64, 128};

// Key lengths as the Windows providers report them: DES keys count their 56 effective bits,
// triple DES 168 (three keys) or 112 (two keys), AES its 128, 192 or 256.
constexpr SymmetricAlgorithm kAES{16,
                                  {128, 256, 64},
                                  {{16, 128, CipherId::AES128_ECB},
                                   {24, 192, CipherId::AES192_ECB},
                                   {32, 256, CipherId::AES256_ECB}},
                                  3};
constexpr SymmetricAlgorithm kDES{8, {56, 56, 0}, {{8, 56, CipherId::DES_ECB}}, 1};
constexpr SymmetricAlgorithm k3DES{8, {168, 168, 0}, {{24, 168, CipherId::DES_EDE3_ECB}}, 1};
constexpr SymmetricAlgorithm k3DES112{8, {112, 112, 0}, {{16, 112, CipherId::DES_EDE_ECB}}, 1};

constexpr Curve kP256{"P-256", 256, 32, BCRYPT_ECDH_PUBLIC_P256_MAGIC, BCRYPT_ECDH_PRIVATE_P256_MAGIC};
constexpr Curve kP384{"P-384", 384, 48, BCRYPT_ECDH_PUBLIC_P384_MAGIC, BCRYPT_ECDH_PRIVATE_P384_MAGIC};
constexpr Curve kP521{"P-521", 521, 66, BCRYPT_ECDH_PUBLIC_P521_MAGIC, BCRYPT_ECDH_PRIVATE_P521_MAGIC};

constexpr Algorithm kAlgorithms[] = {
    {BCRYPT_MD5_ALGORITHM, AlgorithmClass::Hash, &kMD5, nullptr, nullptr},
    {BCRYPT_SHA1_ALGORITHM, AlgorithmClass::Hash, &kSHA1, nullptr, nullptr},
    {BCRYPT_SHA256_ALGORITHM, AlgorithmClass::Hash, &kSHA256, nullptr, nullptr},
    {BCRYPT_SHA384_ALGORITHM, AlgorithmClass::Hash, &kSHA384, nullptr, nullptr},
    {BCRYPT_SHA512_ALGORITHM, AlgorithmClass::Hash, &kSHA512, nullptr, nullptr},
    {BCRYPT_RNG_ALGORITHM, AlgorithmClass::Random, nullptr, nullptr, nullptr},
    {BCRYPT_FIPS186_DSA_RNG_ALGORITHM, AlgorithmClass::Random, nullptr, nullptr, nullptr},
    {BCRYPT_AES_ALGORITHM, AlgorithmClass::Symmetric, nullptr, &kAES, nullptr},
    {BCRYPT_DES_ALGORITHM, AlgorithmClass::Symmetric, nullptr, &kDES, nullptr},
    {BCRYPT_3DES_ALGORITHM, AlgorithmClass::Symmetric, nullptr, &k3DES, nullptr},
    {BCRYPT_3DES_112_ALGORITHM, AlgorithmClass::Symmetric, nullptr, &k3DES112, nullptr},
    {BCRYPT_RSA_ALGORITHM, AlgorithmClass::Rsa, nullptr, nullptr, nullptr},
    {BCRYPT_ECDH_P256_ALGORITHM, AlgorithmClass::Ecdh, nullptr, nullptr, &kP256},
    {BCRYPT_ECDH_P384_ALGORITHM, AlgorithmClass::Ecdh, nullptr, nullptr, &kP384},
    {BCRYPT_ECDH_P521_ALGORITHM, AlgorithmClass::Ecdh, nullptr, nullptr, &kP521},
};

wchar_t FoldAscii(wchar_t c) { return (c >= L'a' && c <= L'z') ? static_cast<wchar_t>(c - L'a' + L'A') : c; }

}  // namespace

bool EqualsNoCase(const wchar_t* a, const wchar_t* b) {
  for (;; ++a, ++b) {
    if (FoldAscii(*a) != FoldAscii(*b)) return false;
    if (*a == L'\0') return true;
  }
}

ULONG WideByteSize(const wchar_t* s) { return static_cast<ULONG>((std::wcslen(s) + 1) * sizeof(wchar_t)); }

const Algorithm* FindAlgorithm(const wchar_t* id) {
  if (id == nullptr) return nullptr;
  // Callers mostly open one algorithm again and again: the thread's last answer goes first.
  thread_local const Algorithm* last = nullptr;
  if (last != nullptr && EqualsNoCase(last->id, id)) return last;
  for (const Algorithm& algorithm : kAlgorithms)
    if (EqualsNoCase(algorithm.id, id)) return last = &algorithm;
  return nullptr;
}

const HashAlgorithm* FindHashAlgorithm(const wchar_t* id) {
  const Algorithm* algorithm = FindAlgorithm(id);
  return algorithm != nullptr ? algorithm->hash : nullptr;
}

}  // namespace ZT::Platform
