#include "cng/crypto.cng.x509certificates.h"

#include <algorithm>
#include <optional>
#include <vector>

#include "cng/crypto.cng.signature.h"
#include "cng/crypto.cng.util.h"
#include "codec/crypto.asn1.certificate.h"
#include "framework/crypto.parameters.h"

namespace ZT::Framework {
namespace {

constexpr const wchar_t* kDateFormat = L"%Y-%m-%d %H:%M:%S";
constexpr const char* kKeyUsageOID = "2.5.29.15";
constexpr const char* kExtendedKeyUsageOID = "2.5.29.37";
constexpr const char* kSubjectAltNameOID = "2.5.29.17";
constexpr const char* kOldSubjectAltNameOID = "2.5.29.7";  // superseded by 2.5.29.17
constexpr DWORD kEncoding = X509_ASN_ENCODING | PKCS_7_ASN_ENCODING;
// Cache the end certificate, check the revocation of the chain without its root, one time-out for
// all retrievals.
constexpr DWORD kTrustFlags = CERT_CHAIN_CACHE_END_CERT | CERT_CHAIN_REVOCATION_CHECK_CHAIN_EXCLUDE_ROOT |
                              CERT_CHAIN_REVOCATION_ACCUMULATIVE_TIMEOUT;
constexpr DWORD kDefaultTrustTimeout = 2000;  // milliseconds
constexpr const wchar_t* kTimeoutKey = L"CryptoParameterTimeout";
constexpr const wchar_t* kFilterCriticalKey = L"CryptoFilterCritical";
constexpr const wchar_t* kFilterOIDKey = L"CryptoFilterOID";

// The extension OIDs a filter keeps: its OID list (SetOID), or a single wide string added under
// the same key; none when the key holds neither.
std::optional<StringList> FilterOIDs(const CCryptoFilter& filter) {
  StringList oids;
  if (filter.GetOID(oids)) return oids;
  NQData value;
  if (filter.Get(kFilterOIDKey, value) && value.kind() == NQData::Kind::String) return StringList{value.string()};
  return std::nullopt;
}

ByteArray BlobBytes(const BYTE* pbData, DWORD cbData) {
  return cbData == 0 ? ByteArray() : ByteArray(pbData, pbData + cbData);
}
ByteArray BlobBytes(const CRYPT_DATA_BLOB& blob) { return BlobBytes(blob.pbData, blob.cbData); }
ByteArray BlobBytes(Der::Bytes bytes) { return ByteArray(bytes.begin(), bytes.end()); }
Der::Bytes BlobView(const CRYPT_DATA_BLOB& blob) { return {blob.pbData, blob.cbData}; }

// The SHA-1 thumbprint of a context: the size first, then the bytes.
ByteArray ReadHash(const FunctionTrace& fn, PCCERT_CONTEXT context) {
  DWORD size = 0;
  if (!CertGetCertificateContextProperty(context, CERT_SHA1_HASH_PROP_ID, nullptr, &size))
    fn.Raise(CRYPTO_INTERNAL_ERROR, WithCode(L"Error getting the hash", GetLastError()));
  ByteArray hash(size);
  if (!CertGetCertificateContextProperty(context, CERT_SHA1_HASH_PROP_ID, hash.data(), &size))
    fn.Raise(CRYPTO_INTERNAL_ERROR, WithCode(L"Error getting the hash", GetLastError()));
  hash.resize(size);
  return hash;
}

// A validity date as text, or "Invalid Date" when it has none.
WString DateText(const FunctionTrace& fn, const FILETIME& time) {
  return fn.Recover([&] { return CryptoUtil::FileTimeToString(FileTimeTicks(time), kDateFormat); },
                    [](const IException&) { return WString(L"Invalid Date"); });
}

// The platform's view of a public-key info (which points into it and lives no longer).
CERT_PUBLIC_KEY_INFO PlatformView(Asn1::SubjectPublicKeyInfo& info) {
  CERT_PUBLIC_KEY_INFO view{};
  view.Algorithm.pszObjId = info.Algorithm.pszObjId.data();
  view.Algorithm.Parameters = {static_cast<DWORD>(info.Algorithm.Parameters.size()), info.Algorithm.Parameters.data()};
  view.PublicKey = {static_cast<DWORD>(info.PublicKey.pbData.size()), info.PublicKey.pbData.data(),
                    info.PublicKey.cUnusedBits};
  return view;
}

std::unique_ptr<IAlgorithm> AlgorithmFromOID(const WString& sOID, const ByteArray& baParameters) {
  const std::unique_ptr<IAlgorithmParameters> parameters(IAlgorithmParameters::Create());
  parameters->SetEncoded(baParameters);
  return std::unique_ptr<IAlgorithm>(IAlgorithm::CreateFromOID(sOID, parameters.get()));
}

std::unique_ptr<IAlgorithm> RsaAlgorithm() {
  const std::unique_ptr<IAlgorithmParameters> parameters(IAlgorithmParameters::Create());
  return std::unique_ptr<IAlgorithm>(IAlgorithm::CreateFromFriendlyName(L"RSA", parameters.get()));
}

// The name of a blob, made once into `cache`; null for an empty blob.
IX500Name* LazyName(const FunctionTrace& fn, std::unique_ptr<IX500Name>& cache, const CERT_NAME_BLOB& blob,
                    const wchar_t* emptyOutcome, const wchar_t* label) {
  if (blob.cbData == 0) {
    fn.Outcome(L"%s", WString(emptyOutcome));
  } else if (!cache) {
    cache.reset(fn.Wrap(L"new ICertificate() failed", [&] { return IX500Name::Create(BlobBytes(blob)); }));
  }
  fn.Data(L"%s=%#x", WString(label), static_cast<const void*>(cache.get()));
  return cache.get();
}

// A getter of a member: the entry line, the value as a data line, the exit line.
ByteArray TracedBytes(const wchar_t* name, const void* self, const wchar_t* label, const ByteArray& value) {
  const FunctionTrace fn(name, self);
  return fn.Run([&] {
    fn.Bytes(label, value);
    return value;
  });
}

template <class T>
T TracedValue(const wchar_t* name, const void* self, nqlogFormat<T> format, const T& value) {
  const FunctionTrace fn(name, self);
  return fn.Run([&] {
    fn.Data(format, value);
    return value;
  });
}

// A unique identifier's bytes; empty (with `emptyOutcome` logged) when absent.
ByteArray UniqueId(const FunctionTrace& fn, const ByteArray& baId, const wchar_t* emptyOutcome) {
  if (baId.empty()) fn.Outcome(L"%s", WString(emptyOutcome));
  return baId;
}

// The time-out of a trust check: the map's "CryptoParameterTimeout" when it is the library's own
// map and holds a 32-bit value, else the default.
DWORD TrustTimeout(const FunctionTrace& fn, ICryptoParserParameterMap* pParameter) {
  DWORD timeout = kDefaultTrustTimeout;
  if (pParameter == nullptr) {
    fn.Warning(L"pParameter=null!");
    return timeout;
  }
  const auto* map = dynamic_cast<const CCryptoParameterMap*>(pParameter);
  if (map == nullptr) return timeout;
  std::uint64_t value = 0;
  if (!map->Get(kTimeoutKey))
    fn.Warning(L"No Timeout parameter, setting timeout to %dms.", static_cast<int>(timeout));
  else if (!map->GetTimeout(value) || value > 0xFFFFFFFFu)
    fn.Warning(L"Unable to retrieve Timeout parameter, setting timeout to %dms.", static_cast<int>(timeout));
  else
    timeout = static_cast<DWORD>(value);
  return timeout;
}

}  // namespace

ICertificate::~ICertificate() = default;
IX509Certificate::~IX509Certificate() = default;

// ---- construction ----------------------------------------------------------------------------

CCNGX509Certificate::CCNGX509Certificate(const ByteArray& baEncoded) {
  const FunctionTrace fn(L"CCNGX509Certificate::CCNGX509Certificate", this);
  fn.Run([&] {
    if (baEncoded.empty()) fn.Raise(CRYPTO_BAD_PARAM, L"baEncoded=empty!");
    fn.Bytes(L"baEncoded", baEncoded);
    m_pCertContext.reset(
        CertCreateCertificateContext(kEncoding, baEncoded.data(), static_cast<DWORD>(baEncoded.size())));
    if (!m_pCertContext) fn.Raise(CRYPTO_BAD_PARAM, WithCode(L"Error decoding the blob", GetLastError()));
    DecodeCertificate(fn);
  });
}

CCNGX509Certificate::CCNGX509Certificate(PCCERT_CONTEXT p_PCert_Context) {
  const FunctionTrace fn(L"CCNGX509Certificate::CCNGX509Certificate", this);
  fn.Run([&] {
    if (p_PCert_Context == nullptr) fn.Raise(CRYPTO_BAD_PARAM, L"p_PCert_Context=empty!", L"p_PCert_Context=NULL!");
    m_pCertContext.reset(CertDuplicateCertificateContext(p_PCert_Context));
    DecodeCertificate(fn);
  });
}

CCNGX509Certificate::~CCNGX509Certificate() {
  TraceLifetime(L"CCNGX509Certificate::~CCNGX509Certificate", this);
}

void CCNGX509Certificate::DecodeCertificate(const FunctionTrace& fn) {
  ReadSerialNumber(fn);
  ReadValidity(fn);
  ReadSignature(fn);
  m_nVersion = static_cast<std::int32_t>(Info().dwVersion);
  m_baHash = ReadHash(fn, m_pCertContext.get());
  ReadExtensions();
  m_baKeyUsage = GetKeyUsage();
  ReadPublicKey(fn);
  m_baIssuerUniqueId = BlobBytes(Info().IssuerUniqueId.pbData, Info().IssuerUniqueId.cbData);
  m_baSubjectUniqueId = BlobBytes(Info().SubjectUniqueId.pbData, Info().SubjectUniqueId.cbData);
}

// The platform gives the serial least significant byte first; the certificate's order is kept.
void CCNGX509Certificate::ReadSerialNumber(const FunctionTrace& fn) {
  m_baSerialNumber = BlobBytes(Info().SerialNumber);
  std::reverse(m_baSerialNumber.begin(), m_baSerialNumber.end());
  if (m_baSerialNumber.empty()) fn.Outcome(L"Found empty serial number");
}

void CCNGX509Certificate::ReadValidity(const FunctionTrace& fn) {
  m_sNotAfter = DateText(fn, Info().NotAfter);
  m_sNotBefore = DateText(fn, Info().NotBefore);
}

void CCNGX509Certificate::ReadSignature(const FunctionTrace& fn) {
  Asn1::SignedObject signedContent = fn.Wrap(L"CryptoUtil::DecodeObject() PCERT_SIGNED_CONTENT_INFO failed", [&] {
    return CryptoUtil::DecodeObject<Structure::SignedContent>(Encoded());
  });
  m_baTBSCertificate = std::move(signedContent.ToBeSigned);
  m_baSignatureValue = std::move(signedContent.Signature.pbData);
  m_baSignatureParameters = std::move(signedContent.SignatureAlgorithm.Parameters);
  m_sSignatureOID = CryptoUtil::CharStringToString(signedContent.SignatureAlgorithm.pszObjId);
  std::unique_ptr<IAlgorithm> algorithm =
      fn.Wrap(L"Algorithm creation failed", [&] { return AlgorithmFromOID(m_sSignatureOID, m_baSignatureParameters); });
  m_pSignature.reset(
      fn.Wrap(L"new CSignature() failed", [&] { return new CCNGSignature(std::move(algorithm), m_baSignatureValue); }));
}

// In certificate order; the first of two extensions with one OID is kept.
void CCNGX509Certificate::ReadExtensions() {
  for (DWORD i = 0; i < Info().cExtension; ++i) {
    const CERT_EXTENSION& extension = Info().rgExtension[i];
    m_extensions.emplace(CryptoUtil::CharStringToString(extension.pszObjId),
                         Extension{extension.fCritical != FALSE, BlobView(extension.Value)});
  }
}

// Always read as an RSA key: a certificate with another key type cannot be made. The DER of the
// public-key info is taken as it stands in the signed part: the context read it strictly, so
// encoding the context's public-key info would give these bytes back.
void CCNGX509Certificate::ReadPublicKey(const FunctionTrace& fn) {
  Asn1::TbsCertificateView tbs;
  if (!Asn1Read::ReadTbsCertificate(m_baTBSCertificate, &tbs)) fn.Raise(CRYPTO_BAD_PARAM, L"EncodeObject() failed");
  m_baPublicKeyInfo = BlobBytes(tbs.subjectPublicKeyInfo);
  m_pPublicKey.reset(fn.Wrap(L"new IPublicKey failed", [&]() -> IPublicKey* {
    std::unique_ptr<IKey> key(IKey::Create(RsaAlgorithm().get(), L"X509", m_baPublicKeyInfo));
    auto* publicKey = dynamic_cast<IPublicKey*>(key.get());
    if (publicKey == nullptr) fn.Raise(CRYPTO_NOT_SUPPORTED, L"Not a public key");
    key.release();
    return publicKey;
  }));
}

// ---- ICertificate ----------------------------------------------------------------------------

ICertificate* CCNGX509Certificate::Clone() const {
  const FunctionTrace fn(L"CCNGX509Certificate::Clone", this);
  return fn.Run([&] {
    return fn.Wrap(L"CCNGX509Certificate::Clone() New CCNGX509Certificate failed",
                   [&] { return new CCNGX509Certificate(BlobBytes(Encoded())); });
  });
}

ByteArray CCNGX509Certificate::GetEncoded() const {
  return TracedBytes(L"CCNGX509Certificate::GetEncoded", this, L"baEncoded", BlobBytes(Encoded()));
}

WString CCNGX509Certificate::GetFormat() const {
  const FunctionTrace fn(L"CCNGX509Certificate::GetFormat", this);
  return fn.Run([] { return WString(CERT_FORMAT_X509); });
}

IPublicKey* CCNGX509Certificate::GetPublicKey() const {
  return TracedValue<IPublicKey*>(L"CCNGX509Certificate::GetPublicKey", this, L"m_pPublicKey=%#x", m_pPublicKey.get());
}

bool CCNGX509Certificate::VerifySignature(IPublicKey* pPublicKey) const {
  const FunctionTrace fn(L"CCNGX509Certificate::VerifySignature", this);
  return fn.Run([&] {
    if (pPublicKey == nullptr) fn.Raise(CRYPTO_BAD_PARAM, L"pPublicKey=empty!", L"pPublicKey=null!");
    const ByteArray baKeyInfo = pPublicKey->GetEncoded();
    Asn1::SubjectPublicKeyInfo keyInfo = fn.Wrap(L"CryptoUtil::DecodeObject() failed", [&] {
      return CryptoUtil::DecodeObject<Structure::X509PublicKeyInfo>(baKeyInfo);
    });
    CERT_PUBLIC_KEY_INFO view = PlatformView(keyInfo);
    const bool bVerified = CryptVerifyCertificateSignature(0, X509_ASN_ENCODING, m_pCertContext.get()->pbCertEncoded,
                                                           m_pCertContext.get()->cbCertEncoded, &view) != FALSE;
    fn.Data(L"bVerified=%d", static_cast<int>(bVerified));
    return bVerified;
  });
}

std::uint32_t CCNGX509Certificate::VerifyTrust(ICryptoParserParameterMap* pParameter) const {
  const FunctionTrace fn(L"CCNGX509Certificate::VerifyTrust", this);
  return fn.Run([&] {
    CERT_CHAIN_PARA para{};
    para.cbSize = sizeof(para);
    para.dwUrlRetrievalTimeout = TrustTimeout(fn, pParameter);
    CertChain chain;
    if (!CertGetCertificateChain(nullptr, m_pCertContext.get(), nullptr, nullptr, &para, kTrustFlags, nullptr,
                                 chain.put()))
      fn.Raise(CRYPTO_INTERNAL_ERROR, WithCode(L"Error in CertGetCertificateChain", GetLastError()));
    const std::uint32_t uiTrustStatus = chain.get()->TrustStatus.dwErrorStatus;
    fn.Data(L"uiTrustStatus=%u", uiTrustStatus);
    return uiTrustStatus;
  });
}

ISignature* CCNGX509Certificate::GetSignature() const {
  return TracedValue<ISignature*>(L"CCNGX509Certificate::GetSignature", this, L"m_pSignature=%#x", m_pSignature.get());
}

bool CCNGX509Certificate::Compare(ICertificate* pCertificate) const {
  const FunctionTrace fn(L"CCNGX509Certificate::Compare", this);
  return fn.Run([&] {
    const ByteArray mine = ReadHash(fn, m_pCertContext.get());
    const auto* other = dynamic_cast<const CCNGX509Certificate*>(pCertificate);
    if (other == nullptr) {
      fn.Warning(L"pCertificate=%s", WString(pCertificate == nullptr ? L"null!" : L"not X509!"));
      return false;
    }
    const bool same = mine == ReadHash(fn, other->m_pCertContext.get());
    if (same) fn.Data(L"Certificate found");
    return same;
  });
}

// ---- IX509Certificate ------------------------------------------------------------------------

ByteArray CCNGX509Certificate::GetTBSCertificate() const {
  return TracedBytes(L"CCNGX509Certificate::GetTBSCertificate", this, L"baTBSCertificate", m_baTBSCertificate);
}

std::int32_t CCNGX509Certificate::GetVersion() const {
  return TracedValue<std::int32_t>(L"CCNGX509Certificate::GetVersion", this, L"m_nVersion=%d", m_nVersion);
}

ByteArray CCNGX509Certificate::GetSerialNumber() const {
  return TracedBytes(L"CCNGX509Certificate::GetSerialNumber", this, L"m_baSerialNumber", m_baSerialNumber);
}

ByteArray CCNGX509Certificate::GetHash() const {
  return TracedBytes(L"CCNGX509Certificate::GetHash", this, L"m_baHash", m_baHash);
}

IX500Name* CCNGX509Certificate::GetIssuerDN() const {
  const FunctionTrace fn(L"CCNGX509Certificate::GetIssuerDN", this);
  return fn.Run(
      [&] { return LazyName(fn, m_pIssuerName, Info().Issuer, L"Found empty issuer name blob", L"m_pIssuerName"); });
}

WString CCNGX509Certificate::GetNotAfter() const {
  return TracedValue<WString>(L"CCNGX509Certificate::GetNotAfter", this, L"m_sNotAfter=%s", m_sNotAfter);
}

WString CCNGX509Certificate::GetNotBefore() const {
  return TracedValue<WString>(L"CCNGX509Certificate::GetNotBefore", this, L"m_sNotBefore=%s", m_sNotBefore);
}

IX500Name* CCNGX509Certificate::GetSubjectDN() const {
  const FunctionTrace fn(L"CCNGX509Certificate::GetSubjectDN", this);
  return fn.Run([&] {
    return LazyName(fn, m_pSubjectName, Info().Subject, L"Found empty subject name blob", L"m_pSubjectName");
  });
}

ByteArray CCNGX509Certificate::GetIssuerUniqueID() const {
  const FunctionTrace fn(L"CCNGX509Certificate::GetIssuerUniqueID", this);
  return fn.Run([&] { return UniqueId(fn, m_baIssuerUniqueId, L"Found empty issuer unique id"); });
}

ByteArray CCNGX509Certificate::GetSubjectUniqueID() const {
  const FunctionTrace fn(L"CCNGX509Certificate::GetSubjectUniqueID", this);
  return fn.Run([&] { return UniqueId(fn, m_baSubjectUniqueId, L"Found empty subject unique id"); });
}

void CCNGX509Certificate::ListExtensions(ICryptoParserFilter* pExtFilter, StringList& out) const {
  const FunctionTrace fn(L"CCNGX509Certificate::ListExtensions", this);
  fn.Run([&] {
    if (pExtFilter == nullptr) fn.Warning(L"pExtFilter=null!");
    std::optional<bool> critical;
    std::optional<StringList> oids;
    if (const auto* filter = dynamic_cast<const CCryptoFilter*>(pExtFilter)) {
      unsigned char flag = 0;
      if (filter->Get(kFilterCriticalKey, flag)) critical = flag != 0;
      oids = FilterOIDs(*filter);
    }
    for (const auto& [sOID, extension] : m_extensions) {
      if (critical && *critical != extension.bCritical) continue;
      if (oids && std::find(oids->begin(), oids->end(), sOID) == oids->end()) continue;
      out.push_back(sOID);
    }
  });
}

ByteArray CCNGX509Certificate::GetExtensionValue(const WString& sOID) const {
  const FunctionTrace fn(L"CCNGX509Certificate::GetExtensionValue", this);
  return fn.Run([&] {
    if (sOID.empty()) {
      fn.Warning(L"sOID=empty!");
      return ByteArray();
    }
    const auto found = m_extensions.find(sOID);
    if (found == m_extensions.end()) {
      fn.Outcome(L"Unknown extension %s", sOID);
      return ByteArray();
    }
    const ByteArray baExtensionValue = BlobBytes(found->second.value);
    if (baExtensionValue.empty())
      fn.Outcome(L"Found empty value for extension %s", sOID);
    else
      fn.Bytes(L"baExtensionValue", baExtensionValue);
    return baExtensionValue;
  });
}

ByteArray CCNGX509Certificate::GetKeyUsage() const {
  const FunctionTrace fn(L"CCNGX509Certificate::GetKeyUsage", this);
  return fn.Run([&] {
    const CERT_EXTENSION* extension = FindExtension(kKeyUsageOID);
    if (extension == nullptr) {
      fn.Outcome(L"No key usage extension");
      return ByteArray();
    }
    Asn1::BitStringBytes bits = fn.Wrap(L"CryptoUtil::DecodeObject() failed", [&] {
      return CryptoUtil::DecodeObject<Structure::KeyUsage>(BlobView(extension->Value));
    });
    if (bits.pbData.empty()) fn.Outcome(L"Found empty value for key usage extension");
    return std::move(bits.pbData);
  });
}

StringList CCNGX509Certificate::GetExtendedKeyUsage() const {
  const FunctionTrace fn(L"CCNGX509Certificate::GetExtendedKeyUsage", this);
  return fn.Run([&] {
    StringList usages;
    const CERT_EXTENSION* extension = FindExtension(kExtendedKeyUsageOID);
    if (extension == nullptr) {
      fn.Outcome(L"No extented key usage extension");
      return usages;
    }
    const Asn1::ExtKeyUsageSyntax usage = fn.Wrap(L"CryptoUtil::DecodeObject() failed", [&] {
      return CryptoUtil::DecodeObject<Structure::EnhancedKeyUsage>(BlobView(extension->Value));
    });
    for (const std::string& oid : usage.rgpszUsageIdentifier) usages.push_back(CryptoUtil::CharStringToString(oid));
    return usages;
  });
}

GeneralNameList CCNGX509Certificate::GetSubjectAlternativeNames() const {
  const FunctionTrace fn(L"CCNGX509Certificate::GetSubjectAlternativeNames", this);
  return fn.Run([&] {
    const CERT_EXTENSION* extension = FindExtension(kSubjectAltNameOID);
    if (extension == nullptr) extension = FindExtension(kOldSubjectAltNameOID);
    if (extension == nullptr) {
      fn.Outcome(L"No Subject alternative name");
      return GeneralNameList();
    }
    const Asn1::GeneralNames info = fn.Wrap(L"CryptoUtil::DecodeObject() failed", [&] {
      return CryptoUtil::DecodeObject<Structure::AlternateName>(BlobView(extension->Value));
    });
    // Owned here until every entry is made, so a failing entry releases the ones before it.
    std::vector<std::unique_ptr<IGeneralName>> names;
    for (const Asn1::GeneralName& entry : info.rgAltEntry)
      names.emplace_back(CryptoUtil::GeneralNameFromAltNameEntry(&entry));
    GeneralNameList list;
    for (auto& name : names) list.push_back(name.release());
    return list;
  });
}

bool CCNGX509Certificate::CheckValidity(const WString& sDate) const {
  const FunctionTrace fn(L"CCNGX509Certificate::CheckValidity", this);
  return fn.Run([&] {
    if (sDate.empty()) {
      fn.Warning(L"sDate=empty!");
      return false;
    }
    DATE date = 0;
    SYSTEMTIME systemTime{};
    FILETIME fileTime{};
    if (FAILED(VarDateFromStr(sDate.c_str(), LOCALE_USER_DEFAULT, 0, &date)) ||
        !VariantTimeToSystemTime(date, &systemTime) || !SystemTimeToFileTime(&systemTime, &fileTime))
      fn.Raise(CRYPTO_INTERNAL_ERROR, L"Cannot parse specified date (" + sDate + L")");
    return IsValidAt(fn, &fileTime);
  });
}

bool CCNGX509Certificate::CheckValidity() const {
  const FunctionTrace fn(L"CCNGX509Certificate::CheckValidity", this);
  return fn.Run([&] { return IsValidAt(fn, nullptr); });
}

bool CCNGX509Certificate::IsValidAt(const FunctionTrace& fn, LPFILETIME pTime) const {
  const bool bValidity = CertVerifyTimeValidity(pTime, m_pCertContext.get()->pCertInfo) == 0;
  fn.Data(L"bValidity=%d", static_cast<int>(bValidity));
  return bValidity;
}

bool CCNGX509Certificate::KeyUsageBit(const wchar_t* name, std::size_t index, unsigned char mask,
                                      const wchar_t* label) const {
  const FunctionTrace fn(name, this);
  return fn.Run([&] {
    const bool set = index < m_baKeyUsage.size() && (m_baKeyUsage[index] & mask) != 0;
    fn.Data(L"%s=%d", WString(label), static_cast<int>(set));
    return set;
  });
}

bool CCNGX509Certificate::IsDigitalSignature() const {
  return KeyUsageBit(L"CCNGX509Certificate::IsDigitalSignature", 0, 0x80, L"bDigitalSignature");
}
bool CCNGX509Certificate::IsNonRepudiation() const {
  return KeyUsageBit(L"CCNGX509Certificate::IsNonRepudiation", 0, 0x40, L"bNonRepudiation");
}
bool CCNGX509Certificate::IsKeyEncipherment() const {
  return KeyUsageBit(L"CCNGX509Certificate::IsKeyEncipherment", 0, 0x20, L"bKeyEncipherment");
}
bool CCNGX509Certificate::IsDataEncipherment() const {
  return KeyUsageBit(L"CCNGX509Certificate::IsDataEncipherment", 0, 0x10, L"bDataEncipherment");
}
bool CCNGX509Certificate::IsKeyAgreement() const {
  return KeyUsageBit(L"CCNGX509Certificate::IsKeyAgreement", 0, 0x08, L"bKeyAgreement");
}
bool CCNGX509Certificate::IsKeyCertSign() const {
  return KeyUsageBit(L"CCNGX509Certificate::IsKeyCertSign", 0, 0x04, L"bKeyCertSign");
}
bool CCNGX509Certificate::IsCRLSign() const {
  return KeyUsageBit(L"CCNGX509Certificate::IsCRLSign", 0, 0x02, L"bCRLSign");
}
bool CCNGX509Certificate::IsEncipherOnly() const {
  return KeyUsageBit(L"CCNGX509Certificate::IsEncipherOnly", 0, 0x01, L"bEncipherOnly");
}
bool CCNGX509Certificate::IsDecipherOnly() const {
  return KeyUsageBit(L"CCNGX509Certificate::IsDecipherOnly", 1, 0x80, L"bDecipherOnly");
}

Der::Bytes CCNGX509Certificate::Encoded() const {
  return {m_pCertContext.get()->pbCertEncoded, m_pCertContext.get()->cbCertEncoded};
}

const CERT_EXTENSION* CCNGX509Certificate::FindExtension(const char* pszObjId) const {
  const CERT_INFO& info = Info();
  return CertFindExtension(pszObjId, info.cExtension, info.rgExtension);
}

}  // namespace ZT::Framework
