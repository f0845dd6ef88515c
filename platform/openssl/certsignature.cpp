// CryptVerifyCertificateSignature: the signature of a certificate (or CRL) checked under an
// issuer's public key, with OpenSSL's verification on the private library context. The signed
// object and the signature algorithm are read with the library's DER reader; OpenSSL sees the
// key (as its SubjectPublicKeyInfo), the digest name and the padding.

#include <openssl/err.h>
#include <openssl/rsa.h>
#include <openssl/x509.h>

#include <cstring>

#include "codec/crypto.asn1.certificate.h"
#include "platform/openssl/callfailures.h"
#include "platform/openssl/certcontext.h"
#include "platform/openssl/library.h"

using namespace ZT::Platform;
namespace Asn1 = ZT::Framework::Asn1;
namespace Asn1Read = ZT::Framework::Asn1Read;
namespace Asn1Write = ZT::Framework::Asn1Write;
namespace Der = ZT::Framework::Der;

namespace {

enum class KeyKind { Rsa, RsaPss, Ec };

// A signature algorithm as OpenSSL verifies it.
struct SignatureScheme {
  KeyKind kind = KeyKind::Rsa;
  const char* digest = nullptr;  // OpenSSL's name of the message digest
  const char* mgf1Digest = nullptr;
  int saltLength = 0;
};

struct DigestRow {
  const char* oid;
  const char* name;
};
constexpr DigestRow kDigests[] = {
    {"1.2.840.113549.2.5", "MD5"},          {"1.3.14.3.2.26", "SHA1"},
    {"2.16.840.1.101.3.4.2.4", "SHA2-224"}, {"2.16.840.1.101.3.4.2.1", "SHA2-256"},
    {"2.16.840.1.101.3.4.2.2", "SHA2-384"}, {"2.16.840.1.101.3.4.2.3", "SHA2-512"},
};

struct SchemeRow {
  const char* oid;
  KeyKind kind;
  const char* digest;
};
constexpr SchemeRow kSchemes[] = {
    {"1.2.840.113549.1.1.4", KeyKind::Rsa, "MD5"},
    {"1.2.840.113549.1.1.5", KeyKind::Rsa, "SHA1"},
    {"1.3.14.3.2.29", KeyKind::Rsa, "SHA1"},
    {"1.2.840.113549.1.1.14", KeyKind::Rsa, "SHA2-224"},
    {"1.2.840.113549.1.1.11", KeyKind::Rsa, "SHA2-256"},
    {"1.2.840.113549.1.1.12", KeyKind::Rsa, "SHA2-384"},
    {"1.2.840.113549.1.1.13", KeyKind::Rsa, "SHA2-512"},
    {"1.2.840.10045.4.1", KeyKind::Ec, "SHA1"},
    {"1.2.840.10045.4.3.1", KeyKind::Ec, "SHA2-224"},
    {"1.2.840.10045.4.3.2", KeyKind::Ec, "SHA2-256"},
    {"1.2.840.10045.4.3.3", KeyKind::Ec, "SHA2-384"},
    {"1.2.840.10045.4.3.4", KeyKind::Ec, "SHA2-512"},
};
constexpr const char* kRsaPssOid = "1.2.840.113549.1.1.10";
constexpr const char* kMgf1Oid = "1.2.840.113549.1.1.8";

const char* DigestNamed(const std::string& oid) {
  for (const DigestRow& row : kDigests)
    if (oid == row.oid) return row.name;
  return nullptr;
}

// A hash AlgorithmIdentifier (parameters NULL or absent) as a digest name.
bool IsHashAlgorithm(const Asn1::AlgorithmIdentifierView& algorithm, const char** digest) {
  const Der::Bytes& parameters = algorithm.parameters;
  *digest = DigestNamed(algorithm.oid);
  return *digest != nullptr &&
         (parameters.empty() || (parameters.size() == 2 && parameters[0] == 0x05 && parameters[1] == 0));
}

bool ReadHashAlgorithm(Der::Reader& in, const char** digest) {
  Asn1::AlgorithmIdentifierView algorithm;
  return Asn1Read::ReadAlgorithmIdentifier(in, &algorithm) && IsHashAlgorithm(algorithm, digest);
}

// MaskGenAlgorithm ::= AlgorithmIdentifier { mgf1, HashAlgorithm }
bool ReadMaskGenAlgorithm(Der::Reader& in, const char** digest) {
  Asn1::AlgorithmIdentifierView mgf;
  if (!Asn1Read::ReadAlgorithmIdentifier(in, &mgf) || mgf.oid != kMgf1Oid) return false;
  // The parameters stood inside the AlgorithmIdentifier's SEQUENCE.
  Der::Reader hash(mgf.parameters, in.Depth() + 1);
  return ReadHashAlgorithm(hash, digest) && hash.Empty();
}

// [n] EXPLICIT field of RSASSA-PSS-params, read by `read` when present.
template <class Read>
bool PssField(Der::Reader& seq, std::uint32_t n, Read&& read) {
  return seq.ReadOptional(Der::ExplicitTag(n), [&] {
    Der::Reader field;
    return seq.Read(Der::ExplicitTag(n), &field) && read(field) && field.Empty();
  });
}

// RSASSA-PSS-params ::= SEQUENCE {
//   hashAlgorithm [0] HashAlgorithm DEFAULT sha1, maskGenAlgorithm [1] MaskGenAlgorithm DEFAULT mgf1SHA1,
//   saltLength [2] INTEGER DEFAULT 20, trailerField [3] TrailerField DEFAULT trailerFieldBC (1) }
bool ReadPssParameters(Der::Bytes parameters, SignatureScheme* scheme) {
  scheme->kind = KeyKind::RsaPss;
  scheme->digest = scheme->mgf1Digest = "SHA1";
  scheme->saltLength = 20;
  std::uint64_t salt = 20, trailer = 1;
  Der::Reader seq;
  const bool read = Der::ReadWhole(parameters, Der::kSequence, &seq) &&
                    PssField(seq, 0, [&](Der::Reader& r) { return ReadHashAlgorithm(r, &scheme->digest); }) &&
                    PssField(seq, 1, [&](Der::Reader& r) { return ReadMaskGenAlgorithm(r, &scheme->mgf1Digest); }) &&
                    PssField(seq, 2, [&](Der::Reader& r) { return r.ReadUint64(&salt) && salt <= 0xFFFF; }) &&
                    PssField(seq, 3, [&](Der::Reader& r) { return r.ReadUint64(&trailer) && trailer == 1; }) &&
                    seq.Empty();
  scheme->saltLength = static_cast<int>(salt);
  return read;
}

bool SchemeOf(const Asn1::AlgorithmIdentifierView& algorithm, SignatureScheme* scheme) {
  if (algorithm.oid == kRsaPssOid) return ReadPssParameters(algorithm.parameters, scheme);
  for (const SchemeRow& row : kSchemes)
    if (algorithm.oid == row.oid) {
      scheme->kind = row.kind;
      scheme->digest = row.digest;
      return true;
    }
  return false;
}

// The key of a CERT_PUBLIC_KEY_INFO, through its DER SubjectPublicKeyInfo.
PkeyPtr PublicKeyOf(const CERT_PUBLIC_KEY_INFO& info) {
  if (info.Algorithm.pszObjId == nullptr) return nullptr;
  Der::Writer writer;
  Asn1Write::WriteSubjectPublicKeyInfo(writer, info.Algorithm.pszObjId, BlobBytes(info.Algorithm.Parameters),
                                       {{info.PublicKey.pbData, info.PublicKey.cbData}, info.PublicKey.cUnusedBits});
  ZT::Framework::ByteArray der;
  if (!writer.Finish(&der)) return nullptr;
  const unsigned char* p = der.data();
  return PkeyPtr(d2i_PUBKEY_ex(nullptr, &p, static_cast<long>(der.size()), Library::Get().Context(), nullptr));
}

bool Suits(const SignatureScheme& scheme, EVP_PKEY* key) {
  switch (scheme.kind) {
    case KeyKind::Rsa:
      return EVP_PKEY_is_a(key, "RSA");
    case KeyKind::RsaPss:
      return EVP_PKEY_is_a(key, "RSA") || EVP_PKEY_is_a(key, "RSA-PSS");
    case KeyKind::Ec:
      return EVP_PKEY_is_a(key, "EC");
  }
  return false;
}

bool Verify(const SignatureScheme& scheme, EVP_PKEY* key, const Asn1::SignedObjectView& parts) {
  MdCtxPtr md(EVP_MD_CTX_new());
  EVP_PKEY_CTX* pctx = nullptr;  // owned by the digest context
  if (!md ||
      EVP_DigestVerifyInit_ex(md.get(), &pctx, scheme.digest, Library::Get().Context(), nullptr, key, nullptr) != 1)
    return false;
  if (scheme.kind == KeyKind::RsaPss && (EVP_PKEY_CTX_set_rsa_padding(pctx, RSA_PKCS1_PSS_PADDING) != 1 ||
                                         EVP_PKEY_CTX_set_rsa_pss_saltlen(pctx, scheme.saltLength) != 1 ||
                                         EVP_PKEY_CTX_set_rsa_mgf1_md_name(pctx, scheme.mgf1Digest, nullptr) != 1))
    return false;
  return EVP_DigestVerify(md.get(), parts.signature.data(), parts.signature.size(), parts.toBeSigned.data(),
                          parts.toBeSigned.size()) == 1;
}

}  // namespace

namespace ZT::Platform {

DWORD VerifySignedObject(Der::Bytes der, const CERT_PUBLIC_KEY_INFO& key) {
  Asn1::SignedObjectView parts;
  if (!Asn1Read::ReadSignedObject(der, &parts)) return static_cast<DWORD>(CRYPT_E_ASN1_CORRUPT);
  SignatureScheme scheme;
  if (!SchemeOf(parts.signatureAlgorithm, &scheme)) return static_cast<DWORD>(NTE_BAD_ALGID);
  const PkeyPtr pkey = PublicKeyOf(key);
  DWORD status = 0;
  if (!pkey)
    status = static_cast<DWORD>(CRYPT_E_ASN1_CORRUPT);
  else if (!Suits(scheme, pkey.get()))
    status = static_cast<DWORD>(NTE_BAD_ALGID);
  else if (!Verify(scheme, pkey.get(), parts))
    status = static_cast<DWORD>(NTE_BAD_SIGNATURE);
  // A refused signature leaves OpenSSL's reasons queued on this thread; they say nothing to the
  // next caller.
  ERR_clear_error();
  return status;
}

}  // namespace ZT::Platform

extern "C" {

BOOL WINAPI CryptVerifyCertificateSignature(HCRYPTPROV_LEGACY, DWORD dwCertEncodingType, const BYTE* pbEncoded,
                                            DWORD cbEncoded, PCERT_PUBLIC_KEY_INFO pPublicKey) {
  ZT_FAIL_POINT_LAST_ERROR(FALSE);
  DWORD status = 0;
  if ((dwCertEncodingType & X509_ASN_ENCODING) == 0 || pbEncoded == nullptr || pPublicKey == nullptr) {
    status = static_cast<DWORD>(E_INVALIDARG);
  } else {
    try {
      status = VerifySignedObject({pbEncoded, cbEncoded}, *pPublicKey);
    } catch (const std::bad_alloc&) {
      status = static_cast<DWORD>(NTE_NO_MEMORY);
    }
  }
  if (status == 0) return TRUE;
  SetLastError(status);
  return FALSE;
}

}  // extern "C"
