// Key derivation: PBKDF2 from a password, the SP 800-56A single-step derivation from an ECDH
// shared secret, and keys of the data-protection cipher.
#pragma once

#include <cstdint>

#include "zt/algorithm.h"
#include "zt/export.h"
#include "zt/key.h"
#include "zt/parameters.h"
#include "zt/secure.h"

namespace ZT::Framework {

// Life cycle: Init with a shared secret, then Derive. PBKDF2 ends the initialisation with each
// successful Derive: the next one needs a new Init; SP 800-56A stays initialised for any number
// of Derive calls. Either stays initialised after a failed Derive. Not safe for concurrent use.
class ZT_CRYPTO_API KeyDerivation {
 public:
  virtual ~KeyDerivation();

  // The engine's algorithm, owned by the engine.
  virtual IAlgorithm* GetAlgorithm() const = 0;
  // Sets the secret to derive from (kept, not owned: it must live until Derive returns). A null
  // secret throws CRYPTO_BAD_PARAM; an engine already initialised CRYPTO_ILLEGAL_STATE.
  virtual void Init(ISharedSecret* pSharedSecret) = 0;
  // Derivation from a key. PBKDF2 and SP 800-56A take their secrets only from shared secrets:
  // null throws CRYPTO_BAD_PARAM, any key CRYPTO_NOT_SUPPORTED.
  virtual void Init(IKey* pKey) = 0;
  // A key object named `sLabel`, for the derivations that produce keys rather than bytes.
  // PBKDF2 and SP 800-56A do not: always CRYPTO_NOT_IMPLEMENTED.
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
  //
  // SP 800-56A ("800_56A_KDF") takes `baSalt` as its OtherInfo, used as it is (the caller builds
  // its fields), and derives SHA-256(counter || Z || OtherInfo) for the counter 1, 2, ...
  // (4 bytes, big-endian), the blocks joined and cut to `nLength` bytes (0 gives none). Z is
  // the secret of Init: one made by ISharedSecret::Create or KeyAgreement::GenerateSecret
  // (bytes), or one made by KeyAgreement::GenerateSecretReference (the agreed value inside the
  // platform, derived there); both give the same bytes for the same Z. Failures come wrapped as
  // "Derivation using shared secret value failed" or "... reference failed"; another kind of
  // secret throws CRYPTO_NOT_SUPPORTED ("Unsupported shared secret"). The parameter map is not
  // read. On failure `baKey` is left as it was.
  virtual void Derive(const ByteArray& baSalt, std::uint32_t nLength, ByteArray& baKey) = 0;

  // A new engine for `pAlgorithm` (cloned), owned by the caller: "PKCS5_PBKDF2" gives PBKDF2,
  // "800_56A_KDF" the SP 800-56A derivation, "DPAPI" the data-protection keys; other names throw
  // CRYPTO_NOT_IMPLEMENTED, a null algorithm CRYPTO_BAD_PARAM. `pParams` is kept, not owned, read
  // at each Derive, and must outlive the engine (it may be null: the defaults apply).
  static KeyDerivation* Create(IAlgorithm* pAlgorithm, ICryptoParserParameterMap* pParams);
};

}  // namespace ZT::Framework
