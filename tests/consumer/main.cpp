// A client of the installed library: creates an algorithm through the exported factories and
// checks what it reads back, and that a library failure arrives as a CCryptoException pointer.
#include <zt/crypto.h>

#include <cstdio>
#include <memory>

using namespace ZT::Framework;

int main() {
  const std::unique_ptr<IAlgorithmParameters> parameters(IAlgorithmParameters::Create());
  const std::unique_ptr<IAlgorithm> sha256(IAlgorithm::CreateFromOID(L"2.16.840.1.101.3.4.2.1", parameters.get()));
  if (sha256->GetFriendlyName() != L"SHA256") {
    std::puts("consumer: wrong friendly name");
    return 1;
  }
  try {
    delete IAlgorithm::CreateFromFriendlyName(L"sha256", parameters.get());
    std::puts("consumer: lower-case name accepted");
    return 1;
  } catch (CCryptoException* e) {
    const bool ok = e->getID() == CRYPTO_NO_SUCH_ALGORITHM && e->StringFromId() == L"ID:4006 (CRYPTO_NO_SUCH_ALGORITHM)";
    delete e;
    if (!ok) {
      std::puts("consumer: wrong exception");
      return 1;
    }
  }
  std::puts("consumer: ok");
  return 0;
}
