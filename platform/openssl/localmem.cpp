// LocalFree and the blocks it releases.

#include "platform/openssl/localmem.h"

#include <openssl/crypto.h>

#include <cstdlib>
#include <mutex>
#include <new>
#include <unordered_map>

namespace ZT::Platform {

namespace {

// The live blocks and their sizes. Data protection allocates a block or two per call, so one
// mutex serves.
class LocalBlocks {
 public:
  static LocalBlocks& Instance() {
    static LocalBlocks blocks;
    return blocks;
  }

  void* Allocate(std::size_t size) {
    void* block = std::malloc(size == 0 ? 1 : size);
    if (block == nullptr) return nullptr;
    try {
      const std::lock_guard<std::mutex> lock(m_mutex);
      m_sizes.emplace(block, size);
    } catch (const std::bad_alloc&) {
      std::free(block);
      return nullptr;
    }
    return block;
  }

  // False when `block` is not a live block.
  bool Free(void* block) {
    std::size_t size = 0;
    {
      const std::lock_guard<std::mutex> lock(m_mutex);
      const auto found = m_sizes.find(block);
      if (found == m_sizes.end()) return false;
      size = found->second;
      m_sizes.erase(found);
    }
    OPENSSL_cleanse(block, size);
    std::free(block);
    return true;
  }

  std::size_t Count() {
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_sizes.size();
  }

 private:
  std::mutex m_mutex;
  std::unordered_map<void*, std::size_t> m_sizes;
};

}  // namespace

void* LocalAllocate(std::size_t size) { return LocalBlocks::Instance().Allocate(size); }

std::size_t LiveLocalBlockCount() { return LocalBlocks::Instance().Count(); }

}  // namespace ZT::Platform

extern "C" {

HLOCAL WINAPI LocalFree(HLOCAL hMem) {
  if (hMem == nullptr || ZT::Platform::LocalBlocks::Instance().Free(hMem)) return nullptr;
  SetLastError(ERROR_INVALID_HANDLE);
  return hMem;
}

}  // extern "C"
