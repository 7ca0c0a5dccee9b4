#pragma once

// Binary property lists ("bplist00"): a writer that builds the object table as
// objects are added and lays out the file once at the end, and a reader that
// checks the whole file once and then answers objects by index. Both are
// linear in the size of the property list.
//
// File layout: the 8-byte header, the objects (each a marker byte whose high
// nibble is the type and low nibble a size or count, then its payload), the
// offset table (one big-endian offset per object), and a 32-byte trailer
// (offset size, reference size, object count, top object, offset-table
// position). Collections hold references: object numbers of a fixed size.

#include <algorithm>
#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "orvane/Platform/Foundation/Data.h"

namespace orvane::bplist {

/// Makes room for `extra` more elements, growing at least geometrically so
/// that many small reservations stay linear.
template <class Vector>
void reserveMore(Vector& v, std::size_t extra) {
  if (v.capacity() - v.size() >= extra) return;
  v.reserve(std::max(v.size() + extra, 2 * v.capacity()));
}

/// Number of an object in a property list's object table.
using ObjectRef = std::uint64_t;

class Writer {
 public:
  Writer();
  ~Writer();
  Writer(const Writer&) = delete;
  Writer& operator=(const Writer&) = delete;

  ObjectRef addInteger(std::int64_t value);
  ObjectRef addUID(std::uint64_t value);
  /// A text given as UTF-8: written as ASCII when every byte is ASCII, else as
  /// UTF-16BE. Invalid UTF-8 sequences are written as U+FFFD.
  ObjectRef addString(std::string_view utf8);
  /// The same text object for every call with equal text (for dictionary keys
  /// and other names that recur throughout a property list).
  ObjectRef addUniqueString(std::string_view utf8);
  ObjectRef addData(ByteView bytes);
  ObjectRef addArray(const ObjectRef* items, std::size_t count);
  ObjectRef addArray(const std::vector<ObjectRef>& items) {
    return addArray(items.data(), items.size());
  }
  /// A dictionary of `count` entries: keys[i] -> values[i].
  ObjectRef addDictionary(const ObjectRef* keys, const ObjectRef* values, std::size_t count);

  std::size_t objectCount() const { return entries_.size(); }
  /// Makes room for about this many more objects, leaf bytes and references.
  void reserve(std::size_t objects, std::size_t bytes, std::size_t refs);

  /// The finished property list with `top` as its top object. The writer is
  /// left empty.
  Data finish(ObjectRef top);

  /// The room the calling thread keeps from its last writer for its next one
  /// (at most a few MiB), in bytes.
  static std::size_t spareBytesOnThisThread();

 private:
  enum class Kind : std::uint8_t { Leaf, Array, Dictionary };
  struct Entry {
    std::uint64_t position;  // leaf: offset in out_; collection: index in refs_
    std::uint64_t count;
    Kind kind;
  };
  struct StringHash {
    using is_transparent = void;
    std::size_t operator()(std::string_view s) const noexcept {
      return std::hash<std::string_view>{}(s);
    }
  };

  struct Spare;
  static Spare& spare();

  ObjectRef addLeaf(std::uint64_t position);
  void appendMarker(std::uint8_t type, std::uint64_t count);

  Data out_;                     // header and leaf objects, in the order added
  std::vector<Entry> entries_;   // one per object
  std::vector<ObjectRef> refs_;  // references of the collections
  std::unordered_map<std::string, ObjectRef, StringHash, std::equal_to<>> uniqueStrings_;
  std::array<std::pair<std::string, ObjectRef>, 8> recentStrings_;
  std::size_t recentCount_ = 0;
  std::size_t nextRecent_ = 0;
};

enum class Type : std::uint8_t {
  Null,
  Boolean,
  Integer,
  Real,
  Date,
  Data,
  AsciiString,
  Utf16String,
  UID,
  Array,
  Set,
  Dictionary,
};

/// A checked, read-only view of a binary property list. The viewed bytes must
/// outlive it. Every object reachable from the top has been checked: its
/// payload lies inside the object area, its references name existing objects,
/// no collection contains itself, nesting stays within kMaxDepth, and the
/// objects' payloads together are no larger than the object area.
class Reader {
 public:
  static constexpr std::size_t kMaxDepth = 512;

  /// The reader, or nothing when the bytes are no well-formed binary property
  /// list.
  static std::optional<Reader> parse(ByteView bytes);

  ObjectRef top() const { return top_; }
  std::size_t objectCount() const { return objects_.size(); }

  Type type(ObjectRef ref) const { return objects_[ref].type; }
  /// Integer value; the raw 64 bits for UIDs; the bit pattern for reals and dates.
  std::int64_t integer(ObjectRef ref) const { return static_cast<std::int64_t>(objects_[ref].a); }
  std::uint64_t uid(ObjectRef ref) const { return objects_[ref].a; }
  bool boolean(ObjectRef ref) const { return objects_[ref].a != 0; }
  /// Bytes of a data object, or the raw bytes of a string (ASCII or UTF-16BE).
  ByteView bytes(ObjectRef ref) const;
  /// Number of items of an array or set, of entries of a dictionary, of code
  /// units of a string, of bytes of data.
  std::uint64_t count(ObjectRef ref) const { return objects_[ref].count; }

  /// Item `i` of an array or set.
  ObjectRef item(ObjectRef ref, std::uint64_t i) const { return readRef(objects_[ref].a, i); }
  /// Key and value of entry `i` of a dictionary.
  ObjectRef key(ObjectRef ref, std::uint64_t i) const { return readRef(objects_[ref].a, i); }
  ObjectRef value(ObjectRef ref, std::uint64_t i) const {
    return readRef(objects_[ref].a, objects_[ref].count + i);
  }

  bool isString(ObjectRef ref) const {
    return type(ref) == Type::AsciiString || type(ref) == Type::Utf16String;
  }
  /// A string object's text in UTF-8 (unpaired surrogates become U+FFFD), or
  /// nothing when the object is no string.
  std::optional<std::string> string(ObjectRef ref) const;
  /// True when the object is a string equal to the text.
  bool stringEquals(ObjectRef ref, std::string_view utf8) const;
  /// The value under a string key of a dictionary, or nothing. Walks the
  /// dictionary's keys.
  std::optional<ObjectRef> lookup(ObjectRef dictionary, std::string_view key) const;
  /// For tests: how many dictionary keys lookups on this thread have walked
  /// over (a count of the decoding work).
  static std::uint64_t keysExaminedOnThisThread();

 private:
  struct Object {
    std::uint64_t a;      // value (integer, UID, real bits) or payload offset
    std::uint64_t count;  // items, entries, code units or bytes
    Type type;
    std::uint16_t height = 0;  // collections on the longest way down, itself included
  };

  Reader(ByteView bytes, unsigned refSize, ObjectRef top, std::vector<Object> objects)
      : bytes_(bytes), refSize_(refSize), top_(top), objects_(std::move(objects)) {}

  ObjectRef readRef(std::uint64_t position, std::uint64_t index) const;
  bool checkGraph() const;

  ByteView bytes_;
  unsigned refSize_;
  ObjectRef top_;
  std::vector<Object> objects_;
};

/// Appends the UTF-8 form of UTF-16BE code units; unpaired surrogates become
/// U+FFFD.
void appendUtf16BEAsUtf8(std::string& out, ByteView utf16be);

}  // namespace orvane::bplist
