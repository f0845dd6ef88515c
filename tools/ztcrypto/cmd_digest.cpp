// ztcrypto digest | hmac: message digests and HMACs of a file or of standard input.

#include <memory>

#include "engines.h"

namespace ztcli {

namespace {

using namespace ZT::Framework;

// The input named by the optional operand at `index`: a file, or standard input ("-" or none).
ByteArray InputOperand(const Parsed& parsed, std::size_t index) {
  return ReadInput(parsed.operands.size() > index ? parsed.operands[index] : "-");
}

int DigestCommand(const Args& args) {
  const Parsed parsed = Parse(args, {}, {});
  ExpectOperands(parsed, 1, 2);
  const auto algorithm = AlgorithmNamed(parsed.operands[0]);
  const ByteArray input = InputOperand(parsed, 1);
  const std::unique_ptr<MessageDigest> digest(MessageDigest::Create(algorithm.get(), nullptr));
  // Update, then Digest: a refusal reaches the user in its own words, not wrapped.
  digest->Update(input);
  ByteArray out;
  digest->Digest(out);
  PrintLine(Hex(out));
  return 0;
}

int HmacCommand(const Args& args) {
  const Parsed parsed = Parse(args, {"--key"}, {});
  ExpectOperands(parsed, 1, 2);
  const auto algorithm = AlgorithmNamed(parsed.operands[0]);
  const ByteArray keyBytes = FromHex(parsed.Required("--key"), "--key");
  const ByteArray input = InputOperand(parsed, 1);
  const std::unique_ptr<IKey> key(IKey::Create(algorithm.get(), L"RAW", keyBytes));
  return PrintMac(algorithm.get(), key.get(), input);
}

constexpr Command kCommands[] = {
    {"digest", "ALG [FILE|-]", "digest of a file or of stdin (ALG: MD5, SHA1, SHA256, SHA384, SHA512), in hex",
     DigestCommand},
    {"hmac", "ALG --key HEX [FILE|-]", "HMAC of a file or of stdin (ALG: HMAC_SHA1, HMAC_SHA256), in hex", HmacCommand},
};

}  // namespace

std::span<const Command> DigestCommands() { return kCommands; }

int PrintMac(ZT::Framework::IAlgorithm* pMacAlgorithm, ZT::Framework::IKey* pKey, const ByteArray& input) {
  const std::unique_ptr<ZT::Framework::MAC> mac(ZT::Framework::MAC::Create(pMacAlgorithm, nullptr));
  // Update, then Mac: a refusal reaches the user in its own words, not wrapped.
  mac->Init(pKey);
  mac->Update(input);
  ByteArray out;
  mac->Mac(out);
  PrintLine(Hex(out));
  return 0;
}

}  // namespace ztcli
