// The DER writer beyond single primitives: lengths, SET OF order and failures (against
// `openssl asn1parse -genconf` encodings), and round trips.
#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "codec/crypto.der.h"
#include "codec/crypto.der.writer.h"
#include "der_hex.h"

using namespace ZT::Framework;
using namespace ZT::Framework::Der;
using der_test::Hex;
using der_test::Written;

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

// Strings under an implicit tag, a fraction with leading zeros and a wide OID read back as written.
TEST(DerWriter, WhatItWritesReadsBackToTheSameValues) {
  const WString text = L"\u00e9\u4e2d\U0001F600";
  const CalendarTime when{1999, 12, 31, 23, 59, 59, 100};
  Writer w;
  w.Nest(kSequence, [&] {
    w.AddString(kUniversalStringType, text);
    w.AddString(kBmpStringType, text, ContextTag(2));
    w.AddGeneralizedTime(when);
    w.AddOid(WString(L"1.3.6.1.4.1.311.21.7"));
  });
  ByteArray der;
  ASSERT_TRUE(w.Finish(&der));
  Reader seq;
  WString universal, bmp, oidText;
  CalendarTime time;
  Bytes oid;
  ASSERT_TRUE(ReadWhole(der, kSequence, &seq) && seq.ReadString(kUniversalStringType, &universal) &&
              seq.ReadString(kBmpStringType, &bmp, ContextTag(2)) && seq.ReadGeneralizedTime(&time) &&
              seq.ReadOid(&oid) && OidToText(oid, &oidText) && seq.Empty());
  EXPECT_TRUE(universal == text && bmp == text && oidText == L"1.3.6.1.4.1.311.21.7");
  EXPECT_EQ(time, when);
}
