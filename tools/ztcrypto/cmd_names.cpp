// ztcrypto name | oid | decode: X.500 names, the OID table and the rendering of OID values.

#include <iostream>
#include <memory>

#include "cli.h"

namespace ztcli {

namespace {

using namespace ZT::Framework;

// "Name: ", "DER: " and "Attributes: " lines of a name built from text or from DER.
int ShowName(const Args& args) {
  const Parsed parsed = Parse(args, {"--der"}, {"--reverse", "--crlf"});
  const std::string* der = parsed.Option("--der");
  ExpectOperands(parsed, der ? 0 : 1, der ? 0 : 1);
  const std::unique_ptr<IX500Name> name(der ? IX500Name::Create(FromHex(*der, "--der"))
                                            : IX500Name::Create(Widen(parsed.operands[0])));
  unsigned int format = 0;
  if (parsed.Has("--reverse")) format |= IX500Name::kReverseFlag;
  if (parsed.Has("--crlf")) format |= IX500Name::kCRLFFlag;

  StringList attributes;
  name->ListAttributes(attributes);
  std::string joined;
  for (const WString& oid : attributes) joined += (joined.empty() ? "" : ", ") + Narrow(oid);

  PrintLine("Name: " + Narrow(name->GetName(format)));
  PrintLine("DER: " + Hex(name->GetEncoded()));
  PrintLine("Attributes: " + joined);
  return 0;
}

// Only digits and dots: an OID; anything else is a friendly name.
bool IsDottedOID(const std::string& text) {
  return !text.empty() && text.find_first_not_of("0123456789.") == std::string::npos;
}

int TranslateOID(const Args& args) {
  const Parsed parsed = Parse(args, {}, {});
  ExpectOperands(parsed, 1, 1);
  const std::string& text = parsed.operands[0];
  PrintLine(Narrow(IsDottedOID(text) ? IOIDDecoder::OIDToString(Widen(text)) : IOIDDecoder::StringToOID(Widen(text))));
  return 0;
}

// The rendering exactly as the library writes it: CR LF line ends kept, nothing added.
int DecodeValue(const Args& args) {
  const Parsed parsed = Parse(args, {}, {});
  ExpectOperands(parsed, 2, 2);
  std::cout << Narrow(IOIDDecoder::DecodeOID(Widen(parsed.operands[0]), FromHex(parsed.operands[1], "HEX")));
  return 0;
}

constexpr Command kCommands[] = {
    {"name", "[--reverse] [--crlf] (TEXT | --der HEX)",
     "an X.500 name from text or DER: its text, DER and attribute types", ShowName},
    {"oid", "OID-OR-NAME", "the friendly name of an OID, or the OID of a friendly name", TranslateOID},
    {"decode", "OID HEX", "the text of an extension or attribute value (DER in hex) of that OID", DecodeValue},
};

}  // namespace

std::span<const Command> NameCommands() { return kCommands; }

}  // namespace ztcli
