// The engines see the platform's seam, not its implementation on OpenSSL.
#include "platform/openssl/library.h"
