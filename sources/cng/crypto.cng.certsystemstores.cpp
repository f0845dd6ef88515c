// ICertSystemStore: the operating system's certificate stores are not offered through this
// interface; both operations refuse and open nothing.

#include "framework/crypto.trace.h"
#include "zt/certstore.h"

namespace ZT::Framework {

ICertStore* ICertSystemStore::Load(const WString&) {
  const FunctionTrace fn(L"ICertSystemStore::Load");
  return fn.Run([&]() -> ICertStore* { fn.Raise(CRYPTO_NOT_IMPLEMENTED, L"Not Implemented"); });
}

void ICertSystemStore::save(ICertStore*, const WString&) {
  const FunctionTrace fn(L"ICertSystemStore::save");
  fn.Run([&] { fn.Raise(CRYPTO_NOT_IMPLEMENTED, L"Not Implemented"); });
}

}  // namespace ZT::Framework
