// Message digests: MD5 and the SHA family, chosen by the algorithm's friendly name.
#pragma once

#include "zt/algorithm.h"
#include "zt/export.h"
#include "zt/parameters.h"
#include "zt/secure.h"

namespace ZT::Framework {

// Buffers all data given to it and hashes the whole buffer in one pass when the digest is asked
// for. Not safe for concurrent use; separate engines may run on separate threads.
class ZT_CRYPTO_API MessageDigest {
 public:
  MessageDigest();
  MessageDigest(const MessageDigest&);
  MessageDigest& operator=(const MessageDigest&);
  virtual ~MessageDigest();

  // The engine's algorithm, owned by the engine.
  virtual IAlgorithm* GetAlgorithm() const = 0;
  // The digest length in bytes of the algorithm: "MD5" 16, "SHA1" 20, "SHA224" 28, "SHA256"
  // 32, "SHA384" 48, "SHA512" 64. Any other name throws CRYPTO_NO_SUCH_ALGORITHM.
  virtual unsigned int GetDigestLength() const = 0;
  // Writes the digest of all data buffered since the last successful digest into `baDigest`,
  // and empties the buffer. "SHA224" and names outside the list above throw
  // CRYPTO_NO_SUCH_ALGORITHM; a failed platform call throws CRYPTO_INTERNAL_ERROR. After a
  // failure the buffered data is kept (a retry digests the same data) and `baDigest` is not
  // to be used.
  virtual void Digest(ByteArray& baDigest) = 0;
  // Appends `baInput`, then as Digest(baDigest); failures come wrapped as "Digest failed".
  virtual void Digest(const ByteArray& baInput, ByteArray& baDigest) = 0;
  // Appends `baInput` to the buffer.
  virtual void Update(const ByteArray& baInput) = 0;

  // A new engine for `pAlgorithm` (cloned; the caller keeps its own), owned by the caller.
  // `pParams` is kept, not owned, and must outlive the engine (it may be null). The name is
  // not checked here: an unsupported one fails at GetDigestLength or Digest. A null algorithm
  // throws CRYPTO_BAD_PARAM.
  static MessageDigest* Create(IAlgorithm* pAlgorithm, ICryptoParserParameterMap* pParams);
};

}  // namespace ZT::Framework
