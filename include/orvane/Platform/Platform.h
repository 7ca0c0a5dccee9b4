#pragma once

// Umbrella header of the platform types the library returns and extends.

#include "orvane/Platform/CGGeometry.h"
#include "orvane/Platform/CompressionAlgorithm.h"
#include "orvane/Platform/Data.h"
#include "orvane/Platform/DesktopAppearance.h"
#include "orvane/Platform/Environment.h"
#include "orvane/Platform/NSAffineTransform.h"
#include "orvane/Platform/NSAppearance.h"
#include "orvane/Platform/NSApplication.h"
#include "orvane/Platform/NSBezierPath.h"
#include "orvane/Platform/NSColor.h"
#include "orvane/Platform/NSError.h"
#include "orvane/Platform/NSKeyedArchiver.h"
#include "orvane/Platform/NSLog.h"
#include "orvane/Platform/NSRange.h"
#include "orvane/Platform/NSUserDefaults.h"
#include "orvane/Platform/NSURL.h"
#include "orvane/Platform/NSView.h"
#include "orvane/Platform/NSWindow.h"
#include "orvane/Platform/SerialQueue.h"
