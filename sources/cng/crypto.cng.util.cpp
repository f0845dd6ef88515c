// CryptoUtil: coding failures, string conversions, the renderings of attribute values, key usages
// and general names that the OID decoder builds on, and the data-length checks of the RSA
// paddings. Dates are in crypto.cng.util.time.cpp.
#include "cng/crypto.cng.util.h"

#include <cstring>
#include <cwchar>
#include <memory>

#include "common/crypto.x500text.h"

namespace ZT::Framework {
namespace {

constexpr const char* kUserNoticeOID = "1.3.6.1.5.5.7.2.2";
constexpr const char* kDateOfBirthOID = "1.3.6.1.5.5.7.9.1";
constexpr const wchar_t* kDateOfBirthFormat = L"%A, %B %d, %Y";

// One named bit of a usage byte string: the byte it is in, its mask, its name.
struct NamedBit {
  std::size_t byte;
  unsigned char mask;
  const wchar_t* name;
};

// Both CRL names are selected by the same bit on purpose: that bit writes both.
constexpr NamedBit kKeyUsageBits[] = {
    {0, 0x80, L"Digital Signature"},    {0, 0x40, L"Non-Repudiation"}, {0, 0x20, L"Key Encipherment"},
    {0, 0x10, L"Data Encipherment"},    {0, 0x08, L"Key Agreement"},   {0, 0x04, L"Certificate Signing"},
    {0, 0x02, L"Off-line CRL Signing"}, {0, 0x02, L"CRL Signing"},     {0, 0x01, L"Encipher Only"},
    {1, 0x80, L"Decipher Only"},
};

// Bit 0x08 has no name.
constexpr NamedBit kNetscapeCertTypeBits[] = {
    {0, 0x80, L"SSL Client Authentication"},
    {0, 0x40, L"SSL Server Authentication"},
    {0, 0x20, L"SMIME"},
    {0, 0x10, L"Signature"},
    {0, 0x04, L"SSL CA"},
    {0, 0x02, L"SMIME CA"},
    {0, 0x01, L"Signature CA"},
};

// The names of the bits set in `bytes`, joined by ", ".
template <std::size_t N>
WString NamesOfBits(const NamedBit (&table)[N], const ByteArray& bytes) {
  WString names;
  bool first = true;
  for (const NamedBit& bit : table) {
    if (bit.byte >= bytes.size() || (bytes[bit.byte] & bit.mask) == 0) continue;
    if (!first) names += L", ";
    names += bit.name;
    first = false;
  }
  return names;
}

// A byte in lower-case hex: as few digits as it needs, or always two.
WString ByteHex(unsigned char b, bool twoDigits) {
  wchar_t text[4];
  std::swprintf(text, 4, twoDigits ? L"%02x" : L"%x", static_cast<unsigned>(b));
  return text;
}

// Each byte as two lower-case hex digits and a blank: "0a 1b ff ".
WString HexPairs(const ByteArray& bytes) {
  WString text;
  for (unsigned char b : bytes) text += ByteHex(b, true) + L" ";
  return text;
}

// A user notice's text: "Notice Text=" and its display text, when it has one.
WString UserNoticeText(const FunctionTrace& fn, const ByteArray& baNotice) {
  const Asn1::UserNotice notice = fn.Wrap(L"DecodeObject() failed", [&] {
    return CryptoUtil::DecodeObject<Structure::PolicyQualifierUserNotice>(baNotice);
  });
  return notice.pszDisplayText ? L"Notice Text=" + *notice.pszDisplayText : WString();
}

// Whether `bytes` are one UTCTime or GeneralizedTime, whatever date it holds.
bool IsTime(const ByteArray& bytes) {
  Der::Reader in{Der::Bytes(bytes)};
  Der::CalendarTime time;
  return in.ReadTime(&time) && in.Empty();
}

// A date of birth as "Weekday, Month dd, yyyy". A value that is no time fails as the decoder
// fails; a time that a FILETIME cannot hold (before 1601) or that cannot be rendered reads
// "Invalid Date".
WString DateOfBirthText(const FunctionTrace& fn, const ByteArray& baTime) {
  if (!IsTime(baTime))
    fn.Wrap(L"DecodeObject() failed", [&] { CryptoUtil::DecodeObject<Structure::ChoiceOfTime>(baTime); });
  return fn.Recover(
      [&] {
        return CryptoUtil::FileTimeToString(CryptoUtil::DecodeObject<Structure::ChoiceOfTime>(baTime),
                                            kDateOfBirthFormat);
      },
      [](const IException&) { return WString(L"Invalid Date"); });
}

WString EncodedBlobText(const FunctionTrace& fn, const WString& sOID, const Asn1::AttributeValue& value) {
  if (sOID == CryptoUtil::CharStringToString(kUserNoticeOID)) return UserNoticeText(fn, value.Value);
  if (sOID == CryptoUtil::CharStringToString(kDateOfBirthOID)) return DateOfBirthText(fn, value.Value);
  return X500Text::RDNValueToString(Asn1::kEncodedValue, value.Value);
}

// A new general name for `entry`, whose choice is one of the implemented kinds.
IGeneralName* CreateGeneralName(const Asn1::GeneralName& entry) {
  switch (entry.dwAltNameChoice) {
    case Asn1::kOtherNameChoice: {
      const Asn1::OtherName other = entry.pOtherName.value_or(Asn1::OtherName{});
      return IGeneralName::Create(other.Value, L"OtherName", CryptoUtil::CharStringToString(other.pszObjId));
    }
    case Asn1::kRfc822NameChoice: return IGeneralName::Create(entry.pwszRfc822Name, L"rfc822Name");
    case Asn1::kDnsNameChoice: return IGeneralName::Create(entry.pwszDNSName, L"dNSName");
    case Asn1::kDirectoryNameChoice: return IGeneralName::Create(entry.DirectoryName, L"directoryName", WString());
    case Asn1::kUriChoice: return IGeneralName::Create(entry.pwszURL, L"uniformResourceIdentifier");
    case Asn1::kIpAddressChoice: return IGeneralName::Create(entry.IPAddress, L"IpAddress", WString());
    default:  // Asn1::kRegisteredIdChoice
      return IGeneralName::Create(CryptoUtil::CharStringToString(entry.pszRegisteredID), L"registeredID");
  }
}

}  // namespace

void CryptoUtil::RaiseCodingFailure(const FunctionTrace& fn, const wchar_t* what, RaiseAt at) {
  fn.Raise(at, WithCode(L"Error " + WString(what) + L" the blob", static_cast<std::uint32_t>(CRYPT_E_ASN1_CORRUPT)));
}

WString CryptoUtil::WcharStringToString(const wchar_t* pwsz, std::size_t cch) {
  if (pwsz == nullptr) return WString();
  if (cch == std::wstring_view::npos) cch = std::wcslen(pwsz);
  return WString(pwsz, cch);
}

// Each octet one character: OIDs and the platform's other narrow strings are ASCII.
WString CryptoUtil::CharStringToString(const char* psz) {
  if (psz == nullptr) return WString();
  return CharStringToString(std::string(psz));
}

WString CryptoUtil::CharStringToString(const std::string& s) {
  WString text;
  text.reserve(s.size());
  for (char c : s) text.push_back(static_cast<wchar_t>(static_cast<unsigned char>(c)));
  return text;
}

WString CryptoUtil::DecodeX509String(const WString& sOID, const ByteArray& baEncodedX509String) {
  const FunctionTrace fn(L"CryptoUtil::DecodeX509String");
  return fn.Run([&] {
    if (sOID.empty())
      fn.Warning(L"sOID=empty!");
    else
      fn.Data(L"sOID=%s", sOID);
    if (baEncodedX509String.empty())
      fn.Warning(L"baEncodedX509String=empty!");
    else
      fn.Bytes(L"baEncodedX509String", baEncodedX509String);

    const Asn1::AttributeValue value =
        fn.Wrap(L"DecodeObject() failed", [&] { return DecodeObject<Structure::AnyString>(baEncodedX509String); });
    WString sString;
    if (value.dwValueType == Asn1::kEncodedValue) {
      sString = EncodedBlobText(fn, sOID, value);
    } else if (value.dwValueType == Asn1::kOctetStringValue) {
      sString = HexPairs(value.Value);
    } else {
      // Every string type is read as names read it, by the codec's one reading of that type.
      sString = Asn1::StringValueText(value.dwValueType, value.Value);
    }
    fn.Result(L"sString=(%s)", sString);
    return sString;
  });
}

WString CryptoUtil::GetKeyUsage(const ByteArray& baKeyUsage) {
  const FunctionTrace fn(L"CryptoUtil::GetKeyUsage");
  return fn.Run([&] {
    if (baKeyUsage.empty()) {
      fn.Warning(L"baKeyUsage=empty!");
      return WString();
    }
    fn.Bytes(L"baKeyUsage", baKeyUsage);
    WString ret = NamesOfBits(kKeyUsageBits, baKeyUsage) + L"(" + ByteHex(baKeyUsage[0], false);
    if (baKeyUsage.size() >= 2) ret += L" " + ByteHex(baKeyUsage[1], false);
    ret += L")";
    fn.Result(L"ret=(%s)", ret);
    return ret;
  });
}

WString CryptoUtil::GetNetscapeCertType(const ByteArray& baData) {
  const FunctionTrace fn(L"CryptoUtil::GetNetscapeCertType");
  return fn.Run([&] {
    if (baData.empty()) {
      fn.Warning(L"baData=empty!");
      return WString();
    }
    fn.Bytes(L"baData", baData);
    const WString ret = NamesOfBits(kNetscapeCertTypeBits, baData) + L"(" + ByteHex(baData[0], true) + L")";
    fn.Result(L"ret=(%s)", ret);
    return ret;
  });
}

IGeneralName* CryptoUtil::GeneralNameFromAltNameEntry(const Asn1::GeneralName* pAltNameEntry) {
  const FunctionTrace fn(L"CryptoUtil::GeneralNameFromAltNameEntry");
  return fn.Run([&] {
    if (pAltNameEntry == nullptr) fn.Raise(CRYPTO_BAD_PARAM, L"pAltNameEntry=empty!", L"pAltNameEntry=NULL!");
    const std::uint32_t choice = pAltNameEntry->dwAltNameChoice;
    if (choice == Asn1::kX400AddressChoice)
      fn.Raise(CRYPTO_NOT_IMPLEMENTED, L"Type not implemented: CERT_ALT_NAME_X400_ADDRESS");
    if (choice == Asn1::kEdiPartyNameChoice)
      fn.Raise(CRYPTO_NOT_IMPLEMENTED, L"Type not implemented: CERT_ALT_NAME_EDI_PARTY_NAME");
    if (choice < Asn1::kOtherNameChoice || choice > Asn1::kRegisteredIdChoice)
      fn.Raise(CRYPTO_BAD_PARAM, L"Unknown type: " + WString(std::to_wstring(choice).c_str()));
    IGeneralName* pGeneralName =
        fn.Wrap(L"IGeneralName::Create() failed", [&] { return CreateGeneralName(*pAltNameEntry); });
    fn.Data(L"pGeneralName=%#x", static_cast<const void*>(pGeneralName));
    return pGeneralName;
  });
}

bool CryptoUtil::IsOriginalDataLengthValid(const WString& sPadding, std::uint32_t nInputLength,
                                           std::uint32_t nKeyLength) {
  const FunctionTrace fn(L"CryptoUtil::IsOriginalDataLengthValid");
  return fn.Run([&] {
    if (sPadding == L"None") {
      if (nInputLength == nKeyLength) return true;
      fn.Error(L"Data Length is invalid (%u != %u)", nInputLength, nKeyLength);
      return false;
    }
    // The bytes each padding adds to the message at the least.
    struct Overhead {
      const wchar_t* padding;
      std::uint32_t bytes;
    };
    constexpr Overhead kOverheads[] = {{L"PKCS1", 11}, {L"X_931", 12}, {L"OAEP", 41}};
    for (const Overhead& overhead : kOverheads) {
      if (sPadding != overhead.padding) continue;
      const std::uint32_t limit = nKeyLength - overhead.bytes;
      if (nInputLength <= limit) return true;
      fn.Error(L"Data Length is invalid (%u > %u)", nInputLength, limit);
      return false;
    }
    fn.Raise(CRYPTO_BAD_PARAM, L"Unknown padding type");
  });
}

void CryptoUtil::freeHandles(LPVOID pView, HANDLE hMapping, HANDLE hFile) {
  const FunctionTrace fn(L"CryptoUtil::freeHandles");
  fn.Run([&] {
    if (pView != nullptr) UnmapViewOfFile(pView);
    if (hMapping != nullptr) CloseHandle(hMapping);
    if (hFile != nullptr && hFile != INVALID_HANDLE_VALUE) CloseHandle(hFile);
  });
}

}  // namespace ZT::Framework
