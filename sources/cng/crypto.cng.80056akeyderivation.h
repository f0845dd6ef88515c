// The single-step (concatenation) key derivation of NIST SP 800-56A with SHA-256, from an ECDH
// shared secret held by the platform or by the library.
#pragma once

#include "cng/crypto.cng.keyderivation.h"

namespace ZT::Framework {

inline constexpr ClassTrace kCCNG80056AKeyDerivationTrace = ZT_CLASS_TRACE(CCNG80056AKeyDerivation);

// Output: H(1 || Z || OtherInfo) || H(2 || Z || OtherInfo) || ... cut to the length asked for,
// the counter a 4-byte big-endian integer, H SHA-256, Z the shared secret and OtherInfo the
// caller's bytes as they are. A secret kept inside the platform (CCNGReferenceSharedSecret) is
// derived by the platform's "HASH" derivation, a secret held as bytes (CSoftSharedSecret) by
// MessageDigest: both give the same bytes. The engine stays initialised after each Derive,
// successful or not.
class CCNG80056AKeyDerivation final : public AlgorithmEngine<KeyDerivation, kCCNG80056AKeyDerivationTrace> {
 public:
  using AlgorithmEngine::AlgorithmEngine;

  void Init(ISharedSecret* pSharedSecret) override;
  void Init(IKey* pKey) override;  // always refused
  IKey* Derive(const WString& sLabel, const ByteArray& baOtherInfo, std::uint32_t nLength) override;
  void Derive(const ByteArray& baOtherInfo, std::uint32_t nLength, ByteArray& baKey) override;

 private:
  DerivationSecret m_secret;  // Z
};

}  // namespace ZT::Framework
