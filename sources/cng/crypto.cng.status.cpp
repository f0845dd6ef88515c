#include "cng/crypto.cng.status.h"

namespace ZT::Framework {

void RequireCNG(const FunctionTrace& fn, const wchar_t* message, CryptoExceptionId id, SourceLine where) {
  if (CryptoSoftCNGWrapper::LoadCNGLibrary()) return;
  fn.Raise(RaiseAt(id, where), message, L"Unable to load CNG library");
}

void RaiseStatus(const FunctionTrace& fn, LONG status, const wchar_t* call, const wchar_t* message,
                 CryptoExceptionId id, SourceLine where) {
  fn.Raise(RaiseAt(id, where), message, L"Error 0x%x returned by %s", static_cast<ULONG>(status), call);
}

void CheckLastError(const FunctionTrace& fn, BOOL ok, const wchar_t* call, const wchar_t* message,
                    CryptoExceptionId id, SourceLine where) {
  if (ok) return;
  fn.Raise(RaiseAt(id, where), message, L"Error 0x%x returned by %s", GetLastError(), call);
}

}  // namespace ZT::Framework
