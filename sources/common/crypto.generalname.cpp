#include "common/crypto.generalname.h"

#include <string_view>

#include "framework/crypto.trace.h"
#include "nq/nqcext.h"

namespace ZT::Framework {
namespace {

// How a kind of general name holds its value.
enum class Holds { Bytes, Text, Nothing };

struct NameKind {
  const wchar_t* type;
  const wchar_t* format;
  Holds holds;
};

// The whole vocabulary of type words. The format words are the library's own and stay as they
// are, "String" and "IPadress" included: callers compare against them.
constexpr NameKind kKinds[] = {
    {L"OtherName", L"OtherName", Holds::Bytes},
    {L"rfc822Name", L"String", Holds::Text},
    {L"dNSName", L"IA5String", Holds::Text},
    {L"directoryName", L"X500Name", Holds::Bytes},
    {L"uniformResourceIdentifier", L"IA5String", Holds::Text},
    {L"IpAddress", L"IPadress", Holds::Bytes},
    {L"registeredID", L"ObjectIdentifier", Holds::Text},
    {L"x400Address", L"", Holds::Nothing},
    {L"ediPartyName", L"", Holds::Nothing},
};

const NameKind* FindKind(const WString& sNameType) {
  for (const NameKind& kind : kKinds)
    if (sNameType == kind.type) return &kind;
  return nullptr;
}

// The kind of `sNameType`, which must hold its value as `wanted`; raises as a constructor does
// for a kind that is not implemented, held the other way, or unknown.
const NameKind& RequireKind(const FunctionTrace& fn, const WString& sNameType, Holds wanted) {
  const NameKind* kind = FindKind(sNameType);
  if (kind == nullptr)
    fn.Raise(CRYPTO_INTERNAL_ERROR, L"Unknown General Name Type", L"Unknown General Name Type: %s", sNameType);
  if (kind->holds == Holds::Nothing)
    fn.Raise(CRYPTO_NOT_IMPLEMENTED, std::wstring_view(kind->type) == L"x400Address"
                                         ? L"Type not implemented: CERT_ALT_NAME_X400_ADDRESS"
                                         : L"Type not implemented: CERT_ALT_NAME_EDI_PARTY_NAME");
  if (kind->holds != wanted)
    fn.Raise(CRYPTO_BAD_PARAM, wanted == Holds::Bytes ? L"ByteArray parameter passed instead of String"
                                                      : L"String parameter passed instead of ByteArray");
  return *kind;
}

WString AddressText(const FunctionTrace& fn, const ByteArray& address) {
  return fn.Translate(CRYPTO_INTERNAL_ERROR, L"CConverter::ByteArrayToString() failed",
                      [&] { return CConverter::ByteArrayToString(address); });
}

}  // namespace

IGeneralName::~IGeneralName() = default;

CGeneralName::CGeneralName(const ByteArray& baEncodedName, const WString& sNameType, const WString& sOID) {
  const FunctionTrace fn(L"CGeneralName::CGeneralName", this);
  fn.Run([&] {
    if (baEncodedName.empty()) fn.Raise(CRYPTO_BAD_PARAM, L"baEncodedName=empty!");
    if (sNameType.empty()) fn.Raise(CRYPTO_BAD_PARAM, L"sNameType=empty!");
    if (sOID.empty()) fn.Warning(L"sOID=empty!");
    const NameKind& kind = RequireKind(fn, sNameType, Holds::Bytes);
    m_baEncoded = baEncodedName;
    m_sNameType = kind.type;
    m_sNameFormat = kind.format;
    if (m_sNameType == L"OtherName") m_sOID = sOID;
    if (m_sNameType == L"IpAddress") m_sValue = AddressText(fn, m_baEncoded);
  });
}

CGeneralName::CGeneralName(const WString& sName, const WString& sNameType) {
  const FunctionTrace fn(L"CGeneralName::CGeneralName", this);
  fn.Run([&] {
    if (sNameType.empty()) fn.Raise(CRYPTO_BAD_PARAM, L"sNameType=empty!");
    if (sName.empty()) fn.Raise(CRYPTO_BAD_PARAM, L"sName=empty!");
    const NameKind& kind = RequireKind(fn, sNameType, Holds::Text);
    m_sNameType = kind.type;
    m_sNameFormat = kind.format;
    m_sValue = sName;
  });
}

CGeneralName::~CGeneralName() {
  TraceLifetime(L"CGeneralName::~CGeneralName", this);
}

WString CGeneralName::GetNameType() const {
  const FunctionTrace fn(L"CGeneralName::GetNameType", this);
  return fn.Run([&] {
    fn.Data(L"m_sNameType=%s", m_sNameType);
    return m_sNameType;
  });
}

WString CGeneralName::GetFormat() const {
  const FunctionTrace fn(L"CGeneralName::GetFormat", this);
  return fn.Run([&] {
    fn.Data(L"m_sNameFormat=%s", m_sNameFormat);
    return m_sNameFormat;
  });
}

ByteArray CGeneralName::GetEncoded() const {
  const FunctionTrace fn(L"CGeneralName::GetEncoded", this);
  return fn.Run([&] {
    fn.Bytes(L"baEncoded", m_baEncoded);
    return m_baEncoded;
  });
}

WString CGeneralName::GetString() const {
  const FunctionTrace fn(L"CGeneralName::GetString", this);
  return fn.Run([&] {
    fn.Data(L"m_sValue=%s", m_sValue);
    return m_sValue;
  });
}

WString CGeneralName::GetOID() const {
  const FunctionTrace fn(L"CGeneralName::GetOID", this);
  return fn.Run([&] {
    fn.Data(L"m_sOID=%s", m_sOID);
    return m_sOID;
  });
}

}  // namespace ZT::Framework
