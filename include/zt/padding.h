// Padding schemes of RSA blocks: the library formats every block itself and hands only raw blocks
// to the platform.
#pragma once

#include "zt/export.h"
#include "zt/parameters.h"
#include "zt/secure.h"

namespace ZT::Framework {

// One padding scheme for one key length k (the modulus length in bytes): every block it encodes
// or decodes is k bytes long. The scheme keeps the caller's parameter map without owning it and
// reads it when it encodes or decodes, so the map must outlive the scheme. Not safe for
// concurrent use.
class ZT_CRYPTO_API IPadding {
 public:
  IPadding();
  IPadding(const IPadding&);
  IPadding& operator=(const IPadding&);
  virtual ~IPadding();

  // Clears `baOut`, then writes the k-byte block that carries `baIn`. A message too long for the
  // block, or a parameter the scheme needs and the map lacks, throws CRYPTO_BAD_PARAM; a failed
  // digest or random generator throws with that failure's id. `baOut` may then hold part of a
  // block.
  virtual void EncodeData(const ByteArray& baIn, ByteArray& baOut) = 0;

  // Clears `baOut`, then takes the message out of the block `baIn`: true with the message in
  // `baOut`; false, with a trace line, when the block is malformed. Never reads outside `baIn`.
  // Exceptions are kept for what is not the block's fault (a missing parameter, a failed digest)
  // and for two refusals: OAEP throws CRYPTO_BAD_PARAM for a block that is not k bytes long, and
  // the PKCS #1 signature scheme does not decode at all (CRYPTO_NOT_SUPPORTED).
  virtual bool DecodeData(const ByteArray& baIn, ByteArray& baOut) = 0;

  // A new scheme owned by the caller, chosen by `sName` (exactly, case-sensitively), for blocks
  // of `nKeyLength` bytes, reading `pParams` (kept, not owned; must not be null):
  //   "OAEP"   OAEP with SHA-1 and MGF1-SHA-1; the label is "CryptoParameterOAEPEncodingParamMode"
  //   "X_931"  the ANSI X9.31 signature block; the map must hold
  //            "CryptoParameterHashAlgoPaddingMode" (the hash-identifier byte)
  //   "PKCS1"  PKCS #1 v1.5: "CryptoParameterPkcs1OperationMode" 0 gives the signature block
  //            (type 1), 1 the encryption block (type 2)
  // A null map, a missing or invalid mode and a missing hash byte throw CRYPTO_BAD_PARAM; any
  // other name throws CRYPTO_NO_SUCH_PADDING ("Padding type is not supported").
  static IPadding* Create(const WString& sName, unsigned int nKeyLength, ICryptoParserParameterMap* pParams);
};

}  // namespace ZT::Framework
