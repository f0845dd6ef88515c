// The base of the platform seam: the Windows API's integer and pointer types, its error codes
// and the per-thread last error, as the engines use them. On Windows they come from the system
// headers; elsewhere this header declares them with the published names, sizes and values.
//
// Sizes follow the 64-bit Windows ABI (LLP64): LONG, ULONG and DWORD are 32 bits even where the
// C `long` is 64 bits, so blob structures keep their published layout on every platform.
#pragma once

#if defined(_WIN32)

#include <windows.h>

// Entries of the system's libraries that the library calls directly are reached through thin
// wrappers of the seam (platform/windows), where the test hooks of platform/testing.h act: each
// seam header declares the wrappers of its entries, and names each entry after its wrapper, so
// that the engines call it by its published name on both platforms.
#define ZT_SEAM_WRAPPER(Result, entry, parameters) extern "C" Result WINAPI ZT_Seam_##entry parameters;

#else

#include <cstddef>
#include <cstdint>

#define WINAPI
#define CALLBACK

#ifndef TRUE
#define TRUE 1
#endif
#ifndef FALSE
#define FALSE 0
#endif

typedef int BOOL;
typedef std::uint8_t BOOLEAN;
typedef std::uint8_t BYTE;
typedef std::uint8_t UCHAR;
typedef std::uint16_t WORD;
typedef std::uint16_t USHORT;
typedef std::uint32_t DWORD;
typedef std::uint32_t ULONG;
typedef std::int32_t LONG;
typedef std::uint32_t UINT;
typedef std::int32_t INT;
typedef std::uint64_t ULONGLONG;
typedef std::uintptr_t ULONG_PTR;
typedef std::intptr_t INT_PTR;
typedef std::intptr_t LONG_PTR;
typedef std::size_t SIZE_T;
typedef wchar_t WCHAR;
typedef char CHAR;

#define VOID void
typedef void* PVOID;
typedef void* LPVOID;
typedef const void* LPCVOID;
typedef void* HANDLE;
typedef BYTE* PBYTE;
typedef BYTE* LPBYTE;
typedef const BYTE* LPCBYTE;
typedef UCHAR* PUCHAR;
typedef ULONG* PULONG;
typedef DWORD* PDWORD;
typedef DWORD* LPDWORD;
typedef WCHAR* LPWSTR;
typedef WCHAR* PWSTR;
typedef const WCHAR* LPCWSTR;
typedef const WCHAR* PCWSTR;
typedef CHAR* LPSTR;
typedef const CHAR* LPCSTR;

typedef LONG HRESULT;
typedef LONG NTSTATUS;
typedef LONG SECURITY_STATUS;

// Win32 error codes (GetLastError).
#define ERROR_SUCCESS 0L
#define ERROR_FILE_NOT_FOUND 2L
#define ERROR_PATH_NOT_FOUND 3L
#define ERROR_TOO_MANY_OPEN_FILES 4L
#define ERROR_ACCESS_DENIED 5L
#define ERROR_INVALID_HANDLE 6L
#define ERROR_NOT_ENOUGH_MEMORY 8L
#define ERROR_INVALID_DATA 13L
#define ERROR_WRITE_PROTECT 19L
#define ERROR_SHARING_VIOLATION 32L
#define ERROR_HANDLE_DISK_FULL 39L
#define ERROR_NOT_SUPPORTED 50L
#define ERROR_FILE_EXISTS 80L
#define ERROR_INVALID_PASSWORD 86L
#define ERROR_INVALID_PARAMETER 87L
#define ERROR_DISK_FULL 112L
#define ERROR_CALL_NOT_IMPLEMENTED 120L
#define ERROR_INSUFFICIENT_BUFFER 122L
#define ERROR_INVALID_NAME 123L
#define ERROR_MOD_NOT_FOUND 126L
#define ERROR_PROC_NOT_FOUND 127L
#define ERROR_BUSY 170L
#define ERROR_ALREADY_EXISTS 183L
#define ERROR_FILENAME_EXCED_RANGE 206L
#define ERROR_MORE_DATA 234L
#define ERROR_NO_MORE_ITEMS 259L
#define ERROR_INVALID_ADDRESS 487L
#define ERROR_FILE_INVALID 1006L
#define ERROR_MAPPED_ALIGNMENT 1132L
#define ERROR_PASSWORD_RESTRICTION 1325L

// COM results.
#define S_OK ((HRESULT)0L)
#define S_FALSE ((HRESULT)1L)
#define E_FAIL ((HRESULT)0x80004005L)
#define E_OUTOFMEMORY ((HRESULT)0x8007000EL)
#define E_INVALIDARG ((HRESULT)0x80070057L)

#define SUCCEEDED(hr) (((HRESULT)(hr)) >= 0)
#define FAILED(hr) (((HRESULT)(hr)) < 0)

extern "C" {

// The calling thread's last error code, as set by the last failing seam function (or
// SetLastError). Each thread has its own; a new thread starts with ERROR_SUCCESS.
DWORD WINAPI GetLastError(void);

// Sets the calling thread's last error code.
void WINAPI SetLastError(DWORD dwErrCode);

}  // extern "C"

#endif  // _WIN32
