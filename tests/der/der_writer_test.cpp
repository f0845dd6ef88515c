// The DER writer, checked against encodings made with the `openssl asn1parse -genstr/-genconf`
// commands; and what it writes reads back to the same values.
#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "common/crypto.der.h"
#include "common/crypto.der.writer.h"
#include "der_hex.h"

using namespace ZT::Framework;
using namespace ZT::Framework::Der;
using der_test::Hex;
using der_test::ToHex;

namespace {

// The hex of what `write` writes, or "failed".
template <class Write>
std::string Written(Write&& write) {
  Writer writer;
  write(writer);
  ByteArray der;
  return writer.Finish(&der) ? ToHex(der) : "failed";
}

}  // namespace

TEST(DerWriter, WritesPrimitivesAsAnIndependentEncoderDoes) {
  EXPECT_EQ(Written([](Writer& w) { w.AddInt64(-129); }), "0202ff7f");
  EXPECT_EQ(Written([](Writer& w) { w.AddInt64(INT64_MIN); }), "02088000000000000000");
  EXPECT_EQ(Written([](Writer& w) { w.AddInt64(0); }), "020100");
  EXPECT_EQ(Written([](Writer& w) { w.AddUint64(UINT64_MAX); }), "020900ffffffffffffffff");
  EXPECT_EQ(Written([](Writer& w) { w.AddUint64(128); }), "02020080");
  EXPECT_EQ(Written([](Writer& w) { w.AddInteger(Hex("ffff80")); }), "020180");  // sign-extended input
  EXPECT_EQ(Written([](Writer& w) { w.AddUnsignedInteger(Hex("0000ff")); }), "020200ff");
  EXPECT_EQ(Written([](Writer& w) { w.AddUnsignedInteger({}); }), "020100");
  EXPECT_EQ(Written([](Writer& w) { w.AddEnumerated(5); }), "0a0105");
  EXPECT_EQ(Written([](Writer& w) { w.AddBoolean(true); }), "0101ff");
  EXPECT_EQ(Written([](Writer& w) { w.AddNull(); }), "0500");
  EXPECT_EQ(Written([](Writer& w) { w.AddBitString(Hex("a7"), 2); }), "030202a4");  // unused bits zeroed
  EXPECT_EQ(Written([](Writer& w) { w.AddBitString({}, 0); }), "030100");
  EXPECT_EQ(Written([](Writer& w) { w.AddOid("2.25.329800735698586629295641978511506172918"); }),
            "06146983f09da7ebcfdee0c7a1a7b2c0948cc8f9d776");
  EXPECT_EQ(Written([](Writer& w) { w.AddString(kBmpStringType, L"Z\u00fcrich\u20ac"); }),
            "1e0e005a00fc007200690063006820ac");
  EXPECT_EQ(Written([](Writer& w) { w.AddString(kUtf8StringType, L"Z\u00fcrich\u20ac\U0001F600"); }),
            "0c0e5ac3bc72696368e282acf09f9880");
  EXPECT_EQ(Written([](Writer& w) { w.AddUtcTime({2049, 12, 31, 23, 59, 59, 0}); }),
            "170d3439313233313233353935395a");
  EXPECT_EQ(Written([](Writer& w) { w.AddGeneralizedTime({2024, 2, 29, 12, 34, 56, 789000000}); }),
            "181332303234303232393132333435362e3738395a");
}

TEST(DerWriter, WritesTagsOfEveryClassAndHighNumbers) {
  EXPECT_EQ(Written([](Writer& w) { w.Nest(ExplicitTag(0), [&] { w.AddInt64(2); }); }), "a003020102");
  EXPECT_EQ(Written([](Writer& w) { w.AddOctetString(Hex("6162"), ContextTag(0)); }), "80026162");
  EXPECT_EQ(Written([](Writer& w) { w.AddNull(ContextTag(31)); }), "9f1f00");
  EXPECT_EQ(Written([](Writer& w) { w.AddNull(ContextTag(200)); }), "9f814800");
  EXPECT_EQ(Written([](Writer& w) { w.AddNull(ContextTag(16383)); }), "9fff7f00");
  EXPECT_EQ(Written([](Writer& w) { w.AddNull(ContextTag(16384)); }), "9f81800000");
  EXPECT_EQ(Written([](Writer& w) {
              w.Nest(Tag{TagClass::Application, true, 5}, [&] { w.AddOctetString(Hex("6162")); });
            }),
            "650404026162");
  EXPECT_EQ(Written([](Writer& w) { w.AddInt64(1, Tag{TagClass::Private, false, 3}); }), "c30101");
}

TEST(DerWriter, WidensLengthsOfNestedElementsWhenTheyClose) {
  const ByteArray x200(200, 'x');
  // openssl -genconf: SEQUENCE { SEQUENCE { OCTET STRING (200 x) } }
  const std::string nested = Written([&](Writer& w) {
    w.Nest(kSequence, [&] { w.Nest(kSequence, [&] { w.AddOctetString(x200); }); });
  });
  EXPECT_EQ(nested.substr(0, 18), "3081ce3081cb0481c8");
  EXPECT_EQ(nested.size(), 2 * (9 + 200u));
  // openssl -genconf: SEQUENCE { OCTET STRING (300 y), INTEGER 1 }
  const ByteArray y300(300, 'y');
  const std::string sequence = Written([&](Writer& w) {
    w.Nest(kSequence, [&] {
      w.AddOctetString(y300);
      w.AddInt64(1);
    });
  });
  EXPECT_EQ(sequence.substr(0, 16), "308201330482012c");
  EXPECT_EQ(sequence.substr(sequence.size() - 6), "020101");
}

TEST(DerWriter, SortsSetOfComponentsOnlyWhenAsked) {
  auto children = [](Writer& w) {
    w.AddInt64(300);
    w.AddInt64(2);
    w.AddOctetString(Hex("7a7a"));
    w.AddBoolean(true);
  };
  // openssl -genconf sorts a SET the same way.
  EXPECT_EQ(Written([&](Writer& w) { w.NestSetOf([&] { children(w); }); }), "310e0101ff0201020202012c04027a7a");
  EXPECT_EQ(Written([&](Writer& w) { w.Nest(kSet, [&] { children(w); }); }), "310e0202012c02010204027a7a0101ff");
  // Equal tags: the length octet decides.
  EXPECT_EQ(Written([&](Writer& w) {
              w.NestSetOf([&] {
                w.AddRaw(Hex("0c020000"));
                w.AddRaw(Hex("0c0100"));
              });
            }),
            "31070c01000c020000");
}

TEST(DerWriter, FailsAsAWholeWhenOneCallFails) {
  EXPECT_EQ(Written([](Writer& w) { w.Nest(kSequence, [&] { w.AddOid("1.40.3"); }); }), "failed");
  EXPECT_EQ(Written([](Writer& w) { w.AddString(kPrintableStringType, L"a@b"); }), "failed");
  EXPECT_EQ(Written([](Writer& w) { w.AddUtcTime({2050, 1, 1, 0, 0, 0, 0}); }), "failed");
  EXPECT_EQ(Written([](Writer& w) { w.AddGeneralizedTime({2023, 2, 29, 0, 0, 0, 0}); }), "failed");
  EXPECT_EQ(Written([](Writer& w) { w.AddBitString(Hex("ff"), 8); }), "failed");
  EXPECT_EQ(Written([](Writer& w) { w.AddBitString({}, 1); }), "failed");
  EXPECT_EQ(Written([](Writer& w) { w.AddInteger({}); }), "failed");
  EXPECT_EQ(Written([](Writer& w) { w.AddRaw(Hex("0481")); }), "failed");
  EXPECT_EQ(Written([](Writer& w) { w.AddElement(UniversalTag(kSequenceType, false), {}); }), "failed");
  EXPECT_EQ(Written([](Writer& w) { w.AddNull(ContextTag(kMaxTagNumber + 1)); }), "failed");
  EXPECT_EQ(Written([](Writer& w) { w.End(); }), "failed");
  EXPECT_EQ(Written([](Writer& w) { w.Begin(kSequence); }), "failed");
}

TEST(DerWriter, WhatItWritesReadsBackToTheSameValues) {
  const WString text = L"\u00e9\u4e2d\U0001F600";
  const CalendarTime when{1999, 12, 31, 23, 59, 59, 100};
  Writer w;
  w.Nest(kSequence, [&] {
    w.AddInt64(-1234567890123);
    w.AddString(kUniversalStringType, text);
    w.AddString(kBmpStringType, text, ContextTag(2));
    w.AddGeneralizedTime(when);
    w.AddOid(WString(L"1.3.6.1.4.1.311.21.7"));
  });
  ByteArray der;
  ASSERT_TRUE(w.Finish(&der));

  Reader seq;
  ASSERT_TRUE(ReadWhole(der, kSequence, &seq));
  std::int64_t number;
  WString universal, bmp;
  CalendarTime time;
  Bytes oid;
  WString oidText;
  ASSERT_TRUE(seq.ReadInt64(&number) && seq.ReadString(kUniversalStringType, &universal) &&
              seq.ReadString(kBmpStringType, &bmp, ContextTag(2)) && seq.ReadGeneralizedTime(&time) &&
              seq.ReadOid(&oid) && OidToText(oid, &oidText) && seq.Empty());
  EXPECT_EQ(number, -1234567890123);
  EXPECT_TRUE(universal == text && bmp == text && oidText == L"1.3.6.1.4.1.311.21.7");
  EXPECT_EQ(time, when);
}
