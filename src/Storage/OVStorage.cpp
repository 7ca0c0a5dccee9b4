#include "orvane/Storage/OVStorage.h"

#include <algorithm>
#include <filesystem>
#include <utility>

#include "Platform/Foundation/FileHandle.h"
#include "Platform/Foundation/FileSystem.h"
#include "Platform/Foundation/NSUUID.h"
#include "Platform/System/Checksum.h"
#include "Storage/ChunkIndex.h"
#include "orvane/Categories/NSStringMd5.h"
#include "orvane/Platform/Foundation/Environment.h"
#include "orvane/Platform/Foundation/NSLog.h"

namespace orvane {

namespace {

constexpr std::string_view kDamagedMessage = "Warning the chunk file has been damaged.";
constexpr std::string_view kChecksumsKey = "_fragmentChecksums";

void appendLE(Data& out, std::uint64_t value, unsigned bytes) {
  for (unsigned i = 0; i < bytes; ++i) out.push_back(static_cast<std::uint8_t>(value >> (8 * i)));
}

std::uint64_t readLE(const std::uint8_t* p, unsigned bytes) {
  std::uint64_t value = 0;
  for (unsigned i = 0; i < bytes; ++i) value |= static_cast<std::uint64_t>(p[i]) << (8 * i);
  return value;
}

std::filesystem::path fileIn(std::string_view directory, std::string_view identifier) {
  return std::filesystem::path(directory) / fs::safeFileName(identifier);
}

}  // namespace

// Creation.

std::string OVStorage::makeIdentifierWithString(std::string_view text) {
  if (!text.empty()) {
    if (auto digest = NSStringMd5::md5Value(text)) return *digest;
  }
  return makeUUIDString();
}

std::string OVStorage::defaultDestinationPath() {
  std::filesystem::path base = Environment::dataHome();
  if (base.empty()) base = Environment::cacheHome();
  const auto path = base / fs::safeFileName(Environment::applicationIdentifier());
  if (!fs::exists(path)) fs::createDirectories(path);
  return path.string();
}

OVStorage::OVStorage(Token, std::string destinationPath, std::string identifier)
    : _destinationPath(std::move(destinationPath)),
      _identifier(std::move(identifier)),
      _fragmentChunk(std::make_unique<ChunkIndex>()) {}

OVStorage::~OVStorage() = default;

std::shared_ptr<OVStorage> OVStorage::initWithDestinationIdentifierError(
    std::string_view destination, std::string_view identifier, NSError* error) {
  std::string name = identifier.empty() ? makeUUIDString() : std::string(identifier);
  const std::filesystem::path directory(destination);
  if (!fs::exists(directory) && !fs::createDirectories(directory, error)) return nullptr;
  auto storage = std::make_shared<OVStorage>(Token{}, std::string(destination), std::move(name));
  const auto chunkPath = fileIn(storage->_destinationPath, storage->_identifier);
  if (!fs::exists(chunkPath)) fs::createFile(chunkPath, ByteView());
  // A store made by an initializer always starts empty, even over the chunk
  // file of an earlier store of the same name. When the file cannot be opened
  // the store has no chunk file and its writes fail.
  if (auto handle = FileHandle::openForUpdating(chunkPath)) {
    handle->truncate(0);
    storage->_fragmentChunkFile = std::make_unique<FileHandle>(std::move(*handle));
    storage->_fragmentChunkEnd = 0;
  }
  return storage;
}

std::shared_ptr<OVStorage> OVStorage::initWithIdentifier(std::string_view identifier) {
  return initWithDestinationIdentifierError(defaultDestinationPath(), identifier, nullptr);
}

std::shared_ptr<OVStorage> OVStorage::initWithDestinationError(std::string_view destination,
                                                               NSError* /*error*/) {
  return initWithDestinationIdentifierError(destination, {}, nullptr);
}

std::shared_ptr<OVStorage> OVStorage::init() {
  return initWithDestinationIdentifierError(defaultDestinationPath(), {}, nullptr);
}

std::string OVStorage::filePathWithIdentifier(std::string_view identifier) const {
  return fileIn(_destinationPath, identifier).string();
}

// Archiving.

std::string OVStorage::archiveClassName() const { return "OVStorage"; }

void OVStorage::encodeWithCoder(NSKeyedArchiver& coder) const {
  coder.encodeStringForKey(_destinationPath, "destinationPath");
  coder.encodeStringForKey(_identifier, "identifier");
  // The index is written while the queue is held, so that no other thread
  // changes it meanwhile; it goes to the archiver as a flat list (this runs
  // after every update through the manager).
  _accessStorageQueue.sync([&] {
    std::vector<OVStorageChunk> chunks;
    std::vector<NSCodingDictionaryEntry> entries;
    chunks.reserve(_fragmentChunk->size());
    entries.reserve(_fragmentChunk->size());
    _fragmentChunk->forEach([&](std::string_view identifier, const OVStorageChunk& chunk) {
      chunks.push_back(chunk);  // no reallocation: reserved above
      entries.push_back({identifier, &chunks.back()});
    });
    coder.encodeDictionaryForKey(entries, "_fragmentChunk");
    // The checksums go under a key of their own, so that the three keys
    // above stay exactly as readers of the platform's archives expect them.
    Data checksums;
    checksums.reserve(_fragmentChunk->size() * 44);
    _fragmentChunk->forEachChecksum([&](std::string_view identifier, std::uint64_t checksum) {
      appendLE(checksums, identifier.size(), 4);
      checksums.insert(checksums.end(), identifier.begin(), identifier.end());
      appendLE(checksums, checksum, 8);
    });
    coder.encodeDataForKey(checksums, kChecksumsKey);
  });
  if (_fragmentChunkFile) _fragmentChunkFile->synchronize();
}

std::shared_ptr<OVStorage> OVStorage::initWithCoder(NSKeyedUnarchiver& coder) {
  auto destination = coder.decodeStringForKey("destinationPath");
  auto identifier = coder.decodeStringForKey("identifier");
  // Without both texts there is no chunk file to find; an empty identifier
  // would name the directory itself.
  if (!destination || !identifier || identifier->empty()) return nullptr;
  const auto chunkPath = fileIn(*destination, *identifier);
  if (!fs::exists(chunkPath)) return nullptr;
  auto storage =
      std::make_shared<OVStorage>(Token{}, std::move(*destination), std::move(*identifier));
  // Straight into the index: the archive's keys come in no particular order,
  // and a sorted dictionary in between would cost more than the decoding.
  coder.decodeDictionaryEntriesForKey(
      "_fragmentChunk", [&](std::string&& itemIdentifier, std::shared_ptr<NSCoding>&& object) {
        if (const auto* chunk = dynamic_cast<const OVStorageChunk*>(object.get())) {
          storage->_fragmentChunk->set(itemIdentifier, *chunk);
        }
      });
  // Archives written without checksums have none: their items read unchecked.
  // A record cut short ends the list.
  if (auto checksums = coder.decodeDataForKey(kChecksumsKey)) {
    const std::uint8_t* p = checksums->data();
    std::size_t left = checksums->size();
    while (left >= 4) {
      const std::uint64_t size = readLE(p, 4);
      if (left - 4 < size || left - 4 - size < 8) break;
      const std::string_view itemIdentifier(reinterpret_cast<const char*>(p + 4), size);
      storage->_fragmentChunk->setChecksum(itemIdentifier, readLE(p + 4 + size, 8));
      p += 12 + size;
      left -= 12 + size;
    }
  }
  if (auto handle = FileHandle::openForUpdating(chunkPath)) {
    if (auto end = handle->seekToEndOfFile()) {
      storage->_fragmentChunkFile = std::make_unique<FileHandle>(std::move(*handle));
      storage->_fragmentChunkEnd = *end;
    }
  }
  return storage;
}

bool OVStorage::ownsChunkFileName(std::string_view identifier) const noexcept {
  return identifier == _identifier;
}

// Lower operations.

std::optional<OVStorageChunk> OVStorage::storageChunkWithIdentifier(
    std::string_view identifier) const {
  return _accessStorageQueue.sync(
      [&]() -> std::optional<OVStorageChunk> { return _fragmentChunk->find(identifier); });
}

std::optional<OVStorageChunk> OVStorage::saveStorageChunkDataWithIdentifier(
    ByteView data, std::string_view identifier) {
  if (data.size() > kFragmentItemLimit) {
    // Writing to the item's own file refuses the store's chunk file.
    if (!saveStorageChunkDataToFileWithPath(data, filePathWithIdentifier(identifier))) {
      return std::nullopt;
    }
    return OVStorageChunk::nullStorageChunk();
  }
  return saveStorageChunkDataToDefaultFileHandlerWithIdentifier(data, identifier);
}

bool OVStorage::saveStorageChunkDataToFileWithPath(ByteView data, std::string_view path) {
  const std::filesystem::path target(path);
  if (target.lexically_normal() == fileIn(_destinationPath, _identifier).lexically_normal()) {
    NSLog("Data with identifier(" + _identifier + ") would overwrite the chunk file.");
    return false;
  }
  // The new contents replace the file only once all of them are written, so a
  // failed write leaves the old item whole.
  return fs::createFile(target, data);
}

std::optional<OVStorageChunk> OVStorage::saveStorageChunkDataToDefaultFileHandlerWithIdentifier(
    ByteView data, std::string_view identifier) {
  return _accessStorageQueue.sync([&] { return writeToChunkFile(data, identifier); });
}

std::optional<OVStorageChunk> OVStorage::writeToChunkFile(ByteView data,
                                                          std::string_view identifier) {
  const auto length = static_cast<std::int64_t>(data.size());
  if (!_fragmentChunkFile) return std::nullopt;
  const auto existing = _fragmentChunk->find(identifier);
  // An entry with a negative offset or length (from a damaged archive) has
  // no region that could be reused.
  if (existing && existing->offset() >= 0 && existing->length() >= 0 &&
      static_cast<std::uint64_t>(existing->length()) >= data.size()) {
    const std::int64_t offset = existing->offset();
    if (!_fragmentChunkFile->writeAt(static_cast<std::uint64_t>(offset), data)) {
      // The old bytes may be partly overwritten: the entry no longer
      // describes an intact item.
      _fragmentChunk->erase(identifier);
      return std::nullopt;
    }
    // Over a region of a file cut behind the store's back, the write may
    // extend the file.
    _fragmentChunkEnd =
        std::max(_fragmentChunkEnd, static_cast<std::uint64_t>(offset) + data.size());
    return OVStorageChunk(offset, length);
  }
  const std::uint64_t end = _fragmentChunkEnd;
  if (!_fragmentChunkFile->writeAt(end, data)) {
    _fragmentChunkFile->truncate(end);  // drop a partly written tail
    return std::nullopt;
  }
  _fragmentChunkEnd = end + data.size();
  return OVStorageChunk(static_cast<std::int64_t>(end), length);
}

void OVStorage::addStorageChunkItemWithIdentifier(const OVStorageChunk& chunk,
                                                  std::string_view identifier) {
  _accessStorageQueue.sync([&] { _fragmentChunk->set(identifier, chunk); });
}

void OVStorage::removeStorageChunkItemWithIdentifier(std::string_view identifier) {
  _accessStorageQueue.sync([&] { _fragmentChunk->erase(identifier); });
}

void OVStorage::removeStorageChunkFileWithIdentifier(std::string_view identifier) {
  // An empty item first in the chunk file is recorded as the null chunk, like
  // an item in a file of its own; under the store's own identifier its "file"
  // would be the chunk file.
  if (ownsChunkFileName(identifier)) return;
  const auto path = fileIn(_destinationPath, identifier);
  if (fs::exists(path)) fs::removeFile(path);
}

// Items.

OVStorage::WriteResult OVStorage::writeAndRecord(ByteView data, std::string_view identifier,
                                                bool onlyNew) {
  if (data.size() > kFragmentItemLimit) {
    if (onlyNew && storageChunkWithIdentifier(identifier)) return WriteResult::Exists;
    auto chunk = saveStorageChunkDataWithIdentifier(data, identifier);
    if (!chunk) return WriteResult::Failed;
    const std::uint64_t checksum = itemChecksum(data);
    _accessStorageQueue.sync([&] { _fragmentChunk->set(identifier, *chunk, checksum); });
    return WriteResult::Written;
  }
  // An item of the chunk file is tested for, written and recorded in one
  // step on the queue: two updates of one identifier at once then never
  // record one's length over the other's bytes, and a save costs one turn of
  // the queue. The sum is taken after the write, while the bytes the write
  // has just read are still in the processor's cache: before it, it would
  // fetch them from memory, which costs twice as much.
  return _accessStorageQueue.sync([&] {
    if (onlyNew && _fragmentChunk->find(identifier)) return WriteResult::Exists;
    auto chunk = writeToChunkFile(data, identifier);
    if (!chunk) return WriteResult::Failed;
    _fragmentChunk->set(identifier, *chunk, itemChecksum(data));
    return WriteResult::Written;
  });
}

bool OVStorage::saveDataWithIdentifier(ByteView data, std::string_view identifier) {
  const WriteResult result = writeAndRecord(data, identifier, true);
  if (result == WriteResult::Exists)
    NSLog("Data with identifier(" + std::string(identifier) + ") exists.");
  return result == WriteResult::Written;
}

void OVStorage::updateDataWithIdentifier(ByteView data, std::string_view identifier) {
  writeAndRecord(data, identifier, false);
}

bool OVStorage::dataWithIdentifierExist(std::string_view identifier) const {
  return storageChunkWithIdentifier(identifier).has_value();
}

void OVStorage::removeDataWithIdentifier(std::string_view identifier) {
  auto chunk = storageChunkWithIdentifier(identifier);
  if (!chunk) return;
  removeStorageChunkItemWithIdentifier(identifier);
  if (chunk->nullChunk()) removeStorageChunkFileWithIdentifier(identifier);
}

std::optional<Data> OVStorage::dataWithIdentifier(std::string_view identifier) const {
  // One step on the queue finds the entry and reads its bytes from the chunk
  // file; an item in a file of its own is read outside the queue.
  std::optional<ChunkEntry> entry;
  auto bytes = _accessStorageQueue.sync([&]() -> std::optional<Data> {
    entry = _fragmentChunk->findEntry(identifier);
    if (!entry || entry->chunk.nullChunk()) return std::nullopt;
    const OVStorageChunk& chunk = entry->chunk;
    if (!_fragmentChunkFile || chunk.offset() < 0 || chunk.length() < 0) return std::nullopt;
    const auto offset = static_cast<std::uint64_t>(chunk.offset());
    const auto length = static_cast<std::uint64_t>(chunk.length());
    // Lengths the store writes are bounded; a larger one (from a damaged
    // archive) is read only as far as the file goes.
    return length <= kFragmentItemLimit ? _fragmentChunkFile->readUpToAt(offset, length)
                                        : _fragmentChunkFile->readAt(offset, length);
  });
  if (!entry) return std::nullopt;
  if (entry->chunk.nullChunk()) {
    if (ownsChunkFileName(identifier)) return std::nullopt;  // never an item file
    bytes = fs::readAll(fileIn(_destinationPath, identifier));
    if (!bytes) return std::nullopt;  // a missing file is no damage
  } else if (!bytes || bytes->size() != static_cast<std::uint64_t>(entry->chunk.length())) {
    NSLog(kDamagedMessage);
    return std::nullopt;
  }
  if (entry->checksum && itemChecksum(*bytes) != *entry->checksum) {
    NSLog(kDamagedMessage);
    return std::nullopt;
  }
  return bytes;
}

std::vector<std::string> OVStorage::allStorageItemIdentifiers() const {
  return _accessStorageQueue.sync([&] {
    std::vector<std::string> identifiers;
    identifiers.reserve(_fragmentChunk->size());
    _fragmentChunk->forEach([&](std::string_view identifier, const OVStorageChunk&) {
      identifiers.emplace_back(identifier);
    });
    return identifiers;
  });
}

void OVStorage::cleanStorage() {
  _accessStorageQueue.sync([&] {
    _fragmentChunk->forEach([&](std::string_view identifier, const OVStorageChunk& chunk) {
      if (chunk.nullChunk()) removeStorageChunkFileWithIdentifier(identifier);
    });
    _fragmentChunk->clear();
    if (_fragmentChunkFile && _fragmentChunkFile->truncate(0)) _fragmentChunkEnd = 0;
  });
}

}  // namespace orvane
