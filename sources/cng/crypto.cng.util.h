// CryptoUtil: the library's shared encoding utilities: structure decoding and encoding, and the
// data-length checks of the RSA paddings.
//
// Structure types. The platform's decoder takes a structure selector (X509_PUBLIC_KEY_INFO,
// CNG_RSA_PUBLIC_KEY_BLOB, ...) and fills an untyped buffer; here the selector is a type, and
// DecodeObject and EncodeObject are templates over it, so that each call says what it decodes and
// gets the published structure back by value:
//
//   const CERT_PUBLIC_KEY_INFO info = CryptoUtil::DecodeObject<Structure::X509PublicKeyInfo>(baSpki);
//
// A structure type is a class that provides
//   using Decoded = <the decoded structure>;                  // default-constructible
//   static constexpr const wchar_t* kName = L"...";           // the platform's selector, for traces
//   static bool Decode(Der::Bytes der, Decoded* out);         // strict DER, fails closed
// and, when it can be encoded,
//   static bool Encode(const Decoded& in, ByteArray* der);
// A structure type is declared in its own family's header and defined in its own files.
#pragma once

#include <concepts>
#include <cstdint>

#include "common/crypto.asn1.types.h"
#include "common/crypto.der.h"
#include "framework/crypto.trace.h"
#include "zt/secure.h"

namespace ZT::Framework {

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

class CryptoUtil {
 public:
  // The structure of type `Type` decoded from `baEncoded`. Fails with CRYPTO_BAD_PARAM
  // ("Error decoding the blob (0x80093103)") when the bytes are not exactly one DER encoding of
  // that structure.
  template <DecodableStructure Type>
  static typename Type::Decoded DecodeObject(const ByteArray& baEncoded);

  // The DER encoding of `value` as structure type `Type`. Fails with CRYPTO_BAD_PARAM
  // ("Error encoding the blob (0x80093103)") when a member cannot be encoded.
  template <EncodableStructure Type>
  static ByteArray EncodeObject(const typename Type::Decoded& value);

  // Whether `nInputLength` bytes fit a block of `nKeyLength` bytes under the RSA padding
  // `sPadding`: "None" exactly k bytes, "PKCS1" at most k - 11, "X_931" at most k - 12, "OAEP" at
  // most k - 41 (all in unsigned 32-bit arithmetic). A false answer is logged with the limit; a
  // padding name outside the four throws CRYPTO_BAD_PARAM ("Unknown padding type").
  static bool IsOriginalDataLengthValid(const WString& sPadding, std::uint32_t nInputLength, std::uint32_t nKeyLength);

 private:
  [[noreturn]] static void RaiseCodingFailure(const FunctionTrace& fn, const wchar_t* what, RaiseAt at) {
    fn.Raise(at, WString(L"Error ") + what + L" the blob (0x80093103)");
  }
};

template <DecodableStructure Type>
typename Type::Decoded CryptoUtil::DecodeObject(const ByteArray& baEncoded) {
  const FunctionTrace fn(L"CryptoUtil::DecodeObject");
  return fn.Run([&] {
    fn.Data(L"lpszStructType=%s", Type::kName);
    typename Type::Decoded decoded{};
    if (!Type::Decode(Der::Bytes(baEncoded.data(), baEncoded.size()), &decoded))
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
