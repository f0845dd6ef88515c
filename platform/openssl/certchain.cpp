// CertGetCertificateChain: a chain from the end certificate to a self-signed root through the
// trust store's certificates, each element checked and its status reported with the published
// CERT_TRUST_* bits (see platform/certificates.h for what is checked).

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <type_traits>

#include "codec/crypto.asn1.extensions.h"
#include "platform/openssl/callfailures.h"
#include "platform/openssl/certcontext.h"
#include "platform/openssl/revocation.h"
#include "platform/openssl/truststore.h"

using namespace ZT::Platform;

namespace {

// Longer chains than this are cut (and reported partial): no real hierarchy comes near.
constexpr std::size_t kMaxChainLength = 16;
constexpr DWORD kRevocationFlags = CERT_CHAIN_REVOCATION_CHECK_END_CERT | CERT_CHAIN_REVOCATION_CHECK_CHAIN |
                                   CERT_CHAIN_REVOCATION_CHECK_CHAIN_EXCLUDE_ROOT;
constexpr const char* kBasicConstraintsOid = "2.5.29.19";

// Extensions whose criticality this engine honours: basic constraints, which it checks, and
// those that constrain nothing about the chain's validity as this engine judges it.
constexpr const char* kUnderstoodExtensions[] = {
    "2.5.29.14", "2.5.29.15", "2.5.29.17", "2.5.29.18", kBasicConstraintsOid,
    "2.5.29.31", "2.5.29.32", "2.5.29.35", "2.5.29.37", "1.3.6.1.5.5.7.1.1",
};

// A chain context and everything it owns; the published handle points at `context`, the first
// member of a standard-layout block.
struct ChainBlock {
  CERT_CHAIN_CONTEXT context;
  CERT_SIMPLE_CHAIN chain;
  PCERT_SIMPLE_CHAIN chainPointer;
  std::vector<CERT_CHAIN_ELEMENT> elements;
  std::vector<PCERT_CHAIN_ELEMENT> elementPointers;
  std::vector<CERT_REVOCATION_INFO> revocation;
  std::vector<PCCERT_CONTEXT> certificates;  // one reference each, released with the block
};
static_assert(std::is_standard_layout_v<ChainBlock>, "the context must be the block's first member");

void FreeBlock(ChainBlock* block) {
  for (PCCERT_CONTEXT certificate : block->certificates) CertFreeCertificateContext(certificate);
  delete block;
}

struct ChainBlockFree {
  void operator()(ChainBlock* block) const noexcept { FreeBlock(block); }
};

bool IsSelfIssued(PCCERT_CONTEXT certificate) {
  return SameName(certificate->pCertInfo->Issuer, certificate->pCertInfo->Subject);
}

bool IsSignedBy(PCCERT_CONTEXT certificate, PCCERT_CONTEXT issuer) {
  return VerifySignedObject({certificate->pbCertEncoded, certificate->cbCertEncoded},
                            issuer->pCertInfo->SubjectPublicKeyInfo) == 0;
}

bool SameCertificate(PCCERT_CONTEXT a, PCCERT_CONTEXT b) {
  return std::memcmp(ContextSha1(a), ContextSha1(b), kSha1Size) == 0;
}

// The issuer of `certificate` among the store's certificates of its issuer's name: one whose key
// verifies the signature and that is valid at `time` before one that only verifies, and that
// before one that only has the name (whose signature check then fails). Null when none has it.
PCCERT_CONTEXT FindIssuer(PCCERT_CONTEXT certificate, const TrustStore& store, FILETIME time) {
  PCCERT_CONTEXT best = nullptr;
  int bestRank = -1;
  for (PCCERT_CONTEXT candidate : store.CertificatesNamed(certificate->pCertInfo->Issuer)) {
    if (SameCertificate(candidate, certificate)) continue;
    const bool signs = IsSignedBy(certificate, candidate);
    const int rank = signs ? (CertVerifyTimeValidity(&time, candidate->pCertInfo) == 0 ? 2 : 1) : 0;
    if (rank > bestRank) {
      best = candidate;
      bestRank = rank;
    }
  }
  return best;
}

struct Chain {
  std::vector<PCCERT_CONTEXT> certificates;  // end certificate first
  bool endsAtRoot = false;                   // the last certificate is self-issued
  DWORD chainErrors = 0;                     // partial chain, cycle
};

Chain BuildPath(PCCERT_CONTEXT end, const TrustStore& store, FILETIME time) {
  Chain chain;
  chain.certificates.push_back(end);
  for (;;) {
    PCCERT_CONTEXT top = chain.certificates.back();
    if (IsSelfIssued(top)) {
      chain.endsAtRoot = true;
      return chain;
    }
    PCCERT_CONTEXT issuer = FindIssuer(top, store, time);
    if (issuer == nullptr || chain.certificates.size() == kMaxChainLength) {
      chain.chainErrors |= CERT_TRUST_IS_PARTIAL_CHAIN;
      return chain;
    }
    if (std::any_of(chain.certificates.begin(), chain.certificates.end(),
                    [&](PCCERT_CONTEXT c) { return SameCertificate(c, issuer); })) {
      chain.chainErrors |= CERT_TRUST_IS_CYCLIC | CERT_TRUST_IS_PARTIAL_CHAIN;
      return chain;
    }
    chain.certificates.push_back(issuer);
  }
}

// Basic constraints of an issuing certificate `depth` places above the end certificate: it must
// not say it is no CA, and its path length must allow the CAs below it (depth - 1 of them).
DWORD CheckBasicConstraints(PCCERT_CONTEXT issuer, std::size_t depth) {
  const CERT_INFO& info = *issuer->pCertInfo;
  const PCERT_EXTENSION extension = CertFindExtension(kBasicConstraintsOid, info.cExtension, info.rgExtension);
  if (extension == nullptr) return 0;
  ZT::Framework::Asn1::BasicConstraints constraints;
  if (!ZT::Framework::Structure::BasicConstraints2::Decode(BlobBytes(extension->Value), &constraints))
    return CERT_TRUST_INVALID_EXTENSION | CERT_TRUST_INVALID_BASIC_CONSTRAINTS;
  if (!constraints.fCA || (constraints.fPathLenConstraint && depth - 1 > constraints.dwPathLenConstraint))
    return CERT_TRUST_INVALID_BASIC_CONSTRAINTS;
  return 0;
}

DWORD CheckCriticalExtensions(PCCERT_CONTEXT certificate) {
  const CERT_INFO& info = *certificate->pCertInfo;
  for (DWORD i = 0; i < info.cExtension; ++i) {
    const CERT_EXTENSION& extension = info.rgExtension[i];
    if (extension.fCritical && std::none_of(std::begin(kUnderstoodExtensions), std::end(kUnderstoodExtensions),
                                            [&](const char* oid) { return std::strcmp(oid, extension.pszObjId) == 0; }))
      return CERT_TRUST_HAS_NOT_SUPPORTED_CRITICAL_EXT;
  }
  return 0;
}

bool RevocationAsked(DWORD flags, std::size_t index, const Chain& chain) {
  if (flags & CERT_CHAIN_REVOCATION_CHECK_CHAIN) return true;
  if (flags & CERT_CHAIN_REVOCATION_CHECK_CHAIN_EXCLUDE_ROOT)
    return !(chain.endsAtRoot && index + 1 == chain.certificates.size());
  return (flags & CERT_CHAIN_REVOCATION_CHECK_END_CERT) && index == 0;
}

// The status of element `index` of the chain; its revocation outcome in *revocation when asked.
CERT_TRUST_STATUS CheckElement(const Chain& chain, std::size_t index, FILETIME time, DWORD flags,
                               const TrustStore& store, UrlRetrieval& retrieval, CERT_REVOCATION_INFO** revocation) {
  PCCERT_CONTEXT certificate = chain.certificates[index];
  const bool isRoot = chain.endsAtRoot && index + 1 == chain.certificates.size();
  PCCERT_CONTEXT issuer = index + 1 < chain.certificates.size() ? chain.certificates[index + 1]
                          : isRoot                              ? certificate
                                                                : nullptr;
  CERT_TRUST_STATUS status{};
  if (CertVerifyTimeValidity(&time, certificate->pCertInfo) != 0) status.dwErrorStatus |= CERT_TRUST_IS_NOT_TIME_VALID;
  if (issuer != nullptr) {
    status.dwInfoStatus |= CERT_TRUST_HAS_NAME_MATCH_ISSUER;
    if (!IsSignedBy(certificate, issuer))
      status.dwErrorStatus |= CERT_TRUST_IS_NOT_SIGNATURE_VALID;
    else if (isRoot)
      status.dwInfoStatus |= CERT_TRUST_IS_SELF_SIGNED;
  }
  if (isRoot && !store.IsTrustedRoot(certificate)) status.dwErrorStatus |= CERT_TRUST_IS_UNTRUSTED_ROOT;
  if (index > 0) status.dwErrorStatus |= CheckBasicConstraints(certificate, index);
  status.dwErrorStatus |= CheckCriticalExtensions(certificate);
  if (RevocationAsked(flags, index, chain)) {
    const RevocationOutcome outcome =
        CheckRevocation(certificate, issuer, ZT::Framework::FileTimeTicks(time), store, retrieval);
    status.dwErrorStatus |= outcome.errorStatus;
    (*revocation)->dwRevocationResult = static_cast<DWORD>(outcome.result);
  } else {
    *revocation = nullptr;
  }
  return status;
}

// The published chain context for `chain`, every element checked.
ChainBlock* NewChainContext(const Chain& chain, FILETIME time, DWORD flags, const TrustStore& store,
                            UrlRetrieval& retrieval) {
  std::unique_ptr<ChainBlock, ChainBlockFree> block(new ChainBlock{});
  const std::size_t count = chain.certificates.size();
  block->elements.resize(count);
  block->revocation.resize(count);
  DWORD errors = chain.chainErrors;
  DWORD info = ~DWORD{0};
  for (std::size_t i = 0; i < count; ++i) {
    block->certificates.push_back(CertDuplicateCertificateContext(chain.certificates[i]));
    CERT_REVOCATION_INFO* revocation = &block->revocation[i];
    revocation->cbSize = sizeof(CERT_REVOCATION_INFO);
    CERT_CHAIN_ELEMENT& element = block->elements[i];
    element.cbSize = sizeof(CERT_CHAIN_ELEMENT);
    element.pCertContext = block->certificates[i];
    element.TrustStatus = CheckElement(chain, i, time, flags, store, retrieval, &revocation);
    element.pRevocationInfo = revocation;
    block->elementPointers.push_back(&element);
    errors |= element.TrustStatus.dwErrorStatus;
    info &= element.TrustStatus.dwInfoStatus;
  }
  block->chain.cbSize = sizeof(CERT_SIMPLE_CHAIN);
  block->chain.TrustStatus = {errors, info};
  block->chain.cElement = static_cast<DWORD>(count);
  block->chain.rgpElement = block->elementPointers.data();
  block->chainPointer = &block->chain;
  block->context.cbSize = sizeof(CERT_CHAIN_CONTEXT);
  block->context.TrustStatus = block->chain.TrustStatus;
  block->context.cChain = 1;
  block->context.rgpChain = &block->chainPointer;
  block->context.dwCreateFlags = flags;
  return block.release();
}

bool CoversRetrievalTimeout(const CERT_CHAIN_PARA& para) {
  return para.cbSize >= offsetof(CERT_CHAIN_PARA, dwUrlRetrievalTimeout) + sizeof(DWORD);
}

BOOL Fail(DWORD error) {
  SetLastError(error);
  return FALSE;
}

}  // namespace

extern "C" {

BOOL WINAPI CertGetCertificateChain(HCERTCHAINENGINE hChainEngine, PCCERT_CONTEXT pCertContext, LPFILETIME pTime,
                                    HCERTSTORE hAdditionalStore, PCERT_CHAIN_PARA pChainPara, DWORD dwFlags, LPVOID,
                                    PCCERT_CHAIN_CONTEXT* ppChainContext) {
  ZT_FAIL_POINT_LAST_ERROR(FALSE);
  if (hChainEngine != nullptr || hAdditionalStore != nullptr || pCertContext == nullptr || pChainPara == nullptr ||
      ppChainContext == nullptr || pChainPara->cbSize < offsetof(CERT_CHAIN_PARA, RequestedIssuancePolicy) ||
      pChainPara->RequestedUsage.Usage.cUsageIdentifier != 0)
    return Fail(static_cast<DWORD>(E_INVALIDARG));
  try {
    FILETIME time;
    if (pTime != nullptr)
      time = *pTime;
    else
      GetSystemTimeAsFileTime(&time);
    const std::shared_ptr<const TrustStore> store = CurrentTrustStore();
    UrlRetrieval retrieval((dwFlags & kRevocationFlags) != 0 && !(dwFlags & CERT_CHAIN_REVOCATION_CHECK_CACHE_ONLY),
                           CoversRetrievalTimeout(*pChainPara) ? pChainPara->dwUrlRetrievalTimeout : 0,
                           (dwFlags & CERT_CHAIN_REVOCATION_ACCUMULATIVE_TIMEOUT) != 0);
    const Chain chain = BuildPath(pCertContext, *store, time);
    *ppChainContext = &NewChainContext(chain, time, dwFlags, *store, retrieval)->context;
    return TRUE;
  } catch (const std::bad_alloc&) {
    return Fail(ERROR_NOT_ENOUGH_MEMORY);
  }
}

void WINAPI CertFreeCertificateChain(PCCERT_CHAIN_CONTEXT pChainContext) {
  if (pChainContext != nullptr)
    FreeBlock(reinterpret_cast<ChainBlock*>(const_cast<CERT_CHAIN_CONTEXT*>(pChainContext)));
}

}  // extern "C"
