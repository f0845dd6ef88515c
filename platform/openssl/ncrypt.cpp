// The key storage provider: ephemeral keys in the private library context, imported from and
// exported to CryptoAPI PRIVATEKEYBLOBs, with their export policy. The provider and its keys are
// handles of the seam's table, so unknown or freed handles are recognised.

#include <openssl/core_names.h>

#include <cstring>
#include <cwchar>

#include "platform/openssl/callfailures.h"
#include "platform/openssl/cng.keys.h"
#include "platform/openssl/ncryptkeys.h"

using namespace ZT::Platform;

namespace {

// The one provider has no state; its handle names this object.
struct NCryptProviderObject {};

constexpr std::size_t kLegacyHeaderSize = sizeof(BLOBHEADER) + sizeof(RSAPUBKEY);

// The sizes of a PRIVATEKEYBLOB's fields: the modulus and private exponent take the bit length
// rounded up to whole bytes, the five numbers of half size half of it, rounded up.
struct LegacyLayout {
  std::size_t full, half;
  explicit LegacyLayout(DWORD bitlen) : full((std::size_t{bitlen} + 7) / 8), half((std::size_t{bitlen} + 15) / 16) {}
  std::size_t Size() const { return kLegacyHeaderSize + 2 * full + 5 * half; }
};

BnPtr TakeLittleEndian(const unsigned char** cursor, std::size_t size) {
  BnPtr bn(BN_lebin2bn(*cursor, static_cast<int>(size), nullptr));
  *cursor += size;
  return bn;
}

// The key of a PRIVATEKEYBLOB of an RSA key, or null when the bytes are not one.
PkeyPtr ReadLegacyRsaPrivateBlob(const unsigned char* blob, std::size_t size) {
  if (blob == nullptr || size < kLegacyHeaderSize) return nullptr;
  BLOBHEADER header;
  RSAPUBKEY rsa;
  std::memcpy(&header, blob, sizeof header);
  std::memcpy(&rsa, blob + sizeof header, sizeof rsa);
  if (header.bType != PRIVATEKEYBLOB || header.bVersion != CUR_BLOB_VERSION || header.reserved != 0 ||
      (header.aiKeyAlg != CALG_RSA_KEYX && header.aiKeyAlg != CALG_RSA_SIGN) || rsa.magic != BCRYPT_RSAPRIVATE_MAGIC ||
      rsa.bitlen < 512 || rsa.bitlen > 16384 || rsa.pubexp == 0)
    return nullptr;
  const LegacyLayout layout(rsa.bitlen);
  if (size != layout.Size()) return nullptr;
  const unsigned char* cursor = blob + kLegacyHeaderSize;
  RsaNumbers k;
  k.e.reset(BN_new());
  if (!k.e || BN_set_word(k.e.get(), rsa.pubexp) != 1) return nullptr;
  k.n = TakeLittleEndian(&cursor, layout.full);
  k.p = TakeLittleEndian(&cursor, layout.half);
  k.q = TakeLittleEndian(&cursor, layout.half);
  k.dp = TakeLittleEndian(&cursor, layout.half);
  k.dq = TakeLittleEndian(&cursor, layout.half);
  k.qinv = TakeLittleEndian(&cursor, layout.half);
  k.d = TakeLittleEndian(&cursor, layout.full);
  if (!k.n || !k.p || !k.q || !k.dp || !k.dq || !k.qinv || !k.d || !BN_is_odd(k.n.get())) return nullptr;
  return BuildRsaKey(k);
}

bool PutLittleEndian(const BnPtr& bn, std::size_t size, unsigned char** cursor) {
  if (!bn || BN_bn2lebinpad(bn.get(), *cursor, static_cast<int>(size)) < 0) return false;
  *cursor += size;
  return true;
}

SECURITY_STATUS ExportLegacyRsaPrivateBlob(const NCryptKeyObject& key, PBYTE out, DWORD cbOut, DWORD* pcbResult) {
  if ((key.exportPolicy & NCRYPT_ALLOW_PLAINTEXT_EXPORT_FLAG) == 0 || !EVP_PKEY_is_a(key.pkey.get(), "RSA"))
    return NTE_NOT_SUPPORTED;
  SecretBytes blob = LegacyRsaPrivateBlob(key.pkey.get());
  if (blob.empty()) return NTE_BAD_KEY;
  *pcbResult = static_cast<DWORD>(blob.size());
  if (out == nullptr) return ERROR_SUCCESS;
  if (cbOut < blob.size()) return NTE_BUFFER_TOO_SMALL;
  std::memcpy(out, blob.data(), blob.size());
  return ERROR_SUCCESS;
}

// A key storage entry's body: NTE_NO_MEMORY, NTE_FAIL.
template <class Body>
SECURITY_STATUS GuardedKeyStorage(Body&& body) noexcept {
  return GuardedWith<SECURITY_STATUS{NTE_NO_MEMORY}, SECURITY_STATUS{NTE_FAIL}>(body);
}

}  // namespace

namespace ZT::Platform {

NCRYPT_KEY_HANDLE NewNCryptKey(PkeyPtr pkey, DWORD exportPolicy) {
  try {
    auto key = std::make_unique<NCryptKeyObject>();
    key->pkey = std::move(pkey);
    key->exportPolicy = exportPolicy;
    key->finalized = true;
    const auto handle = HandleTable::Instance().Insert(HandleKind::NCryptKey, key.get());
    key.release();
    return handle;
  } catch (const std::bad_alloc&) {
    return 0;
  }
}

NCryptKeyObject* FindNCryptKey(NCRYPT_KEY_HANDLE handle) {
  return FindHandle<NCryptKeyObject>(handle, HandleKind::NCryptKey);
}

SecretBytes LegacyRsaPrivateBlob(const EVP_PKEY* pkey) {
  if (pkey == nullptr || !EVP_PKEY_is_a(pkey, "RSA")) return {};
  const RsaNumbers k = RsaKeyNumbers(pkey, true);
  if (!k.e || !k.n || !k.d || BN_num_bytes(k.e.get()) > 4) return {};
  const auto bitlen = static_cast<DWORD>(BN_num_bits(k.n.get()));
  const LegacyLayout layout(bitlen);
  SecretBytes blob(layout.Size());
  const BLOBHEADER header{PRIVATEKEYBLOB, CUR_BLOB_VERSION, 0, CALG_RSA_KEYX};
  const RSAPUBKEY rsa{BCRYPT_RSAPRIVATE_MAGIC, bitlen, static_cast<DWORD>(BN_get_word(k.e.get()))};
  std::memcpy(blob.data(), &header, sizeof header);
  std::memcpy(blob.data() + sizeof header, &rsa, sizeof rsa);
  unsigned char* cursor = blob.data() + kLegacyHeaderSize;
  const bool fits = PutLittleEndian(k.n, layout.full, &cursor) && PutLittleEndian(k.p, layout.half, &cursor) &&
                    PutLittleEndian(k.q, layout.half, &cursor) && PutLittleEndian(k.dp, layout.half, &cursor) &&
                    PutLittleEndian(k.dq, layout.half, &cursor) && PutLittleEndian(k.qinv, layout.half, &cursor) &&
                    PutLittleEndian(k.d, layout.full, &cursor);
  return fits ? std::move(blob) : SecretBytes();
}

}  // namespace ZT::Platform

extern "C" {

SECURITY_STATUS WINAPI NCryptOpenStorageProvider(NCRYPT_PROV_HANDLE* phProvider, LPCWSTR pszProviderName,
                                                 DWORD dwFlags) {
  ZT_FAIL_POINT_STATUS(SECURITY_STATUS);
  if (phProvider == nullptr || dwFlags != 0) return NTE_INVALID_PARAMETER;
  if (pszProviderName != nullptr && std::wcscmp(pszProviderName, MS_KEY_STORAGE_PROVIDER) != 0)
    return NTE_INVALID_PARAMETER;
  return GuardedKeyStorage([&] {
    auto provider = std::make_unique<NCryptProviderObject>();
    *phProvider = HandleTable::Instance().Insert(HandleKind::NCryptProvider, provider.get());
    provider.release();
    return static_cast<SECURITY_STATUS>(ERROR_SUCCESS);
  });
}

SECURITY_STATUS WINAPI NCryptImportKey(NCRYPT_PROV_HANDLE hProvider, NCRYPT_KEY_HANDLE hImportKey,
                                       LPCWSTR pszBlobType, NCryptBufferDesc* pParameterList, NCRYPT_KEY_HANDLE* phKey,
                                       PBYTE pbData, DWORD cbData, DWORD dwFlags) {
  ZT_FAIL_POINT_STATUS(SECURITY_STATUS);
  if (FindHandle<NCryptProviderObject>(hProvider, HandleKind::NCryptProvider) == nullptr) return NTE_INVALID_HANDLE;
  if (hImportKey != 0 || pParameterList != nullptr || phKey == nullptr || pszBlobType == nullptr)
    return NTE_INVALID_PARAMETER;
  if ((dwFlags & ~static_cast<DWORD>(NCRYPT_DO_NOT_FINALIZE_FLAG | NCRYPT_SILENT_FLAG)) != 0) return NTE_BAD_FLAGS;
  if (std::wcscmp(pszBlobType, LEGACY_RSAPRIVATE_BLOB) != 0) return NTE_NOT_SUPPORTED;
  return GuardedKeyStorage([&]() -> SECURITY_STATUS {
    PkeyPtr pkey = ReadLegacyRsaPrivateBlob(pbData, cbData);
    if (!pkey) return NTE_BAD_DATA;
    auto key = std::make_unique<NCryptKeyObject>();
    key->pkey = std::move(pkey);
    key->finalized = (dwFlags & NCRYPT_DO_NOT_FINALIZE_FLAG) == 0;
    *phKey = HandleTable::Instance().Insert(HandleKind::NCryptKey, key.get());
    key.release();
    return ERROR_SUCCESS;
  });
}

SECURITY_STATUS WINAPI NCryptFinalizeKey(NCRYPT_KEY_HANDLE hKey, DWORD dwFlags) {
  ZT_FAIL_POINT_STATUS(SECURITY_STATUS);
  NCryptKeyObject* key = FindNCryptKey(hKey);
  if (key == nullptr) return NTE_INVALID_HANDLE;
  if ((dwFlags & ~static_cast<DWORD>(NCRYPT_SILENT_FLAG)) != 0) return NTE_BAD_FLAGS;
  if (key->finalized) return NTE_BAD_KEY_STATE;
  key->finalized = true;
  return ERROR_SUCCESS;
}

SECURITY_STATUS WINAPI NCryptExportKey(NCRYPT_KEY_HANDLE hKey, NCRYPT_KEY_HANDLE hExportKey, LPCWSTR pszBlobType,
                                       NCryptBufferDesc* pParameterList, PBYTE pbOutput, DWORD cbOutput,
                                       DWORD* pcbResult, DWORD dwFlags) {
  ZT_FAIL_POINT_STATUS(SECURITY_STATUS);
  const NCryptKeyObject* key = FindNCryptKey(hKey);
  if (key == nullptr) return NTE_INVALID_HANDLE;
  if (hExportKey != 0 || pParameterList != nullptr || pcbResult == nullptr || pszBlobType == nullptr)
    return NTE_INVALID_PARAMETER;
  if ((dwFlags & ~static_cast<DWORD>(NCRYPT_SILENT_FLAG)) != 0) return NTE_BAD_FLAGS;
  if (!key->finalized) return NTE_BAD_KEY_STATE;
  if (std::wcscmp(pszBlobType, LEGACY_RSAPRIVATE_BLOB) != 0) return NTE_NOT_SUPPORTED;
  return GuardedKeyStorage([&] { return ExportLegacyRsaPrivateBlob(*key, pbOutput, cbOutput, pcbResult); });
}

SECURITY_STATUS WINAPI NCryptFreeObject(NCRYPT_HANDLE hObject) {
  void* object = nullptr;
  switch (HandleTable::Instance().KindOf(hObject, &object)) {
    case HandleKind::NCryptProvider:
      if ((object = HandleTable::Instance().Remove(hObject, HandleKind::NCryptProvider)) == nullptr)
        return NTE_INVALID_HANDLE;
      delete static_cast<NCryptProviderObject*>(object);
      return ERROR_SUCCESS;
    case HandleKind::NCryptKey:
      if ((object = HandleTable::Instance().Remove(hObject, HandleKind::NCryptKey)) == nullptr)
        return NTE_INVALID_HANDLE;
      delete static_cast<NCryptKeyObject*>(object);
      return ERROR_SUCCESS;
    default:
      return NTE_INVALID_HANDLE;
  }
}

SECURITY_STATUS WINAPI NCryptSetProperty(NCRYPT_HANDLE hObject, LPCWSTR pszProperty, PBYTE pbInput, DWORD cbInput,
                                         DWORD dwFlags) {
  ZT_FAIL_POINT_STATUS(SECURITY_STATUS);
  const HandleKind kind = HandleTable::Instance().KindOf(hObject, nullptr);
  if (kind != HandleKind::NCryptKey && kind != HandleKind::NCryptProvider) return NTE_INVALID_HANDLE;
  if (pszProperty == nullptr || (dwFlags & ~static_cast<DWORD>(NCRYPT_SILENT_FLAG)) != 0) return NTE_INVALID_PARAMETER;
  NCryptKeyObject* key = FindNCryptKey(hObject);
  if (key == nullptr || std::wcscmp(pszProperty, NCRYPT_EXPORT_POLICY_PROPERTY) != 0) return NTE_NOT_SUPPORTED;
  if (pbInput == nullptr || cbInput != sizeof(DWORD)) return NTE_INVALID_PARAMETER;
  if (key->finalized) return NTE_PERM;
  std::memcpy(&key->exportPolicy, pbInput, sizeof(DWORD));
  return ERROR_SUCCESS;
}

}  // extern "C"
