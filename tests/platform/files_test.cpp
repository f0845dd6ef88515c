// Files and file mapping on POSIX: the dispositions, the access a mapping and a view need, the
// mapping that outlives its file handle, and the release of bad handles and addresses.
#include <sys/stat.h>

#include <cstdio>
#include <cstring>
#include <fstream>

#include "platform/testing.h"
#include "platform_test_util.h"

namespace {

using zttest::Code;
using zttest::ErrorOf;

std::wstring WideAscii(const std::string& text) { return std::wstring(text.begin(), text.end()); }

class Files : public ::testing::Test {
 protected:
  void SetUp() override {
    m_path = testing::TempDir() + "zt-files-" + std::to_string(::getpid());
    std::ofstream(m_path, std::ios::binary) << "0123456789";
    m_live = ZT::Platform::Testing::LiveHandleCount();
  }
  void TearDown() override {
    std::remove(m_path.c_str());
    EXPECT_EQ(ZT::Platform::Testing::LiveHandleCount(), m_live) << "handles left open";
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

TEST_F(Files, MappingsAndViewsNeedTheAccessTheyGrant) {
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
}

TEST_F(Files, AWritableMappingGrowsTheFileAndItsViewWritesThrough) {
  HANDLE file = Open(GENERIC_READ | GENERIC_WRITE | GENERIC_EXECUTE, OPEN_EXISTING);
  ASSERT_NE(file, INVALID_HANDLE_VALUE);
  HANDLE mapping = CreateFileMappingW(file, nullptr, PAGE_EXECUTE_READWRITE, 0, 16, nullptr);
  ASSERT_NE(mapping, nullptr);
  LPVOID view = MapViewOfFile(mapping, FILE_MAP_ALL_ACCESS, 0, 0, 0);
  ASSERT_NE(view, nullptr);
  std::memcpy(static_cast<char*>(view) + 10, "abcdef", 6);
  EXPECT_EQ(GetFileSize(file, nullptr), 16u);
  EXPECT_TRUE(UnmapViewOfFile(view));
  EXPECT_TRUE(CloseHandle(mapping));
  EXPECT_TRUE(CloseHandle(file));
  std::ifstream in(m_path, std::ios::binary);
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(in), {}), "0123456789abcdef");
}

}  // namespace
