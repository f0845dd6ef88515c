#include "cng/crypto.cng.rsapublic.h"

#include <algorithm>

#include "cng/crypto.cng.status.h"
#include "cng/crypto.cng.util.keys.h"

namespace ZT::Framework {

ImportedCngRsaKey::ImportedCngRsaKey(const FunctionTrace& fn, const Asn1::SubjectPublicKeyInfo& info)
    : ImportedCngRsaKey(fn, DecodeForPlatform<Structure::CngRsaPublicKeyBlob>(fn, info.PublicKey.pbData)) {}

std::uint32_t ImportedCngRsaKey::KeyLengthOf(const ByteArray& blob) {
  return BlobHeader<BCRYPT_RSAKEY_BLOB>(blob).BitLength >> 3;
}

ImportedCngRsaKey::ImportedCngRsaKey(const FunctionTrace& fn, const ByteArray& blob) : m_nKeyLength(KeyLengthOf(blob)) {
  CheckStatus(fn, CNG().BCryptOpenAlgorithmProvider(m_provider.put(), BCRYPT_RSA_ALGORITHM, nullptr, 0),
              L"BCryptOpenAlgorithmProvider", L"BCryptOpenAlgorithmProvider failed!");
  CheckStatus(fn,
              CNG().BCryptImportKeyPair(m_provider.get(), nullptr, BCRYPT_RSAPUBLIC_BLOB, m_key.put(),
                                        InputBytes(blob), InputLength(blob), 0),
              L"BCryptImportKeyPair", L"BCryptImportKeyPair failed!");
}

void ImportedCngRsaKey::Encrypt(const FunctionTrace& fn, const ByteArray& input, void* pPaddingInfo, ULONG flags,
                                ByteArray& out) {
  ULONG written = 0;
  CheckStatus(fn,
              CNG().BCryptEncrypt(m_key.get(), InputBytes(input), InputLength(input), pPaddingInfo, nullptr, 0, nullptr,
                                  0, &written, flags),
              L"BCryptEncrypt", L"BCryptEncrypt failed!");
  out.assign(written, 0);
  CheckStatus(fn,
              CNG().BCryptEncrypt(m_key.get(), InputBytes(input), InputLength(input), pPaddingInfo, nullptr, 0,
                                  out.data(), InputLength(out), &written, flags),
              L"BCryptEncrypt", L"BCryptEncrypt failed!");
  out.resize(written);
}

ImportedCryptoApiRsaKey::ImportedCryptoApiRsaKey(const FunctionTrace& fn, const Asn1::SubjectPublicKeyInfo& info)
    : ImportedCryptoApiRsaKey(fn, DecodeForPlatform<Structure::RsaCspPublicKeyBlob>(fn, info.PublicKey.pbData)) {}

std::uint32_t ImportedCryptoApiRsaKey::KeyLengthOf(const ByteArray& blob) {
  return BlobHeader<RSAPUBKEY>(blob, sizeof(BLOBHEADER)).bitlen >> 3;
}

ImportedCryptoApiRsaKey::ImportedCryptoApiRsaKey(const FunctionTrace& fn, const ByteArray& blob)
    : m_nKeyLength(KeyLengthOf(blob)) {
  CheckLastError(fn,
                 CryptAcquireContextW(m_context.put(), nullptr, MS_ENH_RSA_AES_PROV_XP_W, PROV_RSA_AES,
                                      CRYPT_VERIFYCONTEXT | CRYPT_NEWKEYSET),
                 L"CryptAcquireContext", L"CryptAcquireContext failed");
  CheckLastError(fn, CryptImportKey(m_context.get(), blob.data(), static_cast<DWORD>(blob.size()), 0, 0, m_key.put()),
                 L"CryptImportKey", L"CryptImportKey failed");
}

void ImportedCryptoApiRsaKey::Encrypt(const FunctionTrace& fn, const ByteArray& input, ByteArray& out) {
  const auto inputLength = static_cast<DWORD>(input.size());
  DWORD length = inputLength;
  CheckLastError(fn, CryptEncrypt(m_key.get(), 0, TRUE, 0, nullptr, &length, inputLength), L"CryptEncrypt",
                 L"CryptEncrypt failed");
  out.assign(std::max(length, inputLength), 0);
  std::copy(input.begin(), input.end(), out.begin());
  length = inputLength;
  CheckLastError(fn, CryptEncrypt(m_key.get(), 0, TRUE, 0, out.data(), &length, static_cast<DWORD>(out.size())),
                 L"CryptEncrypt", L"CryptEncrypt failed");
  out.resize(length);
}

}  // namespace ZT::Framework
