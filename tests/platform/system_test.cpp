// GUIDs, rand_s, the last error, the key storage entries and the module registry.

#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstring>
#include <set>
#include <thread>

#include "platform/testing.h"
#include "platform_test_util.h"

using namespace zttest;
namespace hooks = ZT::Platform::Testing;

// Version, variant, memory order and uniqueness of GUIDs are checked through GUIDGenerator.
// rand_s serves its values from a block of the generator's output: across several blocks no value
// comes back (three repeats among 3000 draws of 32 bits would take odds below 2^-30), and a
// forked child does not hand out what its parent hands out next.
TEST(SystemRandom, GuidLayoutAndRandSNeverRepeatsItsBlockNorSharesItWithAForkedChild) {
  static_assert(sizeof(GUID) == 16);
  static_assert(offsetof(GUID, Data2) == 4 && offsetof(GUID, Data3) == 6 && offsetof(GUID, Data4) == 8);
  GUID guid{};
  ASSERT_EQ(CoCreateGuid(&guid), S_OK);
  EXPECT_EQ(guid.Data3 >> 12, 4) << "version, in the field as the GUID's reader sees it";
  EXPECT_EQ(CoCreateGuid(nullptr), E_INVALIDARG);
  EXPECT_EQ(rand_s(nullptr), EINVAL);

  std::set<unsigned int> values;
  for (int i = 0; i < 3000; ++i) {
    unsigned int value = 0;
    ASSERT_EQ(rand_s(&value), 0);
    values.insert(value);
  }
  EXPECT_GE(values.size(), 2998u);

  int pipeEnds[2];
  ASSERT_EQ(pipe(pipeEnds), 0);
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    unsigned int next[4] = {};
    for (unsigned int& value : next) rand_s(&value);
    _exit(write(pipeEnds[1], next, sizeof next) == sizeof next ? 0 : 1);
  }
  unsigned int ours[4] = {}, theirs[4] = {};
  for (unsigned int& value : ours) rand_s(&value);
  ASSERT_EQ(read(pipeEnds[0], theirs, sizeof theirs), static_cast<ssize_t>(sizeof theirs));
  int status = 0;
  waitpid(child, &status, 0);
  close(pipeEnds[0]);
  close(pipeEnds[1]);
  EXPECT_NE(std::memcmp(ours, theirs, sizeof ours), 0);
}

TEST(LastError, BelongsToEachThread) {
  SetLastError(ERROR_MORE_DATA);
  DWORD seenByOther = 1;
  std::thread other([&] {
    seenByOther = GetLastError();
    SetLastError(ERROR_INVALID_PARAMETER);
  });
  other.join();
  EXPECT_EQ(seenByOther, static_cast<DWORD>(ERROR_SUCCESS));
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_MORE_DATA));
}

TEST(NCrypt, HandlesNoProviderIssuedAreInvalid) {
  DWORD size = 0;
  BYTE value[4] = {};
  for (NCRYPT_HANDLE handle : {NCRYPT_HANDLE{0}, NCRYPT_HANDLE{0x1234}}) {
    EXPECT_EQ(NCryptExportKey(handle, 0, L"RSAPUBLICBLOB", nullptr, nullptr, 0, &size, 0), NTE_INVALID_HANDLE);
    EXPECT_EQ(NCryptFreeObject(handle), NTE_INVALID_HANDLE);
    EXPECT_EQ(NCryptSetProperty(handle, L"Length", value, 4, 0), NTE_INVALID_HANDLE);
  }
}

class ModuleRegistry : public ::testing::Test {
 protected:
  void TearDown() override { hooks::ResetModuleHooks(); }
};

// Every entry resolving to its seam function is checked through the CNG table's loader; here, the
// names, the references, and that each module exports only its own entries.
TEST_F(ModuleRegistry, MatchesNamesAsWindowsDoesAndCountsReferences) {
  const ULONG before = hooks::ModuleReferenceCount(L"bcrypt.dll");
  HMODULE a = LoadLibraryW(L"Bcrypt.dll"), b = LoadLibraryW(L"BCRYPT.DLL"), c = LoadLibraryW(L"bcrypt"),
          d = LoadLibraryW(L"C:\\Windows\\System32\\bcrypt.dll");
  ASSERT_NE(a, nullptr);
  EXPECT_EQ(std::set<HMODULE>({a, b, c, d}).size(), 1u);
  EXPECT_EQ(hooks::ModuleReferenceCount(L"Bcrypt.dll"), before + 4);
  EXPECT_EQ(GetProcAddress(a, "NCryptFreeObject"), nullptr) << "each module exports only its own entries";
  for (HMODULE m : {a, b, c, d}) EXPECT_TRUE(FreeLibrary(m));
  EXPECT_EQ(hooks::ModuleReferenceCount(L"Bcrypt.dll"), before);

  for (const wchar_t* name : {L"Bcrypt.dl", L"Advapi32.dll"}) {
    SetLastError(0);
    EXPECT_EQ(ErrorOf(LoadLibraryW(name) != nullptr), Code(ERROR_MOD_NOT_FOUND));
  }

  HMODULE m = LoadLibraryW(L"ncrypt.dll");
  ASSERT_NE(m, nullptr);
  EXPECT_NE(m, a);
  EXPECT_EQ(GetProcAddress(m, "BCryptEncrypt"), nullptr);
  EXPECT_EQ(ErrorOf(GetProcAddress(m, "ncryptfreeobject") != nullptr), Code(ERROR_PROC_NOT_FOUND))
      << "export names are case-sensitive";
  EXPECT_EQ(GetProcAddress(m, reinterpret_cast<LPCSTR>(std::uintptr_t{1})), nullptr) << "no ordinals";
  EXPECT_TRUE(FreeLibrary(m));
  // Nothing else in this process holds ncrypt.dll: its handle now names no loaded module.
  ASSERT_EQ(hooks::ModuleReferenceCount(L"ncrypt.dll"), 0u);
  EXPECT_EQ(ErrorOf(GetProcAddress(m, "NCryptFreeObject") != nullptr), Code(ERROR_MOD_NOT_FOUND));
  EXPECT_FALSE(FreeLibrary(m));
  EXPECT_EQ(GetProcAddress(reinterpret_cast<HMODULE>(&m), "BCryptEncrypt"), nullptr);
  EXPECT_TRUE(SetDllDirectoryW(L""));
}

// The default failure (ERROR_MOD_NOT_FOUND, no reference taken) is seen through the CNG table's loader.
TEST_F(ModuleRegistry, HooksMakeAModuleFailToLoadOrLackAnEntry) {
  hooks::FailModuleLoad(L"NCRYPT.DLL", ERROR_NOT_ENOUGH_MEMORY);
  EXPECT_EQ(ErrorOf(LoadLibraryW(L"ncrypt") != nullptr), Code(ERROR_NOT_ENOUGH_MEMORY));

  HMODULE bcrypt = LoadLibraryW(L"Bcrypt.dll");
  ASSERT_NE(bcrypt, nullptr) << "only the named module fails";
  hooks::HideModuleEntry(L"Bcrypt.dll", "BCryptDecrypt");
  EXPECT_EQ(ErrorOf(GetProcAddress(bcrypt, "BCryptDecrypt") != nullptr), Code(ERROR_PROC_NOT_FOUND));
  EXPECT_NE(GetProcAddress(bcrypt, "BCryptEncrypt"), nullptr);

  hooks::ResetModuleHooks();
  EXPECT_NE(GetProcAddress(bcrypt, "BCryptDecrypt"), nullptr);
  HMODULE ncrypt = LoadLibraryW(L"Ncrypt.dll");
  EXPECT_NE(ncrypt, nullptr);
  if (ncrypt != nullptr) FreeLibrary(ncrypt);
  FreeLibrary(bcrypt);
}

TEST_F(ModuleRegistry, ThreadsLoadAndFreeConcurrently) {
  const ULONG before = hooks::ModuleReferenceCount(L"bcrypt.dll");
  InThreads(4, [](int) {
    for (int i = 0; i < 500; ++i) {
      HMODULE m = LoadLibraryW(L"Bcrypt.dll");
      if (m != nullptr && GetProcAddress(m, "BCryptHashData") != nullptr) FreeLibrary(m);
    }
  });
  EXPECT_EQ(hooks::ModuleReferenceCount(L"bcrypt.dll"), before);
}
