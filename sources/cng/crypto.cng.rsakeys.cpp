#include "cng/crypto.cng.rsakeys.h"

#include "cng/crypto.cng.util.keys.h"
#include "framework/crypto.trace.h"

namespace ZT::Framework {

namespace {

// The parameters of rsaEncryption: NULL, which some encoders leave out.
const ByteArray kNullParameters{0x05, 0x00};

Asn1::AlgorithmIdentifier RsaEncryption() { return {szOID_RSA_RSA, kNullParameters}; }

void RequireRsaAlgorithm(const FunctionTrace& fn, const IAlgorithm& algorithm) {
  if (algorithm.GetFriendlyName() != L"RSA") fn.Raise(CRYPTO_NOT_SUPPORTED, L"Only RSA keys are supported");
}

void RequireRsaEncryption(const FunctionTrace& fn, const Asn1::AlgorithmIdentifier& identifier) {
  if (identifier.pszObjId != szOID_RSA_RSA)
    fn.Raise(CRYPTO_NOT_SUPPORTED, L"Only RSA keys are supported", L"Unsupported key algorithm: %S",
             identifier.pszObjId);
  if (!identifier.Parameters.empty() && identifier.Parameters != kNullParameters)
    fn.Raise(CRYPTO_BAD_PARAM, L"Invalid rsaEncryption parameters");
}

}  // namespace

IRSAPublicKey::~IRSAPublicKey() = default;
IRSAPrivateCRTKey::~IRSAPrivateCRTKey() = default;

// ---- public key -----------------------------------------------------------------------------

CCNGRSAPublicKey::CCNGRSAPublicKey(std::unique_ptr<IAlgorithm> pAlgorithm, Asn1::RsaPublicKeyNumbers numbers)
    : CCNGRSAPublicKey(std::move(pAlgorithm), std::move(numbers), ByteArray()) {}

CCNGRSAPublicKey::CCNGRSAPublicKey(std::unique_ptr<IAlgorithm> pAlgorithm, Asn1::RsaPublicKeyNumbers numbers,
                                   ByteArray baEncoded)
    : m_pAlgorithm(std::move(pAlgorithm)), m_numbers(std::move(numbers)), m_baEncoded(std::move(baEncoded)) {
  const FunctionTrace fn(L"CCNGRSAPublicKey::CCNGRSAPublicKey", this);
  fn.Run([&] {
    if (!m_baEncoded.empty()) return;
    Asn1::SubjectPublicKeyInfo info{RsaEncryption(), {}};
    info.PublicKey.pbData = CryptoUtil::EncodeObject<Structure::RsaPublicKey>(m_numbers);
    m_baEncoded = CryptoUtil::EncodeObject<Structure::X509PublicKeyInfo>(info);
  });
}

CCNGRSAPublicKey::~CCNGRSAPublicKey() {
  TraceLifetime(L"CCNGRSAPublicKey::~CCNGRSAPublicKey", this, [&] { m_pAlgorithm.reset(); });
}

CCNGRSAPublicKey* CCNGRSAPublicKey::Import(std::unique_ptr<IAlgorithm> pAlgorithm,
                                           const ByteArray& baSubjectPublicKeyInfo) {
  const FunctionTrace fn(L"CCNGRSAPublicKey::Import");
  return fn.Run([&] {
    RequireRsaAlgorithm(fn, *pAlgorithm);
    const Asn1::SubjectPublicKeyInfo info =
        CryptoUtil::DecodeObject<Structure::X509PublicKeyInfo>(baSubjectPublicKeyInfo);
    RequireRsaEncryption(fn, info.Algorithm);
    if (info.PublicKey.cUnusedBits != 0) fn.Raise(CRYPTO_BAD_PARAM, L"The public key is not a whole number of bytes");
    Asn1::RsaPublicKeyNumbers numbers = CryptoUtil::DecodeObject<Structure::RsaPublicKey>(info.PublicKey.pbData);
    // With NULL parameters the bytes are the key's own encoding already (both decoders read DER
    // only); without parameters the key writes its encoding with them.
    if (info.Algorithm.Parameters == kNullParameters)
      return new CCNGRSAPublicKey(std::move(pAlgorithm), std::move(numbers), baSubjectPublicKeyInfo);
    return new CCNGRSAPublicKey(std::move(pAlgorithm), std::move(numbers));
  });
}

IKey* CCNGRSAPublicKey::Clone() const {
  const FunctionTrace fn(L"CCNGRSAPublicKey::Clone", this);
  return fn.Run([&] { return new CCNGRSAPublicKey(std::unique_ptr<IAlgorithm>(m_pAlgorithm->Clone()), m_numbers); });
}

IAlgorithm* CCNGRSAPublicKey::GetAlgorithm() const {
  const FunctionTrace fn(L"CCNGRSAPublicKey::GetAlgorithm", this);
  return fn.Run([&] {
    fn.Data(L"m_pAlgorithm=%#x", m_pAlgorithm.get());
    return m_pAlgorithm.get();
  });
}

WString CCNGRSAPublicKey::GetFormat() const {
  const FunctionTrace fn(L"CCNGRSAPublicKey::GetFormat", this);
  return fn.Run([] { return WString(L"X509"); });
}

ByteArray CCNGRSAPublicKey::GetEncoded() const {
  const FunctionTrace fn(L"CCNGRSAPublicKey::GetEncoded", this);
  return fn.Run([&] { return m_baEncoded; });
}

ByteArray CCNGRSAPublicKey::GetModulus() const {
  const FunctionTrace fn(L"CCNGRSAPublicKey::GetModulus", this);
  return fn.Run([&] { return m_numbers.modulus; });
}

ByteArray CCNGRSAPublicKey::GetPublicExponent() const {
  const FunctionTrace fn(L"CCNGRSAPublicKey::GetPublicExponent", this);
  return fn.Run([&] { return m_numbers.publicExponent; });
}

// ---- private key ----------------------------------------------------------------------------

CCNGRSAPrivateCRTKey::CCNGRSAPrivateCRTKey(std::unique_ptr<IAlgorithm> pAlgorithm, Asn1::RsaPrivateKeyNumbers numbers)
    : m_pAlgorithm(std::move(pAlgorithm)), m_numbers(std::move(numbers)) {
  TraceLifetime(L"CCNGRSAPrivateCRTKey::CCNGRSAPrivateCRTKey", this);
}

CCNGRSAPrivateCRTKey::~CCNGRSAPrivateCRTKey() {
  TraceLifetime(L"CCNGRSAPrivateCRTKey::~CCNGRSAPrivateCRTKey", this, [&] { m_pAlgorithm.reset(); });
}

CCNGRSAPrivateCRTKey* CCNGRSAPrivateCRTKey::ImportPKCS8(std::unique_ptr<IAlgorithm> pAlgorithm,
                                                        const ByteArray& baPrivateKeyInfo) {
  const FunctionTrace fn(L"CCNGRSAPrivateCRTKey::ImportPKCS8");
  return fn.Run([&] {
    RequireRsaAlgorithm(fn, *pAlgorithm);
    const Asn1::PrivateKeyInfo info = CryptoUtil::DecodeObject<Structure::PkcsPrivateKeyInfo>(baPrivateKeyInfo);
    RequireRsaEncryption(fn, info.Algorithm);
    Asn1::RsaPrivateKeyNumbers numbers = CryptoUtil::DecodeObject<Structure::RsaPrivateKey>(info.PrivateKey);
    return new CCNGRSAPrivateCRTKey(std::move(pAlgorithm), std::move(numbers));
  });
}

CCNGRSAPrivateCRTKey* CCNGRSAPrivateCRTKey::ImportPrivateKeyBlob(std::unique_ptr<IAlgorithm> pAlgorithm,
                                                                 const ByteArray& baBlob) {
  const FunctionTrace fn(L"CCNGRSAPrivateCRTKey::ImportPrivateKeyBlob");
  return fn.Run([&] {
    RequireRsaAlgorithm(fn, *pAlgorithm);
    Asn1::RsaPrivateKeyNumbers numbers;
    if (!ReadRsaPrivateKeyBlob(Der::Bytes(baBlob.data(), baBlob.size()), &numbers))
      fn.Raise(CRYPTO_BAD_PARAM, L"Invalid RSA private key blob");
    return new CCNGRSAPrivateCRTKey(std::move(pAlgorithm), std::move(numbers));
  });
}

IKey* CCNGRSAPrivateCRTKey::Clone() const {
  const FunctionTrace fn(L"CCNGRSAPrivateCRTKey::Clone", this);
  return fn.Run(
      [&] { return new CCNGRSAPrivateCRTKey(std::unique_ptr<IAlgorithm>(m_pAlgorithm->Clone()), m_numbers); });
}

IAlgorithm* CCNGRSAPrivateCRTKey::GetAlgorithm() const {
  const FunctionTrace fn(L"CCNGRSAPrivateCRTKey::GetAlgorithm", this);
  return fn.Run([&] {
    fn.Data(L"m_pAlgorithm=%#x", m_pAlgorithm.get());
    return m_pAlgorithm.get();
  });
}

WString CCNGRSAPrivateCRTKey::GetFormat() const {
  const FunctionTrace fn(L"CCNGRSAPrivateCRTKey::GetFormat", this);
  return fn.Run([] { return WString(L"PKCS8"); });
}

ByteArray CCNGRSAPrivateCRTKey::GetEncoded() const {
  const FunctionTrace fn(L"CCNGRSAPrivateCRTKey::GetEncoded", this);
  return fn.Run([&] {
    const Asn1::PrivateKeyInfo info{
        0, RsaEncryption(), CryptoUtil::EncodeObject<Structure::RsaPrivateKey>(m_numbers), {}};
    return CryptoUtil::EncodeObject<Structure::PkcsPrivateKeyInfo>(info);
  });
}

// The getters of the numbers: each traced under its own name, none of them traces a value.
#define ZT_RSA_PRIVATE_GETTER(Getter, member)                        \
  ByteArray CCNGRSAPrivateCRTKey::Getter() const {                   \
    const FunctionTrace fn(L"CCNGRSAPrivateCRTKey::" #Getter, this); \
    return fn.Run([&] { return m_numbers.member; });                 \
  }
ZT_RSA_PRIVATE_GETTER(GetModulus, modulus)
ZT_RSA_PRIVATE_GETTER(GetPublicExponent, publicExponent)
ZT_RSA_PRIVATE_GETTER(GetPrivateExponent, privateExponent)
ZT_RSA_PRIVATE_GETTER(GetPrimeP, prime1)
ZT_RSA_PRIVATE_GETTER(GetPrimeQ, prime2)
ZT_RSA_PRIVATE_GETTER(GetPrimeExponentP, exponent1)
ZT_RSA_PRIVATE_GETTER(GetPrimeExponentQ, exponent2)
ZT_RSA_PRIVATE_GETTER(GetCrtCoefficient, coefficient)
#undef ZT_RSA_PRIVATE_GETTER

}  // namespace ZT::Framework
