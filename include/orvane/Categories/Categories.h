#pragma once

// Umbrella header of the helper extensions of platform types.

#include "orvane/Categories/NSColorColorEffect.h"
#include "orvane/Categories/NSDataLineRead.h"
#include "orvane/Categories/NSDataMd5.h"
#include "orvane/Categories/NSStringMd5.h"
#include "orvane/Categories/NSURLSecurityData.h"
#include "orvane/Categories/NSViewDarkMode.h"
#include "orvane/Categories/NSWindowDarkmode.h"
