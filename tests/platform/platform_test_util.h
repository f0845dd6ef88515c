// Helpers of the platform seam tests: hex, fixtures, and owning wrappers for seam handles.
#pragma once

#include <gtest/gtest.h>

#include "support/tool_runner.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "platform/platform.h"

namespace zttest {

using Bytes = std::vector<unsigned char>;

inline Bytes FromHex(const std::string& hex) {
  Bytes out;
  std::string digits;
  for (char c : hex)
    if (std::isxdigit(static_cast<unsigned char>(c))) digits += c;
  for (std::size_t i = 0; i + 1 < digits.size(); i += 2) out.push_back(static_cast<unsigned char>(std::stoul(digits.substr(i, 2), nullptr, 16)));
  return out;
}

inline std::string ToHex(const unsigned char* data, std::size_t size) {
  static const char* digits = "0123456789abcdef";
  std::string out;
  for (std::size_t i = 0; i < size; ++i) {
    out += digits[data[i] >> 4];
    out += digits[data[i] & 15];
  }
  return out;
}
inline std::string ToHex(const Bytes& bytes) { return ToHex(bytes.data(), bytes.size()); }

inline Bytes FromText(const std::string& text) { return Bytes(text.begin(), text.end()); }

// A file of tests/fixtures/platform.
inline std::string PlatformFixturePath(const std::string& name) { return FixturePath("platform/" + name); }

inline Bytes ReadFixture(const std::string& name) {
  std::ifstream in(PlatformFixturePath(name), std::ios::binary);
  if (!in) ADD_FAILURE() << "missing fixture " << PlatformFixturePath(name);
  return Bytes(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

inline std::string ReadFixtureText(const std::string& name) {
  const Bytes bytes = ReadFixture(name);
  return std::string(bytes.begin(), bytes.end());
}

inline void WriteFile(const std::string& path, const Bytes& bytes) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
}

inline Bytes ReadFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return Bytes(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

// Decrypts `cipher` (big-endian) with the fixture's private key by the openssl command-line
// tool, with the given pkeyutl options. Empty when the tool refuses it.
inline Bytes OpensslDecrypt(const Bytes& cipher, const std::string& options) {
  const std::string base = testing::TempDir() + "zt_platform_" + std::to_string(::getpid());
  const std::string in = base + ".in", out = base + ".out";
  WriteFile(in, cipher);
  std::remove(out.c_str());
  const std::string command = "openssl pkeyutl -decrypt -inkey '" + PlatformFixturePath("rsa2048.key.pem") + "' " + options +
                              " -in '" + in + "' -out '" + out + "' 2>/dev/null";
  const int status = std::system(command.c_str());
  Bytes plain = status == 0 ? ReadFile(out) : Bytes();
  std::remove(in.c_str());
  std::remove(out.c_str());
  return plain;
}

// Owning wrappers: tests leak nothing, whatever assertion fails.
class Provider {
 public:
  explicit Provider(const wchar_t* algorithm, ULONG flags = 0) {
    status = BCryptOpenAlgorithmProvider(&handle, algorithm, nullptr, flags);
  }
  ~Provider() {
    if (handle != nullptr) BCryptCloseAlgorithmProvider(handle, 0);
  }
  Provider(const Provider&) = delete;
  Provider& operator=(const Provider&) = delete;
  operator BCRYPT_ALG_HANDLE() const { return handle; }

  BCRYPT_ALG_HANDLE handle = nullptr;
  NTSTATUS status;
};

class Key {
 public:
  Key() = default;
  ~Key() { Reset(); }
  Key(const Key&) = delete;
  Key& operator=(const Key&) = delete;
  void Reset() {
    if (handle != nullptr) BCryptDestroyKey(handle);
    handle = nullptr;
  }
  operator BCRYPT_KEY_HANDLE() const { return handle; }

  BCRYPT_KEY_HANDLE handle = nullptr;
};

class Secret {
 public:
  ~Secret() {
    if (handle != nullptr) BCryptDestroySecret(handle);
  }
  operator BCRYPT_SECRET_HANDLE() const { return handle; }

  BCRYPT_SECRET_HANDLE handle = nullptr;
};

class CryptContext {
 public:
  CryptContext(const wchar_t* provider, DWORD type, DWORD flags = CRYPT_VERIFYCONTEXT) {
    ok = CryptAcquireContextW(&handle, nullptr, provider, type, flags);
  }
  ~CryptContext() {
    if (handle != 0) CryptReleaseContext(handle, 0);
  }
  CryptContext(const CryptContext&) = delete;
  CryptContext& operator=(const CryptContext&) = delete;
  operator HCRYPTPROV() const { return handle; }

  HCRYPTPROV handle = 0;
  BOOL ok;
};

class CryptKeyHandle {
 public:
  CryptKeyHandle() = default;
  ~CryptKeyHandle() {
    if (handle != 0) CryptDestroyKey(handle);
  }
  CryptKeyHandle(const CryptKeyHandle&) = delete;
  CryptKeyHandle& operator=(const CryptKeyHandle&) = delete;
  operator HCRYPTKEY() const { return handle; }

  HCRYPTKEY handle = 0;
};

// A KeyDataBlob for `key`.
inline Bytes KeyDataBlob(const Bytes& key) {
  BCRYPT_KEY_DATA_BLOB_HEADER header{BCRYPT_KEY_DATA_BLOB_MAGIC, BCRYPT_KEY_DATA_BLOB_VERSION1,
                                     static_cast<ULONG>(key.size())};
  Bytes blob(reinterpret_cast<unsigned char*>(&header), reinterpret_cast<unsigned char*>(&header) + sizeof(header));
  blob.insert(blob.end(), key.begin(), key.end());
  return blob;
}

// The last error as the unsigned value GetLastError returns, for comparison with NTE_ codes.
inline DWORD Code(HRESULT value) { return static_cast<DWORD>(value); }

}  // namespace zttest
