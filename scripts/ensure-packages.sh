#!/usr/bin/env bash
# Installs the Debian packages named on the command line that are not installed yet.
# As root it runs apt-get itself; otherwise it prints the exact command to run and fails.
set -euo pipefail

missing=()
for pkg in "$@"; do
  if ! dpkg-query -W -f='${Status}' "$pkg" 2>/dev/null | grep -q 'install ok installed'; then
    missing+=("$pkg")
  fi
done
[ ${#missing[@]} -eq 0 ] && exit 0

if [ "$(id -u)" -eq 0 ]; then
  echo "Installing missing packages: ${missing[*]}"
  export DEBIAN_FRONTEND=noninteractive
  apt-get update -qq
  apt-get install -y -qq --no-install-recommends "${missing[@]}"
else
  echo "Missing packages: ${missing[*]}" >&2
  echo "Run: sudo apt-get install -y ${missing[*]}" >&2
  exit 1
fi
