#pragma once

// Test seam of security-scoped access: the count of open accesses per
// location, so tests can check that every start is balanced by one stop.

#include <cstdint>
#include <filesystem>

#include "orvane/Platform/System/NSURL.h"

namespace orvane {

/// How many accesses to the location are open.
std::uint64_t securityScopedAccessCount(const std::filesystem::path& url);

}  // namespace orvane
