// Where the data-protection secrets live, how they are made once, and the checks every read
// makes (dpapi.md).

#include "platform/openssl/dpapi.secrets.h"

#include <fcntl.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "codec/crypto.der.h"
#include "platform/dpapi.h"
#include "platform/openssl/callfailures.h"
#include "platform/testing.h"

namespace ZT::Platform {

namespace {

// The one documented place of each secret.
constexpr const char* kMachineDirectory = "/var/lib/ztcrypto";
constexpr const char* kUserDirectoryInHome = "/.local/share/ztcrypto";
constexpr const char* kMachineSecretName = "machine.secret";
constexpr const char* kUserSecretName = "user.secret";

constexpr DWORD kRefused = static_cast<DWORD>(NTE_BAD_KEY_STATE);
constexpr DWORD kFailed = static_cast<DWORD>(NTE_FAIL);

// The place of a scope's secret and what is asked of what is found there.
struct SecretPlace {
  std::string directory;
  const char* fileName;
  mode_t directoryMode;    // as created
  mode_t fileMode;         // as created
  mode_t forbiddenBits;    // mode bits that refuse a directory or secret found there
  bool rootMayOwn;         // the machine's: created by an administrator
  bool callerMayOwn;       // the user's; a redirected machine place too
};

// The redirection of the test hook; none in production.
class Redirection {
 public:
  static Redirection& Instance() {
    static Redirection redirection;
    return redirection;
  }
  void Set(std::optional<Testing::ProtectionSecretLocations> locations) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_locations = std::move(locations);
  }
  std::optional<Testing::ProtectionSecretLocations> Get() {
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_locations;
  }

 private:
  std::mutex m_mutex;
  std::optional<Testing::ProtectionSecretLocations> m_locations;
};

// An open file descriptor, closed when it goes.
class Descriptor {
 public:
  explicit Descriptor(int fd = -1) : m_fd(fd) {}
  ~Descriptor() {
    if (m_fd >= 0) close(m_fd);
  }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  Descriptor& operator=(int fd) {
    if (m_fd >= 0) close(m_fd);
    m_fd = fd;
    return *this;
  }
  int get() const { return m_fd; }

 private:
  int m_fd;
};

// The code for GetLastError of a failed file-system call.
DWORD CodeOf(int error) {
  switch (error) {
    case ENOENT: return ERROR_FILE_NOT_FOUND;
    case EACCES:
    case EPERM:
    case EROFS: return ERROR_ACCESS_DENIED;
    case ELOOP:    // a symbolic link where the directory or the secret should be
    case ENOTDIR:  // something else than a directory in its place
      return kRefused;
    case ENOMEM: return ERROR_NOT_ENOUGH_MEMORY;
    default: return kFailed;
  }
}

// The home directory of the effective user, from the user database (not from the environment).
bool HomeDirectory(std::string* home) {
  std::vector<char> buffer(16384);
  passwd entry{};
  passwd* found = nullptr;
  int error = 0;
  while ((error = getpwuid_r(geteuid(), &entry, buffer.data(), buffer.size(), &found)) == ERANGE)
    buffer.resize(buffer.size() * 2);
  if (error != 0 || found == nullptr || entry.pw_dir == nullptr || entry.pw_dir[0] != '/') return false;
  *home = entry.pw_dir;
  return true;
}

DWORD PlaceOf(ProtectionScope scope, SecretPlace* place) {
  const auto redirected = Redirection::Instance().Get();
  if (scope == ProtectionScope::Machine) {
    *place = {redirected ? redirected->machineDirectory : kMachineDirectory, kMachineSecretName, 0755, 0644, 022,
              true, redirected.has_value()};
    return ERROR_SUCCESS;
  }
  std::string directory;
  if (redirected) {
    directory = redirected->userDirectory;
  } else {
    if (!HomeDirectory(&directory)) return ERROR_FILE_NOT_FOUND;
    directory += kUserDirectoryInHome;
  }
  *place = {std::move(directory), kUserSecretName, 0700, 0600, 077, false, true};
  return ERROR_SUCCESS;
}

bool OwnerAccepted(const SecretPlace& place, uid_t owner) {
  return (place.rootMayOwn && owner == 0) || (place.callerMayOwn && owner == geteuid());
}

// The checks of every directory and secret found in a place.
DWORD CheckFound(const SecretPlace& place, int fd, bool directory) {
  struct stat found {};
  if (fstat(fd, &found) != 0) return CodeOf(errno);
  const bool rightType = directory ? S_ISDIR(found.st_mode) : S_ISREG(found.st_mode);
  const bool rightSize = directory || found.st_size == static_cast<off_t>(kProtectionSecretSize);
  if (!rightType || !rightSize || !OwnerAccepted(place, found.st_uid) || (found.st_mode & place.forbiddenBits) != 0)
    return kRefused;
  return ERROR_SUCCESS;
}

// mkdir -p with `mode` for each directory made. 0 when the last one was made here (`*made`) or
// was there already, else the error of its mkdir.
int MakeDirectories(const std::string& path, mode_t mode, bool* made) {
  for (std::size_t slash = path.find('/', 1); slash != std::string::npos; slash = path.find('/', slash + 1))
    mkdir(path.substr(0, slash).c_str(), mode);
  *made = mkdir(path.c_str(), mode) == 0;
  return *made || errno == EEXIST ? 0 : errno;
}

DWORD OpenDirectory(const SecretPlace& place, SecretUse use, Descriptor* directory) {
  constexpr int kFlags = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;
  *directory = open(place.directory.c_str(), kFlags);
  if (directory->get() < 0 && errno == ENOENT && use == SecretUse::Create) {
    bool made = false;
    if (const int error = MakeDirectories(place.directory, place.directoryMode, &made); error != 0)
      return CodeOf(error);
    *directory = open(place.directory.c_str(), kFlags);
    // Exactly the mode, whatever the umask took away.
    if (made && directory->get() >= 0) fchmod(directory->get(), place.directoryMode);
  }
  if (directory->get() < 0) return CodeOf(errno);
  return CheckFound(place, directory->get(), true);
}

bool ReadAll(int fd, unsigned char* data, std::size_t size) {
  while (size > 0) {
    const ssize_t got = read(fd, data, size);
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) return false;
    data += got;
    size -= static_cast<std::size_t>(got);
  }
  return true;
}

bool WriteAll(int fd, const unsigned char* data, std::size_t size) {
  while (size > 0) {
    const ssize_t put = write(fd, data, size);
    if (put < 0 && errno == EINTR) continue;
    if (put <= 0) return false;
    data += put;
    size -= static_cast<std::size_t>(put);
  }
  return true;
}

DWORD ReadSecret(const SecretPlace& place, int directory, SecretBytes* secret) {
  // Non-blocking, so that a FIFO put in the secret's place is refused instead of waited on.
  const Descriptor file(openat(directory, place.fileName, O_RDONLY | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK));
  if (file.get() < 0) return CodeOf(errno);
  if (const DWORD found = CheckFound(place, file.get(), false); found != ERROR_SUCCESS) return found;
  SecretBytes bytes(kProtectionSecretSize);
  if (!ReadAll(file.get(), bytes.data(), bytes.size())) return kFailed;
  *secret = std::move(bytes);
  return ERROR_SUCCESS;
}

// A name beside the secret for the file it is written to before it takes the secret's name.
bool TemporaryName(const SecretPlace& place, std::string* name) {
  unsigned char random[8];
  if (!RandomBytes(random, sizeof random, nullptr, 0)) return false;
  static constexpr char kDigits[] = "0123456789abcdef";
  *name = std::string(".") + place.fileName + ".";
  for (const unsigned char byte : random) *name += {kDigits[byte >> 4], kDigits[byte & 15]};
  return true;
}

// Writes a new random secret beside its place and links it there: the link fails when a secret
// is already there (another process was first), so that every process ends up reading one and
// the same secret, and none sees a file half written. `*linked` tells whether this one won.
DWORD CreateSecret(const SecretPlace& place, int directory, bool* linked) {
  SecretBytes secret(kProtectionSecretSize);
  std::string temporary;
  if (!RandomBytes(secret.data(), secret.size(), nullptr, 0) || !TemporaryName(place, &temporary)) return kFailed;
  {
    const Descriptor file(
        openat(directory, temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, place.fileMode));
    if (file.get() < 0) return CodeOf(errno);
    const bool written = fchmod(file.get(), place.fileMode) == 0 && WriteAll(file.get(), secret.data(), secret.size()) &&
                         fsync(file.get()) == 0;
    if (!written) {
      const int error = errno;
      unlinkat(directory, temporary.c_str(), 0);
      return CodeOf(error);
    }
  }
  const bool won = linkat(directory, temporary.c_str(), directory, place.fileName, 0) == 0;
  const int error = errno;
  unlinkat(directory, temporary.c_str(), 0);
  if (!won && error != EEXIST) return CodeOf(error);
  fsync(directory);
  *linked = won;
  return ERROR_SUCCESS;
}

}  // namespace

DWORD LoadProtectionSecret(ProtectionScope scope, SecretUse use, SecretBytes* secret, bool* created) {
  if (created != nullptr) *created = false;
  SecretPlace place;
  if (const DWORD code = PlaceOf(scope, &place); code != ERROR_SUCCESS) return code;
  Descriptor directory;
  if (const DWORD code = OpenDirectory(place, use, &directory); code != ERROR_SUCCESS) return code;
  DWORD code = ReadSecret(place, directory.get(), secret);
  if (code != ERROR_FILE_NOT_FOUND || use != SecretUse::Create) return code;
  bool linked = false;
  if (const DWORD made = CreateSecret(place, directory.get(), &linked); made != ERROR_SUCCESS) return made;
  if (created != nullptr) *created = linked;
  return ReadSecret(place, directory.get(), secret);
}

std::wstring MachineProtectionSecretPath() {
  SecretPlace place;
  PlaceOf(ProtectionScope::Machine, &place);
  const std::string path = place.directory + "/" + place.fileName;
  const auto* bytes = reinterpret_cast<const std::uint8_t*>(path.data());
  Framework::WString text;
  // Paths are bytes; the usual ones are UTF-8, any other is shown byte by byte.
  if (!Framework::Der::DecodeString(Framework::Der::kUtf8StringType, {bytes, path.size()}, &text))
    return std::wstring(path.begin(), path.end());
  return std::wstring(text.begin(), text.end());
}

BOOL CheckMachineProtectionSecret() {
  ZT_FAIL_POINT_LAST_ERROR(FALSE);
  SecretBytes secret;
  const DWORD code = LoadProtectionSecret(ProtectionScope::Machine, SecretUse::Read, &secret);
  SetLastError(code);
  return code == ERROR_SUCCESS;
}

BOOL CreateMachineProtectionSecret() {
  ZT_FAIL_POINT_LAST_ERROR(FALSE);
  SecretBytes secret;
  bool created = false;
  const DWORD code = LoadProtectionSecret(ProtectionScope::Machine, SecretUse::Create, &secret, &created);
  SetLastError(code == ERROR_SUCCESS && !created ? ERROR_ALREADY_EXISTS : code);
  return code == ERROR_SUCCESS;
}

}  // namespace ZT::Platform

namespace ZT::Platform::Testing {

void RedirectProtectionSecrets(const ProtectionSecretLocations& locations) { Redirection::Instance().Set(locations); }

void RestoreProtectionSecrets() { Redirection::Instance().Set(std::nullopt); }

}  // namespace ZT::Platform::Testing
