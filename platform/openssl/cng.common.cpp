#include <cwchar>

#include "platform/openssl/cng.objects.h"

namespace ZT::Platform {

NTSTATUS PutProperty(const void* value, ULONG size, PUCHAR out, ULONG cbOut, ULONG* pcbResult) {
  *pcbResult = size;
  if (out == nullptr) return STATUS_SUCCESS;
  if (cbOut < size) return STATUS_BUFFER_TOO_SMALL;
  std::memcpy(out, value, size);
  return STATUS_SUCCESS;
}

NTSTATUS PutUlong(ULONG value, PUCHAR out, ULONG cbOut, ULONG* pcbResult) {
  return PutProperty(&value, sizeof(value), out, cbOut, pcbResult);
}

NTSTATUS PutString(const wchar_t* value, PUCHAR out, ULONG cbOut, ULONG* pcbResult) {
  return PutProperty(value, WideByteSize(value), out, cbOut, pcbResult);
}

bool ReadWideString(const void* input, ULONG cbInput, const wchar_t** text) {
  const auto* chars = static_cast<const wchar_t*>(input);
  const std::size_t count = cbInput / sizeof(wchar_t);
  if (input == nullptr || std::wmemchr(chars, L'\0', count) == nullptr) return false;
  *text = chars;
  return true;
}

BnPtr BigEndianToBn(const unsigned char* data, std::size_t size) {
  return BnPtr(BN_bin2bn(data, static_cast<int>(size), nullptr));
}

bool BnToBigEndian(const BIGNUM* bn, unsigned char* out, std::size_t size) {
  return BN_bn2binpad(bn, out, static_cast<int>(size)) == static_cast<int>(size);
}

}  // namespace ZT::Platform
