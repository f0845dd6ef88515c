// The CNG service table: the platform's CNG functions, looked up at run time from "Bcrypt.dll"
// and "Ncrypt.dll" into one process-wide table that every engine calls through. It is part of
// the framework core but loads the platform's modules, so it stands with the engines, above the
// platform seam.
//
//   if (!CryptoSoftCNGWrapper::LoadCNGLibrary()) ...            // see RequireCNG (crypto.cng.status.h)
//   NTSTATUS status = CNG().BCryptHashData(hHash, pbData, cbData, 0);
//
// The table is read and written through atomics, so that threads may load it and call through
// it at the same time without a data race. A module handle is published only after every entry
// of its module is in place, so a thread that sees both handles set sees all 24 entries.
#pragma once

#include <atomic>
#include <cstddef>

#include "platform/platform.h"

// The 24 entries, in the order in which they are resolved: 21 from Bcrypt.dll, then 3 from
// Ncrypt.dll. One list for the table, the loader and the typed calls.
#define ZT_CNG_BCRYPT_ENTRIES(X) \
  X(BCryptGetProperty)           \
  X(BCryptSetProperty)           \
  X(BCryptOpenAlgorithmProvider) \
  X(BCryptCloseAlgorithmProvider) \
  X(BCryptImportKeyPair)         \
  X(BCryptImportKey)             \
  X(BCryptExportKey)             \
  X(BCryptGenerateKeyPair)       \
  X(BCryptFinalizeKeyPair)       \
  X(BCryptDestroyKey)            \
  X(BCryptEncrypt)               \
  X(BCryptDecrypt)               \
  X(BCryptGenRandom)             \
  X(BCryptCreateHash)            \
  X(BCryptHashData)              \
  X(BCryptFinishHash)            \
  X(BCryptDestroyHash)           \
  X(BCryptSecretAgreement)       \
  X(BCryptDeriveKey)             \
  X(BCryptDeriveKeyPBKDF2)       \
  X(BCryptDestroySecret)
#define ZT_CNG_NCRYPT_ENTRIES(X) \
  X(NCryptExportKey)             \
  X(NCryptFreeObject)            \
  X(NCryptSetProperty)

namespace ZT::Framework {

enum class CNGEntry : std::size_t {
#define ZT_CNG_ENUM(name) name,
  ZT_CNG_BCRYPT_ENTRIES(ZT_CNG_ENUM) ZT_CNG_NCRYPT_ENTRIES(ZT_CNG_ENUM)
#undef ZT_CNG_ENUM
  Count
};

inline constexpr std::size_t kCNGEntryCount = static_cast<std::size_t>(CNGEntry::Count);
inline constexpr std::size_t kFirstNcryptEntry = static_cast<std::size_t>(CNGEntry::NCryptExportKey);

class CryptoSoftCNGWrapper {
 public:
  // Makes sure both libraries and all 24 entries are loaded. True when they are (at once, with
  // only the entry trace line, when an earlier call loaded them). On any failure both modules
  // are released, the whole table is emptied and false is returned; the next call starts over.
  // Never throws.
  static bool LoadCNGLibrary();

  // Releases both modules and empties the table (logged at level 2). LoadCNGLibrary calls it on
  // failure; tests call it to start from an empty table. No engine may be running meanwhile.
  static void UnloadCNGLibrary();

  // The entry of the table (null while it is not loaded).
  static FARPROC Entry(CNGEntry entry) noexcept;
};

// Typed calls through the table: each member has the name of its entry and forwards its
// arguments to it, as in CNG().BCryptHashData(hHash, pbInput, cbInput, 0). Call only after
// LoadCNGLibrary returned true.
class CNGServices {
 public:
#define ZT_CNG_CALL(name)                                                              \
  template <class... A>                                                                \
  auto name(A... args) const {                                                         \
    return reinterpret_cast<decltype(&::name)>(                                        \
        reinterpret_cast<void (*)()>(CryptoSoftCNGWrapper::Entry(CNGEntry::name)))(args...); \
  }
  ZT_CNG_BCRYPT_ENTRIES(ZT_CNG_CALL)
  ZT_CNG_NCRYPT_ENTRIES(ZT_CNG_CALL)
#undef ZT_CNG_CALL
};

inline CNGServices CNG() { return CNGServices{}; }

}  // namespace ZT::Framework
