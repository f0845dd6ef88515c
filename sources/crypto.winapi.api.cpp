// The exported factories of the library's interfaces.

#include <memory>
#include <string_view>

#include "cng/crypto.cng.x500name.h"
#include "common/crypto.generalname.h"
#include "framework/crypto.algorithm.h"
#include "framework/crypto.parameters.h"
#include "framework/crypto.trace.h"

namespace ZT::Framework {

// ---- parameter maps -------------------------------------------------------------------------

ICryptoParserParameterMap* ICryptoParserParameterMap::Create() { return new CCryptoParameterMap; }

ICryptoParserFilter* ICryptoParserFilter::Create() { return new CCryptoFilter; }

IAlgorithmParameters* IAlgorithmParameters::Create() {
  const FunctionTrace fn(L"IAlgorithmParameters::Create");
  return fn.Run([&] {
    return fn.Wrap(L"new CAlgorithmParameters() failed", [] { return new CAlgorithmParameters; });
  });
}

IECDomainParameters* IECDomainParameters::Create() {
  const FunctionTrace fn(L"IECDomainParameters::Create");
  return fn.Run([&]() -> IECDomainParameters* { fn.Raise(CRYPTO_NOT_IMPLEMENTED, L"Not Implemented"); });
}

// ---- algorithms -----------------------------------------------------------------------------

namespace {

std::unique_ptr<IAlgorithmParameters> CloneParameters(const FunctionTrace& fn, IAlgorithmParameters* pParameters) {
  if (pParameters == nullptr) fn.RaiseUnlogged(CRYPTO_BAD_PARAM, L"pParameters should not be NULL");
  return std::unique_ptr<IAlgorithmParameters>(pParameters->Clone());
}

}  // namespace

IAlgorithm* IAlgorithm::CreateFromOID(const WString& sOID, IAlgorithmParameters* pParameters) {
  const FunctionTrace fn(L"IAlgorithm::CreateFromOID");
  return fn.Run([&] {
    // An OID outside the table names itself.
    WString sFriendlyName = sOID;
    for (const AlgorithmRow& row : AlgorithmTable()) {
      if (std::wstring_view(row.oid) != kUnknownOID && sOID == row.oid) {
        sFriendlyName = row.friendlyName;
        break;
      }
    }
    auto parameters = CloneParameters(fn, pParameters);
    return fn.Wrap(L"new CAlgorithm() failed",
                   [&] { return new CAlgorithm(sOID, sFriendlyName, std::move(parameters)); });
  });
}

IAlgorithm* IAlgorithm::CreateFromFriendlyName(const WString& sFriendlyName, IAlgorithmParameters* pParameters) {
  const FunctionTrace fn(L"IAlgorithm::CreateFromFriendlyName");
  return fn.Run([&] {
    const AlgorithmRow* found = nullptr;
    for (const AlgorithmRow& row : AlgorithmTable()) {
      if (sFriendlyName == row.friendlyName) {
        found = &row;
        break;
      }
    }
    if (found == nullptr)
      fn.Raise(CRYPTO_NO_SUCH_ALGORITHM, L"Unsupported algorithm", L"Unsupported algorithm: %s", sFriendlyName);
    auto parameters = CloneParameters(fn, pParameters);
    return fn.Wrap(L"new CAlgorithm() failed",
                   [&] { return new CAlgorithm(found->oid, sFriendlyName, std::move(parameters)); });
  });
}

StringList IAlgorithm::ListFriendlyNames() {
  StringList names;
  for (const AlgorithmRow& row : AlgorithmTable()) names.emplace_back(row.friendlyName);
  return names;
}

// ---- names ----------------------------------------------------------------------------------

namespace {

// A name factory's steps: construct through `make`, wrap a constructor's failure in `failure`,
// and log the new object as "<factory> : <label>=%#x".
template <class Interface, class Make>
Interface* CreateName(const wchar_t* factory, const wchar_t* failure, const wchar_t* label, Make&& make) {
  const FunctionTrace fn(factory);
  return fn.Run([&] {
    std::unique_ptr<Interface> created(fn.Wrap(failure, [&]() -> Interface* { return make(); }));
    fn.Data(L"%s=%#x", label, static_cast<const void*>(created.get()));
    return created.release();
  });
}

}  // namespace

IX500Name* IX500Name::Create(const ByteArray& encoded) {
  return CreateName<IX500Name>(L"IX500Name::Create", L"new CX500Name() failed", L"pX500Name",
                               [&] { return new CCNGX500Name(encoded); });
}

IX500Name* IX500Name::Create(const WString& sName) {
  return CreateName<IX500Name>(L"IX500Name::Create", L"new CX500Name() failed", L"pX500Name",
                               [&] { return new CCNGX500Name(sName); });
}

IGeneralName* IGeneralName::Create(const ByteArray& baEncodedName, const WString& sNameType, const WString& sOID) {
  return CreateName<IGeneralName>(L"IGeneralName::Create", L"new CGeneralName() failed", L"pGeneralName",
                                  [&] { return new CGeneralName(baEncodedName, sNameType, sOID); });
}

IGeneralName* IGeneralName::Create(const WString& sName, const WString& sNameType) {
  return CreateName<IGeneralName>(L"IGeneralName::Create", L"new CGeneralName() failed", L"pGeneralName",
                                  [&] { return new CGeneralName(sName, sNameType); });
}

}  // namespace ZT::Framework
