// ztcrypto algorithms | algorithm NAME-OR-OID: the algorithm registry.

#include <memory>

#include "cli.h"

namespace ztcli {

namespace {

using namespace ZT::Framework;

// "NAME<blanks>OID", the name in a column wide enough for every name of the table.
std::string Row(const WString& name, const WString& oid) {
  std::string line = Narrow(name);
  line.resize(std::max<std::size_t>(line.size() + 2, 16), ' ');
  return line + Narrow(oid);
}

// An argument with a digit and a dot is an OID; anything else is a friendly name.
bool LooksLikeOID(const std::string& text) {
  return text.find('.') != std::string::npos && text.find_first_of("0123456789") != std::string::npos;
}

int ListAlgorithms(const Args& args) {
  ExpectOperands(Parse(args, {}, {}), 0, 0);
  const std::unique_ptr<IAlgorithmParameters> parameters(IAlgorithmParameters::Create());
  for (const WString& name : IAlgorithm::ListFriendlyNames()) {
    const std::unique_ptr<IAlgorithm> algorithm(IAlgorithm::CreateFromFriendlyName(name, parameters.get()));
    PrintLine(Row(algorithm->GetFriendlyName(), algorithm->GetOID()));
  }
  return 0;
}

int ResolveAlgorithm(const Args& args) {
  const Parsed parsed = Parse(args, {}, {});
  ExpectOperands(parsed, 1, 1);
  const std::string& text = parsed.operands[0];
  const std::unique_ptr<IAlgorithmParameters> parameters(IAlgorithmParameters::Create());
  const std::unique_ptr<IAlgorithm> algorithm(LooksLikeOID(text)
                                                  ? IAlgorithm::CreateFromOID(Widen(text), parameters.get())
                                                  : IAlgorithm::CreateFromFriendlyName(Widen(text), parameters.get()));
  PrintLine(Row(algorithm->GetFriendlyName(), algorithm->GetOID()));
  return 0;
}

constexpr Command kCommands[] = {
    {"algorithms", "", "list the algorithm registry: friendly name and OID, in table order", ListAlgorithms},
    {"algorithm", "NAME-OR-OID", "resolve one algorithm by friendly name or by OID", ResolveAlgorithm},
};

}  // namespace

std::span<const Command> AlgorithmCommands() { return kCommands; }

}  // namespace ztcli
