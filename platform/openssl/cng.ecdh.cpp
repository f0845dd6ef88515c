// ECDH keys on P-256, P-384 and P-521: BCRYPT_ECCKEY_BLOB import and export, generation and
// secret agreement.

#include <openssl/core_names.h>
#include <openssl/err.h>

#include <cwchar>
#include <vector>

#include "platform/openssl/cng.keys.h"

using namespace ZT::Platform;

namespace {

constexpr ULONG kHeaderSize = sizeof(BCRYPT_ECCKEY_BLOB);

// The uncompressed SEC 1 point 04 || X || Y of a blob's coordinates.
std::vector<unsigned char> UncompressedPoint(const unsigned char* xy, ULONG coordinateBytes) {
  std::vector<unsigned char> point(1 + 2 * std::size_t{coordinateBytes});
  point[0] = 0x04;
  std::memcpy(point.data() + 1, xy, 2 * std::size_t{coordinateBytes});
  return point;
}

// Builds the key; OpenSSL refuses a point that is not on the curve.
PkeyPtr BuildKey(const Curve& curve, const std::vector<unsigned char>& point, const BIGNUM* d) {
  ParamBldPtr bld(OSSL_PARAM_BLD_new());
  if (!bld) return nullptr;
  bool ok = OSSL_PARAM_BLD_push_utf8_string(bld.get(), OSSL_PKEY_PARAM_GROUP_NAME, curve.groupName, 0) == 1 &&
            OSSL_PARAM_BLD_push_octet_string(bld.get(), OSSL_PKEY_PARAM_PUB_KEY, point.data(), point.size()) == 1;
  if (d != nullptr) ok = ok && OSSL_PARAM_BLD_push_BN(bld.get(), OSSL_PKEY_PARAM_PRIV_KEY, d) == 1;
  ParamsPtr params(ok ? OSSL_PARAM_BLD_to_param(bld.get()) : nullptr);
  PkeyCtxPtr ctx(EVP_PKEY_CTX_new_from_name(Library::Get().Context(), "EC", nullptr));
  EVP_PKEY* pkey = nullptr;
  if (!params || !ctx || EVP_PKEY_fromdata_init(ctx.get()) != 1 ||
      EVP_PKEY_fromdata(ctx.get(), &pkey, d != nullptr ? EVP_PKEY_KEYPAIR : EVP_PKEY_PUBLIC_KEY, params.get()) != 1) {
    ERR_clear_error();
    return nullptr;
  }
  return PkeyPtr(pkey);
}

// A private blob must hold a private value in range whose public point is the blob's.
bool PairMatches(EVP_PKEY* pkey) {
  PkeyCtxPtr ctx = NewPkeyContext(pkey);
  const bool ok = ctx && EVP_PKEY_pairwise_check(ctx.get()) == 1;
  ERR_clear_error();
  return ok;
}

bool PutNumber(const EVP_PKEY* pkey, const char* name, unsigned char* out, ULONG size) {
  BIGNUM* raw = nullptr;
  if (EVP_PKEY_get_bn_param(pkey, name, &raw) != 1) return false;
  const BnPtr bn(raw);
  return BnToBigEndian(bn.get(), out, size);
}

// X then Y of the public point, taken from its uncompressed encoding in one conversion (the
// coordinates one by one would convert the point twice). Keys here are built from uncompressed
// points or generated, so the encoding is uncompressed.
bool PutPoint(const EVP_PKEY* pkey, unsigned char* out, ULONG coordinateBytes) {
  constexpr std::size_t kMaxPoint = 1 + 2 * 66;
  unsigned char point[kMaxPoint];
  std::size_t size = 0;
  const std::size_t expected = 1 + 2 * std::size_t{coordinateBytes};
  if (EVP_PKEY_get_octet_string_param(pkey, OSSL_PKEY_PARAM_PUB_KEY, point, sizeof(point), &size) != 1 ||
      size != expected || point[0] != 0x04)
    return false;
  std::memcpy(out, point + 1, expected - 1);
  return true;
}

// Generation contexts of this thread, one per curve. Setting one up (fetching the key
// management, reading the group) costs more than generating a key with it, and a context serves
// any number of generations, one at a time: so each thread keeps its own.
class GenerationContexts {
 public:
  EVP_PKEY_CTX* For(const Curve& curve) {
    for (const Entry& entry : m_entries)
      if (entry.curve == &curve) return entry.context.get();
    PkeyCtxPtr context(EVP_PKEY_CTX_new_from_name(Library::Get().Context(), "EC", nullptr));
    char* group = const_cast<char*>(curve.groupName);
    const OSSL_PARAM params[] = {OSSL_PARAM_construct_utf8_string(OSSL_PKEY_PARAM_GROUP_NAME, group, 0),
                                 OSSL_PARAM_construct_end()};
    if (!context || EVP_PKEY_keygen_init(context.get()) != 1 || EVP_PKEY_CTX_set_params(context.get(), params) != 1) {
      ERR_clear_error();
      return nullptr;
    }
    m_entries.push_back(Entry{&curve, std::move(context)});
    return m_entries.back().context.get();
  }

 private:
  struct Entry {
    const Curve* curve;
    PkeyCtxPtr context;
  };
  std::vector<Entry> m_entries;
};

thread_local GenerationContexts t_generationContexts;

}  // namespace

namespace ZT::Platform {

NTSTATUS ImportEcdhKey(AsymmetricKey& key, LPCWSTR blobType, const unsigned char* blob, ULONG size) {
  const Curve& curve = *key.algorithm->curve;
  const bool isPrivate = IsPrivateBlobType(blobType, BCRYPT_ECCPRIVATE_BLOB);
  if (!isPrivate && !IsPublicBlobType(blobType, BCRYPT_ECCPUBLIC_BLOB)) return STATUS_INVALID_PARAMETER;
  if (size < kHeaderSize) return STATUS_INVALID_PARAMETER;
  BCRYPT_ECCKEY_BLOB header{};
  std::memcpy(&header, blob, kHeaderSize);
  const ULONG magic = isPrivate ? curve.privateMagic : curve.publicMagic;
  const std::uint64_t expected = kHeaderSize + std::uint64_t{curve.coordinateBytes} * (isPrivate ? 3 : 2);
  if (header.dwMagic != magic || header.cbKey != curve.coordinateBytes || size != expected)
    return STATUS_INVALID_PARAMETER;

  const unsigned char* xy = blob + kHeaderSize;
  BnPtr d;
  if (isPrivate) d = BigEndianToBn(xy + 2 * std::size_t{curve.coordinateBytes}, curve.coordinateBytes);
  key.pkey = BuildKey(curve, UncompressedPoint(xy, curve.coordinateBytes), d.get());
  if (!key.pkey || (isPrivate && !PairMatches(key.pkey.get()))) {
    key.pkey.reset();
    return STATUS_INVALID_PARAMETER;
  }
  key.hasPrivate = isPrivate;
  return STATUS_SUCCESS;
}

NTSTATUS ExportEcdhKey(const AsymmetricKey& key, LPCWSTR blobType, PUCHAR out, ULONG cbOut, ULONG* pcbResult) {
  const Curve& curve = *key.algorithm->curve;
  const bool isPrivate = IsPrivateBlobType(blobType, BCRYPT_ECCPRIVATE_BLOB);
  if (!isPrivate && !IsPublicBlobType(blobType, BCRYPT_ECCPUBLIC_BLOB)) return STATUS_INVALID_PARAMETER;
  if (isPrivate && !key.hasPrivate) return STATUS_INVALID_PARAMETER;
  const ULONG c = curve.coordinateBytes;
  const ULONG size = kHeaderSize + c * (isPrivate ? 3 : 2);
  *pcbResult = size;
  if (out == nullptr) return STATUS_SUCCESS;
  if (cbOut < size) return STATUS_BUFFER_TOO_SMALL;
  WriteUlong(out, isPrivate ? curve.privateMagic : curve.publicMagic);
  WriteUlong(out + sizeof(ULONG), c);
  const bool ok = PutPoint(key.pkey.get(), out + kHeaderSize, c) &&
                  (!isPrivate || PutNumber(key.pkey.get(), OSSL_PKEY_PARAM_PRIV_KEY, out + kHeaderSize + 2 * c, c));
  if (!ok) {
    OPENSSL_cleanse(out, size);
    return STATUS_INTERNAL_ERROR;
  }
  return STATUS_SUCCESS;
}

NTSTATUS GenerateEcdhKey(AsymmetricKey& key) {
  EVP_PKEY_CTX* context = t_generationContexts.For(*key.algorithm->curve);
  EVP_PKEY* pkey = nullptr;
  if (context == nullptr || EVP_PKEY_generate(context, &pkey) != 1) {
    ERR_clear_error();
    return STATUS_INTERNAL_ERROR;
  }
  key.pkey.reset(pkey);
  key.hasPrivate = true;
  return STATUS_SUCCESS;
}

NTSTATUS AgreeSecret(const AsymmetricKey& privateKey, const AsymmetricKey& publicKey, SecretBytes* secret) {
  if (!privateKey.hasPrivate || privateKey.algorithm->curve != publicKey.algorithm->curve)
    return STATUS_INVALID_PARAMETER;
  PkeyCtxPtr ctx = NewPkeyContext(privateKey.pkey.get());
  std::size_t size = 0;
  if (!ctx || EVP_PKEY_derive_init(ctx.get()) != 1 || EVP_PKEY_derive_set_peer(ctx.get(), publicKey.pkey.get()) != 1 ||
      EVP_PKEY_derive(ctx.get(), nullptr, &size) != 1) {
    ERR_clear_error();
    return STATUS_INVALID_PARAMETER;
  }
  SecretBytes value(size);
  if (EVP_PKEY_derive(ctx.get(), value.data(), &size) != 1 || size != privateKey.algorithm->curve->coordinateBytes) {
    ERR_clear_error();
    return STATUS_INTERNAL_ERROR;
  }
  *secret = std::move(value);
  return STATUS_SUCCESS;
}

}  // namespace ZT::Platform
