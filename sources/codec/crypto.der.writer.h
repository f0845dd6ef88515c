// A DER writer: elements are appended to one growing buffer; a constructed element is opened,
// filled with its children and closed, and its length is fixed up when it closes (written in
// one octet first, widened in place when the contents turn out to need the long form). Lengths
// are therefore always minimal.
//
//   Der::Writer w;
//   w.Nest(Der::kSequence, [&] {          // AlgorithmIdentifier
//     w.AddOid("1.2.840.113549.1.1.11");
//     w.AddNull();
//   });
//   ByteArray der;
//   bool ok = w.Finish(&der);
//
// A call that cannot encode its argument (an OID text that is not an OID, a character that a
// PrintableString cannot hold) returns false and marks the writer failed: later calls do
// nothing and Finish fails, so a structure writer checks once, at the end. Its own checks fail
// the writer the same way (Fail).
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <utility>
#include <vector>

#include "codec/crypto.der.h"
#include "codec/crypto.der.time.h"
#include "zt/secure.h"

namespace ZT::Framework::Der {

class Writer {
 public:
  Writer() = default;
  Writer(const Writer&) = delete;
  Writer& operator=(const Writer&) = delete;

  // Opens a constructed element (SEQUENCE, SET, an explicit tag, an implicit constructed type).
  // With `sortAsSetOf`, the children are put in DER SET OF order when it closes: ascending
  // order of their encodings compared as octet strings.
  bool Begin(Tag tag, bool sortAsSetOf = false);
  // Closes the innermost open element and writes its length. Fails when nothing is open.
  bool End();
  // Begin(tag), body(), End(): the usual way to write a nested element.
  template <class Body>
  bool Nest(Tag tag, Body&& body) {
    if (!Begin(tag)) return false;
    std::forward<Body>(body)();
    return End();
  }
  // Nest for a SET OF whose children are sorted when it closes.
  template <class Body>
  bool NestSetOf(Body&& body) {
    if (!Begin(kSet, true)) return false;
    std::forward<Body>(body)();
    return End();
  }

  // An element with `tag` and the given contents; the contents are not checked.
  bool AddElement(Tag tag, Bytes contents);
  // Bytes that already are one or more complete DER elements (an ANY value kept from a read).
  bool AddRaw(Bytes der);

  bool AddBoolean(bool value, Tag tag = kBoolean);
  // INTEGER from two's-complement big-endian bytes; redundant leading octets are dropped, so
  // any sign-extended form is accepted. Fails on empty input.
  bool AddInteger(Bytes twosComplement, Tag tag = kInteger);
  // INTEGER from a non-negative big-endian magnitude (a 0x00 octet is put in front when the
  // top bit is set). Empty input encodes zero.
  bool AddUnsignedInteger(Bytes magnitude, Tag tag = kInteger);
  bool AddInt64(std::int64_t value, Tag tag = kInteger);
  bool AddUint64(std::uint64_t value, Tag tag = kInteger);
  bool AddEnumerated(std::int64_t value, Tag tag = kEnumerated);
  // BIT STRING of `bytes` whose last `unusedBits` bits are not part of the value (0..7, and 0
  // when `bytes` is empty); those bits are written as zeros whatever `bytes` holds.
  bool AddBitString(Bytes bytes, unsigned unusedBits, Tag tag = kBitString);
  bool AddOctetString(Bytes bytes, Tag tag = kOctetString);
  bool AddNull(Tag tag = kNull);
  // OBJECT IDENTIFIER from dotted text (validated as OidFromText does).
  bool AddOid(std::string_view dotted, Tag tag = kOid);
  bool AddOid(const WString& dotted, Tag tag = kOid);
  // A string of universal type `type` from wide text (see EncodeString), optionally implicitly
  // tagged with `tag`.
  bool AddString(std::uint32_t type, const WString& text);
  bool AddString(std::uint32_t type, const WString& text, Tag tag);
  bool AddUtcTime(const CalendarTime& time, Tag tag = kUtcTime);
  bool AddGeneralizedTime(const CalendarTime& time, Tag tag = kGeneralizedTime);

  // Marks the writer failed, for a check of the structure writer's own (a value that its type
  // cannot hold): later calls do nothing and Finish fails. Returns false.
  bool Fail();
  // True while no call has failed.
  bool Ok() const { return m_ok; }
  // Moves the encoding to `*out`. Fails (and leaves `*out` alone) when a call failed or an
  // element is still open.
  bool Finish(ByteArray* out);

 private:
  struct OpenElement {
    std::size_t lengthOffset;  // where the one-octet length placeholder stands
    bool sortAsSetOf;
  };
  bool AddHeader(Tag tag, std::size_t length);
  void AppendTag(Tag tag);
  void AppendLength(std::size_t length);
  bool SortSetOf(std::size_t contentsOffset);

  ByteArray m_buffer;
  std::vector<OpenElement> m_open;
  bool m_ok = true;
};

}  // namespace ZT::Framework::Der
