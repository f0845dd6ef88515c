// The platform's data-protection calls as the engines make them, in one place: the call's flags
// from a key's label, the entropy, the output copied into the caller's array, and the platform's
// blocks wiped and released on every path.
#pragma once

#include <cstdint>

#include "framework/crypto.trace.h"
#include "platform/dpapi.h"

namespace ZT::Framework {

// The label that binds data to this machine; any other binds it to the current user.
inline constexpr const wchar_t* kMachineKeyLabel = L"Device";

// CRYPTPROTECT_UI_FORBIDDEN, with CRYPTPROTECT_LOCAL_MACHINE for a label of exactly "Device".
DWORD ProtectionFlags(const WString& sLabel);

// How a failed call is put in the exception's message: the cipher's fixed text ("CryptProtectData
// failed!"), or, for the service interface, the text with the platform's code ("CryptProtectData
// failed (0x2)"). The level-1 line has the code either way.
enum class FailureReport { Fixed, WithCode };

// CryptProtectData of `baData` with the description `szDescription` (null: none), the entropy
// `baEntropy` (empty: none, the platform gets no entropy blob) and `flags`, into `baOut`. A
// failure raises CRYPTO_INTERNAL_ERROR "CryptProtectData failed!" (as `report` says), logged as
// "<name> : Error 0x%x returned by CryptProtectData" with the platform's code; data the platform
// cannot take (4 GiB or more) CRYPTO_BAD_PARAM "Data to Encrypt Length is invalid". `baOut` is
// written only on success.
void ProtectData(const FunctionTrace& fn, const ByteArray& baData, const wchar_t* szDescription,
                 const ByteArray& baEntropy, DWORD flags, ByteArray& baOut, FailureReport report = FailureReport::Fixed);

// CryptUnprotectData of `baBlob` into `baOut`, and the blob's description into `*psDescription`
// when it is not null; the failures as above with "CryptUnprotectData failed!".
void UnprotectData(const FunctionTrace& fn, const ByteArray& baBlob, const ByteArray& baEntropy, DWORD flags,
                   ByteArray& baOut, WString* psDescription, FailureReport report = FailureReport::Fixed);

}  // namespace ZT::Framework
