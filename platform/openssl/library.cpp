#include "platform/openssl/library.h"

#include <openssl/core_names.h>
#include <openssl/err.h>
#include <openssl/rand.h>

#include <algorithm>
#include <cstring>
#include <utility>
#include <strings.h>

namespace ZT::Platform {

namespace {

struct DigestRow {
  DigestId id;
  const char* name;
};
constexpr DigestRow kDigests[] = {
    {DigestId::MD5, "MD5"},         {DigestId::SHA1, "SHA1"},       {DigestId::SHA256, "SHA2-256"},
    {DigestId::SHA384, "SHA2-384"}, {DigestId::SHA512, "SHA2-512"},
};

struct CipherRow {
  CipherId id;
  const char* name;
};
constexpr CipherRow kCiphers[] = {
    {CipherId::DES_ECB, "DES-ECB"},           {CipherId::DES_CBC, "DES-CBC"},
    {CipherId::DES_EDE_ECB, "DES-EDE-ECB"},   {CipherId::DES_EDE_CBC, "DES-EDE-CBC"},
    {CipherId::DES_EDE3_ECB, "DES-EDE3-ECB"}, {CipherId::DES_EDE3_CBC, "DES-EDE3-CBC"},
    {CipherId::AES128_ECB, "AES-128-ECB"},    {CipherId::AES128_CBC, "AES-128-CBC"},
    {CipherId::AES192_ECB, "AES-192-ECB"},    {CipherId::AES192_CBC, "AES-192-CBC"},
    {CipherId::AES256_ECB, "AES-256-ECB"},    {CipherId::AES256_CBC, "AES-256-CBC"},
};

// Whether `name` is one of the colon-separated names of a provider's algorithm.
bool NamesInclude(const char* names, const char* name) {
  const std::size_t length = std::strlen(name);
  for (const char* at = names; at != nullptr;) {
    const char* end = std::strchr(at, ':');
    const std::size_t size = end != nullptr ? static_cast<std::size_t>(end - at) : std::strlen(at);
    if (size == length && strncasecmp(at, name, length) == 0) return true;
    at = end != nullptr ? end + 1 : nullptr;
  }
  return false;
}

void TakeFunctions(const OSSL_DISPATCH* functions, BlockCipherImplementation& implementation) {
  for (const OSSL_DISPATCH* f = functions; f->function_id != 0; ++f) {
    switch (f->function_id) {
      case OSSL_FUNC_CIPHER_NEWCTX: implementation.newContext = OSSL_FUNC_cipher_newctx(f); break;
      case OSSL_FUNC_CIPHER_ENCRYPT_INIT: implementation.encryptInit = OSSL_FUNC_cipher_encrypt_init(f); break;
      case OSSL_FUNC_CIPHER_DECRYPT_INIT: implementation.decryptInit = OSSL_FUNC_cipher_decrypt_init(f); break;
      case OSSL_FUNC_CIPHER_CIPHER: implementation.cipher = OSSL_FUNC_cipher_cipher(f); break;
      case OSSL_FUNC_CIPHER_FREECTX: implementation.freeContext = OSSL_FUNC_cipher_freectx(f); break;
      default: break;
    }
  }
}

// The dispatch table of the implementation that `cipher` was fetched from.
BlockCipherImplementation FindImplementation(const EVP_CIPHER* cipher) {
  BlockCipherImplementation implementation;
  OSSL_PROVIDER* provider = const_cast<OSSL_PROVIDER*>(EVP_CIPHER_get0_provider(cipher));
  if (provider == nullptr) return implementation;
  int noCache = 0;
  const OSSL_ALGORITHM* algorithms = OSSL_PROVIDER_query_operation(provider, OSSL_OP_CIPHER, &noCache);
  for (const OSSL_ALGORITHM* a = algorithms; a != nullptr && a->algorithm_names != nullptr; ++a) {
    if (!NamesInclude(a->algorithm_names, EVP_CIPHER_get0_name(cipher))) continue;
    TakeFunctions(a->implementation, implementation);
    break;
  }
  if (algorithms != nullptr) OSSL_PROVIDER_unquery_operation(provider, OSSL_OP_CIPHER, algorithms);
  implementation.providerContext = OSSL_PROVIDER_get0_provider_ctx(provider);
  implementation.keyLength = static_cast<std::size_t>(EVP_CIPHER_get_key_length(cipher));
  implementation.ivLength = static_cast<std::size_t>(EVP_CIPHER_get_iv_length(cipher));
  return implementation;
}

}  // namespace

void SecretBytes::Append(const unsigned char* data, std::size_t size) {
  if (size == 0) return;
  if (m_bytes.size() + size > m_bytes.capacity()) {
    // Grow by hand so that the old block is wiped, not merely released.
    std::vector<unsigned char> grown;
    grown.reserve(std::max(m_bytes.size() + size, 2 * m_bytes.capacity()));
    grown.assign(m_bytes.begin(), m_bytes.end());
    Wipe();
    m_bytes.swap(grown);
  }
  m_bytes.insert(m_bytes.end(), data, data + size);
}

const char* DigestName(DigestId id) {
  for (const DigestRow& row : kDigests)
    if (row.id == id) return row.name;
  return nullptr;
}

const Library& Library::Get() {
  // A function-local static: built once, thread-safely, on first use.
  static const Library library;
  return library;
}

Library::Library() : m_context(OSSL_LIB_CTX_new()) {
  if (!m_context) return;
  // Single DES lives in the legacy provider; everything else in the default one.
  m_defaultProvider = OSSL_PROVIDER_load(m_context.get(), "default");
  m_legacyProvider = OSSL_PROVIDER_load(m_context.get(), "legacy");
  FetchDigests();
  FetchCiphers();
  m_hmac.reset(EVP_MAC_fetch(m_context.get(), "HMAC", nullptr));
  MakeHmacTemplates();
  m_pbkdf2.reset(EVP_KDF_fetch(m_context.get(), "PBKDF2", nullptr));
  // Fetch failures leave errors queued on this thread; they say nothing to a later caller.
  ERR_clear_error();
}

Library::~Library() {
  // Fetched objects first: they hold references into the providers and the context.
  for (auto& t : m_hmacTemplates) t.reset();
  for (auto& d : m_digests) d.reset();
  for (auto& c : m_ciphers) c.reset();
  m_hmac.reset();
  m_pbkdf2.reset();
  if (m_legacyProvider != nullptr) OSSL_PROVIDER_unload(m_legacyProvider);
  if (m_defaultProvider != nullptr) OSSL_PROVIDER_unload(m_defaultProvider);
}

void Library::FetchDigests() {
  for (const DigestRow& row : kDigests) m_digests[Index(row.id)].reset(EVP_MD_fetch(m_context.get(), row.name, nullptr));
}

void Library::FetchCiphers() {
  for (const CipherRow& row : kCiphers) {
    m_ciphers[Index(row.id)].reset(EVP_CIPHER_fetch(m_context.get(), row.name, nullptr));
    if (m_ciphers[Index(row.id)]) m_blockCiphers[Index(row.id)] = FindImplementation(m_ciphers[Index(row.id)].get());
  }
}

void Library::MakeHmacTemplates() {
  if (!m_hmac) return;
  for (const DigestRow& row : kDigests) {
    MacCtxPtr ctx(EVP_MAC_CTX_new(m_hmac.get()));
    if (!ctx) continue;
    const OSSL_PARAM params[] = {
        OSSL_PARAM_construct_utf8_string(OSSL_MAC_PARAM_DIGEST, const_cast<char*>(row.name), 0),
        OSSL_PARAM_construct_end()};
    // The digest is resolved here, once; duplicates of the template inherit it, so that a
    // keyed hash costs no name lookup.
    if (EVP_MAC_CTX_set_params(ctx.get(), params) == 1) m_hmacTemplates[Index(row.id)] = std::move(ctx);
  }
}

// A thread's context for one implementation and direction, kept from call to call so that a
// call allocates nothing. Between calls it holds a key of zeros: keying it with zeros after
// each call overwrites the caller's key schedule, which has the same length. Once the thread's
// contexts are gone (its last destructors may still encrypt) it stays busy, so that every
// later call makes a context of its own.
struct ThreadCipherContext {
  ThreadCipherContext() = default;
  ThreadCipherContext(const ThreadCipherContext&) = delete;
  ThreadCipherContext& operator=(const ThreadCipherContext&) = delete;
  ~ThreadCipherContext() {
    if (context != nullptr) implementation->freeContext(std::exchange(context, nullptr));
    busy = true;
  }

  const BlockCipherImplementation* implementation = nullptr;
  void* context = nullptr;
  bool busy = false;
};

namespace {

ThreadCipherContext& ThreadContext(CipherId id, bool encrypt) {
  thread_local std::array<ThreadCipherContext, 2 * static_cast<std::size_t>(CipherId::Count)> contexts;
  return contexts[2 * static_cast<std::size_t>(id) + (encrypt ? 1 : 0)];
}

// The longest key of the block ciphers offered (AES-256), in zeros.
constexpr unsigned char kZeroKey[32] = {};

}  // namespace

KeyedBlockCipher::KeyedBlockCipher(CipherId id, const unsigned char* key, const unsigned char* iv, bool encrypt)
    : m_implementation(Library::Get().BlockCipher(id)), m_encrypt(encrypt) {
  if (m_implementation == nullptr || m_implementation->keyLength > sizeof(kZeroKey)) return;
  ThreadCipherContext& shared = ThreadContext(id, encrypt);
  if (!shared.busy) {
    if (shared.context == nullptr) {
      shared.implementation = m_implementation;
      shared.context = m_implementation->newContext(m_implementation->providerContext);
    }
    if (shared.context != nullptr) {
      shared.busy = true;
      m_shared = &shared;
      m_context = shared.context;
    }
  }
  // A call inside a call on this thread (or a thread context that could not be made): a context
  // of its own.
  if (m_context == nullptr) m_context = m_implementation->newContext(m_implementation->providerContext);
  if (m_context != nullptr && !Start(key, iv)) Release();
}

KeyedBlockCipher::~KeyedBlockCipher() { Release(); }

void KeyedBlockCipher::Release() {
  if (m_context == nullptr) return;
  if (m_shared == nullptr) {
    m_implementation->freeContext(m_context);
  } else {
    // Keyed for encryption, whichever the direction: the encryption schedule is the cheaper to
    // make, and it fills the same schedule the call's key did.
    if (m_implementation->encryptInit(m_context, kZeroKey, m_implementation->keyLength, nullptr, 0, nullptr) != 1) {
      // Not overwritten: freeing it is the other way to wipe it.
      m_implementation->freeContext(m_context);
      m_shared->context = nullptr;
    }
    m_shared->busy = false;
    m_shared = nullptr;
  }
  m_context = nullptr;
}

bool KeyedBlockCipher::Start(const unsigned char* key, const unsigned char* iv) {
  const std::size_t ivLength = iv != nullptr ? m_implementation->ivLength : 0;
  const auto init = m_encrypt ? m_implementation->encryptInit : m_implementation->decryptInit;
  return init(m_context, key, key != nullptr ? m_implementation->keyLength : 0, ivLength != 0 ? iv : nullptr,
              ivLength, nullptr) == 1;
}

bool KeyedBlockCipher::Transform(unsigned char* out, const unsigned char* in, std::size_t size) {
  std::size_t written = 0;
  return size == 0 || (m_implementation->cipher(m_context, out, &written, size, in, size) == 1 && written == size);
}

bool KeyedBlockCipher::Restart(const unsigned char* iv) { return Start(nullptr, iv); }

bool RandomBytes(unsigned char* out, std::size_t size, const unsigned char* additional, std::size_t additionalSize) {
  const Library& library = Library::Get();
  OSSL_LIB_CTX* context = library.Context();
  if (context == nullptr) return false;
  if (size == 0) return true;
  if (additionalSize == 0) return RAND_bytes_ex(context, out, size, 0) == 1;
  // The caller's bytes are condensed once into a SHA-256 digest, which goes in as the additional
  // input of the request (SP 800-90A): it can add to the generator's output but never weaken it.
  // Every byte of the caller's buffer changes the digest, and the digest keeps up to 256 bits of
  // whatever entropy the buffer holds, as much as the DRBG's 256-bit strength can use. One digest
  // for the whole request keeps the cost linear in the buffer's size; EVP_RAND_generate splits
  // a long request into the DRBG's largest ones and hands every part the same digest.
  EVP_RAND_CTX* drbg = RAND_get0_public(context);
  const EVP_MD* sha256 = library.Digest(DigestId::SHA256);
  if (drbg == nullptr || sha256 == nullptr) return false;
  unsigned char digest[EVP_MAX_MD_SIZE];
  unsigned int digestSize = 0;
  const bool ok = EVP_Digest(additional, additionalSize, digest, &digestSize, sha256, nullptr) == 1 &&
                  EVP_RAND_generate(drbg, out, size, EVP_RAND_get_strength(drbg), 0, digest, digestSize) == 1;
  OPENSSL_cleanse(digest, sizeof digest);
  return ok;
}

}  // namespace ZT::Platform
