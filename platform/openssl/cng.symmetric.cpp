// Block cipher keys: KeyDataBlob import and export, ECB and CBC with optional PKCS #7 padding.

#include <array>
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

// A cipher context keyed for one call, starting from `iv` (CBC; ignored in ECB). Each thread
// keeps one context per implementation and direction, so a call allocates no context of its
// own; when the call ends the context is reset, which wipes the key schedule.
class KeyedCipher {
 public:
  KeyedCipher(const SymmetricKey& key, const unsigned char* iv, bool encrypt)
      : m_encrypt(encrypt), m_ctx(Cached(key, encrypt)) {
    if (m_ctx && EVP_CipherInit_ex2(m_ctx.get(), CipherOf(key), key.key, key.cbc ? iv : nullptr, encrypt ? 1 : 0,
                                    nullptr) != 1)
      Release();
  }
  ~KeyedCipher() { Release(); }
  KeyedCipher(const KeyedCipher&) = delete;
  KeyedCipher& operator=(const KeyedCipher&) = delete;

  explicit operator bool() const { return m_ctx != nullptr; }
  // Runs whole blocks through the cipher (no padding is added or held back).
  bool Transform(unsigned char* out, const unsigned char* in, ULONG size) {
    return size == 0 || EVP_Cipher(m_ctx.get(), out, in, size) == static_cast<int>(size);
  }
  // Starts again from `iv`, with the same key.
  bool Restart(const unsigned char* iv) {
    return EVP_CipherInit_ex2(m_ctx.get(), nullptr, nullptr, iv, m_encrypt ? 1 : 0, nullptr) == 1;
  }

 private:
  // The thread's context for this implementation and direction (created on first use).
  static CipherCtxPtr& Cached(const SymmetricKey& key, bool encrypt) {
    thread_local std::array<CipherCtxPtr, 2 * static_cast<std::size_t>(CipherId::Count)> contexts;
    const auto id = static_cast<std::size_t>(key.size->ecb) + (key.cbc ? 1 : 0);
    CipherCtxPtr& ctx = contexts[2 * id + (encrypt ? 1 : 0)];
    if (!ctx) ctx.reset(EVP_CIPHER_CTX_new());
    return ctx;
  }
  void Release() {
    if (m_ctx && EVP_CIPHER_CTX_reset(m_ctx.get()) != 1) m_ctx.reset();
  }

  bool m_encrypt;
  CipherCtxPtr& m_ctx;
};

// Where CBC starts from: the caller's IV buffer, or with none the key's own register, which then
// carries the chaining from call to call. CBC hands the last ciphertext block on as the next IV,
// into the same place (CNG updates the IV buffer in place).
unsigned char* Chaining(SymmetricKey& key, const CryptCall& call) { return call.iv != nullptr ? call.iv : key.chain; }

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

// Decryption with PKCS #7 padding. The last block goes first, on its own (in CBC from the
// ciphertext block before it): its padding decides the plaintext's size, and bad padding must
// leave the caller's buffer and IV untouched. The blocks before it are then decrypted straight
// into the caller's buffer, which may be the input itself.
NTSTATUS DecryptPadded(SymmetricKey& key, const CryptCall& call, ULONG blockSize) {
  const ULONG lastAt = call.inputSize - blockSize;
  unsigned char* chain = Chaining(key, call);
  unsigned char lastCipher[16], before[16] = {}, last[16];
  std::memcpy(lastCipher, call.input + lastAt, blockSize);
  // ECB has no chaining: its IV buffer, of any length, is not read.
  if (key.cbc) std::memcpy(before, lastAt != 0 ? call.input + lastAt - blockSize : chain, blockSize);

  KeyedCipher cipher(key, before, false);
  if (!cipher || !cipher.Transform(last, lastCipher, blockSize)) return STATUS_INTERNAL_ERROR;
  const ULONG padLength = PaddingLength(last, blockSize);
  const ULONG size = call.inputSize - padLength;
  NTSTATUS status = STATUS_DATA_ERROR;
  if (padLength != 0) {
    *call.result = size;
    if (call.outputSize < size)
      status = STATUS_BUFFER_TOO_SMALL;
    else if (!cipher.Restart(key.cbc ? chain : nullptr) || !cipher.Transform(call.output, call.input, lastAt))
      status = STATUS_INTERNAL_ERROR;
    else
      status = STATUS_SUCCESS;
  }
  if (NT_SUCCESS(status)) {
    std::memcpy(call.output + lastAt, last, blockSize - padLength);
    // CBC hands the last ciphertext block on as the next IV.
    if (key.cbc) std::memcpy(chain, lastCipher, blockSize);
  }
  OPENSSL_cleanse(last, sizeof(last));
  return status;
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
  unsigned char* chain = Chaining(key, call);
  KeyedCipher cipher(key, chain, true);
  const bool ok = cipher && cipher.Transform(call.output, call.input, whole) &&
                  (!pad || cipher.Transform(call.output + whole, last, blockSize));
  OPENSSL_cleanse(last, sizeof(last));
  if (!ok) return STATUS_INTERNAL_ERROR;
  if (key.cbc && size != 0) std::memcpy(chain, call.output + size - blockSize, blockSize);
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

  if (!pad) {
    unsigned char* chain = Chaining(key, call);
    unsigned char next[16];
    if (call.inputSize != 0) std::memcpy(next, call.input + call.inputSize - blockSize, blockSize);
    KeyedCipher cipher(key, chain, false);
    if (!cipher || !cipher.Transform(call.output, call.input, call.inputSize)) return STATUS_INTERNAL_ERROR;
    if (key.cbc && call.inputSize != 0) std::memcpy(chain, next, blockSize);
    return STATUS_SUCCESS;
  }
  return DecryptPadded(key, call, blockSize);
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
