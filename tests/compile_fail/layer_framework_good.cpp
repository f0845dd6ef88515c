// The framework sees the support libraries and the public headers.
#include "framework/crypto.trace.h"
#include "nq/nqcext.h"
#include "zt/algorithm.h"
