#!/usr/bin/env bash
# Makes the corpus of fuzz_key_import from the RSA fixtures that the openssl tool made
# (tests/fixtures/rsa): each file is the selector byte of fuzz_key_import, then the bytes.
#   fuzz/corpus/make-key-import.sh
set -euo pipefail
cd "$(dirname "$0")"
rsa=../../tests/fixtures/rsa
mkdir -p key_import
rm -f key_import/*

entry() {  # selector, name, file
  { printf "\\$(printf %03o "$1")"; cat "$3"; } > "key_import/$2"
}
entry 0 x509-rsa2048 "$rsa/rsa2048.pub.der"
entry 0 x509-rsa1024e3 "$rsa/rsa1024e3.pub.der"
entry 0 x509-ec256 "$rsa/ec256.pub.der"
entry 1 pkcs8-rsa2048 "$rsa/rsa2048.pkcs8.der"
entry 1 pkcs8-ec256 "$rsa/ec256.pkcs8.der"
entry 2 blob-rsa2048 "$rsa/rsa2048.blob"
entry 3 pkcs1-block "$rsa/hello.pkcs1.block"
entry 4 oaep-block "$rsa/hello.oaep.block"
entry 5 x931-block "$rsa/x931.direct.block"
# EC public points: the tail of the openssl tool's EC public keys (tests/fixtures/ec).
ec=../../tests/fixtures/ec
work_ec=$(mktemp -d)
for curve in 6:p256:65 7:p384:97 8:p521:133; do
  IFS=: read -r selector name size <<< "$curve"
  tail -c "$size" "$ec/$name.pub.der" > "$work_ec/$name.point"
  entry "$selector" "ecc-$name" "$work_ec/$name.point"
done
rm -rf "$work_ec"

# A small key's blocks, so that short inputs reach the decoders' accepting paths too.
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
openssl genpkey -algorithm RSA -pkeyopt rsa_keygen_bits:512 -out "$work/key.pem" 2>/dev/null
openssl rsa -in "$work/key.pem" -outform PVK -pvk-none -out "$work/key.pvk" 2>/dev/null
tail -c +25 "$work/key.pvk" > "$work/key.blob"
entry 2 blob-rsa512 "$work/key.blob"
printf 'hi' > "$work/hi.txt"
openssl pkeyutl -encrypt -pubin -inkey <(openssl rsa -in "$work/key.pem" -pubout 2>/dev/null) \
  -pkeyopt rsa_padding_mode:pkcs1 -in "$work/hi.txt" |
  openssl pkeyutl -decrypt -inkey "$work/key.pem" -pkeyopt rsa_padding_mode:none > "$work/pkcs1.block"
entry 3 pkcs1-block-512 "$work/pkcs1.block"
openssl pkeyutl -encrypt -pubin -inkey <(openssl rsa -in "$work/key.pem" -pubout 2>/dev/null) \
  -pkeyopt rsa_padding_mode:oaep -in "$work/hi.txt" |
  openssl pkeyutl -decrypt -inkey "$work/key.pem" -pkeyopt rsa_padding_mode:none > "$work/oaep.block"
entry 4 oaep-block-512 "$work/oaep.block"
