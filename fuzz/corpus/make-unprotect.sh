#!/usr/bin/env bash
# Makes the corpus of fuzz_unprotect: blobs whose header this version reads (a tag that does not
# check out), shorter ones, and round trips of each scope with and without entropy and
# description (the layout of fuzz/fuzz_unprotect.cpp's input).
#   fuzz/corpus/make-unprotect.sh
set -euo pipefail
cd "$(dirname "$0")"
mkdir -p unprotect
rm -f unprotect/*

# blob NAME SCOPE SEALED-BYTES: choice byte 0, "ZTDP", version 1, the scope, salt and nonce, then
# SEALED-BYTES bytes standing for the ciphertext and the tag.
blob() {
  { printf '\000ZTDP\001'; printf "\\$(printf %03o "$2")"; head -c 44 /dev/zero | tr '\0' '\125'; head -c "$3" /dev/zero; } > "unprotect/$1"
}
blob user-header 1 36
blob machine-header 2 36
blob too-short 1 19
blob unknown-scope 3 40

# roundtrip NAME CHOICE ENTROPY DESCRIPTION POSITION CHANGE DATA
roundtrip() {
  { printf "\\$(printf %03o "$2")\\$(printf %03o ${#3})\\$(printf %03o ${#4})"
    printf "\\$(printf %03o $(($5 >> 8)))\\$(printf %03o $(($5 & 255)))\\$(printf %03o "$6")"
    printf '%s%s%s' "$3" "$4" "$7"; } > "unprotect/$1"
}
roundtrip user-plain 1 "" "" 5 1 "the data"
roundtrip machine-entropy-description 7 "pepper" "about it" 300 255 "machine data, a little longer"
roundtrip user-empty-data 5 "e" "only a description" 60 128 ""
