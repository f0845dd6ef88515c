// libFuzzer target over the DER reader. It walks the input element by element, descending into
// constructed elements (and into OCTET STRING and BIT STRING contents that hold DER, as
// extensions do), decodes every primitive it meets, and checks that what decodes encodes back
// to exactly the input bytes. DER has one encoding per value, so any difference is a bug in the
// reader (it accepted something that is not DER) or in the writer: the target aborts on it. The
// forms read leniently (crypto.der.h) are checked to mean what their DER form means.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "codec/crypto.der.h"
#include "codec/crypto.der.writer.h"

namespace {

using namespace ZT::Framework;
using namespace ZT::Framework::Der;

void Require(bool condition) {
  if (!condition) std::abort();
}

// Runs `write` on a fresh writer and requires its output to be exactly `expected`.
template <class Write>
void RequireEncodes(Bytes expected, Write&& write) {
  Writer writer;
  write(writer);
  ByteArray out;
  Require(writer.Finish(&out));
  Require(out.size() == expected.size() && std::equal(out.begin(), out.end(), expected.begin()));
}

void Walk(Reader reader);

void CheckInteger(Tag tag, Bytes contents, Bytes element) {
  if (!IsMinimalInteger(contents)) return;
  RequireEncodes(element, [&](Writer& w) { w.AddInteger(contents, tag); });
  std::int64_t value;
  if (DecodeInt64(contents, &value)) RequireEncodes(element, [&](Writer& w) { w.AddInt64(value, tag); });
  std::uint64_t unsignedValue;
  if (DecodeUint64(contents, &unsignedValue)) {
    RequireEncodes(element, [&](Writer& w) { w.AddUint64(unsignedValue, tag); });
  }
}

void CheckBitString(Bytes contents, Bytes element, unsigned depth) {
  BitString bits;
  if (!DecodeBitString(contents, &bits)) return;
  RequireEncodes(element, [&](Writer& w) { w.AddBitString(bits.bytes, bits.unusedBits); });
  if (bits.unusedBits == 0) Walk(Reader(bits.bytes, depth));  // a public key, for instance
}

void CheckOid(Bytes contents, Bytes element) {
  std::string text;
  if (!IsValidOid(contents)) return;
  Require(OidToText(contents, &text));
  RequireEncodes(element, [&](Writer& w) { w.AddOid(text); });
}

// The DER form of `time`: UTCTime where it can be one and `utc` asks for it, else GeneralizedTime.
ByteArray DerTime(const CalendarTime& time, bool utc) {
  ByteArray out;
  if (!(utc && EncodeUtcTime(time, &out))) {
    out.clear();
    Require(EncodeGeneralizedTime(time, &out));
  }
  return out;
}

void CheckTime(Tag tag, Bytes contents, Bytes element) {
  CalendarTime time;
  const bool utc = tag.number == kUtcTimeType;
  if (!(utc ? DecodeUtcTime(contents, &time) : DecodeGeneralizedTime(contents, &time))) return;
  // The lenient forms (no seconds, a difference from UTC, a long fraction) have a DER form of
  // the same instant; the DER forms are that form themselves.
  const ByteArray der = DerTime(time, utc);
  CalendarTime again;
  const bool derUtc = der.size() == 13;
  Require((derUtc ? DecodeUtcTime(der, &again) : DecodeGeneralizedTime(der, &again)) && again == time);
  if (derUtc == utc && std::equal(der.begin(), der.end(), contents.begin(), contents.end()))
    RequireEncodes(element, [&](Writer& w) { utc ? w.AddUtcTime(time) : w.AddGeneralizedTime(time); });
  CalendarTime back;
  Require(FromUnixSeconds(ToUnixSeconds(time), &back));
  Require(back.year == time.year && back.month == time.month && back.day == time.day &&
          back.hour == time.hour && back.minute == time.minute && back.second == time.second);
  std::uint64_t ticks;
  if (ToFileTimeTicks(time, &ticks)) {
    Require(FromFileTimeTicks(ticks, &back));
    Require(back.nanosecond == time.nanosecond / 100 * 100 && ToUnixSeconds(back) == ToUnixSeconds(time));
  }
}

// Reading is wider than writing: what is written reads back as the same text, and contents
// within the type's own set are written back exactly (a TeletexString read as UTF-8 excepted,
// which is written one octet per character).
void CheckString(Tag tag, Bytes contents, Bytes element) {
  WString text;
  if (!DecodeString(tag.number, contents, &text)) return;
  ByteArray written;
  if (EncodeString(tag.number, text, &written)) {
    WString again;
    Require(DecodeString(tag.number, written, &again) && again == text);
  }
  if (IsWritableString(tag.number, contents) && tag.number != kTeletexStringType)
    RequireEncodes(element, [&](Writer& w) { w.AddString(tag.number, text); });
}

void CheckUniversalPrimitive(Tag tag, Bytes contents, Bytes element, unsigned depth) {
  bool flag;
  switch (tag.number) {
    case kBooleanType:
      // Any non-zero octet reads as true; only 00 and FF are DER.
      if (DecodeBoolean(contents, &flag) && (contents[0] == 0x00 || contents[0] == 0xFF))
        RequireEncodes(element, [&](Writer& w) { w.AddBoolean(flag); });
      return;
    case kIntegerType:
    case kEnumeratedType:
      return CheckInteger(tag, contents, element);
    case kBitStringType:
      return CheckBitString(contents, element, depth);
    case kOctetStringType:
      return Walk(Reader(contents, depth));  // an extension value, for instance
    case kOidType:
      return CheckOid(contents, element);
    case kUtcTimeType:
    case kGeneralizedTimeType:
      return CheckTime(tag, contents, element);
    default:
      if (IsStringType(tag.number)) CheckString(tag, contents, element);
  }
}

// Every element read re-encodes to itself: tag and length octets are canonical. Constructed
// contents are checked by walking them.
void Walk(Reader reader) {
  while (!reader.Empty()) {
    Reader before = reader;
    Tag tag;
    Reader contents;
    Bytes element;
    if (!reader.ReadAny(&tag, &contents)) return;
    Require(before.ReadAnyElement(&tag, &element));
    RequireEncodes(element, [&](Writer& w) { w.AddElement(tag, contents.Remaining()); });
    if (tag.constructed) {
      Walk(contents);
    } else if (tag.cls == TagClass::Universal) {
      CheckUniversalPrimitive(tag, contents.Remaining(), element, contents.Depth());
    }
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const Bytes input(data, size);
  Walk(Reader(input));
  Tag tag;
  Reader contents;
  if (ReadWholeAny(input, &tag, &contents)) {
    Require(contents.Size() < size && contents.Depth() == 1);
  }
  return 0;
}
