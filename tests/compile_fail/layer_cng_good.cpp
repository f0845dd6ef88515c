// The engines see every layer below them.
#include "cng/crypto.cng.x509certificates.h"
#include "common/crypto.x500text.h"
#include "platform/platform.h"
