#include <gtest/gtest.h>

#include <functional>
#include <memory>

#include "support/log_capture.h"
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

using PM = ICryptoParserParameterMap;
std::vector<Pair<PM>> ParameterMapPairs() {
  const WString s = L"value";
  const ByteArray b{1, 2, 3};
  return {
      Bind<std::uint64_t>(L"CryptoParameterTimeout", &PM::SetTimeout, &PM::GetTimeout, 30),
      Bind<WString>(L"CryptoParameterPadding", &PM::SetPadding, &PM::GetPadding, L"PKCS1"),
      Bind<WString>(L"CryptoParameterCipherMode", &PM::SetCipherMode, &PM::GetCipherMode, L"CBC"),
      Bind<ByteArray>(L"CryptoParameterIV", &PM::SetIV, &PM::GetIV, b),
      Bind<unsigned char>(L"CryptoParameterHashAlgoPaddingMode", &PM::SetHashAlgoPaddingMode,
                          &PM::GetHashAlgoPaddingMode, 0x33),
      Bind<ByteArray>(L"CryptoParameterOAEPEncodingParamMode", &PM::SetOAEPEncodingParamMode,
                      &PM::GetOAEPEncodingParamMode, b),
      Bind<unsigned char>(L"CryptoParameterPkcs1OperationMode", &PM::SetPkcs1OperationMode,
                          &PM::GetPkcs1OperationMode, 1),
      Bind<WString>(L"CryptoParameterTypePersistence", &PM::SetTypePersistence, &PM::GetTypePersistence, s),
      Bind<WString>(L"CryptoParameterKeyLabel", &PM::SetKeyLabel, &PM::GetKeyLabel, s),
      Bind<WString>(L"CryptoParameterComponentIdentifier", &PM::SetComponentIdentifier,
                    &PM::GetComponentIdentifier, s),
      Bind<WString>(L"CryptoParameterComponentName", &PM::SetComponentName, &PM::GetComponentName, s),
      Bind<std::uint64_t>(L"CryptoParserParameterIterationCount", &PM::SetIterationCount, &PM::GetIterationCount,
                          10000),
      Bind<WString>(L"CryptoParameterHMACAlgorithmName", &PM::SetHMACAlgorithmName, &PM::GetHMACAlgorithmName,
                    L"HMAC_SHA256"),
      Bind<WString>(L"CryptoParameterHashAlgorithmName", &PM::SetHashAlgorithmName, &PM::GetHashAlgorithmName,
                    L"SHA256"),
  };
}

using PF = ICryptoParserFilter;
std::vector<Pair<PF>> FilterPairs() {
  return {
      Bind<StringList>(L"CryptoFilterOID", &PF::SetOID, &PF::GetOID, StringList{L"1.3.6.1.5.5.7.3.2", L"2.5.29.37.0"}),
      Bind<unsigned char>(L"CryptoFilterCritical", &PF::SetCritical, &PF::GetCritical, 1),
      Bind<unsigned char>(L"CryptoFilterContainsPrivateKey", &PF::SetContainsPrivateKey, &PF::GetContainsPrivateKey, 1),
      Bind<WString>(L"CryptoFilterLabel", &PF::SetLabel, &PF::GetLabel, L"label"),
      Bind<WString>(L"CryptoFilterComponentIdentifier", &PF::SetComponentIdentifier, &PF::GetComponentIdentifier,
                    L"id"),
      Bind<WString>(L"CryptoFilterComponentName", &PF::SetComponentName, &PF::GetComponentName, L"name"),
  };
}

using AP = IAlgorithmParameters;
std::vector<Pair<AP>> AlgorithmParameterPairs() {
  return {
      Bind<ByteArray>(L"AlgorithmParametersEncoded", &AP::SetEncoded, &AP::GetEncoded, ByteArray{5, 0}),
      Bind<WString>(L"AlgorithmParametersPadding", &AP::SetPadding, &AP::GetPadding, L"PSS"),
      Bind<WString>(L"AlgorithmParametersHashAlgoOID", &AP::SetHashAlgoOID, &AP::GetHashAlgoOID,
                    L"2.16.840.1.101.3.4.2.1"),
      Bind<WString>(L"AlgorithmParametersMaskGenAlgoOID", &AP::SetMaskGenAlgoOID, &AP::GetMaskGenAlgoOID,
                    L"1.2.840.113549.1.1.8"),
      Bind<std::uint64_t>(L"AlgorithmParametersSaltLen", &AP::SetSaltLen, &AP::GetSaltLen, 32),
      Bind<std::uint64_t>(L"AlgorithmParametersTrailerField", &AP::SetTrailerField, &AP::GetTrailerField, 1),
  };
}

// Every pair stores under its exact key, and nothing else: a fresh map reads false from every
// getter, setting one pair is seen through that key alone, and erasing the key hides it again.
template <class Map>
void CheckPairsBoundToTheirKeys(const std::function<Map*()>& create, const std::vector<Pair<Map>>& pairs) {
  const std::unique_ptr<Map> fresh(create());
  for (const auto& pair : pairs) EXPECT_FALSE(pair.readsBack(*fresh)) << pair.key;

  for (const auto& pair : pairs) {
    const std::unique_ptr<Map> map(create());
    pair.set(*map);
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

TEST(ParameterMap, EachPairIsBoundToItsKey) {
  CheckPairsBoundToTheirKeys<PM>(&PM::Create, ParameterMapPairs());
}

TEST(Filter, EachPairIsBoundToItsKey) { CheckPairsBoundToTheirKeys<PF>(&PF::Create, FilterPairs()); }

TEST(AlgorithmParameters, EachPairIsBoundToItsKey) {
  CheckPairsBoundToTheirKeys<AP>(&AP::Create, AlgorithmParameterPairs());
}

TEST(ParameterMap, FIPSModeIsKeyPresence) {
  const std::unique_ptr<PM> map(PM::Create());
  EXPECT_FALSE(map->GetFIPSMode());
  map->SetFIPSMode(true);
  EXPECT_TRUE(map->GetFIPSMode());
  EXPECT_TRUE(map->Get(L"CryptoParameterFIPSMode"));
  map->SetFIPSMode(false);
  EXPECT_FALSE(map->GetFIPSMode());
  EXPECT_FALSE(map->Get(L"CryptoParameterFIPSMode"));
}

TEST(ParameterMap, IterationCountIsNotReadFromTheUsualSpelling) {
  const std::unique_ptr<PM> map(PM::Create());
  map->Add(L"CryptoParameterIterationCount", NQData(std::uint64_t{5}));
  std::uint64_t count = 0;
  EXPECT_FALSE(map->GetIterationCount(count));
  map->Add(L"CryptoParserParameterIterationCount", NQData(std::uint64_t{6}));
  EXPECT_TRUE(map->GetIterationCount(count));
  EXPECT_EQ(count, 6u);
}

TEST(ParameterMap, ValueOfTheWrongKindReadsAsAbsent) {
  const std::unique_ptr<PM> map(PM::Create());
  map->Add(L"CryptoParameterPadding", NQData(std::uint64_t{1}));
  WString padding = L"unchanged";
  EXPECT_FALSE(map->GetPadding(padding));
  EXPECT_EQ(padding, L"unchanged");
}

TEST(ParameterMap, FactoriesOfMapsWriteNoTrace) {
  zttest::LogCapture capture;
  delete PM::Create();
  delete PF::Create();
  EXPECT_TRUE(capture.Lines().empty());
}

TEST(AlgorithmParameters, CloneCopiesOnlyTheSixKeys) {
  const std::unique_ptr<AP> original(AP::Create());
  original->SetSaltLen(20);
  original->Add(L"SomethingElse", NQData(WString(L"x")));
  const std::unique_ptr<AP> clone(original->Clone());
  std::uint64_t salt = 0;
  EXPECT_TRUE(clone->GetSaltLen(salt));
  EXPECT_EQ(salt, 20u);
  EXPECT_FALSE(clone->Get(L"SomethingElse"));
  for (const auto& pair : AlgorithmParameterPairs())
    if (std::wstring_view(pair.key) != L"AlgorithmParametersSaltLen") {
      EXPECT_FALSE(clone->Get(pair.key)) << pair.key;
    }

  // All six together survive, each with its value.
  const std::unique_ptr<AP> full(AP::Create());
  const auto pairs = AlgorithmParameterPairs();
  for (const auto& pair : pairs) pair.set(*full);
  const std::unique_ptr<AP> fullClone(full->Clone());
  for (const auto& pair : pairs) EXPECT_TRUE(pair.readsBack(*fullClone)) << pair.key;
}

TEST(AlgorithmParameters, CreateTracesEntryAndExit) {
  zttest::LogCapture capture;
  delete AP::Create();
  EXPECT_EQ(capture.Trace(), (std::vector<std::wstring>{L"8|IAlgorithmParameters::Create",
                                                        L"16|IAlgorithmParameters::Create"}));
}

TEST(ECDomainParameters, CreateAlwaysThrowsNotImplemented) {
  zttest::LogCapture capture;
  try {
    delete IECDomainParameters::Create();
    FAIL() << "no exception";
  } catch (CCryptoException* e) {
    const std::unique_ptr<CCryptoException> owned(e);
    EXPECT_EQ(e->getID(), CRYPTO_NOT_IMPLEMENTED);
    EXPECT_EQ(e->getMessage(), L"Not Implemented");
    EXPECT_EQ(e->getFilename(), L"sources/crypto.winapi.api");
  }
  EXPECT_EQ(capture.Trace(), (std::vector<std::wstring>{
                                 L"8|IECDomainParameters::Create",
                                 L"1|IECDomainParameters::Create : Not Implemented",
                                 L"16|IECDomainParameters::Create Returns Not Implemented",
                             }));
}

}  // namespace
