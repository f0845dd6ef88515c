// RSA public-key encryption: no padding, PKCS #1 v1.5 or OAEP with SHA-1, on CNG or, where CNG
// cannot be loaded, on CryptoAPI.
#pragma once

#include "cng/crypto.cng.baseciphers.h"

namespace ZT::Framework {

inline constexpr ClassTrace kCCNGRSACipherTrace = ZT_CLASS_TRACE(CCNGRSACipher);

class CCNGRSACipher final : public CipherEngine<kCCNGRSACipherTrace> {
 public:
  using CipherEngine::CipherEngine;

 protected:
  // Encrypts the input (mode 0 only) with the RSA public key of Init under the map's padding
  // (zt/cipher.h).
  //
  // CNG: the platform pads (BCRYPT_PAD_NONE, BCRYPT_PAD_PKCS1, or BCRYPT_PAD_OAEP with SHA-1 and
  // the label, none when it is empty).
  //
  // CryptoAPI (the enhanced RSA and AES provider): an input whose length is not a multiple of k
  // is first made into a k-byte block by the library's own padding (zt/padding.h): "PKCS1" an
  // encryption block (type 2); "OAEP" also the "PKCS1" scheme, whose block type the cipher's own
  // map chooses by "CryptoParameterPkcs1OperationMode" (a map without it cannot make the scheme:
  // CRYPTO_UNKNOWN_ERROR "Create object padding failed!"). The provider then pads what it is
  // given once more, so it refuses such a block ("CryptEncrypt failed"); its output is returned
  // as it gives it (little-endian).
  void Cipher(ByteArray& baOut) override;
};

}  // namespace ZT::Framework
