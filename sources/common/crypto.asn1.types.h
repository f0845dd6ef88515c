// The decoded structures of the platform's certificate services, shaped as it publishes them
// (CRYPT_BIT_BLOB, ...), but owning their memory: blobs (cbData + pbData) are byte arrays.
#pragma once

#include <cstdint>

#include "zt/secure.h"

#if defined(_WIN32)
#include <wincrypt.h>
#else
// Last error of the decoders and encoders for bytes that are not the structure asked for.
#ifndef CRYPT_E_ASN1_CORRUPT
#define CRYPT_E_ASN1_CORRUPT 0x80093103u
#endif
#endif  // _WIN32

namespace ZT::Framework {

using CRYPT_OBJID_BLOB = ByteArray;  // a whole DER element kept for later decoding

// A BIT STRING: the bytes, most significant bit first, and the unused bits of the last byte.
struct CRYPT_BIT_BLOB {
  ByteArray pbData;
  std::uint32_t cUnusedBits = 0;
};

}  // namespace ZT::Framework
