// CryptoUtil: the library's shared encoding utilities: structure decoding and encoding, string
// conversions, date rendering, the renderings of attribute values, key usages and general names
// that the OID decoder builds on, and the data-length checks of the RSA paddings.
//
// Structure types. The platform's decoder takes a structure selector (X509_NAME, an extension's
// OID) and fills an untyped buffer; here the selector is a type, and DecodeObject and
// EncodeObject are templates over it, so that each call says what it decodes and gets the decoded
// form back by value:
//
//   const Asn1::Name name = CryptoUtil::DecodeObject<Structure::X509Name>(baEncodedName);
//   const ByteArray der = CryptoUtil::EncodeObject<Structure::X509Name>(name);
//
// The contract of a structure type is in codec/crypto.asn1.h; the types of names, general names,
// extensions, keys and certificates are in the codec's family headers (crypto.asn1.names.h, ...).
// A new structure type is declared in its own family's header and defined in its own files;
// nothing here changes.
#pragma once

#include <cstdint>
#include <memory>
#include <string_view>

#include "codec/crypto.asn1.extensions.h"
#include "codec/crypto.asn1.names.h"
#include "platform/certificates.h"
#include "platform/fileapi.h"
#include "codec/crypto.der.h"
#include "framework/crypto.trace.h"
#include "zt/generalname.h"
#include "zt/secure.h"

namespace ZT::Framework {

class CryptoUtil {
 public:
  // The structure of type `Type` decoded from `baEncoded` (a byte array, or a view of bytes
  // that stay alive during the call). Fails with CRYPTO_BAD_PARAM ("Error decoding the blob
  // (0x80093103)") when the bytes are not exactly one DER encoding of that structure.
  template <DecodableStructure Type>
  static typename Type::Decoded DecodeObject(Der::Bytes baEncoded);

  // The DER encoding of `value` as structure type `Type`. Fails with CRYPTO_BAD_PARAM
  // ("Error encoding the blob (0x80093103)") when a member cannot be encoded (a character its
  // string type cannot hold, an OID that is not one).
  template <EncodableStructure Type>
  static ByteArray EncodeObject(const typename Type::Decoded& value);

  // A FILETIME (ticks since 1601, UTC) rendered with `sFormat`, whose conversions are those of
  // strftime that dates need: %Y %m %d %H %M %S %A %a %B %b %y %j %%, with English day and month
  // names whatever the process locale. Fails with CRYPTO_BAD_PARAM ("Invalid time") for a time
  // past the year 9999 and ("Invalid format") for any other conversion.
  static WString FileTimeToString(FileTimeTicksValue ftTime, const WString& sFormat);

  // `cch` wide characters from `pwsz` (a value blob's text), or up to the terminator when `cch`
  // is npos; empty for a null pointer.
  static WString WcharStringToString(const wchar_t* pwsz, std::size_t cch = std::wstring_view::npos);
  // Narrow text as wide text, one character per octet (the platform's narrow strings here are
  // OIDs, which are ASCII); empty for a null pointer.
  static WString CharStringToString(const char* psz);
  static WString CharStringToString(const std::string& s);

  // The text of an attribute value `baEncodedX509String` (any DER element) of attribute type
  // `sOID`: the string's text (read as names read it, Der::DecodeString), "Notice Text=..." for a
  // user notice, the date of a date of birth ("Invalid Date" for a time before 1601 or past what
  // can be rendered), hex pairs for an OCTET STRING, and the value's hex form for other values.
  // Fails with "DecodeObject() failed" when the bytes do not decode.
  static WString DecodeX509String(const WString& sOID, const ByteArray& baEncodedX509String);
  // The key-usage names of the bit-string bytes `baKeyUsage`, then "(" + the first byte (and the
  // second, after a blank, when there is one) in lower-case hex without zero-fill + ")".
  // Empty input gives "".
  static WString GetKeyUsage(const ByteArray& baKeyUsage);
  // The Netscape certificate-type names of the first byte of `baData`, then "(" + that byte as
  // two lower-case hex digits + ")". Empty input gives "".
  static WString GetNetscapeCertType(const ByteArray& baData);
  // Whether `nInputLength` bytes fit a block of `nKeyLength` bytes under the RSA padding
  // `sPadding`: "None" exactly k bytes, "PKCS1" at most k - 11, "X_931" at most k - 12, "OAEP" at
  // most k - 41 (all in unsigned 32-bit arithmetic). A false answer is logged with the limit; a
  // padding name outside the four throws CRYPTO_BAD_PARAM ("Unknown padding type").
  static bool IsOriginalDataLengthValid(const WString& sPadding, std::uint32_t nInputLength, std::uint32_t nKeyLength);
  // The block length of a block cipher, which the length check of its input takes.
  struct CipherBlock {
    std::uint32_t nLength;
  };
  // The same for the input of a block cipher: "None" a whole number of blocks (a false answer
  // logged as "(<length>%<block> != 0)"), "PKCS7" any length, in both directions; any other
  // padding name throws CRYPTO_BAD_PARAM ("Unknown padding type").
  static bool IsOriginalDataLengthValid(const WString& sPadding, std::uint32_t nInputLength, CipherBlock block);
  // A new general name (owned by the caller) for one alternative-name entry. Fails with
  // CRYPTO_BAD_PARAM for a null entry, CRYPTO_NOT_IMPLEMENTED for X.400 addresses and EDI party
  // names, and "Unknown type: <choice>" for a choice outside 1..9.
  static IGeneralName* GeneralNameFromAltNameEntry(const Asn1::GeneralName* pAltNameEntry);
  // Releases a mapped view, a file mapping and a file, each when it is one (not null, not
  // INVALID_HANDLE_VALUE): the release of the file stores on every path.
  static void freeHandles(LPVOID pView, HANDLE hMapping, HANDLE hFile);

 private:
  [[noreturn]] static void RaiseCodingFailure(const FunctionTrace& fn, const wchar_t* what, RaiseAt at);
};

template <DecodableStructure Type>
typename Type::Decoded CryptoUtil::DecodeObject(Der::Bytes baEncoded) {
  const FunctionTrace fn(L"CryptoUtil::DecodeObject");
  return fn.Run([&] {
    fn.Data(L"lpszStructType=%s", Type::kName);
    typename Type::Decoded decoded{};
    if (!Type::Decode(baEncoded, &decoded))
      RaiseCodingFailure(fn, L"decoding", CRYPTO_BAD_PARAM);
    return decoded;
  });
}

template <EncodableStructure Type>
ByteArray CryptoUtil::EncodeObject(const typename Type::Decoded& value) {
  const FunctionTrace fn(L"CryptoUtil::EncodeObject");
  return fn.Run([&] {
    fn.Data(L"lpszStructType=%s", Type::kName);
    ByteArray encoded;
    if (!Type::Encode(value, &encoded)) RaiseCodingFailure(fn, L"encoding", CRYPTO_BAD_PARAM);
    return encoded;
  });
}

}  // namespace ZT::Framework
