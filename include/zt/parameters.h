// Typed views over the keyed map: engine options (the parameter map), store listing criteria
// (the filter) and the parameters of an algorithm identifier.
//
// Each option is a setter and a getter bound to one fixed key. A getter returns true, and copies
// the value out, when the key is present with a value of its kind; false otherwise (and leaves
// the output alone). No option has a default value in the maps: the engine that reads an
// option says what its absence means. The maps lock nothing; see DataMap.
#pragma once

#include <cstdint>

#include "nq/nqcext.h"
#include "zt/export.h"
#include "zt/secure.h"

namespace ZT::Framework {

// Options of an engine, given to every engine factory.
class ZT_CRYPTO_API ICryptoParserParameterMap : public DataMap2 {
 public:
  // A new, empty map owned by the caller. Writes no trace line.
  static ICryptoParserParameterMap* Create();
  ~ICryptoParserParameterMap() override;

  virtual void SetTimeout(const std::uint64_t& nTimeout) = 0;            // "CryptoParameterTimeout"
  virtual bool GetTimeout(std::uint64_t& nTimeout) const = 0;
  virtual void SetPadding(const WString& sPadding) = 0;                  // "CryptoParameterPadding"
  virtual bool GetPadding(WString& sPadding) const = 0;
  virtual void SetCipherMode(const WString& sMode) = 0;                  // "CryptoParameterCipherMode"
  virtual bool GetCipherMode(WString& sMode) const = 0;
  virtual void SetIV(const ByteArray& baIV) = 0;                         // "CryptoParameterIV"
  virtual bool GetIV(ByteArray& baIV) const = 0;
  // True adds the key "CryptoParameterFIPSMode" without a value; false erases it.
  virtual void SetFIPSMode(const bool& bFIPSMode) = 0;
  // Whether "CryptoParameterFIPSMode" is present.
  virtual bool GetFIPSMode() const = 0;
  virtual void SetHashAlgoPaddingMode(const unsigned char& nMode) = 0;   // "CryptoParameterHashAlgoPaddingMode"
  virtual bool GetHashAlgoPaddingMode(unsigned char& nMode) const = 0;
  virtual void SetOAEPEncodingParamMode(const ByteArray& baParams) = 0;  // "CryptoParameterOAEPEncodingParamMode"
  virtual bool GetOAEPEncodingParamMode(ByteArray& baParams) const = 0;
  virtual void SetPkcs1OperationMode(const unsigned char& nMode) = 0;    // "CryptoParameterPkcs1OperationMode"
  virtual bool GetPkcs1OperationMode(unsigned char& nMode) const = 0;
  virtual void SetTypePersistence(const WString& sType) = 0;             // "CryptoParameterTypePersistence"
  virtual bool GetTypePersistence(WString& sType) const = 0;
  virtual void SetKeyLabel(const WString& sLabel) = 0;                   // "CryptoParameterKeyLabel"
  virtual bool GetKeyLabel(WString& sLabel) const = 0;
  virtual void SetComponentIdentifier(const WString& sId) = 0;           // "CryptoParameterComponentIdentifier"
  virtual bool GetComponentIdentifier(WString& sId) const = 0;
  virtual void SetComponentName(const WString& sName) = 0;               // "CryptoParameterComponentName"
  virtual bool GetComponentName(WString& sName) const = 0;
  // Stored under "CryptoParserParameterIterationCount" (with "Parser", unlike the other keys).
  virtual void SetIterationCount(const std::uint64_t& nCount) = 0;
  virtual bool GetIterationCount(std::uint64_t& nCount) const = 0;
  virtual void SetHMACAlgorithmName(const WString& sName) = 0;           // "CryptoParameterHMACAlgorithmName"
  virtual bool GetHMACAlgorithmName(WString& sName) const = 0;
  virtual void SetHashAlgorithmName(const WString& sName) = 0;           // "CryptoParameterHashAlgorithmName"
  virtual bool GetHashAlgorithmName(WString& sName) const = 0;
};

// Criteria for listing the certificates and keys of a store.
class ZT_CRYPTO_API ICryptoParserFilter : public DataMap2 {
 public:
  // A new, empty filter owned by the caller. Writes no trace line.
  static ICryptoParserFilter* Create();
  ~ICryptoParserFilter() override;

  virtual void SetOID(const StringList& lstOID) = 0;                     // "CryptoFilterOID"
  virtual bool GetOID(StringList& lstOID) const = 0;
  virtual void SetCritical(const unsigned char& bCritical) = 0;          // "CryptoFilterCritical"
  virtual bool GetCritical(unsigned char& bCritical) const = 0;
  virtual void SetContainsPrivateKey(const unsigned char& bContains) = 0;  // "CryptoFilterContainsPrivateKey"
  virtual bool GetContainsPrivateKey(unsigned char& bContains) const = 0;
  virtual void SetLabel(const WString& sLabel) = 0;                      // "CryptoFilterLabel"
  virtual bool GetLabel(WString& sLabel) const = 0;
  virtual void SetComponentIdentifier(const WString& sId) = 0;           // "CryptoFilterComponentIdentifier"
  virtual bool GetComponentIdentifier(WString& sId) const = 0;
  virtual void SetComponentName(const WString& sName) = 0;               // "CryptoFilterComponentName"
  virtual bool GetComponentName(WString& sName) const = 0;
};

// Parameters of an algorithm identifier; every algorithm object carries one.
class ZT_CRYPTO_API IAlgorithmParameters : public DataMap2 {
 public:
  // A new, empty object owned by the caller.
  static IAlgorithmParameters* Create();
  ~IAlgorithmParameters() override;

  // A new object holding the six keys below that are present here (and nothing else); owned by
  // the caller.
  virtual IAlgorithmParameters* Clone() const = 0;

  virtual void SetEncoded(const ByteArray& baEncoded) = 0;               // "AlgorithmParametersEncoded"
  virtual bool GetEncoded(ByteArray& baEncoded) const = 0;
  virtual void SetPadding(const WString& sPadding) = 0;                  // "AlgorithmParametersPadding"
  virtual bool GetPadding(WString& sPadding) const = 0;
  virtual void SetHashAlgoOID(const WString& sOID) = 0;                  // "AlgorithmParametersHashAlgoOID"
  virtual bool GetHashAlgoOID(WString& sOID) const = 0;
  virtual void SetMaskGenAlgoOID(const WString& sOID) = 0;               // "AlgorithmParametersMaskGenAlgoOID"
  virtual bool GetMaskGenAlgoOID(WString& sOID) const = 0;
  virtual void SetSaltLen(const std::uint64_t& nSaltLen) = 0;            // "AlgorithmParametersSaltLen"
  virtual bool GetSaltLen(std::uint64_t& nSaltLen) const = 0;
  virtual void SetTrailerField(const std::uint64_t& nTrailer) = 0;       // "AlgorithmParametersTrailerField"
  virtual bool GetTrailerField(std::uint64_t& nTrailer) const = 0;

 protected:
  IAlgorithmParameters() = default;
  IAlgorithmParameters(const IAlgorithmParameters&) = default;
};

// Domain parameters of an elliptic curve: not implemented.
class ZT_CRYPTO_API IECDomainParameters {
 public:
  // Always throws CRYPTO_NOT_IMPLEMENTED ("Not Implemented").
  static IECDomainParameters* Create();
  virtual ~IECDomainParameters();
};

}  // namespace ZT::Framework
