// Captures the trace lines written while it lives (a sink at the given threshold), for tests
// where a trace line is the contract.
#pragma once

#include <string>
#include <vector>

#include <nq/nqlog.h>

namespace zttest {

struct LogLine {
  std::wstring category;
  int level;
  std::wstring text;
  bool operator==(const LogLine&) const = default;
};

class LogCapture {
 public:
  explicit LogCapture(int threshold = NQLOG_DATA);
  ~LogCapture();
  LogCapture(const LogCapture&) = delete;
  LogCapture& operator=(const LogCapture&) = delete;

  const std::vector<LogLine>& Lines() const { return m_lines; }
  // The texts of the lines at `level`, in order.
  std::vector<std::wstring> At(int level) const;
  // "<level>|<text>" for every line, in order: compact to compare whole traces.
  std::vector<std::wstring> Trace() const;
  void Clear() { m_lines.clear(); }

 private:
  std::vector<LogLine> m_lines;
};

// "0x..." as %#x renders an object's address in trace lines.
std::wstring AddressText(const void* p);

}  // namespace zttest
