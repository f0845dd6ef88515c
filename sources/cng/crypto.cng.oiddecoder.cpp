// IOIDDecoder: OIDs to friendly names and back through one fixed table, and the rendering of an
// OID's value.
#include "cng/crypto.cng.oiddecoder.h"

#include <string_view>

#include "cng/crypto.cng.util.h"
#include "zt/oiddecoder.h"

namespace ZT::Framework {
namespace {

struct OIDName {
  const wchar_t* oid;
  const wchar_t* name;
};

// Both directions walk this table in order and stop at the first exact match.
constexpr OIDName kOIDNames[] = {
    {L"1.3.6.1.4.1.311.20.2.3", L"Principal Name"},
    {L"1.3.6.1.5.5.7.2.2", L"User Notice"},
    {L"1.3.6.1.5.5.7.3.1", L"Server Authentication"},
    {L"1.3.6.1.5.5.7.3.2", L"Client Authentication"},
    {L"1.3.6.1.5.5.7.3.3", L"Code Signing"},
    {L"1.3.6.1.5.5.7.3.4", L"Secure Email"},
    {L"1.3.6.1.5.5.7.3.5", L"IPSEC End System"},
    {L"1.3.6.1.5.5.7.3.6", L"IPSEC Tunnel"},
    {L"1.3.6.1.5.5.7.3.7", L"IPSEC User"},
    {L"1.3.6.1.5.5.7.3.8", L"Time Stamping"},
    {L"1.3.6.1.5.5.8.2.2", L"IPSEC IKE Intermediate"},
    {L"1.3.6.1.4.1.311.10.3.1", L"CTL Usage Signing"},
    {L"1.3.6.1.4.1.311.10.3.2", L"Timestamp Signing"},
    {L"1.3.6.1.4.1.311.10.3.3", L"Microsoft Server Gated Crypto"},
    {L"2.16.840.1.113730.4.1", L"Netscape Server Gated Crypto"},
    {L"1.3.6.1.4.1.311.10.3.4", L"Encrypting File System"},
    {L"1.3.6.1.4.1.311.10.3.4.1", L"File Recovery"},
    {L"1.3.6.1.4.1.311.10.3.5", L"WHQL Crypto"},
    {L"1.3.6.1.4.1.311.10.3.6", L"NT5 Crypto"},
    {L"1.3.6.1.4.1.311.10.3.7", L"OEM WHQL Crypto"},
    {L"1.3.6.1.4.1.311.10.3.8", L"Embedded NT Crypto"},
    {L"1.3.6.1.4.1.311.10.3.9", L"Root List Signer"},
    {L"1.3.6.1.4.1.311.10.3.10", L"Qualified Subordination"},
    {L"1.3.6.1.4.1.311.10.3.11", L"Key Recovery"},
    {L"1.3.6.1.4.1.311.10.3.12", L"Document Signing"},
    {L"1.3.6.1.4.1.311.10.3.13", L"Lifetime Signing"},
    {L"1.3.6.1.4.1.311.10.3.14", L"Mobile Device Software"},
    {L"1.3.6.1.4.1.311.10.5.1", L"DRM"},
    {L"1.3.6.1.4.1.311.10.5.2", L"DRM Individualization"},
    {L"1.3.6.1.4.1.311.10.6.1", L"Licenses"},
    {L"1.3.6.1.4.1.311.10.6.2", L"License Server"},
    {L"1.3.6.1.4.1.311.20.2.2", L"Smart Card Logon"},
    {L"1.3.6.1.4.1.311.20.2.1", L"Certificate Request Agent"},
    {L"1.3.6.1.5.5.7.2.1", L"CPS"},
    {L"1.3.6.1.5.5.7.48.1", L"On-line Certificate Status Protocol"},
    {L"1.3.6.1.5.5.7.48.2", L"Certification Authority Issuer"},
    {L"2.16.840.1.101.3.6.6", L"FASC-N"},
    {L"2.5.29.37.0", L"Any Extended Key Usage"},
    {L"2.16.840.1.101.3.6.7", L"ID PIV Content Signing"},
    {L"2.16.840.1.101.3.6.8", L"ID PIV Card Authentication"},
    {L"1.2.840.113549.1.1.1", L"RSA"},
    {L"1.2.840.113549.1.1.2", L"md2RSA"},
    {L"1.2.840.113549.1.1.3", L"md4RSA"},
    {L"1.2.840.113549.1.1.4", L"md5RSA"},
    {L"1.2.840.113549.1.1.5", L"sha1RSA"},
    {L"1.2.840.113549.1.1.11", L"sha256RSA"},
    {L"1.2.840.113549.1.1.12", L"sha384RSA"},
    {L"1.2.840.113549.1.1.13", L"sha512RSA"},
    {L"1.3.6.1.5.5.7.9.1", L"Date of Birth"},
    {L"1.3.6.1.5.5.7.9.2", L"Place of Birth"},
    {L"1.3.6.1.5.5.7.9.3", L"Gender"},
    {L"1.3.6.1.5.5.7.9.4", L"Country of Citizenship"},
    {L"1.3.6.1.5.5.7.9.5", L"Country of Residence"},
};

// The row whose `from` column equals `text` exactly, or null.
const OIDName* FindRow(const WString& text, const wchar_t* OIDName::*from) {
  for (const OIDName& row : kOIDNames)
    if (text == row.*from) return &row;
  return nullptr;
}

}  // namespace

IOIDDecoder::IOIDDecoder() = default;
IOIDDecoder::~IOIDDecoder() = default;

WString IOIDDecoder::OIDToString(const WString& sOID) {
  const FunctionTrace fn(L"IOIDDecoder::OIDToString");
  return fn.Run([&] {
    if (sOID.empty()) {
      fn.Warning(L"sOID=empty!");
      return WString();
    }
    fn.Data(L"sOID=%s", sOID);
    const OIDName* row = FindRow(sOID, &OIDName::oid);
    if (row == nullptr) fn.Outcome(L"OID not found: %s", sOID);
    const WString ret = row ? WString(row->name) : sOID;
    fn.Result(L"ret=(%s)", ret);
    return ret;
  });
}

WString IOIDDecoder::StringToOID(const WString& sString) {
  const FunctionTrace fn(L"IOIDDecoder::StringToOID");
  return fn.Run([&] {
    if (sString.empty()) {
      fn.Warning(L"sString=empty!");
      return WString();
    }
    fn.Data(L"sString=%s", sString);
    const OIDName* row = FindRow(sString, &OIDName::name);
    if (row == nullptr) fn.Outcome(L"String not found: %s", sString);
    const WString ret = row ? WString(row->oid) : sString;
    fn.Result(L"ret=(%s)", ret);
    return ret;
  });
}

WString IOIDDecoder::DecodeOID(const WString& sOID, const ByteArray& baEncodedData) {
  const FunctionTrace fn(L"IOIDDecoder::DecodeOID");
  return fn.Run([&] {
    if (sOID.empty())
      fn.Warning(L"sOID=empty!");
    else
      fn.Data(L"sOID=%s", sOID);
    fn.Bytes(L"baEncodedData", baEncodedData);
    if (baEncodedData.empty()) {
      fn.Warning(L"baEncodedData=empty!");
      return WString();
    }
    const WString sDecoded = OIDRendering::IsDirectoryAttribute(sOID)
                                 ? CryptoUtil::DecodeX509String(sOID, baEncodedData)
                                 : OIDRendering::RenderExtension(fn, sOID, baEncodedData) + L"\r\n\r\n";
    fn.Result(L"sDecoded=%s", sDecoded);
    return sDecoded;
  });
}

namespace OIDRendering {

WString HexAndTextDump(const ByteArray& bytes) {
  static constexpr wchar_t kDigits[] = L"0123456789abcdef";
  constexpr std::size_t kPerLine = 8;
  // Printable as the C locale's isprint says, whatever the process locale.
  const auto characters = [&](std::size_t from, std::size_t count) {
    WString text;
    for (std::size_t i = from; i < from + count; ++i)
      text.push_back(bytes[i] >= 0x20 && bytes[i] < 0x7F ? static_cast<wchar_t>(bytes[i]) : L'.');
    return text;
  };
  WString dump;
  for (std::size_t k = 0; k < bytes.size(); ++k) {
    if (k != 0 && k % kPerLine == 0) dump += L"  " + characters(k - kPerLine, kPerLine) + L"\r\n";
    dump += {kDigits[bytes[k] >> 4], kDigits[bytes[k] & 0xF], L' '};
  }
  if (const std::size_t rest = bytes.size() % kPerLine) {
    for (std::size_t i = rest; i < kPerLine; ++i) dump += L"   ";
    dump += L"  " + characters(bytes.size() - rest, rest);
  }
  return dump;
}

}  // namespace OIDRendering
}  // namespace ZT::Framework
