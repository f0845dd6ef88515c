#include "framework/crypto.trace.h"

#include <cstring>

namespace ZT::Framework {

WString SourceFilePath(const char* file) {
  if (file == nullptr) return WString();
  // Builds map the project root away ("-fmacro-prefix-map"); a path that still carries it is cut
  // at the last top-level folder of the project.
  std::string_view path(file);
  for (const char* root : {"/sources/", "/platform/", "/support/", "/tools/"}) {
    const std::size_t at = path.rfind(root);
    if (at != std::string_view::npos) {
      path.remove_prefix(at + 1);
      break;
    }
  }
  const std::size_t slash = path.rfind('/');
  const std::size_t dot = path.rfind('.');
  if (dot != std::string_view::npos && (slash == std::string_view::npos || dot > slash)) path = path.substr(0, dot);
  return WString(path.begin(), path.end());
}

CCryptoException* NewCryptoException(SourceLine where, const WString& message, CryptoExceptionId id,
                                      IException* inner) {
  return new CCryptoException(SourceFilePath(where.file), where.line, message, id, inner);
}

FunctionTrace::FunctionTrace(const wchar_t* name) : m_name(name) {
  nqlogLog(kTraceCategory, NQLOG_ENTRY, L"%s", m_name);
}

FunctionTrace::FunctionTrace(const wchar_t* name, const void* self) : m_name(name) {
  nqlogLog(kTraceCategory, NQLOG_ENTRY, L"%s : this=%#x", m_name, self);
}

void FunctionTrace::LogExit() const { nqlogLog(kTraceCategory, NQLOG_EXIT, L"%s", m_name); }

void FunctionTrace::LogReturns(IException* e) const {
  if (!nqlog::Enabled(NQLOG_EXIT)) return;
  const WString message = e ? e->getMessage() : WString();
  nqlogLog(kTraceCategory, NQLOG_EXIT, L"%s Returns %s", m_name, message);
}

void FunctionTrace::Deliver(int level, const std::wstring& detail) const {
  nqlogLog(kTraceCategory, level, L"%s : %s", m_name, detail);
}

void FunctionTrace::Bytes(const wchar_t* what, const ByteArray& bytes) const {
  if (!nqlog::Enabled(NQLOG_DATA)) return;
  const std::wstring label = std::wstring(m_name) + L" : " + what + L":";
  nqlogLogBin(kTraceCategory, NQLOG_DATA, bytes.data(), static_cast<std::uint32_t>(bytes.size()), label.c_str());
}

void FunctionTrace::Raise(RaiseAt at, const WString& message) const {
  Log(NQLOG_ERROR, L"%s", message);
  Throw(at, message);
}

void FunctionTrace::RaiseUnlogged(RaiseAt at, const WString& message) const { Throw(at, message); }

void FunctionTrace::Throw(RaiseAt at, const WString& message) const {
  throw NewCryptoException(at.where, message, at.id, nullptr);
}

CCryptoException* FunctionTrace::Wrapped(SourceLine where, const WString& message, CryptoExceptionId id,
                                         IException* caught) const {
  CCryptoException* wrapped = NewCryptoException(where, message, id, caught);
  Log(NQLOG_ERROR, L"%s", message);
  return wrapped;
}

void FunctionTrace::ThrowWrapped(SourceLine where, const WString& message, CryptoExceptionId id,
                                 IException* caught) const {
  throw Wrapped(where, message, id, caught);
}

void FunctionTrace::ThrowForeign(SourceLine where, IException* foreign) const {
  CCryptoException* wrapped =
      Wrapped(where, WString(m_name) + L" failed", static_cast<CryptoExceptionId>(foreign->getID()), foreign);
  LogReturns(wrapped);
  throw wrapped;
}

}  // namespace ZT::Framework
