// Each platform call of data protection fails in turn (tests/fixtures/failures/dpapi.txt): what is
// thrown and logged, that nothing is left live, and what the caller can do next.
#include "dataprotection/dpapi_test_util.h"
#include "support/call_failures.h"

namespace {

using namespace dpapitest;
using zttest::ExpectCallFailure;
using zttest::NoHandleLeft;
using zttest::ReadCallFailures;

class DataProtectionCallFailures : public ::testing::Test {
 protected:
  SecretDirectories secrets;
  const ByteArray message = Text("message");
};

TEST_F(DataProtectionCallFailures, CipherStaysInitialisedWithItsInput) {
  const auto key = StoreKey(L"User");
  const ByteArray sealed = Protect(message).bytes;
  for (const auto& [section, mode, input, expected] :
       {std::tuple{"cipher-protect", CIPHER_ENCRYPT_MODE, message, ByteArray()},
        std::tuple{"cipher-unprotect", CIPHER_DECRYPT_MODE, sealed, message}}) {
    for (const auto& row : ReadCallFailures("dpapi", section)) {
      const NoHandleLeft handles;
      const std::unique_ptr<Cipher> cipher(Cipher::Create(Algorithm(L"DPAPI").get(), nullptr));
      cipher->Init(mode, key.get());
      ByteArray out;
      ExpectCallFailure(row, [&] { cipher->DoFinal(input, out); });
      EXPECT_TRUE(out.empty());
      cipher->DoFinal(out);  // the input is still there
      EXPECT_EQ(mode == CIPHER_ENCRYPT_MODE ? Unprotect(out).bytes : out, message);
    }
  }
}

TEST_F(DataProtectionCallFailures, ServiceInterface) {
  const ByteArray sealed = IDataProtection::Protect(message, L"", {}, false);
  for (const auto& row : ReadCallFailures("dpapi", "service")) {
    const NoHandleLeft handles;
    WString description = L"kept";
    ExpectCallFailure(row, [&] {
      if (row.entry == "CryptProtectData") IDataProtection::Protect(message, L"", {}, false);
      else IDataProtection::Unprotect(sealed, {}, description);
    });
    EXPECT_EQ(description, L"kept");
  }
}

TEST_F(DataProtectionCallFailures, MachineSecret) {
  secrets.Redirect(secrets.User(), "/tmp/zt-dpapi-table");
  for (const auto& row : ReadCallFailures("dpapi", "machine-secret"))
    ExpectCallFailure(row, [] { IDataProtection::CreateMachineSecret(); });
  // Asking whether there is one answers no when the check fails, without a throw.
  secrets.Redirect(secrets.User(), secrets.Machine());
  secrets.CreateMachineSecret();
  ZT::Platform::Testing::FailNextCall("CheckMachineProtectionSecret", ERROR_ACCESS_DENIED);
  EXPECT_FALSE(IDataProtection::HasMachineSecret());
  EXPECT_TRUE(IDataProtection::HasMachineSecret());
}

}  // namespace
