// The CryptoAPI subset: provider contexts, plaintext symmetric keys and RSA public keys, with
// the chaining, padding and byte-order conventions of the system's providers.

#include <openssl/err.h>
#include <openssl/rsa.h>

#include <algorithm>
#include <memory>

#include "platform/openssl/callfailures.h"
#include "platform/openssl/cng.keys.h"
#include "platform/wincrypt.h"

using namespace ZT::Platform;

namespace {

constexpr DWORD kAcquireFlags = CRYPT_VERIFYCONTEXT | CRYPT_NEWKEYSET | CRYPT_DELETEKEYSET | CRYPT_MACHINE_KEYSET |
                                CRYPT_SILENT | CRYPT_DEFAULT_CONTAINER_OPTIONAL;
constexpr DWORD kImportFlags = CRYPT_EXPORTABLE | CRYPT_USER_PROTECTED | CRYPT_NO_SALT | CRYPT_IPSEC_HMAC_KEY | CRYPT_OAEP;
constexpr DWORD kRsaMagic = 0x31415352;  // "RSA1"
constexpr DWORD kRsaMinBits = 384;
constexpr DWORD kRsaMaxBits = 16384;
constexpr std::size_t kPkcs1Overhead = 11;
constexpr std::size_t kOaepSha1Overhead = 2 * 20 + 2;

struct ProviderName {
  const wchar_t* name;
  DWORD type;
};
constexpr ProviderName kProviders[] = {
    {MS_ENHANCED_PROV_W, PROV_RSA_FULL},
    {MS_ENH_RSA_AES_PROV_W, PROV_RSA_AES},
    {MS_ENH_RSA_AES_PROV_XP_W, PROV_RSA_AES},
};

struct CryptProvider {
  DWORD type;
};

// A symmetric key with its mode, IV and the chaining register that carries CBC from one
// non-final call to the next, or an RSA public key.
struct CryptKey {
  ~CryptKey() {
    OPENSSL_cleanse(key, sizeof(key));
    OPENSSL_cleanse(chain, sizeof(chain));
  }
  bool IsRsa() const { return pkey != nullptr; }
  bool Cbc() const { return mode == CRYPT_MODE_CBC; }

  ALG_ID algId = 0;
  // Symmetric keys.
  const SymmetricAlgorithm::KeySize* size = nullptr;
  DWORD blockSize = 0;
  DWORD mode = CRYPT_MODE_CBC;
  unsigned char key[32] = {};
  unsigned char iv[16] = {};
  unsigned char chain[16] = {};
  // RSA public keys.
  PkeyPtr pkey;
  DWORD modulusBytes = 0;
};

// Every failing function sets the thread's last error and returns FALSE.
BOOL Fail(DWORD error) {
  SetLastError(error);
  return FALSE;
}

template <class Body>
BOOL GuardedApi(Body&& body) noexcept {
  try {
    return body();
  } catch (const std::bad_alloc&) {
    return Fail(NTE_NO_MEMORY);
  } catch (...) {
    return Fail(NTE_FAIL);
  }
}

CryptProvider* FindProvider(HCRYPTPROV handle) { return FindHandle<CryptProvider>(handle, HandleKind::CryptProvider); }
CryptKey* FindKey(HCRYPTKEY handle) { return FindHandle<CryptKey>(handle, HandleKind::CryptKey); }

// The provider type a name (or, for null, a type) designates; 0 with *error set otherwise.
DWORD ResolveProvider(LPCWSTR name, DWORD type, DWORD* error) {
  if (name == nullptr) {
    if (type == PROV_RSA_FULL || type == PROV_RSA_AES) return type;
    *error = NTE_PROV_TYPE_NOT_DEF;
    return 0;
  }
  for (const ProviderName& provider : kProviders) {
    if (!EqualsNoCase(provider.name, name)) continue;
    if (provider.type == type) return type;
    *error = NTE_PROV_TYPE_NO_MATCH;
    return 0;
  }
  *error = NTE_KEYSET_NOT_DEF;
  return 0;
}

// The symmetric algorithm of a plaintext key blob's ALG_ID and key length, or null.
// AES belongs to PROV_RSA_AES providers only, as on the system.
const SymmetricAlgorithm::KeySize* SymmetricKeySize(ALG_ID algId, DWORD keyLength, DWORD providerType,
                                                    DWORD* blockSize, DWORD* error) {
  const wchar_t* cngName = nullptr;
  DWORD wantedLength = 0;  // 0: any length the algorithm takes
  bool aes = false;
  switch (algId) {
    case CALG_DES: cngName = BCRYPT_DES_ALGORITHM; break;
    case CALG_3DES: cngName = BCRYPT_3DES_ALGORITHM; break;
    case CALG_3DES_112: cngName = BCRYPT_3DES_112_ALGORITHM; break;
    case CALG_AES_128: wantedLength = 16; aes = true; break;
    case CALG_AES_192: wantedLength = 24; aes = true; break;
    case CALG_AES_256: wantedLength = 32; aes = true; break;
    case CALG_AES: aes = true; break;
    default: break;
  }
  if (aes) cngName = BCRYPT_AES_ALGORITHM;
  if (cngName == nullptr || (aes && providerType != PROV_RSA_AES)) {
    *error = NTE_BAD_ALGID;
    return nullptr;
  }
  const SymmetricAlgorithm& algorithm = *FindAlgorithm(cngName)->symmetric;
  *blockSize = algorithm.blockLength;
  for (unsigned i = 0; i < algorithm.sizeCount; ++i)
    if (algorithm.sizes[i].bytes == keyLength && (wantedLength == 0 || wantedLength == keyLength))
      return &algorithm.sizes[i];
  *error = NTE_BAD_DATA;
  return nullptr;
}

BOOL ImportPlaintextKey(const CryptProvider& provider, const BYTE* pbData, DWORD dwDataLen, HCRYPTKEY* phKey) {
  BLOBHEADER header{};
  DWORD keyLength = 0;
  std::memcpy(&header, pbData, sizeof(header));
  if (dwDataLen < sizeof(header) + sizeof(DWORD)) return Fail(NTE_BAD_DATA);
  std::memcpy(&keyLength, pbData + sizeof(header), sizeof(keyLength));
  if (keyLength > dwDataLen - sizeof(header) - sizeof(DWORD)) return Fail(NTE_BAD_DATA);
  auto key = std::make_unique<CryptKey>();
  DWORD error = 0;
  key->size = SymmetricKeySize(header.aiKeyAlg, keyLength, provider.type, &key->blockSize, &error);
  if (key->size == nullptr) return Fail(error);
  key->algId = header.aiKeyAlg;
  std::memcpy(key->key, pbData + sizeof(header) + sizeof(DWORD), keyLength);
  PublishHandle<CryptKey>(HandleKind::CryptKey, key, phKey);
  return TRUE;
}

BOOL ImportRsaPublicKey(const BYTE* pbData, DWORD dwDataLen, HCRYPTKEY* phKey) {
  BLOBHEADER header{};
  RSAPUBKEY rsa{};
  std::memcpy(&header, pbData, sizeof(header));
  if (header.aiKeyAlg != CALG_RSA_KEYX && header.aiKeyAlg != CALG_RSA_SIGN) return Fail(NTE_BAD_ALGID);
  if (dwDataLen < sizeof(header) + sizeof(rsa)) return Fail(NTE_BAD_DATA);
  std::memcpy(&rsa, pbData + sizeof(header), sizeof(rsa));
  if (rsa.magic != kRsaMagic || rsa.bitlen % 8 != 0 || rsa.bitlen < kRsaMinBits || rsa.bitlen > kRsaMaxBits ||
      rsa.pubexp == 0)
    return Fail(NTE_BAD_DATA);
  const DWORD modulusBytes = rsa.bitlen / 8;
  if (dwDataLen - sizeof(header) - sizeof(rsa) < modulusBytes) return Fail(NTE_BAD_DATA);
  // CryptoAPI blobs store the modulus little-endian.
  BnPtr n(BN_lebin2bn(pbData + sizeof(header) + sizeof(rsa), static_cast<int>(modulusBytes), nullptr));
  BnPtr e(BN_new());
  if (!n || !e || BN_set_word(e.get(), rsa.pubexp) != 1) return Fail(NTE_NO_MEMORY);
  if (!BN_is_odd(n.get())) return Fail(NTE_BAD_DATA);
  auto key = std::make_unique<CryptKey>();
  key->pkey = MakeRsaPublicKey(std::move(n), std::move(e));
  if (!key->pkey) return Fail(NTE_BAD_DATA);
  key->algId = header.aiKeyAlg;
  key->modulusBytes = modulusBytes;
  PublishHandle<CryptKey>(HandleKind::CryptKey, key, phKey);
  return TRUE;
}

CipherId CipherOf(const CryptKey& key) { return WithChaining(key.size->ecb, key.Cbc()); }

// Transforms whole blocks in place, continuing the chaining from the key's register, and
// carries the register on (CBC) for the next call: the last ciphertext block.
bool TransformBlocks(CryptKey& key, BYTE* data, DWORD size, bool encrypt) {
  if (size == 0) return true;
  unsigned char lastCipher[sizeof(key.chain)];
  if (!encrypt) std::memcpy(lastCipher, data + size - key.blockSize, key.blockSize);
  KeyedBlockCipher cipher(CipherOf(key), key.key, key.Cbc() ? key.chain : nullptr, encrypt);
  if (!cipher || !cipher.Transform(data, data, size)) return false;
  if (key.Cbc()) std::memcpy(key.chain, encrypt ? data + size - key.blockSize : lastCipher, key.blockSize);
  return true;
}

// After the final call the next message starts again from the IV.
void RestartChaining(CryptKey& key) { std::memcpy(key.chain, key.iv, sizeof(key.chain)); }

BOOL EncryptBlocks(CryptKey& key, BOOL final, DWORD dwFlags, BYTE* pbData, DWORD* pdwDataLen, DWORD dwBufLen) {
  if (dwFlags != 0) return Fail(NTE_BAD_FLAGS);
  const DWORD size = *pdwDataLen;
  if (!final && size % key.blockSize != 0) return Fail(NTE_BAD_DATA);
  // The final call always pads: 1 to blockSize bytes, each holding the pad length.
  const DWORD padded = final ? (size / key.blockSize + 1) * key.blockSize : size;
  *pdwDataLen = padded;
  if (pbData == nullptr) return TRUE;
  if (dwBufLen < padded) return Fail(ERROR_MORE_DATA);
  if (padded > size) std::memset(pbData + size, static_cast<int>(padded - size), padded - size);
  if (!TransformBlocks(key, pbData, padded, true)) return Fail(NTE_FAIL);
  if (final) RestartChaining(key);
  return TRUE;
}

BOOL DecryptBlocks(CryptKey& key, BOOL final, DWORD dwFlags, BYTE* pbData, DWORD* pdwDataLen) {
  if (dwFlags != 0) return Fail(NTE_BAD_FLAGS);
  const DWORD size = *pdwDataLen;
  if (size % key.blockSize != 0 || (final && size == 0)) return Fail(NTE_BAD_DATA);
  if (pbData == nullptr && size != 0) return Fail(ERROR_INVALID_PARAMETER);
  if (!TransformBlocks(key, pbData, size, false)) return Fail(NTE_FAIL);
  if (!final) return TRUE;
  RestartChaining(key);
  const DWORD pad = pbData[size - 1];
  bool good = pad >= 1 && pad <= key.blockSize;
  for (DWORD i = size - std::min(pad, size); good && i < size; ++i) good = pbData[i] == pad;
  if (!good) return Fail(NTE_BAD_DATA);
  *pdwDataLen = size - pad;
  return TRUE;
}

// RSA public-key encryption: PKCS #1 v1.5 type 2 (or OAEP with SHA-1 and no label), the
// ciphertext in little-endian byte order as CryptoAPI returns it.
BOOL EncryptRsa(const CryptKey& key, DWORD dwFlags, BYTE* pbData, DWORD* pdwDataLen, DWORD dwBufLen) {
  if ((dwFlags & ~static_cast<DWORD>(CRYPT_OAEP)) != 0) return Fail(NTE_BAD_FLAGS);
  if (key.algId != CALG_RSA_KEYX) return Fail(NTE_BAD_KEY);
  const bool oaep = (dwFlags & CRYPT_OAEP) != 0;
  const DWORD k = key.modulusBytes;
  const std::size_t overhead = oaep ? kOaepSha1Overhead : kPkcs1Overhead;
  if (std::size_t{*pdwDataLen} + overhead > k) return Fail(NTE_BAD_LEN);
  const DWORD size = *pdwDataLen;
  *pdwDataLen = k;
  if (pbData == nullptr) return TRUE;
  if (dwBufLen < k) return Fail(ERROR_MORE_DATA);

  PkeyCtxPtr ctx = NewPkeyContext(key.pkey.get());
  const SecretBytes message(pbData, size);
  std::size_t written = k;
  if (!ctx || EVP_PKEY_encrypt_init(ctx.get()) != 1 ||
      EVP_PKEY_CTX_set_rsa_padding(ctx.get(), oaep ? RSA_PKCS1_OAEP_PADDING : RSA_PKCS1_PADDING) != 1 ||
      (oaep && EVP_PKEY_CTX_set_rsa_oaep_md_name(ctx.get(), "SHA1", nullptr) != 1) ||
      EVP_PKEY_encrypt(ctx.get(), pbData, &written, message.data(), message.size()) != 1 || written != k) {
    ERR_clear_error();
    return Fail(NTE_FAIL);
  }
  std::reverse(pbData, pbData + k);
  return TRUE;
}

}  // namespace

extern "C" {

BOOL WINAPI CryptAcquireContextW(HCRYPTPROV* phProv, LPCWSTR szContainer, LPCWSTR szProvider, DWORD dwProvType,
                                 DWORD dwFlags) {
  ZT_FAIL_POINT_LAST_ERROR(FALSE);
  return GuardedApi([&]() -> BOOL {
    if (phProv == nullptr) return Fail(ERROR_INVALID_PARAMETER);
    if ((dwFlags & ~kAcquireFlags) != 0) return Fail(NTE_BAD_FLAGS);
    DWORD error = 0;
    const DWORD type = ResolveProvider(szProvider, dwProvType, &error);
    if (type == 0) return Fail(error);
    // Only ephemeral contexts exist here: there is no key container to open, create or delete.
    if ((dwFlags & CRYPT_VERIFYCONTEXT) != CRYPT_VERIFYCONTEXT || (dwFlags & CRYPT_DELETEKEYSET) != 0)
      return Fail(NTE_BAD_KEYSET);
    if (szContainer != nullptr && szContainer[0] != L'\0') return Fail(NTE_BAD_FLAGS);
    if (Library::Get().Context() == nullptr) return Fail(NTE_FAIL);
    auto provider = std::make_unique<CryptProvider>(CryptProvider{type});
    PublishHandle<CryptProvider>(HandleKind::CryptProvider, provider, phProv);
    return TRUE;
  });
}

BOOL WINAPI CryptReleaseContext(HCRYPTPROV hProv, DWORD dwFlags) {
  if (FindProvider(hProv) == nullptr) return Fail(NTE_BAD_UID);
  if (dwFlags != 0) return Fail(NTE_BAD_FLAGS);
  delete static_cast<CryptProvider*>(HandleTable::Instance().Remove(hProv, HandleKind::CryptProvider));
  return TRUE;
}

BOOL WINAPI CryptGenRandom(HCRYPTPROV hProv, DWORD dwLen, BYTE* pbBuffer) {
  ZT_FAIL_POINT_LAST_ERROR(FALSE);
  return GuardedApi([&]() -> BOOL {
    if (FindProvider(hProv) == nullptr) return Fail(NTE_BAD_UID);
    if (pbBuffer == nullptr && dwLen != 0) return Fail(ERROR_INVALID_PARAMETER);
    if (dwLen == 0) return TRUE;
    // The buffer's content is mixed in as additional input, as the providers document.
    return RandomBytes(pbBuffer, dwLen, pbBuffer, dwLen) ? TRUE : Fail(NTE_FAIL);
  });
}

BOOL WINAPI CryptImportKey(HCRYPTPROV hProv, const BYTE* pbData, DWORD dwDataLen, HCRYPTKEY /*hPubKey*/,
                           DWORD dwFlags, HCRYPTKEY* phKey) {
  ZT_FAIL_POINT_LAST_ERROR(FALSE);
  return GuardedApi([&]() -> BOOL {
    const CryptProvider* provider = FindProvider(hProv);
    if (provider == nullptr) return Fail(NTE_BAD_UID);
    if (pbData == nullptr || phKey == nullptr) return Fail(ERROR_INVALID_PARAMETER);
    if ((dwFlags & ~kImportFlags) != 0) return Fail(NTE_BAD_FLAGS);
    if (dwDataLen < sizeof(BLOBHEADER)) return Fail(NTE_BAD_DATA);
    BLOBHEADER header{};
    std::memcpy(&header, pbData, sizeof(header));
    if (header.bType != PLAINTEXTKEYBLOB && header.bType != PUBLICKEYBLOB) return Fail(NTE_BAD_TYPE);
    if (header.bVersion != CUR_BLOB_VERSION) return Fail(NTE_BAD_VER);
    return header.bType == PLAINTEXTKEYBLOB ? ImportPlaintextKey(*provider, pbData, dwDataLen, phKey)
                                            : ImportRsaPublicKey(pbData, dwDataLen, phKey);
  });
}

BOOL WINAPI CryptSetKeyParam(HCRYPTKEY hKey, DWORD dwParam, const BYTE* pbData, DWORD dwFlags) {
  ZT_FAIL_POINT_LAST_ERROR(FALSE);
  CryptKey* key = FindKey(hKey);
  if (key == nullptr) return Fail(NTE_BAD_KEY);
  if (dwFlags != 0) return Fail(NTE_BAD_FLAGS);
  if (pbData == nullptr) return Fail(ERROR_INVALID_PARAMETER);
  if (key->IsRsa()) return Fail(NTE_BAD_TYPE);
  DWORD value = 0;
  switch (dwParam) {
    case KP_MODE:
      std::memcpy(&value, pbData, sizeof(value));
      // The feedback modes (OFB, CFB) are not offered here.
      if (value != CRYPT_MODE_CBC && value != CRYPT_MODE_ECB) return Fail(NTE_BAD_DATA);
      key->mode = value;
      break;
    case KP_IV:
      std::memcpy(key->iv, pbData, key->blockSize);
      break;
    case KP_PADDING:
      // The system's providers pad with PKCS #5 only.
      std::memcpy(&value, pbData, sizeof(value));
      if (value != PKCS5_PADDING) return Fail(NTE_BAD_DATA);
      break;
    default:
      return Fail(NTE_BAD_TYPE);
  }
  RestartChaining(*key);
  return TRUE;
}

BOOL WINAPI CryptEncrypt(HCRYPTKEY hKey, HCRYPTHASH hHash, BOOL Final, DWORD dwFlags, BYTE* pbData, DWORD* pdwDataLen,
                         DWORD dwBufLen) {
  ZT_FAIL_POINT_LAST_ERROR(FALSE);
  return GuardedApi([&]() -> BOOL {
    CryptKey* key = FindKey(hKey);
    if (key == nullptr) return Fail(NTE_BAD_KEY);
    if (hHash != 0) return Fail(NTE_BAD_HASH);
    if (pdwDataLen == nullptr) return Fail(ERROR_INVALID_PARAMETER);
    return key->IsRsa() ? EncryptRsa(*key, dwFlags, pbData, pdwDataLen, dwBufLen)
                        : EncryptBlocks(*key, Final, dwFlags, pbData, pdwDataLen, dwBufLen);
  });
}

BOOL WINAPI CryptDecrypt(HCRYPTKEY hKey, HCRYPTHASH hHash, BOOL Final, DWORD dwFlags, BYTE* pbData, DWORD* pdwDataLen) {
  ZT_FAIL_POINT_LAST_ERROR(FALSE);
  return GuardedApi([&]() -> BOOL {
    CryptKey* key = FindKey(hKey);
    if (key == nullptr) return Fail(NTE_BAD_KEY);
    if (hHash != 0) return Fail(NTE_BAD_HASH);
    if (pdwDataLen == nullptr) return Fail(ERROR_INVALID_PARAMETER);
    // An RSA public key has no private half to decrypt with.
    if (key->IsRsa()) return Fail(NTE_BAD_KEY);
    return DecryptBlocks(*key, Final, dwFlags, pbData, pdwDataLen);
  });
}

BOOL WINAPI CryptDestroyKey(HCRYPTKEY hKey) {
  void* object = HandleTable::Instance().Remove(hKey, HandleKind::CryptKey);
  if (object == nullptr) return Fail(NTE_BAD_KEY);
  delete static_cast<CryptKey*>(object);
  return TRUE;
}

}  // extern "C"
