// ICertificateProperties: the smart-card client's policy questions, answered from the facts of
// one parsed certificate. Nothing is thrown out of here: every failure is a negative answer and a
// trace line.

#include <algorithm>
#include <memory>
#include <vector>

#include "framework/crypto.trace.h"
#include "zt/certificate.h"
#include "zt/certificateproperties.h"

namespace ZT::Framework {
namespace {

constexpr const wchar_t* kUpnOID = L"1.3.6.1.4.1.311.20.2.3";
constexpr const wchar_t* kSmartCardLogonOID = L"1.3.6.1.4.1.311.20.2.2";
constexpr const wchar_t* kEnrollmentAgentOID = L"1.3.6.1.4.1.311.20.2.1";
constexpr const wchar_t* kEfsOID = L"1.3.6.1.4.1.311.10.3.4";

using GeneralNames = std::vector<std::unique_ptr<IGeneralName>>;

// The common prologue: the arguments checked and logged, the bytes parsed as an X.509
// certificate. Null when there is nothing to answer from (the reason logged).
std::unique_ptr<IX509Certificate> ParseCertificate(const FunctionTrace& fn, const unsigned char* pusCertificateValue,
                                                   unsigned int unCertificateValueLen) {
  if (pusCertificateValue == nullptr) fn.Warning(L"pusCertificateValue=NULL!");
  if (unCertificateValueLen == 0) fn.Warning(L"unCertificateValueLen=0!");
  if (pusCertificateValue == nullptr || unCertificateValueLen == 0) return nullptr;
  fn.Data(L"pusCertificateValue=%#x", static_cast<const void*>(pusCertificateValue));
  fn.Data(L"unCertificateValueLen=%u", unCertificateValueLen);
  const ByteArray baCertificate(pusCertificateValue, pusCertificateValue + unCertificateValueLen);
  return fn.Recover(
      [&] {
        std::unique_ptr<ICertificate> certificate(ICertificate::Create(CERT_FORMAT_X509, baCertificate));
        return std::unique_ptr<IX509Certificate>(static_cast<IX509Certificate*>(certificate.release()));
      },
      [&](const IException& e) {
        fn.Error(L"ICertificate::Create(CERT_FORMAT_X509) failed: %s", e.getMessage());
        return std::unique_ptr<IX509Certificate>();
      });
}

// A query whose failure is logged as "<what> failed: <message>" and counts as no result.
template <class Result, class Query>
Result OrNothing(const FunctionTrace& fn, const wchar_t* what, Query&& query) {
  return fn.Recover(query, [&](const IException& e) {
    fn.Error(L"%s failed: %s", WString(what), e.getMessage());
    return Result();
  });
}

GeneralNames SubjectAltNames(const FunctionTrace& fn, const IX509Certificate& certificate) {
  return OrNothing<GeneralNames>(fn, L"getting subject alternative names", [&] {
    GeneralNameList list = certificate.GetSubjectAlternativeNames();
    GeneralNames names;
    for (IGeneralName* name : list) names.emplace_back(name);
    return names;
  });
}

StringList ExtendedKeyUsage(const FunctionTrace& fn, const IX509Certificate& certificate) {
  return OrNothing<StringList>(fn, L"getting extented key usage", [&] { return certificate.GetExtendedKeyUsage(); });
}

// UPN: an other name of the user-principal-name type.
bool HasUpn(const GeneralNames& names) {
  return std::any_of(names.begin(), names.end(), [](const std::unique_ptr<IGeneralName>& name) {
    return name->GetNameType() == L"OtherName" && name->GetOID() == kUpnOID;
  });
}

bool Lists(const StringList& usages, const wchar_t* oid) {
  return std::find(usages.begin(), usages.end(), oid) != usages.end();
}

// The five facts the rules are written in.
struct Facts {
  bool upn = false;
  bool ds = false;
  bool scl = false;
  bool ea = false;
  bool efs = false;

  bool LogonReady() const { return upn && ds && scl; }
};

Facts FactsOf(const FunctionTrace& fn, const IX509Certificate& certificate) {
  Facts facts;
  facts.upn = HasUpn(SubjectAltNames(fn, certificate));
  facts.ds = certificate.IsDigitalSignature();
  const StringList usages = ExtendedKeyUsage(fn, certificate);
  facts.scl = Lists(usages, kSmartCardLogonOID);
  facts.ea = Lists(usages, kEnrollmentAgentOID);
  facts.efs = Lists(usages, kEfsOID);
  return facts;
}

// Runs `answer` on the parsed certificate (`fallback` when there is none) and logs the result
// with `resultFormat`; nothing that `answer` throws leaves.
template <class Result, class Answer>
Result Answered(const FunctionTrace& fn, const unsigned char* pusCertificateValue, unsigned int unCertificateValueLen,
                nqlogFormat<Result> resultFormat, Answer&& answer) {
  const Result ret = fn.Recover(
      [&] {
        const auto certificate = ParseCertificate(fn, pusCertificateValue, unCertificateValueLen);
        return certificate ? answer(*certificate) : Result{};
      },
      [&](const IException& e) {
        fn.Error(L"%s", e.getMessage());
        return Result{};
      });
  fn.Result(resultFormat, ret);
  return ret;
}

}  // namespace

bool ICertificateProperties::nqGetEKUFromCertificate(const unsigned char* pusCertificateValue,
                                                     unsigned int unCertificateValueLen, const wchar_t* szOID,
                                                     bool* pbFound) {
  const FunctionTrace fn(L"ICertificateProperties::nqGetEKUFromCertificate");
  if (pbFound != nullptr) *pbFound = false;
  if (szOID == nullptr) {
    fn.Warning(L"szOID=NULL!");
    fn.Result(L"ret=(%u)", 0u);
    return false;
  }
  return Answered<unsigned>(fn, pusCertificateValue, unCertificateValueLen, L"ret=(%u)",
                            [&](const IX509Certificate& certificate) -> unsigned {
                              const StringList usages = ExtendedKeyUsage(fn, certificate);
                              if (pbFound != nullptr) *pbFound = Lists(usages, szOID);
                              return !usages.empty();
                            }) != 0;
}

bool ICertificateProperties::nqIsCertOKForPKILogon(const unsigned char* pusCertificateValue,
                                                   unsigned int unCertificateValueLen) {
  const FunctionTrace fn(L"ICertificateProperties::nqIsCertOKForPKILogon");
  return Answered<unsigned>(fn, pusCertificateValue, unCertificateValueLen, L"ret=(%u)",
                            [&](const IX509Certificate& certificate) -> unsigned {
                              fn.Warning(L"Retrieving Subject Alt Names...");
                              const GeneralNames names = SubjectAltNames(fn, certificate);
                              fn.Warning(L"Subject Alt Names retrieved.");
                              fn.Warning(L"Subject Alt Names empty? %d", static_cast<int>(names.empty()));
                              fn.Warning(L"Subject Alt Names count=%d", static_cast<int>(names.size()));
                              const bool upn = HasUpn(names);
                              const bool ds = certificate.IsDigitalSignature();
                              const bool scl = Lists(ExtendedKeyUsage(fn, certificate), kSmartCardLogonOID);
                              return upn && ds && scl;
                            }) != 0;
}

bool ICertificateProperties::nqIsCertOKForSetAsDefault(const unsigned char* pusCertificateValue,
                                                       unsigned int unCertificateValueLen, bool bIgnoreEFS) {
  const FunctionTrace fn(L"ICertificateProperties::nqIsCertOKForSetAsDefault");
  return Answered<unsigned>(fn, pusCertificateValue, unCertificateValueLen, L"ret=(%u)",
                            [&](const IX509Certificate& certificate) -> unsigned {
                              const Facts facts = FactsOf(fn, certificate);
                              if (facts.LogonReady()) return true;
                              if (facts.ea) return true;
                              if (bIgnoreEFS) return false;
                              return facts.efs;
                            }) != 0;
}

std::int32_t ICertificateProperties::nqGetCertPriorityForSetAsDefault(const unsigned char* pusCertificateValue,
                                                                      unsigned int unCertificateValueLen,
                                                                      bool bIgnoreEFS) {
  const FunctionTrace fn(L"ICertificateProperties::nqGetCertPriorityForSetAsDefault");
  return Answered<std::int32_t>(
      fn, pusCertificateValue, unCertificateValueLen, L"ret=(%d)", [&](const IX509Certificate& certificate) {
        const Facts facts = FactsOf(fn, certificate);
        return (facts.LogonReady() ? 4 : 0) + (facts.ea ? 2 : 0) + (facts.efs && !bIgnoreEFS ? 1 : 0);
      });
}

}  // namespace ZT::Framework
