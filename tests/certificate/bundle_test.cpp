// Every RSA certificate of the system's CA bundle, read by the library and by the openssl tool,
// must agree on serial, version, validity, issuer and subject texts, extension OIDs and their
// criticality, key-usage bits and the extended-key-usage list; the others (EC and RSA-PSS keys)
// are refused, since the key is always read as RSA. openssl's forms are brought to the library's:
// the serial's magnitude gets its sign octet back; dates lose the "Z"; names (one RDN a line,
// numeric OIDs, UTF-8) are written in the platform's X.500 text syntax with its key words and
// quoting; OID names go back to OIDs through `openssl list -objects`; key-usage bits are named in
// RFC 5280's order with openssl's words.
#include <openssl/pem.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <map>
#include <set>
#include <sstream>

#include "certificate_test_util.h"

namespace {

using namespace certtest;

constexpr const char* kBundle = "/etc/ssl/certs/ca-certificates.crt";

struct Pem {
  std::string text;
  ByteArray der;
};

std::vector<Pem> BundleCertificates() {
  std::ifstream in(kBundle);
  std::stringstream all;
  all << in.rdbuf();
  const std::string text = all.str();
  std::vector<Pem> certificates;
  const std::string begin = "-----BEGIN CERTIFICATE-----", end = "-----END CERTIFICATE-----";
  for (std::size_t at = text.find(begin); at != std::string::npos; at = text.find(begin, at + 1)) {
    const std::size_t stop = text.find(end, at);
    if (stop == std::string::npos) break;
    Pem pem{text.substr(at, stop + end.size() - at) + "\n", {}};
    BIO* bio = BIO_new_mem_buf(pem.text.data(), static_cast<int>(pem.text.size()));
    char *name = nullptr, *header = nullptr;
    unsigned char* data = nullptr;
    long size = 0;
    if (PEM_read_bio(bio, &name, &header, &data, &size) == 1) pem.der.assign(data, data + size);
    OPENSSL_free(name);
    OPENSSL_free(header);
    OPENSSL_free(data);
    BIO_free(bio);
    certificates.push_back(std::move(pem));
  }
  return certificates;
}

// openssl's names of OIDs (short and long) to the OIDs: lines "sn = ln, 1.2.3", or "sn = 1.2.3"
// when both names are the same.
std::map<std::string, std::string> OpensslObjects() {
  std::map<std::string, std::string> objects;
  std::istringstream lines(zttest::CommandOutput("openssl list -objects"));
  for (std::string line; std::getline(lines, line);) {
    const std::size_t eq = line.find(" = ");
    if (eq == std::string::npos) continue;
    const std::size_t comma = line.rfind(", ");
    const bool oneName = comma == std::string::npos || comma < eq;
    const std::string oid = line.substr(oneName ? eq + 3 : comma + 2);
    if (oid.find_first_not_of("0123456789.") != std::string::npos) continue;
    objects[line.substr(0, eq)] = oid;
    if (!oneName) objects[line.substr(eq + 3, comma - eq - 3)] = oid;
  }
  return objects;
}

std::string Trimmed(const std::string& s) {
  const std::size_t first = s.find_first_not_of(' ');
  return first == std::string::npos ? "" : s.substr(first, s.find_last_not_of(' ') - first + 1);
}

std::vector<std::string> Split(const std::string& text, const std::string& separator) {
  std::vector<std::string> parts;
  std::size_t start = 0;
  for (std::size_t at; (at = text.find(separator, start)) != std::string::npos; start = at + separator.size())
    parts.push_back(text.substr(start, at - start));
  parts.push_back(text.substr(start));
  return parts;
}

// What openssl reads from one certificate.
struct OpensslView {
  bool rsaKey = false;
  int version = 0;
  std::string serial, notBefore, notAfter;
  std::vector<std::string> subject, issuer;  // one RDN a line
  std::vector<std::string> extensions;       // names, certificate order
  std::set<std::string> critical;
  std::string keyUsage, extendedKeyUsage;
};

std::size_t Indent(const std::string& line) { return line.find_first_not_of(' '); }

OpensslView ReadWithOpenssl(const std::string& pem) {
  char path[] = "/tmp/ztbundle-XXXXXX";
  const int fd = mkstemp(path);
  EXPECT_EQ(write(fd, pem.data(), pem.size()), static_cast<ssize_t>(pem.size()));
  close(fd);
  const std::string out = zttest::CommandOutput(
      "openssl x509 -noout -text -certopt no_sigdump,no_issuer,no_subject,no_validity,no_serial,no_signame "
      "-serial -dates -dateopt iso_8601 -subject -issuer -nameopt sep_multiline,oid,utf8 -in " +
      std::string(path));
  std::remove(path);

  OpensslView view;
  std::istringstream lines(out);
  std::vector<std::string>* names = nullptr;
  std::string* extensionValue = nullptr;
  bool inExtensions = false;
  for (std::string line; std::getline(lines, line);) {
    const std::size_t indent = Indent(line);
    if (names != nullptr && indent == 4) {
      names->push_back(line.substr(4));
      continue;
    }
    names = nullptr;
    if (line.rfind("subject=", 0) == 0) names = &view.subject;
    if (line.rfind("issuer=", 0) == 0) names = &view.issuer;
    if (line.rfind("serial=", 0) == 0) view.serial = line.substr(7);
    if (line.rfind("notBefore=", 0) == 0) view.notBefore = line.substr(10);
    if (line.rfind("notAfter=", 0) == 0) view.notAfter = line.substr(9);
    if (line.find("Public Key Algorithm: rsaEncryption") != std::string::npos) view.rsaKey = true;
    if (line.find("        Version: ") == 0) view.version = std::stoi(line.substr(17));
    if (line.find("X509v3 extensions:") != std::string::npos) {
      inExtensions = true;
      continue;
    }
    if (!inExtensions || indent == std::string::npos) continue;
    if (indent < 12) {
      inExtensions = false;
    } else if (indent == 12) {
      const std::size_t colon = line.rfind(':');
      const std::string name = line.substr(12, colon - 12);
      view.extensions.push_back(name);
      if (line.substr(colon) == ": critical") view.critical.insert(name);
      extensionValue = name == "X509v3 Key Usage"            ? &view.keyUsage
                       : name == "X509v3 Extended Key Usage" ? &view.extendedKeyUsage
                                                             : nullptr;
    } else if (extensionValue != nullptr) {
      *extensionValue += Trimmed(line);
    }
  }
  return view;
}

std::wstring FromUtf8(const std::string& text) {
  const WString wide = CConverter::MBCSByteArrayToString(ByteArray(text.begin(), text.end()));
  return std::wstring(wide.begin(), wide.end());
}

// The platform's key word of an attribute type, or "OID." and its OID.
std::wstring KeyWord(const std::string& oid) {
  static const std::string kKeyWords =
      ",2.5.4.3=CN,2.5.4.7=L,2.5.4.10=O,2.5.4.11=OU,1.2.840.113549.1.9.1=E,2.5.4.6=C,2.5.4.8=S,2.5.4.9=STREET,"
      "2.5.4.12=T,2.5.4.42=G,2.5.4.43=I,2.5.4.4=SN,2.5.4.5=SERIALNUMBER,0.9.2342.19200300.100.1.25=DC,"
      "2.5.4.13=Description,2.5.4.17=PostalCode,2.5.4.18=POBox,2.5.4.20=Phone,";
  const std::size_t at = kKeyWords.find("," + oid + "=");
  if (at == std::string::npos) return L"OID." + std::wstring(oid.begin(), oid.end());
  const std::size_t start = at + oid.size() + 2;
  const std::string word = kKeyWords.substr(start, kKeyWords.find(',', start) - start);
  return std::wstring(word.begin(), word.end());
}

std::wstring Quoted(const std::wstring& value) {
  const bool quote = value.empty() || std::iswspace(value.front()) || std::iswspace(value.back()) ||
                     value.find_first_of(L",+=\"<>#;\r\n") != std::wstring::npos;
  if (!quote) return value;
  std::wstring out = L"\"";
  for (wchar_t c : value) out += c == L'"' ? std::wstring(L"\"\"") : std::wstring(1, c);
  return out + L"\"";
}

std::wstring ExpectedName(const std::vector<std::string>& rdns) {
  std::wstring text;
  for (const std::string& rdn : rdns) {
    if (!text.empty()) text += L", ";
    bool first = true;
    for (const std::string& attribute : Split(rdn, " + ")) {
      const std::size_t eq = attribute.find('=');
      text +=
          (first ? L"" : L" + ") + KeyWord(attribute.substr(0, eq)) + L"=" + Quoted(FromUtf8(attribute.substr(eq + 1)));
      first = false;
    }
  }
  return text;
}

// openssl's serial form: hex of the magnitude, "-" before a negative one.
std::string SerialAsOpensslPrints(ByteArray bytes) {
  const bool negative = !bytes.empty() && (bytes[0] & 0x80);
  if (negative) {  // two's complement: invert and add one
    for (auto& b : bytes) b = static_cast<unsigned char>(~b);
    for (auto it = bytes.rbegin(); it != bytes.rend() && ++*it == 0; ++it) {
    }
  }
  while (bytes.size() > 1 && bytes[0] == 0) bytes.erase(bytes.begin());
  return (negative ? "-" : "") + UpperHex(bytes);
}

// RFC 5280 key-usage bits in order, with openssl's names.
std::string KeyUsageNames(const ByteArray& bits) {
  static const char* kNames[] = {"Digital Signature", "Non Repudiation", "Key Encipherment",
                                 "Data Encipherment", "Key Agreement",   "Certificate Sign",
                                 "CRL Sign",          "Encipher Only",   "Decipher Only"};
  std::string names;
  for (std::size_t bit = 0; bit < std::size(kNames); ++bit)
    if (bit / 8 < bits.size() && (bits[bit / 8] & (0x80 >> bit % 8)))
      names += (names.empty() ? "" : ", ") + std::string(kNames[bit]);
  return names;
}

std::wstring OidOf(const std::map<std::string, std::string>& objects, const std::string& name) {
  const auto found = objects.find(name);
  const std::string oid = found != objects.end() ? found->second : name;  // unknown ones print dotted
  return std::wstring(oid.begin(), oid.end());
}

std::vector<std::wstring> Sorted(std::vector<std::wstring> oids) {
  std::sort(oids.begin(), oids.end());
  return oids;
}

void Compare(const IX509Certificate& ours, const OpensslView& theirs,
             const std::map<std::string, std::string>& objects) {
  EXPECT_EQ(SerialAsOpensslPrints(ours.GetSerialNumber()), theirs.serial);
  EXPECT_EQ(ours.GetVersion() + 1, theirs.version);
  EXPECT_EQ(Std(ours.GetNotBefore()) + L"Z", FromUtf8(theirs.notBefore));
  EXPECT_EQ(Std(ours.GetNotAfter()) + L"Z", FromUtf8(theirs.notAfter));
  EXPECT_EQ(Std(ours.GetIssuerDN()->GetName(0)), ExpectedName(theirs.issuer));
  EXPECT_EQ(Std(ours.GetSubjectDN()->GetName(0)), ExpectedName(theirs.subject));

  std::vector<std::wstring> extensions, critical;
  for (const std::string& name : theirs.extensions) extensions.push_back(OidOf(objects, name));
  for (const std::string& name : theirs.critical) critical.push_back(OidOf(objects, name));
  StringList all, criticalOnly;
  ours.ListExtensions(nullptr, all);
  const std::unique_ptr<ICryptoParserFilter> filter(ICryptoParserFilter::Create());
  filter->SetCritical(1);
  ours.ListExtensions(filter.get(), criticalOnly);
  EXPECT_EQ(Strings(all), Sorted(extensions));
  EXPECT_EQ(Strings(criticalOnly), Sorted(critical));

  EXPECT_EQ(KeyUsageNames(ours.GetKeyUsage()), theirs.keyUsage);
  std::vector<std::wstring> purposes;
  if (!theirs.extendedKeyUsage.empty())
    for (const std::string& name : Split(theirs.extendedKeyUsage, ", ")) purposes.push_back(OidOf(objects, name));
  EXPECT_EQ(Strings(ours.GetExtendedKeyUsage()), purposes);
}

TEST(CABundle, EveryRsaCertificateAgreesWithTheOpensslTool) {
  const std::vector<Pem> bundle = BundleCertificates();
  ASSERT_GT(bundle.size(), 100u) << kBundle << " (package ca-certificates)";
  const auto objects = OpensslObjects();
  ASSERT_EQ(objects.at("X509v3 Key Usage"), "2.5.29.15");
  std::size_t compared = 0, refused = 0;
  for (const Pem& pem : bundle) {
    const OpensslView theirs = ReadWithOpenssl(pem.text);
    SCOPED_TRACE(theirs.subject.empty() ? "?" : theirs.subject.back());
    std::unique_ptr<IX509Certificate> ours;
    const auto e = Thrown([&] { ours = Load(pem.der); });
    if (!theirs.rsaKey) {
      // The key is always read as RSA.
      ASSERT_NE(e, nullptr);
      EXPECT_EQ(MessageAt(e.get(), 1), L"new IPublicKey failed");
      ++refused;
      continue;
    }
    ASSERT_EQ(e, nullptr) << Std(MessageAt(e.get(), 0));
    Compare(*ours, theirs, objects);
    ++compared;
  }
  EXPECT_GT(compared, 100u);
  std::printf("compared %zu RSA certificates of %s; %zu others refused\n", compared, kBundle, refused);
}

}  // namespace
