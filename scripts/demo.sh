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

echo
echo "== Digests and HMACs (of standard input)"
echo
echo "\$ printf abc | ztcrypto digest SHA256"
printf abc | "$tool" digest SHA256
echo
echo "\$ printf 'Hi There' | ztcrypto hmac HMAC_SHA256 --key 0b0b0b0b0b0b0b0b0b0b0b0b0b0b0b0b0b0b0b0b"
printf 'Hi There' | "$tool" hmac HMAC_SHA256 --key 0b0b0b0b0b0b0b0b0b0b0b0b0b0b0b0b0b0b0b0b
echo
echo "\$ printf abc | ztcrypto digest SHA224"
printf abc | "$tool" digest SHA224 || echo "(exit status $?)"

echo
echo "== Key derivation, keys, random bytes and GUIDs"
run pbkdf2 --password passwd --salt 73616c74 --length 64 --iterations 1
run pbkdf2 --password password --salt 73616c74 --length 20 --iterations 4096 --prf HMAC_SHA1
run genkey 32
run random 16
run guid
