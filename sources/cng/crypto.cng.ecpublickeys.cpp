#include "cng/crypto.cng.ecpublickeys.h"

#include <algorithm>
#include <cstring>
#include <limits>

#include "cng/crypto.cng.status.h"
#include "framework/crypto.trace.h"

namespace ZT::Framework {

namespace {

constexpr EcCurve kCurves[] = {
    {BCRYPT_ECDH_P256_ALGORITHM, 256, BCRYPT_ECDH_PUBLIC_P256_MAGIC},
    {BCRYPT_ECDH_P384_ALGORITHM, 384, BCRYPT_ECDH_PUBLIC_P384_MAGIC},
    {BCRYPT_ECDH_P521_ALGORITHM, 521, BCRYPT_ECDH_PUBLIC_P521_MAGIC},
};

constexpr std::size_t kBlobHeaderLength = sizeof(BCRYPT_ECCKEY_BLOB);
constexpr unsigned char kUncompressed = 0x04;

// The platform's public blob of an encoded point: the header (the curve's magic, and half of
// what follows the first byte as the coordinate length), then the encoded bytes after the first.
// The first byte is not looked at; a length that fits no curve is left for the platform to
// refuse (a length beyond the header's range is made one it refuses too).
ByteArray PublicBlob(const EcCurve& curve, const ByteArray& baEncoded) {
  constexpr std::size_t kMax = std::numeric_limits<ULONG>::max() - kBlobHeaderLength;
  const BCRYPT_ECCKEY_BLOB header{curve.publicMagic,
                                  static_cast<ULONG>(std::min((baEncoded.size() - 1) / 2, kMax))};
  ByteArray blob(kBlobHeaderLength + baEncoded.size() - 1);
  std::memcpy(blob.data(), &header, kBlobHeaderLength);
  std::copy(baEncoded.begin() + 1, baEncoded.end(), blob.begin() + kBlobHeaderLength);
  return blob;
}

// The encoded point of an exported public blob: 04, then the blob without its header.
ByteArray EncodedPoint(const ByteArray& blob) {
  ByteArray encoded(1, kUncompressed);
  if (blob.size() > kBlobHeaderLength) encoded.insert(encoded.end(), blob.begin() + kBlobHeaderLength, blob.end());
  return encoded;
}

}  // namespace

IECPublicKey::~IECPublicKey() = default;

const EcCurve* FindEcCurve(const WString& friendlyName) {
  for (const EcCurve& curve : kCurves)
    if (friendlyName == curve.friendlyName) return &curve;
  return nullptr;
}

CCNGECPublicKey::CCNGECPublicKey(std::unique_ptr<IAlgorithm> pAlgorithm, const ByteArray& baEncoded)
    : m_pAlgorithm(std::move(pAlgorithm)), m_baEncoded(baEncoded) {
  const FunctionTrace fn(L"CCNGECPublicKey::CCNGECPublicKey", this);
  fn.Run([&] {
    if (m_baEncoded.empty()) fn.Raise(CRYPTO_BAD_PARAM, L"Encoded key buffer should not be empty");
    RequireCNG(fn, L"CNG is not supported", CRYPTO_NOT_SUPPORTED);
    const WString name = m_pAlgorithm->GetFriendlyName();
    const EcCurve* curve = FindEcCurve(name);
    if (curve == nullptr) fn.Raise(CRYPTO_NOT_SUPPORTED, L"Unsupported algorithm", L"Unsupported algorithm(%s)", name);
    // The provider is only needed for the import: the key outlives it.
    AlgorithmProvider provider;
    CheckStatus(fn, CNG().BCryptOpenAlgorithmProvider(provider.put(), curve->friendlyName, nullptr, 0),
                L"BCryptOpenAlgorithmProvider", L"BCryptOpenAlgorithmProvider failed!");
    ByteArray blob = PublicBlob(*curve, m_baEncoded);
    CheckStatus(fn,
                CNG().BCryptImportKeyPair(provider.get(), nullptr, BCRYPT_ECCPUBLIC_BLOB, m_ownKey.put(), blob.data(),
                                          static_cast<ULONG>(blob.size()), 0),
                L"BCryptImportKeyPair", L"BCryptImportKeyPair failed!");
    m_hKey = m_ownKey.get();
  });
}

CCNGECPublicKey::CCNGECPublicKey(std::unique_ptr<IAlgorithm> pAlgorithm, BCRYPT_KEY_HANDLE hKey)
    : m_pAlgorithm(std::move(pAlgorithm)), m_hKey(hKey) {
  const FunctionTrace fn(L"CCNGECPublicKey::CCNGECPublicKey", this);
  fn.Run([&] {
    if (hKey == nullptr) fn.Raise(CRYPTO_BAD_PARAM, L"hKey should not be NULL");
    // Both export failures are logged as failures of BCryptFinalizeKeyPair: the suite's log
    // readers know them by that line.
    const ByteArray blob = SizedOutput(
        fn,
        [&](PUCHAR out, ULONG cbOut, ULONG* pcbResult) {
          return CNG().BCryptExportKey(hKey, nullptr, BCRYPT_ECCPUBLIC_BLOB, out, cbOut, pcbResult, 0);
        },
        {L"BCryptFinalizeKeyPair", L"BCryptExportKey(len) failed!"},
        {L"BCryptFinalizeKeyPair", L"BCryptExportKey failed!"});
    m_baEncoded = EncodedPoint(blob);
  });
}

CCNGECPublicKey::~CCNGECPublicKey() {
  TraceLifetime(L"CCNGECPublicKey::~CCNGECPublicKey", this, [&] {
    m_pAlgorithm.reset();
    m_ownKey.reset();
  });
}

IKey* CCNGECPublicKey::Clone() const {
  const FunctionTrace fn(L"CCNGECPublicKey::Clone", this);
  return fn.Run([&] { return new CCNGECPublicKey(std::unique_ptr<IAlgorithm>(m_pAlgorithm->Clone()), m_baEncoded); });
}

IAlgorithm* CCNGECPublicKey::GetAlgorithm() const {
  const FunctionTrace fn(L"CCNGECPublicKey::GetAlgorithm", this);
  return fn.Run([&] { return m_pAlgorithm.get(); });
}

WString CCNGECPublicKey::GetFormat() const {
  const FunctionTrace fn(L"CCNGECPublicKey::GetFormat", this);
  return fn.Run([] { return WString(L"ECCPublicKey"); });
}

ByteArray CCNGECPublicKey::GetEncoded() const {
  const FunctionTrace fn(L"CCNGECPublicKey::GetEncoded", this);
  return fn.Run([&] { return m_baEncoded; });
}

ByteArray CCNGECPublicKey::GetX() const {
  const FunctionTrace fn(L"CCNGECPublicKey::GetX", this);
  return fn.Run([&]() -> ByteArray { fn.Raise(CRYPTO_NOT_IMPLEMENTED, L"Not Implemented"); });
}

ByteArray CCNGECPublicKey::GetY() const {
  const FunctionTrace fn(L"CCNGECPublicKey::GetY", this);
  return fn.Run([&]() -> ByteArray { fn.Raise(CRYPTO_NOT_IMPLEMENTED, L"Not Implemented"); });
}

BCRYPT_KEY_HANDLE CCNGECPublicKey::GetECKey() const {
  const FunctionTrace fn(L"CCNGECPublicKey::GetECKey", this);
  return fn.Run([&] { return m_hKey; });
}

}  // namespace ZT::Framework
