#include "framework/crypto.trace.h"

#include <algorithm>
#include <cstring>
#include <iterator>

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

WString WithCode(std::wstring_view text, std::uint32_t code, std::size_t minDigits) {
  static constexpr wchar_t kDigits[] = L"0123456789abcdef";
  wchar_t hex[8];
  std::size_t length = 0;
  do {
    hex[length++] = kDigits[code & 0xF];
    code >>= 4;
  } while (code != 0 || length < std::min<std::size_t>(minDigits, std::size(hex)));
  WString message(text);
  message += L" (0x";
  while (length > 0) message.push_back(hex[--length]);
  message += L")";
  return message;
}

namespace {

const wchar_t* SeparatorText(Separator separator) {
  static constexpr const wchar_t* kTexts[] = {L" : ", L": ", L" "};
  return kTexts[static_cast<int>(separator)];
}

}  // namespace

namespace TraceDetail {

void Deliver(const wchar_t* name, int level, Separator separator, const std::wstring& detail) {
  nqlogLog(kTraceCategory, level, L"%s%s%s", name, SeparatorText(separator), detail);
}

}  // namespace TraceDetail

void TraceName(const wchar_t* name, int level) { nqlogLog(kTraceCategory, level, L"%s", name); }

FunctionTrace::FunctionTrace(const wchar_t* name) : m_name(name) { TraceName(m_name, NQLOG_ENTRY); }

FunctionTrace::FunctionTrace(const wchar_t* name, const void* self) : m_name(name) {
  nqlogLog(kTraceCategory, NQLOG_ENTRY, L"%s : this=%#x", m_name, self);
}

void FunctionTrace::LogExit() const { TraceName(m_name, NQLOG_EXIT); }

void FunctionTrace::LogReturns(IException* e) const {
  if (!nqlog::Enabled(NQLOG_EXIT)) return;
  const WString message = e ? e->getMessage() : WString();
  nqlogLog(kTraceCategory, NQLOG_EXIT, L"%s Returns %s", m_name, message);
}

void FunctionTrace::Bytes(const wchar_t* what, const ByteArray& bytes, int level, Separator separator) const {
  if (!nqlog::Enabled(level)) return;
  const std::wstring label = std::wstring(m_name) + SeparatorText(separator) + what + L":";
  nqlogLogBin(kTraceCategory, level, bytes.data(), static_cast<std::uint32_t>(bytes.size()), label.c_str());
}

void FunctionTrace::Raise(RaiseAt at, const WString& message) const {
  Error(L"%s", message);
  Throw(at, message, nullptr);
}

void FunctionTrace::RaiseUnlogged(RaiseAt at, const WString& message) const { Throw(at, message, nullptr); }

void FunctionTrace::Throw(RaiseAt at, const WString& message, IException* inner) const {
  throw NewCryptoException(at.where, message, at.id, inner);
}

CCryptoException* FunctionTrace::Wrapped(SourceLine where, const WString& message, CryptoExceptionId id,
                                         IException* caught) const {
  CCryptoException* wrapped = NewCryptoException(where, message, id, caught);
  Error(L"%s", message);
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
