// ZT::Framework: the library's whole public interface.
#pragma once

#include "zt/export.h"
#include "zt/secure.h"
#include "zt/exception.h"
#include "zt/parameters.h"
#include "zt/algorithm.h"
#include "zt/key.h"
#include "zt/digest.h"
#include "zt/mac.h"
#include "zt/random.h"
#include "zt/keygenerator.h"
#include "zt/keyderivation.h"
#include "zt/padding.h"
#include "zt/rsakey.h"
#include "zt/signature.h"
