#include "cng/crypto.cng.random.h"

#include "cng/crypto.cng.handles.h"
#include "cng/crypto.cng.status.h"
#include "framework/crypto.trace.h"

namespace ZT::Framework {

namespace {

// The platform generator of one GenerateRandom call: CNG's "RNG" provider, or, where CNG cannot
// be loaded, a CryptoAPI context. Both mix the buffer's content in as additional entropy.
class PlatformGenerator {
 public:
  PlatformGenerator(const FunctionTrace& fn, bool bCNG) : m_bCNG(bCNG) {
    if (m_bCNG) {
      CheckStatus(fn, CNG().BCryptOpenAlgorithmProvider(m_provider.put(), BCRYPT_RNG_ALGORITHM, nullptr, 0),
                  L"BCryptOpenAlgorithmProvider", L"BCryptOpenAlgorithmProvider failed!");
    } else {
      CheckLastError(fn, CryptAcquireContextW(m_context.put(), nullptr, nullptr, PROV_RSA_FULL, CRYPT_VERIFYCONTEXT),
                     L"CryptAcquireContext", L"CryptAcquireContext failed");
    }
  }

  // Replaces the bytes of `buffer` with generated ones, its content taken as additional entropy.
  void Stir(const FunctionTrace& fn, ByteArray& buffer) {
    const ULONG length = static_cast<ULONG>(buffer.size());
    if (m_bCNG) {
      CheckStatus(fn, CNG().BCryptGenRandom(m_provider.get(), buffer.data(), length, BCRYPT_RNG_USE_ENTROPY_IN_BUFFER),
                  L"BCryptGenRandom", L"BCryptGenRandom failed!");
    } else {
      CheckLastError(fn, CryptGenRandom(m_context.get(), length, buffer.data()), L"CryptGenRandom",
                     L"CryptGenRandom failed");
    }
  }

 private:
  bool m_bCNG;
  AlgorithmProvider m_provider;
  CryptContext m_context;
};

// The one line of GenerateRandom that names the function with its namespace.
constexpr const wchar_t* kQualifiedGenerateRandom = L"ZT::Framework::CCNGFIPS186RandomGenerator::GenerateRandom";

// `length` bytes from rand_s: each byte is a draw r scaled to floor(r * 2^-32 * 255), so that
// it lies in 0..254. The bytes only feed the platform generator as entropy.
ByteArray RandSBytes(const FunctionTrace& fn, std::uint32_t length) {
  ByteArray bytes(length);
  for (unsigned char& byte : bytes) {
    unsigned int draw = 0;
    if (const errno_t error = rand_s(&draw); error != 0) {
      TraceLine(kQualifiedGenerateRandom, NQLOG_ERROR, Separator::Colon, L"Error 0x%x returned by rand_s", error);
      fn.RaiseUnlogged(CRYPTO_INTERNAL_ERROR, L"Error returned by rand_s");
    }
    byte = static_cast<unsigned char>((static_cast<std::uint64_t>(draw) * 255) >> 32);
  }
  return bytes;
}

// The GUID's bytes in its structure's memory order on the platforms the suite runs on.
void PutLittleEndian(ByteArray& out, std::size_t at, std::uint32_t value, std::size_t size) {
  for (std::size_t i = 0; i < size; ++i) out[at + i] = static_cast<unsigned char>(value >> (8 * i));
}

}  // namespace

RandomGenerator::~RandomGenerator() = default;
GUIDGenerator::~GUIDGenerator() = default;

void CCNGFIPS186RandomGenerator::SetSeed(const ByteArray&) {
  const FunctionTrace fn(L"CCNGFIPS186RandomGenerator::SetSeed", this);
  fn.Run([&] { fn.Raise(CRYPTO_NOT_IMPLEMENTED, L"Not Implemented"); });
}

void CCNGFIPS186RandomGenerator::GenerateRandom(std::uint32_t nLength, ByteArray& baRandom) {
  const FunctionTrace fn(L"CCNGFIPS186RandomGenerator::GenerateRandom", this);
  fn.Run([&] {
    // Without CNG the CryptoAPI provider serves: not an error here.
    PlatformGenerator generator(fn, CryptoSoftCNGWrapper::LoadCNGLibrary());
    ByteArray baScratch = RandSBytes(fn, nLength);
    generator.Stir(fn, baScratch);
    baRandom = baScratch;
    generator.Stir(fn, baRandom);
  });
}

CCNGGUIDGenerator::CCNGGUIDGenerator() { TraceLifetime(L"CCNGGUIDGenerator::CCNGGUIDGenerator", this); }

CCNGGUIDGenerator::~CCNGGUIDGenerator() { TraceLifetime(L"CCNGGUIDGenerator::~CCNGGUIDGenerator", this); }

void CCNGGUIDGenerator::GenerateGUID(ByteArray& baGUID) {
  const FunctionTrace fn(L"CCNGGUIDGenerator::GenerateGUID", this);
  fn.Run([&] {
    GUID guid{};
    if (const HRESULT result = CoCreateGuid(&guid); FAILED(result)) {
      // The GUID lines have no blank before the colon, as the suite's readers know them.
      fn.Line(NQLOG_ERROR, Separator::Tight, L"CoCreateGuid failed (0x%x)", static_cast<ULONG>(result));
      fn.RaiseUnlogged(CRYPTO_INTERNAL_ERROR, L"CoCreateGuid Error");
    }
    baGUID.assign(sizeof(GUID), 0);
    PutLittleEndian(baGUID, 0, guid.Data1, 4);
    PutLittleEndian(baGUID, 4, guid.Data2, 2);
    PutLittleEndian(baGUID, 6, guid.Data3, 2);
    std::copy(std::begin(guid.Data4), std::end(guid.Data4), baGUID.begin() + 8);
    fn.Bytes(L"Generated GUID", baGUID, NQLOG_WARNING, Separator::Tight);
  });
}

}  // namespace ZT::Framework
