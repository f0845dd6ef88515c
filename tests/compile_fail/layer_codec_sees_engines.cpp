// The codec does not see the engines above it.
#include "cng/crypto.cng.util.h"
