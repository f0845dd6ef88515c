#include "cng/crypto.cng.servicetable.h"

#include <array>
#include <string_view>

#include "framework/crypto.trace.h"

namespace ZT::Framework {

namespace {

constexpr const wchar_t* kLoadName = L"CryptoSoftCNGWrapper::LoadCNGLibrary";
constexpr const wchar_t* kUnloadName = L"CryptoSoftCNGWrapper::UnloadCNGLibrary";

struct EntryName {
  const char* exported;  // the name GetProcAddress resolves
  const char* logged;    // the name its failure line gives
};

// The failure line of BCryptDecrypt names it "pBCryptDecrypt": readers of the suite's traces
// search for that text, so it stays.
constexpr EntryName Named(const char* exported) {
  return {exported, std::string_view(exported) == "BCryptDecrypt" ? "pBCryptDecrypt" : exported};
}

constexpr EntryName kEntryNames[] = {
#define ZT_CNG_NAME(name) Named(#name),
    ZT_CNG_BCRYPT_ENTRIES(ZT_CNG_NAME) ZT_CNG_NCRYPT_ENTRIES(ZT_CNG_NAME)
#undef ZT_CNG_NAME
};
static_assert(std::size(kEntryNames) == kCNGEntryCount);

// The one table of the process, zero until loaded.
struct Table {
  std::atomic<HMODULE> bcrypt{nullptr};
  std::atomic<HMODULE> ncrypt{nullptr};
  std::array<std::atomic<FARPROC>, kCNGEntryCount> entries{};
};
constinit Table g_table;

// Resolves the entries [first, last) of `module` into the table. False, with the level-2 line
// of the first entry that is missing, when one is.
bool ResolveEntries(const FunctionTrace& fn, HMODULE module, std::size_t first, std::size_t last) {
  for (std::size_t i = first; i < last; ++i) {
    const FARPROC address = GetProcAddress(module, kEntryNames[i].exported);
    if (address == nullptr) {
      fn.Warning(L"Loading %hs failed (0x%x)", kEntryNames[i].logged, GetLastError());
      return false;
    }
    g_table.entries[i].store(address, std::memory_order_relaxed);
  }
  return true;
}

// The exit lines of LoadCNGLibrary carry its result.
bool Returns(const FunctionTrace& fn, bool loaded) {
  fn.Result(L"returns %s", loaded ? L"true" : L"false");
  return loaded;
}

// Releases a module this call loaded but did not publish in the table.
void FreeUnpublished(HMODULE module) {
  if (module != nullptr) FreeLibrary(module);
}

}  // namespace

FARPROC CryptoSoftCNGWrapper::Entry(CNGEntry entry) noexcept {
  return g_table.entries[static_cast<std::size_t>(entry)].load(std::memory_order_acquire);
}

bool CryptoSoftCNGWrapper::LoadCNGLibrary() {
  const FunctionTrace fn(kLoadName);
  HMODULE bcrypt = nullptr;
  if (g_table.bcrypt.load(std::memory_order_acquire) == nullptr) {
    // An empty directory takes the current directory out of the search order.
    SetDllDirectoryW(L"");
    bcrypt = LoadLibraryW(L"Bcrypt.dll");
    if (bcrypt == nullptr) {
      fn.Error(L"LoadLibrary (BCrypt) failed (%d)", GetLastError());
      UnloadCNGLibrary();
      return Returns(fn, false);
    }
    fn.Data(L"LoadLibrary (BCrypt) succeeded");
    if (!ResolveEntries(fn, bcrypt, 0, kFirstNcryptEntry)) {
      UnloadCNGLibrary();
      FreeUnpublished(bcrypt);
      return Returns(fn, false);
    }
    // Published only now that its entries are in place. A thread that raced us here published
    // the same module: keep one reference in the table and give ours back.
    if (g_table.bcrypt.exchange(bcrypt, std::memory_order_acq_rel) != nullptr) FreeLibrary(bcrypt);
    if (g_table.ncrypt.load(std::memory_order_acquire) != nullptr) return Returns(fn, true);
  } else if (g_table.ncrypt.load(std::memory_order_acquire) != nullptr) {
    return true;
  }

  HMODULE ncrypt = LoadLibraryW(L"Ncrypt.dll");
  if (ncrypt == nullptr) {
    fn.Error(L"LoadLibrary (NCrypt) failed (%d)", GetLastError());
    UnloadCNGLibrary();
    return Returns(fn, false);
  }
  fn.Data(L"LoadLibrary (NCrypt) succeeded");
  if (!ResolveEntries(fn, ncrypt, kFirstNcryptEntry, kCNGEntryCount)) {
    UnloadCNGLibrary();
    FreeUnpublished(ncrypt);
    return Returns(fn, false);
  }
  if (g_table.ncrypt.exchange(ncrypt, std::memory_order_acq_rel) != nullptr) FreeLibrary(ncrypt);
  return Returns(fn, true);
}

void CryptoSoftCNGWrapper::UnloadCNGLibrary() {
  TraceName(kUnloadName, NQLOG_WARNING);
  // Handles first, so that no thread takes the table for loaded while its entries go.
  for (std::atomic<HMODULE>* module : {&g_table.bcrypt, &g_table.ncrypt})
    if (HMODULE handle = module->exchange(nullptr, std::memory_order_acq_rel)) FreeLibrary(handle);
  for (std::atomic<FARPROC>& entry : g_table.entries) entry.store(nullptr, std::memory_order_relaxed);
}

}  // namespace ZT::Framework
