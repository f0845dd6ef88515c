// Fixture certificates for the certificate tests at every layer: their bytes, hex both ways, the
// openssl tool's answers about them, and an owned platform certificate context.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "platform/certificates.h"
#include "support/command.h"
#include "support/hex.h"
#include "support/tool_runner.h"
#include "support/trust_store.h"

namespace zttest {

// tests/fixtures/certs/<name>.der, or <name> when it has an extension; a failure when missing.
inline std::vector<unsigned char> CertBytes(const std::string& name) {
  std::vector<unsigned char> bytes = ScopedTrustStore::CertFixture(name);
  if (bytes.empty()) ADD_FAILURE() << "missing fixture " << name;
  return bytes;
}

inline std::string CertPath(const std::string& file) { return FixturePath("certs/" + file); }

// Upper-case hex of bytes, with `separator` between them.
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
template <class Bytes>
std::string UpperHex(const Bytes& bytes, const char* separator = "") {
  return UpperHex(bytes.data(), bytes.size(), separator);
}

// The output of `openssl x509 -inform DER -noout <options>` for fixture <name>.der.
inline std::string OpensslX509(const std::string& name, const std::string& options) {
  return CommandOutput("openssl x509 -inform DER -noout " + options + " -in " + ShellQuoted(CertPath(name + ".der")));
}

// The value after "<key>=" on its line of `text`.
inline std::string FieldOf(const std::string& text, const std::string& key) {
  const std::size_t at = text.find(key + "=");
  if (at == std::string::npos) return "<" + key + " missing>";
  const std::size_t start = at + key.size() + 1;
  return text.substr(start, text.find('\n', start) - start);
}

struct ContextFree {
  void operator()(PCCERT_CONTEXT context) const { CertFreeCertificateContext(context); }
};
using CertContext = std::unique_ptr<const CERT_CONTEXT, ContextFree>;

inline CertContext NewCertContext(const std::vector<unsigned char>& der) {
  return CertContext(CertCreateCertificateContext(X509_ASN_ENCODING | PKCS_7_ASN_ENCODING, der.data(),
                                                  static_cast<DWORD>(der.size())));
}

// A version 2 certificate written byte by byte (openssl x509 -text reads it: version 2, serial 5,
// issuer and subject CN=v2, an 8-bit RSA key, issuer unique ID ab:c0 with 4 unused bits, subject
// unique ID ef); its signature is not one.
constexpr const char* kVersion2Certificate =
    "308192307da003020101020105300d06092a864886f70d01010b0500300d310b300906035504030c027632301e170d32343031303130"
    "30303030305a170d3334303130313030303030305a300d310b300906035504030c027632301d300d06092a864886f70d01010105000"
    "30c003009020200c30203010001810304abc0820200ef300d06092a864886f70d01010b050003020001";

}  // namespace zttest
