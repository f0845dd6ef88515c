// The chain engine's trust store and CRLs. The system store is the set of certificates in
// OpenSSL's compiled-in default locations (its certificate file, and the hashed links of its
// certificate directory), read once as PEM; OpenSSL sees only the file, never the certificates.

#include "platform/openssl/truststore.h"

#include <dirent.h>
#include <openssl/err.h>
#include <openssl/pem.h>
#include <openssl/x509.h>

#include <algorithm>
#include <cstring>
#include <mutex>
#include <set>
#include <string>

#include "codec/crypto.asn1.certificate.h"
#include "platform/testing.h"

namespace ZT::Platform {
namespace {

namespace Asn1 = ZT::Framework::Asn1;
namespace Asn1Read = ZT::Framework::Asn1Read;
namespace Der = ZT::Framework::Der;
using DerList = std::vector<std::vector<unsigned char>>;

bool ReadTicks(Der::Reader& in, std::uint64_t* ticks) {
  Der::CalendarTime time;
  return in.ReadTime(&time) && Der::ToFileTimeTicks(time, ticks);
}

// Extensions ::= SEQUENCE OF Extension, stepped over: nothing in them changes what is listed.
bool SkipExtensions(Der::Reader& in, Der::Tag tag) {
  return in.ReadOptional(tag, [&] { return in.Skip(tag); });
}

struct BioFree {
  void operator()(BIO* bio) const noexcept { BIO_free(bio); }
};

// The DER of every "CERTIFICATE" block of the PEM file at `path` (none when it cannot be read).
void AppendPemCertificates(const std::string& path, DerList* out) {
  const std::unique_ptr<BIO, BioFree> bio(BIO_new_file(path.c_str(), "r"));
  if (!bio) return;
  for (;;) {
    char* name = nullptr;
    char* header = nullptr;
    unsigned char* data = nullptr;
    long size = 0;
    if (PEM_read_bio(bio.get(), &name, &header, &data, &size) != 1) break;
    if (std::strcmp(name, "CERTIFICATE") == 0) out->emplace_back(data, data + size);
    OPENSSL_free(name);
    OPENSSL_free(header);
    OPENSSL_free(data);
  }
}

// OpenSSL's directory lookup reads only links named <8 hex digits>.<digits>.
bool IsHashLinkName(const char* name) {
  const std::size_t length = std::strlen(name);
  return length > 9 && name[8] == '.' && std::strspn(name, "0123456789abcdef") == 8 &&
         std::strspn(name + 9, "0123456789") == length - 9;
}

DerList SystemRoots() {
  DerList found;
  AppendPemCertificates(X509_get_default_cert_file(), &found);
  const std::string directory = X509_get_default_cert_dir();
  if (DIR* dir = opendir(directory.c_str())) {
    while (const dirent* entry = readdir(dir))
      if (IsHashLinkName(entry->d_name)) AppendPemCertificates(directory + "/" + entry->d_name, &found);
    closedir(dir);
  }
  // End-of-file leaves a "no start line" error queued.
  ERR_clear_error();
  // The file and the directory usually hold the same certificates: each is kept once.
  DerList unique;
  std::set<std::string> seen;
  for (auto& der : found)
    if (seen.emplace(der.begin(), der.end()).second) unique.push_back(std::move(der));
  return unique;
}

std::vector<CertContextRef> Contexts(const DerList& certificates) {
  std::vector<CertContextRef> contexts;
  for (const auto& der : certificates)
    if (PCCERT_CONTEXT context =
            NewCertificateContext(X509_ASN_ENCODING, der.data(), static_cast<DWORD>(der.size())))
      contexts.emplace_back(context);
  return contexts;
}

void AppendNamed(const std::vector<CertContextRef>& from, const CERT_NAME_BLOB& name,
                 std::vector<PCCERT_CONTEXT>* out) {
  for (const CertContextRef& context : from)
    if (SameName(context->pCertInfo->Subject, name)) out->push_back(context.get());
}

// The store in use, and the test's replacement.
struct StoreSlot {
  std::mutex mutex;
  std::shared_ptr<const TrustStore> replacement;
};

StoreSlot& Slot() {
  static StoreSlot slot;
  return slot;
}

}  // namespace

std::shared_ptr<const Crl> Crl::Parse(Der::Bytes der) {
  std::shared_ptr<Crl> crl(new Crl);
  crl->m_encoded.assign(der.begin(), der.end());
  if (!crl->Read()) return nullptr;
  return crl;
}

// TBSCertList ::= SEQUENCE { version INTEGER OPTIONAL, signature AlgorithmIdentifier, issuer Name,
//   thisUpdate Time, nextUpdate Time OPTIONAL,
//   revokedCertificates SEQUENCE OF SEQUENCE { userCertificate INTEGER, revocationDate Time,
//                                              crlEntryExtensions Extensions OPTIONAL } OPTIONAL,
//   crlExtensions [0] EXPLICIT Extensions OPTIONAL }
bool Crl::Read() {
  Asn1::SignedObjectView parts;
  Asn1::AlgorithmIdentifierView algorithm;
  Der::Reader tbs, revoked;
  std::int64_t version = 0;
  if (!Asn1Read::ReadSignedObject(Encoded(), &parts) || !Der::ReadWhole(parts.toBeSigned, Der::kSequence, &tbs) ||
      !tbs.ReadOptional(Der::kInteger, [&] { return tbs.ReadInt64(&version); }) ||
      !Asn1Read::ReadAlgorithmIdentifier(tbs, &algorithm) || !tbs.ReadElement(Der::kSequence, &m_issuer) ||
      !ReadTicks(tbs, &m_thisUpdate) ||
      !tbs.ReadOptional({Der::kUtcTime, Der::kGeneralizedTime}, [&] { return ReadTicks(tbs, &m_nextUpdate); }))
    return false;
  bool present = false;
  if (!tbs.ReadOptional(Der::kSequence, &revoked, &present)) return false;
  while (!revoked.Empty()) {
    Der::Reader entry;
    Der::Bytes serial;
    std::uint64_t revocationDate = 0;
    if (!revoked.Read(Der::kSequence, &entry) || !entry.ReadInteger(&serial) || !ReadTicks(entry, &revocationDate) ||
        !SkipExtensions(entry, Der::kSequence) || !entry.Empty())
      return false;
    m_revokedSerials.push_back(serial);
  }
  return SkipExtensions(tbs, Der::ExplicitTag(0)) && tbs.Empty();
}

bool Crl::Lists(const CRYPT_INTEGER_BLOB& serial) const {
  return std::any_of(m_revokedSerials.begin(), m_revokedSerials.end(), [&](Der::Bytes listed) {
    return listed.size() == serial.cbData &&
           std::equal(listed.begin(), listed.end(), std::reverse_iterator(serial.pbData + serial.cbData));
  });
}

TrustStore::TrustStore(const DerList& roots, const DerList& issuers, const DerList& crls)
    : m_roots(Contexts(roots)), m_issuers(Contexts(issuers)) {
  for (const auto& der : crls)
    if (auto crl = Crl::Parse({der.data(), der.size()})) m_crls.push_back(std::move(crl));
}

std::vector<PCCERT_CONTEXT> TrustStore::CertificatesNamed(const CERT_NAME_BLOB& name) const {
  std::vector<PCCERT_CONTEXT> found;
  AppendNamed(m_roots, name, &found);
  AppendNamed(m_issuers, name, &found);
  return found;
}

bool TrustStore::IsTrustedRoot(PCCERT_CONTEXT certificate) const {
  return std::any_of(m_roots.begin(), m_roots.end(), [&](const CertContextRef& root) {
    return std::memcmp(ContextSha1(root.get()), ContextSha1(certificate), kSha1Size) == 0;
  });
}

std::vector<std::shared_ptr<const Crl>> TrustStore::CrlsOf(const CERT_NAME_BLOB& name) const {
  std::vector<std::shared_ptr<const Crl>> found;
  for (const auto& crl : m_crls)
    if (std::ranges::equal(crl->Issuer(), BlobBytes(name))) found.push_back(crl);
  return found;
}

std::shared_ptr<const TrustStore> CurrentTrustStore() {
  {
    StoreSlot& slot = Slot();
    const std::lock_guard<std::mutex> lock(slot.mutex);
    if (slot.replacement) return slot.replacement;
  }
  // Built once, thread-safely, on first use; never reloaded.
  static const std::shared_ptr<const TrustStore> system =
      std::make_shared<TrustStore>(SystemRoots(), DerList(), DerList());
  return system;
}

}  // namespace ZT::Platform

namespace ZT::Platform::Testing {

void ReplaceTrustStore(const TrustStoreContents& contents) {
  auto store = std::make_shared<const TrustStore>(contents.roots, contents.issuers, contents.crls);
  StoreSlot& slot = Slot();
  const std::lock_guard<std::mutex> lock(slot.mutex);
  slot.replacement = std::move(store);
}

void RestoreTrustStore() {
  StoreSlot& slot = Slot();
  const std::lock_guard<std::mutex> lock(slot.mutex);
  slot.replacement.reset();
}

}  // namespace ZT::Platform::Testing
