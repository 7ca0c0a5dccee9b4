#include "orvane/Storage/OVStorageChunkTable.h"

#include <algorithm>
#include <cstring>

#include "Platform/Foundation/Text.h"
#include "orvane/Categories/NSStringMd5.h"
#include "orvane/Platform/Foundation/NSRange.h"

namespace orvane {

OVStorageChunkTable::OVStorageChunkTable(BaseInit) noexcept {}

OVStorageChunkTable::OVStorageChunkTable()
    : _info(std::make_unique_for_overwrite<OVChunkInfo[]>(kGrowthStep)), _capacity(kGrowthStep) {}

OVStorageChunkTable::~OVStorageChunkTable() = default;

std::shared_ptr<OVStorageChunkTable> OVStorageChunkTable::init() {
  return std::make_shared<OVStorageChunkTable>();
}

std::uint64_t OVStorageChunkTable::capacity() const {
  return _chunkInfoQueue.sync([&] { return _capacity; });
}

std::uint64_t OVStorageChunkTable::count() const {
  return _chunkInfoQueue.sync([&] { return _count; });
}

std::uint64_t OVStorageChunkTable::indexOfChunkInfoKey(std::string_view key) const {
  if (key.empty()) return NSNotFound;
  auto digest = NSStringMd5::md5Value(key);
  if (!digest) return NSNotFound;
  auto it = _hashTable.find(*digest);
  return it == _hashTable.end() ? NSNotFound : it->second;
}

void OVStorageChunkTable::increChunkInfoMem() {
  const std::uint64_t capacity = _capacity + kGrowthStep;
  auto grown = std::make_unique_for_overwrite<OVChunkInfo[]>(capacity);
  if (_count > 0) std::memcpy(grown.get(), _info.get(), _count * sizeof(OVChunkInfo));
  _info = std::move(grown);
  _capacity = capacity;
}

void OVStorageChunkTable::addChunkInfoWithKey(const OVChunkInfo* info, std::string_view key) {
  if (!info) return;
  auto digest = NSStringMd5::md5Value(key);
  if (!digest) return;  // no digest text: nothing could ever find the record
  if (_count >= _capacity) increChunkInfoMem();
  OVChunkInfo& slot = _info[_count];
  std::memcpy(&slot, info, sizeof(OVChunkInfo));
  // A bounded copy of the digest text into the 20-character field: with a
  // 32-character digest exactly 20 characters and no terminator.
  const std::size_t copied = std::min(digest->size() + 1, sizeof(slot.key));
  std::memcpy(slot.key, digest->c_str(), copied);
  if (copied < sizeof(slot.key)) std::memset(slot.key + copied, 0, sizeof(slot.key) - copied);
  _hashTable[*digest] = _count;
  ++_count;
}

void OVStorageChunkTable::setChunkInfoWithKey(const OVChunkInfo* info, std::string_view key) {
  if (!info || key.empty()) return;
  _chunkInfoQueue.sync([&] {
    const std::uint64_t index = indexOfChunkInfoKey(key);
    if (index != NSNotFound) {
      std::memcpy(&_info[index], info, sizeof(OVChunkInfo));
      return;
    }
    addChunkInfoWithKey(info, key);
  });
}

bool OVStorageChunkTable::chunkInfoWithKey(OVChunkInfo* info, std::string_view key) const {
  return _chunkInfoQueue.sync([&] {
    const std::uint64_t index = indexOfChunkInfoKey(key);
    if (index == NSNotFound) return false;
    if (info) std::memcpy(info, &_info[index], sizeof(OVChunkInfo));
    return true;
  });
}

void OVStorageChunkTable::rebuildChunkInfoDictionary() {
  const auto* bytes = reinterpret_cast<const char*>(_info.get());
  const std::size_t total = _count * sizeof(OVChunkInfo);
  for (std::uint64_t i = 0; i < _count; ++i) {
    // The key text runs to the first zero byte: past a full 20-character
    // field into the bytes that follow, but never past the record array.
    const std::size_t start = i * sizeof(OVChunkInfo);
    const void* zero = std::memchr(bytes + start, 0, total - start);
    const std::size_t length =
        zero ? static_cast<std::size_t>(static_cast<const char*>(zero) - (bytes + start))
             : total - start;
    std::string text(bytes + start, length);
    if (!isValidUTF8(text)) continue;
    _hashTable[std::move(text)] = i;
  }
}

std::string OVStorageChunkTable::archiveClassName() const { return "OVStorageChunkTable"; }

void OVStorageChunkTable::encodeWithCoder(NSKeyedArchiver& coder) const {
  // A copy of the records in use: the archive never takes the table's array.
  const Data records = _chunkInfoQueue.sync([&] {
    const auto* bytes = reinterpret_cast<const std::uint8_t*>(_info.get());
    return Data(bytes, bytes + _count * sizeof(OVChunkInfo));
  });
  coder.encodeDataForKey(records, "tableData");
}

std::shared_ptr<OVStorageChunkTable> OVStorageChunkTable::initWithCoder(NSKeyedUnarchiver& coder) {
  auto table = std::make_shared<OVStorageChunkTable>(BaseInit{});
  const Data records = coder.decodeDataForKey("tableData").value_or(Data());
  const std::uint64_t count = records.size() / sizeof(OVChunkInfo);
  table->_info = std::make_unique_for_overwrite<OVChunkInfo[]>(count);
  if (count > 0) std::memcpy(table->_info.get(), records.data(), count * sizeof(OVChunkInfo));
  table->_count = count;
  table->_capacity = count;
  table->rebuildChunkInfoDictionary();
  return table;
}

}  // namespace orvane
