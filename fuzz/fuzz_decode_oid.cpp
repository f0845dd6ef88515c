// libFuzzer target over IOIDDecoder::DecodeOID: the first input octet picks an OID of the
// rendering table (every directory attribute and every extension, and OIDs without a layout),
// the rest is the value. The library's failures are CCryptoException pointers, deleted here;
// anything else escapes and is a finding.
#include <cstddef>
#include <cstdint>

#include "zt/crypto.h"

namespace {

using namespace ZT::Framework;

// Fixed order: the corpus files' first octets index this list.
constexpr const wchar_t* kOIDs[] = {
    // extensions with a layout
    L"1.3.6.1.5.5.7.1.1",
    L"2.5.29.1",
    L"2.5.29.35",
    L"2.5.29.14",
    L"2.5.29.7",
    L"2.5.29.17",
    L"2.5.29.8",
    L"2.5.29.18",
    L"2.5.29.19",
    L"2.5.29.32",
    L"2.5.29.15",
    L"2.5.29.2",
    L"2.5.29.31",
    L"2.5.29.4",
    L"2.5.29.16",
    L"2.5.29.37",
    L"2.16.840.1.101.3.6.9.1",
    L"1.2.840.113549.1.9.15",
    L"1.3.6.1.4.1.311.21.7",
    L"1.3.6.1.4.1.311.21.10",
    L"2.16.840.1.113730.1.1",
    L"1.3.6.1.4.1.311.20.2",
    L"2.16.840.1.113730.1.13",
    L"1.3.6.1.4.1.311.21.1",
    L"2.16.840.1.113730.1.2",
    L"2.16.840.1.113730.1.3",
    L"2.16.840.1.113730.1.4",
    L"2.16.840.1.113730.1.7",
    L"2.16.840.1.113730.1.8",
    L"2.16.840.1.113730.1.12",
    L"2.5.29.9",
    // directory attributes
    L"2.5.4.38",
    L"2.5.4.3",
    L"2.5.4.6",
    L"2.5.4.10",
    L"1.2.840.113549.1.9.1",
    L"2.5.4.13",
    L"2.5.4.7",
    L"2.5.4.15",
    L"2.5.4.37",
    L"2.5.4.39",
    L"2.5.4.40",
    L"2.5.4.27",
    L"2.5.4.5",
    L"0.9.2342.19200300.100.1.25",
    L"2.5.4.23",
    L"2.5.4.42",
    L"2.5.4.43",
    L"2.5.4.25",
    L"2.5.4.31",
    L"2.5.4.11",
    L"2.5.4.32",
    L"2.5.4.19",
    L"1.2.840.113549.1.9.20",
    L"1.2.840.113549.1.9.21",
    L"2.5.4.18",
    L"2.5.4.16",
    L"2.5.4.17",
    L"2.5.4.28",
    L"2.5.4.29",
    L"2.5.4.26",
    L"2.5.4.33",
    L"2.5.4.14",
    L"2.5.4.34",
    L"2.5.4.8",
    L"2.5.4.9",
    L"2.5.4.30",
    L"2.5.4.4",
    L"2.5.4.20",
    L"2.5.4.22",
    L"2.5.4.21",
    L"2.5.4.12",
    L"2.5.4.36",
    L"2.5.4.35",
    L"2.5.4.24",
    L"1.3.6.1.4.1.311.20.2.3",
    // no layout: the dump (a table name, an unknown OID, the empty OID)
    L"1.3.6.1.5.5.7.3.1",
    L"1.2.3.4.5",
    L"",
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  const WString oid = kOIDs[data[0] % std::size(kOIDs)];
  const ByteArray value(data + 1, data + size);
  try {
    IOIDDecoder::DecodeOID(oid, value);
  } catch (CCryptoException* e) {
    delete e;
  }
  return 0;
}
