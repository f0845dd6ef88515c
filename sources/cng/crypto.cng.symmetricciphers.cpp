#include "cng/crypto.cng.symmetricciphers.h"

#include <algorithm>
#include <cstring>
#include <string_view>

#include "cng/crypto.cng.handles.h"
#include "cng/crypto.cng.status.h"
#include "cng/crypto.cng.util.h"
#include "common/crypto.padding.pkcs7.h"
#include "framework/crypto.text.h"
#include "platform/platform.h"

namespace ZT::Framework {

namespace {

// Names are views, so that a comparison with a name read from the caller starts with the lengths.
struct BlockCipherRow {
  std::wstring_view friendlyName;
  const wchar_t* cngAlgorithm;
  ALG_ID cryptAlgorithm;
  std::uint32_t blockLength;
};
constexpr BlockCipherRow kBlockCiphers[] = {
    {L"DES", BCRYPT_DES_ALGORITHM, CALG_DES, 8},
    {L"3DES", BCRYPT_3DES_ALGORITHM, CALG_3DES, 8},
    {L"AES", BCRYPT_AES_ALGORITHM, CALG_AES, 16},
};

struct ChainingRow {
  std::wstring_view name;
  const wchar_t* cngMode;
  DWORD cryptMode;
};
constexpr ChainingRow kChainingModes[] = {
    {L"CBC", BCRYPT_CHAIN_MODE_CBC, CRYPT_MODE_CBC},
    {L"ECB", BCRYPT_CHAIN_MODE_ECB, CRYPT_MODE_ECB},
};

constexpr std::wstring_view kNoPadding = L"None";
constexpr std::wstring_view kPkcs7 = L"PKCS7";
constexpr std::wstring_view kRawFormat = L"RAW";

// A triple DES key of two keys is used as three: K1 K2 K1.
constexpr std::size_t kTwoKeyLength = 16;
constexpr std::size_t kThreeKeyLength = 24;

template <class Row, std::size_t N>
const Row* FindRow(const Row (&rows)[N], const WString& name) {
  for (const Row& row : rows)
    if (SameText(name, row.friendlyName)) return &row;
  return nullptr;
}

// Reads the map into `read`, whose strings and IV keep their memory from call to call.
void ReadParameters(const FunctionTrace& fn, const ICryptoParserParameterMap* pParams, SymmetricCallParameters& read) {
  EmptySecurely(read.iv);
  read.hasIV = false;
  bool hasChainingMode = false;
  if (pParams != nullptr) {
    ReadMap(fn, [&] {
      read.hasIV = pParams->GetIV(read.iv);
      hasChainingMode = pParams->GetCipherMode(read.chainingMode);
    });
  }
  ReadPadding(fn, pParams, kNoPadding.data(), read.padding);
  if (!hasChainingMode) fn.Raise(CRYPTO_BAD_PARAM, L"No cipher mode in params");
}

// One transformation, every name mapped.
struct Transformation {
  const BlockCipherRow* algorithm;
  const ChainingRow* chaining;
  bool pkcs7;
  bool encrypt;
  SymmetricCallParameters& parameters;
  ByteArray key;
};

const BlockCipherRow& MapAlgorithm(const FunctionTrace& fn, const WString& name) {
  const BlockCipherRow* row = FindRow(kBlockCiphers, name);
  if (row == nullptr) fn.Raise(CRYPTO_NO_SUCH_ALGORITHM, L"Unsupported algorithm", L"Unsupported algorithm: %s", name);
  fn.Warning(L"sBCryptAlgo: %s", row->cngAlgorithm);
  return *row;
}

bool MapPadding(const FunctionTrace& fn, const WString& padding) {
  const std::wstring_view name(padding);
  if (!SameText(name, kNoPadding) && !SameText(name, kPkcs7)) fn.Raise(CRYPTO_NO_SUCH_PADDING, L"Unsupported padding", L"Unsupported padding: %s", padding);
  fn.Warning(L"padding: %s", padding);
  return SameText(name, kPkcs7);
}

const ChainingRow& MapChainingMode(const FunctionTrace& fn, const WString& mode) {
  const ChainingRow* row = nullptr;
  for (const ChainingRow& candidate : kChainingModes)
    if (SameText(mode, candidate.name)) row = &candidate;
  if (row == nullptr)
    fn.Raise(CRYPTO_NO_SUCH_ALGORITHM, L"Unsupported cipher mode", L"Unsupported cipher mode: %s", mode);
  fn.Warning(L"sCipherMode: %s", row->cngMode);
  return *row;
}

ByteArray RawKeyBytes(const FunctionTrace& fn, const IKey& key) {
  if (!SameText(key.GetFormat(), kRawFormat)) fn.Raise(CRYPTO_NOT_SUPPORTED, L"Only raw key format is supported");
  return key.GetEncoded();
}

// A key blob: a header, then the key, in one wiped block that holds the usual keys inside it.
class KeyBlob {
 public:
  // `header`, then `length` bytes of `key` taken from its start again when it runs out (the key
  // appended to itself, then cut).
  template <class Header>
  KeyBlob(const Header& header, const ByteArray& key, std::size_t length) : m_block(sizeof(header) + length) {
    unsigned char* at = m_block.data();
    std::memcpy(at, &header, sizeof(header));
    for (std::size_t filled = 0, part = 0; filled < length && !key.empty(); filled += part) {
      part = std::min(key.size(), length - filled);
      std::memcpy(at + sizeof(header) + filled, key.data(), part);
    }
  }

  PUCHAR Data() { return m_block.data(); }
  ULONG Length() const { return static_cast<ULONG>(m_block.size()); }

 private:
  SecretBlock<64> m_block;
};

// BCRYPT_KEY_DATA_BLOB_HEADER then the key; a two-key triple DES key as K1 K2 K1.
KeyBlob KeyDataBlob(const BlockCipherRow& algorithm, const ByteArray& key) {
  const bool twoKeys = algorithm.cryptAlgorithm == CALG_3DES && key.size() == kTwoKeyLength;
  const std::size_t length = twoKeys ? kThreeKeyLength : key.size();
  return KeyBlob(
      BCRYPT_KEY_DATA_BLOB_HEADER{BCRYPT_KEY_DATA_BLOB_MAGIC, BCRYPT_KEY_DATA_BLOB_VERSION1, static_cast<ULONG>(length)},
      key, length);
}

// The plaintext key blob's header: BLOBHEADER (PLAINTEXTKEYBLOB, version 2) and the key length.
struct PlaintextKeyBlobHeader {
  BLOBHEADER header;
  DWORD keyLength;
};
static_assert(sizeof(PlaintextKeyBlobHeader) == 12, "BLOBHEADER and the key length, unpadded");

// The header, then the key.
KeyBlob PlaintextKeyBlob(const BlockCipherRow& algorithm, const ByteArray& key) {
  return KeyBlob(PlaintextKeyBlobHeader{{PLAINTEXTKEYBLOB, CUR_BLOB_VERSION, 0, algorithm.cryptAlgorithm},
                                        static_cast<DWORD>(key.size())},
                 key, key.size());
}

void RunOnCng(const FunctionTrace& fn, const Transformation& t, const ByteArray& input, ByteArray& out) {
  KeyBlob blob = KeyDataBlob(*t.algorithm, t.key);
  AlgorithmProvider provider;
  CheckStatus(fn, CNG().BCryptOpenAlgorithmProvider(provider.put(), t.algorithm->cngAlgorithm, nullptr, 0),
              L"BCryptOpenAlgorithmProvider", L"BCryptOpenAlgorithmProvider failed!");
  ULONG objectLength = 0, got = 0;
  CheckStatus(fn,
              CNG().BCryptGetProperty(provider.get(), BCRYPT_OBJECT_LENGTH, reinterpret_cast<PUCHAR>(&objectLength),
                                      sizeof(objectLength), &got, 0),
              L"BCryptGetProperty", L"BCryptGetProperty failed!");
  KeyObject key(objectLength);
  const auto* mode = reinterpret_cast<const unsigned char*>(t.chaining->cngMode);
  CheckStatus(fn,
              CNG().BCryptSetProperty(provider.get(), BCRYPT_CHAINING_MODE, const_cast<PUCHAR>(mode),
                                      static_cast<ULONG>((std::wcslen(t.chaining->cngMode) + 1) * sizeof(wchar_t)), 0),
              L"BCryptSetProperty", L"BCryptSetProperty failed!");
  CheckStatus(fn,
              CNG().BCryptImportKey(provider.get(), nullptr, BCRYPT_KEY_DATA_BLOB, key.handle.put(), key.Memory(),
                                    key.MemoryLength(), blob.Data(), blob.Length(), 0),
              L"BCryptImportKey", L"BCryptImportKey failed!");

  // CBC moves the IV on in place: in the engine's own copy of the map's.
  ByteArray& iv = t.parameters.iv;
  const ULONG flags = t.pkcs7 ? BCRYPT_BLOCK_PADDING : 0;
  ULONG size = 0;
  const auto crypt = [&](PUCHAR output, ULONG outputSize) {
    return t.encrypt ? CNG().BCryptEncrypt(key.handle.get(), InputBytes(input), InputLength(input), nullptr,
                                           InputBytes(iv), InputLength(iv), output, outputSize, &size, flags)
                     : CNG().BCryptDecrypt(key.handle.get(), InputBytes(input), InputLength(input), nullptr,
                                           InputBytes(iv), InputLength(iv), output, outputSize, &size, flags);
  };
  CheckStatus(fn, crypt(nullptr, 0), L"BCryptEncrypt - BCryptDecrypt", L"BCryptEncrypt failed!");
  ResizeSecurely(out, size);
  CheckStatus(fn, crypt(out.data(), InputLength(out)), L"BCryptEncrypt - BCryptDecrypt",
              L"BCryptEncrypt - BCryptDecrypt failed!");
  ResizeSecurely(out, size);
}

void EncryptOnCryptoApi(const FunctionTrace& fn, const Transformation& t, HCRYPTKEY key, const ByteArray& input,
                        ByteArray& out) {
  ByteArray data = input;
  if (t.pkcs7) Padding::AppendPkcs7(data, t.algorithm->blockLength);
  const auto dataLength = static_cast<DWORD>(data.size());
  DWORD length = dataLength;
  CheckLastError(fn, CryptEncrypt(key, 0, TRUE, 0, nullptr, &length, dataLength), L"CryptEncrypt - CryptDecrypt",
                 L"CryptEncrypt - CryptDecrypt failed");
  ResizeSecurely(out, std::max(length, dataLength));
  std::copy(data.begin(), data.end(), out.begin());
  length = dataLength;
  CheckLastError(fn, CryptEncrypt(key, 0, TRUE, 0, out.data(), &length, static_cast<DWORD>(out.size())),
                 L"CryptEncrypt - CryptDecrypt", L"CryptEncrypt - CryptDecrypt failed");
  ResizeSecurely(out, length);
}

void DecryptOnCryptoApi(const FunctionTrace& fn, const Transformation& t, HCRYPTKEY key, const ByteArray& input,
                        ByteArray& out) {
  ResizeSecurely(out, input.size());
  std::copy(input.begin(), input.end(), out.begin());
  auto length = static_cast<DWORD>(out.size());
  CheckLastError(fn, CryptDecrypt(key, 0, TRUE, 0, out.data(), &length), L"CryptEncrypt - CryptDecrypt",
                 L"CryptEncrypt - CryptDecrypt failed");
  ResizeSecurely(out, length);
  if (t.pkcs7) Padding::RemoveByLastByte(out);
}

void RunOnCryptoApi(const FunctionTrace& fn, const Transformation& t, const ByteArray& input, ByteArray& out) {
  KeyBlob blob = PlaintextKeyBlob(*t.algorithm, t.key);
  CryptContext context;
  CheckLastError(fn, CryptAcquireContextW(context.put(), nullptr, MS_ENHANCED_PROV_W, PROV_RSA_FULL, CRYPT_VERIFYCONTEXT),
                 L"CryptAcquireContext", L"CryptAcquireContext failed");
  CryptKey key;
  CheckLastError(fn, CryptImportKey(context.get(), blob.Data(), blob.Length(), 0, 0, key.put()),
                 L"CryptImportKey", L"CryptImportKey failed");
  const DWORD mode = t.chaining->cryptMode;
  CheckLastError(fn, CryptSetKeyParam(key.get(), KP_MODE, reinterpret_cast<const BYTE*>(&mode), 0),
                 L"CryptSetKeyParam", L"CryptSetKeyParam failed");
  if (t.parameters.hasIV) {
    ByteArray iv = t.parameters.iv;
    if (iv.size() < t.algorithm->blockLength) iv.resize(t.algorithm->blockLength);
    CheckLastError(fn, CryptSetKeyParam(key.get(), KP_IV, iv.data(), 0), L"CryptSetKeyParam",
                   L"CryptSetKeyParam failed");
  }
  if (t.encrypt)
    EncryptOnCryptoApi(fn, t, key.get(), input, out);
  else
    DecryptOnCryptoApi(fn, t, key.get(), input, out);
}

}  // namespace

void CCNGSymmetricCipher::Cipher(ByteArray& baOut) {
  const FunctionTrace fn(L"CCNGSymmetricCipher::Cipher", this);
  fn.Run([&] {
    RequireDataMode(fn, CIPHER_DECRYPT_MODE);
    SymmetricCallParameters& parameters = m_parameters;
    ReadParameters(fn, m_pParams, parameters);
    const BlockCipherRow& algorithm = MapAlgorithm(fn, m_pAlgorithm->GetFriendlyName());
    const bool pkcs7 = MapPadding(fn, parameters.padding);
    const ChainingRow& chaining = MapChainingMode(fn, parameters.chainingMode);
    const Transformation t{&algorithm, &chaining, pkcs7, m_nOpMode == CIPHER_ENCRYPT_MODE, parameters,
                           RawKeyBytes(fn, *m_pKey)};
    const bool onCng = CryptoSoftCNGWrapper::LoadCNGLibrary();
    RequireValidLength(fn, Input().size(), [&](std::uint32_t length) {
      return CryptoUtil::IsOriginalDataLengthValid(parameters.padding, length,
                                                   CryptoUtil::CipherBlock{algorithm.blockLength});
    });
    if (onCng)
      RunOnCng(fn, t, Input(), baOut);
    else
      RunOnCryptoApi(fn, t, Input(), baOut);
  });
}

}  // namespace ZT::Framework
