// ztcrypto random | guid: random bytes and GUIDs.

#include <cstdio>
#include <memory>

#include "engines.h"

namespace ztcli {

namespace {

using namespace ZT::Framework;

int RandomCommand(const Args& args) {
  const Parsed parsed = Parse(args, {}, {});
  ExpectOperands(parsed, 1, 1);
  const std::uint32_t length = ParseLength(parsed.operands[0], "N");
  const auto algorithm = AlgorithmNamed("FIPS186DSARNG");
  const std::unique_ptr<RandomGenerator> generator(RandomGenerator::Create(algorithm.get(), nullptr));
  ByteArray bytes;
  generator->GenerateRandom(length, bytes);
  PrintLine(Hex(bytes));
  return 0;
}

// The registry form of a GUID from its 16 bytes in memory order (Data1, Data2 and Data3
// little-endian): {XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX}, upper case.
std::string GuidText(const ByteArray& guid) {
  const auto little = [&](std::size_t at, std::size_t size) {
    unsigned long value = 0;
    for (std::size_t i = size; i-- > 0;) value = value << 8 | guid[at + i];
    return value;
  };
  char text[39];
  std::snprintf(text, sizeof text, "{%08lX-%04lX-%04lX-%02X%02X-%02X%02X%02X%02X%02X%02X}", little(0, 4), little(4, 2),
                little(6, 2), guid[8], guid[9], guid[10], guid[11], guid[12], guid[13], guid[14], guid[15]);
  return text;
}

int GuidCommand(const Args& args) {
  ExpectOperands(Parse(args, {}, {}), 0, 0);
  const std::unique_ptr<GUIDGenerator> generator(GUIDGenerator::Create(nullptr, nullptr));
  ByteArray guid;
  generator->GenerateGUID(guid);
  PrintLine(GuidText(guid));
  return 0;
}

constexpr Command kCommands[] = {
    {"random", "N", "N random bytes from the platform generator, in hex", RandomCommand},
    {"guid", "", "a new GUID in its braced text form", GuidCommand},
};

}  // namespace

std::span<const Command> RandomCommands() { return kCommands; }

}  // namespace ztcli
