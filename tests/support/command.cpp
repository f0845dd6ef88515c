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

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <map>
#include <mutex>
#include <optional>
#include <sstream>

#include "support/hex.h"
#include "support/tool_runner.h"

namespace zttest {

namespace {

// The openssl tool's answers, recorded where it runs and replayed where it does not.
//
// Recording: with ZT_OPENSSL_RECORD naming a file, every command run here appends a line
// "<command>\t<input>\t<output in hex>" to it (tests/fixtures/openssl/record.sh runs the suite so
// and keeps the lines in tests/fixtures/openssl/answers.txt). Replaying: a build that defines
// ZT_OPENSSL_ANSWERS (the Windows lane, which has no openssl tool) runs nothing and answers each
// command with its recorded output, or as a failed command when none was recorded (a command
// naming a file made at run time, or an input drawn at random). The command is written with the
// fixtures folder as "{fixtures}", the input as its length and FNV-1a hash ("-" for none), so that
// the lines hold wherever the project lies.
struct Answers {
  std::mutex mutex;
  std::map<std::string, std::string> recorded;  // "<command>\t<input>" -> output
  bool loaded = false;
};

std::string Normalized(std::string command) {
  const std::string fixtures = FixturePath("");
  for (std::size_t at; (at = command.find(fixtures)) != std::string::npos;)
    command.replace(at, fixtures.size(), "{fixtures}/");
  return command;
}

std::string InputKey(const std::vector<unsigned char>* input) {
  if (input == nullptr) return "-";
  std::uint64_t hash = 0xcbf29ce484222325ull;
  for (unsigned char byte : *input) hash = (hash ^ byte) * 0x100000001b3ull;
  char text[48];
  std::snprintf(text, sizeof text, "%zu:%016llx", input->size(), static_cast<unsigned long long>(hash));
  return text;
}

[[maybe_unused]] std::optional<std::string> Replayed(const std::string& key) {
#if defined(ZT_OPENSSL_ANSWERS)
  static Answers answers;
  const std::lock_guard<std::mutex> lock(answers.mutex);
  if (!answers.loaded) {
    answers.loaded = true;
    std::ifstream file(ZT_OPENSSL_ANSWERS);
    for (std::string line; std::getline(file, line);) {
      const std::size_t tab = line.rfind('\t');
      if (tab == std::string::npos) continue;
      const auto bytes = FromHex<std::vector<unsigned char>>(line.substr(tab + 1));
      answers.recorded[line.substr(0, tab)] = std::string(bytes.begin(), bytes.end());
    }
  }
  const auto found = answers.recorded.find(key);
  if (found != answers.recorded.end()) return found->second;
#else
  static_cast<void>(key);
#endif
  return std::nullopt;
}

void Record(const std::string& key, const std::string& output) {
  const char* file = std::getenv("ZT_OPENSSL_RECORD");
  if (file == nullptr) return;
  // One write a line, appended: the suite's programs may record at once.
  const std::string line = key + "\t" + ToHex(output) + "\n";
  if (FILE* out = std::fopen(file, "ab")) {
    std::fwrite(line.data(), 1, line.size(), out);
    std::fclose(out);
  }
}

constexpr bool kReplaying =
#if defined(ZT_OPENSSL_ANSWERS)
    true;
#else
    false;
#endif

}  // namespace

std::string CommandOutput(const std::string& command, int* status) {
  const std::string key = Normalized(command) + "\t" + InputKey(nullptr);
  if (kReplaying) {
    const std::optional<std::string> answer = Replayed(key);
    if (status != nullptr) *status = answer ? 0 : -1;
    return answer.value_or("");
  }
  std::string out;
  FILE* pipe = popen(command.c_str(), "r");
  if (pipe == nullptr) {
    if (status != nullptr) *status = -1;
    return out;
  }
  char buffer[4096];
  for (std::size_t n; (n = fread(buffer, 1, sizeof buffer, pipe)) > 0;) out.append(buffer, n);
  const int result = pclose(pipe);
  const int exit = WIFEXITED(result) ? WEXITSTATUS(result) : -1;
  if (status != nullptr) *status = exit;
  if (exit == 0) Record(key, out);
  return out;
}

std::vector<unsigned char> ReadBinaryFile(const std::string& path) {
  std::ifstream in(Utf8Path(path), std::ios::binary);
  return std::vector<unsigned char>(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

std::vector<unsigned char> ReadFixtureFile(const std::string& relative) {
  std::vector<unsigned char> bytes = ReadBinaryFile(FixturePath(relative));
  if (bytes.empty()) ADD_FAILURE() << "missing fixture " << relative;
  return bytes;
}

std::vector<unsigned char> OpensslOutput(std::string arguments, const std::vector<unsigned char>& input) {
  const std::string key = "openssl " + Normalized(arguments) + "\t" + InputKey(&input);
  if (kReplaying) {
    const std::string answer = Replayed(key).value_or("");
    return std::vector<unsigned char>(answer.begin(), answer.end());
  }
  const std::string base = testing::TempDir() + "zt_openssl_" + std::to_string(::getpid());
  const std::string in = base + ".in", out = base + ".out";
  for (const auto& [placeholder, path] : {std::pair<std::string, std::string>{"{in}", in}, {"{out}", out}})
    arguments.replace(arguments.find(placeholder), placeholder.size(), ShellQuoted(path));
  std::ofstream(in, std::ios::binary).write(reinterpret_cast<const char*>(input.data()), static_cast<std::streamsize>(input.size()));
  std::remove(out.c_str());
  const bool ok = std::system(("openssl " + arguments + " 2>/dev/null").c_str()) == 0;
  std::vector<unsigned char> output = ok ? ReadBinaryFile(out) : std::vector<unsigned char>();
  if (ok) Record(key, std::string(output.begin(), output.end()));
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
