// Secret keys (masked in memory), the key factory, shared secrets and key generation.
#include <string>
#include <vector>

#include "common/crypto.softkeys.h"
#include "engine_test_util.h"
#include "support/log_capture.h"

namespace {

using namespace enginetest;
using zttest::LogCapture;

ByteArray Mask() {
  ByteArray mask;
  CSoftSecretKey::Obfuscate(ByteArray(16, 0), mask);
  return mask;
}

TEST(SoftSecretKey, HoldsItsBytesMaskedAndGivesThemBackPlain) {
  const ByteArray key = Hex("000102030405060708090a0b0c0d0e0f1011121314");  // 20 bytes
  const CSoftSecretKey secret(Algorithm(L"AES"), key);
  EXPECT_EQ(secret.GetEncoded(), key);
  EXPECT_EQ(secret.GetFormat(), L"RAW");

  const ByteArray mask = Mask();
  EXPECT_NE(mask, ByteArray(16, 0));
  const ByteArray& held = secret.MaskedKey();
  ASSERT_EQ(held.size(), key.size());
  for (std::size_t i = 0; i < key.size(); ++i)
    EXPECT_EQ(held[i], key[i] ^ mask[i % 16]) << i;  // bytes 16..19 use mask bytes 0..3 again
}

TEST(SoftSecretKey, ObfuscateIsItsOwnInverse) {
  const ByteArray data = Text("thirty-three bytes of key material");
  ByteArray masked, unmasked;
  CSoftSecretKey::Obfuscate(data, masked);
  CSoftSecretKey::Obfuscate(masked, unmasked);
  EXPECT_NE(masked, data);
  EXPECT_EQ(unmasked, data);
  CSoftSecretKey::Obfuscate(ByteArray(), masked);
  EXPECT_TRUE(masked.empty());
}

TEST(SoftSecretKey, CloneOutlivesItsOriginal) {
  auto original = RawKey(Text("0123456789abcdef"), L"AES");
  const std::unique_ptr<IKey> clone(original->Clone());
  EXPECT_NE(clone->GetAlgorithm(), original->GetAlgorithm());
  original.reset();
  EXPECT_EQ(clone->GetEncoded(), Text("0123456789abcdef"));
  EXPECT_EQ(clone->GetAlgorithm()->GetFriendlyName(), L"AES");
}

TEST(KeyFactory, RawGivesASecretKeyOfAClonedAlgorithm) {
  const auto algorithm = Algorithm(L"3DES");
  const std::unique_ptr<IKey> key(IKey::Create(algorithm.get(), L"RAW", Text("k")));
  EXPECT_NE(dynamic_cast<ISecretKey*>(key.get()), nullptr);
  EXPECT_NE(key->GetAlgorithm(), algorithm.get());
  EXPECT_EQ(key->GetAlgorithm()->GetFriendlyName(), L"3DES");
  EXPECT_EQ(key->GetEncoded(), Text("k"));
}

TEST(KeyFactory, RefusesUnknownFormatsAndNullAlgorithms) {
  const auto algorithm = Algorithm(L"AES");
  for (const wchar_t* format : {L"raw", L"x509", L""}) {
    const auto e = Thrown([&] { delete IKey::Create(algorithm.get(), format, Text("k")); });
    ASSERT_TRUE(e);
    EXPECT_EQ(e->getID(), CRYPTO_NOT_SUPPORTED);
    EXPECT_EQ(e->getMessage(), L"Unsupported key format");
  }
  const auto e = Thrown([] { delete IKey::Create(nullptr, L"RAW", Text("k")); });
  ASSERT_TRUE(e);
  EXPECT_EQ(e->getID(), CRYPTO_BAD_PARAM);
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

std::unique_ptr<KeyGenerator> NewKeyGenerator(const WString& name) {
  return std::unique_ptr<KeyGenerator>(KeyGenerator::Create(Algorithm(name).get(), nullptr));
}

TEST(KeyGenerator, MakesRawKeysOfItsOwnAlgorithm) {
  const auto generator = NewKeyGenerator(L"AES");
  const std::unique_ptr<IKey> first(generator->GenerateKey(32));
  const std::unique_ptr<IKey> second(generator->GenerateKey(32));
  EXPECT_EQ(first->GetFormat(), L"RAW");
  EXPECT_EQ(first->GetEncoded().size(), 32u);
  EXPECT_EQ(first->GetAlgorithm()->GetFriendlyName(), L"AES");
  EXPECT_NE(first->GetAlgorithm(), generator->GetAlgorithm());
  EXPECT_NE(first->GetEncoded(), second->GetEncoded());
}

class KeyGeneratorWithoutCNG : public WithModuleHooks {};

TEST_F(KeyGeneratorWithoutCNG, StillMakesKeys) {
  const auto generator = NewKeyGenerator(L"DES");
  MakeCNGUnavailable();
  const std::unique_ptr<IKey> key(generator->GenerateKey(8));
  EXPECT_EQ(key->GetEncoded().size(), 8u);
}

}  // namespace
