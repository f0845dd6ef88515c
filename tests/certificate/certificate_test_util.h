// Helpers of the certificate tests: fixture certificates as library objects, and the openssl
// tool's answers about them.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "support/command.h"
#include "support/thrown.h"
#include "support/tool_runner.h"
#include "support/trust_store.h"
#include "zt/crypto.h"

namespace certtest {

using namespace ZT::Framework;
using zttest::MessageAt;
using zttest::Thrown;

inline ByteArray Der(const std::string& name) {
  const auto bytes = zttest::ScopedTrustStore::CertFixture(name);
  if (bytes.empty()) ADD_FAILURE() << "missing fixture " << name;
  return ByteArray(bytes.begin(), bytes.end());
}

inline std::unique_ptr<IX509Certificate> Load(const ByteArray& der) {
  return std::unique_ptr<IX509Certificate>(
      dynamic_cast<IX509Certificate*>(ICertificate::Create(CERT_FORMAT_X509, der)));
}
inline std::unique_ptr<IX509Certificate> Load(const std::string& name) { return Load(Der(name)); }

inline std::string CertPath(const std::string& name) { return zttest::FixturePath("certs/" + name + ".der"); }

// The output of `openssl x509 -inform DER -noout <options>` for fixture `name`.
inline std::string Openssl(const std::string& name, const std::string& options) {
  return zttest::CommandOutput("openssl x509 -inform DER -noout " + options + " -in " +
                               zttest::ShellQuoted(CertPath(name)));
}

// The value after "<key>=" on its line of `text`.
inline std::string Field(const std::string& text, const std::string& key) {
  const std::size_t at = text.find(key + "=");
  if (at == std::string::npos) return "<" + key + " missing>";
  const std::size_t start = at + key.size() + 1;
  return text.substr(start, text.find('\n', start) - start);
}

inline std::string UpperHex(const ByteArray& bytes) {
  static const char* digits = "0123456789ABCDEF";
  std::string out;
  for (unsigned char b : bytes) (out += digits[b >> 4]) += digits[b & 15];
  return out;
}

inline ByteArray FromHex(const std::string& hex) {
  ByteArray out;
  for (std::size_t i = 0; i + 1 < hex.size(); i += 2)
    out.push_back(static_cast<unsigned char>(std::stoul(hex.substr(i, 2), nullptr, 16)));
  return out;
}

// `der` with the first occurrence of `from` (hex) replaced by `to` (hex, the same length).
inline ByteArray Patched(ByteArray der, const std::string& from, const std::string& to) {
  const ByteArray a = FromHex(from), b = FromHex(to);
  const auto at = std::search(der.begin(), der.end(), a.begin(), a.end());
  EXPECT_NE(at, der.end()) << from;
  if (at != der.end()) std::copy(b.begin(), b.end(), at);
  return der;
}

inline WString Wide(const std::string& text) { return WString(text.begin(), text.end()); }
inline std::wstring Std(const WString& text) { return std::wstring(text.begin(), text.end()); }
inline std::vector<std::wstring> Strings(const StringList& list) {
  std::vector<std::wstring> out;
  for (const WString& s : list) out.push_back(Std(s));
  return out;
}

}  // namespace certtest
