#include "support/command.h"

#include <gtest/gtest.h>

#if defined(_WIN32)
#include <process.h>
#define popen _popen
#define pclose _pclose
#define getpid _getpid
#define WIFEXITED(status) true
#define WEXITSTATUS(status) (status)
#else
#include <sys/wait.h>
#include <unistd.h>
#endif

#include <cstdio>
#include <fstream>
#include <iterator>

#include "support/tool_runner.h"

namespace zttest {

std::string CommandOutput(const std::string& command, int* status) {
  std::string out;
  FILE* pipe = popen(command.c_str(), "r");
  if (pipe == nullptr) {
    if (status != nullptr) *status = -1;
    return out;
  }
  char buffer[4096];
  for (std::size_t n; (n = fread(buffer, 1, sizeof buffer, pipe)) > 0;) out.append(buffer, n);
  const int result = pclose(pipe);
  if (status != nullptr) *status = WIFEXITED(result) ? WEXITSTATUS(result) : -1;
  return out;
}

std::vector<unsigned char> ReadBinaryFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::vector<unsigned char>(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

std::vector<unsigned char> ReadFixtureFile(const std::string& relative) {
  std::vector<unsigned char> bytes = ReadBinaryFile(FixturePath(relative));
  if (bytes.empty()) ADD_FAILURE() << "missing fixture " << relative;
  return bytes;
}

std::vector<unsigned char> OpensslOutput(std::string arguments, const std::vector<unsigned char>& input) {
  const std::string base = testing::TempDir() + "zt_openssl_" + std::to_string(::getpid());
  const std::string in = base + ".in", out = base + ".out";
  for (const auto& [placeholder, path] : {std::pair<std::string, std::string>{"{in}", in}, {"{out}", out}})
    arguments.replace(arguments.find(placeholder), placeholder.size(), ShellQuoted(path));
  std::ofstream(in, std::ios::binary).write(reinterpret_cast<const char*>(input.data()), static_cast<std::streamsize>(input.size()));
  std::remove(out.c_str());
  const bool ok = std::system(("openssl " + arguments + " 2>/dev/null").c_str()) == 0;
  std::vector<unsigned char> output = ok ? ReadBinaryFile(out) : std::vector<unsigned char>();
  std::remove(in.c_str());
  std::remove(out.c_str());
  return output;
}

std::string ShellQuoted(const std::string& text) {
  std::string quoted = "'";
  for (char c : text) quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return quoted + "'";
}

}  // namespace zttest
