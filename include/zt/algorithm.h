// Algorithm objects: one algorithm named twice, by OID and by the library's friendly name, with
// the parameters of its identifier. Every engine factory takes one; engines decide by the
// friendly name only.
#pragma once

#include "zt/export.h"
#include "zt/parameters.h"
#include "zt/secure.h"

namespace ZT::Framework {

class ZT_CRYPTO_API IAlgorithm {
 public:
  IAlgorithm();
  IAlgorithm(const IAlgorithm&);
  IAlgorithm& operator=(const IAlgorithm&);
  virtual ~IAlgorithm();

  // A new algorithm with the same OID and name and a clone of the parameters; owned by the caller.
  virtual IAlgorithm* Clone() const = 0;
  // The dotted OID, or "Unknown OID" for the algorithms of the table that have none.
  virtual WString GetOID() const = 0;
  virtual WString GetFriendlyName() const = 0;
  // The algorithm's parameters, still owned by the algorithm; never null.
  virtual IAlgorithmParameters* GetParameters() const = 0;

  // The algorithm of `sOID`: the friendly name is the table's name for that OID (matched exactly),
  // or the OID text itself when the table has no such OID; that is not an error. Stores a clone
  // of `pParameters`, which must not be null (CRYPTO_BAD_PARAM). Owned by the caller.
  static IAlgorithm* CreateFromOID(const WString& sOID, IAlgorithmParameters* pParameters);
  // The algorithm of `sFriendlyName` (matched exactly and case-sensitively, no aliases); a name
  // outside the table throws CRYPTO_NO_SUCH_ALGORITHM ("Unsupported algorithm"). Stores a clone
  // of `pParameters`, which must not be null (CRYPTO_BAD_PARAM). Owned by the caller.
  static IAlgorithm* CreateFromFriendlyName(const WString& sFriendlyName, IAlgorithmParameters* pParameters);
  // The friendly names of the table, in table order (the whole vocabulary of algorithm names).
  static StringList ListFriendlyNames();
};

}  // namespace ZT::Framework
