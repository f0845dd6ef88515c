// The codec does not see the platform above it.
#include "platform/certificates.h"
