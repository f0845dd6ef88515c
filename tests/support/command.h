// Runs a shell command (the openssl tool, mostly) and collects what it printed.
#pragma once

#include <string>
#include <vector>

namespace zttest {

// The standard output of `command` run by /bin/sh; `status` gets its exit status.
std::string CommandOutput(const std::string& command, int* status = nullptr);

// The whole content of a file (empty when it cannot be read).
std::vector<unsigned char> ReadBinaryFile(const std::string& path);

// `text` quoted for the shell.
std::string ShellQuoted(const std::string& text);

}  // namespace zttest
