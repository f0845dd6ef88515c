// Memory stores as the seam's PKCS #12 and PKCS #7 support fills and reads them.
#pragma once

#include <vector>

#include "platform/certificates.h"
#include "platform/openssl/certcontext.h"

namespace ZT::Platform {

// A new empty memory store (as CertOpenStore makes it), or null with the reason as last error.
HCERTSTORE NewMemoryStore();

// Adds a new context of the DER certificate to the head of the store, paired with `key` when it
// is not 0 (the context then owns it). False with the reason as last error (the key is then
// left to the caller).
bool AddEncodedCertificate(HCERTSTORE store, const BYTE* der, DWORD size, NCRYPT_KEY_HANDLE key);

// The store's contexts in enumeration order, each a new reference; false for a handle that is
// not a live store.
bool StoreContexts(HCERTSTORE store, std::vector<CertContextRef>* contexts);

}  // namespace ZT::Platform
