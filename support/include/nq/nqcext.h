// nqcext: the suite's common classes: the exception base classes, the keyed data map and its
// values, and text conversions.
#pragma once

#include <cstddef>
#include <cstdint>
#include <exception>
#include <memory>
#include <mutex>
#include <utility>
#include <variant>
#include <vector>

#include "zt/secure.h"

#if defined(_WIN32)
#if defined(NQCEXT_BUILDING)
#define NQCEXT_API __declspec(dllexport)
#else
#define NQCEXT_API __declspec(dllimport)
#endif
#else
#define NQCEXT_API __attribute__((visibility("default")))
#endif

namespace ZT::Framework {

// Interface of every exception of the suite. Exceptions are thrown as pointers; the catcher owns
// the object and deletes it (or hands it on as the inner exception of a new one).
class NQCEXT_API IException : public std::exception {
 public:
  ~IException() override;
  using std::exception::what;  // the narrow form, unchanged

  // Source line of the statement that raised the exception.
  virtual std::uint64_t getLineNumber() const = 0;
  // Project-relative path of the raising source file ("sources/cng/crypto.cng.digest").
  virtual WString getFilename() const = 0;
  // The exception that caused this one, or null; owned by this exception.
  virtual IException* getInnerException() const = 0;
  virtual WString getMessage() const = 0;
  // The message as wide characters, valid while the exception lives.
  virtual const wchar_t* what() = 0;
  // One line for people: "file(line): message [ID id]", followed by " <- " and the inner
  // exception's own text when there is one.
  virtual WString toString() const = 0;
  virtual std::uint64_t getID() const = 0;
};

// The stored exception: every field is set once by the constructor and never changes.
class NQCEXT_API CException : public IException {
 public:
  // Takes ownership of `pInner` (may be null).
  CException(WString sFilename, std::uint64_t nLineNumber, WString sMessage, std::uint64_t nId,
             IException* pInner);
  // Copies share the inner exception, which is released with the last of them.
  CException(const CException& other);
  CException& operator=(const CException& other);
  ~CException() override;

  std::uint64_t getLineNumber() const override;
  WString getFilename() const override;
  IException* getInnerException() const override;
  WString getMessage() const override;
  using IException::what;
  const wchar_t* what() override;
  WString toString() const override;
  std::uint64_t getID() const override;

 private:
  WString m_sFilename;
  std::uint64_t m_nLineNumber;
  WString m_sMessage;
  std::uint64_t m_nId;
  std::shared_ptr<IException> m_pInner;
};

// One value: nothing, an unsigned 64-bit integer, a wide string or a byte array.
class NQCEXT_API NQData {
 public:
  enum class Kind { Empty, Uint, String, ByteArray };

  NQData();
  NQData(std::uint64_t value);
  NQData(const WString& value);
  NQData(const ByteArray& value);
  NQData(const NQData&);
  NQData& operator=(const NQData&);
  // Moves take the held string or bytes over without copying them.
  NQData(NQData&&) noexcept;
  NQData& operator=(NQData&&) noexcept;
  virtual ~NQData();

  Kind kind() const;
  // Each getter returns the held value; asking for a kind that is not held throws a
  // CException pointer (id NQCEXT_WRONG_KIND).
  const std::uint64_t& Uint() const;
  const WString& string() const;
  const ByteArray& byteArray() const;

 private:
  friend class DataMap;  // copies a held value straight in, without a temporary NQData
  std::variant<std::monostate, std::uint64_t, WString, ByteArray> m_value;
};

// Ids of the exceptions the common classes raise themselves.
enum NQCextExceptionId : std::uint64_t {
  NQCEXT_WRONG_KIND = 1,       // a value read as a kind it does not hold
  NQCEXT_BAD_CONVERSION = 2,   // text that does not convert
};

// A map from wide-string keys (compared exactly) to values. A key may be present without a
// value. Adding under a present key replaces its value: the last value set is the one read.
//
// A typed Get returns true, and copies the value out, only when the key is present and holds a
// value of that kind; otherwise it returns false and leaves the output alone. Bytes added
// directly and bytes added as NQData are the same kind; so are integers and strings.
class NQCEXT_API DataMap {
 public:
  DataMap();
  virtual ~DataMap();
  // The map's lock (recursive). The map's own operations do not take it: a caller who shares a
  // map between threads brackets its use with these two calls.
  virtual void EnterProtectedSection() const;
  virtual void LeaveProtectedSection() const;

  void Add(const WString& key);
  void Add(const WString& key, const NQData& value);
  void Add(const WString& key, const ByteArray& value);
  void Add(const WString& key, unsigned char value);
  void Add(const WString& key, const StringList& value);

  bool Get(const WString& key) const;
  bool Get(const WString& key, NQData& value) const;
  // A string is assigned into `value`, which keeps its memory when it is large enough.
  bool Get(const WString& key, WString& value) const;
  bool Get(const WString& key, ByteArray& value) const;
  bool Get(const WString& key, unsigned char& value) const;
  bool Get(const WString& key, StringList& value) const;

  // Removes the key; returns the number of entries removed (0 or 1).
  std::uint64_t erase(const WString& key);

 protected:
  DataMap(const DataMap& other);
  DataMap& operator=(const DataMap& other);

 private:
  using Value = std::variant<std::monostate, std::uint64_t, WString, ByteArray, unsigned char, StringList>;
  using Entry = std::pair<WString, Value>;
  const Value* Find(const WString& key) const;
  Value& Slot(const WString& key);
  // Where `key` is, or would go: the first entry not ordered before it.
  std::size_t Position(const WString& key, bool* found) const;

  // The entries in key order, shorter keys first: maps are small, and the library's keys share
  // long prefixes ("CryptoParameter..."), so most keys compare by length alone and a lookup
  // reads the characters of about one key. The block is wiped when it is released.
  std::vector<Entry, secallocator<Entry>> m_entries;
  mutable std::recursive_mutex m_lock;
};

// DataMap with value semantics: the base of the parameter maps and filters.
class NQCEXT_API DataMap2 : public DataMap {
 public:
  DataMap2(const DataMap2& other);
  DataMap2& operator=(const DataMap2& other);
  ~DataMap2() override;

 protected:
  DataMap2();
};

class NQCEXT_API CConverter {
 public:
  // Renders address bytes as people read them:
  //   4 bytes  -> IPv4 dotted decimal             "192.168.0.1"
  //   16 bytes -> IPv6 in the RFC 5952 form        "2001:db8::1", "::ffff:192.0.2.1"
  //   8 bytes  -> IPv4 address and mask            "10.0.0.0/255.0.0.0"
  //   32 bytes -> IPv6 address and mask            "2001:db8::/ffff:ffff::"
  //   other    -> lower-case hex pairs joined by ':' ("01:ab:ff"); no bytes -> "".
  static WString ByteArrayToString(const ByteArray& bytes);
  // Converts text in the system's multi-byte code page (UTF-8 on this platform) to a wide
  // string; a malformed sequence throws a CException pointer (id NQCEXT_BAD_CONVERSION).
  static WString MBCSByteArrayToString(const ByteArray& bytes);
};

}  // namespace ZT::Framework
