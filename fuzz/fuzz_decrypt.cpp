// libFuzzer target over block-cipher decryption: random ciphertext, keys and parameter maps.
// The input reads as
//   byte 0   bits 0-1 the algorithm (AES, DES, 3DES, and "RSA", whose engine has no decryption),
//            bits 2-3 the chaining mode (CBC, ECB, none in the map, "cbc"),
//            bits 4-5 the padding (none in the map, "None", "PKCS7", "PKCS5"),
//            bit 6    an IV in the map, bit 7 the CryptoAPI path (Bcrypt.dll made unloadable)
//   byte 1   the key length (0-63), byte 2 the IV length (0-31)
//   then the key, the IV, and the rest is the ciphertext, split by Update at byte 3's value.
// Oracles:
// - whatever the input, decryption answers or raises a CCryptoException, and leaves no platform
//   handle open;
// - a decryption that succeeds on CNG gives back the ciphertext when encrypted again with the same
//   key, IV and padding (PKCS #7 and unpadded alike: the padding checked out);
// - a failed DoFinal leaves the engine initialised with all its input: a second DoFinal fails the
//   same way (same id).
#include <cstddef>
#include <cstdint>
#include <memory>

#include "cng/crypto.cng.servicetable.h"
#include "fuzz_checks.h"
#include "platform/testing.h"
#include "zt/crypto.h"

namespace {

using namespace ZT::Framework;
namespace Testing = ZT::Platform::Testing;

using fuzzcheck::Require;
using fuzzcheck::Take;

std::unique_ptr<IAlgorithm> Algorithm(const wchar_t* name) {
  const std::unique_ptr<IAlgorithmParameters> parameters(IAlgorithmParameters::Create());
  return std::unique_ptr<IAlgorithm>(IAlgorithm::CreateFromFriendlyName(name, parameters.get()));
}

// The id of the exception `call` raises, or 0 when it returns.
template <class Call>
std::uint64_t Failure(Call&& call) {
  try {
    call();
    return 0;
  } catch (CCryptoException* e) {
    const std::uint64_t id = e->getID();
    delete e;
    return id;
  }
}

// Bcrypt.dll made unloadable for as long as it lives (the CryptoAPI fallback), when asked.
class Path {
 public:
  explicit Path(bool cryptoApi) : m_cryptoApi(cryptoApi) {
    if (!cryptoApi) return;
    CryptoSoftCNGWrapper::UnloadCNGLibrary();
    Testing::FailModuleLoad(L"Bcrypt.dll");
  }
  ~Path() {
    if (!m_cryptoApi) return;
    Testing::ResetModuleHooks();
    CryptoSoftCNGWrapper::UnloadCNGLibrary();
  }

 private:
  bool m_cryptoApi;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 4) return 0;
  static const wchar_t* const kAlgorithms[] = {L"AES", L"DES", L"3DES", L"RSA"};
  static const wchar_t* const kModes[] = {L"CBC", L"ECB", nullptr, L"cbc"};
  static const wchar_t* const kPaddings[] = {nullptr, L"None", L"PKCS7", L"PKCS5"};
  const std::uint8_t choice = data[0];
  const std::size_t keyLength = data[1] % 64, ivLength = data[2] % 32, split = data[3];
  data += 4;
  size -= 4;
  const ByteArray keyBytes = Take(data, size, keyLength);
  const ByteArray iv = Take(data, size, ivLength);
  const ByteArray ciphertext(data, data + size);

  const auto algorithm = Algorithm(kAlgorithms[choice & 3]);
  const std::unique_ptr<ICryptoParserParameterMap> map(ICryptoParserParameterMap::Create());
  if (const wchar_t* mode = kModes[(choice >> 2) & 3]) map->SetCipherMode(mode);
  if (const wchar_t* padding = kPaddings[(choice >> 4) & 3]) map->SetPadding(padding);
  if ((choice & 0x40) != 0) map->SetIV(iv);
  const bool cryptoApi = (choice & 0x80) != 0;

  const std::size_t live = Testing::LiveHandleCount();
  {
    const Path path(cryptoApi);
    const std::unique_ptr<IKey> key(IKey::Create(algorithm.get(), L"RAW", keyBytes));
    const std::unique_ptr<Cipher> cipher(Cipher::Create(algorithm.get(), map.get()));
    cipher->Init(CIPHER_DECRYPT_MODE, key.get());
    const std::size_t head = split < ciphertext.size() ? split : ciphertext.size();
    cipher->Update(ByteArray(ciphertext.begin(), ciphertext.begin() + head));
    ByteArray plain;
    const std::uint64_t failed = Failure([&] { cipher->DoFinal(ByteArray(ciphertext.begin() + head, ciphertext.end()), plain); });
    if (failed != 0) {
      Require(Failure([&] { cipher->DoFinal(plain); }) == failed);
    } else if (!cryptoApi) {
      ByteArray again;
      cipher->Init(CIPHER_ENCRYPT_MODE, key.get());
      Require(Failure([&] { cipher->DoFinal(plain, again); }) == 0 && again == ciphertext);
    }
  }
  Require(Testing::LiveHandleCount() == live);
  return 0;
}
