// The memory that data protection hands out for its callers to release with LocalFree: each block
// is registered, so that LocalFree recognises a pointer that names none, wipes a block before it
// goes back to the heap, and the tests can count the blocks still live.
#pragma once

#include <cstddef>
#include <utility>

#include "platform/dpapi.h"

namespace ZT::Platform {

// A new block of `size` bytes (at least one is allocated, so that an empty output still has an
// address), to be released with LocalFree; null when memory runs out.
void* LocalAllocate(std::size_t size);

// The number of blocks handed out and not released.
std::size_t LiveLocalBlockCount();

// A block while it is being filled: released (and so wiped) unless handed over with Release.
class LocalBlock {
 public:
  LocalBlock() = default;
  explicit LocalBlock(std::size_t size) : m_data(static_cast<unsigned char*>(LocalAllocate(size))) {}
  ~LocalBlock() {
    if (m_data != nullptr) LocalFree(m_data);
  }
  LocalBlock(LocalBlock&& other) noexcept : m_data(other.Release()) {}
  LocalBlock& operator=(LocalBlock&& other) noexcept {
    if (this != &other) {
      if (m_data != nullptr) LocalFree(m_data);
      m_data = other.Release();
    }
    return *this;
  }

  unsigned char* data() const { return m_data; }
  explicit operator bool() const { return m_data != nullptr; }
  unsigned char* Release() { return std::exchange(m_data, nullptr); }

 private:
  unsigned char* m_data = nullptr;
};

}  // namespace ZT::Platform
