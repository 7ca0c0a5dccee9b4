#include "Platform/System/Checksum.h"

#include <xxhash.h>
#include <xxh_x86dispatch.h>

namespace orvane {

std::uint64_t itemChecksum(ByteView bytes) noexcept {
  return XXH3_64bits(bytes.data(), bytes.size());
}

}  // namespace orvane
