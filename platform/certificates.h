// Certificate services (crypt32) subset of the seam: certificate contexts, certificate signature
// checks and chain building, memory stores with their PKCS #7 form, and PKCS #12 (PFX) import
// and export, with the published structures, constants and error codes. On Windows they come
// from <wincrypt.h>.
//
// The structures are the published C structures, in the global namespace: blobs are a count and
// a pointer, integers in a CRYPT_INTEGER_BLOB stand least significant byte first, times are
// FILETIMEs. Every constant and structure of the certificate services that the library names is
// declared here and nowhere else; the library's own decoded forms (sources/codec, namespace
// ZT::Framework::Asn1) have names of their own.
//
// Conventions: functions return TRUE or FALSE (or a pointer, null on failure); the reason for a
// failure is in GetLastError.
#pragma once

#include "platform/guid.h"
#include "platform/ncrypt.h"
#include "platform/systime.h"
#include "platform/wincrypt.h"
#include "platform/wintypes.h"

#if defined(_WIN32)

#if !defined(CERT_CHAIN_PARA_HAS_EXTRA_FIELDS)
#error "CERT_CHAIN_PARA_HAS_EXTRA_FIELDS must be defined for every file (cmake/Windows.cmake)"
#endif
#include <wincrypt.h>

ZT_SEAM_WRAPPER(PCCERT_CONTEXT, CertCreateCertificateContext,
                (DWORD dwCertEncodingType, const BYTE* pbCertEncoded, DWORD cbCertEncoded))
ZT_SEAM_WRAPPER(BOOL, CertGetCertificateContextProperty,
                (PCCERT_CONTEXT pCertContext, DWORD dwPropId, void* pvData, DWORD* pcbData))
ZT_SEAM_WRAPPER(BOOL, CryptVerifyCertificateSignature,
                (HCRYPTPROV_LEGACY hCryptProv, DWORD dwCertEncodingType, const BYTE* pbEncoded, DWORD cbEncoded,
                 PCERT_PUBLIC_KEY_INFO pPublicKey))
ZT_SEAM_WRAPPER(BOOL, CertGetCertificateChain,
                (HCERTCHAINENGINE hChainEngine, PCCERT_CONTEXT pCertContext, LPFILETIME pTime,
                 HCERTSTORE hAdditionalStore, PCERT_CHAIN_PARA pChainPara, DWORD dwFlags, LPVOID pvReserved,
                 PCCERT_CHAIN_CONTEXT* ppChainContext))
#define CertCreateCertificateContext ZT_Seam_CertCreateCertificateContext
#define CertGetCertificateContextProperty ZT_Seam_CertGetCertificateContextProperty
#define CryptVerifyCertificateSignature ZT_Seam_CryptVerifyCertificateSignature
#define CertGetCertificateChain ZT_Seam_CertGetCertificateChain

ZT_SEAM_WRAPPER(HCERTSTORE, CertOpenStore,
                (LPCSTR lpszStoreProvider, DWORD dwEncodingType, HCRYPTPROV_LEGACY hCryptProv, DWORD dwFlags,
                 const void* pvPara))
ZT_SEAM_WRAPPER(BOOL, CertCloseStore, (HCERTSTORE hCertStore, DWORD dwFlags))
ZT_SEAM_WRAPPER(PCCERT_CONTEXT, CertEnumCertificatesInStore, (HCERTSTORE hCertStore, PCCERT_CONTEXT pPrevCertContext))
ZT_SEAM_WRAPPER(BOOL, CertAddCertificateContextToStore,
                (HCERTSTORE hCertStore, PCCERT_CONTEXT pCertContext, DWORD dwAddDisposition,
                 PCCERT_CONTEXT* ppStoreContext))
ZT_SEAM_WRAPPER(BOOL, CertDeleteCertificateFromStore, (PCCERT_CONTEXT pCertContext))
ZT_SEAM_WRAPPER(BOOL, CertSaveStore,
                (HCERTSTORE hCertStore, DWORD dwEncodingType, DWORD dwSaveAs, DWORD dwSaveTo, void* pvSaveToPara,
                 DWORD dwFlags))
ZT_SEAM_WRAPPER(BOOL, CryptQueryObject,
                (DWORD dwObjectType, const void* pvObject, DWORD dwExpectedContentTypeFlags,
                 DWORD dwExpectedFormatTypeFlags, DWORD dwFlags, DWORD* pdwMsgAndCertEncodingType,
                 DWORD* pdwContentType, DWORD* pdwFormatType, HCERTSTORE* phCertStore, HCRYPTMSG* phMsg,
                 const void** ppvContext))
ZT_SEAM_WRAPPER(BOOL, CertSetCertificateContextProperty,
                (PCCERT_CONTEXT pCertContext, DWORD dwPropId, DWORD dwFlags, const void* pvData))
ZT_SEAM_WRAPPER(BOOL, CryptAcquireCertificatePrivateKey,
                (PCCERT_CONTEXT pCert, DWORD dwFlags, void* pvParameters,
                 HCRYPTPROV_OR_NCRYPT_KEY_HANDLE* phCryptProvOrNCryptKey, DWORD* pdwKeySpec,
                 BOOL* pfCallerFreeProvOrNCryptKey))
ZT_SEAM_WRAPPER(BOOL, PFXIsPFXBlob, (CRYPT_DATA_BLOB * pPFX))
ZT_SEAM_WRAPPER(HCERTSTORE, PFXImportCertStore, (CRYPT_DATA_BLOB * pPFX, LPCWSTR szPassword, DWORD dwFlags))
ZT_SEAM_WRAPPER(BOOL, PFXExportCertStoreEx,
                (HCERTSTORE hStore, CRYPT_DATA_BLOB* pPFX, LPCWSTR szPassword, void* pvPara, DWORD dwFlags))
#define CertOpenStore ZT_Seam_CertOpenStore
#define CertCloseStore ZT_Seam_CertCloseStore
#define CertEnumCertificatesInStore ZT_Seam_CertEnumCertificatesInStore
#define CertAddCertificateContextToStore ZT_Seam_CertAddCertificateContextToStore
#define CertDeleteCertificateFromStore ZT_Seam_CertDeleteCertificateFromStore
#define CertSaveStore ZT_Seam_CertSaveStore
#define CryptQueryObject ZT_Seam_CryptQueryObject
#define CertSetCertificateContextProperty ZT_Seam_CertSetCertificateContextProperty
#define CryptAcquireCertificatePrivateKey ZT_Seam_CryptAcquireCertificatePrivateKey
#define PFXIsPFXBlob ZT_Seam_PFXIsPFXBlob
#define PFXImportCertStore ZT_Seam_PFXImportCertStore
#define PFXExportCertStoreEx ZT_Seam_PFXExportCertStoreEx

#else

typedef void* HCERTSTORE;
typedef void* HCERTCHAINENGINE;
typedef ULONG_PTR HCRYPTPROV_LEGACY;

// Encoding types.
#define X509_ASN_ENCODING 0x00000001
#define PKCS_7_ASN_ENCODING 0x00010000

// Object identifiers.
#define szOID_RSA_RSA "1.2.840.113549.1.1.1"

// Certificate context properties.
#define CERT_MD5_HASH_PROP_ID 4
#define CERT_SHA1_HASH_PROP_ID 3
#define CERT_HASH_PROP_ID CERT_SHA1_HASH_PROP_ID

// Certificate versions (CERT_INFO::dwVersion): the version field as encoded.
#define CERT_V1 0
#define CERT_V2 1
#define CERT_V3 2

// CERT_RDN_ATTR::dwValueType and CERT_NAME_VALUE::dwValueType.
#define CERT_RDN_ANY_TYPE 0
#define CERT_RDN_ENCODED_BLOB 1
#define CERT_RDN_OCTET_STRING 2
#define CERT_RDN_NUMERIC_STRING 3
#define CERT_RDN_PRINTABLE_STRING 4
#define CERT_RDN_TELETEX_STRING 5
#define CERT_RDN_T61_STRING 5
#define CERT_RDN_VIDEOTEX_STRING 6
#define CERT_RDN_IA5_STRING 7
#define CERT_RDN_GRAPHIC_STRING 8
#define CERT_RDN_VISIBLE_STRING 9
#define CERT_RDN_ISO646_STRING 9
#define CERT_RDN_GENERAL_STRING 10
#define CERT_RDN_UNIVERSAL_STRING 11
#define CERT_RDN_INT4_STRING 11
#define CERT_RDN_BMP_STRING 12
#define CERT_RDN_UNICODE_STRING 12
#define CERT_RDN_UTF8_STRING 13

// CERT_ALT_NAME_ENTRY::dwAltNameChoice: the GeneralName CHOICE's tag number plus one.
#define CERT_ALT_NAME_OTHER_NAME 1
#define CERT_ALT_NAME_RFC822_NAME 2
#define CERT_ALT_NAME_DNS_NAME 3
#define CERT_ALT_NAME_X400_ADDRESS 4
#define CERT_ALT_NAME_DIRECTORY_NAME 5
#define CERT_ALT_NAME_EDI_PARTY_NAME 6
#define CERT_ALT_NAME_URL 7
#define CERT_ALT_NAME_IP_ADDRESS 8
#define CERT_ALT_NAME_REGISTERED_ID 9

// CRL_DIST_POINT_NAME::dwDistPointNameChoice.
#define CRL_DIST_POINT_NO_NAME 0
#define CRL_DIST_POINT_FULL_NAME 1
#define CRL_DIST_POINT_ISSUER_RDN_NAME 2

// String types and options of the X.500 text form (CertNameToStrW, CertStrToNameW).
#define CERT_SIMPLE_NAME_STR 1
#define CERT_OID_NAME_STR 2
#define CERT_X500_NAME_STR 3
#define CERT_NAME_STR_SEMICOLON_FLAG 0x40000000
#define CERT_NAME_STR_NO_PLUS_FLAG 0x20000000
#define CERT_NAME_STR_NO_QUOTING_FLAG 0x10000000
#define CERT_NAME_STR_CRLF_FLAG 0x08000000
#define CERT_NAME_STR_COMMA_FLAG 0x04000000
#define CERT_NAME_STR_REVERSE_FLAG 0x02000000

// Error codes (GetLastError).
#define CRYPT_E_ASN1_CORRUPT ((HRESULT)0x80093103L)
#define CRYPT_E_INVALID_NUMERIC_STRING ((HRESULT)0x80092020L)
#define CRYPT_E_INVALID_PRINTABLE_STRING ((HRESULT)0x80092021L)
#define CRYPT_E_INVALID_IA5_STRING ((HRESULT)0x80092022L)
#define CRYPT_E_INVALID_X500_STRING ((HRESULT)0x80092023L)
#define CRYPT_E_ASN1_EOD ((HRESULT)0x80093102L)
#define CRYPT_E_ASN1_BADTAG ((HRESULT)0x8009310BL)
#define CRYPT_E_NOT_FOUND ((HRESULT)0x80092004L)
#define CRYPT_E_NO_REVOCATION_CHECK ((HRESULT)0x80092012L)
#define CRYPT_E_REVOCATION_OFFLINE ((HRESULT)0x80092013L)
#define CRYPT_E_REVOKED ((HRESULT)0x80092010L)
#define CRYPT_E_UNKNOWN_ALGO ((HRESULT)0x80091002L)
#define CRYPT_E_EXISTS ((HRESULT)0x80092005L)
#define CRYPT_E_NO_MATCH ((HRESULT)0x80092009L)
#define CRYPT_E_NO_KEY_PROPERTY ((HRESULT)0x8009200BL)
#define CRYPT_E_PENDING_CLOSE ((HRESULT)0x8009200FL)

// A counted byte string; the same layout under every published name.
typedef struct _CRYPTOAPI_BLOB {
  DWORD cbData;
  BYTE* pbData;
} CRYPT_INTEGER_BLOB, *PCRYPT_INTEGER_BLOB, CRYPT_UINT_BLOB, CRYPT_OBJID_BLOB, CERT_NAME_BLOB, *PCERT_NAME_BLOB,
    CERT_RDN_VALUE_BLOB, CERT_BLOB, CRL_BLOB, DATA_BLOB, CRYPT_DATA_BLOB, *PCRYPT_DATA_BLOB, CRYPT_HASH_BLOB,
    CRYPT_DIGEST_BLOB, CRYPT_DER_BLOB, CRYPT_ATTR_BLOB;

typedef struct _CRYPT_BIT_BLOB {
  DWORD cbData;
  BYTE* pbData;
  DWORD cUnusedBits;
} CRYPT_BIT_BLOB, *PCRYPT_BIT_BLOB;

typedef struct _CRYPT_ALGORITHM_IDENTIFIER {
  LPSTR pszObjId;
  CRYPT_OBJID_BLOB Parameters;  // the parameters' whole DER element; cbData 0 when absent
} CRYPT_ALGORITHM_IDENTIFIER, *PCRYPT_ALGORITHM_IDENTIFIER;

typedef struct _CERT_PUBLIC_KEY_INFO {
  CRYPT_ALGORITHM_IDENTIFIER Algorithm;
  CRYPT_BIT_BLOB PublicKey;
} CERT_PUBLIC_KEY_INFO, *PCERT_PUBLIC_KEY_INFO;

typedef struct _CERT_EXTENSION {
  LPSTR pszObjId;
  BOOL fCritical;
  CRYPT_OBJID_BLOB Value;  // the contents of the extension's OCTET STRING
} CERT_EXTENSION, *PCERT_EXTENSION;
typedef const CERT_EXTENSION* PCCERT_EXTENSION;

// The to-be-signed part of a certificate, decoded.
typedef struct _CERT_INFO {
  DWORD dwVersion;
  CRYPT_INTEGER_BLOB SerialNumber;  // least significant byte first
  CRYPT_ALGORITHM_IDENTIFIER SignatureAlgorithm;
  CERT_NAME_BLOB Issuer;  // the DER Name
  FILETIME NotBefore;
  FILETIME NotAfter;
  CERT_NAME_BLOB Subject;
  CERT_PUBLIC_KEY_INFO SubjectPublicKeyInfo;
  CRYPT_BIT_BLOB IssuerUniqueId;
  CRYPT_BIT_BLOB SubjectUniqueId;
  DWORD cExtension;
  PCERT_EXTENSION rgExtension;
} CERT_INFO, *PCERT_INFO;

// A certificate: its encoding and its decoded CERT_INFO, owned by the context.
typedef struct _CERT_CONTEXT {
  DWORD dwCertEncodingType;
  BYTE* pbCertEncoded;
  DWORD cbCertEncoded;
  PCERT_INFO pCertInfo;
  HCERTSTORE hCertStore;  // null: the context belongs to no store
} CERT_CONTEXT, *PCERT_CONTEXT;
typedef const CERT_CONTEXT* PCCERT_CONTEXT;

// ---- chains ---------------------------------------------------------------------------------

// CERT_TRUST_STATUS::dwErrorStatus.
#define CERT_TRUST_NO_ERROR 0x00000000
#define CERT_TRUST_IS_NOT_TIME_VALID 0x00000001
#define CERT_TRUST_IS_NOT_TIME_NESTED 0x00000002
#define CERT_TRUST_IS_REVOKED 0x00000004
#define CERT_TRUST_IS_NOT_SIGNATURE_VALID 0x00000008
#define CERT_TRUST_IS_NOT_VALID_FOR_USAGE 0x00000010
#define CERT_TRUST_IS_UNTRUSTED_ROOT 0x00000020
#define CERT_TRUST_REVOCATION_STATUS_UNKNOWN 0x00000040
#define CERT_TRUST_IS_CYCLIC 0x00000080
#define CERT_TRUST_INVALID_EXTENSION 0x00000100
#define CERT_TRUST_INVALID_POLICY_CONSTRAINTS 0x00000200
#define CERT_TRUST_INVALID_BASIC_CONSTRAINTS 0x00000400
#define CERT_TRUST_INVALID_NAME_CONSTRAINTS 0x00000800
#define CERT_TRUST_HAS_NOT_SUPPORTED_NAME_CONSTRAINT 0x00001000
#define CERT_TRUST_HAS_NOT_DEFINED_NAME_CONSTRAINT 0x00002000
#define CERT_TRUST_HAS_NOT_PERMITTED_NAME_CONSTRAINT 0x00004000
#define CERT_TRUST_HAS_EXCLUDED_NAME_CONSTRAINT 0x00008000
#define CERT_TRUST_IS_PARTIAL_CHAIN 0x00010000
#define CERT_TRUST_CTL_IS_NOT_TIME_VALID 0x00020000
#define CERT_TRUST_CTL_IS_NOT_SIGNATURE_VALID 0x00040000
#define CERT_TRUST_CTL_IS_NOT_VALID_FOR_USAGE 0x00080000
#define CERT_TRUST_HAS_WEAK_SIGNATURE 0x00100000
#define CERT_TRUST_IS_OFFLINE_REVOCATION 0x01000000
#define CERT_TRUST_NO_ISSUANCE_CHAIN_POLICY 0x02000000
#define CERT_TRUST_IS_EXPLICIT_DISTRUST 0x04000000
#define CERT_TRUST_HAS_NOT_SUPPORTED_CRITICAL_EXT 0x08000000

// CERT_TRUST_STATUS::dwInfoStatus.
#define CERT_TRUST_HAS_EXACT_MATCH_ISSUER 0x00000001
#define CERT_TRUST_HAS_KEY_MATCH_ISSUER 0x00000002
#define CERT_TRUST_HAS_NAME_MATCH_ISSUER 0x00000004
#define CERT_TRUST_IS_SELF_SIGNED 0x00000008
#define CERT_TRUST_HAS_PREFERRED_ISSUER 0x00000100
#define CERT_TRUST_IS_COMPLEX_CHAIN 0x00010000

// CertGetCertificateChain flags.
#define CERT_CHAIN_CACHE_END_CERT 0x00000001
#define CERT_CHAIN_REVOCATION_ACCUMULATIVE_TIMEOUT 0x08000000
#define CERT_CHAIN_REVOCATION_CHECK_END_CERT 0x10000000
#define CERT_CHAIN_REVOCATION_CHECK_CHAIN 0x20000000
#define CERT_CHAIN_REVOCATION_CHECK_CHAIN_EXCLUDE_ROOT 0x40000000
#define CERT_CHAIN_REVOCATION_CHECK_CACHE_ONLY 0x80000000

// CERT_USAGE_MATCH::dwType.
#define USAGE_MATCH_TYPE_AND 0x00000000
#define USAGE_MATCH_TYPE_OR 0x00000001

typedef struct _CERT_TRUST_STATUS {
  DWORD dwErrorStatus;
  DWORD dwInfoStatus;
} CERT_TRUST_STATUS, *PCERT_TRUST_STATUS;

typedef struct _CTL_USAGE {
  DWORD cUsageIdentifier;
  LPSTR* rgpszUsageIdentifier;
} CTL_USAGE, *PCTL_USAGE, CERT_ENHKEY_USAGE, *PCERT_ENHKEY_USAGE;

typedef struct _CERT_USAGE_MATCH {
  DWORD dwType;
  CERT_ENHKEY_USAGE Usage;
} CERT_USAGE_MATCH, *PCERT_USAGE_MATCH;

// The parameters of a chain build. Fields after RequestedUsage are read only when cbSize
// covers them.
typedef struct _CERT_CHAIN_PARA {
  DWORD cbSize;
  CERT_USAGE_MATCH RequestedUsage;
  CERT_USAGE_MATCH RequestedIssuancePolicy;
  DWORD dwUrlRetrievalTimeout;  // milliseconds; 0: the default of 15 seconds
  BOOL fCheckRevocationFreshnessTime;
  DWORD dwRevocationFreshnessTime;
  LPFILETIME pftCacheResync;
  void* pStrongSignPara;
  DWORD dwStrongSignFlags;
} CERT_CHAIN_PARA, *PCERT_CHAIN_PARA;

typedef struct _CERT_REVOCATION_CRL_INFO CERT_REVOCATION_CRL_INFO, *PCERT_REVOCATION_CRL_INFO;

typedef struct _CERT_REVOCATION_INFO {
  DWORD cbSize;
  // 0 (not revoked), CRYPT_E_REVOKED, CRYPT_E_NO_REVOCATION_CHECK or CRYPT_E_REVOCATION_OFFLINE.
  DWORD dwRevocationResult;
  LPCSTR pszRevocationOid;
  LPVOID pvOidSpecificInfo;
  BOOL fHasFreshnessTime;
  DWORD dwFreshnessTime;
  PCERT_REVOCATION_CRL_INFO pCrlInfo;
} CERT_REVOCATION_INFO, *PCERT_REVOCATION_INFO;

typedef struct _CERT_CHAIN_ELEMENT {
  DWORD cbSize;
  PCCERT_CONTEXT pCertContext;
  CERT_TRUST_STATUS TrustStatus;
  PCERT_REVOCATION_INFO pRevocationInfo;  // null when revocation was not checked
  PCERT_ENHKEY_USAGE pIssuanceUsage;
  PCERT_ENHKEY_USAGE pApplicationUsage;
  LPCWSTR pwszExtendedErrorInfo;
} CERT_CHAIN_ELEMENT, *PCERT_CHAIN_ELEMENT;
typedef const CERT_CHAIN_ELEMENT* PCCERT_CHAIN_ELEMENT;

typedef struct _CERT_TRUST_LIST_INFO CERT_TRUST_LIST_INFO, *PCERT_TRUST_LIST_INFO;

// One chain: the end certificate first, its issuers after it.
typedef struct _CERT_SIMPLE_CHAIN {
  DWORD cbSize;
  CERT_TRUST_STATUS TrustStatus;
  DWORD cElement;
  PCERT_CHAIN_ELEMENT* rgpElement;
  PCERT_TRUST_LIST_INFO pTrustListInfo;
  BOOL fHasRevocationFreshnessTime;
  DWORD dwRevocationFreshnessTime;
} CERT_SIMPLE_CHAIN, *PCERT_SIMPLE_CHAIN;
typedef const CERT_SIMPLE_CHAIN* PCCERT_SIMPLE_CHAIN;

typedef struct _CERT_CHAIN_CONTEXT CERT_CHAIN_CONTEXT, *PCERT_CHAIN_CONTEXT;
typedef const CERT_CHAIN_CONTEXT* PCCERT_CHAIN_CONTEXT;

struct _CERT_CHAIN_CONTEXT {
  DWORD cbSize;
  CERT_TRUST_STATUS TrustStatus;
  DWORD cChain;
  PCERT_SIMPLE_CHAIN* rgpChain;
  DWORD cLowerQualityChainContext;
  PCCERT_CHAIN_CONTEXT* rgpLowerQualityChainContext;
  BOOL fHasRevocationFreshnessTime;
  DWORD dwRevocationFreshnessTime;
  DWORD dwCreateFlags;
  GUID ChainId;
};

extern "C" {

// A new context for the DER certificate pbCertEncoded (a copy is kept; the caller's bytes may
// go). dwCertEncodingType must include X509_ASN_ENCODING (0x10001 does). The bytes must be
// exactly one certificate in DER: anything after it, or any tag, length or value error, fails
// with CRYPT_E_ASN1_BADTAG (not a SEQUENCE) or CRYPT_E_ASN1_CORRUPT; null or no bytes:
// CRYPT_E_ASN1_EOD; another encoding type: E_INVALIDARG. Released by CertFreeCertificateContext.
// The forms that issued certificates carry beside DER are read as the codec reads them
// (sources/codec/crypto.der.h: BOOLEAN true as any non-zero octet, times without seconds or with
// a difference from UTC, which is applied). A validity time before 1601, which a FILETIME cannot
// hold, is kept as its tick count read as a signed 64-bit number (negative): no FILETIME
// conversion accepts it, and CertVerifyTimeValidity orders it before every other time.
PCCERT_CONTEXT WINAPI CertCreateCertificateContext(DWORD dwCertEncodingType, const BYTE* pbCertEncoded,
                                                   DWORD cbCertEncoded);

// The same context with one more reference (null for null); each reference is released by
// CertFreeCertificateContext.
PCCERT_CONTEXT WINAPI CertDuplicateCertificateContext(PCCERT_CONTEXT pCertContext);

// Drops one reference; the last one frees the context. Null is accepted. Always TRUE.
BOOL WINAPI CertFreeCertificateContext(PCCERT_CONTEXT pCertContext);

// A property of the context: CERT_SHA1_HASH_PROP_ID (20 bytes) or CERT_MD5_HASH_PROP_ID (16
// bytes), the hash of the whole encoding. A null pvData stores the size in *pcbData; a buffer
// too small fails with ERROR_MORE_DATA and the size in *pcbData; another property:
// CRYPT_E_NOT_FOUND; a null context or pcbData: E_INVALIDARG.
BOOL WINAPI CertGetCertificateContextProperty(PCCERT_CONTEXT pCertContext, DWORD dwPropId, void* pvData,
                                              DWORD* pcbData);

// The first extension of rgExtensions whose OID equals pszObjId, or null (CRYPT_E_NOT_FOUND).
PCERT_EXTENSION WINAPI CertFindExtension(LPCSTR pszObjId, DWORD cExtensions, CERT_EXTENSION rgExtensions[]);

// -1 when the time (null: now) is before NotBefore, 1 when it is after NotAfter, else 0. The
// times are compared as signed 64-bit tick counts (a validity time before 1601 is negative).
LONG WINAPI CertVerifyTimeValidity(LPFILETIME pTimeToVerify, PCERT_INFO pCertInfo);

// Whether the signed object pbEncoded (a certificate, or a CRL: any SEQUENCE { toBeSigned,
// AlgorithmIdentifier, BIT STRING }) carries a valid signature of pPublicKey. Signature
// algorithms: RSA PKCS #1 v1.5 with MD5, SHA-1, SHA-224, SHA-256, SHA-384 or SHA-512; RSA-PSS
// (its hash, MGF1 hash, salt length and trailer field from the parameters); ECDSA with SHA-1,
// SHA-224, SHA-256, SHA-384 or SHA-512. hCryptProv is not used (0). A signature that does not
// verify: NTE_BAD_SIGNATURE; an algorithm outside the list, or one that does not suit the key:
// NTE_BAD_ALGID; an object or key that does not decode: CRYPT_E_ASN1_CORRUPT; an encoding type
// without X509_ASN_ENCODING or a null pointer: E_INVALIDARG.
BOOL WINAPI CryptVerifyCertificateSignature(HCRYPTPROV_LEGACY hCryptProv, DWORD dwCertEncodingType,
                                            const BYTE* pbEncoded, DWORD cbEncoded, PCERT_PUBLIC_KEY_INFO pPublicKey);

// Builds the chain of pCertContext to a root and reports its trust status.
//
// Issuers are looked for, by the DER of their subject name, among the trusted roots (the system
// trust store: the certificates of OpenSSL's default locations, loaded once), and the CA
// certificates that platform/testing.h can add; hChainEngine must be null (the default engine)
// and hAdditionalStore null (no stores here). The chain ends at a self-issued certificate (a
// root, trusted when it is in the trust store), or where no issuer is found
// (CERT_TRUST_IS_PARTIAL_CHAIN). Each element is checked at *pTime (null: now): validity period
// (CERT_TRUST_IS_NOT_TIME_VALID), signature under its issuer's key
// (CERT_TRUST_IS_NOT_SIGNATURE_VALID), basic constraints of the issuers and their path lengths
// (CERT_TRUST_INVALID_BASIC_CONSTRAINTS), critical extensions this engine does not know
// (CERT_TRUST_HAS_NOT_SUPPORTED_CRITICAL_EXT); the root's trust (CERT_TRUST_IS_UNTRUSTED_ROOT).
//
// Revocation is checked with CRLs when dwFlags asks for it: the end certificate
// (..._CHECK_END_CERT), every element (..._CHECK_CHAIN) or every element but a self-signed root
// (..._CHECK_CHAIN_EXCLUDE_ROOT). A CRL counts when its issuer name is the element's issuer's
// subject, its signature verifies under the issuer's key and the check time lies between its
// thisUpdate and nextUpdate. CRLs are taken first from those platform/testing.h supplies, then
// fetched from the element's CRL distribution points (http URLs only; not with
// ..._CHECK_CACHE_ONLY) within pChainPara->dwUrlRetrievalTimeout milliseconds each, or in all
// with CERT_CHAIN_REVOCATION_ACCUMULATIVE_TIMEOUT. Listed: CERT_TRUST_IS_REVOKED. No CRL that
// counts: CERT_TRUST_REVOCATION_STATUS_UNKNOWN, and with it CERT_TRUST_IS_OFFLINE_REVOCATION
// when the element names distribution points that could not be fetched or held no current CRL;
// an element without distribution points is only "unknown". Revocation that cannot be checked is
// never reported as good. The element's pRevocationInfo gives the outcome as an error code.
//
// The chain's error status is the OR of its elements' and its own (partial chain, cycle); the
// info status of the chain holds the bits every element has. CERT_CHAIN_CACHE_END_CERT is
// accepted (nothing is cached). Released by CertFreeCertificateChain. Fails with E_INVALIDARG
// for a null context, parameters or output, a non-null engine or store, a cbSize that does not
// cover RequestedUsage, or a RequestedUsage that names usages (usages are not checked here).
BOOL WINAPI CertGetCertificateChain(HCERTCHAINENGINE hChainEngine, PCCERT_CONTEXT pCertContext, LPFILETIME pTime,
                                    HCERTSTORE hAdditionalStore, PCERT_CHAIN_PARA pChainPara, DWORD dwFlags,
                                    LPVOID pvReserved, PCCERT_CHAIN_CONTEXT* ppChainContext);

// Frees a chain and the references it holds on its certificates. Null is accepted.
void WINAPI CertFreeCertificateChain(PCCERT_CHAIN_CONTEXT pChainContext);

}  // extern "C"

// ---- stores ---------------------------------------------------------------------------------

typedef void* HCRYPTMSG;
typedef ULONG_PTR HCRYPTPROV_OR_NCRYPT_KEY_HANDLE;

// CertOpenStore providers and CertCloseStore flags.
#define CERT_STORE_PROV_MEMORY ((LPCSTR)2)
#define CERT_CLOSE_STORE_FORCE_FLAG 0x00000001
#define CERT_CLOSE_STORE_CHECK_FLAG 0x00000002

// CertAddCertificateContextToStore dispositions.
#define CERT_STORE_ADD_NEW 1
#define CERT_STORE_ADD_USE_EXISTING 2
#define CERT_STORE_ADD_REPLACE_EXISTING 3
#define CERT_STORE_ADD_ALWAYS 4

// CertSaveStore.
#define CERT_STORE_SAVE_AS_STORE 1
#define CERT_STORE_SAVE_AS_PKCS7 2
#define CERT_STORE_SAVE_TO_FILE 1
#define CERT_STORE_SAVE_TO_MEMORY 2

// CryptQueryObject: the object's kind, and the contents and formats expected and found.
#define CERT_QUERY_OBJECT_FILE 0x00000001
#define CERT_QUERY_OBJECT_BLOB 0x00000002
#define CERT_QUERY_CONTENT_CERT 1
#define CERT_QUERY_CONTENT_PKCS7_SIGNED 8
#define CERT_QUERY_CONTENT_PKCS7_UNSIGNED 9
#define CERT_QUERY_CONTENT_PFX 12
#define CERT_QUERY_CONTENT_FLAG_CERT (1 << CERT_QUERY_CONTENT_CERT)
#define CERT_QUERY_CONTENT_FLAG_PKCS7_SIGNED (1 << CERT_QUERY_CONTENT_PKCS7_SIGNED)
#define CERT_QUERY_CONTENT_FLAG_PKCS7_UNSIGNED (1 << CERT_QUERY_CONTENT_PKCS7_UNSIGNED)
#define CERT_QUERY_CONTENT_FLAG_PFX (1 << CERT_QUERY_CONTENT_PFX)
#define CERT_QUERY_FORMAT_BINARY 1
#define CERT_QUERY_FORMAT_BASE64_ENCODED 2
#define CERT_QUERY_FORMAT_FLAG_BINARY (1 << CERT_QUERY_FORMAT_BINARY)
#define CERT_QUERY_FORMAT_FLAG_BASE64_ENCODED (1 << CERT_QUERY_FORMAT_BASE64_ENCODED)

// The context property that pairs a certificate with its private key.
#define CERT_NCRYPT_KEY_HANDLE_PROP_ID 78
#define CERT_STORE_NO_CRYPT_RELEASE_FLAG 0x00000001
#define CERT_NCRYPT_KEY_SPEC 0xFFFFFFFF

// CryptAcquireCertificatePrivateKey flags.
#define CRYPT_ACQUIRE_CACHE_FLAG 0x00000001
#define CRYPT_ACQUIRE_SILENT_FLAG 0x00000040
#define CRYPT_ACQUIRE_ALLOW_NCRYPT_KEY_FLAG 0x00010000
#define CRYPT_ACQUIRE_PREFER_NCRYPT_KEY_FLAG 0x00020000
#define CRYPT_ACQUIRE_ONLY_NCRYPT_KEY_FLAG 0x00040000

// PFXImportCertStore flags (CRYPT_EXPORTABLE is in platform/wincrypt.h).
#define CRYPT_USER_KEYSET 0x00001000
#define PKCS12_ALWAYS_CNG_KSP 0x00000200
#define PKCS12_NO_PERSIST_KEY 0x00008000

// PFXExportCertStoreEx flags, and the parameters of PKCS12_EXPORT_PBES2_PARAMS.
#define REPORT_NO_PRIVATE_KEY 0x00000001
#define REPORT_NOT_ABLE_TO_EXPORT_PRIVATE_KEY 0x00000002
#define EXPORT_PRIVATE_KEYS 0x00000004
#define PKCS12_EXPORT_PBES2_PARAMS 0x00000080
#define PKCS12_PBES2_ALG_AES256_SHA256 L"AES256-SHA256"

typedef struct _PKCS12_PBES2_EXPORT_PARAMS {
  DWORD dwSize;
  PVOID hNcryptDescriptor;  // must be null here
  LPWSTR pwszPbes2Alg;      // PKCS12_PBES2_ALG_AES256_SHA256
} PKCS12_PBES2_EXPORT_PARAMS, *PPKCS12_PBES2_EXPORT_PARAMS;

extern "C" {

// Opens a store. Only the memory store (CERT_STORE_PROV_MEMORY, pvPara null) is offered here:
// an empty store that lives until it is closed and its last context is freed; another provider
// fails with ERROR_CALL_NOT_IMPLEMENTED. The encoding type and flags are not used.
//
// A store keeps its certificates newest first: each added certificate goes to the head of its
// list, so CertEnumCertificatesInStore gives them in the reverse of the order in which they were
// added, and a store read from a PKCS #7 bundle (CryptQueryObject) gives the bundle's
// certificates last stored first. (This is how the platform's stores keep their list: the
// behaviour its own support material describes, which its PKCS #12 readers elsewhere reproduce.)
HCERTSTORE WINAPI CertOpenStore(LPCSTR lpszStoreProvider, DWORD dwEncodingType, HCRYPTPROV_LEGACY hCryptProv,
                                DWORD dwFlags, const void* pvPara);

// Closes a store handle and drops the store's references on its contexts; contexts the caller
// still holds stay valid. With CERT_CLOSE_STORE_CHECK_FLAG it returns FALSE with
// CRYPT_E_PENDING_CLOSE when such contexts remain (the store is closed all the same). Null: TRUE.
// Another value: FALSE with E_INVALIDARG.
BOOL WINAPI CertCloseStore(HCERTSTORE hCertStore, DWORD dwFlags);

// The store's first context (pPrevCertContext null) or the one after pPrevCertContext, which is
// freed; null with CRYPT_E_NOT_FOUND at the end (also when pPrevCertContext was deleted from the
// store meanwhile). The context returned is a new reference. pPrevCertContext of another store:
// E_INVALIDARG (and it is freed).
PCCERT_CONTEXT WINAPI CertEnumCertificatesInStore(HCERTSTORE hCertStore, PCCERT_CONTEXT pPrevCertContext);

// Adds a new context of the same certificate to the head of the store (CERT_STORE_ADD_ALWAYS;
// CERT_STORE_ADD_NEW fails with CRYPT_E_EXISTS when a context of the same certificate, by its
// SHA-1 hash, is there already; other dispositions: E_INVALIDARG). The context's properties are
// not copied: the key of a context stays with it. *ppStoreContext, when given, gets a new
// reference to the store's context.
BOOL WINAPI CertAddCertificateContextToStore(HCERTSTORE hCertStore, PCCERT_CONTEXT pCertContext,
                                             DWORD dwAddDisposition, PCCERT_CONTEXT* ppStoreContext);

// Removes a context from its store and frees that reference (always, even on failure). A context
// that belongs to no store: FALSE with E_INVALIDARG; a context of a store closed meanwhile, or
// deleted already: TRUE.
BOOL WINAPI CertDeleteCertificateFromStore(PCCERT_CONTEXT pCertContext);

// Writes the store's certificates, in enumeration order, as a PKCS #7 bundle in DER
// (CERT_STORE_SAVE_AS_PKCS7; dwEncodingType must include PKCS_7_ASN_ENCODING) to memory
// (CERT_STORE_SAVE_TO_MEMORY, pvSaveToPara a CRYPT_DATA_BLOB*): a SignedData of version 1 with
// no digest algorithms, empty data content, the certificates and no signers. A null pbData
// stores the size in cbData; a smaller cbData gives ERROR_MORE_DATA with the size. Other forms:
// E_INVALIDARG.
BOOL WINAPI CertSaveStore(HCERTSTORE hCertStore, DWORD dwEncodingType, DWORD dwSaveAs, DWORD dwSaveTo,
                          void* pvSaveToPara, DWORD dwFlags);

// Recognises the object in memory (CERT_QUERY_OBJECT_BLOB, pvObject a CERT_BLOB*). Offered: a
// PKCS #7 bundle without signers (CERT_QUERY_CONTENT_FLAG_PKCS7_UNSIGNED) in binary form
// (CERT_QUERY_FORMAT_FLAG_BINARY; DER, or BER with indefinite lengths, as the platform reads it),
// nothing after it: a ContentInfo of signedData whose SignedData has no signer infos; its
// certificates (each one DER certificate) go into a new memory store returned in *phCertStore, in
// the order they are stored (so they enumerate last first); CRLs are skipped. Anything else, a single certificate among them, fails with CRYPT_E_NO_MATCH;
// phMsg and ppvContext must be null (messages are not offered). The outputs that are given get
// the encoding type (X509_ASN_ENCODING | PKCS_7_ASN_ENCODING), CERT_QUERY_CONTENT_PKCS7_UNSIGNED
// and CERT_QUERY_FORMAT_BINARY.
BOOL WINAPI CryptQueryObject(DWORD dwObjectType, const void* pvObject, DWORD dwExpectedContentTypeFlags,
                             DWORD dwExpectedFormatTypeFlags, DWORD dwFlags, DWORD* pdwMsgAndCertEncodingType,
                             DWORD* pdwContentType, DWORD* pdwFormatType, HCERTSTORE* phCertStore, HCRYPTMSG* phMsg,
                             const void** ppvContext);

// Sets a property of a context. Offered: CERT_NCRYPT_KEY_HANDLE_PROP_ID (pvData points to an
// NCRYPT_KEY_HANDLE), which pairs the context with that private key: the context then owns the
// handle and frees it with NCryptFreeObject when it goes or is paired again, unless dwFlags has
// CERT_STORE_NO_CRYPT_RELEASE_FLAG. A null pvData removes the pairing. Another property or a null
// context: E_INVALIDARG; a handle that is not a finalized NCrypt key: NTE_INVALID_HANDLE.
BOOL WINAPI CertSetCertificateContextProperty(PCCERT_CONTEXT pCertContext, DWORD dwPropId, DWORD dwFlags,
                                              const void* pvData);

// The private key paired with the context: an NCrypt key (the flags must allow one:
// CRYPT_ACQUIRE_ALLOW_, _PREFER_ or _ONLY_NCRYPT_KEY_FLAG, else NTE_BAD_FLAGS), with
// *pdwKeySpec CERT_NCRYPT_KEY_SPEC and *pfCallerFreeProvOrNCryptKey FALSE: the context keeps
// it. No key: CRYPT_E_NO_KEY_PROPERTY. pvParameters must be null.
BOOL WINAPI CryptAcquireCertificatePrivateKey(PCCERT_CONTEXT pCert, DWORD dwFlags, void* pvParameters,
                                              HCRYPTPROV_OR_NCRYPT_KEY_HANDLE* phCryptProvOrNCryptKey,
                                              DWORD* pdwKeySpec, BOOL* pfCallerFreeProvOrNCryptKey);

// Whether the bytes decode as a PFX (PKCS #12 version 3; BER, trailing bytes ignored).
BOOL WINAPI PFXIsPFXBlob(CRYPT_DATA_BLOB* pPFX);

// Reads a PFX into a new memory store: every certificate of its safes, in file order (so they
// enumerate last first), and every private key paired with the certificate whose public key it
// matches, by key and not by local key identifier (a key matching several certificates is
// paired with each). The keys are ephemeral NCrypt keys whatever the flags (this platform keeps
// no keys on disk, as with PKCS12_NO_PERSIST_KEY), exportable in plain text only with
// CRYPT_EXPORTABLE.
//
// The password (null for none) is tried as UTF-8 (the PKCS #12 BMPString for the MAC and the
// PKCS #12 key derivation); an empty one is tried as empty and then as none. The MAC, when there
// is one, must verify; encrypted safes and shrouded keys must decrypt. Readable: what OpenSSL's
// PKCS #12 support reads in the seam's library context, where the legacy provider serves RC2,
// 3DES and the PKCS #12 key derivation. Failures: a wrong password ERROR_INVALID_PASSWORD; bytes
// that are not a PFX CRYPT_E_ASN1_BADTAG; a safe or bag that does not decode CRYPT_E_ASN1_CORRUPT,
// enveloped safes NTE_NOT_SUPPORTED; a key derivation (MAC, safe or key) of more than a million
// iterations NTE_BAD_DATA (a file crafted to hold the import); a private key that matches none of
// the certificates
// CRYPT_E_NOT_FOUND (the system would leave it in no context; here the import fails instead, so
// that no key is lost unseen). Flags other than those named above: NTE_BAD_FLAGS.
HCERTSTORE WINAPI PFXImportCertStore(CRYPT_DATA_BLOB* pPFX, LPCWSTR szPassword, DWORD dwFlags);

// Writes the store's certificates, in enumeration order, to a PFX under szPassword (null: empty)
// with, given EXPORT_PRIVATE_KEYS, the key paired with each (a shrouded key bag; key and
// certificate carry the certificate's SHA-1 hash as local key identifier). A key that may not be
// exported in plain text fails with NTE_NOT_SUPPORTED given REPORT_NOT_ABLE_TO_EXPORT_PRIVATE_KEY
// and is left out without it; a certificate without key fails with CRYPT_E_NO_KEY_PROPERTY given
// REPORT_NO_PRIVATE_KEY. Protection: with PKCS12_EXPORT_PBES2_PARAMS and pvPara a
// PKCS12_PBES2_EXPORT_PARAMS naming PKCS12_PBES2_ALG_AES256_SHA256, keys and certificates under
// AES-256-CBC with PBKDF2-HMAC-SHA256 and a SHA-256 MAC; without it pbeWithSHAAnd3-KeyTripleDES-CBC
// and a SHA-1 MAC; 2048 iterations each. Two calls for one store give the same size (the salts
// and IVs differ). A null pbData stores the size in cbData; a smaller cbData gives
// ERROR_MORE_DATA with the size.
BOOL WINAPI PFXExportCertStoreEx(HCERTSTORE hStore, CRYPT_DATA_BLOB* pPFX, LPCWSTR szPassword, void* pvPara,
                                 DWORD dwFlags);

}  // extern "C"

#endif  // _WIN32
