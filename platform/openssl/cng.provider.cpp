// Algorithm providers and the properties of providers, hashes and keys.

#include <cwchar>
#include <memory>
#include <utility>

#include "platform/openssl/callfailures.h"
#include "platform/openssl/cng.objects.h"

using namespace ZT::Platform;

namespace {

constexpr ULONG kProviderFlags = BCRYPT_ALG_HANDLE_HMAC_FLAG | BCRYPT_HASH_REUSABLE_FLAG | BCRYPT_PROV_DISPATCH;

// RSA key sizes CNG generates and imports.
constexpr BCRYPT_KEY_LENGTHS_STRUCT kRsaKeyLengths{512, 16384, 64};

bool Is(const wchar_t* property, const wchar_t* name) { return SameWideString(property, name); }

const wchar_t* ChainingModeName(bool cbc) { return cbc ? BCRYPT_CHAIN_MODE_CBC : BCRYPT_CHAIN_MODE_ECB; }

NTSTATUS PutKeyLengths(const BCRYPT_KEY_LENGTHS_STRUCT& lengths, PUCHAR out, ULONG cbOut, ULONG* pcbResult) {
  return PutProperty(&lengths, sizeof(lengths), out, cbOut, pcbResult);
}

NTSTATUS ProviderProperty(const Provider& provider, const wchar_t* property, PUCHAR out, ULONG cbOut,
                          ULONG* pcbResult) {
  const Algorithm& algorithm = *provider.algorithm;
  if (Is(property, BCRYPT_ALGORITHM_NAME)) return PutString(algorithm.id, out, cbOut, pcbResult);
  if (algorithm.hash != nullptr) {
    if (Is(property, BCRYPT_OBJECT_LENGTH)) return PutUlong(Placement<HashObject>::kLength, out, cbOut, pcbResult);
    if (Is(property, BCRYPT_HASH_LENGTH)) return PutUlong(algorithm.hash->digestLength, out, cbOut, pcbResult);
    if (Is(property, BCRYPT_HASH_BLOCK_LENGTH)) return PutUlong(algorithm.hash->blockLength, out, cbOut, pcbResult);
    if (Is(property, BCRYPT_IS_KEYED_HASH))
      return PutUlong((provider.flags & BCRYPT_ALG_HANDLE_HMAC_FLAG) != 0 ? 1 : 0, out, cbOut, pcbResult);
    if (Is(property, BCRYPT_IS_REUSABLE_HASH)) return PutUlong(1, out, cbOut, pcbResult);
  }
  if (algorithm.symmetric != nullptr) {
    if (Is(property, BCRYPT_OBJECT_LENGTH) || Is(property, BCRYPT_KEY_OBJECT_LENGTH))
      return PutUlong(Placement<SymmetricKey>::kLength, out, cbOut, pcbResult);
    if (Is(property, BCRYPT_BLOCK_LENGTH)) return PutUlong(algorithm.symmetric->blockLength, out, cbOut, pcbResult);
    if (Is(property, BCRYPT_CHAINING_MODE)) return PutString(ChainingModeName(provider.cbc), out, cbOut, pcbResult);
    if (Is(property, BCRYPT_KEY_LENGTHS)) return PutKeyLengths(algorithm.symmetric->keyLengths, out, cbOut, pcbResult);
  }
  if (algorithm.cls == AlgorithmClass::Rsa && Is(property, BCRYPT_KEY_LENGTHS))
    return PutKeyLengths(kRsaKeyLengths, out, cbOut, pcbResult);
  if (algorithm.curve != nullptr && Is(property, BCRYPT_KEY_LENGTHS))
    return PutKeyLengths({algorithm.curve->bits, algorithm.curve->bits, 0}, out, cbOut, pcbResult);
  return STATUS_NOT_SUPPORTED;
}

NTSTATUS HashProperty(const HashObject& hash, const wchar_t* property, PUCHAR out, ULONG cbOut, ULONG* pcbResult) {
  const Algorithm& algorithm = *hash.algorithm;
  if (Is(property, BCRYPT_ALGORITHM_NAME)) return PutString(algorithm.id, out, cbOut, pcbResult);
  if (Is(property, BCRYPT_OBJECT_LENGTH)) return PutUlong(Placement<HashObject>::kLength, out, cbOut, pcbResult);
  if (Is(property, BCRYPT_HASH_LENGTH)) return PutUlong(algorithm.hash->digestLength, out, cbOut, pcbResult);
  if (Is(property, BCRYPT_HASH_BLOCK_LENGTH)) return PutUlong(algorithm.hash->blockLength, out, cbOut, pcbResult);
  return STATUS_NOT_SUPPORTED;
}

ULONG KeyBits(const KeyObject& key) {
  if (key.kind == KeyKind::Symmetric) return static_cast<const SymmetricKey&>(key).size->bits;
  return static_cast<const AsymmetricKey&>(key).bits;
}

NTSTATUS KeyProperty(const KeyObject& key, const wchar_t* property, PUCHAR out, ULONG cbOut, ULONG* pcbResult) {
  if (Is(property, BCRYPT_ALGORITHM_NAME)) return PutString(key.algorithm->id, out, cbOut, pcbResult);
  // KeyStrength reports the key size in bits, as KeyLength does.
  if (Is(property, BCRYPT_KEY_LENGTH) || Is(property, BCRYPT_KEY_STRENGTH))
    return PutUlong(KeyBits(key), out, cbOut, pcbResult);
  if (key.kind == KeyKind::Symmetric) {
    const auto& symmetric = static_cast<const SymmetricKey&>(key);
    if (Is(property, BCRYPT_BLOCK_LENGTH)) return PutUlong(key.algorithm->symmetric->blockLength, out, cbOut, pcbResult);
    if (Is(property, BCRYPT_CHAINING_MODE)) return PutString(ChainingModeName(symmetric.cbc), out, cbOut, pcbResult);
  }
  return STATUS_NOT_SUPPORTED;
}

// The chaining mode named by a property value, or STATUS_NOT_SUPPORTED for modes this platform
// does not offer.
NTSTATUS ParseChainingMode(PUCHAR pbInput, ULONG cbInput, bool* cbc) {
  const wchar_t* mode = nullptr;
  if (!ReadWideString(pbInput, cbInput, &mode)) return STATUS_INVALID_PARAMETER;
  if (Is(mode, BCRYPT_CHAIN_MODE_CBC)) {
    *cbc = true;
    return STATUS_SUCCESS;
  }
  if (Is(mode, BCRYPT_CHAIN_MODE_ECB)) {
    *cbc = false;
    return STATUS_SUCCESS;
  }
  return STATUS_NOT_SUPPORTED;
}

// The memory of the provider this thread closed last, freed when the thread ends. Providers
// opened and closed after that (by the thread's last destructors) use the heap directly.
struct SpareProvider {
  SpareProvider() = default;
  SpareProvider(const SpareProvider&) = delete;
  SpareProvider& operator=(const SpareProvider&) = delete;
  ~SpareProvider() {
    ::operator delete(std::exchange(memory, nullptr));
    ended = true;
  }
  void* memory = nullptr;
  bool ended = false;
};
thread_local SpareProvider t_spareProvider;

}  // namespace

void* Provider::operator new(std::size_t size) {
  if (void* spare = std::exchange(t_spareProvider.memory, nullptr)) return spare;
  return ::operator new(size);
}

void Provider::operator delete(void* memory) noexcept {
  if (t_spareProvider.memory == nullptr && !t_spareProvider.ended)
    t_spareProvider.memory = memory;
  else
    ::operator delete(memory);
}

extern "C" {

NTSTATUS WINAPI BCryptOpenAlgorithmProvider(BCRYPT_ALG_HANDLE* phAlgorithm, LPCWSTR pszAlgId,
                                            LPCWSTR pszImplementation, ULONG dwFlags) {
  ZT_FAIL_POINT_STATUS(NTSTATUS);
  return Guarded([&]() -> NTSTATUS {
    if (phAlgorithm == nullptr || pszAlgId == nullptr) return STATUS_INVALID_PARAMETER;
    if ((dwFlags & ~kProviderFlags) != 0) return STATUS_INVALID_PARAMETER;
    if (pszImplementation != nullptr && !EqualsNoCase(pszImplementation, MS_PRIMITIVE_PROVIDER)) return STATUS_NOT_FOUND;
    const Algorithm* algorithm = FindAlgorithm(pszAlgId);
    if (algorithm == nullptr) return STATUS_NOT_FOUND;
    // No provider offers HMAC for an algorithm that is no hash.
    if ((dwFlags & BCRYPT_ALG_HANDLE_HMAC_FLAG) != 0 && algorithm->hash == nullptr) return STATUS_NOT_FOUND;
    if (Library::Get().Context() == nullptr) return STATUS_NOT_FOUND;
    auto provider = std::make_unique<Provider>(Provider{algorithm, dwFlags});
    PublishHandle<Provider>(HandleKind::Algorithm, provider, phAlgorithm);
    return STATUS_SUCCESS;
  });
}

NTSTATUS WINAPI BCryptCloseAlgorithmProvider(BCRYPT_ALG_HANDLE hAlgorithm, ULONG dwFlags) {
  if (FindHandle<Provider>(hAlgorithm, HandleKind::Algorithm) == nullptr) return STATUS_INVALID_HANDLE;
  if (dwFlags != 0) return STATUS_INVALID_PARAMETER;
  delete static_cast<Provider*>(
      HandleTable::Instance().Remove(reinterpret_cast<std::uintptr_t>(hAlgorithm), HandleKind::Algorithm));
  return STATUS_SUCCESS;
}

NTSTATUS WINAPI BCryptGetProperty(BCRYPT_HANDLE hObject, LPCWSTR pszProperty, PUCHAR pbOutput, ULONG cbOutput,
                                  ULONG* pcbResult, ULONG dwFlags) {
  ZT_FAIL_POINT_STATUS(NTSTATUS);
  void* object = nullptr;
  const HandleKind kind = HandleTable::Instance().KindOf(reinterpret_cast<std::uintptr_t>(hObject), &object);
  if (kind != HandleKind::Algorithm && kind != HandleKind::Hash && kind != HandleKind::Key) return STATUS_INVALID_HANDLE;
  if (pszProperty == nullptr || pcbResult == nullptr || dwFlags != 0) return STATUS_INVALID_PARAMETER;
  switch (kind) {
    case HandleKind::Algorithm:
      return ProviderProperty(*static_cast<Provider*>(object), pszProperty, pbOutput, cbOutput, pcbResult);
    case HandleKind::Hash:
      return HashProperty(*static_cast<HashObject*>(object), pszProperty, pbOutput, cbOutput, pcbResult);
    default:
      return KeyProperty(*static_cast<KeyObject*>(object), pszProperty, pbOutput, cbOutput, pcbResult);
  }
}

NTSTATUS WINAPI BCryptSetProperty(BCRYPT_HANDLE hObject, LPCWSTR pszProperty, PUCHAR pbInput, ULONG cbInput,
                                  ULONG dwFlags) {
  ZT_FAIL_POINT_STATUS(NTSTATUS);
  void* object = nullptr;
  const HandleKind kind = HandleTable::Instance().KindOf(reinterpret_cast<std::uintptr_t>(hObject), &object);
  if (kind != HandleKind::Algorithm && kind != HandleKind::Hash && kind != HandleKind::Key) return STATUS_INVALID_HANDLE;
  if (pszProperty == nullptr || pbInput == nullptr || dwFlags != 0) return STATUS_INVALID_PARAMETER;
  if (!Is(pszProperty, BCRYPT_CHAINING_MODE)) return STATUS_NOT_SUPPORTED;

  bool* target = nullptr;
  if (kind == HandleKind::Algorithm) {
    auto* provider = static_cast<Provider*>(object);
    if (provider->algorithm->symmetric != nullptr) target = &provider->cbc;
  } else if (kind == HandleKind::Key) {
    auto* key = static_cast<KeyObject*>(object);
    if (key->kind == KeyKind::Symmetric) target = &static_cast<SymmetricKey*>(key)->cbc;
  }
  if (target == nullptr) return STATUS_NOT_SUPPORTED;
  bool cbc = true;
  const NTSTATUS status = ParseChainingMode(pbInput, cbInput, &cbc);
  if (NT_SUCCESS(status)) *target = cbc;
  return status;
}

}  // extern "C"
