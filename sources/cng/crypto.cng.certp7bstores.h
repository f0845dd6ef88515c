// CCNGCertP7bStore: the PKCS #7 bundle store of zt/certstore.h, its contexts kept in step with a
// memory store of the platform, from which the bundle is written.
#pragma once

#include "cng/crypto.cng.certstores.h"
#include "zt/certstore.h"

namespace ZT::Framework {

class CCNGCertP7bStore final : public ICertP7bStore {
 public:
  // An empty store.
  CCNGCertP7bStore();
  // A store of the bundle's certificates (see ICertP7bStore::Load for the failures).
  explicit CCNGCertP7bStore(const ByteArray& baP7bStore);
  ~CCNGCertP7bStore() override;

  void Save(ByteArray& baStore) override;
  std::size_t ListCertContext(ICryptoParserFilter* pCertFilter, CertContextList& contexts) override;
  void AddCertContext(ICertContext* pCertContext) override;
  void DeleteCertContext(ICertContext* pCertContext) override;

 private:
  // The steps of the loading constructor.
  HCERTSTORE Deserialize(const FunctionTrace& fn, const ByteArray& baP7bStore);
  void AddEach(const FunctionTrace& fn, HCERTSTORE hStore);

  std::unique_ptr<CertContextCollection> m_pContexts;
};

}  // namespace ZT::Framework
