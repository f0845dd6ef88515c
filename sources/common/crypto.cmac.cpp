#include "common/crypto.cmac.h"

#include <memory>

#include "zt/cipher.h"

namespace ZT::Framework {

namespace {

struct BlockSizeRow {
  const wchar_t* keyAlgorithm;
  std::uint32_t b;
  unsigned char rb;  // the last byte of Rb
};
constexpr BlockSizeRow kBlockSizes[] = {
    {L"AES", 16, 0x87},
    {L"DES", 8, 0x1B},
    {L"3DES", 8, 0x1B},
};

// The two subkeys of SP 800-38B, 6.1.
struct Subkeys {
  ByteArray K1;
  ByteArray K2;
};

// `block` << 1 over its whole length, big-endian, then XOR Rb when its first bit was set.
ByteArray Double(const ByteArray& block, const ByteArray& Rb) {
  ByteArray doubled(block.size());
  for (std::size_t i = 0; i < block.size(); ++i) {
    const unsigned char carry = i + 1 < block.size() ? block[i + 1] >> 7 : 0;
    doubled[i] = static_cast<unsigned char>(block[i] << 1 | carry);
  }
  if ((block[0] & 0x80) != 0)
    for (std::size_t i = 0; i < doubled.size(); ++i) doubled[i] ^= Rb[i];
  return doubled;
}

// L = the encryption of a zero block; K1 = L doubled, K2 = K1 doubled.
Subkeys DeriveSubkeys(const FunctionTrace& fn, ZT::Framework::Cipher& cipher, IKey* pKey, std::uint32_t b,
                      const ByteArray& Rb) {
  ByteArray L;
  fn.Wrap(L"Cipher failed", [&] {
    cipher.Init(CIPHER_ENCRYPT_MODE, pKey);
    cipher.DoFinal(ByteArray(b, 0), L);
  });
  if (L.size() < b) fn.Raise(CRYPTO_INTERNAL_ERROR, L"The MAC is too small", L"The MAC is too small (%d)", static_cast<int>(L.size()));
  L.resize(b);
  Subkeys keys;
  keys.K1 = Double(L, Rb);
  keys.K2 = Double(keys.K1, Rb);
  return keys;
}

// The message with its last block made ready in place: a complete last block combined with
// K1; otherwise (the empty message too) 0x80 and zeros up to a multiple of b, then combined
// with K2. Put back as it was on the way out, unless kept.
class PreparedMessage {
 public:
  PreparedMessage(ByteArray& message, std::uint32_t b, const Subkeys& keys)
      : m_message(message), m_nLength(message.size()) {
    const bool complete = m_nLength != 0 && m_nLength % b == 0;
    if (!complete) {
      message.push_back(0x80);
      message.resize(message.size() + (b - message.size() % b) % b, 0x00);
    }
    m_pSubkey = complete ? &keys.K1 : &keys.K2;
    Combine();
  }
  ~PreparedMessage() {
    if (m_bKept) return;
    Combine();
    SecureWipe(m_message.data() + m_nLength, m_message.size() - m_nLength);
    m_message.resize(m_nLength);
  }
  PreparedMessage(const PreparedMessage&) = delete;
  PreparedMessage& operator=(const PreparedMessage&) = delete;

  void Keep() { m_bKept = true; }

 private:
  // XOR of the last block with the subkey, its own inverse.
  void Combine() {
    unsigned char* last = m_message.data() + m_message.size() - m_pSubkey->size();
    for (std::size_t i = 0; i < m_pSubkey->size(); ++i) last[i] ^= (*m_pSubkey)[i];
  }

  ByteArray& m_message;
  const std::size_t m_nLength;
  const ByteArray* m_pSubkey = nullptr;
  bool m_bKept = false;
};

}  // namespace

void CMACCMAC::RequireInitialized(const FunctionTrace& fn) const {
  if (!m_bInitialized) fn.Raise(CRYPTO_ILLEGAL_STATE, L"MAC is not initialized");
}

unsigned int CMACCMAC::GetMacLength() {
  const FunctionTrace fn(L"CMACCMAC::GetMacLength", this);
  return fn.Run([&] {
    RequireInitialized(fn);
    return m_nBlockSize;
  });
}

void CMACCMAC::Init(IKey* pKey) {
  const FunctionTrace fn(L"CMACCMAC::Init", this);
  fn.Run([&] {
    if (pKey == nullptr) fn.Raise(CRYPTO_BAD_PARAM, L"pKey should not be NULL");
    if (m_bInitialized) fn.Raise(CRYPTO_ILLEGAL_STATE, L"MAC is already initialized");
    const IAlgorithm* algorithm = pKey->GetAlgorithm();
    const WString name = algorithm != nullptr ? algorithm->GetFriendlyName() : WString();
    const BlockSizeRow* size = nullptr;
    for (const BlockSizeRow& row : kBlockSizes)
      if (name == row.keyAlgorithm) size = &row;
    if (size == nullptr) fn.Raise(CRYPTO_NO_SUCH_ALGORITHM, L"Unsupported algorithm");
    m_nBlockSize = size->b;
    m_baRb.assign(size->b, 0x00);
    m_baRb.back() = size->rb;
    m_pKey = pKey;
    EmptySecurely(m_baData);
    m_bInitialized = true;
  });
}

void CMACCMAC::Update(const ByteArray& baInput) {
  const FunctionTrace fn(L"CMACCMAC::Update", this);
  fn.Run([&] {
    RequireInitialized(fn);
    m_baData.insert(m_baData.end(), baInput.begin(), baInput.end());
  });
}

void CMACCMAC::Mac(const ByteArray& baInput, ByteArray& baMac) {
  const FunctionTrace fn(L"CMACCMAC::Mac", this);
  fn.Run([&] {
    RequireInitialized(fn);
    m_baData.insert(m_baData.end(), baInput.begin(), baInput.end());
    Mac(baMac);
  });
}

void CMACCMAC::Mac(ByteArray& baMac) {
  const FunctionTrace fn(L"CMACCMAC::Mac", this);
  fn.Run([&] {
    RequireInitialized(fn);
    const WString name = m_pAlgorithm->GetFriendlyName();
    if (name != L"CMAC")
      fn.Raise(CRYPTO_NO_SUCH_ALGORITHM, L"Unsupported algorithm", L"Unsupported algorithm: %s", name);
    // The IV of the MAC's map is read, as callers may rely on its check, but CMAC has none.
    ByteArray iv;
    if (m_pParams != nullptr) ReadMap(fn, [&] { m_pParams->GetIV(iv); });

    const std::unique_ptr<ICryptoParserParameterMap> map(ICryptoParserParameterMap::Create());
    map->SetPadding(L"None");
    map->SetCipherMode(L"CBC");
    const std::unique_ptr<ZT::Framework::Cipher> cipher(
        fn.Wrap(L"Cipher failed", [&] { return ZT::Framework::Cipher::Create(m_pKey->GetAlgorithm(), map.get()); }));
    const Subkeys keys = DeriveSubkeys(fn, *cipher, m_pKey, m_nBlockSize, m_baRb);

    PreparedMessage message(m_baData, m_nBlockSize, keys);
    ByteArray C;
    fn.Wrap(L"Cipher failed", [&] {
      cipher->Init(CIPHER_ENCRYPT_MODE, m_pKey);
      cipher->DoFinal(m_baData, C);
    });
    if (C.size() < m_nBlockSize)
      fn.Raise(CRYPTO_INTERNAL_ERROR, L"The MAC is too small", L"The MAC is too small (%d)", static_cast<int>(C.size()));
    baMac.assign(C.end() - m_nBlockSize, C.end());
    message.Keep();
    EmptySecurely(m_baData);
    m_bInitialized = false;
  });
}

}  // namespace ZT::Framework
