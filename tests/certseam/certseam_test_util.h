// Helpers of the certificate seam tests: fixture certificates as contexts, and FILETIMEs.
#pragma once

#include "support/cert_fixture.h"
#include "support/last_error.h"

namespace certseam {

using Bytes = std::vector<unsigned char>;
using Context = zttest::CertContext;
using zttest::CertPath;
using zttest::Code;
using zttest::ErrorOf;
using zttest::NewCertContext;
using zttest::ScopedTrustStore;
using zttest::UpperHex;

inline Bytes Fixture(const std::string& name) { return zttest::CertBytes(name); }
inline Context NewContext(const Bytes& der) { return NewCertContext(der); }
inline Context Load(const std::string& name) { return NewContext(Fixture(name)); }

// FILETIME of a UTC date and time, by SystemTimeToFileTime.
inline FILETIME At(WORD year, WORD month, WORD day, WORD hour = 0, WORD minute = 0, WORD second = 0) {
  const SYSTEMTIME st{year, month, 0, day, hour, minute, second, 0};
  FILETIME ft{};
  EXPECT_TRUE(SystemTimeToFileTime(&st, &ft));
  return ft;
}

}  // namespace certseam
