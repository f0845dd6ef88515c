// ztcrypto: the library's services from the command line.
//
//   ztcrypto [--trace[=LEVEL]] COMMAND [ARGUMENTS]
//
// Exit status: 0 success; 1 a negative answer or an unreadable input; 2 the library raised an
// exception ("ztcrypto: <message>: <inner message>: ... (<id text>)" on stderr, the innermost
// message last); 64 bad usage.

#include <cstdio>
#include <iostream>
#include <memory>

#include <nq/nqlog.h>

#if defined(_WIN32)
#include <fcntl.h>
#include <io.h>
#include <windows.h>

#include <shellapi.h>
#endif

#include "cli.h"

namespace {

using namespace ztcli;

constexpr int kUsageStatus = 64;
constexpr int kLibraryErrorStatus = 2;
constexpr const char* kSynopsis = "usage: ztcrypto [--trace[=LEVEL]] COMMAND [ARGUMENTS]";

using Family = std::span<const Command> (*)();
constexpr Family kFamilies[] = {
    AlgorithmCommands,
    DigestCommands,
    CipherCommands,
    ProtectionCommands,
    KeyCommands,
    AgreementCommands,
    RandomCommands,
    NameCommands,
    SignatureCommands,
    CertificateCommands,
    StoreCommands,
};

const Command* FindCommand(const std::string& name) {
  for (Family family : kFamilies)
    for (const Command& command : family())
      if (name == command.name) return &command;
  return nullptr;
}

void PrintUsage(std::ostream& out) {
  out << kSynopsis << "\n\ncommands:\n";
  for (Family family : kFamilies)
    for (const Command& command : family()) {
      std::string synopsis = std::string(command.name) + " " + command.usage;
      synopsis.resize(std::max<std::size_t>(synopsis.size() + 2, 40), ' ');
      out << "  " << synopsis << command.summary << "\n";
    }
  out << "\n--trace writes the library's trace lines to stderr; LEVEL limits them to errors (1),\n"
         "warnings (2), entries (8) or exits (16); the default also writes data lines (0).\n";
}

// "--trace" or "--trace=LEVEL": true when `arg` is the option (and the sink is installed).
bool TakeTraceOption(const std::string& arg) {
  if (arg == "--trace") {
    nqlogSetSink(nqlogStderrSink(), NQLOG_DATA);
    return true;
  }
  if (arg.rfind("--trace=", 0) != 0) return false;
  const std::string level = arg.substr(8);
  if (level != "0" && level != "1" && level != "2" && level != "8" && level != "16")
    throw UsageError("--trace takes one of the levels 0, 1, 2, 8, 16");
  nqlogSetSink(nqlogStderrSink(), std::stoi(level));
  return true;
}

// The exception's message and those of its inner exceptions, outermost first: "new CX500Name()
// failed: <inner message>: <innermost message>".
std::string MessageChain(const ZT::Framework::IException* e) {
  std::string chain = Narrow(e->getMessage());
  for (const ZT::Framework::IException* inner = e->getInnerException(); inner != nullptr;
       inner = inner->getInnerException())
    chain += ": " + Narrow(inner->getMessage());
  return chain;
}

std::string IdText(ZT::Framework::IException* e) {
  if (auto* crypto = dynamic_cast<ZT::Framework::CCryptoException*>(e)) return Narrow(crypto->StringFromId());
  return "ID:" + std::to_string(e->getID());
}

int RunCommand(const Command& command, const Args& args) {
  try {
    return command.run(args);
  } catch (const UsageError& e) {
    std::cerr << "ztcrypto: " << e.what() << "\nusage: ztcrypto " << command.name << " " << command.usage << "\n";
    return kUsageStatus;
  } catch (ZT::Framework::IException* e) {
    const std::unique_ptr<ZT::Framework::IException> owned(e);
    std::cerr << "ztcrypto: " << MessageChain(e) << " (" << IdText(e) << ")\n";
    return kLibraryErrorStatus;
  } catch (const ToolError& e) {
    std::cerr << "ztcrypto: " << e.what() << "\n";
    return 1;
  }
}

#if defined(_WIN32)
// The arguments as UTF-8, as on Linux: the system hands them out as UTF-16 text (argv has them in
// the ANSI code page, which cannot hold every character).
Args CommandLineArguments() {
  int count = 0;
  wchar_t** wide = CommandLineToArgvW(GetCommandLineW(), &count);
  Args args;
  for (int i = 1; wide != nullptr && i < count; ++i) {
    const int size = WideCharToMultiByte(CP_UTF8, 0, wide[i], -1, nullptr, 0, nullptr, nullptr);
    std::string utf8(size > 0 ? size - 1 : 0, '\0');
    if (size > 1) WideCharToMultiByte(CP_UTF8, 0, wide[i], -1, utf8.data(), size, nullptr, nullptr);
    args.push_back(std::move(utf8));
  }
  LocalFree(wide);
  return args;
}
#endif

}  // namespace

int main(int argc, char** argv) {
#if defined(_WIN32)
  // Bytes in and out as they are, as on Linux: no CR LF translation, no end of input at Ctrl-Z.
  _setmode(_fileno(stdin), _O_BINARY);
  _setmode(_fileno(stdout), _O_BINARY);
  _setmode(_fileno(stderr), _O_BINARY);
  static_cast<void>(argc);
  static_cast<void>(argv);
  Args args = CommandLineArguments();
#else
  Args args(argv + 1, argv + argc);
#endif
  try {
    while (!args.empty() && TakeTraceOption(args.front())) args.erase(args.begin());
  } catch (const UsageError& e) {
    std::cerr << "ztcrypto: " << e.what() << "\n" << kSynopsis << "\n";
    return kUsageStatus;
  }
  if (args.empty() || args.front() == "help" || args.front() == "--help") {
    PrintUsage(args.empty() ? std::cerr : std::cout);
    return args.empty() ? kUsageStatus : 0;
  }
  const Command* command = FindCommand(args.front());
  if (command == nullptr) {
    std::cerr << "ztcrypto: unknown command '" << args.front() << "'\n";
    PrintUsage(std::cerr);
    return kUsageStatus;
  }
  const int status = RunCommand(*command, Args(args.begin() + 1, args.end()));
  std::cout.flush();
  return status;
}
