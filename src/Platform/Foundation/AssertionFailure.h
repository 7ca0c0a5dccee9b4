#pragma once

#include <string_view>

namespace orvane {

/// The platform's assertion-failure stop: writes
/// "Assertion failed: (<expression>), function <function>, file <file>, line <line>."
/// as one line on standard error, then aborts the process.
[[noreturn]] void assertionFailure(std::string_view function, std::string_view file, int line,
                                   std::string_view expression);

}  // namespace orvane
