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

echo
echo "== ECDH: the tool and the openssl tool reach the same secret"
(
  tool=$(realpath "$tool")
  work=$(mktemp -d)
  trap 'rm -rf "$work"' EXIT
  cd "$work"
  run ecdh genkey --curve P384
  echo
  echo "\$ openssl genpkey -algorithm EC -pkeyopt ec_paramgen_curve:P-256 -out alice.pem"
  openssl genpkey -algorithm EC -pkeyopt ec_paramgen_curve:P-256 -out alice.pem
  alice=$(openssl pkey -in alice.pem -pubout -outform DER | tail -c 65 | od -An -tx1 | tr -d ' \n')
  echo "(Alice's public point: $alice)"
  echo
  echo "\$ ztcrypto ecdh agree --curve P256 --peer \$alice"
  agreed=$("$tool" ecdh agree --curve P256 --peer "$alice")
  echo "$agreed"
  bob=$(echo "$agreed" | sed -n 's/^Public key: //p')
  # Bob's point as a key the openssl tool reads: Alice's public key info with his point for hers.
  { openssl pkey -in alice.pem -pubout -outform DER | head -c -65; printf "$(echo "$bob" | sed 's/../\\x&/g')"; } > bob.der
  echo
  echo "\$ openssl pkeyutl -derive -inkey alice.pem -peerkey bob.der -peerform DER | openssl dgst -sha1 -r"
  theirs=$(openssl pkeyutl -derive -inkey alice.pem -peerkey bob.der -peerform DER | openssl dgst -sha1 -r | cut -d' ' -f1)
  echo "$theirs"
  [ "Secret: $theirs" = "$(echo "$agreed" | tail -n 1)" ] && echo "(the same secret on both sides)" || echo "(SECRETS DIFFER)"
)
echo
echo "(RFC 7518, appendix C: the key 56aa8deaf8236d205c2228cd71a7101a from the ECDH-ES example's Z)"
run kdf 800-56a --secret 9e56d91d817135d372834283bf84269cfb316ea3da806a48f6daa7798cfe90c4 \
  --other-info 000000074131323847434d00000005416c69636500000003426f6200000080 --length 16

echo
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
echo "== Block ciphers, CMAC and RSA encryption (binary output shown in hex)"
(
  key=000102030405060708090a0b0c0d0e0f iv=0f0e0d0c0b0a09080706050403020100
  show() {  # the command line as shown, then the command
    echo
    echo "\$ $1"
    shift
    "$@" || echo "(exit status $?)"
  }
  show "printf 'attack at dawn' | ztcrypto encrypt --alg AES --mode CBC --key $key --iv $iv | hex" \
    sh -c "printf 'attack at dawn' | '$tool' encrypt --alg AES --mode CBC --key $key --iv $iv | od -An -tx1 -v | tr -d ' \n'; echo"
  show "printf 'attack at dawn' | openssl enc -aes-128-cbc -K $key -iv $iv | hex" \
    sh -c "printf 'attack at dawn' | openssl enc -aes-128-cbc -K $key -iv $iv | od -An -tx1 -v | tr -d ' \n'; echo"
  show "printf 'attack at dawn' | ztcrypto encrypt ... | ztcrypto decrypt --alg AES --mode CBC --key $key --iv $iv" \
    sh -c "printf 'attack at dawn' | '$tool' encrypt --alg AES --mode CBC --key $key --iv $iv | '$tool' decrypt --alg AES --mode CBC --key $key --iv $iv; echo"
  show "printf 'attack at dawn' | ztcrypto encrypt --alg AES --mode CBC --key 0001020304 --iv $iv" \
    sh -c "printf 'attack at dawn' | '$tool' encrypt --alg AES --mode CBC --key 0001020304 --iv $iv"
  show "printf 'attack at dawn' | ztcrypto encrypt --alg DES --mode ECB --padding None --key 0123456789abcdef" \
    sh -c "printf 'attack at dawn' | '$tool' encrypt --alg DES --mode ECB --padding None --key 0123456789abcdef"
  show "printf '' | ztcrypto cmac --key 2b7e151628aed2a6abf7158809cf4f3c     (RFC 4493, example 1)" \
    sh -c "printf '' | '$tool' cmac --key 2b7e151628aed2a6abf7158809cf4f3c"
  rsa=$(dirname "$0")/../tests/fixtures/rsa
  show "printf 'for your eyes only' | ztcrypto rsa-encrypt --key rsa2048.pub.pem --padding OAEP | openssl pkeyutl -decrypt -inkey rsa2048.key.pem -pkeyopt rsa_padding_mode:oaep" \
    sh -c "printf 'for your eyes only' | '$tool' rsa-encrypt --key '$rsa/rsa2048.pub.pem' --padding OAEP | openssl pkeyutl -decrypt -inkey '$rsa/rsa2048.key.pem' -pkeyopt rsa_padding_mode:oaep; echo"
)

echo
echo "== Data protection for this user (the user's secret is made on first use in ~/.local/share/ztcrypto)"
(
  show() {  # stderr too, in order: the description and the errors are the point here
    echo
    echo "\$ $1"
    shift
    "$@" 2>&1 || echo "(exit status $?)"
  }
  blob=$(mktemp)
  trap 'rm -f "$blob"' EXIT
  show "printf 'my PIN is 1234' | ztcrypto protect --entropy 5eed --description 'card PIN' --out blob" \
    sh -c "printf 'my PIN is 1234' | '$tool' protect --entropy 5eed --description 'card PIN' --out '$blob'"
  show "ztcrypto unprotect --entropy 5eed blob" sh -c "'$tool' unprotect --entropy 5eed '$blob'; echo"
  show "ztcrypto unprotect --entropy 5eee blob" "$tool" unprotect --entropy 5eee "$blob"
  show "printf 'for every user of this machine' | ztcrypto protect --machine" \
    sh -c "printf 'for every user of this machine' | '$tool' protect --machine > /dev/null && echo '(protected)'"
)

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
