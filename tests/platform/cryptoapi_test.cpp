// The CryptoAPI subset: contexts, plaintext key blobs against SP 800-38A / SP 800-67 / FIPS 81
// with the providers' PKCS #5 final block and CBC chaining, and RSA PUBLICKEYBLOB encryption
// decrypted by the openssl tool.

#include <algorithm>

#include "platform_test_util.h"

using namespace zttest;

namespace {

const Bytes kPlain = FromHex(
    "6bc1bee22e409f96e93d7e117393172a ae2d8a571e03ac9c9eb76fac45af8e51"
    "30c81c46a35ce411e5fbc1191a0a52ef f69f2445df4f9b17ad2b417be66c3710");
const Bytes kIv = FromHex("000102030405060708090a0b0c0d0e0f");
const char* kAes128Key = "2b7e151628aed2a6abf7158809cf4f3c";
const char* kAes128Cbc =
    "7649abac8119b246cee98e9b12e9197d5086cb9b507219ee95db113a917678b273bed6b8e3c1743b7116e69e222295163ff1caa1681fac09120eca307586e1a7";

Bytes PlaintextBlob(ALG_ID algorithm, const Bytes& key, BYTE type = PLAINTEXTKEYBLOB, BYTE version = CUR_BLOB_VERSION) {
  BLOBHEADER header{type, version, 0, algorithm};
  Bytes blob(reinterpret_cast<unsigned char*>(&header), reinterpret_cast<unsigned char*>(&header) + sizeof(header));
  const DWORD length = static_cast<DWORD>(key.size());
  blob.insert(blob.end(), reinterpret_cast<const unsigned char*>(&length), reinterpret_cast<const unsigned char*>(&length) + 4);
  blob.insert(blob.end(), key.begin(), key.end());
  return blob;
}

// The RSA PUBLICKEYBLOB of the fixture key: header, RSAPUBKEY, modulus little-endian.
Bytes RsaPublicKeyBlob(ALG_ID algorithm = CALG_RSA_KEYX, DWORD magic = 0x31415352) {
  const Bytes n = FromHex(ReadFixtureText("rsa2048.n.hex"));
  BLOBHEADER header{PUBLICKEYBLOB, CUR_BLOB_VERSION, 0, algorithm};
  RSAPUBKEY rsa{magic, 2048, 65537};
  Bytes blob(reinterpret_cast<unsigned char*>(&header), reinterpret_cast<unsigned char*>(&header) + sizeof(header));
  blob.insert(blob.end(), reinterpret_cast<unsigned char*>(&rsa), reinterpret_cast<unsigned char*>(&rsa) + sizeof(rsa));
  blob.insert(blob.end(), n.rbegin(), n.rend());
  return blob;
}

BOOL Import(HCRYPTPROV provider, const Bytes& blob, CryptKeyHandle* key, DWORD flags = 0) {
  return CryptImportKey(provider, blob.data(), static_cast<DWORD>(blob.size()), 0, flags, &key->handle);
}

void SetParam(HCRYPTKEY key, DWORD param, const void* value) {
  ASSERT_TRUE(CryptSetKeyParam(key, param, static_cast<const BYTE*>(value), 0));
}

// CryptEncrypt as the engines call it: size first, then the data in a buffer of that size.
Bytes Encrypt(HCRYPTKEY key, const Bytes& data, BOOL final, DWORD flags = 0) {
  DWORD size = static_cast<DWORD>(data.size());
  EXPECT_TRUE(CryptEncrypt(key, 0, final, flags, nullptr, &size, 0));
  Bytes buffer(std::max<std::size_t>(size, data.size()));
  std::copy(data.begin(), data.end(), buffer.begin());
  DWORD length = static_cast<DWORD>(data.size());
  EXPECT_TRUE(CryptEncrypt(key, 0, final, flags, buffer.data(), &length, static_cast<DWORD>(buffer.size())))
      << std::hex << GetLastError();
  buffer.resize(length);
  return buffer;
}

Bytes Decrypt(HCRYPTKEY key, Bytes data, BOOL final, BOOL* ok = nullptr) {
  DWORD length = static_cast<DWORD>(data.size());
  const BOOL result = CryptDecrypt(key, 0, final, 0, data.data(), &length);
  if (ok != nullptr) *ok = result;
  else
    EXPECT_TRUE(result) << std::hex << GetLastError();
  data.resize(result ? length : 0);
  return data;
}

Bytes Concat(Bytes a, const Bytes& b) {
  a.insert(a.end(), b.begin(), b.end());
  return a;
}

}  // namespace

TEST(CryptoApiContext, AcquiresTheNamedProvidersOnly) {
  for (auto [name, type] : {std::pair<const wchar_t*, DWORD>{MS_ENHANCED_PROV_W, PROV_RSA_FULL},
                            {MS_ENH_RSA_AES_PROV_XP_W, PROV_RSA_AES},
                            {MS_ENH_RSA_AES_PROV_W, PROV_RSA_AES},
                            {nullptr, PROV_RSA_FULL},
                            {nullptr, PROV_RSA_AES},
                            {L"microsoft enhanced cryptographic provider v1.0", PROV_RSA_FULL}}) {
    CryptContext context(name, type);
    EXPECT_TRUE(context.ok) << std::hex << GetLastError();
  }
  CryptContext newKeyset(MS_ENH_RSA_AES_PROV_XP_W, PROV_RSA_AES, 0xF0000008);
  EXPECT_TRUE(newKeyset.ok);

  HCRYPTPROV handle = 0;
  auto fails = [&](const wchar_t* container, const wchar_t* name, DWORD type, DWORD flags) {
    SetLastError(0);
    return CryptAcquireContextW(&handle, container, name, type, flags) ? 0 : GetLastError();
  };
  EXPECT_EQ(fails(nullptr, MS_ENHANCED_PROV_W, PROV_RSA_AES, CRYPT_VERIFYCONTEXT), Code(NTE_PROV_TYPE_NO_MATCH));
  EXPECT_EQ(fails(nullptr, L"Some Provider", PROV_RSA_FULL, CRYPT_VERIFYCONTEXT), Code(NTE_KEYSET_NOT_DEF));
  EXPECT_EQ(fails(nullptr, nullptr, 999, CRYPT_VERIFYCONTEXT), Code(NTE_PROV_TYPE_NOT_DEF));
  EXPECT_EQ(fails(nullptr, nullptr, PROV_RSA_FULL, 0), Code(NTE_BAD_KEYSET)) << "no key containers here";
  EXPECT_EQ(fails(nullptr, nullptr, PROV_RSA_FULL, CRYPT_VERIFYCONTEXT | 0x4), Code(NTE_BAD_FLAGS));
  EXPECT_EQ(fails(L"container", nullptr, PROV_RSA_FULL, CRYPT_VERIFYCONTEXT), Code(NTE_BAD_FLAGS));
  EXPECT_EQ(CryptAcquireContextW(nullptr, nullptr, nullptr, PROV_RSA_FULL, CRYPT_VERIFYCONTEXT), FALSE);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_PARAMETER));
  EXPECT_EQ(handle, 0u);

  HCRYPTPROV released = 0;
  ASSERT_TRUE(CryptAcquireContextW(&released, nullptr, nullptr, PROV_RSA_FULL, CRYPT_VERIFYCONTEXT));
  EXPECT_FALSE(CryptReleaseContext(released, 1));
  EXPECT_EQ(GetLastError(), Code(NTE_BAD_FLAGS));
  EXPECT_TRUE(CryptReleaseContext(released, 0));
  EXPECT_FALSE(CryptReleaseContext(released, 0));
  EXPECT_EQ(GetLastError(), Code(NTE_BAD_UID));
  Bytes buffer(8);
  EXPECT_FALSE(CryptGenRandom(released, 8, buffer.data()));
  EXPECT_EQ(GetLastError(), Code(NTE_BAD_UID));
}

TEST(CryptoApiContext, GeneratesRandomBytes) {
  CryptContext context(nullptr, PROV_RSA_FULL);
  Bytes a(32, 0), b(32, 0);
  ASSERT_TRUE(CryptGenRandom(context, 32, a.data()));
  ASSERT_TRUE(CryptGenRandom(context, 32, b.data()));
  EXPECT_NE(a, Bytes(32, 0));
  EXPECT_NE(a, b);
  EXPECT_FALSE(CryptGenRandom(context, 8, nullptr));
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_PARAMETER));
}

TEST(CryptoApiCipher, FinalCallAppendsAPkcs5BlockAfterSp80038aCbc) {
  CryptContext context(MS_ENH_RSA_AES_PROV_XP_W, PROV_RSA_AES);
  CryptKeyHandle key;
  ASSERT_TRUE(Import(context, PlaintextBlob(CALG_AES_128, FromHex(kAes128Key)), &key));
  const DWORD cbc = CRYPT_MODE_CBC;
  SetParam(key, KP_MODE, &cbc);
  SetParam(key, KP_IV, kIv.data());

  // Size query, then a buffer that is too small, then the real call.
  DWORD size = 64;
  ASSERT_TRUE(CryptEncrypt(key, 0, TRUE, 0, nullptr, &size, 0));
  EXPECT_EQ(size, 80u) << "an aligned final call gains a whole padding block";
  Bytes buffer = kPlain;
  size = 64;
  EXPECT_FALSE(CryptEncrypt(key, 0, TRUE, 0, buffer.data(), &size, 64));
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_MORE_DATA));
  EXPECT_EQ(size, 80u);

  const Bytes cipher = Encrypt(key, kPlain, TRUE);
  ASSERT_EQ(cipher.size(), 80u);
  EXPECT_EQ(ToHex(Bytes(cipher.begin(), cipher.begin() + 64)), kAes128Cbc);
  // The chaining restarted after the final call: the same message gives the same output, and
  // a non-final decryption shows the padding block of sixteen 0x10 bytes.
  EXPECT_EQ(Encrypt(key, kPlain, TRUE), cipher);
  EXPECT_EQ(Decrypt(key, cipher, FALSE), Concat(kPlain, Bytes(16, 0x10)));
  SetParam(key, KP_IV, kIv.data());
  EXPECT_EQ(Decrypt(key, cipher, TRUE), kPlain);
  // The engines pad themselves and then call with Final: the provider pads once more.
  EXPECT_EQ(Encrypt(key, Concat(kPlain, Bytes(16, 0x10)), TRUE).size(), 96u);
}

TEST(CryptoApiCipher, NonFinalCallsCarryTheChaining) {
  CryptContext context(MS_ENH_RSA_AES_PROV_W, PROV_RSA_AES);
  CryptKeyHandle key;
  ASSERT_TRUE(Import(context, PlaintextBlob(CALG_AES, FromHex(kAes128Key)), &key));
  SetParam(key, KP_IV, kIv.data());  // CBC is the default mode
  const Bytes first = Encrypt(key, Bytes(kPlain.begin(), kPlain.begin() + 32), FALSE);
  const Bytes rest = Encrypt(key, Bytes(kPlain.begin() + 32, kPlain.end()), TRUE);
  EXPECT_EQ(ToHex(Concat(first, Bytes(rest.begin(), rest.begin() + 32))), kAes128Cbc);
  EXPECT_EQ(rest.size(), 48u);

  Bytes odd(20, 1);
  DWORD length = 20;
  EXPECT_FALSE(CryptEncrypt(key, 0, FALSE, 0, odd.data(), &length, 20));
  EXPECT_EQ(GetLastError(), Code(NTE_BAD_DATA)) << "a non-final call takes whole blocks";
  // Thirteen bytes gain three bytes of 03 in the final block.
  const Bytes sealed = Encrypt(key, Bytes(13, 7), TRUE);
  ASSERT_EQ(sealed.size(), 16u);
  EXPECT_EQ(ToHex(Decrypt(key, sealed, FALSE)), "07070707070707070707070707030303");
}

TEST(CryptoApiCipher, AesKeySizesMatchSp80038aInEcb) {
  CryptContext context(MS_ENH_RSA_AES_PROV_XP_W, PROV_RSA_AES);
  const DWORD ecb = CRYPT_MODE_ECB;
  const struct {
    ALG_ID algorithm;
    const char* key;
    const char* ecb;
  } vectors[] = {
      {CALG_AES_192, "8e73b0f7da0e6452c810f32b809079e562f8ead2522c6b7b",
       "bd334f1d6e45f25ff712a214571fa5cc974104846d0ad3ad7734ecb3ecee4eefef7afd2270e2e60adce0ba2face6444e9a4b41ba738d6c72fb16691603c18e0e"},
      {CALG_AES, "603deb1015ca71be2b73aef0857d77811f352c073b6108d72d9810a30914dff4",
       "f3eed1bdb5d2a03c064b5a7e3db181f8591ccb10d410ed26dc5ba74a31362870b6ed21b99ca6f4f9f153e7b1beafed1d23304b7a39f9f3ff067d8d8f9e24ecc7"},
  };
  for (const auto& v : vectors) {
    CryptKeyHandle key;
    ASSERT_TRUE(Import(context, PlaintextBlob(v.algorithm, FromHex(v.key)), &key));
    SetParam(key, KP_MODE, &ecb);
    const Bytes cipher = Encrypt(key, kPlain, TRUE);
    EXPECT_EQ(ToHex(Bytes(cipher.begin(), cipher.begin() + 64)), v.ecb);
    EXPECT_EQ(Decrypt(key, cipher, TRUE), kPlain);
  }
}

TEST(CryptoApiCipher, TripleDesAndDesMatchPublishedExamples) {
  CryptContext context(MS_ENHANCED_PROV_W, PROV_RSA_FULL);
  const Bytes fox = FromText("The qufck brown fox jump");
  const Bytes k123 = FromHex("0123456789ABCDEF 23456789ABCDEF01 456789ABCDEF0123");
  const DWORD ecb = CRYPT_MODE_ECB;
  CryptKeyHandle tdes;
  ASSERT_TRUE(Import(context, PlaintextBlob(CALG_3DES, k123), &tdes));
  SetParam(tdes, KP_MODE, &ecb);
  EXPECT_EQ(ToHex(Decrypt(tdes, FromHex("a826fd8ce53b855fcce21c8112256fe668d5c05dd9b6b900"), FALSE)), ToHex(fox));
  const DWORD cbc = CRYPT_MODE_CBC;
  SetParam(tdes, KP_MODE, &cbc);
  const Bytes iv = FromHex("0001020304050607");
  SetParam(tdes, KP_IV, iv.data());
  const Bytes cipher = Encrypt(tdes, fox, TRUE);
  ASSERT_EQ(cipher.size(), 32u);
  EXPECT_EQ(ToHex(Bytes(cipher.begin(), cipher.begin() + 24)), ReadFixtureText("tdes-cbc.hex"));
  EXPECT_EQ(Decrypt(tdes, cipher, TRUE), fox);

  // Two-key triple DES is K1 K2 K1.
  CryptKeyHandle twoKey, threeKey;
  ASSERT_TRUE(Import(context, PlaintextBlob(CALG_3DES_112, FromHex("0123456789ABCDEF 23456789ABCDEF01")), &twoKey));
  ASSERT_TRUE(Import(context, PlaintextBlob(CALG_3DES, FromHex("0123456789ABCDEF 23456789ABCDEF01 0123456789ABCDEF")),
                     &threeKey));
  EXPECT_EQ(Encrypt(twoKey, fox, TRUE), Encrypt(threeKey, fox, TRUE));

  CryptKeyHandle des;
  ASSERT_TRUE(Import(context, PlaintextBlob(CALG_DES, FromHex("0123456789abcdef")), &des));
  const Bytes desIv = FromHex("1234567890abcdef");
  SetParam(des, KP_IV, desIv.data());
  const Bytes desCipher = Encrypt(des, FromText("Now is the time for all "), TRUE);
  EXPECT_EQ(ToHex(Bytes(desCipher.begin(), desCipher.begin() + 24)), "e5c7cdde872bf27c43e934008c389c0f683788499a7c05f6");
}

TEST(CryptoApiCipher, DecryptionChecksBlocksAndPadding) {
  CryptContext context(MS_ENH_RSA_AES_PROV_XP_W, PROV_RSA_AES);
  CryptKeyHandle key;
  ASSERT_TRUE(Import(context, PlaintextBlob(CALG_AES_128, FromHex(kAes128Key)), &key));
  BOOL ok = TRUE;
  Decrypt(key, Bytes(20, 1), FALSE, &ok);
  EXPECT_FALSE(ok);
  EXPECT_EQ(GetLastError(), Code(NTE_BAD_DATA));
  // A final block that does not end in valid padding.
  const Bytes unpadded = Encrypt(key, Bytes(16, 0), FALSE);
  Decrypt(key, unpadded, TRUE, &ok);
  EXPECT_FALSE(ok);
  EXPECT_EQ(GetLastError(), Code(NTE_BAD_DATA));
  Decrypt(key, Bytes(), TRUE, &ok);
  EXPECT_FALSE(ok);
  DWORD length = 16;
  Bytes data(16);
  EXPECT_FALSE(CryptDecrypt(key, 0, TRUE, 1, data.data(), &length));
  EXPECT_EQ(GetLastError(), Code(NTE_BAD_FLAGS));
  EXPECT_FALSE(CryptDecrypt(key, 5, TRUE, 0, data.data(), &length));
  EXPECT_EQ(GetLastError(), Code(NTE_BAD_HASH));
}

TEST(CryptoApiCipher, ImportAndKeyParametersRefuseWhatDoesNotFit) {
  CryptContext full(MS_ENHANCED_PROV_W, PROV_RSA_FULL);
  CryptContext aes(MS_ENH_RSA_AES_PROV_XP_W, PROV_RSA_AES);
  CryptKeyHandle key;
  auto importError = [&](HCRYPTPROV provider, const Bytes& blob, DWORD flags = 0) {
    SetLastError(0);
    return Import(provider, blob, &key, flags) ? 0 : GetLastError();
  };
  const Bytes key16(16, 1);
  EXPECT_EQ(importError(full, PlaintextBlob(CALG_AES_128, key16)), Code(NTE_BAD_ALGID)) << "AES needs PROV_RSA_AES";
  EXPECT_EQ(importError(aes, PlaintextBlob(0x6602, key16)), Code(NTE_BAD_ALGID));
  EXPECT_EQ(importError(aes, PlaintextBlob(CALG_AES_256, key16)), Code(NTE_BAD_DATA));
  EXPECT_EQ(importError(aes, PlaintextBlob(CALG_3DES, key16)), Code(NTE_BAD_DATA)) << "3DES takes three keys here";
  EXPECT_EQ(importError(aes, PlaintextBlob(CALG_AES_128, key16, SIMPLEBLOB)), Code(NTE_BAD_TYPE));
  EXPECT_EQ(importError(aes, PlaintextBlob(CALG_AES_128, key16, PLAINTEXTKEYBLOB, 3)), Code(NTE_BAD_VER));
  EXPECT_EQ(importError(aes, PlaintextBlob(CALG_AES_128, key16), 0x1000), Code(NTE_BAD_FLAGS));
  Bytes truncated = PlaintextBlob(CALG_AES_128, key16);
  truncated.pop_back();
  EXPECT_EQ(importError(aes, truncated), Code(NTE_BAD_DATA));
  EXPECT_EQ(importError(aes, Bytes(4, 8)), Code(NTE_BAD_DATA));
  EXPECT_FALSE(CryptImportKey(aes, nullptr, 0, 0, 0, &key.handle));
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_PARAMETER));
  const Bytes good = PlaintextBlob(CALG_AES_128, key16);
  EXPECT_FALSE(CryptImportKey(0x1234, good.data(), static_cast<DWORD>(good.size()), 0, 0, &key.handle));
  EXPECT_EQ(GetLastError(), Code(NTE_BAD_UID));
  EXPECT_EQ(key.handle, 0u);

  ASSERT_TRUE(Import(aes, good, &key));
  auto paramError = [&](DWORD param, DWORD value, DWORD flags = 0) {
    SetLastError(0);
    return CryptSetKeyParam(key, param, reinterpret_cast<const BYTE*>(&value), flags) ? 0 : GetLastError();
  };
  EXPECT_EQ(paramError(KP_PADDING, PKCS5_PADDING), 0u);
  EXPECT_EQ(paramError(KP_PADDING, 3), Code(NTE_BAD_DATA)) << "PKCS #5 is the only padding";
  EXPECT_EQ(paramError(KP_MODE, CRYPT_MODE_OFB), Code(NTE_BAD_DATA));
  EXPECT_EQ(paramError(KP_SALT, 0), Code(NTE_BAD_TYPE));
  EXPECT_EQ(paramError(KP_MODE, CRYPT_MODE_ECB, 1), Code(NTE_BAD_FLAGS));
  EXPECT_FALSE(CryptSetKeyParam(key, KP_IV, nullptr, 0));
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_PARAMETER));

  const HCRYPTKEY stale = key.handle;
  ASSERT_TRUE(CryptDestroyKey(stale));
  key.handle = 0;
  Bytes data(16);
  DWORD length = 16;
  for (HCRYPTKEY bad : {stale, HCRYPTKEY{0}, static_cast<HCRYPTKEY>(aes.handle)}) {
    EXPECT_FALSE(CryptEncrypt(bad, 0, TRUE, 0, data.data(), &length, 16));
    EXPECT_EQ(GetLastError(), Code(NTE_BAD_KEY));
    EXPECT_FALSE(CryptDecrypt(bad, 0, TRUE, 0, data.data(), &length));
    EXPECT_EQ(GetLastError(), Code(NTE_BAD_KEY));
    EXPECT_FALSE(CryptSetKeyParam(bad, KP_IV, data.data(), 0));
    EXPECT_EQ(GetLastError(), Code(NTE_BAD_KEY));
    EXPECT_FALSE(CryptDestroyKey(bad));
    EXPECT_EQ(GetLastError(), Code(NTE_BAD_KEY));
  }
}

TEST(CryptoApiRsa, EncryptsLittleEndianPkcs1AndOaepThatTheOpensslToolDecrypts) {
  CryptContext context(MS_ENH_RSA_AES_PROV_XP_W, PROV_RSA_AES, 0xF0000008);
  CryptKeyHandle key;
  ASSERT_TRUE(Import(context, RsaPublicKeyBlob(), &key)) << std::hex << GetLastError();
  const Bytes hello = FromText("fallback says hello");

  DWORD size = static_cast<DWORD>(hello.size());
  ASSERT_TRUE(CryptEncrypt(key, 0, TRUE, 0, nullptr, &size, 0));
  EXPECT_EQ(size, 256u);
  Bytes small = hello;
  size = static_cast<DWORD>(hello.size());
  EXPECT_FALSE(CryptEncrypt(key, 0, TRUE, 0, small.data(), &size, static_cast<DWORD>(small.size())));
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_MORE_DATA));
  EXPECT_EQ(size, 256u);

  Bytes cipher = Encrypt(key, hello, TRUE);
  ASSERT_EQ(cipher.size(), 256u);
  std::reverse(cipher.begin(), cipher.end());  // CryptoAPI returns it little-endian
  EXPECT_EQ(OpensslDecrypt(cipher, "-pkeyopt rsa_padding_mode:pkcs1"), hello);

  Bytes oaep = Encrypt(key, hello, TRUE, CRYPT_OAEP);
  std::reverse(oaep.begin(), oaep.end());
  EXPECT_EQ(OpensslDecrypt(oaep, "-pkeyopt rsa_padding_mode:oaep -pkeyopt rsa_oaep_md:sha1"), hello);
}

TEST(CryptoApiRsa, RefusesLongDataDecryptionAndSignatureKeys) {
  CryptContext context(MS_ENHANCED_PROV_W, PROV_RSA_FULL);
  CryptKeyHandle key;
  ASSERT_TRUE(Import(context, RsaPublicKeyBlob(), &key));
  Bytes buffer(256, 1);
  auto encryptError = [&](DWORD length, DWORD flags) {
    SetLastError(0);
    return CryptEncrypt(key, 0, TRUE, flags, buffer.data(), &length, 256) ? 0 : GetLastError();
  };
  EXPECT_EQ(encryptError(245, 0), 0u);
  EXPECT_EQ(encryptError(246, 0), Code(NTE_BAD_LEN));
  EXPECT_EQ(encryptError(256, 0), Code(NTE_BAD_LEN)) << "data the caller padded itself is too long";
  EXPECT_EQ(encryptError(214, CRYPT_OAEP), 0u);
  EXPECT_EQ(encryptError(215, CRYPT_OAEP), Code(NTE_BAD_LEN));
  EXPECT_EQ(encryptError(10, 0x2), Code(NTE_BAD_FLAGS));
  DWORD length = 256;
  EXPECT_FALSE(CryptDecrypt(key, 0, TRUE, 0, buffer.data(), &length));
  EXPECT_EQ(GetLastError(), Code(NTE_BAD_KEY));

  CryptKeyHandle signature;
  ASSERT_TRUE(Import(context, RsaPublicKeyBlob(CALG_RSA_SIGN), &signature));
  length = 10;
  EXPECT_FALSE(CryptEncrypt(signature, 0, TRUE, 0, buffer.data(), &length, 256));
  EXPECT_EQ(GetLastError(), Code(NTE_BAD_KEY));

  CryptKeyHandle bad;
  SetLastError(0);
  EXPECT_FALSE(Import(context, RsaPublicKeyBlob(CALG_RSA_KEYX, 0x32415352), &bad)) << "RSA2 in a public blob";
  EXPECT_EQ(GetLastError(), Code(NTE_BAD_DATA));
  Bytes truncated = RsaPublicKeyBlob();
  truncated.resize(truncated.size() - 1);
  EXPECT_FALSE(Import(context, truncated, &bad));
  EXPECT_EQ(GetLastError(), Code(NTE_BAD_DATA));
  EXPECT_FALSE(Import(context, RsaPublicKeyBlob(CALG_AES_128), &bad));
  EXPECT_EQ(GetLastError(), Code(NTE_BAD_ALGID));
}
