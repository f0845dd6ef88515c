// CCNGX509Certificate: the X.509 certificate of include/zt/certificate.h, over a certificate
// context of the platform's certificate services.
#pragma once

#include <map>
#include <memory>
#include <span>

#include "cng/crypto.cng.handles.h"
#include "framework/crypto.trace.h"
#include "zt/certificate.h"

namespace ZT::Framework {

class CCNGX509Certificate final : public IX509Certificate {
 public:
  // From DER bytes; see ICertificate::Create for the failures.
  explicit CCNGX509Certificate(const ByteArray& baEncoded);
  // From a context of the platform (a store's), which is duplicated: the caller keeps its own
  // reference. A null context throws CRYPTO_BAD_PARAM.
  explicit CCNGX509Certificate(PCCERT_CONTEXT p_PCert_Context);
  ~CCNGX509Certificate() override;

  ICertificate* Clone() const override;
  ByteArray GetEncoded() const override;
  WString GetFormat() const override;
  IPublicKey* GetPublicKey() const override;
  bool VerifySignature(IPublicKey* pPublicKey) const override;
  std::uint32_t VerifyTrust(ICryptoParserParameterMap* pParameter) const override;
  ISignature* GetSignature() const override;
  bool Compare(ICertificate* pCertificate) const override;

  ByteArray GetTBSCertificate() const override;
  std::int32_t GetVersion() const override;
  ByteArray GetSerialNumber() const override;
  ByteArray GetHash() const override;
  IX500Name* GetIssuerDN() const override;
  WString GetNotAfter() const override;
  WString GetNotBefore() const override;
  IX500Name* GetSubjectDN() const override;
  ByteArray GetIssuerUniqueID() const override;
  ByteArray GetSubjectUniqueID() const override;
  void ListExtensions(ICryptoParserFilter* pExtFilter, StringList& out) const override;
  ByteArray GetExtensionValue(const WString& sOID) const override;
  ByteArray GetKeyUsage() const override;
  StringList GetExtendedKeyUsage() const override;
  GeneralNameList GetSubjectAlternativeNames() const override;
  bool CheckValidity(const WString& sDate) const override;
  bool CheckValidity() const override;
  bool IsDigitalSignature() const override;
  bool IsNonRepudiation() const override;
  bool IsKeyEncipherment() const override;
  bool IsDataEncipherment() const override;
  bool IsKeyAgreement() const override;
  bool IsKeyCertSign() const override;
  bool IsCRLSign() const override;
  bool IsEncipherOnly() const override;
  bool IsDecipherOnly() const override;

 private:
  // An extension of the context: its criticality and its value's bytes, which stay in the
  // context's encoding.
  struct Extension {
    bool bCritical;
    std::span<const std::uint8_t> value;
  };

  // The steps of construction after the context is made, in order.
  void DecodeCertificate(const FunctionTrace& fn);
  void ReadSerialNumber(const FunctionTrace& fn);
  void ReadValidity(const FunctionTrace& fn);
  void ReadSignature(const FunctionTrace& fn);
  void ReadExtensions();
  void ReadPublicKey(const FunctionTrace& fn);

  const CERT_INFO& Info() const { return *m_pCertContext.get()->pCertInfo; }
  // The bytes the certificate was made from (the context's), untraced (GetEncoded traces).
  std::span<const std::uint8_t> Encoded() const;
  // The extension `pszObjId` of the context, or null.
  const CERT_EXTENSION* FindExtension(const char* pszObjId) const;
  // The key-usage bit `mask` of byte `index`, logged as "<label>=%d".
  bool KeyUsageBit(const wchar_t* name, std::size_t index, unsigned char mask, const wchar_t* label) const;
  bool IsValidAt(const FunctionTrace& fn, LPFILETIME pTime) const;

  CertContext m_pCertContext;
  ByteArray m_baSerialNumber;  // big-endian, as in the DER INTEGER
  WString m_sNotAfter;
  WString m_sNotBefore;
  ByteArray m_baTBSCertificate;
  ByteArray m_baSignatureValue;
  ByteArray m_baSignatureParameters;
  WString m_sSignatureOID;
  std::unique_ptr<ISignature> m_pSignature;
  std::int32_t m_nVersion = 0;
  ByteArray m_baHash;
  std::map<WString, Extension> m_extensions;  // ordered by OID text
  ByteArray m_baKeyUsage;
  ByteArray m_baPublicKeyInfo;
  std::unique_ptr<IPublicKey> m_pPublicKey;
  mutable std::unique_ptr<IX500Name> m_pIssuerName;
  mutable std::unique_ptr<IX500Name> m_pSubjectName;
  ByteArray m_baIssuerUniqueId;
  ByteArray m_baSubjectUniqueId;
};

}  // namespace ZT::Framework
