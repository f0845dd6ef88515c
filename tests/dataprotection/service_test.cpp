// CryptProtectData and CryptUnprotectData on Linux: arguments, codes, scopes, entropy,
// descriptions, and every way a blob can fail to open.
#include "dataprotection/dpapi_test_util.h"
#include "support/call_failures.h"

namespace {

using namespace dpapitest;
using zttest::NoHandleLeft;

class DataProtectionService : public ::testing::Test {
 protected:
  SecretDirectories secrets;
  NoHandleLeft handles;
  const ByteArray message = Text("the secret message");
  const ByteArray entropy = Text("pepper");
};

TEST_F(DataProtectionService, RoundTripsInBothScopes) {
  secrets.CreateMachineSecret();
  for (const DWORD flags : {DWORD{CRYPTPROTECT_UI_FORBIDDEN}, DWORD{CRYPTPROTECT_UI_FORBIDDEN | CRYPTPROTECT_LOCAL_MACHINE}}) {
    const Outcome sealed = Protect(message, flags);
    ASSERT_TRUE(sealed.ok) << std::hex << sealed.code;
    EXPECT_EQ(sealed.bytes[kScopeOffset], (flags & CRYPTPROTECT_LOCAL_MACHINE) ? kMachineScope : kUserScope);
    // The blob names its scope: unprotecting needs no flag for it, and ignores one.
    for (const DWORD unprotectFlags : {DWORD{0}, DWORD{CRYPTPROTECT_LOCAL_MACHINE}}) {
      const Outcome opened = Unprotect(sealed.bytes, nullptr, unprotectFlags);
      ASSERT_TRUE(opened.ok) << std::hex << opened.code;
      EXPECT_EQ(opened.bytes, message);
      EXPECT_EQ(opened.description, L"");
    }
    // Fresh salt and nonce each time.
    EXPECT_NE(Protect(message, flags).bytes, sealed.bytes);
  }
  const Outcome empty = Protect(ByteArray());
  ASSERT_TRUE(empty.ok);
  const Outcome opened = Unprotect(empty.bytes);
  EXPECT_TRUE(opened.ok);
  EXPECT_TRUE(opened.bytes.empty());
}

TEST_F(DataProtectionService, DescriptionTravelsWithTheDataAndEntropyMustBeGivenAgain) {
  const std::wstring text = L"Caf\u00e9 \u2713 \U0001D11E, line\nend";
  const Outcome sealed = Protect(message, CRYPTPROTECT_UI_FORBIDDEN, nullptr, text.c_str());
  ASSERT_TRUE(sealed.ok);
  EXPECT_EQ(Unprotect(sealed.bytes).description, text);
  // The description is sealed too: it does not stand in the blob as text.
  const std::string utf8 = "line\nend";
  EXPECT_EQ(std::search(sealed.bytes.begin(), sealed.bytes.end(), utf8.begin(), utf8.end()), sealed.bytes.end());
  // Not asking for it is allowed.
  DATA_BLOB in{static_cast<DWORD>(sealed.bytes.size()), const_cast<BYTE*>(sealed.bytes.data())}, out{};
  ASSERT_TRUE(CryptUnprotectData(&in, nullptr, nullptr, nullptr, nullptr, 0, &out));
  EXPECT_EQ(ByteArray(out.pbData, out.pbData + out.cbData), message);
  LocalFree(out.pbData);

  // The entropy must be given again, exactly.
  const Outcome withEntropy = Protect(message, CRYPTPROTECT_UI_FORBIDDEN, &entropy);
  ASSERT_TRUE(withEntropy.ok);
  const ByteArray other = Text("peppes"), empty;
  EXPECT_EQ(Unprotect(withEntropy.bytes, &entropy).bytes, message);
  for (const ByteArray* wrong : {static_cast<const ByteArray*>(nullptr), &empty, &other})
    EXPECT_EQ(Unprotect(withEntropy.bytes, wrong).code, ERROR_INVALID_DATA);

  // An empty entropy blob is no entropy.
  const Outcome without = Protect(message, CRYPTPROTECT_UI_FORBIDDEN, &empty);
  ASSERT_TRUE(without.ok);
  EXPECT_EQ(Unprotect(without.bytes).bytes, message);
  EXPECT_EQ(Unprotect(without.bytes, &entropy).code, ERROR_INVALID_DATA);
}

TEST_F(DataProtectionService, AnyChangeToABlobFailsWithInvalidData) {
  secrets.CreateMachineSecret();
  for (const DWORD flags : {DWORD{0}, DWORD{CRYPTPROTECT_LOCAL_MACHINE}}) {
    const Outcome sealed = Protect(message, flags, &entropy, L"described");
    ASSERT_TRUE(sealed.ok);
    for (std::size_t i = 0; i < sealed.bytes.size(); ++i) {
      for (const unsigned char change : {0x01, 0x03, 0x80, 0xFF}) {
        ByteArray changed = sealed.bytes;
        changed[i] ^= change;
        const Outcome opened = Unprotect(changed, &entropy);
        EXPECT_FALSE(opened.ok) << "byte " << i;
        EXPECT_EQ(opened.code, ERROR_INVALID_DATA) << "byte " << i;
      }
    }
    for (std::size_t size = 0; size < sealed.bytes.size(); ++size)
      EXPECT_EQ(Unprotect(ByteArray(sealed.bytes.begin(), sealed.bytes.begin() + size), &entropy).code,
                ERROR_INVALID_DATA)
          << "truncated to " << size;
    ByteArray longer = sealed.bytes;
    longer.push_back(0);
    EXPECT_EQ(Unprotect(longer, &entropy).code, ERROR_INVALID_DATA);
  }
  EXPECT_EQ(Unprotect(Text("not a blob at all, but long enough to hold a header and a tag: 0123456789")).code,
            ERROR_INVALID_DATA);
}

TEST_F(DataProtectionService, OtherUsersAndOtherMachinesCannotOpen) {
  secrets.CreateMachineSecret();
  const Outcome userBlob = Protect(message);
  const Outcome machineBlob = Protect(message, CRYPTPROTECT_LOCAL_MACHINE);
  ASSERT_TRUE(userBlob.ok && machineBlob.ok);

  // Another user of this machine: the machine's blob opens, the user's does not, neither before
  // that user has a secret nor after.
  secrets.Redirect(secrets.Under("other-user"), secrets.Machine());
  EXPECT_EQ(Unprotect(userBlob.bytes).code, ERROR_INVALID_DATA);
  ASSERT_TRUE(Protect(message).ok);
  EXPECT_EQ(Unprotect(userBlob.bytes).code, ERROR_INVALID_DATA);
  EXPECT_EQ(Unprotect(machineBlob.bytes).bytes, message);

  // Another machine, with its own secret or none: the machine's blob does not open.
  secrets.Redirect(secrets.User(), secrets.Under("other-machine"));
  EXPECT_EQ(Unprotect(machineBlob.bytes).code, ERROR_INVALID_DATA);
  secrets.CreateMachineSecret();
  EXPECT_EQ(Unprotect(machineBlob.bytes).code, ERROR_INVALID_DATA);
  EXPECT_EQ(Unprotect(userBlob.bytes).bytes, message);
}

TEST_F(DataProtectionService, RefusesBadArgumentsWithoutHandingOutAnything) {
  static unsigned char byte = 0;
  DATA_BLOB data{1, &byte}, noPointer{0, nullptr}, badEntropy{4, nullptr}, out{};
  CRYPTPROTECT_PROMPTSTRUCT wrongSize{sizeof(CRYPTPROTECT_PROMPTSTRUCT) + 1, 0, nullptr, nullptr};
  CRYPTPROTECT_PROMPTSTRUCT noPrompt{sizeof(CRYPTPROTECT_PROMPTSTRUCT), 0, nullptr, L"unused"};
  CRYPTPROTECT_PROMPTSTRUCT prompt{sizeof(CRYPTPROTECT_PROMPTSTRUCT), CRYPTPROTECT_PROMPT_ON_UNPROTECT, nullptr, L"?"};
  int reserved = 0;
  struct Case {
    const char* name;
    DATA_BLOB* in;
    DATA_BLOB* entropy;
    void* reserved;
    CRYPTPROTECT_PROMPTSTRUCT* prompt;
    DWORD flags;
    DATA_BLOB* out;
    DWORD code;
  };
  const Case cases[] = {
      {"null data", nullptr, nullptr, nullptr, nullptr, 0, &out, ERROR_INVALID_PARAMETER},
      {"null bytes, even for no data", &noPointer, nullptr, nullptr, nullptr, 0, &out, ERROR_INVALID_PARAMETER},
      {"null output", &data, nullptr, nullptr, nullptr, 0, nullptr, ERROR_INVALID_PARAMETER},
      {"entropy without bytes", &data, &badEntropy, nullptr, nullptr, 0, &out, ERROR_INVALID_PARAMETER},
      {"reserved", &data, nullptr, &reserved, nullptr, 0, &out, ERROR_INVALID_PARAMETER},
      {"unknown flag", &data, nullptr, nullptr, nullptr, CRYPTPROTECT_CRED_SYNC, &out, ERROR_INVALID_PARAMETER},
      {"prompt of another size", &data, nullptr, nullptr, &wrongSize, 0, &out, ERROR_INVALID_PARAMETER},
      {"prompt, UI forbidden", &data, nullptr, nullptr, &prompt, CRYPTPROTECT_UI_FORBIDDEN, &out,
       ERROR_PASSWORD_RESTRICTION},
      {"prompt", &data, nullptr, nullptr, &prompt, 0, &out, ERROR_NOT_SUPPORTED},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    SetLastError(0);
    EXPECT_FALSE(CryptProtectData(c.in, nullptr, c.entropy, c.reserved, c.prompt, c.flags, c.out));
    EXPECT_EQ(GetLastError(), c.code);
    SetLastError(0);
    EXPECT_FALSE(CryptUnprotectData(c.in, nullptr, c.entropy, c.reserved, c.prompt, c.flags, c.out));
    EXPECT_EQ(GetLastError(), c.code);
    EXPECT_EQ(out.pbData, nullptr);
  }
  // Flags of the other function, and a description with no UTF-8 form (an unpaired surrogate,
  // possible where wchar_t has 32 bits).
  EXPECT_FALSE(CryptProtectData(&data, nullptr, nullptr, nullptr, nullptr, CRYPTPROTECT_VERIFY_PROTECTION, &out));
  EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
  if (sizeof(wchar_t) == 4) {
    const wchar_t lone[] = {L'a', static_cast<wchar_t>(0xD800), 0};
    EXPECT_FALSE(CryptProtectData(&data, lone, nullptr, nullptr, nullptr, 0, &out));
    EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
  }
  // A prompt structure that asks for no prompt is fine.
  ASSERT_TRUE(CryptProtectData(&data, nullptr, nullptr, nullptr, &noPrompt, CRYPTPROTECT_AUDIT, &out));
  DATA_BLOB opened{};
  EXPECT_TRUE(CryptUnprotectData(&out, nullptr, nullptr, nullptr, &noPrompt, CRYPTPROTECT_VERIFY_PROTECTION, &opened));
  LocalFree(out.pbData);
  LocalFree(opened.pbData);
}

TEST_F(DataProtectionService, LocalFreeReleasesOnlyWhatWasHandedOut) {
  int notABlock = 0;
  SetLastError(0);
  EXPECT_EQ(LocalFree(&notABlock), &notABlock);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_HANDLE));
  EXPECT_EQ(LocalFree(nullptr), nullptr);

  DATA_BLOB in{static_cast<DWORD>(message.size()), const_cast<BYTE*>(message.data())}, out{};
  ASSERT_TRUE(CryptProtectData(&in, nullptr, nullptr, nullptr, nullptr, 0, &out));
  EXPECT_EQ(LocalFree(out.pbData), nullptr);
  EXPECT_EQ(LocalFree(out.pbData), out.pbData);  // released once only
}

}  // namespace
