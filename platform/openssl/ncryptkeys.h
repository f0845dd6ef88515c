// The key storage provider's objects, as the certificate contexts and the PKCS #12 support of the
// seam share them: an NCrypt key is an OpenSSL key with its export policy.
#pragma once

#include "platform/ncrypt.h"
#include "platform/openssl/library.h"

namespace ZT::Platform {

struct NCryptKeyObject {
  PkeyPtr pkey;
  DWORD exportPolicy = 0;
  bool finalized = false;
};

// A new finalized key handle holding `pkey`, or 0 when the handle table cannot grow.
NCRYPT_KEY_HANDLE NewNCryptKey(PkeyPtr pkey, DWORD exportPolicy);

// The key of a live handle, or null.
NCryptKeyObject* FindNCryptKey(NCRYPT_KEY_HANDLE handle);

// The CryptoAPI PRIVATEKEYBLOB of an RSA key pair, or empty when it has no such form (not RSA,
// a public exponent wider than 32 bits, primes longer than half the modulus).
SecretBytes LegacyRsaPrivateBlob(const EVP_PKEY* pkey);

}  // namespace ZT::Platform
