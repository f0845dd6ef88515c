// ztcrypto pbkdf2 | genkey: key derivation from a password, and new random secret keys.

#include <memory>

#include "engines.h"

namespace ztcli {

namespace {

using namespace ZT::Framework;

int Pbkdf2Command(const Args& args) {
  const Parsed parsed = Parse(args, {"--password", "--salt", "--length", "--iterations", "--prf"}, {});
  ExpectOperands(parsed, 0, 0);
  const std::string& password = parsed.Required("--password");
  const ByteArray salt = FromHex(parsed.Required("--salt"), "--salt");
  const std::uint32_t length = ParseLength(parsed.Required("--length"), "--length");
  // What is not given is left to the engine's defaults.
  const std::unique_ptr<ICryptoParserParameterMap> map(ICryptoParserParameterMap::Create());
  if (const std::string* iterations = parsed.Option("--iterations"))
    map->SetIterationCount(ParseCount(*iterations, "--iterations"));
  if (const std::string* prf = parsed.Option("--prf")) map->SetHMACAlgorithmName(Widen(*prf));

  PrintDerived("PKCS5_PBKDF2", map.get(), ByteArray(password.begin(), password.end()), salt, length);
  return 0;
}

int GenerateKeyCommand(const Args& args) {
  const Parsed parsed = Parse(args, {"--algorithm"}, {});
  ExpectOperands(parsed, 1, 1);
  const std::uint32_t length = ParseLength(parsed.operands[0], "N");
  const std::string* name = parsed.Option("--algorithm");
  const auto algorithm = AlgorithmNamed(name != nullptr ? *name : "AES");
  const std::unique_ptr<KeyGenerator> generator(KeyGenerator::Create(algorithm.get(), nullptr));
  const std::unique_ptr<IKey> key(generator->GenerateKey(length));
  PrintLine(Hex(key->GetEncoded()));
  return 0;
}

constexpr Command kCommands[] = {
    {"pbkdf2", "--password TEXT --salt HEX --length N [--iterations N] [--prf NAME]",
     "PBKDF2 of the password's UTF-8 bytes, in hex (defaults: 10000 iterations, PRF HMAC_SHA256)",
     Pbkdf2Command},
    {"genkey", "N [--algorithm NAME]", "a new random secret key of N bytes (default algorithm AES), in hex",
     GenerateKeyCommand},
};

}  // namespace

std::span<const Command> KeyCommands() { return kCommands; }

}  // namespace ztcli
