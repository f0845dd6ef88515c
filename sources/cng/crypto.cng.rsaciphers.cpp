#include "cng/crypto.cng.rsaciphers.h"

#include <memory>

#include "cng/crypto.cng.rsakeys.h"
#include "cng/crypto.cng.rsapublic.h"
#include "cng/crypto.cng.status.h"
#include "cng/crypto.cng.util.keys.h"
#include "zt/padding.h"

namespace ZT::Framework {

namespace {

struct RsaPaddingRow {
  const wchar_t* name;
  ULONG cngFlag;
};
constexpr RsaPaddingRow kRsaPaddings[] = {
    {L"None", BCRYPT_PAD_NONE},
    {L"PKCS1", BCRYPT_PAD_PKCS1},
    {L"OAEP", BCRYPT_PAD_OAEP},
};

const RsaPaddingRow& MapPadding(const FunctionTrace& fn, const WString& padding) {
  for (const RsaPaddingRow& row : kRsaPaddings)
    if (padding == row.name) return row;
  fn.Raise(CRYPTO_NO_SUCH_PADDING, L"Unsupported padding", L"Unsupported padding: %s", padding);
}

const CCNGRSAPublicKey& RequireRsaPublicKey(const FunctionTrace& fn, const IKey* pKey) {
  const auto* key = dynamic_cast<const CCNGRSAPublicKey*>(pKey);
  if (key == nullptr) fn.Raise(CRYPTO_NOT_SUPPORTED, L"Only RSA Public keys are supported");
  return *key;
}

void RequireFits(const FunctionTrace& fn, const WString& padding, const ByteArray& input, std::uint32_t k) {
  RequireValidLength(fn, input.size(), [&](std::uint32_t length) {
    return CryptoUtil::IsOriginalDataLengthValid(padding, length, k);
  });
}

// The OAEP label, "CryptoParameterOAEPEncodingParamMode"; empty when absent.
ByteArray ReadLabel(const FunctionTrace& fn, const ICryptoParserParameterMap* pParams) {
  ByteArray label;
  if (pParams != nullptr) ReadMap(fn, [&] { pParams->GetOAEPEncodingParamMode(label); });
  return label;
}

void EncryptOnCng(const FunctionTrace& fn, const RsaPaddingRow& padding, const Asn1::SubjectPublicKeyInfo& info,
                  const ICryptoParserParameterMap* pParams, const ByteArray& input, ByteArray& out) {
  const ByteArray blob = DecodeForPlatform<Structure::CngRsaPublicKeyBlob>(fn, info.PublicKey.pbData);
  RequireFits(fn, padding.name, input, ImportedCngRsaKey::KeyLengthOf(blob));
  ByteArray label;
  if (padding.cngFlag == BCRYPT_PAD_OAEP) label = ReadLabel(fn, pParams);
  BCRYPT_OAEP_PADDING_INFO oaep{BCRYPT_SHA1_ALGORITHM, InputBytes(label), InputLength(label)};
  ImportedCngRsaKey key(fn, blob);
  key.Encrypt(fn, input, padding.cngFlag == BCRYPT_PAD_OAEP ? &oaep : nullptr, padding.cngFlag, out);
}

// The k-byte block the library's "PKCS1" scheme makes of `input` with the operation mode of `pMap`.
ByteArray EncodeWithPkcs1Scheme(const FunctionTrace& fn, const ByteArray& input, std::uint32_t k,
                                ICryptoParserParameterMap* pMap) {
  const std::unique_ptr<IPadding> scheme(fn.WrapAs(CRYPTO_UNKNOWN_ERROR, L"Create object padding failed!",
                                                   [&] { return IPadding::Create(L"PKCS1", k, pMap); }));
  ByteArray block;
  fn.Wrap(L"Encode Message Failed", [&] { scheme->EncodeData(input, block); });
  return block;
}

// What the CryptoAPI path hands to the provider: an input that is not a whole number of blocks
// padded by the library ("PKCS1" as an encryption block; "OAEP" by the same scheme with the
// cipher's own map), any other as it is (null: `input` itself).
std::unique_ptr<ByteArray> PrepareForCryptoApi(const FunctionTrace& fn, const RsaPaddingRow& padding,
                                               const ByteArray& input, std::uint32_t k,
                                               ICryptoParserParameterMap* pParams) {
  const bool whole = k == 0 || input.size() % k == 0;
  if (whole || padding.cngFlag == BCRYPT_PAD_NONE) return nullptr;
  if (padding.cngFlag == BCRYPT_PAD_OAEP)
    return std::make_unique<ByteArray>(EncodeWithPkcs1Scheme(fn, input, k, pParams));
  const std::unique_ptr<ICryptoParserParameterMap> encryptionBlock(ICryptoParserParameterMap::Create());
  encryptionBlock->SetPkcs1OperationMode(1);
  return std::make_unique<ByteArray>(EncodeWithPkcs1Scheme(fn, input, k, encryptionBlock.get()));
}

void EncryptOnCryptoApi(const FunctionTrace& fn, const RsaPaddingRow& padding, const Asn1::SubjectPublicKeyInfo& info,
                        ICryptoParserParameterMap* pParams, const ByteArray& input, ByteArray& out) {
  const ByteArray blob = DecodeForPlatform<Structure::RsaCspPublicKeyBlob>(fn, info.PublicKey.pbData);
  const std::uint32_t k = ImportedCryptoApiRsaKey::KeyLengthOf(blob);
  RequireFits(fn, padding.name, input, k);
  const std::unique_ptr<ByteArray> prepared = PrepareForCryptoApi(fn, padding, input, k, pParams);
  ImportedCryptoApiRsaKey key(fn, blob);
  key.Encrypt(fn, prepared ? *prepared : input, out);
}

}  // namespace

void CCNGRSACipher::Cipher(ByteArray& baOut) {
  const FunctionTrace fn(L"CCNGRSACipher::Cipher", this);
  fn.Run([&] {
    RequireDataMode(fn, CIPHER_ENCRYPT_MODE);
    WString paddingName;
    ReadPadding(fn, m_pParams, L"None", paddingName);
    const RsaPaddingRow& padding = MapPadding(fn, paddingName);
    const CCNGRSAPublicKey& key = RequireRsaPublicKey(fn, m_pKey);
    const Asn1::SubjectPublicKeyInfo info = DecodeForPlatform<Structure::X509PublicKeyInfo>(fn, key.GetEncoded());
    if (CryptoSoftCNGWrapper::LoadCNGLibrary())
      EncryptOnCng(fn, padding, info, m_pParams, Input(), baOut);
    else
      EncryptOnCryptoApi(fn, padding, info, m_pParams, Input(), baOut);
  });
}

}  // namespace ZT::Framework
