#include "cng/crypto.cng.dpapikeyderivation.h"

namespace ZT::Framework {

void CDataProtectionAPIKeyDerivation::Init(ISharedSecret* pSharedSecret) {
  const FunctionTrace fn(L"CDataProtectionAPIKeyDerivation::Init", this);
  fn.Run([&] {
    if (pSharedSecret == nullptr) fn.Raise(CRYPTO_BAD_PARAM, L"pSharedSecret should not be NULL");
    fn.Raise(CRYPTO_NOT_SUPPORTED, L"Not Supported");
  });
}

void CDataProtectionAPIKeyDerivation::Init(IKey* pKey) {
  const FunctionTrace fn(L"CDataProtectionAPIKeyDerivation::Init", this);
  fn.Run([&] {
    if (pKey == nullptr) fn.Raise(CRYPTO_BAD_PARAM, L"pKey should not be NULL");
    const auto* key = dynamic_cast<const CDataProtectionAPIKey*>(pKey);
    if (key == nullptr) fn.Raise(CRYPTO_BAD_PARAM, L"pKey should be a DPAPI key");
    if (m_pKey) fn.Raise(CRYPTO_ILLEGAL_STATE, L"KeyDerivation is already initialized");
    m_pKey.reset(static_cast<CDataProtectionAPIKey*>(key->Clone()));
  });
}

IKey* CDataProtectionAPIKeyDerivation::Derive(const WString& sLabel, const ByteArray& baSalt, std::uint32_t nLength) {
  const FunctionTrace fn(L"CDataProtectionAPIKeyDerivation::Derive", this);
  return fn.Run([&]() -> IKey* {
    if (!m_pKey) fn.Raise(CRYPTO_ILLEGAL_STATE, L"KeyDerivation is not initialized");
    if (nLength != 0) fn.Raise(CRYPTO_NOT_SUPPORTED, L"Not Supported");
    auto key = NewDataProtectionKey(fn, sLabel.empty() ? m_pKey->GetLabel() : sLabel, m_pKey->GetSalt());
    key->SetSalt(baSalt);
    // Each derivation needs its own Init.
    m_pKey.reset();
    return key.release();
  });
}

void CDataProtectionAPIKeyDerivation::Derive(const ByteArray&, std::uint32_t, ByteArray&) {
  const FunctionTrace fn(L"CDataProtectionAPIKeyDerivation::Derive", this);
  fn.Run([&] { fn.Raise(CRYPTO_NOT_SUPPORTED, L"Not Supported"); });
}

}  // namespace ZT::Framework
