// The OpenSSL side of the seam: one private library context holding the default and legacy
// providers, the algorithm objects fetched from it once, and owning pointers for OpenSSL types.
//
// The process's default library context is never used or changed: the host application may
// use OpenSSL itself, with its own configuration. Every fetch below names the private context.
#pragma once

#include <openssl/bn.h>
#include <openssl/core_dispatch.h>
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

// The implementation of a block cipher in CBC or ECB, from its ECB one (CBC follows it).
inline CipherId WithChaining(CipherId ecb, bool cbc) {
  return static_cast<CipherId>(static_cast<unsigned>(ecb) + (cbc ? 1 : 0));
}

// A provider's own implementation of a block cipher, reached through its dispatch table. A run
// through it costs a context, a key schedule and the blocks; EVP_CipherInit_ex2 adds parameter
// queries on every call, which cost more than the whole of a short message.
struct BlockCipherImplementation {
  void* providerContext = nullptr;
  OSSL_FUNC_cipher_newctx_fn* newContext = nullptr;
  OSSL_FUNC_cipher_encrypt_init_fn* encryptInit = nullptr;
  OSSL_FUNC_cipher_decrypt_init_fn* decryptInit = nullptr;
  OSSL_FUNC_cipher_cipher_fn* cipher = nullptr;
  OSSL_FUNC_cipher_freectx_fn* freeContext = nullptr;
  std::size_t keyLength = 0;
  std::size_t ivLength = 0;

  bool Complete() const {
    return newContext != nullptr && encryptInit != nullptr && decryptInit != nullptr && cipher != nullptr &&
           freeContext != nullptr;
  }
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
  // The provider's implementation of a cipher, or null when the providers lack it.
  const BlockCipherImplementation* BlockCipher(CipherId id) const {
    const BlockCipherImplementation& implementation = m_blockCiphers[Index(id)];
    return implementation.Complete() ? &implementation : nullptr;
  }
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
  // The fetched ciphers hold their providers' implementations, whose dispatch tables follow.
  std::array<CipherPtr, static_cast<std::size_t>(CipherId::Count)> m_ciphers;
  std::array<BlockCipherImplementation, static_cast<std::size_t>(CipherId::Count)> m_blockCiphers;
  MacPtr m_hmac;
  KdfPtr m_pbkdf2;
};

struct ThreadCipherContext;

// A block cipher keyed for one call, on the provider's implementation. At the end of the
// object's life the key schedule is overwritten (the thread's context, kept for the next call)
// or freed with the context, which the provider wipes.
class KeyedBlockCipher {
 public:
  // `iv` is read in CBC and may be null in ECB. Check the object before use: it is false when
  // the cipher is missing or could not be keyed.
  KeyedBlockCipher(CipherId id, const unsigned char* key, const unsigned char* iv, bool encrypt);
  ~KeyedBlockCipher();
  KeyedBlockCipher(const KeyedBlockCipher&) = delete;
  KeyedBlockCipher& operator=(const KeyedBlockCipher&) = delete;

  explicit operator bool() const { return m_context != nullptr; }
  // Runs `size` bytes of whole blocks through the cipher, continuing the chaining; no padding
  // is added or held back. `out` may be `in`.
  bool Transform(unsigned char* out, const unsigned char* in, std::size_t size);
  // Starts again from `iv`, with the same key.
  bool Restart(const unsigned char* iv);

 private:
  bool Start(const unsigned char* key, const unsigned char* iv);
  void Release();

  const BlockCipherImplementation* m_implementation;
  bool m_encrypt;
  void* m_context = nullptr;
  ThreadCipherContext* m_shared = nullptr;  // the thread's context, when this is it
};

// The OpenSSL name of a digest ("SHA2-256", ...), as EVP parameters take it.
const char* DigestName(DigestId id);

// Random bytes from the private context's generator, with `additional` mixed in as
// additional input (may be empty; it is read in full before `out` is written, so it may be
// `out` itself). Linear in both sizes. False on failure.
bool RandomBytes(unsigned char* out, std::size_t size, const unsigned char* additional, std::size_t additionalSize);

}  // namespace ZT::Platform
