// What the library's in-memory certificate stores share: their contexts, kept in step with a
// memory store of the platform that holds the same certificates in the same order.
//
//   CCNGCertP7bStore::AddCertContext(p)   { fn.Run([&] { m_contexts.Add(fn, p); }); }
//
// Each operation takes the trace of the store's own operation, so its lines and failures carry
// that operation's name.
#pragma once

#include <list>
#include <memory>

#include "cng/crypto.cng.handles.h"
#include "framework/crypto.trace.h"
#include "zt/certstore.h"

namespace ZT::Framework {

class CertContextCollection {
 public:
  // Opens the platform's memory store; failure raises CRYPTO_INTERNAL_ERROR "Error open store
  // (0x...)".
  explicit CertContextCollection(const FunctionTrace& fn);
  // Deletes every context and closes the platform store.
  ~CertContextCollection();
  CertContextCollection(const CertContextCollection&) = delete;
  CertContextCollection& operator=(const CertContextCollection&) = delete;

  // AddCertContext: a clone of the context at the end of the list, its certificate at the head
  // of the platform store. A null context raises CRYPTO_BAD_PARAM "pCertContext=empty!"; what
  // fails on the way is reported as "Unable to clone specified ICertContext: ", "Unable to create
  // certificate context: " or "Unable to copy specified context: " and the cause's message (the
  // cause's id, the cause inside), or "Unknown exception" for an exception that is not the
  // library's. Nothing is added when anything fails.
  void Add(const FunctionTrace& fn, ICertContext* pCertContext);
  // The contexts in the order they were added, still owned here.
  CertContextList Contexts() const;
  // ListCertContext: the filter logged, the contexts listed in order, their number returned.
  std::size_t List(const FunctionTrace& fn, ICryptoParserFilter* pCertFilter, CertContextList& contexts) const;
  // DeleteCertContext: see ICertStore::DeleteCertContext.
  void Delete(const FunctionTrace& fn, ICertContext* pCertContext);

  // The platform store that holds the certificates.
  HCERTSTORE Store() const { return m_store.get(); }

 private:
  struct Entry {
    std::unique_ptr<ICertContext> context;
    CertContext stored;  // the certificate's context in the platform store
  };

  std::list<Entry>::iterator Find(ICertContext* pCertContext);

  CertStore m_store;
  std::list<Entry> m_entries;
};

}  // namespace ZT::Framework
