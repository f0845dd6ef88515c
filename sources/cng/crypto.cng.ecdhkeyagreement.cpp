#include "cng/crypto.cng.ecdhkeyagreement.h"

#include "cng/crypto.cng.ecpublickeys.h"
#include "cng/crypto.cng.status.h"
#include "common/crypto.softkeys.h"
#include "framework/crypto.trace.h"

namespace ZT::Framework {

namespace {

// The "HASH" derivation without parameters: the platform's default hash (SHA-1) of the agreed
// value. Both calls report a failure with the "(length)" text, as the system always has.
ByteArray HashOfAgreedValue(const FunctionTrace& fn, BCRYPT_SECRET_HANDLE secret) {
  constexpr StatusStep kDerive{L"BCryptDeriveKey(length)", L"BCryptDeriveKey(length) failed!"};
  return SizedOutput(
      fn,
      [&](PUCHAR out, ULONG cbOut, ULONG* pcbResult) {
        return CNG().BCryptDeriveKey(secret, BCRYPT_KDF_HASH, nullptr, out, cbOut, pcbResult, 0);
      },
      kDerive, kDerive);
}

}  // namespace

KeyAgreement::~KeyAgreement() = default;

CCNGReferenceSharedSecret::CCNGReferenceSharedSecret(SecretHandle hSecret) : m_hSecret(std::move(hSecret)) {
  TraceLifetime(L"CCNGReferenceSharedSecret::CCNGReferenceSharedSecret", this);
}

CCNGReferenceSharedSecret::~CCNGReferenceSharedSecret() {
  TraceLifetime(L"CCNGReferenceSharedSecret::~CCNGReferenceSharedSecret", this, [&] { m_hSecret.reset(); });
}

ByteArray CCNGReferenceSharedSecret::GetEncoded() const {
  const FunctionTrace fn(L"CCNGReferenceSharedSecret::GetEncoded", this);
  return fn.Run([&]() -> ByteArray { fn.Raise(CRYPTO_NOT_SUPPORTED, L"The secret stays inside the platform"); });
}

void CCNGECDHKeyAgreement::Init(IPrivateKey* pPrivateKey) {
  const FunctionTrace fn(L"CCNGECDHKeyAgreement::Init", this);
  fn.Run([&] {
    if (pPrivateKey == nullptr) fn.Raise(CRYPTO_BAD_PARAM, L"pPrivateKey should not be NULL");
    if (m_pPrivateKey != nullptr) fn.Raise(CRYPTO_ILLEGAL_STATE, L"KeyAgreement is already initialized");
    auto* key = dynamic_cast<CCNGECPrivateKey*>(pPrivateKey);
    if (key == nullptr) fn.Raise(CRYPTO_NOT_SUPPORTED, L"Only ECC Private keys are supported");
    m_pPrivateKey = key;
  });
}

ISharedSecret* CCNGECDHKeyAgreement::GenerateSecret(IPublicKey* pPublicKey) {
  const FunctionTrace fn(L"CCNGECDHKeyAgreement::GenerateSecret", this);
  return fn.Run([&] {
    ByteArray value;
    {
      const SecretHandle secret = Agree(fn, pPublicKey);
      value = HashOfAgreedValue(fn, secret.get());
    }
    return fn.Wrap(L"CSharedSecret constructor failed", [&] { return new CSoftSharedSecret(value); });
  });
}

ISharedSecret* CCNGECDHKeyAgreement::GenerateSecretReference(IPublicKey* pPublicKey) {
  const FunctionTrace fn(L"CCNGECDHKeyAgreement::GenerateSecretReference", this);
  return fn.Run([&] {
    SecretHandle secret = Agree(fn, pPublicKey);
    return fn.Wrap(L"CSharedSecret constructor failed",
                   [&] { return new CCNGReferenceSharedSecret(std::move(secret)); });
  });
}

SecretHandle CCNGECDHKeyAgreement::Agree(const FunctionTrace& fn, IPublicKey* pPublicKey) const {
  if (m_pPrivateKey == nullptr) fn.Raise(CRYPTO_ILLEGAL_STATE, L"KeyAgreement is not initialized");
  const auto* publicKey = dynamic_cast<const CCNGECPublicKey*>(pPublicKey);
  if (publicKey == nullptr) fn.Raise(CRYPTO_NOT_SUPPORTED, L"Only ECC Public keys are supported");
  SecretHandle secret;
  CheckStatus(fn, CNG().BCryptSecretAgreement(m_pPrivateKey->GetECKey(), publicKey->GetECKey(), secret.put(), 0),
              L"BCryptSecretAgreement", L"BCryptSecretAgreement failed!");
  return secret;
}

}  // namespace ZT::Framework
