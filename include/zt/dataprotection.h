// The platform's data protection itself: data bound to the current user or to this machine, so
// that only the same user (or any user of the same machine) can open it again.
//
// The "DPAPI" cipher (zt/cipher.h) protects and unprotects through this service with the keys of
// the symmetric key system store (zt/symkeystore.h). This interface adds what the cipher does not
// carry, a description sealed with the data, and the one step of administration the service
// needs where this library provides it itself (Linux): an administrator creates the machine's
// secret once (`ztcrypto protect --init-machine`) before anything is protected for the machine.
// Until then protecting for the machine fails with the platform's code ERROR_FILE_NOT_FOUND
// (0x2). platform/dpapi.h lists the codes.
#pragma once

#include "zt/export.h"
#include "zt/secure.h"

namespace ZT::Framework {

class ZT_CRYPTO_API IDataProtection {
 public:
  // `baData` protected for the current user, or for this machine when `bMachine`, with
  // `sDescription` (may be empty) and the entropy `baEntropy` (empty: none), which unprotecting
  // must give again. A failure of the platform throws CRYPTO_INTERNAL_ERROR "CryptProtectData
  // failed (0x<code>)" with the platform's code (platform/dpapi.h: 0x2 for a machine without
  // its secret).
  static ByteArray Protect(const ByteArray& baData, const WString& sDescription, const ByteArray& baEntropy,
                           bool bMachine);
  // The data of a protected blob, and its description in `sDescription` (empty when it has none);
  // the blob says whose it is. Any change to the blob, a wrong entropy, another user's or another
  // machine's blob throw CRYPTO_INTERNAL_ERROR "CryptUnprotectData failed (0xd)" (other codes
  // for other failures); `sDescription` is then left as it was.
  static ByteArray Unprotect(const ByteArray& baProtected, const ByteArray& baEntropy, WString& sDescription);

  // Where the machine's secret lives (on Linux /var/lib/ztcrypto/machine.secret).
  static WString GetMachineSecretPath();
  // Whether the machine's secret exists and would be accepted (a missing one, or one that others
  // may write, answers false).
  static bool HasMachineSecret();
  // Creates the machine's secret once; true when this call created it, false when it was there
  // already (and is accepted; it is never replaced). Without the rights to create it, or with a
  // refused one in the way: CRYPTO_INTERNAL_ERROR "Unable to create the machine secret <path>
  // (0x<code>)".
  static bool CreateMachineSecret();

  IDataProtection() = delete;
};

}  // namespace ZT::Framework
