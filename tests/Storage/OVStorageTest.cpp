#include "orvane/Storage/OVStorage.h"

#include <gtest/gtest.h>

#include <cstring>
#include <fstream>
#include <functional>
#include <random>
#include <regex>
#include <set>
#include <thread>
#include <unordered_map>

#include "Platform/Foundation/FileSystem.h"
#include "Storage/ChunkIndex.h"
#include "Storage/StorageTestSupport.h"
#include "orvane/Categories/NSStringMd5.h"
#include "orvane/Platform/Foundation/NSRange.h"
#include "orvane/Storage/OVStorageChunkTable.h"
#include "support/ChildProcess.h"
#include "support/KeyedArchiveScript.h"

namespace orvane {
namespace {

using testing::fileSize;
using testing::itemBytes;
using Chunk = OVStorageChunk;
constexpr std::int64_t kLimit = OVStorage::kFragmentItemLimit;

std::shared_ptr<OVStorage> makeStore(const testing::TempDir& dir) {
  return OVStorage::initWithDestinationIdentifierError((dir / "items").string(), "store", nullptr);
}

template <class T>
std::shared_ptr<T> roundTrip(const NSCoding& object) {
  return NSKeyedUnarchiver::unarchivedObjectOfClassFromData<T>(
      NSKeyedArchiver::archivedDataWithRootObject(object));
}

OVChunkInfo record(std::int64_t offset, std::int64_t length, char fill = 'k') {
  OVChunkInfo info;
  std::memset(info.key, fill, sizeof info.key);
  std::memcpy(info.gap, "GAP!", 4);
  info.offset = offset;
  info.length = length;
  return info;
}

// Stores start empty in the data directory under fresh version 4 UUIDs, or fail with an error.
TEST(OVStorageTest, InitializersStartEmptyInTheirDirectoryWithFreshIdentifiers) {
  testing::TestEnvironment env;
  const auto expected = (env.path() / "data" / "org.orvane.tests").string();
  EXPECT_EQ(OVStorage::defaultDestinationPath(), expected);
  std::set<std::string> ids{OVStorage::makeIdentifierWithString(""), OVStorage::makeIdentifierWithString("")};
  for (const auto& store : {OVStorage::init(), OVStorage::init(),
                            OVStorage::initWithDestinationIdentifierError(expected, "", nullptr)}) {
    ASSERT_TRUE(store);
    EXPECT_EQ(store->destinationPath(), expected);
    EXPECT_EQ(fileSize(store->filePathWithIdentifier(*ids.insert(store->identifier()).first)), 0);
  }
  const std::regex uuid("[0-9A-F]{8}-[0-9A-F]{4}-4[0-9A-F]{3}-[89AB][0-9A-F]{3}-[0-9A-F]{12}");
  EXPECT_EQ(std::count_if(ids.begin(), ids.end(), [&](auto& id) { return std::regex_match(id, uuid); }), 5);
  EXPECT_EQ(OVStorage::makeIdentifierWithString("abc"), "900150983CD24FB0D6963F7D28E17F72");
  auto store = OVStorage::initWithIdentifier("named");
  ASSERT_TRUE(store && store->saveDataWithIdentifier(itemBytes(100, 1), "a"));
  EXPECT_EQ(fileSize(store->filePathWithIdentifier("named")), 100);
  ASSERT_TRUE(OVStorage::initWithIdentifier("named")->allStorageItemIdentifiers().empty());
  EXPECT_EQ(fileSize(store->filePathWithIdentifier("named")), 0);

  std::ofstream(env.path() / "plain") << "a file";
  const auto bad = (env.path() / "plain" / "store").string();
  NSError error;
  EXPECT_EQ(OVStorage::initWithDestinationIdentifierError(bad, "s", &error), nullptr);
  EXPECT_EQ(error.domain, NSCocoaErrorDomain);
}

// Each item's chunk and bytes, and the chunk file's size.
auto stateOf(const std::shared_ptr<OVStorage>& store) {
  return [&store](std::string_view id) {
    return std::tuple(store->storageChunkWithIdentifier(id), store->dataWithIdentifier(id),
                      fileSize(store->filePathWithIdentifier("store")));
  };
}

TEST(OVStorageTest, ItemsGoBackToBackAndAreOverwrittenInPlaceWhenTheyFit) {
  testing::TempDir dir;
  auto store = makeStore(dir);
  auto state = stateOf(store);
  const auto a = itemBytes(10, 1), b = itemBytes(5, 2), shorter = itemBytes(4, 3), longer = itemBytes(12, 4);
  ASSERT_TRUE(store->saveDataWithIdentifier(a, "A") && store->saveDataWithIdentifier(b, "B"));
  EXPECT_EQ(state("A"), std::tuple(Chunk(0, 10), a, 15));
  store->updateDataWithIdentifier(shorter, "A");
  EXPECT_EQ(state("A"), std::tuple(Chunk(0, 4), shorter, 15));
  store->updateDataWithIdentifier(longer, "A");
  EXPECT_EQ(state("A"), std::tuple(Chunk(15, 12), longer, 27));
  EXPECT_EQ(state("B"), std::tuple(Chunk(10, 5), b, 27));
  store->updateDataWithIdentifier(a, "new");  // update saves new items too
  EXPECT_EQ(state("new"), std::tuple(Chunk(27, 10), a, 37));
  EXPECT_EQ(state("absent"), std::tuple(std::nullopt, std::nullopt, 37));

  // An empty first item is the null chunk; up to kLimit bytes go to the chunk file, more to a file of their own.
  testing::TempDir other;
  store = makeStore(other);
  ASSERT_TRUE(store->saveDataWithIdentifier(Data(), "empty"));
  EXPECT_EQ(state("empty"), std::tuple(Chunk::nullStorageChunk(), std::nullopt, 0));
  ASSERT_TRUE(store->saveDataWithIdentifier(itemBytes(3, 1), "x") && store->saveDataWithIdentifier(Data(), "e2"));
  EXPECT_EQ(state("e2"), std::tuple(Chunk(3, 0), Data(), 3));
  const auto fits = itemBytes(kLimit, 1), large = itemBytes(kLimit + 1, 2), small = itemBytes(7, 3);
  ASSERT_TRUE(store->saveDataWithIdentifier(fits, "fits") && store->saveDataWithIdentifier(large, "large"));
  EXPECT_EQ(state("fits"), std::tuple(Chunk(3, kLimit), fits, kLimit + 3));
  EXPECT_EQ(state("large"), std::tuple(Chunk::nullStorageChunk(), large, kLimit + 3));
  EXPECT_EQ(fileSize(store->filePathWithIdentifier("large")), kLimit + 1);
  EXPECT_FALSE(std::filesystem::exists(store->filePathWithIdentifier("fits")));
  // A small update of a large item goes to the chunk file; the old file stays.
  store->updateDataWithIdentifier(small, "large");
  EXPECT_EQ(state("large"), std::tuple(Chunk(kLimit + 3, 7), small, kLimit + 10));
  EXPECT_EQ(fileSize(store->filePathWithIdentifier("large")), kLimit + 1);
}

// Identifiers name files inside the store whatever they hold; removing leaves dead space, cleaning empties it.
TEST(OVStorageTest, RemovingCleaningAndFileNamesInsideTheStore) {
  const std::pair<std::string, std::string> names[] = {
      {"../escape", "..%2Fescape"}, {".", "%2E"}, {"..", "%2E%2E"}, {"...", "..."}, {"a%2Fb", "a%252Fb"},
      {std::string("nul\0byte", 8), "nul%00byte"}};
  for (const auto& [identifier, fileName] : names) EXPECT_EQ(fs::safeFileName(identifier), fileName);
  testing::TempDir dir;
  auto store = makeStore(dir);
  const auto large = itemBytes(kLimit + 1, 9);
  const auto chunkPath = store->filePathWithIdentifier("store");
  for (const std::string identifier : {"../escape", "..", "sub/dir/name"}) {
    ASSERT_TRUE(store->saveDataWithIdentifier(large, identifier)) << identifier;
    EXPECT_EQ(store->dataWithIdentifier(identifier), large) << identifier;
    EXPECT_EQ(fileSize(dir / "items" / fs::safeFileName(identifier)), std::int64_t(large.size()));
  }
  EXPECT_FALSE(std::filesystem::exists(dir / "escape"));
  ASSERT_TRUE(store->saveDataWithIdentifier(itemBytes(50, 3), "s1") && store->saveDataWithIdentifier(itemBytes(50, 4), "s2"));
  for (const char* id : {"..", "s1", "never-saved"}) store->removeDataWithIdentifier(id);
  EXPECT_FALSE(std::filesystem::exists(dir / "items" / "%2E%2E"));
  EXPECT_EQ(fileSize(chunkPath), 100);  // dead space stays
  EXPECT_FALSE(store->dataWithIdentifierExist("..") || store->dataWithIdentifierExist("s1"));
  EXPECT_EQ(store->dataWithIdentifier("s2"), itemBytes(50, 4));
  store->cleanStorage();
  EXPECT_TRUE(store->allStorageItemIdentifiers().empty());
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(dir / "items"), {}), 1);  // the chunk file
  EXPECT_EQ(fileSize(chunkPath), 0);
  ASSERT_TRUE(store->saveDataWithIdentifier(itemBytes(9, 5), "after"));
  EXPECT_EQ(store->storageChunkWithIdentifier("after"), Chunk(0, 9));
}

// A second save of an identifier, and anything that would overwrite or delete
// the chunk file, is refused and logged.
TEST(OVStorageTest, RefusedWritesLeaveTheChunkFileAndAreLogged) {
  testing::TempDir dir;
  auto result = testing::runInChild([&] {
    auto store = makeStore(dir);
    const auto chunkPath = store->filePathWithIdentifier("store");
    if (!store->saveDataWithIdentifier(itemBytes(8, 1), "dup")) return 1;
    if (store->saveDataWithIdentifier(itemBytes(3, 2), "dup")) return 2;
    if (store->dataWithIdentifier("dup") != itemBytes(8, 1) || fileSize(chunkPath) != 8) return 3;
    // An empty item under the store's own name: removing it keeps the chunk file.
    store->cleanStorage();
    if (!store->saveDataWithIdentifier(Data(), "store") || store->dataWithIdentifier("store")) return 4;
    store->removeDataWithIdentifier("store");
    if (!std::filesystem::exists(chunkPath)) return 5;
    if (!store->saveDataWithIdentifier(itemBytes(20, 1), "kept")) return 6;
    if (store->saveDataWithIdentifier(itemBytes(kLimit + 1, 2), "store")) return 7;
    store->updateDataWithIdentifier(itemBytes(kLimit + 1, 2), "store");
    if (store->dataWithIdentifierExist("store")) return 8;
    if (store->saveStorageChunkDataToFileWithPath(itemBytes(9, 3), chunkPath)) return 9;
    return fileSize(chunkPath) == 20 && store->dataWithIdentifier("kept") == itemBytes(20, 1) ? 0 : 10;
  });
  EXPECT_EQ(result.exitCode, 0) << result.stderrText;
  for (const char* line : {"] Data with identifier(dup) exists.\n",
                           "] Data with identifier(store) would overwrite the chunk file.\n"})
    EXPECT_NE(result.stderrText.find(line), std::string::npos) << result.stderrText;
}

// A record keeps 20 characters of the key's digest; setting a key again replaces all 40 bytes.
TEST(OVStorageChunkTableTest, RecordsKeepTheDigestAndAreReplacedWhole) {
  OVStorageChunkTable table;
  const auto first = record(11, 22), second = record(3, 4, 'z');
  table.setChunkInfoWithKey(&first, "photo-1");
  table.setChunkInfoWithKey(&first, "b");
  OVChunkInfo out = record(0, 0, 'x');
  ASSERT_TRUE(table.chunkInfoWithKey(&out, "photo-1"));
  EXPECT_EQ(std::string(out.key, 20), NSStringMd5::md5Value("photo-1")->substr(0, 20));
  EXPECT_EQ(std::memcmp(out.gap, "GAP!", 4), 0);
  EXPECT_EQ(std::make_pair(out.offset, out.length), std::make_pair(11L, 22L));
  table.setChunkInfoWithKey(&second, "photo-1");
  EXPECT_EQ(table.count(), 2u);
  EXPECT_EQ(table.indexOfChunkInfoKey("photo-1"), 0u);
  EXPECT_EQ(table.indexOfChunkInfoKey("b"), 1u);
  ASSERT_TRUE(table.chunkInfoWithKey(&out, "photo-1"));
  EXPECT_EQ(std::memcmp(&out, &second, sizeof out), 0);

  // Empty keys, keys that are no UTF-8 and null records store nothing.
  OVStorageChunkTable none;
  for (const auto& [info, key] : {std::pair{&first, std::string_view("")}, {nullptr, "k"}, {&first, "\xff\xfe"}})
    none.setChunkInfoWithKey(info, key);
  EXPECT_EQ(none.count(), 0u);
  EXPECT_TRUE(!none.chunkInfoWithKey(nullptr, "k") && none.indexOfChunkInfoKey("k") == NSNotFound);
}

// Records without a zero byte: the rebuild must stop at the end of the array (AddressSanitizer).
TEST(OVStorageChunkTableTest, GrowsByTwoHundredRecordsAndRebuildStaysInTheArray) {
  OVStorageChunkTable table;
  auto info = record(0x4141414141414141, 0x4141414141414141, 'A');
  std::memcpy(info.gap, "AAAA", 4);
  for (int i = 0; i <= 200; ++i) {
    EXPECT_EQ(table.capacity(), 200u);
    if (i == 200) table.rebuildChunkInfoDictionary();
    table.setChunkInfoWithKey(&info, "key-" + std::to_string(i));
  }
  EXPECT_EQ(table.capacity(), 400u);
  EXPECT_EQ(table.count(), 201u);
  // The dictionary is not cleared by the rebuild: the digest keys are still found.
  for (int i = 0; i <= 200; ++i) EXPECT_EQ(table.indexOfChunkInfoKey("key-" + std::to_string(i)), std::uint64_t(i));
}

TEST(OVStorageChunkTableTest, ConcurrencySetAndGetOfDistinctKeys) {
  OVStorageChunkTable table;
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t)
    threads.emplace_back([&, t] {
      for (int i = 0; i < 300; ++i) {
        const std::string key = std::to_string(t) + "/" + std::to_string(i);
        const auto info = record(t, i);
        table.setChunkInfoWithKey(&info, key);
        OVChunkInfo out{};
        EXPECT_TRUE(table.chunkInfoWithKey(&out, key));
        EXPECT_EQ(std::make_pair(out.offset, out.length), std::make_pair(std::int64_t(t), std::int64_t(i)));
      }
    });
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(table.count(), 1200u);
  EXPECT_EQ(table.capacity(), 1200u);
}

// The index against std::unordered_map under random sets and removals of short, inline-length and long keys:
// probe runs collide, wrap and shift back on removal; checksums must move with their entries.
TEST(ChunkIndexTest, BehavesLikeAMapUnderRandomChanges) {
  ChunkIndex index;
  std::unordered_map<std::string, std::int64_t> model;
  std::mt19937 rng(7);
  auto keyOf = [](unsigned n) { return std::string(n % 3 == 0 ? 0 : n % 3 == 1 ? 32 : 70, 'x') + std::to_string(n); };
  for (int step = 0; step < 20000; ++step) {
    const std::string key = keyOf(rng() % 300);
    if (rng() % 3 == 0) {
      EXPECT_EQ(index.erase(key), model.erase(key) == 1);
    } else {
      std::optional<std::uint64_t> checksum;
      if (step % 2 == 0) checksum = std::uint64_t(step) * step;
      index.set(key, Chunk(step, step + 1), checksum);
      model[key] = step;
    }
    if (step % 997 != 0 && step != 19999) continue;
    ASSERT_EQ(index.size(), model.size());
    for (unsigned n = 0; n < 300; ++n) {
      const auto entry = index.findEntry(keyOf(n));
      const auto it = model.find(keyOf(n));
      ASSERT_EQ(entry.has_value(), it != model.end()) << keyOf(n);
      if (!entry) continue;
      const std::int64_t v = it->second;
      EXPECT_EQ(entry->chunk.offset(), v);
      EXPECT_EQ(entry->checksum, v % 2 == 0 ? std::optional<std::uint64_t>(v * v) : std::nullopt);
    }
  }
  index.clear();
  const std::string names[] = {"", std::string("a\0b", 3), std::string(32, 'y'), std::string(33, 'y'), "\xff"};
  for (std::size_t i = 0; i < std::size(names); ++i) index.set(names[i], Chunk(std::int64_t(i), 1));
  for (std::size_t i = 0; i < std::size(names); ++i)
    EXPECT_EQ(index.find(names[i]), Chunk(std::int64_t(i), 1)) << i;
  EXPECT_EQ(index.find(std::string(31, 'y')), std::nullopt);
  EXPECT_EQ(index.find("a"), std::nullopt);
}

// Writes whatever values a test wants under a class name of the library.
struct ForgedObject : NSCoding {
  explicit ForgedObject(std::string className) : className(std::move(className)) {}
  std::string archiveClassName() const override { return className; }
  void encodeWithCoder(NSKeyedArchiver& coder) const override {
    for (const auto& [key, value] : integers) coder.encodeInt64ForKey(value, key);
    for (const auto& [key, value] : texts) coder.encodeStringForKey(value, key);
    for (const auto& [key, value] : datas) coder.encodeDataForKey(value, key);
    for (const auto& [key, value] : dictionaries) coder.encodeDictionaryForKey(value, key);
  }
  std::string className;
  std::map<std::string, std::int64_t> integers;
  std::map<std::string, std::string> texts;
  std::map<std::string, Data> datas;
  std::map<std::string, NSCodingDictionary> dictionaries;
};

TEST(OVStorageCodingTest, TableArchiveHoldsTheRecordsInUseAndLeavesTheTableUsable) {
  OVStorageChunkTable table;
  for (int i = 0; i < 3; ++i) {
    const auto info = record(i + 1, 0);
    table.setChunkInfoWithKey(&info, "old-" + std::to_string(i));
  }
  auto decoded = roundTrip<OVStorageChunkTable>(table);
  const auto more = record(9, 0), info = record(4, 0);
  table.setChunkInfoWithKey(&more, "after");  // the archive is gone; the table still works
  EXPECT_TRUE(table.chunkInfoWithKey(nullptr, "old-0") && table.chunkInfoWithKey(nullptr, "after"));
  ASSERT_TRUE(decoded);
  EXPECT_EQ(decoded->count(), 3u);
  EXPECT_EQ(decoded->capacity(), 3u);
  // Rebuilt from 20-character key fields: old keys are lost, new ones found after growing.
  EXPECT_FALSE(decoded->chunkInfoWithKey(nullptr, "old-0"));
  decoded->setChunkInfoWithKey(&info, "new");
  EXPECT_EQ(decoded->capacity(), 203u);
  OVChunkInfo out{};
  ASSERT_TRUE(decoded->chunkInfoWithKey(&out, "new"));
  EXPECT_EQ(out.offset, 4);
  EXPECT_EQ(decoded->indexOfChunkInfoKey("new"), 3u);

  // Forged table data: the part record at the end is dropped.
  ForgedObject forged("OVStorageChunkTable");
  forged.datas["tableData"] = Data(85, 'A');
  decoded = roundTrip<OVStorageChunkTable>(forged);
  ASSERT_TRUE(decoded);
  EXPECT_EQ(std::pair(decoded->count(), decoded->capacity()), std::pair(std::uint64_t{2}, std::uint64_t{2}));
  decoded->setChunkInfoWithKey(&info, "k");
  EXPECT_TRUE(decoded->chunkInfoWithKey(nullptr, "k") && decoded->capacity() == 202);
}

TEST(OVStorageCodingTest, StoreArchivesKeepTheChunkFileAndTheIndex) {
  testing::TempDir dir;
  auto store = OVStorage::initWithDestinationIdentifierError(dir.path().string(), "store", nullptr);
  const auto small = itemBytes(1000, 1), large = itemBytes(kLimit + 1, 2);
  ASSERT_TRUE(store->saveDataWithIdentifier(small, "small") && store->saveDataWithIdentifier(large, "large"));
  const Data archive = NSKeyedArchiver::archivedDataWithRootObject(*store);
  store = NSKeyedUnarchiver::unarchivedObjectOfClassFromData<OVStorage>(archive);
  ASSERT_TRUE(store);
  EXPECT_EQ(std::pair(store->destinationPath(), store->identifier()), std::pair(dir.path().string(), std::string("store")));
  auto item = [&](std::string_view id) { return std::pair(store->storageChunkWithIdentifier(id), store->dataWithIdentifier(id)); };
  EXPECT_EQ(item("small"), std::pair(std::optional(Chunk(0, 1000)), std::optional(small)));
  EXPECT_EQ(item("large"), std::pair(std::optional(Chunk::nullStorageChunk()), std::optional(large)));
  ASSERT_TRUE(store->saveDataWithIdentifier(itemBytes(5, 4), "next"));
  EXPECT_EQ(store->storageChunkWithIdentifier("next"), Chunk(1000, 5));
  store.reset();

  // Forged archives: the texts that find the chunk file and the index.
  std::ofstream(dir / "store", std::ios::binary | std::ios::trunc) << "0123456789";
  auto forge = [&](const std::function<void(ForgedObject&)>& change) {
    ForgedObject o("OVStorage");
    o.texts = {{"destinationPath", dir.path().string()}, {"identifier", "store"}};
    o.dictionaries["_fragmentChunk"] = {{"ok", std::make_shared<Chunk>(2, 3)}};
    change(o);
    return roundTrip<OVStorage>(o);
  };
  ASSERT_TRUE(forge([](ForgedObject&) {}));
  EXPECT_EQ(forge([](ForgedObject&) {})->dataWithIdentifier("ok"), dataOf("234"));
  // No store: the texts that find the chunk file are missing, empty, not texts, or name no chunk file.
  const std::function<void(ForgedObject&)> noStore[] = {
      [](ForgedObject& o) { o.texts.erase("identifier"); },
      [](ForgedObject& o) { o.texts["identifier"] = ""; },
      [](ForgedObject& o) { o.texts.erase("destinationPath"), o.integers["destinationPath"] = 42; },
      [](ForgedObject& o) { o.texts["identifier"] = "missing"; },
  };
  for (const auto& change : noStore) EXPECT_FALSE(forge(change));
  // An index that is not a dictionary gives an empty store.
  store = forge([](ForgedObject& o) { o.dictionaries.clear(), o.texts["_fragmentChunk"] = "ok"; });
  EXPECT_TRUE(store && store->allStorageItemIdentifiers().empty());
  // Entries that are not chunks are left out.
  auto mixed = forge([&](ForgedObject& o) {
    o.dictionaries["_fragmentChunk"]["table"] = std::make_shared<OVStorageChunkTable>();
    o.dictionaries["_fragmentChunk"]["null"] = nullptr;
  });
  ASSERT_TRUE(mixed);
  EXPECT_EQ(mixed->allStorageItemIdentifiers(), std::vector<std::string>{"ok"});
  EXPECT_EQ(fileSize(dir / "store"), 10);  // decoding never truncates
}

// An archive written by Python's plistlib in the platform archiver's layout.
TEST(OVStorageCodingTest, DecodesAnArchiveInThePlatformsLayout) {
  testing::TempDir dir;
  std::ofstream(dir / "platform-store", std::ios::binary) << "hello, world";
  const auto archive = testing::encodeKeyedArchive(R"([
    "$null",
    {"$class": {"$uid": 2}, "destinationPath": {"$uid": 3}, "identifier": {"$uid": 4},
     "_fragmentChunk": {"$uid": 5}},
    {"$classname": "OVStorage", "$classes": ["OVStorage", "NSObject"]},
    ")" + dir.path().string() + R"(", "platform-store",
    {"$class": {"$uid": 6}, "NS.keys": [{"$uid": 7}, {"$uid": 8}], "NS.objects": [{"$uid": 9}, {"$uid": 10}]},
    {"$classname": "NSMutableDictionary", "$classes": ["NSMutableDictionary", "NSDictionary", "NSObject"]},
    "hello", "world",
    {"$class": {"$uid": 11}, "offset": 0, "length": 5},
    {"$class": {"$uid": 11}, "offset": 5, "length": 6},
    {"$classname": "OVStorageChunk", "$classes": ["OVStorageChunk", "NSObject"]}
  ])");
  ASSERT_TRUE(archive);
  auto store = NSKeyedUnarchiver::unarchivedObjectOfClassFromData<OVStorage>(*archive);
  ASSERT_TRUE(store);
  EXPECT_EQ(store->identifier(), "platform-store");
  EXPECT_EQ(store->dataWithIdentifier("hello"), dataOf("hello"));
  EXPECT_EQ(store->dataWithIdentifier("world"), dataOf(", worl"));
}

}  // namespace
}  // namespace orvane
