#include "cng/crypto.cng.dpapiciphers.h"

#include "cng/crypto.cng.dpapikeys.h"
#include "cng/crypto.cng.dpapiservice.h"

namespace ZT::Framework {

void CDataProtectionAPICipher::Init(unsigned int, ICertificate*) {
  const FunctionTrace fn(L"CDataProtectionAPICipher::Init", this);
  fn.Run([&] { fn.Raise(CRYPTO_NOT_SUPPORTED, L"Only DPAPI keys are supported"); });
}

void CDataProtectionAPICipher::Cipher(ByteArray& baOut) {
  const FunctionTrace fn(L"CDataProtectionAPICipher::Cipher", this);
  fn.Run([&] {
    RequireDataMode(fn, CIPHER_DECRYPT_MODE);
    const auto* key = dynamic_cast<const CDataProtectionAPIKey*>(m_pKey);
    if (key == nullptr) fn.Raise(CRYPTO_NOT_SUPPORTED, L"Only DPAPI keys are supported");
    const ByteArray entropy = key->GetSalt();
    const DWORD flags = ProtectionFlags(key->GetLabel());
    if (m_nOpMode == CIPHER_ENCRYPT_MODE)
      ProtectData(fn, Input(), nullptr, entropy, flags, baOut);
    else
      UnprotectData(fn, Input(), entropy, flags, baOut, nullptr);
  });
}

}  // namespace ZT::Framework
