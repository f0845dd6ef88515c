#include "support/log_capture.h"

#include <cstdint>
#include <cwchar>

namespace zttest {

LogCapture::LogCapture(int threshold) {
  nqlogSetSink(
      [this](std::wstring_view category, int level, std::wstring_view line) {
        m_lines.push_back({std::wstring(category), level, std::wstring(line)});
      },
      threshold);
}

LogCapture::~LogCapture() { nqlogResetSink(); }

std::vector<std::wstring> LogCapture::At(int level) const {
  std::vector<std::wstring> texts;
  for (const LogLine& line : m_lines)
    if (line.level == level) texts.push_back(line.text);
  return texts;
}

std::vector<std::wstring> LogCapture::Trace() const {
  std::vector<std::wstring> texts;
  for (const LogLine& line : m_lines) texts.push_back(std::to_wstring(line.level) + L"|" + line.text);
  return texts;
}

std::wstring AddressText(const void* p) {
  wchar_t buffer[32];
  std::swprintf(buffer, 32, L"%#llx", static_cast<unsigned long long>(reinterpret_cast<std::uintptr_t>(p)));
  return buffer;
}

}  // namespace zttest
