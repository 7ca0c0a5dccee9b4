#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>

#include "orvane/Export.h"
#include "orvane/Platform/Foundation/NSKeyedArchiver.h"
#include "orvane/Platform/Foundation/SerialQueue.h"

namespace orvane {

/// One record of a chunk table: exactly 40 bytes, the same in memory and in
/// the table's archive (little-endian).
struct OVChunkInfo {
  /// The first 20 characters of the key's digest text; no terminator when all
  /// 20 are used.
  char key[20];
  /// Alignment gap; copied from the caller's record as it is.
  std::uint8_t gap[4];
  /// Stored and returned unchanged; the table never reads it.
  std::int64_t offset;
  /// Stored and returned unchanged; the table never reads it.
  std::int64_t length;
};
static_assert(sizeof(OVChunkInfo) == 40, "OVChunkInfo is a 40-byte record");

/// A table of fixed-size records found by a text key. Records are appended in
/// order and never removed or reordered, so an index once given stays valid.
/// The dictionary maps the key's full 32-character digest text to a record,
/// while the record keeps only its first 20 characters; a table decoded from an
/// archive rebuilds its dictionary from those 20-character fields, so records
/// archived earlier are not found by their keys again, while records added
/// after decoding are.
///
/// setChunkInfoWithKey and chunkInfoWithKey run on the table's serial queue.
/// The archive holds one value, "tableData": the records in use, 40 bytes
/// each, as they are in memory. Archiving copies them, so the table stays
/// usable after the archive is gone.
///
/// The lower operations (indexOfChunkInfoKey, addChunkInfoWithKey,
/// increChunkInfoMem, rebuildChunkInfoDictionary) take no lock: call them only
/// while no other thread uses the table.
class ORVANE_EXPORT OVStorageChunkTable : public NSCoding {
 public:
  /// Records added per growth step, and the capacity of a new table.
  static constexpr std::uint64_t kGrowthStep = 200;

  /// An empty table with room for 200 records.
  OVStorageChunkTable();
  ~OVStorageChunkTable() override;
  OVStorageChunkTable(const OVStorageChunkTable&) = delete;
  OVStorageChunkTable& operator=(const OVStorageChunkTable&) = delete;

  /// A new empty table.
  static std::shared_ptr<OVStorageChunkTable> init();
  static bool supportsSecureCoding() noexcept { return true; }
  /// A table of the records in an archive's "tableData" (whole 40-byte
  /// records; an absent or empty value gives an empty table with capacity 0),
  /// its dictionary rebuilt from their key fields.
  static std::shared_ptr<OVStorageChunkTable> initWithCoder(NSKeyedUnarchiver& coder);

  std::string archiveClassName() const override;
  void encodeWithCoder(NSKeyedArchiver& coder) const override;

  /// Stores the 40 bytes of `info` under the key, or replaces the record
  /// already there (all 40 bytes, its key field included). Does nothing for a
  /// null record or an empty key.
  void setChunkInfoWithKey(const OVChunkInfo* info, std::string_view key);
  /// True when a record is stored under the key; copies it into `info` when
  /// `info` is not null.
  bool chunkInfoWithKey(OVChunkInfo* info, std::string_view key) const;

  /// The record index of the key, or NSNotFound (also for an empty key or one
  /// with no digest text).
  std::uint64_t indexOfChunkInfoKey(std::string_view key) const;
  /// Appends the record under the key, growing the array first when it is
  /// full. Its key field becomes the first 20 characters of the digest text.
  void addChunkInfoWithKey(const OVChunkInfo* info, std::string_view key);
  /// Grows the record array by one step of 200 records.
  void increChunkInfoMem();
  /// Adds a dictionary entry for every record, keyed by the text of its key
  /// field read up to its first zero byte (never past the end of the record
  /// array). Fields that are not UTF-8 text are left out.
  void rebuildChunkInfoDictionary();

  /// The queue that serialises set and get.
  SerialQueue& chunkInfoQueue() const noexcept { return _chunkInfoQueue; }
  /// Records the array can hold, and records in use (taken on the queue).
  std::uint64_t capacity() const;
  std::uint64_t count() const;

 private:
  struct BaseInit {};

 public:
  // A table with no record array, filled by decoding.
  explicit OVStorageChunkTable(BaseInit) noexcept;

 private:
  std::unordered_map<std::string, std::uint64_t> _hashTable;
  std::unique_ptr<OVChunkInfo[]> _info;
  std::uint64_t _capacity = 0;
  std::uint64_t _count = 0;
  mutable SerialQueue _chunkInfoQueue;
};

}  // namespace orvane
