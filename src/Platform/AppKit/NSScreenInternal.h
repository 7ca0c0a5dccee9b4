#pragma once

// The desktop-session rule of the main screen, apart from the process
// environment so that tests can hand it variables of their own.

#include <functional>
#include <memory>

#include "orvane/Platform/AppKit/NSScreen.h"

namespace orvane {

/// Looks up an environment variable: its value, or null when unset.
using EnvironmentLookup = std::function<const char*(const char* name)>;

/// The screen of the desktop session `lookup` describes, or null outside one.
std::shared_ptr<const NSScreen> sessionScreen(const EnvironmentLookup& lookup);

}  // namespace orvane
