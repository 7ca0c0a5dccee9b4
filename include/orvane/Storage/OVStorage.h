#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "orvane/Export.h"
#include "orvane/Platform/Foundation/Data.h"
#include "orvane/Platform/Foundation/NSError.h"
#include "orvane/Platform/Foundation/NSKeyedArchiver.h"
#include "orvane/Platform/Foundation/SerialQueue.h"
#include "orvane/Storage/OVStorageChunk.h"

namespace orvane {

class ChunkIndex;
class FileHandle;

/// A file-backed store of byte buffers, each found by a text identifier.
///
/// A store owns one directory (its destination). Items of up to 3 MiB
/// (kFragmentItemLimit bytes) are written one after another into the store's
/// chunk file, named by the store's identifier; a larger item goes into a file
/// of its own named by the item's identifier, and its index entry is the null
/// chunk. The index (item identifier -> OVStorageChunk) lives in memory and
/// becomes durable when the store is archived.
///
/// Identifiers are used as file names as they stand when they are a single
/// safe path component; otherwise the file name is their percent-encoded form
/// (see filePathWithIdentifier), so no identifier names a file outside the
/// store's directory.
///
/// Every use of the index and of the chunk file goes through the store's
/// serial queue. Saving or updating an item of the chunk file (test, write,
/// record) and reading one are one step each; items in files of their own
/// and removals are sequences of steps, so two threads saving the same new
/// large item can both pass the existence test. None of the operations may be
/// called from work already running on the same store's queue.
///
/// Every item saved through saveDataWithIdentifier or updateDataWithIdentifier
/// carries a 64-bit checksum of its bytes, kept in memory beside its chunk. A
/// read whose bytes do not match it answers no data and logs "Warning the
/// chunk file has been damaged.": an index entry may point at bytes that are
/// no longer its item's (a crash after an overwrite in place, two updates of
/// one identifier at once, a chunk file changed behind the store's back, a
/// sibling store's large item of the same name), and those read as damage,
/// never as wrong data. Entries without a checksum (set through
/// addStorageChunkItemWithIdentifier, or from an archive written without
/// checksums) read unchecked, as before.
///
/// The archive of a store holds "destinationPath", "identifier" and
/// "_fragmentChunk" (item identifier -> OVStorageChunk), and beside them
/// "_fragmentChecksums": data holding, for each entry that has a checksum, the
/// identifier's length (4 bytes, little-endian), its bytes and the checksum
/// (8 bytes, little-endian). Archiving pushes the chunk file to disk, so that
/// the bytes the archive points to are durable.
///
/// Failures of file operations answer failure (NO, no data, no chunk) instead
/// of raising, and never leave an index entry pointing at bytes that were not
/// written.
class ORVANE_EXPORT OVStorage : public NSCoding {
 public:
  /// The largest item kept in the chunk file: 3 MiB.
  static constexpr std::uint64_t kFragmentItemLimit = 3145728;

  static bool supportsSecureCoding() noexcept { return true; }
  /// The text's MD5 digest text (32 upper-case hexadecimal characters), or a
  /// fresh UUID text when the text is empty (or has no digest because it is
  /// not UTF-8).
  static std::string makeIdentifierWithString(std::string_view text);
  /// The directory for stores made without a destination: the application
  /// identifier under the user's data directory (its cache directory when
  /// there is none); created when missing.
  static std::string defaultDestinationPath();

  /// A new, empty store in `destination` named `identifier` (a fresh UUID
  /// text when empty). Creates the directory when missing; when that fails,
  /// answers null and fills `error` (when given) with the file system's
  /// reason. An existing chunk file of the same name is emptied.
  static std::shared_ptr<OVStorage> initWithDestinationIdentifierError(std::string_view destination,
                                                                       std::string_view identifier,
                                                                       NSError* error);
  /// A new store named `identifier` in defaultDestinationPath().
  static std::shared_ptr<OVStorage> initWithIdentifier(std::string_view identifier);
  /// A new store with a UUID identifier in `destination`. `error` is never
  /// filled.
  static std::shared_ptr<OVStorage> initWithDestinationError(std::string_view destination,
                                                             NSError* error);
  /// A new store with a UUID identifier in defaultDestinationPath().
  static std::shared_ptr<OVStorage> init();

  /// The store of an archive, keeping the chunk file's bytes as they are;
  /// null when the archive names no store or its chunk file is gone. Index
  /// entries that are not chunks are left out; entries whose bytes the chunk
  /// file does not hold read as no data.
  static std::shared_ptr<OVStorage> initWithCoder(NSKeyedUnarchiver& coder);

  ~OVStorage() override;
  OVStorage(const OVStorage&) = delete;
  OVStorage& operator=(const OVStorage&) = delete;

  const std::string& destinationPath() const noexcept { return _destinationPath; }
  const std::string& identifier() const noexcept { return _identifier; }
  /// destinationPath with the identifier's file name appended as one path
  /// component. The file name is the identifier itself, or its percent-encoded
  /// form (% -> %25, / -> %2F, NUL -> %00; the whole names . and .. -> %2E and
  /// %2E%2E) when it contains one of those characters or is such a name.
  std::string filePathWithIdentifier(std::string_view identifier) const;
  /// The serial queue of the index and the chunk file.
  SerialQueue& accessStorageQueue() const noexcept { return _accessStorageQueue; }

  std::string archiveClassName() const override;
  /// Writes the three values and the checksums, the index while holding the
  /// store's queue, then synchronises the chunk file to disk.
  void encodeWithCoder(NSKeyedArchiver& coder) const override;

  // Items.

  /// Saves a new item. NO when the identifier is already stored (logged as
  /// "Data with identifier(<id>) exists."; nothing is written) or when the
  /// write failed (nothing is recorded).
  bool saveDataWithIdentifier(ByteView data, std::string_view identifier);
  /// Saves or replaces an item; records nothing when the write failed.
  void updateDataWithIdentifier(ByteView data, std::string_view identifier);
  /// Forgets the item and deletes its own file, if it has one. The bytes of an
  /// item in the chunk file stay there as dead space.
  void removeDataWithIdentifier(std::string_view identifier);
  /// The item's bytes, or nothing when it is not stored, its file is missing,
  /// or the chunk file or its own file no longer holds its bytes: fewer bytes
  /// than recorded, or bytes that do not match the item's checksum (logged as
  /// "Warning the chunk file has been damaged.").
  std::optional<Data> dataWithIdentifier(std::string_view identifier) const;
  /// True when the index has an entry for the identifier.
  bool dataWithIdentifierExist(std::string_view identifier) const;
  /// Every item identifier, in no particular order.
  std::vector<std::string> allStorageItemIdentifiers() const;
  /// Deletes every item: the items' own files, every index entry, and the
  /// chunk file's contents.
  void cleanStorage();

  // Lower operations the item operations are built from.

  /// The index entry of the identifier, or nothing.
  std::optional<OVStorageChunk> storageChunkWithIdentifier(std::string_view identifier) const;
  /// Writes the bytes where they belong and answers the chunk to record: the
  /// null chunk for an item in a file of its own, else where the bytes were
  /// written in the chunk file. Nothing when the write failed, or when a large
  /// item would take the store's own identifier and so overwrite the chunk file
  /// (logged as "Data with identifier(<id>) would overwrite the chunk file.").
  std::optional<OVStorageChunk> saveStorageChunkDataWithIdentifier(ByteView data,
                                                                   std::string_view identifier);
  /// Writes the bytes as the whole contents of the file at `path`, replacing it
  /// only once every byte is written and synchronised to disk, and
  /// synchronises the directory after the replacement, so that a recorded
  /// item never points at a file that a power loss can empty. False when that
  /// failed, or when the path is the store's chunk file.
  bool saveStorageChunkDataToFileWithPath(ByteView data, std::string_view path);
  /// Writes the bytes into the chunk file, over the identifier's old bytes when
  /// they are at least as long, else at the end, and answers where. The end is
  /// the file's size when the store opened it, moved on by the store's own
  /// appends: a file cut behind the store's back leaves a gap, never an
  /// overlap with items the store appended since. Does not
  /// record it. Nothing when the write failed; when an overwrite in place failed,
  /// the identifier's entry, whose bytes are then no longer intact, is removed.
  std::optional<OVStorageChunk> saveStorageChunkDataToDefaultFileHandlerWithIdentifier(
      ByteView data, std::string_view identifier);
  /// Sets or replaces the index entry, without a checksum: the item reads
  /// unchecked.
  void addStorageChunkItemWithIdentifier(const OVStorageChunk& chunk, std::string_view identifier);
  /// Removes the index entry, if any.
  void removeStorageChunkItemWithIdentifier(std::string_view identifier);
  /// Deletes the item's own file, if any. Never deletes the store's chunk file.
  void removeStorageChunkFileWithIdentifier(std::string_view identifier);

 private:
  struct Token {};

 public:
  // Made through the initializers above.
  OVStorage(Token, std::string destinationPath, std::string identifier);

 private:
  bool ownsChunkFileName(std::string_view identifier) const noexcept;
  enum class WriteResult { Written, Exists, Failed };
  // Writes an item and records it with the checksum of its bytes; with
  // `onlyNew`, only when the identifier is not stored yet.
  WriteResult writeAndRecord(ByteView data, std::string_view identifier, bool onlyNew);
  // The body of saveStorageChunkDataToDefaultFileHandlerWithIdentifier, run
  // on the queue.
  std::optional<OVStorageChunk> writeToChunkFile(ByteView data, std::string_view identifier);

  std::string _destinationPath;
  std::string _identifier;
  std::unique_ptr<ChunkIndex> _fragmentChunk;  // item identifier -> chunk
  mutable SerialQueue _accessStorageQueue;
  std::unique_ptr<FileHandle> _fragmentChunkFile;
  // Where the next appended item goes: the chunk file's size when it was
  // opened, moved on by every append (guarded by the queue). Kept here rather
  // than asked of the file before each append, which cost a system call per
  // save, a fifth of the write itself.
  std::uint64_t _fragmentChunkEnd = 0;
};

}  // namespace orvane
