// Helpers of the platform seam tests: hex, fixtures, shared vectors and owning handle wrappers.
#pragma once

#include <gtest/gtest.h>

#include "support/command.h"
#include "support/hex.h"
#include "support/last_error.h"
#include "support/sections.h"
#include "support/tool_runner.h"

#include <string>
#include <thread>
#include <vector>

#include "platform/platform.h"

namespace zttest {

using Bytes = std::vector<unsigned char>;

inline Bytes FromHex(std::string_view hex) { return zttest::FromHex<Bytes>(hex); }
inline Bytes FromText(const std::string& text) { return Bytes(text.begin(), text.end()); }
inline Bytes Concat(Bytes a, const Bytes& b) {
  a.insert(a.end(), b.begin(), b.end());
  return a;
}
// The memory of a blob header or other plain struct.
template <class T>
Bytes BytesOf(const T& value) {
  return Bytes(reinterpret_cast<const unsigned char*>(&value), reinterpret_cast<const unsigned char*>(&value) + sizeof(value));
}
inline Bytes Head(const Bytes& b, std::size_t n) { return Bytes(b.begin(), b.begin() + static_cast<long>(n)); }

// A file of tests/fixtures/platform.
inline std::string PlatformFixturePath(const std::string& name) { return FixturePath("platform/" + name); }
inline Bytes ReadFixture(const std::string& name) { return ReadFixtureFile("platform/" + name); }
inline std::string ReadFixtureText(const std::string& name) {
  const Bytes bytes = ReadFixture(name);
  return std::string(bytes.begin(), bytes.end());
}

// Decrypts `cipher` (big-endian) with the fixture's private key by the openssl tool, with the
// given pkeyutl options. Empty when the tool refuses it.
inline Bytes OpensslDecrypt(const Bytes& cipher, const std::string& options) {
  return OpensslOutput("pkeyutl -decrypt -inkey " + ShellQuoted(PlatformFixturePath("rsa2048.key.pem")) + " " + options +
                           " -in {in} -out {out}",
                       cipher);
}

// SP 800-38A F.1/F.2: the plaintext, the CBC IV, and AES-128/192/256 in ECB and CBC.
inline const Bytes kPlain = FromHex(
    "6bc1bee22e409f96e93d7e117393172a ae2d8a571e03ac9c9eb76fac45af8e51"
    "30c81c46a35ce411e5fbc1191a0a52ef f69f2445df4f9b17ad2b417be66c3710");
inline const Bytes kIv = FromHex("000102030405060708090a0b0c0d0e0f");
// The AES key sizes' vectors (tests/fixtures/platform/published.txt), in hex.
struct AesVector {
  std::string key, ecb, cbc;
};
inline std::vector<AesVector> ReadAesVectors() {
  std::vector<AesVector> vectors;
  for (const SectionLine& line : ReadSection("platform/published.txt", "aes")) {
    const std::size_t blank = line.value.find(' ');
    vectors.push_back({line.key, line.value.substr(0, blank), line.value.substr(blank + 1)});
  }
  return vectors;
}
inline const std::vector<AesVector> kAes = ReadAesVectors();
// SP 800-67 (the "fox" example, keys K1 K2 K3) and FIPS 81 (DES CBC).
inline const Bytes kFox = FromText("The qufck brown fox jump");
inline const char* kTdesKeys = "0123456789ABCDEF 23456789ABCDEF01 456789ABCDEF0123";
inline const char* kTdesEcbFox = "a826fd8ce53b855fcce21c8112256fe668d5c05dd9b6b900";
inline const char* kDesKey = "0123456789abcdef";
inline const char* kDesIv = "1234567890abcdef";
inline const Bytes kDesPlain = FromText("Now is the time for all ");
inline const char* kDesCbc = "e5c7cdde872bf27c43e934008c389c0f683788499a7c05f6";

// Owning wrappers: tests leak nothing, whatever assertion fails.
template <class H, void (*Release)(H)>
struct Owned {
  Owned() = default;
  Owned(const Owned&) = delete;
  Owned& operator=(const Owned&) = delete;
  ~Owned() { Reset(); }
  void Reset() {
    if (handle) Release(handle);
    handle = H{};
  }
  operator H() const { return handle; }
  H handle{};
};
inline void CloseProvider(BCRYPT_ALG_HANDLE h) { BCryptCloseAlgorithmProvider(h, 0); }
inline void DestroyKey(BCRYPT_KEY_HANDLE h) { BCryptDestroyKey(h); }
inline void DestroySecret(BCRYPT_SECRET_HANDLE h) { BCryptDestroySecret(h); }
inline void ReleaseContext(HCRYPTPROV h) { CryptReleaseContext(h, 0); }
inline void DestroyCryptKey(HCRYPTKEY h) { CryptDestroyKey(h); }

struct Provider : Owned<BCRYPT_ALG_HANDLE, CloseProvider> {
  explicit Provider(const wchar_t* algorithm, ULONG flags = 0)
      : status(BCryptOpenAlgorithmProvider(&handle, algorithm, nullptr, flags)) {}
  NTSTATUS status;
};
using Key = Owned<BCRYPT_KEY_HANDLE, DestroyKey>;
using Secret = Owned<BCRYPT_SECRET_HANDLE, DestroySecret>;
struct CryptContext : Owned<HCRYPTPROV, ReleaseContext> {
  CryptContext(const wchar_t* provider, DWORD type, DWORD flags = CRYPT_VERIFYCONTEXT)
      : ok(CryptAcquireContextW(&handle, nullptr, provider, type, flags)) {}
  BOOL ok;
};
using CryptKeyHandle = Owned<HCRYPTKEY, DestroyCryptKey>;

inline ULONG UlongProperty(BCRYPT_HANDLE object, const wchar_t* name) {
  ULONG value = 0, got = 0;
  EXPECT_EQ(BCryptGetProperty(object, name, reinterpret_cast<PUCHAR>(&value), sizeof(value), &got, 0), STATUS_SUCCESS);
  EXPECT_EQ(got, sizeof(ULONG));
  return value;
}

// A KeyDataBlob for `key`.
inline Bytes KeyDataBlob(const Bytes& key) {
  return Concat(BytesOf(BCRYPT_KEY_DATA_BLOB_HEADER{BCRYPT_KEY_DATA_BLOB_MAGIC, BCRYPT_KEY_DATA_BLOB_VERSION1,
                                                   static_cast<ULONG>(key.size())}),
                key);
}

// BCryptEncrypt or BCryptDecrypt with the engines' two calls: the size first, then the data.
// The output is empty when a call fails; `status` receives the result, else it must succeed.
inline Bytes Cipher(bool encrypt, BCRYPT_KEY_HANDLE key, const Bytes& input, Bytes* iv, ULONG flags,
                    NTSTATUS* status = nullptr, void* paddingInfo = nullptr) {
  auto call = encrypt ? BCryptEncrypt : BCryptDecrypt;
  PUCHAR in = const_cast<PUCHAR>(input.data()), ivData = iv != nullptr ? iv->data() : nullptr;
  const ULONG inSize = static_cast<ULONG>(input.size()), ivSize = iv != nullptr ? static_cast<ULONG>(iv->size()) : 0;
  ULONG size = 0;
  NTSTATUS result = call(key, in, inSize, paddingInfo, ivData, ivSize, nullptr, 0, &size, flags);
  Bytes output(size);
  if (NT_SUCCESS(result)) result = call(key, in, inSize, paddingInfo, ivData, ivSize, output.data(), size, &size, flags);
  if (status != nullptr) *status = result;
  else
    EXPECT_EQ(result, STATUS_SUCCESS);
  output.resize(NT_SUCCESS(result) ? size : 0);
  return output;
}

// Runs `work(t)` on `count` threads at once, t = 0 .. count - 1, and waits for all of them.
template <class Work>
void InThreads(int count, const Work& work) {
  std::vector<std::thread> threads;
  for (int t = 0; t < count; ++t) threads.emplace_back(work, t);
  for (std::thread& thread : threads) thread.join();
}

}  // namespace zttest
