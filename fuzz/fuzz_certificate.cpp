// libFuzzer target over X.509 certificates: ICertificate::Create, then every query of the
// certificate (but the trust check, which reaches the network), and the four policy functions
// over the same bytes. Oracles:
// - the certificate keeps exactly the bytes it was made from, and a clone is equal to it;
// - the serial is the DER INTEGER's bytes (never empty), the thumbprint 20 bytes;
// - the extensions are listed in ascending order of their OID text, each once, and the critical
//   and non-critical ones together are all of them;
// - a key-usage bit is set only when the key-usage bytes say so;
// - the policy answers agree with each other: a priority is non-zero exactly when the
//   certificate is fit as the default, and fit for logon implies fit as the default.
// The library's failures are CCryptoException pointers, deleted here; anything else escapes and
// is a finding.
#include <cstddef>
#include <cstdint>
#include <memory>

#include "fuzz_checks.h"
#include "zt/crypto.h"

namespace {

using namespace ZT::Framework;

using fuzzcheck::Require;
using fuzzcheck::Succeeds;

void QueryNames(const IX509Certificate& certificate) {
  for (IX500Name* name : {certificate.GetIssuerDN(), certificate.GetSubjectDN()})
    if (name != nullptr) name->GetName(0);
}

void QueryExtensions(const IX509Certificate& certificate) {
  StringList all, critical, other;
  certificate.ListExtensions(nullptr, all);
  const std::unique_ptr<ICryptoParserFilter> filter(ICryptoParserFilter::Create());
  filter->SetCritical(1);
  certificate.ListExtensions(filter.get(), critical);
  filter->SetCritical(0);
  certificate.ListExtensions(filter.get(), other);
  Require(critical.size() + other.size() == all.size());
  const WString* previous = nullptr;
  for (const WString& oid : all) {
    Require(previous == nullptr || *previous < oid);
    previous = &oid;
    certificate.GetExtensionValue(oid);
  }
}

void QueryKeyUsage(const IX509Certificate& certificate) {
  ByteArray bits;
  if (!Succeeds([&] { bits = certificate.GetKeyUsage(); })) return;
  const auto set = [&](std::size_t index, unsigned char mask) { return index < bits.size() && (bits[index] & mask); };
  Require(certificate.IsDigitalSignature() == set(0, 0x80));
  Require(certificate.IsNonRepudiation() == set(0, 0x40));
  Require(certificate.IsKeyEncipherment() == set(0, 0x20));
  Require(certificate.IsDataEncipherment() == set(0, 0x10));
  Require(certificate.IsKeyAgreement() == set(0, 0x08));
  Require(certificate.IsKeyCertSign() == set(0, 0x04));
  Require(certificate.IsCRLSign() == set(0, 0x02));
  Require(certificate.IsEncipherOnly() == set(0, 0x01));
  Require(certificate.IsDecipherOnly() == set(1, 0x80));
}

void QueryEverything(const IX509Certificate& certificate, const ByteArray& der) {
  Require(certificate.GetEncoded() == der);
  Require(certificate.GetFormat() == CERT_FORMAT_X509);
  Require(!certificate.GetSerialNumber().empty());
  Require(certificate.GetHash().size() == 20);
  certificate.GetTBSCertificate();
  certificate.GetVersion();
  certificate.GetNotAfter();
  certificate.GetNotBefore();
  certificate.GetIssuerUniqueID();
  certificate.GetSubjectUniqueID();
  Succeeds([&] { QueryNames(certificate); });
  QueryExtensions(certificate);
  QueryKeyUsage(certificate);
  Succeeds([&] { certificate.GetExtendedKeyUsage(); });
  Succeeds([&] {
    for (IGeneralName* name : certificate.GetSubjectAlternativeNames()) delete name;
  });
  certificate.CheckValidity();
  Succeeds([&] { certificate.CheckValidity(L"2024-06-01T12:00:00"); });
  ISignature* signature = certificate.GetSignature();
  signature->GetAlgorithm()->GetOID();
  signature->GetValue();
  Succeeds([&] { certificate.VerifySignature(certificate.GetPublicKey()); });
  const std::unique_ptr<ICertificate> clone(certificate.Clone());
  Require(certificate.Compare(clone.get()));
}

void CheckPolicy(const std::uint8_t* data, std::size_t size) {
  const auto length = static_cast<unsigned int>(size);
  bool found = false;
  ICertificateProperties::nqGetEKUFromCertificate(data, length, L"1.3.6.1.4.1.311.20.2.2", &found);
  const bool logon = ICertificateProperties::nqIsCertOKForPKILogon(data, length);
  for (bool ignoreEfs : {false, true}) {
    const bool asDefault = ICertificateProperties::nqIsCertOKForSetAsDefault(data, length, ignoreEfs);
    const std::int32_t priority = ICertificateProperties::nqGetCertPriorityForSetAsDefault(data, length, ignoreEfs);
    Require(priority >= 0 && priority <= 7);
    Require((priority != 0) == asDefault);
    Require(!logon || asDefault);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const ByteArray der(data, data + size);
  std::unique_ptr<ICertificate> certificate;
  if (Succeeds([&] { certificate.reset(ICertificate::Create(CERT_FORMAT_X509, der)); }))
    QueryEverything(*static_cast<IX509Certificate*>(certificate.get()), der);
  CheckPolicy(data, size);
  return 0;
}
