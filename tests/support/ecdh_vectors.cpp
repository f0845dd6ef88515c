#include "support/ecdh_vectors.h"

#include <cstring>

#include "support/command.h"
#include "support/hex.h"
#include "support/sections.h"
#include "support/tool_runner.h"

namespace zttest {

std::map<std::string, std::string> Rfc5903(const EcdhCurve& curve) {
  return ReadVector("ec/vectors.txt", std::string("rfc5903-") + curve.name);
}

namespace {

std::string FixtureName(const EcdhCurve& curve, const char* suffix) { return std::string("ec/") + curve.name + suffix; }

}  // namespace

std::vector<unsigned char> FixturePoint(const EcdhCurve& curve) {
  const auto der = ReadFixtureFile(FixtureName(curve, ".pub.der"));
  return std::vector<unsigned char>(der.end() - static_cast<long>(1 + 2 * curve.coordinate), der.end());
}

std::string OpensslAgreementHash(const EcdhCurve& curve, const std::vector<unsigned char>& peer) {
  // The peer's SubjectPublicKeyInfo: the fixture's own, with the peer's point in its place.
  auto der = ReadFixtureFile(FixtureName(curve, ".pub.der"));
  der.resize(der.size() - (1 + 2 * curve.coordinate));
  der.insert(der.end(), peer.begin(), peer.end());
  const std::string key = ShellQuoted(FixturePath(FixtureName(curve, ".pem")));
  const auto z = OpensslOutput("pkeyutl -derive -inkey " + key + " -peerkey {in} -peerform DER -out {out}", der);
  return z.empty() ? "" : ToHex(OpensslOutput("dgst -sha1 -binary -out {out} {in}", z));
}

std::vector<unsigned char> EccBlob(ULONG magic, std::initializer_list<std::string> hexParts) {
  std::vector<unsigned char> blob(sizeof(BCRYPT_ECCKEY_BLOB));
  for (const std::string& part : hexParts) {
    const auto bytes = FromHex<std::vector<unsigned char>>(part);
    blob.insert(blob.end(), bytes.begin(), bytes.end());
  }
  const BCRYPT_ECCKEY_BLOB header{magic, static_cast<ULONG>(FromHex(*hexParts.begin()).size())};
  std::memcpy(blob.data(), &header, sizeof(header));
  return blob;
}

}  // namespace zttest
