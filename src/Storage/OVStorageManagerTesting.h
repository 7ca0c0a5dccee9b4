#pragma once

#include <memory>

#include "orvane/Storage/OVStorageManager.h"

namespace orvane {

/// For tests: managers that are not the shared one.
struct OVStorageManagerTesting {
  /// A new manager restored from the standard user defaults of the current
  /// environment, as the shared one is on first use, without creating or
  /// touching the shared one.
  static std::shared_ptr<OVStorageManager> make();
};

}  // namespace orvane
