// libFuzzer target over CryptUnprotectData: random blobs, and blobs of the service changed by one
// byte. The service's secrets are fixed files in a temporary directory (the test hook of the
// seam), so that an input means the same in every run. The input reads as
//   byte 0   bit 0: 0 the rest is a blob to open; 1 a round trip, as below
//            bit 1: the machine's scope, bit 2: the description asked for when opening
//   byte 1   the entropy's length, byte 2 the description's length (its bytes taken as Latin-1
//            characters, up to the first NUL), bytes 3-4 the position of the changed byte, byte 5 the change (0: 0x01)
//   then the entropy, the description and the data.
// Oracles:
// - whatever the blob, CryptUnprotectData opens it or fails with ERROR_INVALID_DATA, hands out
//   nothing on failure, and leaves no block live once what it handed out is released;
// - a round trip gives back the data and the description; the blob changed in one byte, cut by
//   one byte, or opened with another entropy fails with ERROR_INVALID_DATA.
#include <sys/stat.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cwchar>
#include <filesystem>
#include <fstream>
#include <string>

#include "fuzz_checks.h"
#include "platform/dpapi.h"
#include "platform/testing.h"
#include "zt/secure.h"

namespace {

using ZT::Framework::ByteArray;
using fuzzcheck::Require;
using fuzzcheck::Take;
namespace Testing = ZT::Platform::Testing;

void WriteSecret(const std::string& directory, const char* name, mode_t directoryMode, mode_t fileMode,
                 unsigned char fill) {
  mkdir(directory.c_str(), directoryMode);
  const std::string path = directory + "/" + name;
  std::ofstream(path, std::ios::binary) << std::string(32, static_cast<char>(fill));
  chmod(path.c_str(), fileMode);
}

// The result of one CryptUnprotectData: its code (0 on success) and what it gave.
struct Opened {
  DWORD code = 0;
  ByteArray data;
  std::wstring description;
};

Opened Open(const ByteArray& blob, const ByteArray* entropy, bool askDescription) {
  static unsigned char none = 0;
  DATA_BLOB in{static_cast<DWORD>(blob.size()), blob.empty() ? &none : const_cast<BYTE*>(blob.data())};
  DATA_BLOB extra{entropy ? static_cast<DWORD>(entropy->size()) : 0u,
                  entropy && !entropy->empty() ? const_cast<BYTE*>(entropy->data()) : &none};
  DATA_BLOB out{};
  LPWSTR text = nullptr;
  const std::size_t live = Testing::LiveHandleCount();
  Opened opened;
  if (!CryptUnprotectData(&in, askDescription ? &text : nullptr, entropy ? &extra : nullptr, nullptr, nullptr,
                          CRYPTPROTECT_UI_FORBIDDEN, &out)) {
    opened.code = GetLastError();
    Require(out.pbData == nullptr && text == nullptr && Testing::LiveHandleCount() == live);
    return opened;
  }
  opened.data.assign(out.pbData, out.pbData + out.cbData);
  LocalFree(out.pbData);
  if (text != nullptr) opened.description = text;
  LocalFree(text);
  Require(Testing::LiveHandleCount() == live);
  return opened;
}

void RoundTrip(const std::uint8_t* data, std::size_t size) {
  if (size < 6) return;
  const bool machine = (data[0] & 2) != 0, askDescription = (data[0] & 4) != 0;
  const std::size_t entropySize = data[1], descriptionSize = data[2], position = data[3] << 8 | data[4];
  const unsigned char change = data[5] != 0 ? data[5] : 1;
  data += 6;
  size -= 6;
  const ByteArray entropy = Take(data, size, entropySize), descriptionBytes = Take(data, size, descriptionSize);
  // A description is a C string: it ends at its first NUL.
  std::wstring description(descriptionBytes.begin(), descriptionBytes.end());
  description.resize(std::wcslen(description.c_str()));
  const ByteArray plain(data, data + size);

  DATA_BLOB in{static_cast<DWORD>(plain.size()), const_cast<BYTE*>(plain.data())}, out{};
  static unsigned char none = 0;
  if (in.pbData == nullptr) in.pbData = &none;
  DATA_BLOB extra{static_cast<DWORD>(entropy.size()), entropy.empty() ? &none : const_cast<BYTE*>(entropy.data())};
  Require(CryptProtectData(&in, description.c_str(), &extra, nullptr, nullptr,
                           machine ? CRYPTPROTECT_LOCAL_MACHINE : 0, &out) != FALSE);
  const ByteArray blob(out.pbData, out.pbData + out.cbData);
  LocalFree(out.pbData);

  const Opened opened = Open(blob, &entropy, askDescription);
  Require(opened.code == 0 && opened.data == plain && opened.description == (askDescription ? description : L""));
  ByteArray changed = blob;
  changed[position % changed.size()] ^= change;
  Require(Open(changed, &entropy, askDescription).code == ERROR_INVALID_DATA);
  Require(Open(ByteArray(blob.begin(), blob.end() - 1), &entropy, askDescription).code == ERROR_INVALID_DATA);
  ByteArray otherEntropy = entropy;
  otherEntropy.push_back(change);
  Require(Open(blob, &otherEntropy, askDescription).code == ERROR_INVALID_DATA);
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  char base[] = "/tmp/zt_fuzz_unprotect_XXXXXX";
  Require(mkdtemp(base) != nullptr);
  const std::string user = std::string(base) + "/user", machine = std::string(base) + "/machine";
  WriteSecret(user, "user.secret", 0700, 0600, 0x11);
  WriteSecret(machine, "machine.secret", 0755, 0644, 0x22);
  Testing::RedirectProtectionSecrets({user, machine});
  static std::string s_base = base;
  std::atexit([] {
    std::error_code ignored;
    std::filesystem::remove_all(s_base, ignored);
  });
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 1) return 0;
  if ((data[0] & 1) != 0) {
    RoundTrip(data, size);
    return 0;
  }
  const Opened opened = Open(ByteArray(data + 1, data + size), nullptr, (data[0] & 4) != 0);
  Require(opened.code == 0 || opened.code == ERROR_INVALID_DATA);
  return 0;
}
