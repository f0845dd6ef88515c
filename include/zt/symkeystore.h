// Stores of symmetric keys, and the system's: the two keys of the platform's data protection,
// the current user's and this machine's, for the "DPAPI" cipher (zt/cipher.h). (The names are
// spelled with one "m", as the suite has always spelled them.)
#pragma once

#include <cstddef>
#include <list>

#include "zt/export.h"
#include "zt/key.h"
#include "zt/parameters.h"
#include "zt/secure.h"

namespace ZT::Framework {

// The keys a list receives; each belongs to the caller.
using SymetricKeyList = std::list<IKey*>;

class ZT_CRYPTO_API ISymetricKeyStore {
 public:
  virtual ~ISymetricKeyStore();

  // Appends to `keys` the keys `pFilter` selects (new objects, owned by the caller; what `keys`
  // held is kept) and returns its length after the call.
  virtual std::size_t ListSymetricKey(ICryptoParserFilter* pFilter, SymetricKeyList& keys) = 0;
  virtual void DeleteKey(IKey* pKey) = 0;

 protected:
  ISymetricKeyStore() = default;
  ISymetricKeyStore(const ISymetricKeyStore&) = default;
  ISymetricKeyStore& operator=(const ISymetricKeyStore&) = default;
};

// The system's symmetric keys. They are not read or stored anywhere: each listing makes one key
// object that names a scope of the platform's data protection.
//
// ListSymetricKey reads the filter's label (GetLabel, "CryptoFilterLabel"), compared exactly:
// "User" gives a key for the current user, "Device" one for this machine; each call lists one new
// key, without salt (a salted one comes from KeyDerivation::Create "DPAPI"). A filter without a
// label (or a null filter) throws CRYPTO_BAD_PARAM "pCertFilter parameter must contain a key
// label!", any other label CRYPTO_BAD_PARAM "Unknown key label!". DeleteKey throws
// CRYPTO_NOT_IMPLEMENTED.
class ZT_CRYPTO_API ISymetricKeySystemStore : public ISymetricKeyStore {
 public:
  ~ISymetricKeySystemStore() override;

  // The store, owned by the caller; `sName` is not used.
  static ISymetricKeySystemStore* Load(const WString& sName);
  // The system's keys cannot be saved: always CRYPTO_NOT_IMPLEMENTED "Not Implemented".
  static void save(ISymetricKeyStore* pStore, const WString& sName);
};

}  // namespace ZT::Framework
