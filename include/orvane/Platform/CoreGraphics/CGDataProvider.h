#pragma once

#include <memory>

#include "orvane/Export.h"
#include "orvane/Platform/Foundation/Data.h"

namespace orvane {

/// An immutable source of bytes: the pixel bytes behind a CGImage. A provider
/// of an image read from encoded data decodes on first use, once, whichever
/// thread asks first. Providers may be shared between threads.
class CGDataProvider;
using CGDataProviderRef = std::shared_ptr<const CGDataProvider>;

/// A provider that owns `data` (moved in; copy it to keep your own).
ORVANE_EXPORT CGDataProviderRef CGDataProviderCreateWithData(Data data);
/// A provider that shares `data` without copying; null for null data.
ORVANE_EXPORT CGDataProviderRef CGDataProviderCreateWithSharedData(std::shared_ptr<const Data> data);
/// The provider's bytes. They are immutable and shared, not copied, so the
/// call is cheap; null for a null provider or for an image whose decoding
/// failed.
ORVANE_EXPORT std::shared_ptr<const Data> CGDataProviderCopyData(const CGDataProviderRef& provider);

}  // namespace orvane
