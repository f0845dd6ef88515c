#include "cng/crypto.cng.ecprivatekeys.h"

#include "framework/crypto.trace.h"

namespace ZT::Framework {

IECPrivateKey::~IECPrivateKey() = default;

CCNGECPrivateKey::CCNGECPrivateKey(std::unique_ptr<IAlgorithm> pAlgorithm, BCRYPT_KEY_HANDLE hKey)
    : m_pAlgorithm(std::move(pAlgorithm)), m_hKey(hKey) {
  const FunctionTrace fn(L"CCNGECPrivateKey::CCNGECPrivateKey", this);
  fn.Run([&] {
    if (m_hKey == nullptr) fn.Raise(CRYPTO_BAD_PARAM, L"hKey should not be NULL");
  });
}

CCNGECPrivateKey::~CCNGECPrivateKey() {
  TraceLifetime(L"CCNGECPrivateKey::~CCNGECPrivateKey", this, [&] { m_pAlgorithm.reset(); });
}

IKey* CCNGECPrivateKey::Clone() const {
  const FunctionTrace fn(L"CCNGECPrivateKey::Clone", this);
  return fn.Run([&] { return new CCNGECPrivateKey(std::unique_ptr<IAlgorithm>(m_pAlgorithm->Clone()), m_hKey); });
}

IAlgorithm* CCNGECPrivateKey::GetAlgorithm() const {
  const FunctionTrace fn(L"CCNGECPrivateKey::GetAlgorithm", this);
  return fn.Run([&] { return m_pAlgorithm.get(); });
}

WString CCNGECPrivateKey::GetFormat() const {
  const FunctionTrace fn(L"CCNGECPrivateKey::GetFormat", this);
  return fn.Run([] { return WString(L"ECC"); });
}

ByteArray CCNGECPrivateKey::GetEncoded() const {
  const FunctionTrace fn(L"CCNGECPrivateKey::GetEncoded", this);
  return fn.Run([&]() -> ByteArray { fn.Raise(CRYPTO_NOT_IMPLEMENTED, L"Not Implemented"); });
}

ByteArray CCNGECPrivateKey::GetS() const {
  const FunctionTrace fn(L"CCNGECPrivateKey::GetS", this);
  return fn.Run([&]() -> ByteArray { fn.Raise(CRYPTO_NOT_IMPLEMENTED, L"Not Implemented"); });
}

BCRYPT_KEY_HANDLE CCNGECPrivateKey::GetECKey() const {
  const FunctionTrace fn(L"CCNGECPrivateKey::GetECKey", this);
  return fn.Run([&] { return m_hKey; });
}

}  // namespace ZT::Framework
