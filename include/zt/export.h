// The one export macro of libztcrypto: symbols are hidden by default and only the interfaces
// marked ZT_CRYPTO_API are visible to clients. On Windows the library exports them and its
// clients import them from libztcrypto.dll; programs that link the library's objects themselves
// (its tests) define ZT_CRYPTO_STATIC.
#pragma once

#if defined(_WIN32) && defined(ZT_CRYPTO_STATIC) && !defined(ZT_CRYPTO_BUILDING)
#define ZT_CRYPTO_API
#elif defined(_WIN32)
#if defined(ZT_CRYPTO_BUILDING)
#define ZT_CRYPTO_API __declspec(dllexport)
#else
#define ZT_CRYPTO_API __declspec(dllimport)
#endif
#else
#define ZT_CRYPTO_API __attribute__((visibility("default")))
#endif
