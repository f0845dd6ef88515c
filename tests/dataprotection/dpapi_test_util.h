// Helpers of the data-protection tests: secrets in temporary directories, the platform's two
// calls with their outputs taken over, and the blob's documented layout.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "engines/engine_test_util.h"
#include "platform/dpapi.h"
#include "platform/testing.h"

namespace dpapitest {

using namespace enginetest;

// The service's secrets in a new temporary directory (traversable by every user, so that a test
// may hand a part of it to another one), for as long as this lives; removed afterwards.
class SecretDirectories {
 public:
  SecretDirectories();
  ~SecretDirectories();
  SecretDirectories(const SecretDirectories&) = delete;
  SecretDirectories& operator=(const SecretDirectories&) = delete;

  std::string User() const { return m_base + "/user"; }
  std::string Machine() const { return m_base + "/machine"; }
  std::string UserSecret() const { return User() + "/user.secret"; }
  std::string MachineSecret() const { return Machine() + "/machine.secret"; }
  // Points the service at other directories under this one ("other-user", "other-machine", ...).
  std::string Under(const std::string& name) const { return m_base + "/" + name; }
  void Redirect(const std::string& user, const std::string& machine) const;
  // Creates the machine's secret, as the administrator's command does.
  void CreateMachineSecret() const;

 private:
  std::string m_base;
};

// What one platform call gave. On failure the helpers check that nothing was handed out: the
// output blob and the description pointer are as they were before the call.
struct Outcome {
  bool ok = false;
  DWORD code = 0;
  ByteArray bytes;
  std::wstring description;
};

Outcome Protect(const ByteArray& data, DWORD flags = CRYPTPROTECT_UI_FORBIDDEN, const ByteArray* entropy = nullptr,
                const wchar_t* description = nullptr);
Outcome Unprotect(const ByteArray& blob, const ByteArray* entropy = nullptr,
                  DWORD flags = CRYPTPROTECT_UI_FORBIDDEN);

// The blob's layout (platform/openssl/dpapi.md).
inline constexpr std::size_t kScopeOffset = 5;
inline constexpr std::size_t kHeaderSize = 50;
inline constexpr std::size_t kTagSize = 16;
inline constexpr unsigned char kUserScope = 1;
inline constexpr unsigned char kMachineScope = 2;

// The key the symmetric key system store lists for `label` ("User" or "Device").
inline std::unique_ptr<IKey> StoreKey(const WString& label) {
  const std::unique_ptr<ISymetricKeySystemStore> store(ISymetricKeySystemStore::Load(L""));
  const std::unique_ptr<ICryptoParserFilter> filter(ICryptoParserFilter::Create());
  filter->SetLabel(label);
  SymetricKeyList keys;
  EXPECT_EQ(store->ListSymetricKey(filter.get(), keys), 1u);
  return std::unique_ptr<IKey>(keys.front());
}

// The file's bytes (empty when it cannot be read).
ByteArray FileBytes(const std::string& path);

}  // namespace dpapitest
