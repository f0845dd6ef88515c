// The CNG service table loader: entries, lines, and an empty table after every failure.
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "cng/crypto.cng.servicetable.h"
#include "platform/testing.h"
#include "support/log_capture.h"

namespace {

using namespace ZT::Framework;
using zttest::LogCapture;
using Trace = std::vector<std::wstring>;
namespace hooks = ZT::Platform::Testing;

// Every entry of the table with the export it must resolve to, in table order.
#define ZT_ENTRY(name) {CNGEntry::name, #name}
const std::pair<CNGEntry, const char*> kExpectedEntries[] = {
    ZT_ENTRY(BCryptGetProperty),     ZT_ENTRY(BCryptSetProperty),     ZT_ENTRY(BCryptOpenAlgorithmProvider),
    ZT_ENTRY(BCryptCloseAlgorithmProvider), ZT_ENTRY(BCryptImportKeyPair), ZT_ENTRY(BCryptImportKey),
    ZT_ENTRY(BCryptExportKey),       ZT_ENTRY(BCryptGenerateKeyPair), ZT_ENTRY(BCryptFinalizeKeyPair),
    ZT_ENTRY(BCryptDestroyKey),      ZT_ENTRY(BCryptEncrypt),         ZT_ENTRY(BCryptDecrypt),
    ZT_ENTRY(BCryptGenRandom),       ZT_ENTRY(BCryptCreateHash),      ZT_ENTRY(BCryptHashData),
    ZT_ENTRY(BCryptFinishHash),      ZT_ENTRY(BCryptDestroyHash),     ZT_ENTRY(BCryptSecretAgreement),
    ZT_ENTRY(BCryptDeriveKey),       ZT_ENTRY(BCryptDeriveKeyPBKDF2), ZT_ENTRY(BCryptDestroySecret),
    ZT_ENTRY(NCryptExportKey),       ZT_ENTRY(NCryptFreeObject),      ZT_ENTRY(NCryptSetProperty),
};
#undef ZT_ENTRY
static_assert(std::size(kExpectedEntries) == kCNGEntryCount);

const std::wstring kLoad = L"CryptoSoftCNGWrapper::LoadCNGLibrary";
const std::wstring kEntryLine = L"8|" + kLoad;
const std::wstring kBcryptLoaded = L"0|" + kLoad + L" : LoadLibrary (BCrypt) succeeded";
const std::wstring kNcryptLoaded = L"0|" + kLoad + L" : LoadLibrary (NCrypt) succeeded";
const std::wstring kUnloadLine = L"2|CryptoSoftCNGWrapper::UnloadCNGLibrary";
const std::wstring kReturnsTrue = L"16|" + kLoad + L" : returns true";
const std::wstring kReturnsFalse = L"16|" + kLoad + L" : returns false";

// Each test starts from an empty table and leaves one, with no hooks set.
class CngTable : public ::testing::Test {
 protected:
  void SetUp() override {
    CryptoSoftCNGWrapper::UnloadCNGLibrary();
    m_bcryptBefore = hooks::ModuleReferenceCount(L"Bcrypt.dll");
    m_ncryptBefore = hooks::ModuleReferenceCount(L"Ncrypt.dll");
  }
  void TearDown() override {
    hooks::ResetModuleHooks();
    CryptoSoftCNGWrapper::UnloadCNGLibrary();
  }

  // What the platform's loader hands out for the export `name` (the seam function of that name,
  // or the seam's wrapper of the system's); it takes no reference of its own.
  static FARPROC Export(const char* name) {
    const wchar_t* module = std::string_view(name).starts_with("NCrypt") ? L"Ncrypt.dll" : L"Bcrypt.dll";
    const HMODULE handle = LoadLibraryW(module);
    const FARPROC address = GetProcAddress(handle, name);
    FreeLibrary(handle);
    EXPECT_NE(address, nullptr) << name;
    return address;
  }

  // Every entry resolved and one reference on each module, or no entry and no reference.
  void ExpectTable(bool full) const {
    for (const auto& [entry, name] : kExpectedEntries)
      EXPECT_EQ(CryptoSoftCNGWrapper::Entry(entry), full ? Export(name) : nullptr) << name;
    EXPECT_EQ(hooks::ModuleReferenceCount(L"Bcrypt.dll"), m_bcryptBefore + (full ? 1 : 0)) << "Bcrypt.dll references";
    EXPECT_EQ(hooks::ModuleReferenceCount(L"Ncrypt.dll"), m_ncryptBefore + (full ? 1 : 0)) << "Ncrypt.dll references";
  }

  ULONG m_bcryptBefore = 0;
  ULONG m_ncryptBefore = 0;
};

// A library that fails to load writes its decimal error at level 1; a missing entry writes its
// name at level 2 (pBCryptDecrypt with its stray "p"). Then the unloading, and an empty table.
TEST_F(CngTable, EachMissingLibraryOrEntryEmptiesTheTableAndTheNextCallLoadsAll) {
  const struct {
    std::function<void()> hook;
    Trace lines;
  } cases[] = {
      {[] { hooks::FailModuleLoad(L"Bcrypt.dll"); }, {L"1|" + kLoad + L" : LoadLibrary (BCrypt) failed (126)"}},
      {[] { hooks::HideModuleEntry(L"Bcrypt.dll", "BCryptGetProperty"); },
       {kBcryptLoaded, L"2|" + kLoad + L" : Loading BCryptGetProperty failed (0x7f)"}},
      {[] { hooks::HideModuleEntry(L"Bcrypt.dll", "BCryptDecrypt"); },
       {kBcryptLoaded, L"2|" + kLoad + L" : Loading pBCryptDecrypt failed (0x7f)"}},
      {[] { hooks::HideModuleEntry(L"Bcrypt.dll", "BCryptDestroySecret"); },
       {kBcryptLoaded, L"2|" + kLoad + L" : Loading BCryptDestroySecret failed (0x7f)"}},
      {[] { hooks::FailModuleLoad(L"Ncrypt.dll"); },
       {kBcryptLoaded, L"1|" + kLoad + L" : LoadLibrary (NCrypt) failed (126)"}},
      {[] { hooks::HideModuleEntry(L"Ncrypt.dll", "NCryptSetProperty"); },
       {kBcryptLoaded, kNcryptLoaded, L"2|" + kLoad + L" : Loading NCryptSetProperty failed (0x7f)"}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.lines.back());
    hooks::ResetModuleHooks();
    c.hook();
    LogCapture capture;
    EXPECT_FALSE(CryptoSoftCNGWrapper::LoadCNGLibrary());
    Trace expected{kEntryLine};
    expected.insert(expected.end(), c.lines.begin(), c.lines.end());
    expected.insert(expected.end(), {kUnloadLine, kReturnsFalse});
    EXPECT_EQ(capture.Trace(), expected);
    ExpectTable(false);
  }
  // A call after a failure starts over and loads every entry; a loaded table is taken as it is.
  hooks::ResetModuleHooks();
  LogCapture capture;
  EXPECT_TRUE(CryptoSoftCNGWrapper::LoadCNGLibrary());
  EXPECT_EQ(capture.Trace(), (Trace{kEntryLine, kBcryptLoaded, kNcryptLoaded, kReturnsTrue}));
  ExpectTable(true);
  capture.Clear();
  ASSERT_TRUE(CryptoSoftCNGWrapper::LoadCNGLibrary());
  EXPECT_EQ(capture.Trace(), Trace{kEntryLine});
  ExpectTable(true);
}

// Threads that find the table empty at once may all load it; the table ends full with one
// reference on each module, whichever thread won.
TEST_F(CngTable, ConcurrentFirstCallsLeaveOneFullTable) {
  std::vector<std::thread> threads;
  std::vector<char> results(8, 0);
  for (int i = 0; i < 8; ++i)
    threads.emplace_back([&results, i] { results[i] = CryptoSoftCNGWrapper::LoadCNGLibrary() ? 1 : 0; });
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(results, std::vector<char>(8, 1));
  ExpectTable(true);
}

}  // namespace
