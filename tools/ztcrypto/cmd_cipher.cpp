// ztcrypto encrypt | decrypt | cmac | rsa-encrypt: the block ciphers, CMAC and RSA encryption of a
// file or of standard input. Ciphertext and plaintext are written as they are (binary), to
// standard output or to --out FILE, as the openssl tool's enc does.

#include <memory>

#include "engines.h"

namespace ztcli {

namespace {

using namespace ZT::Framework;

// The block cipher --alg names.
const std::string& BlockCipher(const std::string& name) {
  static const std::string kNames[] = {"AES", "DES", "3DES"};
  for (const std::string& known : kNames)
    if (name == known) return known;
  throw UsageError("--alg takes AES, DES or 3DES");
}

// The key and IV lengths a block cipher takes, to say what was wrong when the platform refuses
// a key or an IV.
struct BlockLengths {
  const char* name;
  const char* keyLengths;  // as the error line says them
  std::size_t blockLength;
  bool (*keyFits)(std::size_t);
};
constexpr BlockLengths kBlockLengths[] = {
    {"AES", "16, 24 or 32", 16, [](std::size_t n) { return n == 16 || n == 24 || n == 32; }},
    {"DES", "8", 8, [](std::size_t n) { return n == 8; }},
    {"3DES", "16 or 24", 8, [](std::size_t n) { return n == 16 || n == 24; }},
};

// "--key: AES takes 16, 24 or 32 bytes, not 15" and the like; empty when the lengths fit.
std::string LengthProblem(const std::string& algorithm, const Parsed& parsed, std::size_t keyLength) {
  for (const BlockLengths& row : kBlockLengths) {
    if (algorithm != row.name) continue;
    if (!row.keyFits(keyLength))
      return "--key: " + algorithm + " takes " + row.keyLengths + " bytes, not " + std::to_string(keyLength);
    const std::string* iv = parsed.Option("--iv");
    const std::size_t ivLength = iv != nullptr ? iv->size() / 2 : row.blockLength;
    if (parsed.Required("--mode") == "CBC" && ivLength != row.blockLength)
      return "--iv: " + algorithm + " in CBC takes " + std::to_string(row.blockLength) + " bytes, not " +
             std::to_string(ivLength);
  }
  return "";
}

// The map of a block cipher: --mode, --padding (PKCS7 unless given, as the openssl tool pads),
// --iv. The names go to the library as they are: it refuses the ones it does not know.
std::unique_ptr<ICryptoParserParameterMap> BlockCipherMap(const Parsed& parsed) {
  std::unique_ptr<ICryptoParserParameterMap> map(ICryptoParserParameterMap::Create());
  map->SetCipherMode(Widen(parsed.Required("--mode")));
  const std::string* padding = parsed.Option("--padding");
  map->SetPadding(Widen(padding != nullptr ? *padding : "PKCS7"));
  if (const std::string* iv = parsed.Option("--iv")) map->SetIV(FromHex(*iv, "--iv"));
  return map;
}

int BlockCipherCommand(const Args& args, unsigned int mode) {
  const Parsed parsed = Parse(args, {"--alg", "--mode", "--padding", "--key", "--iv", "--out"}, {});
  ExpectOperands(parsed, 0, 1);
  const std::string& algorithmName = BlockCipher(parsed.Required("--alg"));
  const auto map = BlockCipherMap(parsed);
  const ByteArray keyBytes = FromHex(parsed.Required("--key"), "--key");
  const ByteArray input = InputOperand(parsed);

  const auto algorithm = AlgorithmNamed(algorithmName);
  const std::unique_ptr<IKey> key(IKey::Create(algorithm.get(), L"RAW", keyBytes));
  const std::unique_ptr<Cipher> cipher(Cipher::Create(algorithm.get(), map.get()));
  cipher->Init(mode, key.get());
  ByteArray out;
  try {
    cipher->DoFinal(input, out);
  } catch (IException* e) {
    // The platform's refusal of a key or an IV, said in the user's terms before the library's.
    const std::string problem = LengthProblem(algorithmName, parsed, keyBytes.size());
    if (problem.empty()) throw;
    throw new CCryptoException(L"tools/ztcrypto/cmd_cipher", __LINE__, Widen(problem),
                               static_cast<CryptoExceptionId>(e->getID()), e);
  }
  WriteOutput(parsed, out);
  return 0;
}

int EncryptCommand(const Args& args) { return BlockCipherCommand(args, CIPHER_ENCRYPT_MODE); }
int DecryptCommand(const Args& args) { return BlockCipherCommand(args, CIPHER_DECRYPT_MODE); }

int CmacCommand(const Args& args) {
  const Parsed parsed = Parse(args, {"--key", "--alg"}, {});
  ExpectOperands(parsed, 0, 1);
  const std::string* alg = parsed.Option("--alg");
  const auto keyAlgorithm = AlgorithmNamed(BlockCipher(alg != nullptr ? *alg : "AES"));
  const ByteArray keyBytes = FromHex(parsed.Required("--key"), "--key");
  const ByteArray input = InputOperand(parsed);

  const std::unique_ptr<IKey> key(IKey::Create(keyAlgorithm.get(), L"RAW", keyBytes));
  return PrintMac(AlgorithmNamed("CMAC").get(), key.get(), input);
}

int RsaEncryptCommand(const Args& args) {
  const Parsed parsed = Parse(args, {"--key", "--padding", "--label", "--out"}, {});
  ExpectOperands(parsed, 0, 1);
  const std::unique_ptr<ICryptoParserParameterMap> map(ICryptoParserParameterMap::Create());
  const std::string* padding = parsed.Option("--padding");
  map->SetPadding(Widen(padding != nullptr ? *padding : "PKCS1"));
  if (const std::string* label = parsed.Option("--label")) map->SetOAEPEncodingParamMode(FromHex(*label, "--label"));
  const std::unique_ptr<IKey> key = LoadPublicKey(parsed.Required("--key"));
  const ByteArray input = InputOperand(parsed);

  const std::unique_ptr<Cipher> cipher(Cipher::Create(AlgorithmNamed("RSA").get(), map.get()));
  cipher->Init(CIPHER_ENCRYPT_MODE, key.get());
  ByteArray out;
  cipher->DoFinal(input, out);
  WriteOutput(parsed, out);
  return 0;
}

constexpr const char* kBlockUsage =
    "--alg AES|DES|3DES --mode CBC|ECB [--padding PKCS7|None] --key HEX [--iv HEX] [--out FILE] [FILE|-]";

constexpr Command kCommands[] = {
    {"encrypt", kBlockUsage, "encrypt a file or stdin (PKCS7 unless --padding None); binary output", EncryptCommand},
    {"decrypt", kBlockUsage, "decrypt a file or stdin (PKCS7 unless --padding None); binary output", DecryptCommand},
    {"cmac", "--key HEX [--alg AES|DES|3DES] [FILE|-]", "CMAC of a file or of stdin (AES unless --alg), in hex",
     CmacCommand},
    {"rsa-encrypt", "--key PUBKEY-FILE [--padding PKCS1|OAEP|None] [--label HEX] [--out FILE] [FILE|-]",
     "encrypt with an RSA public key or a certificate's (PKCS1 unless --padding); binary output",
     RsaEncryptCommand},
};

}  // namespace

std::span<const Command> CipherCommands() { return kCommands; }

}  // namespace ztcli
