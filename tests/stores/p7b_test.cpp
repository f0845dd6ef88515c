// The PKCS #7 bundle store against bundles the openssl tool writes and reads: enumeration order,
// round trips, duplicates, the filter that is not applied, deletion, and the failures of Load.
#include "stores_test_util.h"

namespace {

using namespace storetest;

const std::vector<std::string> kThree = {"logon", "intermediate", "root"};  // three.p7b's stored order

P7bStore LoadBundle(const ByteArray& bundle) { return P7bStore(ICertP7bStore::Load(bundle)); }

std::vector<std::string> Subjects(const std::vector<std::string>& names) {
  std::vector<std::string> subjects;
  for (const std::string& name : names) subjects.push_back(FixtureSubject(name));
  return subjects;
}

TEST(P7bStore, ListsAnOpensslBundleLastStoredFirstAndSavesItBackByteForByte) {
  const ByteArray bundle = StoreFixture("three.p7b");
  const P7bStore store = LoadBundle(bundle);
  EXPECT_EQ(ListedEncodings(*store), Encodings({"root", "intermediate", "logon"}));
  for (ICertContext* context : Listed(*store)) EXPECT_EQ(context->GetPrivateKey(), nullptr);
  // The platform store holds them newest first, so the bundle comes out in its stored order:
  // exactly what openssl wrote; the same for the empty bundle and an empty store.
  EXPECT_EQ(Saved(*store), bundle);
  const ByteArray empty = StoreFixture("empty.p7b");
  EXPECT_TRUE(Listed(*LoadBundle(empty)).empty());
  EXPECT_EQ(Saved(*P7bStore(ICertP7bStore::Create())), empty);
}

// `bundle` (DER) with its ContentInfo, [0] and SignedData in BER's indefinite-length form, as
// streaming writers leave them; the rest as it was.
ByteArray Indefinite(const ByteArray& bundle) {
  const auto headerSize = [&](std::size_t at) -> std::size_t { return bundle[at + 1] < 0x80 ? 2 : 2 + (bundle[at + 1] & 0x7f); };
  const std::size_t oid = headerSize(0);
  const std::size_t explicitTag = oid + 2 + bundle[oid + 1];
  const std::size_t signedData = explicitTag + headerSize(explicitTag);
  ByteArray ber{0x30, 0x80};
  ber.insert(ber.end(), bundle.begin() + static_cast<long>(oid), bundle.begin() + static_cast<long>(explicitTag));
  ber.insert(ber.end(), {0xa0, 0x80, 0x30, 0x80});
  ber.insert(ber.end(), bundle.begin() + static_cast<long>(signedData + headerSize(signedData)), bundle.end());
  ber.insert(ber.end(), 6, 0x00);
  return ber;
}

TEST(P7bStore, ReadsBerBundlesAndStepsOverCrls) {
  const ByteArray ber = Indefinite(StoreFixture("three.p7b"));
  ASSERT_EQ(OpensslSubjects("pkcs7 -inform DER -print_certs", ber), Subjects(kThree)) << "openssl reads the BER form";
  EXPECT_EQ(ListedEncodings(*LoadBundle(ber)), Encodings({"root", "intermediate", "logon"}));
  EXPECT_EQ(ListedEncodings(*LoadBundle(StoreFixture("with_crl.p7b"))), Encodings({"root", "intermediate"}));
  // Anything after the bundle is not read as part of it.
  ByteArray trailing = ber;
  trailing.push_back(0x00);
  ExpectFailure(Thrown([&] { LoadBundle(trailing); }), CRYPTO_BAD_PARAM, L"new CCertP7bStore(pP7bStore) failed");
}

TEST(P7bStore, WritesWhatOpensslReadsLastAddedFirstAndDuplicatesTwice) {
  const P7bStore store = StoreOf(kThree);
  const ByteArray saved = Saved(*store);
  EXPECT_EQ(OpensslSubjects("pkcs7 -inform DER -print_certs", saved), Subjects({"root", "intermediate", "logon"}));
  // And what it wrote loads back in the order the contexts were added.
  EXPECT_EQ(ListedEncodings(*LoadBundle(saved)), Encodings(kThree));
  // A context added twice is kept twice, each add a clone of its own, and saved twice.
  P7bStore duplicates = StoreOf({"logon"});
  duplicates->AddCertContext(Listed(*duplicates).front());
  ASSERT_EQ(Listed(*duplicates).size(), 2u);
  EXPECT_NE(Listed(*duplicates)[0], Listed(*duplicates)[1]);
  EXPECT_EQ(OpensslSubjects("pkcs7 -inform DER -print_certs", Saved(*duplicates)), Subjects({"logon", "logon"}));
}

TEST(P7bStore, ListsEveryContextWhateverTheFilterAndReplacesTheCallersList) {
  const P7bStore store = StoreOf(kThree);
  const std::unique_ptr<ICryptoParserFilter> filter(ICryptoParserFilter::Create());
  filter->SetOID(StringList{L"1.2.3.4"});
  filter->SetCritical(1);
  CertContextList list(5, nullptr);
  zttest::LogCapture capture(NQLOG_DATA);
  EXPECT_EQ(store->ListCertContext(filter.get(), list), 3u);
  EXPECT_EQ(list.size(), 3u);
  EXPECT_EQ(capture.At(NQLOG_DATA).front(),
            L"CCNGCertP7bStore::ListCertContext : pCertFilter=" + zttest::AddressText(filter.get()));
  capture.Clear();
  store->ListCertContext(nullptr, list);
  EXPECT_EQ(capture.At(NQLOG_WARNING), std::vector<std::wstring>{L"CCNGCertP7bStore::ListCertContext : pCertFilter=NULL!"});
}

TEST(P7bStore, DeletesTheListedContextOrTheFirstWithTheSameCertificate) {
  P7bStore store = StoreOf({"logon", "root", "logon", "intermediate"});
  // A listed pointer: that very context, even when an equal one comes first.
  store->DeleteCertContext(Listed(*store)[2]);
  EXPECT_EQ(ListedEncodings(*store), Encodings({"logon", "root", "intermediate"}));
  // Another context of the same certificate: the first that matches.
  const Certificate root = LoadCertificate("root");
  const Context other(ICertContext::Create(root.get()));
  store->DeleteCertContext(other.get());
  EXPECT_EQ(ListedEncodings(*store), Encodings({"logon", "intermediate"}));
  // The serialised form follows.
  EXPECT_EQ(OpensslSubjects("pkcs7 -inform DER -print_certs", Saved(*store)), Subjects({"intermediate", "logon"}));
}

TEST(P7bStore, AddKeepsACloneAndRefusesNullDeleteIgnoresWhatTheStoreDoesNotHold) {
  P7bStore store(ICertP7bStore::Create());
  {
    const Certificate certificate = LoadCertificate("logon");
    const Context context(ICertContext::Create(certificate.get()));
    store->AddCertContext(context.get());
    EXPECT_NE(Listed(*store).front(), context.get());
  }
  EXPECT_EQ(ListedEncodings(*store), Encodings({"logon"}));
  {
    zttest::LogCapture capture(NQLOG_EXIT);
    ExpectFailure(Thrown([&] { store->AddCertContext(nullptr); }), CRYPTO_BAD_PARAM, L"pCertContext=empty!");
    EXPECT_EQ(capture.At(NQLOG_ERROR),
              std::vector<std::wstring>{L"CCNGCertP7bStore::AddCertContext : pCertContext=NULL!"});
    EXPECT_EQ(capture.At(NQLOG_EXIT).back(), L"CCNGCertP7bStore::AddCertContext Returns pCertContext=empty!");
  }
  const Certificate root = LoadCertificate("root");
  const Context absent(ICertContext::Create(root.get()));
  zttest::LogCapture capture(NQLOG_WARNING);
  store->DeleteCertContext(nullptr);
  store->DeleteCertContext(absent.get());
  EXPECT_EQ(capture.At(NQLOG_WARNING),
            (std::vector<std::wstring>{L"CCNGCertP7bStore::DeleteCertContext : pCertContext=NULL!",
                                       L"CCNGCertP7bStore::DeleteCertContext : pCertContext=" +
                                           zttest::AddressText(absent.get()) + L" not found"}));
  EXPECT_EQ(Listed(*store).size(), 1u);
}

TEST(P7bStore, LoadFailsWithTheReasonInsideTheFactorysMessage) {
  struct Case {
    const char* what;
    ByteArray bytes;
    std::uint64_t id;
    const wchar_t* reason;
  };
  ByteArray truncated = StoreFixture("three.p7b");
  truncated.resize(truncated.size() - 1);
  const Case cases[] = {
      {"no bytes", {}, CRYPTO_BAD_PARAM, L"Error : bad input parameters"},
      {"a single DER certificate", CertDer("logon"), CRYPTO_BAD_PARAM, L"Error deserialize (pkcs7) to store (0x80092009)"},
      {"a PFX", StoreFixture("modern.p12"), CRYPTO_BAD_PARAM, L"Error deserialize (pkcs7) to store (0x80092009)"},
      {"a truncated bundle", truncated, CRYPTO_BAD_PARAM, L"Error deserialize (pkcs7) to store (0x80092009)"},
      {"an EC certificate", StoreFixture("with_ec.p7b"), CRYPTO_NOT_SUPPORTED, L"AddCertContext failed"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    const auto e = Thrown([&] { LoadBundle(c.bytes); });
    ExpectFailure(e, c.id, L"new CCertP7bStore(pP7bStore) failed");
    EXPECT_EQ(MessageAt(e.get(), 1), c.reason);
  }
}


}  // namespace
