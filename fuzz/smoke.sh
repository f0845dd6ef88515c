#!/usr/bin/env bash
# Runs every fuzz target of a fuzz build (each executable fuzz_* in BUILD_DIR/fuzz) for SECONDS
# over a scratch copy of its corpus fuzz/corpus/<name>/ (fuzz_der uses fuzz/corpus/der/), so
# that the committed corpus is never changed by a run. Fails when any target fails.
#   fuzz/smoke.sh BUILD_DIR [SECONDS]
set -uo pipefail
cd "$(dirname "$0")/.."

build_dir=${1:?usage: fuzz/smoke.sh BUILD_DIR [SECONDS]}
seconds=${2:-20}
scratch_root="$build_dir/fuzz-smoke"
# Sanitizer findings must stop the run, not only be printed.
export ASAN_OPTIONS="abort_on_error=1:detect_leaks=1"
export UBSAN_OPTIONS="halt_on_error=1:abort_on_error=1:print_stacktrace=1"

passed=0
failed=0
for target in "$build_dir"/fuzz/fuzz_*; do
  [ -f "$target" ] && [ -x "$target" ] || continue
  name=$(basename "$target")
  corpus="fuzz/corpus/${name#fuzz_}"
  scratch="$scratch_root/$name"
  rm -rf "$scratch" && mkdir -p "$scratch/corpus" "$scratch/artifacts"
  [ -d "$corpus" ] && cp -r "$corpus"/. "$scratch/corpus/"
  echo "== $name: ${seconds}s over $(ls "$scratch/corpus" | wc -l) corpus files"
  if "$target" -max_total_time="$seconds" -print_final_stats=1 -artifact_prefix="$scratch/artifacts/" \
      "$scratch/corpus" >"$scratch/log" 2>&1; then
    passed=$((passed + 1))
    grep -E '^stat::number_of_executed_units|^Done ' "$scratch/log" || true
  else
    failed=$((failed + 1))
    tail -n 60 "$scratch/log"
    echo "== $name FAILED (log: $scratch/log, inputs: $scratch/artifacts/)"
  fi
done

if [ $((passed + failed)) -eq 0 ]; then
  echo "fuzz-smoke: no fuzz target found in $build_dir/fuzz" >&2
  exit 1
fi
echo "fuzz-smoke: $passed passed, $failed failed"
[ "$failed" -eq 0 ]
