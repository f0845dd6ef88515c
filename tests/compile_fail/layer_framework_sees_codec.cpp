// The framework does not see the codec above it.
#include "codec/crypto.der.h"
