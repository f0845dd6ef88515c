// The certificate file store (bytes through unchanged, over file mapping, the system's codes in
// its messages) and the system store, which refuses.
#include <sys/stat.h>

#include <filesystem>

#include "stores_test_util.h"
#include "support/tool_runner.h"

namespace {

using namespace storetest;

WString Wide(const std::string& utf8) {
  WString wide;
  EXPECT_TRUE(Der::DecodeString(Der::kUtf8StringType, Der::Bytes(reinterpret_cast<const std::uint8_t*>(utf8.data()), utf8.size()), &wide));
  return wide;
}

std::uintmax_t FileSize(const std::string& path) { return std::filesystem::file_size(zttest::Utf8Path(path)); }

TEST(CertFileStore, RoundTripsTheBytesUnchangedUnderANonAsciiNameAndShortensALongerFile) {
  const ScratchFile file("Zertifikat-\xc3\xa4\xe6\x97\xa5\xe6\x9c\xac.der");  // "Zertifikat-ä日本.der"
  file.Write(ByteArray(10000, 0x55));
  const Certificate logon = LoadCertificate("logon");
  ICertPEMStore::save(logon.get(), Wide(file.Path()));
  EXPECT_EQ(FileSize(file.Path()), CertDer("logon").size());
  EXPECT_EQ(Bytes(zttest::ReadBinaryFile(file.Path())), CertDer("logon"));
  const Certificate loaded(ICertPEMStore::load(Wide(file.Path())));
  EXPECT_EQ(loaded->GetEncoded(), CertDer("logon"));
  // The bytes pass through unchanged: PEM armour is not taken off, the certificate decoder reads DER.
  file.Write(Bytes(zttest::ReadFixtureFile("certs/logon.pem")));
  const auto e = Thrown([&] { Certificate(ICertPEMStore::load(Wide(file.Path()))); });
  ExpectFailure(e, CRYPTO_BAD_PARAM, L"ICertificate::Create() failed");
  EXPECT_EQ(MessageAt(e.get(), 1), L"new ICertificate() failed");
}

TEST(CertFileStore, ReportsTheSystemsCodesWithTwoDigitsAndReleasesWhatItOpened) {
  const ScratchFile empty("empty.der");
  empty.Write({});
  const std::string missing = testing::TempDir() + "no-such-file.der";
  const std::string noDirectory = testing::TempDir() + "no-such-directory/file.der";
  const std::string directory = testing::TempDir();
  struct Case {
    std::string path;
    const wchar_t* message;
  };
  const Case cases[] = {
      {missing, L"Error openning the file %s (0x02)"},
      {noDirectory, L"Error openning the file %s (0x03)"},
      {directory, L"Error openning the file %s (0x05)"},
      {empty.Path(), L"Error creating file mapping (0x3ee)"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.path);
    const zttest::NoHandleLeft noHandleLeft;
    zttest::LogCapture capture(NQLOG_EXIT);
    const auto e = Thrown([&] { Certificate(ICertPEMStore::load(Wide(c.path))); });
    std::wstring message = c.message;
    if (const std::size_t at = message.find(L"%s"); at != std::wstring::npos) message.replace(at, 2, Wide(c.path).c_str());
    ExpectFailure(e, CRYPTO_BAD_PARAM, WString(message.begin(), message.end()));
    ASSERT_TRUE(e);
    EXPECT_EQ(e->getFilename(), L"sources/cng/crypto.cng.certpemstores");
    EXPECT_EQ(capture.At(NQLOG_EXIT).back(), L"ICertPEMStore::load Returns " + message);
    // The shared release ran on the way out.
    const std::vector<std::wstring> entries = capture.At(NQLOG_ENTRY);
    EXPECT_NE(std::find(entries.begin(), entries.end(), L"CryptoUtil::freeHandles"), entries.end());
  }
}

TEST(CertFileStore, SaveRefusesWhatItCannotWrite) {
  const Certificate logon = LoadCertificate("logon");
  zttest::LogCapture capture(NQLOG_ERROR);
  ExpectFailure(Thrown([] { ICertPEMStore::save(nullptr, L"x.der"); }), CRYPTO_BAD_PARAM, L"pStore=NULL!");
  ExpectFailure(Thrown([&] { ICertPEMStore::save(logon.get(), L""); }), CRYPTO_BAD_PARAM, L"sFilename=empty!");
  ExpectFailure(Thrown([] { Certificate(ICertPEMStore::load(L"")); }), CRYPTO_BAD_PARAM, L"sFilename=empty!");
  EXPECT_EQ(capture.At(NQLOG_ERROR),
            (std::vector<std::wstring>{L"ICertPEMStore::save : pStore=NULL!", L"ICertPEMStore::save : sFilename=empty!",
                                       L"ICertPEMStore::load : sFilename=empty!"}));
  // A directory that may not be written (Windows keeps no such mode on a directory).
#if !defined(_WIN32)
  const std::string readOnly = testing::TempDir() + "zt-read-only-" + std::to_string(::getpid());
  std::filesystem::create_directory(readOnly);
  std::filesystem::permissions(readOnly, std::filesystem::perms::owner_read | std::filesystem::perms::owner_exec);
  if (!zttest::RunsAsRoot()) {  // root writes anywhere
    const auto e = Thrown([&] { ICertPEMStore::save(logon.get(), Wide(readOnly + "/cert.der")); });
    ExpectFailure(e, CRYPTO_BAD_PARAM, L"Error openning the file " + Wide(readOnly + "/cert.der") + L" (0x05)");
  }
  std::filesystem::remove_all(readOnly);
#endif
}

TEST(SystemStore, RefusesEveryCallAndOpensNothing) {
  const P7bStore store(ICertP7bStore::Create());
  const zttest::NoHandleLeft noHandleLeft;
  for (const WString& name : {WString(L"MY"), WString(L"Root"), WString()}) {
    zttest::LogCapture capture(NQLOG_EXIT);
    ExpectFailure(Thrown([&] { std::unique_ptr<ICertStore>(ICertSystemStore::Load(name)); }), CRYPTO_NOT_IMPLEMENTED,
                  L"Not Implemented");
    ExpectFailure(Thrown([&] { ICertSystemStore::save(store.get(), name); }), CRYPTO_NOT_IMPLEMENTED, L"Not Implemented");
    EXPECT_EQ(capture.Trace(),
              (std::vector<std::wstring>{L"8|ICertSystemStore::Load", L"1|ICertSystemStore::Load : Not Implemented",
                                         L"16|ICertSystemStore::Load Returns Not Implemented", L"8|ICertSystemStore::save",
                                         L"1|ICertSystemStore::save : Not Implemented",
                                         L"16|ICertSystemStore::save Returns Not Implemented"}));
  }
}

}  // namespace
