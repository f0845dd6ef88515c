// HMAC with SHA-1 or SHA-256 on CNG's keyed hash providers.
#pragma once

#include <memory>

#include "framework/crypto.engine.h"
#include "zt/mac.h"

namespace ZT::Framework {

inline constexpr ClassTrace kCCNGMACSHATrace = ZT_CLASS_TRACE(CCNGMACSHA);

class CCNGMACSHA final : public AlgorithmEngine<MAC, kCCNGMACSHATrace> {
 public:
  using AlgorithmEngine::AlgorithmEngine;

  unsigned int GetMacLength() override;
  void Init(IKey* pKey) override;
  void Mac(ByteArray& baMac) override;
  void Mac(const ByteArray& baInput, ByteArray& baMac) override;
  void Update(const ByteArray& baInput) override;

 private:
  // The MAC of the buffered data followed by `pPending` (see HashInput), traced as Mac.
  void MacWith(const ByteArray* pPending, ByteArray& baMac);

  bool m_bInitialized = false;
  ByteArray m_baData;  // everything given since Init
  IKey* m_pKey = nullptr;  // the key of the last Init, not owned
};

}  // namespace ZT::Framework
