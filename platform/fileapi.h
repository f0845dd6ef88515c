// Files and file mapping (the kernel's file API subset of the seam): the calls with which the
// certificate file store reads and writes a file through a mapped view. On Windows they come
// from <windows.h>.
//
// Here a file handle wraps a POSIX file descriptor and a mapping handle a descriptor of its own,
// so the mapping outlives the file handle as on Windows; a view is an mmap of the mapping.
// Names are wide strings converted to UTF-8, the file system's encoding here. Failures report
// the system's codes through GetLastError, mapped from errno: a missing file ERROR_FILE_NOT_FOUND
// (a missing directory on the way ERROR_PATH_NOT_FOUND), no permission or a directory
// ERROR_ACCESS_DENIED, a name that is not text ERROR_INVALID_NAME, a name too long
// ERROR_FILENAME_EXCED_RANGE, a full disk ERROR_DISK_FULL, a read-only file system
// ERROR_WRITE_PROTECT. Share modes are accepted but not enforced (POSIX locks are advisory).
// Views are never executable, whatever the access asked for: nothing runs from a mapped file.
#pragma once

#include "platform/wintypes.h"

#if defined(_WIN32)

#include <windows.h>

ZT_SEAM_WRAPPER(HANDLE, CreateFileW,
                (LPCWSTR lpFileName, DWORD dwDesiredAccess, DWORD dwShareMode,
                 LPSECURITY_ATTRIBUTES lpSecurityAttributes, DWORD dwCreationDisposition,
                 DWORD dwFlagsAndAttributes, HANDLE hTemplateFile))
ZT_SEAM_WRAPPER(HANDLE, CreateFileMappingW,
                (HANDLE hFile, LPSECURITY_ATTRIBUTES lpFileMappingAttributes, DWORD flProtect,
                 DWORD dwMaximumSizeHigh, DWORD dwMaximumSizeLow, LPCWSTR lpName))
ZT_SEAM_WRAPPER(LPVOID, MapViewOfFile,
                (HANDLE hFileMappingObject, DWORD dwDesiredAccess, DWORD dwFileOffsetHigh, DWORD dwFileOffsetLow,
                 SIZE_T dwNumberOfBytesToMap))
ZT_SEAM_WRAPPER(BOOL, UnmapViewOfFile, (LPCVOID lpBaseAddress))
ZT_SEAM_WRAPPER(DWORD, GetFileSize, (HANDLE hFile, LPDWORD lpFileSizeHigh))
ZT_SEAM_WRAPPER(BOOL, CloseHandle, (HANDLE hObject))
#define CreateFileW ZT_Seam_CreateFileW
#define CreateFileMappingW ZT_Seam_CreateFileMappingW
#define MapViewOfFile ZT_Seam_MapViewOfFile
#define UnmapViewOfFile ZT_Seam_UnmapViewOfFile
#define GetFileSize ZT_Seam_GetFileSize
#define CloseHandle ZT_Seam_CloseHandle

#else

typedef struct _SECURITY_ATTRIBUTES {
  DWORD nLength;
  LPVOID lpSecurityDescriptor;
  BOOL bInheritHandle;
} SECURITY_ATTRIBUTES, *PSECURITY_ATTRIBUTES, *LPSECURITY_ATTRIBUTES;

#define INVALID_HANDLE_VALUE ((HANDLE)(LONG_PTR)-1)
#define INVALID_FILE_SIZE ((DWORD)0xFFFFFFFF)

// Access rights of CreateFileW.
#define GENERIC_READ 0x80000000L
#define GENERIC_WRITE 0x40000000L
#define GENERIC_EXECUTE 0x20000000L
#define GENERIC_ALL 0x10000000L

// Share modes.
#define FILE_SHARE_READ 0x00000001
#define FILE_SHARE_WRITE 0x00000002
#define FILE_SHARE_DELETE 0x00000004

// Creation dispositions.
#define CREATE_NEW 1
#define CREATE_ALWAYS 2
#define OPEN_EXISTING 3
#define OPEN_ALWAYS 4
#define TRUNCATE_EXISTING 5

#define FILE_ATTRIBUTE_READONLY 0x00000001
#define FILE_ATTRIBUTE_NORMAL 0x00000080

// Page protections of CreateFileMappingW.
#define PAGE_READONLY 0x02
#define PAGE_READWRITE 0x04
#define PAGE_EXECUTE_READ 0x20
#define PAGE_EXECUTE_READWRITE 0x40

// Access of MapViewOfFile.
#define FILE_MAP_COPY 0x0001
#define FILE_MAP_WRITE 0x0002
#define FILE_MAP_READ 0x0004
#define FILE_MAP_EXECUTE 0x0020
#define FILE_MAP_ALL_ACCESS 0x000F001F

extern "C" {

// Opens or creates the file lpFileName. dwDesiredAccess: GENERIC_READ and GENERIC_WRITE select
// the descriptor's mode (GENERIC_ALL both; GENERIC_EXECUTE is recorded for the mapping's check).
// dwCreationDisposition as published: CREATE_NEW (ERROR_FILE_EXISTS when it exists),
// CREATE_ALWAYS (an existing file is emptied) and OPEN_ALWAYS (both succeed with
// ERROR_ALREADY_EXISTS as the last error when the file was there), OPEN_EXISTING,
// TRUNCATE_EXISTING (needs GENERIC_WRITE). Only regular files open: a directory, a FIFO or a
// device fails with ERROR_ACCESS_DENIED (without waiting for a FIFO's writer). lpSecurityAttributes and hTemplateFile must
// be null, dwFlagsAndAttributes is not used. INVALID_HANDLE_VALUE on failure.
HANDLE WINAPI CreateFileW(LPCWSTR lpFileName, DWORD dwDesiredAccess, DWORD dwShareMode,
                          LPSECURITY_ATTRIBUTES lpSecurityAttributes, DWORD dwCreationDisposition,
                          DWORD dwFlagsAndAttributes, HANDLE hTemplateFile);

// A mapping of the file hFile (a handle of CreateFileW) of the size (dwMaximumSizeHigh,
// dwMaximumSizeLow); 0 maps the whole file, and an empty file then cannot be mapped
// (ERROR_FILE_INVALID). A larger size extends a file opened for writing. flProtect must be
// allowed by the file's access: PAGE_READONLY read, PAGE_READWRITE read and write,
// PAGE_EXECUTE_READ read and execute, PAGE_EXECUTE_READWRITE all three (else
// ERROR_ACCESS_DENIED). Only unnamed mappings of files: a name or INVALID_HANDLE_VALUE fails with
// ERROR_INVALID_PARAMETER / ERROR_INVALID_HANDLE. Null on failure.
HANDLE WINAPI CreateFileMappingW(HANDLE hFile, LPSECURITY_ATTRIBUTES lpFileMappingAttributes, DWORD flProtect,
                                 DWORD dwMaximumSizeHigh, DWORD dwMaximumSizeLow, LPCWSTR lpName);

// A view of the mapping from the offset (a multiple of 65536, else ERROR_MAPPED_ALIGNMENT) over
// dwNumberOfBytesToMap bytes (0: to the mapping's end). FILE_MAP_WRITE and FILE_MAP_ALL_ACCESS
// need a writable mapping (else ERROR_ACCESS_DENIED). Writes through the view reach the file.
// Null on failure.
LPVOID WINAPI MapViewOfFile(HANDLE hFileMappingObject, DWORD dwDesiredAccess, DWORD dwFileOffsetHigh,
                            DWORD dwFileOffsetLow, SIZE_T dwNumberOfBytesToMap);

// Releases a view by its base address; another address: FALSE with ERROR_INVALID_ADDRESS.
BOOL WINAPI UnmapViewOfFile(LPCVOID lpBaseAddress);

// The low 32 bits of the file's size, the high ones in *lpFileSizeHigh when it is given.
// INVALID_FILE_SIZE with the reason in GetLastError on failure (a bad handle:
// ERROR_INVALID_HANDLE).
DWORD WINAPI GetFileSize(HANDLE hFile, LPDWORD lpFileSizeHigh);

// Closes a file or mapping handle; another value: FALSE with ERROR_INVALID_HANDLE.
BOOL WINAPI CloseHandle(HANDLE hObject);

}  // extern "C"

#endif  // _WIN32
