// Ciphers: AES, DES and triple DES in CBC and ECB, RSA public-key encryption, and the platform's
// data protection, chosen by the algorithm's friendly name.
#pragma once

#include "zt/algorithm.h"
#include "zt/certificate.h"
#include "zt/export.h"
#include "zt/key.h"
#include "zt/parameters.h"
#include "zt/secure.h"

namespace ZT::Framework {

// Operation modes, the first argument of Init.
inline constexpr unsigned int CIPHER_ENCRYPT_MODE = 0;
inline constexpr unsigned int CIPHER_DECRYPT_MODE = 1;
inline constexpr unsigned int CIPHER_WRAP_MODE = 2;
inline constexpr unsigned int CIPHER_UNWRAP_MODE = 3;

// Life cycle: Init with an operation mode and a key, Update (which only buffers), DoFinal (which
// transforms the whole buffer at once). A successful DoFinal ends the initialisation: the next
// message needs a new Init. A DoFinal that throws leaves the engine initialised with everything
// given so far still buffered (its own input included), so it may be tried again; `baOut` is then
// unspecified. Not safe for concurrent use.
//
// The symmetric engines ("AES", "DES", "3DES") read the parameter map at DoFinal:
//   "CryptoParameterCipherMode"  "CBC" or "ECB" (required);
//   "CryptoParameterPadding"     "PKCS7" or "None" (also when absent): with "None" the input
//                                must be a whole number of blocks (16 bytes for AES, 8 for DES);
//   "CryptoParameterIV"          handed to the platform when present (one block in CBC).
// They take keys of format "RAW" (16, 24 or 32 bytes for AES; 8 for DES; 24, or 16 taken as
// K1 K2 K1, for triple DES). Mode 0 encrypts, 1 decrypts.
//
// The RSA engine only encrypts (mode 0) with an RSA public key of this library (from
// IKey::Create "X509", IRSAPublicKey::Create or a certificate), under the map's
// "CryptoParameterPadding": "None" (also when absent; exactly k bytes, k the modulus length),
// "PKCS1" (PKCS #1 v1.5, at most k - 11 bytes) or "OAEP" (SHA-1 and MGF1-SHA-1, at most k - 41
// bytes, the label from "CryptoParameterOAEPEncodingParamMode", empty when absent).
//
// The data-protection engine ("DPAPI") protects (mode 0) and unprotects (mode 1) with the
// platform's data protection (zt/dataprotection.h), with a key of the symmetric key system store
// (zt/symkeystore.h) or one derived from it (KeyDerivation "DPAPI"): a key labelled exactly
// "Device" binds the data to this machine, any other label to the current user; the key's salt,
// when it has one, is the entropy, which unprotecting must give again. A blob says whose it is,
// so either key opens what it may. Other keys throw CRYPTO_NOT_SUPPORTED ("Only DPAPI keys are
// supported"), as does Init with a certificate. A failure of the platform comes as "Cipher
// failed" around CRYPTO_INTERNAL_ERROR "CryptProtectData failed!" or "CryptUnprotectData
// failed!"; the platform's code is in the level-1 line. The parameter map is not read.
//
// Where the platform's CNG services cannot be loaded, the symmetric and RSA engines fall back to
// CryptoAPI. That provider
// takes DES and triple DES keys of 8 and 24 bytes only (no AES), adds a padding block of its own
// to every encryption and expects one on every decryption, and refuses an RSA block that is
// already padded: on that path ciphertexts differ from the CNG path's (they carry the provider's
// extra block) and most RSA encryptions fail.
class ZT_CRYPTO_API Cipher {
 public:
  Cipher();
  Cipher(const Cipher&);
  Cipher& operator=(const Cipher&);
  virtual ~Cipher();

  // The engine's algorithm, owned by the engine.
  virtual IAlgorithm* GetAlgorithm() const = 0;
  // As Init(nOpMode, key) with the certificate's public key (owned by the certificate, which
  // must live until DoFinal). A null certificate throws CRYPTO_BAD_PARAM; a certificate whose
  // key cannot be had throws "Unable to retrieve the certificate public key" with that
  // failure's id.
  virtual void Init(unsigned int nOpMode, ICertificate* pCertificate) = 0;
  // Sets the operation mode (0 encrypt, 1 decrypt, 2 wrap, 3 unwrap) and the key (kept, not
  // owned: it must live until DoFinal), and empties the buffer. A null key or a mode of 4 or
  // more throws CRYPTO_BAD_PARAM; an engine already initialised throws CRYPTO_ILLEGAL_STATE.
  virtual void Init(unsigned int nOpMode, IKey* pKey) = 0;
  // Transforms the buffer into `baOut` and ends the initialisation. Before Init:
  // CRYPTO_ILLEGAL_STATE; in the wrap modes: CRYPTO_BAD_PARAM ("Invalid operation"). Any failure
  // of the transformation comes as "Cipher failed" with the id of its cause inside: among
  // others CRYPTO_BAD_PARAM "Data to Encrypt Length is invalid" (also when decrypting) for an
  // input the padding cannot take, CRYPTO_NO_SUCH_PADDING and CRYPTO_NO_SUCH_ALGORITHM for
  // names outside the lists above, CRYPTO_INTERNAL_ERROR for what the platform refuses (a key or
  // IV of the wrong length, a ciphertext whose PKCS #7 padding does not check out).
  virtual void DoFinal(ByteArray& baOut) = 0;
  // Appends `baIn` to the buffer, then as DoFinal(baOut).
  virtual void DoFinal(const ByteArray& baIn, ByteArray& baOut) = 0;
  // Appends `baIn` to the buffer. Before Init: CRYPTO_ILLEGAL_STATE.
  virtual void Update(const ByteArray& baIn) = 0;
  // Key unwrapping and wrapping are not available: CRYPTO_ILLEGAL_STATE before Init,
  // CRYPTO_NOT_IMPLEMENTED in their own mode (3 and 2), CRYPTO_BAD_PARAM ("Invalid operation")
  // in any other.
  virtual IKey* Unwrap(const ByteArray& baWrappedKey, IAlgorithm* pKeyAlgorithm) = 0;
  virtual void Wrap(IKey* pKey, ByteArray& baWrappedKey) = 0;

  // A new engine for `pAlgorithm` (cloned; the caller keeps its own), owned by the caller:
  // "RSA" gives RSA encryption, "DES", "3DES" and "AES" the block ciphers, "DPAPI" the platform's
  // data protection; any other name CRYPTO_NO_SUCH_ALGORITHM ("Unknown algorithm"), a null
  // algorithm CRYPTO_BAD_PARAM. `pParams` is kept, not owned, and read at
  // each DoFinal: it must outlive the engine (it may be null where no parameter is needed).
  static Cipher* Create(IAlgorithm* pAlgorithm, ICryptoParserParameterMap* pParams);
};

}  // namespace ZT::Framework
