#include "cng/crypto.cng.rsasignature.h"

#include <memory>

#include "cng/crypto.cng.rsakeys.h"
#include "cng/crypto.cng.rsapublic.h"
#include "cng/crypto.cng.status.h"
#include "cng/crypto.cng.util.keys.h"
#include "zt/padding.h"

namespace ZT::Framework {

Signature::~Signature() = default;

void CCNGRSASignature::Start(const FunctionTrace& fn, Operation operation) {
  if (m_operation != Operation::None) fn.Raise(CRYPTO_ILLEGAL_STATE, L"Signature is already initialized");
  EmptySecurely(m_baData);
  m_operation = operation;
}

void CCNGRSASignature::Init(IPublicKey* pPublicKey) {
  const FunctionTrace fn(L"CCNGRSASignature::Init", this);
  fn.Run([&] {
    if (pPublicKey == nullptr) fn.Raise(CRYPTO_BAD_PARAM, L"pPublicKey should not be NULL");
    Start(fn, Operation::Verify);
    m_pPublicKey = pPublicKey;
  });
}

void CCNGRSASignature::Init(IPrivateKey* pPrivateKey) {
  const FunctionTrace fn(L"CCNGRSASignature::Init", this);
  fn.Run([&] {
    if (pPrivateKey == nullptr) fn.Raise(CRYPTO_BAD_PARAM, L"pPrivateKey should not be NULL");
    // The engine stays initialised for signing, which is not available: a later Sign refuses
    // it, a later Init finds the engine initialised.
    Start(fn, Operation::Sign);
    m_pPrivateKey = pPrivateKey;
    fn.Raise(CRYPTO_NOT_IMPLEMENTED, L"Not Implemented");
  });
}

void CCNGRSASignature::RequireOperation(const FunctionTrace& fn, Operation operation) const {
  if (m_operation == Operation::None) fn.Raise(CRYPTO_ILLEGAL_STATE, L"Signature is not initialized");
  if (m_operation != operation) fn.Raise(CRYPTO_BAD_PARAM, L"Invalid operation");
}

void CCNGRSASignature::Sign(ByteArray&) {
  const FunctionTrace fn(L"CCNGRSASignature::Sign", this);
  fn.Run([&] {
    RequireOperation(fn, Operation::Sign);
    fn.Raise(CRYPTO_NOT_IMPLEMENTED, L"Not Implemented");
  });
}

void CCNGRSASignature::Sign(const ByteArray&, ByteArray& baSignature) { Sign(baSignature); }

void CCNGRSASignature::Update(const ByteArray& baInput) {
  const FunctionTrace fn(L"CCNGRSASignature::Update", this);
  fn.Run([&] {
    if (m_operation == Operation::None) fn.Raise(CRYPTO_ILLEGAL_STATE, L"Signature is not initialized");
    m_baData.insert(m_baData.end(), baInput.begin(), baInput.end());
  });
}

bool CCNGRSASignature::Verify(const ByteArray& baInput, const ByteArray& baSignature) {
  const FunctionTrace fn(L"CCNGRSASignature::Verify", this);
  return fn.Run([&] {
    return fn.Wrap(L"Verify failed", [&] {
      m_baData.insert(m_baData.end(), baInput.begin(), baInput.end());
      return Verify(baSignature);
    });
  });
}

bool CCNGRSASignature::Verify(const ByteArray& baSignature) {
  const FunctionTrace fn(L"CCNGRSASignature::Verify", this);
  return fn.Run([&] {
    RequireOperation(fn, Operation::Verify);
    const WString padding = ReadPadding(fn);
    const CCNGRSAPublicKey& key = RequireRsaPublicKey(fn);
    const Asn1::SubjectPublicKeyInfo info = DecodeForPlatform<Structure::X509PublicKeyInfo>(fn, key.GetEncoded());
    std::uint32_t k = 0;
    const std::optional<ByteArray> EM = RecoverEncodedMessage(fn, info, baSignature, &k);
    const ByteArray expected = ExpectedEncoding(fn, padding, k);

    // Byte for byte, whatever the padding: an X9.31 signer that sent n - s instead of s
    // recovers the complement of its block, which does not match. A signature of another
    // length than k recovers nothing and is invalid.
    const bool valid = EM && *EM == expected;
    fn.Warning(L"%s", valid ? L"Signature is valid" : L"Signature is invalid");
    fn.Line(NQLOG_DATA, Separator::Tight, L"returns %s", valid ? L"true" : L"false");
    // An answer ends this verification.
    EmptySecurely(m_baData);
    m_operation = Operation::None;
    return valid;
  });
}

WString CCNGRSASignature::ReadPadding(const FunctionTrace& fn) const {
  WString padding = L"None";
  ReadMap(fn, [&] {
    if (m_pParams != nullptr) m_pParams->GetPadding(padding);
  });
  return padding;
}

const CCNGRSAPublicKey& CCNGRSASignature::RequireRsaPublicKey(const FunctionTrace& fn) const {
  const auto* key = dynamic_cast<const CCNGRSAPublicKey*>(m_pPublicKey);
  // Two blanks after "Only": callers match the message as it has always read.
  if (key == nullptr) fn.Raise(CRYPTO_NOT_SUPPORTED, L"Only  RSA Public keys are supported");
  return *key;
}

std::optional<ByteArray> CCNGRSASignature::RecoverEncodedMessage(const FunctionTrace& fn,
                                                                 const Asn1::SubjectPublicKeyInfo& info,
                                                                 const ByteArray& baSignature,
                                                                 std::uint32_t* k) const {
  ByteArray EM;
  if (CryptoSoftCNGWrapper::LoadCNGLibrary()) {
    ImportedCngRsaKey platformKey(fn, info);
    *k = platformKey.KeyLength();
    if (baSignature.size() != *k) return std::nullopt;
    platformKey.Encrypt(fn, baSignature, nullptr, BCRYPT_PAD_NONE, EM);
  } else {
    ImportedCryptoApiRsaKey platformKey(fn, info);
    *k = platformKey.KeyLength();
    if (baSignature.size() != *k) return std::nullopt;
    platformKey.Encrypt(fn, baSignature, EM);
  }
  return EM;
}

ByteArray CCNGRSASignature::ExpectedEncoding(const FunctionTrace& fn, const WString& padding, std::uint32_t k) const {
  if (padding == L"PKCS1") {
    // The caller's own map says which PKCS #1 block to build: the signature block.
    ReadMap(fn, [&] { m_pParams->SetPkcs1OperationMode(0); });
    return EncodeWith(fn, L"PKCS1", k);
  }
  if (padding == L"None") return m_baData;
  if (padding == L"X_931") {
    unsigned char hashAlgorithm = 0;
    if (!ReadMap(fn, [&] { return m_pParams->GetHashAlgoPaddingMode(hashAlgorithm); }))
      fn.Raise(CRYPTO_BAD_PARAM, L"Padding X9.31 but no Hash Algid in params");
    return EncodeWith(fn, L"X_931", k);
  }
  fn.Raise(CRYPTO_NO_SUCH_PADDING, L"Unsupported padding", L"Unsupported padding: %s", padding);
}

ByteArray CCNGRSASignature::EncodeWith(const FunctionTrace& fn, const wchar_t* scheme, std::uint32_t k) const {
  const std::unique_ptr<IPadding> padding(
      fn.WrapAs(CRYPTO_UNKNOWN_ERROR, L"Unsupported padding", [&] { return IPadding::Create(scheme, k, m_pParams); }));
  ByteArray encoded;
  fn.Wrap(L"Decode EncodedMessage Failed", [&] { padding->EncodeData(m_baData, encoded); });
  return encoded;
}

}  // namespace ZT::Framework
