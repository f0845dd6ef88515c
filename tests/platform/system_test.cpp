// GUIDs, rand_s, the last error, the key storage entries, the module registry, files and file
// mapping on POSIX, and armed call failures.

#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <fstream>
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

namespace {

// ---- files: the dispositions, the access a mapping and a view need, the mapping that outlives its
// file handle, and the release of bad handles and addresses -----------------------------------------

std::wstring WideAscii(const std::string& text) { return std::wstring(text.begin(), text.end()); }

class Files : public ::testing::Test {
 protected:
  void SetUp() override {
    m_path = testing::TempDir() + "zt-files-" + std::to_string(::getpid());
    std::ofstream(m_path, std::ios::binary) << "0123456789";
    m_live = hooks::LiveHandleCount();
  }
  void TearDown() override {
    std::remove(m_path.c_str());
    EXPECT_EQ(hooks::LiveHandleCount(), m_live) << "handles left open";
  }
  HANDLE Open(DWORD access, DWORD disposition) {
    return CreateFileW(WideAscii(m_path).c_str(), access, 0, nullptr, disposition, FILE_ATTRIBUTE_NORMAL, nullptr);
  }
  std::string m_path;
  std::size_t m_live = 0;
};

TEST_F(Files, DispositionsAsPublished) {
  EXPECT_EQ(ErrorOf(Open(GENERIC_READ | GENERIC_WRITE, CREATE_NEW) != INVALID_HANDLE_VALUE), Code(ERROR_FILE_EXISTS));
  EXPECT_EQ(Open(GENERIC_READ, TRUNCATE_EXISTING), INVALID_HANDLE_VALUE);  // truncation needs write access
  HANDLE file = Open(GENERIC_READ | GENERIC_WRITE, CREATE_ALWAYS);
  ASSERT_NE(file, INVALID_HANDLE_VALUE);
  EXPECT_EQ(GetLastError(), Code(ERROR_ALREADY_EXISTS));
  DWORD high = 1;
  EXPECT_EQ(GetFileSize(file, &high), 0u);
  EXPECT_EQ(high, 0u);
  EXPECT_TRUE(CloseHandle(file));
  EXPECT_EQ(ErrorOf(CloseHandle(file)), Code(ERROR_INVALID_HANDLE));
  // Only regular files: a FIFO is refused at once instead of waiting for a writer.
  const std::string fifo = m_path + ".fifo";
  ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
  EXPECT_EQ(ErrorOf(CreateFileW(WideAscii(fifo).c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr) !=
                    INVALID_HANDLE_VALUE),
            Code(ERROR_ACCESS_DENIED));
  std::remove(fifo.c_str());
}

TEST_F(Files, MappingsAndViewsNeedTheAccessTheyGrantAndAWritableOneWritesThrough) {
  HANDLE file = Open(GENERIC_READ, OPEN_EXISTING);
  ASSERT_NE(file, INVALID_HANDLE_VALUE);
  EXPECT_EQ(ErrorOf(CreateFileMappingW(file, nullptr, PAGE_READWRITE, 0, 0, nullptr) != nullptr), Code(ERROR_ACCESS_DENIED));
  // A read-only mapping cannot grow the file.
  EXPECT_EQ(ErrorOf(CreateFileMappingW(file, nullptr, PAGE_READONLY, 0, 11, nullptr) != nullptr), Code(ERROR_ACCESS_DENIED));
  HANDLE mapping = CreateFileMappingW(file, nullptr, PAGE_READONLY, 0, 0, nullptr);
  ASSERT_NE(mapping, nullptr);
  EXPECT_TRUE(CloseHandle(file));  // the mapping keeps the file
  EXPECT_EQ(ErrorOf(MapViewOfFile(mapping, FILE_MAP_WRITE, 0, 0, 0) != nullptr), Code(ERROR_ACCESS_DENIED));
  EXPECT_EQ(ErrorOf(MapViewOfFile(mapping, FILE_MAP_READ, 0, 4096, 0) != nullptr), Code(ERROR_MAPPED_ALIGNMENT));
  LPVOID view = MapViewOfFile(mapping, FILE_MAP_READ, 0, 0, 0);
  ASSERT_NE(view, nullptr);
  EXPECT_EQ(std::memcmp(view, "0123456789", 10), 0);
  EXPECT_EQ(ErrorOf(UnmapViewOfFile(static_cast<char*>(view) + 1)), Code(ERROR_INVALID_ADDRESS));
  EXPECT_TRUE(UnmapViewOfFile(view));
  EXPECT_TRUE(CloseHandle(mapping));

  // A writable mapping grows the file, and its view writes through.
  file = Open(GENERIC_READ | GENERIC_WRITE | GENERIC_EXECUTE, OPEN_EXISTING);
  ASSERT_NE(file, INVALID_HANDLE_VALUE);
  mapping = CreateFileMappingW(file, nullptr, PAGE_EXECUTE_READWRITE, 0, 16, nullptr);
  ASSERT_NE(mapping, nullptr);
  view = MapViewOfFile(mapping, FILE_MAP_ALL_ACCESS, 0, 0, 0);
  ASSERT_NE(view, nullptr);
  std::memcpy(static_cast<char*>(view) + 10, "abcdef", 6);
  EXPECT_EQ(GetFileSize(file, nullptr), 16u);
  EXPECT_TRUE(UnmapViewOfFile(view));
  EXPECT_TRUE(CloseHandle(mapping));
  EXPECT_TRUE(CloseHandle(file));
  std::ifstream in(m_path, std::ios::binary);
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(in), {}), "0123456789abcdef");
}

// ---- armed call failures: which calls fail, how each kind of entry reports it, and that the
// seam's own use of an entry is not counted -------------------------------------------------------

class CallFailures : public ::testing::Test {
 protected:
  void TearDown() override { hooks::ResetCallFailures(); }
};

NTSTATUS SystemRandom(unsigned char* byte) {
  return BCryptGenRandom(nullptr, byte, 1, BCRYPT_USE_SYSTEM_PREFERRED_RNG);
}

TEST_F(CallFailures, OnlyTheArmedCallsFailEachAsItsEntryReportsFailures) {
  unsigned char byte = 0;
  hooks::FailCall("BCryptGenRandom", STATUS_NO_MEMORY, 2, 2);
  EXPECT_EQ(hooks::PendingCallFailures(), 2u);
  std::vector<NTSTATUS> results;
  for (int i = 0; i < 4; ++i) results.push_back(SystemRandom(&byte));
  EXPECT_EQ(results, (std::vector<NTSTATUS>{STATUS_SUCCESS, STATUS_NO_MEMORY, STATUS_NO_MEMORY, STATUS_SUCCESS}));
  EXPECT_EQ(hooks::PendingCallFailures(), 0u);

  // Another entry's calls do not count; a second arming replaces the first; a reset disarms.
  hooks::FailCall("BCryptGenRandom", STATUS_NO_MEMORY, 3);
  hooks::FailNextCall("BCryptGenRandom", STATUS_UNSUCCESSFUL);
  hooks::FailNextCall("BCryptHashData", STATUS_INVALID_HANDLE);
  EXPECT_EQ(SystemRandom(&byte), STATUS_UNSUCCESSFUL);
  EXPECT_EQ(SystemRandom(&byte), STATUS_SUCCESS);
  hooks::ResetCallFailures();
  EXPECT_EQ(hooks::PendingCallFailures(), 0u);
  EXPECT_EQ(BCryptHashData(nullptr, nullptr, 0, 0), STATUS_INVALID_HANDLE) << "the seam's own answer";

  // The trust store reads its certificates without the entry: the armed call is still to come.
  hooks::FailNextCall("CertCreateCertificateContext", static_cast<DWORD>(CRYPT_E_ASN1_CORRUPT));
  hooks::ReplaceTrustStore({{ReadFixtureFile("certs/root.der")}, {}, {}});
  hooks::RestoreTrustStore();
  EXPECT_EQ(hooks::PendingCallFailures(), 1u);
  hooks::ResetCallFailures();

  // A failing call does nothing: no handle, no context, and the code where the entry reports it.
  const std::size_t handles = hooks::LiveHandleCount();
  HCRYPTPROV provider = 0;
  hooks::FailNextCall("CryptAcquireContextW", static_cast<DWORD>(NTE_FAIL));
  EXPECT_EQ(ErrorOf(CryptAcquireContextW(&provider, nullptr, nullptr, PROV_RSA_FULL, CRYPT_VERIFYCONTEXT)),
            Code(NTE_FAIL));
  EXPECT_EQ(provider, 0u);

  const Bytes der = ReadFixtureFile("certs/root.der");
  hooks::FailNextCall("CertCreateCertificateContext", static_cast<DWORD>(CRYPT_E_ASN1_CORRUPT));
  EXPECT_EQ(CertCreateCertificateContext(X509_ASN_ENCODING, der.data(), static_cast<DWORD>(der.size())), nullptr);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(CRYPT_E_ASN1_CORRUPT));

  GUID guid{};
  hooks::FailNextCall("CoCreateGuid", static_cast<DWORD>(E_OUTOFMEMORY));
  EXPECT_EQ(CoCreateGuid(&guid), E_OUTOFMEMORY);
  unsigned int value = 0;
  hooks::FailNextCall("rand_s", 12);
  EXPECT_EQ(rand_s(&value), 12);
  SYSTEMTIME time{};
  hooks::FailNextCall("VariantTimeToSystemTime", 0);
  EXPECT_FALSE(VariantTimeToSystemTime(45000.0, &time));
  EXPECT_TRUE(VariantTimeToSystemTime(45000.0, &time));
  EXPECT_EQ(hooks::LiveHandleCount(), handles);
}

// The count is shared by all threads: exactly the armed number of calls fail among them.
TEST_F(CallFailures, ThreadsShareTheArmedCalls) {
  hooks::FailCall("BCryptGenRandom", STATUS_NO_MEMORY, 10, 25);
  std::atomic<int> failed{0};
  InThreads(4, [&](int) {
    unsigned char byte = 0;
    for (int i = 0; i < 50; ++i)
      if (SystemRandom(&byte) == STATUS_NO_MEMORY) ++failed;
  });
  EXPECT_EQ(failed.load(), 25);
  EXPECT_EQ(hooks::PendingCallFailures(), 0u);
}

}  // namespace
