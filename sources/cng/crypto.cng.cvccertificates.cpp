#include "cng/crypto.cng.cvccertificates.h"

#include "framework/crypto.trace.h"
#include "zt/signature.h"

namespace ZT::Framework {
namespace {

// Every query that needs the certificate's content: an entry line, what `logArguments` writes,
// then CRYPTO_NOT_IMPLEMENTED ("Method not implemented") and the " Returns %s" line.
template <class Result, class LogArguments>
Result NotImplemented(const wchar_t* name, const void* self, LogArguments&& logArguments) {
  const FunctionTrace fn(name, self);
  return fn.Run([&]() -> Result {
    logArguments(fn);
    fn.Raise(CRYPTO_NOT_IMPLEMENTED, L"Method not implemented");
  });
}

template <class Result>
Result NotImplemented(const wchar_t* name, const void* self) {
  return NotImplemented<Result>(name, self, [](const FunctionTrace&) {});
}

// The argument line of VerifySignature and VerifyTrust: the pointer, or "=empty!" for null.
auto ArgumentLine(const wchar_t* name, const void* argument) {
  return [=](const FunctionTrace& fn) {
    if (argument == nullptr)
      fn.Warning(L"%s=empty!", WString(name));
    else
      fn.Data(L"%s=%#x", WString(name), argument);
  };
}

}  // namespace

ICVCCertificate::~ICVCCertificate() = default;

CCNGCVCCertificate::CCNGCVCCertificate() {
  TraceLifetime(L"CCNGCVCCertificate::CCNGCVCCertificate", this);
}

CCNGCVCCertificate::~CCNGCVCCertificate() {
  TraceLifetime(L"CCNGCVCCertificate::~CCNGCVCCertificate", this);
}

ICertificate* CCNGCVCCertificate::Clone() const {
  const FunctionTrace fn(L"CCNGCVCCertificate::Clone", this);
  return fn.Run([&] {
    return fn.Wrap(L"CCNGCVCCertificate::Clone() New CCNGCVCCertificate failed", [] { return new CCNGCVCCertificate; });
  });
}

ByteArray CCNGCVCCertificate::GetEncoded() const {
  const FunctionTrace fn(L"CCNGCVCCertificate::GetEncoded", this);
  return fn.Run([&] {
    fn.Bytes(L"m_baEncoded", m_baEncoded);
    return m_baEncoded;
  });
}

WString CCNGCVCCertificate::GetFormat() const {
  const FunctionTrace fn(L"CCNGCVCCertificate::GetFormat", this);
  return fn.Run([] { return WString(CERT_FORMAT_CVC); });
}

IPublicKey* CCNGCVCCertificate::GetPublicKey() const {
  return NotImplemented<IPublicKey*>(L"CCNGCVCCertificate::GetPublicKey", this);
}

bool CCNGCVCCertificate::VerifySignature(IPublicKey* pPublicKey) const {
  return NotImplemented<bool>(L"CCNGCVCCertificate::VerifySignature", this, ArgumentLine(L"pPublicKey", pPublicKey));
}

std::uint32_t CCNGCVCCertificate::VerifyTrust(ICryptoParserParameterMap* pParameter) const {
  return NotImplemented<std::uint32_t>(L"CCNGCVCCertificate::VerifyTrust", this,
                                       ArgumentLine(L"pParameter", pParameter));
}

ISignature* CCNGCVCCertificate::GetSignature() const {
  return NotImplemented<ISignature*>(L"CCNGCVCCertificate::GetSignature", this);
}

bool CCNGCVCCertificate::Compare(ICertificate*) const {
  return NotImplemented<bool>(L"CCNGCVCCertificate::Compare", this);
}

std::int32_t CCNGCVCCertificate::GetProfileIdentifier() const {
  return NotImplemented<std::int32_t>(L"CCNGCVCCertificate::GetProfileIdentifier", this);
}

ByteArray CCNGCVCCertificate::GetIssuerIdentifier() const {
  return NotImplemented<ByteArray>(L"CCNGCVCCertificate::GetIssuerIdentifier", this);
}

ByteArray CCNGCVCCertificate::GetSubjectIdentifier() const {
  return NotImplemented<ByteArray>(L"CCNGCVCCertificate::GetSubjectIdentifier", this);
}

std::int32_t CCNGCVCCertificate::GetRoleIdentifier() const {
  return NotImplemented<std::int32_t>(L"CCNGCVCCertificate::GetRoleIdentifier", this);
}

void CCNGCVCCertificate::ListTags(std::vector<std::uint32_t>&) const {
  return NotImplemented<void>(L"CCNGCVCCertificate::ListTags", this);
}

ByteArray CCNGCVCCertificate::GetTag(std::uint32_t) const {
  return NotImplemented<ByteArray>(L"CCNGCVCCertificate::GetTag", this);
}

}  // namespace ZT::Framework
