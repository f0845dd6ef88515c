// The fail points of the OpenSSL seam's entries (platform/shared/callfailures.h). Every entry that
// can report a failure starts with one of the checks below, which makes it fail as armed, the way
// the platform reports a failure of that entry, before it looks at its arguments:
//
//   NTSTATUS WINAPI BCryptHashData(...) {
//     ZT_FAIL_POINT_STATUS(NTSTATUS);              // returns the armed code
//   BOOL WINAPI CryptGenRandom(...) {
//     ZT_FAIL_POINT_LAST_ERROR(FALSE);             // SetLastError(code), returns FALSE
//   INT WINAPI VariantTimeToSystemTime(...) {
//     ZT_FAIL_POINT_RESULT(FALSE);                 // returns FALSE; the code is not reported
//
// The entry is named by __func__, so the check cannot name another entry than its own. With
// nothing armed it costs one relaxed atomic load.
#pragma once

#include "platform/shared/callfailures.h"

#define ZT_FAIL_POINT_STATUS(Status) \
  if (const auto zt_failure = ::ZT::Platform::ArmedCallFailure(__func__)) return static_cast<Status>(*zt_failure)

#define ZT_FAIL_POINT_LAST_ERROR(failed)                                      \
  if (const auto zt_failure = ::ZT::Platform::ArmedCallFailure(__func__)) { \
    SetLastError(*zt_failure);                                                \
    return failed;                                                            \
  } else                                                                      \
    static_cast<void>(0)

#define ZT_FAIL_POINT_RESULT(failed) \
  if (::ZT::Platform::ArmedCallFailure(__func__)) return failed
