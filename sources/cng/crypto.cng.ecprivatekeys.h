// EC private keys for ECDH (zt/eckey.h): the private half of a key pair, on the pair's platform
// key.
#pragma once

#include <memory>

#include "cng/crypto.cng.handles.h"
#include "zt/eckey.h"

namespace ZT::Framework {

class CCNGECPrivateKey final : public IECPrivateKey {
 public:
  // The private key of the key pair `hKey`, which stays the pair's: the key never destroys it,
  // and must not be used after the pair. A null handle throws CRYPTO_BAD_PARAM.
  CCNGECPrivateKey(std::unique_ptr<IAlgorithm> pAlgorithm, BCRYPT_KEY_HANDLE hKey);
  ~CCNGECPrivateKey() override;

  IKey* Clone() const override;  // on the same handle
  IAlgorithm* GetAlgorithm() const override;
  WString GetFormat() const override;     // "ECC"
  ByteArray GetEncoded() const override;  // CRYPTO_NOT_IMPLEMENTED
  ByteArray GetS() const override;        // CRYPTO_NOT_IMPLEMENTED

  // The platform key, for the agreement.
  BCRYPT_KEY_HANDLE GetECKey() const;

 private:
  std::unique_ptr<IAlgorithm> m_pAlgorithm;
  BCRYPT_KEY_HANDLE m_hKey;  // the pair's
};

}  // namespace ZT::Framework
