// Signatures: the signature engine (RSA verification) and the signature value of a signed object.
#pragma once

#include "zt/algorithm.h"
#include "zt/export.h"
#include "zt/key.h"
#include "zt/parameters.h"
#include "zt/secure.h"

namespace ZT::Framework {

// Verifies RSA signatures with a public key. Life cycle: Init with the key, Update (which only
// buffers), Verify (which works on the whole buffer). A Verify that answers, true or false, ends
// the initialisation and empties the buffer: the next verification needs a new Init. A Verify that
// throws leaves both as they were. Not safe for concurrent use.
//
// Verification applies the raw RSA public operation to the signature and compares the result,
// byte for byte, with the encoding of the buffered data under the padding of the parameter map's
// "CryptoParameterPadding":
//   "None"   (also when absent) the buffer is the whole k-byte block;
//   "PKCS1"  the buffer is the DigestInfo (or raw hash) that the PKCS #1 v1.5 type 1 block carries;
//            the engine sets "CryptoParameterPkcs1OperationMode" to 0 in the map;
//   "X_931"  the buffer is the hash that the ANSI X9.31 block carries, with the hash-identifier
//            byte of "CryptoParameterHashAlgoPaddingMode" (required). X9.31 signers send the
//            smaller of s and n - s; only a signature sent as s itself recovers the block, so
//            one sent as n - s answers false.
// The platform's CNG services do the public operation; where they cannot be loaded, CryptoAPI
// does.
class ZT_CRYPTO_API Signature {
 public:
  virtual ~Signature();

  // The engine's algorithm, owned by the engine.
  virtual IAlgorithm* GetAlgorithm() const = 0;
  // Prepares a verification with `pPublicKey` (kept, not owned: it must live until Verify) and
  // empties the buffer. A null key throws CRYPTO_BAD_PARAM, an engine already initialised
  // CRYPTO_ILLEGAL_STATE.
  virtual void Init(IPublicKey* pPublicKey) = 0;
  // Signing is not available: records `pPrivateKey` (kept, not owned) and the signing state,
  // then throws CRYPTO_NOT_IMPLEMENTED. A null key throws CRYPTO_BAD_PARAM, an engine already
  // initialised CRYPTO_ILLEGAL_STATE.
  virtual void Init(IPrivateKey* pPrivateKey) = 0;
  // Not available: CRYPTO_ILLEGAL_STATE before Init, CRYPTO_NOT_IMPLEMENTED after
  // Init(IPrivateKey*), CRYPTO_BAD_PARAM ("Invalid operation") after Init(IPublicKey*).
  virtual void Sign(ByteArray& baSignature) = 0;
  virtual void Sign(const ByteArray& baInput, ByteArray& baSignature) = 0;
  // Appends `baInput` to the buffer; before Init, CRYPTO_ILLEGAL_STATE.
  virtual void Update(const ByteArray& baInput) = 0;
  // Whether `baSignature` is a signature of the buffered data under the key. A signature that
  // does not match is false, not an exception; so is, before any public operation, a signature
  // whose length is not exactly k, the modulus length in bytes (RFC 8017, 8.2.2 step 1: one with
  // its leading zero bytes dropped is refused too). Throws CRYPTO_ILLEGAL_STATE before Init,
  // CRYPTO_BAD_PARAM after Init(IPrivateKey*) or for X9.31 without a hash byte, CRYPTO_NOT_SUPPORTED
  // for a key that is not an RSA public key of this library, CRYPTO_NO_SUCH_PADDING for a padding
  // name outside the three, CRYPTO_INTERNAL_ERROR when the platform refuses the key or the
  // signature (a k-byte signature not below the modulus).
  virtual bool Verify(const ByteArray& baSignature) = 0;
  // Appends `baInput`, then as Verify(baSignature); failures come wrapped as "Verify failed".
  virtual bool Verify(const ByteArray& baInput, const ByteArray& baSignature) = 0;

  // A new engine for `pAlgorithm` (cloned; the caller keeps its own), owned by the caller. The
  // algorithm is not examined further: every engine verifies RSA signatures. `pParams` is kept,
  // not owned, and written to (see "PKCS1"); it must outlive the engine. A null algorithm throws
  // CRYPTO_BAD_PARAM.
  static Signature* Create(IAlgorithm* pAlgorithm, ICryptoParserParameterMap* pParams);
};

// The signature of a signed object (a certificate's signatureAlgorithm and signatureValue).
class ZT_CRYPTO_API ISignature {
 public:
  virtual ~ISignature();
  // The signature algorithm, owned by the signature object.
  virtual IAlgorithm* GetAlgorithm() const = 0;
  // The signature value's bytes.
  virtual ByteArray GetValue() const = 0;
};

}  // namespace ZT::Framework
