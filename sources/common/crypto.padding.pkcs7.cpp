#include "common/crypto.padding.pkcs7.h"

#include <algorithm>

namespace ZT::Framework::Padding {

void AppendPkcs7(ByteArray& data, std::uint32_t blockLength) {
  const std::uint32_t p = blockLength - static_cast<std::uint32_t>(data.size() % blockLength);
  data.insert(data.end(), p, static_cast<unsigned char>(p));
}

void RemoveByLastByte(ByteArray& data) {
  if (data.empty()) return;
  const std::size_t dropped = std::min<std::size_t>(data.back(), data.size());
  const std::size_t kept = data.size() - dropped;
  SecureWipe(data.data() + kept, dropped);
  data.resize(kept);
}

}  // namespace ZT::Framework::Padding
