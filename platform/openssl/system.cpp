// Per-thread last error, GUIDs and the run-time library's rand_s.

#include <cerrno>
#include <cstring>

#include "platform/guid.h"
#include "platform/openssl/callfailures.h"
#include "platform/openssl/library.h"

namespace {

// Windows keeps the last error per thread; so does this.
thread_local DWORD t_lastError = ERROR_SUCCESS;

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
  if (!ZT::Platform::RandomBytes(reinterpret_cast<unsigned char*>(&value), sizeof(value), nullptr, 0)) {
    // The run-time library sets the value to 0 when the system generator fails.
    *randomValue = 0;
    return ENOMEM;
  }
  *randomValue = value;
  return 0;
}

}  // extern "C"
