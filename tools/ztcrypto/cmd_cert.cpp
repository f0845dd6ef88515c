// ztcrypto cert dump | policy | verify | trust: X.509 certificates (DER or PEM) and the
// smart-card policy answers.

#include <algorithm>
#include <cstdio>
#include <memory>
#include <sstream>

#include "cli.h"

namespace ztcli {

namespace {

using namespace ZT::Framework;

constexpr const wchar_t* kSmartCardLogonOID = L"1.3.6.1.4.1.311.20.2.2";

std::unique_ptr<IX509Certificate> LoadCertificate(const ByteArray& der) {
  return std::unique_ptr<IX509Certificate>(static_cast<IX509Certificate*>(ICertificate::Create(CERT_FORMAT_X509, der)));
}

std::string YesNo(bool answer) { return answer ? "yes" : "no"; }

std::string Hex32(std::uint32_t value) {
  char text[16];
  std::snprintf(text, sizeof text, "0x%08x", value);
  return text;
}

// The four policy answers, one a line.
void PrintPolicy(const ByteArray& der, bool ignoreEfs, const std::string& indent) {
  const auto size = static_cast<unsigned int>(der.size());
  bool smartCardLogon = false;
  const bool eku =
      ICertificateProperties::nqGetEKUFromCertificate(der.data(), size, kSmartCardLogonOID, &smartCardLogon);
  PrintLine(indent + "EKU: " + YesNo(eku) + " (smart-card logon: " + YesNo(smartCardLogon) + ")");
  PrintLine(indent + "PKI logon: " + YesNo(ICertificateProperties::nqIsCertOKForPKILogon(der.data(), size)));
  PrintLine(indent +
            "Set as default: " + YesNo(ICertificateProperties::nqIsCertOKForSetAsDefault(der.data(), size, ignoreEfs)));
  PrintLine(indent + "Priority: " +
            std::to_string(ICertificateProperties::nqGetCertPriorityForSetAsDefault(der.data(), size, ignoreEfs)));
}

// The library's rendering of a value, its CR LF lines indented.
void PrintRendered(const WString& text, const std::string& indent) {
  std::istringstream lines(Narrow(text));
  for (std::string line; std::getline(lines, line);) {
    if (!line.empty() && line.back() == '\r') line.pop_back();
    if (!line.empty()) PrintLine(indent + line);
  }
}

std::string NameText(IX500Name* name) { return name == nullptr ? "" : Narrow(name->GetName(0)); }

// "type (format): value", the value as the kind holds it; an other name as its type OID and the
// library's rendering of its value for that type.
std::string GeneralNameLine(const IGeneralName& name) {
  std::string value;
  const WString type = name.GetNameType();
  if (type == L"OtherName") {
    value = Narrow(name.GetOID()) + " " + Narrow(IOIDDecoder::DecodeOID(name.GetOID(), name.GetEncoded()));
  } else if (type == L"directoryName") {
    const std::unique_ptr<IX500Name> directory(IX500Name::Create(name.GetEncoded()));
    value = NameText(directory.get());
  } else {
    value = Narrow(name.GetString());
  }
  return Narrow(type) + " (" + Narrow(name.GetFormat()) + "): " + value;
}

void PrintAlternativeNames(const IX509Certificate& certificate) {
  GeneralNameList names;
  try {
    names = certificate.GetSubjectAlternativeNames();
  } catch (IException* e) {
    const std::unique_ptr<IException> owned(e);
    PrintLine("Subject alternative names: unreadable (" + Narrow(e->getMessage()) + ")");
    return;
  }
  PrintLine("Subject alternative names:" + std::string(names.empty() ? " none" : ""));
  for (IGeneralName* name : names) {
    const std::unique_ptr<IGeneralName> owned(name);
    PrintLine("  " + GeneralNameLine(*name));
  }
}

void PrintExtensions(const IX509Certificate& certificate) {
  StringList all, critical;
  certificate.ListExtensions(nullptr, all);
  const std::unique_ptr<ICryptoParserFilter> filter(ICryptoParserFilter::Create());
  filter->SetCritical(1);
  certificate.ListExtensions(filter.get(), critical);
  PrintLine("Extensions:" + std::string(all.empty() ? " none" : ""));
  for (const WString& oid : all) {
    const bool isCritical = std::find(critical.begin(), critical.end(), oid) != critical.end();
    PrintLine("  " + Narrow(oid) + " critical: " + YesNo(isCritical));
    try {
      PrintRendered(IOIDDecoder::DecodeOID(oid, certificate.GetExtensionValue(oid)), "    ");
    } catch (IException* e) {
      const std::unique_ptr<IException> owned(e);
      PrintLine("    (not rendered: " + Narrow(e->getMessage()) + ")");
    }
  }
}

int Dump(const Parsed& parsed) {
  ExpectOperands(parsed, 2, 2);
  const ByteArray der = ReadCertificate(parsed.operands[1]);
  const auto certificate = LoadCertificate(der);
  const WString signatureOID = certificate->GetSignature()->GetAlgorithm()->GetOID();
  PrintLine("Version: " + std::to_string(certificate->GetVersion() + 1) + " (field " +
            std::to_string(certificate->GetVersion()) + ")");
  PrintLine("Serial number: " + Hex(certificate->GetSerialNumber()));
  PrintLine("Issuer: " + NameText(certificate->GetIssuerDN()));
  PrintLine("Subject: " + NameText(certificate->GetSubjectDN()));
  PrintLine("Not before: " + Narrow(certificate->GetNotBefore()));
  PrintLine("Not after: " + Narrow(certificate->GetNotAfter()));
  PrintLine("Signature algorithm: " + Narrow(IOIDDecoder::OIDToString(signatureOID)) + " (" + Narrow(signatureOID) +
            ")");
  PrintLine("SHA-1 thumbprint: " + Hex(certificate->GetHash()));
  PrintExtensions(*certificate);
  PrintAlternativeNames(*certificate);
  PrintLine("Policy:");
  PrintPolicy(der, false, "  ");
  return 0;
}

int Policy(const Parsed& parsed) {
  ExpectOperands(parsed, 2, 2);
  PrintPolicy(ReadCertificate(parsed.operands[1]), parsed.Has("--ignore-efs"), "");
  return 0;
}

int Verify(const Parsed& parsed) {
  ExpectOperands(parsed, 2, 2);
  const auto certificate = LoadCertificate(ReadCertificate(parsed.operands[1]));
  const auto issuer = LoadCertificate(ReadCertificate(parsed.Required("--issuer")));
  const bool valid = certificate->VerifySignature(issuer->GetPublicKey());
  PrintLine(valid ? "valid" : "invalid");
  return valid ? 0 : 1;
}

// The platform's published names of the trust-status error bits.
struct TrustBit {
  std::uint32_t bit;
  const char* name;
};
constexpr TrustBit kTrustBits[] = {
    {0x00000001, "CERT_TRUST_IS_NOT_TIME_VALID"},
    {0x00000002, "CERT_TRUST_IS_NOT_TIME_NESTED"},
    {0x00000004, "CERT_TRUST_IS_REVOKED"},
    {0x00000008, "CERT_TRUST_IS_NOT_SIGNATURE_VALID"},
    {0x00000010, "CERT_TRUST_IS_NOT_VALID_FOR_USAGE"},
    {0x00000020, "CERT_TRUST_IS_UNTRUSTED_ROOT"},
    {0x00000040, "CERT_TRUST_REVOCATION_STATUS_UNKNOWN"},
    {0x00000080, "CERT_TRUST_IS_CYCLIC"},
    {0x00000100, "CERT_TRUST_INVALID_EXTENSION"},
    {0x00000200, "CERT_TRUST_INVALID_POLICY_CONSTRAINTS"},
    {0x00000400, "CERT_TRUST_INVALID_BASIC_CONSTRAINTS"},
    {0x00000800, "CERT_TRUST_INVALID_NAME_CONSTRAINTS"},
    {0x00001000, "CERT_TRUST_HAS_NOT_SUPPORTED_NAME_CONSTRAINT"},
    {0x00002000, "CERT_TRUST_HAS_NOT_DEFINED_NAME_CONSTRAINT"},
    {0x00004000, "CERT_TRUST_HAS_NOT_PERMITTED_NAME_CONSTRAINT"},
    {0x00008000, "CERT_TRUST_HAS_EXCLUDED_NAME_CONSTRAINT"},
    {0x00010000, "CERT_TRUST_IS_PARTIAL_CHAIN"},
    {0x00020000, "CERT_TRUST_CTL_IS_NOT_TIME_VALID"},
    {0x00040000, "CERT_TRUST_CTL_IS_NOT_SIGNATURE_VALID"},
    {0x00080000, "CERT_TRUST_CTL_IS_NOT_VALID_FOR_USAGE"},
    {0x00100000, "CERT_TRUST_HAS_WEAK_SIGNATURE"},
    {0x01000000, "CERT_TRUST_IS_OFFLINE_REVOCATION"},
    {0x02000000, "CERT_TRUST_NO_ISSUANCE_CHAIN_POLICY"},
    {0x04000000, "CERT_TRUST_IS_EXPLICIT_DISTRUST"},
    {0x08000000, "CERT_TRUST_HAS_NOT_SUPPORTED_CRITICAL_EXT"},
};

int Trust(const Parsed& parsed) {
  ExpectOperands(parsed, 2, 2);
  const auto certificate = LoadCertificate(ReadCertificate(parsed.operands[1]));
  const std::unique_ptr<ICryptoParserParameterMap> map(ICryptoParserParameterMap::Create());
  if (const std::string* timeout = parsed.Option("--timeout")) map->SetTimeout(ParseCount(*timeout, "--timeout"));
  const std::uint32_t status = certificate->VerifyTrust(map.get());
  PrintLine("Trust status: " + Hex32(status));
  for (const TrustBit& bit : kTrustBits)
    if (status & bit.bit) PrintLine("  " + std::string(bit.name));
  return status == 0 ? 0 : 1;
}

int CertCommand(const Args& args) {
  const Parsed parsed = Parse(args, {"--issuer", "--timeout"}, {"--ignore-efs"});
  if (parsed.operands.empty()) throw UsageError("missing sub-command");
  const std::string& sub = parsed.operands[0];
  if (sub == "dump") return Dump(parsed);
  if (sub == "policy") return Policy(parsed);
  if (sub == "verify") return Verify(parsed);
  if (sub == "trust") return Trust(parsed);
  throw UsageError("unknown sub-command " + sub);
}

constexpr Command kCommands[] = {
    {"cert", "dump FILE | policy [--ignore-efs] FILE | verify --issuer FILE FILE | trust [--timeout MS] FILE",
     "an X.509 certificate (DER or PEM): its content, policy answers, signature or trust", CertCommand},
};

}  // namespace

std::span<const Command> CertificateCommands() { return kCommands; }

}  // namespace ztcli
