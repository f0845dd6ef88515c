// The one export macro of libztcrypto: symbols are hidden by default and only the interfaces
// marked ZT_CRYPTO_API are visible to clients.
#pragma once

#if defined(_WIN32)
#if defined(ZT_CRYPTO_BUILDING)
#define ZT_CRYPTO_API __declspec(dllexport)
#else
#define ZT_CRYPTO_API __declspec(dllimport)
#endif
#else
#define ZT_CRYPTO_API __attribute__((visibility("default")))
#endif
