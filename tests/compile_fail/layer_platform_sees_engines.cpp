// The platform does not see the engines above it.
#include "common/crypto.x500text.h"
