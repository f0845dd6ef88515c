#include <gtest/gtest.h>

#include <algorithm>

#include "freed_memory_probe.h"
#include "zt/secure.h"

namespace {

using namespace ZT::Framework;
using zttest::WatchBlock;
using zttest::WatchedBlockBytesAtFree;
using zttest::WatchedBlockFreed;

bool AllZero(const std::vector<unsigned char>& bytes) {
  return std::all_of(bytes.begin(), bytes.end(), [](unsigned char b) { return b == 0; });
}

// The probe itself must be able to see a block that is not wiped, or the tests below prove nothing.
TEST(FreedMemoryProbe, SeesAnOrdinaryVectorFreedWithItsContent) {
  {
    std::vector<unsigned char> plain(5000, 0xA5);
    WatchBlock(plain.data(), plain.capacity());
  }
  ASSERT_TRUE(WatchedBlockFreed());
  const auto bytes = WatchedBlockBytesAtFree();
  ASSERT_EQ(bytes.size(), 5000u);
  EXPECT_EQ(std::count(bytes.begin(), bytes.end(), 0xA5), 5000);
}

TEST(SecAllocator, ByteArrayOf5000BytesIsZeroedBeforeItIsFreed) {
  {
    ByteArray secret(5000, 0xA5);
    WatchBlock(secret.data(), secret.capacity());
  }
  ASSERT_TRUE(WatchedBlockFreed());
  const auto bytes = WatchedBlockBytesAtFree();
  EXPECT_EQ(bytes.size(), 5000u);
  EXPECT_TRUE(AllZero(bytes));
}

TEST(SecAllocator, GrowingZeroesTheOldBlockAndKeepsTheData) {
  ByteArray secret(64, 0x5A);
  secret.shrink_to_fit();
  const unsigned char* old = secret.data();
  WatchBlock(old, secret.capacity());
  secret.resize(4096, 0x11);  // forces a new block
  ASSERT_NE(secret.data(), old);
  ASSERT_TRUE(WatchedBlockFreed());
  EXPECT_TRUE(AllZero(WatchedBlockBytesAtFree()));
  EXPECT_TRUE(std::all_of(secret.begin(), secret.begin() + 64, [](unsigned char b) { return b == 0x5A; }));
}

TEST(SecAllocator, ShrinkingToFitZeroesTheOldBlock) {
  ByteArray secret(1000, 0x77);
  secret.resize(10);
  WatchBlock(secret.data(), secret.capacity());
  secret.shrink_to_fit();
  ASSERT_TRUE(WatchedBlockFreed());
  EXPECT_TRUE(AllZero(WatchedBlockBytesAtFree()));
}

TEST(SecAllocator, WideStringHeapBlockIsZeroedOnGrowthAndDestruction) {
  auto* text = new WString(200, L'k');
  WatchBlock(text->data(), (text->capacity() + 1) * sizeof(wchar_t));
  text->append(2000, L'q');
  ASSERT_TRUE(WatchedBlockFreed());
  EXPECT_TRUE(AllZero(WatchedBlockBytesAtFree()));

  WatchBlock(text->data(), (text->capacity() + 1) * sizeof(wchar_t));
  delete text;
  ASSERT_TRUE(WatchedBlockFreed());
  EXPECT_TRUE(AllZero(WatchedBlockBytesAtFree()));
}

TEST(SecAllocator, StringListElementsAreZeroedWhenTheListIsCleared) {
  StringList list;
  list.push_back(WString(100, L'p'));
  WatchBlock(list.front().data(), (list.front().capacity() + 1) * sizeof(wchar_t));
  list.clear();
  ASSERT_TRUE(WatchedBlockFreed());
  EXPECT_TRUE(AllZero(WatchedBlockBytesAtFree()));
}

}  // namespace
