#include <gtest/gtest.h>
#include <sys/resource.h>

#include <atomic>
#include <csignal>
#include <fstream>
#include <thread>
#include <vector>

#include "Storage/StorageTestSupport.h"
#include "orvane/Platform/Foundation/NSKeyedArchiver.h"
#include "orvane/Storage/OVStorage.h"
#include "support/ChildProcess.h"
#include "support/TempDir.h"

namespace orvane {
namespace {

using testing::fileSize;
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
  std::size_t messages = 0;
  for (std::size_t at = 0;
       (at = result.stderrText.find("] Warning the chunk file has been damaged.\n", at)) !=
       std::string::npos;
       ++at) {
    ++messages;
  }
  EXPECT_EQ(messages, 3u) << result.stderrText;
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
