#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "orvane/Export.h"
#include "orvane/Platform/Foundation/Data.h"

namespace orvane {

class NSKeyedArchiver;
class NSKeyedUnarchiver;

/// An object that can write itself into a keyed archive. Decoding goes through
/// a factory registered under the same class name (NSKeyedUnarchiver::registerClass).
class ORVANE_EXPORT NSCoding {
 public:
  virtual ~NSCoding() = default;
  /// The class name recorded in the archive ("OVStorage", "OVStorageChunk", ...).
  virtual std::string archiveClassName() const = 0;
  /// The class chain recorded in the archive's $classes, most derived first;
  /// by default the class name followed by "NSObject".
  virtual std::vector<std::string> archiveClassHierarchy() const {
    return {archiveClassName(), "NSObject"};
  }
  /// Writes the object's values under its keys.
  virtual void encodeWithCoder(NSKeyedArchiver& coder) const = 0;
};

/// A dictionary of text to archivable object, archived as the platform's
/// NSMutableDictionary (NS.keys / NS.objects).
using NSCodingDictionary = std::map<std::string, std::shared_ptr<const NSCoding>>;

/// One entry of a dictionary handed to the archiver as a flat list: a text key
/// and the object under it (null for the platform's nil). Both must outlive
/// the encoding call.
struct NSCodingDictionaryEntry {
  std::string_view key;
  const NSCoding* value;
};

/// Writes a keyed archive: a binary property list in the platform's keyed
/// archive layout ($archiver "NSKeyedArchiver", $version 100000, $top with the
/// root, $objects starting with "$null"), which any property-list tool reads.
/// Encoding is linear in the number of objects. An object that encodes an
/// object still being encoded (itself, say) gets a reference to its entry, as
/// the platform writes a cycle; the unarchiver does not follow such references.
class ORVANE_EXPORT NSKeyedArchiver {
 public:
  NSKeyedArchiver();
  ~NSKeyedArchiver();
  NSKeyedArchiver(const NSKeyedArchiver&) = delete;
  NSKeyedArchiver& operator=(const NSKeyedArchiver&) = delete;

  /// The archive of an object graph with `root` at its top.
  static Data archivedDataWithRootObject(const NSCoding& root);
  /// The archive of a dictionary of text to object at its top.
  static Data archivedDataWithRootDictionary(const NSCodingDictionary& root);

  // Within encodeWithCoder: values of the object being encoded, under keys.
  void encodeInt64ForKey(std::int64_t value, std::string_view key);
  void encodeStringForKey(std::string_view value, std::string_view key);
  void encodeDataForKey(ByteView value, std::string_view key);
  void encodeObjectForKey(const NSCoding& object, std::string_view key);
  void encodeDictionaryForKey(const NSCodingDictionary& dictionary, std::string_view key);
  /// The same for a dictionary given as a list of distinct keys, in any order:
  /// no tree and no shared objects to build, for large indexes archived often.
  void encodeDictionaryForKey(std::span<const NSCodingDictionaryEntry> entries,
                              std::string_view key);

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

/// Reads a keyed archive written by NSKeyedArchiver or by the platform's own
/// archiver. Every offset, reference, count and length is checked against the
/// bytes; malformed input gives no object, never a crash, a hang or an
/// unbounded allocation. One entry of $objects decodes to one object however
/// often it is referred to; a reference back to an object still being decoded
/// gives no object, and so do objects nested more than 64 deep.
class ORVANE_EXPORT NSKeyedUnarchiver {
 public:
  /// Makes an object of a registered class from the unarchiver positioned on
  /// its values; null when the values do not make a valid object.
  using Factory = std::function<std::shared_ptr<NSCoding>(NSKeyedUnarchiver& coder)>;

  /// Registers the factory for a class name. Thread-safe; a later
  /// registration of the same name replaces the earlier one.
  static void registerClass(const std::string& className, Factory factory);

  /// The root object (plain decoding, no class check), or null when the
  /// bytes are no archive or the root is not a registered class.
  static std::shared_ptr<NSCoding> unarchiveObjectWithData(ByteView data);
  /// The root object when it is of class T, else null.
  template <class T>
  static std::shared_ptr<T> unarchivedObjectOfClassFromData(ByteView data) {
    return std::dynamic_pointer_cast<T>(unarchiveObjectWithData(data));
  }
  /// The root dictionary of text to object; nothing when the root is not one.
  /// Entries whose value cannot be decoded are left out.
  static std::optional<std::map<std::string, std::shared_ptr<NSCoding>>>
  unarchiveDictionaryWithData(ByteView data);

  // Within a factory: values of the object being decoded.
  bool containsValueForKey(std::string_view key) const;
  /// The integer under the key; 0 when absent or not an integer.
  std::int64_t decodeInt64ForKey(std::string_view key);
  /// The text under the key; nothing when absent or not a text.
  std::optional<std::string> decodeStringForKey(std::string_view key);
  /// The bytes under the key; nothing when absent or not data.
  std::optional<Data> decodeDataForKey(std::string_view key);
  /// The object under the key (plain decoding, no class check); null when
  /// absent or not a registered class.
  std::shared_ptr<NSCoding> decodeObjectForKey(std::string_view key);
  /// The object under the key when it is of class T, else null.
  template <class T>
  std::shared_ptr<T> decodeObjectOfClassForKey(std::string_view key) {
    return std::dynamic_pointer_cast<T>(decodeObjectForKey(key));
  }
  /// The dictionary of text to object under the key; nothing when absent or
  /// not a dictionary. Entries whose value cannot be decoded are left out.
  std::optional<std::map<std::string, std::shared_ptr<NSCoding>>> decodeDictionaryForKey(
      std::string_view key);
  /// Hands each entry of the dictionary under the key to `visit`, in the
  /// archive's order, without building a dictionary; entries whose value
  /// cannot be decoded are skipped. False when there is no dictionary there.
  bool decodeDictionaryEntriesForKey(
      std::string_view key,
      const std::function<void(std::string&& key, std::shared_ptr<NSCoding>&& value)>& visit);

  ~NSKeyedUnarchiver();
  NSKeyedUnarchiver(const NSKeyedUnarchiver&) = delete;
  NSKeyedUnarchiver& operator=(const NSKeyedUnarchiver&) = delete;

 private:
  struct Impl;
  explicit NSKeyedUnarchiver(std::unique_ptr<Impl> impl);
  std::unique_ptr<Impl> impl_;
};

}  // namespace orvane
