// The key of the data-protection cipher. It holds no key material: its label names the scope the
// platform binds data to ("Device": this machine; any other label: the current user), and its
// salt, when it has one, is the entropy the data is protected with.
#pragma once

#include <memory>

#include "framework/crypto.trace.h"
#include "zt/key.h"

namespace ZT::Framework {

class CDataProtectionAPIKey final : public IKey {
 public:
  // Takes the algorithm (friendly name "DPAPI"); `baSalt` may be empty (no salt).
  CDataProtectionAPIKey(std::unique_ptr<IAlgorithm> pAlgorithm, const WString& sLabel, const ByteArray& baSalt);
  ~CDataProtectionAPIKey() override;

  // A new key with the same algorithm, label and salt.
  IKey* Clone() const override;
  IAlgorithm* GetAlgorithm() const override;
  // There is no format: always CRYPTO_NOT_SUPPORTED "No format for DPAPI keys".
  WString GetFormat() const override;
  // There are no key bytes: always CRYPTO_NOT_SUPPORTED "Not Supported".
  ByteArray GetEncoded() const override;

  WString GetLabel() const;
  // Empty when the key has no salt.
  ByteArray GetSalt() const;
  // Gives a key without salt the salt `baSalt` (an empty one changes nothing). A key that has one
  // keeps it: CRYPTO_ILLEGAL_STATE "A salt already exists, how to deal with it?".
  void SetSalt(const ByteArray& baSalt);

 private:
  std::unique_ptr<IAlgorithm> m_pAlgorithm;
  WString m_sLabel;
  ByteArray m_baSalt;
};

// A new key for `sLabel` and `baSalt` with an algorithm "DPAPI" of its own; a failure to make the
// algorithm is wrapped as "Algorithm creation failed" (its id).
std::unique_ptr<CDataProtectionAPIKey> NewDataProtectionKey(const FunctionTrace& fn, const WString& sLabel,
                                                           const ByteArray& baSalt);

}  // namespace ZT::Framework
