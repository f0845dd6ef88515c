// Keys: the decoded forms of public-key infos, PKCS #8 private-key infos and the numbers of
// PKCS #1 RSA keys, the one reader and writer of AlgorithmIdentifier and SubjectPublicKeyInfo
// (which the platform's certificate services use too), and the structure types of keys (see
// crypto.asn1.h for their contract).
#pragma once

#include <string>
#include <string_view>

#include "codec/crypto.asn1.h"
#include "codec/crypto.der.h"
#include "codec/crypto.der.writer.h"

namespace ZT::Framework {

namespace Asn1 {

// AlgorithmIdentifier: the OID in dotted text and the parameters as their whole DER element
// (05 00 for NULL; empty when the field is absent).
struct AlgorithmIdentifier {
  std::string pszObjId;
  EncodedElement Parameters;
};

// SubjectPublicKeyInfo.
struct SubjectPublicKeyInfo {
  AlgorithmIdentifier Algorithm;
  BitStringBytes PublicKey;
};

// PKCS #8 PrivateKeyInfo (version 0): the private key is the DER of the algorithm's own key
// structure (an RSAPrivateKey for rsaEncryption).
struct PrivateKeyInfo {
  std::uint32_t Version = 0;
  AlgorithmIdentifier Algorithm;
  ByteArray PrivateKey;
  EncodedElement Attributes;  // the [0] element as read; empty when absent
};

// The numbers of a PKCS #1 RSAPublicKey, big-endian, without leading zero bytes.
struct RsaPublicKeyNumbers {
  ByteArray modulus;
  ByteArray publicExponent;
};

// The numbers of a PKCS #1 RSAPrivateKey (two primes), big-endian, without leading zero bytes.
struct RsaPrivateKeyNumbers {
  ByteArray modulus;
  ByteArray publicExponent;
  ByteArray privateExponent;
  ByteArray prime1;
  ByteArray prime2;
  ByteArray exponent1;    // d mod (p - 1)
  ByteArray exponent2;    // d mod (q - 1)
  ByteArray coefficient;  // q^-1 mod p
};

// An AlgorithmIdentifier as it stands in the bytes read: the OID in dotted text and a view of
// the parameters' whole element (empty when the field is absent).
struct AlgorithmIdentifierView {
  std::string oid;
  Der::Bytes parameters;
};

// A SubjectPublicKeyInfo as it stands in the bytes read.
struct SubjectPublicKeyInfoView {
  AlgorithmIdentifierView algorithm;
  Der::BitString publicKey;
};

}  // namespace Asn1

// The one reader of each structure; the owning forms above are copies of what they read, and
// the platform's certificate services read with them too.
namespace Asn1Read {

// AlgorithmIdentifier ::= SEQUENCE { algorithm OBJECT IDENTIFIER, parameters ANY OPTIONAL }
bool ReadAlgorithmIdentifier(Der::Reader& in, Asn1::AlgorithmIdentifierView* out);
bool ReadAlgorithmIdentifier(Der::Reader& in, Asn1::AlgorithmIdentifier* out);

// SubjectPublicKeyInfo ::= SEQUENCE { algorithm AlgorithmIdentifier, subjectPublicKey BIT STRING }
bool ReadSubjectPublicKeyInfo(Der::Reader& in, Asn1::SubjectPublicKeyInfoView* out);

}  // namespace Asn1Read

// The one writer of each structure, for the owning forms and the platform's alike. Failures
// (an OID text that is not one) fail the writer.
namespace Asn1Write {

void WriteAlgorithmIdentifier(Der::Writer& w, std::string_view oid, Der::Bytes parameters);
void WriteSubjectPublicKeyInfo(Der::Writer& w, std::string_view algorithm, Der::Bytes parameters,
                               const Der::BitString& publicKey);

}  // namespace Asn1Write

namespace Structure {

// SubjectPublicKeyInfo ::= SEQUENCE { algorithm AlgorithmIdentifier, subjectPublicKey BIT STRING }
struct X509PublicKeyInfo {
  using Decoded = Asn1::SubjectPublicKeyInfo;
  static constexpr const wchar_t* kName = L"X509_PUBLIC_KEY_INFO";
  static bool Decode(Der::Bytes der, Decoded* out);
  static bool Encode(const Decoded& in, ByteArray* der);
};

// PrivateKeyInfo ::= SEQUENCE { version INTEGER (0), privateKeyAlgorithm AlgorithmIdentifier,
//                               privateKey OCTET STRING, attributes [0] IMPLICIT SET OF OPTIONAL }
struct PkcsPrivateKeyInfo {
  using Decoded = Asn1::PrivateKeyInfo;
  static constexpr const wchar_t* kName = L"PKCS_PRIVATE_KEY_INFO";
  static bool Decode(Der::Bytes der, Decoded* out);
  static bool Encode(const Decoded& in, ByteArray* der);
};

// RSAPublicKey ::= SEQUENCE { modulus INTEGER, publicExponent INTEGER }, both positive. The
// platform decodes it straight into its key blobs (see the blob types of crypto.cng.util.keys.h);
// this is the form both are built from.
struct RsaPublicKey {
  using Decoded = Asn1::RsaPublicKeyNumbers;
  static constexpr const wchar_t* kName = L"RSA_PUBLIC_KEY";
  static bool Decode(Der::Bytes der, Decoded* out);
  static bool Encode(const Decoded& in, ByteArray* der);
};

// RSAPrivateKey ::= SEQUENCE { version INTEGER (0), modulus, publicExponent, privateExponent,
// prime1, prime2, exponent1, exponent2, coefficient INTEGER }, all positive. Multi-prime keys
// (version 1) are refused.
struct RsaPrivateKey {
  using Decoded = Asn1::RsaPrivateKeyNumbers;
  static constexpr const wchar_t* kName = L"PKCS_RSA_PRIVATE_KEY";
  static bool Decode(Der::Bytes der, Decoded* out);
  static bool Encode(const Decoded& in, ByteArray* der);
};

}  // namespace Structure

}  // namespace ZT::Framework
