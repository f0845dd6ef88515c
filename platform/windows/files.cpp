// Files and file mapping as the system's kernel32 answers them, each behind a wrapper with its fail
// point (platform/testing.h). The files, mappings and views handed out are counted among the live
// handles; CloseHandle uncounts only those, since it closes any of the process's handles.

#include <windows.h>

#include "platform/windows/seam.h"

namespace {

using ZT::Platform::Windows::FailsWithLastError;
using ZT::Platform::Windows::Track;
using ZT::Platform::Windows::Untrack;

}  // namespace

extern "C" {

HANDLE WINAPI ZT_Seam_CreateFileW(LPCWSTR lpFileName, DWORD dwDesiredAccess, DWORD dwShareMode,
                                  LPSECURITY_ATTRIBUTES lpSecurityAttributes, DWORD dwCreationDisposition,
                                  DWORD dwFlagsAndAttributes, HANDLE hTemplateFile) {
  if (FailsWithLastError("CreateFileW")) return INVALID_HANDLE_VALUE;
  const HANDLE file = CreateFileW(lpFileName, dwDesiredAccess, dwShareMode, lpSecurityAttributes,
                                  dwCreationDisposition, dwFlagsAndAttributes, hTemplateFile);
  if (file != INVALID_HANDLE_VALUE) Track(file);
  return file;
}

HANDLE WINAPI ZT_Seam_CreateFileMappingW(HANDLE hFile, LPSECURITY_ATTRIBUTES lpFileMappingAttributes, DWORD flProtect,
                                         DWORD dwMaximumSizeHigh, DWORD dwMaximumSizeLow, LPCWSTR lpName) {
  if (FailsWithLastError("CreateFileMappingW")) return nullptr;
  const HANDLE mapping =
      CreateFileMappingW(hFile, lpFileMappingAttributes, flProtect, dwMaximumSizeHigh, dwMaximumSizeLow, lpName);
  Track(mapping);
  return mapping;
}

LPVOID WINAPI ZT_Seam_MapViewOfFile(HANDLE hFileMappingObject, DWORD dwDesiredAccess, DWORD dwFileOffsetHigh,
                                    DWORD dwFileOffsetLow, SIZE_T dwNumberOfBytesToMap) {
  if (FailsWithLastError("MapViewOfFile")) return nullptr;
  const LPVOID view =
      MapViewOfFile(hFileMappingObject, dwDesiredAccess, dwFileOffsetHigh, dwFileOffsetLow, dwNumberOfBytesToMap);
  Track(view);
  return view;
}

BOOL WINAPI ZT_Seam_UnmapViewOfFile(LPCVOID lpBaseAddress) {
  const BOOL unmapped = UnmapViewOfFile(lpBaseAddress);
  if (unmapped) Untrack(lpBaseAddress);
  return unmapped;
}

DWORD WINAPI ZT_Seam_GetFileSize(HANDLE hFile, LPDWORD lpFileSizeHigh) {
  if (FailsWithLastError("GetFileSize")) return INVALID_FILE_SIZE;
  return GetFileSize(hFile, lpFileSizeHigh);
}

BOOL WINAPI ZT_Seam_CloseHandle(HANDLE hObject) {
  const BOOL closed = CloseHandle(hObject);
  if (closed) Untrack(hObject);
  return closed;
}

}  // extern "C"
