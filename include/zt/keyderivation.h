// Key derivation: PBKDF2 from a password, and keys of the data-protection cipher (and, later,
// SP 800-56A).
#pragma once

#include <cstdint>

#include "zt/algorithm.h"
#include "zt/export.h"
#include "zt/key.h"
#include "zt/parameters.h"
#include "zt/secure.h"

namespace ZT::Framework {

// Life cycle: Init with a shared secret, then Derive. PBKDF2 ends the initialisation with each
// successful Derive: the next one needs a new Init. Not safe for concurrent use.
class ZT_CRYPTO_API KeyDerivation {
 public:
  virtual ~KeyDerivation();

  // The engine's algorithm, owned by the engine.
  virtual IAlgorithm* GetAlgorithm() const = 0;
  // Sets the secret to derive from (kept, not owned: it must live until Derive returns). A null
  // secret throws CRYPTO_BAD_PARAM; an engine already initialised CRYPTO_ILLEGAL_STATE.
  virtual void Init(ISharedSecret* pSharedSecret) = 0;
  // Derivation from a key. PBKDF2 takes its password only from a shared secret: null throws
  // CRYPTO_BAD_PARAM, any key CRYPTO_NOT_SUPPORTED.
  virtual void Init(IKey* pKey) = 0;
  // A key object named `sLabel`, for the derivations that produce keys rather than bytes.
  // PBKDF2 does not: always CRYPTO_NOT_IMPLEMENTED.
  //
  // Data protection ("DPAPI") derives from a key of its own kind (from ISymetricKeySystemStore),
  // given to Init(IKey*) (copied; null or another kind of key: CRYPTO_BAD_PARAM; shared secrets:
  // CRYPTO_NOT_SUPPORTED). Derive gives a new data-protection key labelled `sLabel` (the key of
  // Init's label when empty), with the salt of the key of Init, or `baSalt` when that one has
  // none (a salt on both: CRYPTO_ILLEGAL_STATE "A salt already exists, how to deal with it?");
  // `nLength` must be 0 (such keys have no length; else CRYPTO_NOT_SUPPORTED). Each successful
  // Derive needs its own Init. Its other Derive has no bytes to give: CRYPTO_NOT_SUPPORTED.
  virtual IKey* Derive(const WString& sLabel, const ByteArray& baSalt, std::uint32_t nLength) = 0;
  // Replaces `baKey` with `nLength` bytes derived from the secret and `baSalt`.
  //
  // PBKDF2 reads from the parameter map the iteration count (GetIterationCount, default 10000)
  // and the PRF (GetHMACAlgorithmName: "HMAC_SHA1", "HMAC_SHA256" (the default), "HMAC_SHA384"
  // or "HMAC_SHA512"; another name throws CRYPTO_NO_SUCH_ALGORITHM). The password is the bytes
  // of a secret made by ISharedSecret::Create (another kind of secret: CRYPTO_NOT_SUPPORTED).
  // Before Init: CRYPTO_ILLEGAL_STATE. Failures after those checks come wrapped as
  // "Derivation using shared secret value failed".
  virtual void Derive(const ByteArray& baSalt, std::uint32_t nLength, ByteArray& baKey) = 0;

  // A new engine for `pAlgorithm` (cloned), owned by the caller: "PKCS5_PBKDF2" gives PBKDF2,
  // "DPAPI" the data-protection keys; other names throw CRYPTO_NOT_IMPLEMENTED, a null algorithm
  // CRYPTO_BAD_PARAM. `pParams` is kept, not owned, read at each Derive, and must outlive the
  // engine (it may be null: the defaults apply).
  static KeyDerivation* Create(IAlgorithm* pAlgorithm, ICryptoParserParameterMap* pParams);
};

}  // namespace ZT::Framework
