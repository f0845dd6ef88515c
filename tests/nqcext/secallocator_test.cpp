// The wiping allocator, observed: this executable replaces the global operator new and delete,
// and copies out what a watched block holds at the moment it is freed.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <new>

#include "zt/secure.h"

namespace {

struct {
  const void* block = nullptr;
  std::size_t size = 0;
  bool freed = false;
  unsigned char bytes[64 * 1024];
} g_watch;

}  // namespace

// Both halves are replaced, so that the sanitizer sees malloc paired with free.
void* operator new(std::size_t size) {
  if (void* p = std::malloc(size ? size : 1)) return p;
  throw std::bad_alloc();
}
void* operator new[](std::size_t size) { return ::operator new(size); }
void operator delete(void* p) noexcept {
  if (p != nullptr && p == g_watch.block) {
    std::memcpy(g_watch.bytes, p, g_watch.size);
    g_watch.freed = true;
    g_watch.block = nullptr;
  }
  std::free(p);
}
void operator delete[](void* p) noexcept { ::operator delete(p); }
void operator delete(void* p, std::size_t) noexcept { ::operator delete(p); }
void operator delete[](void* p, std::size_t) noexcept { ::operator delete(p); }

namespace {

using namespace ZT::Framework;
using Bytes = std::vector<unsigned char>;

// What the block of `size` bytes at `block` held when `release` freed it.
template <class Release>
Bytes FreedBytes(const void* block, std::size_t size, Release release) {
  if (size > sizeof g_watch.bytes) std::abort();
  g_watch.block = block, g_watch.size = size, g_watch.freed = false;
  release();
  EXPECT_TRUE(g_watch.freed) << "the block was not freed";
  return g_watch.freed ? Bytes(g_watch.bytes, g_watch.bytes + size) : Bytes();
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

TEST(SecAllocator, GrowingShrinkingAndReleasingZeroTheOldBlockAndKeepTheData) {
  ByteArray secret(64, 0x5A);
  secret.shrink_to_fit();
  const unsigned char* old = secret.data();
  EXPECT_EQ(FreedBytes(old, 64, [&] { secret.resize(4096, 0x11); }), Bytes(64, 0));
  ASSERT_NE(secret.data(), old);
  EXPECT_TRUE(std::all_of(secret.begin(), secret.begin() + 64, [](unsigned char b) { return b == 0x5A; }));

  ByteArray shrinking(1000, 0x77);
  shrinking.resize(10);
  EXPECT_EQ(FreedBytes(shrinking.data(), 1000, [&] { shrinking.shrink_to_fit(); }), Bytes(1000, 0));

  // Wide strings and string lists: on growth, destruction and clear.
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
