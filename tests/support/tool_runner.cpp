#include "support/tool_runner.h"

#include <cstdlib>
#include <stdexcept>
#include <string>

#if defined(_WIN32)
#include <windows.h>
#else
#include <fcntl.h>
#include <grp.h>
#include <sys/wait.h>
#include <unistd.h>
#endif

namespace zttest {

namespace {

const char* ToolPath() {
  const char* tool = std::getenv("ZT_TOOL");
  return tool != nullptr ? tool : ZT_TOOL_PATH;
}

}  // namespace

#if defined(_WIN32)

namespace {

// `argument` as the C run time splits a command line: in quotes, a quote escaped, and the
// backslashes before a quote (or before the closing one) doubled.
std::string Quoted(const std::string& argument) {
  std::string quoted = "\"";
  std::size_t backslashes = 0;
  for (char c : argument) {
    if (c == '\\') {
      ++backslashes;
      continue;
    }
    quoted.append(c == '"' ? 2 * backslashes + 1 : backslashes, '\\');
    backslashes = 0;
    quoted += c;
  }
  quoted.append(2 * backslashes, '\\');
  return quoted + "\"";
}

// A temporary file holding `content`, deleted when closed, inheritable, at offset 0.
HANDLE TemporaryFileWith(const std::string& content) {
  char directory[MAX_PATH + 1], path[MAX_PATH + 1];
  if (GetTempPathA(sizeof directory, directory) == 0 || GetTempFileNameA(directory, "zt", 0, path) == 0)
    throw std::runtime_error("GetTempFileName failed");
  SECURITY_ATTRIBUTES inherit{sizeof(inherit), nullptr, TRUE};
  const HANDLE file = CreateFileA(path, GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                                  &inherit, CREATE_ALWAYS, FILE_ATTRIBUTE_TEMPORARY | FILE_FLAG_DELETE_ON_CLOSE, nullptr);
  if (file == INVALID_HANDLE_VALUE) throw std::runtime_error("CreateFile failed");
  DWORD written = 0;
  if (!content.empty() && (!WriteFile(file, content.data(), static_cast<DWORD>(content.size()), &written, nullptr) ||
                           written != content.size()))
    throw std::runtime_error("WriteFile failed");
  SetFilePointer(file, 0, nullptr, FILE_BEGIN);
  return file;
}

std::string Slurp(HANDLE file) {
  SetFilePointer(file, 0, nullptr, FILE_BEGIN);
  std::string text;
  char buffer[4096];
  for (DWORD n; ReadFile(file, buffer, sizeof buffer, &n, nullptr) && n > 0;) text.append(buffer, n);
  CloseHandle(file);
  return text;
}

}  // namespace

bool RunsAsRoot() { return false; }

// Windows has no user to switch to here: `asUser` is not taken (the tests that pass one are not run
// in the Windows lane).
ToolResult RunTool(const std::vector<std::string>& args, const std::string& input, int /*asUser*/) {
  const std::string tool = ToolPath();
  std::string commandLine = Quoted(tool);
  for (const std::string& arg : args) commandLine += " " + Quoted(arg);
  const HANDLE in = TemporaryFileWith(input), out = TemporaryFileWith(""), err = TemporaryFileWith("");
  // The arguments are UTF-8 text: the program gets them as the UTF-16 text they stand for.
  std::wstring wideLine(commandLine.size() + 1, L'\0');
  wideLine.resize(static_cast<std::size_t>(MultiByteToWideChar(CP_UTF8, 0, commandLine.data(),
                                                               static_cast<int>(commandLine.size()), wideLine.data(),
                                                               static_cast<int>(wideLine.size()))));
  std::wstring wideTool(tool.size() + 1, L'\0');
  wideTool.resize(static_cast<std::size_t>(MultiByteToWideChar(
      CP_UTF8, 0, tool.data(), static_cast<int>(tool.size()), wideTool.data(), static_cast<int>(wideTool.size()))));
  STARTUPINFOW startup{};
  startup.cb = sizeof(startup);
  startup.dwFlags = STARTF_USESTDHANDLES;
  startup.hStdInput = in;
  startup.hStdOutput = out;
  startup.hStdError = err;
  PROCESS_INFORMATION process{};
  ToolResult result;
  if (CreateProcessW(wideTool.c_str(), wideLine.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr, &startup,
                     &process)) {
    WaitForSingleObject(process.hProcess, INFINITE);
    DWORD status = 0;
    GetExitCodeProcess(process.hProcess, &status);
    result.status = static_cast<int>(status);
    CloseHandle(process.hThread);
    CloseHandle(process.hProcess);
  }
  CloseHandle(in);
  result.out = Slurp(out);
  result.err = Slurp(err);
  return result;
}

#else

namespace {

std::string Slurp(int fd) {
  std::string text;
  char buffer[4096];
  for (ssize_t n; (n = read(fd, buffer, sizeof buffer)) > 0;) text.append(buffer, n);
  close(fd);
  return text;
}

// A temporary file holding `content`, unlinked at once; returns its descriptor at offset 0.
int TemporaryFileWith(const std::string& content) {
  char path[] = "/tmp/zttool-XXXXXX";
  const int fd = mkstemp(path);
  if (fd < 0) throw std::runtime_error("mkstemp failed");
  unlink(path);
  if (!content.empty() && write(fd, content.data(), content.size()) != static_cast<ssize_t>(content.size()))
    throw std::runtime_error("write failed");
  lseek(fd, 0, SEEK_SET);
  return fd;
}

}  // namespace

bool RunsAsRoot() { return geteuid() == 0; }

ToolResult RunTool(const std::vector<std::string>& args, const std::string& input, int asUser) {
  const char* tool = ToolPath();
  const int in = TemporaryFileWith(input);
  const int out = TemporaryFileWith(""), err = TemporaryFileWith("");
  const pid_t pid = fork();
  if (pid == 0) {
    dup2(in, 0);
    dup2(out, 1);
    dup2(err, 2);
    if (asUser != -1 && (setgroups(0, nullptr) != 0 || setgid(asUser) != 0 || setuid(asUser) != 0)) _exit(126);
    if (asUser != -1 && access(tool, X_OK) != 0) _exit(kToolUnreachable);
    std::vector<char*> argv{const_cast<char*>(tool)};
    for (const std::string& arg : args) argv.push_back(const_cast<char*>(arg.c_str()));
    argv.push_back(nullptr);
    execv(tool, argv.data());
    _exit(127);
  }
  int status = 0;
  waitpid(pid, &status, 0);
  close(in);
  lseek(out, 0, SEEK_SET);
  lseek(err, 0, SEEK_SET);
  ToolResult result;
  result.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  result.out = Slurp(out);
  result.err = Slurp(err);
  return result;
}

#endif

std::string FixturePath(const std::string& relative) {
  const char* root = std::getenv("ZT_FIXTURES");
  if (root == nullptr) root = ZT_FIXTURES_DIR;
  return std::string(root) + "/" + relative;
}

}  // namespace zttest
