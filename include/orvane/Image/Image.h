#pragma once

// Umbrella header of the Image folder.

#include "orvane/Image/CIImageTransform.h"
#include "orvane/Image/HXImageUtility.h"
#include "orvane/Image/NSImageUtilites.h"
