#!/usr/bin/env bash
# The tool under Wine answers as the Linux tool does: each command below runs on both with the
# same arguments and input, and their standard output and exit status must be the same bytes.
#
#   compare-tools.sh LINUX-TOOL WINDOWS-TOOL.exe FIXTURES WORK-DIR WINE-PREFIX
#
# Prints one line per command and "N passed, N failed" at the end; exits 1 on any difference but
# those tests/windows/exceptions.txt lists as "tool:NAME <kind>: <reason>" (they still run, and
# are reported, so that a difference that goes away is seen).
set -uo pipefail

linux=$1 windows=$2 fixtures=$3 work=$4 prefix=$5
wine_run=$(cd "$(dirname "$0")/../../scripts" && pwd)/wine-run.sh
[[ -x $linux ]] || { echo "no Linux tool at $linux (make release builds it)" >&2; exit 1; }
mkdir -p "$work"

exceptions=$(cd "$(dirname "$0")" && pwd)/exceptions.txt
listed() { grep -q "^tool:$1[[:space:]]" "$exceptions"; }

passed=0 failed=0 listed=0

# windows_tool INPUT OUT ERR ARGUMENTS...: the Windows tool under Wine, its status returned. When
# Wine's own client loses its server ("wine client error" on standard error) the emulator failed,
# not the tool, and the command runs once more. ERR may be OUT.
windows_tool() {
  local input=$1 out=$2 err=$3 status
  shift 3
  for attempt in 1 2; do
    if [[ $err == "$out" ]]; then
      "$wine_run" "$prefix" "$windows" "$@" <"$input" >"$out" 2>&1
    else
      "$wine_run" "$prefix" "$windows" "$@" <"$input" >"$out" 2>"$err"
    fi
    status=$?
    grep -q "wine client error" "$err" || break
    echo "  (Wine's client lost its server: running again)" >&2
  done
  return $status
}
# compare NAME INPUT-FILE ARGUMENTS...: the tool's answer for ARGUMENTS with INPUT-FILE on stdin.
compare() {
  local name=$1 input=$2
  shift 2
  "$linux" "$@" <"$input" >"$work/$name.linux" 2>"$work/$name.linux.err"
  echo "status $?" >>"$work/$name.linux"
  windows_tool "$input" "$work/$name.windows" "$work/$name.windows.err" "$@"
  echo "status $?" >>"$work/$name.windows"
  judge "$name" "$@"
}

# judge NAME ARGUMENTS...: counts and reports whether $work/NAME.linux and NAME.windows are the same.
judge() {
  local name=$1
  shift
  if cmp -s "$work/$name.linux" "$work/$name.windows"; then
    passed=$((passed + 1))
    echo "same     $name"
    listed "$name" && echo "  (listed as an exception in $exceptions, yet the same now)"
  elif listed "$name"; then
    listed=$((listed + 1))
    echo "differs  $name (listed: $(grep "^tool:$name[[:space:]]" "$exceptions" | sed 's/^[^ ]* *//'))"
  else
    failed=$((failed + 1))
    echo "DIFFERS  $name: ztcrypto $*"
    diff <(od -An -c "$work/$name.linux") <(od -An -c "$work/$name.windows") | head -20
    [[ -f $work/$name.windows.err ]] && sed 's/^/  windows stderr: /' "$work/$name.windows.err" | head -5
  fi
}

# roundtrip NAME INPUT-FILE ENTROPY [PROTECT-ARGUMENTS...]: what each tool's unprotect gives for a
# blob its own protect wrote (data, description, status). The blobs themselves are not compared:
# they are not portable between the platforms (each is sealed under its own platform's keys, and
# a fresh salt each time), so only what they open to must be the same.
roundtrip() {
  local name=$1 input=$2 entropy=$3
  shift 3
  "$linux" protect --entropy "$entropy" "$@" <"$input" >"$work/$name.linux.blob"
  windows_tool "$input" "$work/$name.windows.blob" "$work/$name.windows.blob.err" protect --entropy "$entropy" "$@"
  compare_files "$name" "$work/$name.linux.blob" "$work/$name.windows.blob" unprotect --entropy "$entropy" -
}

# compare_files NAME LINUX-INPUT WINDOWS-INPUT ARGUMENTS...: as compare, each tool on its own input.
compare_files() {
  local name=$1 linux_input=$2 windows_input=$3
  shift 3
  "$linux" "$@" <"$linux_input" >"$work/$name.linux" 2>&1
  echo "status $?" >>"$work/$name.linux"
  windows_tool "$windows_input" "$work/$name.windows" "$work/$name.windows" "$@"
  echo "status $?" >>"$work/$name.windows"
  judge "$name" "$@"
}

certs=$fixtures/certs rsa=$fixtures/rsa stores=$fixtures/stores
printf 'abc' >"$work/abc"
head -c 100000 "$rsa/data.txt" >"$work/data" 2>/dev/null
printf '\x1a\r\n\x00binary\x0a\x0d' >"$work/binary"
key=000102030405060708090a0b0c0d0e0f
none=/dev/null

compare digest-stdin "$work/abc" digest SHA256
compare digest-file $none digest SHA256 "$work/data"
compare digest-binary "$work/binary" digest SHA1 -
compare digest-md5 $none digest MD5 "$work/binary"
compare digest-sha512 "$work/data" digest SHA512
compare digest-unknown $none digest SHA3 "$work/abc"
compare hmac-sha256 "$work/abc" hmac HMAC_SHA256 --key "$key"
compare hmac-sha1 $none hmac HMAC_SHA1 --key 0b0b0b0b "$work/data"
compare pbkdf2 $none pbkdf2 --password password --salt 73616c74 --length 32 --iterations 4096
compare pbkdf2-sha512 $none pbkdf2 --password 'pass phrase' --salt 00ff --length 64 --iterations 1000 --prf HMAC_SHA512
compare pbkdf2-sha1 $none pbkdf2 --password p --salt 01 --length 20 --iterations 1 --prf HMAC_SHA1
for cert in logon all_extensions intermediate odd_serial_negative odd_time_offsets odd_before_1601 old_san efs ec_leaf; do
  compare "cert-dump-$cert" $none cert dump "$certs/$cert.der"
done
compare cert-dump-pem $none cert dump "$certs/logon.pem"
compare cert-dump-trailing $none cert dump "$certs/odd_trailing_byte.der"
compare cert-policy $none cert policy "$certs/logon.der"
compare cert-verify $none cert verify --issuer "$certs/intermediate.der" "$certs/logon.der"
compare cert-verify-wrong-issuer $none cert verify --issuer "$certs/root.der" "$certs/logon.der"
compare verify-sha256 $none verify --key "$rsa/rsa2048.pub.der" --padding PKCS1 --hash SHA256 \
  --signature "$rsa/data.sha256.sig" "$rsa/data.txt"
compare verify-pem $none verify --key "$rsa/rsa2048.pub.pem" --padding PKCS1 --hash SHA512 \
  --signature "$rsa/data.sha512.sig" "$rsa/data.txt"
compare verify-wrong-data $none verify --key "$rsa/rsa2048.pub.der" --padding PKCS1 --hash SHA256 \
  --signature "$rsa/data.sha256.sig" "$rsa/other.txt"
compare verify-x931 $none verify --key "$rsa/rsa3072.pub.der" --padding X_931 --hash SHA256 \
  --signature "$rsa/rsa3072.x931.sig" "$rsa/rsa3072.x931.txt"
compare encrypt-aes-cbc "$work/data" encrypt --alg AES --mode CBC --key "$key" --iv "$key"
compare encrypt-aes-ecb-binary "$work/binary" encrypt --alg AES --mode ECB --key "$key$key"
compare encrypt-3des $none encrypt --alg 3DES --mode CBC --key "$key${key:0:16}" --iv 0011223344556677 "$work/abc"
compare encrypt-bad-key "$work/abc" encrypt --alg AES --mode CBC --key 00112233
"$linux" encrypt --alg AES --mode CBC --key "$key" --iv "$key" "$work/binary" >"$work/binary.enc"
compare decrypt-aes-cbc "$work/binary.enc" decrypt --alg AES --mode CBC --key "$key" --iv "$key"
compare cmac "$work/data" cmac --key "$key"
compare p7b-list $none p7b list "$stores/three.p7b"
compare p7b-list-with-crl $none p7b list "$stores/with_crl.p7b"
compare p12-list $none p12 list --password-file "$stores/password.txt" "$stores/chain.p12"
compare p12-list-legacy $none p12 list --password-file "$stores/password.txt" "$stores/legacy.p12"
compare p12-list-wrong-password $none p12 list --password-file "$work/abc" "$stores/modern.p12"
compare kdf-800-56a $none kdf 800-56a --secret "$key$key" --other-info 00112233 --length 40
roundtrip protect-binary "$work/binary" 00ff --description $'d\xc3\xa9j\xc3\xa0 vu'
roundtrip protect-large "$work/data" 0102030405
compare name $none name 'CN=Test, O="Acme, Inc.", C=US'
compare oid $none oid 'Smart Card Logon'
compare algorithms $none algorithms

echo "$listed commands differ as listed"
echo "$passed passed, $failed failed"
[[ $failed -eq 0 ]]
