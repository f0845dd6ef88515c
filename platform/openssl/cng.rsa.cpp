// RSA keys: BCRYPT_RSAKEY_BLOB import and export, generation, encryption with no padding,
// PKCS #1 v1.5 or OAEP padding, and decryption with private keys.

#include <openssl/core_names.h>
#include <openssl/err.h>
#include <openssl/rsa.h>

#include <algorithm>
#include <cwchar>
#include <deque>
#include <vector>

#include "platform/openssl/cng.keys.h"

using namespace ZT::Platform;

namespace {

constexpr ULONG kHeaderSize = sizeof(BCRYPT_RSAKEY_BLOB);

ULONG ModulusBytes(ULONG bits) { return (bits + 7) / 8; }

// Reads `size` big-endian bytes at *cursor and advances it.
BnPtr TakeNumber(const unsigned char** cursor, ULONG size) {
  BnPtr bn = BigEndianToBn(*cursor, size);
  *cursor += size;
  return bn;
}

// The magic a blob type demands: RSAPUBLICBLOB and PUBLICBLOB a public key; RSAPRIVATEBLOB,
// RSAFULLPRIVATEBLOB and PRIVATEBLOB a private one (PRIVATEBLOB of either private form).
bool MagicFits(LPCWSTR blobType, ULONG magic) {
  if (IsPublicBlobType(blobType, BCRYPT_RSAPUBLIC_BLOB)) return magic == BCRYPT_RSAPUBLIC_MAGIC;
  if (std::wcscmp(blobType, BCRYPT_RSAPRIVATE_BLOB) == 0) return magic == BCRYPT_RSAPRIVATE_MAGIC;
  if (std::wcscmp(blobType, BCRYPT_RSAFULLPRIVATE_BLOB) == 0) return magic == BCRYPT_RSAFULLPRIVATE_MAGIC;
  if (std::wcscmp(blobType, BCRYPT_PRIVATE_KEY_BLOB) == 0)
    return magic == BCRYPT_RSAPRIVATE_MAGIC || magic == BCRYPT_RSAFULLPRIVATE_MAGIC;
  return false;
}

// The blob's size as its header announces it.
std::uint64_t ExpectedSize(const BCRYPT_RSAKEY_BLOB& h) {
  std::uint64_t size = kHeaderSize + std::uint64_t{h.cbPublicExp} + h.cbModulus;
  if (h.Magic != BCRYPT_RSAPUBLIC_MAGIC) size += std::uint64_t{h.cbPrime1} + h.cbPrime2;
  if (h.Magic == BCRYPT_RSAFULLPRIVATE_MAGIC) size += 2 * std::uint64_t{h.cbPrime1} + h.cbPrime2 + h.cbModulus;
  return size;
}

RsaNumbers ReadNumbers(const BCRYPT_RSAKEY_BLOB& h, const unsigned char* body) {
  RsaNumbers numbers;
  numbers.e = TakeNumber(&body, h.cbPublicExp);
  numbers.n = TakeNumber(&body, h.cbModulus);
  if (h.Magic == BCRYPT_RSAPUBLIC_MAGIC) return numbers;
  numbers.p = TakeNumber(&body, h.cbPrime1);
  numbers.q = TakeNumber(&body, h.cbPrime2);
  if (h.Magic != BCRYPT_RSAFULLPRIVATE_MAGIC) return numbers;
  numbers.dp = TakeNumber(&body, h.cbPrime1);
  numbers.dq = TakeNumber(&body, h.cbPrime2);
  numbers.qinv = TakeNumber(&body, h.cbPrime1);
  numbers.d = TakeNumber(&body, h.cbModulus);
  return numbers;
}

// A private blob without the CRT values (RSAPRIVATEBLOB) carries only p and q: the private
// exponent and the CRT values follow from them. False when p * q is not the modulus or e has no
// inverse.
bool CompleteCrt(RsaNumbers& k) {
  BnCtxPtr ctx(BN_CTX_new_ex(Library::Get().Context()));
  BnPtr product(BN_new()), p1(BN_new()), q1(BN_new()), phi(BN_new());
  k.d.reset(BN_new());
  k.dp.reset(BN_new());
  k.dq.reset(BN_new());
  k.qinv.reset(BN_new());
  if (!ctx || !product || !p1 || !q1 || !phi || !k.d || !k.dp || !k.dq || !k.qinv) return false;
  return BN_mul(product.get(), k.p.get(), k.q.get(), ctx.get()) == 1 && BN_cmp(product.get(), k.n.get()) == 0 &&
         BN_sub(p1.get(), k.p.get(), BN_value_one()) == 1 && BN_sub(q1.get(), k.q.get(), BN_value_one()) == 1 &&
         BN_mul(phi.get(), p1.get(), q1.get(), ctx.get()) == 1 &&
         BN_mod_inverse(k.d.get(), k.e.get(), phi.get(), ctx.get()) != nullptr &&
         BN_mod(k.dp.get(), k.d.get(), p1.get(), ctx.get()) == 1 &&
         BN_mod(k.dq.get(), k.d.get(), q1.get(), ctx.get()) == 1 &&
         BN_mod_inverse(k.qinv.get(), k.q.get(), k.p.get(), ctx.get()) != nullptr;
}

}  // namespace

PkeyPtr ZT::Platform::BuildRsaKey(const RsaNumbers& k) {
  ParamBldPtr bld(OSSL_PARAM_BLD_new());
  if (!bld) return nullptr;
  const bool isPrivate = k.d != nullptr;
  bool ok = OSSL_PARAM_BLD_push_BN(bld.get(), OSSL_PKEY_PARAM_RSA_N, k.n.get()) == 1 &&
            OSSL_PARAM_BLD_push_BN(bld.get(), OSSL_PKEY_PARAM_RSA_E, k.e.get()) == 1;
  if (isPrivate)
    ok = ok && OSSL_PARAM_BLD_push_BN(bld.get(), OSSL_PKEY_PARAM_RSA_D, k.d.get()) == 1 &&
         OSSL_PARAM_BLD_push_BN(bld.get(), OSSL_PKEY_PARAM_RSA_FACTOR1, k.p.get()) == 1 &&
         OSSL_PARAM_BLD_push_BN(bld.get(), OSSL_PKEY_PARAM_RSA_FACTOR2, k.q.get()) == 1 &&
         OSSL_PARAM_BLD_push_BN(bld.get(), OSSL_PKEY_PARAM_RSA_EXPONENT1, k.dp.get()) == 1 &&
         OSSL_PARAM_BLD_push_BN(bld.get(), OSSL_PKEY_PARAM_RSA_EXPONENT2, k.dq.get()) == 1 &&
         OSSL_PARAM_BLD_push_BN(bld.get(), OSSL_PKEY_PARAM_RSA_COEFFICIENT1, k.qinv.get()) == 1;
  ParamsPtr params(ok ? OSSL_PARAM_BLD_to_param(bld.get()) : nullptr);
  PkeyCtxPtr ctx(EVP_PKEY_CTX_new_from_name(Library::Get().Context(), "RSA", nullptr));
  EVP_PKEY* pkey = nullptr;
  if (!params || !ctx || EVP_PKEY_fromdata_init(ctx.get()) != 1 ||
      EVP_PKEY_fromdata(ctx.get(), &pkey, isPrivate ? EVP_PKEY_KEYPAIR : EVP_PKEY_PUBLIC_KEY, params.get()) != 1)
    return nullptr;
  return PkeyPtr(pkey);
}

namespace {

// Public keys imported lately on this thread, by their blob. Building an OpenSSL key from the
// numbers, and the Montgomery form of its modulus on first use, cost about as much as one public
// operation, and callers that verify signature after signature import the same key every time
// (the engines import per operation). Each thread keeps the last few and hands them out again:
// they are public, immutable once built, and reference-counted, so a key handle may share one.
class RecentPublicKeys {
 public:
  static constexpr std::size_t kCapacity = 4;

  // The key of exactly these blob bytes (a new reference), or null.
  PkeyPtr Find(const unsigned char* blob, std::size_t size) const {
    for (const Entry& entry : m_entries)
      if (entry.blob.size() == size && std::equal(entry.blob.begin(), entry.blob.end(), blob))
        return Share(entry.pkey.get());
    return nullptr;
  }

  void Remember(const unsigned char* blob, std::size_t size, EVP_PKEY* pkey) {
    PkeyPtr shared = Share(pkey);
    if (!shared) return;
    if (m_entries.size() == kCapacity) m_entries.pop_back();
    m_entries.push_front(Entry{std::vector<unsigned char>(blob, blob + size), std::move(shared)});
  }

 private:
  struct Entry {
    std::vector<unsigned char> blob;
    PkeyPtr pkey;
  };
  static PkeyPtr Share(EVP_PKEY* pkey) { return PkeyPtr(EVP_PKEY_up_ref(pkey) == 1 ? pkey : nullptr); }

  std::deque<Entry> m_entries;  // most recent first
};

thread_local RecentPublicKeys t_recentPublicKeys;

ULONG NumberBytes(const BIGNUM* bn) { return static_cast<ULONG>(BN_num_bytes(bn)); }

// The padding mode and OAEP details of an encryption or decryption call.
struct Padding {
  int mode = 0;
  const HashAlgorithm* oaepHash = nullptr;
  const BCRYPT_OAEP_PADDING_INFO* oaep = nullptr;
};

NTSTATUS ParsePadding(const CryptCall& call, Padding* padding) {
  switch (call.flags) {
    case BCRYPT_PAD_NONE:
      padding->mode = RSA_NO_PADDING;
      return STATUS_SUCCESS;
    case BCRYPT_PAD_PKCS1:
      padding->mode = RSA_PKCS1_PADDING;
      return STATUS_SUCCESS;
    case BCRYPT_PAD_OAEP:
      padding->mode = RSA_PKCS1_OAEP_PADDING;
      padding->oaep = static_cast<const BCRYPT_OAEP_PADDING_INFO*>(call.paddingInfo);
      if (padding->oaep == nullptr || padding->oaep->pszAlgId == nullptr ||
          !BufferOk(padding->oaep->pbLabel, padding->oaep->cbLabel))
        return STATUS_INVALID_PARAMETER;
      padding->oaepHash = FindHashAlgorithm(padding->oaep->pszAlgId);
      return padding->oaepHash != nullptr ? STATUS_SUCCESS : STATUS_NOT_SUPPORTED;
    default:
      // Encryption needs exactly one padding scheme; PSS is for signatures.
      return STATUS_INVALID_PARAMETER;
  }
}

// The largest message the padding can carry in a k-byte block.
ULONG MaxMessage(const Padding& padding, ULONG k) {
  if (padding.mode == RSA_NO_PADDING) return k;
  if (padding.mode == RSA_PKCS1_PADDING) return k > 11 ? k - 11 : 0;
  const ULONG h = padding.oaepHash->digestLength;
  return k > 2 * h + 2 ? k - 2 * h - 2 : 0;
}

bool ApplyPadding(EVP_PKEY_CTX* ctx, const Padding& padding) {
  if (EVP_PKEY_CTX_set_rsa_padding(ctx, padding.mode) != 1) return false;
  if (padding.mode != RSA_PKCS1_OAEP_PADDING) return true;
  const char* digest = DigestName(padding.oaepHash->digest);
  static const unsigned char kNoLabel[1] = {0};
  const OSSL_PARAM params[] = {
      OSSL_PARAM_construct_utf8_string(OSSL_ASYM_CIPHER_PARAM_OAEP_DIGEST, const_cast<char*>(digest), 0),
      OSSL_PARAM_construct_utf8_string(OSSL_ASYM_CIPHER_PARAM_MGF1_DIGEST, const_cast<char*>(digest), 0),
      OSSL_PARAM_construct_octet_string(
          OSSL_ASYM_CIPHER_PARAM_OAEP_LABEL,
          const_cast<unsigned char*>(padding.oaep->pbLabel != nullptr ? padding.oaep->pbLabel : kNoLabel),
          padding.oaep->cbLabel),
      OSSL_PARAM_construct_end()};
  return EVP_PKEY_CTX_set_params(ctx, params) == 1;
}

// A raw (unpadded) input shorter than the modulus is an integer: it is left-padded with zeros.
SecretBytes RawBlock(const CryptCall& call, ULONG k) {
  SecretBytes block(k);
  if (call.inputSize != 0) std::memcpy(block.data() + (k - call.inputSize), call.input, call.inputSize);
  return block;
}

}  // namespace

namespace ZT::Platform {

PkeyPtr MakeRsaPublicKey(BnPtr n, BnPtr e) {
  RsaNumbers numbers;
  numbers.n = std::move(n);
  numbers.e = std::move(e);
  return BuildRsaKey(numbers);
}

RsaNumbers RsaKeyNumbers(const EVP_PKEY* pkey, bool withPrivate) {
  const auto GetNumber = [pkey](const char* name) {
    BIGNUM* bn = nullptr;
    EVP_PKEY_get_bn_param(pkey, name, &bn);
    return BnPtr(bn);
  };
  RsaNumbers k;
  k.e = GetNumber(OSSL_PKEY_PARAM_RSA_E);
  k.n = GetNumber(OSSL_PKEY_PARAM_RSA_N);
  if (!withPrivate) return k;
  k.p = GetNumber(OSSL_PKEY_PARAM_RSA_FACTOR1);
  k.q = GetNumber(OSSL_PKEY_PARAM_RSA_FACTOR2);
  k.dp = GetNumber(OSSL_PKEY_PARAM_RSA_EXPONENT1);
  k.dq = GetNumber(OSSL_PKEY_PARAM_RSA_EXPONENT2);
  k.qinv = GetNumber(OSSL_PKEY_PARAM_RSA_COEFFICIENT1);
  k.d = GetNumber(OSSL_PKEY_PARAM_RSA_D);
  return k;
}

PkeyCtxPtr NewPkeyContext(EVP_PKEY* pkey) {
  return PkeyCtxPtr(EVP_PKEY_CTX_new_from_pkey(Library::Get().Context(), pkey, nullptr));
}

bool IsPublicBlobType(LPCWSTR blobType, LPCWSTR specific) {
  return std::wcscmp(blobType, specific) == 0 || std::wcscmp(blobType, BCRYPT_PUBLIC_KEY_BLOB) == 0;
}

bool IsPrivateBlobType(LPCWSTR blobType, LPCWSTR specific) {
  return std::wcscmp(blobType, specific) == 0 || std::wcscmp(blobType, BCRYPT_PRIVATE_KEY_BLOB) == 0;
}

NTSTATUS ImportRsaKey(AsymmetricKey& key, LPCWSTR blobType, const unsigned char* blob, ULONG size) {
  BCRYPT_RSAKEY_BLOB header{};
  if (size < kHeaderSize) return STATUS_INVALID_PARAMETER;
  std::memcpy(&header, blob, kHeaderSize);
  if (!MagicFits(blobType, header.Magic) || ExpectedSize(header) > size) return STATUS_INVALID_PARAMETER;
  if (header.cbPublicExp == 0 || header.cbModulus != ModulusBytes(header.BitLength) || header.BitLength < 512 ||
      header.BitLength > 16384)
    return STATUS_INVALID_PARAMETER;
  const bool isPrivate = header.Magic != BCRYPT_RSAPUBLIC_MAGIC;
  // The bytes a public key is made of; the same bytes checked out before, and give the same key.
  const std::size_t used = static_cast<std::size_t>(ExpectedSize(header));
  if (!isPrivate) {
    if (PkeyPtr recent = t_recentPublicKeys.Find(blob, used)) {
      key.pkey = std::move(recent);
      key.bits = header.BitLength;
      key.hasPrivate = false;
      return STATUS_SUCCESS;
    }
  }
  RsaNumbers numbers = ReadNumbers(header, blob + kHeaderSize);
  if (!numbers.e || !numbers.n || BN_is_zero(numbers.e.get()) || !BN_is_odd(numbers.n.get()) ||
      static_cast<ULONG>(BN_num_bits(numbers.n.get())) > header.BitLength)
    return STATUS_INVALID_PARAMETER;
  if (isPrivate && header.Magic == BCRYPT_RSAPRIVATE_MAGIC && !CompleteCrt(numbers)) return STATUS_INVALID_PARAMETER;
  key.pkey = BuildRsaKey(numbers);
  if (!key.pkey) return STATUS_INVALID_PARAMETER;
  if (!isPrivate) t_recentPublicKeys.Remember(blob, used, key.pkey.get());
  key.bits = header.BitLength;
  key.hasPrivate = isPrivate;
  return STATUS_SUCCESS;
}

NTSTATUS ExportRsaKey(const AsymmetricKey& key, LPCWSTR blobType, PUCHAR out, ULONG cbOut, ULONG* pcbResult) {
  const bool full = std::wcscmp(blobType, BCRYPT_RSAFULLPRIVATE_BLOB) == 0;
  const bool isPrivate = full || IsPrivateBlobType(blobType, BCRYPT_RSAPRIVATE_BLOB);
  if (!isPrivate && !IsPublicBlobType(blobType, BCRYPT_RSAPUBLIC_BLOB)) return STATUS_INVALID_PARAMETER;
  if (isPrivate && !key.hasPrivate) return STATUS_INVALID_PARAMETER;

  const RsaNumbers k = RsaKeyNumbers(key.pkey.get(), isPrivate);
  if (!k.e || !k.n) return STATUS_INTERNAL_ERROR;
  BCRYPT_RSAKEY_BLOB header{BCRYPT_RSAPUBLIC_MAGIC, key.bits, NumberBytes(k.e.get()), ModulusBytes(key.bits), 0, 0};
  if (isPrivate) {
    if (!k.p || !k.q || !k.dp || !k.dq || !k.qinv || !k.d) return STATUS_INTERNAL_ERROR;
    header.Magic = full ? BCRYPT_RSAFULLPRIVATE_MAGIC : BCRYPT_RSAPRIVATE_MAGIC;
    header.cbPrime1 = NumberBytes(k.p.get());
    header.cbPrime2 = NumberBytes(k.q.get());
  }
  const auto size = static_cast<ULONG>(ExpectedSize(header));
  *pcbResult = size;
  if (out == nullptr) return STATUS_SUCCESS;
  if (cbOut < size) return STATUS_BUFFER_TOO_SMALL;

  std::memcpy(out, &header, kHeaderSize);
  unsigned char* cursor = out + kHeaderSize;
  const auto put = [&cursor](const BnPtr& bn, ULONG bytes) {
    BnToBigEndian(bn.get(), cursor, bytes);
    cursor += bytes;
  };
  put(k.e, header.cbPublicExp);
  put(k.n, header.cbModulus);
  if (isPrivate) {
    put(k.p, header.cbPrime1);
    put(k.q, header.cbPrime2);
  }
  if (full) {
    put(k.dp, header.cbPrime1);
    put(k.dq, header.cbPrime2);
    put(k.qinv, header.cbPrime1);
    put(k.d, header.cbModulus);
  }
  return STATUS_SUCCESS;
}

NTSTATUS GenerateRsaKey(AsymmetricKey& key) {
  PkeyCtxPtr ctx(EVP_PKEY_CTX_new_from_name(Library::Get().Context(), "RSA", nullptr));
  EVP_PKEY* pkey = nullptr;
  if (!ctx || EVP_PKEY_keygen_init(ctx.get()) != 1 || EVP_PKEY_CTX_set_rsa_keygen_bits(ctx.get(), static_cast<int>(key.bits)) != 1 ||
      EVP_PKEY_generate(ctx.get(), &pkey) != 1)
    return STATUS_INTERNAL_ERROR;
  key.pkey.reset(pkey);
  key.hasPrivate = true;
  return STATUS_SUCCESS;
}

NTSTATUS RsaEncrypt(const AsymmetricKey& key, const CryptCall& call) {
  if (call.result == nullptr || !BufferOk(call.input, call.inputSize)) return STATUS_INVALID_PARAMETER;
  Padding padding;
  if (const NTSTATUS status = ParsePadding(call, &padding); !NT_SUCCESS(status)) return status;
  const ULONG k = ModulusBytes(key.bits);
  if (call.inputSize > MaxMessage(padding, k)) return STATUS_INVALID_PARAMETER;
  *call.result = k;
  if (call.output == nullptr) return STATUS_SUCCESS;
  if (call.outputSize < k) return STATUS_BUFFER_TOO_SMALL;

  PkeyCtxPtr ctx = NewPkeyContext(key.pkey.get());
  if (!ctx || EVP_PKEY_encrypt_init(ctx.get()) != 1 || !ApplyPadding(ctx.get(), padding)) return STATUS_INTERNAL_ERROR;
  // OpenSSL wants a whole block without padding; a value not below the modulus fails there.
  SecretBytes raw = padding.mode == RSA_NO_PADDING ? RawBlock(call, k) : SecretBytes(call.input, call.inputSize);
  std::size_t written = k;
  if (EVP_PKEY_encrypt(ctx.get(), call.output, &written, raw.data(), raw.size()) != 1) {
    ERR_clear_error();
    return STATUS_INVALID_PARAMETER;
  }
  *call.result = static_cast<ULONG>(written);
  return STATUS_SUCCESS;
}

NTSTATUS RsaDecrypt(const AsymmetricKey& key, const CryptCall& call) {
  if (call.result == nullptr || !BufferOk(call.input, call.inputSize)) return STATUS_INVALID_PARAMETER;
  Padding padding;
  if (const NTSTATUS status = ParsePadding(call, &padding); !NT_SUCCESS(status)) return status;
  if (!key.hasPrivate) return STATUS_INVALID_PARAMETER;
  const ULONG k = ModulusBytes(key.bits);
  if (call.inputSize > k) return STATUS_INVALID_PARAMETER;
  // The size asked for is the block's: the message length is known only after decryption.
  *call.result = k;
  if (call.output == nullptr) return STATUS_SUCCESS;

  PkeyCtxPtr ctx = NewPkeyContext(key.pkey.get());
  if (!ctx || EVP_PKEY_decrypt_init(ctx.get()) != 1 || !ApplyPadding(ctx.get(), padding)) return STATUS_INTERNAL_ERROR;
  const SecretBytes block = RawBlock(call, k);
  SecretBytes plain(k);
  std::size_t written = k;
  // A padding that does not check out is reported as an invalid parameter.
  if (EVP_PKEY_decrypt(ctx.get(), plain.data(), &written, block.data(), block.size()) != 1) {
    ERR_clear_error();
    return STATUS_INVALID_PARAMETER;
  }
  *call.result = static_cast<ULONG>(written);
  if (call.outputSize < written) return STATUS_BUFFER_TOO_SMALL;
  if (written != 0) std::memcpy(call.output, plain.data(), written);
  return STATUS_SUCCESS;
}

}  // namespace ZT::Platform
