#include "cng/crypto.cng.symkeysysstores.h"

#include "cng/crypto.cng.dpapikeys.h"
#include "cng/crypto.cng.dpapiservice.h"

namespace ZT::Framework {

namespace {

// The labels of the system's keys, compared exactly.
constexpr const wchar_t* kUserKeyLabel = L"User";

}  // namespace

ISymetricKeyStore::~ISymetricKeyStore() = default;
ISymetricKeySystemStore::~ISymetricKeySystemStore() = default;

CSymetricKeySystemStore::CSymetricKeySystemStore() {
  TraceLifetime(L"CSymetricKeySystemStore::CSymetricKeySystemStore", this);
}

CSymetricKeySystemStore::~CSymetricKeySystemStore() {
  TraceLifetime(L"CSymetricKeySystemStore::~CSymetricKeySystemStore", this);
}

std::size_t CSymetricKeySystemStore::ListSymetricKey(ICryptoParserFilter* pFilter, SymetricKeyList& keys) {
  const FunctionTrace fn(L"CSymetricKeySystemStore::ListSymetricKey", this);
  return fn.Run([&] {
    WString sLabel;
    if (pFilter == nullptr) fn.Warning(L"pCertFilter=NULL!");
    if (pFilter == nullptr || !pFilter->GetLabel(sLabel))
      fn.Raise(CRYPTO_BAD_PARAM, L"pCertFilter parameter must contain a key label!");
    fn.Data(L"sLabel = %s", sLabel);
    if (sLabel != kUserKeyLabel && sLabel != kMachineKeyLabel) fn.Raise(CRYPTO_BAD_PARAM, L"Unknown key label!");
    auto key = NewDataProtectionKey(fn, sLabel, ByteArray());
    keys.push_back(key.get());
    key.release();
    return keys.size();
  });
}

void CSymetricKeySystemStore::DeleteKey(IKey*) {
  const FunctionTrace fn(L"CSymetricKeySystemStore::DeleteKey", this);
  fn.Run([&] { fn.Raise(CRYPTO_NOT_IMPLEMENTED, L"Not Implemented"); });
}

}  // namespace ZT::Framework
