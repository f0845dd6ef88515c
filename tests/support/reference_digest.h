// Digests computed outside the library, for tests that build expected values from them: OpenSSL's
// libcrypto on Linux, the system's own CNG (bcrypt.dll, called directly, not through the library's
// seam) on Windows.
#pragma once

#include <string_view>
#include <vector>

namespace zttest {

// The digest `name` ("SHA1" or "SHA256") of `size` bytes at `data`; a test failure and an empty
// result when the platform does not give it.
std::vector<unsigned char> ReferenceDigest(std::string_view name, const void* data, std::size_t size);

template <class Bytes>
std::vector<unsigned char> ReferenceDigest(std::string_view name, const Bytes& bytes) {
  return ReferenceDigest(name, bytes.data(), bytes.size());
}

}  // namespace zttest
