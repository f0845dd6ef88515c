// PKCS #1 v1.5 signature block (block type 1): 00 01 FF..FF 00 M.

#include "common/crypto.padding.h"

namespace ZT::Framework {

void CPKCS1SignPadding::EncodeData(const ByteArray& baIn, ByteArray& baOut) {
  const FunctionTrace fn(L"CPKCS1SignPadding::EncodeData", this);
  fn.Run([&] {
    baOut.clear();
    const std::uint32_t k = m_nKeyLength;
    const auto mLen = static_cast<std::uint32_t>(baIn.size());
    Padding::RequireMessageFits(fn, mLen, k - 11, k - 11);

    const std::uint32_t fill = Padding::FillLength(fn, k, mLen + 3);
    baOut.reserve(k);
    baOut.push_back(0x00);
    baOut.push_back(0x01);
    baOut.insert(baOut.end(), fill, 0xFF);
    baOut.push_back(0x00);
    baOut.insert(baOut.end(), baIn.begin(), baIn.end());
  });
}

bool CPKCS1SignPadding::DecodeData(const ByteArray&, ByteArray& baOut) {
  const FunctionTrace fn(L"CPKCS1SignPadding::DecodeData", this);
  return fn.Run([&]() -> bool {
    baOut.clear();
    fn.Raise(CRYPTO_NOT_SUPPORTED, L"This function is not supported");
  });
}

}  // namespace ZT::Framework
