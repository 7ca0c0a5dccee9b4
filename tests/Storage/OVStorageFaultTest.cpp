#include <gtest/gtest.h>
#include <sys/resource.h>

#include <atomic>
#include <barrier>
#include <csignal>
#include <fstream>
#include <random>
#include <thread>

#include "Platform/Foundation/FileSystem.h"
#include "Storage/StorageTestSupport.h"
#include "orvane/Storage/OVStorage.h"
#include "support/ChildProcess.h"

namespace orvane {
namespace {

using testing::damageLines;
using testing::fileSize;
using testing::itemBytes;
constexpr auto kLimit = OVStorage::kFragmentItemLimit;

std::shared_ptr<OVStorage> makeStore(const testing::TempDir& dir, std::string_view id = "store") {
  return OVStorage::initWithDestinationIdentifierError(dir.path().string(), id, nullptr);
}

// Entries whose bytes are no longer their item's read as nothing with the damage line, never another item's bytes.
TEST(OVStorageFaultTest, BytesThatAreNoLongerTheItemsReadAsDamage) {
  testing::TempDir dir;
  auto result = testing::runInChild([&] {
    // The chunk file cut short, then rewritten: 3 damage lines.
    auto store = makeStore(dir);
    for (int i = 0; i < 4; ++i)
      if (!store->saveDataWithIdentifier(itemBytes(100, i), "item" + std::to_string(i))) return 1;
    const auto chunkPath = store->filePathWithIdentifier("store");
    std::filesystem::resize_file(chunkPath, 250);
    if (store->dataWithIdentifier("item1") != itemBytes(100, 1)) return 2;
    if (store->dataWithIdentifier("item2") || store->dataWithIdentifier("item3")) return 3;
    if (!store->dataWithIdentifierExist("item3")) return 4;  // the entry stays
    std::ofstream(chunkPath, std::ios::trunc) << "short";   // same file, new contents
    if (store->dataWithIdentifier("item0")) return 5;
    // The chunk file emptied behind the store's back, then reused after a restart: 2 damage lines.
    auto original = makeStore(dir, "other");
    if (!original->saveDataWithIdentifier(itemBytes(100, 1), "a")) return 6;
    const Data archive = NSKeyedArchiver::archivedDataWithRootObject(*original);
    original.reset();
    std::filesystem::resize_file(dir / "other", 0);
    store = NSKeyedUnarchiver::unarchivedObjectOfClassFromData<OVStorage>(archive);
    if (!store || !store->saveDataWithIdentifier(itemBytes(150, 3), "c")) return 7;
    if (store->storageChunkWithIdentifier("c") != OVStorageChunk(0, 150)) return 8;
    if (store->dataWithIdentifier("a")) return 9;  // c's bytes
    store->updateDataWithIdentifier(itemBytes(80, 4), "a");  // in place through the stale entry, over c's bytes
    if (store->dataWithIdentifier("a") != itemBytes(80, 4)) return 10;
    return store->dataWithIdentifier("c") ? 11 : 0;
  });
  EXPECT_EQ(result.exitCode, 0) << result.stderrText;
  EXPECT_EQ(damageLines(result.stderrText), 5u) << result.stderrText;
}

// Two threads update one identifier at once: it reads as one of the two values or as damage, never a mix.
TEST(OVStorageFaultTest, ConcurrentUpdatesOfOneIdentifierNeverMixValues) {
  testing::TempDir dir;
  auto result = testing::runInChild([&] {
    auto store = makeStore(dir);
    constexpr int kRounds = 5000;
    std::barrier start(3), done(3);
    Data values[2];
    std::thread writers[2];
    for (int t = 0; t < 2; ++t)
      writers[t] = std::thread([&, t] {
        for (int round = 0; round < kRounds; ++round) {
          start.arrive_and_wait();
          store->updateDataWithIdentifier(values[t], "shared");
          done.arrive_and_wait();
        }
      });
    std::mt19937 rng(11);
    std::uniform_int_distribution<std::size_t> size(16, 5000);
    int mixed = 0;
    for (int round = 0; round < kRounds; ++round) {
      for (int t = 0; t < 2; ++t) values[t] = itemBytes(size(rng), round * 2 + t);
      start.arrive_and_wait();
      done.arrive_and_wait();
      auto bytes = store->dataWithIdentifier("shared");
      if (bytes && *bytes != values[0] && *bytes != values[1]) ++mixed;
    }
    for (auto& w : writers) w.join();
    return mixed == 0 ? 0 : 1;
  });
  EXPECT_EQ(result.exitCode, 0) << result.stderrText.substr(0, 2000);
}

TEST(OVStorageFaultTest, LargeItemFileAndDirectoryAreSyncedBeforeTheItemIsRecorded) {
  testing::TempDir dir;
  static std::vector<std::pair<std::string, std::filesystem::path>> steps;
  steps.clear();
  auto store = makeStore(dir);
  fs::setDurabilityObserverForTesting(
      [](std::string_view step, const std::filesystem::path& path) { steps.emplace_back(step, path); });
  const auto big = itemBytes(kLimit + 1, 1);
  const bool saved = store->saveDataWithIdentifier(big, "big");
  fs::setDurabilityObserverForTesting(nullptr);
  ASSERT_TRUE(saved);
  ASSERT_EQ(steps.size(), 3u);
  EXPECT_TRUE(steps[0].first == "sync file" && steps[0].second.parent_path() == dir.path() &&
              steps[0].second.filename() != "big");
  EXPECT_EQ(steps[1], std::pair(std::string("rename"), dir / "big"));
  EXPECT_EQ(steps[2], std::pair(std::string("sync directory"), dir.path()));
  EXPECT_EQ(store->dataWithIdentifier("big"), big);
}

TEST(OVStorageFaultTest, StoreWithoutAChunkFileFailsEveryWriteAndDamagedEntriesReadAsNothing) {
  testing::TempDir dir;
  std::ofstream(dir / "notadir") << "x";  // the chunk file can be neither made nor opened
  auto store = OVStorage::initWithDestinationIdentifierError((dir / "notadir").string(), "s", nullptr);
  ASSERT_TRUE(store);
  EXPECT_FALSE(store->saveDataWithIdentifier(itemBytes(10, 1), "a"));
  store->updateDataWithIdentifier(itemBytes(10, 1), "b");
  EXPECT_FALSE(store->saveDataWithIdentifier(itemBytes(kLimit + 1, 1), "c"));
  EXPECT_TRUE(store->allStorageItemIdentifiers().empty());
  store->addStorageChunkItemWithIdentifier(OVStorageChunk(0, 4), "d");
  EXPECT_EQ(store->dataWithIdentifier("d"), std::nullopt);
  store->cleanStorage();

  // Entries outside the chunk file read as nothing; replacing one appends.
  store = makeStore(dir);
  ASSERT_TRUE(store->saveDataWithIdentifier(itemBytes(64, 1), "ok"));
  const std::pair<const char*, OVStorageChunk> damaged[] = {
      {"negative-offset", {-8, 4}}, {"negative-length", {0, -1}}, {"past-the-end", {60, 10}}, {"huge-length", {1, INT64_MAX}},
  };
  for (const auto& [identifier, chunk] : damaged) {
    store->addStorageChunkItemWithIdentifier(chunk, identifier);
    EXPECT_EQ(store->dataWithIdentifier(identifier), std::nullopt) << identifier;
  }
  store->updateDataWithIdentifier(itemBytes(3, 2), "negative-length");
  EXPECT_EQ(store->storageChunkWithIdentifier("negative-length"), OVStorageChunk(64, 3));
  EXPECT_EQ(store->dataWithIdentifier("negative-length"), itemBytes(3, 2));
  EXPECT_EQ(store->dataWithIdentifier("ok"), itemBytes(64, 1));
}

// Writes beyond the file-size limit record nothing and leave no partial tail, no temporary file, no cut item file.
TEST(OVStorageFaultTest, FailedWritesRecordNothing) {
  testing::TempDir dir;
  auto result = testing::runInChild([&] {
    std::signal(SIGXFSZ, SIG_IGN);
    auto setLimit = [](rlim_t soft) {  // soft limits only, so that they can be raised again
      rlimit limit{soft, RLIM_INFINITY};
      return setrlimit(RLIMIT_FSIZE, &limit) == 0;
    };
    auto store = makeStore(dir);
    if (!store->saveDataWithIdentifier(itemBytes(600, 1), "first") || !setLimit(1000)) return 1;
    if (store->saveDataWithIdentifier(itemBytes(600, 2), "second")) return 2;
    if (store->dataWithIdentifierExist("second")) return 3;
    store->updateDataWithIdentifier(itemBytes(700, 3), "first");  // longer: would append
    if (store->storageChunkWithIdentifier("first") != OVStorageChunk(0, 600)) return 4;
    if (store->dataWithIdentifier("first") != itemBytes(600, 1)) return 5;
    if (fileSize(store->filePathWithIdentifier("store")) != 600) return 6;

    const auto big = itemBytes(kLimit + 1, 4);
    setLimit(RLIM_INFINITY);
    if (!store->saveDataWithIdentifier(big, "big")) return 7;
    setLimit(kLimit);
    if (store->saveDataWithIdentifier(itemBytes(kLimit + 1, 5), "big2")) return 8;
    if (store->dataWithIdentifierExist("big2")) return 9;
    store->updateDataWithIdentifier(itemBytes(kLimit + 2, 6), "big");
    if (store->dataWithIdentifier("big") != big) return 10;
    // Room again: the store carries on where it was.
    setLimit(RLIM_INFINITY);
    if (!store->saveDataWithIdentifier(itemBytes(600, 2), "second")) return 11;
    return store->storageChunkWithIdentifier("second") == OVStorageChunk(600, 600) ? 0 : 12;
  });
  EXPECT_EQ(result.exitCode, 0) << result.stderrText;
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(dir.path()), {}), 2);  // store, big
}

// Threads change items of their own, one a large item, one archives the store as the manager does.
TEST(OVStorageFaultTest, ConcurrencyOfDistinctIdentifiersOnOneStore) {
  testing::TempDir dir;
  auto store = makeStore(dir);
  std::atomic<int> failures{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t)
    threads.emplace_back([&, t] {
      for (int i = 0; i < 150; ++i) {
        const std::string id = "t" + std::to_string(t) + "-" + std::to_string(i % 10);
        const auto bytes = itemBytes(1 + (i * 37 + t * 11) % 3000, t * 100000 + i);
        if (i % 5 == 0 || i % 5 == 4) store->removeDataWithIdentifier(id);
        if (i % 5 == 4 && store->dataWithIdentifierExist(id)) ++failures;
        if (i % 5 != 0) store->updateDataWithIdentifier(bytes, id);
        else if (!store->saveDataWithIdentifier(bytes, id)) ++failures;
        if (store->dataWithIdentifier(id) != bytes) ++failures;
        if (i % 40 == 0) store->allStorageItemIdentifiers();
      }
    });
  threads.emplace_back([&] {
    for (int i = 0; i < 3; ++i) {
      const auto big = itemBytes(kLimit + 1 + i, 77 + i);
      store->updateDataWithIdentifier(big, "large");
      if (store->dataWithIdentifier("large") != big) ++failures;
    }
  });
  threads.emplace_back([&] {
    for (int i = 0; i < 20; ++i)
      if (!NSKeyedUnarchiver::unarchivedObjectOfClassFromData<OVStorage>(
              NSKeyedArchiver::archivedDataWithRootObject(*store)))
        ++failures;
  });
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(failures.load(), 0);
  EXPECT_EQ(store->allStorageItemIdentifiers().size(), 41u);
}

}  // namespace
}  // namespace orvane
