#!/usr/bin/env bash
# The Windows lane's tests: every test of the Windows build (build/windows unless given) under
# Wine, in the build's private Wine prefix, with one Wine server kept for the whole run, and the
# time it took.
#
#   tests/windows/run-lane.sh [BUILD-DIR] [CTEST-ARGUMENTS...]
set -euo pipefail
cd "$(dirname "$0")/../.."

build=$(realpath "${1:-build/windows}")
shift || true
prefix=$build/wineprefix
start=$(date +%s)

# The prefix is made on first use; a persistent server spares every program its start-up.
scripts/wine-run.sh "$prefix" cmd /c exit >/dev/null 2>&1 || true
WINEPREFIX=$prefix wineserver -p 2>/dev/null || true  # (already running: kept)
trap 'WINEPREFIX=$prefix wineserver -k 2>/dev/null || true' EXIT

# One program at a time: the whole lane takes well under a minute, and programs that share the
# prefix's services (data protection, the registry, key containers) never meet.
status=0
ctest --test-dir "$build" --output-on-failure "$@" || status=$?
echo "Windows lane: $(($(date +%s) - start)) s under Wine"
exit $status
