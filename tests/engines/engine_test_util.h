// Helpers of the engine tests: bytes, algorithms by name, and a fixture for the module hooks.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <string_view>

#include "framework/crypto.cngtable.h"
#include "platform/testing.h"
#include "support/hex.h"
#include "support/thrown.h"
#include "zt/crypto.h"

namespace enginetest {

using namespace ZT::Framework;

inline ByteArray Text(std::string_view text) { return ByteArray(text.begin(), text.end()); }

inline ByteArray Hex(std::string_view hex) { return zttest::FromHex(hex); }
using zttest::ToHex;

inline std::unique_ptr<IAlgorithm> Algorithm(const WString& friendlyName) {
  const std::unique_ptr<IAlgorithmParameters> parameters(IAlgorithmParameters::Create());
  return std::unique_ptr<IAlgorithm>(IAlgorithm::CreateFromFriendlyName(friendlyName, parameters.get()));
}

// An algorithm whose friendly name is outside the table (an OID the table lacks names itself).
inline std::unique_ptr<IAlgorithm> UnlistedAlgorithm(const WString& name) {
  const std::unique_ptr<IAlgorithmParameters> parameters(IAlgorithmParameters::Create());
  return std::unique_ptr<IAlgorithm>(IAlgorithm::CreateFromOID(name, parameters.get()));
}

inline std::unique_ptr<IKey> RawKey(const ByteArray& bytes, const WString& algorithm = L"HMAC_SHA256") {
  return std::unique_ptr<IKey>(IKey::Create(Algorithm(algorithm).get(), L"RAW", bytes));
}

using zttest::ExpectFailure;
using zttest::MessageAt;
using zttest::Thrown;

// Tests that hook the module registry: the hooks are removed and the table emptied afterwards,
// so that later tests load it afresh.
class WithModuleHooks : public ::testing::Test {
 protected:
  void TearDown() override {
    ZT::Platform::Testing::ResetModuleHooks();
    CryptoSoftCNGWrapper::UnloadCNGLibrary();
  }
  // Makes the next load of the CNG table fail (Bcrypt.dll cannot be loaded).
  static void MakeCNGUnavailable() {
    CryptoSoftCNGWrapper::UnloadCNGLibrary();
    ZT::Platform::Testing::FailModuleLoad(L"Bcrypt.dll");
  }
  static void MakeCNGAvailable() { ZT::Platform::Testing::ResetModuleHooks(); }
};

}  // namespace enginetest
