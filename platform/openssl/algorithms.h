// The CNG algorithms this platform offers, and what each needs from OpenSSL.
#pragma once

#include "platform/bcrypt.h"
#include "platform/openssl/library.h"

namespace ZT::Platform {

enum class AlgorithmClass : unsigned char { Hash, Random, Symmetric, Rsa, Ecdh };

struct HashAlgorithm {
  DigestId digest;
  ULONG digestLength;
  ULONG blockLength;
};

struct SymmetricAlgorithm {
  ULONG blockLength;
  BCRYPT_KEY_LENGTHS_STRUCT keyLengths;  // as the provider reports them, in bits
  // The key sizes in bytes it imports, with the cipher for each (ECB; CBC is the next id).
  struct KeySize {
    ULONG bytes;
    ULONG bits;  // KeyLength of such a key
    CipherId ecb;
  };
  KeySize sizes[3];
  unsigned sizeCount;
};

struct Curve {
  const char* groupName;  // OpenSSL group ("P-256", ...)
  ULONG bits;
  ULONG coordinateBytes;
  ULONG publicMagic;
  ULONG privateMagic;
};

struct Algorithm {
  const wchar_t* id;  // the CNG identifier, as AlgorithmName reports it
  AlgorithmClass cls;
  const HashAlgorithm* hash;
  const SymmetricAlgorithm* symmetric;
  const Curve* curve;
};

// The algorithm of a CNG identifier, compared without regard to ASCII case (Windows resolves
// identifiers through its configuration store, whose names compare that way), or null.
const Algorithm* FindAlgorithm(const wchar_t* id);

// The hash algorithm of a CNG hash identifier ("SHA256", ...), or null.
const HashAlgorithm* FindHashAlgorithm(const wchar_t* id);

// Wide-string helpers.
// ASCII case-insensitive equality of two zero-terminated strings.
bool EqualsNoCase(const wchar_t* a, const wchar_t* b);
// The byte size of a zero-terminated wide string with its terminator, as CNG counts it.
ULONG WideByteSize(const wchar_t* s);

}  // namespace ZT::Platform
