#!/usr/bin/env bash
# Runs a Windows program under Wine, headless and without network, in a private Wine prefix
# (created on first use):
#
#   scripts/wine-run.sh PREFIX PROGRAM.exe [ARGUMENTS...]
#
# The Windows build names it as its CMAKE_CROSSCOMPILING_EMULATOR, so CTest runs every test
# program through it. Standard input, output and exit status pass through unchanged.
set -euo pipefail

prefix=$(realpath -m "$1")
shift
export WINEPREFIX=$prefix
export WINEARCH=win64
export WINEDEBUG=${WINEDEBUG:--all}
# No Mono or Gecko installer dialogs, no menu entries: nothing but the program.
export WINEDLLOVERRIDES="mscoree,mshtml=;winemenubuilder.exe=d"
unset DISPLAY WAYLAND_DISPLAY

if [[ ! -f $prefix/.zt-ready ]]; then
  mkdir -p "$prefix"
  # One initialisation, however many programs start at once.
  (
    flock 9
    if [[ ! -f $prefix/.zt-ready ]]; then
      wineboot --init >/dev/null 2>&1
      wineserver --wait
      touch "$prefix/.zt-ready"
    fi
  ) 9>"$prefix.lock"
fi

exec wine "$@"
