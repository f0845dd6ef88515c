#include "framework/crypto.algorithm.h"

#include "framework/crypto.trace.h"

namespace ZT::Framework {

std::span<const AlgorithmRow> AlgorithmTable() {
  static constexpr AlgorithmRow kRows[] = {
      {L"RSA", L"1.2.840.113549.1.1.1"},
      {L"DES", L"1.3.14.3.2.7"},
      {L"3DES", L"1.2.840.113549.3.7"},
      {L"AES", L"2.16.840.1.101.3.4.1.2"},
      {L"SHA1", L"1.3.14.3.2.26"},
      {L"SHA224", L"2.16.840.1.101.3.4.2.4"},
      {L"SHA256", L"2.16.840.1.101.3.4.2.1"},
      {L"SHA384", L"2.16.840.1.101.3.4.2.2"},
      {L"SHA512", L"2.16.840.1.101.3.4.2.3"},
      {L"MD2", L"1.2.840.113549.2.2"},
      {L"MD4", L"1.2.840.113549.2.4"},
      {L"MD5", L"1.2.840.113549.2.5"},
      {L"CMAC", kUnknownOID},
      {L"HMAC_SHA1", L"1.2.840.113549.2.7"},
      {L"HMAC_SHA224", L"1.2.840.113549.2.8"},
      {L"HMAC_SHA256", L"1.2.840.113549.2.9"},
      {L"HMAC_SHA384", L"1.2.840.113549.2.10"},
      {L"HMAC_SHA512", L"1.2.840.113549.2.11"},
      {L"FIPS186DSARNG", kUnknownOID},
      {L"ECDH_P224", L"1.3.132.0.33"},
      {L"ECDH_P256", L"1.2.840.10045.3.1.7"},
      {L"ECDH_P384", L"1.3.132.0.34"},
      {L"ECDH_P521", L"1.3.132.0.35"},
      {L"800_56A_KDF", kUnknownOID},
      {L"PKCS5_PBKDF2", L"1.2.840.113549.1.5.12"},
      {L"DPAPI", kUnknownOID},
  };
  return kRows;
}

CAlgorithm::CAlgorithm(WString sOID, WString sFriendlyName, std::unique_ptr<IAlgorithmParameters> pParameters)
    : m_sOID(std::move(sOID)), m_sFriendlyName(std::move(sFriendlyName)), m_pParameters(std::move(pParameters)) {
  TraceLifetime(L"CAlgorithm::CAlgorithm", this);
}

CAlgorithm::~CAlgorithm() {
  TraceLifetime(L"CAlgorithm::~CAlgorithm", this, [&] { m_pParameters.reset(); });
}

IAlgorithm* CAlgorithm::Clone() const {
  const FunctionTrace fn(L"CAlgorithm::Clone", this);
  return fn.Run([&] {
    return new CAlgorithm(m_sOID, m_sFriendlyName, std::unique_ptr<IAlgorithmParameters>(m_pParameters->Clone()));
  });
}

// The three getters trace under the label of Clone: readers of the suite's traces know them so.
WString CAlgorithm::GetOID() const {
  const FunctionTrace fn(L"CAlgorithm::Clone", this);
  return fn.Run([&] {
    fn.Data(L"m_sOID=%s", m_sOID);
    return m_sOID;
  });
}

WString CAlgorithm::GetFriendlyName() const {
  const FunctionTrace fn(L"CAlgorithm::Clone", this);
  return fn.Run([&] {
    fn.Data(L"m_sFriendlyName=%s", m_sFriendlyName);
    return m_sFriendlyName;
  });
}

IAlgorithmParameters* CAlgorithm::GetParameters() const {
  const FunctionTrace fn(L"CAlgorithm::Clone", this);
  return fn.Run([&] {
    fn.Data(L"m_pParameters=%#x", m_pParameters.get());
    return m_pParameters.get();
  });
}

IAlgorithm::IAlgorithm() = default;
IAlgorithm::IAlgorithm(const IAlgorithm&) = default;
IAlgorithm& IAlgorithm::operator=(const IAlgorithm&) = default;
IAlgorithm::~IAlgorithm() = default;

}  // namespace ZT::Framework
