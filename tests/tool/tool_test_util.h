// Helpers of the tool tests: fixture certificates, the lines of an answer, and what the openssl
// tool says about a certificate.
#pragma once

#include <algorithm>
#include <cctype>
#include <sstream>
#include <string>
#include <vector>

#include "support/command.h"
#include "support/tool_runner.h"

namespace tooltest {

inline std::string Cert(const std::string& file) { return zttest::FixturePath("certs/" + file); }

// The lines of `text` that start with `prefix`.
inline std::vector<std::string> Lines(const std::string& text, const std::string& prefix = "") {
  std::vector<std::string> lines;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);)
    if (line.rfind(prefix, 0) == 0) lines.push_back(line);
  return lines;
}

// The value after "<key>=" in the openssl tool's answer about a fixture, lower case, no colons.
inline std::string OpensslHex(const std::string& file, const std::string& option, const std::string& key) {
  std::string out = zttest::CommandOutput("openssl x509 -noout " + option + " -in " + zttest::ShellQuoted(Cert(file)));
  out = out.substr(out.find(key + "=") + key.size() + 1);
  out.erase(std::remove_if(out.begin(), out.end(), [](char c) { return c == ':' || c == '\n'; }), out.end());
  std::transform(out.begin(), out.end(), out.begin(), [](unsigned char c) { return std::tolower(c); });
  return out;
}

}  // namespace tooltest
