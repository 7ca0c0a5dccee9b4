#pragma once

// Umbrella header: everything a host can call.

#include "orvane/Export.h"

#include "orvane/Categories/Categories.h"
#include "orvane/Compression/Compression.h"
#include "orvane/Image/Image.h"
#include "orvane/Log/Log.h"
#include "orvane/Math/Math.h"
#include "orvane/Platform/Platform.h"
#include "orvane/Storage/Storage.h"

extern "C" {
/// The framework's version number, 158.0.
ORVANE_EXPORT extern const double OrvaneVersionNumber;
/// The framework's version text: "@(#)PROGRAM:Orvane  PROJECT:Tamsel-158" and a line feed.
ORVANE_EXPORT extern const unsigned char OrvaneVersionString[];
}
