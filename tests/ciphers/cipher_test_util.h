// Helpers of the cipher and CMAC tests: engines, maps, the known answers of
// tests/fixtures/ciphers, and the openssl tool as the other party.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "engines/engine_test_util.h"
#include "support/command.h"
#include "support/log_capture.h"
#include "support/tool_runner.h"

namespace ciphertest {

using namespace enginetest;
using zttest::LogCapture;

// One line of tests/fixtures/ciphers/*.txt: "cipher NAME ALGORITHM MODE KEY IV INPUT OUTPUT" or
// "cmac NAME ALGORITHM KEY INPUT OUTPUT" ("-" where there is none).
struct KnownAnswer {
  std::string name;
  WString algorithm;
  WString mode;  // "cipher" lines only
  ByteArray key;
  bool hasIV = false;
  ByteArray iv;
  ByteArray input;
  ByteArray output;
};

// The lines of kind `kind` of the fixture file `file` (a test failure when there are none).
std::vector<KnownAnswer> ReadKnownAnswers(const std::string& file, const std::string& kind);

inline std::unique_ptr<Cipher> NewCipher(const WString& algorithm, ICryptoParserParameterMap* pParams) {
  return std::unique_ptr<Cipher>(Cipher::Create(Algorithm(algorithm).get(), pParams));
}

// A map with the chaining mode, and the padding and IV when given ("" leaves the padding out).
std::unique_ptr<ICryptoParserParameterMap> BlockMap(const WString& mode, const WString& padding = L"",
                                                    const ByteArray* iv = nullptr);

// Init with `mode` and `key`, then one DoFinal of `input`.
inline ByteArray Once(Cipher& cipher, unsigned int mode, IKey* key, const ByteArray& input) {
  cipher.Init(mode, key);
  ByteArray out;
  cipher.DoFinal(input, out);
  return out;
}

// Encrypts or decrypts in one call with a new engine and a RAW key of `algorithm`.
ByteArray Transform(const WString& algorithm, unsigned int mode, const ByteArray& key, const ByteArray& input,
                    const WString& chaining, const WString& padding = L"", const ByteArray* iv = nullptr);

// `count` bytes that differ from call to call (a fixed generator: tests stay reproducible).
ByteArray Bytes(std::size_t count, unsigned pattern = 1);

// `call` fails with `id` and "Cipher failed", over an exception that says `inner`; the exception
// is returned for further checks.
template <class Call>
std::unique_ptr<CCryptoException> ExpectCipherFailure(Call&& call, std::uint64_t id, const WString& inner) {
  auto e = zttest::Thrown(call);
  zttest::ExpectFailure(e, id, L"Cipher failed");
  EXPECT_EQ(zttest::MessageAt(e.get(), 1), inner);
  return e;
}

// The path of a fixture of tests/fixtures (as `folder/name`).
inline std::string Fixture(const std::string& relative) { return zttest::FixturePath(relative); }

inline ByteArray FixtureBytes(const std::string& relative) {
  const auto bytes = zttest::ReadFixtureFile(relative);
  return ByteArray(bytes.begin(), bytes.end());
}

}  // namespace ciphertest
