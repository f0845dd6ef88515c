// libFuzzer target over X.500 names from text. The input is UTF-8 text (octets that are not
// valid UTF-8 are taken one per character); the first octet also selects the CertStrToNameW
// options for a direct call. Oracles: a name made from text writes a text form that reads back
// to exactly the same DER (the text reader chose every value type, so the round trip is
// faithful); the size query of CertStrToNameW agrees with the encoding it then writes.
// The library's failures are CCryptoException pointers, deleted here; anything else escapes and
// is a finding.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>

#include "common/crypto.x500text.h"
#include "nq/nqcext.h"
#include "zt/crypto.h"

namespace {

using namespace ZT::Framework;

void Require(bool condition) {
  if (!condition) std::abort();
}

WString TextOf(const std::uint8_t* data, std::size_t size) {
  const ByteArray bytes(data, data + size);
  try {
    return CConverter::MBCSByteArrayToString(bytes);
  } catch (IException* e) {
    delete e;
    return WString(bytes.begin(), bytes.end());
  }
}

// The options CertStrToNameW takes besides the string type, picked by the bits of `selector`.
std::uint32_t FlagsOf(std::uint8_t selector) {
  constexpr std::uint32_t kFlags[] = {CERT_NAME_STR_COMMA_FLAG,      CERT_NAME_STR_SEMICOLON_FLAG,
                                      CERT_NAME_STR_CRLF_FLAG,       CERT_NAME_STR_NO_PLUS_FLAG,
                                      CERT_NAME_STR_NO_QUOTING_FLAG, CERT_NAME_STR_REVERSE_FLAG};
  std::uint32_t flags = 0;
  for (std::size_t i = 0; i < std::size(kFlags); ++i)
    if (selector & (1u << i)) flags |= kFlags[i];
  return (selector & 0x40 ? CERT_OID_NAME_STR : CERT_X500_NAME_STR) | flags;
}

void CheckSizeQuery(const WString& text, std::uint32_t strType) {
  std::uint32_t size = 0;
  if (!X500Text::CertStrToNameW(X509_ASN_ENCODING, text.c_str(), strType, nullptr, nullptr, &size, nullptr)) return;
  ByteArray der(size);
  std::uint32_t written = size;
  Require(X500Text::CertStrToNameW(X509_ASN_ENCODING, text.c_str(), strType, nullptr, der.data(), &written, nullptr));
  Require(written == size);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const WString text = TextOf(data, size);
  if (size > 0) CheckSizeQuery(text, FlagsOf(data[0]));

  std::unique_ptr<IX500Name> name;
  try {
    name.reset(IX500Name::Create(text));
  } catch (CCryptoException* e) {
    delete e;
    return 0;
  }
  StringList attributes;
  name->ListAttributes(attributes);
  for (const WString& oid : attributes) {
    StringList values;
    name->GetAttributeValue(oid, values);
    Require(!values.empty());
  }
  name->GetName(IX500Name::kReverseFlag | IX500Name::kCRLFFlag);

  const WString written = name->GetName(0);
  if (written.empty()) return 0;  // a name without RDNs
  std::unique_ptr<IX500Name> reread;
  try {
    reread.reset(IX500Name::Create(written));
  } catch (CCryptoException* e) {
    delete e;
    std::abort();
  }
  Require(reread->GetEncoded() == name->GetEncoded());
  Require(reread->GetName(0) == written);
  return 0;
}
