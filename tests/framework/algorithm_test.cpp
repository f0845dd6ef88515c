#include <gtest/gtest.h>

#include <memory>

#include "support/log_capture.h"
#include "support/thrown.h"
#include "zt/crypto.h"

namespace {

using namespace ZT::Framework;
using zttest::ExpectFailure;
using zttest::LogCapture;
using zttest::Thrown;

class AlgorithmRegistry : public ::testing::Test {
 protected:
  std::unique_ptr<IAlgorithm> ByName(const WString& name) {
    return std::unique_ptr<IAlgorithm>(IAlgorithm::CreateFromFriendlyName(name, m_parameters.get()));
  }
  std::unique_ptr<IAlgorithm> ByOID(const WString& oid) {
    return std::unique_ptr<IAlgorithm>(IAlgorithm::CreateFromOID(oid, m_parameters.get()));
  }
  std::unique_ptr<IAlgorithmParameters> m_parameters{IAlgorithmParameters::Create()};
};

// The whole table, spelled out, in its order.
const std::pair<const wchar_t*, const wchar_t*> kTable[] = {
    {L"RSA", L"1.2.840.113549.1.1.1"},      {L"DES", L"1.3.14.3.2.7"},
    {L"3DES", L"1.2.840.113549.3.7"},       {L"AES", L"2.16.840.1.101.3.4.1.2"},
    {L"SHA1", L"1.3.14.3.2.26"},            {L"SHA224", L"2.16.840.1.101.3.4.2.4"},
    {L"SHA256", L"2.16.840.1.101.3.4.2.1"}, {L"SHA384", L"2.16.840.1.101.3.4.2.2"},
    {L"SHA512", L"2.16.840.1.101.3.4.2.3"}, {L"MD2", L"1.2.840.113549.2.2"},
    {L"MD4", L"1.2.840.113549.2.4"},        {L"MD5", L"1.2.840.113549.2.5"},
    {L"CMAC", L"Unknown OID"},              {L"HMAC_SHA1", L"1.2.840.113549.2.7"},
    {L"HMAC_SHA224", L"1.2.840.113549.2.8"}, {L"HMAC_SHA256", L"1.2.840.113549.2.9"},
    {L"HMAC_SHA384", L"1.2.840.113549.2.10"}, {L"HMAC_SHA512", L"1.2.840.113549.2.11"},
    {L"FIPS186DSARNG", L"Unknown OID"},     {L"ECDH_P224", L"1.3.132.0.33"},
    {L"ECDH_P256", L"1.2.840.10045.3.1.7"}, {L"ECDH_P384", L"1.3.132.0.34"},
    {L"ECDH_P521", L"1.3.132.0.35"},        {L"800_56A_KDF", L"Unknown OID"},
    {L"PKCS5_PBKDF2", L"1.2.840.113549.1.5.12"}, {L"DPAPI", L"Unknown OID"},
};

TEST_F(AlgorithmRegistry, EveryRowResolvesBothWaysAndNothingElse) {
  const StringList names = IAlgorithm::ListFriendlyNames();
  ASSERT_EQ(names.size(), std::size(kTable));
  auto listed = names.begin();
  for (const auto& [name, oid] : kTable) {
    EXPECT_EQ(*listed++, name);
    const auto byName = ByName(name);
    EXPECT_EQ(byName->GetOID(), oid) << name;
    EXPECT_EQ(byName->GetFriendlyName(), name);
    if (std::wstring_view(oid) == L"Unknown OID") continue;
    const auto byOID = ByOID(oid);
    EXPECT_EQ(byOID->GetFriendlyName(), name) << oid;
    EXPECT_EQ(byOID->GetOID(), oid);
  }

  // An OID outside the table names itself (no trimming, no prefix match, no reverse lookup of
  // "Unknown OID"); names are exact and case-sensitive.
  for (const wchar_t* oid : {L"1.2.3.4", L"Unknown OID", L"2.16.840.1.101.3.4.2.1 ", L"1.2.840.113549.2.1"}) {
    const auto algorithm = ByOID(oid);
    EXPECT_EQ(algorithm->GetFriendlyName(), oid);
    EXPECT_EQ(algorithm->GetOID(), oid);
  }
  for (const wchar_t* name : {L"sha256", L"SHA-256", L"Sha256", L" SHA256", L"SHA256 ", L"", L"HMAC_SHA"}) {
    SCOPED_TRACE(std::wstring(name).size());
    ExpectFailure(Thrown([&] { ByName(name); }), CRYPTO_NO_SUCH_ALGORITHM, L"Unsupported algorithm");
  }
  for (const auto& e : {Thrown([] { delete IAlgorithm::CreateFromFriendlyName(L"SHA1", nullptr); }),
                        Thrown([] { delete IAlgorithm::CreateFromOID(L"1.3.14.3.2.26", nullptr); })})
    ExpectFailure(e, CRYPTO_BAD_PARAM, L"pParameters should not be NULL");
}

TEST_F(AlgorithmRegistry, AlgorithmKeepsAClonedParameters) {
  m_parameters->SetSaltLen(32);
  const auto algorithm = ByName(L"RSA");
  m_parameters->SetSaltLen(64);
  const std::unique_ptr<IAlgorithm> clone(algorithm->Clone());
  EXPECT_EQ(clone->GetOID(), algorithm->GetOID());
  EXPECT_EQ(clone->GetFriendlyName(), algorithm->GetFriendlyName());
  EXPECT_NE(clone->GetParameters(), algorithm->GetParameters());
  for (const IAlgorithm* a : {algorithm.get(), clone.get()}) {
    std::uint64_t salt = 0;
    ASSERT_NE(a->GetParameters(), nullptr);
    EXPECT_NE(a->GetParameters(), m_parameters.get());
    EXPECT_TRUE(a->GetParameters()->GetSaltLen(salt) && salt == 32u);
  }
}

// The factory, constructor and destructor trace their entries and exits; an unknown name traces
// its error and the Returns line; the getters trace under the label of Clone.
TEST_F(AlgorithmRegistry, FactoriesGettersAndRefusalsTraceTheirLines) {
  LogCapture capture;
  IAlgorithm* algorithm = IAlgorithm::CreateFromOID(L"1.3.14.3.2.26", m_parameters.get());
  const std::wstring self = zttest::AddressText(algorithm);
  (void)algorithm->GetOID();
  (void)algorithm->GetFriendlyName();
  const std::wstring parameters = zttest::AddressText(algorithm->GetParameters());
  delete algorithm;
  EXPECT_TRUE(Thrown([&] { ByName(L"sha256"); }));
  const std::wstring clone = L"8|CAlgorithm::Clone : this=" + self;
  EXPECT_EQ(capture.Trace(), (std::vector<std::wstring>{
                                 L"8|IAlgorithm::CreateFromOID",
                                 L"8|CAlgorithm::CAlgorithm : this=" + self,
                                 L"16|CAlgorithm::CAlgorithm",
                                 L"16|IAlgorithm::CreateFromOID",
                                 clone, L"0|CAlgorithm::Clone : m_sOID=1.3.14.3.2.26", L"16|CAlgorithm::Clone",
                                 clone, L"0|CAlgorithm::Clone : m_sFriendlyName=SHA1", L"16|CAlgorithm::Clone",
                                 clone, L"0|CAlgorithm::Clone : m_pParameters=" + parameters, L"16|CAlgorithm::Clone",
                                 L"8|CAlgorithm::~CAlgorithm : this=" + self,
                                 L"16|CAlgorithm::~CAlgorithm",
                                 L"8|IAlgorithm::CreateFromFriendlyName",
                                 L"1|IAlgorithm::CreateFromFriendlyName : Unsupported algorithm: sha256",
                                 L"16|IAlgorithm::CreateFromFriendlyName Returns Unsupported algorithm",
                             }));
}

}  // namespace
