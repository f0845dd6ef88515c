// The life cycle every cipher engine shares: Init, Update (which only buffers), DoFinal (which
// hands the whole buffer to the engine's own transformation at once), and the refused key
// wrapping.
#pragma once

#include <cstdint>
#include <memory>

#include "framework/crypto.engine.h"
#include "zt/cipher.h"

namespace ZT::Framework {

inline constexpr ClassTrace kCCNGBaseCipherTrace = ZT_CLASS_TRACE(CCNGBaseCipher);

class CCNGBaseCipher : public AlgorithmEngine<ZT::Framework::Cipher, kCCNGBaseCipherTrace> {
 public:
  using AlgorithmEngine::AlgorithmEngine;

  void Init(unsigned int nOpMode, ICertificate* pCertificate) override;
  void Init(unsigned int nOpMode, IKey* pKey) override;
  void DoFinal(ByteArray& baOut) override;
  void DoFinal(const ByteArray& baIn, ByteArray& baOut) override;
  void Update(const ByteArray& baIn) override;
  IKey* Unwrap(const ByteArray& baWrappedKey, IAlgorithm* pKeyAlgorithm) override;
  void Wrap(IKey* pKey, ByteArray& baWrappedKey) override;

 protected:
  // The engine's transformation of Input() under the key, mode and parameter map into `baOut`.
  // Called by DoFinal only, which ends the initialisation when it returns and keeps everything
  // when it throws.
  virtual void Cipher(ByteArray& baOut) = 0;

  // The bytes to transform: everything buffered since Init, followed by the input of the
  // DoFinal that runs. That input is transformed where it lies when nothing was buffered before
  // it (one copy less of a large message).
  const ByteArray& Input() const { return m_pPending != nullptr ? *m_pPending : m_baBuffer; }

  // The check every transformation starts with: CRYPTO_ILLEGAL_STATE when not initialised;
  // CRYPTO_BAD_PARAM "Invalid operation" for a mode the engine has no transformation for
  // (`lastDataMode` is the highest it has: 1 for encryption and decryption, 0 for encryption
  // only), "Unknown operation" for a mode of 4 or more.
  void RequireDataMode(const FunctionTrace& fn, unsigned int lastDataMode) const;

  IKey* m_pKey = nullptr;  // the key of the last Init, not owned
  unsigned int m_nOpMode = 0;

 private:
  // Init's checks after its argument's: CRYPTO_ILLEGAL_STATE while initialised, CRYPTO_BAD_PARAM
  // ("Unknown operation") for a mode of 4 or more.
  void RequireStartable(const FunctionTrace& fn, unsigned int nOpMode) const;
  // Init's last step: the new key and mode, and an empty buffer.
  void Start(unsigned int nOpMode, IKey* pKey);
  // DoFinal's steps with `pPending` (may be null) as the last input.
  void Finish(const wchar_t* name, const ByteArray* pPending, ByteArray& baOut);
  // The state check of Wrap and Unwrap: only their own mode gets as far as "Not Implemented".
  [[noreturn]] void RefuseWrapping(const FunctionTrace& fn, unsigned int wrappingMode) const;

  bool m_bInitialized = false;
  ByteArray m_baBuffer;  // everything given since Init
  const ByteArray* m_pPending = nullptr;  // the input of the DoFinal that runs, while it is not buffered
};

// Gives `out` exactly `size` bytes: what it held beyond them is wiped first, and bytes it gains
// are zeros. An output array that already has the room (a caller's array used again for the next
// message) is written where it is, without a new block.
inline void ResizeSecurely(ByteArray& out, std::size_t size) {
  if (out.size() > size) SecureWipe(out.data() + size, out.size() - size);
  out.resize(size);
}

// The length check of a transformation's input: CRYPTO_BAD_PARAM "Data to Encrypt Length is
// invalid" (also when decrypting, and without a line of its own) unless the input's length fits
// the platform's 32 bits and `isValid(length)` (a question to
// CryptoUtil::IsOriginalDataLengthValid) answers true; an exception of `isValid` comes wrapped
// as "IsOriginalDataLengthValid failed!".
template <class Check>
void RequireValidLength(const FunctionTrace& fn, std::size_t inputLength, Check&& isValid) {
  const bool fits = inputLength <= 0xFFFFFFFFu;
  const bool valid = fits && fn.Wrap(L"IsOriginalDataLengthValid failed!",
                                     [&] { return isValid(static_cast<std::uint32_t>(inputLength)); });
  if (!valid) fn.RaiseUnlogged(CRYPTO_BAD_PARAM, L"Data to Encrypt Length is invalid");
}

// Sets `padding` to the map's "CryptoParameterPadding", or to `absent` when the map or the value
// is missing. `padding` keeps its memory when it is large enough.
void ReadPadding(const FunctionTrace& fn, const ICryptoParserParameterMap* pParams, const wchar_t* absent,
                 WString& padding);

// A concrete engine: the base with its own construction and destruction lines
// ("<C>::<C> : this=%#x", "<C>::<C>", likewise with "~<C>") around the base's.
template <const ClassTrace& Names>
class CipherEngine : public CCNGBaseCipher {
 public:
  CipherEngine(std::unique_ptr<IAlgorithm> pAlgorithm, ICryptoParserParameterMap* pParams)
      : CCNGBaseCipher(std::move(pAlgorithm), pParams) {
    const FunctionTrace fn(Names.constructor, this);
    fn.Run([] {});
  }
  ~CipherEngine() override {
    const FunctionTrace fn(Names.destructor, this);
    fn.Run([] {});
  }
};

}  // namespace ZT::Framework
