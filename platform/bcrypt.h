// CNG primitives (the "Bcrypt.dll" part of the seam): types, constants, blob structures, status
// codes and the 21 entry points the engines call through the CNG service table, with their
// published signatures. On Windows they come from <bcrypt.h>; elsewhere platform/openssl
// implements them on OpenSSL 3.
//
// Conventions shared by every function below:
// - Result: STATUS_SUCCESS (0) or a negative NTSTATUS; NT_SUCCESS tells them apart.
// - Handles: a null, unknown or already released handle gives STATUS_INVALID_HANDLE; a handle
//   of the wrong kind (a hash where a key is needed) too.
// - Size queries: where an output buffer is optional, a null buffer stores the size the output
//   needs in *pcbResult and succeeds; a buffer that is too small gives STATUS_BUFFER_TOO_SMALL
//   with the needed size in *pcbResult.
// - Strings are wide (wchar_t); sizes of string values are in bytes including the terminating
//   zero, that is (length + 1) * sizeof(wchar_t).
// - CNG blobs carry their integers big-endian after a little-endian (host order) header.
#pragma once

#include "platform/wintypes.h"

// Status codes the primitives return, with their published values. <windows.h> defines only some
// of them (the others live in <ntstatus.h>, which clashes with <windows.h> unless included in a
// special order): each is defined here unless it already is.
#ifndef STATUS_SUCCESS
#define STATUS_SUCCESS ((NTSTATUS)0x00000000L)
#endif
#ifndef STATUS_UNSUCCESSFUL
#define STATUS_UNSUCCESSFUL ((NTSTATUS)0xC0000001L)
#endif
#ifndef STATUS_NOT_IMPLEMENTED
#define STATUS_NOT_IMPLEMENTED ((NTSTATUS)0xC0000002L)
#endif
#ifndef STATUS_INVALID_HANDLE
#define STATUS_INVALID_HANDLE ((NTSTATUS)0xC0000008L)
#endif
#ifndef STATUS_INVALID_PARAMETER
#define STATUS_INVALID_PARAMETER ((NTSTATUS)0xC000000DL)
#endif
#ifndef STATUS_NO_MEMORY
#define STATUS_NO_MEMORY ((NTSTATUS)0xC0000017L)
#endif
#ifndef STATUS_BUFFER_TOO_SMALL
#define STATUS_BUFFER_TOO_SMALL ((NTSTATUS)0xC0000023L)
#endif
#ifndef STATUS_DATA_ERROR
#define STATUS_DATA_ERROR ((NTSTATUS)0xC000003EL)
#endif
#ifndef STATUS_NOT_SUPPORTED
#define STATUS_NOT_SUPPORTED ((NTSTATUS)0xC00000BBL)
#endif
#ifndef STATUS_INTERNAL_ERROR
#define STATUS_INTERNAL_ERROR ((NTSTATUS)0xC00000E5L)
#endif
#ifndef STATUS_INVALID_BUFFER_SIZE
#define STATUS_INVALID_BUFFER_SIZE ((NTSTATUS)0xC0000206L)
#endif
#ifndef STATUS_NOT_FOUND
#define STATUS_NOT_FOUND ((NTSTATUS)0xC0000225L)
#endif
#ifndef STATUS_INVALID_SIGNATURE
#define STATUS_INVALID_SIGNATURE ((NTSTATUS)0xC000A000L)
#endif
#ifndef STATUS_AUTH_TAG_MISMATCH
#define STATUS_AUTH_TAG_MISMATCH ((NTSTATUS)0xC000A002L)
#endif

#if defined(_WIN32)

#include <bcrypt.h>

#else

#define NT_SUCCESS(Status) (((NTSTATUS)(Status)) >= 0)
#define BCRYPT_SUCCESS(Status) (((NTSTATUS)(Status)) >= 0)

typedef PVOID BCRYPT_HANDLE;
typedef PVOID BCRYPT_ALG_HANDLE;
typedef PVOID BCRYPT_KEY_HANDLE;
typedef PVOID BCRYPT_HASH_HANDLE;
typedef PVOID BCRYPT_SECRET_HANDLE;

// Algorithm identifiers.
#define BCRYPT_RSA_ALGORITHM L"RSA"
#define BCRYPT_RNG_ALGORITHM L"RNG"
#define BCRYPT_FIPS186_DSA_RNG_ALGORITHM L"FIPS186DSARNG"
#define BCRYPT_AES_ALGORITHM L"AES"
#define BCRYPT_DES_ALGORITHM L"DES"
#define BCRYPT_3DES_ALGORITHM L"3DES"
#define BCRYPT_3DES_112_ALGORITHM L"3DES_112"
#define BCRYPT_MD5_ALGORITHM L"MD5"
#define BCRYPT_SHA1_ALGORITHM L"SHA1"
#define BCRYPT_SHA256_ALGORITHM L"SHA256"
#define BCRYPT_SHA384_ALGORITHM L"SHA384"
#define BCRYPT_SHA512_ALGORITHM L"SHA512"
#define BCRYPT_ECDH_P256_ALGORITHM L"ECDH_P256"
#define BCRYPT_ECDH_P384_ALGORITHM L"ECDH_P384"
#define BCRYPT_ECDH_P521_ALGORITHM L"ECDH_P521"

#define MS_PRIMITIVE_PROVIDER L"Microsoft Primitive Provider"

// Property names.
#define BCRYPT_OBJECT_LENGTH L"ObjectLength"
#define BCRYPT_ALGORITHM_NAME L"AlgorithmName"
#define BCRYPT_CHAINING_MODE L"ChainingMode"
#define BCRYPT_BLOCK_LENGTH L"BlockLength"
#define BCRYPT_KEY_LENGTH L"KeyLength"
#define BCRYPT_KEY_OBJECT_LENGTH L"KeyObjectLength"
#define BCRYPT_KEY_STRENGTH L"KeyStrength"
#define BCRYPT_KEY_LENGTHS L"KeyLengths"
#define BCRYPT_HASH_LENGTH L"HashDigestLength"
#define BCRYPT_HASH_BLOCK_LENGTH L"HashBlockLength"
#define BCRYPT_IS_KEYED_HASH L"IsKeyedHash"
#define BCRYPT_IS_REUSABLE_HASH L"IsReusableHash"
#define BCRYPT_INITIALIZATION_VECTOR L"IV"

// Chaining modes (values of BCRYPT_CHAINING_MODE).
#define BCRYPT_CHAIN_MODE_NA L"ChainingModeN/A"
#define BCRYPT_CHAIN_MODE_CBC L"ChainingModeCBC"
#define BCRYPT_CHAIN_MODE_ECB L"ChainingModeECB"

// Flags.
#define BCRYPT_PROV_DISPATCH 0x00000001
#define BCRYPT_ALG_HANDLE_HMAC_FLAG 0x00000008
#define BCRYPT_HASH_REUSABLE_FLAG 0x00000020
#define BCRYPT_BLOCK_PADDING 0x00000001
#define BCRYPT_PAD_NONE 0x00000001
#define BCRYPT_PAD_PKCS1 0x00000002
#define BCRYPT_PAD_OAEP 0x00000004
#define BCRYPT_PAD_PSS 0x00000008
#define BCRYPT_RNG_USE_ENTROPY_IN_BUFFER 0x00000001
#define BCRYPT_USE_SYSTEM_PREFERRED_RNG 0x00000002

// Key blob types.
#define BCRYPT_PUBLIC_KEY_BLOB L"PUBLICBLOB"
#define BCRYPT_PRIVATE_KEY_BLOB L"PRIVATEBLOB"
#define BCRYPT_RSAPUBLIC_BLOB L"RSAPUBLICBLOB"
#define BCRYPT_RSAPRIVATE_BLOB L"RSAPRIVATEBLOB"
#define BCRYPT_RSAFULLPRIVATE_BLOB L"RSAFULLPRIVATEBLOB"
#define BCRYPT_ECCPUBLIC_BLOB L"ECCPUBLICBLOB"
#define BCRYPT_ECCPRIVATE_BLOB L"ECCPRIVATEBLOB"
#define BCRYPT_KEY_DATA_BLOB L"KeyDataBlob"
#define BCRYPT_OPAQUE_KEY_BLOB L"OpaqueKeyBlob"

// Key derivation functions (BCryptDeriveKey) and their parameter buffer types.
#define BCRYPT_KDF_HASH L"HASH"
#define BCRYPT_KDF_HMAC L"HMAC"
#define BCRYPT_KDF_TLS_PRF L"TLS_PRF"
#define BCRYPT_KDF_SP80056A_CONCAT L"SP800_56A_CONCAT"
#define BCRYPT_KDF_RAW_SECRET L"TRUNCATE"

#define BCRYPTBUFFER_VERSION 0
#define KDF_HASH_ALGORITHM 0x0
#define KDF_SECRET_PREPEND 0x1
#define KDF_SECRET_APPEND 0x2
#define KDF_HMAC_KEY 0x3

typedef struct _BCryptBuffer {
  ULONG cbBuffer;    // size of the buffer in bytes
  ULONG BufferType;  // KDF_...
  PVOID pvBuffer;
} BCryptBuffer, *PBCryptBuffer;

typedef struct _BCryptBufferDesc {
  ULONG ulVersion;  // BCRYPTBUFFER_VERSION
  ULONG cBuffers;
  PBCryptBuffer pBuffers;
} BCryptBufferDesc, *PBCryptBufferDesc;

typedef struct _BCRYPT_KEY_LENGTHS_STRUCT {
  ULONG dwMinLength;  // bits
  ULONG dwMaxLength;
  ULONG dwIncrement;
} BCRYPT_KEY_LENGTHS_STRUCT;

typedef struct _BCRYPT_OAEP_PADDING_INFO {
  LPCWSTR pszAlgId;  // hash of OAEP and of its mask generation (MGF1)
  PUCHAR pbLabel;
  ULONG cbLabel;
} BCRYPT_OAEP_PADDING_INFO;

typedef struct _BCRYPT_PKCS1_PADDING_INFO {
  LPCWSTR pszAlgId;
} BCRYPT_PKCS1_PADDING_INFO;

// KeyDataBlob: this header, then cbKeyData key bytes.
typedef struct _BCRYPT_KEY_DATA_BLOB_HEADER {
  ULONG dwMagic;    // BCRYPT_KEY_DATA_BLOB_MAGIC
  ULONG dwVersion;  // BCRYPT_KEY_DATA_BLOB_VERSION1
  ULONG cbKeyData;
} BCRYPT_KEY_DATA_BLOB_HEADER, *PBCRYPT_KEY_DATA_BLOB_HEADER;

#define BCRYPT_KEY_DATA_BLOB_MAGIC 0x4d42444b  // "KDBM"
#define BCRYPT_KEY_DATA_BLOB_VERSION1 0x1

// RSA blobs: this header, then (big-endian) the public exponent (cbPublicExp bytes) and the
// modulus (cbModulus); private blobs add prime1 and prime2; full private blobs add exponent1,
// exponent2 (cbPrime1, cbPrime2), coefficient (cbPrime1) and the private exponent (cbModulus).
typedef struct _BCRYPT_RSAKEY_BLOB {
  ULONG Magic;
  ULONG BitLength;
  ULONG cbPublicExp;
  ULONG cbModulus;
  ULONG cbPrime1;
  ULONG cbPrime2;
} BCRYPT_RSAKEY_BLOB;

#define BCRYPT_RSAPUBLIC_MAGIC 0x31415352       // "RSA1"
#define BCRYPT_RSAPRIVATE_MAGIC 0x32415352      // "RSA2"
#define BCRYPT_RSAFULLPRIVATE_MAGIC 0x33415352  // "RSA3"

// EC blobs: this header, then X and Y (cbKey bytes each, big-endian); private blobs add d.
typedef struct _BCRYPT_ECCKEY_BLOB {
  ULONG dwMagic;
  ULONG cbKey;
} BCRYPT_ECCKEY_BLOB, *PBCRYPT_ECCKEY_BLOB;

#define BCRYPT_ECDH_PUBLIC_P256_MAGIC 0x314B4345   // "ECK1"
#define BCRYPT_ECDH_PRIVATE_P256_MAGIC 0x324B4345  // "ECK2"
#define BCRYPT_ECDH_PUBLIC_P384_MAGIC 0x334B4345   // "ECK3"
#define BCRYPT_ECDH_PRIVATE_P384_MAGIC 0x344B4345  // "ECK4"
#define BCRYPT_ECDH_PUBLIC_P521_MAGIC 0x354B4345   // "ECK5"
#define BCRYPT_ECDH_PRIVATE_P521_MAGIC 0x364B4345  // "ECK6"

extern "C" {

// Opens a provider of the algorithm `pszAlgId` (compared without regard to case) into
// *phAlgorithm. `pszImplementation` is null or MS_PRIMITIVE_PROVIDER. Flags:
// BCRYPT_ALG_HANDLE_HMAC_FLAG (hash algorithms only), BCRYPT_HASH_REUSABLE_FLAG,
// BCRYPT_PROV_DISPATCH. Unknown algorithm or implementation: STATUS_NOT_FOUND; other flags:
// STATUS_INVALID_PARAMETER. Each call gives a new handle with its own properties.
NTSTATUS WINAPI BCryptOpenAlgorithmProvider(BCRYPT_ALG_HANDLE* phAlgorithm, LPCWSTR pszAlgId,
                                            LPCWSTR pszImplementation, ULONG dwFlags);

// Releases a provider handle. Objects made from it stay usable until they are destroyed.
NTSTATUS WINAPI BCryptCloseAlgorithmProvider(BCRYPT_ALG_HANDLE hAlgorithm, ULONG dwFlags);

// Reads a property of a provider, hash or key into pbOutput (size-query protocol).
// Unknown property for that object: STATUS_NOT_SUPPORTED.
NTSTATUS WINAPI BCryptGetProperty(BCRYPT_HANDLE hObject, LPCWSTR pszProperty, PUCHAR pbOutput,
                                  ULONG cbOutput, ULONG* pcbResult, ULONG dwFlags);

// Sets a property of a provider or key; only BCRYPT_CHAINING_MODE of a block cipher is
// settable (a provider's mode is inherited by the keys imported afterwards).
NTSTATUS WINAPI BCryptSetProperty(BCRYPT_HANDLE hObject, LPCWSTR pszProperty, PUCHAR pbInput,
                                  ULONG cbInput, ULONG dwFlags);

// Creates a hash (or, on an HMAC provider, an HMAC keyed with pbSecret) in the caller's object
// memory pbHashObject of at least ObjectLength bytes (null: the function allocates it). The
// object memory must stay untouched until BCryptDestroyHash.
NTSTATUS WINAPI BCryptCreateHash(BCRYPT_ALG_HANDLE hAlgorithm, BCRYPT_HASH_HANDLE* phHash,
                                 PUCHAR pbHashObject, ULONG cbHashObject, PUCHAR pbSecret,
                                 ULONG cbSecret, ULONG dwFlags);

// Feeds cbInput bytes to a hash.
NTSTATUS WINAPI BCryptHashData(BCRYPT_HASH_HANDLE hHash, PUCHAR pbInput, ULONG cbInput, ULONG dwFlags);

// Writes the digest; cbOutput must equal HashDigestLength. Afterwards the hash can only be
// destroyed, unless it was created reusable, in which case it starts afresh (same key).
NTSTATUS WINAPI BCryptFinishHash(BCRYPT_HASH_HANDLE hHash, PUCHAR pbOutput, ULONG cbOutput, ULONG dwFlags);

// Destroys a hash and wipes its object memory.
NTSTATUS WINAPI BCryptDestroyHash(BCRYPT_HASH_HANDLE hHash);

// Imports a symmetric key from a BCRYPT_KEY_DATA_BLOB into the caller's object memory
// pbKeyObject (at least ObjectLength bytes; null: allocated by the function). The key takes the
// provider's chaining mode.
NTSTATUS WINAPI BCryptImportKey(BCRYPT_ALG_HANDLE hAlgorithm, BCRYPT_KEY_HANDLE hImportKey,
                                LPCWSTR pszBlobType, BCRYPT_KEY_HANDLE* phKey, PUCHAR pbKeyObject,
                                ULONG cbKeyObject, PUCHAR pbInput, ULONG cbInput, ULONG dwFlags);

// Imports an RSA or EC key from a public or private blob. A blob whose magic, sizes or values
// do not fit the blob type and the provider's algorithm: STATUS_INVALID_PARAMETER.
NTSTATUS WINAPI BCryptImportKeyPair(BCRYPT_ALG_HANDLE hAlgorithm, BCRYPT_KEY_HANDLE hImportKey,
                                    LPCWSTR pszBlobType, BCRYPT_KEY_HANDLE* phKey, PUCHAR pbInput,
                                    ULONG cbInput, ULONG dwFlags);

// Exports a key as a blob (size-query protocol): KeyDataBlob for symmetric keys,
// RSAPUBLICBLOB for RSA keys, ECCPUBLICBLOB and (for keys with a private part) ECCPRIVATEBLOB.
NTSTATUS WINAPI BCryptExportKey(BCRYPT_KEY_HANDLE hKey, BCRYPT_KEY_HANDLE hExportKey, LPCWSTR pszBlobType,
                                PUCHAR pbOutput, ULONG cbOutput, ULONG* pcbResult, ULONG dwFlags);

// Starts a key pair of dwLength bits (ECDH: the curve's size; RSA: 512 to 16384 in steps of
// 64); it is usable after BCryptFinalizeKeyPair.
NTSTATUS WINAPI BCryptGenerateKeyPair(BCRYPT_ALG_HANDLE hAlgorithm, BCRYPT_KEY_HANDLE* phKey, ULONG dwLength,
                                      ULONG dwFlags);

// Generates the key material of a key pair started by BCryptGenerateKeyPair.
NTSTATUS WINAPI BCryptFinalizeKeyPair(BCRYPT_KEY_HANDLE hKey, ULONG dwFlags);

// Destroys a key and wipes its secret material (and its object memory).
NTSTATUS WINAPI BCryptDestroyKey(BCRYPT_KEY_HANDLE hKey);

// Encrypts (size-query protocol). Symmetric keys: cbInput must be a multiple of the block size
// unless BCRYPT_BLOCK_PADDING adds PKCS #7 padding; in CBC mode pbIV (block size) gives the
// chaining value and receives the last ciphertext block. RSA keys: dwFlags is one of
// BCRYPT_PAD_NONE, BCRYPT_PAD_PKCS1, BCRYPT_PAD_OAEP (pPaddingInfo a BCRYPT_OAEP_PADDING_INFO);
// the output is the big-endian ciphertext of the key's size.
NTSTATUS WINAPI BCryptEncrypt(BCRYPT_KEY_HANDLE hKey, PUCHAR pbInput, ULONG cbInput, VOID* pPaddingInfo,
                              PUCHAR pbIV, ULONG cbIV, PUCHAR pbOutput, ULONG cbOutput, ULONG* pcbResult,
                              ULONG dwFlags);

// Decrypts (size-query protocol; the size asked for is cbInput, or the key size for RSA).
// Bad PKCS #7 padding: STATUS_DATA_ERROR. RSA needs a private key.
NTSTATUS WINAPI BCryptDecrypt(BCRYPT_KEY_HANDLE hKey, PUCHAR pbInput, ULONG cbInput, VOID* pPaddingInfo,
                              PUCHAR pbIV, ULONG cbIV, PUCHAR pbOutput, ULONG cbOutput, ULONG* pcbResult,
                              ULONG dwFlags);

// Fills pbBuffer with random bytes from hAlgorithm ("RNG"), or, with a null handle and
// BCRYPT_USE_SYSTEM_PREFERRED_RNG, from the system generator. With
// BCRYPT_RNG_USE_ENTROPY_IN_BUFFER the buffer's content is mixed in as additional input.
NTSTATUS WINAPI BCryptGenRandom(BCRYPT_ALG_HANDLE hAlgorithm, PUCHAR pbBuffer, ULONG cbBuffer, ULONG dwFlags);

// ECDH: the agreed secret of a private key and a public key of the same curve.
NTSTATUS WINAPI BCryptSecretAgreement(BCRYPT_KEY_HANDLE hPrivKey, BCRYPT_KEY_HANDLE hPubKey,
                                      BCRYPT_SECRET_HANDLE* phAgreedSecret, ULONG dwFlags);

// Derives key material from an agreed secret (size-query protocol). KDF BCRYPT_KDF_HASH:
// hash(KDF_SECRET_PREPEND || secret || KDF_SECRET_APPEND) with KDF_HASH_ALGORITHM (SHA1 when
// absent, also when pParameterList is null); the secret is the big-endian x-coordinate.
NTSTATUS WINAPI BCryptDeriveKey(BCRYPT_SECRET_HANDLE hSharedSecret, LPCWSTR pwszKDF,
                                BCryptBufferDesc* pParameterList, PUCHAR pbDerivedKey, ULONG cbDerivedKey,
                                ULONG* pcbResult, ULONG dwFlags);

// PBKDF2 (RFC 8018) with the HMAC of hPrf, which must be opened with BCRYPT_ALG_HANDLE_HMAC_FLAG.
NTSTATUS WINAPI BCryptDeriveKeyPBKDF2(BCRYPT_ALG_HANDLE hPrf, PUCHAR pbPassword, ULONG cbPassword,
                                      PUCHAR pbSalt, ULONG cbSalt, ULONGLONG cIterations, PUCHAR pbDerivedKey,
                                      ULONG cbDerivedKey, ULONG dwFlags);

// Destroys an agreed secret and wipes it.
NTSTATUS WINAPI BCryptDestroySecret(BCRYPT_SECRET_HANDLE hSecret);

}  // extern "C"

#endif  // _WIN32
