// The raw RSA public operation on a key given by its SubjectPublicKeyInfo, on either platform
// path: CNG (the key imported from its CNG_RSA_PUBLIC_KEY_BLOB into the "RSA" provider) or, where
// CNG cannot be loaded, CryptoAPI (the key imported from its RSA_CSP_PUBLICKEYBLOB into the
// enhanced RSA and AES provider). Each object owns its handles, released on every path; a failed
// decoding or platform call raises CRYPTO_INTERNAL_ERROR naming the call ("BCryptImportKeyPair
// failed!", "CryptImportKey failed", ...), logged as "<name> : Error 0x%x returned by <call>".
//
//   ImportedCngRsaKey key(fn, info);
//   key.Encrypt(fn, baSignature, nullptr, BCRYPT_PAD_NONE, EM);
#pragma once

#include <cstdint>

#include "cng/crypto.cng.handles.h"
#include "codec/crypto.asn1.keys.h"
#include "framework/crypto.trace.h"

namespace ZT::Framework {

class ImportedCngRsaKey {
 public:
  // Decodes the key's CNG_RSA_PUBLIC_KEY_BLOB, opens the "RSA" provider and imports the key as
  // "RSAPUBLICBLOB". The CNG table must be loaded, and stay loaded while this object lives.
  ImportedCngRsaKey(const FunctionTrace& fn, const Asn1::SubjectPublicKeyInfo& info);
  // The same with the key's CNG_RSA_PUBLIC_KEY_BLOB already decoded.
  ImportedCngRsaKey(const FunctionTrace& fn, const ByteArray& blob);

  // k of a decoded CNG_RSA_PUBLIC_KEY_BLOB (its BitLength / 8), before anything is imported.
  static std::uint32_t KeyLengthOf(const ByteArray& blob);

  // k, the modulus length in bytes (the blob's bit length / 8).
  std::uint32_t KeyLength() const { return m_nKeyLength; }

  // BCryptEncrypt of `input` with `flags` (and `pPaddingInfo`), once for the size and once for
  // the data; `out` holds the bytes written.
  void Encrypt(const FunctionTrace& fn, const ByteArray& input, void* pPaddingInfo, ULONG flags, ByteArray& out);

 private:
  std::uint32_t m_nKeyLength = 0;
  AlgorithmProvider m_provider;
  KeyHandle m_key;  // released before the provider it was imported into
};

class ImportedCryptoApiRsaKey {
 public:
  // Decodes the key's RSA_CSP_PUBLICKEYBLOB, acquires a verify-only context of the enhanced RSA
  // and AES provider and imports the key.
  ImportedCryptoApiRsaKey(const FunctionTrace& fn, const Asn1::SubjectPublicKeyInfo& info);
  // The same with the key's RSA_CSP_PUBLICKEYBLOB already decoded.
  ImportedCryptoApiRsaKey(const FunctionTrace& fn, const ByteArray& blob);

  // k of a decoded RSA_CSP_PUBLICKEYBLOB (RSAPUBKEY's bitlen / 8), before anything is imported.
  static std::uint32_t KeyLengthOf(const ByteArray& blob);

  // k, the modulus length in bytes (RSAPUBKEY's bitlen / 8).
  std::uint32_t KeyLength() const { return m_nKeyLength; }

  // CryptEncrypt as a final block: once for the size, then over a copy of `input` in a buffer of
  // that size. `out` holds the bytes as the provider returns them: it applies its own padding
  // and gives the result little-endian.
  void Encrypt(const FunctionTrace& fn, const ByteArray& input, ByteArray& out);

 private:
  std::uint32_t m_nKeyLength = 0;
  CryptContext m_context;
  CryptKey m_key;  // released before the context it was imported into
};

}  // namespace ZT::Framework
