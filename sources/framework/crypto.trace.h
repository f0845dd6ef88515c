// Tracing and failure discipline of every public operation, in one place.
//
//   MessageDigest* MessageDigest::Create(IAlgorithm* pAlgorithm, ICryptoParserParameterMap* pParams) {
//     const FunctionTrace fn(L"MessageDigest::Create");                  // entry line, level 8
//     return fn.Run([&]() -> MessageDigest* {                            // exit line, level 16
//       if (pAlgorithm == nullptr) fn.RaiseUnlogged(CRYPTO_BAD_PARAM, L"pAlgorithm should not be NULL");
//       return fn.Wrap(L"new CCNGMessageDigest() failed", [&] { return new CCNGMessageDigest(...); });
//     });
//   }
//
// Raising: a new CCryptoException with the raising statement's file and line, a level-1 line
// "<name> : <detail>", and the pointer thrown. Wrapping: a caught exception becomes the inner
// exception of a new one with the wrapper's message and the caught id (or, with WrapAs, an id of
// its own). Leaving Run by an exception writes "<name> Returns %s" with that exception's message.
// Only CCryptoException pointers leave Run: whatever else a caller's object or the support
// library throws as an IException pointer is wrapped on the way out.
#pragma once

#include <type_traits>
#include <utility>

#include "nq/nqlog.h"
#include "zt/exception.h"
#include "zt/secure.h"

namespace ZT::Framework {

// The category of every trace line of the library.
inline constexpr const wchar_t* kTraceCategory = L"CRYPTO";

// The place of a statement, taken at the call site through default arguments.
struct SourceLine {
  const char* file;
  unsigned line;
  constexpr SourceLine(const char* f = __builtin_FILE(), unsigned l = __builtin_LINE()) : file(f), line(l) {}
};

// An exception id together with the place of the statement that raises it: writing
// `fn.Raise(CRYPTO_BAD_PARAM, ...)` records the line of that call.
struct RaiseAt {
  CryptoExceptionId id;
  SourceLine where;
  RaiseAt(CryptoExceptionId i, SourceLine w = SourceLine()) : id(i), where(w) {}
};

// The project-relative path of a source file without its extension
// ("sources/cng/crypto.cng.digest" for ".../sources/cng/crypto.cng.digest.cpp").
WString SourceFilePath(const char* file);

// A new exception for a raise or wrap at `where`; logs nothing.
CCryptoException* NewCryptoException(SourceLine where, const WString& message, CryptoExceptionId id,
                                     IException* inner);

// The trace of one call of a library function: its name, and (for members) the object.
class FunctionTrace {
 public:
  // A static function or factory: logs "<name>" at level 8.
  explicit FunctionTrace(const wchar_t* name);
  // A member function, constructor or destructor: logs "<name> : this=%#x" at level 8.
  FunctionTrace(const wchar_t* name, const void* self);
  FunctionTrace(const FunctionTrace&) = delete;
  FunctionTrace& operator=(const FunctionTrace&) = delete;

  const wchar_t* Name() const { return m_name; }

  // Runs the function's body and returns its result. A normal return logs "<name>" at level 16;
  // a CCryptoException pointer leaving the body logs "<name> Returns %s" with its message at 16
  // and goes on to the caller. Any other IException pointer (thrown by a caller's map, key or
  // algorithm, or by the support library) is first wrapped as Wrap does, with the message
  // "<name> failed" and the line of the Run call: only CCryptoException pointers leave the
  // library. Other exceptions (std::bad_alloc) pass through unlogged.
  template <class Body>
  std::invoke_result_t<Body&> Run(Body&& body, SourceLine where = SourceLine()) const {
    using Result = std::invoke_result_t<Body&>;
    try {
      if constexpr (std::is_void_v<Result>) {
        body();
        LogExit();
      } else {
        Result result = body();
        LogExit();
        return result;
      }
    } catch (CCryptoException* e) {
      LogReturns(e);
      throw;
    } catch (IException* foreign) {
      ThrowForeign(where, foreign);
    }
  }

  // Raises `message` with `id`, logging "<name> : <message>" at level 1.
  [[noreturn]] void Raise(RaiseAt at, const WString& message) const;

  // Raises `message` with `id`, logging a more precise level-1 line "<name> : <detail>", as in
  // fn.Raise(CRYPTO_INTERNAL_ERROR, L"BCryptHashData failed",
  //          L"Error 0x%x returned by BCryptHashData", status);
  template <class... A>
  [[noreturn]] void Raise(RaiseAt at, const WString& message, nqlogFormat<A...> detail, const A&... args) const {
    Log(NQLOG_ERROR, detail, args...);
    Throw(at, message);
  }

  // Raises `message` with `id` without a level-1 line.
  [[noreturn]] void RaiseUnlogged(RaiseAt at, const WString& message) const;

  // Runs `step` and returns its result. An IException pointer leaving it is wrapped: a new
  // exception with `message`, the caught exception's id and the caught exception as its inner
  // one, logged as "<name> : <message>" at level 1 and thrown.
  template <class Step>
  std::invoke_result_t<Step&> Wrap(const WString& message, Step&& step, SourceLine where = SourceLine()) const {
    try {
      return step();
    } catch (IException* caught) {
      ThrowWrapped(where, message, static_cast<CryptoExceptionId>(caught->getID()), caught);
    }
  }

  // As Wrap, but the new exception takes the id of `at`, not the caught one's:
  //   fn.WrapAs(CRYPTO_INTERNAL_ERROR, L"Error while parsing parameters", [&] { ... });
  template <class Step>
  std::invoke_result_t<Step&> WrapAs(RaiseAt at, const WString& message, Step&& step) const {
    try {
      return step();
    } catch (IException* caught) {
      ThrowWrapped(at.where, message, at.id, caught);
    }
  }

  // "<name> : ..." at level 0 (argument and result values).
  template <class... A>
  void Data(nqlogFormat<A...> format, const A&... args) const {
    Log(NQLOG_DATA, format, args...);
  }
  // "<name> : ..." at level 2 (null or empty arguments).
  template <class... A>
  void Warning(nqlogFormat<A...> format, const A&... args) const {
    Log(NQLOG_WARNING, format, args...);
  }
  // "<name> : ..." at level 1 (an error line that goes with no raise of its own).
  template <class... A>
  void Error(nqlogFormat<A...> format, const A&... args) const {
    Log(NQLOG_ERROR, format, args...);
  }
  // A dump of `bytes` at level 0, labelled "<name> : <what>:".
  void Bytes(const wchar_t* what, const ByteArray& bytes) const;

 private:
  template <class... A>
  void Log(int level, nqlogFormat<A...> format, const A&... args) const {
    if (!nqlog::Enabled(level)) return;
    Deliver(level, nqlog::Format(format.get(), args...));
  }
  void Deliver(int level, const std::wstring& detail) const;
  void LogExit() const;
  void LogReturns(IException* e) const;
  [[noreturn]] void Throw(RaiseAt at, const WString& message) const;
  CCryptoException* Wrapped(SourceLine where, const WString& message, CryptoExceptionId id,
                            IException* caught) const;
  [[noreturn]] void ThrowWrapped(SourceLine where, const WString& message, CryptoExceptionId id,
                                 IException* caught) const;
  [[noreturn]] void ThrowForeign(SourceLine where, IException* foreign) const;

  const wchar_t* m_name;
};

// Runs `read`, a use of a caller's parameter map: anything it throws becomes the inner exception
// of CRYPTO_INTERNAL_ERROR "Error while parsing parameters".
template <class Read>
std::invoke_result_t<Read&> ReadMap(const FunctionTrace& fn, Read&& read, SourceLine where = SourceLine()) {
  return fn.WrapAs(RaiseAt(CRYPTO_INTERNAL_ERROR, where), L"Error while parsing parameters", read);
}

}  // namespace ZT::Framework
