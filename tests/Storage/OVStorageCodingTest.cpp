#include <gtest/gtest.h>

#include <cstring>
#include <fstream>
#include <sstream>

#include "Storage/StorageTestSupport.h"
#include "orvane/Platform/Foundation/NSKeyedArchiver.h"
#include "orvane/Storage/OVStorage.h"
#include "orvane/Storage/OVStorageChunk.h"
#include "orvane/Storage/OVStorageChunkTable.h"
#include "orvane/Categories/NSStringMd5.h"
#include "support/KeyedArchiveScript.h"
#include "support/TempDir.h"

namespace orvane {
namespace {

using testing::fileSize;
using testing::itemBytes;

// Writes whatever values a test wants under a class name of the library, to
// make archives that the library's own classes would never write.
class ForgedObject : public NSCoding {
 public:
  explicit ForgedObject(std::string className) : className_(std::move(className)) {}
  std::string archiveClassName() const override { return className_; }
  void encodeWithCoder(NSKeyedArchiver& coder) const override {
    for (const auto& [key, value] : integers) coder.encodeInt64ForKey(value, key);
    for (const auto& [key, value] : texts) coder.encodeStringForKey(value, key);
    for (const auto& [key, value] : datas) coder.encodeDataForKey(value, key);
    for (const auto& [key, value] : dictionaries) coder.encodeDictionaryForKey(value, key);
  }
  std::map<std::string, std::int64_t> integers;
  std::map<std::string, std::string> texts;
  std::map<std::string, Data> datas;
  std::map<std::string, NSCodingDictionary> dictionaries;

 private:
  std::string className_;
};

OVChunkInfo record(std::int64_t offset) {
  OVChunkInfo info{};
  info.offset = offset;
  info.length = offset * 2;
  return info;
}

TEST(OVStorageCodingTest, ChunkRoundTripAndAbsentValues) {
  const OVStorageChunk chunk(-5, 1LL << 40);
  auto decoded = NSKeyedUnarchiver::unarchivedObjectOfClassFromData<OVStorageChunk>(
      NSKeyedArchiver::archivedDataWithRootObject(chunk));
  ASSERT_TRUE(decoded);
  EXPECT_EQ(*decoded, chunk);

  ForgedObject empty("OVStorageChunk");
  empty.texts["offset"] = "12";  // not an integer: reads as 0
  decoded = NSKeyedUnarchiver::unarchivedObjectOfClassFromData<OVStorageChunk>(
      NSKeyedArchiver::archivedDataWithRootObject(empty));
  ASSERT_TRUE(decoded);
  EXPECT_TRUE(decoded->nullChunk());
}

TEST(OVStorageCodingTest, TableArchiveHoldsTheRecordsInUseAndLeavesTheTableUsable) {
  OVStorageChunkTable table;
  for (int i = 0; i < 3; ++i) {
    const auto info = record(i + 1);
    table.setChunkInfoWithKey(&info, "old-" + std::to_string(i));
  }
  std::shared_ptr<OVStorageChunkTable> decoded;
  {
    const Data archive = NSKeyedArchiver::archivedDataWithRootObject(table);
    decoded = NSKeyedUnarchiver::unarchivedObjectOfClassFromData<OVStorageChunkTable>(archive);
  }
  // The archive is gone; the table still works.
  const auto more = record(9);
  table.setChunkInfoWithKey(&more, "after");
  EXPECT_TRUE(table.chunkInfoWithKey(nullptr, "old-0"));
  EXPECT_TRUE(table.chunkInfoWithKey(nullptr, "after"));

  ASSERT_TRUE(decoded);
  EXPECT_EQ(decoded->count(), 3u);
  EXPECT_EQ(decoded->capacity(), 3u);
  // The dictionary was rebuilt from 20-character key fields: the old keys are
  // not found again, new ones are, after growing by one step.
  EXPECT_FALSE(decoded->chunkInfoWithKey(nullptr, "old-0"));
  const auto info = record(4);
  decoded->setChunkInfoWithKey(&info, "new");
  EXPECT_EQ(decoded->capacity(), 203u);
  OVChunkInfo out{};
  ASSERT_TRUE(decoded->chunkInfoWithKey(&out, "new"));
  EXPECT_EQ(out.offset, 4);
  EXPECT_EQ(decoded->indexOfChunkInfoKey("new"), 3u);

  const OVStorageChunkTable empty;
  decoded = NSKeyedUnarchiver::unarchivedObjectOfClassFromData<OVStorageChunkTable>(
      NSKeyedArchiver::archivedDataWithRootObject(empty));
  ASSERT_TRUE(decoded);
  EXPECT_EQ(decoded->count(), 0u);
}

TEST(OVStorageCodingTest, TableDataOfOddSizesAndTypes) {
  struct Case {
    const char* name;
    std::function<void(ForgedObject&)> forge;
    std::uint64_t count;
  };
  const Case cases[] = {
      {"absent", [](ForgedObject&) {}, 0},
      {"empty", [](ForgedObject& o) { o.datas["tableData"] = Data(); }, 0},
      {"a text", [](ForgedObject& o) { o.texts["tableData"] = std::string(80, 'x'); }, 0},
      {"85 bytes", [](ForgedObject& o) { o.datas["tableData"] = Data(85, 'A'); }, 2},
      {"39 bytes", [](ForgedObject& o) { o.datas["tableData"] = Data(39, 0xFF); }, 0},
  };
  for (const auto& c : cases) {
    ForgedObject forged("OVStorageChunkTable");
    c.forge(forged);
    auto table = NSKeyedUnarchiver::unarchivedObjectOfClassFromData<OVStorageChunkTable>(
        NSKeyedArchiver::archivedDataWithRootObject(forged));
    ASSERT_TRUE(table) << c.name;
    EXPECT_EQ(table->count(), c.count) << c.name;
    EXPECT_EQ(table->capacity(), c.count) << c.name;
    const auto info = record(1);
    table->setChunkInfoWithKey(&info, "k");
    EXPECT_TRUE(table->chunkInfoWithKey(nullptr, "k")) << c.name;
    EXPECT_EQ(table->capacity(), c.count + 200) << c.name;
  }
}

// A decoded table finds each record under the text its key field starts,
// running on to the first zero: here the second record spells a key's whole
// digest across its key field, gap and offset.
TEST(OVStorageCodingTest, DecodedTableFindsRecordsByTheirText) {
  const std::string digest = *NSStringMd5::md5Value("photo-7");
  Data records(80, 0);
  std::memcpy(&records[40], digest.data(), 32);
  records[73] = 1;  // length 256: its low byte ends the text
  ForgedObject forged("OVStorageChunkTable");
  forged.datas["tableData"] = records;
  const auto table = NSKeyedUnarchiver::unarchivedObjectOfClassFromData<OVStorageChunkTable>(
      NSKeyedArchiver::archivedDataWithRootObject(forged));
  ASSERT_TRUE(table);
  EXPECT_EQ(table->indexOfChunkInfoKey("photo-7"), 1u);
  OVChunkInfo out{};
  ASSERT_TRUE(table->chunkInfoWithKey(&out, "photo-7"));
  EXPECT_EQ(out.length, 256);
}

TEST(OVStorageCodingTest, StoreRoundTripKeepsTheChunkFileAndTheIndex) {
  testing::TempDir dir;
  auto store = OVStorage::initWithDestinationIdentifierError(dir.path().string(), "store", nullptr);
  ASSERT_TRUE(store);
  const auto small = itemBytes(1000, 1), large = itemBytes(OVStorage::kFragmentItemLimit + 1, 2);
  ASSERT_TRUE(store->saveDataWithIdentifier(small, "small"));
  ASSERT_TRUE(store->saveDataWithIdentifier(large, "large"));
  ASSERT_TRUE(store->saveDataWithIdentifier(itemBytes(10, 3), "odd/name"));
  const Data archive = NSKeyedArchiver::archivedDataWithRootObject(*store);
  store.reset();

  auto decoded = NSKeyedUnarchiver::unarchivedObjectOfClassFromData<OVStorage>(archive);
  ASSERT_TRUE(decoded);
  EXPECT_EQ(decoded->destinationPath(), dir.path().string());
  EXPECT_EQ(decoded->identifier(), "store");
  EXPECT_EQ(decoded->storageChunkWithIdentifier("small"), OVStorageChunk(0, 1000));
  EXPECT_EQ(decoded->storageChunkWithIdentifier("large"), OVStorageChunk::nullStorageChunk());
  EXPECT_EQ(decoded->dataWithIdentifier("small"), small);
  EXPECT_EQ(decoded->dataWithIdentifier("large"), large);
  EXPECT_EQ(decoded->dataWithIdentifier("odd/name"), itemBytes(10, 3));
  EXPECT_EQ(fileSize(dir / "store"), 1010);
  ASSERT_TRUE(decoded->saveDataWithIdentifier(itemBytes(5, 4), "next"));
  EXPECT_EQ(decoded->storageChunkWithIdentifier("next"), OVStorageChunk(1010, 5));

  decoded.reset();
  std::filesystem::remove(dir / "store");
  EXPECT_EQ(NSKeyedUnarchiver::unarchivedObjectOfClassFromData<OVStorage>(archive), nullptr);
}

TEST(OVStorageCodingTest, ForgedStoreArchives) {
  testing::TempDir dir;
  {
    std::ofstream chunkFile(dir / "store", std::ios::binary);
    chunkFile << "0123456789";
  }
  const std::string destination = dir.path().string();
  auto chunks = [](std::initializer_list<std::pair<std::string, OVStorageChunk>> list) {
    NSCodingDictionary d;
    for (const auto& [id, chunk] : list) d[id] = std::make_shared<OVStorageChunk>(chunk);
    return d;
  };
  auto forge = [&](const std::function<void(ForgedObject&)>& change) {
    ForgedObject o("OVStorage");
    o.texts["destinationPath"] = destination;
    o.texts["identifier"] = "store";
    o.dictionaries["_fragmentChunk"] = chunks({{"ok", OVStorageChunk(2, 3)}});
    change(o);
    return NSKeyedUnarchiver::unarchivedObjectOfClassFromData<OVStorage>(
        NSKeyedArchiver::archivedDataWithRootObject(o));
  };

  auto good = forge([](ForgedObject&) {});
  ASSERT_TRUE(good);
  EXPECT_EQ(good->dataWithIdentifier("ok"), dataOf("234"));

  // No store: the texts that find the chunk file are missing or not texts.
  EXPECT_FALSE(forge([](ForgedObject& o) { o.texts.erase("identifier"); }));
  EXPECT_FALSE(forge([](ForgedObject& o) { o.texts["identifier"] = ""; }));
  EXPECT_FALSE(forge([](ForgedObject& o) {
    o.texts.erase("destinationPath");
    o.integers["destinationPath"] = 42;
  }));
  EXPECT_FALSE(forge([](ForgedObject& o) {
    o.texts.erase("identifier");
    o.datas["identifier"] = dataOf("store");
  }));
  EXPECT_FALSE(forge([](ForgedObject& o) { o.texts["identifier"] = "missing"; }));

  // A store with no index: the index is absent or not a dictionary.
  for (auto change : std::vector<std::function<void(ForgedObject&)>>{
           [](ForgedObject& o) { o.dictionaries.clear(); },
           [](ForgedObject& o) {
             o.dictionaries.clear();
             o.texts["_fragmentChunk"] = "ok";
           },
       }) {
    auto store = forge(change);
    ASSERT_TRUE(store);
    EXPECT_TRUE(store->allStorageItemIdentifiers().empty());
  }

  // Entries that are not chunks are left out; damaged chunks read as nothing.
  auto mixed = forge([&](ForgedObject& o) {
    auto d = chunks({{"ok", OVStorageChunk(2, 3)},
                     {"negative", OVStorageChunk(-1, 3)},
                     {"negative-length", OVStorageChunk(1, -3)},
                     {"past-end", OVStorageChunk(8, 3)},
                     {"far", OVStorageChunk(INT64_MAX, INT64_MAX)}});
    d["table"] = std::make_shared<OVStorageChunkTable>();
    d["null"] = nullptr;
    o.dictionaries["_fragmentChunk"] = d;
  });
  ASSERT_TRUE(mixed);
  EXPECT_EQ(mixed->allStorageItemIdentifiers().size(), 5u);
  EXPECT_FALSE(mixed->dataWithIdentifierExist("table"));
  EXPECT_EQ(mixed->dataWithIdentifier("ok"), dataOf("234"));
  for (const char* id : {"negative", "negative-length", "past-end", "far"}) {
    EXPECT_EQ(mixed->dataWithIdentifier(id), std::nullopt) << id;
  }
  EXPECT_EQ(fileSize(dir / "store"), 10);  // decoding never truncates
}

// An archive written by Python's plistlib in the platform archiver's layout.
TEST(OVStorageCodingTest, DecodesAnArchiveInThePlatformsLayout) {
  testing::TempDir dir;
  std::ofstream(dir / "platform-store", std::ios::binary) << "hello, world";
  std::string table;  // one record: a 20-character key field, a gap, offset 7 and length 7
  for (int i = 0; i < 20; ++i) table += "4b";
  table += "00000000" "0700000000000000" "0700000000000000";
  const auto archive = testing::encodeKeyedArchive(R"([
    "$null",
    {"$class": {"$uid": 2}, "destinationPath": {"$uid": 3}, "identifier": {"$uid": 4},
     "_fragmentChunk": {"$uid": 5}},
    {"$classname": "OVStorage", "$classes": ["OVStorage", "NSObject"]},
    ")" + dir.path().string() + R"(", "platform-store",
    {"$class": {"$uid": 6}, "NS.keys": [{"$uid": 7}, {"$uid": 8}, {"$uid": 9}],
     "NS.objects": [{"$uid": 10}, {"$uid": 11}, {"$uid": 13}]},
    {"$classname": "NSMutableDictionary", "$classes": ["NSMutableDictionary", "NSDictionary", "NSObject"]},
    "hello", "world", "table",
    {"$class": {"$uid": 12}, "offset": 0, "length": 5},
    {"$class": {"$uid": 12}, "offset": 5, "length": 6},
    {"$classname": "OVStorageChunk", "$classes": ["OVStorageChunk", "NSObject"]},
    {"$class": {"$uid": 14}, "tableData": {"$data": ")" + table + R"("}},
    {"$classname": "OVStorageChunkTable", "$classes": ["OVStorageChunkTable", "NSObject"]}
  ])");
  ASSERT_TRUE(archive);
  auto store = NSKeyedUnarchiver::unarchivedObjectOfClassFromData<OVStorage>(*archive);
  ASSERT_TRUE(store);
  EXPECT_EQ(store->identifier(), "platform-store");
  EXPECT_EQ(store->destinationPath(), dir.path().string());
  EXPECT_EQ(store->storageChunkWithIdentifier("world"), OVStorageChunk(5, 6));
  EXPECT_EQ(store->dataWithIdentifier("hello"), dataOf("hello"));
  EXPECT_EQ(store->dataWithIdentifier("world"), dataOf(", worl"));
  EXPECT_FALSE(store->dataWithIdentifierExist("table"));  // a table is no chunk
}

}  // namespace
}  // namespace orvane
