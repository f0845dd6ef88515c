#!/usr/bin/env bash
# The tour of the command-line tool on bundled samples.
# usage: demo.sh PATH-TO-ztcrypto
set -euo pipefail
tool=$1
run() {
  echo
  echo "\$ ztcrypto $*"
  "$tool" "$@" || echo "(exit status $?)"
}

echo "== The algorithm registry"
run algorithms
run algorithm SHA256
run algorithm 2.16.840.1.101.3.4.2.1
run algorithm 1.2.3.4
run algorithm sha256
