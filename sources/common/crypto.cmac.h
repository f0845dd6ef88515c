// CMAC (NIST SP 800-38B; RFC 4493 for AES) in the library's own code over the block cipher
// engine: subkeys from the encryption of a zero block, the last block padded and combined with a
// subkey, the MAC the last block of a CBC encryption.
#pragma once

#include <cstdint>

#include "framework/crypto.engine.h"
#include "zt/mac.h"

namespace ZT::Framework {

inline constexpr ClassTrace kCMACCMACTrace = ZT_CLASS_TRACE(CMACCMAC);

// The block size b (and MAC length) comes from the key's algorithm: 16 bytes for "AES", 8 for
// "DES" and "3DES". The empty message is padded as a partial block (RFC 4493). The MAC's own
// algorithm must be "CMAC"; its map's "CryptoParameterIV" is read but not used.
//
// The cipher runs on CNG, or where CNG cannot be loaded on CryptoAPI, whose provider takes no
// AES key and adds a padding block of its own to the encryption: there an AES MAC fails, and a
// DES or triple DES MAC is the encryption of that extra block, not the CMAC.
class CMACCMAC final : public AlgorithmEngine<MAC, kCMACCMACTrace> {
 public:
  using AlgorithmEngine::AlgorithmEngine;

  // b. Before Init: CRYPTO_ILLEGAL_STATE.
  unsigned int GetMacLength() override;
  // A null key throws CRYPTO_BAD_PARAM; an engine already initialised CRYPTO_ILLEGAL_STATE; a
  // key of another algorithm CRYPTO_NO_SUCH_ALGORITHM ("Unsupported algorithm").
  void Init(IKey* pKey) override;
  // The b-byte CMAC of the buffer. Success empties the buffer and ends the initialisation; a
  // failure leaves both as they were. Failures of the cipher come as "Cipher failed" with their
  // id.
  void Mac(ByteArray& baMac) override;
  void Mac(const ByteArray& baInput, ByteArray& baMac) override;
  // Before Init: CRYPTO_ILLEGAL_STATE.
  void Update(const ByteArray& baInput) override;

 private:
  void RequireInitialized(const FunctionTrace& fn) const;

  bool m_bInitialized = false;
  ByteArray m_baData;       // everything given since Init
  IKey* m_pKey = nullptr;   // the key of the last Init, not owned
  std::uint32_t m_nBlockSize = 0;  // b
  ByteArray m_baRb;         // the constant of the subkey doubling: 0x87 (b = 16) or 0x1B (b = 8) last
};

}  // namespace ZT::Framework
