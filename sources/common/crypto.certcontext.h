// CCertContext: a certificate paired with its private key, when there is one (zt/certstore.h).
// It keeps clones of what it is given, so the caller keeps its own objects.
#pragma once

#include <memory>

#include "zt/certstore.h"

namespace ZT::Framework {

class CCertContext final : public ICertContext {
 public:
  // A context without key: a clone of `pCertificate` (null throws CRYPTO_BAD_PARAM
  // "pCertificate=empty"; a failing clone passes its exception on).
  explicit CCertContext(ICertificate* pCertificate);
  // A context with key: clones of both (either null throws CRYPTO_BAD_PARAM, the certificate
  // checked first); a failing clone throws "Clone :  m_pCertificate/m_pPrivateKey() failed"
  // around its exception.
  CCertContext(ICertificate* pCertificate, IPrivateKey* pPrivateKey);
  ~CCertContext() override;

  ICertContext* Clone() const override;
  ICertificate* GetCertificate() const override;
  IPrivateKey* GetPrivateKey() const override;

 private:
  std::unique_ptr<ICertificate> m_pCertificate;
  std::unique_ptr<IPrivateKey> m_pPrivateKey;
};

}  // namespace ZT::Framework
