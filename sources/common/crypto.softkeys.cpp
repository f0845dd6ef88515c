#include "common/crypto.softkeys.h"

#include <algorithm>
#include <array>

#include "framework/crypto.trace.h"

namespace ZT::Framework {

namespace {

constexpr std::size_t kMaskLength = 16;

// The mask is computed when needed rather than stored as one constant, so that it does not
// sit in the binary as a recognisable block next to the code that uses it.
std::array<unsigned char, kMaskLength> KeyMask() {
  std::array<unsigned char, kMaskLength> mask{};
  std::uint32_t state = 0x2F6B1D93u;
  for (unsigned char& byte : mask) {
    state = state * 1664525u + 1013904223u;  // a linear congruential step
    byte = static_cast<unsigned char>(state >> 24);
  }
  return mask;
}

}  // namespace

IKey::~IKey() = default;
IPublicKey::~IPublicKey() = default;
IPrivateKey::~IPrivateKey() = default;
ISecretKey::~ISecretKey() = default;
IKeyPair::~IKeyPair() = default;
ISharedSecret::~ISharedSecret() = default;

CSoftSecretKey::CSoftSecretKey(std::unique_ptr<IAlgorithm> pAlgorithm, const ByteArray& baKey)
    : m_pAlgorithm(std::move(pAlgorithm)) {
  TraceLifetime(L"CSoftSecretKey::CSoftSecretKey", this, [&] { Obfuscate(baKey, m_baMaskedKey); });
}

CSoftSecretKey::~CSoftSecretKey() {
  TraceLifetime(L"CSoftSecretKey::~CSoftSecretKey", this, [&] { m_pAlgorithm.reset(); });
}

IKey* CSoftSecretKey::Clone() const {
  const FunctionTrace fn(L"CSoftSecretKey::Clone", this);
  return fn.Run([&] {
    std::unique_ptr<IAlgorithm> algorithm(m_pAlgorithm->Clone());
    return new CSoftSecretKey(std::move(algorithm), GetEncoded());
  });
}

IAlgorithm* CSoftSecretKey::GetAlgorithm() const {
  const FunctionTrace fn(L"CSoftSecretKey::GetAlgorithm", this);
  return fn.Run([&] { return m_pAlgorithm.get(); });
}

WString CSoftSecretKey::GetFormat() const {
  const FunctionTrace fn(L"CSoftSecretKey::GetFormat", this);
  return fn.Run([] { return WString(L"RAW"); });
}

ByteArray CSoftSecretKey::GetEncoded() const {
  const FunctionTrace fn(L"CSoftSecretKey::GetEncoded", this);
  return fn.Run([&] {
    ByteArray baKey;
    Obfuscate(m_baMaskedKey, baKey);
    return baKey;
  });
}

void CSoftSecretKey::Obfuscate(const ByteArray& baIn, ByteArray& baOut) {
  const FunctionTrace fn(L"CSoftSecretKey::Obfuscate");
  fn.Run([&] {
    const auto mask = KeyMask();
    const std::size_t size = baIn.size();
    baOut.resize(size);
    const unsigned char* in = baIn.data();
    unsigned char* out = baOut.data();
    // Mask-long runs, so that the loop needs no index arithmetic per byte.
    for (std::size_t at = 0; at < size; at += kMaskLength) {
      const std::size_t run = std::min(kMaskLength, size - at);
      for (std::size_t i = 0; i < run; ++i) out[at + i] = in[at + i] ^ mask[i];
    }
  });
}

CSoftSharedSecret::CSoftSharedSecret(const ByteArray& baSecret) : m_baSecret(baSecret) {
  TraceLifetime(L"CSoftSharedSecret::CSoftSharedSecret", this);
}

CSoftSharedSecret::~CSoftSharedSecret() {
  TraceLifetime(L"CSoftSharedSecret::~CSoftSharedSecret", this);
}

ByteArray CSoftSharedSecret::GetEncoded() const {
  const FunctionTrace fn(L"CSoftSharedSecret::GetEncoded", this);
  return fn.Run([&] { return m_baSecret; });
}

}  // namespace ZT::Framework
