// A trust store of fixture certificates and CRLs that the chain engine uses in place of the
// system's while it lives.
#pragma once

#include <string>
#include <vector>

#include "platform/testing.h"
#include "support/command.h"
#include "support/tool_runner.h"

namespace zttest {

class ScopedTrustStore {
 public:
  // Files of tests/fixtures/certs: a bare name means <name>.der.
  ScopedTrustStore(const std::vector<std::string>& roots, const std::vector<std::string>& issuers,
                   const std::vector<std::string>& crls) {
    ZT::Platform::Testing::TrustStoreContents contents;
    for (const auto& name : roots) contents.roots.push_back(CertFixture(name));
    for (const auto& name : issuers) contents.issuers.push_back(CertFixture(name));
    for (const auto& name : crls) contents.crls.push_back(CertFixture(name));
    ZT::Platform::Testing::ReplaceTrustStore(contents);
  }
  ~ScopedTrustStore() { ZT::Platform::Testing::RestoreTrustStore(); }
  ScopedTrustStore(const ScopedTrustStore&) = delete;
  ScopedTrustStore& operator=(const ScopedTrustStore&) = delete;

  // The bytes of tests/fixtures/certs/<name>.der, or of <name> when it has an extension.
  static std::vector<unsigned char> CertFixture(const std::string& name) {
    const std::string file = name.find('.') == std::string::npos ? name + ".der" : name;
    return ReadBinaryFile(FixturePath("certs/" + file));
  }
};

}  // namespace zttest
