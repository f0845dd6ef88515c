// ztcrypto ecdh | kdf: ECDH key pairs and agreements, and the SP 800-56A key derivation.

#include <memory>

#include "engines.h"

namespace ztcli {

namespace {

using namespace ZT::Framework;

// The algorithm of a curve named as the option gives it: P256, P384 or P521.
std::unique_ptr<IAlgorithm> Curve(const std::string& name) {
  if (name != "P256" && name != "P384" && name != "P521") throw UsageError("--curve takes P256, P384 or P521");
  return AlgorithmNamed("ECDH_" + name);
}

// A new pair on the curve; its private key lives and dies with it, inside the platform.
std::unique_ptr<IKeyPair> NewPair(IAlgorithm* curve) {
  const std::unique_ptr<KeyPairGenerator> generator(KeyPairGenerator::Create(curve, nullptr));
  return std::unique_ptr<IKeyPair>(generator->GenerateKeyPair());
}

int GenerateKey(const Args& args) {
  const Parsed parsed = Parse(args, {"--curve"}, {});
  ExpectOperands(parsed, 0, 0);
  const auto curve = Curve(parsed.Required("--curve"));
  PrintLine(Hex(NewPair(curve.get())->GetPublicKey()->GetEncoded()));
  return 0;
}

int Agree(const Args& args) {
  const Parsed parsed = Parse(args, {"--curve", "--peer"}, {});
  ExpectOperands(parsed, 0, 0);
  const auto curve = Curve(parsed.Required("--curve"));
  const ByteArray point = FromHex(parsed.Required("--peer"), "--peer");
  const std::unique_ptr<IKey> peer(IKey::Create(curve.get(), L"ECCPublicKey", point));
  const auto own = NewPair(curve.get());
  const std::unique_ptr<KeyAgreement> agreement(KeyAgreement::Create(curve.get(), nullptr));
  agreement->Init(own->GetPrivateKey());
  const std::unique_ptr<ISharedSecret> secret(agreement->GenerateSecret(dynamic_cast<IPublicKey*>(peer.get())));
  PrintLine("Public key: " + Hex(own->GetPublicKey()->GetEncoded()));
  PrintLine("Secret: " + Hex(secret->GetEncoded()));
  return 0;
}

int EcdhCommand(const Args& args) {
  if (args.empty()) throw UsageError("missing sub-command");
  const Args rest(args.begin() + 1, args.end());
  if (args[0] == "genkey") return GenerateKey(rest);
  if (args[0] == "agree") return Agree(rest);
  throw UsageError("unknown sub-command " + args[0]);
}

int Kdf80056ACommand(const Args& args) {
  const Parsed parsed = Parse(args, {"--secret", "--other-info", "--length"}, {});
  ExpectOperands(parsed, 0, 0);
  const ByteArray z = FromHex(parsed.Required("--secret"), "--secret");
  const ByteArray otherInfo = FromHex(parsed.Required("--other-info"), "--other-info");
  const std::uint32_t length = ParseLength(parsed.Required("--length"), "--length");
  PrintDerived("800_56A_KDF", nullptr, z, otherInfo, length);
  return 0;
}

int KdfCommand(const Args& args) {
  if (args.empty()) throw UsageError("missing sub-command");
  if (args[0] == "800-56a") return Kdf80056ACommand(Args(args.begin() + 1, args.end()));
  throw UsageError("unknown sub-command " + args[0]);
}

constexpr Command kCommands[] = {
    {"ecdh", "genkey --curve P256|P384|P521 | agree --curve P256|P384|P521 --peer HEX",
     "a new key pair's public point; or the SHA-1 secret agreed with a peer's point, after the new pair's point",
     EcdhCommand},
    {"kdf", "800-56a --secret HEX --other-info HEX --length N",
     "the SP 800-56A single-step derivation (SHA-256) of a shared secret, in hex", KdfCommand},
};

}  // namespace

std::span<const Command> AgreementCommands() { return kCommands; }

}  // namespace ztcli
