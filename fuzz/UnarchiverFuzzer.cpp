// The keyed unarchiver and the property-list reader on arbitrary bytes. Any
// answer is fine except a crash, a hang or a runaway allocation; and whatever
// dictionary comes out must survive archiving and unarchiving again unchanged.
// The storage classes are registered by the library itself; the seed archives
// of a store and of a chunk table reach their decoders. A store decodes only
// when its chunk file exists, so the store seed's directory
// (/tmp/orvane-fuzz-store, chunk file "seeds") is made at start.
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>

#include "Platform/Foundation/BinaryPropertyList.h"
#include "orvane/Platform/Foundation/NSKeyedArchiver.h"

namespace {

using namespace orvane;

class FuzzPoint : public NSCoding {
 public:
  FuzzPoint(std::int64_t x, std::int64_t y) : x(x), y(y) {}
  std::string archiveClassName() const override { return "FuzzPoint"; }
  void encodeWithCoder(NSKeyedArchiver& coder) const override {
    coder.encodeInt64ForKey(x, "offset");
    coder.encodeInt64ForKey(y, "length");
  }
  std::int64_t x, y;
};

// Uses every decoding call, nested objects and dictionaries included.
class FuzzRecord : public NSCoding {
 public:
  std::string archiveClassName() const override { return "FuzzRecord"; }
  void encodeWithCoder(NSKeyedArchiver&) const override {}
};

void makeSeedStoreDirectory() {
  const std::filesystem::path directory = "/tmp/orvane-fuzz-store";
  std::filesystem::create_directories(directory);
  std::ofstream(directory / "seeds", std::ios::app).flush();
}

void registerClasses() {
  NSKeyedUnarchiver::registerClass("FuzzPoint", [](NSKeyedUnarchiver& coder) {
    return std::make_shared<FuzzPoint>(coder.decodeInt64ForKey("offset"),
                                       coder.decodeInt64ForKey("length"));
  });
  NSKeyedUnarchiver::registerClass("FuzzRecord", [](NSKeyedUnarchiver& coder) {
    (void)coder.containsValueForKey("identifier");
    (void)coder.decodeStringForKey("identifier");
    (void)coder.decodeStringForKey("destinationPath");
    (void)coder.decodeDataForKey("tableData");
    (void)coder.decodeObjectForKey("object");
    (void)coder.decodeDictionaryForKey("_fragmentChunk");
    return std::make_shared<FuzzRecord>();
  });
}

void walk(const bplist::Reader& r) {
  for (bplist::ObjectRef i = 0; i < r.objectCount(); ++i) {
    if (r.isString(i)) (void)r.string(i);
    (void)r.bytes(i);
    if (r.type(i) == bplist::Type::Dictionary) (void)r.lookup(i, "$class");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  static const bool registered = (makeSeedStoreDirectory(), registerClasses(), true);
  (void)registered;
  const ByteView data(bytes, size);

  if (const auto reader = bplist::Reader::parse(data)) walk(*reader);
  (void)NSKeyedUnarchiver::unarchiveObjectWithData(data);

  const auto dictionary = NSKeyedUnarchiver::unarchiveDictionaryWithData(data);
  if (!dictionary) return 0;
  NSCodingDictionary again;
  for (const auto& [key, value] : *dictionary) again.emplace(key, value);
  const auto back = NSKeyedUnarchiver::unarchiveDictionaryWithData(
      NSKeyedArchiver::archivedDataWithRootDictionary(again));
  if (!back || back->size() != dictionary->size()) std::abort();
  for (const auto& [key, value] : *dictionary) {
    const auto it = back->find(key);
    if (it == back->end()) std::abort();
    const auto* a = dynamic_cast<const FuzzPoint*>(value.get());
    const auto* b = dynamic_cast<const FuzzPoint*>(it->second.get());
    if ((a == nullptr) != (b == nullptr)) std::abort();
    if (a && (a->x != b->x || a->y != b->y)) std::abort();
  }
  return 0;
}
