// Helpers of the RSA tests: the fixtures of tests/fixtures/rsa (made by the openssl tool), the
// openssl tool itself as the independent party, and parameter maps.
#pragma once

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>

#include "engines/engine_test_util.h"
#include "support/tool_runner.h"

namespace rsatest {

using namespace enginetest;

inline std::string FixtureFile(const std::string& name) { return zttest::FixturePath("rsa/" + name); }

inline ByteArray ReadFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  if (!in) ADD_FAILURE() << "cannot read " << path;
  return ByteArray(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

inline void WriteFile(const std::string& path, const ByteArray& bytes) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
}

inline ByteArray Fixture(const std::string& name) { return ReadFile(FixtureFile(name)); }

// A fixture of hex digits (one line, as openssl asn1parse prints integers).
inline ByteArray HexFixture(const std::string& name) {
  const ByteArray text = Fixture(name);
  std::string digits;
  for (unsigned char c : text)
    if (std::isxdigit(c)) digits += static_cast<char>(c);
  return Hex(digits);
}

// Runs the openssl tool over `input`: `arguments` with "{in}" and "{out}" standing for the files
// it reads and writes (fixtures named through FixtureFile). The output, or empty when the tool
// fails.
inline ByteArray Openssl(std::string arguments, const ByteArray& input) {
  const std::string base = testing::TempDir() + "zt_rsa_" + std::to_string(::getpid());
  const std::string in = base + ".in", out = base + ".out";
  for (const auto& [placeholder, path] : {std::pair{"{in}", in}, std::pair{"{out}", out}})
    arguments.replace(arguments.find(placeholder), std::string(placeholder).size(), "'" + path + "'");
  WriteFile(in, input);
  std::remove(out.c_str());
  const bool ok = std::system(("openssl " + arguments + " 2>/dev/null").c_str()) == 0;
  ByteArray output = ok ? ReadFile(out) : ByteArray();
  std::remove(in.c_str());
  std::remove(out.c_str());
  return output;
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

// The raw RSA public operation on a signature of the 2048-bit fixture key: the block it signs.
inline ByteArray OpensslRecover(const ByteArray& signature) {
  return Openssl("pkeyutl -verifyrecover -pubin -inkey '" + FixtureFile("rsa2048.pub.pem") +
                     "' -pkeyopt rsa_padding_mode:none -in {in} -out {out}",
                 signature);
}

inline std::unique_ptr<ICryptoParserParameterMap> NewMap() {
  return std::unique_ptr<ICryptoParserParameterMap>(ICryptoParserParameterMap::Create());
}

inline std::unique_ptr<IKey> ImportKey(const WString& format, const ByteArray& bytes) {
  return std::unique_ptr<IKey>(IKey::Create(Algorithm(L"RSA").get(), format, bytes));
}

}  // namespace rsatest
