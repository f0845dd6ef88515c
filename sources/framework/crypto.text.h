// Comparing the short names that select algorithms, modes and paddings ("AES", "CBC", "PKCS7").
#pragma once

#include <cstddef>
#include <string_view>

namespace ZT::Framework {

// Whether two texts are equal, compared in place: for names of a few characters the library's
// wmemcmp costs more than the whole comparison, and these comparisons run on every message.
inline bool SameText(std::wstring_view a, std::wstring_view b) noexcept {
  if (a.size() != b.size()) return false;
  for (std::size_t i = 0; i < a.size(); ++i)
    if (a[i] != b[i]) return false;
  return true;
}

}  // namespace ZT::Framework
