// RSA signature verification: the raw public operation on the signature, compared with the
// library's own encoding of the caller's data.
#pragma once

#include <cstdint>
#include <optional>

#include "framework/crypto.engine.h"
#include "codec/crypto.asn1.keys.h"
#include "zt/signature.h"

namespace ZT::Framework {

class CCNGRSAPublicKey;

inline constexpr ClassTrace kCCNGRSASignatureTrace = ZT_CLASS_TRACE(CCNGRSASignature);

class CCNGRSASignature final : public AlgorithmEngine<Signature, kCCNGRSASignatureTrace> {
 public:
  using AlgorithmEngine::AlgorithmEngine;

  void Init(IPublicKey* pPublicKey) override;
  void Init(IPrivateKey* pPrivateKey) override;
  void Sign(ByteArray& baSignature) override;
  void Sign(const ByteArray& baInput, ByteArray& baSignature) override;
  void Update(const ByteArray& baInput) override;
  bool Verify(const ByteArray& baSignature) override;
  bool Verify(const ByteArray& baInput, const ByteArray& baSignature) override;

 private:
  // What the engine was initialised for; None until Init and again after an answer.
  enum class Operation { None, Sign, Verify };

  // The start of an Init: CRYPTO_ILLEGAL_STATE when already initialised; else `operation` with
  // an empty buffer.
  void Start(const FunctionTrace& fn, Operation operation);
  // The state check of Sign and Verify: CRYPTO_ILLEGAL_STATE when not initialised,
  // CRYPTO_BAD_PARAM ("Invalid operation") when initialised for the other operation.
  void RequireOperation(const FunctionTrace& fn, Operation operation) const;
  // "CryptoParameterPadding", "None" when absent.
  WString ReadPadding(const FunctionTrace& fn) const;
  // The key of Init, which must be this library's RSA public key.
  const CCNGRSAPublicKey& RequireRsaPublicKey(const FunctionTrace& fn) const;
  // EM: the raw public operation on the signature, on CNG or CryptoAPI; `*k` gets the key length.
  // Nothing for a signature that is not k bytes long (RFC 8017, 8.2.2 step 1): it is not handed
  // to the platform.
  std::optional<ByteArray> RecoverEncodedMessage(const FunctionTrace& fn, const Asn1::SubjectPublicKeyInfo& info,
                                                 const ByteArray& baSignature, std::uint32_t* k) const;
  // The k-byte encoding of the buffered data under `padding`.
  ByteArray ExpectedEncoding(const FunctionTrace& fn, const WString& padding, std::uint32_t k) const;
  ByteArray EncodeWith(const FunctionTrace& fn, const wchar_t* scheme, std::uint32_t k) const;

  Operation m_operation = Operation::None;
  ByteArray m_baData;                    // everything given since Init
  IPublicKey* m_pPublicKey = nullptr;    // the key of Init, not owned
  IPrivateKey* m_pPrivateKey = nullptr;  // likewise, for the signing that is not available
};

}  // namespace ZT::Framework
