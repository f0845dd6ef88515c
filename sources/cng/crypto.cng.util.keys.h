// The key structures the RSA engines hand to the platform, and how the engines decode them.
//
//   const Asn1::SubjectPublicKeyInfo info = DecodeForPlatform<Structure::X509PublicKeyInfo>(fn, baSpki);
//   const ByteArray blob = DecodeForPlatform<Structure::CngRsaPublicKeyBlob>(fn, info.PublicKey.pbData);
//   CNG().BCryptImportKeyPair(..., BCRYPT_RSAPUBLIC_BLOB, ..., blob.data(), blob.size(), 0);
#pragma once

#include <cstdint>
#include <cstring>
#include <memory>

#include "cng/crypto.cng.util.h"
#include "codec/crypto.asn1.keys.h"
#include "platform/platform.h"

namespace ZT::Framework {

namespace Structure {

// An RSAPublicKey as the BCRYPT_RSAKEY_BLOB that BCryptImportKeyPair takes for "RSAPUBLICBLOB":
// the header (magic "RSA1", BitLength = 8 * cbModulus, cbPublicExp, cbModulus, no primes), then
// the public exponent and the modulus, big-endian.
struct CngRsaPublicKeyBlob {
  using Decoded = ByteArray;
  static constexpr const wchar_t* kName = L"CNG_RSA_PUBLIC_KEY_BLOB";
  static bool Decode(Der::Bytes der, Decoded* out);
};

// An RSAPublicKey as the PUBLICKEYBLOB that CryptImportKey takes: BLOBHEADER (PUBLICKEYBLOB,
// version 2, CALG_RSA_KEYX), RSAPUBKEY (magic "RSA1", bitlen = 8 * modulus bytes, pubexp), then
// the modulus little-endian. A public exponent wider than 32 bits does not fit and fails.
struct RsaCspPublicKeyBlob {
  using Decoded = ByteArray;
  static constexpr const wchar_t* kName = L"RSA_CSP_PUBLICKEYBLOB";
  static bool Decode(Der::Bytes der, Decoded* out);
};

}  // namespace Structure

// The header structure at `offset` in a key blob (BCRYPT_RSAKEY_BLOB at 0, RSAPUBKEY after the
// PUBLICKEYSTRUC, ...); all zeros when the blob is too short to hold it.
template <class Header>
Header BlobHeader(const ByteArray& blob, std::size_t offset = 0) {
  Header header{};
  if (blob.size() >= offset + sizeof(header)) std::memcpy(&header, blob.data() + offset, sizeof(header));
  return header;
}

// The numbers of a CryptoAPI RSA private-key blob: BLOBHEADER (PRIVATEKEYBLOB, version 2,
// reserved 0, CALG_RSA_KEYX or CALG_RSA_SIGN), RSAPUBKEY (magic "RSA2", bitlen, pubexp), then
// modulus (bitlen/8 bytes), prime1, prime2, exponent1, exponent2, coefficient (bitlen/16 bytes
// each) and privateExponent (bitlen/8), every size rounded up, all little-endian; nothing after
// them. Any bit length is read (2047, 1025, 2056 bits as well as 2048).
// False, with `*out` unspecified, for anything else or a number that is zero.
bool ReadRsaPrivateKeyBlob(Der::Bytes blob, Asn1::RsaPrivateKeyNumbers* out);

// The CryptoAPI PRIVATEKEYBLOB of an RSA key, laid out as ReadRsaPrivateKeyBlob reads it
// (CALG_RSA_KEYX, the bit length of the modulus). False when the key has no such form: a public
// exponent wider than 32 bits, or a number longer than its field.
bool WriteRsaPrivateKeyBlob(const Asn1::RsaPrivateKeyNumbers& key, ByteArray* out);

// `bigEndian` without its leading zero bytes (empty for zero).
ByteArray Magnitude(Der::Bytes bigEndian);

// Raises the failure of a decoding for a platform call: CRYPTO_INTERNAL_ERROR
// "CryptDecodeObjectEx(<structure>) failed!", logged as "<name> : Error 0x80093103 returned by
// CryptDecodeObjectEx(<structure>)", with the decoder's exception `caught` as the inner one.
[[noreturn]] void RaiseDecodeForPlatformFailure(const FunctionTrace& fn, const wchar_t* structure,
                                                std::unique_ptr<IException> caught, SourceLine where);

// CryptoUtil::DecodeObject<Type> as the engines call the platform's decoder, whose failure is a
// failed platform call (see RaiseDecodeForPlatformFailure).
template <DecodableStructure Type>
typename Type::Decoded DecodeForPlatform(const FunctionTrace& fn, const ByteArray& baEncoded,
                                         SourceLine where = SourceLine()) {
  return fn.Catch([&] { return CryptoUtil::DecodeObject<Type>(baEncoded); },
                  [&](std::unique_ptr<IException> caught) -> typename Type::Decoded {
                    RaiseDecodeForPlatformFailure(fn, Type::kName, std::move(caught), where);
                  });
}

}  // namespace ZT::Framework
