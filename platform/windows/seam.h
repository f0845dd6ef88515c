// What the Windows seam's wrappers share: the count of live handles (platform/testing.h) and the
// CNG entries as GetProcAddress hands them out. Included by platform/windows only, which sees
// the system's own declarations, not the seam's names for its wrappers.
#pragma once

#include <windows.h>

#include <cstddef>

#include "platform/shared/callfailures.h"

namespace ZT::Platform::Windows {

// A failure armed for `entry`, a function that reports failures through GetLastError: sets the
// code as the thread's last error and answers true.
inline bool FailsWithLastError(const char* entry) {
  const auto failure = ArmedCallFailure(entry);
  if (failure) SetLastError(*failure);
  return failure.has_value();
}

// One more (delta 1) or one fewer (delta -1) live handle of the kinds LiveHandleCount counts.
void CountHandles(int delta);

// Handles the system's functions return as values of their own (stores, files, mappings, views,
// blocks for LocalFree), which the system also hands to others (CloseHandle and LocalFree take
// any process's or library's): the seam counts those it handed out, by value, and uncounts only
// those. Track counts `handle` (null is not counted); Untrack uncounts it and answers whether it
// was counted. Neither changes the thread's last error.
void Track(const void* handle);
bool Untrack(const void* handle);

// The seam's wrapper of the CNG entry `name` (one of the 24 of the CNG service table), which calls
// `real`, the system's function GetProcAddress found; `real` itself for any other export.
FARPROC WrappedEntry(const char* name, FARPROC real);

}  // namespace ZT::Platform::Windows
