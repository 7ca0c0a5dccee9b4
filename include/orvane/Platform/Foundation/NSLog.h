#pragma once

#include <string_view>

#include "orvane/Export.h"

namespace orvane {

/// Writes one diagnostic line to standard error (descriptor 2):
///   YYYY-MM-DD HH:MM:SS.mmm <process>[<pid>:<tid>] <text>
/// in local time, with a single write(2) so that lines from several threads
/// never interleave and the line follows any redirection of descriptor 2.
ORVANE_EXPORT void NSLog(std::string_view text);

}  // namespace orvane
