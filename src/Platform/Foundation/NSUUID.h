#pragma once

#include <string>

namespace orvane {

/// A new random (version 4) UUID as text: 36 characters, upper-case
/// hexadecimal digits in groups of 8-4-4-4-12 joined by hyphens.
std::string makeUUIDString();

}  // namespace orvane
