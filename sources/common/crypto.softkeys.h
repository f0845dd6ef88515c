// Key material held in memory by the library itself: raw secret keys (kept masked) and shared
// secrets (kept as they are).
#pragma once

#include <memory>

#include "zt/key.h"

namespace ZT::Framework {

// A secret key of format "RAW". Its bytes are kept XOR-ed with a fixed 16-byte mask, so that
// the plain key does not lie in memory; the mask is no encryption.
class CSoftSecretKey final : public ISecretKey {
 public:
  // Takes the algorithm and keeps `baKey` masked.
  CSoftSecretKey(std::unique_ptr<IAlgorithm> pAlgorithm, const ByteArray& baKey);
  ~CSoftSecretKey() override;

  IKey* Clone() const override;
  IAlgorithm* GetAlgorithm() const override;
  WString GetFormat() const override;    // "RAW"
  ByteArray GetEncoded() const override;  // the plain key bytes

  // Masks or unmasks (the same operation): baOut[i] = baIn[i] XOR mask[i mod 16], for every i.
  static void Obfuscate(const ByteArray& baIn, ByteArray& baOut);

  // The bytes as they are held (masked).
  const ByteArray& MaskedKey() const { return m_baMaskedKey; }

 private:
  std::unique_ptr<IAlgorithm> m_pAlgorithm;
  ByteArray m_baMaskedKey;
};

// Secret bytes held as they are: a password for PBKDF2, the result of a key agreement.
class CSoftSharedSecret final : public ISharedSecret {
 public:
  explicit CSoftSharedSecret(const ByteArray& baSecret);
  ~CSoftSharedSecret() override;

  ByteArray GetEncoded() const override;  // a copy of the bytes

  // The secret bytes, for the key derivations.
  const ByteArray& GetSecret() const { return m_baSecret; }

 private:
  ByteArray m_baSecret;
};

}  // namespace ZT::Framework
