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

echo "== X.500 names, OIDs and extension values"
run name 'CN=Test User, O="Acme, Inc.", C=US'
run name --reverse 'CN=Alice + OID.0.9.2342.19200300.100.1.1=alice; O=Example'
run name --crlf --der 30373123300c06035504031305416c6963653013060a0992268993f22c6401011305616c6963653110300e060355040a13074578616d706c65
run name 'CN=a,'
run oid 1.3.6.1.4.1.311.20.2.2
run oid 'Code Signing'
run decode 2.5.29.15 030201a0
run decode 2.5.29.37 301406082b0601050507030206082b06010505070304
run decode 1.2.3.4.5 0c0c48656c6c6f2c20776f726c64

echo
echo "== RSA signatures (key, data and signatures made by the openssl tool, in tests/fixtures/rsa)"
(
  tool=$(realpath "$tool")
  cd "$(dirname "$0")/../tests/fixtures/rsa"
  run verify --key rsa2048.pub.der --padding PKCS1 --hash SHA256 --signature data.sha256.sig data.txt
  run verify --key rsa2048.pub.pem --padding PKCS1 --hash SHA256 --signature data.sha256.sig other.txt
  run verify --key rsa2048.pub.der --padding X_931 --hash SHA256 --signature x931.direct.sig x931.direct.txt
  run verify --key rsa2048.pub.der --padding None --signature block.none.sig block.bin
  run verify --key ec256.pub.der --padding PKCS1 --hash SHA256 --signature data.sha256.sig data.txt
)

echo
echo "== Certificates and the smart-card policy (fixtures made by the openssl tool, in tests/fixtures/certs)"
(
  tool=$(realpath "$tool")
  cd "$(dirname "$0")/../tests/fixtures/certs"
  run cert dump logon.der
  run cert policy logon.der
  run cert policy logon_no_ds_agent.pem
  run cert policy efs.der
  run cert policy --ignore-efs efs.der
  run cert verify logon.der --issuer intermediate.pem
  run cert verify logon.der --issuer root.pem
  run cert trust --timeout 1000 logon.der
)

echo
echo "== Certificate stores (bundles and PFX files made by the openssl tool, in tests/fixtures/stores)"
(
  tool=$(realpath "$tool")
  cd "$(dirname "$0")/../tests/fixtures/stores"
  run p7b list three.p7b
  run p12 list chain.p12 --password-file password.txt
  run p12 list legacy.p12 --password-file password.txt
  echo
  echo "\$ echo wrong | ztcrypto p12 list modern.p12"
  echo wrong | "$tool" p12 list modern.p12 || echo "(exit status $?)"
)
