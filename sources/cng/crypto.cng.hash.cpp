#include "cng/crypto.cng.hash.h"

#include <algorithm>
#include <limits>

#include "cng/crypto.cng.handles.h"
#include "cng/crypto.cng.status.h"

namespace ZT::Framework {

namespace {

// A 4-byte property of a provider or hash.
ULONG UlongProperty(const FunctionTrace& fn, BCRYPT_HANDLE object, const wchar_t* property, const wchar_t* call,
                    const wchar_t* failed) {
  ULONG value = 0;
  ULONG written = 0;
  CheckStatus(fn, CNG().BCryptGetProperty(object, property, reinterpret_cast<PUCHAR>(&value), sizeof(value), &written, 0),
              call, failed);
  return value;
}

void HashBytes(const FunctionTrace& fn, BCRYPT_HASH_HANDLE hash, const unsigned char* data, std::size_t size) {
  PUCHAR input = size == 0 ? nullptr : const_cast<PUCHAR>(data);
  CheckStatus(fn, CNG().BCryptHashData(hash, input, static_cast<ULONG>(size), 0), L"BCryptHashData",
              L"BCryptHashData failed");
}

// Each byte array goes in one call (an empty input as a null pointer and length 0); only an
// array beyond what one call takes (4 GiB) is fed in several.
void HashData(const FunctionTrace& fn, BCRYPT_HASH_HANDLE hash, HashInput data) {
  constexpr std::size_t kMaxCall = std::numeric_limits<ULONG>::max();
  if (data.buffered.empty() && (data.pending == nullptr || data.pending->empty())) return HashBytes(fn, hash, nullptr, 0);
  for (const ByteArray* part : {&data.buffered, data.pending}) {
    if (part == nullptr) continue;
    for (std::size_t done = 0; done < part->size(); done += kMaxCall)
      HashBytes(fn, hash, part->data() + done, std::min(part->size() - done, kMaxCall));
  }
}

}  // namespace

void HashInOnePass(const FunctionTrace& fn, const wchar_t* algorithmId, const ByteArray* secret, HashInput data,
                   ByteArray& out, const HashStepTexts& texts) {
  const ULONG flags = secret != nullptr ? BCRYPT_ALG_HANDLE_HMAC_FLAG : 0;
  AlgorithmProvider provider;
  CheckStatus(fn, CNG().BCryptOpenAlgorithmProvider(provider.put(), algorithmId, nullptr, flags),
              L"BCryptOpenAlgorithmProvider", texts.openFailed);

  HashObject hash(UlongProperty(fn, provider.get(), BCRYPT_OBJECT_LENGTH, texts.objectLengthCall,
                                texts.objectLengthFailed));
  PUCHAR key = secret != nullptr ? InputBytes(*secret) : nullptr;
  const ULONG keyLength = secret != nullptr ? InputLength(*secret) : 0;
  CheckStatus(fn,
              CNG().BCryptCreateHash(provider.get(), hash.handle.put(), hash.Memory(), hash.MemoryLength(), key,
                                     keyLength, 0),
              L"BCryptCreateHash", L"BCryptCreateHash failed");

  HashData(fn, hash.handle.get(), data);

  out.resize(UlongProperty(fn, hash.handle.get(), BCRYPT_HASH_LENGTH, L"BCryptGetProperty(BCRYPT_HASH_LENGTH)",
                           L"BCryptGetProperty(BCRYPT_HASH_LENGTH) failed"));
  CheckStatus(fn, CNG().BCryptFinishHash(hash.handle.get(), out.data(), static_cast<ULONG>(out.size()), 0),
              L"BCryptFinishHash", L"BCryptFinishHash failed");
}

}  // namespace ZT::Framework
