// Helpers of the ECDH and SP 800-56A tests: keys on the test curves, agreements, and the openssl
// tool's agreement with the fixture keys (tests/fixtures/ec).
#pragma once

#include <memory>
#include <string>

#include "engine_test_util.h"
#include "support/ecdh_vectors.h"

namespace enginetest {

using zttest::EcdhCurve;
using zttest::kEcdhCurves;

inline std::unique_ptr<IAlgorithm> CurveAlgorithm(const EcdhCurve& curve) { return Algorithm(curve.algorithm); }

// 04 || X || Y from the coordinates in hex.
inline ByteArray Point(const std::string& x, const std::string& y) { return Hex("04" + x + y); }

// The public point of the curve's fixture key (made by the openssl tool).
inline ByteArray OpensslKeyPoint(const EcdhCurve& curve) {
  const auto point = zttest::FixturePoint(curve);
  return ByteArray(point.begin(), point.end());
}

inline std::unique_ptr<IKey> ImportPoint(const EcdhCurve& curve, const ByteArray& point) {
  return std::unique_ptr<IKey>(IKey::Create(CurveAlgorithm(curve).get(), L"ECCPublicKey", point));
}

inline std::unique_ptr<IKeyPair> GeneratePair(const EcdhCurve& curve) {
  const std::unique_ptr<KeyPairGenerator> generator(KeyPairGenerator::Create(CurveAlgorithm(curve).get(), nullptr));
  return std::unique_ptr<IKeyPair>(generator->GenerateKeyPair());
}

// The bytes of the agreement of `own` with `peer` (GenerateSecret).
inline ByteArray Agree(const EcdhCurve& curve, IPrivateKey* own, IKey* peer) {
  const std::unique_ptr<KeyAgreement> agreement(KeyAgreement::Create(CurveAlgorithm(curve).get(), nullptr));
  agreement->Init(own);
  const std::unique_ptr<ISharedSecret> secret(agreement->GenerateSecret(dynamic_cast<IPublicKey*>(peer)));
  return secret->GetEncoded();
}

// A key pair over the private blob `blob` imported into the platform: the way to a private key
// of a published vector, which the library itself never imports.
std::unique_ptr<IKeyPair> PairFromPrivateBlob(const EcdhCurve& curve, const std::vector<unsigned char>& blob);

}  // namespace enginetest
