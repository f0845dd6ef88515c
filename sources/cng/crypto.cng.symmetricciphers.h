// The block ciphers AES, DES and triple DES in CBC and ECB, with optional PKCS #7 padding, on CNG
// or, where CNG cannot be loaded, on CryptoAPI.
#pragma once

#include "cng/crypto.cng.baseciphers.h"

namespace ZT::Framework {

// What the parameter map says for one call, before it is checked.
struct SymmetricCallParameters {
  bool hasIV = false;
  ByteArray iv;  // the platform moves it on in place
  WString padding;
  WString chainingMode;
};

inline constexpr ClassTrace kCCNGSymmetricCipherTrace = ZT_CLASS_TRACE(CCNGSymmetricCipher);

class CCNGSymmetricCipher final : public CipherEngine<kCCNGSymmetricCipherTrace> {
 public:
  using CipherEngine::CipherEngine;

 protected:
  // Encrypts (mode 0) or decrypts (mode 1) the input as the parameter map says (zt/cipher.h).
  //
  // CNG: the key is imported from a BCRYPT_KEY_DATA_BLOB ("KDBM", version 1, length, key; a
  // 16-byte triple DES key extended to K1 K2 K1) into object memory of the provider's
  // ObjectLength, and PKCS #7 is the platform's, by BCRYPT_BLOCK_PADDING.
  //
  // CryptoAPI ("Microsoft Enhanced Cryptographic Provider v1.0", PROV_RSA_FULL): the key is
  // imported from a PLAINTEXTKEYBLOB (BLOBHEADER, length, key; no extension) and PKCS #7 is the
  // library's: appended before encryption, a whole block on aligned input; after decryption as
  // many bytes are dropped as the last byte says, unchecked. Every call is final, and the
  // provider keeps its own padding as well. The provider reads one block of IV: a shorter IV is
  // handed to it zero-extended.
  //
  // Every handle and the key object memory are released on every path; key blobs are wiped.
  void Cipher(ByteArray& baOut) override;

 private:
  // The parameters of the call in progress, kept from call to call so that each call reuses
  // their memory.
  SymmetricCallParameters m_parameters;
};

}  // namespace ZT::Framework
