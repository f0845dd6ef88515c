// Helpers of the certificate seam tests: fixture certificates as contexts, and FILETIMEs.
#pragma once

#include "support/cert_fixture.h"

namespace certseam {

using Bytes = std::vector<unsigned char>;
using Context = zttest::CertContext;
using zttest::CertPath;
using zttest::NewCertContext;
using zttest::ScopedTrustStore;
using zttest::UpperHex;

inline Bytes Fixture(const std::string& name) { return zttest::CertBytes(name); }
inline Context NewContext(const Bytes& der) { return NewCertContext(der); }
inline Context Load(const std::string& name) { return NewContext(Fixture(name)); }

// 0 when a call succeeded, else the last error; for a call that returns a pointer,
// ErrorOf(pointer != nullptr). Code gives an HRESULT as the DWORD GetLastError returns.
inline DWORD ErrorOf(BOOL ok) { return ok ? 0 : GetLastError(); }
inline DWORD Code(HRESULT value) { return static_cast<DWORD>(value); }

// FILETIME of a UTC date and time, by SystemTimeToFileTime.
inline FILETIME At(WORD year, WORD month, WORD day, WORD hour = 0, WORD minute = 0, WORD second = 0) {
  const SYSTEMTIME st{year, month, 0, day, hour, minute, second, 0};
  FILETIME ft{};
  EXPECT_TRUE(SystemTimeToFileTime(&st, &ft));
  return ft;
}

}  // namespace certseam
