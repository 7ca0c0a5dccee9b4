#pragma once

// Umbrella header of the Math folder.

#include "orvane/Math/HXMathUtility.h"
#include "orvane/Math/NSBezierPathOvalArc.h"
