// PKCS #1 v1.5 encryption block (block type 2): 00 02 PS 00 M.

#include "common/crypto.padding.h"

namespace ZT::Framework {

namespace {

constexpr std::uint32_t kMinimumOverhead = 11;  // 00 02, at least 8 padding bytes, 00

// A random byte r becomes (r mod 254) + 1: never zero (the separator) and, by design, never 255.
// The slight bias towards 1 and 2 is kept: receivers only look for the first zero.
unsigned char NonZeroPaddingByte(unsigned char r) { return static_cast<unsigned char>(r % 254 + 1); }

}  // namespace

void CPKCS1EncryptPadding::EncodeData(const ByteArray& baIn, ByteArray& baOut) {
  // The trace lines of this one function begin with a blank; the suite's readers match them so.
  const FunctionTrace fn(L" CPKCS1EncryptPadding::EncodeData", this);
  fn.Run([&] {
    baOut.clear();
    const std::uint32_t k = m_nKeyLength;
    const auto mLen = static_cast<std::uint32_t>(baIn.size());
    Padding::RequireMessageFits(fn, mLen, k - kMinimumOverhead, k - kMinimumOverhead);

    baOut.reserve(k);
    baOut.push_back(0x00);
    baOut.push_back(0x02);
    const std::uint32_t n = Padding::FillLength(fn, k, mLen + 3);
    ByteArray random = Padding::RandomBytes(fn, n);
    for (unsigned char r : random) baOut.push_back(NonZeroPaddingByte(r));
    baOut.push_back(0x00);
    baOut.insert(baOut.end(), baIn.begin(), baIn.end());
  });
}

bool CPKCS1EncryptPadding::DecodeData(const ByteArray& baIn, ByteArray& baOut) {
  const FunctionTrace fn(L"CPKCS1EncryptPadding::DecodeData", this);
  return fn.Run([&] {
    baOut.clear();
    const std::uint32_t k = m_nKeyLength;
    if (baIn.size() != k) {
      Padding::LogDecodeError(fn, L"invalid decryption : Key Length and MessageToDecode size do not match");
      return false;
    }
    if (k < 2 || baIn[0] != 0x00 || baIn[1] != 0x02) {
      Padding::LogDecodeError(fn, L"invalid decryption : 2 first bytes are wrong");
      return false;
    }
    // The first zero after the header, looked for before the last byte only.
    std::uint32_t i = 2;
    while (i < k - 1 && baIn[i] != 0x00) ++i;
    const std::uint32_t s = i + 1;
    // A zero among the first eight padding bytes puts the message start below 11.
    if (s >= k || s < kMinimumOverhead) {
      Padding::LogDecodeError(fn, L"invalid decryption : separator not found");
      return false;
    }
    baOut.assign(baIn.begin() + s, baIn.end());
    return true;
  });
}

}  // namespace ZT::Framework
