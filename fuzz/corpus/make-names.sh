#!/usr/bin/env bash
# Makes the corpora of fuzz_name_der, fuzz_name_text and fuzz_decode_oid from values the openssl
# tool made (tests/fixtures/names/values.txt) and from subjects it prints.
#   fuzz/corpus/make-names.sh
set -euo pipefail
cd "$(dirname "$0")"
values=../../tests/fixtures/names/values.txt
mkdir -p name_der name_text decode_oid

# Names: each DER subject of the fixtures.
awk '$1 == "name" { print $2, $3 }' "$values" | while read -r label hex; do
  echo "$hex" | xxd -r -p > "name_der/$label.der"
done

# Names: the subjects of the name certificates, whose strings go beyond their types' sets.
for name in wildcard latin1; do
  python3 - "../../tests/fixtures/names/certs/$name.der" > "name_der/cert-$name.der" <<'PY'
import sys

def element(data, at):
    """(end, contents start) of the element at `at`."""
    length, header = data[at + 1], 2
    if length & 0x80:
        count = length & 0x7F
        length, header = int.from_bytes(data[at + 2:at + 2 + count], "big"), 2 + count
    return at + header + length, at + header

data = open(sys.argv[1], "rb").read()
_, tbs = element(data, 0)
at = element(data, tbs)[1]
if data[at] == 0xA0:  # version, absent in a version 1 certificate
    at = element(data, at)[0]
for _ in range(4):  # serial, signature, issuer, validity
    at = element(data, at)[0]
sys.stdout.buffer.write(data[at:element(data, at)[0]])
PY
done

# Texts: subjects as the openssl tool prints them, in two of its forms.
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
openssl ecparam -name prime256v1 -genkey -noout -out "$work/key.pem"
i=0
for subject in "/CN=Test User/OU=Unit/O=Acme, Inc./L=Springfield/ST=Oregon/C=US" \
               "/CN=Jürgen Groß/O=Ünïcödé Örg/C=DE" "/CN=Alice+UID=alice/O=Example" \
               "/emailAddress=user@example.com/DC=example/DC=com/serialNumber=1234" \
               "/CN= leading/O=trailing /OU=a\,b/L=x=y/ST=#hash/CN=say \"hi\""; do
  for form in oneline RFC2253; do
    openssl req -new -key "$work/key.pem" -utf8 -multivalue-rdn -subj "$subject" -noout -subject -nameopt "$form" \
      -config <(printf '[req]\ndistinguished_name=dn\n[dn]\n') | sed 's/^subject=//' | tr -d '\n' > "name_text/$form-$i.txt"
  done
  i=$((i + 1))
done

# Values: the first octet indexes the OID list of fuzz_decode_oid.cpp: its three OIDs without a
# rendering, then the library's rendered OIDs in the order of crypto.cng.oiddecoder.extensions.cpp
# (the extension table, then the directory attributes).
python3 - "$values" <<'PY'
import re, sys
source = open("../../sources/cng/crypto.cng.oiddecoder.extensions.cpp").read()
def block(name):
    start = source.index(name + "[] = {")
    return source[start:source.index("};", start)]
oids = ["1.3.6.1.5.5.7.3.1", "1.2.3.4.5", ""]
oids += re.findall(r'\{L"([0-9.]+)", L"\[', block("kExtensions"))
oids += re.findall(r'L"([0-9.]+)"', block("kDirectoryAttributes"))
by_name = {
    "Authority_Information_Access": "1.3.6.1.5.5.7.1.1", "X509v3_Authority_Key_Identifier": "2.5.29.35",
    "X509v3_Subject_Key_Identifier": "2.5.29.14", "X509v3_Subject_Alternative_Name": "2.5.29.17",
    "X509v3_Issuer_Alternative_Name": "2.5.29.18", "X509v3_Basic_Constraints": "2.5.29.19",
    "X509v3_Key_Usage": "2.5.29.15", "X509v3_Extended_Key_Usage": "2.5.29.37",
    "X509v3_Certificate_Policies": "2.5.29.32", "X509v3_CRL_Distribution_Points": "2.5.29.31",
    "Netscape_Cert_Type": "2.16.840.1.113730.1.1", "Netscape_Comment": "2.16.840.1.113730.1.13",
    "Netscape_Base_Url": "2.16.840.1.113730.1.2", "Netscape_Revocation_Url": "2.16.840.1.113730.1.3",
    "Netscape_CA_Revocation_Url": "2.16.840.1.113730.1.4", "Netscape_Renewal_Url": "2.16.840.1.113730.1.7",
    "Netscape_CA_Policy_Url": "2.16.840.1.113730.1.8", "Netscape_SSL_Server_Name": "2.16.840.1.113730.1.12",
    "X509v3_Subject_Directory_Attributes": "2.5.29.9", "X509v3_Private_Key_Usage_Period": "2.5.29.16",
    "S/MIME_Capabilities": "1.2.840.113549.1.9.15",
}
for line in open(sys.argv[1]):
    section, name, value = line.split()
    if section == "name":
        continue
    oid = by_name.get(name, name)
    if oid not in oids:
        continue
    data = bytes([oids.index(oid)]) + bytes.fromhex(value)
    open("decode_oid/%s-%s.der" % (section, oid), "wb").write(data)
PY
