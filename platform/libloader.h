// Run-time loading of the platform's libraries ("Bcrypt.dll", "Ncrypt.dll"), as the CNG service
// table loader uses it. On Windows these are the kernel's functions, reached through the seam's
// wrappers: platform/testing.h can make a module fail to load or lack an entry, and the CNG
// entries that GetProcAddress hands out are the system's behind the seam's fail points. Elsewhere
// a module registry stands in: the two names resolve to built-in modules whose exports are the
// seam's CNG entries, with the same hooks.
#pragma once

#include "platform/wintypes.h"

#if defined(_WIN32)

#include <windows.h>

ZT_SEAM_WRAPPER(BOOL, SetDllDirectoryW, (LPCWSTR lpPathName))
ZT_SEAM_WRAPPER(HMODULE, LoadLibraryW, (LPCWSTR lpLibFileName))
ZT_SEAM_WRAPPER(FARPROC, GetProcAddress, (HMODULE hModule, LPCSTR lpProcName))
ZT_SEAM_WRAPPER(BOOL, FreeLibrary, (HMODULE hLibModule))
#define SetDllDirectoryW ZT_Seam_SetDllDirectoryW
#define LoadLibraryW ZT_Seam_LoadLibraryW
#define GetProcAddress ZT_Seam_GetProcAddress
#define FreeLibrary ZT_Seam_FreeLibrary

#else

struct HINSTANCE__;
typedef struct HINSTANCE__* HMODULE;
typedef HMODULE HINSTANCE;
typedef INT_PTR(WINAPI* FARPROC)();

extern "C" {

// Sets the extra directory searched for libraries (null: back to the default order; empty: the
// default order without the current directory). Always TRUE: the built-in modules do not
// depend on it.
BOOL WINAPI SetDllDirectoryW(LPCWSTR lpPathName);

// Loads a library by file name, compared without regard to case, after any path; a name
// without extension gets ".dll". Each successful call takes one reference and returns the
// module's one handle. Unknown name: null with ERROR_MOD_NOT_FOUND.
HMODULE WINAPI LoadLibraryW(LPCWSTR lpLibFileName);

// The address of the export `lpProcName` of a loaded module: the seam function of that name.
// Unknown name (names are case-sensitive): null with ERROR_PROC_NOT_FOUND; a module handle
// without references: null with ERROR_MOD_NOT_FOUND.
FARPROC WINAPI GetProcAddress(HMODULE hModule, LPCSTR lpProcName);

// Drops one reference of a loaded module. A handle without references: FALSE with
// ERROR_MOD_NOT_FOUND.
BOOL WINAPI FreeLibrary(HMODULE hLibModule);

}  // extern "C"

#endif  // _WIN32
