// The replacement trust store on Windows: memory stores of the replacement's roots (the engine's
// exclusive roots), issuers and CRLs (an additional store of the engine), and the chain engine
// made of them. One mutex guards which replacement is in place.

#include "platform/windows/truststore.h"

#include <cstddef>
#include <mutex>

#include "platform/testing.h"

namespace ZT::Platform::Windows {

class ReplacementEngine {
 public:
  explicit ReplacementEngine(const Testing::TrustStoreContents& contents)
      : m_roots(NewStore()), m_others(NewStore()) {
    // Bytes that do not decode are left out, as the contract says: the add fails and is ignored.
    for (const auto& der : contents.roots) AddCertificate(m_roots, der);
    for (const auto& der : contents.issuers) AddCertificate(m_others, der);
    for (const auto& der : contents.crls)
      CertAddEncodedCRLToStore(m_others, X509_ASN_ENCODING, der.data(), static_cast<DWORD>(der.size()),
                               CERT_STORE_ADD_ALWAYS, nullptr);
    CERT_CHAIN_ENGINE_CONFIG config{};
    // The configuration as far as the exclusive stores reach, the size every version of the
    // platform since the exclusive root store accepts (later fields are not used here).
    config.cbSize = offsetof(CERT_CHAIN_ENGINE_CONFIG, dwExclusiveFlags);
    config.hExclusiveRoot = m_roots;
    config.cAdditionalStore = 1;
    config.rghAdditionalStore = &m_others;
    if (!CertCreateCertificateChainEngine(&config, &m_engine)) m_engine = nullptr;
  }

  ~ReplacementEngine() {
    if (m_engine != nullptr) CertFreeCertificateChainEngine(m_engine);
    CertCloseStore(m_others, 0);
    CertCloseStore(m_roots, 0);
  }

  ReplacementEngine(const ReplacementEngine&) = delete;
  ReplacementEngine& operator=(const ReplacementEngine&) = delete;

  HCERTCHAINENGINE Handle() const { return m_engine; }

 private:
  static HCERTSTORE NewStore() { return CertOpenStore(CERT_STORE_PROV_MEMORY, 0, 0, 0, nullptr); }

  static void AddCertificate(HCERTSTORE store, const std::vector<unsigned char>& der) {
    CertAddEncodedCertificateToStore(store, X509_ASN_ENCODING, der.data(), static_cast<DWORD>(der.size()),
                                     CERT_STORE_ADD_ALWAYS, nullptr);
  }

  HCERTSTORE m_roots;
  HCERTSTORE m_others;
  HCERTCHAINENGINE m_engine = nullptr;
};

namespace {

std::mutex g_mutex;
std::shared_ptr<ReplacementEngine> g_replacement;

}  // namespace

ChainEngineInUse::ChainEngineInUse(HCERTCHAINENGINE requested) : m_handle(requested) {
  if (requested != nullptr) return;
  const std::lock_guard<std::mutex> lock(g_mutex);
  m_replacement = g_replacement;
  if (m_replacement) m_handle = m_replacement->Handle();
}

}  // namespace ZT::Platform::Windows

namespace ZT::Platform::Testing {

void ReplaceTrustStore(const TrustStoreContents& contents) {
  auto replacement = std::make_shared<Windows::ReplacementEngine>(contents);
  const std::lock_guard<std::mutex> lock(Windows::g_mutex);
  Windows::g_replacement = std::move(replacement);
}

void RestoreTrustStore() {
  const std::lock_guard<std::mutex> lock(Windows::g_mutex);
  Windows::g_replacement.reset();
}

}  // namespace ZT::Platform::Testing
