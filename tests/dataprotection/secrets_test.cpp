// The secrets of the data-protection service: made once and reused, refused when anything about
// them is wrong, one secret however many processes make it at once, and a second user of the
// system kept out by the file system too.
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <vector>

#include "dataprotection/dpapi_test_util.h"

namespace {

using namespace dpapitest;

constexpr DWORD kRefused = static_cast<DWORD>(NTE_BAD_KEY_STATE);

mode_t ModeOf(const std::string& path) {
  struct stat found {};
  EXPECT_EQ(lstat(path.c_str(), &found), 0) << path;
  return found.st_mode & 07777;
}

// Sets the umask for as long as it lives.
class Umask {
 public:
  explicit Umask(mode_t mask) : m_old(umask(mask)) {}
  ~Umask() { umask(m_old); }

 private:
  mode_t m_old;
};

class DataProtectionSecrets : public ::testing::Test {
 protected:
  SecretDirectories secrets;
  const ByteArray message = Text("message");

  // Protecting and unprotecting both give `code` (a blob made while the secret was fine is
  // opened), then, once `repair` has run, both work again.
  void ExpectRefusedUntilRepaired(DWORD code, const ByteArray& blob, const std::function<void()>& repair) {
    EXPECT_EQ(Protect(message).code, code);
    EXPECT_EQ(Unprotect(blob).code, code);
    repair();
    EXPECT_TRUE(Protect(message).ok);
    EXPECT_EQ(Unprotect(blob).bytes, message);
  }
};

TEST_F(DataProtectionSecrets, UserSecretIsMadeOnceWithPrivateModes) {
  // Nothing is made by unprotecting, and nothing opens without a secret.
  EXPECT_EQ(Unprotect(ByteArray(100, 0)).code, ERROR_INVALID_DATA);
  EXPECT_FALSE(std::filesystem::exists(secrets.User()));

  const Umask permissive(0);
  const Outcome first = Protect(message);
  ASSERT_TRUE(first.ok);
  EXPECT_EQ(ModeOf(secrets.User()), 0700u);
  EXPECT_EQ(ModeOf(secrets.UserSecret()), 0600u);
  const ByteArray secret = FileBytes(secrets.UserSecret());
  EXPECT_EQ(secret.size(), 32u);
  ASSERT_TRUE(Protect(message).ok);
  EXPECT_EQ(FileBytes(secrets.UserSecret()), secret);
  // Only the secret is left in the directory: no file it was written to first.
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(secrets.User()), {}), 1);
}

TEST_F(DataProtectionSecrets, UserSecretIsRefusedWhenOthersCouldReachIt) {
  const Outcome sealed = Protect(message);
  ASSERT_TRUE(sealed.ok);
  const std::string file = secrets.UserSecret(), directory = secrets.User();
  for (const mode_t mode : {0640, 0604, 0620, 0602}) {
    chmod(file.c_str(), mode);
    ExpectRefusedUntilRepaired(kRefused, sealed.bytes, [&] { chmod(file.c_str(), 0600); });
  }
  for (const mode_t mode : {0750, 0701}) {
    chmod(directory.c_str(), mode);
    ExpectRefusedUntilRepaired(kRefused, sealed.bytes, [&] { chmod(directory.c_str(), 0700); });
  }
  // In the secret's place: a link to it, a FIFO (refused, not waited on), a file one byte short
  // or one byte long. Each time the good secret is put back.
  const ByteArray secret = FileBytes(file);
  const std::string kept = secrets.Under("kept.secret");
  const auto writePrivate = [&](const ByteArray& bytes) {
    std::ofstream(file, std::ios::binary).write(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    chmod(file.c_str(), 0600);
  };
  const std::function<void()> impostors[] = {
      [&] { EXPECT_EQ(symlink(kept.c_str(), file.c_str()), 0); },
      [&] { EXPECT_EQ(mkfifo(file.c_str(), 0600), 0); },
      [&] { writePrivate(ByteArray(secret.begin(), secret.end() - 1)); },
      [&] {
        ByteArray longer = secret;
        longer.push_back(0);
        writePrivate(longer);
      },
  };
  for (const auto& putImpostor : impostors) {
    std::filesystem::rename(file, kept);
    putImpostor();
    ExpectRefusedUntilRepaired(kRefused, sealed.bytes, [&] { std::filesystem::rename(kept, file); });
  }
}

TEST_F(DataProtectionSecrets, MachineSecretIsMadeOnlyByTheAdministratorsCall) {
  EXPECT_EQ(Protect(message, CRYPTPROTECT_LOCAL_MACHINE).code, static_cast<DWORD>(ERROR_FILE_NOT_FOUND));
  EXPECT_FALSE(ZT::Platform::CheckMachineProtectionSecret());
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_FILE_NOT_FOUND));
  EXPECT_FALSE(std::filesystem::exists(secrets.Machine()));

  {
    // Readable by every user of the machine, whatever the administrator's umask.
    const Umask strict(077);
    ASSERT_TRUE(ZT::Platform::CreateMachineProtectionSecret());
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_SUCCESS));
  }
  EXPECT_EQ(ModeOf(secrets.Machine()), 0755u);
  EXPECT_EQ(ModeOf(secrets.MachineSecret()), 0644u);
  const ByteArray secret = FileBytes(secrets.MachineSecret());
  EXPECT_TRUE(ZT::Platform::CheckMachineProtectionSecret());
  ASSERT_TRUE(ZT::Platform::CreateMachineProtectionSecret());
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_ALREADY_EXISTS));
  EXPECT_EQ(FileBytes(secrets.MachineSecret()), secret);

  const Outcome sealed = Protect(message, CRYPTPROTECT_LOCAL_MACHINE);
  ASSERT_TRUE(sealed.ok);
  // One that others may write is refused, and not replaced either.
  chmod(secrets.MachineSecret().c_str(), 0664);
  EXPECT_EQ(Unprotect(sealed.bytes).code, kRefused);
  EXPECT_FALSE(ZT::Platform::CreateMachineProtectionSecret());
  EXPECT_EQ(GetLastError(), kRefused);
  EXPECT_EQ(FileBytes(secrets.MachineSecret()), secret);
  chmod(secrets.MachineSecret().c_str(), 0644);
  EXPECT_EQ(Unprotect(sealed.bytes).bytes, message);
}

// Runs `child` in a new process and returns its exit status (-1 when it did not exit).
int InChild(const std::function<int()>& child) {
  const pid_t pid = fork();
  if (pid == 0) _exit(child());
  int status = 0;
  waitpid(pid, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

bool WriteAll(int fd, const ByteArray& bytes) {
  return write(fd, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size());
}

ByteArray ReadAll(int fd) {
  ByteArray bytes;
  unsigned char buffer[4096];
  for (ssize_t n; (n = read(fd, buffer, sizeof buffer)) > 0;) bytes.insert(bytes.end(), buffer, buffer + n);
  return bytes;
}

TEST_F(DataProtectionSecrets, ProcessesStartingTogetherShareOneSecret) {
  constexpr int kRounds = 4, kProcesses = 8;
  for (int round = 0; round < kRounds; ++round) {
    const std::string directory = secrets.Under("race" + std::to_string(round));
    secrets.Redirect(directory, secrets.Machine());
    int start[2];
    ASSERT_EQ(pipe(start), 0);
    std::vector<std::pair<pid_t, int>> children;
    for (int i = 0; i < kProcesses; ++i) {
      int result[2];
      ASSERT_EQ(pipe(result), 0);
      const pid_t pid = fork();
      if (pid == 0) {
        close(start[1]);
        char go;
        // Returns once the parent closes its end, so that all start at once.
        if (read(start[0], &go, 1) < 0) _exit(3);
        const Outcome sealed = Protect(Text("process " + std::to_string(i)));
        _exit(sealed.ok && WriteAll(result[1], sealed.bytes) ? 0 : 1);
      }
      close(result[1]);
      children.emplace_back(pid, result[0]);
    }
    close(start[0]);
    close(start[1]);
    for (int i = 0; i < kProcesses; ++i) {
      const ByteArray blob = ReadAll(children[i].second);
      close(children[i].second);
      int status = 0;
      waitpid(children[i].first, &status, 0);
      ASSERT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "process " << i;
      EXPECT_EQ(Unprotect(blob).bytes, Text("process " + std::to_string(i))) << "round " << round;
    }
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(directory), {}), 1);
  }
}

// Another user of the system (uid 65534) opens only the machine's blobs, and the secrets are
// refused once they belong to another owner.
TEST_F(DataProtectionSecrets, AnotherUserOpensOnlyTheMachinesBlobsAndAnotherOwnersSecretsAreRefused) {
  if (geteuid() != 0) GTEST_SKIP() << "needs root, to run a process as another user and give the secrets another owner";
  secrets.CreateMachineSecret();
  const Outcome user = Protect(message), machine = Protect(message, CRYPTPROTECT_LOCAL_MACHINE);
  ASSERT_TRUE(user.ok && machine.ok);
  const std::string otherUser = secrets.Under("nobody");
  ASSERT_EQ(mkdir(otherUser.c_str(), 0700), 0);
  ASSERT_EQ(chown(otherUser.c_str(), 65534, 65534), 0);

  // Each check is one child; it exits 0 when the outcome is the one expected.
  const auto asNobody = [&](const std::string& userDirectory, const std::function<bool()>& check) {
    return InChild([&] {
      if (setgid(65534) != 0 || setuid(65534) != 0) return 2;
      secrets.Redirect(userDirectory, secrets.Machine());
      return check() ? 0 : 1;
    });
  };
  EXPECT_EQ(asNobody(otherUser, [&] { return Unprotect(machine.bytes).bytes == message; }), 0);
  EXPECT_EQ(asNobody(otherUser, [&] { return Protect(message).ok && Unprotect(user.bytes).code == ERROR_INVALID_DATA; }),
            0);
  // Pointed at root's own directory, the file system itself refuses.
  EXPECT_EQ(asNobody(secrets.User(), [&] { return Unprotect(user.bytes).code == ERROR_ACCESS_DENIED; }), 0);

  // Secrets that belong to another owner are refused.
  for (const std::string& path : {secrets.UserSecret(), secrets.User()}) {
    ASSERT_EQ(chown(path.c_str(), 65534, 65534), 0);
    ExpectRefusedUntilRepaired(kRefused, user.bytes, [&] { EXPECT_EQ(chown(path.c_str(), 0, 0), 0); });
  }
  ASSERT_EQ(chown(secrets.MachineSecret().c_str(), 65534, 65534), 0);
  EXPECT_EQ(Unprotect(machine.bytes).code, kRefused);
  EXPECT_FALSE(ZT::Platform::CheckMachineProtectionSecret());
  EXPECT_EQ(GetLastError(), kRefused);
}

}  // namespace
