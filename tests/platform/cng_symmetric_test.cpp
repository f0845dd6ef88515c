// CNG block ciphers against NIST SP 800-38A (AES), SP 800-67 (TDES) and FIPS 81 (DES), with
// CNG's IV, padding and size-query conventions and its key blob checks.

#include <algorithm>

#include "platform_test_util.h"

using namespace zttest;

namespace {

const Bytes kPlain = FromHex(
    "6bc1bee22e409f96e93d7e117393172a ae2d8a571e03ac9c9eb76fac45af8e51"
    "30c81c46a35ce411e5fbc1191a0a52ef f69f2445df4f9b17ad2b417be66c3710");
const Bytes kIv = FromHex("000102030405060708090a0b0c0d0e0f");

struct AesVector {
  const char* key;
  const char* ecb;
  const char* cbc;
};
const AesVector kAes[] = {
    {"2b7e151628aed2a6abf7158809cf4f3c",
     "3ad77bb40d7a3660a89ecaf32466ef97f5d3d58503b9699de785895a96fdbaaf43b1cd7f598ece23881b00e3ed0306887b0c785e27e8ad3f8223207104725dd4",
     "7649abac8119b246cee98e9b12e9197d5086cb9b507219ee95db113a917678b273bed6b8e3c1743b7116e69e222295163ff1caa1681fac09120eca307586e1a7"},
    {"8e73b0f7da0e6452c810f32b809079e562f8ead2522c6b7b",
     "bd334f1d6e45f25ff712a214571fa5cc974104846d0ad3ad7734ecb3ecee4eefef7afd2270e2e60adce0ba2face6444e9a4b41ba738d6c72fb16691603c18e0e",
     "4f021db243bc633d7178183a9fa071e8b4d9ada9ad7dedf4e5e738763f69145a571b242012fb7ae07fa9baac3df102e008b0e27988598881d920a9e64f5615cd"},
    {"603deb1015ca71be2b73aef0857d77811f352c073b6108d72d9810a30914dff4",
     "f3eed1bdb5d2a03c064b5a7e3db181f8591ccb10d410ed26dc5ba74a31362870b6ed21b99ca6f4f9f153e7b1beafed1d23304b7a39f9f3ff067d8d8f9e24ecc7",
     "f58c4c04d6e5f1ba779eabfb5f7bfbd69cfc4e967edb808d679f777bc6702c7d39f23369a9d9bacfa530e26304231461b2eb05e2c39be9fcda6c19078c6a9d1b"},
};

void SetMode(BCRYPT_HANDLE object, const wchar_t* mode) {
  ASSERT_EQ(BCryptSetProperty(object, BCRYPT_CHAINING_MODE, reinterpret_cast<PUCHAR>(const_cast<wchar_t*>(mode)),
                              static_cast<ULONG>((std::wcslen(mode) + 1) * sizeof(wchar_t)), 0),
            STATUS_SUCCESS);
}

ULONG UlongProperty(BCRYPT_HANDLE object, const wchar_t* name) {
  ULONG value = 0;
  ULONG got = 0;
  EXPECT_EQ(BCryptGetProperty(object, name, reinterpret_cast<PUCHAR>(&value), sizeof(value), &got, 0), STATUS_SUCCESS);
  return value;
}

std::wstring ModeOf(BCRYPT_HANDLE object) {
  wchar_t mode[32] = {};
  ULONG got = 0;
  EXPECT_EQ(BCryptGetProperty(object, BCRYPT_CHAINING_MODE, reinterpret_cast<PUCHAR>(mode), sizeof(mode), &got, 0),
            STATUS_SUCCESS);
  return mode;
}

NTSTATUS Import(BCRYPT_ALG_HANDLE provider, const Bytes& key, Key* out, PUCHAR object = nullptr, ULONG objectSize = 0) {
  Bytes blob = KeyDataBlob(key);
  return BCryptImportKey(provider, nullptr, BCRYPT_KEY_DATA_BLOB, &out->handle, object, objectSize, blob.data(),
                         static_cast<ULONG>(blob.size()), 0);
}

// Encrypts or decrypts with the two-call pattern of the engines: size first, then data.
Bytes Cipher(bool encrypt, BCRYPT_KEY_HANDLE key, const Bytes& input, Bytes* iv, ULONG flags, NTSTATUS* status = nullptr) {
  auto call = encrypt ? BCryptEncrypt : BCryptDecrypt;
  PUCHAR ivData = iv != nullptr ? iv->data() : nullptr;
  const ULONG ivSize = iv != nullptr ? static_cast<ULONG>(iv->size()) : 0;
  ULONG size = 0;
  NTSTATUS result = call(key, const_cast<PUCHAR>(input.data()), static_cast<ULONG>(input.size()), nullptr, ivData, ivSize,
                         nullptr, 0, &size, flags);
  Bytes output(size);
  if (NT_SUCCESS(result))
    result = call(key, const_cast<PUCHAR>(input.data()), static_cast<ULONG>(input.size()), nullptr, ivData, ivSize,
                  output.data(), size, &size, flags);
  if (status != nullptr) *status = result;
  else
    EXPECT_EQ(result, STATUS_SUCCESS);
  output.resize(NT_SUCCESS(result) ? size : 0);
  return output;
}

}  // namespace

TEST(CngSymmetric, AesMatchesSp80038aInEcbAndCbc) {
  Provider aes(L"AES");
  for (const AesVector& v : kAes) {
    SetMode(aes, BCRYPT_CHAIN_MODE_ECB);
    Key ecb;
    ASSERT_EQ(Import(aes, FromHex(v.key), &ecb), STATUS_SUCCESS);
    EXPECT_EQ(ToHex(Cipher(true, ecb, kPlain, nullptr, 0)), v.ecb);
    EXPECT_EQ(Cipher(false, ecb, FromHex(v.ecb), nullptr, 0), kPlain);

    SetMode(aes, BCRYPT_CHAIN_MODE_CBC);
    Key cbc;
    ASSERT_EQ(Import(aes, FromHex(v.key), &cbc), STATUS_SUCCESS);
    Bytes iv = kIv;
    const Bytes cipher = Cipher(true, cbc, kPlain, &iv, 0);
    EXPECT_EQ(ToHex(cipher), v.cbc);
    // CNG leaves the last ciphertext block in the IV buffer, ready for the next call.
    EXPECT_EQ(iv, Bytes(cipher.end() - 16, cipher.end()));
    iv = kIv;
    EXPECT_EQ(Cipher(false, cbc, cipher, &iv, 0), kPlain);
    EXPECT_EQ(iv, Bytes(cipher.end() - 16, cipher.end()));
  }
}

TEST(CngSymmetric, CbcCarriesChainingThroughTheIvBufferAcrossCalls) {
  Provider aes(L"AES");
  Key key;
  ASSERT_EQ(Import(aes, FromHex(kAes[0].key), &key), STATUS_SUCCESS);
  Bytes iv = kIv;
  Bytes first = Cipher(true, key, Bytes(kPlain.begin(), kPlain.begin() + 16), &iv, 0);
  Bytes rest = Cipher(true, key, Bytes(kPlain.begin() + 16, kPlain.end()), &iv, 0);
  first.insert(first.end(), rest.begin(), rest.end());
  EXPECT_EQ(ToHex(first), kAes[0].cbc);

  // Without an IV buffer the key's own register chains, starting from zero: the same as a
  // zero IV buffer kept by the caller.
  Key own;
  ASSERT_EQ(Import(aes, FromHex(kAes[0].key), &own), STATUS_SUCCESS);
  Bytes zero(16, 0);
  const Bytes expected = Cipher(true, key, kPlain, &zero, 0);
  Bytes a = Cipher(true, own, Bytes(kPlain.begin(), kPlain.begin() + 32), nullptr, 0);
  Bytes b = Cipher(true, own, Bytes(kPlain.begin() + 32, kPlain.end()), nullptr, 0);
  a.insert(a.end(), b.begin(), b.end());
  EXPECT_EQ(a, expected);
}

TEST(CngSymmetric, BlockPaddingAddsAndChecksPkcs7) {
  Provider aes(L"AES");
  Key key;
  ASSERT_EQ(Import(aes, FromHex(kAes[0].key), &key), STATUS_SUCCESS);
  ULONG size = 0;
  // Size queries: an aligned input gains a whole block; unpadded sizes stay.
  EXPECT_EQ(BCryptEncrypt(key, const_cast<PUCHAR>(kPlain.data()), 64, nullptr, nullptr, 0, nullptr, 0, &size,
                          BCRYPT_BLOCK_PADDING),
            STATUS_SUCCESS);
  EXPECT_EQ(size, 80u);
  EXPECT_EQ(BCryptEncrypt(key, const_cast<PUCHAR>(kPlain.data()), 13, nullptr, nullptr, 0, nullptr, 0, &size,
                          BCRYPT_BLOCK_PADDING),
            STATUS_SUCCESS);
  EXPECT_EQ(size, 16u);

  Bytes iv = kIv;
  const Bytes padded = Cipher(true, key, kPlain, &iv, BCRYPT_BLOCK_PADDING);
  ASSERT_EQ(padded.size(), 80u);
  EXPECT_EQ(ToHex(Bytes(padded.begin(), padded.begin() + 64)), kAes[0].cbc);
  iv = kIv;
  EXPECT_EQ(Cipher(false, key, padded, &iv, 0), [] {
    Bytes expected = kPlain;
    expected.insert(expected.end(), 16, 0x10);
    return expected;
  }()) << "the padding block is sixteen 0x10 bytes";
  iv = kIv;
  EXPECT_EQ(Cipher(false, key, padded, &iv, BCRYPT_BLOCK_PADDING), kPlain);

  // A partial block: 13 bytes gain three bytes of 03.
  iv = kIv;
  const Bytes short13(kPlain.begin(), kPlain.begin() + 13);
  const Bytes sealed = Cipher(true, key, short13, &iv, BCRYPT_BLOCK_PADDING);
  iv = kIv;
  const Bytes opened = Cipher(false, key, sealed, &iv, 0);
  EXPECT_EQ(ToHex(Bytes(opened.begin() + 13, opened.end())), "030303");
}

TEST(CngSymmetric, RefusesBadLengthsAndBadPadding) {
  Provider aes(L"AES");
  Key key;
  ASSERT_EQ(Import(aes, FromHex(kAes[0].key), &key), STATUS_SUCCESS);
  Bytes data(20, 1);
  Bytes out(64);
  ULONG size = 0;
  EXPECT_EQ(BCryptEncrypt(key, data.data(), 20, nullptr, nullptr, 0, out.data(), 64, &size, 0), STATUS_INVALID_BUFFER_SIZE);
  EXPECT_EQ(BCryptDecrypt(key, data.data(), 20, nullptr, nullptr, 0, out.data(), 64, &size, BCRYPT_BLOCK_PADDING),
            STATUS_INVALID_BUFFER_SIZE);
  EXPECT_EQ(BCryptEncrypt(key, data.data(), 16, nullptr, nullptr, 0, out.data(), 15, &size, 0), STATUS_BUFFER_TOO_SMALL);
  EXPECT_EQ(size, 16u);
  EXPECT_EQ(BCryptEncrypt(key, data.data(), 16, nullptr, nullptr, 0, out.data(), 16, &size, BCRYPT_BLOCK_PADDING),
            STATUS_BUFFER_TOO_SMALL);
  EXPECT_EQ(size, 32u);
  EXPECT_EQ(BCryptEncrypt(key, data.data(), 16, nullptr, nullptr, 0, out.data(), 64, &size, 0x100),
            STATUS_INVALID_PARAMETER);
  EXPECT_EQ(BCryptEncrypt(key, data.data(), 16, nullptr, nullptr, 0, out.data(), 64, nullptr, 0), STATUS_INVALID_PARAMETER);
  Bytes iv8(8);
  EXPECT_EQ(BCryptEncrypt(key, data.data(), 16, nullptr, iv8.data(), 8, out.data(), 64, &size, 0), STATUS_INVALID_PARAMETER)
      << "a CBC IV must be one block";

  // Ciphertext whose last block does not decrypt to valid padding.
  Bytes iv = kIv;
  const Bytes bad = Cipher(true, key, Bytes(16, 0x00), &iv, 0);
  iv = kIv;
  std::fill(out.begin(), out.end(), 0xEE);
  EXPECT_EQ(BCryptDecrypt(key, const_cast<PUCHAR>(bad.data()), 16, nullptr, iv.data(), 16, out.data(), 64, &size,
                          BCRYPT_BLOCK_PADDING),
            STATUS_DATA_ERROR);
  EXPECT_TRUE(std::all_of(out.begin(), out.end(), [](unsigned char b) { return b == 0xEE; }))
      << "a refused decryption wrote to the output";
  EXPECT_EQ(iv, kIv) << "a refused decryption moved the IV";
}

TEST(CngSymmetric, EcbIgnoresTheIvBufferAndEncryptsInPlace) {
  Provider aes(L"AES");
  SetMode(aes, BCRYPT_CHAIN_MODE_ECB);
  Key key;
  ASSERT_EQ(Import(aes, FromHex(kAes[0].key), &key), STATUS_SUCCESS);
  Bytes iv = FromHex("00112233");
  Bytes data = kPlain;
  ULONG size = 0;
  EXPECT_EQ(BCryptEncrypt(key, data.data(), 64, nullptr, iv.data(), 4, data.data(), 64, &size, 0), STATUS_SUCCESS);
  EXPECT_EQ(ToHex(data), kAes[0].ecb);
  EXPECT_EQ(ToHex(iv), "00112233");
}

TEST(CngSymmetric, TripleDesAndDesMatchPublishedExamples) {
  const Bytes fox = FromText("The qufck brown fox jump");
  const Bytes k1 = FromHex("0123456789ABCDEF"), k2 = FromHex("23456789ABCDEF01"), k3 = FromHex("456789ABCDEF0123");
  Bytes k123 = k1;
  k123.insert(k123.end(), k2.begin(), k2.end());
  k123.insert(k123.end(), k3.begin(), k3.end());

  Provider tdes(L"3DES");
  SetMode(tdes, BCRYPT_CHAIN_MODE_ECB);
  Key ecb;
  ASSERT_EQ(Import(tdes, k123, &ecb), STATUS_SUCCESS);
  EXPECT_EQ(ToHex(Cipher(true, ecb, fox, nullptr, 0)), "a826fd8ce53b855fcce21c8112256fe668d5c05dd9b6b900");  // SP 800-67
  SetMode(tdes, BCRYPT_CHAIN_MODE_CBC);
  Key cbc;
  ASSERT_EQ(Import(tdes, k123, &cbc), STATUS_SUCCESS);
  Bytes iv = FromHex("0001020304050607");
  const Bytes cipher = Cipher(true, cbc, fox, &iv, 0);
  EXPECT_EQ(ToHex(cipher), ReadFixtureText("tdes-cbc.hex"));
  iv = FromHex("0001020304050607");
  EXPECT_EQ(Cipher(false, cbc, cipher, &iv, 0), fox);

  // Two-key triple DES is K1 K2 K1.
  Provider tdes112(L"3DES_112");
  SetMode(tdes112, BCRYPT_CHAIN_MODE_ECB);
  Bytes k12 = k1;
  k12.insert(k12.end(), k2.begin(), k2.end());
  Bytes k121 = k12;
  k121.insert(k121.end(), k1.begin(), k1.end());
  Key twoKey, threeKey;
  ASSERT_EQ(Import(tdes112, k12, &twoKey), STATUS_SUCCESS);
  ASSERT_EQ(Import(tdes, k121, &threeKey), STATUS_SUCCESS);
  SetMode(threeKey, BCRYPT_CHAIN_MODE_ECB);
  EXPECT_EQ(Cipher(true, twoKey, fox, nullptr, 0), Cipher(true, threeKey, fox, nullptr, 0));
  EXPECT_NE(Cipher(true, twoKey, fox, nullptr, 0), Cipher(true, ecb, fox, nullptr, 0));

  // FIPS 81: "Now is the time for all " under 0123456789abcdef.
  Provider des(L"DES");
  Key desCbc;
  ASSERT_EQ(Import(des, k1, &desCbc), STATUS_SUCCESS);
  iv = FromHex("1234567890abcdef");
  EXPECT_EQ(ToHex(Cipher(true, desCbc, FromText("Now is the time for all "), &iv, 0)),
            "e5c7cdde872bf27c43e934008c389c0f683788499a7c05f6");
  SetMode(desCbc, BCRYPT_CHAIN_MODE_ECB);
  EXPECT_EQ(ToHex(Cipher(true, desCbc, FromText("Now is t"), nullptr, 0)), "3fa40e8a984d4815");
}

TEST(CngSymmetric, KeysReportTheirPropertiesAndInheritTheProviderMode) {
  Provider aes(L"AES");
  EXPECT_EQ(UlongProperty(aes, BCRYPT_BLOCK_LENGTH), 16u);
  BCRYPT_KEY_LENGTHS_STRUCT lengths{};
  ULONG got = 0;
  EXPECT_EQ(BCryptGetProperty(aes, BCRYPT_KEY_LENGTHS, reinterpret_cast<PUCHAR>(&lengths), sizeof(lengths), &got, 0),
            STATUS_SUCCESS);
  EXPECT_EQ(lengths.dwMinLength, 128u);
  EXPECT_EQ(lengths.dwMaxLength, 256u);
  EXPECT_EQ(lengths.dwIncrement, 64u);
  EXPECT_EQ(ModeOf(aes), BCRYPT_CHAIN_MODE_CBC) << "CBC is the default";

  Key before;
  ASSERT_EQ(Import(aes, Bytes(24, 7), &before), STATUS_SUCCESS);
  SetMode(aes, BCRYPT_CHAIN_MODE_ECB);
  Key after;
  ASSERT_EQ(Import(aes, Bytes(32, 7), &after), STATUS_SUCCESS);
  EXPECT_EQ(ModeOf(before), BCRYPT_CHAIN_MODE_CBC);
  EXPECT_EQ(ModeOf(after), BCRYPT_CHAIN_MODE_ECB);
  EXPECT_EQ(UlongProperty(before, BCRYPT_KEY_LENGTH), 192u);
  EXPECT_EQ(UlongProperty(after, BCRYPT_KEY_LENGTH), 256u);
  EXPECT_EQ(UlongProperty(after, BCRYPT_BLOCK_LENGTH), 16u);

  const wchar_t cfb[] = L"ChainingModeCFB";
  EXPECT_EQ(BCryptSetProperty(aes, BCRYPT_CHAINING_MODE, reinterpret_cast<PUCHAR>(const_cast<wchar_t*>(cfb)), sizeof(cfb), 0),
            STATUS_NOT_SUPPORTED);
  const wchar_t unterminated[3] = {L'E', L'C', L'B'};
  EXPECT_EQ(BCryptSetProperty(aes, BCRYPT_CHAINING_MODE, reinterpret_cast<PUCHAR>(const_cast<wchar_t*>(unterminated)),
                              sizeof(unterminated), 0),
            STATUS_INVALID_PARAMETER);

  Provider des(L"DES");
  EXPECT_EQ(UlongProperty(des, BCRYPT_BLOCK_LENGTH), 8u);
  Key desKey;
  ASSERT_EQ(Import(des, Bytes(8, 1), &desKey), STATUS_SUCCESS);
  EXPECT_EQ(UlongProperty(desKey, BCRYPT_KEY_LENGTH), 56u);
}

TEST(CngSymmetric, ImportChecksTheBlobAndTheObjectMemory) {
  Provider aes(L"AES");
  const ULONG objectLength = UlongProperty(aes, BCRYPT_OBJECT_LENGTH);
  Bytes object(objectLength, 0xA5);
  Key key;
  Bytes blob = KeyDataBlob(FromHex(kAes[0].key));
  auto import = [&](Bytes b, const wchar_t* type = BCRYPT_KEY_DATA_BLOB, ULONG objectSize = 0) {
    return BCryptImportKey(aes, nullptr, type, &key.handle, objectSize != 0 ? object.data() : nullptr, objectSize, b.data(),
                           static_cast<ULONG>(b.size()), 0);
  };
  Bytes wrongMagic = blob;
  wrongMagic[0] ^= 1;
  Bytes wrongVersion = blob;
  wrongVersion[4] = 2;
  Bytes truncated(blob.begin(), blob.end() - 1);
  EXPECT_EQ(import(wrongMagic), STATUS_INVALID_PARAMETER);
  EXPECT_EQ(import(wrongVersion), STATUS_INVALID_PARAMETER);
  EXPECT_EQ(import(truncated), STATUS_INVALID_PARAMETER);
  EXPECT_EQ(import(Bytes(blob.begin(), blob.begin() + 8)), STATUS_INVALID_PARAMETER);
  EXPECT_EQ(import(KeyDataBlob(Bytes(20, 1))), STATUS_INVALID_PARAMETER) << "AES takes 16, 24 or 32 bytes";
  EXPECT_EQ(import(blob, BCRYPT_OPAQUE_KEY_BLOB), STATUS_INVALID_PARAMETER);
  EXPECT_EQ(import(blob, BCRYPT_KEY_DATA_BLOB, objectLength - 1), STATUS_BUFFER_TOO_SMALL);
  EXPECT_EQ(key.handle, nullptr);

  Provider tdes(L"3DES");
  Bytes twoKeys = KeyDataBlob(Bytes(16, 1));
  EXPECT_EQ(BCryptImportKey(tdes, nullptr, BCRYPT_KEY_DATA_BLOB, &key.handle, nullptr, 0, twoKeys.data(),
                            static_cast<ULONG>(twoKeys.size()), 0),
            STATUS_INVALID_PARAMETER)
      << "3DES takes three keys";
  Provider sha(L"SHA256");
  EXPECT_EQ(BCryptImportKey(sha, nullptr, BCRYPT_KEY_DATA_BLOB, &key.handle, nullptr, 0, blob.data(),
                            static_cast<ULONG>(blob.size()), 0),
            STATUS_NOT_SUPPORTED);

  // The key lives in the object memory, and its bytes are gone from it after destruction.
  ASSERT_EQ(import(blob, BCRYPT_KEY_DATA_BLOB, objectLength), STATUS_SUCCESS);
  const Bytes raw = FromHex(kAes[0].key);
  EXPECT_NE(std::search(object.begin(), object.end(), raw.begin(), raw.end()), object.end());
  ASSERT_EQ(BCryptDestroyKey(key.handle), STATUS_SUCCESS);
  EXPECT_EQ(std::search(object.begin(), object.end(), raw.begin(), raw.end()), object.end());
  EXPECT_EQ(BCryptDestroyKey(key.handle), STATUS_INVALID_HANDLE);
  key.handle = nullptr;
}

TEST(CngSymmetric, ExportsTheKeyDataBlobItImported) {
  Provider aes(L"AES");
  Key key;
  const Bytes blob = KeyDataBlob(FromHex(kAes[2].key));
  ASSERT_EQ(Import(aes, FromHex(kAes[2].key), &key), STATUS_SUCCESS);
  ULONG size = 0;
  ASSERT_EQ(BCryptExportKey(key, nullptr, BCRYPT_KEY_DATA_BLOB, nullptr, 0, &size, 0), STATUS_SUCCESS);
  EXPECT_EQ(size, blob.size());
  Bytes exported(size);
  EXPECT_EQ(BCryptExportKey(key, nullptr, BCRYPT_KEY_DATA_BLOB, exported.data(), size - 1, &size, 0), STATUS_BUFFER_TOO_SMALL);
  ASSERT_EQ(BCryptExportKey(key, nullptr, BCRYPT_KEY_DATA_BLOB, exported.data(), size, &size, 0), STATUS_SUCCESS);
  EXPECT_EQ(exported, blob);
  EXPECT_EQ(BCryptExportKey(key, nullptr, BCRYPT_RSAPUBLIC_BLOB, nullptr, 0, &size, 0), STATUS_NOT_SUPPORTED);
}

TEST(CngSymmetric, DestroyedAndForeignKeyHandlesAreRefused) {
  Provider aes(L"AES");
  Key key;
  ASSERT_EQ(Import(aes, Bytes(16, 3), &key), STATUS_SUCCESS);
  BCRYPT_KEY_HANDLE stale = key.handle;
  key.Reset();
  Bytes data(16);
  ULONG size = 0;
  for (BCRYPT_KEY_HANDLE bad : {stale, static_cast<BCRYPT_KEY_HANDLE>(nullptr), aes.handle}) {
    EXPECT_EQ(BCryptEncrypt(bad, data.data(), 16, nullptr, nullptr, 0, data.data(), 16, &size, 0), STATUS_INVALID_HANDLE);
    EXPECT_EQ(BCryptDecrypt(bad, data.data(), 16, nullptr, nullptr, 0, data.data(), 16, &size, 0), STATUS_INVALID_HANDLE);
    EXPECT_EQ(BCryptExportKey(bad, nullptr, BCRYPT_KEY_DATA_BLOB, nullptr, 0, &size, 0), STATUS_INVALID_HANDLE);
    EXPECT_EQ(BCryptDestroyKey(bad), STATUS_INVALID_HANDLE);
  }
  EXPECT_EQ(BCryptGetProperty(stale, BCRYPT_KEY_LENGTH, nullptr, 0, &size, 0), STATUS_INVALID_HANDLE);
}
