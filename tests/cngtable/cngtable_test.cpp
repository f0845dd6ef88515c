// The CNG service table loader: what it loads, the lines it writes, and that every failure
// leaves the table empty with both modules released.
#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "framework/crypto.cngtable.h"
#include "platform/testing.h"
#include "support/log_capture.h"

namespace {

using namespace ZT::Framework;
using zttest::LogCapture;
namespace hooks = ZT::Platform::Testing;

template <class F>
FARPROC ProcOf(F* function) {
  return reinterpret_cast<FARPROC>(reinterpret_cast<void (*)()>(function));
}

// Every entry of the table with the seam function it must resolve to, in table order.
const std::pair<CNGEntry, FARPROC> kExpectedEntries[] = {
    {CNGEntry::BCryptGetProperty, ProcOf(&BCryptGetProperty)},
    {CNGEntry::BCryptSetProperty, ProcOf(&BCryptSetProperty)},
    {CNGEntry::BCryptOpenAlgorithmProvider, ProcOf(&BCryptOpenAlgorithmProvider)},
    {CNGEntry::BCryptCloseAlgorithmProvider, ProcOf(&BCryptCloseAlgorithmProvider)},
    {CNGEntry::BCryptImportKeyPair, ProcOf(&BCryptImportKeyPair)},
    {CNGEntry::BCryptImportKey, ProcOf(&BCryptImportKey)},
    {CNGEntry::BCryptExportKey, ProcOf(&BCryptExportKey)},
    {CNGEntry::BCryptGenerateKeyPair, ProcOf(&BCryptGenerateKeyPair)},
    {CNGEntry::BCryptFinalizeKeyPair, ProcOf(&BCryptFinalizeKeyPair)},
    {CNGEntry::BCryptDestroyKey, ProcOf(&BCryptDestroyKey)},
    {CNGEntry::BCryptEncrypt, ProcOf(&BCryptEncrypt)},
    {CNGEntry::BCryptDecrypt, ProcOf(&BCryptDecrypt)},
    {CNGEntry::BCryptGenRandom, ProcOf(&BCryptGenRandom)},
    {CNGEntry::BCryptCreateHash, ProcOf(&BCryptCreateHash)},
    {CNGEntry::BCryptHashData, ProcOf(&BCryptHashData)},
    {CNGEntry::BCryptFinishHash, ProcOf(&BCryptFinishHash)},
    {CNGEntry::BCryptDestroyHash, ProcOf(&BCryptDestroyHash)},
    {CNGEntry::BCryptSecretAgreement, ProcOf(&BCryptSecretAgreement)},
    {CNGEntry::BCryptDeriveKey, ProcOf(&BCryptDeriveKey)},
    {CNGEntry::BCryptDeriveKeyPBKDF2, ProcOf(&BCryptDeriveKeyPBKDF2)},
    {CNGEntry::BCryptDestroySecret, ProcOf(&BCryptDestroySecret)},
    {CNGEntry::NCryptExportKey, ProcOf(&NCryptExportKey)},
    {CNGEntry::NCryptFreeObject, ProcOf(&NCryptFreeObject)},
    {CNGEntry::NCryptSetProperty, ProcOf(&NCryptSetProperty)},
};
static_assert(std::size(kExpectedEntries) == kCNGEntryCount);

const std::wstring kEntryLine = L"8|CryptoSoftCNGWrapper::LoadCNGLibrary";
const std::wstring kBcryptLoaded = L"0|CryptoSoftCNGWrapper::LoadCNGLibrary : LoadLibrary (BCrypt) succeeded";
const std::wstring kNcryptLoaded = L"0|CryptoSoftCNGWrapper::LoadCNGLibrary : LoadLibrary (NCrypt) succeeded";
const std::wstring kUnloadLine = L"2|CryptoSoftCNGWrapper::UnloadCNGLibrary";
const std::wstring kReturnsTrue = L"16|CryptoSoftCNGWrapper::LoadCNGLibrary : returns true";
const std::wstring kReturnsFalse = L"16|CryptoSoftCNGWrapper::LoadCNGLibrary : returns false";

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

  void ExpectEmptyTable() const {
    for (const auto& [entry, address] : kExpectedEntries)
      EXPECT_EQ(CryptoSoftCNGWrapper::Entry(entry), nullptr) << static_cast<std::size_t>(entry);
    EXPECT_EQ(hooks::ModuleReferenceCount(L"Bcrypt.dll"), m_bcryptBefore) << "Bcrypt.dll still referenced";
    EXPECT_EQ(hooks::ModuleReferenceCount(L"Ncrypt.dll"), m_ncryptBefore) << "Ncrypt.dll still referenced";
  }

  void ExpectFullTable() const {
    for (const auto& [entry, address] : kExpectedEntries)
      EXPECT_EQ(CryptoSoftCNGWrapper::Entry(entry), address) << static_cast<std::size_t>(entry);
    EXPECT_EQ(hooks::ModuleReferenceCount(L"Bcrypt.dll"), m_bcryptBefore + 1);
    EXPECT_EQ(hooks::ModuleReferenceCount(L"Ncrypt.dll"), m_ncryptBefore + 1);
  }

  ULONG m_bcryptBefore = 0;
  ULONG m_ncryptBefore = 0;
};

TEST_F(CngTable, LoadsAllEntriesInTableOrderOnce) {
  LogCapture capture;
  ASSERT_TRUE(CryptoSoftCNGWrapper::LoadCNGLibrary());
  EXPECT_EQ(capture.Trace(), (std::vector<std::wstring>{kEntryLine, kBcryptLoaded, kNcryptLoaded, kReturnsTrue}));
  ExpectFullTable();

  capture.Clear();
  ASSERT_TRUE(CryptoSoftCNGWrapper::LoadCNGLibrary());
  EXPECT_EQ(capture.Trace(), std::vector<std::wstring>{kEntryLine}) << "the loaded table is taken as it is";
  ExpectFullTable();
}

TEST_F(CngTable, MissingBcryptLibraryFailsWithItsDecimalError) {
  hooks::FailModuleLoad(L"Bcrypt.dll");
  LogCapture capture;
  EXPECT_FALSE(CryptoSoftCNGWrapper::LoadCNGLibrary());
  EXPECT_EQ(capture.Trace(),
            (std::vector<std::wstring>{kEntryLine, L"1|CryptoSoftCNGWrapper::LoadCNGLibrary : LoadLibrary (BCrypt) failed (126)",
                                       kUnloadLine, kReturnsFalse}));
  ExpectEmptyTable();
}

// The entry's failure line, then the unloading, both at level 2; the table ends empty and
// Bcrypt.dll released whichever entry is missing.
TEST_F(CngTable, MissingBcryptEntryEmptiesTheTable) {
  const std::pair<const char*, std::wstring> cases[] = {
      {"BCryptGetProperty", L"Loading BCryptGetProperty failed (0x7f)"},
      {"BCryptDecrypt", L"Loading pBCryptDecrypt failed (0x7f)"},  // the name carries a "p"
      {"BCryptDestroySecret", L"Loading BCryptDestroySecret failed (0x7f)"},
  };
  for (const auto& [entry, line] : cases) {
    SCOPED_TRACE(entry);
    hooks::ResetModuleHooks();
    hooks::HideModuleEntry(L"Bcrypt.dll", entry);
    LogCapture capture;
    EXPECT_FALSE(CryptoSoftCNGWrapper::LoadCNGLibrary());
    EXPECT_EQ(capture.Trace(), (std::vector<std::wstring>{kEntryLine, kBcryptLoaded,
                                                          L"2|CryptoSoftCNGWrapper::LoadCNGLibrary : " + line,
                                                          kUnloadLine, kReturnsFalse}));
    ExpectEmptyTable();
  }
}

TEST_F(CngTable, MissingNcryptLibraryAlsoReleasesBcrypt) {
  hooks::FailModuleLoad(L"Ncrypt.dll");
  LogCapture capture;
  EXPECT_FALSE(CryptoSoftCNGWrapper::LoadCNGLibrary());
  EXPECT_EQ(capture.Trace(),
            (std::vector<std::wstring>{kEntryLine, kBcryptLoaded,
                                       L"1|CryptoSoftCNGWrapper::LoadCNGLibrary : LoadLibrary (NCrypt) failed (126)",
                                       kUnloadLine, kReturnsFalse}));
  ExpectEmptyTable();
}

TEST_F(CngTable, MissingNcryptEntryEmptiesTheTable) {
  hooks::HideModuleEntry(L"Ncrypt.dll", "NCryptSetProperty");
  LogCapture capture;
  EXPECT_FALSE(CryptoSoftCNGWrapper::LoadCNGLibrary());
  EXPECT_EQ(capture.Trace(),
            (std::vector<std::wstring>{kEntryLine, kBcryptLoaded, kNcryptLoaded,
                                       L"2|CryptoSoftCNGWrapper::LoadCNGLibrary : Loading NCryptSetProperty failed (0x7f)",
                                       kUnloadLine, kReturnsFalse}));
  ExpectEmptyTable();
}

TEST_F(CngTable, CallAfterAFailureStartsOver) {
  hooks::FailModuleLoad(L"Ncrypt.dll");
  ASSERT_FALSE(CryptoSoftCNGWrapper::LoadCNGLibrary());
  hooks::ResetModuleHooks();
  LogCapture capture;
  EXPECT_TRUE(CryptoSoftCNGWrapper::LoadCNGLibrary());
  EXPECT_EQ(capture.Trace(), (std::vector<std::wstring>{kEntryLine, kBcryptLoaded, kNcryptLoaded, kReturnsTrue}));
  ExpectFullTable();
}

// Threads that find the table empty at once may all load it; the table ends full with one
// reference on each module, whichever thread won.
TEST_F(CngTable, ConcurrentFirstCallsLeaveOneFullTable) {
  constexpr int kThreads = 8;
  std::vector<std::thread> threads;
  std::vector<char> results(kThreads, 0);
  for (int i = 0; i < kThreads; ++i)
    threads.emplace_back([&results, i] { results[i] = CryptoSoftCNGWrapper::LoadCNGLibrary() ? 1 : 0; });
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(results, std::vector<char>(kThreads, 1));
  ExpectFullTable();
}

}  // namespace
