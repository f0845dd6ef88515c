// The Linux seam's block cipher contexts: each thread keeps one per cipher and direction, keyed
// for a call and keyed with zeros after it; a call inside a call gets a context of its own.

#include <vector>

#include "platform/openssl/library.h"
#include "platform_test_util.h"

using namespace zttest;
using ZT::Platform::CipherId;
using ZT::Platform::KeyedBlockCipher;

namespace {

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
