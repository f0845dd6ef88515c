// Shared helpers of the name and rendering tests: hex input, caught library exceptions, and the
// DER values that tests/fixtures/names/make.sh made with the openssl tool.
#pragma once

#include <gtest/gtest.h>

#include <fstream>
#include <map>
#include <string>
#include <string_view>

#include "codec/crypto.der.writer.h"
#include "der/der_hex.h"
#include "support/thrown.h"
#include "support/tool_runner.h"
#include "zt/crypto.h"

namespace names_test {

using ZT::Framework::ByteArray;
using ZT::Framework::WString;
using zttest::ExpectFailure;
using zttest::MessageAt;
using zttest::Thrown;

inline ByteArray Hex(std::string_view text) { return der_test::Hex(text); }

// A Name of one attribute of type `oid` whose value is the DER element `value`.
inline ByteArray NameWith(const WString& oid, const ByteArray& value) {
  using namespace ZT::Framework::Der;
  Writer w;
  w.Nest(kSequence, [&] { w.Nest(kSet, [&] { w.Nest(kSequence, [&] { w.AddOid(oid), w.AddRaw(value); }); }); });
  ByteArray der;
  EXPECT_TRUE(w.Finish(&der));
  return der;
}

// A DER value the openssl tool made (tests/fixtures/names/make.sh wrote values.txt, one
// "<section> <name> <hex>" a line); a failure when there is none.
inline const char* OpensslValue(const std::string& section, const std::string& name) {
  static const std::map<std::string, std::string> values = [] {
    std::map<std::string, std::string> read;
    std::ifstream in(zttest::FixturePath("names/values.txt"));
    for (std::string s, n, hex; in >> s >> n >> hex;) read[s + " " + n] = hex;
    return read;
  }();
  const auto found = values.find(section + " " + name);
  if (found != values.end()) return found->second.c_str();
  ADD_FAILURE() << "no value " << section << " " << name << " in names/values.txt";
  return "";
}

// Names made by `openssl req -subj ... -utf8 -multivalue-rdn` under a string mask:
//   printable  "/CN=Test User/OU=Unit/OU=Unit 2/O=Acme, Inc./L=Springfield/ST=Oregon/C=US"
//   utf8       "/CN=Jürgen Groß/O=Ünïcödé Örg/C=DE" (UTF8String)
//   bmp        "/CN=山田太郎/O=株式会社/C=JP" (BMPString)
//   t61        "/CN=Jürgen/C=DE" (TeletexString, ISO 8859-1 octets)
//   multivalued "/CN=Alice+UID=alice/O=Example" (one two-valued RDN)
//   email      "/emailAddress=user@example.com/DC=example/DC=com/serialNumber=1234/title=Engineer/
//              GN=Ann/initials=AB/SN=Smith/street=1 Main St/postalCode=12345"
//   unknown    "/CN=Known/pseudonym=Nick/dnQualifier=q1" (two types without a key word)
//   quoting    "/CN= leading/O=trailing /OU=a\,b/L=x=y/ST=#hash/CN=semi;colon/CN=say "hi""
inline const char* OpensslName(const std::string& which) { return OpensslValue("name", which); }

// subjectAltName = email:user@example.com, DNS:www.example.com, URI:http://example.com/,
//   IP:192.168.0.1, IP:2001:db8::1, RID:1.2.3.4, otherName:<UPN>;UTF8:user@example.com,
//   dirName:(O=Example Org, CN=Directory Name)
inline const char* OpensslAltNames() { return OpensslValue("standard", "X509v3_Subject_Alternative_Name"); }

}  // namespace names_test
