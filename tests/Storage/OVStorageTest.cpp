#include "orvane/Storage/OVStorage.h"

#include <gtest/gtest.h>

#include "Platform/Foundation/FileSystem.h"

#include <algorithm>
#include <fstream>
#include <regex>

#include "Storage/StorageTestSupport.h"
#include "orvane/Categories/NSStringMd5.h"
#include "support/ChildProcess.h"
#include "support/TempDir.h"

namespace orvane {
namespace {

using testing::fileSize;
using testing::itemBytes;

bool isUUIDText(const std::string& text) {
  static const std::regex uuid("[0-9A-F]{8}-[0-9A-F]{4}-[0-9A-F]{4}-[0-9A-F]{4}-[0-9A-F]{12}");
  return std::regex_match(text, uuid);
}

std::shared_ptr<OVStorage> makeStore(const testing::TempDir& dir, std::string_view id = "store") {
  return OVStorage::initWithDestinationIdentifierError((dir / "items").string(), id, nullptr);
}

TEST(OVStorageTest, InitializersStartEmptyInTheirDirectoryWithFreshIdentifiers) {
  testing::TestEnvironment env;
  auto first = OVStorage::init(), second = OVStorage::init();
  ASSERT_TRUE(first && second);
  const auto expected = (env.path() / "data" / "org.orvane.tests").string();
  EXPECT_EQ(OVStorage::defaultDestinationPath(), expected);
  for (const auto& store : {first, second}) {
    EXPECT_EQ(store->destinationPath(), expected);
    EXPECT_TRUE(isUUIDText(store->identifier())) << store->identifier();
    EXPECT_EQ(fileSize(store->filePathWithIdentifier(store->identifier())), 0);
  }
  EXPECT_NE(first->identifier(), second->identifier());
  EXPECT_TRUE(isUUIDText(OVStorage::makeIdentifierWithString("")));
  EXPECT_NE(OVStorage::makeIdentifierWithString(""), OVStorage::makeIdentifierWithString(""));
  EXPECT_EQ(OVStorage::makeIdentifierWithString("abc"), "900150983CD24FB0D6963F7D28E17F72");

  auto store = OVStorage::initWithIdentifier("named");
  ASSERT_TRUE(store && store->saveDataWithIdentifier(itemBytes(100, 1), "a"));
  const auto chunkPath = store->filePathWithIdentifier("named");
  EXPECT_EQ(fileSize(chunkPath), 100);
  auto again = OVStorage::initWithIdentifier("named");
  ASSERT_TRUE(again);
  EXPECT_EQ(fileSize(chunkPath), 0);
  EXPECT_TRUE(again->allStorageItemIdentifiers().empty());
  auto unnamed = OVStorage::initWithDestinationIdentifierError((env.path() / "d").string(), "", nullptr);
  ASSERT_TRUE(unnamed);
  EXPECT_TRUE(isUUIDText(unnamed->identifier()));
}

TEST(OVStorageTest, DestinationsFallBackToTheCacheOrFailWithAnError) {
  testing::TempDir dir;
  EnvironmentOverrides o;
  o.applicationIdentifier = "org.orvane.fallback";
  o.dataHome = std::filesystem::path();
  o.cacheHome = dir / "cache";
  ScopedEnvironmentOverrides scoped(o);
  const auto path = OVStorage::defaultDestinationPath();
  EXPECT_EQ(path, (dir / "cache" / "org.orvane.fallback").string());
  EXPECT_TRUE(std::filesystem::is_directory(path));

  std::ofstream(dir / "plain") << "a file";
  const auto bad = (dir / "plain" / "store").string();
  NSError error;
  EXPECT_EQ(OVStorage::initWithDestinationIdentifierError(bad, "s", &error), nullptr);
  EXPECT_EQ(error.domain, NSCocoaErrorDomain);
  EXPECT_FALSE(error.localizedDescription().empty());
  NSError untouched{"unchanged", 7, {}};
  EXPECT_EQ(OVStorage::initWithDestinationError(bad, &untouched), nullptr);
  EXPECT_EQ(untouched, (NSError{"unchanged", 7, {}}));
}

TEST(OVStorageTest, ItemsGoBackToBackAndAreOverwrittenInPlaceWhenTheyFit) {
  testing::TempDir dir;
  auto store = makeStore(dir);
  ASSERT_TRUE(store);
  const auto a = itemBytes(10, 1), b = itemBytes(5, 2);
  ASSERT_TRUE(store->saveDataWithIdentifier(a, "A"));
  ASSERT_TRUE(store->saveDataWithIdentifier(b, "B"));
  EXPECT_EQ(store->storageChunkWithIdentifier("A"), OVStorageChunk(0, 10));
  EXPECT_EQ(store->storageChunkWithIdentifier("B"), OVStorageChunk(10, 5));

  const auto shorter = itemBytes(4, 3);
  store->updateDataWithIdentifier(shorter, "A");
  EXPECT_EQ(store->storageChunkWithIdentifier("A"), OVStorageChunk(0, 4));
  EXPECT_EQ(store->dataWithIdentifier("A"), shorter);
  EXPECT_EQ(fileSize(store->filePathWithIdentifier("store")), 15);

  const auto longer = itemBytes(12, 4);
  store->updateDataWithIdentifier(longer, "A");
  EXPECT_EQ(store->storageChunkWithIdentifier("A"), OVStorageChunk(15, 12));
  EXPECT_EQ(store->dataWithIdentifier("A"), longer);
  EXPECT_EQ(store->dataWithIdentifier("B"), b);
  EXPECT_EQ(fileSize(store->filePathWithIdentifier("store")), 27);

  store->updateDataWithIdentifier(a, "new");  // update saves new items too
  EXPECT_EQ(store->dataWithIdentifier("new"), a);
  EXPECT_EQ(store->dataWithIdentifier("absent"), std::nullopt);
  EXPECT_FALSE(store->dataWithIdentifierExist("absent"));
  EXPECT_TRUE(store->dataWithIdentifierExist("new"));
  auto ids = store->allStorageItemIdentifiers();
  std::sort(ids.begin(), ids.end());
  EXPECT_EQ(ids, (std::vector<std::string>{"A", "B", "new"}));
}

TEST(OVStorageTest, ThreeMebibytesIsTheLargestItemInTheChunkFile) {
  testing::TempDir dir;
  auto store = makeStore(dir);
  ASSERT_TRUE(store);
  const auto fits = itemBytes(3145728, 1), large = itemBytes(3145729, 2);
  ASSERT_TRUE(store->saveDataWithIdentifier(fits, "fits"));
  ASSERT_TRUE(store->saveDataWithIdentifier(large, "large"));
  EXPECT_EQ(store->storageChunkWithIdentifier("fits"), OVStorageChunk(0, 3145728));
  EXPECT_EQ(store->storageChunkWithIdentifier("large"), OVStorageChunk::nullStorageChunk());
  EXPECT_EQ(fileSize(store->filePathWithIdentifier("store")), 3145728);
  EXPECT_EQ(fileSize(store->filePathWithIdentifier("large")), 3145729);
  EXPECT_FALSE(std::filesystem::exists(store->filePathWithIdentifier("fits")));
  EXPECT_EQ(store->dataWithIdentifier("fits"), fits);
  EXPECT_EQ(store->dataWithIdentifier("large"), large);

  // A small update of a large item goes to the chunk file; the old file stays.
  const auto small = itemBytes(7, 3);
  store->updateDataWithIdentifier(small, "large");
  EXPECT_EQ(store->storageChunkWithIdentifier("large"), OVStorageChunk(3145728, 7));
  EXPECT_EQ(store->dataWithIdentifier("large"), small);
  EXPECT_EQ(fileSize(store->filePathWithIdentifier("large")), 3145729);
}

TEST(OVStorageTest, SavingAnExistingIdentifierIsRefusedAndLogged) {
  testing::TempDir dir;
  auto result = testing::runInChild([&] {
    auto store = makeStore(dir);
    if (!store || !store->saveDataWithIdentifier(itemBytes(8, 1), "dup")) return 1;
    if (store->saveDataWithIdentifier(itemBytes(3, 2), "dup")) return 2;
    if (store->dataWithIdentifier("dup") != itemBytes(8, 1)) return 3;
    return fileSize(store->filePathWithIdentifier("store")) == 8 ? 0 : 4;
  });
  EXPECT_EQ(result.exitCode, 0) << result.stderrText;
  EXPECT_NE(result.stderrText.find("] Data with identifier(dup) exists.\n"), std::string::npos)
      << result.stderrText;
}

TEST(OVStorageTest, EmptyFirstItemIsRecordedAsTheNullChunk) {
  testing::TempDir dir;
  auto store = makeStore(dir);
  ASSERT_TRUE(store);
  ASSERT_TRUE(store->saveDataWithIdentifier(Data(), "empty"));
  EXPECT_EQ(store->storageChunkWithIdentifier("empty"), OVStorageChunk::nullStorageChunk());
  EXPECT_EQ(store->dataWithIdentifier("empty"), std::nullopt);  // looks for its own file

  // Later in the file an empty item is an ordinary chunk of length 0.
  ASSERT_TRUE(store->saveDataWithIdentifier(itemBytes(3, 1), "x"));
  ASSERT_TRUE(store->saveDataWithIdentifier(Data(), "empty2"));
  EXPECT_EQ(store->storageChunkWithIdentifier("empty2"), OVStorageChunk(3, 0));
  EXPECT_EQ(store->dataWithIdentifier("empty2"), Data());
}

TEST(OVStorageTest, RemovingAndCleaning) {
  testing::TempDir dir;
  auto store = makeStore(dir);
  ASSERT_TRUE(store);
  ASSERT_TRUE(store->saveDataWithIdentifier(itemBytes(4000000, 1), "big1"));
  ASSERT_TRUE(store->saveDataWithIdentifier(itemBytes(4000000, 2), "big2"));
  ASSERT_TRUE(store->saveDataWithIdentifier(itemBytes(50, 3), "small1"));
  ASSERT_TRUE(store->saveDataWithIdentifier(itemBytes(50, 4), "small2"));
  const auto chunkPath = store->filePathWithIdentifier("store");

  store->removeDataWithIdentifier("big1");
  store->removeDataWithIdentifier("small1");
  store->removeDataWithIdentifier("never-saved");
  EXPECT_FALSE(std::filesystem::exists(store->filePathWithIdentifier("big1")));
  EXPECT_EQ(fileSize(chunkPath), 100);  // dead space stays
  EXPECT_FALSE(store->dataWithIdentifierExist("big1"));
  EXPECT_FALSE(store->dataWithIdentifierExist("small1"));
  EXPECT_EQ(store->dataWithIdentifier("small2"), itemBytes(50, 4));

  store->cleanStorage();
  EXPECT_TRUE(store->allStorageItemIdentifiers().empty());
  EXPECT_FALSE(std::filesystem::exists(store->filePathWithIdentifier("big2")));
  EXPECT_EQ(fileSize(chunkPath), 0);
  ASSERT_TRUE(store->saveDataWithIdentifier(itemBytes(9, 5), "after"));
  EXPECT_EQ(store->storageChunkWithIdentifier("after"), OVStorageChunk(0, 9));
}

TEST(OVStorageTest, FileNamesOfIdentifiersStayInsideTheStore) {
  const std::pair<std::string, std::string> names[] = {
      {"plain-name.jpg", "plain-name.jpg"},
      {"a/b", "a%2Fb"},
      {"../escape", "..%2Fescape"},
      {".", "%2E"},
      {"..", "%2E%2E"},
      {"...", "..."},
      {"100%", "100%25"},
      {"a%2Fb", "a%252Fb"},  // differs from the name of "a/b"
      {std::string("nul\0byte", 8), "nul%00byte"},
  };
  for (const auto& [identifier, fileName] : names) {
    EXPECT_EQ(fs::safeFileName(identifier), fileName) << identifier;
  }

  testing::TempDir dir;
  auto store = makeStore(dir);
  ASSERT_TRUE(store);
  const auto large = itemBytes(OVStorage::kFragmentItemLimit + 1, 9);
  for (const std::string identifier : {"../escape", "..", "sub/dir/name"}) {
    ASSERT_TRUE(store->saveDataWithIdentifier(large, identifier)) << identifier;
    EXPECT_EQ(store->dataWithIdentifier(identifier), large) << identifier;
    EXPECT_EQ(fileSize(dir / "items" / fs::safeFileName(identifier)), std::int64_t(large.size()));
  }
  EXPECT_FALSE(std::filesystem::exists(dir / "escape"));
  store->cleanStorage();
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(dir / "items"),
                          std::filesystem::directory_iterator()),
            1);  // the chunk file alone
}

TEST(OVStorageTest, NothingOverwritesOrDeletesTheChunkFile) {
  testing::TempDir dir;
  auto result = testing::runInChild([&] {
    auto store = makeStore(dir);
    if (!store) return 1;
    // An empty first item under the store's own name is recorded as the null
    // chunk; removing it must not delete the chunk file.
    if (!store->saveDataWithIdentifier(Data(), "store")) return 2;
    if (store->dataWithIdentifier("store")) return 3;
    store->removeDataWithIdentifier("store");
    const auto chunkPath = store->filePathWithIdentifier("store");
    if (!std::filesystem::exists(chunkPath)) return 4;

    if (!store->saveDataWithIdentifier(itemBytes(20, 1), "kept")) return 5;
    if (store->saveDataWithIdentifier(itemBytes(OVStorage::kFragmentItemLimit + 1, 2), "store"))
      return 6;
    store->updateDataWithIdentifier(itemBytes(OVStorage::kFragmentItemLimit + 1, 2), "store");
    if (store->dataWithIdentifierExist("store")) return 7;
    if (store->saveStorageChunkDataToFileWithPath(itemBytes(9, 3), chunkPath)) return 8;
    if (fileSize(chunkPath) != 20 || store->dataWithIdentifier("kept") != itemBytes(20, 1))
      return 9;
    return 0;
  });
  EXPECT_EQ(result.exitCode, 0) << result.stderrText;
  EXPECT_NE(
      result.stderrText.find("] Data with identifier(store) would overwrite the chunk file.\n"),
      std::string::npos)
      << result.stderrText;
}

}  // namespace
}  // namespace orvane
