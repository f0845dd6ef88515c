// The implementations of the parameter map, the filter and the algorithm parameters: each pair of
// operations reads and writes one fixed key of the underlying DataMap2.
#pragma once

#include "zt/parameters.h"

namespace ZT::Framework {

class CCryptoParameterMap final : public ICryptoParserParameterMap {
 public:
  CCryptoParameterMap() = default;
  ~CCryptoParameterMap() override;

  void SetTimeout(const std::uint64_t& nTimeout) override;
  bool GetTimeout(std::uint64_t& nTimeout) const override;
  void SetPadding(const WString& sPadding) override;
  bool GetPadding(WString& sPadding) const override;
  void SetCipherMode(const WString& sMode) override;
  bool GetCipherMode(WString& sMode) const override;
  void SetIV(const ByteArray& baIV) override;
  bool GetIV(ByteArray& baIV) const override;
  void SetFIPSMode(const bool& bFIPSMode) override;
  bool GetFIPSMode() const override;
  void SetHashAlgoPaddingMode(const unsigned char& nMode) override;
  bool GetHashAlgoPaddingMode(unsigned char& nMode) const override;
  void SetOAEPEncodingParamMode(const ByteArray& baParams) override;
  bool GetOAEPEncodingParamMode(ByteArray& baParams) const override;
  void SetPkcs1OperationMode(const unsigned char& nMode) override;
  bool GetPkcs1OperationMode(unsigned char& nMode) const override;
  void SetTypePersistence(const WString& sType) override;
  bool GetTypePersistence(WString& sType) const override;
  void SetKeyLabel(const WString& sLabel) override;
  bool GetKeyLabel(WString& sLabel) const override;
  void SetComponentIdentifier(const WString& sId) override;
  bool GetComponentIdentifier(WString& sId) const override;
  void SetComponentName(const WString& sName) override;
  bool GetComponentName(WString& sName) const override;
  void SetIterationCount(const std::uint64_t& nCount) override;
  bool GetIterationCount(std::uint64_t& nCount) const override;
  void SetHMACAlgorithmName(const WString& sName) override;
  bool GetHMACAlgorithmName(WString& sName) const override;
  void SetHashAlgorithmName(const WString& sName) override;
  bool GetHashAlgorithmName(WString& sName) const override;
};

class CCryptoFilter final : public ICryptoParserFilter {
 public:
  CCryptoFilter() = default;
  ~CCryptoFilter() override;

  void SetOID(const StringList& lstOID) override;
  bool GetOID(StringList& lstOID) const override;
  void SetCritical(const unsigned char& bCritical) override;
  bool GetCritical(unsigned char& bCritical) const override;
  void SetContainsPrivateKey(const unsigned char& bContains) override;
  bool GetContainsPrivateKey(unsigned char& bContains) const override;
  void SetLabel(const WString& sLabel) override;
  bool GetLabel(WString& sLabel) const override;
  void SetComponentIdentifier(const WString& sId) override;
  bool GetComponentIdentifier(WString& sId) const override;
  void SetComponentName(const WString& sName) override;
  bool GetComponentName(WString& sName) const override;
};

class CAlgorithmParameters final : public IAlgorithmParameters {
 public:
  CAlgorithmParameters() = default;
  ~CAlgorithmParameters() override;

  IAlgorithmParameters* Clone() const override;

  void SetEncoded(const ByteArray& baEncoded) override;
  bool GetEncoded(ByteArray& baEncoded) const override;
  void SetPadding(const WString& sPadding) override;
  bool GetPadding(WString& sPadding) const override;
  void SetHashAlgoOID(const WString& sOID) override;
  bool GetHashAlgoOID(WString& sOID) const override;
  void SetMaskGenAlgoOID(const WString& sOID) override;
  bool GetMaskGenAlgoOID(WString& sOID) const override;
  void SetSaltLen(const std::uint64_t& nSaltLen) override;
  bool GetSaltLen(std::uint64_t& nSaltLen) const override;
  void SetTrailerField(const std::uint64_t& nTrailer) override;
  bool GetTrailerField(std::uint64_t& nTrailer) const override;
};

}  // namespace ZT::Framework
