// Test hooks of the seam. Not for production code; all hooks are thread-safe.
// - The module registry behind LoadLibraryW/GetProcAddress (platform/libloader.h), so that tests
//   can drive the CNG table loader down its failure paths; module names are matched as
//   LoadLibraryW matches them.
// - The trust store of the chain engine (platform/certificates.h).
#pragma once

#include <vector>

#include "platform/wintypes.h"

namespace ZT::Platform::Testing {

// From now on LoadLibraryW(module) fails with `error` (ERROR_MOD_NOT_FOUND unless given)
// without taking a reference.
void FailModuleLoad(const wchar_t* module, DWORD error = ERROR_MOD_NOT_FOUND);

// From now on GetProcAddress on `module` does not find the export `entry`
// (ERROR_PROC_NOT_FOUND). Several entries may be hidden at once.
void HideModuleEntry(const wchar_t* module, const char* entry);

// Removes every hook set above. References taken by LoadLibraryW are kept.
void ResetModuleHooks();

// The number of references LoadLibraryW holds on `module` and FreeLibrary has not dropped
// (0 for an unknown name).
ULONG ModuleReferenceCount(const wchar_t* module);

}  // namespace ZT::Platform::Testing

namespace ZT::Platform::Testing {

// What the chain engine uses in place of the system trust store: DER certificates that are
// trusted roots, DER certificates among which issuers are also looked for (as in the platform's
// intermediate store), and DER CRLs that are consulted before any CRL distribution point is
// fetched. Bytes that do not decode are left out.
struct TrustStoreContents {
  std::vector<std::vector<unsigned char>> roots;
  std::vector<std::vector<unsigned char>> issuers;
  std::vector<std::vector<unsigned char>> crls;
};

// From now on CertGetCertificateChain builds chains against `contents` alone.
void ReplaceTrustStore(const TrustStoreContents& contents);

// Back to the system trust store.
void RestoreTrustStore();

}  // namespace ZT::Platform::Testing
