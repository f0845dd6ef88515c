// ztcrypto protect | unprotect: the platform's data protection of a file or of standard input, for
// the current user or (--machine) for this machine, the blob or the data written as they are to
// standard output or to --out FILE; and protect --init-machine, with which an administrator
// creates the machine's secret once.

#include <iostream>

#include "cli.h"

namespace ztcli {

namespace {

using namespace ZT::Framework;

ByteArray EntropyOption(const Parsed& parsed) {
  const std::string* hex = parsed.Option("--entropy");
  return hex != nullptr ? FromHex(*hex, "--entropy") : ByteArray();
}

std::string MachineSecretPath() { return Narrow(IDataProtection::GetMachineSecretPath()); }

int InitMachine(const Parsed& parsed) {
  if (parsed.flags.size() != 1 || !parsed.options.empty() || !parsed.operands.empty())
    throw UsageError("--init-machine takes no other argument");
  PrintLine(IDataProtection::CreateMachineSecret() ? "created " + MachineSecretPath()
                                                   : MachineSecretPath() + " exists already");
  return 0;
}

int ProtectCommand(const Args& args) {
  const Parsed parsed = Parse(args, {"--entropy", "--description", "--out"}, {"--machine", "--init-machine"});
  if (parsed.Has("--init-machine")) return InitMachine(parsed);
  ExpectOperands(parsed, 0, 1);
  const bool machine = parsed.Has("--machine");
  if (machine && !IDataProtection::HasMachineSecret())
    throw ToolError("this machine has no usable data-protection secret (" + MachineSecretPath() +
                    "): an administrator creates it once with 'ztcrypto protect --init-machine'");
  const std::string* description = parsed.Option("--description");
  const ByteArray blob = IDataProtection::Protect(InputOperand(parsed), description ? Widen(*description) : WString(),
                                                  EntropyOption(parsed), machine);
  WriteOutput(parsed, blob);
  return 0;
}

int UnprotectCommand(const Args& args) {
  const Parsed parsed = Parse(args, {"--entropy", "--out"}, {});
  ExpectOperands(parsed, 0, 1);
  WString description;
  const ByteArray data = IDataProtection::Unprotect(InputOperand(parsed), EntropyOption(parsed), description);
  // Standard output carries the data as it is; the description goes beside it.
  if (!description.empty()) std::cerr << "Description: " << Narrow(description) << "\n";
  WriteOutput(parsed, data);
  return 0;
}

constexpr Command kCommands[] = {
    {"protect", "[--machine] [--entropy HEX] [--description TEXT] [--out FILE] [FILE|-] | --init-machine",
     "protect a file or stdin for this user (or this machine); binary output", ProtectCommand},
    {"unprotect", "[--entropy HEX] [--out FILE] [FILE|-]",
     "open what protect wrote (the description, if any, on stderr); binary output", UnprotectCommand},
};

}  // namespace

std::span<const Command> ProtectionCommands() { return kCommands; }

}  // namespace ztcli
