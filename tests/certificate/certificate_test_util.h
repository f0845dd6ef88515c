// Helpers of the certificate tests: fixture certificates as library objects.
#pragma once

#include <algorithm>

#include "support/cert_fixture.h"
#include "support/thrown.h"
#include "zt/crypto.h"

namespace certtest {

using namespace ZT::Framework;
using zttest::FieldOf;
using zttest::ExpectFailure;
using zttest::MessageAt;
using zttest::FromHex;
using zttest::OpensslX509;
using zttest::Thrown;
using zttest::UpperHex;

inline ByteArray Der(const std::string& name) {
  const auto bytes = zttest::CertBytes(name);
  return ByteArray(bytes.begin(), bytes.end());
}

inline std::unique_ptr<IX509Certificate> Load(const ByteArray& der) {
  return std::unique_ptr<IX509Certificate>(
      dynamic_cast<IX509Certificate*>(ICertificate::Create(CERT_FORMAT_X509, der)));
}
inline std::unique_ptr<IX509Certificate> Load(const std::string& name) { return Load(Der(name)); }

// `der` with the first occurrence of `from` (hex) replaced by `to` (hex, the same length).
inline ByteArray Patched(ByteArray der, const std::string& from, const std::string& to) {
  const ByteArray a = FromHex(from), b = FromHex(to);
  const auto at = std::search(der.begin(), der.end(), a.begin(), a.end());
  EXPECT_NE(at, der.end()) << from;
  if (at != der.end()) std::copy(b.begin(), b.end(), at);
  return der;
}

inline std::wstring Std(const WString& text) { return std::wstring(text.begin(), text.end()); }
inline std::vector<std::wstring> Strings(const StringList& list) {
  std::vector<std::wstring> out;
  for (const WString& s : list) out.push_back(Std(s));
  return out;
}

// openssl's form of a serial: hex of the magnitude, "-" before a negative one.
inline std::string SerialAsOpensslPrints(ByteArray bytes) {
  const bool negative = !bytes.empty() && (bytes[0] & 0x80);
  if (negative) {  // two's complement: invert and add one
    for (auto& b : bytes) b = static_cast<unsigned char>(~b);
    for (auto it = bytes.rbegin(); it != bytes.rend() && ++*it == 0; ++it) {
    }
  }
  while (bytes.size() > 1 && bytes[0] == 0) bytes.erase(bytes.begin());
  return (negative ? "-" : "") + UpperHex(bytes);
}

}  // namespace certtest
