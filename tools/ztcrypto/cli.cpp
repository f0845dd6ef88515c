#include "cli.h"

#include <cctype>
#include <cerrno>
#include <cstdio>
#include <fstream>
#include <iostream>
#include <iterator>

namespace ztcli {

const std::string* Parsed::Option(const std::string& name) const {
  const auto it = options.find(name);
  return it == options.end() ? nullptr : &it->second;
}

const std::string& Parsed::Required(const std::string& name) const {
  if (const std::string* value = Option(name)) return *value;
  throw UsageError("missing " + name);
}

Parsed Parse(const Args& args, const std::set<std::string>& valued, const std::set<std::string>& flags) {
  Parsed parsed;
  for (std::size_t i = 0; i < args.size(); ++i) {
    const std::string& arg = args[i];
    if (arg.size() < 3 || arg.compare(0, 2, "--") != 0) {
      parsed.operands.push_back(arg);
      continue;
    }
    const std::size_t eq = arg.find('=');
    const std::string name = arg.substr(0, eq);
    if (flags.count(name) && eq == std::string::npos) {
      parsed.flags.insert(name);
    } else if (valued.count(name)) {
      if (eq != std::string::npos) parsed.options[name] = arg.substr(eq + 1);
      else if (i + 1 < args.size()) parsed.options[name] = args[++i];
      else throw UsageError(name + " needs a value");
    } else {
      throw UsageError("unknown option " + arg);
    }
  }
  return parsed;
}

void ExpectOperands(const Parsed& parsed, std::size_t min, std::size_t max) {
  if (parsed.operands.size() < min) throw UsageError("missing argument");
  if (parsed.operands.size() > max) throw UsageError("too many arguments");
}

std::string Narrow(const WString& text) {
  std::string out;
  for (wchar_t wc : text) {
    unsigned long cp = static_cast<unsigned long>(wc);
    if (cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF)) cp = 0xFFFD;
    if (cp < 0x80) {
      out += static_cast<char>(cp);
    } else if (cp < 0x800) {
      out += static_cast<char>(0xC0 | (cp >> 6));
      out += static_cast<char>(0x80 | (cp & 0x3F));
    } else if (cp < 0x10000) {
      out += static_cast<char>(0xE0 | (cp >> 12));
      out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
      out += static_cast<char>(0x80 | (cp & 0x3F));
    } else {
      out += static_cast<char>(0xF0 | (cp >> 18));
      out += static_cast<char>(0x80 | ((cp >> 12) & 0x3F));
      out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
      out += static_cast<char>(0x80 | (cp & 0x3F));
    }
  }
  return out;
}

WString Widen(const std::string& text) {
  const ByteArray bytes(text.begin(), text.end());
  try {
    return ZT::Framework::CConverter::MBCSByteArrayToString(bytes);
  } catch (ZT::Framework::IException* e) {
    delete e;
    throw UsageError("argument is not valid UTF-8 text");
  }
}

std::string Hex(const ByteArray& bytes) {
  static constexpr char kHex[] = "0123456789abcdef";
  std::string out;
  out.reserve(2 * bytes.size());
  for (unsigned char b : bytes) {
    out += kHex[b >> 4];
    out += kHex[b & 0xF];
  }
  return out;
}

ByteArray FromHex(const std::string& hex, const char* what) {
  auto digit = [&](char c) -> unsigned {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    throw UsageError(std::string(what) + " is not hexadecimal");
  };
  if (hex.size() % 2 != 0) throw UsageError(std::string(what) + " has an odd number of hex digits");
  ByteArray bytes;
  bytes.reserve(hex.size() / 2);
  for (std::size_t i = 0; i < hex.size(); i += 2)
    bytes.push_back(static_cast<unsigned char>(digit(hex[i]) << 4 | digit(hex[i + 1])));
  return bytes;
}

std::uint64_t ParseCount(const std::string& text, const char* what) {
  if (text.empty() || text.size() > 19 || text.find_first_not_of("0123456789") != std::string::npos)
    throw UsageError(std::string(what) + " must be a decimal number");
  return std::stoull(text);
}

ByteArray ReadInput(const std::string& path) {
  if (path == "-") {
    std::cin >> std::noskipws;
    return ByteArray(std::istreambuf_iterator<char>(std::cin), std::istreambuf_iterator<char>());
  }
  std::ifstream in(path, std::ios::binary);
  if (!in) throw ToolError("cannot read " + path);
  return ByteArray(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

ByteArray InputOperand(const Parsed& parsed) { return ReadInput(parsed.operands.empty() ? "-" : parsed.operands[0]); }

void WriteOutput(const Parsed& parsed, const ByteArray& bytes) {
  const auto* data = reinterpret_cast<const char*>(bytes.data());
  const auto size = static_cast<std::streamsize>(bytes.size());
  if (const std::string* path = parsed.Option("--out")) {
    std::ofstream out(*path, std::ios::binary | std::ios::trunc);
    if (!out.write(data, size) || !out.flush()) throw ToolError("cannot write " + *path);
    return;
  }
  std::cout.write(data, size);
}

bool FromPem(const ByteArray& text, const std::string& label, ByteArray* der) {
  const std::string content(text.begin(), text.end());
  const std::string begin = "-----BEGIN " + label + "-----", end = "-----END " + label + "-----";
  const std::size_t start = content.find(begin);
  const std::size_t stop = start == std::string::npos ? start : content.find(end, start);
  if (stop == std::string::npos) return false;
  // Base64 (RFC 4648) of the lines between the markers; line breaks and blanks are skipped.
  static const std::string kAlphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  der->clear();
  std::uint32_t bits = 0;
  int count = 0;
  bool padded = false;
  for (std::size_t i = start + begin.size(); i < stop; ++i) {
    const char c = content[i];
    if (std::isspace(static_cast<unsigned char>(c))) continue;
    if (c == '=') {
      padded = true;
      continue;
    }
    const std::size_t value = kAlphabet.find(c);
    if (value == std::string::npos || padded) throw ToolError(label + ": bad base64");
    bits = bits << 6 | static_cast<std::uint32_t>(value);
    if ((count += 6) >= 8) {
      count -= 8;
      der->push_back(static_cast<unsigned char>(bits >> count));
    }
  }
  return true;
}

ByteArray ReadCertificate(const std::string& path) {
  const ByteArray content = ReadInput(path);
  ByteArray der;
  return FromPem(content, "CERTIFICATE", &der) ? der : content;
}

void PrintLine(const std::string& line) { std::cout << line << '\n'; }

}  // namespace ztcli
