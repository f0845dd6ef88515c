// libFuzzer target over X.500 names from DER: IX500Name::Create, then every query of the name.
// Oracles:
// - what decodes encodes again: the decoded Asn1::Name re-encodes to the input, or differs
//   only in the order of the attributes of a multi-valued RDN (a DER SET OF is sorted on write,
//   not checked on read), unless it holds a narrow string read beyond its type's set (reading is
//   lenient there, writing strict);
// - the text form is stable: when the text reads back as a name, that name writes the same text;
//   and when every value is held in the string type that the text reader would choose for it,
//   the name read back has exactly the re-encoded DER.
// The library's failures are CCryptoException pointers, deleted here; anything else escapes and
// is a finding.
#include <cstddef>
#include <cstdint>
#include <memory>

#include "codec/crypto.asn1.names.h"
#include "common/crypto.x500text.h"
#include "fuzz_checks.h"
#include "zt/crypto.h"

namespace {

using namespace ZT::Framework;

using fuzzcheck::Require;
using fuzzcheck::Succeeds;

bool HasMultiValuedRdn(const Asn1::Name& info) {
  for (const Asn1::Rdn& rdn : info.rgRDN)
    if (rdn.rgRDNAttr.size() > 1) return true;
  return false;
}

// True when every attribute that does not encode on its own is a narrow string value: the only
// values read more widely than they are written (a PrintableString with '*', an IA5String with
// 8-bit octets). Wide strings, octets and other values must always encode again.
bool OnlyLenientValuesFailToEncode(const Asn1::Name& info) {
  for (const Asn1::Rdn& rdn : info.rgRDN)
    for (const Asn1::AttributeTypeAndValue& attr : rdn.rgRDNAttr) {
      Asn1::Name alone;
      alone.rgRDN.push_back({{attr}});
      ByteArray der;
      if (!Structure::X509Name::Encode(alone, &der) &&
          (!Asn1::IsStringValueType(attr.dwValueType) || Asn1::IsWideValueType(attr.dwValueType)))
        return false;
    }
  return true;
}

// True when reading the text form back would choose the same value type for every attribute.
bool TextIsFaithful(const Asn1::Name& info) {
  for (const Asn1::Rdn& rdn : info.rgRDN)
    for (const Asn1::AttributeTypeAndValue& attr : rdn.rgRDNAttr) {
      if (attr.dwValueType == Asn1::kOctetStringValue) continue;
      const WString text = X500Text::RDNValueToString(attr.dwValueType, attr.Value);
      if (attr.dwValueType != X500Text::ValueTypeForText(attr.pszObjId, text)) return false;
    }
  return true;
}

void CheckTextRoundTrip(const IX500Name& name, const Asn1::Name& info, const ByteArray& reencoded) {
  const WString text = name.GetName(0);
  if (text.empty() || text.find(L'\0') != WString::npos) return;
  std::unique_ptr<IX500Name> reread;
  const bool read = Succeeds([&] { reread.reset(IX500Name::Create(text)); });
  if (read) Require(reread->GetName(0) == text);
  if (TextIsFaithful(info)) Require(read && reread->GetEncoded() == reencoded);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const ByteArray der(data, data + size);
  std::unique_ptr<IX500Name> name;
  if (!Succeeds([&] { name.reset(IX500Name::Create(der)); })) return 0;

  name->GetName(0);
  name->GetName(IX500Name::kReverseFlag | IX500Name::kCRLFFlag);
  Require(name->GetEncoded() == der);
  StringList attributes;
  name->ListAttributes(attributes);
  for (const WString& oid : attributes) {
    StringList values;
    name->GetAttributeValue(oid, values);
    Require(!values.empty());
  }

  Asn1::Name info;
  ByteArray reencoded;
  Require(Structure::X509Name::Decode(der, &info));
  // Encoding is strict: only a value read beyond its type's set keeps the name from encoding.
  if (!Structure::X509Name::Encode(info, &reencoded)) {
    Require(OnlyLenientValuesFailToEncode(info));
    return 0;
  }
  Require(reencoded == der || HasMultiValuedRdn(info));
  CheckTextRoundTrip(*name, info, reencoded);
  return 0;
}
