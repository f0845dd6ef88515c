#include <gtest/gtest.h>

#include <algorithm>

#include "freed_memory_probe.h"
#include "zt/secure.h"

namespace {

using namespace ZT::Framework;
using Bytes = std::vector<unsigned char>;

// What the block of `size` bytes at `block` held when `release` freed it.
template <class Release>
Bytes FreedBytes(const void* block, std::size_t size, Release release) {
  zttest::WatchBlock(block, size);
  release();
  EXPECT_TRUE(zttest::WatchedBlockFreed()) << "the block was not freed";
  return zttest::WatchedBlockBytesAtFree();
}

template <class String>
std::size_t BlockSize(const String& s) {
  return (s.capacity() + 1) * sizeof(wchar_t);
}

// The probe must see an ordinary block freed with its content, or the tests below prove nothing.
TEST(SecAllocator, FreedBlocksOfByteArraysAreZeroedWhereOrdinaryOnesAreNot) {
  auto* plain = new std::vector<unsigned char>(5000, 0xA5);
  EXPECT_EQ(FreedBytes(plain->data(), 5000, [&] { delete plain; }), Bytes(5000, 0xA5));
  auto* secret = new ByteArray(5000, 0xA5);
  EXPECT_EQ(FreedBytes(secret->data(), 5000, [&] { delete secret; }), Bytes(5000, 0));
}

TEST(SecAllocator, GrowingAndShrinkingZeroTheOldBlockAndKeepTheData) {
  ByteArray secret(64, 0x5A);
  secret.shrink_to_fit();
  const unsigned char* old = secret.data();
  EXPECT_EQ(FreedBytes(old, 64, [&] { secret.resize(4096, 0x11); }), Bytes(64, 0));
  ASSERT_NE(secret.data(), old);
  EXPECT_TRUE(std::all_of(secret.begin(), secret.begin() + 64, [](unsigned char b) { return b == 0x5A; }));

  ByteArray shrinking(1000, 0x77);
  shrinking.resize(10);
  EXPECT_EQ(FreedBytes(shrinking.data(), 1000, [&] { shrinking.shrink_to_fit(); }), Bytes(1000, 0));
}

TEST(SecAllocator, WideStringAndStringListBlocksAreZeroedOnGrowthDestructionAndClear) {
  auto* text = new WString(200, L'k');
  const std::size_t before = BlockSize(*text);
  EXPECT_EQ(FreedBytes(text->data(), before, [&] { text->append(2000, L'q'); }), Bytes(before, 0));
  const std::size_t after = BlockSize(*text);
  EXPECT_EQ(FreedBytes(text->data(), after, [&] { delete text; }), Bytes(after, 0));

  StringList list{WString(100, L'p')};
  const std::size_t element = BlockSize(list.front());
  EXPECT_EQ(FreedBytes(list.front().data(), element, [&] { list.clear(); }), Bytes(element, 0));
}

}  // namespace
