// PKCS #12 (PFX) import into memory stores and export from them, on OpenSSL's PKCS #12 support in
// the private library context (the legacy provider there serves RC2, 3DES and the PKCS #12 key
// derivation). Private keys travel as NCrypt keys paired with the store's contexts.

#include <openssl/pkcs12.h>
#include <openssl/x509.h>

#include <cstring>
#include <cwchar>
#include <memory>
#include <vector>

#include "codec/crypto.asn1.certificate.h"
#include "codec/crypto.asn1.pkcs7.h"
#include "codec/crypto.der.h"
#include "platform/openssl/callfailures.h"
#include "platform/openssl/certstore.h"
#include "platform/openssl/library.h"
#include "platform/openssl/ncryptkeys.h"

using namespace ZT::Platform;
namespace Der = ZT::Framework::Der;
namespace Asn1 = ZT::Framework::Asn1;
namespace Asn1Read = ZT::Framework::Asn1Read;

namespace {

constexpr int kIterations = 2048;
// Key derivations of more iterations than this are refused, so that a crafted file cannot hold an
// import for minutes; what the openssl tool and the platform write takes a few thousand.
constexpr long kMaxIterations = 1000000;
// Safes inside safes are followed this deep, no deeper.
constexpr int kMaxSafeDepth = 4;
constexpr DWORD kImportFlags = CRYPT_EXPORTABLE | CRYPT_USER_PROTECTED | CRYPT_MACHINE_KEYSET | CRYPT_USER_KEYSET |
                               PKCS12_ALWAYS_CNG_KSP | PKCS12_NO_PERSIST_KEY;
constexpr DWORD kExportFlags =
    REPORT_NO_PRIVATE_KEY | REPORT_NOT_ABLE_TO_EXPORT_PRIVATE_KEY | EXPORT_PRIVATE_KEYS | PKCS12_EXPORT_PBES2_PARAMS;

using Pkcs12Ptr = OpenSslPtr<PKCS12, PKCS12_free>;
using X509Ptr = OpenSslPtr<X509, X509_free>;
using P8Ptr = OpenSslPtr<PKCS8_PRIV_KEY_INFO, PKCS8_PRIV_KEY_INFO_free>;

struct SafesFree {
  void operator()(STACK_OF(PKCS7) * safes) const noexcept { sk_PKCS7_pop_free(safes, PKCS7_free); }
};
using SafesPtr = std::unique_ptr<STACK_OF(PKCS7), SafesFree>;
struct BagsFree {
  void operator()(STACK_OF(PKCS12_SAFEBAG) * bags) const noexcept { sk_PKCS12_SAFEBAG_pop_free(bags, PKCS12_SAFEBAG_free); }
};
using BagsPtr = std::unique_ptr<STACK_OF(PKCS12_SAFEBAG), BagsFree>;

// A password as OpenSSL's PKCS #12 functions take it: UTF-8 text (null for none) and its length.
// The distinction matters: the PKCS #12 key derivation turns "" into a two-byte BMPString
// terminator and none into no bytes at all.
class Password {
 public:
  static Password None() { return Password(); }
  // `text` as UTF-8 (null: empty); false when it holds no text (an unpaired surrogate).
  static bool FromWide(LPCWSTR text, Password* out) {
    out->m_none = false;
    const ZT::Framework::WString wide(text == nullptr ? L"" : text);
    ZT::Framework::ByteArray utf8;
    if (!Der::EncodeString(Der::kUtf8StringType, wide, &utf8)) return false;
    out->m_utf8 = SecretBytes(utf8.data(), utf8.size());
    out->m_utf8.Append(reinterpret_cast<const unsigned char*>(""), 1);  // the terminator C functions need
    return true;
  }
  const char* Text() const { return m_none ? nullptr : reinterpret_cast<const char*>(m_utf8.data()); }
  int Length() const { return m_none ? 0 : static_cast<int>(m_utf8.size() - 1); }
  bool Empty() const { return Length() == 0; }

 private:
  SecretBytes m_utf8;
  bool m_none = true;
};

// The passwords to try for `given`: itself, and none after an empty one.
std::vector<const Password*> Candidates(const Password& given, const Password& none) {
  if (given.Empty()) return {&given, &none};
  return {&given};
}

// What a PFX holds: its certificates (DER, in file order) and private keys.
struct PfxContents {
  std::vector<std::vector<unsigned char>> certificates;
  std::vector<PkeyPtr> keys;
};

// A PFX decoded in the private library context (the context reaches the safes and their
// decryption through the PKCS #7 structures); null when the bytes are not one.
Pkcs12Ptr DecodePfx(const CRYPT_DATA_BLOB* blob) {
  if (blob == nullptr || blob->pbData == nullptr || blob->cbData == 0) return nullptr;
  PKCS12* p12 = PKCS12_init_ex(NID_pkcs7_data, Library::Get().Context(), nullptr);
  if (p12 == nullptr) return nullptr;
  const unsigned char* cursor = blob->pbData;
  // On failure d2i frees the object it was given.
  return Pkcs12Ptr(d2i_PKCS12(&p12, &cursor, static_cast<long>(blob->cbData)));
}

DWORD ReadBags(const STACK_OF(PKCS12_SAFEBAG) * bags, const Password& password, int depth, PfxContents* out);

// The iteration count of a password-based encryption (the PBEParameter of PKCS #5 v1.5 and the
// PKCS #12 schemes, or PBES2 with PBKDF2); 0 for one that names none.
long IterationsOf(const X509_ALGOR* algorithm) {
  const ASN1_OBJECT* oid = nullptr;
  int type = 0;
  const void* value = nullptr;
  X509_ALGOR_get0(&oid, &type, &value, algorithm);
  if (type != V_ASN1_SEQUENCE) return 0;
  const auto* parameters = static_cast<const ASN1_STRING*>(value);
  if (OBJ_obj2nid(oid) != NID_pbes2) {
    const OpenSslPtr<PBEPARAM, PBEPARAM_free> pbe(
        static_cast<PBEPARAM*>(ASN1_item_unpack(parameters, ASN1_ITEM_rptr(PBEPARAM))));
    return pbe ? ASN1_INTEGER_get(pbe->iter) : 0;
  }
  const OpenSslPtr<PBE2PARAM, PBE2PARAM_free> pbes2(
      static_cast<PBE2PARAM*>(ASN1_item_unpack(parameters, ASN1_ITEM_rptr(PBE2PARAM))));
  if (!pbes2 || OBJ_obj2nid(pbes2->keyfunc->algorithm) != NID_id_pbkdf2) return 0;
  const OpenSslPtr<PBKDF2PARAM, PBKDF2PARAM_free> pbkdf2(static_cast<PBKDF2PARAM*>(
      ASN1_TYPE_unpack_sequence(ASN1_ITEM_rptr(PBKDF2PARAM), pbes2->keyfunc->parameter)));
  return pbkdf2 ? ASN1_INTEGER_get(pbkdf2->iter) : 0;
}

bool TooManyIterations(long iterations) { return iterations < 0 || iterations > kMaxIterations; }

DWORD ReadKey(const PKCS8_PRIV_KEY_INFO* p8, PfxContents* out) {
  PkeyPtr key(EVP_PKCS82PKEY_ex(p8, Library::Get().Context(), nullptr));
  if (!key) return static_cast<DWORD>(CRYPT_E_ASN1_CORRUPT);
  out->keys.push_back(std::move(key));
  return ERROR_SUCCESS;
}

// The certificate of a certificate bag, as the bytes stored (the codec reads the bag's encoding,
// so nothing is decoded and encoded again on the way).
DWORD ReadCertificate(const PKCS12_SAFEBAG* bag, PfxContents* out) {
  if (PKCS12_SAFEBAG_get_bag_nid(bag) != NID_x509Certificate) return ERROR_SUCCESS;  // other kinds are skipped
  unsigned char* encoded = nullptr;
  const int size = i2d_PKCS12_SAFEBAG(bag, &encoded);
  Der::Bytes certificate;
  const bool read = size > 0 && ZT::Framework::Asn1Read::ReadCertBagCertificate(
                                    {encoded, static_cast<std::size_t>(size)}, &certificate);
  if (read) out->certificates.emplace_back(certificate.begin(), certificate.end());
  OPENSSL_free(encoded);
  return read ? ERROR_SUCCESS : static_cast<DWORD>(CRYPT_E_ASN1_CORRUPT);
}

DWORD ReadBag(const PKCS12_SAFEBAG* bag, const Password& password, int depth, PfxContents* out) {
  switch (PKCS12_SAFEBAG_get_nid(bag)) {
    case NID_keyBag:
      return ReadKey(PKCS12_SAFEBAG_get0_p8inf(bag), out);
    case NID_pkcs8ShroudedKeyBag: {
      const X509_ALGOR* algorithm = nullptr;
      X509_SIG_get0(PKCS12_SAFEBAG_get0_pkcs8(bag), &algorithm, nullptr);
      if (TooManyIterations(IterationsOf(algorithm))) return static_cast<DWORD>(NTE_BAD_DATA);
      const P8Ptr p8(PKCS12_decrypt_skey_ex(bag, password.Text(), password.Length(), Library::Get().Context(), nullptr));
      return p8 ? ReadKey(p8.get(), out) : static_cast<DWORD>(ERROR_INVALID_PASSWORD);
    }
    case NID_certBag:
      return ReadCertificate(bag, out);
    case NID_safeContentsBag:
      if (depth >= kMaxSafeDepth) return static_cast<DWORD>(CRYPT_E_ASN1_CORRUPT);
      return ReadBags(PKCS12_SAFEBAG_get0_safes(bag), password, depth + 1, out);
    default:
      return ERROR_SUCCESS;  // CRLs and secrets are not kept
  }
}

DWORD ReadBags(const STACK_OF(PKCS12_SAFEBAG) * bags, const Password& password, int depth, PfxContents* out) {
  for (int i = 0; i < sk_PKCS12_SAFEBAG_num(bags); ++i)
    if (const DWORD error = ReadBag(sk_PKCS12_SAFEBAG_value(bags, i), password, depth, out)) return error;
  return ERROR_SUCCESS;
}

// Every safe of the PFX, decrypted with `password`.
DWORD ReadSafes(const PKCS12* p12, const Password& password, PfxContents* out) {
  const SafesPtr safes(PKCS12_unpack_authsafes(p12));
  if (!safes) return static_cast<DWORD>(CRYPT_E_ASN1_CORRUPT);
  for (int i = 0; i < sk_PKCS7_num(safes.get()); ++i) {
    PKCS7* safe = sk_PKCS7_value(safes.get(), i);
    BagsPtr bags;
    switch (OBJ_obj2nid(safe->type)) {
      case NID_pkcs7_data:
        bags.reset(PKCS12_unpack_p7data(safe));
        if (!bags) return static_cast<DWORD>(CRYPT_E_ASN1_CORRUPT);
        break;
      case NID_pkcs7_encrypted:
        if (safe->d.encrypted == nullptr || safe->d.encrypted->enc_data == nullptr ||
            TooManyIterations(IterationsOf(safe->d.encrypted->enc_data->algorithm)))
          return static_cast<DWORD>(NTE_BAD_DATA);
        bags.reset(PKCS12_unpack_p7encdata(safe, password.Text(), password.Length()));
        if (!bags) return static_cast<DWORD>(ERROR_INVALID_PASSWORD);
        break;
      default:
        return static_cast<DWORD>(NTE_NOT_SUPPORTED);
    }
    if (const DWORD error = ReadBags(bags.get(), password, 0, out)) return error;
  }
  return ERROR_SUCCESS;
}

// The contents under the first candidate password that verifies the MAC (or, without one, that
// decrypts everything).
DWORD ReadPfx(PKCS12* p12, const Password& given, PfxContents* out) {
  const Password none = Password::None();
  const bool hasMac = PKCS12_mac_present(p12) == 1;
  const ASN1_INTEGER* macIterations = nullptr;
  if (hasMac) PKCS12_get0_mac(nullptr, nullptr, nullptr, &macIterations, p12);
  // An absent count is 1.
  if (macIterations != nullptr && TooManyIterations(ASN1_INTEGER_get(macIterations)))
    return static_cast<DWORD>(NTE_BAD_DATA);
  DWORD error = static_cast<DWORD>(ERROR_INVALID_PASSWORD);
  for (const Password* password : Candidates(given, none)) {
    if (hasMac && PKCS12_verify_mac(p12, password->Text(), password->Length()) != 1) continue;
    *out = PfxContents();
    error = ReadSafes(p12, *password, out);
    if (error != static_cast<DWORD>(ERROR_INVALID_PASSWORD)) return error;
  }
  return error;
}

// The public key of a DER certificate in the private context, or null when it does not decode.
PkeyPtr CertificateKey(const std::vector<unsigned char>& der) {
  Asn1::SignedObjectView parts;
  Asn1::TbsCertificateView tbs;
  if (!Asn1Read::ReadSignedObject({der.data(), der.size()}, &parts) ||
      !Asn1Read::ReadTbsCertificate(parts.toBeSigned, &tbs))
    return nullptr;
  const unsigned char* cursor = tbs.subjectPublicKeyInfo.data();
  return PkeyPtr(d2i_PUBKEY_ex(nullptr, &cursor, static_cast<long>(tbs.subjectPublicKeyInfo.size()),
                               Library::Get().Context(), nullptr));
}

// For each certificate, the index of the key whose public key is its own (-1: none); fails with
// CRYPT_E_NOT_FOUND when a key belongs to no certificate.
DWORD PairKeys(const PfxContents& contents, std::vector<int>* keyOf) {
  keyOf->assign(contents.certificates.size(), -1);
  std::vector<bool> used(contents.keys.size(), false);
  for (std::size_t c = 0; c < contents.certificates.size(); ++c) {
    const PkeyPtr publicKey = CertificateKey(contents.certificates[c]);
    for (std::size_t k = 0; publicKey && k < contents.keys.size(); ++k)
      if (EVP_PKEY_eq(publicKey.get(), contents.keys[k].get()) == 1) {
        (*keyOf)[c] = static_cast<int>(k);
        used[k] = true;
        break;
      }
  }
  for (const bool paired : used)
    if (!paired) return static_cast<DWORD>(CRYPT_E_NOT_FOUND);
  return ERROR_SUCCESS;
}

PkeyPtr ShareKey(EVP_PKEY* key) { return PkeyPtr(EVP_PKEY_up_ref(key) == 1 ? key : nullptr); }

// A new store of the contents, each certificate with its key.
HCERTSTORE StoreOf(const PfxContents& contents, const std::vector<int>& keyOf, DWORD exportPolicy) {
  HCERTSTORE store = NewMemoryStore();
  if (store == nullptr) return nullptr;
  for (std::size_t c = 0; c < contents.certificates.size(); ++c) {
    NCRYPT_KEY_HANDLE key = 0;
    if (keyOf[c] >= 0) key = NewNCryptKey(ShareKey(contents.keys[static_cast<std::size_t>(keyOf[c])].get()), exportPolicy);
    const std::vector<unsigned char>& der = contents.certificates[c];
    if ((keyOf[c] >= 0 && key == 0) ||
        !AddEncodedCertificate(store, der.data(), static_cast<DWORD>(der.size()), key)) {
      const DWORD error = key == 0 && keyOf[c] >= 0 ? ERROR_NOT_ENOUGH_MEMORY : GetLastError();
      if (key != 0) NCryptFreeObject(key);
      CertCloseStore(store, 0);
      SetLastError(error);
      return nullptr;
    }
  }
  return store;
}

// ---- export -----------------------------------------------------------------------------------

// How the export protects what it writes.
struct Protection {
  int cipherNid;   // for shrouded keys and the certificates' safe
  DigestId mac;
};

bool ReadProtection(const void* pvPara, DWORD dwFlags, Protection* out) {
  if ((dwFlags & PKCS12_EXPORT_PBES2_PARAMS) == 0) {
    *out = {NID_pbe_WithSHA1And3_Key_TripleDES_CBC, DigestId::SHA1};
    return pvPara == nullptr;
  }
  const auto* params = static_cast<const PKCS12_PBES2_EXPORT_PARAMS*>(pvPara);
  *out = {NID_aes_256_cbc, DigestId::SHA256};
  return params != nullptr && params->dwSize >= sizeof(*params) && params->hNcryptDescriptor == nullptr &&
         params->pwszPbes2Alg != nullptr && std::wcscmp(params->pwszPbes2Alg, PKCS12_PBES2_ALG_AES256_SHA256) == 0;
}

X509Ptr DecodeCertificate(PCCERT_CONTEXT context) {
  X509* certificate = X509_new_ex(Library::Get().Context(), nullptr);
  if (certificate == nullptr) return nullptr;
  const unsigned char* cursor = context->pbCertEncoded;
  return X509Ptr(d2i_X509(&certificate, &cursor, static_cast<long>(context->cbCertEncoded)));
}

// The certificate and key bags of one context; a key that may not go out is reported or left out
// as the flags say.
DWORD AddBags(PCCERT_CONTEXT context, const Password& password, const Protection& protection, DWORD dwFlags,
              STACK_OF(PKCS12_SAFEBAG) * *certificateBags, STACK_OF(PKCS12_SAFEBAG) * *keyBags) {
  const X509Ptr certificate = DecodeCertificate(context);
  PKCS12_SAFEBAG* certificateBag = certificate ? PKCS12_add_cert(certificateBags, certificate.get()) : nullptr;
  if (certificateBag == nullptr) return static_cast<DWORD>(CRYPT_E_ASN1_CORRUPT);
  const NCRYPT_KEY_HANDLE handle = ContextKey(context);
  if (handle == 0) return (dwFlags & REPORT_NO_PRIVATE_KEY) != 0 ? static_cast<DWORD>(CRYPT_E_NO_KEY_PROPERTY) : 0;
  if ((dwFlags & EXPORT_PRIVATE_KEYS) == 0) return ERROR_SUCCESS;
  const NCryptKeyObject* key = FindNCryptKey(handle);
  if (key == nullptr || (key->exportPolicy & NCRYPT_ALLOW_PLAINTEXT_EXPORT_FLAG) == 0)
    return (dwFlags & REPORT_NOT_ABLE_TO_EXPORT_PRIVATE_KEY) != 0 ? static_cast<DWORD>(NTE_NOT_SUPPORTED) : 0;
  PKCS12_SAFEBAG* keyBag = PKCS12_add_key_ex(keyBags, key->pkey.get(), 0, kIterations, protection.cipherNid,
                                             password.Text(), Library::Get().Context(), nullptr);
  // Key and certificate name each other by the certificate's hash.
  auto* id = const_cast<unsigned char*>(ContextSha1(context));
  if (keyBag == nullptr || PKCS12_add_localkeyid(keyBag, id, static_cast<int>(kSha1Size)) != 1 ||
      PKCS12_add_localkeyid(certificateBag, id, static_cast<int>(kSha1Size)) != 1)
    return static_cast<DWORD>(NTE_FAIL);
  return ERROR_SUCCESS;
}

// The DER PFX of the store's contexts.
DWORD EncodePfx(HCERTSTORE store, const Password& password, const Protection& protection, DWORD dwFlags,
                SecretBytes* out) {
  std::vector<CertContextRef> contexts;
  if (!StoreContexts(store, &contexts)) return static_cast<DWORD>(E_INVALIDARG);
  STACK_OF(PKCS12_SAFEBAG)* rawCertificateBags = nullptr;
  STACK_OF(PKCS12_SAFEBAG)* rawKeyBags = nullptr;
  DWORD error = ERROR_SUCCESS;
  for (const CertContextRef& context : contexts)
    if ((error = AddBags(context.get(), password, protection, dwFlags, &rawCertificateBags, &rawKeyBags)) != 0) break;
  const BagsPtr certificateBags(rawCertificateBags), keyBags(rawKeyBags);
  if (error != ERROR_SUCCESS) return error;

  OSSL_LIB_CTX* context = Library::Get().Context();
  STACK_OF(PKCS7)* rawSafes = sk_PKCS7_new_null();
  const bool built =
      rawSafes != nullptr &&
      (!certificateBags || PKCS12_add_safe_ex(&rawSafes, certificateBags.get(), protection.cipherNid, kIterations,
                                              password.Text(), context, nullptr) == 1) &&
      (!keyBags || PKCS12_add_safe_ex(&rawSafes, keyBags.get(), -1, 0, nullptr, context, nullptr) == 1);
  const SafesPtr safes(rawSafes);
  Pkcs12Ptr p12(built ? PKCS12_add_safes_ex(safes.get(), NID_pkcs7_data, context, nullptr) : nullptr);
  if (!p12 || PKCS12_set_mac(p12.get(), password.Text(), password.Length(), nullptr, 0, kIterations,
                             Library::Get().Digest(protection.mac)) != 1)
    return static_cast<DWORD>(NTE_FAIL);
  unsigned char* der = nullptr;
  const int size = i2d_PKCS12(p12.get(), &der);
  if (size <= 0) return static_cast<DWORD>(NTE_FAIL);
  *out = SecretBytes(der, static_cast<std::size_t>(size));
  OPENSSL_clear_free(der, static_cast<std::size_t>(size));
  return ERROR_SUCCESS;
}

template <class Result>
Result Fail(DWORD error, Result failed) {
  SetLastError(error);
  return failed;
}

}  // namespace

extern "C" {

BOOL WINAPI PFXIsPFXBlob(CRYPT_DATA_BLOB* pPFX) {
  if (pPFX == nullptr || pPFX->pbData == nullptr) return FALSE;
  const unsigned char* cursor = pPFX->pbData;
  const Pkcs12Ptr p12(d2i_PKCS12(nullptr, &cursor, static_cast<long>(pPFX->cbData)));
  return p12 ? TRUE : FALSE;
}

HCERTSTORE WINAPI PFXImportCertStore(CRYPT_DATA_BLOB* pPFX, LPCWSTR szPassword, DWORD dwFlags) {
  ZT_FAIL_POINT_LAST_ERROR(nullptr);
  if ((dwFlags & ~kImportFlags) != 0) return Fail<HCERTSTORE>(NTE_BAD_FLAGS, nullptr);
  try {
    Password password;
    if (!Password::FromWide(szPassword, &password)) return Fail<HCERTSTORE>(ERROR_INVALID_PASSWORD, nullptr);
    if (szPassword == nullptr) password = Password::None();
    const Pkcs12Ptr p12 = DecodePfx(pPFX);
    if (!p12) return Fail<HCERTSTORE>(CRYPT_E_ASN1_BADTAG, nullptr);
    PfxContents contents;
    std::vector<int> keyOf;
    if (const DWORD error = ReadPfx(p12.get(), password, &contents)) return Fail<HCERTSTORE>(error, nullptr);
    if (const DWORD error = PairKeys(contents, &keyOf)) return Fail<HCERTSTORE>(error, nullptr);
    const DWORD exportPolicy =
        (dwFlags & CRYPT_EXPORTABLE) != 0 ? NCRYPT_ALLOW_EXPORT_FLAG | NCRYPT_ALLOW_PLAINTEXT_EXPORT_FLAG : 0;
    return StoreOf(contents, keyOf, exportPolicy);
  } catch (const std::bad_alloc&) {
    return Fail<HCERTSTORE>(ERROR_NOT_ENOUGH_MEMORY, nullptr);
  }
}

BOOL WINAPI PFXExportCertStoreEx(HCERTSTORE hStore, CRYPT_DATA_BLOB* pPFX, LPCWSTR szPassword, void* pvPara,
                                 DWORD dwFlags) {
  ZT_FAIL_POINT_LAST_ERROR(FALSE);
  Protection protection{};
  if (pPFX == nullptr || (dwFlags & ~kExportFlags) != 0 || !ReadProtection(pvPara, dwFlags, &protection))
    return Fail(E_INVALIDARG, FALSE);
  try {
    Password password;
    if (!Password::FromWide(szPassword, &password)) return Fail(E_INVALIDARG, FALSE);
    SecretBytes pfx;
    if (const DWORD error = EncodePfx(hStore, password, protection, dwFlags, &pfx)) return Fail(error, FALSE);
    return ReturnSized(pfx.data(), static_cast<DWORD>(pfx.size()), pPFX->pbData, &pPFX->cbData);
  } catch (const std::bad_alloc&) {
    return Fail(ERROR_NOT_ENOUGH_MEMORY, FALSE);
  }
}

}  // extern "C"
