// Wiping memory: the allocator and the text, byte and list types that every interface of the
// library uses, so that keys, passwords and plaintext do not linger in freed heap blocks.
#pragma once

#include <cstddef>
#include <list>
#include <new>
#include <string>
#include <vector>

#if defined(_WIN32)
#include <windows.h>
#else
#include <string.h>  // explicit_bzero
#endif

namespace ZT::Framework {

// Overwrites `size` bytes at `p` with zeros by a call the optimiser may not drop, even when the
// memory is freed right after.
inline void SecureWipe(void* p, std::size_t size) noexcept {
  if (p == nullptr || size == 0) return;
#if defined(_WIN32)
  SecureZeroMemory(p, size);
#else
  explicit_bzero(p, size);
#endif
}

// Allocator that takes memory from the ordinary heap and, before a block goes back, overwrites
// the whole block (element count times element size) with zeros. Containers hand every block
// back through it: on destruction, on shrinking and on growth (the old block).
template <class T>
class secallocator {
 public:
  using value_type = T;
  using is_always_equal = std::true_type;

  secallocator() noexcept = default;
  secallocator(const secallocator&) noexcept = default;
  template <class U>
  secallocator(const secallocator<U>&) noexcept {}
  secallocator& operator=(const secallocator&) noexcept = default;
  virtual ~secallocator() = default;

  T* allocate(std::size_t n) {
    if (n > static_cast<std::size_t>(-1) / sizeof(T)) throw std::bad_array_new_length();
    return static_cast<T*>(::operator new(n * sizeof(T)));
  }

  void deallocate(T* p, std::size_t n) noexcept {
    SecureWipe(p, n * sizeof(T));
    ::operator delete(p);
  }

  template <class U>
  bool operator==(const secallocator<U>&) const noexcept {
    return true;
  }
};

// Text: wide characters (UTF-16 code units on Windows, UTF-32 on Linux) in wiping memory.
using WString = std::basic_string<wchar_t, std::char_traits<wchar_t>, secallocator<wchar_t>>;
// Binary data: keys, digests, encodings, results.
using ByteArray = std::vector<unsigned char, secallocator<unsigned char>>;
// Multi-valued text parameters (OID lists).
using StringList = std::list<WString, secallocator<WString>>;

// Wipes the bytes in use and empties the array. The array keeps its block for the next use, so
// the data must not stay in it (clear() alone would leave it there until the block is freed).
inline void EmptySecurely(ByteArray& bytes) noexcept {
  SecureWipe(bytes.data(), bytes.size());
  bytes.clear();
}

}  // namespace ZT::Framework
