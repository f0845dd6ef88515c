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
//
// What the library does with an exception it catches is done here and nowhere else: Wrap and
// WrapAs wrap what a step throws, Translate replaces it with a failure of the caller's own,
// Recover answers with a fallback instead, and Catch hands it to a handler of the caller's for
// anything else. (Code that only restores its state and rethrows needs none of them.) Every trace line of the library
// is written here too (TraceLine): engines do not call nqlogLog themselves.
#pragma once

#include <cstdint>
#include <memory>
#include <string_view>
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

// "<text> (0x<code>)": the form of the messages that carry a platform error code, the code in
// lower-case hex without leading zeros ("Error decoding the blob (0x80093103)"), or zero-filled
// to `minDigits` digits (at most 8) where a message asks for it ("(0x02)").
WString WithCode(std::wstring_view text, std::uint32_t code, std::size_t minDigits = 1);

// How a trace line joins the name of its function to its detail.
enum class Separator {
  Colon,  // "<name> : <detail>": the usual form
  Tight,  // "<name>: <detail>": the lines of a failed padding decode, the GUID generator's lines
  Blank,  // "<name> <detail>": outcomes reported after the bare name, OAEP's steps
};

// Writes "<name><separator><detail>" at `level` under the library's category; nothing is
// formatted unless a sink listens at that level. FunctionTrace writes through it; it is called
// directly only for a line that names another function than the one running.
template <class... A>
void TraceLine(const wchar_t* name, int level, Separator separator, nqlogFormat<A...> detail, const A&... args);

// The bare name at `level`, without any detail.
void TraceName(const wchar_t* name, int level);

// The message of a catching helper below, made into a WString only when it is thrown, so that
// a step that succeeds costs no allocation. It refers to the caller's text, which outlives the
// call. Implicit, so that callers pass a literal or a string as before.
class MessageText {
 public:
  MessageText(const wchar_t* text) noexcept : m_text(text) {}
  MessageText(const WString& text) noexcept : m_string(&text) {}
  WString str() const { return m_string != nullptr ? *m_string : WString(m_text); }

 private:
  const wchar_t* m_text = nullptr;
  const WString* m_string = nullptr;
};

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

  // ---- raising ----------------------------------------------------------------------------

  // Raises `message` with `id`, logging "<name> : <message>" at level 1.
  [[noreturn]] void Raise(RaiseAt at, const WString& message) const;

  // Raises `message` with `id`, logging a more precise level-1 line "<name> : <detail>", as in
  // fn.Raise(CRYPTO_INTERNAL_ERROR, L"BCryptHashData failed",
  //          L"Error 0x%x returned by BCryptHashData", status);
  template <class... A>
  [[noreturn]] void Raise(RaiseAt at, const WString& message, nqlogFormat<A...> detail, const A&... args) const {
    Error(detail, args...);
    Throw(at, message, nullptr);
  }

  // Raises `message` with `id` without a level-1 line.
  [[noreturn]] void RaiseUnlogged(RaiseAt at, const WString& message) const;

  // As the Raise with a detail line, the new exception taking `inner` (owned from here on) as
  // its inner one: a failure of this function's own that a caught one explains.
  template <class... A>
  [[noreturn]] void RaiseWrapping(std::unique_ptr<IException> inner, RaiseAt at, const WString& message,
                                  nqlogFormat<A...> detail, const A&... args) const {
    Error(detail, args...);
    Throw(at, message, inner.release());
  }

  // ---- catching ---------------------------------------------------------------------------
  // Each runs `step` and returns its result; they differ in what becomes of an IException
  // pointer that leaves the step.

  // Wrapped: a new exception with `message`, the caught exception's id and the caught
  // exception as its inner one, logged as "<name> : <message>" at level 1 and thrown.
  template <class Step>
  std::invoke_result_t<Step&> Wrap(MessageText message, Step&& step, SourceLine where = SourceLine()) const {
    return Catch(step, [&](std::unique_ptr<IException> caught) -> std::invoke_result_t<Step&> {
      const auto id = static_cast<CryptoExceptionId>(caught->getID());
      ThrowWrapped(where, message.str(), id, caught.release());
    });
  }

  // As Wrap, but the new exception takes the id of `at`, not the caught one's:
  //   fn.WrapAs(CRYPTO_INTERNAL_ERROR, L"Error while parsing parameters", [&] { ... });
  template <class Step>
  std::invoke_result_t<Step&> WrapAs(RaiseAt at, MessageText message, Step&& step) const {
    return Catch(step, [&](std::unique_ptr<IException> caught) -> std::invoke_result_t<Step&> {
      ThrowWrapped(at.where, message.str(), at.id, caught.release());
    });
  }

  // Translated: the caught exception is dropped and `message` raised with the id of `at`, as
  // Raise does (no inner exception): for a failure whose own report says nothing to the caller.
  template <class Step>
  std::invoke_result_t<Step&> Translate(RaiseAt at, MessageText message, Step&& step) const {
    return Catch(step, [&](std::unique_ptr<IException>) -> std::invoke_result_t<Step&> { Raise(at, message.str()); });
  }

  // Recovered: the result is `fallback(caught)` instead (the caught exception is dropped once
  // the fallback has seen it), as in
  //   fn.Recover([&] { return Render(time); }, [](const IException&) { return WString(L"Invalid Date"); });
  template <class Step, class Fallback>
  std::invoke_result_t<Step&> Recover(Step&& step, Fallback&& fallback) const {
    return Catch(step, [&](std::unique_ptr<IException> caught) -> std::invoke_result_t<Step&> {
      return fallback(static_cast<const IException&>(*caught));
    });
  }

  // Handed over: `handle` gets the caught exception with its ownership, and throws or returns
  // the result to give instead. Wrap, WrapAs, Translate and Recover are its usual forms.
  template <class Step, class Handle>
  std::invoke_result_t<Step&> Catch(Step&& step, Handle&& handle) const {
    try {
      return step();
    } catch (IException* caught) {
      return handle(std::unique_ptr<IException>(caught));
    }
  }

  // ---- lines ------------------------------------------------------------------------------

  // "<name> : ..." at level 0 (argument and result values).
  template <class... A>
  void Data(nqlogFormat<A...> format, const A&... args) const {
    Line(NQLOG_DATA, Separator::Colon, format, args...);
  }
  // "<name> : ..." at level 2 (null or empty arguments).
  template <class... A>
  void Warning(nqlogFormat<A...> format, const A&... args) const {
    Line(NQLOG_WARNING, Separator::Colon, format, args...);
  }
  // "<name> : ..." at level 1 (an error line that goes with no raise of its own).
  template <class... A>
  void Error(nqlogFormat<A...> format, const A&... args) const {
    Line(NQLOG_ERROR, Separator::Colon, format, args...);
  }
  // "<name> : ..." at level 16: a result written as the function returns
  // ("IOIDDecoder::OIDToString : ret=(%s)").
  template <class... A>
  void Result(nqlogFormat<A...> format, const A&... args) const {
    Line(NQLOG_EXIT, Separator::Colon, format, args...);
  }
  // "<name> ..." at level 2: an outcome reported after the bare name
  // ("ZT::Framework::CCNGX500Name::GetAttributeValue Attribute not found").
  template <class... A>
  void Outcome(nqlogFormat<A...> format, const A&... args) const {
    Line(NQLOG_WARNING, Separator::Blank, format, args...);
  }
  // Any other line of this function: `detail` after its name and `separator`, at `level`.
  template <class... A>
  void Line(int level, Separator separator, nqlogFormat<A...> detail, const A&... args) const {
    // Checked here too, inline: with no sink listening a line costs one load, not a call.
    if (nqlog::Enabled(level)) TraceLine(m_name, level, separator, detail, args...);
  }
  // A dump of `bytes` at `level` (0 unless given), labelled "<name> : <what>:" (or with the
  // other separator).
  void Bytes(const wchar_t* what, const ByteArray& bytes, int level = NQLOG_DATA,
             Separator separator = Separator::Colon) const;

 private:
  void LogExit() const;
  void LogReturns(IException* e) const;
  [[noreturn]] void Throw(RaiseAt at, const WString& message, IException* inner) const;
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

// ---- lifetimes --------------------------------------------------------------------------------

// The names a class traces its construction and destruction under (and an engine its
// GetAlgorithm): "C::C", "C::~C", "C::GetAlgorithm".
struct ClassTrace {
  const wchar_t* constructor;
  const wchar_t* destructor;
  const wchar_t* getAlgorithm;
};

#define ZT_CLASS_TRACE(C) \
  ::ZT::Framework::ClassTrace { L"" #C "::" #C, L"" #C "::~" #C, L"" #C "::GetAlgorithm" }

// The trace of a constructor or destructor of `self` that has no failure of its own: the entry
// line "<name> : this=%#x", then `body` (nothing, unless given: a destructor's releases), then
// the exit line "<name>".
template <class Body>
void TraceLifetime(const wchar_t* name, const void* self, Body&& body) {
  const FunctionTrace fn(name, self);
  fn.Run(body);
}
inline void TraceLifetime(const wchar_t* name, const void* self) {
  TraceLifetime(name, self, [] {});
}

// ---- implementation ---------------------------------------------------------------------------

namespace TraceDetail {
void Deliver(const wchar_t* name, int level, Separator separator, const std::wstring& detail);
}

template <class... A>
void TraceLine(const wchar_t* name, int level, Separator separator, nqlogFormat<A...> detail, const A&... args) {
  if (!nqlog::Enabled(level)) return;
  TraceDetail::Deliver(name, level, separator, nqlog::Format(detail.get(), args...));
}

}  // namespace ZT::Framework
