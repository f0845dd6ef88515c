// Handles of the seam (algorithm providers, hashes, keys, secrets, CryptoAPI contexts and keys,
// key storage providers and their keys, certificate stores, files and file mappings):
// opaque values that name an object through a table, so that a bad, null or released handle is
// recognised without ever touching the memory it might point to.
//
// A handle value carries a slot index and the slot's generation. Releasing a handle bumps the
// generation, so the old value stops matching even when the slot is reused. Slots live in
// blocks that are never freed while the process runs; lookups are lock-free reads of atomics,
// and insertion and release use a lock-free free list, so that every thread may use the table
// at once at the cost of a few atomic operations. Each thread also keeps a few free slots of its
// own, so that a handle made and released on one thread touches no shared free list.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>

namespace ZT::Platform {

enum class HandleKind : std::uint8_t {
  None = 0,
  Algorithm,      // BCRYPT_ALG_HANDLE
  Hash,           // BCRYPT_HASH_HANDLE
  Key,            // BCRYPT_KEY_HANDLE
  Secret,         // BCRYPT_SECRET_HANDLE
  CryptProvider,  // HCRYPTPROV
  CryptKey,       // HCRYPTKEY
  NCryptProvider, // NCRYPT_PROV_HANDLE
  NCryptKey,      // NCRYPT_KEY_HANDLE
  CertStore,      // HCERTSTORE
  File,           // HANDLE of CreateFileW
  FileMapping,    // HANDLE of CreateFileMappingW
};

class HandleTable {
 public:
  static HandleTable& Instance();

  // A new handle naming `object` as a `kind`. Throws std::bad_alloc when the table cannot grow.
  std::uintptr_t Insert(HandleKind kind, void* object);
  // The object of a live handle of that kind, or null.
  void* Find(std::uintptr_t handle, HandleKind kind) const;
  // The kind of a live handle (None when it is not live), and its object in *object.
  HandleKind KindOf(std::uintptr_t handle, void** object) const;
  // Releases a live handle of that kind and returns its object (the caller destroys it), or
  // null when the handle was not live: a second release of the same value finds nothing.
  void* Remove(std::uintptr_t handle, HandleKind kind);
  // The number of live handles of every kind, counted slot by slot (for tests: not cheap).
  std::size_t LiveCount() const;

  HandleTable(const HandleTable&) = delete;
  HandleTable& operator=(const HandleTable&) = delete;

  // Returns a free slot index to the shared free list (for threads handing back their spares).
  void GiveBackShared(std::uint32_t index);

 private:
  HandleTable() = default;

  struct Slot {
    // generation (high 32 bits) | kind (low 8 bits); kind None when free.
    std::atomic<std::uint64_t> state{0};
    std::atomic<void*> object{nullptr};
    std::atomic<std::uint32_t> nextFree{0};  // index + 1 of the next free slot, 0 = end
  };
  static constexpr std::size_t kBlockSize = 1024;
  static constexpr std::size_t kMaxBlocks = 4096;  // about four million live handles

  Slot* SlotAt(std::uint32_t index) const;
  std::uint32_t TakeIndex();
  void GiveBackIndex(std::uint32_t index);
  static std::uint64_t LiveState(std::uint32_t generation, HandleKind kind) {
    return (static_cast<std::uint64_t>(generation) << 32) | static_cast<std::uint8_t>(kind);
  }

  std::atomic<Slot*> m_blocks[kMaxBlocks] = {};
  std::atomic<std::uint32_t> m_used{0};  // slots ever handed out
  // Free list head: (change counter << 32) | (index + 1); the counter defeats ABA.
  std::atomic<std::uint64_t> m_freeHead{0};
};

// The number of mapped views of files that are live (files.cpp).
std::size_t LiveViewCount();

// Typed access for the seam functions.
template <class T>
T* FindHandle(std::uintptr_t handle, HandleKind kind) {
  return static_cast<T*>(HandleTable::Instance().Find(handle, kind));
}
template <class T>
T* FindHandle(const void* handle, HandleKind kind) {
  return FindHandle<T>(reinterpret_cast<std::uintptr_t>(handle), kind);
}

}  // namespace ZT::Platform
