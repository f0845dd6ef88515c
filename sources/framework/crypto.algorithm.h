// The algorithm object and the one table of algorithm names.
#pragma once

#include <memory>
#include <optional>
#include <span>

#include "zt/algorithm.h"

namespace ZT::Framework {

struct AlgorithmRow {
  const wchar_t* friendlyName;
  const wchar_t* oid;  // "Unknown OID" for the rows without one
};

// The table, in the order in which names (and OIDs) are compared.
std::span<const AlgorithmRow> AlgorithmTable();

inline constexpr const wchar_t* kUnknownOID = L"Unknown OID";

class CAlgorithm final : public IAlgorithm {
 public:
  CAlgorithm(WString sOID, WString sFriendlyName, std::unique_ptr<IAlgorithmParameters> pParameters);
  ~CAlgorithm() override;

  IAlgorithm* Clone() const override;
  WString GetOID() const override;
  WString GetFriendlyName() const override;
  IAlgorithmParameters* GetParameters() const override;

 private:
  WString m_sOID;
  WString m_sFriendlyName;
  std::unique_ptr<IAlgorithmParameters> m_pParameters;
};

}  // namespace ZT::Framework
