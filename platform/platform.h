// The whole platform seam in one include: the Windows interfaces the engines call.
#pragma once

#include "platform/wintypes.h"
#include "platform/bcrypt.h"
#include "platform/ncrypt.h"
#include "platform/wincrypt.h"
#include "platform/libloader.h"
#include "platform/guid.h"
#include "platform/systime.h"
#include "platform/oleauto.h"
#include "platform/certificates.h"
#include "platform/fileapi.h"
#include "platform/dpapi.h"
