// Message authentication codes: HMAC and CMAC, chosen by the algorithm's friendly name.
#pragma once

#include "zt/algorithm.h"
#include "zt/export.h"
#include "zt/key.h"
#include "zt/parameters.h"
#include "zt/secure.h"

namespace ZT::Framework {

// Life cycle: Init with a key, Update (which only buffers), Mac (which computes over the whole
// buffer in one pass). A successful Mac ends the initialisation: the next MAC needs a new
// Init. A failed Mac leaves the state and the buffered data as they were. Not safe for
// concurrent use.
class ZT_CRYPTO_API MAC {
 public:
  virtual ~MAC();

  // The engine's algorithm, owned by the engine.
  virtual IAlgorithm* GetAlgorithm() const = 0;
  // The MAC length in bytes. The HMAC engine answers 20 whatever its hash.
  virtual unsigned int GetMacLength() = 0;
  // Sets the key (kept, not owned: it must live until Mac) and empties the buffer. A null key
  // throws CRYPTO_BAD_PARAM; an engine already initialised throws CRYPTO_ILLEGAL_STATE.
  virtual void Init(IKey* pKey) = 0;
  // Writes the MAC of the buffered data into `baMac`. Before Init: CRYPTO_ILLEGAL_STATE. HMAC
  // takes keys of format "RAW" only (CRYPTO_NOT_SUPPORTED otherwise).
  virtual void Mac(ByteArray& baMac) = 0;
  // Appends `baInput`, then as Mac(baMac); failures come wrapped as "Mac failed".
  virtual void Mac(const ByteArray& baInput, ByteArray& baMac) = 0;
  // Appends `baInput` to the buffer (also before Init; Init discards it).
  virtual void Update(const ByteArray& baInput) = 0;

  // A new engine for `pAlgorithm` (cloned), owned by the caller: "HMAC_SHA1" and
  // "HMAC_SHA256" give HMAC; "CMAC" gives CMAC over AES, DES or triple DES, as the key's
  // algorithm says (a 16- or 8-byte MAC; MAC, Update and GetMacLength before Init throw
  // CRYPTO_ILLEGAL_STATE, with "MAC is not initialized"); other names throw
  // CRYPTO_NO_SUCH_ALGORITHM ("Unknown algorithm"), a null algorithm CRYPTO_BAD_PARAM.
  // `pParams` is kept, not owned.
  static MAC* Create(IAlgorithm* pAlgorithm, ICryptoParserParameterMap* pParams);
};

}  // namespace ZT::Framework
