// The symmetric key system store: the data-protection keys of the user and of the machine.
#pragma once

#include "zt/symkeystore.h"

namespace ZT::Framework {

class CSymetricKeySystemStore final : public ISymetricKeySystemStore {
 public:
  CSymetricKeySystemStore();
  ~CSymetricKeySystemStore() override;

  std::size_t ListSymetricKey(ICryptoParserFilter* pFilter, SymetricKeyList& keys) override;
  void DeleteKey(IKey* pKey) override;
};

}  // namespace ZT::Framework
