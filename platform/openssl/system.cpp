// Per-thread last error, GUIDs and the run-time library's rand_s.

#include <pthread.h>

#include <atomic>
#include <cerrno>
#include <cstring>

#include "platform/guid.h"
#include "platform/openssl/callfailures.h"
#include "platform/openssl/library.h"

namespace {

// Windows keeps the last error per thread; so does this.
thread_local DWORD t_lastError = ERROR_SUCCESS;

// rand_s hands out the generator's output four bytes at a time, from a block drawn at once: one
// request of the generator costs as much as a few kilobytes of its output, and callers draw
// rand_s byte by byte over long buffers. Each thread has its own block; the bytes handed out are
// wiped from it at once, the rest when the thread ends. A forked child discards the block it
// inherited, so that parent and child never hand out the same values.
class RandomPool {
 public:
  ~RandomPool() { OPENSSL_cleanse(m_bytes, sizeof m_bytes); }

  bool Take(unsigned int* value) {
    if (!Holds(sizeof *value) && !Refill()) return false;
    std::memcpy(value, m_bytes + m_used, sizeof *value);
    // A plain store wipes here: the block lives on and is handed to the generator again, so the
    // compiler cannot drop it, and it costs no call per value.
    std::memset(m_bytes + m_used, 0, sizeof *value);
    m_used += sizeof *value;
    return true;
  }

 private:
  // Counts the forks in the children; read by every thread's pool.
  static inline std::atomic<unsigned> s_forks{0};

  bool Holds(std::size_t size) const {
    return m_used + size <= sizeof m_bytes && m_forks == s_forks.load(std::memory_order_relaxed);
  }

  bool Refill() {
    // Registered before the first block exists, so that no fork goes unseen.
    static const bool watching =
        pthread_atfork(nullptr, nullptr, [] { s_forks.fetch_add(1, std::memory_order_relaxed); }) == 0;
    if (!watching || !ZT::Platform::RandomBytes(m_bytes, sizeof m_bytes, nullptr, 0)) return false;
    m_used = 0;
    m_forks = s_forks.load(std::memory_order_relaxed);
    return true;
  }

  unsigned char m_bytes[4096];
  std::size_t m_used = sizeof m_bytes;  // empty: filled on first use
  unsigned m_forks = 0;
};

thread_local RandomPool t_randomPool;

}  // namespace

extern "C" {

DWORD WINAPI GetLastError(void) { return t_lastError; }

void WINAPI SetLastError(DWORD dwErrCode) { t_lastError = dwErrCode; }

HRESULT WINAPI CoCreateGuid(GUID* pguid) {
  ZT_FAIL_POINT_STATUS(HRESULT);
  if (pguid == nullptr) return E_INVALIDARG;
  unsigned char bytes[sizeof(GUID)];
  if (!ZT::Platform::RandomBytes(bytes, sizeof(bytes), nullptr, 0)) return E_FAIL;
  GUID guid;
  std::memcpy(&guid, bytes, sizeof(guid));
  // RFC 4122 section 4.4: version 4 in the top nibble of time_hi (Data3), variant 10 in the top
  // bits of clock_seq_hi (Data4[0]).
  guid.Data3 = static_cast<std::uint16_t>((guid.Data3 & 0x0FFF) | 0x4000);
  guid.Data4[0] = static_cast<std::uint8_t>((guid.Data4[0] & 0x3F) | 0x80);
  *pguid = guid;
  return S_OK;
}

errno_t rand_s(unsigned int* randomValue) {
  ZT_FAIL_POINT_STATUS(errno_t);
  if (randomValue == nullptr) return EINVAL;
  unsigned int value = 0;
  if (!t_randomPool.Take(&value)) {
    // The run-time library sets the value to 0 when the system generator fails.
    *randomValue = 0;
    return ENOMEM;
  }
  *randomValue = value;
  return 0;
}

}  // extern "C"
