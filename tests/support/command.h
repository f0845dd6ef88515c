// Runs a shell command (the openssl tool, mostly) and collects what it printed.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace zttest {

// The standard output of `command` run by /bin/sh; `status` gets its exit status.
std::string CommandOutput(const std::string& command, int* status = nullptr);

// The whole content of a file (empty when it cannot be read).
std::vector<unsigned char> ReadBinaryFile(const std::string& path);

// The file system's path of `utf8`: test paths are UTF-8 text on every platform (on Windows the
// narrow file functions would read them in the ANSI code page).
inline std::filesystem::path Utf8Path(const std::string& utf8) { return std::u8string(utf8.begin(), utf8.end()); }

// The bytes of the fixture file `relative` (under tests/fixtures); a test failure when it is
// missing or empty.
std::vector<unsigned char> ReadFixtureFile(const std::string& relative);

// Runs the openssl tool with `arguments`, in which "{in}" stands for a file holding `input` and
// "{out}" for the file it writes. The output, or empty when the tool fails.
std::vector<unsigned char> OpensslOutput(std::string arguments, const std::vector<unsigned char>& input);

// `text` quoted for the shell.
std::string ShellQuoted(const std::string& text);

}  // namespace zttest
