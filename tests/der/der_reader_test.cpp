// The DER cursor: identifier and length octets, nesting, truncation and trailing bytes.
// Known encodings were made with `openssl asn1parse -genstr ... -out` unless said otherwise.
#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "common/crypto.der.h"
#include "der_hex.h"

using namespace ZT::Framework;
using namespace ZT::Framework::Der;
using der_test::Hex;

namespace {

// A self-signed P-256 certificate made with `openssl req -x509` (names, SAN with an other-name,
// key usage, EKU, policies).
const ByteArray kCertificate = Hex(
    "3082028e30820235a0030201020203008f01300a06082a8648ce3d0403023056310b30090603550406130244453114301206"
    "0355040a0c0b4578616d706c65204c74643115301306035504030c0c5ac3bc726963682054657374311a301806092a864886"
    "f70d010901160b6140622e6578616d706c65301e170d3236313132323032323134345a170d3336313131393032323134345a"
    "3056310b300906035504061302444531143012060355040a0c0b4578616d706c65204c74643115301306035504030c0c5ac3"
    "bc726963682054657374311a301806092a864886f70d010901160b6140622e6578616d706c653059301306072a8648ce3d02"
    "0106082a8648ce3d03010703420004083e180d165a0eb365cc747cb2f1d879459401e7a730552a96e9f123050885864fdcd6"
    "aac80a20715959df2cdf76412ab61279849773ea87140ac4d7dfaa1427a381f13081ee301d0603551d0e04160414dbed44d4"
    "0ee66138a2319c0e193f33ceb034400b301f0603551d23041830168014dbed44d40ee66138a2319c0e193f33ceb034400b30"
    "0f0603551d130101ff040530030101ff30580603551d110451304f8209612e6578616d706c6587040a000001810b6140622e"
    "6578616d706c658611687474703a2f2f612e6578616d706c652fa01c060a2b060104018237140203a00e0c0c757365724065"
    "78616d706c65300e0603551d0f0101ff040403020388301f0603551d250418301606082b06010505070302060a2b06010401"
    "823714020230100603551d2004093007300506032a0304300a06082a8648ce3d04030203470030440220178f3cfcf2ec7766"
    "2935b60d1489e0b59836ad27da6fad73321e0d010b2cb5c902206caeb6d1f0f048923b005a8e4de73831584b09f32fbf2933"
    "c3b628afaf6cc254");

// Offset and depth of every element of kCertificate, as `openssl asn1parse` lists them.
const char* const kCertificateLayout =
    "0:0 4:1 8:2 10:3 13:2 18:2 20:3 30:2 32:3 34:4 36:5 41:5 45:3 47:4 49:5 54:5 67:3 69:4 71:5 76:5 "
    "90:3 92:4 94:5 105:5 118:2 120:3 135:3 150:2 152:3 154:4 156:5 161:5 165:3 167:4 169:5 174:5 187:3 "
    "189:4 191:5 196:5 210:3 212:4 214:5 225:5 238:2 240:3 242:4 251:4 261:3 329:2 332:3 335:4 337:5 "
    "342:5 366:4 368:5 373:5 399:4 401:5 406:5 409:5 416:4 418:5 423:5 506:4 508:5 513:5 516:5 522:4 "
    "524:5 529:5 555:4 557:5 562:5 573:1 575:2 585:1 ";

// Walks every element depth first, as asn1parse does (primitive contents are not entered), and
// lists "offset:depth "; false when any element fails to read.
bool Layout(Reader reader, const std::uint8_t* base, std::string* out) {
  while (!reader.Empty()) {
    const std::size_t offset = static_cast<std::size_t>(reader.Remaining().data() - base);
    Tag tag;
    Reader contents;
    if (!reader.ReadAny(&tag, &contents)) return false;
    *out += std::to_string(offset) + ":" + std::to_string(contents.Depth() - 1) + " ";
    if (tag.constructed && !Layout(contents, base, out)) return false;
  }
  return true;
}

// `levels` SEQUENCEs, each holding the next, the innermost empty.
ByteArray NestedSequences(int levels) {
  ByteArray der;
  for (int i = 0; i < levels; ++i) {
    der.insert(der.begin(), {0x30, static_cast<unsigned char>(der.size())});
  }
  return der;
}

bool ReadsAsOne(const ByteArray& der, Tag* tag) {
  Reader contents;
  return ReadWholeAny(der, tag, &contents);
}

}  // namespace

TEST(DerReader, WalksACertificateExactlyAsAnIndependentParserDoes) {
  std::string layout;
  ASSERT_TRUE(Layout(Reader(kCertificate), kCertificate.data(), &layout));
  EXPECT_EQ(layout, kCertificateLayout);
}

TEST(DerReader, RefusesTheCertificateTruncatedAtEveryPosition) {
  for (std::size_t size = 0; size < kCertificate.size(); ++size) {
    Reader contents;
    EXPECT_FALSE(ReadWhole(Bytes(kCertificate.data(), size), kSequence, &contents)) << size;
  }
}

TEST(DerReader, RefusesTrailingBytesWhereAWholeObjectIsExpected) {
  Reader contents;
  Tag tag;
  EXPECT_TRUE(ReadWhole(Hex("300d06092a864886f70d01010b0500"), kSequence, &contents));
  EXPECT_FALSE(ReadWhole(Hex("300d06092a864886f70d01010b0500 00"), kSequence, &contents));
  EXPECT_FALSE(ReadWhole(Hex("300d06092a864886f70d01010b0500 0500"), kSequence, &contents));
  EXPECT_FALSE(ReadWholeAny(Hex("0500 0500"), &tag, &contents));
  EXPECT_FALSE(ReadWhole(ByteArray(), kSequence, &contents));
}

TEST(DerLength, AcceptsShortAndMinimalLongForms) {
  // OCTET STRINGs of 200, 300 and 70000 octets (openssl).
  for (auto [size, header] : {std::pair<std::size_t, const char*>{127, "047f"}, {200, "0481c8"},
                              {300, "0482012c"}, {70000, "0483011170"}}) {
    ByteArray der = Hex(header);
    der.resize(der.size() + size, 'x');
    Bytes value;
    Reader reader(der);
    ASSERT_TRUE(reader.ReadOctetString(&value)) << header;
    EXPECT_EQ(value.size(), size);
    EXPECT_TRUE(reader.Empty());
  }
}

TEST(DerLength, RefusesIndefiniteNonMinimalAndOverlongLengths) {
  const char* const refused[] = {
      "3080 0500 0000",             // indefinite length (BER only)
      "0481 05 0102030405",         // long form for short contents
      "048200 80",                  // leading zero length octet
      "0485 0000000001 00",         // five length octets
      "04ff",                       // reserved length octet
      "0405 01020304",              // longer than what remains
      "0482 01",                    // length octets cut short
      "04",                         // no length at all
  };
  for (const char* hex : refused) {
    const ByteArray der = Hex(hex);
    Tag tag;
    EXPECT_FALSE(Reader(der).PeekTag(&tag)) << hex;
  }
}

TEST(DerTag, ReadsHighTagNumbersAndEveryClass) {
  // openssl: IMPLICIT:31, IMPLICIT:200, IMPLICIT:16383, IMPLICIT:16384 NULL; EXPLICIT:5A; IMPLICIT:3P.
  const std::pair<const char*, Tag> cases[] = {
      {"9f1f00", ContextTag(31)},
      {"9f814800", ContextTag(200)},
      {"9fff7f00", ContextTag(16383)},
      {"9f81800000", ContextTag(16384)},
      {"9fff ffff 7f 00", ContextTag(kMaxTagNumber)},
      {"650404026162", Tag{TagClass::Application, true, 5}},
      {"c30101", Tag{TagClass::Private, false, 3}},
  };
  for (const auto& [hex, expected] : cases) {
    Tag tag;
    EXPECT_TRUE(ReadsAsOne(Hex(hex), &tag) && tag == expected) << hex;
  }
}

TEST(DerTag, RefusesNonMinimalOverlongAndReservedTags) {
  const char* const refused[] = {
      "9f1e00",          // high form for a number that fits the first octet
      "9f807f00",        // leading 0x80 in the tag number
      "9f8180808000 00", // five octets of tag number: past the bound
      "9f81",            // tag number cut short
      "0000",            // end-of-contents has no place in DER
  };
  for (const char* hex : refused) {
    Tag tag;
    EXPECT_FALSE(ReadsAsOne(Hex(hex), &tag)) << hex;
  }
}

TEST(DerTag, RefusesTheWrongConstructedBitForUniversalTypes) {
  const char* const refused[] = {
      "2203 020101",  // constructed INTEGER
      "2403 040100",  // constructed OCTET STRING (BER's segmented form)
      "2103 0101ff",  // constructed BOOLEAN
      "2c00",         // constructed UTF8String
      "1000",         // primitive SEQUENCE
      "1100",         // primitive SET
  };
  for (const char* hex : refused) {
    Tag tag;
    EXPECT_FALSE(ReadsAsOne(Hex(hex), &tag)) << hex;
  }
}

TEST(DerNesting, FollowsThirtyTwoLevelsAndRefusesTheThirtyThird) {
  auto descend = [](const ByteArray& der) {
    Reader reader(der);
    while (!reader.Empty()) {
      if (!reader.Read(kSequence, &reader)) return false;
    }
    return true;
  };
  EXPECT_TRUE(descend(NestedSequences(kMaxDepth)));
  EXPECT_FALSE(descend(NestedSequences(kMaxDepth + 1)));
  // The bound holds across a hop into an OCTET STRING that carries DER, when the depth is passed.
  const ByteArray one = NestedSequences(1);
  Reader deep(one, kMaxDepth);
  EXPECT_FALSE(deep.Read(kSequence, &deep));
}

TEST(DerReader, LeavesTheCursorUntouchedWhenAReadFails) {
  const ByteArray der = Hex("010101 0500");  // BOOLEAN with a non-DER value, then NULL
  Reader reader(der);
  bool flag;
  Bytes integer;
  Reader contents;
  EXPECT_FALSE(reader.ReadBoolean(&flag));
  EXPECT_FALSE(reader.ReadInteger(&integer));
  EXPECT_FALSE(reader.Read(kSequence, &contents));
  EXPECT_EQ(reader.Size(), der.size());
  EXPECT_TRUE(reader.Read(kBoolean, &contents));  // the element itself is well formed
  EXPECT_TRUE(reader.ReadNull());
}

TEST(DerReader, ReadsOptionalFieldsAndFailsOnAMalformedPresentOne) {
  Reader contents;
  bool present = true;
  const ByteArray integer = Hex("020102"), version = Hex("a003020102 020102"), malformed = Hex("a0800201020000");
  Reader absent(integer);
  EXPECT_TRUE(absent.ReadOptional(ExplicitTag(0), &contents, &present));
  EXPECT_FALSE(present);
  EXPECT_EQ(absent.Size(), 3u);

  Reader withVersion(version);  // openssl EXPLICIT:0,INTEGER:2
  std::int64_t value = 0;
  ASSERT_TRUE(withVersion.ReadOptional(ExplicitTag(0), &contents, &present));
  EXPECT_TRUE(present && contents.ReadInt64(&value) && contents.Empty() && value == 2);

  Reader badVersion(malformed);
  EXPECT_FALSE(badVersion.ReadOptional(ExplicitTag(0), &contents, &present));
  Reader empty;
  EXPECT_TRUE(empty.ReadOptional(kSequence, &contents, &present) && !present);
}

// The structure reader shown in crypto.der.h, over openssl's encoding of an AlgorithmIdentifier.
TEST(DerReader, ReadsAnAlgorithmIdentifierWithItsAnyParameters) {
  auto readAlgorithm = [](Reader& in, std::string* oid, Bytes* params) {
    Reader seq;
    Bytes oidBytes;
    Tag paramTag;
    return in.Read(kSequence, &seq) && seq.ReadOid(&oidBytes) && OidToText(oidBytes, oid) &&
           (seq.Empty() ? (*params = {}, true) : seq.ReadAnyElement(&paramTag, params)) && seq.Empty();
  };
  const ByteArray der = Hex("300d 06092a864886f70d01010b 0500");
  Reader reader(der);
  std::string oid;
  Bytes params;
  ASSERT_TRUE(readAlgorithm(reader, &oid, &params));
  EXPECT_EQ(oid, "1.2.840.113549.1.1.11");
  EXPECT_EQ(der_test::ToHex(params), "0500");
  const ByteArray extraDer = Hex("3010 06092a864886f70d01010b 0500 0500");
  Reader extra(extraDer);
  EXPECT_FALSE(readAlgorithm(extra, &oid, &params));
}
