// CNG block ciphers against SP 800-38A (AES), SP 800-67 (TDES) and FIPS 81 (DES), their rules,
// and the seam's block cipher contexts beneath them.

#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/provider.h>

#include <algorithm>
#include <memory>
#include <thread>

#include "platform/openssl/library.h"
#include "platform_test_util.h"

using namespace zttest;
using ZT::Platform::CipherId;
using ZT::Platform::KeyedBlockCipher;

namespace {

void SetMode(BCRYPT_HANDLE object, const wchar_t* mode) {
  ASSERT_EQ(BCryptSetProperty(object, BCRYPT_CHAINING_MODE, reinterpret_cast<PUCHAR>(const_cast<wchar_t*>(mode)),
                              static_cast<ULONG>((std::wcslen(mode) + 1) * sizeof(wchar_t)), 0),
            STATUS_SUCCESS);
}

std::wstring ModeOf(BCRYPT_HANDLE object) {
  wchar_t mode[32] = {};
  ULONG got = 0;
  EXPECT_EQ(BCryptGetProperty(object, BCRYPT_CHAINING_MODE, reinterpret_cast<PUCHAR>(mode), sizeof(mode), &got, 0),
            STATUS_SUCCESS);
  return mode;
}

NTSTATUS Import(BCRYPT_ALG_HANDLE provider, const Bytes& key, Key* out, PUCHAR object = nullptr, ULONG objectSize = 0,
                const wchar_t* type = BCRYPT_KEY_DATA_BLOB) {
  Bytes blob = KeyDataBlob(key);
  return BCryptImportKey(provider, nullptr, type, &out->handle, object, objectSize, blob.data(), static_cast<ULONG>(blob.size()), 0);
}

// One call into `out` (64 bytes) from `in`, for the status and size checks.
NTSTATUS Encrypt(BCRYPT_KEY_HANDLE key, Bytes& in, ULONG inSize, Bytes* iv, Bytes& out, ULONG outSize, ULONG* size,
                 ULONG flags) {
  return BCryptEncrypt(key, in.data(), inSize, nullptr, iv ? iv->data() : nullptr, iv ? static_cast<ULONG>(iv->size()) : 0,
                       out.data(), outSize, size, flags);
}

// AES-128-CBC of `input` with the first SP 800-38A key and IV, in `parts` calls of equal size.
Bytes EncryptInParts(const Bytes& input, std::size_t parts) {
  const Bytes key = FromHex(kAes[0].key);
  KeyedBlockCipher cipher(CipherId::AES128_CBC, key.data(), kIv.data(), true);
  EXPECT_TRUE(cipher);
  Bytes out(input.size());
  const std::size_t part = input.size() / parts;
  for (std::size_t at = 0; at < input.size(); at += part)
    EXPECT_TRUE(cipher.Transform(out.data() + at, input.data() + at, part));
  return out;
}

}  // namespace

// Each key size in ECB (in place, an IV buffer left alone) and in CBC, in one call and in several:
// the caller's IV buffer carries the chaining, and without one the key's own register does,
// starting from zero.
TEST(CngSymmetric, AesMatchesSp80038aInEcbAndCbcAndChainsAcrossCalls) {
  Provider aes(L"AES");
  for (const AesVector& v : kAes) {
    SCOPED_TRACE(v.key);
    SetMode(aes, BCRYPT_CHAIN_MODE_ECB);
    Key ecb, cbc, own;
    ASSERT_EQ(Import(aes, FromHex(v.key), &ecb), STATUS_SUCCESS);
    Bytes data = kPlain, ignored = FromHex("00112233");
    ULONG size = 0;
    EXPECT_EQ(Encrypt(ecb, data, 64, &ignored, data, 64, &size, 0), STATUS_SUCCESS);
    EXPECT_EQ(ToHex(data), v.ecb);
    EXPECT_EQ(ToHex(ignored), "00112233");
    EXPECT_EQ(Cipher(false, ecb, data, nullptr, 0), kPlain);

    SetMode(aes, BCRYPT_CHAIN_MODE_CBC);
    ASSERT_EQ(Import(aes, FromHex(v.key), &cbc), STATUS_SUCCESS);
    Bytes iv = kIv;
    const Bytes cipher = Cipher(true, cbc, kPlain, &iv, 0);
    EXPECT_EQ(ToHex(cipher), v.cbc);
    // CNG leaves the last ciphertext block in the IV buffer, ready for the next call.
    EXPECT_EQ(iv, Bytes(cipher.end() - 16, cipher.end()));
    iv = kIv;
    EXPECT_EQ(Cipher(false, cbc, cipher, &iv, 0), kPlain);
    EXPECT_EQ(iv, Bytes(cipher.end() - 16, cipher.end()));
    iv = kIv;
    const Bytes first = Cipher(true, cbc, Head(kPlain, 16), &iv, 0);
    EXPECT_EQ(Concat(first, Cipher(true, cbc, Bytes(kPlain.begin() + 16, kPlain.end()), &iv, 0)), cipher);

    ASSERT_EQ(Import(aes, FromHex(v.key), &own), STATUS_SUCCESS);
    Bytes zero(16, 0);
    const Bytes a = Cipher(true, own, Head(kPlain, 32), nullptr, 0);
    EXPECT_EQ(Concat(a, Cipher(true, own, Bytes(kPlain.begin() + 32, kPlain.end()), nullptr, 0)),
              Cipher(true, cbc, kPlain, &zero, 0));
  }
}

// Size queries round up to whole blocks (an aligned input gains one); lengths, buffers and flags
// that do not fit are refused. Padding itself: the test below.
TEST(CngSymmetric, SizeQueriesRoundUpAndBadLengthsAreRefused) {
  Provider aes(L"AES");
  Key key;
  ASSERT_EQ(Import(aes, FromHex(kAes[0].key), &key), STATUS_SUCCESS);
  ULONG size = 0;
  for (auto [length, expected] : {std::pair<ULONG, ULONG>{64, 80}, {13, 16}}) {
    EXPECT_EQ(BCryptEncrypt(key, const_cast<PUCHAR>(kPlain.data()), length, nullptr, nullptr, 0, nullptr, 0, &size,
                            BCRYPT_BLOCK_PADDING),
              STATUS_SUCCESS);
    EXPECT_EQ(size, expected);
  }
  Bytes data(20, 1), out(64), iv8(8);
  EXPECT_EQ(Encrypt(key, data, 20, nullptr, out, 64, &size, 0), STATUS_INVALID_BUFFER_SIZE);
  EXPECT_EQ(BCryptDecrypt(key, data.data(), 20, nullptr, nullptr, 0, out.data(), 64, &size, BCRYPT_BLOCK_PADDING),
            STATUS_INVALID_BUFFER_SIZE);
  EXPECT_EQ(Encrypt(key, data, 16, nullptr, out, 15, &size, 0), STATUS_BUFFER_TOO_SMALL);
  EXPECT_EQ(size, 16u);
  EXPECT_EQ(Encrypt(key, data, 16, nullptr, out, 16, &size, BCRYPT_BLOCK_PADDING), STATUS_BUFFER_TOO_SMALL);
  EXPECT_EQ(size, 32u);
  EXPECT_EQ(Encrypt(key, data, 16, nullptr, out, 64, &size, 0x100), STATUS_INVALID_PARAMETER);
  EXPECT_EQ(Encrypt(key, data, 16, nullptr, out, 64, nullptr, 0), STATUS_INVALID_PARAMETER);
  EXPECT_EQ(Encrypt(key, data, 16, &iv8, out, 64, &size, 0), STATUS_INVALID_PARAMETER) << "a CBC IV must be one block";
}

// Padded messages of every length class: within one block, short ones, and long ones, apart and
// in place. A padded encryption equals the unpadded encryption of the message with its PKCS #7
// bytes added by hand, and bad padding leaves the output and the IV as they were.
TEST(CngSymmetric, PaddedMessagesOfEveryLengthRoundTripApartAndInPlace) {
  Provider aes(L"AES");
  Key key;
  ASSERT_EQ(Import(aes, FromHex(kAes[0].key), &key), STATUS_SUCCESS);
  for (const std::size_t length : {0, 13, 64, 1007, 1008, 1024, 3001}) {
    SCOPED_TRACE(length);
    Bytes message(length);
    for (std::size_t i = 0; i < length; ++i) message[i] = static_cast<unsigned char>(i * 7 + 1);
    const auto pad = static_cast<unsigned char>(16 - length % 16);
    Bytes iv = kIv;
    const Bytes expected = Cipher(true, key, Concat(message, Bytes(pad, pad)), &iv, 0);
    const Bytes lastBlock(expected.end() - 16, expected.end());
    iv = kIv;
    EXPECT_EQ(Cipher(true, key, message, &iv, BCRYPT_BLOCK_PADDING), expected);
    EXPECT_EQ(iv, lastBlock);
    iv = kIv;
    EXPECT_EQ(Cipher(false, key, expected, &iv, BCRYPT_BLOCK_PADDING), message);

    Bytes buffer = message;
    buffer.resize(expected.size());
    const auto room = static_cast<ULONG>(buffer.size());
    ULONG size = 0;
    iv = kIv;
    ASSERT_EQ(BCryptEncrypt(key, buffer.data(), static_cast<ULONG>(length), nullptr, iv.data(), 16, buffer.data(), room,
                            &size, BCRYPT_BLOCK_PADDING),
              STATUS_SUCCESS);
    EXPECT_EQ(buffer, expected) << "in place";
    iv = kIv;
    ASSERT_EQ(BCryptDecrypt(key, buffer.data(), room, nullptr, iv.data(), 16, buffer.data(), room, &size,
                            BCRYPT_BLOCK_PADDING),
              STATUS_SUCCESS);
    EXPECT_EQ(Head(buffer, size), message) << "in place";
    EXPECT_EQ(iv, lastBlock);

    Bytes badPlain = Concat(message, Bytes(pad, pad));
    badPlain.back() = 0;
    iv = kIv;
    Bytes bad = Cipher(true, key, badPlain, &iv, 0), out(bad.size(), 0xEE);
    iv = kIv;
    EXPECT_EQ(BCryptDecrypt(key, bad.data(), static_cast<ULONG>(bad.size()), nullptr, iv.data(), 16, out.data(),
                            static_cast<ULONG>(out.size()), &size, BCRYPT_BLOCK_PADDING),
              STATUS_DATA_ERROR);
    EXPECT_EQ(out, Bytes(bad.size(), 0xEE)) << "a refused decryption wrote to the output";
    EXPECT_EQ(iv, kIv) << "a refused decryption moved the IV";
  }
}

TEST(CngSymmetric, TripleDesAndDesMatchPublishedExamplesInTheSeamsOwnContext) {
  Provider tdes(L"3DES"), tdes112(L"3DES_112"), des(L"DES");
  SetMode(tdes, BCRYPT_CHAIN_MODE_ECB);
  Key ecb, cbc, twoKey, threeKey, desCbc;
  ASSERT_EQ(Import(tdes, FromHex(kTdesKeys), &ecb), STATUS_SUCCESS);
  EXPECT_EQ(ToHex(Cipher(true, ecb, kFox, nullptr, 0)), kTdesEcbFox);
  SetMode(tdes, BCRYPT_CHAIN_MODE_CBC);
  ASSERT_EQ(Import(tdes, FromHex(kTdesKeys), &cbc), STATUS_SUCCESS);
  Bytes iv = FromHex("0001020304050607");
  const Bytes cipher = Cipher(true, cbc, kFox, &iv, 0);
  EXPECT_EQ(ToHex(cipher), ReadFixtureText("tdes-cbc.hex"));
  iv = FromHex("0001020304050607");
  EXPECT_EQ(Cipher(false, cbc, cipher, &iv, 0), kFox);

  // Two-key triple DES is K1 K2 K1.
  SetMode(tdes112, BCRYPT_CHAIN_MODE_ECB);
  ASSERT_EQ(Import(tdes112, FromHex("0123456789ABCDEF 23456789ABCDEF01"), &twoKey), STATUS_SUCCESS);
  ASSERT_EQ(Import(tdes, FromHex("0123456789ABCDEF 23456789ABCDEF01 0123456789ABCDEF"), &threeKey), STATUS_SUCCESS);
  SetMode(threeKey, BCRYPT_CHAIN_MODE_ECB);
  EXPECT_EQ(Cipher(true, twoKey, kFox, nullptr, 0), Cipher(true, threeKey, kFox, nullptr, 0));
  EXPECT_NE(ToHex(Cipher(true, twoKey, kFox, nullptr, 0)), kTdesEcbFox);

  ASSERT_EQ(Import(des, FromHex(kDesKey), &desCbc), STATUS_SUCCESS);
  iv = FromHex(kDesIv);
  EXPECT_EQ(ToHex(Cipher(true, desCbc, kDesPlain, &iv, 0)), kDesCbc);
  SetMode(desCbc, BCRYPT_CHAIN_MODE_ECB);
  EXPECT_EQ(ToHex(Cipher(true, desCbc, Head(kDesPlain, 8), nullptr, 0)), "3fa40e8a984d4815");

  // Single DES needs OpenSSL's legacy provider: the seam has it in its own context only, and
  // leaves the process's default context alone.
  EXPECT_EQ(OSSL_PROVIDER_available(nullptr, "legacy"), 0);
  EVP_CIPHER* fetched = EVP_CIPHER_fetch(nullptr, "DES-CBC", nullptr);
  EXPECT_EQ(fetched, nullptr);
  EVP_CIPHER_free(fetched);
  ERR_clear_error();
}

TEST(CngSymmetric, KeysReportTheirPropertiesAndInheritTheProviderMode) {
  Provider aes(L"AES"), des(L"DES");
  EXPECT_EQ(UlongProperty(aes, BCRYPT_BLOCK_LENGTH), 16u);
  EXPECT_EQ(UlongProperty(des, BCRYPT_BLOCK_LENGTH), 8u);
  BCRYPT_KEY_LENGTHS_STRUCT lengths{};
  ULONG got = 0;
  EXPECT_EQ(BCryptGetProperty(aes, BCRYPT_KEY_LENGTHS, reinterpret_cast<PUCHAR>(&lengths), sizeof(lengths), &got, 0),
            STATUS_SUCCESS);
  EXPECT_EQ(std::vector<ULONG>({lengths.dwMinLength, lengths.dwMaxLength, lengths.dwIncrement}), std::vector<ULONG>({128, 256, 64}));
  EXPECT_EQ(ModeOf(aes), BCRYPT_CHAIN_MODE_CBC) << "CBC is the default";

  Key before, after, desKey;
  ASSERT_EQ(Import(aes, Bytes(24, 7), &before), STATUS_SUCCESS);
  SetMode(aes, BCRYPT_CHAIN_MODE_ECB);
  ASSERT_EQ(Import(aes, Bytes(32, 7), &after), STATUS_SUCCESS);
  ASSERT_EQ(Import(des, Bytes(8, 1), &desKey), STATUS_SUCCESS);
  EXPECT_EQ(ModeOf(before), BCRYPT_CHAIN_MODE_CBC);
  EXPECT_EQ(ModeOf(after), BCRYPT_CHAIN_MODE_ECB);
  EXPECT_EQ(UlongProperty(before, BCRYPT_KEY_LENGTH), 192u);
  EXPECT_EQ(UlongProperty(after, BCRYPT_KEY_LENGTH), 256u);
  EXPECT_EQ(UlongProperty(after, BCRYPT_BLOCK_LENGTH), 16u);
  EXPECT_EQ(UlongProperty(desKey, BCRYPT_KEY_LENGTH), 56u);

  // A provider opened after one was closed starts from the defaults again, on this thread and
  // after a close on another.
  for (const bool elsewhere : {false, true}) {
    auto ecb = std::make_unique<Provider>(L"AES");
    SetMode(*ecb, BCRYPT_CHAIN_MODE_ECB);
    if (elsewhere)
      std::thread([&] { ecb.reset(); }).join();
    else
      ecb.reset();
    Provider fresh(L"AES");
    EXPECT_EQ(ModeOf(fresh), BCRYPT_CHAIN_MODE_CBC) << elsewhere;
  }

  wchar_t cfb[] = L"ChainingModeCFB", unterminated[3] = {L'E', L'C', L'B'};
  EXPECT_EQ(BCryptSetProperty(aes, BCRYPT_CHAINING_MODE, reinterpret_cast<PUCHAR>(cfb), sizeof(cfb), 0), STATUS_NOT_SUPPORTED);
  EXPECT_EQ(BCryptSetProperty(aes, BCRYPT_CHAINING_MODE, reinterpret_cast<PUCHAR>(unterminated), sizeof(unterminated), 0),
            STATUS_INVALID_PARAMETER);
}

TEST(CngSymmetric, KeysImportIntoObjectMemoryExportAndDieWiped) {
  Provider aes(L"AES"), tdes(L"3DES"), sha(L"SHA256");
  const ULONG objectLength = UlongProperty(aes, BCRYPT_OBJECT_LENGTH);
  Bytes object(objectLength, 0xA5);
  Key key;
  const Bytes raw = FromHex(kAes[0].key), blob = KeyDataBlob(raw);
  auto import = [&](Bytes b, BCRYPT_ALG_HANDLE provider = nullptr) {
    return BCryptImportKey(provider ? provider : aes.handle, nullptr, BCRYPT_KEY_DATA_BLOB, &key.handle, nullptr, 0,
                           b.data(), static_cast<ULONG>(b.size()), 0);
  };
  Bytes wrongMagic = blob, wrongVersion = blob;
  wrongMagic[0] ^= 1;
  wrongVersion[4] = 2;
  EXPECT_EQ(import(wrongMagic), STATUS_INVALID_PARAMETER);
  EXPECT_EQ(import(wrongVersion), STATUS_INVALID_PARAMETER);
  EXPECT_EQ(import(Head(blob, blob.size() - 1)), STATUS_INVALID_PARAMETER);
  EXPECT_EQ(import(Head(blob, 8)), STATUS_INVALID_PARAMETER);
  EXPECT_EQ(import(KeyDataBlob(Bytes(20, 1))), STATUS_INVALID_PARAMETER) << "AES takes 16, 24 or 32 bytes";
  EXPECT_EQ(import(KeyDataBlob(Bytes(16, 1)), tdes), STATUS_INVALID_PARAMETER) << "3DES takes three keys";
  EXPECT_EQ(import(blob, sha), STATUS_NOT_SUPPORTED);
  EXPECT_EQ(Import(aes, raw, &key, nullptr, 0, BCRYPT_OPAQUE_KEY_BLOB), STATUS_INVALID_PARAMETER);
  EXPECT_EQ(Import(aes, raw, &key, object.data(), objectLength - 1), STATUS_BUFFER_TOO_SMALL);
  EXPECT_EQ(key.handle, nullptr);

  // The key lives in the object memory, and its bytes are gone from it after destruction.
  ASSERT_EQ(Import(aes, raw, &key, object.data(), objectLength), STATUS_SUCCESS);
  EXPECT_NE(std::search(object.begin(), object.end(), raw.begin(), raw.end()), object.end());
  ULONG size = 0;
  ASSERT_EQ(BCryptExportKey(key, nullptr, BCRYPT_KEY_DATA_BLOB, nullptr, 0, &size, 0), STATUS_SUCCESS);
  ASSERT_EQ(size, blob.size());
  Bytes exported(size), data(16);
  EXPECT_EQ(BCryptExportKey(key, nullptr, BCRYPT_KEY_DATA_BLOB, exported.data(), size - 1, &size, 0), STATUS_BUFFER_TOO_SMALL);
  ASSERT_EQ(BCryptExportKey(key, nullptr, BCRYPT_KEY_DATA_BLOB, exported.data(), size, &size, 0), STATUS_SUCCESS);
  EXPECT_EQ(exported, blob);
  EXPECT_EQ(BCryptExportKey(key, nullptr, BCRYPT_RSAPUBLIC_BLOB, nullptr, 0, &size, 0), STATUS_NOT_SUPPORTED);
  const BCRYPT_KEY_HANDLE stale = key.handle;
  key.handle = nullptr;
  ASSERT_EQ(BCryptDestroyKey(stale), STATUS_SUCCESS);
  EXPECT_EQ(std::search(object.begin(), object.end(), raw.begin(), raw.end()), object.end());

  // Destroyed and foreign handles are refused.
  for (BCRYPT_KEY_HANDLE bad : {stale, static_cast<BCRYPT_KEY_HANDLE>(nullptr), aes.handle}) {
    EXPECT_EQ(Encrypt(bad, data, 16, nullptr, data, 16, &size, 0), STATUS_INVALID_HANDLE);
    EXPECT_EQ(BCryptDecrypt(bad, data.data(), 16, nullptr, nullptr, 0, data.data(), 16, &size, 0), STATUS_INVALID_HANDLE);
    EXPECT_EQ(BCryptExportKey(bad, nullptr, BCRYPT_KEY_DATA_BLOB, nullptr, 0, &size, 0), STATUS_INVALID_HANDLE);
    EXPECT_EQ(BCryptDestroyKey(bad), STATUS_INVALID_HANDLE);
  }
  EXPECT_EQ(BCryptGetProperty(stale, BCRYPT_KEY_LENGTH, nullptr, 0, &size, 0), STATUS_INVALID_HANDLE);
}

// The seam's own block cipher contexts: each thread keeps one per cipher and direction, keyed for
// a call and keyed with zeros after it; a call inside a call gets a context of its own.
TEST(BlockCipherContexts, CallsInsideCallsAndOneAfterAnotherKeepTheirOwnKeyAndChaining) {
  const Bytes key = FromHex(kAes[0].key), zeroKey(16, 0);
  KeyedBlockCipher outer(CipherId::AES128_CBC, key.data(), kIv.data(), true);
  ASSERT_TRUE(outer);
  Bytes out(64);
  ASSERT_TRUE(outer.Transform(out.data(), kPlain.data(), 32));
  {
    // Same cipher and direction while the outer one is in use: a context of its own, keyed
    // otherwise, must not disturb the outer key or chaining.
    KeyedBlockCipher inner(CipherId::AES128_CBC, zeroKey.data(), kIv.data(), true);
    ASSERT_TRUE(inner);
    Bytes scratch(64);
    ASSERT_TRUE(inner.Transform(scratch.data(), kPlain.data(), 64));
    EXPECT_NE(ToHex(scratch), kAes[0].cbc);
  }
  ASSERT_TRUE(outer.Transform(out.data() + 32, kPlain.data() + 32, 32));
  EXPECT_EQ(ToHex(out), kAes[0].cbc);

  // The thread's context, keyed again for the next call, and in the other direction.
  EXPECT_EQ(ToHex(EncryptInParts(kPlain, 4)), kAes[0].cbc);
  const Bytes cipher = FromHex(kAes[0].cbc);
  KeyedBlockCipher decrypt(CipherId::AES128_CBC, key.data(), kIv.data(), false);
  Bytes plain(64);
  ASSERT_TRUE(decrypt.Transform(plain.data(), cipher.data(), 64));
  EXPECT_EQ(plain, kPlain);
  ASSERT_TRUE(decrypt.Restart(kIv.data()));
  ASSERT_TRUE(decrypt.Transform(plain.data(), cipher.data(), 64));
  EXPECT_EQ(plain, kPlain) << "a restart starts from the IV again";
}

TEST(BlockCipherContexts, ThreadsEachUseTheirOwnContexts) {
  std::vector<int> good(4, 0);
  InThreads(4, [&good](int t) {
    for (int i = 0; i < 200; ++i) good[t] += ToHex(EncryptInParts(kPlain, std::size_t{1} << (i % 3))) == kAes[0].cbc ? 1 : 0;
  });
  EXPECT_EQ(good, std::vector<int>(4, 200));
}

// A thread's last destructors may still encrypt, and open and close providers, after the
// thread's cipher contexts and spare provider memory are gone: those calls work without them.
namespace {
struct AtThreadExit {
  ~AtThreadExit() {
    ciphered = ToHex(EncryptInParts(kPlain, 2)) == kAes[0].cbc;
    BCRYPT_ALG_HANDLE provider = nullptr;
    opened = BCryptOpenAlgorithmProvider(&provider, BCRYPT_AES_ALGORITHM, nullptr, 0) == 0 &&
             BCryptCloseAlgorithmProvider(provider, 0) == 0;
  }
  static inline bool ciphered = false, opened = false;
};
}  // namespace

TEST(BlockCipherContexts, CallsFromTheThreadsLastDestructorsWork) {
  std::thread([] {
    // Made first, so destroyed after what the calls below make for this thread.
    thread_local AtThreadExit atExit;
    (void)&atExit;
    EXPECT_EQ(ToHex(EncryptInParts(kPlain, 1)), kAes[0].cbc);
    BCRYPT_ALG_HANDLE provider = nullptr;
    ASSERT_EQ(BCryptOpenAlgorithmProvider(&provider, BCRYPT_AES_ALGORITHM, nullptr, 0), 0);
    BCryptCloseAlgorithmProvider(provider, 0);
  }).join();
  EXPECT_TRUE(AtThreadExit::ciphered);
  EXPECT_TRUE(AtThreadExit::opened);
}
