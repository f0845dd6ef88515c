// The smart-card client's policy questions about a DER certificate. None of them throws: a
// certificate that cannot be read, and null or empty input, give a negative answer (false,
// priority 0) and a trace line.
//
// The answers rest on five facts of the certificate:
//   UPN  an "OtherName" subject alternative name of type 1.3.6.1.4.1.311.20.2.3
//   DS   the digital-signature key usage
//   SCL  the smart-card logon extended key usage     1.3.6.1.4.1.311.20.2.2
//   EA   the enrollment-agent extended key usage     1.3.6.1.4.1.311.20.2.1
//   EFS  the encrypting-file-system extended key usage 1.3.6.1.4.1.311.10.3.4
// A fact that cannot be read counts as absent. Validity dates and the issuer are not looked at.
#pragma once

#include <cstdint>

#include "zt/export.h"

namespace ZT::Framework {

class ZT_CRYPTO_API ICertificateProperties {
 public:
  // Whether the certificate has an extended-key-usage extension with at least one purpose;
  // *pbFound (when pbFound is not null; set false first) tells whether `szOID` is one of them.
  // A null szOID: false.
  static bool nqGetEKUFromCertificate(const unsigned char* pusCertificateValue, unsigned int unCertificateValueLen,
                                      const wchar_t* szOID, bool* pbFound);
  // Fit for smart-card logon: UPN and DS and SCL.
  static bool nqIsCertOKForPKILogon(const unsigned char* pusCertificateValue, unsigned int unCertificateValueLen);
  // Fit as the user's default certificate: UPN and DS and SCL; else EA; else, unless
  // `bIgnoreEFS`, EFS.
  static bool nqIsCertOKForSetAsDefault(const unsigned char* pusCertificateValue, unsigned int unCertificateValueLen,
                                        bool bIgnoreEFS);
  // How strongly to prefer it as the default, 0..7: 4 for UPN and DS and SCL, plus 2 for EA,
  // plus 1 for EFS unless `bIgnoreEFS`. Non-zero exactly when nqIsCertOKForSetAsDefault is true.
  static std::int32_t nqGetCertPriorityForSetAsDefault(const unsigned char* pusCertificateValue,
                                                       unsigned int unCertificateValueLen, bool bIgnoreEFS);
};

}  // namespace ZT::Framework
