// One pass of a CNG hash or HMAC over a whole buffer: the steps the digest and the HMAC engines
// share, with every handle and the object memory released on every path.
#pragma once

#include "cng/crypto.cng.status.h"
#include "framework/crypto.trace.h"
#include "platform/platform.h"

namespace ZT::Framework {

// The message texts of the hash steps that the digest and the HMAC engines word differently.
struct HashStepTexts {
  const wchar_t* openFailed;  // message when BCryptOpenAlgorithmProvider fails
  const wchar_t* objectLengthCall;  // the call named by the level-1 line of ObjectLength
  const wchar_t* objectLengthFailed;  // message when reading ObjectLength fails
};

// What a buffering engine hashes: the data it has buffered, followed by the input handed to the
// very call that hashes (may be null). That input is hashed where it lies rather than copied
// into the buffer first: large inputs cost no copy and no wipe.
struct HashInput {
  const ByteArray& buffered;
  const ByteArray* pending;
};

// The hash (or, with a non-null `secret`, the HMAC keyed by it) of `data`, computed with the
// CNG provider `algorithmId` into `out`: open the provider, read ObjectLength, create the hash
// in object memory of that length, feed the data, read HashDigestLength, finish. A failed call
// raises CRYPTO_INTERNAL_ERROR naming it; `out` is then unusable. The CNG table must be loaded.
void HashInOnePass(const FunctionTrace& fn, const wchar_t* algorithmId, const ByteArray* secret, HashInput data,
                   ByteArray& out, const HashStepTexts& texts);

// Runs `step`, which hashes `buffer` followed by `pending`. Success consumes both: `buffer` is
// wiped and emptied. When `step` throws, `pending` is appended to `buffer`, so that a failure
// keeps all the data as if it had been buffered before the attempt.
template <class Step>
void ConsumeOnSuccess(ByteArray& buffer, const ByteArray* pending, Step&& step) {
  try {
    step();
  } catch (...) {
    if (pending != nullptr) buffer.insert(buffer.end(), pending->begin(), pending->end());
    throw;
  }
  EmptySecurely(buffer);
}

}  // namespace ZT::Framework
