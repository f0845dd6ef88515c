#include "ecdh_test_util.h"

#include "cng/crypto.cng.ecdhkeypairgenerator.h"

namespace enginetest {

std::unique_ptr<IKeyPair> PairFromPrivateBlob(const EcdhCurve& curve, const std::vector<unsigned char>& blob) {
  EXPECT_TRUE(CryptoSoftCNGWrapper::LoadCNGLibrary());
  AlgorithmProvider provider;
  KeyHandle key;
  EXPECT_EQ(CNG().BCryptOpenAlgorithmProvider(provider.put(), curve.algorithm, nullptr, 0), STATUS_SUCCESS);
  EXPECT_EQ(CNG().BCryptImportKeyPair(provider.get(), nullptr, BCRYPT_ECCPRIVATE_BLOB, key.put(),
                                      const_cast<PUCHAR>(blob.data()), static_cast<ULONG>(blob.size()), 0),
            STATUS_SUCCESS);
  return std::make_unique<CCNGECKeyPair>(CurveAlgorithm(curve), std::move(key));
}

}  // namespace enginetest
