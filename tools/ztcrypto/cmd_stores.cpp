// ztcrypto p7b list | make, p12 list | make: PKCS #7 certificate bundles and PKCS #12 files.
//
// Passwords never come from the command line: from --password-file (its first line), else from
// the terminal with echo off (asked twice when a file is made), else from standard input (its
// first line) when it is not a terminal. They stay in wiping memory.

#include <unistd.h>

#if defined(_WIN32)
#include <windows.h>
#else
#include <termios.h>
#endif

#include <cstdio>
#include <fstream>
#include <iostream>
#include <memory>

#include "cli.h"

namespace ztcli {

namespace {

using namespace ZT::Framework;

using Certificate = std::unique_ptr<ICertificate>;
using Context = std::unique_ptr<ICertContext>;

// The values of every `--name VALUE` (or `--name=VALUE`) in `args`, which lose them.
std::vector<std::string> TakeRepeated(Args& args, const std::string& name) {
  std::vector<std::string> values;
  Args rest;
  for (std::size_t i = 0; i < args.size(); ++i) {
    if (args[i] == name) {
      if (i + 1 == args.size()) throw UsageError(name + " needs a value");
      values.push_back(args[++i]);
    } else if (args[i].rfind(name + "=", 0) == 0) {
      values.push_back(args[i].substr(name.size() + 1));
    } else {
      rest.push_back(args[i]);
    }
  }
  args = std::move(rest);
  return values;
}

// Every certificate of a file: each PEM "CERTIFICATE" block, or the file itself as one DER
// certificate.
std::vector<ByteArray> ReadCertificates(const std::string& path) {
  const ByteArray content = ReadInput(path);
  const std::string text(content.begin(), content.end());
  std::vector<ByteArray> certificates;
  const std::string marker = "-----BEGIN CERTIFICATE-----";
  for (std::size_t at = text.find(marker); at != std::string::npos; at = text.find(marker, at + marker.size())) {
    ByteArray der;
    if (FromPem(ByteArray(content.begin() + static_cast<long>(at), content.end()), "CERTIFICATE", &der))
      certificates.push_back(std::move(der));
  }
  if (certificates.empty()) certificates.push_back(content);
  return certificates;
}

Certificate NewCertificate(const ByteArray& der) { return Certificate(ICertificate::Create(CERT_FORMAT_X509, der)); }

// The PKCS #8 private key of a file ("PRIVATE KEY" PEM, or DER), as an RSA key.
std::unique_ptr<IPrivateKey> ReadPrivateKey(const std::string& path) {
  const ByteArray content = ReadInput(path);
  ByteArray der;
  if (!FromPem(content, "PRIVATE KEY", &der)) {
    if (FromPem(content, "RSA PRIVATE KEY", &der) || FromPem(content, "ENCRYPTED PRIVATE KEY", &der))
      throw ToolError(path + ": an unencrypted PKCS #8 key is needed (openssl pkcs8 -topk8 -nocrypt)");
    der = content;
  }
  const std::unique_ptr<IAlgorithmParameters> parameters(IAlgorithmParameters::Create());
  const std::unique_ptr<IAlgorithm> rsa(IAlgorithm::CreateFromFriendlyName(L"RSA", parameters.get()));
  std::unique_ptr<IKey> key(IKey::Create(rsa.get(), L"PKCS8", der));
  auto* privateKey = dynamic_cast<IPrivateKey*>(key.get());
  if (privateKey == nullptr) throw ToolError(path + ": not a private key");
  key.release();
  return std::unique_ptr<IPrivateKey>(privateKey);
}

// One line of a file or stream, without its line end, in wiping memory.
ByteArray ReadSecretLine(std::istream& in) {
  ByteArray line;
  for (int c = in.get(); c != EOF && c != '\n'; c = in.get()) line.push_back(static_cast<unsigned char>(c));
  if (!line.empty() && line.back() == '\r') line.pop_back();
  return line;
}

// The terminal's echo of what is typed: Off, then Restore as it was.
#if defined(_WIN32)
class TerminalEcho {
 public:
  TerminalEcho() : m_console(GetStdHandle(STD_INPUT_HANDLE)) { GetConsoleMode(m_console, &m_saved); }
  void Off() const { SetConsoleMode(m_console, m_saved & ~static_cast<DWORD>(ENABLE_ECHO_INPUT)); }
  void Restore() const { SetConsoleMode(m_console, m_saved); }

 private:
  HANDLE m_console;
  DWORD m_saved = 0;
};
#else
class TerminalEcho {
 public:
  TerminalEcho() { tcgetattr(STDIN_FILENO, &m_saved); }
  void Off() const {
    termios quiet = m_saved;
    quiet.c_lflag &= static_cast<tcflag_t>(~ECHO);
    tcsetattr(STDIN_FILENO, TCSAFLUSH, &quiet);
  }
  void Restore() const { tcsetattr(STDIN_FILENO, TCSAFLUSH, &m_saved); }

 private:
  termios m_saved{};
};
#endif

// A line typed at the terminal after `prompt`, not echoed.
ByteArray AskSecretLine(const char* prompt) {
  const TerminalEcho echo;
  std::cerr << prompt << std::flush;
  echo.Off();
  ByteArray line = ReadSecretLine(std::cin);
  echo.Restore();
  std::cerr << "\n";
  return line;
}

// The password, from --password-file, the terminal or standard input.
WString ReadPassword(const Parsed& parsed, bool confirm) {
  ByteArray utf8;
  if (const std::string* file = parsed.Option("--password-file")) {
    std::ifstream in(*file, std::ios::binary);
    if (!in) throw ToolError("cannot read " + *file);
    utf8 = ReadSecretLine(in);
  } else if (isatty(STDIN_FILENO)) {
    utf8 = AskSecretLine("Password: ");
    if (confirm && AskSecretLine("Password again: ") != utf8) throw ToolError("the passwords differ");
  } else {
    utf8 = ReadSecretLine(std::cin);
  }
  try {
    return CConverter::MBCSByteArrayToString(utf8);
  } catch (IException* e) {
    delete e;
    throw ToolError("the password is not UTF-8 text");
  }
}

void WriteOutput(const std::string& path, const ByteArray& bytes) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
  if (!out.flush()) throw ToolError("cannot write " + path);
}

std::string NameText(IX500Name* name) { return name == nullptr ? "" : Narrow(name->GetName(0)); }

// "subject: ... | issuer: ... | serial: ... | sha1: ...".
std::string CertificateLine(ICertificate* certificate) {
  auto* x509 = dynamic_cast<IX509Certificate*>(certificate);
  if (x509 == nullptr) return "subject: ? (" + Narrow(certificate->GetFormat()) + ")";
  return "subject: " + NameText(x509->GetSubjectDN()) + " | issuer: " + NameText(x509->GetIssuerDN()) +
         " | serial: " + Hex(x509->GetSerialNumber()) + " | sha1: " + Hex(x509->GetHash());
}

void AddContext(ICertStore& store, ICertificate* certificate, IPrivateKey* key = nullptr) {
  const Context context(key ? ICertContext::Create(certificate, key) : ICertContext::Create(certificate));
  store.AddCertContext(context.get());
}

// The contexts in the store's listing order.
std::vector<ICertContext*> Listed(ICertStore& store) {
  const std::unique_ptr<ICryptoParserFilter> filter(ICryptoParserFilter::Create());
  CertContextList list;
  store.ListCertContext(filter.get(), list);
  return {list.begin(), list.end()};
}

int P7bList(const Parsed& parsed) {
  ExpectOperands(parsed, 2, 2);
  // The bundle's DER, or the DER of its PEM armour ("PKCS7"), which "openssl crl2pkcs7" writes by default.
  ByteArray bundle = ReadInput(parsed.operands[1]);
  if (ByteArray der; FromPem(bundle, "PKCS7", &der)) bundle = std::move(der);
  const std::unique_ptr<ICertP7bStore> store(ICertP7bStore::Load(bundle));
  for (ICertContext* context : Listed(*store)) PrintLine(CertificateLine(context->GetCertificate()));
  return 0;
}

int P7bMake(const Parsed& parsed) {
  ExpectOperands(parsed, 2, SIZE_MAX);
  std::vector<ByteArray> certificates;
  for (std::size_t i = 1; i < parsed.operands.size(); ++i)
    for (ByteArray& der : ReadCertificates(parsed.operands[i])) certificates.push_back(std::move(der));
  // The store writes the last added first: added from the end, the bundle holds them as given.
  const std::unique_ptr<ICertP7bStore> store(ICertP7bStore::Create());
  for (auto der = certificates.rbegin(); der != certificates.rend(); ++der) AddContext(*store, NewCertificate(*der).get());
  ByteArray bundle;
  store->Save(bundle);
  WriteOutput(parsed.Required("--out"), bundle);
  return 0;
}

int P12List(const Parsed& parsed) {
  ExpectOperands(parsed, 2, 2);
  const ByteArray pfx = ReadInput(parsed.operands[1]);
  const std::unique_ptr<ICertP12Store> store(ICertP12Store::load(pfx, ReadPassword(parsed, false)));
  for (ICertContext* context : Listed(*store))
    PrintLine(CertificateLine(context->GetCertificate()) + " | key: " + (context->GetPrivateKey() ? "yes" : "no"));
  return 0;
}

// Whether the private key belongs to the certificate: the same modulus and public exponent.
bool KeyFits(const IPrivateKey& key, const ICertificate& certificate) {
  const auto* rsa = dynamic_cast<const IRSAPrivateCRTKey*>(&key);
  const auto* publicKey = dynamic_cast<const IRSAPublicKey*>(certificate.GetPublicKey());
  return rsa != nullptr && publicKey != nullptr && rsa->GetModulus() == publicKey->GetModulus() &&
         rsa->GetPublicExponent() == publicKey->GetPublicExponent();
}

int P12Make(const Parsed& parsed, const std::vector<std::string>& chainFiles) {
  ExpectOperands(parsed, 1, 1);
  const Certificate certificate = NewCertificate(ReadCertificate(parsed.Required("--cert")));
  const std::unique_ptr<IPrivateKey> key = ReadPrivateKey(parsed.Required("--key"));
  if (!KeyFits(*key, *certificate)) throw ToolError("the key is not the certificate's");
  std::vector<ByteArray> chain;
  for (const std::string& file : chainFiles)
    for (ByteArray& der : ReadCertificates(file)) chain.push_back(std::move(der));
  const std::string& out = parsed.Required("--out");
  const WString password = ReadPassword(parsed, true);
  // Written last added first: the certificate with its key first, then the chain as given.
  const std::unique_ptr<ICertP7bStore> store(ICertP7bStore::Create());
  for (auto der = chain.rbegin(); der != chain.rend(); ++der) AddContext(*store, NewCertificate(*der).get());
  AddContext(*store, certificate.get(), key.get());
  WriteOutput(out, ICertP12Store::save(store.get(), password));
  return 0;
}

int P7bCommand(const Args& args) {
  const Parsed parsed = Parse(args, {"--out"}, {});
  if (parsed.operands.empty()) throw UsageError("missing sub-command");
  if (parsed.operands[0] == "list") return P7bList(parsed);
  if (parsed.operands[0] == "make") return P7bMake(parsed);
  throw UsageError("unknown sub-command " + parsed.operands[0]);
}

int P12Command(const Args& args) {
  Args rest = args;
  const std::vector<std::string> chain = TakeRepeated(rest, "--chain");
  const Parsed parsed = Parse(rest, {"--out", "--cert", "--key", "--password-file"}, {});
  if (parsed.operands.empty()) throw UsageError("missing sub-command");
  if (parsed.operands[0] == "list") {
    if (!chain.empty()) throw UsageError("--chain is an option of make");
    return P12List(parsed);
  }
  if (parsed.operands[0] == "make") return P12Make(parsed, chain);
  throw UsageError("unknown sub-command " + parsed.operands[0]);
}

constexpr Command kCommands[] = {
    {"p7b", "list FILE | make --out FILE CERT...",
     "a PKCS #7 certificate bundle: its certificates (subject, issuer, serial, SHA-1), or a new one", P7bCommand},
    {"p12", "list FILE [--password-file FILE] | make --out FILE --cert FILE --key FILE [--chain FILE]... "
            "[--password-file FILE]",
     "a PKCS #12 file: its certificates and which has its key, or a new one", P12Command},
};

}  // namespace

std::span<const Command> StoreCommands() { return kCommands; }

}  // namespace ztcli
