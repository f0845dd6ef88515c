// Each platform call of the stores fails in turn (tests/fixtures/failures/stores.txt): what is
// thrown and logged, that nothing is left open, and the state the store is left in.
#include <cstdio>
#include <functional>
#include <string>

#include "stores_test_util.h"

namespace {

using namespace storetest;
using zttest::ExpectCallFailure;
using zttest::NoHandleLeft;
using zttest::ReadCallFailures;

// Every row of `[section]` fails `operation`, which leaves no handle open.
void EachRowFailsLeavingNoHandle(const std::string& section, const std::function<void()>& operation) {
  for (const auto& row : ReadCallFailures("stores", section)) {
    const NoHandleLeft handles;
    ExpectCallFailure(row, operation);
  }
}

TEST(P7bStoreCallFailures, CreateAndLoadMakeNothing) {
  EachRowFailsLeavingNoHandle("p7b-create", [] { P7bStore(ICertP7bStore::Create()); });
  const ByteArray bundle = StoreFixture("three.p7b");
  EachRowFailsLeavingNoHandle("p7b-load", [&] { P7bStore(ICertP7bStore::Load(bundle)); });
}

// A failed operation leaves the store as it was: the same contexts, the same bundle.
TEST(P7bStoreCallFailures, OperationsLeaveTheStoreAsItWas) {
  const Certificate logon = LoadCertificate("logon");
  const Context context(ICertContext::Create(logon.get()));
  for (const auto& row : ReadCallFailures("stores", "p7b-add")) {
    P7bStore store = StoreOf({"root"});
    const ByteArray before = Saved(*store);
    ExpectCallFailure(row, [&] { store->AddCertContext(context.get()); });
    EXPECT_EQ(ListedEncodings(*store), Encodings({"root"})) << row.Name();
    EXPECT_EQ(Saved(*store), before) << row.Name();
  }
  for (const auto& row : ReadCallFailures("stores", "p7b-save")) {
    P7bStore store = StoreOf({"root"});
    ByteArray out{1, 2, 3};
    ExpectCallFailure(row, [&] { store->Save(out); });
    EXPECT_EQ(out, (ByteArray{1, 2, 3})) << row.Name();
  }
  for (const auto& row : ReadCallFailures("stores", "p7b-delete")) {
    P7bStore store = StoreOf({"root"});
    ExpectCallFailure(row, [&] { store->DeleteCertContext(Listed(*store).front()); });
    EXPECT_EQ(ListedEncodings(*store), Encodings({"root"})) << row.Name();
    EXPECT_EQ(OpensslSubjects("pkcs7 -inform DER -print_certs", Saved(*store)).size(), 1u) << row.Name();
  }
}

TEST(CertFileStoreCallFailures, EachStepReleasesWhatItOpened) {
  const char* name = "zt-store-failures.der";
  const Certificate logon = LoadCertificate("logon");
  ICertPEMStore::save(logon.get(), L"zt-store-failures.der");
  EachRowFailsLeavingNoHandle("pem-load", [] { Certificate(ICertPEMStore::load(L"zt-store-failures.der")); });
  EachRowFailsLeavingNoHandle("pem-save", [&] { ICertPEMStore::save(logon.get(), L"zt-store-failures.der"); });
  std::remove(name);
}

TEST(P12StoreCallFailures, LoadAndSaveMakeNothingAndLeaveNoKeyBehind) {
  const ByteArray pfx = StoreFixture("chain.p12");
  const WString password = FixturePassword();
  EachRowFailsLeavingNoHandle("p12-load", [&] { P12Store(ICertP12Store::load(pfx, password)); });
  const P12Store chain(ICertP12Store::load(pfx, password));
  EachRowFailsLeavingNoHandle("p12-save", [&] { ICertP12Store::save(chain.get(), L"x"); });
  // The store still writes what reads back.
  EXPECT_EQ(ListedEncodings(*P12Store(ICertP12Store::load(ICertP12Store::save(chain.get(), L"x"), L"x"))),
            ListedEncodings(*chain));
}

}  // namespace
