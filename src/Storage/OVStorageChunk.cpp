#include "orvane/Storage/OVStorageChunk.h"

#include "orvane/Storage/OVStorage.h"
#include "orvane/Storage/OVStorageChunkTable.h"

namespace orvane {

std::string OVStorageChunk::archiveClassName() const { return "OVStorageChunk"; }

void OVStorageChunk::encodeWithCoder(NSKeyedArchiver& coder) const {
  coder.encodeInt64ForKey(offset_, "offset");
  coder.encodeInt64ForKey(length_, "length");
}

std::shared_ptr<OVStorageChunk> OVStorageChunk::initWithCoder(NSKeyedUnarchiver& coder) {
  return std::make_shared<OVStorageChunk>(coder.decodeInt64ForKey("offset"),
                                          coder.decodeInt64ForKey("length"));
}

namespace {

// The storage classes register their decoding factories when the library is
// loaded, as the platform's runtime does for archivable classes, so archives
// decode without the host registering anything. The shared library holds
// every object file, and the static one is linked whole (src/CMakeLists.txt).
[[maybe_unused]] const bool kStorageClassesRegistered = [] {
  NSKeyedUnarchiver::registerClass("OVStorageChunk",
                                   [](NSKeyedUnarchiver& coder) -> std::shared_ptr<NSCoding> {
                                     return OVStorageChunk::initWithCoder(coder);
                                   });
  NSKeyedUnarchiver::registerClass("OVStorageChunkTable",
                                   [](NSKeyedUnarchiver& coder) -> std::shared_ptr<NSCoding> {
                                     return OVStorageChunkTable::initWithCoder(coder);
                                   });
  NSKeyedUnarchiver::registerClass("OVStorage",
                                   [](NSKeyedUnarchiver& coder) -> std::shared_ptr<NSCoding> {
                                     return OVStorage::initWithCoder(coder);
                                   });
  return true;
}();

}  // namespace

}  // namespace orvane
