// The cost of a trace line when nobody listens, beside one that is formatted and delivered.
#include <benchmark/benchmark.h>

#include <nq/nqlog.h>

#include "zt/secure.h"

namespace {

void TraceLineWithoutSink(benchmark::State& state) {
  nqlogResetSink();
  const ZT::Framework::WString oid = L"2.16.840.1.101.3.4.2.1";
  for (auto _ : state) {
    nqlogLog(L"CRYPTO", 8, L"%s : this=%#x", L"CCNGMessageDigest::Digest", &state);
    nqlogLog(L"CRYPTO", 0, L"IOIDDecoder::OIDToString : sOID=%s", oid);
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(2 * state.iterations());
}
BENCHMARK(TraceLineWithoutSink)->Name("trace-line/no-sink");

void TraceLineIntoSink(benchmark::State& state) {
  std::size_t total = 0;
  nqlogSetSink([&](std::wstring_view, int, std::wstring_view line) { total += line.size(); }, NQLOG_DATA);
  const ZT::Framework::WString oid = L"2.16.840.1.101.3.4.2.1";
  for (auto _ : state) {
    nqlogLog(L"CRYPTO", 8, L"%s : this=%#x", L"CCNGMessageDigest::Digest", &state);
    nqlogLog(L"CRYPTO", 0, L"IOIDDecoder::OIDToString : sOID=%s", oid);
  }
  nqlogResetSink();
  benchmark::DoNotOptimize(total);
  state.SetItemsProcessed(2 * state.iterations());
}
BENCHMARK(TraceLineIntoSink)->Name("trace-line/into-sink");

}  // namespace
