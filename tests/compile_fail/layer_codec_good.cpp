// The codec sees its own headers and the framework below it.
#include "codec/crypto.asn1.certificate.h"
#include "framework/crypto.trace.h"
