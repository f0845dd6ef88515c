// CCNGCertP12Store: the PKCS #12 store of zt/certstore.h. Its contexts are read from a PFX
// through the platform's PFX import, each private key taken out of the platform's key storage
// as a PRIVATEKEYBLOB; a PFX is written by putting each certificate into a memory store of the
// platform, paired with its key imported into the key storage, and exporting that store.
#pragma once

#include "cng/crypto.cng.certstores.h"
#include "zt/certstore.h"

namespace ZT::Framework {

class CCNGCertP12Store final : public ICertP12Store {
 public:
  // The store of the PFX `baPfx` under `sPassword` (see ICertP12Store::load). The store keeps
  // the password, in wiping memory, for Save.
  static CCNGCertP12Store* Load(const ByteArray& baPfx, const WString& sPassword);
  // The PFX of `contexts` under `sPassword` (see ICertP12Store::save).
  static ByteArray Export(const FunctionTrace& fn, const CertContextList& contexts, const WString& sPassword);

  ~CCNGCertP12Store() override;

  // The PFX of the store's contexts under the password it was loaded with.
  void Save(ByteArray& baStore) override;
  std::size_t ListCertContext(ICryptoParserFilter* pCertFilter, CertContextList& contexts) override;
  void AddCertContext(ICertContext* pCertContext) override;
  void DeleteCertContext(ICertContext* pCertContext) override;

 private:
  explicit CCNGCertP12Store(const WString& sPassword);
  // Adds a context for each certificate of the platform store, in its enumeration order.
  void AddEach(const FunctionTrace& fn, HCERTSTORE hStore);

  std::unique_ptr<CertContextCollection> m_pContexts;
  WString m_sPassword;
};

}  // namespace ZT::Framework
