// ztcrypto verify: RSA signature verification of a file.

#include <memory>

#include "engines.h"

namespace ztcli {

namespace {

using namespace ZT::Framework;

// A hash that --hash names: its engine, the DER prefix of its DigestInfo (RFC 8017, 9.2 note 1)
// and its ANSI X9.31 hash identifier (ISO/IEC 10118 numbering; 0 where X9.31 has none).
struct HashRow {
  const char* name;
  const char* digestInfoPrefix;
  unsigned char x931Id;
};
constexpr HashRow kHashes[] = {
    {"MD5", "3020300c06082a864886f70d020505000410", 0},
    {"SHA1", "3021300906052b0e03021a05000414", 0x33},
    {"SHA256", "3031300d060960864801650304020105000420", 0x34},
    {"SHA384", "3041300d060960864801650304020205000430", 0x36},
    {"SHA512", "3051300d060960864801650304020305000440", 0x35},
};

std::unique_ptr<IKey> CertificateKey(const ByteArray& der) {
  const std::unique_ptr<ICertificate> certificate(ICertificate::Create(CERT_FORMAT_X509, der));
  return std::unique_ptr<IKey>(certificate->GetPublicKey()->Clone());
}

std::unique_ptr<IKey> ImportedKey(const ByteArray& subjectPublicKeyInfo) {
  return std::unique_ptr<IKey>(IKey::Create(AlgorithmNamed("RSA").get(), L"X509", subjectPublicKeyInfo));
}

const HashRow& FindHash(const std::string& name) {
  for (const HashRow& row : kHashes)
    if (name == row.name) return row;
  throw UsageError("--hash takes MD5, SHA1, SHA256, SHA384 or SHA512");
}

ByteArray Digest(const HashRow& hash, const ByteArray& data) {
  const std::unique_ptr<MessageDigest> digest(MessageDigest::Create(AlgorithmNamed(hash.name).get(), nullptr));
  digest->Update(data);
  ByteArray out;
  digest->Digest(out);
  return out;
}

int VerifyCommand(const Args& args) {
  const Parsed parsed = Parse(args, {"--key", "--padding", "--signature", "--hash"}, {});
  ExpectOperands(parsed, 1, 1);
  const std::string& padding = parsed.Required("--padding");
  if (padding != "PKCS1" && padding != "X_931" && padding != "None")
    throw UsageError("--padding takes PKCS1, X_931 or None");
  const std::string& keyFile = parsed.Required("--key");
  const ByteArray signature = ReadInput(parsed.Required("--signature"));
  ByteArray message = ReadInput(parsed.operands[0]);

  const std::unique_ptr<ICryptoParserParameterMap> map(ICryptoParserParameterMap::Create());
  map->SetPadding(Widen(padding));
  if (const std::string* hashName = parsed.Option("--hash")) {
    const HashRow& hash = FindHash(*hashName);
    const ByteArray digest = Digest(hash, message);
    if (padding == "PKCS1") {
      message = FromHex(hash.digestInfoPrefix, "DigestInfo");
      message.insert(message.end(), digest.begin(), digest.end());
    } else if (padding == "X_931") {
      if (hash.x931Id == 0) throw UsageError("X9.31 has no identifier for " + *hashName);
      map->SetHashAlgoPaddingMode(hash.x931Id);
      message = digest;
    } else {
      message = digest;
    }
  }

  const std::unique_ptr<IKey> key = LoadPublicKey(keyFile);
  auto* publicKey = dynamic_cast<IPublicKey*>(key.get());
  if (publicKey == nullptr) throw ToolError(keyFile + " holds no public key");
  const std::unique_ptr<Signature> engine(Signature::Create(AlgorithmNamed("RSA").get(), map.get()));
  engine->Init(publicKey);
  engine->Update(message);
  const bool valid = engine->Verify(signature);
  PrintLine(valid ? "valid" : "invalid");
  return valid ? 0 : 1;
}

constexpr Command kCommands[] = {
    {"verify", "--key FILE --padding PKCS1|X_931|None --signature FILE [--hash ALG] DATAFILE|-",
     "verify an RSA signature of a file: prints valid (exit 0) or invalid (exit 1)", VerifyCommand},
};

}  // namespace

std::span<const Command> SignatureCommands() { return kCommands; }

std::unique_ptr<ZT::Framework::IKey> LoadPublicKey(const std::string& path) {
  const ByteArray content = ReadInput(path);
  ByteArray der;
  if (FromPem(content, "CERTIFICATE", &der)) return CertificateKey(der);
  if (FromPem(content, "PUBLIC KEY", &der)) return ImportedKey(der);
  // DER: a certificate when it reads as one, else a SubjectPublicKeyInfo.
  try {
    return CertificateKey(content);
  } catch (ZT::Framework::IException* e) {
    delete e;
  }
  return ImportedKey(content);
}

}  // namespace ztcli
