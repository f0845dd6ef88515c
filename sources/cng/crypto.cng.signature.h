// The signature value of a signed object: its algorithm and its bytes.
#pragma once

#include <memory>

#include "zt/signature.h"

namespace ZT::Framework {

class CCNGSignature final : public ISignature {
 public:
  // Takes the algorithm (for a certificate: the one of its signatureAlgorithm OID and
  // parameters) and keeps a copy of the value.
  CCNGSignature(std::unique_ptr<IAlgorithm> pAlgorithm, const ByteArray& baValue);
  ~CCNGSignature() override;

  IAlgorithm* GetAlgorithm() const override;
  ByteArray GetValue() const override;

 private:
  std::unique_ptr<IAlgorithm> m_pAlgorithm;
  ByteArray m_baValue;
};

}  // namespace ZT::Framework
