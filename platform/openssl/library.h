// The OpenSSL side of the seam: one private library context holding the default and legacy
// providers, the algorithm objects fetched from it once, and owning pointers for OpenSSL types.
//
// The process's default library context is never used or changed: the host application may
// use OpenSSL itself, with its own configuration. Every fetch below names the private context.
#pragma once

#include <openssl/bn.h>
#include <openssl/crypto.h>
#include <openssl/evp.h>
#include <openssl/kdf.h>
#include <openssl/param_build.h>
#include <openssl/provider.h>

#include <array>
#include <cstddef>
#include <memory>
#include <vector>

namespace ZT::Platform {

// Owning pointers for the OpenSSL objects the seam uses.
template <class T, void (*Free)(T*)>
struct OpenSslDeleter {
  void operator()(T* p) const noexcept { Free(p); }
};
template <class T, void (*Free)(T*)>
using OpenSslPtr = std::unique_ptr<T, OpenSslDeleter<T, Free>>;

using LibCtxPtr = OpenSslPtr<OSSL_LIB_CTX, OSSL_LIB_CTX_free>;
using MdPtr = OpenSslPtr<EVP_MD, EVP_MD_free>;
using MdCtxPtr = OpenSslPtr<EVP_MD_CTX, EVP_MD_CTX_free>;
using MacPtr = OpenSslPtr<EVP_MAC, EVP_MAC_free>;
using MacCtxPtr = OpenSslPtr<EVP_MAC_CTX, EVP_MAC_CTX_free>;
using CipherPtr = OpenSslPtr<EVP_CIPHER, EVP_CIPHER_free>;
using CipherCtxPtr = OpenSslPtr<EVP_CIPHER_CTX, EVP_CIPHER_CTX_free>;
using KdfPtr = OpenSslPtr<EVP_KDF, EVP_KDF_free>;
using KdfCtxPtr = OpenSslPtr<EVP_KDF_CTX, EVP_KDF_CTX_free>;
using PkeyPtr = OpenSslPtr<EVP_PKEY, EVP_PKEY_free>;
using PkeyCtxPtr = OpenSslPtr<EVP_PKEY_CTX, EVP_PKEY_CTX_free>;
using BnPtr = OpenSslPtr<BIGNUM, BN_clear_free>;
using BnCtxPtr = OpenSslPtr<BN_CTX, BN_CTX_free>;
using ParamBldPtr = OpenSslPtr<OSSL_PARAM_BLD, OSSL_PARAM_BLD_free>;
using ParamsPtr = OpenSslPtr<OSSL_PARAM, OSSL_PARAM_free>;

// Bytes that are wiped (OPENSSL_cleanse) before their memory is released.
class SecretBytes {
 public:
  SecretBytes() = default;
  explicit SecretBytes(std::size_t size) : m_bytes(size) {}
  SecretBytes(const unsigned char* data, std::size_t size) : m_bytes(data, data + size) {}
  SecretBytes(SecretBytes&& other) noexcept = default;
  SecretBytes& operator=(SecretBytes&& other) noexcept {
    Wipe();
    m_bytes = std::move(other.m_bytes);
    return *this;
  }
  SecretBytes(const SecretBytes&) = delete;
  SecretBytes& operator=(const SecretBytes&) = delete;
  ~SecretBytes() { Wipe(); }

  unsigned char* data() { return m_bytes.data(); }
  const unsigned char* data() const { return m_bytes.data(); }
  std::size_t size() const { return m_bytes.size(); }
  bool empty() const { return m_bytes.empty(); }
  // Appends bytes; the old block is wiped when the vector grows.
  void Append(const unsigned char* data, std::size_t size);

 private:
  void Wipe() noexcept {
    if (!m_bytes.empty()) OPENSSL_cleanse(m_bytes.data(), m_bytes.size());
  }
  std::vector<unsigned char> m_bytes;
};

// The digests the seam offers, in the order of the fetched-object cache.
enum class DigestId : unsigned char { MD5, SHA1, SHA256, SHA384, SHA512, Count };

// The block cipher implementations the seam offers, in the order of the cache.
enum class CipherId : unsigned char {
  DES_ECB, DES_CBC,
  DES_EDE_ECB, DES_EDE_CBC,    // two-key triple DES (3DES_112, CALG_3DES_112)
  DES_EDE3_ECB, DES_EDE3_CBC,  // three-key triple DES
  AES128_ECB, AES128_CBC,
  AES192_ECB, AES192_CBC,
  AES256_ECB, AES256_CBC,
  Count
};

// The private library context and everything fetched from it, created on first use
// (thread-safe) and immutable afterwards, so that every thread may read it without locks.
class Library {
 public:
  // The one instance. Throws nothing: a context that cannot be built leaves the getters
  // answering null, and the seam functions fail with their "not found" or "no memory" status.
  static const Library& Get();

  OSSL_LIB_CTX* Context() const { return m_context.get(); }
  // A digest, or null when the providers lack it.
  const EVP_MD* Digest(DigestId id) const { return m_digests[Index(id)].get(); }
  // An HMAC context with its digest set and no key yet: duplicate it, then set the key. Null
  // when it could not be made.
  const EVP_MAC_CTX* HmacTemplate(DigestId id) const { return m_hmacTemplates[Index(id)].get(); }
  const EVP_CIPHER* Cipher(CipherId id) const { return m_ciphers[Index(id)].get(); }
  const EVP_KDF* Pbkdf2() const { return m_pbkdf2.get(); }

  Library(const Library&) = delete;
  Library& operator=(const Library&) = delete;
  ~Library();

 private:
  Library();
  template <class E>
  static constexpr std::size_t Index(E e) {
    return static_cast<std::size_t>(e);
  }
  void FetchDigests();
  void FetchCiphers();
  void MakeHmacTemplates();

  LibCtxPtr m_context;
  OSSL_PROVIDER* m_defaultProvider = nullptr;
  OSSL_PROVIDER* m_legacyProvider = nullptr;
  std::array<MdPtr, static_cast<std::size_t>(DigestId::Count)> m_digests;
  std::array<MacCtxPtr, static_cast<std::size_t>(DigestId::Count)> m_hmacTemplates;
  std::array<CipherPtr, static_cast<std::size_t>(CipherId::Count)> m_ciphers;
  MacPtr m_hmac;
  KdfPtr m_pbkdf2;
};

// The OpenSSL name of a digest ("SHA2-256", ...), as EVP parameters take it.
const char* DigestName(DigestId id);

// Random bytes from the private context's generator, with `additional` mixed in as
// additional input (may be empty; it is read in full before `out` is written, so it may be
// `out` itself). Linear in both sizes. False on failure.
bool RandomBytes(unsigned char* out, std::size_t size, const unsigned char* additional, std::size_t additionalSize);

}  // namespace ZT::Platform
