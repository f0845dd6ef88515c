// Runs the ztcrypto tool (the built one, or the one ZT_TOOL names) and collects what it printed.
#pragma once

#include <string>
#include <vector>

namespace zttest {

struct ToolResult {
  int status = -1;
  std::string out;
  std::string err;
};

// Runs the tool with `args` (no shell: arguments are passed as they are), feeding `input` to its
// standard input; as the user and group `asUser` when it is not -1 (the caller must be root;
// status kToolUnreachable when that user may not run the tool).
// Whether this process may write anywhere and run the tool as another user (root on Linux; never
// on Windows, where directory modes bind no one here and RunTool takes no user).
bool RunsAsRoot();

// Status of a run as another user who cannot reach the tool (a checkout in a private directory).
inline constexpr int kToolUnreachable = 125;

ToolResult RunTool(const std::vector<std::string>& args, const std::string& input = "", int asUser = -1);

// The path of a fixture file under tests/fixtures (or under ZT_FIXTURES when set).
std::string FixturePath(const std::string& relative);

}  // namespace zttest
