// Certificate contexts: a DER certificate decoded into the published CERT_CONTEXT and CERT_INFO,
// on the library's strict DER reader. The decoded certificate owns a copy of the encoding; the
// blobs of CERT_INFO point into that copy, except the serial number (reversed into its own
// buffer, least significant byte first, as the platform gives it) and the OIDs (text). It is
// immutable once made, so the contexts of one certificate (a store's copy and its source) share
// it; each context has its references, its store and its private key of its own.

#include "platform/openssl/certcontext.h"

#include <openssl/evp.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <type_traits>
#include <vector>

#include "codec/crypto.asn1.certificate.h"
#include "platform/openssl/callfailures.h"
#include "platform/openssl/library.h"
#include "platform/openssl/ncryptkeys.h"

using namespace ZT::Platform;
namespace Asn1 = ZT::Framework::Asn1;
namespace Asn1Read = ZT::Framework::Asn1Read;
namespace Der = ZT::Framework::Der;

namespace {

// A decoded certificate and everything its CERT_INFO points into.
struct DecodedCertificate {
  CERT_INFO info{};
  std::vector<BYTE> encoded;
  std::vector<BYTE> serialNumber;
  std::string signatureAlgorithm;
  std::string publicKeyAlgorithm;
  std::vector<std::string> extensionOids;
  std::vector<CERT_EXTENSION> extensions;
  unsigned char sha1[kSha1Size];
};

// A context: the published structure, its references, and what it holds of its own. The
// published handle points at `context`, the first member of a standard-layout block, so the
// block is found again from the handle.
struct CertContextBlock {
  CERT_CONTEXT context;
  std::atomic<std::uint32_t> references;
  std::shared_ptr<const DecodedCertificate> decoded;
  // The private key paired with the context (0: none), and whether the context frees it.
  std::atomic<NCRYPT_KEY_HANDLE> key;
  std::atomic<bool> releasesKey;

  ~CertContextBlock() { ReleaseKey(key.load(std::memory_order_relaxed), releasesKey.load(std::memory_order_relaxed)); }
  static void ReleaseKey(NCRYPT_KEY_HANDLE handle, bool releases) {
    if (handle != 0 && releases) NCryptFreeObject(handle);
  }
};
static_assert(std::is_standard_layout_v<CertContextBlock>, "the context must be the block's first member");

CertContextBlock* BlockOf(PCCERT_CONTEXT context) {
  return reinterpret_cast<CertContextBlock*>(const_cast<CERT_CONTEXT*>(context));
}

BYTE* Mutable(Der::Bytes bytes) { return const_cast<BYTE*>(bytes.data()); }

void SetBlob(CRYPT_DATA_BLOB* blob, Der::Bytes bytes) {
  blob->cbData = static_cast<DWORD>(bytes.size());
  blob->pbData = bytes.empty() ? nullptr : Mutable(bytes);
}

void SetBits(CRYPT_BIT_BLOB* blob, const Der::BitString& bits) {
  blob->cbData = static_cast<DWORD>(bits.bytes.size());
  blob->pbData = bits.bytes.empty() ? nullptr : Mutable(bits.bytes);
  blob->cUnusedBits = bits.unusedBits;
}

// A validity time; before 1601 its ticks are negative (see CertCreateCertificateContext).
void SetFileTime(FILETIME* out, const Der::CalendarTime& time) {
  const auto ticks = static_cast<std::uint64_t>(Der::SignedFileTimeTicks(time));
  out->dwLowDateTime = static_cast<DWORD>(ticks);
  out->dwHighDateTime = static_cast<DWORD>(ticks >> 32);
}

// CERT_INFO from the TBSCertificate `tbs` (read by the codec's reader of it) and its extensions;
// the members point into the block, whose buffers are complete once everything is read.
bool ReadCertInfo(Der::Bytes tbs, DecodedCertificate* block) {
  Asn1::TbsCertificateView view;
  if (!Asn1Read::ReadTbsCertificate(tbs, &view)) return false;
  for (Der::Reader list = view.extensions; !list.Empty();) {
    Asn1::ExtensionView read;
    if (!Asn1Read::ReadExtension(list, &read)) return false;
    block->extensionOids.push_back(std::move(read.oid));
    CERT_EXTENSION& extension = block->extensions.emplace_back();
    extension.fCritical = read.critical ? TRUE : FALSE;
    SetBlob(&extension.Value, read.value);
  }

  CERT_INFO& info = block->info;
  info.dwVersion = static_cast<DWORD>(view.version);
  block->serialNumber.assign(view.serialNumber.rbegin(), view.serialNumber.rend());
  info.SerialNumber.cbData = static_cast<DWORD>(block->serialNumber.size());
  info.SerialNumber.pbData = block->serialNumber.data();
  block->signatureAlgorithm = std::move(view.signature.oid);
  info.SignatureAlgorithm.pszObjId = block->signatureAlgorithm.data();
  SetBlob(&info.SignatureAlgorithm.Parameters, view.signature.parameters);
  SetBlob(&info.Issuer, view.issuer);
  SetFileTime(&info.NotBefore, view.notBefore);
  SetFileTime(&info.NotAfter, view.notAfter);
  SetBlob(&info.Subject, view.subject);
  block->publicKeyAlgorithm = std::move(view.publicKey.algorithm.oid);
  info.SubjectPublicKeyInfo.Algorithm.pszObjId = block->publicKeyAlgorithm.data();
  SetBlob(&info.SubjectPublicKeyInfo.Algorithm.Parameters, view.publicKey.algorithm.parameters);
  SetBits(&info.SubjectPublicKeyInfo.PublicKey, view.publicKey.publicKey);
  if (view.hasIssuerUniqueId) SetBits(&info.IssuerUniqueId, view.issuerUniqueId);
  if (view.hasSubjectUniqueId) SetBits(&info.SubjectUniqueId, view.subjectUniqueId);
  for (std::size_t i = 0; i < block->extensions.size(); ++i)
    block->extensions[i].pszObjId = block->extensionOids[i].data();
  info.cExtension = static_cast<DWORD>(block->extensions.size());
  info.rgExtension = block->extensions.empty() ? nullptr : block->extensions.data();
  return true;
}

bool Digest(const EVP_MD* md, Der::Bytes bytes, unsigned char* out) {
  return md != nullptr && EVP_Digest(bytes.data(), bytes.size(), out, nullptr, md, nullptr) == 1;
}

PCCERT_CONTEXT Fail(DWORD error) {
  SetLastError(error);
  return nullptr;
}

// A new context (one reference) of the decoded certificate, in `store`.
PCCERT_CONTEXT NewContext(std::shared_ptr<const DecodedCertificate> decoded, HCERTSTORE store) {
  auto block = std::make_unique<CertContextBlock>();
  block->context.dwCertEncodingType = X509_ASN_ENCODING | PKCS_7_ASN_ENCODING;
  block->context.pbCertEncoded = const_cast<BYTE*>(decoded->encoded.data());
  block->context.cbCertEncoded = static_cast<DWORD>(decoded->encoded.size());
  block->context.pCertInfo = const_cast<CERT_INFO*>(&decoded->info);
  block->context.hCertStore = store;
  block->references.store(1, std::memory_order_relaxed);
  block->decoded = std::move(decoded);
  block->key.store(0, std::memory_order_relaxed);
  block->releasesKey.store(false, std::memory_order_relaxed);
  return &block.release()->context;
}

}  // namespace

namespace ZT::Platform {

const unsigned char* ContextSha1(PCCERT_CONTEXT context) { return BlockOf(context)->decoded->sha1; }

bool SameName(const CERT_NAME_BLOB& a, const CERT_NAME_BLOB& b) {
  return a.cbData == b.cbData && (a.cbData == 0 || std::memcmp(a.pbData, b.pbData, a.cbData) == 0);
}

PCCERT_CONTEXT NewCertificateContext(DWORD dwCertEncodingType, const BYTE* pbCertEncoded, DWORD cbCertEncoded) {
  if ((dwCertEncodingType & X509_ASN_ENCODING) == 0) return Fail(E_INVALIDARG);
  if (pbCertEncoded == nullptr || cbCertEncoded == 0) return Fail(CRYPT_E_ASN1_EOD);
  try {
    auto block = std::make_shared<DecodedCertificate>();
    block->encoded.assign(pbCertEncoded, pbCertEncoded + cbCertEncoded);
    const Der::Bytes encoded(block->encoded.data(), block->encoded.size());
    Asn1::SignedObjectView parts;
    if (encoded[0] != 0x30) return Fail(CRYPT_E_ASN1_BADTAG);
    if (!Asn1Read::ReadSignedObject(encoded, &parts) || !ReadCertInfo(parts.toBeSigned, block.get()))
      return Fail(CRYPT_E_ASN1_CORRUPT);
    if (!Digest(Library::Get().Digest(DigestId::SHA1), encoded, block->sha1)) return Fail(NTE_FAIL);
    return NewContext(std::move(block), nullptr);
  } catch (const std::bad_alloc&) {
    return Fail(ERROR_NOT_ENOUGH_MEMORY);
  }
}

PCCERT_CONTEXT CopyCertificateContext(PCCERT_CONTEXT source, HCERTSTORE store) {
  try {
    return NewContext(BlockOf(source)->decoded, store);
  } catch (const std::bad_alloc&) {
    return Fail(ERROR_NOT_ENOUGH_MEMORY);
  }
}

BOOL ReturnSized(const void* value, DWORD size, void* out, DWORD* room) {
  if (out == nullptr) {
    *room = size;
    return TRUE;
  }
  const DWORD available = *room;
  *room = size;
  if (available < size) {
    SetLastError(ERROR_MORE_DATA);
    return FALSE;
  }
  std::memcpy(out, value, size);
  return TRUE;
}

std::uint32_t ContextReferences(PCCERT_CONTEXT context) {
  return BlockOf(context)->references.load(std::memory_order_acquire);
}

NCRYPT_KEY_HANDLE ContextKey(PCCERT_CONTEXT context) {
  return BlockOf(context)->key.load(std::memory_order_acquire);
}

void PairContextKey(PCCERT_CONTEXT context, NCRYPT_KEY_HANDLE key, bool releases) {
  CertContextBlock* block = BlockOf(context);
  const bool releasedBefore = block->releasesKey.exchange(releases, std::memory_order_acq_rel);
  CertContextBlock::ReleaseKey(block->key.exchange(key, std::memory_order_acq_rel), releasedBefore);
}

}  // namespace ZT::Platform

extern "C" {

PCCERT_CONTEXT WINAPI CertCreateCertificateContext(DWORD dwCertEncodingType, const BYTE* pbCertEncoded,
                                                   DWORD cbCertEncoded) {
  ZT_FAIL_POINT_LAST_ERROR(nullptr);
  return ZT::Platform::NewCertificateContext(dwCertEncodingType, pbCertEncoded, cbCertEncoded);
}

PCCERT_CONTEXT WINAPI CertDuplicateCertificateContext(PCCERT_CONTEXT pCertContext) {
  if (pCertContext != nullptr) BlockOf(pCertContext)->references.fetch_add(1, std::memory_order_relaxed);
  return pCertContext;
}

BOOL WINAPI CertFreeCertificateContext(PCCERT_CONTEXT pCertContext) {
  if (pCertContext == nullptr) return TRUE;
  CertContextBlock* block = BlockOf(pCertContext);
  if (block->references.fetch_sub(1, std::memory_order_acq_rel) == 1) delete block;
  return TRUE;
}

BOOL WINAPI CertGetCertificateContextProperty(PCCERT_CONTEXT pCertContext, DWORD dwPropId, void* pvData,
                                              DWORD* pcbData) {
  ZT_FAIL_POINT_LAST_ERROR(FALSE);
  if (pCertContext == nullptr || pcbData == nullptr) {
    SetLastError(E_INVALIDARG);
    return FALSE;
  }
  const DecodedCertificate* block = BlockOf(pCertContext)->decoded.get();
  switch (dwPropId) {
    case CERT_SHA1_HASH_PROP_ID:
      return ReturnSized(block->sha1, kSha1Size, pvData, pcbData);
    case CERT_MD5_HASH_PROP_ID: {
      unsigned char md5[16];
      if (!Digest(Library::Get().Digest(DigestId::MD5), {block->encoded.data(), block->encoded.size()}, md5)) {
        SetLastError(NTE_FAIL);
        return FALSE;
      }
      return ReturnSized(md5, sizeof(md5), pvData, pcbData);
    }
    default:
      SetLastError(CRYPT_E_NOT_FOUND);
      return FALSE;
  }
}

PCERT_EXTENSION WINAPI CertFindExtension(LPCSTR pszObjId, DWORD cExtensions, CERT_EXTENSION rgExtensions[]) {
  if (pszObjId != nullptr && rgExtensions != nullptr)
    for (DWORD i = 0; i < cExtensions; ++i)
      if (std::strcmp(rgExtensions[i].pszObjId, pszObjId) == 0) return &rgExtensions[i];
  SetLastError(CRYPT_E_NOT_FOUND);
  return nullptr;
}

BOOL WINAPI CertSetCertificateContextProperty(PCCERT_CONTEXT pCertContext, DWORD dwPropId, DWORD dwFlags,
                                              const void* pvData) {
  ZT_FAIL_POINT_LAST_ERROR(FALSE);
  if (pCertContext == nullptr || dwPropId != CERT_NCRYPT_KEY_HANDLE_PROP_ID) {
    SetLastError(E_INVALIDARG);
    return FALSE;
  }
  NCRYPT_KEY_HANDLE key = 0;
  if (pvData != nullptr) {
    std::memcpy(&key, pvData, sizeof key);
    const NCryptKeyObject* object = FindNCryptKey(key);
    if (object == nullptr || !object->finalized) {
      SetLastError(NTE_INVALID_HANDLE);
      return FALSE;
    }
  }
  PairContextKey(pCertContext, key, (dwFlags & CERT_STORE_NO_CRYPT_RELEASE_FLAG) == 0);
  return TRUE;
}

BOOL WINAPI CryptAcquireCertificatePrivateKey(PCCERT_CONTEXT pCert, DWORD dwFlags, void* pvParameters,
                                              HCRYPTPROV_OR_NCRYPT_KEY_HANDLE* phCryptProvOrNCryptKey,
                                              DWORD* pdwKeySpec, BOOL* pfCallerFreeProvOrNCryptKey) {
  ZT_FAIL_POINT_LAST_ERROR(FALSE);
  constexpr DWORD kNCryptAllowed =
      CRYPT_ACQUIRE_ALLOW_NCRYPT_KEY_FLAG | CRYPT_ACQUIRE_PREFER_NCRYPT_KEY_FLAG | CRYPT_ACQUIRE_ONLY_NCRYPT_KEY_FLAG;
  if (pCert == nullptr || pvParameters != nullptr || phCryptProvOrNCryptKey == nullptr) {
    SetLastError(E_INVALIDARG);
    return FALSE;
  }
  if ((dwFlags & kNCryptAllowed) == 0) {
    SetLastError(NTE_BAD_FLAGS);
    return FALSE;
  }
  const NCRYPT_KEY_HANDLE key = ContextKey(pCert);
  if (key == 0) {
    SetLastError(CRYPT_E_NO_KEY_PROPERTY);
    return FALSE;
  }
  *phCryptProvOrNCryptKey = key;
  if (pdwKeySpec != nullptr) *pdwKeySpec = CERT_NCRYPT_KEY_SPEC;
  if (pfCallerFreeProvOrNCryptKey != nullptr) *pfCallerFreeProvOrNCryptKey = FALSE;
  return TRUE;
}

LONG WINAPI CertVerifyTimeValidity(LPFILETIME pTimeToVerify, PCERT_INFO pCertInfo) {
  FILETIME now;
  if (pTimeToVerify == nullptr) {
    GetSystemTimeAsFileTime(&now);
    pTimeToVerify = &now;
  }
  const auto signedTicks = [](const FILETIME& t) { return static_cast<std::int64_t>(ZT::Framework::FileTimeTicks(t)); };
  const std::int64_t time = signedTicks(*pTimeToVerify);
  if (time < signedTicks(pCertInfo->NotBefore)) return -1;
  if (time > signedTicks(pCertInfo->NotAfter)) return 1;
  return 0;
}

}  // extern "C"
