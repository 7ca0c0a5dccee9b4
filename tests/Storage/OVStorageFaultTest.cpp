#include <gtest/gtest.h>
#include <sys/resource.h>

#include <atomic>
#include <barrier>
#include <csignal>
#include <cstdio>
#include <fstream>
#include <random>
#include <thread>
#include <vector>

#include "Platform/Foundation/FileSystem.h"
#include "Storage/StorageTestSupport.h"
#include "orvane/Platform/Foundation/NSKeyedArchiver.h"
#include "orvane/Storage/OVStorage.h"
#include "support/ChildProcess.h"
#include "support/TempDir.h"

namespace orvane {
namespace {

using testing::fileSize;
using testing::damageLines;
using testing::itemBytes;

std::shared_ptr<OVStorage> makeStore(const testing::TempDir& dir) {
  return OVStorage::initWithDestinationIdentifierError(dir.path().string(), "store", nullptr);
}

void overwriteFile(const std::filesystem::path& path, std::string_view contents) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out << contents;
}

TEST(OVStorageFaultTest, ChunkFileCutOrReplacedBehindTheStoresBack) {
  testing::TempDir dir;
  auto result = testing::runInChild([&] {
    auto store = makeStore(dir);
    if (!store) return 1;
    for (int i = 0; i < 4; ++i) {
      if (!store->saveDataWithIdentifier(itemBytes(100, i), "item" + std::to_string(i))) return 2;
    }
    const auto chunkPath = store->filePathWithIdentifier("store");
    std::filesystem::resize_file(chunkPath, 250);
    if (store->dataWithIdentifier("item1") != itemBytes(100, 1)) return 3;
    if (store->dataWithIdentifier("item2")) return 4;        // half of it is gone
    if (store->dataWithIdentifier("item3")) return 5;        // all of it is gone
    if (!store->dataWithIdentifierExist("item3")) return 6;  // the entry stays

    overwriteFile(chunkPath, "short");  // same file, new contents
    if (store->dataWithIdentifier("item0")) return 7;
    return 0;
  });
  EXPECT_EQ(result.exitCode, 0) << result.stderrText;
  EXPECT_EQ(damageLines(result.stderrText), 3u) << result.stderrText;
}

// Index entries that point at bytes which are no longer their item's: each
// read answers nothing with the damage line, never another item's bytes.
TEST(OVStorageFaultTest, BytesThatAreNoLongerTheItemsReadAsDamage) {
  struct Case {
    const char* name;
    std::size_t damaged;  // damage lines expected
    int (*run)(const testing::TempDir& dir);
  };
  const Case cases[] = {
      {"chunk file emptied behind the store's back, then reused after a restart", 2,
       [](const testing::TempDir& dir) {
         auto original = makeStore(dir);
         if (!original->saveDataWithIdentifier(itemBytes(100, 1), "a") ||
             !original->saveDataWithIdentifier(itemBytes(100, 2), "b"))
           return 1;
         const Data archive = NSKeyedArchiver::archivedDataWithRootObject(*original);
         original.reset();
         std::filesystem::resize_file(dir / "store", 0);
         auto store = NSKeyedUnarchiver::unarchivedObjectOfClassFromData<OVStorage>(archive);
         if (!store || !store->saveDataWithIdentifier(itemBytes(150, 3), "c")) return 2;
         if (store->storageChunkWithIdentifier("c") != OVStorageChunk(0, 150)) return 6;
         if (store->dataWithIdentifier("a")) return 3;  // c's bytes
         // An update in place through the stale entry lands on c's bytes.
         store->updateDataWithIdentifier(itemBytes(80, 4), "a");
         if (store->dataWithIdentifier("a") != itemBytes(80, 4)) return 4;
         if (store->dataWithIdentifier("c")) return 5;
         return 0;
       }},
      {"sibling store's large item of the same name", 1,
       [](const testing::TempDir& dir) {
         auto first = makeStore(dir);
         auto sibling =
             OVStorage::initWithDestinationIdentifierError(dir.path().string(), "sibling", nullptr);
         const auto mine = itemBytes(OVStorage::kFragmentItemLimit + 10, 1);
         if (!first->saveDataWithIdentifier(mine, "photo")) return 1;
         if (!sibling->saveDataWithIdentifier(itemBytes(OVStorage::kFragmentItemLimit + 10, 2),
                                              "photo"))
           return 2;
         if (first->dataWithIdentifier("photo")) return 3;
         return 0;
       }},
      {"empty update of a large item", 1,
       [](const testing::TempDir& dir) {
         auto store = makeStore(dir);
         if (!store->saveDataWithIdentifier(itemBytes(OVStorage::kFragmentItemLimit + 1, 1), "x"))
           return 1;
         store->updateDataWithIdentifier(Data(), "x");
         if (store->dataWithIdentifier("x")) return 2;  // the old large file
         return 0;
       }},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    testing::TempDir dir;
    auto result = testing::runInChild([&] { return c.run(dir); });
    EXPECT_EQ(result.exitCode, 0) << result.stderrText;
    EXPECT_EQ(damageLines(result.stderrText), c.damaged) << result.stderrText;
  }
}

// Two threads update one identifier at the same moment, round after round;
// the item then reads as one of the two values, or as damage, never as a
// value nobody wrote (the shorter one's bytes over the longer one's tail).
TEST(OVStorageFaultTest, ConcurrentUpdatesOfOneIdentifierNeverMixValues) {
  testing::TempDir dir;
  auto result = testing::runInChild([&] {
    auto store = makeStore(dir);
    constexpr int kRounds = 5000;
    std::barrier start(3), done(3);
    Data values[2];
    std::thread writers[2];
    for (int t = 0; t < 2; ++t) {
      writers[t] = std::thread([&, t] {
        for (int round = 0; round < kRounds; ++round) {
          start.arrive_and_wait();
          store->updateDataWithIdentifier(values[t], "shared");
          done.arrive_and_wait();
        }
      });
    }
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
    std::fprintf(stderr, "mixed=%d\n", mixed);
    return mixed == 0 ? 0 : 1;
  });
  EXPECT_EQ(result.exitCode, 0) << result.stderrText.substr(0, 2000);
}

TEST(OVStorageFaultTest, LargeItemFileAndDirectoryAreSyncedBeforeTheItemIsRecorded) {
  testing::TempDir dir;
  static std::vector<std::pair<std::string, std::filesystem::path>> steps;
  steps.clear();
  auto store = makeStore(dir);
  fs::setDurabilityObserverForTesting([](std::string_view step, const std::filesystem::path& path) {
    steps.emplace_back(step, path);
  });
  const auto big = itemBytes(OVStorage::kFragmentItemLimit + 1, 1);
  const bool saved = store->saveDataWithIdentifier(big, "big");
  fs::setDurabilityObserverForTesting(nullptr);
  ASSERT_TRUE(saved);
  ASSERT_EQ(steps.size(), 3u);
  EXPECT_EQ(steps[0].first, "sync file");
  EXPECT_EQ(steps[0].second.parent_path(), dir.path());
  EXPECT_NE(steps[0].second.filename(), "big");  // the temporary file, before the rename
  EXPECT_EQ(steps[1], std::make_pair(std::string("rename"), dir / "big"));
  EXPECT_EQ(steps[2], std::make_pair(std::string("sync directory"), dir.path()));
  EXPECT_EQ(store->dataWithIdentifier("big"), big);
}

TEST(OVStorageFaultTest, StoreWithoutAChunkFileFailsEveryWrite) {
  testing::TempDir dir;
  // The destination is a plain file: the chunk file can be neither made nor
  // opened.
  overwriteFile(dir / "notadir", "x");
  auto store =
      OVStorage::initWithDestinationIdentifierError((dir / "notadir").string(), "s", nullptr);
  ASSERT_TRUE(store);
  EXPECT_FALSE(store->saveDataWithIdentifier(itemBytes(10, 1), "a"));
  store->updateDataWithIdentifier(itemBytes(10, 1), "b");
  EXPECT_FALSE(store->saveDataWithIdentifier(itemBytes(OVStorage::kFragmentItemLimit + 1, 1), "c"));
  EXPECT_TRUE(store->allStorageItemIdentifiers().empty());
  store->addStorageChunkItemWithIdentifier(OVStorageChunk(0, 4), "d");
  EXPECT_EQ(store->dataWithIdentifier("d"), std::nullopt);
  store->cleanStorage();
}

TEST(OVStorageFaultTest, FailedWritesRecordNothing) {
  testing::TempDir dir;
  auto result = testing::runInChild([&] {
    std::signal(SIGXFSZ, SIG_IGN);
    auto store = makeStore(dir);
    if (!store) return 1;
    const auto chunkPath = store->filePathWithIdentifier("store");
    if (!store->saveDataWithIdentifier(itemBytes(600, 1), "first")) return 2;
    // Soft limits only, so that they can be raised again.
    rlimit limit{1000, RLIM_INFINITY};
    if (setrlimit(RLIMIT_FSIZE, &limit) != 0) return 3;

    // Appends that do not fit: nothing recorded, no partial tail left.
    if (store->saveDataWithIdentifier(itemBytes(600, 2), "second")) return 4;
    if (store->dataWithIdentifierExist("second")) return 5;
    store->updateDataWithIdentifier(itemBytes(700, 3), "first");  // longer: would append
    if (store->storageChunkWithIdentifier("first") != OVStorageChunk(0, 600)) return 6;
    if (store->dataWithIdentifier("first") != itemBytes(600, 1)) return 7;
    if (fileSize(chunkPath) != 600) return 8;

    // An item of its own that does not fit: no file, no entry; an existing
    // item file is left whole.
    rlimit none{RLIM_INFINITY, RLIM_INFINITY};
    setrlimit(RLIMIT_FSIZE, &none);
    const auto big = itemBytes(OVStorage::kFragmentItemLimit + 1, 4);
    if (!store->saveDataWithIdentifier(big, "big")) return 9;
    rlimit small{OVStorage::kFragmentItemLimit, RLIM_INFINITY};
    setrlimit(RLIMIT_FSIZE, &small);
    if (store->saveDataWithIdentifier(itemBytes(OVStorage::kFragmentItemLimit + 1, 5), "big2"))
      return 10;
    if (store->dataWithIdentifierExist("big2")) return 11;
    store->updateDataWithIdentifier(itemBytes(OVStorage::kFragmentItemLimit + 2, 6), "big");
    if (store->dataWithIdentifier("big") != big) return 12;

    // Room again: the store carries on where it was.
    setrlimit(RLIMIT_FSIZE, &none);
    if (!store->saveDataWithIdentifier(itemBytes(600, 2), "second")) return 13;
    if (store->storageChunkWithIdentifier("second") != OVStorageChunk(600, 600)) return 14;
    return 0;
  });
  EXPECT_EQ(result.exitCode, 0) << result.stderrText;
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(dir.path()),
                          std::filesystem::directory_iterator()),
            2);  // the chunk file and "big": no temporary files left behind
}

TEST(OVStorageFaultTest, DamagedEntriesReadAsNothing) {
  testing::TempDir dir;
  auto store = makeStore(dir);
  ASSERT_TRUE(store);
  ASSERT_TRUE(store->saveDataWithIdentifier(itemBytes(64, 1), "ok"));
  const std::pair<const char*, OVStorageChunk> damaged[] = {
      {"negative-offset", OVStorageChunk(-8, 4)},
      {"negative-length", OVStorageChunk(0, -1)},
      {"past-the-end", OVStorageChunk(60, 10)},
      {"far-past-the-end", OVStorageChunk(INT64_MAX - 1, INT64_MAX)},
      {"huge-length", OVStorageChunk(1, INT64_MAX)},
  };
  for (const auto& [identifier, chunk] : damaged) {
    store->addStorageChunkItemWithIdentifier(chunk, identifier);
    EXPECT_EQ(store->dataWithIdentifier(identifier), std::nullopt) << identifier;
  }
  // Replacing a damaged entry never writes at its offset; it appends.
  store->updateDataWithIdentifier(itemBytes(3, 2), "negative-length");
  EXPECT_EQ(store->storageChunkWithIdentifier("negative-length"), OVStorageChunk(64, 3));
  EXPECT_EQ(store->dataWithIdentifier("negative-length"), itemBytes(3, 2));
  EXPECT_EQ(store->dataWithIdentifier("ok"), itemBytes(64, 1));
}

TEST(OVStorageFaultTest, ConcurrencyOfDistinctIdentifiersOnOneStore) {
  testing::TempDir dir;
  auto store = makeStore(dir);
  ASSERT_TRUE(store);
  constexpr int kThreads = 4;
  constexpr int kRounds = 150;
  std::atomic<int> failures{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      for (int i = 0; i < kRounds; ++i) {
        const std::string id = "t" + std::to_string(t) + "-" + std::to_string(i % 10);
        const auto seed = static_cast<std::uint32_t>(t * 100000 + i);
        const std::size_t size = 1 + (i * 37 + t * 11) % 3000;
        const auto bytes = itemBytes(size, seed);
        switch (i % 5) {
          case 0:
            store->removeDataWithIdentifier(id);
            if (!store->saveDataWithIdentifier(bytes, id)) ++failures;
            break;
          case 4:
            store->removeDataWithIdentifier(id);
            if (store->dataWithIdentifierExist(id)) ++failures;
            store->updateDataWithIdentifier(bytes, id);
            break;
          default:
            store->updateDataWithIdentifier(bytes, id);
        }
        if (store->dataWithIdentifier(id) != bytes) ++failures;
        if (i % 40 == 0) store->allStorageItemIdentifiers();
      }
    });
  }
  // One more thread keeps an item of its own in a file, beside the others.
  threads.emplace_back([&] {
    for (int i = 0; i < 3; ++i) {
      const auto big = itemBytes(OVStorage::kFragmentItemLimit + 1 + i, 77 + i);
      store->updateDataWithIdentifier(big, "large");
      if (store->dataWithIdentifier("large") != big) ++failures;
    }
  });
  // And one archives the store meanwhile, as the storage manager does.
  threads.emplace_back([&] {
    for (int i = 0; i < 20; ++i) {
      const Data archive = NSKeyedArchiver::archivedDataWithRootObject(*store);
      if (!NSKeyedUnarchiver::unarchivedObjectOfClassFromData<OVStorage>(archive)) ++failures;
    }
  });
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(failures.load(), 0);
  EXPECT_EQ(store->allStorageItemIdentifiers().size(), static_cast<std::size_t>(kThreads * 10 + 1));
}

}  // namespace
}  // namespace orvane
