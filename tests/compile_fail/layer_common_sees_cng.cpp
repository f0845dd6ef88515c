// The platform-free objects do not see the engines over the platform's services.
#include "cng/crypto.cng.status.h"
