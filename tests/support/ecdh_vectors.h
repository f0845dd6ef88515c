// The curves of the ECDH tests, their published vectors (tests/fixtures/ec/vectors.txt) and the
// platform's blobs of their keys.
#pragma once

#include <initializer_list>
#include <map>
#include <string>
#include <vector>

#include "platform/bcrypt.h"

namespace zttest {

struct EcdhCurve {
  const char* name;  // "p256": the vectors' section suffix and the fixtures' file names
  const wchar_t* algorithm;
  ULONG bits;
  std::size_t coordinate;  // bytes of X or Y
  ULONG publicMagic, privateMagic;
};

inline constexpr EcdhCurve kEcdhCurves[] = {
    {"p256", BCRYPT_ECDH_P256_ALGORITHM, 256, 32, BCRYPT_ECDH_PUBLIC_P256_MAGIC, BCRYPT_ECDH_PRIVATE_P256_MAGIC},
    {"p384", BCRYPT_ECDH_P384_ALGORITHM, 384, 48, BCRYPT_ECDH_PUBLIC_P384_MAGIC, BCRYPT_ECDH_PRIVATE_P384_MAGIC},
    {"p521", BCRYPT_ECDH_P521_ALGORITHM, 521, 66, BCRYPT_ECDH_PUBLIC_P521_MAGIC, BCRYPT_ECDH_PRIVATE_P521_MAGIC},
};

// The RFC 5903 vector of the curve: i, gix, giy, r, grx, gry, girx (hex).
std::map<std::string, std::string> Rfc5903(const EcdhCurve& curve);

// The public point (04 || X || Y) of the curve's fixture key, made by the openssl tool
// (tests/fixtures/ec).
std::vector<unsigned char> FixturePoint(const EcdhCurve& curve);

// SHA-1 of the value that `openssl pkeyutl -derive` agrees between the curve's fixture private
// key and the public point `peer`, in hex: what the library's agreement must give. Empty when
// the tool refuses the point.
std::string OpensslAgreementHash(const EcdhCurve& curve, const std::vector<unsigned char>& peer);

// A BCRYPT_ECCKEY_BLOB: the header (`magic`, the length of the first part), then the parts,
// given in hex, one after another.
std::vector<unsigned char> EccBlob(ULONG magic, std::initializer_list<std::string> hexParts);

}  // namespace zttest
