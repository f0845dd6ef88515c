#include "cng/crypto.cng.dpapikeys.h"

namespace ZT::Framework {

CDataProtectionAPIKey::CDataProtectionAPIKey(std::unique_ptr<IAlgorithm> pAlgorithm, const WString& sLabel,
                                             const ByteArray& baSalt)
    : m_pAlgorithm(std::move(pAlgorithm)), m_sLabel(sLabel), m_baSalt(baSalt) {
  TraceLifetime(L"CDataProtectionAPIKey::CDataProtectionAPIKey", this);
}

CDataProtectionAPIKey::~CDataProtectionAPIKey() {
  TraceLifetime(L"CDataProtectionAPIKey::~CDataProtectionAPIKey", this, [&] { m_pAlgorithm.reset(); });
}

IKey* CDataProtectionAPIKey::Clone() const {
  const FunctionTrace fn(L"CDataProtectionAPIKey::Clone", this);
  return fn.Run([&] {
    std::unique_ptr<IAlgorithm> algorithm(m_pAlgorithm->Clone());
    return new CDataProtectionAPIKey(std::move(algorithm), m_sLabel, m_baSalt);
  });
}

IAlgorithm* CDataProtectionAPIKey::GetAlgorithm() const {
  const FunctionTrace fn(L"CDataProtectionAPIKey::GetAlgorithm", this);
  return fn.Run([&] { return m_pAlgorithm.get(); });
}

WString CDataProtectionAPIKey::GetFormat() const {
  const FunctionTrace fn(L"CDataProtectionAPIKey::GetFormat", this);
  return fn.Run([&]() -> WString { fn.Raise(CRYPTO_NOT_SUPPORTED, L"No format for DPAPI keys"); });
}

ByteArray CDataProtectionAPIKey::GetEncoded() const {
  const FunctionTrace fn(L"CDataProtectionAPIKey::GetEncoded", this);
  return fn.Run([&]() -> ByteArray { fn.Raise(CRYPTO_NOT_SUPPORTED, L"Not Supported"); });
}

WString CDataProtectionAPIKey::GetLabel() const {
  const FunctionTrace fn(L"CDataProtectionAPIKey::GetLabel", this);
  return fn.Run([&] { return m_sLabel; });
}

ByteArray CDataProtectionAPIKey::GetSalt() const {
  const FunctionTrace fn(L"CDataProtectionAPIKey::GetSalt", this);
  return fn.Run([&] { return m_baSalt; });
}

void CDataProtectionAPIKey::SetSalt(const ByteArray& baSalt) {
  const FunctionTrace fn(L"CDataProtectionAPIKey::SetSalt", this);
  fn.Run([&] {
    if (baSalt.empty()) return;
    if (!m_baSalt.empty()) fn.Raise(CRYPTO_ILLEGAL_STATE, L"A salt already exists, how to deal with it?");
    m_baSalt = baSalt;
  });
}

std::unique_ptr<CDataProtectionAPIKey> NewDataProtectionKey(const FunctionTrace& fn, const WString& sLabel,
                                                           const ByteArray& baSalt) {
  std::unique_ptr<IAlgorithm> algorithm = fn.Wrap(L"Algorithm creation failed", [] {
    const std::unique_ptr<IAlgorithmParameters> parameters(IAlgorithmParameters::Create());
    return std::unique_ptr<IAlgorithm>(IAlgorithm::CreateFromFriendlyName(L"DPAPI", parameters.get()));
  });
  return std::make_unique<CDataProtectionAPIKey>(std::move(algorithm), sLabel, baSalt);
}

}  // namespace ZT::Framework
