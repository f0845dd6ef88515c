#include "cng/crypto.cng.certstores.h"

#include <algorithm>

namespace ZT::Framework {

namespace {

constexpr DWORD kEncoding = X509_ASN_ENCODING | PKCS_7_ASN_ENCODING;

// Runs one step of AddCertContext: an exception from it is reported as `prefix` and its message,
// with its id and itself inside; one that is not the library's as "Unknown exception".
template <class Step>
std::invoke_result_t<Step&> AddStep(const FunctionTrace& fn, const wchar_t* prefix, Step&& step,
                                    SourceLine where = SourceLine()) {
  return fn.Catch(step, [&](std::unique_ptr<IException> caught) -> std::invoke_result_t<Step&> {
    if (dynamic_cast<CCryptoException*>(caught.get()) == nullptr)
      fn.RaiseWrapping(std::move(caught), RaiseAt(CRYPTO_INTERNAL_ERROR, where), L"Unknown exception",
                       L"Unknown exception");
    const auto id = static_cast<CryptoExceptionId>(caught->getID());
    const WString message = prefix + caught->getMessage();
    fn.RaiseWrapping(std::move(caught), RaiseAt(id, where), message, L"%s", message);
  });
}

}  // namespace

CertContextCollection::CertContextCollection(const FunctionTrace& fn)
    : m_store(CertOpenStore(CERT_STORE_PROV_MEMORY, kEncoding, 0, 0, nullptr)) {
  if (!m_store) fn.Raise(CRYPTO_INTERNAL_ERROR, WithCode(L"Error open store", GetLastError()));
}

CertContextCollection::~CertContextCollection() {
  // The contexts go first, then the platform's references, then the store.
  m_entries.clear();
}

void CertContextCollection::Add(const FunctionTrace& fn, ICertContext* pCertContext) {
  if (pCertContext == nullptr) fn.Raise(CRYPTO_BAD_PARAM, L"pCertContext=empty!", L"pCertContext=NULL!");
  // The entry is made first, so that nothing can fail between the platform store taking the
  // certificate and the list taking the context.
  std::list<Entry> added(1);
  Entry& entry = added.front();
  entry.context.reset(AddStep(fn, L"Unable to clone specified ICertContext: ", [&] {
    ICertContext* clone = pCertContext->Clone();
    if (clone == nullptr) fn.Raise(CRYPTO_BAD_PARAM, L"Clone() returned NULL");
    return clone;
  }));
  const CertContext created = AddStep(fn, L"Unable to create certificate context: ", [&] {
    const ICertificate* certificate = entry.context->GetCertificate();
    if (certificate == nullptr) fn.Raise(CRYPTO_BAD_PARAM, L"pCertificate=empty");
    const ByteArray encoded = certificate->GetEncoded();
    CertContext context(CertCreateCertificateContext(kEncoding, encoded.data(), static_cast<DWORD>(encoded.size())));
    if (!context) fn.Raise(CRYPTO_BAD_PARAM, WithCode(L"Error decoding the blob", GetLastError()));
    return context;
  });
  AddStep(fn, L"Unable to copy specified context: ", [&] {
    if (!CertAddCertificateContextToStore(m_store.get(), created.get(), CERT_STORE_ADD_ALWAYS, entry.stored.put()))
      fn.Raise(CRYPTO_INTERNAL_ERROR, WithCode(L"Error adding certificate context to store", GetLastError()));
  });
  m_entries.splice(m_entries.end(), added);
}

std::size_t CertContextCollection::List(const FunctionTrace& fn, ICryptoParserFilter* pCertFilter,
                                        CertContextList& contexts) const {
  // The filter is not applied: every context is listed, by design.
  if (pCertFilter == nullptr)
    fn.Warning(L"pCertFilter=NULL!");
  else
    fn.Data(L"pCertFilter=%#x", static_cast<const void*>(pCertFilter));
  contexts = Contexts();
  return contexts.size();
}

CertContextList CertContextCollection::Contexts() const {
  CertContextList contexts;
  for (const Entry& entry : m_entries) contexts.push_back(entry.context.get());
  return contexts;
}

std::list<CertContextCollection::Entry>::iterator CertContextCollection::Find(ICertContext* pCertContext) {
  const auto same = std::find_if(m_entries.begin(), m_entries.end(),
                                 [&](const Entry& entry) { return entry.context.get() == pCertContext; });
  if (same != m_entries.end()) return same;
  ICertificate* certificate = pCertContext->GetCertificate();
  return std::find_if(m_entries.begin(), m_entries.end(),
                      [&](const Entry& entry) { return entry.context->GetCertificate()->Compare(certificate); });
}

void CertContextCollection::Delete(const FunctionTrace& fn, ICertContext* pCertContext) {
  if (pCertContext == nullptr) {
    fn.Warning(L"pCertContext=NULL!");
    return;
  }
  const auto found = Find(pCertContext);
  if (found == m_entries.end()) {
    fn.Warning(L"pCertContext=%#x not found", static_cast<const void*>(pCertContext));
    return;
  }
  // The platform store first: should it fail, both still hold the context.
  if (!CertDeleteCertificateFromStore(CertDuplicateCertificateContext(found->stored.get())))
    fn.Raise(CRYPTO_INTERNAL_ERROR, WithCode(L"Error deleting certificate context from store", GetLastError()));
  m_entries.erase(found);
}

}  // namespace ZT::Framework
