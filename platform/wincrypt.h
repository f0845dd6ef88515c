// CryptoAPI (advapi32) subset of the seam: the calls of the engines' fallback paths, with the
// published types, constants, blob structures and error codes. On Windows they come from
// <wincrypt.h>.
//
// Conventions: functions return TRUE or FALSE; on FALSE the reason is in GetLastError (an NTE_
// code or a Win32 error code). CryptoAPI blobs carry their integers little-endian.
#pragma once

#include "platform/wintypes.h"

#if defined(_WIN32)

#include <wincrypt.h>

ZT_SEAM_WRAPPER(BOOL, CryptAcquireContextW,
                (HCRYPTPROV * phProv, LPCWSTR szContainer, LPCWSTR szProvider, DWORD dwProvType, DWORD dwFlags))
ZT_SEAM_WRAPPER(BOOL, CryptReleaseContext, (HCRYPTPROV hProv, DWORD dwFlags))
ZT_SEAM_WRAPPER(BOOL, CryptGenRandom, (HCRYPTPROV hProv, DWORD dwLen, BYTE* pbBuffer))
ZT_SEAM_WRAPPER(BOOL, CryptImportKey,
                (HCRYPTPROV hProv, const BYTE* pbData, DWORD dwDataLen, HCRYPTKEY hPubKey, DWORD dwFlags,
                 HCRYPTKEY* phKey))
ZT_SEAM_WRAPPER(BOOL, CryptSetKeyParam, (HCRYPTKEY hKey, DWORD dwParam, const BYTE* pbData, DWORD dwFlags))
ZT_SEAM_WRAPPER(BOOL, CryptEncrypt,
                (HCRYPTKEY hKey, HCRYPTHASH hHash, BOOL Final, DWORD dwFlags, BYTE* pbData, DWORD* pdwDataLen,
                 DWORD dwBufLen))
ZT_SEAM_WRAPPER(BOOL, CryptDecrypt,
                (HCRYPTKEY hKey, HCRYPTHASH hHash, BOOL Final, DWORD dwFlags, BYTE* pbData, DWORD* pdwDataLen))
ZT_SEAM_WRAPPER(BOOL, CryptDestroyKey, (HCRYPTKEY hKey))
#define CryptAcquireContextW ZT_Seam_CryptAcquireContextW
#define CryptReleaseContext ZT_Seam_CryptReleaseContext
#define CryptGenRandom ZT_Seam_CryptGenRandom
#define CryptImportKey ZT_Seam_CryptImportKey
#define CryptSetKeyParam ZT_Seam_CryptSetKeyParam
#define CryptEncrypt ZT_Seam_CryptEncrypt
#define CryptDecrypt ZT_Seam_CryptDecrypt
#define CryptDestroyKey ZT_Seam_CryptDestroyKey

#else

typedef ULONG_PTR HCRYPTPROV;
typedef ULONG_PTR HCRYPTKEY;
typedef ULONG_PTR HCRYPTHASH;
typedef unsigned int ALG_ID;

// Provider names and types.
#define MS_ENHANCED_PROV_W L"Microsoft Enhanced Cryptographic Provider v1.0"
#define MS_ENH_RSA_AES_PROV_W L"Microsoft Enhanced RSA and AES Cryptographic Provider"
#define MS_ENH_RSA_AES_PROV_XP_W L"Microsoft Enhanced RSA and AES Cryptographic Provider (Prototype)"

#define PROV_RSA_FULL 1
#define PROV_RSA_AES 24

// CryptAcquireContext flags.
#define CRYPT_VERIFYCONTEXT 0xF0000000
#define CRYPT_NEWKEYSET 0x00000008
#define CRYPT_DELETEKEYSET 0x00000010
#define CRYPT_MACHINE_KEYSET 0x00000020
#define CRYPT_SILENT 0x00000040
#define CRYPT_DEFAULT_CONTAINER_OPTIONAL 0x00000080

// Algorithm identifiers.
#define CALG_DES 0x00006601
#define CALG_3DES_112 0x00006609
#define CALG_3DES 0x00006603
#define CALG_AES_128 0x0000660e
#define CALG_AES_192 0x0000660f
#define CALG_AES_256 0x00006610
#define CALG_AES 0x00006611
#define CALG_RSA_SIGN 0x00002400
#define CALG_RSA_KEYX 0x0000a400

// Key blobs.
#define SIMPLEBLOB 0x1
#define PUBLICKEYBLOB 0x6
#define PRIVATEKEYBLOB 0x7
#define PLAINTEXTKEYBLOB 0x8
#define CUR_BLOB_VERSION 2

// CryptImportKey flags.
#define CRYPT_EXPORTABLE 0x00000001
#define CRYPT_USER_PROTECTED 0x00000002
#define CRYPT_NO_SALT 0x00000010
#define CRYPT_IPSEC_HMAC_KEY 0x00000100

// CryptEncrypt/CryptDecrypt flags.
#define CRYPT_OAEP 0x00000040

// Key parameters (CryptSetKeyParam).
#define KP_IV 1
#define KP_SALT 2
#define KP_PADDING 3
#define KP_MODE 4
#define KP_MODE_BITS 5
#define KP_PERMISSIONS 6
#define KP_ALGID 7
#define KP_BLOCKLEN 8
#define KP_KEYLEN 9

#define PKCS5_PADDING 1

#define CRYPT_MODE_CBC 1
#define CRYPT_MODE_ECB 2
#define CRYPT_MODE_OFB 3
#define CRYPT_MODE_CFB 4

// Error codes (GetLastError).
#define NTE_BAD_UID ((HRESULT)0x80090001L)
#define NTE_BAD_HASH ((HRESULT)0x80090002L)
#define NTE_BAD_KEY ((HRESULT)0x80090003L)
#define NTE_BAD_LEN ((HRESULT)0x80090004L)
#define NTE_BAD_DATA ((HRESULT)0x80090005L)
#define NTE_BAD_SIGNATURE ((HRESULT)0x80090006L)
#define NTE_BAD_VER ((HRESULT)0x80090007L)
#define NTE_BAD_ALGID ((HRESULT)0x80090008L)
#define NTE_BAD_FLAGS ((HRESULT)0x80090009L)
#define NTE_BAD_TYPE ((HRESULT)0x8009000AL)
#define NTE_BAD_KEY_STATE ((HRESULT)0x8009000BL)
#define NTE_NO_MEMORY ((HRESULT)0x8009000EL)
#define NTE_BAD_PUBLIC_KEY ((HRESULT)0x80090015L)
#define NTE_BAD_KEYSET ((HRESULT)0x80090016L)
#define NTE_PROV_TYPE_NOT_DEF ((HRESULT)0x80090017L)
#define NTE_KEYSET_NOT_DEF ((HRESULT)0x80090019L)
#define NTE_PROV_TYPE_NO_MATCH ((HRESULT)0x8009001BL)
#define NTE_FAIL ((HRESULT)0x80090020L)

// BLOBHEADER / PUBLICKEYSTRUC: the first 8 bytes of every CryptoAPI key blob.
typedef struct _PUBLICKEYSTRUC {
  BYTE bType;       // PLAINTEXTKEYBLOB, PUBLICKEYBLOB, ...
  BYTE bVersion;    // CUR_BLOB_VERSION
  WORD reserved;    // 0
  ALG_ID aiKeyAlg;  // CALG_...
} BLOBHEADER, PUBLICKEYSTRUC;

// Follows the header of an RSA PUBLICKEYBLOB; then the modulus, bitlen / 8 bytes, little-endian.
typedef struct _RSAPUBKEY {
  DWORD magic;   // 0x31415352 "RSA1" for a public key
  DWORD bitlen;  // modulus size in bits
  DWORD pubexp;  // public exponent
} RSAPUBKEY;

extern "C" {

// Opens a provider context. pszContainer must be null with CRYPT_VERIFYCONTEXT, which is
// required here (this platform keeps no key containers: without it, NTE_BAD_KEYSET).
// pszProvider: one of the MS_ names above (case-insensitive) or null for the type's default.
// Unknown name: NTE_KEYSET_NOT_DEF; type not matching the name: NTE_PROV_TYPE_NO_MATCH; unknown
// type: NTE_PROV_TYPE_NOT_DEF; other flags: NTE_BAD_FLAGS.
BOOL WINAPI CryptAcquireContextW(HCRYPTPROV* phProv, LPCWSTR szContainer, LPCWSTR szProvider, DWORD dwProvType,
                                 DWORD dwFlags);

// Releases a provider context (dwFlags 0). Bad handle: NTE_BAD_UID.
BOOL WINAPI CryptReleaseContext(HCRYPTPROV hProv, DWORD dwFlags);

// Fills pbBuffer with random bytes; its content is mixed in as additional input first.
BOOL WINAPI CryptGenRandom(HCRYPTPROV hProv, DWORD dwLen, BYTE* pbBuffer);

// Imports a PLAINTEXTKEYBLOB (DES, 3DES, 3DES_112, AES-128/192/256 or CALG_AES with a 16, 24 or
// 32-byte key; AES only on PROV_RSA_AES providers) or an RSA PUBLICKEYBLOB. hPubKey is not
// used by these blob types. Symmetric keys start in CBC mode with a zero IV and PKCS #5 padding.
BOOL WINAPI CryptImportKey(HCRYPTPROV hProv, const BYTE* pbData, DWORD dwDataLen, HCRYPTKEY hPubKey,
                           DWORD dwFlags, HCRYPTKEY* phKey);

// Sets KP_MODE (a DWORD: CRYPT_MODE_CBC or CRYPT_MODE_ECB), KP_IV (block-size bytes) or
// KP_PADDING (PKCS5_PADDING only) of a symmetric key; each restarts the chaining from the IV.
BOOL WINAPI CryptSetKeyParam(HCRYPTKEY hKey, DWORD dwParam, const BYTE* pbData, DWORD dwFlags);

// Encrypts *pdwDataLen bytes of pbData in place (buffer of dwBufLen bytes). Block ciphers: a
// non-final call takes whole blocks and carries the CBC chaining to the next call; the final
// call (Final TRUE) appends PKCS #5 padding (a whole block when the data is aligned) and
// restarts the chaining from the IV. RSA public keys: PKCS #1 v1.5 type 2 padding (or OAEP
// with SHA-1 and CRYPT_OAEP), result in little-endian byte order, data longer than k - 11
// (k - 42 for OAEP): NTE_BAD_LEN. A null pbData stores the needed size in *pdwDataLen; a
// buffer too small: ERROR_MORE_DATA with the needed size.
BOOL WINAPI CryptEncrypt(HCRYPTKEY hKey, HCRYPTHASH hHash, BOOL Final, DWORD dwFlags, BYTE* pbData,
                         DWORD* pdwDataLen, DWORD dwBufLen);

// Decrypts in place (block ciphers). The data must be whole blocks (else NTE_BAD_DATA); the
// final call checks and strips the PKCS #5 padding (bad padding: NTE_BAD_DATA) and restarts
// the chaining. RSA public keys cannot decrypt: NTE_BAD_KEY.
BOOL WINAPI CryptDecrypt(HCRYPTKEY hKey, HCRYPTHASH hHash, BOOL Final, DWORD dwFlags, BYTE* pbData,
                         DWORD* pdwDataLen);

// Destroys a key and wipes it. Bad handle: NTE_BAD_KEY.
BOOL WINAPI CryptDestroyKey(HCRYPTKEY hKey);

}  // extern "C"

#endif  // _WIN32
