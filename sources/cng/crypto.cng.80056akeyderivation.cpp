#include "cng/crypto.cng.80056akeyderivation.h"

#include <memory>

#include "cng/crypto.cng.ecdhkeyagreement.h"
#include "cng/crypto.cng.status.h"
#include "common/crypto.softkeys.h"
#include "framework/crypto.trace.h"
#include "zt/digest.h"

namespace ZT::Framework {

namespace {

constexpr std::size_t kCounterLength = 4;
constexpr std::size_t kSha256Length = 32;

void PutCounter(std::uint32_t counter, unsigned char* out) {
  for (std::size_t i = 0; i < kCounterLength; ++i)
    out[i] = static_cast<unsigned char>(counter >> (8 * (kCounterLength - 1 - i)));
}

// block(1) || block(2) || ... until `nLength` bytes are there, cut to them; `block(i, out)`
// appends block i (`blockLength` bytes) to `out`.
template <class Block>
ByteArray Concatenate(std::uint32_t nLength, std::size_t blockLength, Block&& block) {
  ByteArray out;
  out.reserve(std::size_t{nLength} + blockLength);
  for (std::uint32_t counter = 1; out.size() < nLength; ++counter) block(counter, out);
  out.resize(nLength);
  return out;
}

// The platform's "HASH" derivation does one block per call: SHA-256 of the counter (prepended)
// with the secret and OtherInfo (appended).
ByteArray DeriveInPlatform(const FunctionTrace& fn, BCRYPT_SECRET_HANDLE secret, const ByteArray& otherInfo,
                           std::uint32_t nLength) {
  wchar_t hash[] = BCRYPT_SHA256_ALGORITHM;
  unsigned char counter[kCounterLength] = {};
  BCryptBuffer buffers[] = {{sizeof(hash), KDF_HASH_ALGORITHM, hash},
                            {kCounterLength, KDF_SECRET_PREPEND, counter},
                            {InputLength(otherInfo), KDF_SECRET_APPEND, InputBytes(otherInfo)}};
  BCryptBufferDesc parameters{BCRYPTBUFFER_VERSION, 3, buffers};
  ULONG blockLength = 0;
  CheckStatus(fn, CNG().BCryptDeriveKey(secret, BCRYPT_KDF_HASH, &parameters, nullptr, 0, &blockLength, 0),
              L"BCryptDeriveKey(length)", L"BCryptDeriveKey(length) failed!");
  return Concatenate(nLength, blockLength, [&](std::uint32_t i, ByteArray& out) {
    PutCounter(i, counter);
    const std::size_t end = out.size();
    out.resize(end + blockLength);
    ULONG written = 0;
    CheckStatus(fn, CNG().BCryptDeriveKey(secret, BCRYPT_KDF_HASH, &parameters, out.data() + end, blockLength, &written, 0),
                L"BCryptDeriveKey", L"BCryptDeriveKey failed!");
  });
}

std::unique_ptr<MessageDigest> NewSha256() {
  const std::unique_ptr<IAlgorithmParameters> parameters(IAlgorithmParameters::Create());
  const std::unique_ptr<IAlgorithm> sha256(IAlgorithm::CreateFromFriendlyName(L"SHA256", parameters.get()));
  return std::unique_ptr<MessageDigest>(MessageDigest::Create(sha256.get(), nullptr));
}

// The same blocks, each digested in one call of a SHA-256 MessageDigest.
ByteArray DeriveWithDigest(const FunctionTrace& fn, const ByteArray& z, const ByteArray& otherInfo,
                           std::uint32_t nLength) {
  const std::unique_ptr<MessageDigest> digest = fn.Wrap(L"Error while creating MessageDigest", &NewSha256);
  ByteArray input(kCounterLength);  // counter || Z || OtherInfo
  input.insert(input.end(), z.begin(), z.end());
  input.insert(input.end(), otherInfo.begin(), otherInfo.end());
  ByteArray block;
  return Concatenate(nLength, kSha256Length, [&](std::uint32_t i, ByteArray& out) {
    PutCounter(i, input.data());
    fn.Wrap(L"Unable to compute KDF Result", [&] { digest->Digest(input, block); });
    out.insert(out.end(), block.begin(), block.end());
  });
}

}  // namespace

void CCNG80056AKeyDerivation::Init(ISharedSecret* pSharedSecret) {
  const FunctionTrace fn(L"CCNG80056AKeyDerivation::Init", this);
  fn.Run([&] { m_secret.Init(fn, pSharedSecret); });
}

void CCNG80056AKeyDerivation::Init(IKey* pKey) {
  const FunctionTrace fn(L"CCNG80056AKeyDerivation::Init", this);
  fn.Run([&] { RefuseKey(fn, pKey); });
}

IKey* CCNG80056AKeyDerivation::Derive(const WString&, const ByteArray&, std::uint32_t) {
  const FunctionTrace fn(L"CCNG80056AKeyDerivation::Derive", this);
  return fn.Run([&]() -> IKey* { fn.Raise(CRYPTO_NOT_IMPLEMENTED, L"Not Implemented"); });
}

void CCNG80056AKeyDerivation::Derive(const ByteArray& baOtherInfo, std::uint32_t nLength, ByteArray& baKey) {
  const FunctionTrace fn(L"CCNG80056AKeyDerivation::Derive", this);
  fn.Run([&] {
    const ISharedSecret& secret = m_secret.Get(fn);
    if (const auto* reference = dynamic_cast<const CCNGReferenceSharedSecret*>(&secret)) {
      baKey = fn.Wrap(L"Derivation using shared secret reference failed",
                      [&] { return DeriveInPlatform(fn, reference->GetSecretHandle(), baOtherInfo, nLength); });
    } else if (const auto* value = dynamic_cast<const CSoftSharedSecret*>(&secret)) {
      baKey = fn.Wrap(L"Derivation using shared secret value failed",
                      [&] { return DeriveWithDigest(fn, value->GetSecret(), baOtherInfo, nLength); });
    } else {
      fn.Raise(CRYPTO_NOT_SUPPORTED, L"Unsupported shared secret");
    }
  });
}

}  // namespace ZT::Framework
