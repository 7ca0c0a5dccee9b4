#include "orvane/Storage/OVStorageManager.h"

#include <gtest/gtest.h>
#include <signal.h>

#include <set>
#include <thread>

#include "Storage/OVStorageManagerTesting.h"
#include "Storage/StorageTestSupport.h"
#include "orvane/Platform/Foundation/NSUserDefaults.h"
#include "support/ChildProcess.h"

namespace orvane {
namespace {

namespace stdfs = std::filesystem;

std::shared_ptr<OVStorageManager> freshManager() { return OVStorageManagerTesting::make(); }

std::optional<Data> defaultsValue(std::string_view key) {
  return NSUserDefaults::standardUserDefaults()->dataForKey(key);
}
const char* const kDefaultKey = "kHXDefaultStorageData158";
const char* const kCustomKey = "kHXCustomizeStorageData158";

std::string text(const std::optional<Data>& data) {
  return data ? std::string(data->begin(), data->end()) : "<none>";
}

std::set<std::string> identifiers(const OVStorage& storage) {
  auto all = storage.allStorageItemIdentifiers();
  return {all.begin(), all.end()};
}

TEST(OVStorageManagerTest, NewManagerStartsEmptyAndKeysCarryTheVersion) {
  testing::TestEnvironment env;
  auto manager = freshManager();
  ASSERT_TRUE(manager->defStorage());
  EXPECT_EQ(stdfs::path(manager->defStorage()->destinationPath()), env.path() / "data" / "org.orvane.tests");
  EXPECT_EQ(manager->defStorage()->identifier().size(), 36u);  // a UUID
  EXPECT_TRUE(manager->defStorage()->allStorageItemIdentifiers().empty());
  EXPECT_EQ(manager->currentVersion(), "158");
  EXPECT_EQ(manager->keyForDefaultStorage() + manager->keyForCustomizeStorage(), std::string(kDefaultKey) + kCustomKey);
}

// Updates and effective removals save the default store; direct changes to
// it become durable only with the next of them.
TEST(OVStorageManagerTest, UpdatesAndEffectiveRemovalsSurviveARestart) {
  testing::TestEnvironment env;
  const Data big(3145729, 0xab);  // one byte over the chunk file limit
  auto manager = freshManager();
  for (const auto& [bytes, id] : {std::pair{bytesOf("first"), "thumb-1"}, {bytesOf("second"), "thumb-2"},
                                  {ByteView(big), "large"}, {bytesOf("1st"), "thumb-1"}})  // in place, shorter
    manager->updateDataWithIdentifier(bytes, id);
  manager->removeDataWithIdentifier("thumb-2");
  auto restored = freshManager();
  EXPECT_EQ(restored->defStorage()->identifier(), manager->defStorage()->identifier());
  EXPECT_EQ(identifiers(*restored->defStorage()), (std::set<std::string>{"thumb-1", "large"}));
  EXPECT_EQ(text(restored->dataWithIdentifier("thumb-1")), "1st");
  EXPECT_FALSE(restored->dataWithIdentifierExist("thumb-2") || restored->dataWithIdentifier("thumb-2"));
  EXPECT_EQ(restored->dataWithIdentifier("large"), big);

  const auto saved = defaultsValue(kDefaultKey);
  manager->defStorage()->updateDataWithIdentifier(bytesOf("b"), "b");
  manager->removeDataWithIdentifier("unknown");
  EXPECT_EQ(defaultsValue(kDefaultKey), saved);
  EXPECT_FALSE(freshManager()->dataWithIdentifierExist("b"));
  manager->removeDataWithIdentifier("large");
  EXPECT_EQ(identifiers(*freshManager()->defStorage()), (std::set<std::string>{"thumb-1", "b"}));
}

TEST(OVStorageManagerTest, CustomisedStoresAreAddedOnlyByCreateAndSavedOnlyOnRequest) {
  testing::TestEnvironment env;
  auto manager = freshManager();
  auto loose = OVStorage::init();
  EXPECT_FALSE(manager->addCustomizeStorageWithIdentifier(loose, "albums"));
  EXPECT_FALSE(manager->customizeStorageWithIdentifier("albums"));

  auto created = manager->createCustomiszeStorageWithIdentifier("albums");
  ASSERT_TRUE(created);
  EXPECT_EQ(created->identifier().size(), 36u);  // a UUID: the name only names the entry
  EXPECT_EQ(manager->createCustomiszeStorageWithIdentifier("albums"), created);
  EXPECT_FALSE(defaultsValue(kCustomKey));  // nothing saved yet

  EXPECT_TRUE(manager->addCustomizeStorageWithIdentifier(loose, "albums"));
  EXPECT_EQ(manager->customizeStorageWithIdentifier("albums"), loose);
  EXPECT_TRUE(freshManager()->customizeStorageWithIdentifier("albums") == nullptr);

  loose->updateDataWithIdentifier(bytesOf("cover"), "cover");
  manager->createCustomiszeStorageWithIdentifier("faces");
  manager->saveCustomizeStorage();
  auto restored = freshManager();
  auto albums = restored->customizeStorageWithIdentifier("albums");
  ASSERT_TRUE(albums);
  EXPECT_EQ(albums->identifier(), loose->identifier());
  EXPECT_EQ(text(albums->dataWithIdentifier("cover")), "cover");
  EXPECT_TRUE(restored->customizeStorageWithIdentifier("faces"));
  // The default store is not a customised one and was never saved.
  EXPECT_FALSE(defaultsValue(kDefaultKey));
}

// Undecodable entries under the two keys, or a default store whose chunk file is gone, give fresh empty state.
TEST(OVStorageManagerTest, UndecodableEntriesGiveFreshEmptyState) {
  testing::TestEnvironment env;
  freshManager()->updateDataWithIdentifier(bytesOf("x"), "x");
  const Data archivedStore = *defaultsValue(kDefaultKey);
  const Data chunk = NSKeyedArchiver::archivedDataWithRootObject(OVStorageChunk(0, 1));
  const Data chunks = NSKeyedArchiver::archivedDataWithRootDictionary({{"k", std::make_shared<OVStorageChunk>(0, 1)}});
  // {default store, customised stores}: garbage, a truncated archive, wrong roots.
  const std::pair<Data, Data> cases[] = {
      {dataOf("not an archive at all"), Data(archivedStore.begin(), archivedStore.begin() + archivedStore.size() / 2)},
      {chunk, chunks}, {chunks, archivedStore}};
  for (std::size_t i = 0; i < std::size(cases); ++i) {
    SCOPED_TRACE(i);
    auto defaults = NSUserDefaults::standardUserDefaults();
    ASSERT_TRUE(defaults->setObjectForKey(cases[i].first, kDefaultKey));
    ASSERT_TRUE(defaults->setObjectForKey(cases[i].second, kCustomKey));
    auto manager = freshManager();
    ASSERT_TRUE(manager->defStorage());
    EXPECT_TRUE(manager->defStorage()->allStorageItemIdentifiers().empty());
    EXPECT_FALSE(manager->customizeStorageWithIdentifier("k"));
    manager->updateDataWithIdentifier(bytesOf("works"), "y");
    EXPECT_EQ(text(freshManager()->dataWithIdentifier("y")), "works");
  }
  auto manager = freshManager();
  ASSERT_TRUE(stdfs::remove(manager->defStorage()->filePathWithIdentifier(manager->defStorage()->identifier())));
  EXPECT_NE(freshManager()->defStorage()->identifier(), manager->defStorage()->identifier());
  EXPECT_FALSE(freshManager()->dataWithIdentifierExist("y"));
}

// Before the shared manager exists init makes a new one; from then on it answers the shared one.
TEST(OVStorageManagerConcurrencyTest, SharedManagerIsCreatedOnceAcrossThreads) {
  testing::TestEnvironment env;
  auto result = testing::runInChild([] {
    auto early = OVStorageManager::init();
    std::vector<std::shared_ptr<OVStorageManager>> seen(8);
    std::vector<std::thread> threads;
    for (std::size_t i = 0; i < seen.size(); ++i)
      threads.emplace_back([&seen, i] {
        seen[i] = i % 2 ? OVStorageManager::shareStorageManager() : OVStorageManager::init();
      });
    for (auto& t : threads) t.join();
    auto shared = OVStorageManager::shareStorageManager();
    if (!early || !shared || early == shared || OVStorageManager::init() != shared) return 1;
    for (std::size_t i = 1; i < seen.size(); i += 2)
      if (seen[i] != shared) return 2;
    return 0;
  });
  EXPECT_EQ(result.exitCode, 0) << result.stderrText;
}

// Every update that returned is in the saved index, whatever order the threads' saves ran in.
TEST(OVStorageManagerConcurrencyTest, ConcurrentUpdatesAreAllSaved) {
  testing::TestEnvironment env;
  auto manager = freshManager();
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t)
    threads.emplace_back([&manager, t] {
      for (int i = t; i < 100; i += 4) manager->updateDataWithIdentifier(bytesOf("v" + std::to_string(i)), std::to_string(i));
      manager->createCustomiszeStorageWithIdentifier("shared");
    });
  for (auto& th : threads) th.join();
  auto restored = freshManager();
  for (int i = 0; i < 100; ++i) EXPECT_EQ(text(restored->dataWithIdentifier(std::to_string(i))), "v" + std::to_string(i));
  EXPECT_TRUE(manager->customizeStorageWithIdentifier("shared"));
}

// A header naming item and version, then bytes made from both; item 0 is large, the others 16 to 4861 bytes.
Data versionBytes(int item, int version) {
  const auto seed = static_cast<std::uint32_t>(item * 7919 + version * 104729);
  const std::size_t size = item == 0 ? 3145728 + 4096 : 16 + testing::itemBytes(2, seed)[1] * 19;
  const std::string header = "item-" + std::to_string(item) + "|" + std::to_string(version) + "|";
  Data bytes = testing::itemBytes(size, seed);
  std::copy(header.begin(), header.end(), bytes.begin());
  return bytes;
}

// After a kill mid-update, every listed item reads bytes once written under its name, or nothing with the damage line.
TEST(OVStorageManagerFaultTest, KilledWriterLeavesOnlyWrittenBytesOrDamageLines) {
  for (int round = 0; round < 10; ++round) {
    SCOPED_TRACE(round);
    testing::TestEnvironment env;
    testing::ChildProcess writer([] {
      auto manager = freshManager();
      for (int step = 1;; ++step) {
        const int item = (step * 7) % 24;
        if (item != 0 && step % 5 == 0) manager->removeDataWithIdentifier("item-" + std::to_string(item));
        else manager->updateDataWithIdentifier(versionBytes(item, step), "item-" + std::to_string(item));
        if (step == 30) std::fputs("running\n", stderr);
      }
      return 0;
    });
    ASSERT_TRUE(writer.waitForText("running\n"));
    std::this_thread::sleep_for(std::chrono::milliseconds(5 + 23 * round));
    writer.kill(SIGKILL);
    ASSERT_EQ(writer.wait().signal, SIGKILL);

    auto result = testing::runInChild([] {
      auto manager = freshManager();
      auto ids = manager->defStorage()->allStorageItemIdentifiers();
      int missing = 0, item = -1, version = -1;
      for (const std::string& id : ids) {
        auto bytes = manager->dataWithIdentifier(id);
        if (!bytes && ++missing) continue;
        const std::string head(bytes->begin(), bytes->begin() + std::min<std::size_t>(40, bytes->size()));
        if (std::sscanf(head.c_str(), "item-%d|%d|", &item, &version) != 2) return 11;
        if ("item-" + std::to_string(item) != id) return 12;   // another item's bytes
        if (*bytes != versionBytes(item, version)) return 13;  // never written like this
      }
      std::fprintf(stderr, "missing=%d\n", missing);
      return ids.empty() ? 10 : 0;
    });
    ASSERT_EQ(result.exitCode, 0) << result.stderrText;
    // Each item that read nothing logged the damage line.
    EXPECT_NE(result.stderrText.find("missing=" + std::to_string(testing::damageLines(result.stderrText)) + "\n"),
              std::string::npos) << result.stderrText;
  }
}

}  // namespace
}  // namespace orvane
