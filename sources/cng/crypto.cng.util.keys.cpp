#include "cng/crypto.cng.util.keys.h"

#include <algorithm>

#include "framework/crypto.text.h"

namespace ZT::Framework {

using namespace std::string_view_literals;

namespace {

// The published layouts are little-endian; they are read and written byte by byte so that the
// code does not depend on the host's order.
std::uint32_t ReadLittleEndian32(const std::uint8_t* p) {
  return std::uint32_t{p[0]} | std::uint32_t{p[1]} << 8 | std::uint32_t{p[2]} << 16 | std::uint32_t{p[3]} << 24;
}

template <class Structure>
void Append(ByteArray& out, const Structure& structure) {
  const auto* bytes = reinterpret_cast<const unsigned char*>(&structure);
  out.insert(out.end(), bytes, bytes + sizeof(structure));
}

}  // namespace

ByteArray Magnitude(Der::Bytes bigEndian) {
  const auto first = std::find_if(bigEndian.begin(), bigEndian.end(), [](std::uint8_t b) { return b != 0; });
  return ByteArray(first, bigEndian.end());
}

namespace Structure {

bool CngRsaPublicKeyBlob::Decode(Der::Bytes der, Decoded* out) {
  Asn1::RsaPublicKeyNumbers key;
  if (!RsaPublicKey::Decode(der, &key)) return false;
  const auto cbModulus = static_cast<ULONG>(key.modulus.size());
  const BCRYPT_RSAKEY_BLOB header{
      BCRYPT_RSAPUBLIC_MAGIC, cbModulus * 8, static_cast<ULONG>(key.publicExponent.size()), cbModulus, 0, 0};
  out->clear();
  Append(*out, header);
  out->insert(out->end(), key.publicExponent.begin(), key.publicExponent.end());
  out->insert(out->end(), key.modulus.begin(), key.modulus.end());
  return true;
}

bool RsaCspPublicKeyBlob::Decode(Der::Bytes der, Decoded* out) {
  Asn1::RsaPublicKeyNumbers key;
  if (!RsaPublicKey::Decode(der, &key) || key.publicExponent.size() > sizeof(DWORD)) return false;
  DWORD pubexp = 0;
  for (unsigned char byte : key.publicExponent) pubexp = pubexp << 8 | byte;
  const BLOBHEADER header{PUBLICKEYBLOB, CUR_BLOB_VERSION, 0, CALG_RSA_KEYX};
  const RSAPUBKEY rsa{BCRYPT_RSAPUBLIC_MAGIC, static_cast<DWORD>(key.modulus.size() * 8), pubexp};
  out->clear();
  Append(*out, header);
  Append(*out, rsa);
  out->insert(out->end(), key.modulus.rbegin(), key.modulus.rend());
  return true;
}

}  // namespace Structure

bool ReadRsaPrivateKeyBlob(Der::Bytes blob, Asn1::RsaPrivateKeyNumbers* out) {
  constexpr std::size_t kHeaderSize = sizeof(BLOBHEADER) + sizeof(RSAPUBKEY);
  if (blob.size() < kHeaderSize) return false;
  const std::uint8_t* p = blob.data();
  const std::uint32_t aiKeyAlg = ReadLittleEndian32(p + 4);
  if (p[0] != PRIVATEKEYBLOB || p[1] != CUR_BLOB_VERSION || p[2] != 0 || p[3] != 0 ||
      (aiKeyAlg != CALG_RSA_KEYX && aiKeyAlg != CALG_RSA_SIGN))
    return false;
  const std::uint32_t magic = ReadLittleEndian32(p + 8);
  const std::uint32_t bitlen = ReadLittleEndian32(p + 12);
  const std::uint32_t pubexp = ReadLittleEndian32(p + 16);
  if (magic != BCRYPT_RSAPRIVATE_MAGIC || bitlen == 0 || pubexp == 0) return false;
  // Fields are sized by the bit length rounded up to whole bytes, as the platform and the openssl
  // tool lay them out for keys of any length (2047, 1025, 2056 bits): a 2056-bit key's primes
  // take 129 bytes each.
  const std::size_t full = (std::size_t{bitlen} + 7) / 8;
  const std::size_t half = (std::size_t{bitlen} + 15) / 16;
  if (blob.size() != kHeaderSize + 2 * full + 5 * half) return false;

  std::size_t at = kHeaderSize;
  // Each number little-endian as stored; its magnitude big-endian, as the key classes keep them.
  const auto take = [&](std::size_t size, ByteArray* number) {
    ByteArray bigEndian(blob.begin() + at, blob.begin() + at + size);
    std::reverse(bigEndian.begin(), bigEndian.end());
    at += size;
    *number = Magnitude(bigEndian);
    return !number->empty();
  };
  ByteArray exponent;
  for (int shift = 24; shift >= 0; shift -= 8) exponent.push_back(static_cast<unsigned char>(pubexp >> shift));
  out->publicExponent = Magnitude(exponent);
  return take(full, &out->modulus) && take(half, &out->prime1) && take(half, &out->prime2) &&
         take(half, &out->exponent1) && take(half, &out->exponent2) && take(half, &out->coefficient) &&
         take(full, &out->privateExponent);
}

bool WriteRsaPrivateKeyBlob(const Asn1::RsaPrivateKeyNumbers& key, ByteArray* out) {
  const ByteArray modulus = Magnitude(Der::Bytes(key.modulus.data(), key.modulus.size()));
  const ByteArray exponent = Magnitude(Der::Bytes(key.publicExponent.data(), key.publicExponent.size()));
  if (modulus.empty() || exponent.empty() || exponent.size() > sizeof(DWORD)) return false;
  std::uint32_t bitlen = static_cast<std::uint32_t>(modulus.size()) * 8;
  for (std::uint8_t top = modulus[0]; (top & 0x80) == 0; top = static_cast<std::uint8_t>(top << 1)) --bitlen;
  DWORD pubexp = 0;
  for (unsigned char byte : exponent) pubexp = pubexp << 8 | byte;
  const std::size_t full = (std::size_t{bitlen} + 7) / 8;
  const std::size_t half = (std::size_t{bitlen} + 15) / 16;
  out->clear();
  Append(*out, BLOBHEADER{PRIVATEKEYBLOB, CUR_BLOB_VERSION, 0, CALG_RSA_KEYX});
  Append(*out, RSAPUBKEY{BCRYPT_RSAPRIVATE_MAGIC, bitlen, pubexp});
  // Each number little-endian, zero-filled to its field.
  const auto put = [&](const ByteArray& number, std::size_t size) {
    const ByteArray magnitude = Magnitude(Der::Bytes(number.data(), number.size()));
    if (magnitude.size() > size) return false;
    out->insert(out->end(), magnitude.rbegin(), magnitude.rend());
    out->insert(out->end(), size - magnitude.size(), 0);
    return true;
  };
  return put(key.modulus, full) && put(key.prime1, half) && put(key.prime2, half) && put(key.exponent1, half) &&
         put(key.exponent2, half) && put(key.coefficient, half) && put(key.privateExponent, full);
}

void RaiseDecodeForPlatformFailure(const FunctionTrace& fn, const wchar_t* structure,
                                   std::unique_ptr<IException> caught, SourceLine where) {
  fn.RaiseWrapping(std::move(caught), RaiseAt(CRYPTO_INTERNAL_ERROR, where),
                   WString(L"CryptDecodeObjectEx(") + structure + L") failed!",
                   L"Error 0x%x returned by CryptDecodeObjectEx(%s)", static_cast<DWORD>(CRYPT_E_ASN1_CORRUPT),
                   structure);
}

bool CryptoUtil::IsOriginalDataLengthValid(const WString& sPadding, std::uint32_t nInputLength, CipherBlock block) {
  const FunctionTrace fn(L"CryptoUtil::IsOriginalDataLengthValid");
  return fn.Run([&] {
    // PKCS #7 pads any length, and the platform checks a decryption's padding itself.
    if (SameText(sPadding, L"PKCS7"sv)) return true;
    if (!SameText(sPadding, L"None"sv)) fn.Raise(CRYPTO_BAD_PARAM, L"Unknown padding type");
    if (nInputLength % block.nLength == 0) return true;
    fn.Error(L"Data Length is invalid (%u%%%u != 0)", nInputLength, block.nLength);
    return false;
  });
}

}  // namespace ZT::Framework
