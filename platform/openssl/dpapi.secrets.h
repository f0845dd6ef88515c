// The secrets of the data-protection service: one random 256-bit secret per scope, the user's in
// the user's private directory and the machine's in a fixed system location (dpapi.md). Every
// read checks the directory and the file (type, owner, mode, size) before it trusts them.
#pragma once

#include <cstddef>

#include "platform/openssl/library.h"
#include "platform/wintypes.h"

namespace ZT::Platform {

// The scope a blob is bound to, as its header records it.
enum class ProtectionScope : unsigned char { User = 1, Machine = 2 };

inline constexpr std::size_t kProtectionSecretSize = 32;

// Whether a missing secret is made.
enum class SecretUse {
  Read,    // a missing secret is ERROR_FILE_NOT_FOUND
  Create,  // a missing secret (and its directory) is created first
};

// Loads the secret of `scope` into `*secret` (kProtectionSecretSize bytes). Returns
// ERROR_SUCCESS, or the code for GetLastError: ERROR_FILE_NOT_FOUND (no secret, or no home
// directory for the user), NTE_BAD_KEY_STATE (a secret or directory that is refused),
// ERROR_ACCESS_DENIED (the file system refuses), ERROR_NOT_ENOUGH_MEMORY or NTE_FAIL.
// `*created` (may be null) tells whether this call made the secret.
DWORD LoadProtectionSecret(ProtectionScope scope, SecretUse use, SecretBytes* secret, bool* created = nullptr);

}  // namespace ZT::Platform
