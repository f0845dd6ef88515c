// libFuzzer target over IOIDDecoder::DecodeOID: the first input octet picks an OID of the
// rendering table (every extension with a layout, every directory attribute, and OIDs without a
// rendering of their own), the rest is the value. The library's failures are CCryptoException
// pointers, deleted here; anything else escapes and is a finding.
#include <cstddef>
#include <cstdint>
#include <vector>

#include "cng/crypto.cng.oiddecoder.h"
#include "zt/crypto.h"

namespace {

using namespace ZT::Framework;

// OIDs without a rendering of their own (a name of the OID table, an unknown OID, the empty
// OID), then every OID that has one, in the library's order: the corpus files' first octets
// index this list.
const std::vector<WString> kOIDs = [] {
  std::vector<WString> oids = {L"1.3.6.1.5.5.7.3.1", L"1.2.3.4.5", L""};
  for (const WString& oid : OIDRendering::RenderedOIDs()) oids.push_back(oid);
  return oids;
}();

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  const WString oid = kOIDs[data[0] % kOIDs.size()];
  const ByteArray value(data + 1, data + size);
  try {
    IOIDDecoder::DecodeOID(oid, value);
  } catch (CCryptoException* e) {
    delete e;
  }
  return 0;
}
