// Repeated imports of RSA public keys through the platform seam, which keeps the last few keys of
// each thread to hand out again: every handle must still be a key of its own blob.
#include <vector>

#include "cng/crypto.cng.handles.h"
#include "cng/crypto.cng.util.keys.h"
#include "rsa_test_util.h"

namespace {

using namespace rsatest;

ByteArray CngBlob(const std::string& spkiFixture) {
  const Asn1::SubjectPublicKeyInfo info =
      CryptoUtil::DecodeObject<Structure::X509PublicKeyInfo>(Fixture(spkiFixture));
  return CryptoUtil::DecodeObject<Structure::CngRsaPublicKeyBlob>(info.PublicKey.pbData);
}

KeyHandle Import(BCRYPT_ALG_HANDLE provider, ByteArray blob) {
  KeyHandle key;
  EXPECT_EQ(CNG().BCryptImportKeyPair(provider, nullptr, BCRYPT_RSAPUBLIC_BLOB, key.put(), blob.data(),
                                      static_cast<ULONG>(blob.size()), 0),
            0);
  return key;
}

ByteArray RawPublic(const KeyHandle& key, ByteArray input) {
  ByteArray out(input.size());
  ULONG written = 0;
  EXPECT_EQ(CNG().BCryptEncrypt(key.get(), input.data(), static_cast<ULONG>(input.size()), nullptr, nullptr, 0,
                                out.data(), static_cast<ULONG>(out.size()), &written, BCRYPT_PAD_NONE),
            0);
  out.resize(written);
  return out;
}

TEST(RsaPublicKeyImport, EveryHandleIsTheKeyOfItsBlobWhateverWasImportedBefore) {
  ASSERT_TRUE(CryptoSoftCNGWrapper::LoadCNGLibrary());
  AlgorithmProvider provider;
  ASSERT_EQ(CNG().BCryptOpenAlgorithmProvider(provider.put(), BCRYPT_RSA_ALGORITHM, nullptr, 0), 0);
  const ByteArray rsa2048 = CngBlob("rsa2048.pub.der");
  const ByteArray rsa1024 = CngBlob("rsa1024e3.pub.der");
  ByteArray otherModulus = rsa2048;
  otherModulus[otherModulus.size() - 2] ^= 0x01;  // still odd
  const ByteArray signature = Fixture("block.none.sig");
  const ByteArray block = Fixture("block.bin");

  // More imports than the seam keeps, interleaved with other keys, some released early.
  std::vector<KeyHandle> keys;
  for (int round = 0; round < 6; ++round) {
    keys.push_back(Import(provider.get(), rsa2048));
    KeyHandle small = Import(provider.get(), rsa1024);
    EXPECT_EQ(RawPublic(small, ByteArray(128, 0x02)).size(), 128u);
    KeyHandle other = Import(provider.get(), otherModulus);
    EXPECT_NE(RawPublic(other, signature), block);
    if (round % 2 == 1) keys.erase(keys.begin());
  }
  for (const KeyHandle& key : keys) EXPECT_EQ(RawPublic(key, signature), block);
}

}  // namespace
