// The CNG key entries: key pairs, export, destruction, encryption, secret agreement and
// derivation from agreed secrets. They check handles and dispatch by key family.

#include <cwchar>
#include <memory>

#include "platform/openssl/callfailures.h"
#include "platform/openssl/cng.keys.h"

using namespace ZT::Platform;

namespace {

constexpr ULONG kRsaMinBits = 512;
constexpr ULONG kRsaMaxBits = 16384;
constexpr ULONG kRsaStepBits = 64;

KeyKind KindOf(const Algorithm& algorithm) { return algorithm.cls == AlgorithmClass::Rsa ? KeyKind::Rsa : KeyKind::Ecdh; }

bool IsAsymmetric(const Algorithm& algorithm) {
  return algorithm.cls == AlgorithmClass::Rsa || algorithm.cls == AlgorithmClass::Ecdh;
}

// A key pair that is usable: imported, or generated and finalized.
AsymmetricKey* FindReadyKeyPair(BCRYPT_KEY_HANDLE handle) {
  KeyObject* key = FindHandle<KeyObject>(handle, HandleKind::Key);
  if (key == nullptr || key->kind == KeyKind::Symmetric) return nullptr;
  auto* pair = static_cast<AsymmetricKey*>(key);
  return pair->pkey ? pair : nullptr;
}

NTSTATUS Crypt(BCRYPT_KEY_HANDLE hKey, const CryptCall& call, bool encrypt) {
  KeyObject* key = FindHandle<KeyObject>(hKey, HandleKind::Key);
  if (key == nullptr) return STATUS_INVALID_HANDLE;
  switch (key->kind) {
    case KeyKind::Symmetric: {
      auto& symmetric = static_cast<SymmetricKey&>(*key);
      return encrypt ? SymmetricEncrypt(symmetric, call) : SymmetricDecrypt(symmetric, call);
    }
    case KeyKind::Rsa: {
      const auto& rsa = static_cast<const AsymmetricKey&>(*key);
      // A key pair that was never finalized has no key to use.
      if (!rsa.pkey) return STATUS_INVALID_HANDLE;
      return encrypt ? RsaEncrypt(rsa, call) : RsaDecrypt(rsa, call);
    }
    default:
      // ECDH keys agree on secrets; they do not encrypt.
      return STATUS_NOT_SUPPORTED;
  }
}

// The parameters of the "HASH" key derivation.
struct HashKdf {
  const HashAlgorithm* hash = nullptr;
  SecretBytes prepend;
  SecretBytes append;
};

// Reads the parameter list of "HASH": KDF_HASH_ALGORITHM (a zero-terminated wide string, SHA1
// when absent), KDF_SECRET_PREPEND and KDF_SECRET_APPEND (several of one type are joined in
// their order). A list may be absent altogether. Other buffer types do not belong to this
// derivation and are refused.
NTSTATUS ReadHashKdf(const BCryptBufferDesc* list, HashKdf* kdf) {
  kdf->hash = FindHashAlgorithm(BCRYPT_SHA1_ALGORITHM);
  if (list == nullptr) return STATUS_SUCCESS;
  if (list->ulVersion != BCRYPTBUFFER_VERSION || (list->cBuffers != 0 && list->pBuffers == nullptr))
    return STATUS_INVALID_PARAMETER;
  for (ULONG i = 0; i < list->cBuffers; ++i) {
    const BCryptBuffer& buffer = list->pBuffers[i];
    if (!BufferOk(buffer.pvBuffer, buffer.cbBuffer)) return STATUS_INVALID_PARAMETER;
    const auto* bytes = static_cast<const unsigned char*>(buffer.pvBuffer);
    switch (buffer.BufferType) {
      case KDF_HASH_ALGORITHM: {
        const wchar_t* name = nullptr;
        if (!ReadWideString(buffer.pvBuffer, buffer.cbBuffer, &name)) return STATUS_INVALID_PARAMETER;
        kdf->hash = FindHashAlgorithm(name);
        if (kdf->hash == nullptr) return STATUS_NOT_SUPPORTED;
        break;
      }
      case KDF_SECRET_PREPEND:
        kdf->prepend.Append(bytes, buffer.cbBuffer);
        break;
      case KDF_SECRET_APPEND:
        kdf->append.Append(bytes, buffer.cbBuffer);
        break;
      default:
        return STATUS_INVALID_PARAMETER;
    }
  }
  return STATUS_SUCCESS;
}

// hash(prepend || secret || append) into `out` (digest length bytes).
bool HashDerive(const HashKdf& kdf, const SecretBytes& secret, unsigned char* out) {
  const EVP_MD* md = Library::Get().Digest(kdf.hash->digest);
  MdCtxPtr ctx(EVP_MD_CTX_new());
  return md != nullptr && ctx && EVP_DigestInit_ex2(ctx.get(), md, nullptr) == 1 &&
         EVP_DigestUpdate(ctx.get(), kdf.prepend.data(), kdf.prepend.size()) == 1 &&
         EVP_DigestUpdate(ctx.get(), secret.data(), secret.size()) == 1 &&
         EVP_DigestUpdate(ctx.get(), kdf.append.data(), kdf.append.size()) == 1 &&
         EVP_DigestFinal_ex(ctx.get(), out, nullptr) == 1;
}

}  // namespace

extern "C" {

NTSTATUS WINAPI BCryptImportKeyPair(BCRYPT_ALG_HANDLE hAlgorithm, BCRYPT_KEY_HANDLE hImportKey, LPCWSTR pszBlobType,
                                    BCRYPT_KEY_HANDLE* phKey, PUCHAR pbInput, ULONG cbInput, ULONG dwFlags) {
  ZT_FAIL_POINT_STATUS(NTSTATUS);
  return Guarded([&]() -> NTSTATUS {
    const Provider* provider = FindHandle<Provider>(hAlgorithm, HandleKind::Algorithm);
    if (provider == nullptr) return STATUS_INVALID_HANDLE;
    const Algorithm& algorithm = *provider->algorithm;
    if (!IsAsymmetric(algorithm)) return STATUS_NOT_SUPPORTED;
    if (phKey == nullptr || pszBlobType == nullptr || pbInput == nullptr || dwFlags != 0) return STATUS_INVALID_PARAMETER;
    if (hImportKey != nullptr) return STATUS_NOT_SUPPORTED;
    const ULONG bits = algorithm.curve != nullptr ? algorithm.curve->bits : 0;
    auto key = std::make_unique<AsymmetricKey>(KindOf(algorithm), &algorithm, bits);
    const NTSTATUS status = key->kind == KeyKind::Rsa ? ImportRsaKey(*key, pszBlobType, pbInput, cbInput)
                                                      : ImportEcdhKey(*key, pszBlobType, pbInput, cbInput);
    if (!NT_SUCCESS(status)) return status;
    PublishHandle<KeyObject>(HandleKind::Key, key, phKey);
    return STATUS_SUCCESS;
  });
}

NTSTATUS WINAPI BCryptExportKey(BCRYPT_KEY_HANDLE hKey, BCRYPT_KEY_HANDLE hExportKey, LPCWSTR pszBlobType,
                                PUCHAR pbOutput, ULONG cbOutput, ULONG* pcbResult, ULONG dwFlags) {
  ZT_FAIL_POINT_STATUS(NTSTATUS);
  return Guarded([&]() -> NTSTATUS {
    KeyObject* key = FindHandle<KeyObject>(hKey, HandleKind::Key);
    if (key == nullptr) return STATUS_INVALID_HANDLE;
    if (pszBlobType == nullptr || pcbResult == nullptr || dwFlags != 0) return STATUS_INVALID_PARAMETER;
    if (hExportKey != nullptr) return STATUS_NOT_SUPPORTED;
    if (key->kind == KeyKind::Symmetric)
      return ExportSymmetricKey(static_cast<SymmetricKey&>(*key), pszBlobType, pbOutput, cbOutput, pcbResult);
    const AsymmetricKey* pair = FindReadyKeyPair(hKey);
    if (pair == nullptr) return STATUS_INVALID_HANDLE;
    return key->kind == KeyKind::Rsa ? ExportRsaKey(*pair, pszBlobType, pbOutput, cbOutput, pcbResult)
                                     : ExportEcdhKey(*pair, pszBlobType, pbOutput, cbOutput, pcbResult);
  });
}

NTSTATUS WINAPI BCryptGenerateKeyPair(BCRYPT_ALG_HANDLE hAlgorithm, BCRYPT_KEY_HANDLE* phKey, ULONG dwLength,
                                      ULONG dwFlags) {
  ZT_FAIL_POINT_STATUS(NTSTATUS);
  return Guarded([&]() -> NTSTATUS {
    const Provider* provider = FindHandle<Provider>(hAlgorithm, HandleKind::Algorithm);
    if (provider == nullptr) return STATUS_INVALID_HANDLE;
    const Algorithm& algorithm = *provider->algorithm;
    if (!IsAsymmetric(algorithm)) return STATUS_NOT_SUPPORTED;
    if (phKey == nullptr || dwFlags != 0) return STATUS_INVALID_PARAMETER;
    const bool sizeOk = algorithm.curve != nullptr
                            ? dwLength == algorithm.curve->bits
                            : dwLength >= kRsaMinBits && dwLength <= kRsaMaxBits && dwLength % kRsaStepBits == 0;
    if (!sizeOk) return STATUS_INVALID_PARAMETER;
    auto key = std::make_unique<AsymmetricKey>(KindOf(algorithm), &algorithm, dwLength);
    PublishHandle<KeyObject>(HandleKind::Key, key, phKey);
    return STATUS_SUCCESS;
  });
}

NTSTATUS WINAPI BCryptFinalizeKeyPair(BCRYPT_KEY_HANDLE hKey, ULONG dwFlags) {
  ZT_FAIL_POINT_STATUS(NTSTATUS);
  return Guarded([&]() -> NTSTATUS {
    KeyObject* key = FindHandle<KeyObject>(hKey, HandleKind::Key);
    if (key == nullptr || key->kind == KeyKind::Symmetric) return STATUS_INVALID_HANDLE;
    if (dwFlags != 0) return STATUS_INVALID_PARAMETER;
    auto& pair = static_cast<AsymmetricKey&>(*key);
    // An imported or already finalized key has nothing left to finalize.
    if (pair.pkey) return STATUS_INVALID_HANDLE;
    return key->kind == KeyKind::Rsa ? GenerateRsaKey(pair) : GenerateEcdhKey(pair);
  });
}

NTSTATUS WINAPI BCryptDestroyKey(BCRYPT_KEY_HANDLE hKey) {
  void* object = HandleTable::Instance().Remove(reinterpret_cast<std::uintptr_t>(hKey), HandleKind::Key);
  if (object == nullptr) return STATUS_INVALID_HANDLE;
  auto* key = static_cast<KeyObject*>(object);
  if (key->kind == KeyKind::Symmetric)
    Placement<SymmetricKey>::Destroy(static_cast<SymmetricKey*>(key));
  else
    delete key;
  return STATUS_SUCCESS;
}

NTSTATUS WINAPI BCryptEncrypt(BCRYPT_KEY_HANDLE hKey, PUCHAR pbInput, ULONG cbInput, VOID* pPaddingInfo, PUCHAR pbIV,
                              ULONG cbIV, PUCHAR pbOutput, ULONG cbOutput, ULONG* pcbResult, ULONG dwFlags) {
  ZT_FAIL_POINT_STATUS(NTSTATUS);
  return Guarded([&]() -> NTSTATUS {
    return Crypt(hKey, {pbInput, cbInput, pPaddingInfo, pbIV, cbIV, pbOutput, cbOutput, pcbResult, dwFlags}, true);
  });
}

NTSTATUS WINAPI BCryptDecrypt(BCRYPT_KEY_HANDLE hKey, PUCHAR pbInput, ULONG cbInput, VOID* pPaddingInfo, PUCHAR pbIV,
                              ULONG cbIV, PUCHAR pbOutput, ULONG cbOutput, ULONG* pcbResult, ULONG dwFlags) {
  ZT_FAIL_POINT_STATUS(NTSTATUS);
  return Guarded([&]() -> NTSTATUS {
    return Crypt(hKey, {pbInput, cbInput, pPaddingInfo, pbIV, cbIV, pbOutput, cbOutput, pcbResult, dwFlags}, false);
  });
}

NTSTATUS WINAPI BCryptSecretAgreement(BCRYPT_KEY_HANDLE hPrivKey, BCRYPT_KEY_HANDLE hPubKey,
                                      BCRYPT_SECRET_HANDLE* phAgreedSecret, ULONG dwFlags) {
  ZT_FAIL_POINT_STATUS(NTSTATUS);
  return Guarded([&]() -> NTSTATUS {
    const AsymmetricKey* privateKey = FindReadyKeyPair(hPrivKey);
    const AsymmetricKey* publicKey = FindReadyKeyPair(hPubKey);
    if (privateKey == nullptr || publicKey == nullptr) return STATUS_INVALID_HANDLE;
    if (phAgreedSecret == nullptr || dwFlags != 0) return STATUS_INVALID_PARAMETER;
    if (privateKey->kind != KeyKind::Ecdh || publicKey->kind != KeyKind::Ecdh) return STATUS_NOT_SUPPORTED;
    SecretBytes value;
    if (const NTSTATUS status = AgreeSecret(*privateKey, *publicKey, &value); !NT_SUCCESS(status)) return status;
    auto secret = std::make_unique<SecretObject>(std::move(value));
    PublishHandle<SecretObject>(HandleKind::Secret, secret, phAgreedSecret);
    return STATUS_SUCCESS;
  });
}

NTSTATUS WINAPI BCryptDeriveKey(BCRYPT_SECRET_HANDLE hSharedSecret, LPCWSTR pwszKDF, BCryptBufferDesc* pParameterList,
                                PUCHAR pbDerivedKey, ULONG cbDerivedKey, ULONG* pcbResult, ULONG dwFlags) {
  ZT_FAIL_POINT_STATUS(NTSTATUS);
  return Guarded([&]() -> NTSTATUS {
    const SecretObject* secret = FindHandle<SecretObject>(hSharedSecret, HandleKind::Secret);
    if (secret == nullptr) return STATUS_INVALID_HANDLE;
    if (pwszKDF == nullptr || pcbResult == nullptr || dwFlags != 0) return STATUS_INVALID_PARAMETER;
    // Of the derivations CNG names, the engines use "HASH" only; it is the one offered here.
    if (std::wcscmp(pwszKDF, BCRYPT_KDF_HASH) != 0) return STATUS_NOT_SUPPORTED;
    HashKdf kdf;
    if (const NTSTATUS status = ReadHashKdf(pParameterList, &kdf); !NT_SUCCESS(status)) return status;
    const ULONG size = kdf.hash->digestLength;
    *pcbResult = size;
    if (pbDerivedKey == nullptr) return STATUS_SUCCESS;
    if (cbDerivedKey < size) return STATUS_BUFFER_TOO_SMALL;
    return HashDerive(kdf, secret->value, pbDerivedKey) ? STATUS_SUCCESS : STATUS_INTERNAL_ERROR;
  });
}

NTSTATUS WINAPI BCryptDestroySecret(BCRYPT_SECRET_HANDLE hSecret) {
  void* object = HandleTable::Instance().Remove(reinterpret_cast<std::uintptr_t>(hSecret), HandleKind::Secret);
  if (object == nullptr) return STATUS_INVALID_HANDLE;
  delete static_cast<SecretObject*>(object);
  return STATUS_SUCCESS;
}

}  // extern "C"
