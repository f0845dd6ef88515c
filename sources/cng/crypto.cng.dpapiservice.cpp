#include "cng/crypto.cng.dpapiservice.h"

#include <cstring>

#include "cng/crypto.cng.baseciphers.h"
#include "cng/crypto.cng.handles.h"
#include "zt/dataprotection.h"

namespace ZT::Framework {

namespace {

// The platform refuses a null pointer for the data even when there is none, so empty data
// points here.
unsigned char g_noData = 0;

DATA_BLOB InputBlob(const FunctionTrace& fn, const ByteArray& bytes) {
  if (bytes.size() > 0xFFFFFFFFu) fn.RaiseUnlogged(CRYPTO_BAD_PARAM, L"Data to Encrypt Length is invalid");
  return {static_cast<DWORD>(bytes.size()), bytes.empty() ? &g_noData : const_cast<BYTE*>(bytes.data())};
}

// The entropy blob of a call, or null for none.
class Entropy {
 public:
  Entropy(const FunctionTrace& fn, const ByteArray& bytes) : m_blob(InputBlob(fn, bytes)) {}
  DATA_BLOB* get() { return m_blob.cbData == 0 ? nullptr : &m_blob; }

 private:
  DATA_BLOB m_blob;
};

// Raises CRYPTO_INTERNAL_ERROR for a call that failed: `message`, with the platform's code after it
// when `report` asks so ("<message> (0x<code>)"), and the code in the level-1 line.
void CheckCall(const FunctionTrace& fn, BOOL ok, const wchar_t* call, const wchar_t* message, FailureReport report) {
  if (ok) return;
  const DWORD code = GetLastError();
  fn.Raise(CRYPTO_INTERNAL_ERROR, report == FailureReport::WithCode ? WithCode(message, code) : WString(message),
           L"Error 0x%x returned by %s", code, call);
}

void CopyOut(const DATA_BLOB& blob, ByteArray& baOut) {
  ResizeSecurely(baOut, blob.cbData);
  if (blob.cbData != 0) std::memcpy(baOut.data(), blob.pbData, blob.cbData);
}

}  // namespace

DWORD ProtectionFlags(const WString& sLabel) {
  return sLabel == kMachineKeyLabel ? CRYPTPROTECT_UI_FORBIDDEN | CRYPTPROTECT_LOCAL_MACHINE
                                    : CRYPTPROTECT_UI_FORBIDDEN;
}

void ProtectData(const FunctionTrace& fn, const ByteArray& baData, const wchar_t* szDescription,
                 const ByteArray& baEntropy, DWORD flags, ByteArray& baOut, FailureReport report) {
  DATA_BLOB in = InputBlob(fn, baData);
  Entropy entropy(fn, baEntropy);
  LocalDataBlob out;
  CheckCall(fn, CryptProtectData(&in, szDescription, entropy.get(), nullptr, nullptr, flags, &out.blob),
            L"CryptProtectData", report == FailureReport::WithCode ? L"CryptProtectData failed" : L"CryptProtectData failed!",
            report);
  CopyOut(out.blob, baOut);
}

void UnprotectData(const FunctionTrace& fn, const ByteArray& baBlob, const ByteArray& baEntropy, DWORD flags,
                   ByteArray& baOut, WString* psDescription, FailureReport report) {
  DATA_BLOB in = InputBlob(fn, baBlob);
  Entropy entropy(fn, baEntropy);
  LocalDataBlob out;
  LocalText description;
  CheckCall(fn,
            CryptUnprotectData(&in, psDescription != nullptr ? description.put() : nullptr, entropy.get(), nullptr,
                               nullptr, flags, &out.blob),
            L"CryptUnprotectData",
            report == FailureReport::WithCode ? L"CryptUnprotectData failed" : L"CryptUnprotectData failed!", report);
  if (psDescription != nullptr) *psDescription = description ? description.get() : L"";
  CopyOut(out.blob, baOut);
}

// ---- the exported service ----------------------------------------------------------------------

ByteArray IDataProtection::Protect(const ByteArray& baData, const WString& sDescription, const ByteArray& baEntropy,
                                   bool bMachine) {
  const FunctionTrace fn(L"IDataProtection::Protect");
  return fn.Run([&] {
    ByteArray protectedData;
    ProtectData(fn, baData, sDescription.c_str(), baEntropy,
                ProtectionFlags(bMachine ? kMachineKeyLabel : L""), protectedData, FailureReport::WithCode);
    return protectedData;
  });
}

ByteArray IDataProtection::Unprotect(const ByteArray& baProtected, const ByteArray& baEntropy, WString& sDescription) {
  const FunctionTrace fn(L"IDataProtection::Unprotect");
  return fn.Run([&] {
    ByteArray data;
    WString description;
    UnprotectData(fn, baProtected, baEntropy, CRYPTPROTECT_UI_FORBIDDEN, data, &description, FailureReport::WithCode);
    sDescription = description;
    return data;
  });
}

WString IDataProtection::GetMachineSecretPath() {
  const FunctionTrace fn(L"IDataProtection::GetMachineSecretPath");
  return fn.Run([] {
    const std::wstring path = Platform::MachineProtectionSecretPath();
    return WString(path.begin(), path.end());
  });
}

bool IDataProtection::HasMachineSecret() {
  const FunctionTrace fn(L"IDataProtection::HasMachineSecret");
  return fn.Run([] { return Platform::CheckMachineProtectionSecret() != FALSE; });
}

bool IDataProtection::CreateMachineSecret() {
  const FunctionTrace fn(L"IDataProtection::CreateMachineSecret");
  return fn.Run([&] {
    const BOOL made = Platform::CreateMachineProtectionSecret();
    const DWORD code = GetLastError();
    if (!made)
      fn.Raise(CRYPTO_INTERNAL_ERROR, WithCode(L"Unable to create the machine secret " + GetMachineSecretPath(), code),
               L"Error 0x%x returned by %s", code, L"CreateMachineProtectionSecret");
    return code != ERROR_ALREADY_EXISTS;
  });
}

}  // namespace ZT::Framework
