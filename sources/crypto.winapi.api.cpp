// The exported factories of the library's interfaces.

#include <cwchar>
#include <memory>
#include <string_view>

#include "cng/crypto.cng.80056akeyderivation.h"
#include "cng/crypto.cng.cvccertificates.h"
#include "cng/crypto.cng.digest.h"
#include "cng/crypto.cng.ecdhkeyagreement.h"
#include "cng/crypto.cng.ecdhkeypairgenerator.h"
#include "cng/crypto.cng.ecpublickeys.h"
#include "cng/crypto.cng.dpapiciphers.h"
#include "cng/crypto.cng.dpapikeyderivation.h"
#include "cng/crypto.cng.keyderivation.h"
#include "cng/crypto.cng.keygenerator.h"
#include "cng/crypto.cng.macsha.h"
#include "cng/crypto.cng.random.h"
#include "cng/crypto.cng.rsaciphers.h"
#include "cng/crypto.cng.rsakeys.h"
#include "cng/crypto.cng.rsasignature.h"
#include "cng/crypto.cng.symkeysysstores.h"
#include "cng/crypto.cng.symmetricciphers.h"
#include "cng/crypto.cng.util.keys.h"
#include "common/crypto.cmac.h"
#include "common/crypto.padding.h"
#include "common/crypto.softkeys.h"
#include "cng/crypto.cng.x500name.h"
#include "cng/crypto.cng.x509certificates.h"
#include "common/crypto.generalname.h"
#include "framework/crypto.algorithm.h"
#include "framework/crypto.parameters.h"
#include "framework/crypto.trace.h"

namespace ZT::Framework {

// ---- parameter maps -------------------------------------------------------------------------

ICryptoParserParameterMap* ICryptoParserParameterMap::Create() { return new CCryptoParameterMap; }

ICryptoParserFilter* ICryptoParserFilter::Create() { return new CCryptoFilter; }

IAlgorithmParameters* IAlgorithmParameters::Create() {
  const FunctionTrace fn(L"IAlgorithmParameters::Create");
  return fn.Run([&] {
    return fn.Wrap(L"new CAlgorithmParameters() failed", [] { return new CAlgorithmParameters; });
  });
}

IECDomainParameters* IECDomainParameters::Create() {
  const FunctionTrace fn(L"IECDomainParameters::Create");
  return fn.Run([&]() -> IECDomainParameters* { fn.Raise(CRYPTO_NOT_IMPLEMENTED, L"Not Implemented"); });
}

// ---- algorithms -----------------------------------------------------------------------------

namespace {

// True when `text` is exactly `row` (a table entry); stops at the first difference instead of
// measuring the entry first, since every certificate read looks up its algorithms in the table.
bool IsEntry(const WString& text, const wchar_t* row) {
  return std::wcscmp(text.c_str(), row) == 0 && text.size() == std::wcslen(row);
}

std::unique_ptr<IAlgorithmParameters> CloneParameters(const FunctionTrace& fn, IAlgorithmParameters* pParameters) {
  if (pParameters == nullptr) fn.RaiseUnlogged(CRYPTO_BAD_PARAM, L"pParameters should not be NULL");
  return std::unique_ptr<IAlgorithmParameters>(pParameters->Clone());
}

}  // namespace

IAlgorithm* IAlgorithm::CreateFromOID(const WString& sOID, IAlgorithmParameters* pParameters) {
  const FunctionTrace fn(L"IAlgorithm::CreateFromOID");
  return fn.Run([&] {
    // An OID outside the table names itself.
    WString sFriendlyName = sOID;
    for (const AlgorithmRow& row : AlgorithmTable()) {
      if (IsEntry(sOID, row.oid) && std::wcscmp(row.oid, kUnknownOID) != 0) {
        sFriendlyName = row.friendlyName;
        break;
      }
    }
    auto parameters = CloneParameters(fn, pParameters);
    return fn.Wrap(L"new CAlgorithm() failed",
                   [&] { return new CAlgorithm(sOID, sFriendlyName, std::move(parameters)); });
  });
}

IAlgorithm* IAlgorithm::CreateFromFriendlyName(const WString& sFriendlyName, IAlgorithmParameters* pParameters) {
  const FunctionTrace fn(L"IAlgorithm::CreateFromFriendlyName");
  return fn.Run([&] {
    const AlgorithmRow* found = nullptr;
    for (const AlgorithmRow& row : AlgorithmTable()) {
      if (IsEntry(sFriendlyName, row.friendlyName)) {
        found = &row;
        break;
      }
    }
    if (found == nullptr)
      fn.Raise(CRYPTO_NO_SUCH_ALGORITHM, L"Unsupported algorithm", L"Unsupported algorithm: %s", sFriendlyName);
    auto parameters = CloneParameters(fn, pParameters);
    return fn.Wrap(L"new CAlgorithm() failed",
                   [&] { return new CAlgorithm(found->oid, sFriendlyName, std::move(parameters)); });
  });
}

StringList IAlgorithm::ListFriendlyNames() {
  StringList names;
  for (const AlgorithmRow& row : AlgorithmTable()) names.emplace_back(row.friendlyName);
  return names;
}

// ---- engines ---------------------------------------------------------------------------------
//
// Each engine factory checks the algorithm, picks the implementation by the algorithm's friendly
// name (exactly, case-sensitively), and constructs it with a clone of the algorithm and the
// caller's parameter map. A CCryptoException while constructing is wrapped as "new <class>()
// failed".

namespace {

void RequireAlgorithm(const FunctionTrace& fn, const IAlgorithm* pAlgorithm) {
  if (pAlgorithm == nullptr) fn.RaiseUnlogged(CRYPTO_BAD_PARAM, L"pAlgorithm should not be NULL");
}

template <class Engine>
Engine* NewEngine(const FunctionTrace& fn, const wchar_t* failure, IAlgorithm* pAlgorithm,
                  ICryptoParserParameterMap* pParams) {
  return fn.Wrap(failure, [&] { return new Engine(std::unique_ptr<IAlgorithm>(pAlgorithm->Clone()), pParams); });
}

// An implementation of an engine family, by the friendly name that selects it.
template <class Family>
struct EngineRow {
  const wchar_t* friendlyName;
  Family* (*create)(const FunctionTrace& fn, IAlgorithm* pAlgorithm, ICryptoParserParameterMap* pParams);
};

template <class Family, std::size_t N>
const EngineRow<Family>* FindEngine(const EngineRow<Family> (&rows)[N], const WString& name) {
  for (const EngineRow<Family>& row : rows)
    if (name == row.friendlyName) return &row;
  return nullptr;
}

MAC* NewMacSha(const FunctionTrace& fn, IAlgorithm* pAlgorithm, ICryptoParserParameterMap* pParams) {
  return NewEngine<CCNGMACSHA>(fn, L"new CCNGMACSHA() failed", pAlgorithm, pParams);
}

MAC* NewCmac(const FunctionTrace& fn, IAlgorithm* pAlgorithm, ICryptoParserParameterMap* pParams) {
  return NewEngine<CMACCMAC>(fn, L"new CMACCMAC() failed", pAlgorithm, pParams);
}

constexpr EngineRow<MAC> kMacEngines[] = {
    {L"HMAC_SHA1", &NewMacSha},
    {L"HMAC_SHA256", &NewMacSha},
    {L"CMAC", &NewCmac},
};

Cipher* NewRsaCipher(const FunctionTrace& fn, IAlgorithm* pAlgorithm, ICryptoParserParameterMap* pParams) {
  return NewEngine<CCNGRSACipher>(fn, L"new CCNGRSACipher() failed", pAlgorithm, pParams);
}

Cipher* NewSymmetricCipher(const FunctionTrace& fn, IAlgorithm* pAlgorithm, ICryptoParserParameterMap* pParams) {
  return NewEngine<CCNGSymmetricCipher>(fn, L"new CCNGSymmetricCipher() failed", pAlgorithm, pParams);
}

Cipher* NewDataProtectionCipher(const FunctionTrace& fn, IAlgorithm* pAlgorithm, ICryptoParserParameterMap* pParams) {
  return NewEngine<CDataProtectionAPICipher>(fn, L"new CDataProtectionAPICipher() failed", pAlgorithm, pParams);
}

constexpr EngineRow<Cipher> kCipherEngines[] = {
    {L"RSA", &NewRsaCipher},
    {L"DES", &NewSymmetricCipher},
    {L"3DES", &NewSymmetricCipher},
    {L"AES", &NewSymmetricCipher},
    {L"DPAPI", &NewDataProtectionCipher},
};

KeyDerivation* NewPbkdf2(const FunctionTrace& fn, IAlgorithm* pAlgorithm, ICryptoParserParameterMap* pParams) {
  return NewEngine<CCNGPBKDF2KeyDerivation>(fn, L"new CCNGPBKDF2KeyDerivation() failed", pAlgorithm, pParams);
}

KeyDerivation* New80056A(const FunctionTrace& fn, IAlgorithm* pAlgorithm, ICryptoParserParameterMap* pParams) {
  return NewEngine<CCNG80056AKeyDerivation>(fn, L"new CCNG80056AKeyDerivation() failed", pAlgorithm, pParams);
}

KeyDerivation* NewDataProtectionDerivation(const FunctionTrace& fn, IAlgorithm* pAlgorithm,
                                           ICryptoParserParameterMap* pParams) {
  return NewEngine<CDataProtectionAPIKeyDerivation>(fn, L"new CDataProtectionAPIKeyDerivation() failed", pAlgorithm,
                                                    pParams);
}

constexpr EngineRow<KeyDerivation> kKeyDerivationEngines[] = {
    {L"800_56A_KDF", &New80056A},
    {L"PKCS5_PBKDF2", &NewPbkdf2},
    {L"DPAPI", &NewDataProtectionDerivation},
};

// The ECDH engines, on the curves of the EC keys; the parameter map is not theirs to read.
template <class Engine, class Family>
Family* NewEcdhEngine(const FunctionTrace& fn, const wchar_t* failure, IAlgorithm* pAlgorithm) {
  RequireAlgorithm(fn, pAlgorithm);
  if (FindEcCurve(pAlgorithm->GetFriendlyName()) == nullptr) fn.Raise(CRYPTO_NOT_IMPLEMENTED, L"Not Implemented");
  return NewEngine<Engine>(fn, failure, pAlgorithm, nullptr);
}

}  // namespace

MessageDigest* MessageDigest::Create(IAlgorithm* pAlgorithm, ICryptoParserParameterMap* pParams) {
  const FunctionTrace fn(L"MessageDigest::Create");
  return fn.Run([&] {
    RequireAlgorithm(fn, pAlgorithm);
    return NewEngine<CCNGMessageDigest>(fn, L"new CCNGMessageDigest() failed", pAlgorithm, pParams);
  });
}

MAC* MAC::Create(IAlgorithm* pAlgorithm, ICryptoParserParameterMap* pParams) {
  const FunctionTrace fn(L"MAC::Create");
  return fn.Run([&] {
    RequireAlgorithm(fn, pAlgorithm);
    const EngineRow<MAC>* engine = FindEngine(kMacEngines, pAlgorithm->GetFriendlyName());
    if (engine == nullptr) fn.Raise(CRYPTO_NO_SUCH_ALGORITHM, L"Unknown algorithm");
    return engine->create(fn, pAlgorithm, pParams);
  });
}

Cipher* Cipher::Create(IAlgorithm* pAlgorithm, ICryptoParserParameterMap* pParams) {
  const FunctionTrace fn(L"Cipher::Create");
  return fn.Run([&] {
    RequireAlgorithm(fn, pAlgorithm);
    const EngineRow<Cipher>* engine = FindEngine(kCipherEngines, pAlgorithm->GetFriendlyName());
    if (engine == nullptr) fn.Raise(CRYPTO_NO_SUCH_ALGORITHM, L"Unknown algorithm");
    return engine->create(fn, pAlgorithm, pParams);
  });
}

RandomGenerator* RandomGenerator::Create(IAlgorithm* pAlgorithm, ICryptoParserParameterMap* pParams) {
  const FunctionTrace fn(L"RandomGenerator::Create");
  return fn.Run([&]() -> RandomGenerator* {
    RequireAlgorithm(fn, pAlgorithm);
    if (pAlgorithm->GetFriendlyName() != L"FIPS186DSARNG") fn.Raise(CRYPTO_NO_SUCH_ALGORITHM, L"Unknown algorithm");
    return NewEngine<CCNGFIPS186RandomGenerator>(fn, L"new CCNGFIPS186RandomGenerator() failed", pAlgorithm, pParams);
  });
}

Signature* Signature::Create(IAlgorithm* pAlgorithm, ICryptoParserParameterMap* pParams) {
  const FunctionTrace fn(L"Signature::Create");
  return fn.Run([&] {
    RequireAlgorithm(fn, pAlgorithm);
    return NewEngine<CCNGRSASignature>(fn, L"new CCNGRSASignature() failed", pAlgorithm, pParams);
  });
}

GUIDGenerator* GUIDGenerator::Create(IAlgorithm*, ICryptoParserParameterMap*) {
  const FunctionTrace fn(L"GUIDGenerator::Create");
  return fn.Run([&] { return fn.Wrap(L"new CCNGGUIDGenerator() failed", [] { return new CCNGGUIDGenerator; }); });
}

KeyGenerator* KeyGenerator::Create(IAlgorithm* pAlgorithm, ICryptoParserParameterMap* pParams) {
  const FunctionTrace fn(L"KeyGenerator::Create");
  return fn.Run([&] {
    RequireAlgorithm(fn, pAlgorithm);
    return NewEngine<CCNGKeyGenerator>(fn, L"new CCNGKeyGenerator() failed", pAlgorithm, pParams);
  });
}

KeyDerivation* KeyDerivation::Create(IAlgorithm* pAlgorithm, ICryptoParserParameterMap* pParams) {
  const FunctionTrace fn(L"KeyDerivation::Create");
  return fn.Run([&] {
    // Other engines trust their callers here; a null algorithm is refused like everywhere else.
    RequireAlgorithm(fn, pAlgorithm);
    const EngineRow<KeyDerivation>* engine = FindEngine(kKeyDerivationEngines, pAlgorithm->GetFriendlyName());
    if (engine == nullptr) fn.Raise(CRYPTO_NOT_IMPLEMENTED, L"Not Implemented");
    return engine->create(fn, pAlgorithm, pParams);
  });
}

KeyPairGenerator* KeyPairGenerator::Create(IAlgorithm* pAlgorithm, ICryptoParserParameterMap*) {
  const FunctionTrace fn(L"KeyPairGenerator::Create");
  return fn.Run([&] {
    return NewEcdhEngine<CCNGECDHKeyPairGenerator, KeyPairGenerator>(fn, L"new CCNGECDHKeyPairGenerator() failed",
                                                                     pAlgorithm);
  });
}

KeyAgreement* KeyAgreement::Create(IAlgorithm* pAlgorithm, ICryptoParserParameterMap*) {
  const FunctionTrace fn(L"KeyAgreement::Create");
  return fn.Run([&] {
    return NewEcdhEngine<CCNGECDHKeyAgreement, KeyAgreement>(fn, L"new CCNGECDHKeyAgreement() failed", pAlgorithm);
  });
}

// ---- paddings --------------------------------------------------------------------------------

IPadding* IPadding::Create(const WString& sName, unsigned int nKeyLength, ICryptoParserParameterMap* pParams) {
  const FunctionTrace fn(L"IPadding::Create");
  return fn.Run([&]() -> IPadding* {
    if (pParams == nullptr) fn.Raise(CRYPTO_BAD_PARAM, L"Bad Parameters");
    if (sName == L"OAEP")
      return fn.Wrap(L"new COAEPPadding() failed", [&] { return new COAEPPadding(nKeyLength, pParams); });
    if (sName == L"X_931") {
      unsigned char hashAlgorithm = 0;
      if (!ReadMap(fn, [&] { return pParams->GetHashAlgoPaddingMode(hashAlgorithm); }))
        fn.Raise(CRYPTO_BAD_PARAM, L"Hash alogo Padding type is not set");
      return fn.Wrap(L"new CX931Padding() failed", [&] { return new CX931Padding(nKeyLength, pParams); });
    }
    if (sName == L"PKCS1") {
      unsigned char operation = 0;
      if (!ReadMap(fn, [&] { return pParams->GetPkcs1OperationMode(operation); }))
        fn.Raise(CRYPTO_BAD_PARAM, L"Pkcs1 operation parameter is not set");
      if (operation == 0)
        return fn.Wrap(L"new CPKCS1SignPadding() failed", [&] { return new CPKCS1SignPadding(nKeyLength, pParams); });
      if (operation == 1)
        return fn.Wrap(L"new CPKCS1EncryptPadding() failed",
                       [&] { return new CPKCS1EncryptPadding(nKeyLength, pParams); });
      fn.Raise(CRYPTO_BAD_PARAM, L"Pkcs1 operation parameter is invalid");
    }
    fn.Raise(CRYPTO_NO_SUCH_PADDING, L"Padding type is not supported");
  });
}

// ---- keys ------------------------------------------------------------------------------------

namespace {

// A key format IKey::Create imports: the key of `pAlgorithm` (to be cloned) from the encoded bytes.
struct KeyFormatRow {
  const wchar_t* format;
  const wchar_t* failure;  // the wrapping message when the key cannot be made
  IKey* (*create)(IAlgorithm* pAlgorithm, const ByteArray& baEncoded);
};

std::unique_ptr<IAlgorithm> CloneAlgorithm(IAlgorithm* pAlgorithm) {
  return std::unique_ptr<IAlgorithm>(pAlgorithm->Clone());
}

IKey* NewRawSecretKey(IAlgorithm* pAlgorithm, const ByteArray& baEncoded) {
  return new CSoftSecretKey(CloneAlgorithm(pAlgorithm), baEncoded);
}

IKey* NewEcPublicKey(IAlgorithm* pAlgorithm, const ByteArray& baEncoded) {
  return new CCNGECPublicKey(CloneAlgorithm(pAlgorithm), baEncoded);
}

IKey* NewRsaPublicKey(IAlgorithm* pAlgorithm, const ByteArray& baEncoded) {
  return CCNGRSAPublicKey::Import(CloneAlgorithm(pAlgorithm), baEncoded);
}

IKey* NewRsaPrivateKeyFromPKCS8(IAlgorithm* pAlgorithm, const ByteArray& baEncoded) {
  return CCNGRSAPrivateCRTKey::ImportPKCS8(CloneAlgorithm(pAlgorithm), baEncoded);
}

IKey* NewRsaPrivateKeyFromBlob(IAlgorithm* pAlgorithm, const ByteArray& baEncoded) {
  return CCNGRSAPrivateCRTKey::ImportPrivateKeyBlob(CloneAlgorithm(pAlgorithm), baEncoded);
}

// One row per format word the library imports.
constexpr KeyFormatRow kKeyFormats[] = {
    {L"RAW", L"new CSoftSecretKey() failed", &NewRawSecretKey},
    {L"ECCPublicKey", L"new CCNGECPublicKey() failed", &NewEcPublicKey},
    {L"X509", L"new CCNGRSAPublicKey() failed", &NewRsaPublicKey},
    {L"PKCS8", L"new CCNGRSAPrivateCRTKey() failed", &NewRsaPrivateKeyFromPKCS8},
    {L"MSPrivateKeyBlob", L"new CCNGRSAPrivateCRTKey() failed", &NewRsaPrivateKeyFromBlob},
};

}  // namespace

IKey* IKey::Create(IAlgorithm* pAlgorithm, const WString& sFormat, const ByteArray& baEncoded) {
  const FunctionTrace fn(L"IKey::Create");
  return fn.Run([&]() -> IKey* {
    RequireAlgorithm(fn, pAlgorithm);
    // An EC private key lives only inside the platform, in a generated key pair.
    if (sFormat == L"ECC") fn.Raise(CRYPTO_NOT_IMPLEMENTED, L"Not Implemented", L"EC private keys are never imported");
    for (const KeyFormatRow& row : kKeyFormats)
      if (sFormat == row.format) return fn.Wrap(row.failure, [&] { return row.create(pAlgorithm, baEncoded); });
    fn.Raise(CRYPTO_NOT_SUPPORTED, L"Unsupported key format", L"Unsupported key format: %s", sFormat);
  });
}

// ---- RSA keys ----------------------------------------------------------------------------------

namespace {

// A number of an RSA key as the key objects hold it: without leading zero bytes, and not zero.
ByteArray KeyNumber(const FunctionTrace& fn, const ByteArray& baNumber, const wchar_t* name) {
  ByteArray magnitude = Magnitude(Der::Bytes(baNumber.data(), baNumber.size()));
  if (magnitude.empty()) fn.Raise(CRYPTO_BAD_PARAM, WString(name) + L" should not be empty");
  return magnitude;
}

std::unique_ptr<IAlgorithm> RsaAlgorithm() {
  const std::unique_ptr<IAlgorithmParameters> parameters(IAlgorithmParameters::Create());
  return std::unique_ptr<IAlgorithm>(IAlgorithm::CreateFromFriendlyName(L"RSA", parameters.get()));
}

}  // namespace

IRSAPublicKey* IRSAPublicKey::Create(const ByteArray& baModulus, const ByteArray& baPublicExponent) {
  const FunctionTrace fn(L"IRSAPublicKey::Create");
  return fn.Run([&] {
    Asn1::RsaPublicKeyNumbers numbers{KeyNumber(fn, baModulus, L"baModulus"),
                                KeyNumber(fn, baPublicExponent, L"baPublicExponent")};
    return fn.Wrap(L"new CCNGRSAPublicKey() failed",
                   [&] { return new CCNGRSAPublicKey(RsaAlgorithm(), std::move(numbers)); });
  });
}

IRSAPrivateCRTKey* IRSAPrivateCRTKey::Create(const ByteArray& baModulus, const ByteArray& baPublicExponent,
                                             const ByteArray& baPrivateExponent, const ByteArray& baPrimeP,
                                             const ByteArray& baPrimeQ, const ByteArray& baPrimeExponentP,
                                             const ByteArray& baPrimeExponentQ, const ByteArray& baCrtCoefficient) {
  const FunctionTrace fn(L"IRSAPrivateCRTKey::Create");
  return fn.Run([&] {
    Asn1::RsaPrivateKeyNumbers numbers{KeyNumber(fn, baModulus, L"baModulus"),
                                 KeyNumber(fn, baPublicExponent, L"baPublicExponent"),
                                 KeyNumber(fn, baPrivateExponent, L"baPrivateExponent"),
                                 KeyNumber(fn, baPrimeP, L"baPrimeP"),
                                 KeyNumber(fn, baPrimeQ, L"baPrimeQ"),
                                 KeyNumber(fn, baPrimeExponentP, L"baPrimeExponentP"),
                                 KeyNumber(fn, baPrimeExponentQ, L"baPrimeExponentQ"),
                                 KeyNumber(fn, baCrtCoefficient, L"baCrtCoefficient")};
    return fn.Wrap(L"new CCNGRSAPrivateCRTKey() failed",
                   [&] { return new CCNGRSAPrivateCRTKey(RsaAlgorithm(), std::move(numbers)); });
  });
}

ISharedSecret* ISharedSecret::Create(const ByteArray& baSecret) {
  const FunctionTrace fn(L"ISharedSecret::Create");
  return fn.Run([&] {
    return fn.Wrap(L"new CSoftSharedSecret() failed", [&] { return new CSoftSharedSecret(baSecret); });
  });
}

// ---- stores ---------------------------------------------------------------------------------

ISymetricKeySystemStore* ISymetricKeySystemStore::Load(const WString&) {
  const FunctionTrace fn(L"ISymetricKeySystemStore::Load");
  return fn.Run([&] {
    return fn.Wrap(L"new CSymetricKeySystemStore() failed", [] { return new CSymetricKeySystemStore; });
  });
}

void ISymetricKeySystemStore::save(ISymetricKeyStore*, const WString&) {
  const FunctionTrace fn(L"ISymetricKeySystemStore::save");
  fn.Run([&] { fn.Raise(CRYPTO_NOT_IMPLEMENTED, L"Not Implemented"); });
}

// ---- names ----------------------------------------------------------------------------------

namespace {

// An object factory's steps: construct through `make`, wrap a constructor's failure in
// `failure`, and log the new object as "<factory> : <label>=%#x".
template <class Interface, class Make>
Interface* NewObject(const FunctionTrace& fn, const wchar_t* failure, const wchar_t* label, Make&& make) {
  std::unique_ptr<Interface> created(fn.Wrap(failure, [&]() -> Interface* { return make(); }));
  fn.Data(L"%s=%#x", label, static_cast<const void*>(created.get()));
  return created.release();
}

// A name factory: NewObject as the whole of the factory.
template <class Interface, class Make>
Interface* CreateName(const wchar_t* factory, const wchar_t* failure, const wchar_t* label, Make&& make) {
  const FunctionTrace fn(factory);
  return fn.Run([&] { return NewObject<Interface>(fn, failure, label, make); });
}

}  // namespace

IX500Name* IX500Name::Create(const ByteArray& encoded) {
  return CreateName<IX500Name>(L"IX500Name::Create", L"new CX500Name() failed", L"pX500Name",
                               [&] { return new CCNGX500Name(encoded); });
}

IX500Name* IX500Name::Create(const WString& sName) {
  return CreateName<IX500Name>(L"IX500Name::Create", L"new CX500Name() failed", L"pX500Name",
                               [&] { return new CCNGX500Name(sName); });
}

IGeneralName* IGeneralName::Create(const ByteArray& baEncodedName, const WString& sNameType, const WString& sOID) {
  return CreateName<IGeneralName>(L"IGeneralName::Create", L"new CGeneralName() failed", L"pGeneralName",
                                  [&] { return new CGeneralName(baEncodedName, sNameType, sOID); });
}

IGeneralName* IGeneralName::Create(const WString& sName, const WString& sNameType) {
  return CreateName<IGeneralName>(L"IGeneralName::Create", L"new CGeneralName() failed", L"pGeneralName",
                                  [&] { return new CGeneralName(sName, sNameType); });
}

// ---- certificates ---------------------------------------------------------------------------

ICertificate* ICertificate::Create(const WString& sType, const ByteArray& baEncoded) {
  const FunctionTrace fn(L"ICertificate::Create");
  return fn.Run([&]() -> ICertificate* {
    if (sType == CERT_FORMAT_X509)
      return NewObject<ICertificate>(fn, L"new ICertificate() failed", L"pCertificate",
                                     [&] { return new CCNGX509Certificate(baEncoded); });
    // The bytes are not handed on: the CVC certificate reads no content yet.
    if (sType == CERT_FORMAT_CVC)
      return NewObject<ICertificate>(fn, L"new ICertificate() failed", L"pCertificate",
                                     [] { return new CCNGCVCCertificate; });
    fn.Raise(CRYPTO_BAD_PARAM, L"Unknown format");
  });
}

}  // namespace ZT::Framework
