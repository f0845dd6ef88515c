#include "stores_test_util.h"

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <sstream>

namespace storetest {

ScratchFile::ScratchFile(const std::string& name)
    : m_path(testing::TempDir() + std::to_string(::getpid()) + "-" + name) {
  std::error_code ignored;
  std::filesystem::remove(zttest::Utf8Path(m_path), ignored);
}

ScratchFile::~ScratchFile() {
  std::error_code ignored;
  std::filesystem::remove(zttest::Utf8Path(m_path), ignored);
}

void ScratchFile::Write(const ByteArray& bytes) const {
  std::ofstream out(zttest::Utf8Path(m_path), std::ios::binary | std::ios::trunc);
  out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
}

P12Store LoadPfx(const ByteArray& pfx, const WString& password) { return P12Store(ICertP12Store::load(pfx, password)); }
P12Store LoadPfx(const std::string& name) { return LoadPfx(StoreFixture(name), FixturePassword()); }


// A number of an openssl key file as the tool prints it ("privateExponent:" and its hex lines),
// big-endian without leading zeros.
namespace {

ByteArray OpensslKeyNumber(const std::string& keyName, const std::string& field) {
  const std::string text = zttest::CommandOutput("openssl pkey -noout -text -in " +
                                                 zttest::ShellQuoted(zttest::CertPath(keyName + ".key")));
  std::istringstream lines(text);
  std::string line, hex;
  bool inField = false;
  while (std::getline(lines, line)) {
    if (line.rfind(field + ":", 0) == 0) {
      inField = true;
    } else if (inField && !line.empty() && line[0] == ' ') {
      hex += line;
    } else if (inField) {
      break;
    }
  }
  ByteArray number = zttest::FromHex(hex);
  number.erase(number.begin(), std::find_if(number.begin(), number.end(), [](unsigned char b) { return b != 0; }));
  return number;
}

}  // namespace

void ExpectPairedKey(const ICertContext& context, const std::string& keyName) {
  ASSERT_NE(context.GetPrivateKey(), nullptr);
  const IRSAPrivateCRTKey& key = RsaKey(context.GetPrivateKey());
  const IRSAPublicKey& certificateKey = RsaPublicKey(*context.GetCertificate());
  EXPECT_EQ(key.GetModulus(), certificateKey.GetModulus());
  EXPECT_EQ(key.GetPublicExponent(), certificateKey.GetPublicExponent());
  EXPECT_EQ(key.GetPrivateExponent(), OpensslKeyNumber(keyName, "privateExponent"));
}

std::vector<std::string> OpensslSubjects(const std::string& command, const ByteArray& input) {
  const std::vector<unsigned char> printed = zttest::OpensslOutput(command + " -in {in} -out {out}", Plain(input));
  std::istringstream lines(std::string(printed.begin(), printed.end()));
  std::vector<std::string> subjects;
  for (std::string line; std::getline(lines, line);)
    if (line.rfind("subject=", 0) == 0) subjects.push_back(line);
  return subjects;
}

std::string FixtureSubject(const std::string& name) {
  std::string subject = zttest::OpensslX509(name, "-subject");
  while (!subject.empty() && subject.back() == '\n') subject.pop_back();
  return subject;
}

const IRSAPrivateCRTKey& RsaKey(const IPrivateKey* key) {
  const auto* rsa = dynamic_cast<const IRSAPrivateCRTKey*>(key);
  if (rsa == nullptr) throw std::runtime_error("not an RSA private key");
  return *rsa;
}

const IRSAPublicKey& RsaPublicKey(const ICertificate& certificate) {
  const auto* rsa = dynamic_cast<const IRSAPublicKey*>(certificate.GetPublicKey());
  if (rsa == nullptr) throw std::runtime_error("not an RSA public key");
  return *rsa;
}

}  // namespace storetest
