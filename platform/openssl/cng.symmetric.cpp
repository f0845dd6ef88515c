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

CipherId CipherOf(const SymmetricKey& key) { return WithChaining(key.size->ecb, key.cbc); }

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
  if (Library::Get().BlockCipher(CipherOf(key)) == nullptr) return STATUS_NOT_SUPPORTED;
  return STATUS_SUCCESS;
}

// A cipher keyed with the key for one call, starting from `iv` (CBC; ignored in ECB).
KeyedBlockCipher Keyed(const SymmetricKey& key, const unsigned char* iv, bool encrypt) {
  return KeyedBlockCipher(CipherOf(key), key.key, key.cbc ? iv : nullptr, encrypt);
}

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

// A padded message up to this size goes through the cipher in one run, through a scratch block
// on the stack: for short messages a run costs more than copying the bytes.
constexpr ULONG kOneRunLimit = 1024;

// The end of a padded decryption, once the last block's plaintext is known: its padding decides
// the plaintext's size, and bad padding leaves the caller's buffer and IV untouched. Then
// `deliver` writes the plaintext's `size` bytes, and CBC hands the last ciphertext block (kept
// aside first: the output may be the input) on as the next IV.
template <class Deliver>
NTSTATUS FinishPadded(SymmetricKey& key, const CryptCall& call, ULONG blockSize, const unsigned char* lastPlain,
                      Deliver&& deliver) {
  const ULONG padLength = PaddingLength(lastPlain, blockSize);
  if (padLength == 0) return STATUS_DATA_ERROR;
  const ULONG size = call.inputSize - padLength;
  *call.result = size;
  if (call.outputSize < size) return STATUS_BUFFER_TOO_SMALL;
  unsigned char lastCipher[16];
  std::memcpy(lastCipher, call.input + call.inputSize - blockSize, blockSize);
  if (!deliver(size)) return STATUS_INTERNAL_ERROR;
  if (key.cbc) std::memcpy(Chaining(key, call), lastCipher, blockSize);
  return STATUS_SUCCESS;
}

// Decryption with PKCS #7 padding of a short message: one run into a scratch block.
NTSTATUS DecryptPaddedShort(SymmetricKey& key, const CryptCall& call, ULONG blockSize) {
  unsigned char plain[kOneRunLimit];
  KeyedBlockCipher cipher = Keyed(key, Chaining(key, call), false);
  NTSTATUS status = STATUS_INTERNAL_ERROR;
  if (cipher && cipher.Transform(plain, call.input, call.inputSize))
    status = FinishPadded(key, call, blockSize, plain + call.inputSize - blockSize, [&](ULONG size) {
      std::memcpy(call.output, plain, size);
      return true;
    });
  OPENSSL_cleanse(plain, call.inputSize);
  return status;
}

// Decryption with PKCS #7 padding. The last block goes first, on its own (in CBC from the
// ciphertext block before it). The blocks before it are then decrypted straight into the
// caller's buffer, which may be the input itself.
NTSTATUS DecryptPadded(SymmetricKey& key, const CryptCall& call, ULONG blockSize) {
  if (call.inputSize <= kOneRunLimit) return DecryptPaddedShort(key, call, blockSize);
  const ULONG lastAt = call.inputSize - blockSize;
  unsigned char* chain = Chaining(key, call);
  unsigned char before[16] = {}, last[16];
  // ECB has no chaining: its IV buffer, of any length, is not read.
  if (key.cbc) std::memcpy(before, call.input + lastAt - blockSize, blockSize);

  KeyedBlockCipher cipher = Keyed(key, before, false);
  NTSTATUS status = STATUS_INTERNAL_ERROR;
  if (cipher && cipher.Transform(last, call.input + lastAt, blockSize))
    status = FinishPadded(key, call, blockSize, last, [&](ULONG size) {
      if (!cipher.Restart(key.cbc ? chain : nullptr) || !cipher.Transform(call.output, call.input, lastAt))
        return false;
      std::memcpy(call.output + lastAt, last, size - lastAt);
      return true;
    });
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
  KeyedBlockCipher cipher = Keyed(key, chain, true);
  // A short message's whole blocks join the padded block in the output, for one run.
  const bool oneRun = pad && size <= kOneRunLimit;
  if (oneRun) {
    if (whole != 0) std::memmove(call.output, call.input, whole);
    std::memcpy(call.output + whole, last, blockSize);
  }
  const bool ok = cipher && (oneRun ? cipher.Transform(call.output, call.output, size)
                                    : cipher.Transform(call.output, call.input, whole) &&
                                          (!pad || cipher.Transform(call.output + whole, last, blockSize)));
  OPENSSL_cleanse(last, sizeof(last));
  if (!ok) {
    // The plaintext copied out for one run must not stay there.
    if (oneRun) OPENSSL_cleanse(call.output, size);
    return STATUS_INTERNAL_ERROR;
  }
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
    KeyedBlockCipher cipher = Keyed(key, chain, false);
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
    if (!SameWideString(pszBlobType, BCRYPT_KEY_DATA_BLOB)) return STATUS_INVALID_PARAMETER;
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
