// Secret keys (masked in memory), the key factory, shared secrets and key generation.
#include <string>
#include <vector>

#include "common/crypto.softkeys.h"
#include "engine_test_util.h"
#include "support/log_capture.h"

namespace {

using namespace enginetest;
using zttest::LogCapture;

// The key is held masked (16 mask bytes, repeated), and the mask undoes itself.
TEST(SoftSecretKey, HoldsItsBytesMaskedAndGivesThemBackPlain) {
  const ByteArray key = Hex("000102030405060708090a0b0c0d0e0f1011121314");  // 20 bytes
  const CSoftSecretKey secret(Algorithm(L"AES"), key);
  EXPECT_EQ(secret.GetEncoded(), key);
  EXPECT_EQ(secret.GetFormat(), L"RAW");
  ByteArray mask, unmasked;
  CSoftSecretKey::Obfuscate(ByteArray(16, 0), mask);
  EXPECT_NE(mask, ByteArray(16, 0));
  const ByteArray& held = secret.MaskedKey();
  ASSERT_EQ(held.size(), key.size());
  for (std::size_t i = 0; i < key.size(); ++i)
    EXPECT_EQ(held[i], key[i] ^ mask[i % 16]) << i;  // bytes 16..19 use mask bytes 0..3 again
  CSoftSecretKey::Obfuscate(held, unmasked);
  EXPECT_EQ(unmasked, key);
  CSoftSecretKey::Obfuscate(ByteArray(), mask);
  EXPECT_TRUE(mask.empty());
}

// "RAW" gives a secret key holding a clone of the algorithm; a clone outlives its original.
TEST(KeyFactory, RawAloneGivesASecretKeyOfAClonedAlgorithm) {
  const auto algorithm = Algorithm(L"3DES");
  std::unique_ptr<IKey> key(IKey::Create(algorithm.get(), L"RAW", Text("k")));
  EXPECT_NE(dynamic_cast<ISecretKey*>(key.get()), nullptr);
  EXPECT_NE(key->GetAlgorithm(), algorithm.get());
  const std::unique_ptr<IKey> clone(key->Clone());
  EXPECT_NE(clone->GetAlgorithm(), key->GetAlgorithm());
  key.reset();
  EXPECT_EQ(clone->GetEncoded(), Text("k"));
  EXPECT_EQ(clone->GetAlgorithm()->GetFriendlyName(), L"3DES");

  // Other spellings and formats, and a null algorithm, are refused.
  for (const wchar_t* format : {L"raw", L"x509", L""})
    ExpectFailure(Thrown([&] { delete IKey::Create(algorithm.get(), format, Text("k")); }), CRYPTO_NOT_SUPPORTED,
                  L"Unsupported key format");
  ExpectFailure(Thrown([] { delete IKey::Create(nullptr, L"RAW", Text("k")); }), CRYPTO_BAD_PARAM,
                L"pAlgorithm should not be NULL");
}

TEST(SharedSecret, HoldsACopyOfTheBytes) {
  ByteArray bytes = Text("password");
  LogCapture capture(NQLOG_EXIT);
  std::unique_ptr<ISharedSecret> secret(ISharedSecret::Create(bytes));
  bytes[0] = 'X';
  const auto* soft = dynamic_cast<const CSoftSharedSecret*>(secret.get());
  ASSERT_NE(soft, nullptr);
  EXPECT_EQ(soft->GetSecret(), Text("password"));
  const std::wstring self = zttest::AddressText(secret.get());
  secret.reset();
  EXPECT_EQ(capture.Trace(), (std::vector<std::wstring>{
                                 L"8|ISharedSecret::Create", L"8|CSoftSharedSecret::CSoftSharedSecret : this=" + self,
                                 L"16|CSoftSharedSecret::CSoftSharedSecret", L"16|ISharedSecret::Create",
                                 L"8|CSoftSharedSecret::~CSoftSharedSecret : this=" + self,
                                 L"16|CSoftSharedSecret::~CSoftSharedSecret"}));
}

class KeyGeneratorTest : public WithModuleHooks {};

// Keys of the generator's own algorithm (a clone), fresh each time, also on the CryptoAPI path.
TEST_F(KeyGeneratorTest, MakesRawKeysOfItsOwnAlgorithmOnBothPaths) {
  const std::unique_ptr<KeyGenerator> generator(KeyGenerator::Create(Algorithm(L"AES").get(), nullptr));
  const std::unique_ptr<IKey> first(generator->GenerateKey(32));
  const std::unique_ptr<IKey> second(generator->GenerateKey(32));
  EXPECT_EQ(first->GetFormat(), L"RAW");
  EXPECT_EQ(first->GetEncoded().size(), 32u);
  EXPECT_EQ(first->GetAlgorithm()->GetFriendlyName(), L"AES");
  EXPECT_NE(first->GetAlgorithm(), generator->GetAlgorithm());
  EXPECT_NE(first->GetEncoded(), second->GetEncoded());
  MakeCNGUnavailable();
  const std::unique_ptr<IKey> fallback(generator->GenerateKey(8));
  EXPECT_EQ(fallback->GetEncoded().size(), 8u);
}

}  // namespace
