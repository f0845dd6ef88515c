// Armed call failures: which calls fail, how each kind of entry reports it, and that the seam's
// own use of an entry is not counted.
#include <atomic>
#include <vector>

#include "platform/testing.h"
#include "platform_test_util.h"

namespace {

namespace Testing = ZT::Platform::Testing;

class CallFailures : public ::testing::Test {
 protected:
  void TearDown() override { Testing::ResetCallFailures(); }
};

NTSTATUS SystemRandom(unsigned char* byte) {
  return BCryptGenRandom(nullptr, byte, 1, BCRYPT_USE_SYSTEM_PREFERRED_RNG);
}

TEST_F(CallFailures, OnlyTheArmedCallsFailAndArmingAgainReplaces) {
  unsigned char byte = 0;
  Testing::FailCall("BCryptGenRandom", STATUS_NO_MEMORY, 2, 2);
  EXPECT_EQ(Testing::PendingCallFailures(), 2u);
  std::vector<NTSTATUS> results;
  for (int i = 0; i < 4; ++i) results.push_back(SystemRandom(&byte));
  EXPECT_EQ(results, (std::vector<NTSTATUS>{STATUS_SUCCESS, STATUS_NO_MEMORY, STATUS_NO_MEMORY, STATUS_SUCCESS}));
  EXPECT_EQ(Testing::PendingCallFailures(), 0u);

  // Another entry's calls do not count; a second arming replaces the first; a reset disarms.
  Testing::FailCall("BCryptGenRandom", STATUS_NO_MEMORY, 3);
  Testing::FailNextCall("BCryptGenRandom", STATUS_UNSUCCESSFUL);
  Testing::FailNextCall("BCryptHashData", STATUS_INVALID_HANDLE);
  EXPECT_EQ(SystemRandom(&byte), STATUS_UNSUCCESSFUL);
  EXPECT_EQ(SystemRandom(&byte), STATUS_SUCCESS);
  Testing::ResetCallFailures();
  EXPECT_EQ(Testing::PendingCallFailures(), 0u);
  EXPECT_EQ(BCryptHashData(nullptr, nullptr, 0, 0), STATUS_INVALID_HANDLE) << "the seam's own answer";

  // The trust store reads its certificates without the entry: the armed call is still to come.
  Testing::FailNextCall("CertCreateCertificateContext", static_cast<DWORD>(CRYPT_E_ASN1_CORRUPT));
  Testing::ReplaceTrustStore({{zttest::ReadFixtureFile("certs/root.der")}, {}, {}});
  Testing::RestoreTrustStore();
  EXPECT_EQ(Testing::PendingCallFailures(), 1u);
}

// A failing call does nothing: no handle, no context, and the code where the entry reports it.
TEST_F(CallFailures, EachEntryReportsTheFailureItsOwnWay) {
  const std::size_t handles = Testing::LiveHandleCount();
  HCRYPTPROV provider = 0;
  Testing::FailNextCall("CryptAcquireContextW", static_cast<DWORD>(NTE_FAIL));
  EXPECT_EQ(zttest::ErrorOf(CryptAcquireContextW(&provider, nullptr, nullptr, PROV_RSA_FULL, CRYPT_VERIFYCONTEXT)),
            zttest::Code(NTE_FAIL));
  EXPECT_EQ(provider, 0u);

  const zttest::Bytes der = zttest::ReadFixtureFile("certs/root.der");
  Testing::FailNextCall("CertCreateCertificateContext", static_cast<DWORD>(CRYPT_E_ASN1_CORRUPT));
  EXPECT_EQ(CertCreateCertificateContext(X509_ASN_ENCODING, der.data(), static_cast<DWORD>(der.size())), nullptr);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(CRYPT_E_ASN1_CORRUPT));

  GUID guid{};
  Testing::FailNextCall("CoCreateGuid", static_cast<DWORD>(E_OUTOFMEMORY));
  EXPECT_EQ(CoCreateGuid(&guid), E_OUTOFMEMORY);
  unsigned int value = 0;
  Testing::FailNextCall("rand_s", 12);
  EXPECT_EQ(rand_s(&value), 12);
  SYSTEMTIME time{};
  Testing::FailNextCall("VariantTimeToSystemTime", 0);
  EXPECT_FALSE(VariantTimeToSystemTime(45000.0, &time));
  EXPECT_TRUE(VariantTimeToSystemTime(45000.0, &time));
  EXPECT_EQ(Testing::LiveHandleCount(), handles);
}

// The count is shared by all threads: exactly the armed number of calls fail among them.
TEST_F(CallFailures, ThreadsShareTheArmedCalls) {
  Testing::FailCall("BCryptGenRandom", STATUS_NO_MEMORY, 10, 25);
  std::atomic<int> failed{0};
  zttest::InThreads(4, [&](int) {
    unsigned char byte = 0;
    for (int i = 0; i < 50; ++i)
      if (SystemRandom(&byte) == STATUS_NO_MEMORY) ++failed;
  });
  EXPECT_EQ(failed.load(), 25);
  EXPECT_EQ(Testing::PendingCallFailures(), 0u);
}

}  // namespace
