// What the engine commands share: algorithms by friendly name and byte counts.
#pragma once

#include <limits>
#include <memory>
#include <string>

#include "cli.h"

namespace ztcli {

// The algorithm of a friendly name of the library's table (a library error for other names).
inline std::unique_ptr<ZT::Framework::IAlgorithm> AlgorithmNamed(const std::string& name) {
  const std::unique_ptr<ZT::Framework::IAlgorithmParameters> parameters(ZT::Framework::IAlgorithmParameters::Create());
  return std::unique_ptr<ZT::Framework::IAlgorithm>(
      ZT::Framework::IAlgorithm::CreateFromFriendlyName(Widen(name), parameters.get()));
}

// Prints in hex the `length` bytes that the key derivation `name` derives from `secret` and
// `input` (its salt or other information), with the options of `map` (may be null).
inline void PrintDerived(const std::string& name, ZT::Framework::ICryptoParserParameterMap* map,
                         const ByteArray& secret, const ByteArray& input, std::uint32_t length) {
  const auto algorithm = AlgorithmNamed(name);
  const std::unique_ptr<ZT::Framework::KeyDerivation> kdf(ZT::Framework::KeyDerivation::Create(algorithm.get(), map));
  const std::unique_ptr<ZT::Framework::ISharedSecret> shared(ZT::Framework::ISharedSecret::Create(secret));
  kdf->Init(shared.get());
  ByteArray key;
  kdf->Derive(input, length, key);
  PrintLine(Hex(key));
}

// A byte count the engines take (32 bits).
inline std::uint32_t ParseLength(const std::string& text, const char* what) {
  const std::uint64_t count = ParseCount(text, what);
  if (count > std::numeric_limits<std::uint32_t>::max()) throw UsageError(std::string(what) + " is too large");
  return static_cast<std::uint32_t>(count);
}

// Prints, in hex, the MAC of `input` by a new engine of `pMacAlgorithm` keyed with `pKey`;
// returns the exit status.
int PrintMac(ZT::Framework::IAlgorithm* pMacAlgorithm, ZT::Framework::IKey* pKey, const ByteArray& input);

// The public key of a key file: a SubjectPublicKeyInfo (DER, or PEM "PUBLIC KEY"), or the key of
// a certificate (DER, or PEM "CERTIFICATE").
std::unique_ptr<ZT::Framework::IKey> LoadPublicKey(const std::string& path);

}  // namespace ztcli
