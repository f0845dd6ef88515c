// One pass of a CNG hash or HMAC over a whole buffer: the steps the digest and the HMAC engines
// share, with every handle and the object memory released on every path.
#pragma once

#include "framework/crypto.trace.h"
#include "platform/platform.h"

namespace ZT::Framework {

// The words of the steps that the digest and the HMAC engines report differently.
struct HashPassWords {
  const wchar_t* openFailed;          // message when BCryptOpenAlgorithmProvider fails
  const wchar_t* objectLengthCall;    // the call named by the level-1 line of ObjectLength
  const wchar_t* objectLengthFailed;  // message when reading ObjectLength fails
};

// The hash (or, with a non-null `secret`, the HMAC keyed by it) of `data`, computed with the
// CNG provider `algorithmId` into `out`: open the provider, read ObjectLength, create the hash
// in object memory of that length, feed the data, read HashDigestLength, finish. A failed call
// raises CRYPTO_INTERNAL_ERROR naming it; `out` is then unusable. The CNG table must be loaded.
void HashInOnePass(const FunctionTrace& fn, const wchar_t* algorithmId, const ByteArray* secret,
                   const ByteArray& data, ByteArray& out, const HashPassWords& words);

}  // namespace ZT::Framework
