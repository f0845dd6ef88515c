#include "cng/crypto.cng.keygenerator.h"

#include "framework/crypto.trace.h"
#include "zt/random.h"

namespace ZT::Framework {

namespace {

// `nLength` bytes from a random generator of the algorithm "FIPS186DSARNG", made for this one
// use and released with everything it needed.
ByteArray RandomKeyBytes(std::uint32_t nLength) {
  const std::unique_ptr<IAlgorithmParameters> parameters(IAlgorithmParameters::Create());
  const std::unique_ptr<IAlgorithm> algorithm(IAlgorithm::CreateFromFriendlyName(L"FIPS186DSARNG", parameters.get()));
  const std::unique_ptr<ICryptoParserParameterMap> map(ICryptoParserParameterMap::Create());
  const std::unique_ptr<RandomGenerator> generator(RandomGenerator::Create(algorithm.get(), map.get()));
  ByteArray baKey;
  generator->GenerateRandom(nLength, baKey);
  return baKey;
}

}  // namespace

KeyGenerator::~KeyGenerator() = default;

IKey* CCNGKeyGenerator::GenerateKey() {
  const FunctionTrace fn(L"CCNGKeyGenerator::GenerateKey", this);
  return fn.Run([&]() -> IKey* { fn.Raise(CRYPTO_NOT_IMPLEMENTED, L"Not Implemented"); });
}

IKey* CCNGKeyGenerator::GenerateKey(std::uint32_t nLength) {
  const FunctionTrace fn(L"CCNGKeyGenerator::GenerateKey", this);
  return fn.Run([&] {
    // The suite's wording for any failure to make key material.
    const ByteArray baKey = fn.Wrap(L"Unable to generate the Host Identifier", [&] { return RandomKeyBytes(nLength); });
    return fn.Wrap(L"IKey::Create failed", [&] { return IKey::Create(m_pAlgorithm.get(), L"RAW", baKey); });
  });
}

}  // namespace ZT::Framework
