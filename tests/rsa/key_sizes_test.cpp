// Keys of other sizes and exponents than the 2048-bit fixture key, made by the openssl tool
// (tests/fixtures/rsa/make-sizes.sh): its signatures verify under each padding, a signature of any
// other length than the modulus is false, and its private-key blobs import to the numbers it
// reports.
#include <map>
#include <sstream>
#include <string>

#include "rsa_test_util.h"

namespace {

using namespace rsatest;

struct SizedKey {
  std::string name;
  std::size_t k;  // the modulus length in bytes
  bool x931;      // the tool signs X9.31 only where its block lies below the modulus
  bool blob;      // a PRIVATEKEYBLOB holds a 32-bit exponent only
};

const SizedKey kKeys[] = {
    {"rsa1024", 128, true, true},  {"rsa1025", 129, false, true}, {"rsa2047", 256, true, true},
    {"rsa2056", 257, true, true},  {"rsa3072", 384, true, true},  {"rsa4096", 512, true, true},
    {"rsa2048e65", 256, true, false},
};

// What one key's signature covers under one padding: the data the engine is given and the
// signature the tool made.
struct Signed {
  WString padding;
  ByteArray data, signature;
};

std::vector<Signed> SignaturesOf(const SizedKey& key) {
  std::vector<Signed> all;
  all.push_back({L"PKCS1", DigestInfo("sha256", Fixture(key.name + ".txt")), Fixture(key.name + ".sha256.sig")});
  ByteArray block(key.k, 0x5a);
  block[0] = 0x00;
  all.push_back({L"None", block, Fixture(key.name + ".none.sig")});
  if (key.x931)
    all.push_back({L"X_931", OpensslDigest("sha256", Fixture(key.name + ".x931.txt")), Fixture(key.name + ".x931.sig")});
  return all;
}

bool Verify(const SizedKey& key, const Signed& s, const ByteArray& signature) {
  const auto map = NewMap();
  map->SetPadding(s.padding);
  map->SetHashAlgoPaddingMode(0x34);  // SHA-256
  const auto publicKey = ImportKey(L"X509", Fixture(key.name + ".pub.der"));
  const std::unique_ptr<Signature> engine(Signature::Create(Algorithm(L"RSA").get(), map.get()));
  engine->Init(dynamic_cast<IPublicKey*>(publicKey.get()));
  engine->Update(s.data);
  return engine->Verify(signature);
}

TEST(RsaKeySizes, VerifiesTheToolsSignaturesUnderEachPadding) {
  for (const SizedKey& key : kKeys) {
    for (const Signed& s : SignaturesOf(key)) {
      EXPECT_TRUE(Verify(key, s, s.signature)) << key.name << " " << std::string(s.padding.begin(), s.padding.end());
      ByteArray flipped = s.signature;
      flipped.back() ^= 0x01;
      EXPECT_FALSE(Verify(key, s, flipped)) << key.name;
    }
  }
}

// RFC 8017, 8.2.2 step 1. Each PKCS #1 signature of the tool begins with a zero byte, so that
// dropping it leaves the same number in k - 1 bytes.
TEST(RsaKeySizes, ASignatureOfAnyOtherLengthThanTheModulusIsFalse) {
  for (const SizedKey& key : kKeys) {
    for (const Signed& s : SignaturesOf(key)) {
      const std::string what = key.name + " " + std::string(s.padding.begin(), s.padding.end());
      ASSERT_EQ(s.signature.size(), key.k) << what;
      if (s.padding == L"PKCS1") {
        ASSERT_EQ(s.signature[0], 0x00) << what;
      }
      ByteArray longer = s.signature;
      longer.insert(longer.begin(), 0x00);
      const ByteArray wrongLengths[] = {ByteArray(s.signature.begin() + 1, s.signature.end()), longer, {},
                                        ByteArray(1, s.signature.back())};
      for (const ByteArray& signature : wrongLengths)
        EXPECT_FALSE(Verify(key, s, signature)) << what << ", " << signature.size() << " bytes";
    }
  }
}

// The numbers of a key file: "name=HEX" a line.
std::map<std::string, ByteArray> NumbersOf(const std::string& key) {
  const ByteArray text = Fixture(key + ".numbers");
  std::map<std::string, ByteArray> numbers;
  std::istringstream lines(std::string(text.begin(), text.end()));
  for (std::string line; std::getline(lines, line);)
    numbers[line.substr(0, line.find('='))] = Magnitude(Hex(line.substr(line.find('=') + 1)));
  return numbers;
}

TEST(RsaKeySizes, PrivateKeyBlobsOfTheToolImportToTheNumbersItReports) {
  for (const SizedKey& key : kKeys) {
    if (!key.blob) continue;
    const auto imported = ImportKey(L"MSPrivateKeyBlob", Fixture(key.name + ".blob"));
    const auto& rsa = dynamic_cast<IRSAPrivateCRTKey&>(*imported);
    SCOPED_TRACE(key.name);
    auto m = NumbersOf(key.name);
    ExpectPrivateNumbers(rsa, {m["n"], m["e"], m["d"], m["p"], m["q"], m["dp"], m["dq"], m["qinv"]});
  }
}

}  // namespace
