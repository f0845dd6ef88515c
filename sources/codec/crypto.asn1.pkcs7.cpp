#include "codec/crypto.asn1.pkcs7.h"

#include <algorithm>
#include <iterator>

namespace ZT::Framework {

namespace {

constexpr const char* kSignedDataOid = "1.2.840.113549.1.7.2";
constexpr const char* kDataOid = "1.2.840.113549.1.7.1";
// The contents octets of the OIDs read here.
constexpr std::uint8_t kSignedDataOidContents[] = {0x2a, 0x86, 0x48, 0x86, 0xf7, 0x0d, 0x01, 0x07, 0x02};
constexpr std::uint8_t kCertBagOidContents[] = {0x2a, 0x86, 0x48, 0x86, 0xf7, 0x0d, 0x01, 0x0c, 0x0a, 0x01, 0x03};
constexpr std::uint8_t kX509CertificateOidContents[] = {0x2a, 0x86, 0x48, 0x86, 0xf7, 0x0d, 0x01, 0x09, 0x16, 0x01};

template <std::size_t N>
bool ReadOidOf(Der::Reader& in, const std::uint8_t (&expected)[N]) {
  Der::Bytes oid;
  return in.ReadOid(&oid) && std::equal(oid.begin(), oid.end(), std::begin(expected), std::end(expected));
}

bool ReadSignedDataType(Der::Reader& in) { return ReadOidOf(in, kSignedDataOidContents); }

// The certificates [0] IMPLICIT SET OF Certificate, each taken as its whole element.
bool ReadCertificates(Der::Reader& in, std::vector<Der::Bytes>* certificates) {
  Der::Reader set;
  bool present = false;
  if (!in.ReadOptional(Der::ContextTag(0, true), &set, &present)) return false;
  while (!set.Empty()) {
    Der::Bytes certificate;
    if (!set.ReadElement(Der::kSequence, &certificate)) return false;
    certificates->push_back(certificate);
  }
  return true;
}

bool ReadSignedData(Der::Reader& in, std::vector<Der::Bytes>* certificates) {
  Der::Reader signedData, signerInfos;
  bool crlsPresent = false;
  Der::Reader crls;
  return in.Read(Der::kSequence, &signedData) && signedData.Skip(Der::kInteger) && signedData.Skip(Der::kSet) &&
         signedData.Skip(Der::kSequence) && ReadCertificates(signedData, certificates) &&
         signedData.ReadOptional(Der::ContextTag(1, true), &crls, &crlsPresent) &&
         signedData.Read(Der::kSet, &signerInfos) && signerInfos.Empty() && signedData.Empty() && in.Empty();
}

}  // namespace

namespace Asn1Read {

bool ReadCertificateBundle(Der::Bytes der, std::vector<Der::Bytes>* certificates) {
  certificates->clear();
  Der::Reader contentInfo, content;
  return Der::ReadWhole(der, Der::kSequence, &contentInfo) && ReadSignedDataType(contentInfo) &&
         contentInfo.Read(Der::ExplicitTag(0), &content) && contentInfo.Empty() &&
         ReadSignedData(content, certificates);
}

bool ReadCertBagCertificate(Der::Bytes safeBag, Der::Bytes* certificate) {
  Der::Reader bag, value, certBag, certValue;
  return Der::ReadWhole(safeBag, Der::kSequence, &bag) && ReadOidOf(bag, kCertBagOidContents) &&
         bag.Read(Der::ExplicitTag(0), &value) && value.Read(Der::kSequence, &certBag) && value.Empty() &&
         ReadOidOf(certBag, kX509CertificateOidContents) && certBag.Read(Der::ExplicitTag(0), &certValue) &&
         certBag.Empty() && certValue.ReadOctetString(certificate) && certValue.Empty();
}

}  // namespace Asn1Read

namespace Asn1Write {

void WriteCertificateBundle(Der::Writer& w, const std::vector<Der::Bytes>& certificates) {
  w.Nest(Der::kSequence, [&] {
    w.AddOid(kSignedDataOid);
    w.Nest(Der::ExplicitTag(0), [&] {
      w.Nest(Der::kSequence, [&] {
        w.AddUint64(1);
        w.Nest(Der::kSet, [] {});
        w.Nest(Der::kSequence, [&] { w.AddOid(kDataOid); });
        // Written in the order given: the platform writes its stores' enumeration order. The
        // field is left out when there is none, as other writers leave it.
        if (!certificates.empty())
          w.Nest(Der::ContextTag(0, true), [&] {
            for (const Der::Bytes certificate : certificates) w.AddRaw(certificate);
          });
        w.Nest(Der::kSet, [] {});
      });
    });
  });
}

}  // namespace Asn1Write

}  // namespace ZT::Framework
