// The platform-free objects see the platform seam and every layer below it.
#include "codec/crypto.asn1.names.h"
#include "common/crypto.padding.h"
#include "platform/platform.h"
