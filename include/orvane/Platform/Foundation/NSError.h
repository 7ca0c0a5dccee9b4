#pragma once

#include <cstdint>
#include <map>
#include <string>

#include "orvane/Export.h"

namespace orvane {

/// The error domain of the platform's application frameworks.
inline constexpr const char* NSCocoaErrorDomain = "NSCocoaErrorDomain";
/// User-info key of the full, user-presentable description.
inline constexpr const char* NSLocalizedDescriptionKey = "NSLocalizedDescription";
/// User-info key of the reason for the failure.
inline constexpr const char* NSLocalizedFailureReasonErrorKey = "NSLocalizedFailureReason";
/// User-info key of the suggestion how to recover.
inline constexpr const char* NSLocalizedRecoverySuggestionErrorKey =
    "NSLocalizedRecoverySuggestion";

/// An error record: a domain, a code and texts under user-info keys.
struct NSError {
  std::string domain;
  std::int64_t code = 0;
  std::map<std::string, std::string> userInfo;

  /// The text under NSLocalizedDescriptionKey, or an empty text.
  std::string localizedDescription() const {
    auto it = userInfo.find(NSLocalizedDescriptionKey);
    return it == userInfo.end() ? std::string() : it->second;
  }

  friend bool operator==(const NSError&, const NSError&) = default;
};

}  // namespace orvane
