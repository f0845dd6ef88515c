#include "support/tool_runner.h"

#include <fcntl.h>
#include <grp.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <stdexcept>

namespace zttest {

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

ToolResult RunTool(const std::vector<std::string>& args, const std::string& input, int asUser) {
  const char* tool = std::getenv("ZT_TOOL");
  if (tool == nullptr) tool = ZT_TOOL_PATH;
  const int in = TemporaryFileWith(input);
  const int out = TemporaryFileWith(""), err = TemporaryFileWith("");
  const pid_t pid = fork();
  if (pid == 0) {
    dup2(in, 0);
    dup2(out, 1);
    dup2(err, 2);
    if (asUser != -1 && (setgroups(0, nullptr) != 0 || setgid(asUser) != 0 || setuid(asUser) != 0)) _exit(126);
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

std::string FixturePath(const std::string& relative) {
  const char* root = std::getenv("ZT_FIXTURES");
  if (root == nullptr) root = ZT_FIXTURES_DIR;
  return std::string(root) + "/" + relative;
}

}  // namespace zttest
