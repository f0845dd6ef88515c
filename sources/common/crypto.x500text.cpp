#include "common/crypto.x500text.h"

#include <algorithm>
#include <cstring>
#include <string_view>

#include "codec/crypto.der.h"

namespace ZT::Framework::X500Text {
namespace {

// The platform's error codes as the last error holds them.
constexpr std::uint32_t kMoreData = ERROR_MORE_DATA;
constexpr auto kInvalidArgument = static_cast<std::uint32_t>(E_INVALIDARG);
constexpr auto kAsn1Corrupt = static_cast<std::uint32_t>(CRYPT_E_ASN1_CORRUPT);
constexpr auto kInvalidX500String = static_cast<std::uint32_t>(CRYPT_E_INVALID_X500_STRING);
constexpr auto kInvalidPrintableString = static_cast<std::uint32_t>(CRYPT_E_INVALID_PRINTABLE_STRING);
constexpr auto kInvalidIa5String = static_cast<std::uint32_t>(CRYPT_E_INVALID_IA5_STRING);
constexpr std::uint32_t kStringTypeMask = 0xFF;

thread_local std::uint32_t t_lastError = 0;

// Which string types a key's values may take, in the order they are tried.
enum class ValueRule { PrintableOrUnicode, PrintableOnly, Ia5Only, Ia5OrUtf8 };

struct KeyWord {
  const wchar_t* word;
  const char* oid;
  ValueRule rule;
};

// The first row of an OID gives the word written for it; later rows are aliases read only.
constexpr KeyWord kKeyWords[] = {
    {L"CN", "2.5.4.3", ValueRule::PrintableOrUnicode},
    {L"L", "2.5.4.7", ValueRule::PrintableOrUnicode},
    {L"O", "2.5.4.10", ValueRule::PrintableOrUnicode},
    {L"OU", "2.5.4.11", ValueRule::PrintableOrUnicode},
    {L"E", "1.2.840.113549.1.9.1", ValueRule::Ia5Only},
    {L"C", "2.5.4.6", ValueRule::PrintableOnly},
    {L"S", "2.5.4.8", ValueRule::PrintableOrUnicode},
    {L"STREET", "2.5.4.9", ValueRule::PrintableOrUnicode},
    {L"T", "2.5.4.12", ValueRule::PrintableOrUnicode},
    {L"G", "2.5.4.42", ValueRule::PrintableOrUnicode},
    {L"I", "2.5.4.43", ValueRule::PrintableOrUnicode},
    {L"SN", "2.5.4.4", ValueRule::PrintableOrUnicode},
    {L"SERIALNUMBER", "2.5.4.5", ValueRule::PrintableOnly},
    {L"DC", "0.9.2342.19200300.100.1.25", ValueRule::Ia5OrUtf8},
    {L"Description", "2.5.4.13", ValueRule::PrintableOrUnicode},
    {L"PostalCode", "2.5.4.17", ValueRule::PrintableOrUnicode},
    {L"POBox", "2.5.4.18", ValueRule::PrintableOrUnicode},
    {L"Phone", "2.5.4.20", ValueRule::PrintableOnly},
    {L"Email", "1.2.840.113549.1.9.1", ValueRule::Ia5Only},
    {L"ST", "2.5.4.8", ValueRule::PrintableOrUnicode},
    {L"Title", "2.5.4.12", ValueRule::PrintableOrUnicode},
    {L"GivenName", "2.5.4.42", ValueRule::PrintableOrUnicode},
    {L"Initials", "2.5.4.43", ValueRule::PrintableOrUnicode},
};

const KeyWord* KeyWordOfOid(std::string_view oid) {
  for (const KeyWord& row : kKeyWords)
    if (oid == row.oid) return &row;
  return nullptr;
}

wchar_t AsciiUpper(wchar_t c) { return (c >= L'a' && c <= L'z') ? static_cast<wchar_t>(c - L'a' + L'A') : c; }

bool EqualsIgnoringCase(std::wstring_view a, std::wstring_view b) {
  return a.size() == b.size() &&
         std::equal(a.begin(), a.end(), b.begin(), [](wchar_t x, wchar_t y) { return AsciiUpper(x) == AsciiUpper(y); });
}

const KeyWord* KeyWordOfText(std::wstring_view word) {
  for (const KeyWord& row : kKeyWords)
    if (EqualsIgnoringCase(word, row.word)) return &row;
  return nullptr;
}

ValueRule RuleOfOid(std::string_view oid) {
  const KeyWord* row = KeyWordOfOid(oid);
  return row ? row->rule : ValueRule::PrintableOrUnicode;
}

bool Holds(std::uint32_t universalType, const WString& text) {
  ByteArray scratch;
  return Der::EncodeString(universalType, text, &scratch);
}

std::uint32_t ErrorOfRule(ValueRule rule) {
  switch (rule) {
    case ValueRule::PrintableOnly: return kInvalidPrintableString;
    case ValueRule::Ia5Only: return kInvalidIa5String;
    default: return kInvalidX500String;
  }
}

bool IsBlank(wchar_t c) { return c == L' ' || c == L'\t' || c == L'\v' || c == L'\f'; }
bool IsLineBreak(wchar_t c) { return c == L'\r' || c == L'\n'; }
// White space of the text form: blanks and line breaks.
bool IsWhite(wchar_t c) { return IsBlank(c) || IsLineBreak(c); }

// Records `code` as the last error; false, for the caller to return.
bool SetLastError(std::uint32_t code) {
  t_lastError = code;
  return false;
}

// Writes `text` and its terminator into the caller's buffer, as much as fits; returns the
// characters written with the terminator, or the size needed when there is no buffer.
std::uint32_t CopyOut(const WString& text, wchar_t* psz, std::uint32_t csz) {
  if (psz == nullptr || csz == 0) return static_cast<std::uint32_t>(text.size() + 1);
  const std::size_t n = std::min<std::size_t>(text.size(), csz - 1);
  std::copy_n(text.data(), n, psz);
  psz[n] = L'\0';
  return static_cast<std::uint32_t>(n + 1);
}

// ---- writing ------------------------------------------------------------------------------

void AppendHexUpper(WString& out, const ByteArray& bytes) {
  static constexpr wchar_t kDigits[] = L"0123456789ABCDEF";
  for (unsigned char b : bytes) {
    out.push_back(kDigits[b >> 4]);
    out.push_back(kDigits[b & 0xF]);
  }
}

// The unquoted text of one value.
WString ValueText(std::uint32_t dwValueType, const Asn1::ValueBytes& value) {
  if (Asn1::IsStringValueType(dwValueType)) return Asn1::StringValueText(dwValueType, value);
  WString hex;
  if (dwValueType == Asn1::kOctetStringValue || dwValueType == Asn1::kEncodedValue) {
    hex.push_back(L'#');
    AppendHexUpper(hex, value);
  }
  return hex;
}

bool NeedsQuotes(const WString& value) {
  if (value.empty() || IsWhite(value.front()) || IsWhite(value.back())) return true;
  return value.find_first_of(L",+=\"<>#;\r\n") != WString::npos;
}

void AppendValue(WString& out, const Asn1::AttributeTypeAndValue& attr, bool quoting) {
  const WString text = ValueText(attr.dwValueType, attr.Value);
  if (!quoting || !Asn1::IsStringValueType(attr.dwValueType) || !NeedsQuotes(text)) {
    out += text;
    return;
  }
  out.push_back(L'"');
  for (wchar_t c : text) {
    if (c == L'"') out.push_back(L'"');
    out.push_back(c);
  }
  out.push_back(L'"');
}

void AppendKey(WString& out, const std::string& oid, std::uint32_t stringType) {
  if (stringType == CERT_SIMPLE_NAME_STR) return;
  const KeyWord* row = stringType == CERT_X500_NAME_STR ? KeyWordOfOid(oid) : nullptr;
  if (row != nullptr) {
    out += row->word;
  } else {
    if (stringType == CERT_X500_NAME_STR) out += L"OID.";
    out.append(oid.begin(), oid.end());
  }
  out.push_back(L'=');
}

WString NameToText(const Asn1::Name& info, std::uint32_t dwStrType) {
  const std::uint32_t stringType = dwStrType & kStringTypeMask;
  const wchar_t* rdnSeparator = (dwStrType & CERT_NAME_STR_CRLF_FLAG)        ? L"\r\n"
                                : (dwStrType & CERT_NAME_STR_SEMICOLON_FLAG) ? L"; "
                                                                             : L", ";
  const wchar_t* attrSeparator = (dwStrType & CERT_NAME_STR_NO_PLUS_FLAG) ? L" " : L" + ";
  const bool quoting = (dwStrType & CERT_NAME_STR_NO_QUOTING_FLAG) == 0;

  std::vector<const Asn1::Rdn*> rdns;
  for (const Asn1::Rdn& rdn : info.rgRDN) rdns.push_back(&rdn);
  if (dwStrType & CERT_NAME_STR_REVERSE_FLAG) std::reverse(rdns.begin(), rdns.end());

  WString text;
  for (std::size_t i = 0; i < rdns.size(); ++i) {
    if (i) text += rdnSeparator;
    for (std::size_t j = 0; j < rdns[i]->rgRDNAttr.size(); ++j) {
      const Asn1::AttributeTypeAndValue& attr = rdns[i]->rgRDNAttr[j];
      if (j) text += attrSeparator;
      AppendKey(text, attr.pszObjId, stringType);
      AppendValue(text, attr, quoting);
    }
  }
  return text;
}

// ---- reading ------------------------------------------------------------------------------

// Reads the text form into an Asn1::Name; on failure, where and why.
class NameParser {
 public:
  NameParser(std::wstring_view text, std::uint32_t dwStrType) : m_text(text) {
    m_quoting = (dwStrType & CERT_NAME_STR_NO_QUOTING_FLAG) == 0;
    m_plus = (dwStrType & CERT_NAME_STR_NO_PLUS_FLAG) == 0;
    m_comma = (dwStrType & CERT_NAME_STR_COMMA_FLAG) != 0;
    m_semicolon = (dwStrType & CERT_NAME_STR_SEMICOLON_FLAG) != 0;
    m_lineBreak = (dwStrType & CERT_NAME_STR_CRLF_FLAG) != 0;
    if (!m_comma && !m_semicolon && !m_lineBreak) m_comma = m_semicolon = true;
  }

  // text := [rdn { sep rdn }]
  bool Parse(Asn1::Name* out) {
    SkipWhite();
    if (AtEnd()) return true;
    for (;;) {
      if (!ParseRdn(&out->rgRDN.emplace_back())) return false;
      SkipWhite();
      if (AtEnd()) return true;
      if (!AtRdnSeparator()) return Fail(m_pos, kInvalidX500String);
      SkipRdnSeparator();
    }
  }

  std::size_t ErrorAt() const { return m_errorAt; }
  std::uint32_t ErrorCode() const { return m_errorCode; }

 private:
  // rdn := attr { "+" attr }
  bool ParseRdn(Asn1::Rdn* rdn) {
    if (!ParseAttribute(&rdn->rgRDNAttr.emplace_back())) return false;
    SkipWhite();
    while (m_plus && Peek() == L'+') {
      ++m_pos;
      if (!ParseAttribute(&rdn->rgRDNAttr.emplace_back())) return false;
      SkipWhite();
    }
    return true;
  }

  // attr := key "=" value
  bool ParseAttribute(Asn1::AttributeTypeAndValue* attr) {
    SkipWhite();
    const std::size_t keyAt = m_pos;
    while (!AtEnd() && Peek() != L'=' && !AtValueEnd()) ++m_pos;
    if (AtEnd() || Peek() != L'=') return Fail(keyAt, kInvalidX500String);
    if (!ResolveKey(Trimmed(keyAt, m_pos), &attr->pszObjId)) return Fail(keyAt, kInvalidX500String);
    ++m_pos;
    SkipWhite();
    return ParseValue(attr);
  }

  // A key word, "OID." and an OID, or an OID.
  static bool ResolveKey(std::wstring_view key, std::string* oid) {
    if (const KeyWord* row = KeyWordOfText(key)) {
      *oid = row->oid;
      return true;
    }
    if (key.size() > 4 && EqualsIgnoringCase(key.substr(0, 4), L"OID.")) key.remove_prefix(4);
    if (std::any_of(key.begin(), key.end(), [](wchar_t c) { return c < L'.' || c > L'9' || c == L'/'; })) return false;
    oid->assign(key.begin(), key.end());
    ByteArray contents;
    return Der::OidFromText(*oid, &contents);
  }

  bool ParseValue(Asn1::AttributeTypeAndValue* attr) {
    const std::size_t valueAt = m_pos;
    if (!AtEnd() && Peek() == L'#') {
      attr->dwValueType = Asn1::kOctetStringValue;
      return ParseHex(&attr->Value) || Fail(valueAt, kInvalidX500String);
    }
    WString text;
    const bool parsed = (m_quoting && !AtEnd() && Peek() == L'"') ? ParseQuoted(&text) : ParsePlain(&text);
    if (!parsed) return false;
    attr->dwValueType = ValueTypeForText(attr->pszObjId, text);
    if (attr->dwValueType == 0) return Fail(valueAt, ErrorOfRule(RuleOfOid(attr->pszObjId)));
    attr->Value =
        Asn1::IsWideValueType(attr->dwValueType) ? Asn1::WideValueBytes(text) : ByteArray(text.begin(), text.end());
    return true;
  }

  // '"' { char | '""' } '"', then only white space before the next separator.
  bool ParseQuoted(WString* text) {
    const std::size_t openAt = m_pos++;
    for (;;) {
      if (AtEnd()) return Fail(openAt, kInvalidX500String);
      const wchar_t c = m_text[m_pos++];
      if (c != L'"') {
        text->push_back(c);
      } else if (!AtEnd() && Peek() == L'"') {
        text->push_back(L'"');
        ++m_pos;
      } else {
        break;
      }
    }
    SkipWhite();
    return AtEnd() || AtValueEnd() || Fail(m_pos, kInvalidX500String);
  }

  // Characters up to the next separator, trailing white space dropped; no '"' among them.
  bool ParsePlain(WString* text) {
    const std::size_t begin = m_pos;
    for (; !AtEnd() && !AtValueEnd(); ++m_pos)
      if (m_quoting && Peek() == L'"') return Fail(m_pos, kInvalidX500String);
    const std::wstring_view value = Trimmed(begin, m_pos);
    text->assign(value.begin(), value.end());
    return true;
  }

  // "#" and pairs of hex digits, white space anywhere between them ignored.
  bool ParseHex(ByteArray* octets) {
    ++m_pos;
    int high = -1;
    for (; !AtEnd() && !AtValueEnd(); ++m_pos) {
      const wchar_t c = Peek();
      if (IsWhite(c) && !(m_lineBreak && IsLineBreak(c))) continue;
      const int nibble = HexDigit(c);
      if (nibble < 0) return false;
      if (high < 0) {
        high = nibble;
      } else {
        octets->push_back(static_cast<unsigned char>(high << 4 | nibble));
        high = -1;
      }
    }
    return high < 0;
  }

  static int HexDigit(wchar_t c) {
    if (c >= L'0' && c <= L'9') return c - L'0';
    if (c >= L'a' && c <= L'f') return c - L'a' + 10;
    if (c >= L'A' && c <= L'F') return c - L'A' + 10;
    return -1;
  }

  wchar_t Peek() const { return m_text[m_pos]; }
  bool AtEnd() const { return m_pos >= m_text.size(); }
  bool AtRdnSeparator() const {
    const wchar_t c = Peek();
    return (m_comma && c == L',') || (m_semicolon && c == L';') || (m_lineBreak && IsLineBreak(c));
  }
  // Where a value ends: an RDN separator or, between attributes of one RDN, "+".
  bool AtValueEnd() const { return AtRdnSeparator() || (m_plus && Peek() == L'+'); }
  void SkipRdnSeparator() {
    const bool carriageReturn = Peek() == L'\r';
    ++m_pos;
    if (carriageReturn && m_lineBreak && !AtEnd() && Peek() == L'\n') ++m_pos;
  }
  // Line breaks are white space except where they separate RDNs.
  bool IsSkippable(wchar_t c) const { return IsBlank(c) || (!m_lineBreak && IsLineBreak(c)); }
  void SkipWhite() {
    while (!AtEnd() && IsSkippable(Peek())) ++m_pos;
  }
  std::wstring_view Trimmed(std::size_t begin, std::size_t end) const {
    while (end > begin && IsSkippable(m_text[end - 1])) --end;
    return m_text.substr(begin, end - begin);
  }
  bool Fail(std::size_t at, std::uint32_t code) {
    m_errorAt = at;
    m_errorCode = code;
    return false;
  }

  std::wstring_view m_text;
  std::size_t m_pos = 0;
  bool m_quoting = true, m_plus = true, m_comma = false, m_semicolon = false, m_lineBreak = false;
  std::size_t m_errorAt = 0;
  std::uint32_t m_errorCode = 0;
};

bool IsSupportedInputType(std::uint32_t dwStrType) {
  const std::uint32_t type = dwStrType & kStringTypeMask;
  return type == CERT_OID_NAME_STR || type == CERT_X500_NAME_STR;
}

}  // namespace

std::uint32_t LastError() { return t_lastError; }

std::uint32_t ValueTypeForText(const std::string& oid, const WString& text) {
  switch (RuleOfOid(oid)) {
    case ValueRule::PrintableOnly:
      return Holds(Der::kPrintableStringType, text) ? Asn1::kPrintableStringValue : Asn1::kAnyValue;
    case ValueRule::Ia5Only: return Holds(Der::kIa5StringType, text) ? Asn1::kIa5StringValue : Asn1::kAnyValue;
    case ValueRule::Ia5OrUtf8:
      if (Holds(Der::kIa5StringType, text)) return Asn1::kIa5StringValue;
      return Holds(Der::kUtf8StringType, text) ? Asn1::kUtf8StringValue : Asn1::kAnyValue;
    case ValueRule::PrintableOrUnicode: break;
  }
  if (Holds(Der::kPrintableStringType, text)) return Asn1::kPrintableStringValue;
  return Holds(Der::kBmpStringType, text) ? Asn1::kBmpStringValue : Asn1::kAnyValue;
}

std::uint32_t CertRDNValueToStrW(std::uint32_t dwValueType, const Asn1::ValueBytes* pValue, wchar_t* psz,
                                 std::uint32_t csz) {
  const WString text = pValue ? ValueText(dwValueType, *pValue) : WString();
  return CopyOut(text, psz, csz);
}

WString RDNValueToString(std::uint32_t dwValueType, const Asn1::ValueBytes& value) {
  return ValueText(dwValueType, value);
}

std::uint32_t CertNameToStrW(std::uint32_t dwCertEncodingType, const Asn1::EncodedName* pName, std::uint32_t dwStrType,
                             wchar_t* psz, std::uint32_t csz) {
  Asn1::Name info;
  if (dwCertEncodingType != X509_ASN_ENCODING || pName == nullptr || !Structure::X509Name::Decode(*pName, &info)) {
    SetLastError(kAsn1Corrupt);
    return CopyOut(WString(), psz, csz);
  }
  return CopyOut(NameToText(info, dwStrType), psz, csz);
}

WString NameInfoToStr(const Asn1::Name& info, std::uint32_t dwStrType) { return NameToText(info, dwStrType); }

bool EncodeName(std::wstring_view text, std::uint32_t dwStrType, ByteArray* der, NameTextError* error) {
  NameParser parser(text, dwStrType);
  Asn1::Name info;
  if (!parser.Parse(&info)) {
    *error = {parser.ErrorCode(), parser.ErrorAt()};
    return false;
  }
  if (dwStrType & CERT_NAME_STR_REVERSE_FLAG) std::reverse(info.rgRDN.begin(), info.rgRDN.end());
  if (Structure::X509Name::Encode(info, der)) return true;
  *error = {kInvalidX500String, 0};
  return false;
}

bool CertStrToNameW(std::uint32_t dwCertEncodingType, const wchar_t* pszX500, std::uint32_t dwStrType,
                    void* /*pvReserved*/, std::uint8_t* pbEncoded, std::uint32_t* pcbEncoded,
                    const wchar_t** ppszError) {
  if (ppszError) *ppszError = nullptr;
  if (dwCertEncodingType != X509_ASN_ENCODING || pszX500 == nullptr || pcbEncoded == nullptr ||
      !IsSupportedInputType(dwStrType))
    return SetLastError(kInvalidArgument);

  ByteArray encoded;
  NameTextError error;
  if (!EncodeName(pszX500, dwStrType, &encoded, &error)) {
    if (ppszError) *ppszError = pszX500 + error.at;
    return SetLastError(error.code);
  }

  const std::uint32_t available = *pcbEncoded;
  *pcbEncoded = static_cast<std::uint32_t>(encoded.size());
  if (pbEncoded == nullptr) return true;
  if (available < encoded.size()) return SetLastError(kMoreData);
  std::memcpy(pbEncoded, encoded.data(), encoded.size());
  return true;
}

}  // namespace ZT::Framework::X500Text
