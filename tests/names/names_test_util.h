// Shared helpers of the name and rendering tests: hex input, caught library exceptions, and the
// DER values that tests/fixtures/names/make.sh made with the openssl tool.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <string_view>

#include "codec/crypto.der.writer.h"
#include "der/der_hex.h"
#include "support/thrown.h"
#include "zt/crypto.h"

namespace names_test {

using ZT::Framework::ByteArray;
using ZT::Framework::WString;
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

// Names made by the openssl tool (`openssl req -subj ... -utf8 -multivalue-rdn` under the given
// string mask); see tests/fixtures/names/values.txt.
namespace openssl_name {
// "/CN=Test User/OU=Unit/OU=Unit 2/O=Acme, Inc./L=Springfield/ST=Oregon/C=US", PrintableString.
constexpr const char* kPrintable =
    "307d3112301006035504031309546573742055736572310d300b060355040b1304556e6974310f300d060355040b1306556e697420"
    "3231133011060355040a130a41636d652c20496e632e311430120603550407130b537072696e676669656c64310f300d0603550408"
    "13064f7265676f6e310b3009060355040613025553";
// "/CN=Jürgen Groß/O=Ünïcödé Örg/C=DE", UTF8String.
constexpr const char* kUtf8 =
    "30403116301406035504030c0d4ac3bc7267656e2047726fc39f31193017060355040a0c10c39c6ec3af63c3b664c3a920c39672"
    "67310b3009060355040613024445";
// "/CN=山田太郎/O=株式会社/C=JP", BMPString.
constexpr const char* kBmp =
    "30333111300f06035504031e085c717530592a90ce3111300f060355040a1e08682a5f0f4f1a793e310b3009060355040613024a50";
// "/CN=Jürgen/C=DE", TeletexString (ISO 8859-1 octets).
constexpr const char* kTeletex = "301e310f300d060355040314064afc7267656e310b3009060355040613024445";
// "/CN=Alice+UID=alice/O=Example", one two-valued RDN.
constexpr const char* kMultiValued =
    "30373123300c06035504031305416c6963653013060a0992268993f22c6401011305616c6963653110300e060355040a1307457861"
    "6d706c65";
// "/emailAddress=user@example.com/DC=example/DC=com/serialNumber=1234/title=Engineer/GN=Ann/initials=AB/
// SN=Smith/street=1 Main St/postalCode=12345".
constexpr const char* kKeyWords =
    "3081c0311f301d06092a864886f70d010901161075736572406578616d706c652e636f6d31173015060a0992268993f22c640119"
    "16076578616d706c6531133011060a0992268993f22c6401191603636f6d310d300b06035504051304313233343111300f060355"
    "040c1308456e67696e656572310c300a060355042a1303416e6e310b3009060355042b13024142310e300c06035504041305536d"
    "697468311230100603550409130931204d61696e205374310e300c060355041113053132333435";
// "/CN=Known/pseudonym=Nick/dnQualifier=q1": two types without a key word.
constexpr const char* kUnknownTypes =
    "302c310e300c060355040313054b6e6f776e310d300b060355044113044e69636b310b3009060355042e13027131";
// "/CN= leading/O=trailing /OU=a\,b/L=x=y/ST=#hash/CN=semi;colon/CN=say "hi"".
// subjectAltName = email:user@example.com, DNS:www.example.com, URI:http://example.com/,
//   IP:192.168.0.1, IP:2001:db8::1, RID:1.2.3.4, otherName:<UPN>;UTF8:user@example.com,
//   dirName:(O=Example Org, CN=Directory Name)
constexpr const char* kAltNames =
    "3081aa811075736572406578616d706c652e636f6d820f7777772e6578616d706c652e636f6d8613687474703a2f2f6578616d706c65"
    "2e636f6d2f8704c0a80001871020010db800000000000000000000000188032a0304a020060a2b060104018237140203a0120c10757365"
    "72406578616d706c652e636f6da431302f31143012060355040a130b4578616d706c65204f7267311730150603550403130e446972656374"
    "6f7279204e616d65";
constexpr const char* kQuoting =
    "307b3111300f06035504031308206c656164696e6731123010060355040a1309747261696c696e6720310c300a060355040b1303"
    "612c62310c300a06035504071303783d79310e300c060355040814052368617368311330110603550403140a73656d693b636f6c"
    "6f6e3111300f060355040314087361792022686922";
}  // namespace openssl_name

}  // namespace names_test
