// CryptProtectData and CryptUnprotectData: the blob format and the key schedule of dpapi.md.

#include <cstring>
#include <string_view>

#include "codec/crypto.der.h"
#include "platform/dpapi.h"
#include "platform/openssl/callfailures.h"
#include "platform/openssl/dpapi.secrets.h"
#include "platform/openssl/library.h"
#include "platform/openssl/localmem.h"

namespace ZT::Platform {

namespace {

// The blob, version 1:
//   offset  size  field
//   0       4     magic "ZTDP"
//   4       1     version (1)
//   5       1     scope (1 user, 2 machine)
//   6       32    salt
//   38      12    nonce
//   50      n     AES-256-GCM ciphertext of: description length (4 bytes, little-endian),
//                 description (UTF-8), data
//   50 + n  16    tag
// The first 50 bytes (the header) are the authenticated additional data.
constexpr unsigned char kMagic[] = {'Z', 'T', 'D', 'P'};
constexpr unsigned char kVersion = 1;
constexpr std::size_t kSaltSize = 32;
constexpr std::size_t kNonceSize = 12;
constexpr std::size_t kTagSize = 16;
constexpr std::size_t kKeySize = 32;
constexpr std::size_t kLengthSize = 4;
constexpr std::size_t kScopeOffset = sizeof kMagic + 1;
constexpr std::size_t kSaltOffset = kScopeOffset + 1;
constexpr std::size_t kNonceOffset = kSaltOffset + kSaltSize;
constexpr std::size_t kHeaderSize = kNonceOffset + kNonceSize;
constexpr std::size_t kSmallestBlob = kHeaderSize + kLengthSize + kTagSize;

constexpr DWORD kProtectFlags =
    CRYPTPROTECT_UI_FORBIDDEN | CRYPTPROTECT_LOCAL_MACHINE | CRYPTPROTECT_AUDIT | CRYPTPROTECT_NO_RECOVERY;
constexpr DWORD kUnprotectFlags = CRYPTPROTECT_UI_FORBIDDEN | CRYPTPROTECT_LOCAL_MACHINE | CRYPTPROTECT_VERIFY_PROTECTION;
constexpr DWORD kFailed = static_cast<DWORD>(NTE_FAIL);

// The HKDF info of the blob key: version, scope and purpose.
std::string_view KeyInfo(ProtectionScope scope) {
  return scope == ProtectionScope::Machine ? "ztcrypto data protection v1 machine AES-256-GCM key"
                                           : "ztcrypto data protection v1 user AES-256-GCM key";
}

// TRUE for ERROR_SUCCESS; otherwise FALSE with `code` as the thread's last error.
BOOL Answer(DWORD code) {
  if (code == ERROR_SUCCESS) return TRUE;
  SetLastError(code);
  return FALSE;
}

// The pointer and length of a blob the caller gives; an empty blob may carry any pointer, a
// non-empty one needs its bytes.
struct ByteView {
  const unsigned char* data = nullptr;
  std::size_t size = 0;
};
bool ReadBlob(const DATA_BLOB* blob, ByteView* view) {
  if (blob == nullptr) return true;
  if (blob->cbData != 0 && blob->pbData == nullptr) return false;
  *view = {blob->pbData, blob->cbData};
  return true;
}

// The arguments both functions check the same way: ERROR_SUCCESS when they are acceptable.
DWORD CheckCommonArguments(const DATA_BLOB* pDataIn, const DATA_BLOB* pOptionalEntropy, PVOID pvReserved,
                           const CRYPTPROTECT_PROMPTSTRUCT* pPromptStruct, DWORD dwFlags, DWORD allowedFlags,
                           const DATA_BLOB* pDataOut) {
  // The platform refuses a null pointer for the data even when it is empty.
  if (pDataIn == nullptr || pDataIn->pbData == nullptr || pDataOut == nullptr || pvReserved != nullptr ||
      (dwFlags & ~allowedFlags) != 0)
    return ERROR_INVALID_PARAMETER;
  ByteView entropy;
  if (!ReadBlob(pOptionalEntropy, &entropy)) return ERROR_INVALID_PARAMETER;
  if (pPromptStruct == nullptr) return ERROR_SUCCESS;
  if (pPromptStruct->cbSize != sizeof(CRYPTPROTECT_PROMPTSTRUCT)) return ERROR_INVALID_PARAMETER;
  // This service shows no prompt: a call that asks for one fails, as the platform's does when
  // prompts are forbidden, or as not supported.
  if ((pPromptStruct->dwPromptFlags & (CRYPTPROTECT_PROMPT_ON_PROTECT | CRYPTPROTECT_PROMPT_ON_UNPROTECT)) != 0)
    return (dwFlags & CRYPTPROTECT_UI_FORBIDDEN) != 0 ? ERROR_PASSWORD_RESTRICTION : ERROR_NOT_SUPPORTED;
  return ERROR_SUCCESS;
}

// The key of one blob: HKDF-SHA256 with the scope's secret followed by the caller's entropy as
// input keying material, the blob's salt as salt, and the info of KeyInfo.
bool DeriveBlobKey(const SecretBytes& secret, ByteView entropy, const unsigned char* salt, ProtectionScope scope,
                   SecretBytes* key) {
  static const KdfPtr hkdf(EVP_KDF_fetch(Library::Get().Context(), "HKDF", nullptr));
  if (!hkdf) return false;
  SecretBytes material(secret.data(), secret.size());
  material.Append(entropy.data, entropy.size);
  const std::string_view info = KeyInfo(scope);
  const OSSL_PARAM parameters[] = {
      OSSL_PARAM_construct_utf8_string("digest", const_cast<char*>(DigestName(DigestId::SHA256)), 0),
      OSSL_PARAM_construct_octet_string("key", material.data(), material.size()),
      OSSL_PARAM_construct_octet_string("salt", const_cast<unsigned char*>(salt), kSaltSize),
      OSSL_PARAM_construct_octet_string("info", const_cast<char*>(info.data()), info.size()),
      OSSL_PARAM_construct_end(),
  };
  const KdfCtxPtr context(EVP_KDF_CTX_new(hkdf.get()));
  SecretBytes derived(kKeySize);
  if (!context || EVP_KDF_derive(context.get(), derived.data(), derived.size(), parameters) != 1) return false;
  *key = std::move(derived);
  return true;
}

// An AES-256-GCM context keyed for one blob, with its header as additional data.
CipherCtxPtr StartGcm(const SecretBytes& key, const unsigned char* header, bool encrypt) {
  static const CipherPtr gcm(EVP_CIPHER_fetch(Library::Get().Context(), "AES-256-GCM", nullptr));
  CipherCtxPtr context(EVP_CIPHER_CTX_new());
  int ignored = 0;
  if (!gcm || !context ||
      EVP_CipherInit_ex2(context.get(), gcm.get(), key.data(), header + kNonceOffset, encrypt ? 1 : 0, nullptr) != 1 ||
      EVP_CipherUpdate(context.get(), nullptr, &ignored, header, static_cast<int>(kHeaderSize)) != 1)
    return nullptr;
  return context;
}

// Transforms `size` bytes of `in` into `out` (the same length: GCM is a stream mode), in pieces
// that fit the int of the EVP interface.
bool GcmUpdate(EVP_CIPHER_CTX* context, const unsigned char* in, std::size_t size, unsigned char* out) {
  constexpr std::size_t kPiece = 1u << 30;
  while (size > 0) {
    const std::size_t piece = size < kPiece ? size : kPiece;
    int written = 0;
    if (EVP_CipherUpdate(context, out, &written, in, static_cast<int>(piece)) != 1 ||
        static_cast<std::size_t>(written) != piece)
      return false;
    in += piece;
    out += piece;
    size -= piece;
  }
  return true;
}

void PutLength(std::uint32_t length, unsigned char* out) {
  for (int i = 0; i < 4; ++i) out[i] = static_cast<unsigned char>(length >> (8 * i));
}

std::uint32_t GetLength(const unsigned char* in) {
  std::uint32_t length = 0;
  for (int i = 3; i >= 0; --i) length = length << 8 | in[i];
  return length;
}

// ---- protecting --------------------------------------------------------------------------------

// The description as the blob carries it: UTF-8 (null: none). False for text that has no UTF-8
// form (an unpaired surrogate).
bool DescriptionBytes(LPCWSTR szDataDescr, Framework::ByteArray* bytes) {
  if (szDataDescr == nullptr) return true;
  return Framework::Der::EncodeString(Framework::Der::kUtf8StringType, Framework::WString(szDataDescr), bytes);
}

// Seals the data and the description into a new blob of `blobSize` bytes.
DWORD Seal(ProtectionScope scope, const SecretBytes& secret, ByteView entropy, const Framework::ByteArray& description,
           ByteView data, std::size_t blobSize, DATA_BLOB* pDataOut) {
  LocalBlock blob(blobSize);
  if (!blob) return ERROR_NOT_ENOUGH_MEMORY;
  unsigned char* header = blob.data();
  std::memcpy(header, kMagic, sizeof kMagic);
  header[sizeof kMagic] = kVersion;
  header[kScopeOffset] = static_cast<unsigned char>(scope);
  if (!RandomBytes(header + kSaltOffset, kSaltSize + kNonceSize, nullptr, 0)) return kFailed;

  SecretBytes key;
  if (!DeriveBlobKey(secret, entropy, header + kSaltOffset, scope, &key)) return kFailed;
  const CipherCtxPtr gcm = StartGcm(key, header, true);
  unsigned char length[kLengthSize];
  PutLength(static_cast<std::uint32_t>(description.size()), length);
  unsigned char* out = header + kHeaderSize;
  int ignored = 0;
  const bool sealed = gcm && GcmUpdate(gcm.get(), length, kLengthSize, out) &&
                      GcmUpdate(gcm.get(), description.data(), description.size(), out + kLengthSize) &&
                      GcmUpdate(gcm.get(), data.data, data.size, out + kLengthSize + description.size()) &&
                      EVP_EncryptFinal_ex(gcm.get(), nullptr, &ignored) == 1 &&
                      EVP_CIPHER_CTX_ctrl(gcm.get(), EVP_CTRL_GCM_GET_TAG, static_cast<int>(kTagSize),
                                          blob.data() + blobSize - kTagSize) == 1;
  if (!sealed) return kFailed;
  pDataOut->cbData = static_cast<DWORD>(blobSize);
  pDataOut->pbData = blob.Release();
  return ERROR_SUCCESS;
}

DWORD Protect(const DATA_BLOB* pDataIn, LPCWSTR szDataDescr, const DATA_BLOB* pOptionalEntropy, DWORD dwFlags,
              DATA_BLOB* pDataOut) {
  Framework::ByteArray description;
  if (!DescriptionBytes(szDataDescr, &description)) return ERROR_INVALID_PARAMETER;
  const ByteView data{pDataIn->pbData, pDataIn->cbData};
  const std::size_t blobSize = kSmallestBlob + description.size() + data.size;
  if (blobSize > 0xFFFFFFFFu) return ERROR_INVALID_PARAMETER;

  const ProtectionScope scope =
      (dwFlags & CRYPTPROTECT_LOCAL_MACHINE) != 0 ? ProtectionScope::Machine : ProtectionScope::User;
  // The user's secret is made on first use; the machine's only by an administrator.
  const SecretUse use = scope == ProtectionScope::User ? SecretUse::Create : SecretUse::Read;
  SecretBytes secret;
  if (const DWORD code = LoadProtectionSecret(scope, use, &secret); code != ERROR_SUCCESS) return code;
  ByteView entropy;
  ReadBlob(pOptionalEntropy, &entropy);
  return Seal(scope, secret, entropy, description, data, blobSize, pDataOut);
}

// ---- unprotecting ------------------------------------------------------------------------------

// The scope of a blob whose header this version reads; false for anything else.
bool ReadHeader(ByteView blob, ProtectionScope* scope) {
  if (blob.size < kSmallestBlob || std::memcmp(blob.data, kMagic, sizeof kMagic) != 0 ||
      blob.data[sizeof kMagic] != kVersion)
    return false;
  const unsigned char recorded = blob.data[kScopeOffset];
  if (recorded != static_cast<unsigned char>(ProtectionScope::User) &&
      recorded != static_cast<unsigned char>(ProtectionScope::Machine))
    return false;
  *scope = static_cast<ProtectionScope>(recorded);
  return true;
}

// Decrypts the blob into `*plain` once its tag checks out.
bool Open(ByteView blob, ProtectionScope scope, const SecretBytes& secret, ByteView entropy, SecretBytes* plain) {
  SecretBytes key;
  if (!DeriveBlobKey(secret, entropy, blob.data + kSaltOffset, scope, &key)) return false;
  const CipherCtxPtr gcm = StartGcm(key, blob.data, false);
  const std::size_t size = blob.size - kSmallestBlob + kLengthSize;
  SecretBytes opened(size);
  int ignored = 0;
  // The tag goes in before the last step, which checks it.
  const bool ok = gcm && GcmUpdate(gcm.get(), blob.data + kHeaderSize, size, opened.data()) &&
                  EVP_CIPHER_CTX_ctrl(gcm.get(), EVP_CTRL_GCM_SET_TAG, static_cast<int>(kTagSize),
                                      const_cast<unsigned char*>(blob.data + blob.size - kTagSize)) == 1 &&
                  EVP_DecryptFinal_ex(gcm.get(), nullptr, &ignored) == 1;
  if (ok) *plain = std::move(opened);
  return ok;
}

// The description and the data of an opened blob, handed out in new blocks; on failure nothing
// is handed out.
DWORD HandOut(const SecretBytes& plain, LPWSTR* ppszDataDescr, DATA_BLOB* pDataOut) {
  const std::uint32_t descriptionSize = GetLength(plain.data());
  if (descriptionSize > plain.size() - kLengthSize) return ERROR_INVALID_DATA;
  const unsigned char* description = plain.data() + kLengthSize;
  Framework::WString text;
  if (!Framework::Der::DecodeString(Framework::Der::kUtf8StringType, {description, descriptionSize}, &text))
    return ERROR_INVALID_DATA;
  const std::size_t dataSize = plain.size() - kLengthSize - descriptionSize;

  LocalBlock data(dataSize);
  LocalBlock textCopy;
  if (ppszDataDescr != nullptr) textCopy = LocalBlock((text.size() + 1) * sizeof(wchar_t));
  if (!data || (ppszDataDescr != nullptr && !textCopy)) return ERROR_NOT_ENOUGH_MEMORY;
  if (dataSize != 0) std::memcpy(data.data(), description + descriptionSize, dataSize);
  if (ppszDataDescr != nullptr) {
    std::memcpy(textCopy.data(), text.c_str(), (text.size() + 1) * sizeof(wchar_t));
    *ppszDataDescr = reinterpret_cast<LPWSTR>(textCopy.Release());
  }
  pDataOut->cbData = static_cast<DWORD>(dataSize);
  pDataOut->pbData = data.Release();
  return ERROR_SUCCESS;
}

DWORD Unprotect(const DATA_BLOB* pDataIn, LPWSTR* ppszDataDescr, const DATA_BLOB* pOptionalEntropy,
                DATA_BLOB* pDataOut) {
  const ByteView blob{pDataIn->pbData, pDataIn->cbData};
  ProtectionScope scope = ProtectionScope::User;
  if (!ReadHeader(blob, &scope)) return ERROR_INVALID_DATA;
  SecretBytes secret;
  const DWORD loaded = LoadProtectionSecret(scope, SecretUse::Read, &secret);
  // Without a secret of its scope no blob can open here, as for another machine's blob.
  if (loaded == ERROR_FILE_NOT_FOUND) return ERROR_INVALID_DATA;
  if (loaded != ERROR_SUCCESS) return loaded;
  ByteView entropy;
  ReadBlob(pOptionalEntropy, &entropy);
  SecretBytes plain;
  if (!Open(blob, scope, secret, entropy, &plain)) return ERROR_INVALID_DATA;
  return HandOut(plain, ppszDataDescr, pDataOut);
}

}  // namespace

}  // namespace ZT::Platform

extern "C" {

BOOL WINAPI CryptProtectData(DATA_BLOB* pDataIn, LPCWSTR szDataDescr, DATA_BLOB* pOptionalEntropy, PVOID pvReserved,
                             CRYPTPROTECT_PROMPTSTRUCT* pPromptStruct, DWORD dwFlags, DATA_BLOB* pDataOut) {
  ZT_FAIL_POINT_LAST_ERROR(FALSE);
  using namespace ZT::Platform;
  DWORD code =
      CheckCommonArguments(pDataIn, pOptionalEntropy, pvReserved, pPromptStruct, dwFlags, kProtectFlags, pDataOut);
  if (code == ERROR_SUCCESS) code = Protect(pDataIn, szDataDescr, pOptionalEntropy, dwFlags, pDataOut);
  return Answer(code);
}

BOOL WINAPI CryptUnprotectData(DATA_BLOB* pDataIn, LPWSTR* ppszDataDescr, DATA_BLOB* pOptionalEntropy,
                               PVOID pvReserved, CRYPTPROTECT_PROMPTSTRUCT* pPromptStruct, DWORD dwFlags,
                               DATA_BLOB* pDataOut) {
  ZT_FAIL_POINT_LAST_ERROR(FALSE);
  using namespace ZT::Platform;
  DWORD code =
      CheckCommonArguments(pDataIn, pOptionalEntropy, pvReserved, pPromptStruct, dwFlags, kUnprotectFlags, pDataOut);
  if (code == ERROR_SUCCESS) code = Unprotect(pDataIn, ppszDataDescr, pOptionalEntropy, pDataOut);
  return Answer(code);
}

}  // extern "C"
