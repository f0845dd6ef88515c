#include "support/sections.h"

#include <gtest/gtest.h>

#include <fstream>

#include "support/tool_runner.h"

namespace zttest {

std::vector<SectionLine> ReadSection(const std::string& file, const std::string& section) {
  const std::string path = FixturePath(file);
  std::ifstream in(path);
  if (!in) ADD_FAILURE() << "missing file " << path;
  std::vector<SectionLine> lines;
  bool inSection = false, found = false;
  std::string line;
  while (std::getline(in, line)) {
    if (line.empty() || line[0] == '#') continue;
    if (line[0] == '[') {
      inSection = line == "[" + section + "]";
      found = found || inSection;
      continue;
    }
    if (!inSection) continue;
    const std::size_t blank = line.find(' ');
    lines.push_back({line.substr(0, blank), blank == std::string::npos ? "" : line.substr(blank + 1)});
  }
  if (!found) ADD_FAILURE() << path << ": no section [" << section << "]";
  return lines;
}

std::map<std::string, std::string> ReadVector(const std::string& file, const std::string& section) {
  std::map<std::string, std::string> vector;
  for (const SectionLine& line : ReadSection(file, section)) vector[line.key] = line.value;
  return vector;
}

}  // namespace zttest
