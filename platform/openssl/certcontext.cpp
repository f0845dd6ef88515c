// Certificate contexts: a DER certificate decoded into the published CERT_CONTEXT and CERT_INFO,
// on the library's strict DER reader. The context owns a copy of the encoding; the blobs of
// CERT_INFO point into that copy, except the serial number (reversed into its own buffer, least
// significant byte first, as the platform gives it) and the OIDs (text).

#include "platform/openssl/certcontext.h"

#include <openssl/evp.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <type_traits>
#include <vector>

#include "platform/openssl/callfailures.h"
#include "platform/openssl/library.h"

using namespace ZT::Platform;
namespace Der = ZT::Framework::Der;

namespace {

// A context and everything it owns. The published handle points at `context`, the first member
// of a standard-layout block, so the block is found again from the handle.
struct CertContextBlock {
  CERT_CONTEXT context;
  CERT_INFO info;
  std::atomic<std::uint32_t> references;
  std::vector<BYTE> encoded;
  std::vector<BYTE> serialNumber;
  std::string signatureAlgorithm;
  std::string publicKeyAlgorithm;
  std::vector<std::string> extensionOids;
  std::vector<CERT_EXTENSION> extensions;
  unsigned char sha1[kSha1Size];
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
bool ReadFileTime(Der::Reader& in, FILETIME* out) {
  Der::CalendarTime time;
  if (!in.ReadTime(&time)) return false;
  const auto ticks = static_cast<std::uint64_t>(Der::SignedFileTimeTicks(time));
  out->dwLowDateTime = static_cast<DWORD>(ticks);
  out->dwHighDateTime = static_cast<DWORD>(ticks >> 32);
  return true;
}

// The steps of TBSCertificate (RFC 5280 4.1), each filling its members of CERT_INFO.
class TbsReader {
 public:
  explicit TbsReader(CertContextBlock* block) : m_block(block), m_info(&block->info) {}

  bool Read(Der::Bytes tbs) {
    Der::Reader seq;
    return Der::ReadWhole(tbs, Der::kSequence, &seq) && ReadVersion(seq) && ReadSerialNumber(seq) &&
           ReadAlgorithmIdentifier(seq, &m_block->signatureAlgorithm, &m_signatureParameters) &&
           ReadName(seq, &m_info->Issuer) && ReadValidity(seq) && ReadName(seq, &m_info->Subject) &&
           ReadPublicKeyInfo(seq) && ReadUniqueId(seq, 1, &m_info->IssuerUniqueId) &&
           ReadUniqueId(seq, 2, &m_info->SubjectUniqueId) && ReadExtensions(seq) && seq.Empty() && Finish();
  }

 private:
  // version [0] EXPLICIT INTEGER DEFAULT v1. An explicit v1, which DER leaves out, is met in the
  // field and read.
  bool ReadVersion(Der::Reader& seq) {
    Der::Reader version;
    bool present = false;
    std::uint64_t value = CERT_V1;
    if (!seq.ReadOptional(Der::ExplicitTag(0), &version, &present)) return false;
    if (present && (!version.ReadUint64(&value) || !version.Empty() || value > 0xFFFFFFFFu)) return false;
    m_info->dwVersion = static_cast<DWORD>(value);
    return true;
  }

  bool ReadSerialNumber(Der::Reader& seq) {
    Der::Bytes serial;
    if (!seq.ReadInteger(&serial)) return false;
    m_block->serialNumber.assign(serial.rbegin(), serial.rend());
    return true;
  }

  // Name: kept as its whole DER element; its RDNs are read by whoever reads the name.
  static bool ReadName(Der::Reader& seq, CERT_NAME_BLOB* name) {
    Der::Bytes element;
    if (!seq.ReadElement(Der::kSequence, &element)) return false;
    SetBlob(name, element);
    return true;
  }

  bool ReadValidity(Der::Reader& seq) {
    Der::Reader validity;
    return seq.Read(Der::kSequence, &validity) && ReadFileTime(validity, &m_info->NotBefore) &&
           ReadFileTime(validity, &m_info->NotAfter) && validity.Empty();
  }

  // SubjectPublicKeyInfo ::= SEQUENCE { algorithm AlgorithmIdentifier, subjectPublicKey BIT STRING }
  bool ReadPublicKeyInfo(Der::Reader& seq) {
    Der::Reader spki;
    Der::BitString key;
    if (!seq.Read(Der::kSequence, &spki) ||
        !ReadAlgorithmIdentifier(spki, &m_block->publicKeyAlgorithm, &m_publicKeyParameters) ||
        !spki.ReadBitString(&key) || !spki.Empty())
      return false;
    SetBits(&m_info->SubjectPublicKeyInfo.PublicKey, key);
    return true;
  }

  // issuerUniqueID [1] IMPLICIT BIT STRING OPTIONAL, subjectUniqueID [2] likewise.
  static bool ReadUniqueId(Der::Reader& seq, std::uint32_t tag, CRYPT_BIT_BLOB* id) {
    return seq.ReadOptional(Der::ContextTag(tag), [&] {
      Der::BitString bits;
      if (!seq.ReadBitString(&bits, Der::ContextTag(tag))) return false;
      SetBits(id, bits);
      return true;
    });
  }

  // extensions [3] EXPLICIT SEQUENCE OF Extension
  bool ReadExtensions(Der::Reader& seq) {
    Der::Reader outer, list;
    bool present = false;
    if (!seq.ReadOptional(Der::ExplicitTag(3), &outer, &present)) return false;
    if (!present) return true;
    if (!outer.Read(Der::kSequence, &list) || !outer.Empty()) return false;
    while (!list.Empty())
      if (!ReadExtension(list)) return false;
    return true;
  }

  // Extension ::= SEQUENCE { extnID OID, critical BOOLEAN DEFAULT FALSE, extnValue OCTET STRING }
  // An explicit FALSE, which DER leaves out, is read as FALSE.
  bool ReadExtension(Der::Reader& list) {
    Der::Reader seq;
    Der::Bytes oid, value;
    std::string text;
    bool critical = false;
    if (!list.Read(Der::kSequence, &seq) || !seq.ReadOid(&oid) || !Der::OidToText(oid, &text)) return false;
    if (!seq.ReadOptional(Der::kBoolean, [&] { return seq.ReadBoolean(&critical); }) ||
        !seq.ReadOctetString(&value) || !seq.Empty())
      return false;
    m_block->extensionOids.push_back(std::move(text));
    CERT_EXTENSION extension{};
    extension.fCritical = critical ? TRUE : FALSE;
    SetBlob(&extension.Value, value);
    m_block->extensions.push_back(extension);
    return true;
  }

  // Points the members at their text and buffers, which are complete now.
  bool Finish() {
    m_info->SerialNumber.cbData = static_cast<DWORD>(m_block->serialNumber.size());
    m_info->SerialNumber.pbData = m_block->serialNumber.data();
    m_info->SignatureAlgorithm.pszObjId = m_block->signatureAlgorithm.data();
    SetBlob(&m_info->SignatureAlgorithm.Parameters, m_signatureParameters);
    m_info->SubjectPublicKeyInfo.Algorithm.pszObjId = m_block->publicKeyAlgorithm.data();
    SetBlob(&m_info->SubjectPublicKeyInfo.Algorithm.Parameters, m_publicKeyParameters);
    for (std::size_t i = 0; i < m_block->extensions.size(); ++i)
      m_block->extensions[i].pszObjId = m_block->extensionOids[i].data();
    m_info->cExtension = static_cast<DWORD>(m_block->extensions.size());
    m_info->rgExtension = m_block->extensions.empty() ? nullptr : m_block->extensions.data();
    return true;
  }

  CertContextBlock* m_block;
  CERT_INFO* m_info;
  Der::Bytes m_signatureParameters;
  Der::Bytes m_publicKeyParameters;
};

bool Digest(const EVP_MD* md, Der::Bytes bytes, unsigned char* out) {
  return md != nullptr && EVP_Digest(bytes.data(), bytes.size(), out, nullptr, md, nullptr) == 1;
}

PCCERT_CONTEXT Fail(DWORD error) {
  SetLastError(error);
  return nullptr;
}

// The property's value into the caller's buffer, with the size protocol of the platform.
BOOL ReturnProperty(const unsigned char* value, DWORD size, void* pvData, DWORD* pcbData) {
  if (pvData == nullptr) {
    *pcbData = size;
    return TRUE;
  }
  const DWORD room = *pcbData;
  *pcbData = size;
  if (room < size) {
    SetLastError(ERROR_MORE_DATA);
    return FALSE;
  }
  std::memcpy(pvData, value, size);
  return TRUE;
}

}  // namespace

namespace ZT::Platform {

bool ReadAlgorithmIdentifier(Der::Reader& in, std::string* oid, Der::Bytes* parameters) {
  Der::Reader seq;
  Der::Bytes oidBytes;
  Der::Tag tag;
  if (!in.Read(Der::kSequence, &seq) || !seq.ReadOid(&oidBytes) || !Der::OidToText(oidBytes, oid)) return false;
  *parameters = {};
  return (seq.Empty() || seq.ReadAnyElement(&tag, parameters)) && seq.Empty();
}

bool ReadSignedParts(Der::Bytes der, SignedParts* out) {
  Der::Reader seq;
  Der::Tag tag;
  Der::BitString signature;
  if (!Der::ReadWhole(der, Der::kSequence, &seq) || !seq.ReadAnyElement(&tag, &out->toBeSigned) ||
      tag != Der::kSequence || !ReadAlgorithmIdentifier(seq, &out->algorithm, &out->parameters) ||
      !seq.ReadBitString(&signature) || signature.unusedBits != 0 || !seq.Empty())
    return false;
  out->signature = signature.bytes;
  return true;
}

const unsigned char* ContextSha1(PCCERT_CONTEXT context) { return BlockOf(context)->sha1; }

bool SameName(const CERT_NAME_BLOB& a, const CERT_NAME_BLOB& b) {
  return a.cbData == b.cbData && (a.cbData == 0 || std::memcmp(a.pbData, b.pbData, a.cbData) == 0);
}

PCCERT_CONTEXT NewCertificateContext(DWORD dwCertEncodingType, const BYTE* pbCertEncoded, DWORD cbCertEncoded) {
  if ((dwCertEncodingType & X509_ASN_ENCODING) == 0) return Fail(E_INVALIDARG);
  if (pbCertEncoded == nullptr || cbCertEncoded == 0) return Fail(CRYPT_E_ASN1_EOD);
  try {
    auto block = std::make_unique<CertContextBlock>();
    block->encoded.assign(pbCertEncoded, pbCertEncoded + cbCertEncoded);
    const Der::Bytes encoded(block->encoded.data(), block->encoded.size());
    SignedParts parts;
    if (encoded[0] != 0x30) return Fail(CRYPT_E_ASN1_BADTAG);
    if (!ReadSignedParts(encoded, &parts) || !TbsReader(block.get()).Read(parts.toBeSigned))
      return Fail(CRYPT_E_ASN1_CORRUPT);
    if (!Digest(Library::Get().Digest(DigestId::SHA1), encoded, block->sha1)) return Fail(NTE_FAIL);
    block->context.dwCertEncodingType = X509_ASN_ENCODING | PKCS_7_ASN_ENCODING;
    block->context.pbCertEncoded = block->encoded.data();
    block->context.cbCertEncoded = cbCertEncoded;
    block->context.pCertInfo = &block->info;
    block->context.hCertStore = nullptr;
    block->references.store(1, std::memory_order_relaxed);
    return &block.release()->context;
  } catch (const std::bad_alloc&) {
    return Fail(ERROR_NOT_ENOUGH_MEMORY);
  }
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
  const CertContextBlock* block = BlockOf(pCertContext);
  switch (dwPropId) {
    case CERT_SHA1_HASH_PROP_ID:
      return ReturnProperty(block->sha1, kSha1Size, pvData, pcbData);
    case CERT_MD5_HASH_PROP_ID: {
      unsigned char md5[16];
      if (!Digest(Library::Get().Digest(DigestId::MD5), {block->encoded.data(), block->encoded.size()}, md5)) {
        SetLastError(NTE_FAIL);
        return FALSE;
      }
      return ReturnProperty(md5, sizeof(md5), pvData, pcbData);
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

LONG WINAPI CertVerifyTimeValidity(LPFILETIME pTimeToVerify, PCERT_INFO pCertInfo) {
  FILETIME now;
  if (pTimeToVerify == nullptr) {
    GetSystemTimeAsFileTime(&now);
    pTimeToVerify = &now;
  }
  const auto signedTicks = [](const FILETIME& t) { return static_cast<std::int64_t>(Ticks(t)); };
  const std::int64_t time = signedTicks(*pTimeToVerify);
  if (time < signedTicks(pCertInfo->NotBefore)) return -1;
  if (time > signedTicks(pCertInfo->NotAfter)) return 1;
  return 0;
}

}  // extern "C"
