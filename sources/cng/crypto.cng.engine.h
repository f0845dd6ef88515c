// What every algorithm engine holds and how it traces its life, in one place.
#pragma once

#include <memory>

#include "framework/crypto.trace.h"
#include "zt/algorithm.h"
#include "zt/parameters.h"

namespace ZT::Framework {

// The names an engine traces its construction, destruction and GetAlgorithm under.
struct EngineTrace {
  const wchar_t* constructor;
  const wchar_t* destructor;
  const wchar_t* getAlgorithm;
};

// The trace names of engine class C: "C::C", "C::~C", "C::GetAlgorithm".
#define ZT_ENGINE_TRACE(C) \
  ::ZT::Framework::EngineTrace { L"" #C "::" #C, L"" #C "::~" #C, L"" #C "::GetAlgorithm" }

// The first members of every engine: its own clone of the algorithm, deleted with it, and the
// caller's parameter map, kept without owning it (the caller keeps it alive). The constructor
// logs "<C>::<C> : this=%#x" and "<C>::<C>", the destructor likewise with "~<C>".
template <class Interface, const EngineTrace& Names>
class AlgorithmEngine : public Interface {
 public:
  // Engines inherit this constructor: they are made with a clone of the caller's algorithm.
  AlgorithmEngine(std::unique_ptr<IAlgorithm> pAlgorithm, ICryptoParserParameterMap* pParams)
      : m_pAlgorithm(std::move(pAlgorithm)), m_pParams(pParams) {
    const FunctionTrace fn(Names.constructor, this);
    fn.Run([] {});
  }
  ~AlgorithmEngine() override {
    const FunctionTrace fn(Names.destructor, this);
    fn.Run([&] { m_pAlgorithm.reset(); });
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
