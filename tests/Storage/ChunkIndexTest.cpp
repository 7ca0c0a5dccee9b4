#include "Storage/ChunkIndex.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <unordered_map>

namespace orvane {
namespace {

// The index against std::unordered_map under a long random mix of sets,
// replacements and removals over a small key space, so that probe runs
// collide, wrap around and are shifted back on removal.
TEST(ChunkIndexTest, BehavesLikeAMapUnderRandomChanges) {
  ChunkIndex index;
  std::unordered_map<std::string, std::int64_t> model;
  std::mt19937 rng(7);
  auto keyOf = [](unsigned n) {
    // Short, inline-length and long identifiers.
    switch (n % 3) {
      case 0:
        return std::to_string(n);
      case 1:
        return std::string(32, 'A') + std::to_string(n);
      default:
        return std::string(70, 'x') + std::to_string(n);
    }
  };
  for (int step = 0; step < 20000; ++step) {
    const std::string key = keyOf(rng() % 300);
    if (rng() % 3 == 0) {
      EXPECT_EQ(index.erase(key), model.erase(key) == 1);
    } else {
      // Every other entry has a checksum (the step's square), so that checksums
      // are seen to move with their entries when slots are shifted or rehashed.
      const std::int64_t value = step;
      std::optional<std::uint64_t> checksum;
      if (step % 2 == 0) checksum = static_cast<std::uint64_t>(value) * value;
      index.set(key, OVStorageChunk(value, value + 1), checksum);
      model[key] = value;
    }
    if (step % 997 == 0 || step == 19999) {
      ASSERT_EQ(index.size(), model.size());
      std::size_t seen = 0;
      index.forEach([&](std::string_view identifier, const OVStorageChunk& chunk) {
        ++seen;
        auto it = model.find(std::string(identifier));
        ASSERT_NE(it, model.end());
        EXPECT_EQ(chunk, OVStorageChunk(it->second, it->second + 1));
      });
      EXPECT_EQ(seen, model.size());
      for (unsigned n = 0; n < 300; ++n) {
        const auto k = keyOf(n);
        const auto entry = index.findEntry(k);
        ASSERT_EQ(entry.has_value(), model.count(k) == 1) << k;
        if (entry) {
          const std::int64_t value = model[k];
          EXPECT_EQ(entry->chunk.offset(), value);
          EXPECT_EQ(entry->checksum, value % 2 == 0 ? std::optional<std::uint64_t>(value * value)
                                                    : std::nullopt);
        }
      }
    }
  }
  index.clear();
  EXPECT_EQ(index.size(), 0u);
  EXPECT_EQ(index.find("1"), std::nullopt);
  EXPECT_FALSE(index.erase("1"));
}

TEST(ChunkIndexTest, IdentifiersAreKeptExactly) {
  ChunkIndex index;
  const std::string names[] = {"", std::string("a\0b", 3), std::string(32, 'y'),
                               std::string(33, 'y'), "\xff"};
  for (std::size_t i = 0; i < std::size(names); ++i) {
    index.set(names[i], OVStorageChunk(std::int64_t(i), 1));
  }
  for (std::size_t i = 0; i < std::size(names); ++i) {
    ASSERT_TRUE(index.find(names[i])) << i;
    EXPECT_EQ(index.find(names[i])->offset(), std::int64_t(i));
  }
  EXPECT_EQ(index.find(std::string(31, 'y')), std::nullopt);
  EXPECT_EQ(index.find("a"), std::nullopt);
}

}  // namespace
}  // namespace orvane
