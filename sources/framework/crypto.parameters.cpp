#include "framework/crypto.parameters.h"

namespace ZT::Framework {

namespace {

// True only when the key holds an integer. (Strings and bytes are read by the map's typed Get.)
bool GetUint(const DataMap& map, const WString& key, std::uint64_t& out) {
  NQData value;
  if (!map.Get(key, value) || value.kind() != NQData::Kind::Uint) return false;
  out = value.Uint();
  return true;
}

}  // namespace

// ---- parameter map --------------------------------------------------------------------------

namespace key {
// Made once: every read of a map looks its key up by a WString.
const WString Timeout(L"CryptoParameterTimeout");
const WString Padding(L"CryptoParameterPadding");
const WString CipherMode(L"CryptoParameterCipherMode");
const WString IV(L"CryptoParameterIV");
const WString FIPSMode(L"CryptoParameterFIPSMode");
const WString HashAlgoPaddingMode(L"CryptoParameterHashAlgoPaddingMode");
const WString OAEPEncodingParamMode(L"CryptoParameterOAEPEncodingParamMode");
const WString Pkcs1OperationMode(L"CryptoParameterPkcs1OperationMode");
const WString TypePersistence(L"CryptoParameterTypePersistence");
const WString KeyLabel(L"CryptoParameterKeyLabel");
const WString ComponentIdentifier(L"CryptoParameterComponentIdentifier");
const WString ComponentName(L"CryptoParameterComponentName");
// "Parser", unlike every other key of the map: callers spell it so.
const WString IterationCount(L"CryptoParserParameterIterationCount");
const WString HMACAlgorithmName(L"CryptoParameterHMACAlgorithmName");
const WString HashAlgorithmName(L"CryptoParameterHashAlgorithmName");
}  // namespace key

CCryptoParameterMap::~CCryptoParameterMap() = default;

void CCryptoParameterMap::SetTimeout(const std::uint64_t& v) { Add(key::Timeout, NQData(v)); }
bool CCryptoParameterMap::GetTimeout(std::uint64_t& v) const { return GetUint(*this, key::Timeout, v); }
void CCryptoParameterMap::SetPadding(const WString& v) { Add(key::Padding, NQData(v)); }
bool CCryptoParameterMap::GetPadding(WString& v) const { return Get(key::Padding, v); }
void CCryptoParameterMap::SetCipherMode(const WString& v) { Add(key::CipherMode, NQData(v)); }
bool CCryptoParameterMap::GetCipherMode(WString& v) const { return Get(key::CipherMode, v); }
void CCryptoParameterMap::SetIV(const ByteArray& v) { Add(key::IV, NQData(v)); }
bool CCryptoParameterMap::GetIV(ByteArray& v) const { return Get(key::IV, v); }

void CCryptoParameterMap::SetFIPSMode(const bool& v) {
  if (v) Add(key::FIPSMode);
  else erase(key::FIPSMode);
}
bool CCryptoParameterMap::GetFIPSMode() const { return Get(key::FIPSMode); }

void CCryptoParameterMap::SetHashAlgoPaddingMode(const unsigned char& v) { Add(key::HashAlgoPaddingMode, v); }
bool CCryptoParameterMap::GetHashAlgoPaddingMode(unsigned char& v) const {
  return Get(key::HashAlgoPaddingMode, v);
}
void CCryptoParameterMap::SetOAEPEncodingParamMode(const ByteArray& v) { Add(key::OAEPEncodingParamMode, v); }
bool CCryptoParameterMap::GetOAEPEncodingParamMode(ByteArray& v) const {
  return Get(key::OAEPEncodingParamMode, v);
}
void CCryptoParameterMap::SetPkcs1OperationMode(const unsigned char& v) { Add(key::Pkcs1OperationMode, v); }
bool CCryptoParameterMap::GetPkcs1OperationMode(unsigned char& v) const {
  return Get(key::Pkcs1OperationMode, v);
}
void CCryptoParameterMap::SetTypePersistence(const WString& v) { Add(key::TypePersistence, NQData(v)); }
bool CCryptoParameterMap::GetTypePersistence(WString& v) const { return Get(key::TypePersistence, v); }
void CCryptoParameterMap::SetKeyLabel(const WString& v) { Add(key::KeyLabel, NQData(v)); }
bool CCryptoParameterMap::GetKeyLabel(WString& v) const { return Get(key::KeyLabel, v); }
void CCryptoParameterMap::SetComponentIdentifier(const WString& v) { Add(key::ComponentIdentifier, NQData(v)); }
bool CCryptoParameterMap::GetComponentIdentifier(WString& v) const {
  return Get(key::ComponentIdentifier, v);
}
void CCryptoParameterMap::SetComponentName(const WString& v) { Add(key::ComponentName, NQData(v)); }
bool CCryptoParameterMap::GetComponentName(WString& v) const { return Get(key::ComponentName, v); }
void CCryptoParameterMap::SetIterationCount(const std::uint64_t& v) { Add(key::IterationCount, NQData(v)); }
bool CCryptoParameterMap::GetIterationCount(std::uint64_t& v) const { return GetUint(*this, key::IterationCount, v); }
void CCryptoParameterMap::SetHMACAlgorithmName(const WString& v) { Add(key::HMACAlgorithmName, NQData(v)); }
bool CCryptoParameterMap::GetHMACAlgorithmName(WString& v) const {
  return Get(key::HMACAlgorithmName, v);
}
void CCryptoParameterMap::SetHashAlgorithmName(const WString& v) { Add(key::HashAlgorithmName, NQData(v)); }
bool CCryptoParameterMap::GetHashAlgorithmName(WString& v) const {
  return Get(key::HashAlgorithmName, v);
}

// ---- filter ---------------------------------------------------------------------------------

namespace key {
constexpr const wchar_t* FilterOID = L"CryptoFilterOID";
constexpr const wchar_t* FilterCritical = L"CryptoFilterCritical";
constexpr const wchar_t* FilterContainsPrivateKey = L"CryptoFilterContainsPrivateKey";
constexpr const wchar_t* FilterLabel = L"CryptoFilterLabel";
constexpr const wchar_t* FilterComponentIdentifier = L"CryptoFilterComponentIdentifier";
constexpr const wchar_t* FilterComponentName = L"CryptoFilterComponentName";
}  // namespace key

CCryptoFilter::~CCryptoFilter() = default;

void CCryptoFilter::SetOID(const StringList& v) { Add(key::FilterOID, v); }
bool CCryptoFilter::GetOID(StringList& v) const { return Get(key::FilterOID, v); }
void CCryptoFilter::SetCritical(const unsigned char& v) { Add(key::FilterCritical, v); }
bool CCryptoFilter::GetCritical(unsigned char& v) const { return Get(key::FilterCritical, v); }
void CCryptoFilter::SetContainsPrivateKey(const unsigned char& v) { Add(key::FilterContainsPrivateKey, v); }
bool CCryptoFilter::GetContainsPrivateKey(unsigned char& v) const {
  return Get(key::FilterContainsPrivateKey, v);
}
void CCryptoFilter::SetLabel(const WString& v) { Add(key::FilterLabel, NQData(v)); }
bool CCryptoFilter::GetLabel(WString& v) const { return Get(key::FilterLabel, v); }
void CCryptoFilter::SetComponentIdentifier(const WString& v) { Add(key::FilterComponentIdentifier, NQData(v)); }
bool CCryptoFilter::GetComponentIdentifier(WString& v) const {
  return Get(key::FilterComponentIdentifier, v);
}
void CCryptoFilter::SetComponentName(const WString& v) { Add(key::FilterComponentName, NQData(v)); }
bool CCryptoFilter::GetComponentName(WString& v) const { return Get(key::FilterComponentName, v); }

// ---- algorithm parameters -------------------------------------------------------------------

namespace key {
constexpr const wchar_t* Encoded = L"AlgorithmParametersEncoded";
constexpr const wchar_t* AlgPadding = L"AlgorithmParametersPadding";
constexpr const wchar_t* HashAlgoOID = L"AlgorithmParametersHashAlgoOID";
constexpr const wchar_t* MaskGenAlgoOID = L"AlgorithmParametersMaskGenAlgoOID";
constexpr const wchar_t* SaltLen = L"AlgorithmParametersSaltLen";
constexpr const wchar_t* TrailerField = L"AlgorithmParametersTrailerField";
}  // namespace key

CAlgorithmParameters::~CAlgorithmParameters() = default;

IAlgorithmParameters* CAlgorithmParameters::Clone() const {
  // The keys as map keys made once: every algorithm a certificate is read with clones these.
  static const WString kKeys[] = {key::Encoded, key::AlgPadding, key::HashAlgoOID,
                                  key::MaskGenAlgoOID, key::SaltLen, key::TrailerField};
  auto* copy = new CAlgorithmParameters;
  for (const WString& name : kKeys) {
    NQData value;
    if (Get(name, value)) copy->Add(name, value);
  }
  return copy;
}

void CAlgorithmParameters::SetEncoded(const ByteArray& v) { Add(key::Encoded, NQData(v)); }
bool CAlgorithmParameters::GetEncoded(ByteArray& v) const { return Get(key::Encoded, v); }
void CAlgorithmParameters::SetPadding(const WString& v) { Add(key::AlgPadding, NQData(v)); }
bool CAlgorithmParameters::GetPadding(WString& v) const { return Get(key::AlgPadding, v); }
void CAlgorithmParameters::SetHashAlgoOID(const WString& v) { Add(key::HashAlgoOID, NQData(v)); }
bool CAlgorithmParameters::GetHashAlgoOID(WString& v) const { return Get(key::HashAlgoOID, v); }
void CAlgorithmParameters::SetMaskGenAlgoOID(const WString& v) { Add(key::MaskGenAlgoOID, NQData(v)); }
bool CAlgorithmParameters::GetMaskGenAlgoOID(WString& v) const { return Get(key::MaskGenAlgoOID, v); }
void CAlgorithmParameters::SetSaltLen(const std::uint64_t& v) { Add(key::SaltLen, NQData(v)); }
bool CAlgorithmParameters::GetSaltLen(std::uint64_t& v) const { return GetUint(*this, key::SaltLen, v); }
void CAlgorithmParameters::SetTrailerField(const std::uint64_t& v) { Add(key::TrailerField, NQData(v)); }
bool CAlgorithmParameters::GetTrailerField(std::uint64_t& v) const { return GetUint(*this, key::TrailerField, v); }

// ---- interface destructors ------------------------------------------------------------------

ICryptoParserParameterMap::~ICryptoParserParameterMap() = default;
ICryptoParserFilter::~ICryptoParserFilter() = default;
IAlgorithmParameters::~IAlgorithmParameters() = default;
IECDomainParameters::~IECDomainParameters() = default;

}  // namespace ZT::Framework
