// Certificate contexts as the seam's certificate functions share them: owning references, views
// of their blobs, and the signature check of the signed objects (certificates and CRLs).
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "codec/crypto.der.h"
#include "platform/certificates.h"

namespace ZT::Platform {

// One reference to a certificate context, released when it goes.
struct CertContextRelease {
  void operator()(PCCERT_CONTEXT context) const noexcept { CertFreeCertificateContext(context); }
};
using CertContextRef = std::unique_ptr<const CERT_CONTEXT, CertContextRelease>;

inline CertContextRef ShareContext(PCCERT_CONTEXT context) {
  return CertContextRef(CertDuplicateCertificateContext(context));
}

// CertCreateCertificateContext as the seam itself calls it (armed call failures do not apply).
PCCERT_CONTEXT NewCertificateContext(DWORD dwCertEncodingType, const BYTE* pbCertEncoded, DWORD cbCertEncoded);

// A new context (one reference) of the certificate of `source`, in `store`, sharing the decoded
// certificate; without `source`'s key. Null with ERROR_NOT_ENOUGH_MEMORY when it cannot be made.
PCCERT_CONTEXT CopyCertificateContext(PCCERT_CONTEXT source, HCERTSTORE store);

// Hands `size` bytes to a caller under the platform's size protocol: a null `out` only learns the
// size (in *room); a buffer of fewer than *room bytes fails with ERROR_MORE_DATA and the size in
// *room; else the bytes are copied and *room is the size.
BOOL ReturnSized(const void* value, DWORD size, void* out, DWORD* room);

// The number of references the context has now.
std::uint32_t ContextReferences(PCCERT_CONTEXT context);

// The private key paired with the context (0: none).
NCRYPT_KEY_HANDLE ContextKey(PCCERT_CONTEXT context);
// Pairs the context with `key` (0: none), releasing the key it held when it owned that one;
// with `releases` the context frees `key` when it goes or is paired again.
void PairContextKey(PCCERT_CONTEXT context, NCRYPT_KEY_HANDLE key, bool releases);

// The bytes of a blob.
inline ZT::Framework::Der::Bytes BlobBytes(const CRYPT_DATA_BLOB& blob) { return {blob.pbData, blob.cbData}; }

inline constexpr std::size_t kSha1Size = 20;

// The SHA-1 hash of the context's encoding, computed when the context was made.
const unsigned char* ContextSha1(PCCERT_CONTEXT context);

// True when both names have the same DER.
bool SameName(const CERT_NAME_BLOB& a, const CERT_NAME_BLOB& b);

// 0 when the signed object `der` (a certificate or a CRL) carries a valid signature of `key`,
// else the error CryptVerifyCertificateSignature reports for it.
DWORD VerifySignedObject(ZT::Framework::Der::Bytes der, const CERT_PUBLIC_KEY_INFO& key);

}  // namespace ZT::Platform
