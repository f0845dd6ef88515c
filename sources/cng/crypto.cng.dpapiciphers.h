// The data-protection cipher: the platform's data protection behind the cipher engine, with the
// keys of crypto.cng.dpapikeys.
#pragma once

#include "cng/crypto.cng.baseciphers.h"

namespace ZT::Framework {

inline constexpr ClassTrace kCDataProtectionAPICipherTrace = ZT_CLASS_TRACE(CDataProtectionAPICipher);

class CDataProtectionAPICipher final : public CipherEngine<kCDataProtectionAPICipherTrace> {
 public:
  using CipherEngine::CipherEngine;
  using CCNGBaseCipher::Init;

  // A certificate holds no data-protection key: always CRYPTO_NOT_SUPPORTED "Only DPAPI keys are
  // supported" (a null one included), and the engine stays as it was.
  void Init(unsigned int nOpMode, ICertificate* pCertificate) override;

 protected:
  // Mode 0 protects the input with CryptProtectData, mode 1 opens it with CryptUnprotectData; the
  // key must be a CDataProtectionAPIKey (else CRYPTO_NOT_SUPPORTED "Only DPAPI keys are
  // supported"). Its salt, when it has one, is the entropy; its label chooses the flags
  // (ProtectionFlags: "Device" protects for this machine). The parameter map is not read.
  void Cipher(ByteArray& baOut) override;
};

}  // namespace ZT::Framework
