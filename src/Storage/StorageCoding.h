#pragma once

namespace orvane {

/// Registers the decoding factories of OVStorageChunk, OVStorageChunkTable and
/// OVStorage with the keyed unarchiver. Idempotent and thread-safe; called by
/// the unarchiver before it looks up a class and by the classes' own
/// initializers, so decoding never depends on which object files a host links.
void registerStorageCodingClasses();

}  // namespace orvane
