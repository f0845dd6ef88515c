// Files and file mapping on POSIX descriptors and mmap. File and mapping handles are handles of
// the seam's table; views are kept by their base address, so that UnmapViewOfFile knows their
// length and refuses other addresses.

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>

#include "codec/crypto.der.h"
#include "platform/fileapi.h"
#include "platform/openssl/callfailures.h"
#include "platform/openssl/handles.h"

using namespace ZT::Platform;

namespace {

constexpr std::uint64_t kAllocationGranularity = 65536;

// The objects own their descriptors (and are never copied).
struct FileObject {
  int fd;
  bool read, write, execute;
  ~FileObject() { ::close(fd); }
};

struct MappingObject {
  int fd;  // a descriptor of its own: the mapping outlives the file handle
  std::uint64_t size;
  bool writable;
  ~MappingObject() { ::close(fd); }
};

// The live views, by base address, with their lengths.
class Views {
 public:
  static Views& Instance() {
    static Views views;
    return views;
  }
  void Add(void* base, std::size_t length) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_views[base] = length;
  }
  // The length of the view at `base`, which is forgotten; 0 when there is none.
  std::size_t Take(const void* base) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    const auto found = m_views.find(base);
    if (found == m_views.end()) return 0;
    const std::size_t length = found->second;
    m_views.erase(found);
    return length;
  }
  std::size_t Count() {
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_views.size();
  }

 private:
  std::mutex m_mutex;
  std::map<const void*, std::size_t> m_views;
};

template <class Result>
Result Fail(DWORD error, Result failed) {
  SetLastError(error);
  return failed;
}

// The system's code for an errno of the file calls. A missing file is told from a missing
// directory on its way by whether the directory that would hold it exists.
DWORD ErrorOf(int error, const std::string& path = std::string()) {
  switch (error) {
    case ENOENT: {
      const std::size_t slash = path.find_last_of('/');
      struct stat parent;
      if (slash == std::string::npos || slash == 0 || ::stat(path.substr(0, slash).c_str(), &parent) == 0)
        return ERROR_FILE_NOT_FOUND;
      return ERROR_PATH_NOT_FOUND;
    }
    case ENOTDIR:
      return ERROR_PATH_NOT_FOUND;
    case EACCES:
    case EPERM:
    case EISDIR:
      return ERROR_ACCESS_DENIED;
    case EEXIST:
      return ERROR_FILE_EXISTS;
    case ENAMETOOLONG:
      return ERROR_FILENAME_EXCED_RANGE;
    case EMFILE:
    case ENFILE:
      return ERROR_TOO_MANY_OPEN_FILES;
    case ENOSPC:
      return ERROR_DISK_FULL;
    case EROFS:
      return ERROR_WRITE_PROTECT;
    case ENOMEM:
      return ERROR_NOT_ENOUGH_MEMORY;
    case EINVAL:
      return ERROR_INVALID_PARAMETER;
    default:
      return ERROR_ACCESS_DENIED;
  }
}

// The file system's name of a wide name: UTF-8. False when the name holds no text.
bool FileSystemName(LPCWSTR name, std::string* out) {
  ZT::Framework::ByteArray utf8;
  if (name == nullptr || *name == L'\0' ||
      !ZT::Framework::Der::EncodeString(ZT::Framework::Der::kUtf8StringType, ZT::Framework::WString(name), &utf8))
    return false;
  out->assign(utf8.begin(), utf8.end());
  return true;
}

// open(2) flags for an access and a disposition; false for a combination the platform refuses.
bool OpenFlags(DWORD access, DWORD disposition, int* flags) {
  const bool read = (access & (GENERIC_READ | GENERIC_ALL)) != 0;
  const bool write = (access & (GENERIC_WRITE | GENERIC_ALL)) != 0;
  *flags = O_CLOEXEC | (read && write ? O_RDWR : write ? O_WRONLY : O_RDONLY);
  switch (disposition) {
    case CREATE_NEW:
      *flags |= O_CREAT | O_EXCL;
      return true;
    case CREATE_ALWAYS:
      *flags |= O_CREAT | O_TRUNC;
      return true;
    case OPEN_EXISTING:
      return true;
    case OPEN_ALWAYS:
      *flags |= O_CREAT;
      return true;
    case TRUNCATE_EXISTING:
      *flags |= O_TRUNC;
      return write;
    default:
      return false;
  }
}

template <class Object>
HANDLE Publish(HandleKind kind, std::unique_ptr<Object>& object) {
  const auto handle = HandleTable::Instance().Insert(kind, object.get());
  object.release();
  return reinterpret_cast<HANDLE>(handle);
}

bool ProtectionAllowed(const FileObject& file, DWORD protect, bool* writable) {
  switch (protect) {
    case PAGE_READONLY:
      *writable = false;
      return file.read;
    case PAGE_READWRITE:
      *writable = true;
      return file.read && file.write;
    case PAGE_EXECUTE_READ:
      *writable = false;
      return file.read && file.execute;
    case PAGE_EXECUTE_READWRITE:
      *writable = true;
      return file.read && file.write && file.execute;
    default:
      return false;
  }
}

}  // namespace

namespace ZT::Platform {

std::size_t LiveViewCount() { return Views::Instance().Count(); }

}  // namespace ZT::Platform

extern "C" {

HANDLE WINAPI CreateFileW(LPCWSTR lpFileName, DWORD dwDesiredAccess, DWORD, LPSECURITY_ATTRIBUTES lpSecurityAttributes,
                          DWORD dwCreationDisposition, DWORD, HANDLE hTemplateFile) {
  ZT_FAIL_POINT_LAST_ERROR(INVALID_HANDLE_VALUE);
  if (lpSecurityAttributes != nullptr || hTemplateFile != nullptr) return Fail(ERROR_INVALID_PARAMETER, INVALID_HANDLE_VALUE);
  int flags = 0;
  if (!OpenFlags(dwDesiredAccess, dwCreationDisposition, &flags)) return Fail(ERROR_INVALID_PARAMETER, INVALID_HANDLE_VALUE);
  try {
    std::string path;
    if (!FileSystemName(lpFileName, &path)) return Fail(ERROR_INVALID_NAME, INVALID_HANDLE_VALUE);
    struct stat before;
    const bool existed = ::stat(path.c_str(), &before) == 0;
    // Without blocking: a FIFO would wait here for a writer; it is refused below like any file
    // that is not a regular one.
    const int fd = ::open(path.c_str(), flags | O_NONBLOCK, 0666);
    if (fd < 0) return Fail(ErrorOf(errno, path), INVALID_HANDLE_VALUE);
    std::unique_ptr<FileObject> file(new FileObject{fd, (flags & O_ACCMODE) != O_WRONLY, (flags & O_ACCMODE) != O_RDONLY,
                                                    (dwDesiredAccess & (GENERIC_EXECUTE | GENERIC_ALL)) != 0});
    struct stat opened;
    if (::fstat(fd, &opened) != 0 || !S_ISREG(opened.st_mode)) return Fail(ERROR_ACCESS_DENIED, INVALID_HANDLE_VALUE);
    ::fcntl(fd, F_SETFL, ::fcntl(fd, F_GETFL) & ~O_NONBLOCK);
    HANDLE handle = Publish(HandleKind::File, file);
    const bool mayCreate = dwCreationDisposition == CREATE_ALWAYS || dwCreationDisposition == OPEN_ALWAYS;
    SetLastError(mayCreate && existed ? ERROR_ALREADY_EXISTS : ERROR_SUCCESS);
    return handle;
  } catch (const std::bad_alloc&) {
    return Fail(ERROR_NOT_ENOUGH_MEMORY, INVALID_HANDLE_VALUE);
  }
}

HANDLE WINAPI CreateFileMappingW(HANDLE hFile, LPSECURITY_ATTRIBUTES lpFileMappingAttributes, DWORD flProtect,
                                 DWORD dwMaximumSizeHigh, DWORD dwMaximumSizeLow, LPCWSTR lpName) {
  ZT_FAIL_POINT_LAST_ERROR(nullptr);
  const FileObject* file = FindHandle<FileObject>(hFile, HandleKind::File);
  if (file == nullptr) return Fail<HANDLE>(ERROR_INVALID_HANDLE, nullptr);
  if (lpFileMappingAttributes != nullptr || lpName != nullptr) return Fail<HANDLE>(ERROR_INVALID_PARAMETER, nullptr);
  bool writable = false;
  if (!ProtectionAllowed(*file, flProtect, &writable)) return Fail<HANDLE>(ERROR_ACCESS_DENIED, nullptr);
  struct stat status;
  if (::fstat(file->fd, &status) != 0) return Fail<HANDLE>(ErrorOf(errno), nullptr);
  const std::uint64_t fileSize = static_cast<std::uint64_t>(status.st_size);
  std::uint64_t size = std::uint64_t{dwMaximumSizeHigh} << 32 | dwMaximumSizeLow;
  if (size == 0) size = fileSize;
  if (size == 0) return Fail<HANDLE>(ERROR_FILE_INVALID, nullptr);
  if (size > fileSize) {
    if (!writable) return Fail<HANDLE>(ERROR_ACCESS_DENIED, nullptr);
    if (::ftruncate(file->fd, static_cast<off_t>(size)) != 0) return Fail<HANDLE>(ErrorOf(errno), nullptr);
  }
  const int fd = ::fcntl(file->fd, F_DUPFD_CLOEXEC, 0);
  if (fd < 0) return Fail<HANDLE>(ErrorOf(errno), nullptr);
  try {
    std::unique_ptr<MappingObject> mapping(new MappingObject{fd, size, writable});
    return Publish(HandleKind::FileMapping, mapping);
  } catch (const std::bad_alloc&) {
    ::close(fd);
    return Fail<HANDLE>(ERROR_NOT_ENOUGH_MEMORY, nullptr);
  }
}

LPVOID WINAPI MapViewOfFile(HANDLE hFileMappingObject, DWORD dwDesiredAccess, DWORD dwFileOffsetHigh,
                            DWORD dwFileOffsetLow, SIZE_T dwNumberOfBytesToMap) {
  ZT_FAIL_POINT_LAST_ERROR(nullptr);
  const MappingObject* mapping = FindHandle<MappingObject>(hFileMappingObject, HandleKind::FileMapping);
  if (mapping == nullptr) return Fail<LPVOID>(ERROR_INVALID_HANDLE, nullptr);
  const bool write = (dwDesiredAccess & FILE_MAP_WRITE) != 0;
  if ((dwDesiredAccess & (FILE_MAP_READ | FILE_MAP_WRITE | FILE_MAP_COPY)) == 0 || (write && !mapping->writable))
    return Fail<LPVOID>(ERROR_ACCESS_DENIED, nullptr);
  const std::uint64_t offset = std::uint64_t{dwFileOffsetHigh} << 32 | dwFileOffsetLow;
  if (offset % kAllocationGranularity != 0) return Fail<LPVOID>(ERROR_MAPPED_ALIGNMENT, nullptr);
  if (offset >= mapping->size || dwNumberOfBytesToMap > mapping->size - offset)
    return Fail<LPVOID>(ERROR_ACCESS_DENIED, nullptr);
  const std::size_t length = dwNumberOfBytesToMap != 0 ? dwNumberOfBytesToMap : mapping->size - offset;
  const int protection = PROT_READ | (write ? PROT_WRITE : 0);
  void* base = ::mmap(nullptr, length, protection, MAP_SHARED, mapping->fd, static_cast<off_t>(offset));
  if (base == MAP_FAILED) return Fail<LPVOID>(ErrorOf(errno), nullptr);
  try {
    Views::Instance().Add(base, length);
  } catch (const std::bad_alloc&) {
    ::munmap(base, length);
    return Fail<LPVOID>(ERROR_NOT_ENOUGH_MEMORY, nullptr);
  }
  return base;
}

BOOL WINAPI UnmapViewOfFile(LPCVOID lpBaseAddress) {
  const std::size_t length = Views::Instance().Take(lpBaseAddress);
  if (length == 0) return Fail(ERROR_INVALID_ADDRESS, FALSE);
  ::munmap(const_cast<void*>(lpBaseAddress), length);
  return TRUE;
}

DWORD WINAPI GetFileSize(HANDLE hFile, LPDWORD lpFileSizeHigh) {
  ZT_FAIL_POINT_LAST_ERROR(INVALID_FILE_SIZE);
  const FileObject* file = FindHandle<FileObject>(hFile, HandleKind::File);
  if (file == nullptr) return Fail(ERROR_INVALID_HANDLE, INVALID_FILE_SIZE);
  struct stat status;
  if (::fstat(file->fd, &status) != 0) return Fail(ErrorOf(errno), INVALID_FILE_SIZE);
  const auto size = static_cast<std::uint64_t>(status.st_size);
  if (lpFileSizeHigh != nullptr) *lpFileSizeHigh = static_cast<DWORD>(size >> 32);
  return static_cast<DWORD>(size);
}

BOOL WINAPI CloseHandle(HANDLE hObject) {
  const auto handle = reinterpret_cast<std::uintptr_t>(hObject);
  if (void* file = HandleTable::Instance().Remove(handle, HandleKind::File)) {
    delete static_cast<FileObject*>(file);
    return TRUE;
  }
  if (void* mapping = HandleTable::Instance().Remove(handle, HandleKind::FileMapping)) {
    delete static_cast<MappingObject*>(mapping);
    return TRUE;
  }
  return Fail(ERROR_INVALID_HANDLE, FALSE);
}

}  // extern "C"
