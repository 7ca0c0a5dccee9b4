#pragma once

// Umbrella header of the platform types the library returns and extends.

#include "orvane/Platform/CoreGraphics/CGGeometry.h"
#include "orvane/Platform/System/CompressionAlgorithm.h"
#include "orvane/Platform/Foundation/Data.h"
#include "orvane/Platform/System/DesktopAppearance.h"
#include "orvane/Platform/Foundation/Environment.h"
#include "orvane/Platform/AppKit/NSAffineTransform.h"
#include "orvane/Platform/AppKit/NSAppearance.h"
#include "orvane/Platform/AppKit/NSApplication.h"
#include "orvane/Platform/AppKit/NSBezierPath.h"
#include "orvane/Platform/AppKit/NSColor.h"
#include "orvane/Platform/Foundation/NSError.h"
#include "orvane/Platform/Foundation/NSKeyedArchiver.h"
#include "orvane/Platform/Foundation/NSLog.h"
#include "orvane/Platform/Foundation/NSRange.h"
#include "orvane/Platform/Foundation/NSUserDefaults.h"
#include "orvane/Platform/System/NSURL.h"
#include "orvane/Platform/AppKit/NSView.h"
#include "orvane/Platform/AppKit/NSWindow.h"
#include "orvane/Platform/Foundation/SerialQueue.h"
