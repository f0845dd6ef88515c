#include "cng/crypto.cng.signature.h"

#include "framework/crypto.trace.h"

namespace ZT::Framework {

ISignature::~ISignature() = default;

CCNGSignature::CCNGSignature(std::unique_ptr<IAlgorithm> pAlgorithm, const ByteArray& baValue)
    : m_pAlgorithm(std::move(pAlgorithm)), m_baValue(baValue) {
  TraceLifetime(L"CCNGSignature::CCNGSignature", this);
}

CCNGSignature::~CCNGSignature() {
  TraceLifetime(L"CCNGSignature::~CCNGSignature", this, [&] { m_pAlgorithm.reset(); });
}

IAlgorithm* CCNGSignature::GetAlgorithm() const {
  const FunctionTrace fn(L"CCNGSignature::GetAlgorithm", this);
  return fn.Run([&] {
    fn.Data(L"m_pAlgorithm=%#x", m_pAlgorithm.get());
    return m_pAlgorithm.get();
  });
}

ByteArray CCNGSignature::GetValue() const {
  const FunctionTrace fn(L"CCNGSignature::GetValue", this);
  return fn.Run([&] {
    fn.Bytes(L"m_baValue", m_baValue);
    return m_baValue;
  });
}

}  // namespace ZT::Framework
