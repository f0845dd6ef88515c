#include "common/crypto.certcontext.h"

#include "framework/crypto.trace.h"

namespace ZT::Framework {

namespace {

constexpr const wchar_t* kConstructor = L"CCertContext::CCertContext";

void RequireCertificate(const FunctionTrace& fn, const ICertificate* pCertificate) {
  if (pCertificate == nullptr) fn.Raise(CRYPTO_BAD_PARAM, L"pCertificate=empty");
}

// A clone of `object` as its own type (Clone returns the base of its family).
template <class T, class Base>
std::unique_ptr<T> CloneAs(const T& object) {
  std::unique_ptr<Base> clone(object.Clone());
  auto* typed = dynamic_cast<T*>(clone.get());
  if (typed != nullptr) clone.release();
  return std::unique_ptr<T>(typed);
}

}  // namespace

ICertContext::~ICertContext() = default;

CCertContext::CCertContext(ICertificate* pCertificate) {
  const FunctionTrace fn(kConstructor, this);
  fn.Run([&] {
    RequireCertificate(fn, pCertificate);
    m_pCertificate.reset(pCertificate->Clone());
  });
}

CCertContext::CCertContext(ICertificate* pCertificate, IPrivateKey* pPrivateKey) {
  const FunctionTrace fn(kConstructor, this);
  fn.Run([&] {
    RequireCertificate(fn, pCertificate);
    if (pPrivateKey == nullptr) fn.Raise(CRYPTO_BAD_PARAM, L"pPrivateKey=empty");
    fn.Catch(
        [&] {
          m_pCertificate.reset(pCertificate->Clone());
          m_pPrivateKey = CloneAs<IPrivateKey, IKey>(*pPrivateKey);
          if (!m_pPrivateKey) fn.Raise(CRYPTO_BAD_PARAM, L"pPrivateKey=empty");
        },
        [&](std::unique_ptr<IException> caught) {
          const auto id = static_cast<CryptoExceptionId>(caught->getID());
          fn.RaiseWrapping(std::move(caught), id, L"Clone :  m_pCertificate/m_pPrivateKey() failed",
                           L"Clone m_pCertificate/m_pPrivateKey() failed");
        });
  });
}

CCertContext::~CCertContext() {
  TraceLifetime(L"CCertContext::~CCertContext", this, [&] {
    m_pPrivateKey.reset();
    m_pCertificate.reset();
  });
}

ICertContext* CCertContext::Clone() const {
  const FunctionTrace fn(L"CCertContext::Clone", this);
  return fn.Run([&] {
    ICertContext* pCertContext = fn.Wrap(L"Clone : new CCertContext() failed", [&]() -> ICertContext* {
      if (m_pPrivateKey) return new CCertContext(m_pCertificate.get(), m_pPrivateKey.get());
      return new CCertContext(m_pCertificate.get());
    });
    fn.Data(L"pCertContext=%#x", static_cast<const void*>(pCertContext));
    return pCertContext;
  });
}

ICertificate* CCertContext::GetCertificate() const {
  const FunctionTrace fn(L"CCertContext::GetCertificate", this);
  return fn.Run([&] {
    fn.Data(L"m_pCertificate=%#x", static_cast<const void*>(m_pCertificate.get()));
    return m_pCertificate.get();
  });
}

IPrivateKey* CCertContext::GetPrivateKey() const {
  const FunctionTrace fn(L"CCertContext::GetPrivateKey", this);
  return fn.Run([&] {
    fn.Data(L"m_pPrivateKey=%#x", static_cast<const void*>(m_pPrivateKey.get()));
    return m_pPrivateKey.get();
  });
}

// ---- factories ----------------------------------------------------------------------------------

namespace {

template <class Make>
ICertContext* CreateContext(Make&& make) {
  const FunctionTrace fn(L"ICertContext::Create");
  return fn.Run([&] {
    ICertContext* pCertContext = fn.Wrap(L"new CCertContext() failed", make);
    fn.Data(L"pCertContext=%#x", static_cast<const void*>(pCertContext));
    return pCertContext;
  });
}

}  // namespace

ICertContext* ICertContext::Create(ICertificate* pCertificate) {
  return CreateContext([&]() -> ICertContext* { return new CCertContext(pCertificate); });
}

ICertContext* ICertContext::Create(ICertificate* pCertificate, IPrivateKey* pPrivateKey) {
  return CreateContext([&]() -> ICertContext* { return new CCertContext(pCertificate, pPrivateKey); });
}

}  // namespace ZT::Framework
