// The platform's seam sees the codec and the framework below it.
#include "codec/crypto.asn1.names.h"
#include "framework/crypto.trace.h"
#include "platform/platform.h"
#include "platform/testing.h"
