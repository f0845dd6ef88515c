// Run-time loading on Windows: the kernel's LoadLibraryW, GetProcAddress and FreeLibrary behind
// the hooks of platform/testing.h. A module can be made to fail to load or to lack an export
// (by its file name, matched as the loader matches it), and the references this process took
// through the seam are counted per module. One mutex guards the hooks; loading is rare.

#include <windows.h>

#include <cwctype>
#include <map>
#include <mutex>
#include <set>
#include <string>

#include "platform/shared/callfailures.h"
#include "platform/testing.h"
#include "platform/windows/seam.h"

namespace {

using ZT::Platform::ArmedCallFailure;

struct ModuleHooks {
  DWORD loadFailure = ERROR_SUCCESS;  // the error LoadLibraryW fails with
  std::set<std::string> hidden;       // exports GetProcAddress does not find
  ULONG references = 0;               // taken through the seam and not yet dropped
};

class Hooks {
 public:
  static Hooks& Instance() {
    static Hooks hooks;
    return hooks;
  }

  std::mutex mutex;
  std::map<std::wstring, ModuleHooks> byName;  // canonical file names
  std::map<HMODULE, std::wstring> loaded;      // module handles handed out, and their names

  // The file name after any path, in lower case, with ".dll" when it has no extension: the
  // module the loader finds for `name`.
  static std::wstring CanonicalName(const wchar_t* name) {
    std::wstring file(name != nullptr ? name : L"");
    const std::size_t slash = file.find_last_of(L"\\/");
    if (slash != std::wstring::npos) file.erase(0, slash + 1);
    for (wchar_t& c : file) c = static_cast<wchar_t>(std::towlower(static_cast<wint_t>(c)));
    if (file.find(L'.') == std::wstring::npos) file += L".dll";
    return file;
  }

  // The hooks of the module `module` was loaded as, or null for a module loaded elsewhere.
  ModuleHooks* OfHandle(HMODULE module) {
    const auto found = loaded.find(module);
    return found == loaded.end() ? nullptr : &byName[found->second];
  }
};

}  // namespace

extern "C" {

BOOL WINAPI ZT_Seam_SetDllDirectoryW(LPCWSTR lpPathName) {
  if (const auto failure = ArmedCallFailure("SetDllDirectoryW")) {
    SetLastError(*failure);
    return FALSE;
  }
  return SetDllDirectoryW(lpPathName);
}

HMODULE WINAPI ZT_Seam_LoadLibraryW(LPCWSTR lpLibFileName) {
  if (const auto failure = ArmedCallFailure("LoadLibraryW")) {
    SetLastError(*failure);
    return nullptr;
  }
  Hooks& hooks = Hooks::Instance();
  const std::lock_guard<std::mutex> lock(hooks.mutex);
  const std::wstring name = Hooks::CanonicalName(lpLibFileName);
  ModuleHooks& module = hooks.byName[name];
  if (module.loadFailure != ERROR_SUCCESS) {
    SetLastError(module.loadFailure);
    return nullptr;
  }
  const HMODULE handle = LoadLibraryW(lpLibFileName);
  if (handle != nullptr) {
    hooks.loaded[handle] = name;
    ++module.references;
  }
  return handle;
}

FARPROC WINAPI ZT_Seam_GetProcAddress(HMODULE hModule, LPCSTR lpProcName) {
  if (const auto failure = ArmedCallFailure("GetProcAddress")) {
    SetLastError(*failure);
    return nullptr;
  }
  // An ordinal (a value below 0x10000 in place of a name) is no name a hook can hide.
  const bool byName = reinterpret_cast<ULONG_PTR>(lpProcName) > 0xFFFF;
  {
    Hooks& hooks = Hooks::Instance();
    const std::lock_guard<std::mutex> lock(hooks.mutex);
    const ModuleHooks* module = hooks.OfHandle(hModule);
    if (byName && module != nullptr && module->hidden.count(lpProcName) != 0) {
      SetLastError(ERROR_PROC_NOT_FOUND);
      return nullptr;
    }
  }
  const FARPROC real = GetProcAddress(hModule, lpProcName);
  return real != nullptr && byName ? ZT::Platform::Windows::WrappedEntry(lpProcName, real) : real;
}

BOOL WINAPI ZT_Seam_FreeLibrary(HMODULE hLibModule) {
  Hooks& hooks = Hooks::Instance();
  const std::lock_guard<std::mutex> lock(hooks.mutex);
  if (!FreeLibrary(hLibModule)) return FALSE;
  if (ModuleHooks* module = hooks.OfHandle(hLibModule); module != nullptr && module->references > 0)
    if (--module->references == 0) hooks.loaded.erase(hLibModule);
  return TRUE;
}

}  // extern "C"

namespace ZT::Platform::Testing {

void FailModuleLoad(const wchar_t* module, DWORD error) {
  Hooks& hooks = Hooks::Instance();
  const std::lock_guard<std::mutex> lock(hooks.mutex);
  hooks.byName[Hooks::CanonicalName(module)].loadFailure = error;
}

void HideModuleEntry(const wchar_t* module, const char* entry) {
  Hooks& hooks = Hooks::Instance();
  const std::lock_guard<std::mutex> lock(hooks.mutex);
  hooks.byName[Hooks::CanonicalName(module)].hidden.insert(entry);
}

void ResetModuleHooks() {
  Hooks& hooks = Hooks::Instance();
  const std::lock_guard<std::mutex> lock(hooks.mutex);
  for (auto& [name, module] : hooks.byName) {
    module.loadFailure = ERROR_SUCCESS;
    module.hidden.clear();
  }
}

ULONG ModuleReferenceCount(const wchar_t* module) {
  Hooks& hooks = Hooks::Instance();
  const std::lock_guard<std::mutex> lock(hooks.mutex);
  const auto found = hooks.byName.find(Hooks::CanonicalName(module));
  return found == hooks.byName.end() ? 0 : found->second.references;
}

}  // namespace ZT::Platform::Testing
