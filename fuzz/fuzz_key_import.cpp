// libFuzzer target over key import and the RSA padding decoders. The first byte chooses what
// the rest of the input is fed to:
//   0 IKey::Create "X509"    1 IKey::Create "PKCS8"    2 IKey::Create "MSPrivateKeyBlob"
//   3 PKCS #1 type 2 decode  4 OAEP decode (empty label)  5 X9.31 decode
//   6, 7, 8 IKey::Create "ECCPublicKey" on ECDH_P256, ECDH_P384, ECDH_P521
// Decoders get a key length k equal to the block's length, so the layouts are fully checked.
// Oracles:
// - an imported key's encoding imports again to a key with the same encoding (for a private-key
//   blob: the same numbers, through its PKCS #8 encoding);
// - an EC point imports exactly when OpenSSL's own point decoder (EC_POINT_oct2point, a path
//   apart from the seam's) reads it, after 04, as a point of the curve; an imported key keeps the
//   bytes it was given, and agrees with a generated key of its curve on a 20-byte secret;
// - a decoded message is where the layout puts it: the tail of a PKCS #1 block after at least
//   eight padding bytes, the bytes before the last two of an X9.31 block, and no longer than
//   k - 43 bytes for OAEP (its separator search starts past the hash and the byte after it).
// The library's failures are CCryptoException pointers, deleted here; anything else escapes and
// is a finding, as is any read outside the input (the sanitizers).
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>

#include <openssl/ec.h>
#include <openssl/obj_mac.h>

#include "fuzz_checks.h"
#include "zt/crypto.h"

namespace {

using namespace ZT::Framework;

using fuzzcheck::Require;
using fuzzcheck::Succeeds;

const IAlgorithm& Rsa() {
  static const std::unique_ptr<IAlgorithm> algorithm = [] {
    const std::unique_ptr<IAlgorithmParameters> parameters(IAlgorithmParameters::Create());
    return std::unique_ptr<IAlgorithm>(IAlgorithm::CreateFromFriendlyName(L"RSA", parameters.get()));
  }();
  return *algorithm;
}

std::unique_ptr<IKey> Import(const wchar_t* format, const ByteArray& bytes) {
  std::unique_ptr<IKey> key;
  Succeeds([&] { key.reset(IKey::Create(const_cast<IAlgorithm*>(&Rsa()), format, bytes)); });
  return key;
}

void ImportKey(const wchar_t* format, const ByteArray& bytes) {
  const std::unique_ptr<IKey> key = Import(format, bytes);
  if (!key) return;
  const ByteArray encoded = key->GetEncoded();
  const std::unique_ptr<IKey> again = Import(key->GetFormat().c_str(), encoded);
  Require(again != nullptr && again->GetEncoded() == encoded);
  if (auto* rsa = dynamic_cast<IRSAPrivateCRTKey*>(key.get())) {
    auto* other = dynamic_cast<IRSAPrivateCRTKey*>(again.get());
    Require(other != nullptr && other->GetPrivateExponent() == rsa->GetPrivateExponent() &&
            other->GetCrtCoefficient() == rsa->GetCrtCoefficient());
  }
}

struct EcCurve {
  const wchar_t* name;
  int nid;
};
constexpr EcCurve kEcCurves[] = {
    {L"ECDH_P256", NID_X9_62_prime256v1}, {L"ECDH_P384", NID_secp384r1}, {L"ECDH_P521", NID_secp521r1}};

// OpenSSL's reading of 04 || (bytes after the first) as a point of the curve.
bool OpensslReadsPoint(int nid, const ByteArray& bytes) {
  EC_GROUP* group = EC_GROUP_new_by_curve_name(nid);
  EC_POINT* point = EC_POINT_new(group);
  ByteArray uncompressed = bytes;
  uncompressed[0] = 0x04;
  const bool ok = EC_POINT_oct2point(group, point, uncompressed.data(), uncompressed.size(), nullptr) == 1 &&
                  EC_POINT_is_on_curve(group, point, nullptr) == 1 && EC_POINT_is_at_infinity(group, point) == 0;
  EC_POINT_free(point);
  EC_GROUP_free(group);
  return ok;
}

void ImportEcPoint(const EcCurve& curve, const ByteArray& bytes) {
  const std::unique_ptr<IAlgorithmParameters> parameters(IAlgorithmParameters::Create());
  const std::unique_ptr<IAlgorithm> algorithm(IAlgorithm::CreateFromFriendlyName(curve.name, parameters.get()));
  std::unique_ptr<IKey> key;
  Succeeds([&] { key.reset(IKey::Create(algorithm.get(), L"ECCPublicKey", bytes)); });
  Require((key != nullptr) == (!bytes.empty() && OpensslReadsPoint(curve.nid, bytes)));
  if (!key) return;
  Require(key->GetEncoded() == bytes);
  const std::unique_ptr<KeyPairGenerator> generator(KeyPairGenerator::Create(algorithm.get(), nullptr));
  const std::unique_ptr<IKeyPair> pair(generator->GenerateKeyPair());
  const std::unique_ptr<KeyAgreement> agreement(KeyAgreement::Create(algorithm.get(), nullptr));
  agreement->Init(pair->GetPrivateKey());
  const std::unique_ptr<ISharedSecret> secret(agreement->GenerateSecret(dynamic_cast<IPublicKey*>(key.get())));
  Require(secret->GetEncoded().size() == 20);
}

void DecodeBlock(unsigned char selector, const ByteArray& block) {
  const std::unique_ptr<ICryptoParserParameterMap> map(ICryptoParserParameterMap::Create());
  map->SetPkcs1OperationMode(1);
  map->SetOAEPEncodingParamMode(ByteArray());
  map->SetHashAlgoPaddingMode(0x34);
  const wchar_t* name = selector == 3 ? L"PKCS1" : selector == 4 ? L"OAEP" : L"X_931";
  const auto k = static_cast<unsigned int>(block.size());
  const std::unique_ptr<IPadding> padding(IPadding::Create(name, k, map.get()));
  ByteArray message;
  bool decoded = false;
  Require(Succeeds([&] { decoded = padding->DecodeData(block, message); }));
  if (!decoded) return;
  switch (selector) {
    case 3:
      Require(message.size() + 11 <= k && std::equal(message.begin(), message.end(), block.end() - message.size()));
      break;
    case 4:
      Require(message.size() + 43 <= k);
      break;
    default:
      // A separator in the last two bytes leaves no message.
      Require(message.empty() ||
              (message.size() + 14 <= k && std::equal(message.begin(), message.end(), block.end() - 2 - message.size())));
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  const unsigned char selector = data[0] % 9;
  const ByteArray rest(data + 1, data + size);
  switch (selector) {
    case 0:
      ImportKey(L"X509", rest);
      break;
    case 1:
      ImportKey(L"PKCS8", rest);
      break;
    case 2:
      ImportKey(L"MSPrivateKeyBlob", rest);
      break;
    case 6:
    case 7:
    case 8:
      ImportEcPoint(kEcCurves[selector - 6], rest);
      break;
    default:
      DecodeBlock(selector, rest);
  }
  return 0;
}
