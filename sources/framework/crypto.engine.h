// What every algorithm engine holds and how it traces its life, in one place.
#pragma once

#include <memory>

#include "framework/crypto.trace.h"
#include "zt/algorithm.h"
#include "zt/parameters.h"

namespace ZT::Framework {

// The first members of every engine: its own clone of the algorithm, deleted with it, and the
// caller's parameter map, kept without owning it (the caller keeps it alive). The constructor
// logs "<C>::<C> : this=%#x" and "<C>::<C>", the destructor likewise with "~<C>" (Names is the
// engine's ZT_CLASS_TRACE).
template <class Interface, const ClassTrace& Names>
class AlgorithmEngine : public Interface {
 public:
  // Engines inherit this constructor: they are made with a clone of the caller's algorithm.
  AlgorithmEngine(std::unique_ptr<IAlgorithm> pAlgorithm, ICryptoParserParameterMap* pParams)
      : m_pAlgorithm(std::move(pAlgorithm)), m_pParams(pParams) {
    TraceLifetime(Names.constructor, this);
  }
  ~AlgorithmEngine() override {
    TraceLifetime(Names.destructor, this, [&] { m_pAlgorithm.reset(); });
  }

  // The engine's algorithm, still owned by the engine.
  IAlgorithm* GetAlgorithm() const override {
    const FunctionTrace fn(Names.getAlgorithm, this);
    return fn.Run([&] { return m_pAlgorithm.get(); });
  }

 protected:
  std::unique_ptr<IAlgorithm> m_pAlgorithm;
  ICryptoParserParameterMap* m_pParams;  // not owned; read only by the engines that say so
};

}  // namespace ZT::Framework
