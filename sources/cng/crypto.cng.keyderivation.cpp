#include "cng/crypto.cng.keyderivation.h"

#include "cng/crypto.cng.handles.h"
#include "cng/crypto.cng.status.h"
#include "common/crypto.softkeys.h"
#include "framework/crypto.trace.h"

namespace ZT::Framework {

namespace {

constexpr std::uint64_t kDefaultIterations = 10000;
constexpr const wchar_t* kDefaultPrf = L"HMAC_SHA256";

struct PrfRow {
  const wchar_t* hmacName;
  const wchar_t* cngAlgorithm;
};
constexpr PrfRow kPrfs[] = {
    {L"HMAC_SHA1", BCRYPT_SHA1_ALGORITHM},
    {L"HMAC_SHA256", BCRYPT_SHA256_ALGORITHM},
    {L"HMAC_SHA384", BCRYPT_SHA384_ALGORITHM},
    {L"HMAC_SHA512", BCRYPT_SHA512_ALGORITHM},
};

// What the parameter map asks for, with the defaults for what it leaves out.
struct Pbkdf2Parameters {
  std::uint64_t iterations = kDefaultIterations;
  WString prf = kDefaultPrf;
};

Pbkdf2Parameters ReadParameters(const FunctionTrace& fn, const ICryptoParserParameterMap* pParams) {
  Pbkdf2Parameters parameters;
  ReadMap(fn, [&] {
    if (pParams == nullptr) return;
    pParams->GetIterationCount(parameters.iterations);
    pParams->GetHMACAlgorithmName(parameters.prf);
  });
  return parameters;
}

const wchar_t* PrfAlgorithm(const FunctionTrace& fn, const WString& prf) {
  for (const PrfRow& row : kPrfs)
    if (prf == row.hmacName) return row.cngAlgorithm;
  fn.Raise(CRYPTO_NO_SUCH_ALGORITHM, L"Unsupported algorithm", L"Unsupported algorithm: %s", prf);
}

// PBKDF2 of `password` and `salt` into `nLength` bytes of `baKey`, as the map asks.
void DeriveFromValue(const FunctionTrace& fn, const ICryptoParserParameterMap* pParams, const ByteArray& password,
                     const ByteArray& salt, std::uint32_t nLength, ByteArray& baKey) {
  const Pbkdf2Parameters parameters = ReadParameters(fn, pParams);
  const wchar_t* prf = PrfAlgorithm(fn, parameters.prf);
  RequireCNG(fn, L"Failed to load CNG!");
  AlgorithmProvider provider;
  CheckStatus(fn, CNG().BCryptOpenAlgorithmProvider(provider.put(), prf, nullptr, BCRYPT_ALG_HANDLE_HMAC_FLAG),
              L"BCryptOpenAlgorithmProvider", L"BCryptOpenAlgorithmProvider failed");
  baKey.resize(nLength);
  CheckStatus(fn,
              CNG().BCryptDeriveKeyPBKDF2(provider.get(), InputBytes(password), InputLength(password), InputBytes(salt),
                                          InputLength(salt), parameters.iterations, baKey.data(), nLength, 0),
              L"BCryptDeriveKeyPBKDF2", L"BCryptDeriveKeyPBKDF2 failed");
}

}  // namespace

KeyDerivation::~KeyDerivation() = default;

void DerivationSecret::Init(const FunctionTrace& fn, ISharedSecret* pSharedSecret, SourceLine where) {
  if (pSharedSecret == nullptr) fn.Raise(RaiseAt(CRYPTO_BAD_PARAM, where), L"pSharedSecret should not be NULL");
  if (m_pSharedSecret != nullptr) fn.Raise(RaiseAt(CRYPTO_ILLEGAL_STATE, where), L"KeyDerivation is already initialized");
  m_pSharedSecret = pSharedSecret;
}

const ISharedSecret& DerivationSecret::Get(const FunctionTrace& fn, SourceLine where) const {
  if (m_pSharedSecret == nullptr) fn.Raise(RaiseAt(CRYPTO_ILLEGAL_STATE, where), L"KeyDerivation is not initialized");
  return *m_pSharedSecret;
}

void RefuseKey(const FunctionTrace& fn, const IKey* pKey, SourceLine where) {
  if (pKey == nullptr) fn.Raise(RaiseAt(CRYPTO_BAD_PARAM, where), L"pKey should not be NULL");
  fn.Raise(RaiseAt(CRYPTO_NOT_SUPPORTED, where), L"Not Supported");
}

void CCNGPBKDF2KeyDerivation::Init(ISharedSecret* pSharedSecret) {
  const FunctionTrace fn(L"CCNGPBKDF2KeyDerivation::Init", this);
  fn.Run([&] { m_secret.Init(fn, pSharedSecret); });
}

void CCNGPBKDF2KeyDerivation::Init(IKey* pKey) {
  const FunctionTrace fn(L"CCNGPBKDF2KeyDerivation::Init", this);
  fn.Run([&] { RefuseKey(fn, pKey); });
}

IKey* CCNGPBKDF2KeyDerivation::Derive(const WString&, const ByteArray&, std::uint32_t) {
  const FunctionTrace fn(L"CCNGPBKDF2KeyDerivation::Derive", this);
  return fn.Run([&]() -> IKey* { fn.Raise(CRYPTO_NOT_IMPLEMENTED, L"Not Implemented"); });
}

void CCNGPBKDF2KeyDerivation::Derive(const ByteArray& baSalt, std::uint32_t nLength, ByteArray& baKey) {
  const FunctionTrace fn(L"CCNGPBKDF2KeyDerivation::Derive", this);
  fn.Run([&] {
    const auto* secret = dynamic_cast<const CSoftSharedSecret*>(&m_secret.Get(fn));
    if (secret == nullptr) fn.Raise(CRYPTO_NOT_SUPPORTED, L"Unsupported shared secret");
    fn.Wrap(L"Derivation using shared secret value failed",
            [&] { DeriveFromValue(fn, m_pParams, secret->GetSecret(), baSalt, nLength, baKey); });
    // Each derivation needs its own Init.
    m_secret.Reset();
  });
}

}  // namespace ZT::Framework
