#!/usr/bin/env bash
# Makes the corpus of fuzz_decrypt: ciphertexts the openssl tool made, each after the header
# fuzz_decrypt reads (choice byte, key length, IV length, split), then the key and the IV.
#   fuzz/corpus/make-decrypt.sh
set -euo pipefail
cd "$(dirname "$0")"
mkdir -p decrypt
rm -f decrypt/*
legacy=(-provider legacy -provider default)

# entry NAME CHOICE KEY IV SPLIT OPENSSL-CIPHER [enc options...]: a message of 40 bytes
# enciphered by openssl enc.
entry() {
  local name=$1 choice=$2 key=$3 iv=$4 split=$5 cipher=$6
  shift 6
  local ivarg=()
  [ -n "$iv" ] && ivarg=(-iv "$iv")
  {
    printf "\\$(printf %03o "$choice")\\$(printf %03o $((${#key} / 2)))\\$(printf %03o $((${#iv} / 2)))\\$(printf %03o "$split")"
    printf '%s%s' "$key" "$iv" | xxd -r -p
    printf '%s' 'a corpus message of exactly forty bytes.' | openssl enc -e "-$cipher" -K "$key" "${ivarg[@]}" "$@" "${legacy[@]}"
  } > "decrypt/$name"
}
# choice: algorithm (0 AES, 1 DES, 2 3DES) | mode << 2 (0 CBC, 1 ECB) | padding << 4 (1 None,
# 2 PKCS7) | 0x40 with an IV | 0x80 on the CryptoAPI path.
entry aes128-cbc-pkcs7 $((0 | 0 << 2 | 2 << 4 | 0x40)) 000102030405060708090a0b0c0d0e0f 0f0e0d0c0b0a09080706050403020100 5 aes-128-cbc
entry aes256-ecb-pkcs7 $((0 | 1 << 2 | 2 << 4)) 603deb1015ca71be2b73aef0857d77811f352c073b6108d72d9810a30914dff4 "" 17 aes-256-ecb
entry des-cbc-pkcs7 $((1 | 0 << 2 | 2 << 4 | 0x40)) 0123456789abcdef 1234567890abcdef 0 des-cbc
entry 3des2-ecb-pkcs7 $((2 | 1 << 2 | 2 << 4)) 0123456789abcdef23456789abcdef01 "" 8 des-ede
entry 3des-cbc-none $((2 | 0 << 2 | 1 << 4 | 0x40)) 0123456789abcdef23456789abcdef01456789abcdef0123 0001020304050607 9 des-ede3-cbc -nopad
entry des-cbc-cryptoapi $((1 | 0 << 2 | 2 << 4 | 0x40 | 0x80)) 0123456789abcdef 1234567890abcdef 3 des-cbc
