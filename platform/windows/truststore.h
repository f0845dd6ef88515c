// The trust store that platform/testing.h can put in place of the system's for chain building:
// on Windows a chain engine whose only trusted roots, additional issuers and CRLs are the
// replacement's, used where the caller asks for the default engine.
#pragma once

#include <windows.h>

#include <wincrypt.h>

#include <memory>

namespace ZT::Platform::Windows {

class ReplacementEngine;

// The engine a chain build uses while it runs: `requested`, or, for the default engine (null)
// while a replacement is in place, the replacement's (kept alive until the build is done).
class ChainEngineInUse {
 public:
  explicit ChainEngineInUse(HCERTCHAINENGINE requested);
  HCERTCHAINENGINE Handle() const { return m_handle; }

 private:
  std::shared_ptr<ReplacementEngine> m_replacement;
  HCERTCHAINENGINE m_handle;
};

}  // namespace ZT::Platform::Windows
