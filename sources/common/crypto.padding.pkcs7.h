// PKCS #7 padding of block-cipher input (RFC 5652, 6.3), as the symmetric engine applies it itself
// where the platform does not.
#pragma once

#include <cstdint>

#include "zt/secure.h"

namespace ZT::Framework::Padding {

// Appends p = blockLength - (size mod blockLength) bytes of value p: 1 to blockLength of them, a
// whole block when `data` is already aligned. `blockLength` is 1 to 255.
void AppendPkcs7(ByteArray& data, std::uint32_t blockLength);

// Drops as many bytes from the end of `data` as its last byte says (all of them when it says
// more), without looking at the bytes it drops; empty data stays empty. The dropped bytes are
// wiped.
void RemoveByLastByte(ByteArray& data);

}  // namespace ZT::Framework::Padding
