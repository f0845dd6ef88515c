// The OID decoder's table, the X.500 key words and the directory attributes, every row both ways,
// against tests/fixtures/names/oids.tsv (typed from the published tables).
#include <gtest/gtest.h>

#include <algorithm>
#include <cwctype>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "names_test_util.h"
#include "support/command.h"

namespace {

using namespace ZT::Framework;
using namespace names_test;

struct Row {
  std::string line;  // for failure messages
  WString oid;
  WString name;
};

WString Wide(const std::string& ascii) { return WString(ascii.begin(), ascii.end()); }

// The rows of oids.tsv of kind `kind`, in file order.
std::vector<Row> RowsOf(const std::string& kind) {
  const std::vector<unsigned char> bytes = zttest::ReadFixtureFile("names/oids.tsv");
  std::istringstream file(std::string(bytes.begin(), bytes.end()));
  std::vector<Row> rows;
  for (std::string line; std::getline(file, line);) {
    if (line.empty() || line[0] == '#') continue;
    std::istringstream fields(line);
    std::string rowKind, oid, name;
    std::getline(fields, rowKind, '\t'), std::getline(fields, oid, '\t'), std::getline(fields, name);
    if (rowKind == kind) rows.push_back({line, Wide(oid), Wide(name)});
  }
  return rows;
}

std::unique_ptr<IX500Name> FromText(const WString& text) { return std::unique_ptr<IX500Name>(IX500Name::Create(text)); }
std::unique_ptr<IX500Name> FromDer(const ByteArray& der) { return std::unique_ptr<IX500Name>(IX500Name::Create(der)); }

StringList Attributes(const IX500Name& name) {
  StringList list;
  name.ListAttributes(list);
  return list;
}

const ByteArray kPrintableValue = Hex("1303414243");  // PrintableString "ABC"

TEST(OIDTable, EveryFriendlyNameBothWays) {
  const std::vector<Row> rows = RowsOf("friendly");
  ASSERT_EQ(rows.size(), 53u);
  for (const Row& row : rows) {
    EXPECT_EQ(IOIDDecoder::OIDToString(row.oid), row.name) << row.line;
    EXPECT_EQ(IOIDDecoder::StringToOID(row.name), row.oid) << row.line;
  }
}

TEST(OIDTable, EveryKeyWordBothWaysAndItsAliases) {
  const std::vector<Row> keywords = RowsOf("keyword");
  ASSERT_EQ(keywords.size(), 18u);
  for (const Row& row : keywords) {
    EXPECT_EQ(FromDer(NameWith(row.oid, kPrintableValue))->GetName(0), row.name + L"=ABC") << row.line;
    EXPECT_EQ(Attributes(*FromText(row.name + L"=ABC")), StringList{row.oid}) << row.line;
  }
  const std::vector<Row> aliases = RowsOf("alias");
  ASSERT_EQ(aliases.size(), 5u);
  for (const Row& row : aliases) {
    WString lower = row.name;
    std::transform(lower.begin(), lower.end(), lower.begin(), [](wchar_t c) { return std::towlower(c); });
    for (const WString& word : {row.name, lower})
      EXPECT_EQ(Attributes(*FromText(word + L"=ABC")), StringList{row.oid}) << row.line;
  }
}

// Every other type is written "OID." and its dotted form, and read back from that.
TEST(OIDTable, DirectoryAttributesRenderAloneAndReadBackFromTheirText) {
  const std::vector<Row> attributes = RowsOf("attribute");
  ASSERT_EQ(attributes.size(), 45u);
  const std::vector<Row> keywords = RowsOf("keyword");
  for (const Row& row : attributes) {
    EXPECT_EQ(IOIDDecoder::DecodeOID(row.oid, kPrintableValue), L"ABC") << row.line;
    const auto keyword = std::find_if(keywords.begin(), keywords.end(), [&](const Row& k) { return k.oid == row.oid; });
    const WString text = (keyword == keywords.end() ? L"OID." + row.oid : keyword->name) + L"=ABC";
    EXPECT_EQ(FromDer(NameWith(row.oid, kPrintableValue))->GetName(0), text) << row.line;
    EXPECT_EQ(Attributes(*FromText(text)), StringList{row.oid}) << row.line;
  }
  // The friendly table's other OIDs are no directory attributes: their values get a header.
  for (const Row& row : RowsOf("friendly")) {
    const bool attribute = std::any_of(attributes.begin(), attributes.end(), [&](const Row& a) { return a.oid == row.oid; });
    const WString text = IOIDDecoder::DecodeOID(row.oid, kPrintableValue);
    EXPECT_EQ(text.rfind(L"[" + row.name + L"]\r\n", 0) == 0, !attribute) << row.line;
  }
}

}  // namespace
