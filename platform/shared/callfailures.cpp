// The armed call failures: one mutex guards them, taken only while any is armed.

#include <map>
#include <mutex>
#include <string>

#include "platform/shared/callfailures.h"
#include "platform/testing.h"

namespace ZT::Platform {

std::atomic<bool> g_callFailuresArmed{false};

namespace {

struct ArmedFailure {
  DWORD code;
  unsigned callsToRun;  // calls that still run as usual before the first failing one
  unsigned failures;    // failing calls still to come
};

class ArmedFailures {
 public:
  static ArmedFailures& Instance() {
    static ArmedFailures failures;
    return failures;
  }

  std::optional<DWORD> Take(const char* entry) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    const auto found = m_armed.find(entry);
    if (found == m_armed.end()) return std::nullopt;
    ArmedFailure& armed = found->second;
    if (armed.callsToRun > 0) {
      --armed.callsToRun;
      return std::nullopt;
    }
    const DWORD code = armed.code;
    if (--armed.failures == 0) m_armed.erase(found);
    Publish();
    return code;
  }

  void Arm(const char* entry, ArmedFailure failure) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (failure.failures == 0)
      m_armed.erase(entry);
    else
      m_armed[entry] = failure;
    Publish();
  }

  std::size_t Pending() {
    const std::lock_guard<std::mutex> lock(m_mutex);
    std::size_t pending = 0;
    for (const auto& [entry, armed] : m_armed) pending += armed.failures;
    return pending;
  }

  void Reset() {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_armed.clear();
    Publish();
  }

 private:
  void Publish() { g_callFailuresArmed.store(!m_armed.empty(), std::memory_order_relaxed); }

  std::mutex m_mutex;
  std::map<std::string, ArmedFailure, std::less<>> m_armed;
};

}  // namespace

std::optional<DWORD> TakeCallFailure(const char* entry) { return ArmedFailures::Instance().Take(entry); }

}  // namespace ZT::Platform

namespace ZT::Platform::Testing {

void FailCall(const char* entry, DWORD code, unsigned nth, unsigned count) {
  ArmedFailures::Instance().Arm(entry, {code, nth == 0 ? 0 : nth - 1, count});
}

void FailNextCall(const char* entry, DWORD code) { FailCall(entry, code, 1, 1); }

std::size_t PendingCallFailures() { return ArmedFailures::Instance().Pending(); }

void ResetCallFailures() { ArmedFailures::Instance().Reset(); }

}  // namespace ZT::Platform::Testing
