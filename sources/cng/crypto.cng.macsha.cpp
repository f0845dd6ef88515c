#include "cng/crypto.cng.macsha.h"

#include "cng/crypto.cng.hash.h"
#include "cng/crypto.cng.status.h"
#include "framework/crypto.trace.h"

namespace ZT::Framework {

namespace {

struct HmacRow {
  const wchar_t* friendlyName;
  const wchar_t* cngAlgorithm;
};
constexpr HmacRow kHmacs[] = {
    {L"HMAC_SHA1", BCRYPT_SHA1_ALGORITHM},
    {L"HMAC_SHA256", BCRYPT_SHA256_ALGORITHM},
};

constexpr HashStepTexts kMacTexts{L"BCryptOpenAlgorithmProvider failed!", L"BCryptGetProperty",
                                  L"BCryptGetProperty failed!"};

// The callers of this engine know one MAC length; HMAC-SHA256 gives 32 bytes all the same.
constexpr unsigned int kReportedMacLength = 20;

}  // namespace

MAC::~MAC() = default;

unsigned int CCNGMACSHA::GetMacLength() {
  const FunctionTrace fn(L"CCNGMACSHA::GetMacLength", this);
  return fn.Run([] { return kReportedMacLength; });
}

void CCNGMACSHA::Init(IKey* pKey) {
  const FunctionTrace fn(L"CCNGMACSHA::Init", this);
  fn.Run([&] {
    if (pKey == nullptr) fn.Raise(CRYPTO_BAD_PARAM, L"pKey should not be NULL");
    if (m_bInitialized) fn.Raise(CRYPTO_ILLEGAL_STATE, L"Mac is already initialized");
    m_pKey = pKey;
    EmptySecurely(m_baData);
    m_bInitialized = true;
  });
}

void CCNGMACSHA::Update(const ByteArray& baInput) {
  const FunctionTrace fn(L"CCNGMACSHA::Update", this);
  fn.Run([&] { m_baData.insert(m_baData.end(), baInput.begin(), baInput.end()); });
}

void CCNGMACSHA::Mac(const ByteArray& baInput, ByteArray& baMac) {
  const FunctionTrace fn(L"CCNGMACSHA::Mac(2 parameters)", this);
  fn.Run([&] { fn.Wrap(L"Mac failed", [&] { MacWith(&baInput, baMac); }); });
}

void CCNGMACSHA::Mac(ByteArray& baMac) { MacWith(nullptr, baMac); }

void CCNGMACSHA::MacWith(const ByteArray* pPending, ByteArray& baMac) {
  const FunctionTrace fn(L"CCNGMACSHA::Mac", this);
  fn.Run([&] {
    // Only a MAC that succeeded ends the initialisation and consumes the data.
    ConsumeOnSuccess(m_baData, pPending, [&] {
      // The cipher's wording for this state, as callers of this engine know it.
      if (!m_bInitialized) fn.Raise(CRYPTO_ILLEGAL_STATE, L"Cipher is not initialized");

      const WString name = m_pAlgorithm->GetFriendlyName();
      const HmacRow* hmac = nullptr;
      for (const HmacRow& row : kHmacs)
        if (name == row.friendlyName) hmac = &row;
      if (hmac == nullptr)
        fn.Raise(CRYPTO_NO_SUCH_ALGORITHM, L"Unsupported algorithm", L"Unsupported algorithm: %s", name);

      if (m_pKey->GetFormat() != L"RAW") fn.Raise(CRYPTO_NOT_SUPPORTED, L"Only raw key format is supported");
      const ByteArray baKey = m_pKey->GetEncoded();

      RequireCNG(fn);
      HashInOnePass(fn, hmac->cngAlgorithm, &baKey, {m_baData, pPending}, baMac, kMacTexts);
    });
    m_bInitialized = false;
  });
}

}  // namespace ZT::Framework
