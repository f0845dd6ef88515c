// CCNGCVCCertificate: the card-verifiable certificate of include/zt/certificate.h, a placeholder
// that reads no content yet.
#pragma once

#include <memory>

#include "zt/certificate.h"

namespace ZT::Framework {

class CCNGCVCCertificate final : public ICVCCertificate {
 public:
  // An empty certificate: ICertificate::Create does not hand it the bytes.
  CCNGCVCCertificate();
  ~CCNGCVCCertificate() override;

  ICertificate* Clone() const override;
  ByteArray GetEncoded() const override;
  WString GetFormat() const override;
  IPublicKey* GetPublicKey() const override;
  bool VerifySignature(IPublicKey* pPublicKey) const override;
  std::uint32_t VerifyTrust(ICryptoParserParameterMap* pParameter) const override;
  ISignature* GetSignature() const override;
  bool Compare(ICertificate* pCertificate) const override;

  std::int32_t GetProfileIdentifier() const override;
  ByteArray GetIssuerIdentifier() const override;
  ByteArray GetSubjectIdentifier() const override;
  std::int32_t GetRoleIdentifier() const override;
  void ListTags(std::vector<std::uint32_t>& out) const override;
  ByteArray GetTag(std::uint32_t nTag) const override;

 private:
  // What a later version is to fill from the certificate; left empty.
  ByteArray m_baEncoded;
  std::unique_ptr<IPublicKey> m_pPublicKey;
  std::unique_ptr<ISignature> m_pSignature;
  [[maybe_unused]] std::int32_t m_nProfileIdentifier = 0;
  ByteArray m_baIssuerIdentifier;
  ByteArray m_baSubjectIdentifier;
  [[maybe_unused]] std::int32_t m_nRoleIdentifier = 0;
};

}  // namespace ZT::Framework
