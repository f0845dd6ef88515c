// Data protection as the system's crypt32 answers it, each call behind a wrapper with its fail
// point (platform/testing.h); the blocks handed out for LocalFree are counted among the live
// handles, and LocalFree uncounts only those. The administration of the machine's secret, which
// the service needs elsewhere, is trivial here: the system keeps its own machine key.

#include <windows.h>

#include <dpapi.h>

#include <string>

#include "platform/shared/callfailures.h"
#include "platform/testing.h"
#include "platform/windows/seam.h"

namespace {

using ZT::Platform::Windows::FailsWithLastError;
using ZT::Platform::Windows::Track;
using ZT::Platform::Windows::Untrack;

}  // namespace

extern "C" {

BOOL WINAPI ZT_Seam_CryptProtectData(DATA_BLOB* pDataIn, LPCWSTR szDataDescr, DATA_BLOB* pOptionalEntropy,
                                     PVOID pvReserved, CRYPTPROTECT_PROMPTSTRUCT* pPromptStruct, DWORD dwFlags,
                                     DATA_BLOB* pDataOut) {
  if (FailsWithLastError("CryptProtectData")) return FALSE;
  const BOOL sealed =
      CryptProtectData(pDataIn, szDataDescr, pOptionalEntropy, pvReserved, pPromptStruct, dwFlags, pDataOut);
  if (sealed) Track(pDataOut->pbData);
  return sealed;
}

BOOL WINAPI ZT_Seam_CryptUnprotectData(DATA_BLOB* pDataIn, LPWSTR* ppszDataDescr, DATA_BLOB* pOptionalEntropy,
                                       PVOID pvReserved, CRYPTPROTECT_PROMPTSTRUCT* pPromptStruct, DWORD dwFlags,
                                       DATA_BLOB* pDataOut) {
  if (FailsWithLastError("CryptUnprotectData")) return FALSE;
  const BOOL opened =
      CryptUnprotectData(pDataIn, ppszDataDescr, pOptionalEntropy, pvReserved, pPromptStruct, dwFlags, pDataOut);
  if (opened) {
    Track(pDataOut->pbData);
    if (ppszDataDescr != nullptr) Track(*ppszDataDescr);
  }
  return opened;
}

HLOCAL WINAPI ZT_Seam_LocalFree(HLOCAL hMem) {
  const HLOCAL left = LocalFree(hMem);
  if (left == nullptr) Untrack(hMem);
  return left;
}

}  // extern "C"

namespace ZT::Platform {

// The system keeps its machine key itself: there is no file to name.
std::wstring MachineProtectionSecretPath() { return std::wstring(); }

BOOL CheckMachineProtectionSecret() {
  if (FailsWithLastError("CheckMachineProtectionSecret")) return FALSE;
  SetLastError(ERROR_SUCCESS);
  return TRUE;
}

// Always there already.
BOOL CreateMachineProtectionSecret() {
  if (FailsWithLastError("CreateMachineProtectionSecret")) return FALSE;
  SetLastError(ERROR_ALREADY_EXISTS);
  return TRUE;
}

}  // namespace ZT::Platform

namespace ZT::Platform::Testing {

// The system's service keeps its keys where it keeps them: nothing to move (the tests of where the
// secrets live are not run in the Windows lane, tests/windows/exceptions.txt).
void RedirectProtectionSecrets(const ProtectionSecretLocations&) {}

void RestoreProtectionSecrets() {}

}  // namespace ZT::Platform::Testing
