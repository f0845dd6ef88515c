#include "freed_memory_probe.h"

#include <cstdlib>
#include <cstring>
#include <new>

namespace {

constexpr std::size_t kMaxWatched = 64 * 1024;
const void* g_watched = nullptr;
std::size_t g_watchedSize = 0;
bool g_freed = false;
unsigned char g_bytesAtFree[kMaxWatched];

void NoteFree(void* p) {
  if (p == nullptr || p != g_watched) return;
  std::memcpy(g_bytesAtFree, p, g_watchedSize);
  g_freed = true;
  g_watched = nullptr;
}

}  // namespace

namespace zttest {

void WatchBlock(const void* block, std::size_t size) {
  if (size > kMaxWatched) std::abort();
  g_watched = block;
  g_watchedSize = size;
  g_freed = false;
}

bool WatchedBlockFreed() { return g_freed; }

std::vector<unsigned char> WatchedBlockBytesAtFree() {
  return std::vector<unsigned char>(g_bytesAtFree, g_bytesAtFree + (g_freed ? g_watchedSize : 0));
}

}  // namespace zttest

// Replacements of the global allocation functions (both halves, so that the sanitizer sees
// malloc paired with free).
void* operator new(std::size_t size) {
  if (void* p = std::malloc(size ? size : 1)) return p;
  throw std::bad_alloc();
}
void* operator new[](std::size_t size) { return ::operator new(size); }
void operator delete(void* p) noexcept {
  NoteFree(p);
  std::free(p);
}
void operator delete[](void* p) noexcept { ::operator delete(p); }
void operator delete(void* p, std::size_t) noexcept { ::operator delete(p); }
void operator delete[](void* p, std::size_t) noexcept { ::operator delete(p); }
