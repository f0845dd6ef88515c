// What every structure of the codec shares: the byte strings its decoded forms hold, FILETIME
// ticks, and the contract of a structure type (what CryptoUtil::DecodeObject and EncodeObject
// take as their type argument).
//
// The decoded forms (crypto.asn1.names.h, .extensions.h, .keys.h, .certificate.h) are the
// library's own, in the namespace Asn1 and named after the ASN.1 types they hold (Name,
// GeneralName, AlgorithmIdentifier, ...). They keep the member names of the structures the
// platform's certificate services publish for the same data (rgRDN, pszObjId, dwValueType, ...),
// so that the code that renders them reads like the platform's documentation, and the platform's
// conventions that the renderings depend on:
// - a LittleEndianInteger holds an INTEGER least significant byte first, the reverse of its DER
//   order; serial numbers render in that order;
// - a string value (AttributeTypeAndValue, AttributeValue) of type BMP, UTF-8 or Universal
//   holds the decoded wide characters (wchar_t units, see WideValueBytes); the 8-bit string types
//   hold their content octets as encoded; an OCTET STRING value holds the octets; a value that is
//   not a string holds its whole encoding (tag, length and contents);
// - times are FILETIME values: 100-nanosecond ticks since 1601-01-01 UTC, kept as one 64-bit
//   count (FileTimeTicks builds it from a FILETIME's two halves).
// They own their memory: counted arrays are vectors, byte strings are byte arrays, strings are
// std::string (narrow OIDs) or WString (wide text), optional members are std::optional, and a
// CHOICE is a structure whose members beyond the chosen one stay empty. The platform's own
// structures and constants are never declared here: they come from platform/*.h.
#pragma once

#include <concepts>
#include <cstdint>

#include "codec/crypto.der.h"
#include "zt/secure.h"

namespace ZT::Framework {

// A FILETIME as one count of 100-nanosecond ticks since 1601-01-01 UTC.
using FileTimeTicksValue = std::uint64_t;

// The tick count of anything shaped as a FILETIME (dwLowDateTime, dwHighDateTime).
template <class FileTime>
constexpr FileTimeTicksValue FileTimeTicks(const FileTime& ft) {
  return static_cast<FileTimeTicksValue>(ft.dwHighDateTime) << 32 | ft.dwLowDateTime;
}

namespace Asn1 {

// A whole DER element (tag, length and contents), kept for later decoding.
using EncodedElement = ByteArray;
// A whole DER Name.
using EncodedName = ByteArray;
// The value of an attribute, under the conventions above.
using ValueBytes = ByteArray;
// An INTEGER's two's-complement octets, least significant first.
using LittleEndianInteger = ByteArray;

// A BIT STRING: the bytes, most significant bit first, and the unused bits of the last byte.
struct BitStringBytes {
  ByteArray pbData;
  std::uint32_t cUnusedBits = 0;
};

}  // namespace Asn1

// A structure type is a class that provides
//   using Decoded = <the decoded form>;                       // default-constructible
//   static constexpr const wchar_t* kName = L"...";           // the platform's selector, for traces
//   static bool Decode(Der::Bytes der, Decoded* out);         // strict DER, fails closed
// and, when it can be encoded,
//   static bool Encode(const Decoded& in, ByteArray* der);
// Each is named after the platform's structure selector it stands for (kName: "X509_NAME", or
// the extension's OID where the platform selects the decoder by OID), lives in the namespace
// Structure of its family's header, and decodes exactly one DER element: the element must be DER
// (with the lenient readings crypto.der.h lists), nothing may follow it, and any tag, length or
// value error fails the whole decode (nothing half-decoded is returned).
template <class T>
concept DecodableStructure = std::default_initializable<typename T::Decoded> &&
    requires(Der::Bytes der, typename T::Decoded* out) {
  { T::kName } -> std::convertible_to<const wchar_t*>;
  { T::Decode(der, out) } -> std::same_as<bool>;
};

template <class T>
concept EncodableStructure = requires(const typename T::Decoded& in, ByteArray* der) {
  { T::kName } -> std::convertible_to<const wchar_t*>;
  { T::Encode(in, der) } -> std::same_as<bool>;
};

}  // namespace ZT::Framework
