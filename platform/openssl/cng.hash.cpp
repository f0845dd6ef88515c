// Hashes and HMACs (BCryptCreateHash to BCryptDestroyHash).

#include <openssl/core_names.h>

#include "platform/openssl/callfailures.h"
#include "platform/openssl/cng.objects.h"

using namespace ZT::Platform;

namespace {

constexpr ULONG kCreateFlags = BCRYPT_HASH_REUSABLE_FLAG;

// A non-null pointer for zero-length input: OpenSSL treats a null key as "keep the old key".
const unsigned char kEmpty[1] = {0};

// Starts the digest or the HMAC of the object, with `secret` as the HMAC key.
bool StartHash(HashObject& hash, const unsigned char* secret, std::size_t secretSize) {
  const Library& library = Library::Get();
  const DigestId digest = hash.algorithm->hash->digest;
  if (hash.mac) return EVP_MAC_init(hash.mac.get(), secret != nullptr ? secret : kEmpty, secretSize, nullptr) == 1;
  return EVP_DigestInit_ex2(hash.digest.get(), library.Digest(digest), nullptr) == 1;
}

// Restarts a reusable hash after FinishHash: same algorithm, same HMAC key.
bool RestartHash(HashObject& hash) {
  if (hash.mac) return EVP_MAC_init(hash.mac.get(), nullptr, 0, nullptr) == 1;
  return EVP_DigestInit_ex2(hash.digest.get(), nullptr, nullptr) == 1;
}

// The OpenSSL contexts of a new hash object: an HMAC duplicated from the library's template
// for its digest (no name lookup per call), or a digest context.
NTSTATUS MakeContexts(HashObject& hash, bool hmac) {
  const Library& library = Library::Get();
  const DigestId digest = hash.algorithm->hash->digest;
  if (hmac) {
    const EVP_MAC_CTX* hmacTemplate = library.HmacTemplate(digest);
    if (hmacTemplate == nullptr) return STATUS_NOT_SUPPORTED;
    hash.mac.reset(EVP_MAC_CTX_dup(hmacTemplate));
    return hash.mac ? STATUS_SUCCESS : STATUS_NO_MEMORY;
  }
  if (library.Digest(digest) == nullptr) return STATUS_NOT_SUPPORTED;
  hash.digest.reset(EVP_MD_CTX_new());
  return hash.digest ? STATUS_SUCCESS : STATUS_NO_MEMORY;
}

HashObject* FindHash(BCRYPT_HASH_HANDLE handle) { return FindHandle<HashObject>(handle, HandleKind::Hash); }

}  // namespace

extern "C" {

NTSTATUS WINAPI BCryptCreateHash(BCRYPT_ALG_HANDLE hAlgorithm, BCRYPT_HASH_HANDLE* phHash, PUCHAR pbHashObject,
                                 ULONG cbHashObject, PUCHAR pbSecret, ULONG cbSecret, ULONG dwFlags) {
  ZT_FAIL_POINT_STATUS(NTSTATUS);
  return Guarded([&]() -> NTSTATUS {
    const Provider* provider = FindHandle<Provider>(hAlgorithm, HandleKind::Algorithm);
    if (provider == nullptr) return STATUS_INVALID_HANDLE;
    if (provider->algorithm->hash == nullptr) return STATUS_NOT_SUPPORTED;
    if (phHash == nullptr || (dwFlags & ~kCreateFlags) != 0) return STATUS_INVALID_PARAMETER;
    if (pbHashObject != nullptr && cbHashObject < Placement<HashObject>::kLength) return STATUS_BUFFER_TOO_SMALL;
    const bool hmac = (provider->flags & BCRYPT_ALG_HANDLE_HMAC_FLAG) != 0;
    // The secret only keys HMAC providers; a plain hash ignores it.
    if (hmac && !BufferOk(pbSecret, cbSecret)) return STATUS_INVALID_PARAMETER;

    PlacedPtr<HashObject> hash(Placement<HashObject>::Create(pbHashObject));
    hash->algorithm = provider->algorithm;
    hash->reusable = ((dwFlags | provider->flags) & BCRYPT_HASH_REUSABLE_FLAG) != 0;
    if (const NTSTATUS status = MakeContexts(*hash, hmac); !NT_SUCCESS(status)) return status;
    if (!StartHash(*hash, pbSecret, hmac ? cbSecret : 0)) return STATUS_INTERNAL_ERROR;
    PublishHandle<HashObject>(HandleKind::Hash, hash, phHash);
    return STATUS_SUCCESS;
  });
}

NTSTATUS WINAPI BCryptHashData(BCRYPT_HASH_HANDLE hHash, PUCHAR pbInput, ULONG cbInput, ULONG dwFlags) {
  ZT_FAIL_POINT_STATUS(NTSTATUS);
  HashObject* hash = FindHash(hHash);
  // A finished hash that is not reusable can only be destroyed: it no longer names a hash.
  if (hash == nullptr || hash->finished) return STATUS_INVALID_HANDLE;
  if (!BufferOk(pbInput, cbInput) || dwFlags != 0) return STATUS_INVALID_PARAMETER;
  if (cbInput == 0) return STATUS_SUCCESS;
  const int ok = hash->mac ? EVP_MAC_update(hash->mac.get(), pbInput, cbInput)
                           : EVP_DigestUpdate(hash->digest.get(), pbInput, cbInput);
  return ok == 1 ? STATUS_SUCCESS : STATUS_INTERNAL_ERROR;
}

NTSTATUS WINAPI BCryptFinishHash(BCRYPT_HASH_HANDLE hHash, PUCHAR pbOutput, ULONG cbOutput, ULONG dwFlags) {
  ZT_FAIL_POINT_STATUS(NTSTATUS);
  HashObject* hash = FindHash(hHash);
  if (hash == nullptr || hash->finished) return STATUS_INVALID_HANDLE;
  // The output must be exactly the digest's size.
  if (pbOutput == nullptr || dwFlags != 0 || cbOutput != hash->algorithm->hash->digestLength)
    return STATUS_INVALID_PARAMETER;
  int ok = 0;
  if (hash->mac) {
    std::size_t written = 0;
    ok = EVP_MAC_final(hash->mac.get(), pbOutput, &written, cbOutput);
  } else {
    ok = EVP_DigestFinal_ex(hash->digest.get(), pbOutput, nullptr);
  }
  if (ok != 1) return STATUS_INTERNAL_ERROR;
  if (!hash->reusable) {
    hash->finished = true;
    return STATUS_SUCCESS;
  }
  return RestartHash(*hash) ? STATUS_SUCCESS : STATUS_INTERNAL_ERROR;
}

NTSTATUS WINAPI BCryptDestroyHash(BCRYPT_HASH_HANDLE hHash) {
  void* object = HandleTable::Instance().Remove(reinterpret_cast<std::uintptr_t>(hHash), HandleKind::Hash);
  if (object == nullptr) return STATUS_INVALID_HANDLE;
  Placement<HashObject>::Destroy(static_cast<HashObject*>(object));
  return STATUS_SUCCESS;
}

}  // extern "C"
