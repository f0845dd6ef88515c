// How engines turn platform results into the library's failures, in one place:
//
//   RequireCNG(fn);  // "Load CNG library failed"
//   CheckStatus(fn, CNG().BCryptHashData(...), L"BCryptHashData", L"BCryptHashData failed");
//   CheckLastError(fn, CryptGenRandom(...), L"CryptGenRandom", L"CryptGenRandom failed");
//
// Each raises through the function's trace (crypto.trace.h), so the exception records the line
// of the check and the level-1 line names the function and the failed call. Messages are taken
// as plain text: a check that passes builds no string.
#pragma once

#include "cng/crypto.cng.servicetable.h"
#include "framework/crypto.trace.h"

namespace ZT::Framework {

// Loads the CNG service table (CryptoSoftCNGWrapper::LoadCNGLibrary). When it cannot be
// loaded: logs "<name> : Unable to load CNG library" at level 1 and raises `message` with `id`.
void RequireCNG(const FunctionTrace& fn, const wchar_t* message = L"Load CNG library failed",
                CryptoExceptionId id = CRYPTO_INTERNAL_ERROR, SourceLine where = SourceLine());

// Raises `message` with `id` for a failure status (negative NTSTATUS or SECURITY_STATUS),
// logging "<name> : Error 0x%x returned by <call>" with the status. Success returns.
[[noreturn]] void RaiseStatus(const FunctionTrace& fn, LONG status, const wchar_t* call, const wchar_t* message,
                              CryptoExceptionId id, SourceLine where);

inline void CheckStatus(const FunctionTrace& fn, LONG status, const wchar_t* call, const wchar_t* message,
                        CryptoExceptionId id = CRYPTO_INTERNAL_ERROR, SourceLine where = SourceLine()) {
  if (status < 0) RaiseStatus(fn, status, call, message, id, where);
}

// A platform call and the message it fails with, for the checks of a call made in steps.
struct StatusStep {
  const wchar_t* call;
  const wchar_t* message;
};

// What a platform call writes under the size-query protocol: `call(nullptr, 0, &size)` learns
// the size, `call(buffer, size, &size)` fills a buffer of that size, which is then cut to what was
// written. Either failure is raised as CheckStatus does, with its step's names.
template <class Call>
ByteArray SizedOutput(const FunctionTrace& fn, Call&& call, StatusStep sizeStep, StatusStep dataStep,
                      SourceLine where = SourceLine()) {
  ULONG size = 0;
  CheckStatus(fn, call(nullptr, 0, &size), sizeStep.call, sizeStep.message, CRYPTO_INTERNAL_ERROR, where);
  ByteArray output(size);
  CheckStatus(fn, call(output.data(), size, &size), dataStep.call, dataStep.message, CRYPTO_INTERNAL_ERROR, where);
  output.resize(size);
  return output;
}

// The same for a CryptoAPI call that returned FALSE: the status is GetLastError().
void CheckLastError(const FunctionTrace& fn, BOOL ok, const wchar_t* call, const wchar_t* message,
                    CryptoExceptionId id = CRYPTO_INTERNAL_ERROR, SourceLine where = SourceLine());

// The pointer and length a platform call takes for a byte array: null and 0 when it is empty.
// Platform calls take non-const pointers even for input.
inline PUCHAR InputBytes(const ByteArray& bytes) {
  return bytes.empty() ? nullptr : const_cast<PUCHAR>(bytes.data());
}
inline ULONG InputLength(const ByteArray& bytes) { return static_cast<ULONG>(bytes.size()); }


}  // namespace ZT::Framework
