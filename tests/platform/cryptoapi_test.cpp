// The CryptoAPI subset: contexts, key blobs against SP 800-38A / SP 800-67 / FIPS 81, RSA.

#include <algorithm>

#include "platform_test_util.h"

using namespace zttest;

namespace {

const DWORD kEcb = CRYPT_MODE_ECB, kCbc = CRYPT_MODE_CBC;

Bytes PlaintextBlob(ALG_ID algorithm, const Bytes& key, BYTE type = PLAINTEXTKEYBLOB, BYTE version = CUR_BLOB_VERSION) {
  return Concat(Concat(BytesOf(BLOBHEADER{type, version, 0, algorithm}), BytesOf(static_cast<DWORD>(key.size()))), key);
}

// The RSA PUBLICKEYBLOB of the fixture key: header, RSAPUBKEY, modulus little-endian.
Bytes RsaPublicKeyBlob(ALG_ID algorithm = CALG_RSA_KEYX, DWORD magic = 0x31415352) {
  Bytes n = FromHex(ReadFixtureText("rsa2048.n.hex"));
  std::reverse(n.begin(), n.end());
  return Concat(Concat(BytesOf(BLOBHEADER{PUBLICKEYBLOB, CUR_BLOB_VERSION, 0, algorithm}), BytesOf(RSAPUBKEY{magic, 2048, 65537})), n);
}

BOOL Import(HCRYPTPROV provider, const Bytes& blob, CryptKeyHandle* key, DWORD flags = 0) {
  return CryptImportKey(provider, blob.data(), static_cast<DWORD>(blob.size()), 0, flags, &key->handle);
}

// An imported key with the given mode (0: the default) and IV (none when null).
void ImportKey(HCRYPTPROV provider, ALG_ID algorithm, const Bytes& raw, CryptKeyHandle* key, DWORD mode = 0,
               const Bytes* iv = nullptr) {
  ASSERT_TRUE(Import(provider, PlaintextBlob(algorithm, raw), key)) << std::hex << GetLastError();
  EXPECT_TRUE(mode == 0 || CryptSetKeyParam(*key, KP_MODE, reinterpret_cast<const BYTE*>(&mode), 0));
  EXPECT_TRUE(iv == nullptr || CryptSetKeyParam(*key, KP_IV, iv->data(), 0));
}

// CryptEncrypt as the engines call it: size first, then the data in a buffer of that size.
Bytes Encrypt(HCRYPTKEY key, const Bytes& data, BOOL final, DWORD flags = 0) {
  DWORD size = static_cast<DWORD>(data.size()), length = size;
  EXPECT_TRUE(CryptEncrypt(key, 0, final, flags, nullptr, &size, 0));
  Bytes buffer = data;
  buffer.resize(std::max<std::size_t>(size, data.size()));
  EXPECT_TRUE(CryptEncrypt(key, 0, final, flags, buffer.data(), &length, static_cast<DWORD>(buffer.size())))
      << std::hex << GetLastError();
  buffer.resize(length);
  return buffer;
}

// The plaintext, or empty with *error set to the last error when the call fails.
Bytes Decrypt(HCRYPTKEY key, Bytes data, BOOL final, DWORD* error = nullptr) {
  DWORD length = static_cast<DWORD>(data.size());
  const DWORD result = ErrorOf(CryptDecrypt(key, 0, final, 0, data.data(), &length));
  if (error != nullptr) *error = result;
  else
    EXPECT_EQ(result, 0u) << std::hex << result;
  data.resize(result == 0 ? length : 0);
  return data;
}

}  // namespace

TEST(CryptoApiContext, AcquiresTheNamedProvidersOnlyAndGeneratesRandomBytes) {
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
    return ErrorOf(CryptAcquireContextW(&handle, container, name, type, flags));
  };
  EXPECT_EQ(fails(nullptr, MS_ENHANCED_PROV_W, PROV_RSA_AES, CRYPT_VERIFYCONTEXT), Code(NTE_PROV_TYPE_NO_MATCH));
  EXPECT_EQ(fails(nullptr, L"Some Provider", PROV_RSA_FULL, CRYPT_VERIFYCONTEXT), Code(NTE_KEYSET_NOT_DEF));
  EXPECT_EQ(fails(nullptr, nullptr, 999, CRYPT_VERIFYCONTEXT), Code(NTE_PROV_TYPE_NOT_DEF));
  EXPECT_EQ(fails(nullptr, nullptr, PROV_RSA_FULL, 0), Code(NTE_BAD_KEYSET)) << "no key containers here";
  EXPECT_EQ(fails(nullptr, nullptr, PROV_RSA_FULL, CRYPT_VERIFYCONTEXT | 0x4), Code(NTE_BAD_FLAGS));
  EXPECT_EQ(fails(L"container", nullptr, PROV_RSA_FULL, CRYPT_VERIFYCONTEXT), Code(NTE_BAD_FLAGS));
  EXPECT_EQ(ErrorOf(CryptAcquireContextW(nullptr, nullptr, nullptr, PROV_RSA_FULL, CRYPT_VERIFYCONTEXT)),
            static_cast<DWORD>(ERROR_INVALID_PARAMETER));
  EXPECT_EQ(handle, 0u);

  HCRYPTPROV released = 0;
  Bytes buffer(8);
  ASSERT_TRUE(CryptAcquireContextW(&released, nullptr, nullptr, PROV_RSA_FULL, CRYPT_VERIFYCONTEXT));
  EXPECT_EQ(ErrorOf(CryptReleaseContext(released, 1)), Code(NTE_BAD_FLAGS));
  EXPECT_TRUE(CryptReleaseContext(released, 0));
  EXPECT_EQ(ErrorOf(CryptReleaseContext(released, 0)), Code(NTE_BAD_UID));
  EXPECT_EQ(ErrorOf(CryptGenRandom(released, 8, buffer.data())), Code(NTE_BAD_UID));

  // Its output is checked through RandomGenerator's CryptoAPI path.
  CryptContext context(nullptr, PROV_RSA_FULL);
  EXPECT_EQ(ErrorOf(CryptGenRandom(context, 8, nullptr)), static_cast<DWORD>(ERROR_INVALID_PARAMETER));
}

TEST(CryptoApiCipher, AesMatchesSp80038aPadsTheFinalCallAndChecksBlocks) {
  CryptContext context(MS_ENH_RSA_AES_PROV_XP_W, PROV_RSA_AES);
  CryptKeyHandle key;
  ImportKey(context, CALG_AES_128, FromHex(kAes[0].key), &key, kCbc, &kIv);

  // Size query, then a buffer that is too small, then the real call.
  DWORD size = 64;
  ASSERT_TRUE(CryptEncrypt(key, 0, TRUE, 0, nullptr, &size, 0));
  EXPECT_EQ(size, 80u) << "an aligned final call gains a whole padding block";
  Bytes buffer = kPlain;
  size = 64;
  EXPECT_EQ(ErrorOf(CryptEncrypt(key, 0, TRUE, 0, buffer.data(), &size, 64)), static_cast<DWORD>(ERROR_MORE_DATA));
  EXPECT_EQ(size, 80u);

  const Bytes cipher = Encrypt(key, kPlain, TRUE);
  ASSERT_EQ(cipher.size(), 80u);
  EXPECT_EQ(ToHex(Head(cipher, 64)), kAes[0].cbc);
  // The chaining restarted after the final call: the same message gives the same output, and
  // a non-final decryption shows the padding block of sixteen 0x10 bytes.
  EXPECT_EQ(Encrypt(key, kPlain, TRUE), cipher);
  EXPECT_EQ(Decrypt(key, cipher, FALSE), Concat(kPlain, Bytes(16, 0x10)));
  ASSERT_TRUE(CryptSetKeyParam(key, KP_IV, kIv.data(), 0));
  EXPECT_EQ(Decrypt(key, cipher, TRUE), kPlain);
  // The engines pad themselves and then call with Final: the provider pads once more.
  EXPECT_EQ(Encrypt(key, Concat(kPlain, Bytes(16, 0x10)), TRUE).size(), 96u);

  // The other key sizes, in ECB.
  for (auto [algorithm, v] : {std::pair<ALG_ID, AesVector>{CALG_AES_192, kAes[1]}, {CALG_AES, kAes[2]}}) {
    CryptKeyHandle sized;
    ImportKey(context, algorithm, FromHex(v.key), &sized, kEcb);
    const Bytes ecb = Encrypt(sized, kPlain, TRUE);
    EXPECT_EQ(ToHex(Head(ecb, 64)), v.ecb);
    EXPECT_EQ(Decrypt(sized, ecb, TRUE), kPlain);
  }

  // Non-final calls carry the chaining and take whole blocks, in CBC, the default mode.
  CryptContext generic(MS_ENH_RSA_AES_PROV_W, PROV_RSA_AES);
  CryptKeyHandle chained;
  ImportKey(generic, CALG_AES, FromHex(kAes[0].key), &chained, 0, &kIv);
  const Bytes first = Encrypt(chained, Head(kPlain, 32), FALSE);
  const Bytes rest = Encrypt(chained, Bytes(kPlain.begin() + 32, kPlain.end()), TRUE);
  EXPECT_EQ(ToHex(Concat(first, Head(rest, 32))), kAes[0].cbc);
  EXPECT_EQ(rest.size(), 48u);

  Bytes odd(20, 1);
  DWORD length = 20;
  EXPECT_EQ(ErrorOf(CryptEncrypt(chained, 0, FALSE, 0, odd.data(), &length, 20)), Code(NTE_BAD_DATA))
      << "a non-final call takes whole blocks";
  // Thirteen bytes gain three bytes of 03 in the final block.
  const Bytes sealed = Encrypt(chained, Bytes(13, 7), TRUE);
  ASSERT_EQ(sealed.size(), 16u);
  EXPECT_EQ(ToHex(Decrypt(chained, sealed, FALSE)), "07070707070707070707070707030303");

  // Decryption takes whole blocks and checks the padding of a final one.
  DWORD error = 0;
  Decrypt(chained, Bytes(20, 1), FALSE, &error);
  EXPECT_EQ(error, Code(NTE_BAD_DATA));
  Decrypt(chained, Encrypt(chained, Bytes(16, 0), FALSE), TRUE, &error);  // a final block without valid padding
  EXPECT_EQ(error, Code(NTE_BAD_DATA));
  Decrypt(chained, Bytes(), TRUE, &error);
  EXPECT_NE(error, 0u);
  Bytes data(16);
  length = 16;
  EXPECT_EQ(ErrorOf(CryptDecrypt(chained, 0, TRUE, 1, data.data(), &length)), Code(NTE_BAD_FLAGS));
  EXPECT_EQ(ErrorOf(CryptDecrypt(chained, 5, TRUE, 0, data.data(), &length)), Code(NTE_BAD_HASH));
}


TEST(CryptoApiCipher, TripleDesAndDesMatchPublishedExamples) {
  CryptContext context(MS_ENHANCED_PROV_W, PROV_RSA_FULL);
  const Bytes iv = FromHex("0001020304050607"), desIv = FromHex(kDesIv);
  CryptKeyHandle tdes, twoKey, threeKey, des;
  ImportKey(context, CALG_3DES, FromHex(kTdesKeys), &tdes, kEcb);
  EXPECT_EQ(ToHex(Decrypt(tdes, FromHex(kTdesEcbFox), FALSE)), ToHex(kFox));
  ASSERT_TRUE(CryptSetKeyParam(tdes, KP_MODE, reinterpret_cast<const BYTE*>(&kCbc), 0));
  ASSERT_TRUE(CryptSetKeyParam(tdes, KP_IV, iv.data(), 0));
  const Bytes cipher = Encrypt(tdes, kFox, TRUE);
  ASSERT_EQ(cipher.size(), 32u);
  EXPECT_EQ(ToHex(Head(cipher, 24)), ReadFixtureText("tdes-cbc.hex"));
  EXPECT_EQ(Decrypt(tdes, cipher, TRUE), kFox);

  // Two-key triple DES is K1 K2 K1.
  ImportKey(context, CALG_3DES_112, FromHex("0123456789ABCDEF 23456789ABCDEF01"), &twoKey);
  ImportKey(context, CALG_3DES, FromHex("0123456789ABCDEF 23456789ABCDEF01 0123456789ABCDEF"), &threeKey);
  EXPECT_EQ(Encrypt(twoKey, kFox, TRUE), Encrypt(threeKey, kFox, TRUE));

  ImportKey(context, CALG_DES, FromHex(kDesKey), &des, 0, &desIv);
  EXPECT_EQ(ToHex(Head(Encrypt(des, kDesPlain, TRUE), 24)), kDesCbc);
}

TEST(CryptoApiCipher, ImportAndKeyParametersRefuseWhatDoesNotFit) {
  CryptContext full(MS_ENHANCED_PROV_W, PROV_RSA_FULL), aes(MS_ENH_RSA_AES_PROV_XP_W, PROV_RSA_AES);
  CryptKeyHandle key;
  auto importError = [&](HCRYPTPROV provider, const Bytes& blob, DWORD flags = 0) {
    SetLastError(0);
    return ErrorOf(Import(provider, blob, &key, flags));
  };
  const Bytes key16(16, 1), good = PlaintextBlob(CALG_AES_128, key16);
  EXPECT_EQ(importError(full, good), Code(NTE_BAD_ALGID)) << "AES needs PROV_RSA_AES";
  EXPECT_EQ(importError(aes, PlaintextBlob(0x6602, key16)), Code(NTE_BAD_ALGID));
  EXPECT_EQ(importError(aes, PlaintextBlob(CALG_AES_256, key16)), Code(NTE_BAD_DATA));
  EXPECT_EQ(importError(aes, PlaintextBlob(CALG_3DES, key16)), Code(NTE_BAD_DATA)) << "3DES takes three keys here";
  EXPECT_EQ(importError(aes, PlaintextBlob(CALG_AES_128, key16, SIMPLEBLOB)), Code(NTE_BAD_TYPE));
  EXPECT_EQ(importError(aes, PlaintextBlob(CALG_AES_128, key16, PLAINTEXTKEYBLOB, 3)), Code(NTE_BAD_VER));
  EXPECT_EQ(importError(aes, good, 0x1000), Code(NTE_BAD_FLAGS));
  EXPECT_EQ(importError(aes, Head(good, good.size() - 1)), Code(NTE_BAD_DATA));
  EXPECT_EQ(importError(aes, Bytes(4, 8)), Code(NTE_BAD_DATA));
  EXPECT_EQ(ErrorOf(CryptImportKey(aes, nullptr, 0, 0, 0, &key.handle)), static_cast<DWORD>(ERROR_INVALID_PARAMETER));
  EXPECT_EQ(importError(0x1234, good), Code(NTE_BAD_UID));
  EXPECT_EQ(key.handle, 0u);

  ASSERT_TRUE(Import(aes, good, &key));
  auto paramError = [&](DWORD param, DWORD value, DWORD flags = 0) {
    SetLastError(0);
    return ErrorOf(CryptSetKeyParam(key, param, reinterpret_cast<const BYTE*>(&value), flags));
  };
  EXPECT_EQ(paramError(KP_PADDING, PKCS5_PADDING), 0u);
  EXPECT_EQ(paramError(KP_PADDING, 3), Code(NTE_BAD_DATA)) << "PKCS #5 is the only padding";
  EXPECT_EQ(paramError(KP_MODE, CRYPT_MODE_OFB), Code(NTE_BAD_DATA));
  EXPECT_EQ(paramError(KP_SALT, 0), Code(NTE_BAD_TYPE));
  EXPECT_EQ(paramError(KP_MODE, CRYPT_MODE_ECB, 1), Code(NTE_BAD_FLAGS));
  EXPECT_EQ(ErrorOf(CryptSetKeyParam(key, KP_IV, nullptr, 0)), static_cast<DWORD>(ERROR_INVALID_PARAMETER));

  const HCRYPTKEY stale = key.handle;
  ASSERT_TRUE(CryptDestroyKey(stale));
  key.handle = 0;
  Bytes data(16);
  DWORD length = 16;
  for (HCRYPTKEY bad : {stale, HCRYPTKEY{0}, static_cast<HCRYPTKEY>(aes.handle)}) {
    EXPECT_EQ(ErrorOf(CryptEncrypt(bad, 0, TRUE, 0, data.data(), &length, 16)), Code(NTE_BAD_KEY));
    EXPECT_EQ(ErrorOf(CryptDecrypt(bad, 0, TRUE, 0, data.data(), &length)), Code(NTE_BAD_KEY));
    EXPECT_EQ(ErrorOf(CryptSetKeyParam(bad, KP_IV, data.data(), 0)), Code(NTE_BAD_KEY));
    EXPECT_EQ(ErrorOf(CryptDestroyKey(bad)), Code(NTE_BAD_KEY));
  }
}

TEST(CryptoApiRsa, EncryptsLittleEndianPkcs1AndOaepThatTheOpensslToolDecryptsAndRefusesWhatDoesNotFit) {
  CryptContext context(MS_ENH_RSA_AES_PROV_XP_W, PROV_RSA_AES, 0xF0000008);
  CryptKeyHandle key;
  ASSERT_TRUE(Import(context, RsaPublicKeyBlob(), &key)) << std::hex << GetLastError();
  const Bytes hello = FromText("fallback says hello");

  DWORD size = static_cast<DWORD>(hello.size());
  ASSERT_TRUE(CryptEncrypt(key, 0, TRUE, 0, nullptr, &size, 0));
  EXPECT_EQ(size, 256u);
  Bytes small = hello;
  size = static_cast<DWORD>(hello.size());
  EXPECT_EQ(ErrorOf(CryptEncrypt(key, 0, TRUE, 0, small.data(), &size, static_cast<DWORD>(small.size()))),
            static_cast<DWORD>(ERROR_MORE_DATA));
  EXPECT_EQ(size, 256u);

  // CryptoAPI returns the ciphertext little-endian.
  for (auto [flags, options] : {std::pair<DWORD, const char*>{0, "-pkeyopt rsa_padding_mode:pkcs1"},
                                {CRYPT_OAEP, "-pkeyopt rsa_padding_mode:oaep -pkeyopt rsa_oaep_md:sha1"}}) {
    Bytes cipher = Encrypt(key, hello, TRUE, flags);
    ASSERT_EQ(cipher.size(), 256u);
    std::reverse(cipher.begin(), cipher.end());
    EXPECT_EQ(OpensslDecrypt(cipher, options), hello) << options;
  }

  // Long data, decryption and signature keys are refused, here on the other provider type.
  CryptContext full(MS_ENHANCED_PROV_W, PROV_RSA_FULL);
  CryptKeyHandle signature, bad;
  key.Reset();
  ASSERT_TRUE(Import(full, RsaPublicKeyBlob(), &key));
  ASSERT_TRUE(Import(full, RsaPublicKeyBlob(CALG_RSA_SIGN), &signature));
  Bytes buffer(256, 1);
  auto encryptError = [&](DWORD length, DWORD flags, HCRYPTKEY with = 0) {
    SetLastError(0);
    return ErrorOf(CryptEncrypt(with ? with : key.handle, 0, TRUE, flags, buffer.data(), &length, 256));
  };
  EXPECT_EQ(encryptError(245, 0), 0u);
  EXPECT_EQ(encryptError(246, 0), Code(NTE_BAD_LEN));
  EXPECT_EQ(encryptError(256, 0), Code(NTE_BAD_LEN)) << "data the caller padded itself is too long";
  EXPECT_EQ(encryptError(214, CRYPT_OAEP), 0u);
  EXPECT_EQ(encryptError(215, CRYPT_OAEP), Code(NTE_BAD_LEN));
  EXPECT_EQ(encryptError(10, 0x2), Code(NTE_BAD_FLAGS));
  EXPECT_EQ(encryptError(10, 0, signature), Code(NTE_BAD_KEY));
  DWORD length = 256;
  EXPECT_EQ(ErrorOf(CryptDecrypt(key, 0, TRUE, 0, buffer.data(), &length)), Code(NTE_BAD_KEY));

  SetLastError(0);
  EXPECT_EQ(ErrorOf(Import(full, RsaPublicKeyBlob(CALG_RSA_KEYX, 0x32415352), &bad)), Code(NTE_BAD_DATA)) << "RSA2";
  const Bytes blob = RsaPublicKeyBlob();
  EXPECT_EQ(ErrorOf(Import(full, Head(blob, blob.size() - 1), &bad)), Code(NTE_BAD_DATA));
  EXPECT_EQ(ErrorOf(Import(full, RsaPublicKeyBlob(CALG_AES_128), &bad)), Code(NTE_BAD_ALGID));
}
