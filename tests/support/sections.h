// Test data files in sections: a line "[name]" opens a section; each line after it, up to the
// next section, is "key value" (the key is the first word, the value the rest of the line).
// Blank lines and lines starting with "#" are skipped.
#pragma once

#include <map>
#include <string>
#include <vector>

namespace zttest {

struct SectionLine {
  std::string key;
  std::string value;
};

// The lines of `[section]` of tests/fixtures/<file>, in order; a test failure when the file or
// the section is missing.
std::vector<SectionLine> ReadSection(const std::string& file, const std::string& section);

// The same section as a map from key to value, for a published vector ("i c88f01f5...").
std::map<std::string, std::string> ReadVector(const std::string& file, const std::string& section);

}  // namespace zttest
