#!/usr/bin/env bash
# Runs the benchmark program and prints every operation's median rate, and for each pair
# "<operation>/ours" beside "<operation>/openssl" the ratio ours/openssl (above 1: ours is faster).
# usage: bench.sh PATH-TO-bench [extra benchmark flags]
set -euo pipefail
bench=$1
shift
json=$(mktemp)
trap 'rm -f "$json"' EXIT
# Repetitions of different operations are interleaved at random, so that a slow spell of the
# machine spreads over every operation instead of skewing one ratio.
"$bench" --benchmark_repetitions=5 --benchmark_enable_random_interleaving=true --benchmark_report_aggregates_only=true \
  --benchmark_out="$json" --benchmark_out_format=json "$@" >/dev/null
python3 - "$json" <<'PY'
import json, sys

runs = json.load(open(sys.argv[1]))["benchmarks"]
medians = {r["run_name"]: r for r in runs if r.get("aggregate_name") == "median"}

def rate(r):
    """(value, unit) of a run: bytes/s, items/s, or calls/s from its real time."""
    if "bytes_per_second" in r:
        return r["bytes_per_second"] / 2**20, "MiB/s"
    if "items_per_second" in r:
        return r["items_per_second"], "items/s"
    seconds = r["real_time"] * {"ns": 1e-9, "us": 1e-6, "ms": 1e-3, "s": 1.0}[r["time_unit"]]
    return 1.0 / seconds, "calls/s"

print(f"{'operation':52} {'median rate':>18}")
for name, r in medians.items():
    value, unit = rate(r)
    print(f"{name:52} {value:12.1f} {unit}")

pairs = [(n, n.replace("/ours", "/openssl")) for n in medians if "/ours" in n]
if pairs:
    print(f"\n{'ratio ours/openssl':52} {'':>18}")
    for ours, theirs in pairs:
        if theirs in medians:
            print(f"{ours.replace('/ours', ''):52} {rate(medians[ours])[0] / rate(medians[theirs])[0]:18.2f}")
PY
