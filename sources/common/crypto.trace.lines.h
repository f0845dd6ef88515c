// Two kinds of trace line that the FunctionTrace helpers do not shape:
// - a result written as the function returns: "<name> : <detail>" at level 16
//   ("IOIDDecoder::OIDToString : ret=(%s)");
// - an outcome reported after the bare name, without " : ": "<name> <detail>" at level 2
//   ("ZT::Framework::CCNGX500Name::GetAttributeValue Attribute not found").
#pragma once

#include "framework/crypto.trace.h"

namespace ZT::Framework {

template <class... A>
void TraceResult(const FunctionTrace& fn, nqlogFormat<A...> detail, const A&... args) {
  if (!nqlog::Enabled(NQLOG_EXIT)) return;
  nqlogLog(kTraceCategory, NQLOG_EXIT, L"%s : %s", fn.Name(), nqlog::Format(detail.get(), args...));
}

template <class... A>
void TraceOutcome(const FunctionTrace& fn, nqlogFormat<A...> detail, const A&... args) {
  if (!nqlog::Enabled(NQLOG_WARNING)) return;
  nqlogLog(kTraceCategory, NQLOG_WARNING, L"%s %s", fn.Name(), nqlog::Format(detail.get(), args...));
}

}  // namespace ZT::Framework
