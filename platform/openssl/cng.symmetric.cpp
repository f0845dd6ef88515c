// Block cipher keys: KeyDataBlob import and export, ECB and CBC with optional PKCS #7 padding.

#include <cwchar>

#include "platform/openssl/callfailures.h"
#include "platform/openssl/cng.keys.h"

using namespace ZT::Platform;

namespace {

const SymmetricAlgorithm::KeySize* FindKeySize(const SymmetricAlgorithm& algorithm, ULONG bytes) {
  for (unsigned i = 0; i < algorithm.sizeCount; ++i)
    if (algorithm.sizes[i].bytes == bytes) return &algorithm.sizes[i];
  return nullptr;
}

const EVP_CIPHER* CipherOf(const SymmetricKey& key) {
  // The CBC implementation follows the ECB one in the cache.
  const auto id = static_cast<CipherId>(static_cast<unsigned>(key.size->ecb) + (key.cbc ? 1 : 0));
  return Library::Get().Cipher(id);
}

// Checks the arguments both directions share; on success *blockSize is the cipher's block.
NTSTATUS CheckCall(const SymmetricKey& key, const CryptCall& call, ULONG* blockSize) {
  *blockSize = key.algorithm->symmetric->blockLength;
  if (call.result == nullptr || !BufferOk(call.input, call.inputSize)) return STATUS_INVALID_PARAMETER;
  if ((call.flags & ~static_cast<ULONG>(BCRYPT_BLOCK_PADDING)) != 0) return STATUS_INVALID_PARAMETER;
  // Padding information belongs to asymmetric keys and authenticated modes only.
  if (call.paddingInfo != nullptr) return STATUS_INVALID_PARAMETER;
  // In ECB mode the IV buffer is ignored (neither checked nor changed); in CBC mode it must
  // hold one block.
  if (key.cbc && call.iv != nullptr && call.ivSize != *blockSize) return STATUS_INVALID_PARAMETER;
  if (CipherOf(key) == nullptr) return STATUS_NOT_SUPPORTED;
  return STATUS_SUCCESS;
}

// A cipher context keyed for one call, starting from the caller's IV, or (with no IV buffer)
// from the key's own chaining register, which then carries the chaining from call to call.
CipherCtxPtr StartCipher(const SymmetricKey& key, const CryptCall& call, bool encrypt) {
  CipherCtxPtr ctx(EVP_CIPHER_CTX_new());
  if (!ctx) return ctx;
  const unsigned char* iv = key.cbc ? (call.iv != nullptr ? call.iv : key.chain) : nullptr;
  if (EVP_CipherInit_ex2(ctx.get(), CipherOf(key), key.key, iv, encrypt ? 1 : 0, nullptr) != 1 ||
      EVP_CIPHER_CTX_set_padding(ctx.get(), 0) != 1)
    ctx.reset();
  return ctx;
}

// Runs whole blocks through the cipher.
bool Transform(EVP_CIPHER_CTX* ctx, unsigned char* out, const unsigned char* in, ULONG size) {
  if (size == 0) return true;
  int written = 0;
  return EVP_CipherUpdate(ctx, out, &written, in, static_cast<int>(size)) == 1 && written == static_cast<int>(size);
}

// CBC hands the last ciphertext block on as the next IV: into the caller's IV buffer (CNG
// updates it in place) or into the key's register.
void SaveChaining(SymmetricKey& key, const CryptCall& call, EVP_CIPHER_CTX* ctx, ULONG blockSize) {
  if (!key.cbc) return;
  unsigned char next[16];
  if (EVP_CIPHER_CTX_get_updated_iv(ctx, next, blockSize) != 1) return;
  std::memcpy(call.iv != nullptr ? call.iv : key.chain, next, blockSize);
}

// Checks PKCS #7 padding of a decrypted block without branching on its bytes, and returns the
// pad length, or 0 when the padding is bad.
ULONG PaddingLength(const unsigned char* lastBlock, ULONG blockSize) {
  const unsigned pad = lastBlock[blockSize - 1];
  unsigned bad = static_cast<unsigned>(pad == 0) | static_cast<unsigned>(pad > blockSize);
  for (ULONG i = 0; i < blockSize; ++i) {
    const unsigned inPad = static_cast<unsigned>(i >= blockSize - pad);
    bad |= inPad & static_cast<unsigned>(lastBlock[i] != pad);
  }
  return bad != 0 ? 0 : pad;
}

}  // namespace

namespace ZT::Platform {

NTSTATUS SymmetricEncrypt(SymmetricKey& key, const CryptCall& call) {
  ULONG blockSize = 0;
  if (const NTSTATUS status = CheckCall(key, call, &blockSize); !NT_SUCCESS(status)) return status;
  const bool pad = (call.flags & BCRYPT_BLOCK_PADDING) != 0;
  if (!pad && call.inputSize % blockSize != 0) return STATUS_INVALID_BUFFER_SIZE;
  const ULONG whole = call.inputSize - call.inputSize % blockSize;
  const ULONG size = pad ? whole + blockSize : call.inputSize;
  *call.result = size;
  if (call.output == nullptr) return STATUS_SUCCESS;
  if (call.outputSize < size) return STATUS_BUFFER_TOO_SMALL;

  // The padded last block is built before the output (which may be the input) is written.
  unsigned char last[16];
  if (pad) {
    const ULONG rest = call.inputSize - whole;
    if (rest != 0) std::memcpy(last, call.input + whole, rest);
    std::memset(last + rest, static_cast<int>(blockSize - rest), blockSize - rest);
  }
  CipherCtxPtr ctx = StartCipher(key, call, true);
  const bool ok = ctx && Transform(ctx.get(), call.output, call.input, whole) &&
                  (!pad || Transform(ctx.get(), call.output + whole, last, blockSize));
  OPENSSL_cleanse(last, sizeof(last));
  if (!ok) return STATUS_INTERNAL_ERROR;
  SaveChaining(key, call, ctx.get(), blockSize);
  return STATUS_SUCCESS;
}

NTSTATUS SymmetricDecrypt(SymmetricKey& key, const CryptCall& call) {
  ULONG blockSize = 0;
  if (const NTSTATUS status = CheckCall(key, call, &blockSize); !NT_SUCCESS(status)) return status;
  const bool pad = (call.flags & BCRYPT_BLOCK_PADDING) != 0;
  if (call.inputSize % blockSize != 0 || (pad && call.inputSize == 0)) return STATUS_INVALID_BUFFER_SIZE;
  // The size asked for is the ciphertext's: the padding is known only after decryption.
  *call.result = call.inputSize;
  if (call.output == nullptr) return STATUS_SUCCESS;
  if (!pad && call.outputSize < call.inputSize) return STATUS_BUFFER_TOO_SMALL;

  CipherCtxPtr ctx = StartCipher(key, call, false);
  if (!ctx) return STATUS_INTERNAL_ERROR;
  if (!pad) {
    if (!Transform(ctx.get(), call.output, call.input, call.inputSize)) return STATUS_INTERNAL_ERROR;
    SaveChaining(key, call, ctx.get(), blockSize);
    return STATUS_SUCCESS;
  }
  // With padding, decrypt aside first: the plaintext's size decides whether the caller's
  // buffer suffices, and bad padding must leave that buffer untouched.
  SecretBytes plain(call.inputSize);
  if (!Transform(ctx.get(), plain.data(), call.input, call.inputSize)) return STATUS_INTERNAL_ERROR;
  const ULONG padLength = PaddingLength(plain.data() + call.inputSize - blockSize, blockSize);
  if (padLength == 0) return STATUS_DATA_ERROR;
  const ULONG size = call.inputSize - padLength;
  *call.result = size;
  if (call.outputSize < size) return STATUS_BUFFER_TOO_SMALL;
  std::memcpy(call.output, plain.data(), size);
  SaveChaining(key, call, ctx.get(), blockSize);
  return STATUS_SUCCESS;
}

NTSTATUS ExportSymmetricKey(const SymmetricKey& key, LPCWSTR blobType, PUCHAR out, ULONG cbOut, ULONG* pcbResult) {
  if (std::wcscmp(blobType, BCRYPT_KEY_DATA_BLOB) != 0) return STATUS_NOT_SUPPORTED;
  const ULONG keyBytes = key.size->bytes;
  const ULONG size = static_cast<ULONG>(sizeof(BCRYPT_KEY_DATA_BLOB_HEADER)) + keyBytes;
  *pcbResult = size;
  if (out == nullptr) return STATUS_SUCCESS;
  if (cbOut < size) return STATUS_BUFFER_TOO_SMALL;
  const BCRYPT_KEY_DATA_BLOB_HEADER header{BCRYPT_KEY_DATA_BLOB_MAGIC, BCRYPT_KEY_DATA_BLOB_VERSION1, keyBytes};
  std::memcpy(out, &header, sizeof(header));
  std::memcpy(out + sizeof(header), key.key, keyBytes);
  return STATUS_SUCCESS;
}

}  // namespace ZT::Platform

extern "C" {

NTSTATUS WINAPI BCryptImportKey(BCRYPT_ALG_HANDLE hAlgorithm, BCRYPT_KEY_HANDLE hImportKey, LPCWSTR pszBlobType,
                                BCRYPT_KEY_HANDLE* phKey, PUCHAR pbKeyObject, ULONG cbKeyObject, PUCHAR pbInput,
                                ULONG cbInput, ULONG dwFlags) {
  ZT_FAIL_POINT_STATUS(NTSTATUS);
  return Guarded([&]() -> NTSTATUS {
    const Provider* provider = FindHandle<Provider>(hAlgorithm, HandleKind::Algorithm);
    if (provider == nullptr) return STATUS_INVALID_HANDLE;
    const SymmetricAlgorithm* algorithm = provider->algorithm->symmetric;
    if (algorithm == nullptr) return STATUS_NOT_SUPPORTED;
    if (phKey == nullptr || pszBlobType == nullptr || pbInput == nullptr || dwFlags != 0) return STATUS_INVALID_PARAMETER;
    // Keys wrapped by another key are not offered: every blob here is plain.
    if (hImportKey != nullptr) return STATUS_NOT_SUPPORTED;
    if (std::wcscmp(pszBlobType, BCRYPT_KEY_DATA_BLOB) != 0) return STATUS_INVALID_PARAMETER;
    if (pbKeyObject != nullptr && cbKeyObject < Placement<SymmetricKey>::kLength) return STATUS_BUFFER_TOO_SMALL;

    BCRYPT_KEY_DATA_BLOB_HEADER header{};
    if (cbInput < sizeof(header)) return STATUS_INVALID_PARAMETER;
    std::memcpy(&header, pbInput, sizeof(header));
    if (header.dwMagic != BCRYPT_KEY_DATA_BLOB_MAGIC || header.dwVersion != BCRYPT_KEY_DATA_BLOB_VERSION1 ||
        header.cbKeyData > cbInput - sizeof(header))
      return STATUS_INVALID_PARAMETER;
    const SymmetricAlgorithm::KeySize* size = FindKeySize(*algorithm, header.cbKeyData);
    if (size == nullptr) return STATUS_INVALID_PARAMETER;

    PlacedPtr<SymmetricKey> key(Placement<SymmetricKey>::Create(pbKeyObject, provider->algorithm, size, provider->cbc));
    std::memcpy(key->key, pbInput + sizeof(header), size->bytes);
    PublishHandle<KeyObject>(HandleKind::Key, key, phKey);
    return STATUS_SUCCESS;
  });
}

}  // extern "C"
