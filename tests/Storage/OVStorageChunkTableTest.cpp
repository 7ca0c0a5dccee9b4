#include "orvane/Storage/OVStorageChunkTable.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "orvane/Categories/NSStringMd5.h"
#include "orvane/Platform/Foundation/NSRange.h"
#include "orvane/Storage/OVStorage.h"
#include "orvane/Storage/OVStorageChunk.h"

namespace orvane {
namespace {

OVChunkInfo record(std::int64_t offset, std::int64_t length, char fill = 'k') {
  OVChunkInfo info;
  std::memset(info.key, fill, sizeof info.key);
  std::memcpy(info.gap, "GAP!", 4);
  info.offset = offset;
  info.length = length;
  return info;
}

TEST(OVStorageChunkTest, ValuesAndTheNullChunk) {
  EXPECT_FALSE(OVStorageChunk::init().has_value());
  EXPECT_TRUE(OVStorageChunk::nullStorageChunk().nullChunk());
  EXPECT_FALSE(OVStorageChunk(0, 5).nullChunk());
  EXPECT_FALSE(OVStorageChunk(7, 0).nullChunk());
  const auto chunk = OVStorageChunk::initWithOffsetLength(-3, 1LL << 40);
  EXPECT_EQ(chunk.offset(), -3);
  EXPECT_EQ(chunk.length(), 1LL << 40);
  // Every storage class says it decodes securely.
  EXPECT_TRUE(OVStorageChunk::supportsSecureCoding());
  EXPECT_TRUE(OVStorageChunkTable::supportsSecureCoding());
  EXPECT_TRUE(OVStorage::supportsSecureCoding());
}

// A record keeps 20 characters of the key's digest and the caller's other
// bytes; setting a key again replaces all 40 bytes with the caller's.
TEST(OVStorageChunkTableTest, RecordsKeepTheDigestAndAreReplacedWhole) {
  OVStorageChunkTable table;
  const auto first = record(11, 22), second = record(3, 4, 'z');
  table.setChunkInfoWithKey(&first, "photo-1");
  table.setChunkInfoWithKey(&first, "b");
  OVChunkInfo out = record(0, 0, 'x');
  ASSERT_TRUE(table.chunkInfoWithKey(&out, "photo-1"));
  EXPECT_EQ(std::string(out.key, 20), NSStringMd5::md5Value("photo-1")->substr(0, 20));
  EXPECT_EQ(std::memcmp(out.gap, "GAP!", 4), 0);
  EXPECT_EQ(out.offset, 11);
  EXPECT_EQ(out.length, 22);
  table.setChunkInfoWithKey(&second, "photo-1");
  EXPECT_EQ(table.count(), 2u);
  EXPECT_EQ(table.indexOfChunkInfoKey("photo-1"), 0u);
  EXPECT_EQ(table.indexOfChunkInfoKey("b"), 1u);
  ASSERT_TRUE(table.chunkInfoWithKey(&out, "photo-1"));
  EXPECT_EQ(std::memcmp(&out, &second, sizeof out), 0);
}

TEST(OVStorageChunkTableTest, GrowsByTwoHundredRecordsAndKeepsEveryIndex) {
  OVStorageChunkTable table;
  EXPECT_EQ(table.capacity(), 200u);
  EXPECT_EQ(table.count(), 0u);
  for (int i = 0; i < 200; ++i) {
    const auto info = record(i, i * 10);
    table.setChunkInfoWithKey(&info, "key-" + std::to_string(i));
  }
  EXPECT_EQ(table.capacity(), 200u);
  const auto info = record(200, 2000);
  table.setChunkInfoWithKey(&info, "key-200");
  EXPECT_EQ(table.capacity(), 400u);
  EXPECT_EQ(table.count(), 201u);
  for (int i = 0; i <= 200; ++i) {
    const std::string key = "key-" + std::to_string(i);
    OVChunkInfo out{};
    ASSERT_TRUE(table.chunkInfoWithKey(&out, key)) << key;
    EXPECT_EQ(table.indexOfChunkInfoKey(key), static_cast<std::uint64_t>(i));
    EXPECT_EQ(out.offset, i);
    EXPECT_EQ(out.length, i * 10);
  }
}

TEST(OVStorageChunkTableTest, AbsentEmptyAndNullArgumentsStoreAndFindNothing) {
  OVStorageChunkTable table;
  const auto info = record(5, 6);
  table.setChunkInfoWithKey(&info, "");
  table.setChunkInfoWithKey(nullptr, "k");
  table.setChunkInfoWithKey(&info, std::string_view("\xff\xfe", 2));  // no UTF-8, no digest
  EXPECT_EQ(table.count(), 0u);
  EXPECT_FALSE(table.chunkInfoWithKey(nullptr, ""));
  EXPECT_FALSE(table.chunkInfoWithKey(nullptr, "k"));
  EXPECT_EQ(table.indexOfChunkInfoKey(""), NSNotFound);
  EXPECT_EQ(table.indexOfChunkInfoKey("k"), NSNotFound);

  table.setChunkInfoWithKey(&info, "k");
  EXPECT_TRUE(table.chunkInfoWithKey(nullptr, "k"));  // found, nothing written
}

TEST(OVStorageChunkTableTest, RebuildStopsAtTheEndOfTheRecordArray) {
  // Records with no zero byte anywhere: the key text of the last record would
  // run on past the array if the rebuild were not bounded (AddressSanitizer
  // reports that).
  OVStorageChunkTable table;
  const std::int64_t noZeros = 0x4141414141414141;
  for (int i = 0; i < 200; ++i) {
    auto info = record(noZeros, noZeros, 'A');
    std::memcpy(info.gap, "AAAA", 4);
    table.setChunkInfoWithKey(&info, "key-" + std::to_string(i));
  }
  ASSERT_EQ(table.count(), table.capacity());
  table.rebuildChunkInfoDictionary();
  // The dictionary is not cleared first: the digest keys are still found.
  EXPECT_EQ(table.indexOfChunkInfoKey("key-199"), 199u);
}

TEST(OVStorageChunkTableTest, ConcurrencySetAndGetOfDistinctKeys) {
  OVStorageChunkTable table;
  constexpr int kThreads = 4;
  constexpr int kKeys = 300;
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      for (int i = 0; i < kKeys; ++i) {
        const std::string key = std::to_string(t) + "/" + std::to_string(i);
        const auto info = record(t, i);
        table.setChunkInfoWithKey(&info, key);
        OVChunkInfo out{};
        EXPECT_TRUE(table.chunkInfoWithKey(&out, key));
        EXPECT_EQ(out.offset, t);
        EXPECT_EQ(out.length, i);
      }
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(table.count(), static_cast<std::uint64_t>(kThreads * kKeys));
  EXPECT_EQ(table.capacity(), 1200u);
}

}  // namespace
}  // namespace orvane
