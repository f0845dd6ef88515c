// GUIDs (OLE) and the run-time library's rand_s, as the random and GUID generators use them.
// On Windows they come from <objbase.h> and <stdlib.h> (with _CRT_RAND_S).
#pragma once

#include "platform/wintypes.h"

#if defined(_WIN32)

#ifndef _CRT_RAND_S
#define _CRT_RAND_S
#endif
#include <objbase.h>
#include <stdlib.h>

ZT_SEAM_WRAPPER(HRESULT, CoCreateGuid, (GUID * pguid))
ZT_SEAM_WRAPPER(errno_t, rand_s, (unsigned int* randomValue))
#define CoCreateGuid ZT_Seam_CoCreateGuid
#define rand_s ZT_Seam_rand_s

#else

// The 16-byte GUID as it lies in memory: Data1, Data2 and Data3 in host byte order (little-endian
// on every platform the suite runs on), then the 8 bytes of Data4.
typedef struct _GUID {
  std::uint32_t Data1;
  std::uint16_t Data2;
  std::uint16_t Data3;
  std::uint8_t Data4[8];
} GUID;

static_assert(sizeof(GUID) == 16, "GUID must keep its 16-byte layout");

typedef int errno_t;

extern "C" {

// A new random (version 4, RFC 4122 variant) GUID: the top nibble of Data3 is 4 and the top two
// bits of Data4[0] are 10. Null pguid: E_INVALIDARG.
HRESULT WINAPI CoCreateGuid(GUID* pguid);

// A cryptographically random unsigned int. Null randomValue: EINVAL.
errno_t rand_s(unsigned int* randomValue);

}  // extern "C"

#endif  // _WIN32
