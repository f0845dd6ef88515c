// Certificates: the common interface, X.509 certificates and card-verifiable (CVC) certificates.
//
// ICertificate::Create turns encoded bytes into a certificate of the named format. An X.509
// certificate decodes everything it reports while it is constructed (serial number, dates,
// signature, thumbprint, extensions, key usage, public key) and afterwards answers read-only
// queries; its issuer and subject names are made when first asked for. A CVC certificate is a
// placeholder: it reports its format and raises CRYPTO_NOT_IMPLEMENTED ("Method not
// implemented") for everything that would need its content.
//
// Objects returned by a getter (the public key, the signature, the names) stay owned by the
// certificate; certificates from Create and Clone, and the general names of
// GetSubjectAlternativeNames, belong to the caller. Not safe for concurrent use.
#pragma once

#include <cstdint>
#include <list>
#include <vector>

#include "zt/export.h"
#include "zt/generalname.h"
#include "zt/key.h"
#include "zt/parameters.h"
#include "zt/secure.h"
#include "zt/signature.h"
#include "zt/x500name.h"

namespace ZT::Framework {

// The format words of ICertificate::Create and GetFormat.
inline constexpr const wchar_t* CERT_FORMAT_X509 = L"X509";
inline constexpr const wchar_t* CERT_FORMAT_CVC = L"CVC";

class ZT_CRYPTO_API ICertificate {
 public:
  virtual ~ICertificate();

  // A new certificate equal to this one, owned by the caller.
  virtual ICertificate* Clone() const = 0;
  // The bytes the certificate was made from.
  virtual ByteArray GetEncoded() const = 0;
  // CERT_FORMAT_X509 or CERT_FORMAT_CVC.
  virtual WString GetFormat() const = 0;
  // The subject's public key (an RSA key), owned by the certificate.
  virtual IPublicKey* GetPublicKey() const = 0;
  // Whether the certificate's signature verifies under `pPublicKey` (its issuer's key; any key
  // whose GetEncoded is a SubjectPublicKeyInfo). Signature algorithms: RSA PKCS #1 v1.5 with
  // MD5, SHA-1, SHA-2; RSA-PSS; ECDSA. A null key throws CRYPTO_BAD_PARAM ("pPublicKey=empty!").
  virtual bool VerifySignature(IPublicKey* pPublicKey) const = 0;
  // The trust status of the certificate's chain now: 0 when it has no error, else the OR of the
  // platform's CERT_TRUST_* error bits (0x1 not time valid, 0x4 revoked, 0x8 signature not
  // valid, 0x20 untrusted root, 0x40 revocation status unknown, 0x10000 partial chain,
  // 0x1000000 revocation offline, ...). Revocation is checked for every certificate of the chain
  // but its root; CRLs are retrieved within the time-out of `pParameter` ("CryptoParameterTimeout",
  // milliseconds; 2000 when the map is null, not the library's own, or has no readable value).
  // A chain that cannot be built at all throws CRYPTO_INTERNAL_ERROR.
  virtual std::uint32_t VerifyTrust(ICryptoParserParameterMap* pParameter) const = 0;
  // The signature algorithm and value of the certificate, owned by the certificate.
  virtual ISignature* GetSignature() const = 0;
  // Whether `pCertificate` is the same X.509 certificate (equal SHA-1 thumbprints). False for a
  // null pointer or a certificate of another format.
  virtual bool Compare(ICertificate* pCertificate) const = 0;

  // A new certificate of format `sType` (exactly CERT_FORMAT_X509 or CERT_FORMAT_CVC) from
  // `baEncoded`, owned by the caller. X.509: `baEncoded` must be one DER certificate with an
  // RSA public key; a CVC certificate is made empty whatever the bytes. Another format throws
  // CRYPTO_BAD_PARAM ("Unknown format"); a certificate that cannot be made throws "new
  // ICertificate() failed" with the id of the reason, which is its inner exception
  // (CRYPTO_BAD_PARAM "baEncoded=empty!" or "Error decoding the blob (0x...)" for bytes that are
  // not a certificate, "new IPublicKey failed" for a key that is not RSA).
  static ICertificate* Create(const WString& sType, const ByteArray& baEncoded);

 protected:
  ICertificate() = default;
  ICertificate(const ICertificate&) = default;
  ICertificate& operator=(const ICertificate&) = default;
};

// The general names of an alternative-name extension, each owned by the caller.
using GeneralNameList = std::list<IGeneralName*>;

class ZT_CRYPTO_API IX509Certificate : public ICertificate {
 public:
  ~IX509Certificate() override;

  // The DER of the to-be-signed part (TBSCertificate).
  virtual ByteArray GetTBSCertificate() const = 0;
  // The version field as encoded: 0 for version 1, 1 for version 2, 2 for version 3.
  virtual std::int32_t GetVersion() const = 0;
  // The serial number's bytes as they stand in the DER INTEGER (big-endian, a leading 00 kept).
  virtual ByteArray GetSerialNumber() const = 0;
  // The SHA-1 thumbprint of the whole encoding (20 bytes).
  virtual ByteArray GetHash() const = 0;
  // The issuer's name, owned by the certificate; null when the name is empty. Made on first
  // use: a name that does not decode throws "new ICertificate() failed".
  virtual IX500Name* GetIssuerDN() const = 0;
  // The end and start of the validity period, "YYYY-MM-DD hh:mm:ss" (UTC), or "Invalid Date".
  virtual WString GetNotAfter() const = 0;
  virtual WString GetNotBefore() const = 0;
  // The subject's name, as GetIssuerDN.
  virtual IX500Name* GetSubjectDN() const = 0;
  // The unique identifiers' bytes; empty when absent.
  virtual ByteArray GetIssuerUniqueID() const = 0;
  virtual ByteArray GetSubjectUniqueID() const = 0;
  // Appends to `out` the OIDs of the extensions, in ascending order of their text, that
  // `pExtFilter` lets through. Only the library's own filter is read, and of it two keys: the flag
  // "CryptoFilterCritical" (SetCritical), which keeps the extensions of that criticality, and
  // "CryptoFilterOID", which keeps the extensions whose OID is in its list (SetOID; an empty list
  // keeps none) or, when it holds a single wide string, the extension of that OID. A null filter
  // lists all.
  virtual void ListExtensions(ICryptoParserFilter* pExtFilter, StringList& out) const = 0;
  // The value of extension `sOID` (the contents of its OCTET STRING); empty when there is none.
  virtual ByteArray GetExtensionValue(const WString& sOID) const = 0;
  // The key-usage bit string's bytes (unused-bit count dropped); empty without the extension. A
  // key-usage value that does not decode throws "CryptoUtil::DecodeObject() failed".
  virtual ByteArray GetKeyUsage() const = 0;
  // The extended-key-usage purposes (dotted OIDs), in certificate order; empty without the
  // extension.
  virtual StringList GetExtendedKeyUsage() const = 0;
  // The subject alternative names (2.5.29.17, else the superseded 2.5.29.7), in certificate
  // order; empty without either. An X.400 address or EDI party name among them throws
  // CRYPTO_NOT_IMPLEMENTED and nothing is returned.
  virtual GeneralNameList GetSubjectAlternativeNames() const = 0;
  // Whether `sDate` lies within the validity period; the date is read in the user-default form
  // (see VarDateFromStr in platform/oleauto.h: ISO 8601 dates and date-times, M/D/YYYY
  // [h:mm[:ss]] [AM|PM]) and taken as UTC. Empty text: false. Text that is not a date throws
  // CRYPTO_INTERNAL_ERROR ("Cannot parse specified date (<sDate>)").
  virtual bool CheckValidity(const WString& sDate) const = 0;
  // Whether now lies within the validity period.
  virtual bool CheckValidity() const = 0;
  // The key-usage bits; false without the extension. IsDecipherOnly reads the second byte, so it
  // is false for a one-byte bit string.
  virtual bool IsDigitalSignature() const = 0;
  virtual bool IsNonRepudiation() const = 0;
  virtual bool IsKeyEncipherment() const = 0;
  virtual bool IsDataEncipherment() const = 0;
  virtual bool IsKeyAgreement() const = 0;
  virtual bool IsKeyCertSign() const = 0;
  virtual bool IsCRLSign() const = 0;
  virtual bool IsEncipherOnly() const = 0;
  virtual bool IsDecipherOnly() const = 0;
};

// A card-verifiable certificate. Every query but GetEncoded (empty) and GetFormat raises
// CRYPTO_NOT_IMPLEMENTED: the format is not read yet.
class ZT_CRYPTO_API ICVCCertificate : public ICertificate {
 public:
  ~ICVCCertificate() override;

  virtual std::int32_t GetProfileIdentifier() const = 0;
  virtual ByteArray GetIssuerIdentifier() const = 0;
  virtual ByteArray GetSubjectIdentifier() const = 0;
  virtual std::int32_t GetRoleIdentifier() const = 0;
  // The tags of the certificate's data objects.
  virtual void ListTags(std::vector<std::uint32_t>& out) const = 0;
  // The value of data object `nTag`.
  virtual ByteArray GetTag(std::uint32_t nTag) const = 0;
};

}  // namespace ZT::Framework
