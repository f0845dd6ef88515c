// Test hooks of the module registry behind LoadLibraryW/GetProcAddress (platform/libloader.h),
// so that tests can drive the CNG table loader down its failure paths. Not for production code.
// All hooks are thread-safe; module names are matched as LoadLibraryW matches them.
#pragma once

#include "platform/wintypes.h"

namespace ZT::Platform::Testing {

// From now on LoadLibraryW(module) fails with `error` (ERROR_MOD_NOT_FOUND unless given)
// without taking a reference.
void FailModuleLoad(const wchar_t* module, DWORD error = ERROR_MOD_NOT_FOUND);

// From now on GetProcAddress on `module` does not find the export `entry`
// (ERROR_PROC_NOT_FOUND). Several entries may be hidden at once.
void HideModuleEntry(const wchar_t* module, const char* entry);

// Removes every hook set above. References taken by LoadLibraryW are kept.
void ResetModuleHooks();

// The number of references LoadLibraryW holds on `module` and FreeLibrary has not dropped
// (0 for an unknown name).
ULONG ModuleReferenceCount(const wchar_t* module);

}  // namespace ZT::Platform::Testing
