// Test hooks of the seam. Not for production code; all hooks are thread-safe.
// - The module registry behind LoadLibraryW/GetProcAddress (platform/libloader.h), so that tests
//   can drive the CNG table loader down its failure paths; module names are matched as
//   LoadLibraryW matches them.
// - The trust store of the chain engine (platform/certificates.h).
// - Call failures: any entry of the seam that reports failures can be made to fail on a given
//   call, so that tests reach the failure paths of its callers.
// - The locations of the data-protection service's secrets (platform/dpapi.h).
#pragma once

#include <cstddef>
#include <string>
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

namespace ZT::Platform::Testing {

// Call failures. FailCall(entry, code, nth, count) makes the entry of that published name
// ("BCryptHashData", "CryptGenRandom", "CertGetCertificateChain", ...) fail on its nth call from
// now (1, or 0: the next one) and on the count - 1 calls after it; the calls before and after run as
// usual. A failing call does nothing but report the failure as the platform does:
// - NTSTATUS (BCrypt*), SECURITY_STATUS (NCrypt*), HRESULT (CoCreateGuid, VarDateFromStr) and
//   errno_t (rand_s) entries return `code`;
// - entries that report through GetLastError (the CryptoAPI calls, the certificate services,
//   data protection and its administration, SystemTimeToFileTime, SetDllDirectoryW, LoadLibraryW,
//   GetProcAddress) set `code` as the thread's last error and return FALSE or null;
// - VariantTimeToSystemTime returns FALSE (it reports no code).
// The check comes before the entry looks at its arguments. Releases (BCryptDestroyHash,
// BCryptCloseAlgorithmProvider, CryptReleaseContext, CertFreeCertificateContext, FreeLibrary,
// LocalFree, ...) cannot be made to fail: no caller acts on their result, and a release that did not happen
// would only leak. Nor can the entries that have no failure result:
// CertDuplicateCertificateContext, CertFindExtension (null means "not found"),
// CertVerifyTimeValidity, GetSystemTimeAsFileTime, GetLastError and SetLastError.
//
// Calls are counted across all threads, and only calls from outside the seam count (the seam's
// own use of an entry, such as the trust store reading its certificates, neither fails nor
// counts). Arming an entry again replaces what was armed for it; count 0 disarms it. While
// nothing is armed the check costs each entry one relaxed atomic load.
void FailCall(const char* entry, DWORD code, unsigned nth, unsigned count = 1);

// FailCall(entry, code, 1, 1): the next call fails.
void FailNextCall(const char* entry, DWORD code);

// The failing calls armed and still to come (0 once every armed failure has happened): a test
// sees from it that the entry it armed was really called.
std::size_t PendingCallFailures();

// Disarms every entry.
void ResetCallFailures();

// The number of handles of the seam that are live: algorithm providers, hashes, keys, secrets,
// CryptoAPI contexts and keys, key storage providers and keys, certificate stores, files, file
// mappings and mapped views, and the blocks handed out for LocalFree. A failure path that
// releases everything leaves it as it was.
std::size_t LiveHandleCount();

}  // namespace ZT::Platform::Testing

namespace ZT::Platform::Testing {

// Where the data-protection service keeps its secrets, in place of the user's private directory
// (~/.local/share/ztcrypto) and the machine's (/var/lib/ztcrypto): two directory paths, each
// created on demand as the real one is. A redirected machine directory and its secret may also
// belong to the user running the tests (the real ones must belong to root). This is the only way
// to move them: the service reads no environment variable.
struct ProtectionSecretLocations {
  std::string userDirectory;
  std::string machineDirectory;
};

// From now on the service uses `locations` (in this process and in the children it forks).
void RedirectProtectionSecrets(const ProtectionSecretLocations& locations);

// Back to the real locations.
void RestoreProtectionSecrets();

}  // namespace ZT::Platform::Testing
