// What the Windows seam's wrappers share: the count of live handles (platform/testing.h) and the
// CNG entries as GetProcAddress hands them out. Included by platform/windows only, which sees
// the system's own declarations, not the seam's names for its wrappers.
#pragma once

#include <windows.h>

#include <cstddef>

namespace ZT::Platform::Windows {

// One more (delta 1) or one fewer (delta -1) live handle of the kinds LiveHandleCount counts.
void CountHandles(int delta);

// The seam's wrapper of the CNG entry `name` (one of the 24 of the CNG service table), which calls
// `real`, the system's function GetProcAddress found; `real` itself for any other export.
FARPROC WrappedEntry(const char* name, FARPROC real);

}  // namespace ZT::Platform::Windows
