#include <nq/nqcext.h>

#include <gtest/gtest.h>

#include <memory>
#include <string>

namespace {

using namespace ZT::Framework;

// DataMap's constructors are for derived maps.
struct Map : DataMap2 {};

// Absent keys, other spellings and values of another kind all read as absent, and leave the
// output untouched.
TEST(DataMap, LookupsMissAbsentKeysOtherSpellingsAndOtherKindsAndTheLastValueWins) {
  Map map;
  map.Add(L"Key", static_cast<unsigned char>(1));
  NQData data;
  ByteArray bytes{1};
  unsigned char flag = 9;
  StringList list{L"kept"};
  WString text = L"kept";
  for (const wchar_t* key : {L"k", L"key", L"Key "}) {
    EXPECT_FALSE(map.Get(key)) << key;
    EXPECT_FALSE(map.Get(key, flag) || map.Get(key, data) || map.Get(key, bytes) || map.Get(key, list) ||
                 map.Get(key, text));
    EXPECT_EQ(map.erase(key), 0u);
  }
  EXPECT_FALSE(map.Get(L"Key", data) || map.Get(L"Key", bytes) || map.Get(L"Key", list) || map.Get(L"Key", text))
      << "another kind";
  EXPECT_EQ(text, L"kept");
  EXPECT_EQ(bytes, ByteArray{1});
  EXPECT_EQ(flag, 9);
  EXPECT_EQ(list, StringList{L"kept"});
  ASSERT_TRUE(map.Get(L"Key", flag));
  EXPECT_EQ(flag, 1);

  // Each kind's read-back shows through the typed pairs of the parameter maps (framework tests);
  // here the rules of the map itself: the last value wins, bytes are one kind, and a key may have
  // no value.
  map.Add(L"n", NQData(std::uint64_t{7}));
  map.Add(L"n", NQData(std::uint64_t{8}));
  map.Add(L"nb", NQData(ByteArray{4, 5}));  // bytes are one kind, however they were added
  map.Add(L"s", NQData(WString(L"a string longer than a small-string buffer")));
  map.Add(L"s", NQData(WString(L"short")));
  map.Add(L"p");
  text = L"a longer string than the one read into it, all of it replaced";
  ASSERT_TRUE(map.Get(L"n", data) && map.Get(L"nb", bytes) && map.Get(L"s", text));
  EXPECT_EQ(data.Uint(), 8u);
  EXPECT_EQ(bytes, (ByteArray{4, 5}));
  EXPECT_EQ(text, L"short");
  EXPECT_FALSE(map.Get(L"n", text)) << "an integer is not a string";
  EXPECT_TRUE(map.Get(L"p"));
  EXPECT_FALSE(map.Get(L"p", data)) << "a key without a value has no NQData value";
  EXPECT_EQ(map.erase(L"p"), 1u);
  EXPECT_FALSE(map.Get(L"p"));
}

// Many keys of mixed lengths and shared prefixes, added in a scrambled order, replaced and
// removed: each reads back its own value, and a removed key only is gone.
TEST(DataMap, ManyKeysEachKeepTheirOwnValueThroughAddsReplacementsAndRemovals) {
  Map map;
  const auto keyOf = [](unsigned i) {
    const std::wstring number = std::to_wstring(i);
    return WString(L"CryptoParameter") + WString(i % 7, L'x') + WString(number.begin(), number.end());
  };
  constexpr unsigned kCount = 300;
  for (unsigned n = 0; n < kCount; ++n) map.Add(keyOf(n * 7919 % kCount), NQData(std::uint64_t{n * 7919 % kCount}));
  for (unsigned i = 0; i < kCount; i += 3) map.Add(keyOf(i), NQData(std::uint64_t{i + 1000}));
  for (unsigned i = 1; i < kCount; i += 3) EXPECT_EQ(map.erase(keyOf(i)), 1u);
  for (unsigned i = 0; i < kCount; ++i) {
    NQData value;
    const bool present = map.Get(keyOf(i), value);
    ASSERT_EQ(present, i % 3 != 1) << i;
    if (present) {
      EXPECT_EQ(value.Uint(), i % 3 == 0 ? i + 1000 : i) << i;
    }
  }
  EXPECT_FALSE(map.Get(L"CryptoParameter")) << "a prefix of every key is no key";
}

TEST(DataMap, CopiesAreIndependentAndTheProtectedSectionIsReentrant) {
  Map original;
  original.Add(L"k", NQData(WString(L"one")));
  Map copy(original);
  copy.Add(L"k", NQData(WString(L"two")));
  NQData data;
  ASSERT_TRUE(original.Get(L"k", data));
  EXPECT_EQ(data.string(), L"one");
  original = copy;
  ASSERT_TRUE(original.Get(L"k", data));
  EXPECT_EQ(data.string(), L"two");

  original.EnterProtectedSection();
  original.EnterProtectedSection();
  original.Add(L"k2");
  original.LeaveProtectedSection();
  original.LeaveProtectedSection();
  EXPECT_TRUE(original.Get(L"k2"));
}

TEST(NQData, ReadingAnotherKindThrowsACExceptionPointer) {
  EXPECT_EQ(NQData().kind(), NQData::Kind::Empty);
  try {
    (void)NQData(std::uint64_t{1}).string();
    ADD_FAILURE() << "no exception";
  } catch (IException* e) {
    EXPECT_EQ(std::unique_ptr<IException>(e)->getID(), NQCEXT_WRONG_KIND);
  }
}

TEST(CException, InnerExceptionIsOwnedAndSharedByCopies) {
  auto* inner = new CException(L"inner/file", 3, L"inner message", 4004, nullptr);
  auto* outer = new CException(L"outer/file", 9, L"outer message", 4004, inner);
  EXPECT_EQ(outer->getInnerException(), inner);
  EXPECT_EQ(outer->getFilename(), L"outer/file");
  EXPECT_EQ(outer->getLineNumber(), 9u);
  EXPECT_STREQ(outer->what(), L"outer message");
  EXPECT_EQ(outer->toString(), L"outer/file(9): outer message [ID 4004] <- inner/file(3): inner message [ID 4004]");
  {
    const CException copy(*outer);
    EXPECT_EQ(copy.getInnerException(), inner);
  }
  // The copy's end did not release the inner exception: the outer still reads it (ASan would
  // report a use after free otherwise), and deleting the outer releases it (LSan checks).
  EXPECT_EQ(outer->getInnerException()->getMessage(), L"inner message");
  delete outer;
}

// Four and sixteen bytes read as IPv4 and IPv6 addresses (RFC 5952 section 4 forms), eight and
// thirty-two as an address with its mask; other lengths as colon-separated hex.
TEST(CConverter, ByteArraysReadAsAddresses) {
  auto text = [](ByteArray bytes) { return CConverter::ByteArrayToString(bytes); };
  EXPECT_EQ(text({192, 168, 0, 1}), L"192.168.0.1");
  EXPECT_EQ(text({0, 0, 0, 0}), L"0.0.0.0");
  EXPECT_EQ(text({0x20, 0x01, 0x0d, 0xb8, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1}), L"2001:db8::1");
  EXPECT_EQ(text({0x20, 0x01, 0x0d, 0xb8, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0, 0, 1}), L"2001:db8::1:0:0:1");
  EXPECT_EQ(text({0x20, 0x01, 0x0d, 0xb8, 0, 0, 0, 1, 0, 1, 0, 1, 0, 1, 0, 1}), L"2001:db8:0:1:1:1:1:1");
  EXPECT_EQ(text({0x20, 0x01, 0x0d, 0xb8, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0, 0, 0}), L"2001:db8:0:0:1::");
  EXPECT_EQ(text({0x20, 0x01, 0x0d, 0xb8, 0xAB, 0xCD, 0x00, 0x12, 0, 0, 0, 0, 0, 0, 0, 0}), L"2001:db8:abcd:12::");
  EXPECT_EQ(text(ByteArray(16, 0)), L"::");
  EXPECT_EQ(text({0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1}), L"::1");
  EXPECT_EQ(text({0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xff, 0xff, 192, 0, 2, 1}), L"::ffff:192.0.2.1");
  EXPECT_EQ(text({10, 0, 0, 0, 255, 0, 0, 0}), L"10.0.0.0/255.0.0.0");
  EXPECT_EQ(text({0x20, 0x01, 0x0d, 0xb8, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,  //
                  0xff, 0xff, 0xff, 0xff, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}),
            L"2001:db8::/ffff:ffff::");
  EXPECT_EQ(text({0x01, 0xab, 0xff}), L"01:ab:ff");
  EXPECT_EQ(text({}), L"");
}

TEST(CConverter, MultiByteTextIsStrictUtf8) {
  EXPECT_EQ(CConverter::MBCSByteArrayToString({'a', 0xc3, 0xa9, 0xe4, 0xb8, 0xad, 0xf0, 0x9f, 0x98, 0x80}),
            L"a\u00e9\u4e2d\U0001F600");
  const ByteArray malformed[] = {
      {0xc3},                    // cut short
      {0x80},                    // continuation byte first
      {0xc0, 0xaf},              // overlong '/'
      {0xed, 0xa0, 0x80},        // surrogate
      {0xf4, 0x90, 0x80, 0x80},  // above U+10FFFF
      {0xff},
  };
  for (const ByteArray& bytes : malformed) {
    try {
      (void)CConverter::MBCSByteArrayToString(bytes);
      ADD_FAILURE() << "accepted byte " << int(bytes[0]);
    } catch (IException* e) {
      EXPECT_EQ(e->getID(), NQCEXT_BAD_CONVERSION);
      delete e;
    }
  }
}

}  // namespace
