// Helpers of the certificate seam tests: fixture certificates as contexts, the openssl tool's
// view of them, and a trust store that tests put in place of the system's.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "platform/certificates.h"
#include "support/command.h"
#include "support/tool_runner.h"
#include "support/trust_store.h"

namespace certseam {

using Bytes = std::vector<unsigned char>;

inline std::string CertPath(const std::string& file) { return zttest::FixturePath("certs/" + file); }

// tests/fixtures/certs/<name>.der, or <file> when it has an extension.
inline Bytes Fixture(const std::string& name) {
  Bytes bytes = zttest::ScopedTrustStore::CertFixture(name);
  if (bytes.empty()) ADD_FAILURE() << "missing fixture " << name;
  return bytes;
}

struct ContextFree {
  void operator()(PCCERT_CONTEXT context) const { CertFreeCertificateContext(context); }
};
using Context = std::unique_ptr<const CERT_CONTEXT, ContextFree>;

inline Context NewContext(const Bytes& der) {
  return Context(CertCreateCertificateContext(X509_ASN_ENCODING | PKCS_7_ASN_ENCODING, der.data(),
                                              static_cast<DWORD>(der.size())));
}
inline Context Load(const std::string& name) { return NewContext(Fixture(name)); }

// The value after "<key>=" in the output of `openssl x509 -noout <options>` for fixture `name`.
inline std::string OpensslField(const std::string& name, const std::string& options, const std::string& key) {
  const std::string out = zttest::CommandOutput("openssl x509 -inform DER -noout " + options + " -in " +
                                                zttest::ShellQuoted(CertPath(name + ".der")));
  const std::size_t at = out.find(key + "=");
  if (at == std::string::npos) return "<" + key + " missing>";
  const std::size_t start = at + key.size() + 1;
  return out.substr(start, out.find('\n', start) - start);
}

inline std::string UpperHex(const unsigned char* data, std::size_t size, const char* separator = "") {
  static const char* digits = "0123456789ABCDEF";
  std::string out;
  for (std::size_t i = 0; i < size; ++i) {
    if (i != 0) out += separator;
    out += digits[data[i] >> 4];
    out += digits[data[i] & 15];
  }
  return out;
}

inline FILETIME FileTimeOf(std::uint64_t ticks) {
  return FILETIME{static_cast<DWORD>(ticks), static_cast<DWORD>(ticks >> 32)};
}

// FILETIME of a UTC date and time, by SystemTimeToFileTime.
inline FILETIME At(WORD year, WORD month, WORD day, WORD hour = 0, WORD minute = 0, WORD second = 0) {
  const SYSTEMTIME st{year, month, 0, day, hour, minute, second, 0};
  FILETIME ft{};
  EXPECT_TRUE(SystemTimeToFileTime(&st, &ft));
  return ft;
}

using zttest::ScopedTrustStore;

}  // namespace certseam
