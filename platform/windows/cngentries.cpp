// The CNG entries as the seam hands them out on Windows: each export of Bcrypt.dll and Ncrypt.dll
// that the CNG service table looks up is replaced by a wrapper of the same signature that first
// asks whether a test armed a failure of this call (platform/testing.h), then calls the system's
// function, and counts the handles the call opened or released.

#include <windows.h>

#include <bcrypt.h>
#include <ncrypt.h>

#include <atomic>
#include <cstring>
#include <iterator>

#include "platform/shared/callfailures.h"
#include "platform/windows/seam.h"

namespace {

// The wrapped entries, with what a successful call does to the count of live handles.
#define ZT_WRAPPED_CNG_ENTRIES(X)          \
  X(BCryptGetProperty, 0)                  \
  X(BCryptSetProperty, 0)                  \
  X(BCryptOpenAlgorithmProvider, 1)        \
  X(BCryptCloseAlgorithmProvider, -1)      \
  X(BCryptImportKeyPair, 1)                \
  X(BCryptImportKey, 1)                    \
  X(BCryptExportKey, 0)                    \
  X(BCryptGenerateKeyPair, 1)              \
  X(BCryptFinalizeKeyPair, 0)              \
  X(BCryptDestroyKey, -1)                  \
  X(BCryptEncrypt, 0)                      \
  X(BCryptDecrypt, 0)                      \
  X(BCryptGenRandom, 0)                    \
  X(BCryptCreateHash, 1)                   \
  X(BCryptHashData, 0)                     \
  X(BCryptFinishHash, 0)                   \
  X(BCryptDestroyHash, -1)                 \
  X(BCryptSecretAgreement, 1)              \
  X(BCryptDeriveKey, 0)                    \
  X(BCryptDeriveKeyPBKDF2, 0)              \
  X(BCryptDestroySecret, -1)               \
  X(NCryptExportKey, 0)                    \
  X(NCryptFreeObject, 0)                   \
  X(NCryptSetProperty, 0)

enum Index : std::size_t {
#define ZT_INDEX(name, handles) k##name,
  ZT_WRAPPED_CNG_ENTRIES(ZT_INDEX)
#undef ZT_INDEX
  kCount
};

struct EntryInfo {
  const char* name;
  int handles;  // +1 opens a handle, -1 releases one
};

constexpr EntryInfo kEntries[] = {
#define ZT_INFO(name, handles) {#name, handles},
    ZT_WRAPPED_CNG_ENTRIES(ZT_INFO)
#undef ZT_INFO
};

// The system's functions, as GetProcAddress found them.
std::atomic<FARPROC> g_real[kCount];

// Every entry returns a status, an NTSTATUS or a SECURITY_STATUS: negative means failure.
template <class Function>
struct Wrapper;

template <class Status, class... Arguments>
struct Wrapper<Status (*)(Arguments...)> {
  template <std::size_t I>
  static Status WINAPI Call(Arguments... arguments) {
    if (const auto failure = ZT::Platform::ArmedCallFailure(kEntries[I].name)) return static_cast<Status>(*failure);
    // Back to the entry's own type through void (*)(), which converts to and from every
    // function pointer type without loss.
    const auto real = reinterpret_cast<Status(WINAPI*)(Arguments...)>(
        reinterpret_cast<void (*)()>(g_real[I].load(std::memory_order_relaxed)));
    const Status status = real(arguments...);
    if (status >= 0 && kEntries[I].handles != 0) ZT::Platform::Windows::CountHandles(kEntries[I].handles);
    return status;
  }
};

template <class F>
FARPROC ProcOf(F* function) {
  return reinterpret_cast<FARPROC>(reinterpret_cast<void (*)()>(function));
}

const FARPROC kWrappers[] = {
#define ZT_WRAPPER(name, handles) ProcOf(&Wrapper<decltype(&::name)>::Call<k##name>),
    ZT_WRAPPED_CNG_ENTRIES(ZT_WRAPPER)
#undef ZT_WRAPPER
};

static_assert(std::size(kWrappers) == kCount && std::size(kEntries) == kCount);

}  // namespace

namespace ZT::Platform::Windows {

FARPROC WrappedEntry(const char* name, FARPROC real) {
  for (std::size_t i = 0; i < kCount; ++i) {
    if (std::strcmp(kEntries[i].name, name) != 0) continue;
    g_real[i].store(real, std::memory_order_relaxed);
    return kWrappers[i];
  }
  return real;
}

}  // namespace ZT::Platform::Windows
