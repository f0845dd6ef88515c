// The padding schemes behind IPadding::Create: PKCS #1 v1.5 (signature and encryption blocks),
// OAEP with SHA-1, and the ANSI X9.31 signature block. Platform-free: they need only the message
// digest, the random generator and the parameter map.
//
// Every length is computed in unsigned 32-bit arithmetic, as the callers of these schemes have
// always computed it; where a bound wraps for short keys the layout says so.
#pragma once

#include <cstdint>

#include "framework/crypto.trace.h"
#include "zt/padding.h"

namespace ZT::Framework {

// What every scheme holds: the key length k and the caller's map (not owned), both fixed at
// creation. Construction and destruction are traced under the scheme's own names.
template <const ClassTrace& Names>
class PaddingScheme : public IPadding {
 public:
  PaddingScheme(std::uint32_t nKeyLength, ICryptoParserParameterMap* pParams)
      : m_nKeyLength(nKeyLength), m_pParams(pParams) {
    TraceLifetime(Names.constructor, this);
  }
  ~PaddingScheme() override { TraceLifetime(Names.destructor, this); }

 protected:
  const std::uint32_t m_nKeyLength;
  ICryptoParserParameterMap* const m_pParams;
};

inline constexpr ClassTrace kCPKCS1EncryptPaddingTrace = ZT_CLASS_TRACE(CPKCS1EncryptPadding);
inline constexpr ClassTrace kCPKCS1SignPaddingTrace = ZT_CLASS_TRACE(CPKCS1SignPadding);
inline constexpr ClassTrace kCOAEPPaddingTrace = ZT_CLASS_TRACE(COAEPPadding);
inline constexpr ClassTrace kCX931PaddingTrace = ZT_CLASS_TRACE(CX931Padding);

// PKCS #1 v1.5 block type 2: 00 02 PS 00 M, PS random bytes in 1..254, at least 8 of them.
class CPKCS1EncryptPadding final : public PaddingScheme<kCPKCS1EncryptPaddingTrace> {
 public:
  using PaddingScheme::PaddingScheme;
  void EncodeData(const ByteArray& baIn, ByteArray& baOut) override;
  bool DecodeData(const ByteArray& baIn, ByteArray& baOut) override;
};

// PKCS #1 v1.5 block type 1: 00 01 FF..FF 00 M, M the caller's DigestInfo (or raw hash).
// Encoding only: verification compares encodings and never decodes.
class CPKCS1SignPadding final : public PaddingScheme<kCPKCS1SignPaddingTrace> {
 public:
  using PaddingScheme::PaddingScheme;
  void EncodeData(const ByteArray& baIn, ByteArray& baOut) override;
  bool DecodeData(const ByteArray& baIn, ByteArray& baOut) override;  // always CRYPTO_NOT_SUPPORTED
};

// OAEP of PKCS #1 v2.0 with SHA-1 (hLen 20) and MGF1-SHA-1: 00 || maskedSeed || maskedDB, where
// DB = SHA-1(P) || PS (zeros) || 01 || M.
class COAEPPadding final : public PaddingScheme<kCOAEPPaddingTrace> {
 public:
  using PaddingScheme::PaddingScheme;
  void EncodeData(const ByteArray& baIn, ByteArray& baOut) override;
  bool DecodeData(const ByteArray& baIn, ByteArray& baOut) override;

  // MGF1 with SHA-1: the first `nLength` bytes of SHA-1(mgfSeed || C) for C = 0, 1, ... (C as four
  // bytes, big-endian), into `baOut`. A failed digest throws with its id ("Digest failed").
  void RsaOaep_MGF(const ByteArray& baSeed, std::uint32_t nLength, ByteArray& baOut);

 private:
  // The label P from the map; CRYPTO_BAD_PARAM "EncodingParameters is not set" when absent.
  ByteArray EncodingParameters(const FunctionTrace& fn) const;
  // RsaOaep_MGF with a failure wrapped as "RsaOaep_MGF failed".
  ByteArray Mask(const FunctionTrace& fn, const ByteArray& baSeed, std::uint32_t nLength);
};

// ANSI X9.31 signature block: 6B BB..BB BA M h CC, h the hash-identifier byte of the map.
class CX931Padding final : public PaddingScheme<kCX931PaddingTrace> {
 public:
  using PaddingScheme::PaddingScheme;
  void EncodeData(const ByteArray& baIn, ByteArray& baOut) override;
  bool DecodeData(const ByteArray& baIn, ByteArray& baOut) override;
};

// Helpers the schemes share (crypto.padding.cpp). Their failures carry the calling scheme's file
// and line (`where`), not this file's.
namespace Padding {

// Raises CRYPTO_BAD_PARAM "Data to Encode Length is invalid" when `mLen` > `limit`, logging
// "<name> : Data to Encode Length is invalid (<mLen> > <shownLimit>)": the schemes' check of the
// message length, each with its own limit (and X9.31 with the limit its line has always shown).
void RequireMessageFits(const FunctionTrace& fn, std::uint32_t mLen, std::uint32_t limit, std::uint32_t shownLimit,
                        SourceLine where = SourceLine());

// The length k - used of a fill string, in 32 bits. A message that the length check let through
// although the key is too short for it makes this wrap to about four gigabytes; no such string is
// built: it fails as that allocation would, with CRYPTO_INTERNAL_ERROR "Error : No memory".
std::uint32_t FillLength(const FunctionTrace& fn, std::uint32_t k, std::uint32_t used, SourceLine where = SourceLine());

// `nLength` bytes of the "FIPS186DSARNG" generator (made for this call, with an empty map); a
// failure throws with its id and "GenerateRandom failed".
ByteArray RandomBytes(const FunctionTrace& fn, std::uint32_t nLength, SourceLine where = SourceLine());

// SHA-1 of `data` by a digest made for this call; a failure throws with its id and "Digest
// failed".
ByteArray Sha1(const FunctionTrace& fn, const ByteArray& data, SourceLine where = SourceLine());

// A level-1 line "<function name>: <text>", the form of the lines of a failed decryption.
void LogDecodeError(const FunctionTrace& fn, const wchar_t* text);

}  // namespace Padding

}  // namespace ZT::Framework
