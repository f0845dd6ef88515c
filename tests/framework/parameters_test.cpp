#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <type_traits>

#include "support/log_capture.h"
#include "support/thrown.h"
#include "zt/crypto.h"

namespace {

using namespace ZT::Framework;

// One typed pair of a map: how to set a sample value, and whether the getter reads it back.
template <class Map>
struct Pair {
  const wchar_t* key;
  std::function<void(Map&)> set;
  std::function<bool(const Map&)> readsBack;
};

template <class T, class Map>
Pair<Map> Bind(const wchar_t* key, void (Map::*setter)(const T&), bool (Map::*getter)(T&) const, T sample) {
  return {key, [=](Map& m) { (m.*setter)(sample); },
          [=](const Map& m) {
            T out{};
            return (m.*getter)(out) && out == sample;
          }};
}

// A pair of accessors Set<Name>/Get<Name> of `Map` bound to its exact key string.
#define PAIR(T, Map, Name, key, sample) Bind<T>(key, &Map::Set##Name, &Map::Get##Name, sample)

using PM = ICryptoParserParameterMap;
std::vector<Pair<PM>> ParameterMapPairs() {
  const WString s = L"value";
  const ByteArray b{1, 2, 3};
  return {
      PAIR(std::uint64_t, PM, Timeout, L"CryptoParameterTimeout", 30),
      PAIR(WString, PM, Padding, L"CryptoParameterPadding", L"PKCS1"),
      PAIR(WString, PM, CipherMode, L"CryptoParameterCipherMode", L"CBC"),
      PAIR(ByteArray, PM, IV, L"CryptoParameterIV", b),
      PAIR(unsigned char, PM, HashAlgoPaddingMode, L"CryptoParameterHashAlgoPaddingMode", 0x33),
      PAIR(ByteArray, PM, OAEPEncodingParamMode, L"CryptoParameterOAEPEncodingParamMode", b),
      PAIR(unsigned char, PM, Pkcs1OperationMode, L"CryptoParameterPkcs1OperationMode", 1),
      PAIR(WString, PM, TypePersistence, L"CryptoParameterTypePersistence", s),
      PAIR(WString, PM, KeyLabel, L"CryptoParameterKeyLabel", s),
      PAIR(WString, PM, ComponentIdentifier, L"CryptoParameterComponentIdentifier", s),
      PAIR(WString, PM, ComponentName, L"CryptoParameterComponentName", s),
      PAIR(std::uint64_t, PM, IterationCount, L"CryptoParserParameterIterationCount", 10000),
      PAIR(WString, PM, HMACAlgorithmName, L"CryptoParameterHMACAlgorithmName", L"HMAC_SHA256"),
      PAIR(WString, PM, HashAlgorithmName, L"CryptoParameterHashAlgorithmName", L"SHA256"),
  };
}

using PF = ICryptoParserFilter;
std::vector<Pair<PF>> FilterPairs() {
  return {
      PAIR(StringList, PF, OID, L"CryptoFilterOID", (StringList{L"1.3.6.1.5.5.7.3.2", L"2.5.29.37.0"})),
      PAIR(unsigned char, PF, Critical, L"CryptoFilterCritical", 1),
      PAIR(unsigned char, PF, ContainsPrivateKey, L"CryptoFilterContainsPrivateKey", 1),
      PAIR(WString, PF, Label, L"CryptoFilterLabel", L"label"),
      PAIR(WString, PF, ComponentIdentifier, L"CryptoFilterComponentIdentifier", L"id"),
      PAIR(WString, PF, ComponentName, L"CryptoFilterComponentName", L"name"),
  };
}

using AP = IAlgorithmParameters;
std::vector<Pair<AP>> AlgorithmParameterPairs() {
  return {
      PAIR(ByteArray, AP, Encoded, L"AlgorithmParametersEncoded", (ByteArray{5, 0})),
      PAIR(WString, AP, Padding, L"AlgorithmParametersPadding", L"PSS"),
      PAIR(WString, AP, HashAlgoOID, L"AlgorithmParametersHashAlgoOID", L"2.16.840.1.101.3.4.2.1"),
      PAIR(WString, AP, MaskGenAlgoOID, L"AlgorithmParametersMaskGenAlgoOID", L"1.2.840.113549.1.1.8"),
      PAIR(std::uint64_t, AP, SaltLen, L"AlgorithmParametersSaltLen", 32),
      PAIR(std::uint64_t, AP, TrailerField, L"AlgorithmParametersTrailerField", 1),
  };
}
#undef PAIR

// Every pair stores under its exact key, and nothing else: a fresh map reads false from every
// getter, setting one pair is seen through that key alone, and erasing the key hides it again.
// Through a clone of algorithm parameters each of the six keys alone survives with its value, and
// nothing else comes along.
template <class Map>
void CheckPairsBoundToTheirKeys(const std::function<Map*()>& create, const std::vector<Pair<Map>>& pairs,
                                bool throughAClone = false) {
  const std::unique_ptr<Map> fresh(create());
  for (const auto& pair : pairs) EXPECT_FALSE(pair.readsBack(*fresh)) << pair.key;

  for (const auto& pair : pairs) {
    std::unique_ptr<Map> map(create());
    pair.set(*map);
    if constexpr (std::is_same_v<Map, AP>) {
      if (throughAClone) {
        map->Add(L"SomethingElse", NQData(WString(L"x")));
        map.reset(map->Clone());
        EXPECT_FALSE(map->Get(L"SomethingElse"));
      }
    }
    EXPECT_TRUE(map->Get(pair.key)) << pair.key;
    EXPECT_TRUE(pair.readsBack(*map)) << pair.key;
    for (const auto& other : pairs)
      if (other.key != pair.key) {
        EXPECT_FALSE(map->Get(other.key)) << pair.key << " also wrote " << other.key;
      }
    EXPECT_EQ(map->erase(pair.key), 1u);
    EXPECT_FALSE(pair.readsBack(*map)) << pair.key;
  }
}

TEST(ParameterMaps, EachPairIsBoundToItsKeyEvenThroughAClone) {
  CheckPairsBoundToTheirKeys<PM>(&PM::Create, ParameterMapPairs());
  CheckPairsBoundToTheirKeys<PF>(&PF::Create, FilterPairs());
  CheckPairsBoundToTheirKeys<AP>(&AP::Create, AlgorithmParameterPairs());
  CheckPairsBoundToTheirKeys<AP>(&AP::Create, AlgorithmParameterPairs(), true);
}

// FIPS mode is the key's presence; the iteration count is read only under its odd spelling; a
// value of the wrong kind reads as absent and leaves the output alone.
TEST(ParameterMap, FipsModeIterationCountAndWrongKinds) {
  const std::unique_ptr<PM> map(PM::Create());
  EXPECT_FALSE(map->GetFIPSMode());
  map->SetFIPSMode(true);
  EXPECT_TRUE(map->GetFIPSMode() && map->Get(L"CryptoParameterFIPSMode"));
  map->SetFIPSMode(false);
  EXPECT_FALSE(map->GetFIPSMode() || map->Get(L"CryptoParameterFIPSMode"));

  std::uint64_t count = 0;
  map->Add(L"CryptoParameterIterationCount", NQData(std::uint64_t{5}));
  EXPECT_FALSE(map->GetIterationCount(count));

  map->Add(L"CryptoParameterPadding", NQData(std::uint64_t{1}));
  WString padding = L"unchanged";
  EXPECT_FALSE(map->GetPadding(padding));
  EXPECT_EQ(padding, L"unchanged");
}

// Only IAlgorithmParameters::Create traces; the map factories are silent; IECDomainParameters's
// always throws Not Implemented.
TEST(ParameterFactories, OnlyAlgorithmParametersTracesAndECDomainParametersThrows) {
  zttest::LogCapture capture;
  delete PM::Create();
  delete PF::Create();
  delete AP::Create();
  const auto e = zttest::Thrown([] { delete IECDomainParameters::Create(); });
  zttest::ExpectFailure(e, CRYPTO_NOT_IMPLEMENTED, L"Not Implemented");
  ASSERT_TRUE(e);
  EXPECT_EQ(e->getFilename(), L"sources/crypto.winapi.api");
  EXPECT_EQ(capture.Trace(), (std::vector<std::wstring>{
                                 L"8|IAlgorithmParameters::Create",
                                 L"16|IAlgorithmParameters::Create",
                                 L"8|IECDomainParameters::Create",
                                 L"1|IECDomainParameters::Create : Not Implemented",
                                 L"16|IECDomainParameters::Create Returns Not Implemented",
                             }));
}

}  // namespace
