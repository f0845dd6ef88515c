// The module registry behind LoadLibraryW and GetProcAddress: "Bcrypt.dll" and "Ncrypt.dll"
// are built-in modules whose exports are the seam's CNG entries. One mutex guards the
// registry; loading is rare and never on a hot path.

#include <cstring>
#include <mutex>
#include <set>
#include <string>

#include "platform/bcrypt.h"
#include "platform/libloader.h"
#include "platform/ncrypt.h"
#include "platform/openssl/callfailures.h"
#include "platform/testing.h"

namespace {

struct Export {
  const char* name;
  FARPROC address;
};

// Exports are stored as FARPROC, as the loader hands them out; the cast goes through
// void (*)(), the function pointer type that converts to and from every other without loss.
template <class F>
FARPROC ProcOf(F* function) {
  return reinterpret_cast<FARPROC>(reinterpret_cast<void (*)()>(function));
}

const Export kBcryptExports[] = {
    {"BCryptGetProperty", ProcOf(&BCryptGetProperty)},
    {"BCryptSetProperty", ProcOf(&BCryptSetProperty)},
    {"BCryptOpenAlgorithmProvider", ProcOf(&BCryptOpenAlgorithmProvider)},
    {"BCryptCloseAlgorithmProvider", ProcOf(&BCryptCloseAlgorithmProvider)},
    {"BCryptImportKeyPair", ProcOf(&BCryptImportKeyPair)},
    {"BCryptImportKey", ProcOf(&BCryptImportKey)},
    {"BCryptExportKey", ProcOf(&BCryptExportKey)},
    {"BCryptGenerateKeyPair", ProcOf(&BCryptGenerateKeyPair)},
    {"BCryptFinalizeKeyPair", ProcOf(&BCryptFinalizeKeyPair)},
    {"BCryptDestroyKey", ProcOf(&BCryptDestroyKey)},
    {"BCryptEncrypt", ProcOf(&BCryptEncrypt)},
    {"BCryptDecrypt", ProcOf(&BCryptDecrypt)},
    {"BCryptGenRandom", ProcOf(&BCryptGenRandom)},
    {"BCryptCreateHash", ProcOf(&BCryptCreateHash)},
    {"BCryptHashData", ProcOf(&BCryptHashData)},
    {"BCryptFinishHash", ProcOf(&BCryptFinishHash)},
    {"BCryptDestroyHash", ProcOf(&BCryptDestroyHash)},
    {"BCryptSecretAgreement", ProcOf(&BCryptSecretAgreement)},
    {"BCryptDeriveKey", ProcOf(&BCryptDeriveKey)},
    {"BCryptDeriveKeyPBKDF2", ProcOf(&BCryptDeriveKeyPBKDF2)},
    {"BCryptDestroySecret", ProcOf(&BCryptDestroySecret)},
};

const Export kNcryptExports[] = {
    {"NCryptExportKey", ProcOf(&NCryptExportKey)},
    {"NCryptFreeObject", ProcOf(&NCryptFreeObject)},
    {"NCryptSetProperty", ProcOf(&NCryptSetProperty)},
};

struct Module {
  Module(const wchar_t* name, const Export* table, std::size_t count) : fileName(name), exports(table), exportCount(count) {}

  const wchar_t* fileName;  // lower case
  const Export* exports;
  std::size_t exportCount;
  // Guarded by the registry's mutex:
  ULONG references = 0;
  DWORD loadFailure = ERROR_SUCCESS;  // test hook: the error LoadLibraryW fails with
  std::set<std::string> hidden;       // test hook: exports GetProcAddress does not find
};

class Registry {
 public:
  static Registry& Instance() {
    static Registry registry;
    return registry;
  }

  std::mutex mutex;
  Module modules[2] = {
      {L"bcrypt.dll", kBcryptExports, std::size(kBcryptExports)},
      {L"ncrypt.dll", kNcryptExports, std::size(kNcryptExports)},
  };

  // The module a LoadLibraryW name designates, or null.
  Module* ByName(const wchar_t* name) {
    const std::wstring wanted = CanonicalName(name);
    for (Module& module : modules)
      if (wanted == module.fileName) return &module;
    return nullptr;
  }

  // The module of a handle: its handle is the address of its registry entry.
  Module* ByHandle(HMODULE handle) {
    for (Module& module : modules)
      if (reinterpret_cast<HMODULE>(&module) == handle) return &module;
    return nullptr;
  }

 private:
  // The file name part after any path, in lower case (ASCII, as the names here are), with
  // ".dll" appended when it has no extension and a trailing dot (which means "no extension")
  // removed, as LoadLibraryW reads a name.
  static std::wstring CanonicalName(const wchar_t* name) {
    std::wstring text(name);
    const std::size_t slash = text.find_last_of(L"\\/");
    if (slash != std::wstring::npos) text.erase(0, slash + 1);
    for (wchar_t& c : text)
      if (c >= L'A' && c <= L'Z') c = static_cast<wchar_t>(c - L'A' + L'a');
    if (!text.empty() && text.back() == L'.')
      text.pop_back();
    else if (text.find(L'.') == std::wstring::npos)
      text += L".dll";
    return text;
  }
};

// GetProcAddress takes a name, or an ordinal in the low word of the pointer.
bool IsOrdinal(LPCSTR procName) { return reinterpret_cast<std::uintptr_t>(procName) <= 0xFFFF; }

}  // namespace

extern "C" {

BOOL WINAPI SetDllDirectoryW(LPCWSTR) {
  ZT_FAIL_POINT_LAST_ERROR(FALSE);
  return TRUE;
}

HMODULE WINAPI LoadLibraryW(LPCWSTR lpLibFileName) {
  ZT_FAIL_POINT_LAST_ERROR(nullptr);
  if (lpLibFileName == nullptr) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return nullptr;
  }
  Registry& registry = Registry::Instance();
  const std::lock_guard<std::mutex> lock(registry.mutex);
  Module* module = registry.ByName(lpLibFileName);
  if (module == nullptr || module->loadFailure != ERROR_SUCCESS) {
    SetLastError(module == nullptr ? ERROR_MOD_NOT_FOUND : module->loadFailure);
    return nullptr;
  }
  ++module->references;
  return reinterpret_cast<HMODULE>(module);
}

FARPROC WINAPI GetProcAddress(HMODULE hModule, LPCSTR lpProcName) {
  ZT_FAIL_POINT_LAST_ERROR(nullptr);
  Registry& registry = Registry::Instance();
  const std::lock_guard<std::mutex> lock(registry.mutex);
  Module* module = registry.ByHandle(hModule);
  if (module == nullptr || module->references == 0) {
    SetLastError(ERROR_MOD_NOT_FOUND);
    return nullptr;
  }
  // The built-in modules export by name only.
  if (IsOrdinal(lpProcName) || module->hidden.count(lpProcName) != 0) {
    SetLastError(ERROR_PROC_NOT_FOUND);
    return nullptr;
  }
  for (std::size_t i = 0; i < module->exportCount; ++i)
    if (std::strcmp(module->exports[i].name, lpProcName) == 0) return module->exports[i].address;
  SetLastError(ERROR_PROC_NOT_FOUND);
  return nullptr;
}

BOOL WINAPI FreeLibrary(HMODULE hLibModule) {
  Registry& registry = Registry::Instance();
  const std::lock_guard<std::mutex> lock(registry.mutex);
  Module* module = registry.ByHandle(hLibModule);
  if (module == nullptr || module->references == 0) {
    SetLastError(ERROR_MOD_NOT_FOUND);
    return FALSE;
  }
  --module->references;
  return TRUE;
}

}  // extern "C"

namespace ZT::Platform::Testing {

void FailModuleLoad(const wchar_t* module, DWORD error) {
  Registry& registry = Registry::Instance();
  const std::lock_guard<std::mutex> lock(registry.mutex);
  if (Module* found = registry.ByName(module)) found->loadFailure = error;
}

void HideModuleEntry(const wchar_t* module, const char* entry) {
  Registry& registry = Registry::Instance();
  const std::lock_guard<std::mutex> lock(registry.mutex);
  if (Module* found = registry.ByName(module)) found->hidden.insert(entry);
}

void ResetModuleHooks() {
  Registry& registry = Registry::Instance();
  const std::lock_guard<std::mutex> lock(registry.mutex);
  for (Module& module : registry.modules) {
    module.loadFailure = ERROR_SUCCESS;
    module.hidden.clear();
  }
}

ULONG ModuleReferenceCount(const wchar_t* module) {
  Registry& registry = Registry::Instance();
  const std::lock_guard<std::mutex> lock(registry.mutex);
  const Module* found = registry.ByName(module);
  return found != nullptr ? found->references : 0;
}

}  // namespace ZT::Platform::Testing
