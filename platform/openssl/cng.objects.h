// The objects behind CNG handles, where they live, and the helpers every CNG entry shares.
#pragma once

#include <cstring>
#include <new>
#include <utility>

#include "platform/bcrypt.h"
#include "platform/openssl/algorithms.h"
#include "platform/openssl/handles.h"
#include "platform/openssl/library.h"

namespace ZT::Platform {

// An algorithm provider: its algorithm and the settings that objects made from it inherit.
// Callers open and close a provider around nearly every operation, so each thread keeps the
// memory of the provider it closed last for the next one it opens.
struct Provider {
  const Algorithm* algorithm;
  ULONG flags;     // BCRYPT_ALG_HANDLE_HMAC_FLAG, BCRYPT_HASH_REUSABLE_FLAG
  bool cbc = true;  // chaining mode of a block cipher: CBC (the default) or ECB

  static void* operator new(std::size_t size);
  static void operator delete(void* memory) noexcept;
};

// Objects that may live in object memory the caller provides (hashes, symmetric keys) record
// whether the memory is theirs. Placement puts such an object at the first suitably aligned
// address of the caller's buffer, or in memory of its own when the caller gives none.
struct PlacedObject {
  bool ownsMemory = false;
};

template <class T>
struct Placement {
  // The object memory a caller must provide: the object and the worst-case alignment slack.
  static constexpr ULONG kLength = static_cast<ULONG>(sizeof(T) + alignof(T) - 1);

  template <class... A>
  static T* Create(PUCHAR memory, A&&... args) {
    void* where = memory != nullptr ? Align(memory) : ::operator new(sizeof(T));
    try {
      T* object = new (where) T(std::forward<A>(args)...);
      object->ownsMemory = memory == nullptr;
      return object;
    } catch (...) {
      if (memory == nullptr) ::operator delete(where);
      throw;
    }
  }

  // Destroys the object and wipes the memory it occupied (caller's or own).
  static void Destroy(T* object) {
    const bool owned = object->ownsMemory;
    object->~T();
    OPENSSL_cleanse(static_cast<void*>(object), sizeof(T));
    if (owned) ::operator delete(static_cast<void*>(object));
  }

 private:
  static void* Align(PUCHAR memory) {
    const auto address = reinterpret_cast<std::uintptr_t>(memory);
    const std::uintptr_t aligned = (address + alignof(T) - 1) & ~(static_cast<std::uintptr_t>(alignof(T)) - 1);
    return reinterpret_cast<void*>(aligned);
  }
};

// A hash or HMAC in progress.
struct HashObject : PlacedObject {
  const Algorithm* algorithm = nullptr;
  bool reusable = false;
  bool finished = false;
  MdCtxPtr digest;  // plain hashes
  MacCtxPtr mac;    // HMAC
};

enum class KeyKind : unsigned char { Symmetric, Rsa, Ecdh };

// What every key handle names.
struct KeyObject {
  KeyObject(KeyKind k, const Algorithm* a) : kind(k), algorithm(a) {}
  virtual ~KeyObject() = default;
  KeyObject(const KeyObject&) = delete;
  KeyObject& operator=(const KeyObject&) = delete;

  KeyKind kind;
  const Algorithm* algorithm;
};

// A block cipher key with its chaining mode and its own chaining register (used when a call
// passes no IV buffer).
struct SymmetricKey : KeyObject, PlacedObject {
  SymmetricKey(const Algorithm* a, const SymmetricAlgorithm::KeySize* s, bool c) : KeyObject(KeyKind::Symmetric, a), size(s), cbc(c) {}
  // Symmetric keys live only through Placement, whose Destroy wipes the whole object, key and
  // chaining register included.
  ~SymmetricKey() override = default;

  const SymmetricAlgorithm::KeySize* size;
  bool cbc;
  unsigned char key[32] = {};
  unsigned char chain[16] = {};
};

// An RSA or EC key (public, or with its private part), possibly not yet generated: a key pair
// started by BCryptGenerateKeyPair has no material until BCryptFinalizeKeyPair.
struct AsymmetricKey : KeyObject {
  AsymmetricKey(KeyKind k, const Algorithm* a, ULONG b) : KeyObject(k, a), bits(b) {}
  PkeyPtr pkey;  // null until finalized
  ULONG bits;
  bool hasPrivate = false;
};

// An agreed ECDH secret: the shared x-coordinate, big-endian, field-size bytes.
struct SecretObject {
  explicit SecretObject(SecretBytes z) : value(std::move(z)) {}
  SecretBytes value;
};

// Property values under the size-query protocol: a null `out` asks for the size (stored in
// *pcbResult); a short buffer gives STATUS_BUFFER_TOO_SMALL with the size.
NTSTATUS PutProperty(const void* value, ULONG size, PUCHAR out, ULONG cbOut, ULONG* pcbResult);
NTSTATUS PutUlong(ULONG value, PUCHAR out, ULONG cbOut, ULONG* pcbResult);
NTSTATUS PutString(const wchar_t* value, PUCHAR out, ULONG cbOut, ULONG* pcbResult);

// The string a property or parameter buffer holds: at most cbInput / sizeof(wchar_t)
// characters, ending at the first zero. False when there is no zero inside the buffer.
bool ReadWideString(const void* input, ULONG cbInput, const wchar_t** text);

// Whether two zero-terminated names (property names, blob types) are equal. Callers mostly pass
// the very constant they are compared with, and the names are short: the pointers, then a loop
// in place, settle it faster than a call of wcscmp.
inline bool SameWideString(const wchar_t* a, const wchar_t* b) {
  if (a == b) return true;
  for (; *a == *b; ++a, ++b)
    if (*a == L'\0') return true;
  return false;
}

// A pointer argument that may be null only when its length is zero.
inline bool BufferOk(const void* p, ULONG size) { return p != nullptr || size == 0; }

// Looks a handle up as a key of the given kind (null when it is not such a key).
template <class T>
T* FindKey(BCRYPT_KEY_HANDLE handle, KeyKind kind) {
  KeyObject* key = FindHandle<KeyObject>(handle, HandleKind::Key);
  return key != nullptr && key->kind == kind ? static_cast<T*>(key) : nullptr;
}

// Runs an entry's body, turning an allocation failure into the status `kNoMemory` and any other
// exception into `kFailure`: entries never let an exception cross the platform boundary.
template <auto kNoMemory, auto kFailure, class Body>
decltype(kNoMemory) GuardedWith(Body&& body) noexcept {
  try {
    return body();
  } catch (const std::bad_alloc&) {
    return kNoMemory;
  } catch (...) {
    return kFailure;
  }
}

// A CNG entry's body: STATUS_NO_MEMORY, STATUS_INTERNAL_ERROR.
template <class Body>
NTSTATUS Guarded(Body&& body) noexcept {
  return GuardedWith<NTSTATUS{STATUS_NO_MEMORY}, NTSTATUS{STATUS_INTERNAL_ERROR}>(body);
}

// Owning pointer of a placed object.
template <class T>
struct PlacementDeleter {
  void operator()(T* object) const noexcept { Placement<T>::Destroy(object); }
};
template <class T>
using PlacedPtr = std::unique_ptr<T, PlacementDeleter<T>>;

// Stores a new handle for the object in *out; the table takes the ownership over only once
// the handle exists, so nothing leaks when the table cannot grow. The table holds the object
// as a `Stored*` (keys as KeyObject*, whatever their class).
template <class Stored, class T, class D, class Out>
void PublishHandle(HandleKind kind, std::unique_ptr<T, D>& object, Out* out) {
  Stored* stored = object.get();
  *out = reinterpret_cast<Out>(HandleTable::Instance().Insert(kind, stored));
  object.release();
}

// Big-endian integers of blobs.
BnPtr BigEndianToBn(const unsigned char* data, std::size_t size);
// Writes `bn` big-endian into exactly `size` bytes (left-padded with zeros); false when it
// does not fit.
bool BnToBigEndian(const BIGNUM* bn, unsigned char* out, std::size_t size);

}  // namespace ZT::Platform
