// EC public keys for ECDH (zt/eckey.h) and the table of the curves the library offers.
#pragma once

#include <memory>

#include "cng/crypto.cng.handles.h"
#include "zt/eckey.h"

namespace ZT::Framework {

// A curve of ECDH, by the algorithm's friendly name, which is also the platform's algorithm
// identifier.
struct EcCurve {
  const wchar_t* friendlyName;
  ULONG bits;         // key size of a generated pair
  ULONG publicMagic;  // of the platform's public blob
};

// The curve of an algorithm's friendly name (all of it, case-sensitively), or null.
const EcCurve* FindEcCurve(const WString& friendlyName);

class CCNGECPublicKey final : public IECPublicKey {
 public:
  // Import: the key of the uncompressed point `baEncoded` on the curve of `pAlgorithm`, with a
  // platform key of its own. Empty bytes throw CRYPTO_BAD_PARAM; a name outside the curve table
  // CRYPTO_NOT_SUPPORTED ("Unsupported algorithm"); a point the platform refuses
  // CRYPTO_INTERNAL_ERROR ("BCryptImportKeyPair failed!").
  CCNGECPublicKey(std::unique_ptr<IAlgorithm> pAlgorithm, const ByteArray& baEncoded);
  // Export: the public half of the key pair `hKey`, which stays the pair's (never destroyed
  // here, and to outlive this key). A null handle throws CRYPTO_BAD_PARAM.
  CCNGECPublicKey(std::unique_ptr<IAlgorithm> pAlgorithm, BCRYPT_KEY_HANDLE hKey);
  ~CCNGECPublicKey() override;

  IKey* Clone() const override;
  IAlgorithm* GetAlgorithm() const override;
  WString GetFormat() const override;     // "ECCPublicKey"
  ByteArray GetEncoded() const override;  // 04 || X || Y
  ByteArray GetX() const override;        // CRYPTO_NOT_IMPLEMENTED
  ByteArray GetY() const override;        // CRYPTO_NOT_IMPLEMENTED

  // The platform key, for the agreement.
  BCRYPT_KEY_HANDLE GetECKey() const;

 private:
  std::unique_ptr<IAlgorithm> m_pAlgorithm;
  ByteArray m_baEncoded;
  // The key imported by this object, which it destroys; empty when the key belongs to a pair
  // (the ownership flag is whether it holds one).
  KeyHandle m_ownKey;
  BCRYPT_KEY_HANDLE m_hKey = nullptr;  // the key in use: m_ownKey's or the pair's
};

}  // namespace ZT::Framework
