// The platform's last error in tests of calls that report failure through GetLastError.
#pragma once

#include "platform/platform.h"

namespace zttest {

// 0 when a call succeeded, else the last error (compare with Code(NTE_...)). For a call that
// returns a handle or a pointer: ErrorOf(handle != nullptr).
inline DWORD ErrorOf(BOOL ok) { return ok ? 0 : GetLastError(); }
// An HRESULT as the unsigned value GetLastError returns.
inline DWORD Code(HRESULT value) { return static_cast<DWORD>(value); }

}  // namespace zttest
