// Random numbers and PBKDF2.

#include <openssl/core_names.h>

#include "platform/openssl/callfailures.h"
#include "platform/openssl/cng.objects.h"

using namespace ZT::Platform;

namespace {

constexpr ULONG kRandomFlags = BCRYPT_RNG_USE_ENTROPY_IN_BUFFER | BCRYPT_USE_SYSTEM_PREFERRED_RNG;

// A non-null pointer for empty passwords and salts (OpenSSL reads a null octet string as absent).
unsigned char kEmpty[1] = {0};

// Which generator a call names: an "RNG" provider, or none with the system-preferred flag.
NTSTATUS CheckGenerator(BCRYPT_ALG_HANDLE hAlgorithm, ULONG dwFlags) {
  if ((dwFlags & BCRYPT_USE_SYSTEM_PREFERRED_RNG) != 0)
    return hAlgorithm == nullptr ? STATUS_SUCCESS : STATUS_INVALID_PARAMETER;
  const Provider* provider = FindHandle<Provider>(hAlgorithm, HandleKind::Algorithm);
  if (provider == nullptr || provider->algorithm->cls != AlgorithmClass::Random) return STATUS_INVALID_HANDLE;
  return STATUS_SUCCESS;
}

}  // namespace

extern "C" {

NTSTATUS WINAPI BCryptGenRandom(BCRYPT_ALG_HANDLE hAlgorithm, PUCHAR pbBuffer, ULONG cbBuffer, ULONG dwFlags) {
  ZT_FAIL_POINT_STATUS(NTSTATUS);
  return Guarded([&]() -> NTSTATUS {
    if ((dwFlags & ~kRandomFlags) != 0) return STATUS_INVALID_PARAMETER;
    if (const NTSTATUS status = CheckGenerator(hAlgorithm, dwFlags); !NT_SUCCESS(status)) return status;
    if (!BufferOk(pbBuffer, cbBuffer)) return STATUS_INVALID_PARAMETER;
    if (cbBuffer == 0) return STATUS_SUCCESS;
    // The buffer's content, when asked for, is the additional input of its own replacement.
    const bool entropyInBuffer = (dwFlags & BCRYPT_RNG_USE_ENTROPY_IN_BUFFER) != 0;
    const bool ok =
        RandomBytes(pbBuffer, cbBuffer, entropyInBuffer ? pbBuffer : nullptr, entropyInBuffer ? cbBuffer : 0);
    return ok ? STATUS_SUCCESS : STATUS_UNSUCCESSFUL;
  });
}

NTSTATUS WINAPI BCryptDeriveKeyPBKDF2(BCRYPT_ALG_HANDLE hPrf, PUCHAR pbPassword, ULONG cbPassword, PUCHAR pbSalt,
                                      ULONG cbSalt, ULONGLONG cIterations, PUCHAR pbDerivedKey, ULONG cbDerivedKey,
                                      ULONG dwFlags) {
  ZT_FAIL_POINT_STATUS(NTSTATUS);
  return Guarded([&]() -> NTSTATUS {
    const Provider* provider = FindHandle<Provider>(hPrf, HandleKind::Algorithm);
    // Only keyed hashes (providers opened with the HMAC flag) serve as the PRF.
    if (provider == nullptr || provider->algorithm->hash == nullptr ||
        (provider->flags & BCRYPT_ALG_HANDLE_HMAC_FLAG) == 0)
      return STATUS_INVALID_HANDLE;
    if (dwFlags != 0 || cIterations == 0 || pbDerivedKey == nullptr || cbDerivedKey == 0 ||
        !BufferOk(pbPassword, cbPassword) || !BufferOk(pbSalt, cbSalt))
      return STATUS_INVALID_PARAMETER;
    const EVP_KDF* pbkdf2 = Library::Get().Pbkdf2();
    if (pbkdf2 == nullptr) return STATUS_NOT_SUPPORTED;
    KdfCtxPtr ctx(EVP_KDF_CTX_new(const_cast<EVP_KDF*>(pbkdf2)));
    if (!ctx) return STATUS_NO_MEMORY;

    const char* digest = DigestName(provider->algorithm->hash->digest);
    std::uint64_t iterations = cIterations;
    // pkcs5 = 1 lifts the SP 800-132 lower bounds (key, salt and iteration sizes): CNG derives
    // whatever it is asked for.
    int pkcs5 = 1;
    const OSSL_PARAM params[] = {
        OSSL_PARAM_construct_utf8_string(OSSL_KDF_PARAM_DIGEST, const_cast<char*>(digest), 0),
        OSSL_PARAM_construct_octet_string(OSSL_KDF_PARAM_PASSWORD, cbPassword != 0 ? pbPassword : kEmpty, cbPassword),
        OSSL_PARAM_construct_octet_string(OSSL_KDF_PARAM_SALT, cbSalt != 0 ? pbSalt : kEmpty, cbSalt),
        OSSL_PARAM_construct_uint64(OSSL_KDF_PARAM_ITER, &iterations),
        OSSL_PARAM_construct_int(OSSL_KDF_PARAM_PKCS5, &pkcs5),
        OSSL_PARAM_construct_end()};
    return EVP_KDF_derive(ctx.get(), pbDerivedKey, cbDerivedKey, params) == 1 ? STATUS_SUCCESS : STATUS_INTERNAL_ERROR;
  });
}

}  // extern "C"
