// Owners of platform handles: each releases its handle when it goes out of scope, so every path
// out of an engine operation (return or exception) releases what it holds.
//
//   AlgorithmProvider provider;
//   CheckStatus(fn, CNG().BCryptOpenAlgorithmProvider(provider.put(), L"SHA256", nullptr, 0), ...);
//   HashObject hash(objectLength);
//   CheckStatus(fn, CNG().BCryptCreateHash(provider.get(), hash.handle.put(), hash.memory.data(), ...), ...);
//
// Declare them in the order of creation: they are released in reverse, so a hash or key goes
// before the provider it was made from. CNG handles are released through the CNG service table,
// which must be loaded while any of them lives.
#pragma once

#include <cstddef>
#include <string>
#include <utility>

#include "cng/crypto.cng.servicetable.h"
#include "zt/secure.h"

namespace ZT::Framework {

// A handle of type H released by Release; null (H{}) owns nothing.
template <class H, void (*Release)(H)>
class PlatformHandle {
 public:
  PlatformHandle() = default;
  explicit PlatformHandle(H handle) : m_handle(handle) {}
  ~PlatformHandle() { reset(); }
  PlatformHandle(PlatformHandle&& other) noexcept : m_handle(other.release()) {}
  PlatformHandle& operator=(PlatformHandle&& other) noexcept {
    if (this != &other) reset(other.release());
    return *this;
  }
  PlatformHandle(const PlatformHandle&) = delete;
  PlatformHandle& operator=(const PlatformHandle&) = delete;

  H get() const { return m_handle; }
  explicit operator bool() const { return m_handle != H{}; }

  // The place for a platform call to store a new handle; releases the one held before.
  H* put() {
    reset();
    return &m_handle;
  }
  // Gives the handle up without releasing it.
  H release() { return std::exchange(m_handle, H{}); }
  void reset(H handle = H{}) {
    if (m_handle != H{}) Release(m_handle);
    m_handle = handle;
  }

 private:
  H m_handle{};
};

namespace HandleRelease {
inline void CloseProvider(BCRYPT_ALG_HANDLE h) { CNG().BCryptCloseAlgorithmProvider(h, 0); }
inline void DestroyHash(BCRYPT_HASH_HANDLE h) { CNG().BCryptDestroyHash(h); }
inline void DestroyKey(BCRYPT_KEY_HANDLE h) { CNG().BCryptDestroyKey(h); }
inline void DestroySecret(BCRYPT_SECRET_HANDLE h) { CNG().BCryptDestroySecret(h); }
inline void FreeNCryptObject(NCRYPT_HANDLE h) { CNG().NCryptFreeObject(h); }
inline void ReleaseContext(HCRYPTPROV h) { CryptReleaseContext(h, 0); }
inline void DestroyCryptKey(HCRYPTKEY h) { CryptDestroyKey(h); }
inline void FreeCertContext(PCCERT_CONTEXT h) { CertFreeCertificateContext(h); }
inline void FreeCertChain(PCCERT_CHAIN_CONTEXT h) { CertFreeCertificateChain(h); }
inline void CloseStore(HCERTSTORE h) { CertCloseStore(h, 0); }
}  // namespace HandleRelease

// CNG (through the service table).
using AlgorithmProvider = PlatformHandle<BCRYPT_ALG_HANDLE, &HandleRelease::CloseProvider>;
using HashHandle = PlatformHandle<BCRYPT_HASH_HANDLE, &HandleRelease::DestroyHash>;
using KeyHandle = PlatformHandle<BCRYPT_KEY_HANDLE, &HandleRelease::DestroyKey>;
using SecretHandle = PlatformHandle<BCRYPT_SECRET_HANDLE, &HandleRelease::DestroySecret>;
using NCryptObject = PlatformHandle<NCRYPT_HANDLE, &HandleRelease::FreeNCryptObject>;
// CryptoAPI.
using CryptContext = PlatformHandle<HCRYPTPROV, &HandleRelease::ReleaseContext>;
using CryptKey = PlatformHandle<HCRYPTKEY, &HandleRelease::DestroyCryptKey>;
// Certificate services.
using CertContext = PlatformHandle<PCCERT_CONTEXT, &HandleRelease::FreeCertContext>;
using CertChain = PlatformHandle<PCCERT_CHAIN_CONTEXT, &HandleRelease::FreeCertChain>;
using CertStore = PlatformHandle<HCERTSTORE, &HandleRelease::CloseStore>;

// A fixed block of bytes whose first `used` bytes are wiped when it goes.
template <std::size_t N>
struct WipedBuffer {
  WipedBuffer() = default;
  ~WipedBuffer() { SecureWipe(bytes, used < N ? used : N); }
  WipedBuffer(const WipedBuffer&) = delete;
  WipedBuffer& operator=(const WipedBuffer&) = delete;

  std::size_t used = N;
  alignas(std::max_align_t) unsigned char bytes[N];
};

// Secret bytes of a size fixed at construction, wiped when they go: inside the object up to N
// bytes, on the heap beyond. Small secrets (key blobs, key objects) then cost no heap block.
// The bytes never move.
template <std::size_t N>
class SecretBlock {
 public:
  explicit SecretBlock(std::size_t size) : m_size(size) {
    if (size > N)
      m_heap.resize(size);
    else
      m_inline.used = size;
  }
  SecretBlock(const SecretBlock&) = delete;
  SecretBlock& operator=(const SecretBlock&) = delete;

  unsigned char* data() { return m_size > N ? m_heap.data() : m_inline.bytes; }
  std::size_t size() const { return m_size; }

 private:
  std::size_t m_size;
  WipedBuffer<N> m_inline;
  ByteArray m_heap;
};

// A CNG object that lives in object memory the caller provides (hashes, symmetric keys): the
// memory must stay in place until the handle is destroyed, so the handle is declared after it
// and goes first; the memory is wiped as it is freed.
template <class Handle>
struct PlacedObject {
  explicit PlacedObject(ULONG objectLength) : memory(objectLength) {}
  SecretBlock<1024> memory;  // the platform's usual object sizes fit inside
  Handle handle;

  PUCHAR Memory() { return memory.data(); }
  ULONG MemoryLength() const { return static_cast<ULONG>(memory.size()); }
};
using HashObject = PlacedObject<HashHandle>;
using KeyObject = PlacedObject<KeyHandle>;

// Memory the platform hands out for LocalFree (the output of data protection, which may be
// plaintext): wiped before it is released, since LocalFree itself need not wipe.
class LocalDataBlob {
 public:
  LocalDataBlob() = default;
  ~LocalDataBlob() {
    SecureWipe(blob.pbData, blob.cbData);
    LocalFree(blob.pbData);
  }
  LocalDataBlob(const LocalDataBlob&) = delete;
  LocalDataBlob& operator=(const LocalDataBlob&) = delete;

  DATA_BLOB blob{0, nullptr};
};

namespace HandleRelease {
inline void FreeLocalText(LPWSTR text) {
  SecureWipe(text, std::char_traits<wchar_t>::length(text) * sizeof(wchar_t));
  LocalFree(text);
}
}  // namespace HandleRelease
using LocalText = PlatformHandle<LPWSTR, &HandleRelease::FreeLocalText>;

}  // namespace ZT::Framework
