// The message digest on CNG's hash providers.
#pragma once

#include <memory>

#include "framework/crypto.engine.h"
#include "zt/digest.h"

namespace ZT::Framework {

inline constexpr ClassTrace kCCNGMessageDigestTrace = ZT_CLASS_TRACE(CCNGMessageDigest);

class CCNGMessageDigest final : public AlgorithmEngine<MessageDigest, kCCNGMessageDigestTrace> {
 public:
  using AlgorithmEngine::AlgorithmEngine;

  unsigned int GetDigestLength() const override;
  void Digest(ByteArray& baDigest) override;
  void Digest(const ByteArray& baInput, ByteArray& baDigest) override;
  void Update(const ByteArray& baInput) override;

 private:
  // The digest of the buffered data followed by `pPending` (see HashInput), traced as Digest.
  void DigestWith(const ByteArray* pPending, ByteArray& baDigest);

  ByteArray m_baData;  // everything given since the last successful digest
};

}  // namespace ZT::Framework
