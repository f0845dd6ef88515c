// What the engine benchmarks share: algorithms by friendly name and messages of a given size.
#pragma once

#include <cstddef>
#include <memory>

#include "zt/crypto.h"

namespace benchutil {

inline std::unique_ptr<ZT::Framework::IAlgorithm> Algorithm(const ZT::Framework::WString& name) {
  const std::unique_ptr<ZT::Framework::IAlgorithmParameters> parameters(ZT::Framework::IAlgorithmParameters::Create());
  return std::unique_ptr<ZT::Framework::IAlgorithm>(
      ZT::Framework::IAlgorithm::CreateFromFriendlyName(name, parameters.get()));
}

// `size` bytes of a fixed pattern.
inline ZT::Framework::ByteArray Message(std::size_t size) {
  ZT::Framework::ByteArray message(size);
  for (std::size_t i = 0; i < size; ++i) message[i] = static_cast<unsigned char>(i * 31 + 7);
  return message;
}

}  // namespace benchutil
