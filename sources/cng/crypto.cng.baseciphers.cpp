#include "cng/crypto.cng.baseciphers.h"

#include "cng/crypto.cng.hash.h"
#include "cng/crypto.cng.status.h"

namespace ZT::Framework {

namespace {

// Modes 0 to 3 exist (encrypt, decrypt, wrap, unwrap); Init refuses the others.
constexpr unsigned int kModeCount = 4;

bool IsWrapping(unsigned int nOpMode) { return nOpMode == CIPHER_WRAP_MODE || nOpMode == CIPHER_UNWRAP_MODE; }

// Points the engine's pending input at the input of the DoFinal that runs, for as long as it runs.
class PendingInput {
 public:
  PendingInput(const ByteArray*& slot, const ByteArray* input) : m_slot(slot) { m_slot = input; }
  ~PendingInput() { m_slot = nullptr; }
  PendingInput(const PendingInput&) = delete;
  PendingInput& operator=(const PendingInput&) = delete;

 private:
  const ByteArray*& m_slot;
};

}  // namespace

void ReadPadding(const FunctionTrace& fn, const ICryptoParserParameterMap* pParams, const wchar_t* absent,
                 WString& padding) {
  const bool present = pParams != nullptr && ReadMap(fn, [&] { return pParams->GetPadding(padding); });
  if (!present) padding = absent;
}

Cipher::Cipher() = default;
Cipher::Cipher(const Cipher&) = default;
Cipher& Cipher::operator=(const Cipher&) = default;
Cipher::~Cipher() = default;

void CCNGBaseCipher::RequireStartable(const FunctionTrace& fn, unsigned int nOpMode) const {
  if (m_bInitialized) fn.Raise(CRYPTO_ILLEGAL_STATE, L"Cipher is already initialized");
  if (nOpMode >= kModeCount) fn.Raise(CRYPTO_BAD_PARAM, L"Unknown operation");
}

void CCNGBaseCipher::Start(unsigned int nOpMode, IKey* pKey) {
  m_pKey = pKey;
  m_nOpMode = nOpMode;
  EmptySecurely(m_baBuffer);
  m_bInitialized = true;
}

void CCNGBaseCipher::Init(unsigned int nOpMode, IKey* pKey) {
  const FunctionTrace fn(L"CCNGBaseCipher::Init", this);
  fn.Run([&] {
    if (pKey == nullptr) fn.Raise(CRYPTO_BAD_PARAM, L"pKey should not be NULL");
    RequireStartable(fn, nOpMode);
    Start(nOpMode, pKey);
  });
}

void CCNGBaseCipher::Init(unsigned int nOpMode, ICertificate* pCertificate) {
  const FunctionTrace fn(L"CCNGBaseCipher::Init", this);
  fn.Run([&] {
    if (pCertificate == nullptr) fn.Raise(CRYPTO_BAD_PARAM, L"pCertificate should not be NULL");
    RequireStartable(fn, nOpMode);
    IKey* key = fn.Wrap(L"Unable to retrieve the certificate public key",
                        [&]() -> IKey* { return pCertificate->GetPublicKey(); });
    Start(nOpMode, key);
  });
}

void CCNGBaseCipher::Update(const ByteArray& baIn) {
  const FunctionTrace fn(L"CCNGBaseCipher::Update", this);
  fn.Run([&] {
    if (!m_bInitialized) fn.Raise(CRYPTO_ILLEGAL_STATE, L"Cipher is not initialized");
    m_baBuffer.insert(m_baBuffer.end(), baIn.begin(), baIn.end());
  });
}

void CCNGBaseCipher::DoFinal(ByteArray& baOut) { Finish(L"CCNGBaseCipher::DoFinal", nullptr, baOut); }

void CCNGBaseCipher::DoFinal(const ByteArray& baIn, ByteArray& baOut) {
  Finish(L"CCNGBaseCipher::DoFinal", &baIn, baOut);
}

void CCNGBaseCipher::Finish(const wchar_t* name, const ByteArray* pPending, ByteArray& baOut) {
  const FunctionTrace fn(name, this);
  fn.Run([&] {
    if (!m_bInitialized) fn.Raise(CRYPTO_ILLEGAL_STATE, L"Cipher is not initialized");
    if (IsWrapping(m_nOpMode)) fn.Raise(CRYPTO_BAD_PARAM, L"Invalid operation");
    // The new input is transformed where it lies, unless something was buffered before it or it
    // is the output's own array.
    if (pPending != nullptr && (!m_baBuffer.empty() || pPending == &baOut)) {
      m_baBuffer.insert(m_baBuffer.end(), pPending->begin(), pPending->end());
      pPending = nullptr;
    }
    const PendingInput pending(m_pPending, pPending);
    // A failure keeps everything, the new input included, for another try.
    ConsumeOnSuccess(m_baBuffer, pPending, [&] { fn.Wrap(L"Cipher failed", [&] { Cipher(baOut); }); });
    m_bInitialized = false;
  });
}

void CCNGBaseCipher::RequireDataMode(const FunctionTrace& fn, unsigned int lastDataMode) const {
  if (!m_bInitialized) fn.Raise(CRYPTO_ILLEGAL_STATE, L"Cipher is not initialized");
  if (m_nOpMode >= kModeCount) fn.Raise(CRYPTO_BAD_PARAM, L"Unknown operation");
  if (m_nOpMode > lastDataMode) fn.Raise(CRYPTO_BAD_PARAM, L"Invalid operation");
}

void CCNGBaseCipher::RefuseWrapping(const FunctionTrace& fn, unsigned int wrappingMode) const {
  if (!m_bInitialized) fn.Raise(CRYPTO_ILLEGAL_STATE, L"Cipher is not initialized");
  if (m_nOpMode == wrappingMode) fn.Raise(CRYPTO_NOT_IMPLEMENTED, L"Not Implemented");
  fn.Raise(CRYPTO_BAD_PARAM, L"Invalid operation");
}

IKey* CCNGBaseCipher::Unwrap(const ByteArray&, IAlgorithm*) {
  const FunctionTrace fn(L"CCNGBaseCipher::Unwrap", this);
  return fn.Run([&]() -> IKey* { RefuseWrapping(fn, CIPHER_UNWRAP_MODE); });
}

void CCNGBaseCipher::Wrap(IKey*, ByteArray&) {
  const FunctionTrace fn(L"CCNGBaseCipher::Wrap", this);
  fn.Run([&] { RefuseWrapping(fn, CIPHER_WRAP_MODE); });
}

}  // namespace ZT::Framework
