#include "dataprotection/dpapi_test_util.h"

#include <sys/stat.h>

#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>

namespace dpapitest {

namespace Testing = ZT::Platform::Testing;

namespace {

// A new private directory for this process's secrets.
std::string NewBase() {
#if defined(_WIN32)
  static std::atomic<unsigned> made{0};
  const std::filesystem::path base = std::filesystem::temp_directory_path() /
                                     ("zt_dpapi_" + std::to_string(GetCurrentProcessId()) + "_" + std::to_string(made++));
  std::error_code error;
  if (!std::filesystem::create_directory(base, error)) ADD_FAILURE() << "cannot make " << base.string();
  return base.string();
#else
  char base[] = "/tmp/zt_dpapi_XXXXXX";
  if (mkdtemp(base) == nullptr) ADD_FAILURE() << "cannot make a temporary directory";
  chmod(base, 0755);
  return base;
#endif
}

}  // namespace

SecretDirectories::SecretDirectories() : m_base(NewBase()) { Redirect(User(), Machine()); }

SecretDirectories::~SecretDirectories() {
  Testing::RestoreProtectionSecrets();
  std::error_code ignored;
  std::filesystem::remove_all(m_base, ignored);
}

void SecretDirectories::Redirect(const std::string& user, const std::string& machine) const {
  Testing::RedirectProtectionSecrets({user, machine});
}

void SecretDirectories::CreateMachineSecret() const {
  ASSERT_TRUE(ZT::Platform::CreateMachineProtectionSecret()) << std::hex << GetLastError();
}

namespace {

DATA_BLOB In(const ByteArray& bytes) {
  static unsigned char none = 0;
  return {static_cast<DWORD>(bytes.size()), bytes.empty() ? &none : const_cast<BYTE*>(bytes.data())};
}

Outcome Collect(BOOL ok, DATA_BLOB& out, LPWSTR text, LPWSTR untouched) {
  Outcome outcome{ok != FALSE, ok ? 0u : GetLastError(), {}, {}};
  if (!ok) {
    EXPECT_EQ(out.pbData, nullptr) << "output handed out by a failing call";
    EXPECT_EQ(out.cbData, 0u);
    EXPECT_EQ(text, untouched) << "description handed out by a failing call";
    return outcome;
  }
  outcome.bytes.assign(out.pbData, out.pbData + out.cbData);
  EXPECT_EQ(LocalFree(out.pbData), nullptr);
  if (text != nullptr && text != untouched) {
    outcome.description = text;
    EXPECT_EQ(LocalFree(text), nullptr);
  }
  return outcome;
}

}  // namespace

Outcome Protect(const ByteArray& data, DWORD flags, const ByteArray* entropy, const wchar_t* description) {
  DATA_BLOB in = In(data), extra = entropy != nullptr ? In(*entropy) : DATA_BLOB{}, out{};
  const BOOL ok = CryptProtectData(&in, description, entropy != nullptr ? &extra : nullptr, nullptr, nullptr, flags, &out);
  return Collect(ok, out, nullptr, nullptr);
}

Outcome Unprotect(const ByteArray& blob, const ByteArray* entropy, DWORD flags) {
  static wchar_t sentinel[] = L"untouched";
  DATA_BLOB in = In(blob), extra = entropy != nullptr ? In(*entropy) : DATA_BLOB{}, out{};
  LPWSTR text = sentinel;
  const BOOL ok = CryptUnprotectData(&in, &text, entropy != nullptr ? &extra : nullptr, nullptr, nullptr, flags, &out);
  return Collect(ok, out, text, sentinel);
}

ByteArray FileBytes(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return ByteArray(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
}

}  // namespace dpapitest
