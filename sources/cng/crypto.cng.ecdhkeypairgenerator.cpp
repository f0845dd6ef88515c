#include "cng/crypto.cng.ecdhkeypairgenerator.h"

#include "cng/crypto.cng.status.h"
#include "framework/crypto.trace.h"

namespace ZT::Framework {

namespace {

// A new key pair of the curve's size, generated and finalized. The provider is closed at once:
// the key does not need it.
KeyHandle GenerateKey(const FunctionTrace& fn, const EcCurve& curve) {
  AlgorithmProvider provider;
  CheckStatus(fn, CNG().BCryptOpenAlgorithmProvider(provider.put(), curve.friendlyName, nullptr, 0),
              L"BCryptOpenAlgorithmProvider", L"BCryptOpenAlgorithmProvider failed!");
  KeyHandle key;
  CheckStatus(fn, CNG().BCryptGenerateKeyPair(provider.get(), key.put(), curve.bits, 0), L"BCryptGenerateKeyPair",
              L"BCryptGenerateKeyPair failed!");
  CheckStatus(fn, CNG().BCryptFinalizeKeyPair(key.get(), 0), L"BCryptFinalizeKeyPair", L"BCryptFinalizeKeyPair failed!");
  return key;
}

}  // namespace

KeyPairGenerator::~KeyPairGenerator() = default;

// ---- key pair -------------------------------------------------------------------------------

CCNGECKeyPair::CCNGECKeyPair(std::unique_ptr<IAlgorithm> pAlgorithm, KeyHandle hKey)
    : m_pAlgorithm(std::move(pAlgorithm)), m_hKey(std::move(hKey)) {
  const FunctionTrace fn(L"CCNGECKeyPair::CCNGECKeyPair", this);
  fn.Run([&] {
    if (!m_hKey) fn.Raise(CRYPTO_INTERNAL_ERROR, L"m_hKey undefined");
    m_pPrivateKey = std::make_unique<CCNGECPrivateKey>(std::unique_ptr<IAlgorithm>(m_pAlgorithm->Clone()), m_hKey.get());
    m_pPublicKey = std::make_unique<CCNGECPublicKey>(std::unique_ptr<IAlgorithm>(m_pAlgorithm->Clone()), m_hKey.get());
  });
}

CCNGECKeyPair::~CCNGECKeyPair() {
  // The keys go first: both stand on the platform key.
  TraceLifetime(L"CCNGECKeyPair::~CCNGECKeyPair", this, [&] {
    m_pPrivateKey.reset();
    m_pPublicKey.reset();
    m_pAlgorithm.reset();
    m_hKey.reset();
  });
}

IPrivateKey* CCNGECKeyPair::GetPrivateKey() {
  const FunctionTrace fn(L"CCNGECKeyPair::GetPrivateKey", this);
  return fn.Run([&] { return m_pPrivateKey.get(); });
}

IPublicKey* CCNGECKeyPair::GetPublicKey() {
  const FunctionTrace fn(L"CCNGECKeyPair::GetPublicKey", this);
  return fn.Run([&] { return m_pPublicKey.get(); });
}

// ---- generator ------------------------------------------------------------------------------

IKeyPair* CCNGECDHKeyPairGenerator::GenerateKeyPair(IECDomainParameters*) {
  const FunctionTrace fn(L"CCNGECDHKeyPairGenerator::GenerateKeyPair", this);
  return fn.Run([&]() -> IKeyPair* { fn.Raise(CRYPTO_NOT_IMPLEMENTED, L"Not Implemented"); });
}

IKeyPair* CCNGECDHKeyPairGenerator::GenerateKeyPair() {
  const FunctionTrace fn(L"CCNGECDHKeyPairGenerator::GenerateKeyPair", this);
  return fn.Run([&] {
    RequireCNG(fn, L"CNG is not supported", CRYPTO_NOT_SUPPORTED);
    const EcCurve* curve = FindEcCurve(m_pAlgorithm->GetFriendlyName());
    if (curve == nullptr) fn.Raise(CRYPTO_NOT_SUPPORTED, L"Unsupported algorithm");
    KeyHandle key = GenerateKey(fn, *curve);
    return fn.Wrap(L"CECKeyPair constructor failed",
                   [&] { return new CCNGECKeyPair(std::unique_ptr<IAlgorithm>(m_pAlgorithm->Clone()), std::move(key)); });
  });
}

}  // namespace ZT::Framework
