#pragma once

// Umbrella header of the Compression folder.

#include "orvane/Compression/NKZlibCompression.h"
#include "orvane/Compression/NSDataCompression.h"
