// The DER cursor: identifier and length octets, nesting, truncation and trailing bytes.
// Known encodings were made with `openssl asn1parse -genstr ... -out` unless said otherwise.
#include <gtest/gtest.h>

#include <functional>
#include <regex>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "codec/crypto.der.h"
#include "der_hex.h"
#include "support/command.h"
#include "support/sections.h"
#include "support/tool_runner.h"

using namespace ZT::Framework;
using namespace ZT::Framework::Der;
using der_test::Hex;
using der_test::Written;

namespace {

// A certificate with every extension the fixtures have, made with `openssl req -x509`.
const ByteArray kCertificate = [] {
  const auto bytes = zttest::ReadBinaryFile(zttest::FixturePath("certs/all_extensions.der"));
  return ByteArray(bytes.begin(), bytes.end());
}();

// "offset:depth " of every element of the certificate, as `openssl asn1parse` lists them.
std::string OpensslLayout() {
  const std::string out = zttest::CommandOutput(
      "openssl asn1parse -inform DER -in " + zttest::ShellQuoted(zttest::FixturePath("certs/all_extensions.der")));
  std::string layout;
  static const std::regex line(R"(^ *(\d+):d=(\d+))");
  std::istringstream lines(out);
  std::smatch m;
  for (std::string text; std::getline(lines, text);)
    if (std::regex_search(text, m, line)) layout += m[1].str() + ":" + m[2].str() + " ";
  return layout;
}

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

}  // namespace

TEST(DerReader, WalksACertificateExactlyAsAnIndependentParserDoes) {
  std::string layout;
  ASSERT_FALSE(kCertificate.empty());
  ASSERT_TRUE(Layout(Reader(kCertificate), kCertificate.data(), &layout));
  EXPECT_EQ(layout, OpensslLayout());
}

TEST(DerReader, RefusesTruncatedInputAndTrailingBytesWhereAWholeObjectIsExpected) {
  Reader contents;
  Tag tag;
  for (std::size_t size = 0; size < kCertificate.size(); ++size)
    EXPECT_FALSE(ReadWhole(Bytes(kCertificate.data(), size), kSequence, &contents)) << size;
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

// Each element reads as its tag and writes back from tag and contents to the same octets.
TEST(DerTag, ReadsAndWritesHighTagNumbersAndEveryClass) {
  // openssl: IMPLICIT:31, IMPLICIT:200, IMPLICIT:16383, IMPLICIT:16384 NULL; EXPLICIT:5A; IMPLICIT:3P;
  // EXPLICIT:0,INTEGER:2.
  const std::pair<const char*, Tag> cases[] = {
      {"9f1f00", ContextTag(31)},         {"9f814800", ContextTag(200)},
      {"9fff7f00", ContextTag(16383)},    {"9f81800000", ContextTag(16384)},
      {"9fffffff7f00", ContextTag(kMaxTagNumber)}, {"650404026162", Tag{TagClass::Application, true, 5}},
      {"c30101", Tag{TagClass::Private, false, 3}}, {"a003020102", ExplicitTag(0)},
  };
  for (const auto& [hex, expected] : cases) {
    const ByteArray der = Hex(hex);
    Tag tag;
    Reader contents;
    EXPECT_TRUE(ReadWholeAny(der, &tag, &contents) && tag == expected) << hex;
    EXPECT_EQ(Written([&, t = tag](Writer& w) { w.AddElement(t, contents.Remaining()); }), hex);
  }
}

// Lengths are refused by the header alone, before any contents are looked at; tags (non-minimal,
// overlong, reserved, the wrong constructed bit) when the element is read.
TEST(DerHeader, RefusesMalformedLengthsAndTags) {
  const std::pair<const char*, std::function<bool(const ByteArray&)>> checks[] = {
      {"length", [](const ByteArray& der) {
         Tag tag;
         return Reader(der).PeekTag(&tag);
       }},
      {"tag", [](const ByteArray& der) {
         Tag tag;
         Reader contents;
         return ReadWholeAny(der, &tag, &contents);
       }},
  };
  for (const auto& [section, reads] : checks)
    for (const auto& [hex, why] : zttest::ReadSection("der/refused.txt", section))
      EXPECT_FALSE(reads(Hex(hex))) << section << " " << hex << ": " << why;
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
  const ByteArray der = Hex("010200ff 0500");  // BOOLEAN of two octets, then NULL
  Reader reader(der);
  bool flag;
  Bytes integer;
  Reader contents;
  EXPECT_FALSE(reader.ReadBoolean(&flag));
  EXPECT_FALSE(reader.ReadInteger(&integer));
  EXPECT_FALSE(reader.Read(kSequence, &contents));
  EXPECT_EQ(reader.Size(), der.size());
  EXPECT_TRUE(reader.Read(kBoolean, &contents));  // the element itself is well formed
  Tag tag;
  Bytes element;  // an element whole, as an ANY field holds it
  EXPECT_TRUE(reader.ReadAnyElement(&tag, &element) && tag == kNull && der_test::ToHex(element) == "0500");
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
