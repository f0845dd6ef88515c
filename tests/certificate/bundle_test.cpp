// Every RSA certificate of the system's CA bundle, read by the library and by OpenSSL, must agree
// on serial, version, validity, issuer and subject texts, extension OIDs, their criticality and
// values, key-usage bits, the extended-key-usage list, the signed part's bytes, the signature's
// algorithm and value, the SHA-1 thumbprint, and whether a self-signed root's signature verifies
// under its own key. The openssl tool's text is read for the first group and libcrypto answers
// the rest. The others (EC and RSA-PSS keys) are refused, since the key is always read as RSA:
// they are counted and reported. openssl's forms are brought to the library's: the serial's
// magnitude gets its sign octet back; dates lose the "Z"; names (one RDN a line, numeric OIDs,
// UTF-8) are written in the platform's X.500 text syntax with its key words and quoting; OID
// names go back to OIDs through `openssl list -objects`; key-usage bits are named in RFC 5280's
// order with openssl's words.
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/objects.h>
#include <openssl/pem.h>
#include <openssl/x509.h>
#include <openssl/x509v3.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <map>
#include <set>
#include <sstream>

#include "certificate_test_util.h"

namespace {

using namespace certtest;

constexpr const char* kBundle = "/etc/ssl/certs/ca-certificates.crt";

// The DER of each certificate of the bundle, in order.
std::vector<ByteArray> BundleCertificates() {
  std::vector<ByteArray> certificates;
  BIO* bio = BIO_new_file(kBundle, "r");
  char *name = nullptr, *header = nullptr;
  unsigned char* data = nullptr;
  long size = 0;
  while (bio != nullptr && PEM_read_bio(bio, &name, &header, &data, &size) == 1) {
    certificates.emplace_back(data, data + size);
    OPENSSL_free(name);
    OPENSSL_free(header);
    OPENSSL_free(data);
  }
  ERR_clear_error();  // the end of the file is reported as a missing start line
  BIO_free(bio);
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
  int version = 0;
  std::string serial, notBefore, notAfter;
  std::vector<std::string> subject, issuer;  // one RDN a line
  std::vector<std::string> extensions;       // names, certificate order
  std::set<std::string> critical;
  std::string keyUsage, extendedKeyUsage;
};

std::size_t Indent(const std::string& line) { return line.find_first_not_of(' '); }

OpensslView ReadWithOpenssl(const ByteArray& der) {
  const std::vector<unsigned char> printed = zttest::OpensslOutput(
      "x509 -inform DER -noout -text -certopt no_sigdump,no_issuer,no_subject,no_validity,no_serial,no_signame "
      "-serial -dates -dateopt iso_8601 -subject -issuer -nameopt sep_multiline,oid,utf8 -in {in} -out {out}",
      std::vector<unsigned char>(der.begin(), der.end()));
  const std::string out(printed.begin(), printed.end());

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

struct X509Free {
  void operator()(X509* x) const { X509_free(x); }
};
using X509Ref = std::unique_ptr<X509, X509Free>;

std::wstring OidText(const ASN1_OBJECT* oid) {
  char text[128];
  OBJ_obj2txt(text, sizeof text, oid, 1);
  return std::wstring(text, text + std::strlen(text));
}

ByteArray BytesOf(const unsigned char* data, int length) { return ByteArray(data, data + length); }

// The TBSCertificate as it stands in `der`: the first element inside the outer SEQUENCE, found
// with libcrypto's own header reader.
ByteArray TbsBytes(const ByteArray& der) {
  const unsigned char* p = der.data();
  long length = 0;
  int tag = 0, cls = 0;
  ASN1_get_object(&p, &length, &tag, &cls, static_cast<long>(der.size()));
  const unsigned char* tbs = p;
  ASN1_get_object(&p, &length, &tag, &cls, static_cast<long>(der.data() + der.size() - p));
  return ByteArray(tbs, p + length);
}

// What libcrypto answers for the same certificate; true when it is a self-signed root whose
// signature was compared.
bool CompareWithLibcrypto(const IX509Certificate& ours, X509* theirs, const ByteArray& der) {
  EXPECT_EQ(ours.GetTBSCertificate(), TbsBytes(der));
  const ASN1_BIT_STRING* signature = nullptr;
  const X509_ALGOR* algorithm = nullptr;
  X509_get0_signature(&signature, &algorithm, theirs);
  EXPECT_EQ(Std(ours.GetSignature()->GetAlgorithm()->GetOID()), OidText(algorithm->algorithm));
  EXPECT_EQ(ours.GetSignature()->GetValue(), BytesOf(signature->data, signature->length));
  unsigned char sha1[EVP_MAX_MD_SIZE];
  unsigned int size = 0;
  EXPECT_EQ(X509_digest(theirs, EVP_sha1(), sha1, &size), 1);
  EXPECT_EQ(ours.GetHash(), BytesOf(sha1, static_cast<int>(size)));
  for (int i = 0; i < X509_get_ext_count(theirs); ++i) {
    const X509_EXTENSION* extension = X509_get_ext(theirs, i);
    const std::wstring oid = OidText(X509_EXTENSION_get_object(const_cast<X509_EXTENSION*>(extension)));
    const ASN1_OCTET_STRING* value = X509_EXTENSION_get_data(const_cast<X509_EXTENSION*>(extension));
    EXPECT_EQ(ours.GetExtensionValue(WString(oid.begin(), oid.end())), BytesOf(value->data, value->length)) << oid;
  }
  if (X509_check_issued(theirs, theirs) != X509_V_OK) return false;
  const bool verifies = X509_verify(theirs, X509_get0_pubkey(theirs)) == 1;
  EXPECT_EQ(ours.VerifySignature(ours.GetPublicKey()), verifies);
  return true;
}

TEST(CABundle, EveryRsaCertificateAgreesWithOpenssl) {
  const std::vector<ByteArray> bundle = BundleCertificates();
  ASSERT_GT(bundle.size(), 100u) << kBundle << " (package ca-certificates)";
  const auto objects = OpensslObjects();
  ASSERT_EQ(objects.at("X509v3 Key Usage"), "2.5.29.15");
  std::size_t compared = 0, selfSigned = 0;
  std::map<std::string, std::size_t> refused;  // by key type
  for (const ByteArray& der : bundle) {
    const unsigned char* p = der.data();
    const X509Ref theirs(d2i_X509(nullptr, &p, static_cast<long>(der.size())));
    ASSERT_NE(theirs, nullptr);
    const OpensslView view = ReadWithOpenssl(der);
    SCOPED_TRACE(view.subject.empty() ? "?" : view.subject.back());
    std::unique_ptr<IX509Certificate> ours;
    const auto e = Thrown([&] { ours = Load(der); });
    const int keyType = EVP_PKEY_get_base_id(X509_get0_pubkey(theirs.get()));
    if (keyType != EVP_PKEY_RSA) {
      // The key is always read as RSA: these cannot be made yet.
      ASSERT_NE(e, nullptr);
      EXPECT_EQ(MessageAt(e.get(), 1), L"new IPublicKey failed");
      ++refused[OBJ_nid2sn(keyType)];
      continue;
    }
    ASSERT_EQ(e, nullptr) << Std(MessageAt(e.get(), 0));
    Compare(*ours, view, objects);
    selfSigned += CompareWithLibcrypto(*ours, theirs.get(), der) ? 1 : 0;
    ++compared;
  }
  EXPECT_GT(compared, 100u);
  EXPECT_GT(selfSigned, 100u);
  std::printf("compared %zu RSA certificates of %s (%zu self-signed roots verified under their own key)\n", compared,
              kBundle, selfSigned);
  for (const auto& [type, count] : refused)
    std::printf("skipped %zu with %s keys: the certificate's key is always read as RSA\n", count, type.c_str());
}

}  // namespace
