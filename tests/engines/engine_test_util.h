// Helpers of the engine tests: bytes, algorithms by name, and a fixture for the module hooks.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "cng/crypto.cng.servicetable.h"
#include "platform/testing.h"
#include "support/command.h"
#include "support/hex.h"
#include "support/sections.h"
#include "support/thrown.h"
#include "zt/crypto.h"

namespace enginetest {

using namespace ZT::Framework;

inline ByteArray Text(std::string_view text) { return ByteArray(text.begin(), text.end()); }

inline ByteArray Hex(std::string_view hex) { return zttest::FromHex(hex); }

// The openssl tool over `input` ("{in}" and "{out}" in `arguments` name its files).
inline ByteArray Openssl(const std::string& arguments, const ByteArray& input) {
  const auto output = zttest::OpensslOutput(arguments, std::vector<unsigned char>(input.begin(), input.end()));
  return ByteArray(output.begin(), output.end());
}

using zttest::ToHex;

// The lines of section `name` of tests/fixtures/engines/published.txt, each cut at blanks into
// `count` fields, the last taking the rest of the line (a message may hold blanks or be empty).
inline std::vector<std::vector<std::string>> Published(const std::string& name, std::size_t count) {
  std::vector<std::vector<std::string>> rows;
  for (const zttest::SectionLine& line : zttest::ReadSection("engines/published.txt", name)) {
    std::vector<std::string> fields{line.key};
    std::string rest = line.value;
    for (std::size_t i = 1; i + 1 < count; ++i) {
      const std::size_t blank = rest.find(' ');
      fields.push_back(rest.substr(0, blank));
      rest = blank == std::string::npos ? "" : rest.substr(blank + 1);
    }
    fields.push_back(rest);
    rows.push_back(fields);
  }
  return rows;
}

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

// A caller's own parameter map: it keeps its values in a library map and throws a CException
// (id 7, "caller's map failed") from each operation named in `failing` ("GetPadding", ...).
class CallersMap final : public ICryptoParserParameterMap {
 public:
  std::set<std::wstring> failing;

#define ZT_CALLERS_MAP_PAIR(Type, Set, Get)                 \
  void Set(const Type& value) override {                   \
    Check(L## #Set);                                       \
    m_map->Set(value);                                     \
  }                                                        \
  bool Get(Type& value) const override {                   \
    Check(L## #Get);                                       \
    return m_map->Get(value);                              \
  }
  ZT_CALLERS_MAP_PAIR(std::uint64_t, SetTimeout, GetTimeout)
  ZT_CALLERS_MAP_PAIR(WString, SetPadding, GetPadding)
  ZT_CALLERS_MAP_PAIR(WString, SetCipherMode, GetCipherMode)
  ZT_CALLERS_MAP_PAIR(ByteArray, SetIV, GetIV)
  ZT_CALLERS_MAP_PAIR(unsigned char, SetHashAlgoPaddingMode, GetHashAlgoPaddingMode)
  ZT_CALLERS_MAP_PAIR(ByteArray, SetOAEPEncodingParamMode, GetOAEPEncodingParamMode)
  ZT_CALLERS_MAP_PAIR(unsigned char, SetPkcs1OperationMode, GetPkcs1OperationMode)
  ZT_CALLERS_MAP_PAIR(WString, SetTypePersistence, GetTypePersistence)
  ZT_CALLERS_MAP_PAIR(WString, SetKeyLabel, GetKeyLabel)
  ZT_CALLERS_MAP_PAIR(WString, SetComponentIdentifier, GetComponentIdentifier)
  ZT_CALLERS_MAP_PAIR(WString, SetComponentName, GetComponentName)
  ZT_CALLERS_MAP_PAIR(std::uint64_t, SetIterationCount, GetIterationCount)
  ZT_CALLERS_MAP_PAIR(WString, SetHMACAlgorithmName, GetHMACAlgorithmName)
  ZT_CALLERS_MAP_PAIR(WString, SetHashAlgorithmName, GetHashAlgorithmName)
#undef ZT_CALLERS_MAP_PAIR
  void SetFIPSMode(const bool& value) override {
    Check(L"SetFIPSMode");
    m_map->SetFIPSMode(value);
  }
  bool GetFIPSMode() const override {
    Check(L"GetFIPSMode");
    return m_map->GetFIPSMode();
  }

 private:
  void Check(const wchar_t* operation) const {
    if (failing.count(operation) != 0)
      throw static_cast<IException*>(new CException(L"caller", 1, L"caller's map failed", 7, nullptr));
  }
  std::unique_ptr<ICryptoParserParameterMap> m_map{ICryptoParserParameterMap::Create()};
};

// `e` is the library's "Error while parsing parameters" around the caller's map's own exception,
// `depth` levels below the outermost exception (wrapped with the same id on the way out).
inline void ExpectMapFailure(const std::unique_ptr<CCryptoException>& e, int depth = 0) {
  ASSERT_TRUE(e);
  EXPECT_EQ(e->getID(), CRYPTO_INTERNAL_ERROR);
  EXPECT_EQ(zttest::MessageAt(e.get(), depth), L"Error while parsing parameters");
  EXPECT_EQ(zttest::MessageAt(e.get(), depth + 1), L"caller's map failed");
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
