// The key operations behind the CNG key entries, by key family. The entries (cng.keys.cpp)
// check handles and dispatch here; these functions check everything else.
#pragma once

#include "platform/openssl/cng.objects.h"

namespace ZT::Platform {

// Arguments of BCryptEncrypt / BCryptDecrypt after the key.
struct CryptCall {
  PUCHAR input;
  ULONG inputSize;
  void* paddingInfo;
  PUCHAR iv;
  ULONG ivSize;
  PUCHAR output;
  ULONG outputSize;
  ULONG* result;
  ULONG flags;
};

// Block ciphers (cng.symmetric.cpp).
NTSTATUS SymmetricEncrypt(SymmetricKey& key, const CryptCall& call);
NTSTATUS SymmetricDecrypt(SymmetricKey& key, const CryptCall& call);
NTSTATUS ExportSymmetricKey(const SymmetricKey& key, LPCWSTR blobType, PUCHAR out, ULONG cbOut, ULONG* pcbResult);

// RSA (cng.rsa.cpp).
// The integers of an RSA key: the public ones, and the private ones when d is set.
struct RsaNumbers {
  BnPtr e, n, p, q, dp, dq, qinv, d;
};
// A key of the private library context from its numbers (a key pair when d is set), or null.
PkeyPtr BuildRsaKey(const RsaNumbers& numbers);
// The numbers of an RSA key (null members for what it lacks); the private ones only when asked.
RsaNumbers RsaKeyNumbers(const EVP_PKEY* pkey, bool withPrivate);
NTSTATUS ImportRsaKey(AsymmetricKey& key, LPCWSTR blobType, const unsigned char* blob, ULONG size);
NTSTATUS ExportRsaKey(const AsymmetricKey& key, LPCWSTR blobType, PUCHAR out, ULONG cbOut, ULONG* pcbResult);
NTSTATUS GenerateRsaKey(AsymmetricKey& key);
NTSTATUS RsaEncrypt(const AsymmetricKey& key, const CryptCall& call);
NTSTATUS RsaDecrypt(const AsymmetricKey& key, const CryptCall& call);
// An RSA public key from its modulus and exponent (also for CryptoAPI blobs), or null.
PkeyPtr MakeRsaPublicKey(BnPtr n, BnPtr e);

// ECDH (cng.ecdh.cpp).
NTSTATUS ImportEcdhKey(AsymmetricKey& key, LPCWSTR blobType, const unsigned char* blob, ULONG size);
NTSTATUS ExportEcdhKey(const AsymmetricKey& key, LPCWSTR blobType, PUCHAR out, ULONG cbOut, ULONG* pcbResult);
NTSTATUS GenerateEcdhKey(AsymmetricKey& key);
// The agreed secret of a private and a public key of the same curve.
NTSTATUS AgreeSecret(const AsymmetricKey& privateKey, const AsymmetricKey& publicKey, SecretBytes* secret);

// The RSA and EC blob types that name a public or a private key.
bool IsPublicBlobType(LPCWSTR blobType, LPCWSTR specific);
bool IsPrivateBlobType(LPCWSTR blobType, LPCWSTR specific);

// Little helpers for blob headers: host-order (little-endian) ULONGs at any alignment.
inline ULONG ReadUlong(const unsigned char* p) {
  ULONG value;
  std::memcpy(&value, p, sizeof(value));
  return value;
}
inline void WriteUlong(unsigned char* p, ULONG value) { std::memcpy(p, &value, sizeof(value)); }

// A private-key operation context on the private library context.
PkeyCtxPtr NewPkeyContext(EVP_PKEY* pkey);

}  // namespace ZT::Platform
