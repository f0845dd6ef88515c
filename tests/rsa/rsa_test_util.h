// Helpers of the RSA tests: fixtures of tests/fixtures/rsa and the openssl tool as the other party.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "engines/engine_test_util.h"
#include "support/command.h"
#include "support/tool_runner.h"

namespace rsatest {

using namespace enginetest;

inline std::string FixtureFile(const std::string& name) { return zttest::FixturePath("rsa/" + name); }

inline ByteArray Fixture(const std::string& name) {
  const auto bytes = zttest::ReadFixtureFile("rsa/" + name);
  return ByteArray(bytes.begin(), bytes.end());
}

// A fixture of hex digits (one line, as openssl asn1parse prints integers).
inline ByteArray HexFixture(const std::string& name) {
  const ByteArray text = Fixture(name);
  return Hex(std::string_view(reinterpret_cast<const char*>(text.data()), text.size()));
}

// asn1parse prints an INTEGER's magnitude; a leading zero digit pair would be a sign octet.
inline ByteArray Magnitude(ByteArray bytes) {
  while (!bytes.empty() && bytes.front() == 0) bytes.erase(bytes.begin());
  return bytes;
}

// The digest `name` ("sha256", ...) of `data` by the openssl tool.
inline ByteArray OpensslDigest(const std::string& name, const ByteArray& data) {
  return Openssl("dgst -" + name + " -binary -out {out} {in}", data);
}

// The raw RSA public operation of the 2048-bit fixture key, by the openssl tool.
inline ByteArray OpensslRawPublic(const ByteArray& block) {
  return Openssl("pkeyutl -encrypt -pubin -inkey '" + FixtureFile("rsa2048.pub.pem") +
                     "' -pkeyopt rsa_padding_mode:none -in {in} -out {out}",
                 block);
}

// Decryption with the 2048-bit fixture key by the openssl tool, with the given pkeyutl options.
inline ByteArray OpensslDecrypt(const ByteArray& cipher, const std::string& options) {
  return Openssl("pkeyutl -decrypt -inkey '" + FixtureFile("rsa2048.key.pem") + "' " + options + " -in {in} -out {out}",
                 cipher);
}

// The DigestInfo of `data` hashed by the openssl tool (prefixes of RFC 8017, 9.2 note 1).
inline ByteArray DigestInfo(const std::string& hash, const ByteArray& data) {
  const std::pair<const char*, const char*> prefixes[] = {
      {"md5", "3020300c06082a864886f70d020505000410"},      {"sha1", "3021300906052b0e03021a05000414"},
      {"sha256", "3031300d060960864801650304020105000420"}, {"sha384", "3041300d060960864801650304020205000430"},
      {"sha512", "3051300d060960864801650304020305000440"},
  };
  for (const auto& [name, prefix] : prefixes) {
    if (hash != name) continue;
    ByteArray info = Hex(prefix);
    const ByteArray digest = OpensslDigest(hash, data);
    info.insert(info.end(), digest.begin(), digest.end());
    return info;
  }
  ADD_FAILURE() << "no DigestInfo prefix for " << hash;
  return {};
}

// The numbers of an RSA private key, as its files hold them (a sign octet may lead).
struct KeyNumbers {
  ByteArray n, e, d, p, q, dp, dq, qinv;
};

inline void ExpectPrivateNumbers(const IRSAPrivateCRTKey& key, const KeyNumbers& k) {
  EXPECT_EQ(key.GetModulus(), Magnitude(k.n));
  EXPECT_EQ(key.GetPublicExponent(), Magnitude(k.e));
  EXPECT_EQ(key.GetPrivateExponent(), Magnitude(k.d));
  EXPECT_EQ(key.GetPrimeP(), Magnitude(k.p));
  EXPECT_EQ(key.GetPrimeQ(), Magnitude(k.q));
  EXPECT_EQ(key.GetPrimeExponentP(), Magnitude(k.dp));
  EXPECT_EQ(key.GetPrimeExponentQ(), Magnitude(k.dq));
  EXPECT_EQ(key.GetCrtCoefficient(), Magnitude(k.qinv));
}

inline std::unique_ptr<ICryptoParserParameterMap> NewMap() {
  return std::unique_ptr<ICryptoParserParameterMap>(ICryptoParserParameterMap::Create());
}

inline std::unique_ptr<IKey> ImportKey(const WString& format, const ByteArray& bytes) {
  return std::unique_ptr<IKey>(IKey::Create(Algorithm(L"RSA").get(), format, bytes));
}

}  // namespace rsatest
