// Shared parts of the ztcrypto command-line tool: command tables, argument parsing, text and hex
// conversion, input reading.
#pragma once

#include <map>
#include <set>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

#include <zt/crypto.h>

namespace ztcli {

using ZT::Framework::ByteArray;
using ZT::Framework::WString;

// Bad usage: the tool prints the message and the command's usage line, and exits with 64.
struct UsageError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// The outcome of a failed command that is not an error of the library (a file that cannot be
// read): the tool prints "ztcrypto: <message>" and exits with 1.
struct ToolError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

using Args = std::vector<std::string>;

struct Command {
  const char* name;
  const char* usage;  // the arguments after the name
  const char* summary;
  int (*run)(const Args& args);  // exit status
};

// The command families; each lives in its own cmd_*.cpp.
std::span<const Command> AlgorithmCommands();
std::span<const Command> DigestCommands();
std::span<const Command> KeyCommands();
std::span<const Command> AgreementCommands();
std::span<const Command> RandomCommands();
std::span<const Command> NameCommands();
std::span<const Command> SignatureCommands();
std::span<const Command> CertificateCommands();
std::span<const Command> StoreCommands();
std::span<const Command> CipherCommands();
std::span<const Command> ProtectionCommands();

// Arguments split into options and operands. `valued` names the options that take a value
// ("--key HEX" or "--key=HEX"); `flags` those that do not. Anything else starting with "--" is a
// usage error, as is a missing value. "-" alone is an operand (standard input).
struct Parsed {
  std::map<std::string, std::string> options;
  std::set<std::string> flags;
  std::vector<std::string> operands;

  bool Has(const std::string& flag) const { return flags.count(flag) != 0; }
  const std::string* Option(const std::string& name) const;
  // The value of a required option; a usage error when absent.
  const std::string& Required(const std::string& name) const;
};
Parsed Parse(const Args& args, const std::set<std::string>& valued, const std::set<std::string>& flags);
// Fails with a usage error unless there are between `min` and `max` operands.
void ExpectOperands(const Parsed& parsed, std::size_t min, std::size_t max);

// UTF-8 <-> wide text.
std::string Narrow(const WString& text);
WString Widen(const std::string& text);

// Lower-case hex of bytes, and the reverse (a usage error on odd length or a non-hex digit).
std::string Hex(const ByteArray& bytes);
ByteArray FromHex(const std::string& hex, const char* what);

// A decimal count; a usage error when it is not one.
std::uint64_t ParseCount(const std::string& text, const char* what);

// The whole content of a file, or of standard input for "-".
ByteArray ReadInput(const std::string& path);
// The input named by the optional operand: a file, or standard input ("-" or none).
ByteArray InputOperand(const Parsed& parsed);
// Writes `bytes` as they are to the file of --out, or to standard output.
void WriteOutput(const Parsed& parsed, const ByteArray& bytes);

// The DER of the first PEM block "-----BEGIN <label>-----" in `text`; false when there is none.
// A block whose base64 does not decode is a tool error.
bool FromPem(const ByteArray& text, const std::string& label, ByteArray* der);

// The DER of a certificate file: its first PEM "CERTIFICATE" block, or the file itself.
ByteArray ReadCertificate(const std::string& path);

// Writes one line (UTF-8) to standard output.
void PrintLine(const std::string& line);

}  // namespace ztcli
