// The call failures that tests arm at the seam's entries (platform/testing.h), shared by every
// implementation of the seam: an entry asks, before it looks at its arguments, whether this call
// of it is to fail, and if so fails as the platform reports a failure of that entry. With
// nothing armed the question costs one relaxed atomic load.
#pragma once

#include <atomic>
#include <optional>

#include "platform/wintypes.h"

namespace ZT::Platform {

// True while any failure is armed.
extern std::atomic<bool> g_callFailuresArmed;

// The code of the failure armed for this call of `entry`, counting the call; nothing when this
// call is to run as usual.
std::optional<DWORD> TakeCallFailure(const char* entry);

inline std::optional<DWORD> ArmedCallFailure(const char* entry) {
  if (!g_callFailuresArmed.load(std::memory_order_relaxed)) [[likely]]
    return std::nullopt;
  return TakeCallFailure(entry);
}

}  // namespace ZT::Platform
