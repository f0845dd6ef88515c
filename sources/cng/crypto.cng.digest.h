// The message digest on CNG's hash providers.
#pragma once

#include <memory>

#include "zt/digest.h"

namespace ZT::Framework {

class CCNGMessageDigest final : public MessageDigest {
 public:
  CCNGMessageDigest(std::unique_ptr<IAlgorithm> pAlgorithm, ICryptoParserParameterMap* pParams);
  ~CCNGMessageDigest() override;

  IAlgorithm* GetAlgorithm() const override;
  unsigned int GetDigestLength() const override;
  void Digest(ByteArray& baDigest) override;
  void Digest(const ByteArray& baInput, ByteArray& baDigest) override;
  void Update(const ByteArray& baInput) override;

 private:
  // The digest of the buffered data followed by `pPending` (see HashInput), traced as Digest.
  void DigestWith(const ByteArray* pPending, ByteArray& baDigest);

  std::unique_ptr<IAlgorithm> m_pAlgorithm;
  [[maybe_unused]] ICryptoParserParameterMap* m_pParams;  // kept for the engine's life, not read
  ByteArray m_baData;                    // everything given since the last successful digest
};

}  // namespace ZT::Framework
