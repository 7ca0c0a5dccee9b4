#include "orvane/Platform/Foundation/NSKeyedArchiver.h"

#include <algorithm>
#include <mutex>
#include <unordered_map>

#include "BinaryPropertyList.h"

namespace orvane {

namespace {

using bplist::ObjectRef;

constexpr std::string_view kArchiverName = "NSKeyedArchiver";
constexpr std::int64_t kArchiveVersion = 100000;
constexpr std::string_view kRootKey = "root";
constexpr std::string_view kClassKey = "$class";
constexpr std::string_view kDictionaryClass = "NSMutableDictionary";

// Keys the coder itself uses start with '$'; an object's own key starting
// with '$' is written with one more '$' in front, as the platform does.
std::string_view escapedKey(std::string_view key, std::string& scratch) {
  if (key.empty() || key.front() != '$') return key;
  scratch.resize(key.size() + 1);
  scratch[0] = '$';
  key.copy(scratch.data() + 1, key.size());
  return scratch;
}

}  // namespace

// ------------------------------------------------------------ NSKeyedArchiver

struct NSKeyedArchiver::Impl {
  explicit Impl(NSKeyedArchiver& owner) : owner(owner) {
    objects.push_back(writer.addString("$null"));
  }

  NSKeyedArchiver& owner;
  bplist::Writer writer;
  // Property-list object of each $objects entry; the index is the UID.
  std::vector<ObjectRef> objects;
  // Keys and values of the objects being encoded, innermost last; the entries
  // before the first object's belong to $top.
  std::vector<ObjectRef> pendingKeys;
  std::vector<ObjectRef> pendingValues;
  // Objects being encoded, with their UIDs: an object met again while it is
  // still being encoded is referred to by its UID instead of recursing.
  std::vector<std::pair<const NSCoding*, std::uint64_t>> inProgress;
  // Class name -> the UID object that points at its class record.
  std::unordered_map<std::string, ObjectRef> classReferences;
  // Collected references and entries of dictionaries being encoded (both
  // used like stacks).
  std::vector<ObjectRef> scratch;
  struct Entry {
    std::string_view key;
    const NSCoding* value;
  };
  std::vector<Entry> entries;
  std::string keyScratch;
  static constexpr ObjectRef kNoReference = ~ObjectRef{0};
  std::string lastClassName;
  ObjectRef lastClassReference = kNoReference;
  ObjectRef classKey = kNoReference;

  std::uint64_t reserveUid() {
    objects.push_back(0);
    return objects.size() - 1;
  }

  void addPair(std::string_view key, ObjectRef value) {
    pendingKeys.push_back(writer.addUniqueString(escapedKey(key, keyScratch)));
    pendingValues.push_back(value);
  }

  ObjectRef classReference(const std::string& name,
                           const std::function<std::vector<std::string>()>& hierarchy) {
    if (const auto it = classReferences.find(name); it != classReferences.end()) return it->second;
    const std::uint64_t uid = reserveUid();
    std::vector<ObjectRef> classes;
    for (const std::string& c : hierarchy()) classes.push_back(writer.addUniqueString(c));
    const ObjectRef keys[2] = {writer.addUniqueString("$classname"),
                               writer.addUniqueString("$classes")};
    const ObjectRef values[2] = {writer.addUniqueString(name), writer.addArray(classes)};
    objects[uid] = writer.addDictionary(keys, values, 2);
    const ObjectRef ref = writer.addUID(uid);
    classReferences.emplace(name, ref);
    return ref;
  }

  std::uint64_t encodeString(std::string_view text) {
    const std::uint64_t uid = reserveUid();
    objects[uid] = writer.addString(text);
    return uid;
  }

  std::uint64_t encodeData(ByteView bytes) {
    const std::uint64_t uid = reserveUid();
    objects[uid] = writer.addData(bytes);
    return uid;
  }

  // Writes the pending entries from `first` on, plus $class, as the object
  // dictionary of `uid`.
  void closeObject(std::uint64_t uid, std::size_t first, ObjectRef classRef) {
    if (classKey == kNoReference) classKey = writer.addUniqueString(kClassKey);
    pendingKeys.push_back(classKey);
    pendingValues.push_back(classRef);
    objects[uid] = writer.addDictionary(&pendingKeys[first], &pendingValues[first],
                                        pendingKeys.size() - first);
    pendingKeys.resize(first);
    pendingValues.resize(first);
  }

  std::uint64_t encodeObject(const NSCoding& object) {
    for (const auto& [o, uid] : inProgress)
      if (o == &object) return uid;
    const std::uint64_t uid = reserveUid();
    inProgress.emplace_back(&object, uid);
    const std::size_t first = pendingKeys.size();
    object.encodeWithCoder(owner);
    // Runs of objects of one class are the common case: compare with the last.
    std::string name = object.archiveClassName();
    if (name != lastClassName || lastClassReference == kNoReference) {
      lastClassReference = classReference(name, [&] { return object.archiveClassHierarchy(); });
      lastClassName = std::move(name);
    }
    closeObject(uid, first, lastClassReference);
    inProgress.pop_back();
    return uid;
  }

  std::uint64_t encodeDictionary(const NSCodingDictionary& dictionary) {
    const std::size_t n = dictionary.size();
    // One walk over the tree that keeps where each key's bytes and each value
    // are; then plain loops over that list, fetching what entry i + k points
    // at ahead of time. The tree's nodes may lie anywhere in memory, so it is
    // walked from both ends at once: two independent chains of loads.
    const std::size_t firstEntry = entries.size();
    entries.resize(firstEntry + n);
    Entry* list = entries.data() + firstEntry;
    auto forward = dictionary.begin();
    auto backward = dictionary.end();
    std::size_t low = 0;
    std::size_t high = n;
    while (high - low >= 2) {
      --backward;
      list[low++] = {forward->first, forward->second.get()};
      list[--high] = {backward->first, backward->second.get()};
      ++forward;
    }
    if (low < high) list[low] = {forward->first, forward->second.get()};
    return encodeListedDictionary(firstEntry);
  }

  std::uint64_t encodeDictionary(std::span<const NSCodingDictionaryEntry> list) {
    const std::size_t firstEntry = entries.size();
    entries.reserve(firstEntry + list.size());
    for (const NSCodingDictionaryEntry& e : list) entries.push_back({e.key, e.value});
    return encodeListedDictionary(firstEntry);
  }

  // Encodes the entries from `firstEntry` to the end of `entries` as one
  // dictionary object, and drops them from the list.
  std::uint64_t encodeListedDictionary(std::size_t firstEntry) {
    const std::uint64_t uid = reserveUid();
    const std::size_t n = entries.size() - firstEntry;
    // Each entry makes about six objects: key text, key UID, value object,
    // its two integers and its UID.
    writer.reserve(6 * n, 64 * n, 8 * n);
    bplist::reserveMore(objects, 2 * n);
    constexpr std::size_t kAhead = 16;
    const std::size_t first = scratch.size();
    for (std::size_t i = 0; i < n; ++i) {
      if (i + kAhead < n) __builtin_prefetch(entries[firstEntry + i + kAhead].key.data());
      scratch.push_back(writer.addUID(encodeString(entries[firstEntry + i].key)));
    }
    for (std::size_t i = 0; i < n; ++i) {
      if (i + kAhead < n) __builtin_prefetch(entries[firstEntry + i + kAhead].value);
      const NSCoding* value = entries[firstEntry + i].value;
      // A null value stands for the platform's nil: the $null entry.
      const std::uint64_t valueUid = value ? encodeObject(*value) : 0;
      scratch.push_back(writer.addUID(valueUid));
    }
    entries.resize(firstEntry);
    const ObjectRef keysArray = writer.addArray(scratch.data() + first, n);
    const ObjectRef objectsArray = writer.addArray(scratch.data() + first + n, n);
    scratch.resize(first);

    const std::size_t pendingFirst = pendingKeys.size();
    addPair("NS.keys", keysArray);
    addPair("NS.objects", objectsArray);
    const ObjectRef classRef = classReference(std::string(kDictionaryClass), [] {
      return std::vector<std::string>{"NSMutableDictionary", "NSDictionary", "NSObject"};
    });
    closeObject(uid, pendingFirst, classRef);
    return uid;
  }

  // The archive with $top holding the pending top-level entries.
  Data finish() {
    const ObjectRef topDictionary =
        writer.addDictionary(pendingKeys.data(), pendingValues.data(), pendingKeys.size());
    const ObjectRef objectsArray = writer.addArray(objects);
    const ObjectRef keys[4] = {writer.addUniqueString("$version"),
                               writer.addUniqueString("$archiver"), writer.addUniqueString("$top"),
                               writer.addUniqueString("$objects")};
    const ObjectRef values[4] = {writer.addInteger(kArchiveVersion),
                                 writer.addUniqueString(kArchiverName), topDictionary,
                                 objectsArray};
    return writer.finish(writer.addDictionary(keys, values, 4));
  }
};

NSKeyedArchiver::NSKeyedArchiver() : impl_(std::make_unique<Impl>(*this)) {}
NSKeyedArchiver::~NSKeyedArchiver() = default;

Data NSKeyedArchiver::archivedDataWithRootObject(const NSCoding& root) {
  NSKeyedArchiver archiver;
  archiver.encodeObjectForKey(root, kRootKey);
  return archiver.impl_->finish();
}

Data NSKeyedArchiver::archivedDataWithRootDictionary(const NSCodingDictionary& root) {
  NSKeyedArchiver archiver;
  archiver.encodeDictionaryForKey(root, kRootKey);
  return archiver.impl_->finish();
}

void NSKeyedArchiver::encodeInt64ForKey(std::int64_t value, std::string_view key) {
  impl_->addPair(key, impl_->writer.addInteger(value));
}

void NSKeyedArchiver::encodeStringForKey(std::string_view value, std::string_view key) {
  impl_->addPair(key, impl_->writer.addUID(impl_->encodeString(value)));
}

void NSKeyedArchiver::encodeDataForKey(ByteView value, std::string_view key) {
  impl_->addPair(key, impl_->writer.addUID(impl_->encodeData(value)));
}

void NSKeyedArchiver::encodeObjectForKey(const NSCoding& object, std::string_view key) {
  impl_->addPair(key, impl_->writer.addUID(impl_->encodeObject(object)));
}

void NSKeyedArchiver::encodeDictionaryForKey(const NSCodingDictionary& dictionary,
                                             std::string_view key) {
  impl_->addPair(key, impl_->writer.addUID(impl_->encodeDictionary(dictionary)));
}

void NSKeyedArchiver::encodeDictionaryForKey(std::span<const NSCodingDictionaryEntry> entries,
                                             std::string_view key) {
  impl_->addPair(key, impl_->writer.addUID(impl_->encodeDictionary(entries)));
}

// ---------------------------------------------------------- NSKeyedUnarchiver

namespace {

struct Registry {
  std::mutex mutex;
  std::unordered_map<std::string, NSKeyedUnarchiver::Factory> factories;
};

Registry& registry() {
  static Registry r;
  return r;
}

NSKeyedUnarchiver::Factory factoryFor(const std::string& className) {
  Registry& r = registry();
  const std::lock_guard lock(r.mutex);
  const auto it = r.factories.find(className);
  return it == r.factories.end() ? nullptr : it->second;
}

}  // namespace

struct NSKeyedUnarchiver::Impl {
  // Objects nested deeper than this are not decoded.
  static constexpr unsigned kMaxDepth = 64;

  enum class ClassKind : std::uint8_t { Other, Dictionary, String, Data };
  struct ClassInfo {
    ClassKind kind = ClassKind::Other;
    Factory factory;
  };
  enum DecodeState : std::uint8_t { kUntouched, kDecoding, kDecoded };

  Impl(bplist::Reader reader, ObjectRef objectsArray, ObjectRef top, std::size_t inputSize)
      : plist(std::move(reader)),
        objectsArray(objectsArray),
        objectCount(plist.count(objectsArray)),
        current(top),
        // Texts, data and dictionary entries handed out may together be some
        // multiple of the archive's size, however often an archive refers to
        // the same large object.
        budget(16 * static_cast<std::uint64_t>(inputSize) + (1u << 20)) {}

  static std::unique_ptr<Impl> open(ByteView data) {
    auto reader = bplist::Reader::parse(data);
    if (!reader) return nullptr;
    const ObjectRef top = reader->top();
    const auto archiver = reader->lookup(top, "$archiver");
    if (!archiver || !reader->stringEquals(*archiver, kArchiverName)) return nullptr;
    const auto objects = reader->lookup(top, "$objects");
    const auto topDictionary = reader->lookup(top, "$top");
    if (!objects || reader->type(*objects) != bplist::Type::Array) return nullptr;
    if (!topDictionary || reader->type(*topDictionary) != bplist::Type::Dictionary) return nullptr;
    return std::make_unique<Impl>(std::move(*reader), *objects, *topDictionary, data.size());
  }

  bplist::Reader plist;
  ObjectRef objectsArray;
  std::uint64_t objectCount;
  ObjectRef current;  // dictionary of the object being decoded
  unsigned depth = 0;
  std::uint64_t budget;
  std::vector<std::uint8_t> states;
  std::vector<std::shared_ptr<NSCoding>> decoded;
  std::unordered_map<std::uint64_t, ClassInfo> classes;  // by UID of the class record
  std::unordered_map<ObjectRef, const ClassInfo*> classOfLargeObject;
  const ClassInfo* lastClass = nullptr;                  // entries of the map stay where they are
  std::uint64_t lastClassUid = 0;
  std::string keyScratch;

  bool spend(std::uint64_t amount) {
    if (amount > budget) {
      budget = 0;
      return false;
    }
    budget -= amount;
    return true;
  }

  // The value under a key of a dictionary. A lookup walks the dictionary's
  // keys, so its cost is charged to the budget: an object with many keys
  // that the archive refers to again and again cannot make decoding
  // quadratic in the input.
  std::optional<ObjectRef> lookup(ObjectRef dictionary, std::string_view key) {
    if (plist.type(dictionary) != bplist::Type::Dictionary) return std::nullopt;
    if (!spend(plist.count(dictionary))) return std::nullopt;
    return plist.lookup(dictionary, key);
  }

  std::optional<ObjectRef> valueForKey(std::string_view key) {
    return lookup(current, escapedKey(key, keyScratch));
  }

  // The $objects entry a UID value names; nothing for $null, for UIDs out of
  // range and for values that are no UID.
  std::optional<ObjectRef> referencedObject(ObjectRef value) const {
    if (plist.type(value) != bplist::Type::UID) return std::nullopt;
    const std::uint64_t uid = plist.uid(value);
    if (uid == 0 || uid >= objectCount) return std::nullopt;
    return plist.item(objectsArray, uid);
  }

  // The class of an object dictionary. Objects with more keys than the
  // archiver ever writes are looked at once, however often they are referred
  // to (as the key of every entry of a dictionary, say).
  const ClassInfo* classOf(ObjectRef object) {
    if (plist.type(object) != bplist::Type::Dictionary) return nullptr;
    constexpr std::uint64_t kFewKeys = 16;
    if (plist.count(object) <= kFewKeys) return findClassOf(object);
    if (const auto it = classOfLargeObject.find(object); it != classOfLargeObject.end())
      return it->second;
    const ClassInfo* info = findClassOf(object);
    classOfLargeObject.emplace(object, info);
    return info;
  }

  const ClassInfo* findClassOf(ObjectRef object) {
    const auto classValue = lookup(object, kClassKey);
    if (!classValue || plist.type(*classValue) != bplist::Type::UID) return nullptr;
    const std::uint64_t uid = plist.uid(*classValue);
    if (lastClass != nullptr && uid == lastClassUid) return lastClass;
    lastClassUid = uid;
    if (const auto it = classes.find(uid); it != classes.end()) return lastClass = &it->second;
    ClassInfo info;
    if (const auto record = referencedObject(*classValue)) {
      const auto nameValue = lookup(*record, "$classname");
      const auto name = nameValue ? plist.string(*nameValue) : std::nullopt;
      if (name) {
        auto inChain = [&](std::string_view wanted) {
          if (*name == wanted) return true;
          const auto chain = lookup(*record, "$classes");
          if (!chain || plist.type(*chain) != bplist::Type::Array) return false;
          for (std::uint64_t i = 0; i < plist.count(*chain); ++i)
            if (plist.stringEquals(plist.item(*chain, i), wanted)) return true;
          return false;
        };
        if (inChain("NSDictionary"))
          info.kind = ClassKind::Dictionary;
        else if (inChain("NSString"))
          info.kind = ClassKind::String;
        else if (inChain("NSData"))
          info.kind = ClassKind::Data;
        info.factory = factoryFor(*name);
      }
    }
    return lastClass = &classes.emplace(uid, std::move(info)).first->second;
  }

  // A text: a string object, or an NSString / NSMutableString object holding one.
  std::optional<std::string> stringOf(ObjectRef object) {
    if (!plist.isString(object)) {
      const ClassInfo* info = classOf(object);
      if (!info || info->kind != ClassKind::String) return std::nullopt;
      const auto inner = lookup(object, "NS.string");
      if (!inner || !plist.isString(*inner)) return std::nullopt;
      object = *inner;
    }
    if (!spend(plist.bytes(object).size() + 1)) return std::nullopt;
    return plist.string(object);
  }

  std::optional<Data> dataOf(ObjectRef object) {
    if (plist.type(object) != bplist::Type::Data) {
      const ClassInfo* info = classOf(object);
      if (!info || info->kind != ClassKind::Data) return std::nullopt;
      const auto inner = lookup(object, "NS.data");
      if (!inner || plist.type(*inner) != bplist::Type::Data) return std::nullopt;
      object = *inner;
    }
    const ByteView bytes = plist.bytes(object);
    if (!spend(bytes.size() + 1)) return std::nullopt;
    return Data(bytes.begin(), bytes.end());
  }

  // Runs `body` with `object` as the current object, one level deeper.
  template <class Body>
  auto nested(ObjectRef object, Body&& body) {
    struct Restore {
      Impl& impl;
      ObjectRef saved;
      ~Restore() {
        impl.current = saved;
        --impl.depth;
      }
    } restore{*this, current};
    current = object;
    ++depth;
    return body();
  }

  std::shared_ptr<NSCoding> decodeObject(ObjectRef value, NSKeyedUnarchiver& coder) {
    if (plist.type(value) != bplist::Type::UID) return nullptr;
    const std::uint64_t uid = plist.uid(value);
    if (uid == 0 || uid >= objectCount) return nullptr;
    if (states.empty()) {
      states.assign(objectCount, kUntouched);
      decoded.resize(objectCount);
    }
    // Each UID is one object however often it is referred to; a reference
    // back to an object still being decoded is a cycle and gives nothing.
    if (states[uid] == kDecoded) return decoded[uid];
    if (states[uid] == kDecoding || depth >= kMaxDepth) return nullptr;
    const ObjectRef object = plist.item(objectsArray, uid);
    const ClassInfo* info = classOf(object);
    if (!info || !info->factory) {
      states[uid] = kDecoded;
      return nullptr;
    }
    states[uid] = kDecoding;
    struct MarkDone {
      std::uint8_t& state;
      ~MarkDone() { state = kDecoded; }
    } markDone{states[uid]};
    const Factory factory = info->factory;  // the class table may grow meanwhile
    std::shared_ptr<NSCoding> result = nested(object, [&] { return factory(coder); });
    decoded[uid] = result;
    return result;
  }

  std::optional<std::map<std::string, std::shared_ptr<NSCoding>>> decodeDictionary(
      ObjectRef value, NSKeyedUnarchiver& coder) {
    using Entry = std::pair<std::string, std::shared_ptr<NSCoding>>;
    std::vector<Entry> list;
    bool ascending = true;
    const bool found = decodeDictionaryEntries(
        value, coder, [&](std::string&& key, std::shared_ptr<NSCoding>&& entry) {
          if (!list.empty() && !(list.back().first < key)) ascending = false;
          list.emplace_back(std::move(key), std::move(entry));
        });
    if (!found) return std::nullopt;

    // Filling a tree in key order costs constant time per entry, in any other
    // order a search each through nodes spread over memory; so keys that do
    // not come in order are sorted first, on their first eight bytes as one
    // number (the whole text only to break ties). A repeated key keeps its
    // first value.
    std::map<std::string, std::shared_ptr<NSCoding>> result;
    if (ascending) {
      for (Entry& e : list)
        result.emplace_hint(result.end(), std::move(e.first), std::move(e.second));
      return result;
    }
    struct SortKey {
      std::uint64_t prefix;
      std::size_t index;
    };
    std::vector<SortKey> order(list.size());
    for (std::size_t i = 0; i < list.size(); ++i) {
      std::uint64_t prefix = 0;
      const std::string& k = list[i].first;
      for (std::size_t b = 0; b < 8; ++b)
        prefix = prefix << 8 | (b < k.size() ? static_cast<std::uint8_t>(k[b]) : 0);
      order[i] = {prefix, i};
    }
    std::sort(order.begin(), order.end(), [&](const SortKey& x, const SortKey& y) {
      if (x.prefix != y.prefix) return x.prefix < y.prefix;
      const int c = list[x.index].first.compare(list[y.index].first);
      return c != 0 ? c < 0 : x.index < y.index;
    });
    // The texts are copied rather than moved so that the tree's keys lie in
    // memory in key order; the entries are fetched ahead.
    constexpr std::size_t kAhead = 8;
    for (std::size_t q = 0; q < order.size(); ++q) {
      if (q + 2 * kAhead < order.size()) __builtin_prefetch(&list[order[q + 2 * kAhead].index]);
      if (q + kAhead < order.size()) __builtin_prefetch(list[order[q + kAhead].index].first.data());
      Entry& e = list[order[q].index];
      result.emplace_hint(result.end(), e.first, std::move(e.second));
    }
    return result;
  }

  template <class Visit>
  bool decodeDictionaryEntries(ObjectRef value, NSKeyedUnarchiver& coder, Visit&& visit) {
    const auto object = referencedObject(value);
    if (!object || depth >= kMaxDepth) return false;
    const ClassInfo* info = classOf(*object);
    if (!info || info->kind != ClassKind::Dictionary) return false;
    const auto keys = lookup(*object, "NS.keys");
    const auto values = lookup(*object, "NS.objects");
    if (!keys || !values || plist.type(*keys) != bplist::Type::Array ||
        plist.type(*values) != bplist::Type::Array || plist.count(*keys) != plist.count(*values))
      return false;
    nested(*object, [&] {
      const std::uint64_t n = plist.count(*keys);
      for (std::uint64_t i = 0; i < n; ++i) {
        const auto keyObject = referencedObject(plist.item(*keys, i));
        if (!keyObject || !spend(64)) continue;
        auto text = stringOf(*keyObject);
        if (!text) continue;
        auto entry = decodeObject(plist.item(*values, i), coder);
        if (!entry) continue;
        visit(std::move(*text), std::move(entry));
      }
    });
    return true;
  }
};

NSKeyedUnarchiver::NSKeyedUnarchiver(std::unique_ptr<Impl> impl) : impl_(std::move(impl)) {}
NSKeyedUnarchiver::~NSKeyedUnarchiver() = default;

void NSKeyedUnarchiver::registerClass(const std::string& className, Factory factory) {
  Registry& r = registry();
  const std::lock_guard lock(r.mutex);
  r.factories[className] = std::move(factory);
}

std::shared_ptr<NSCoding> NSKeyedUnarchiver::unarchiveObjectWithData(ByteView data) {
  auto impl = Impl::open(data);
  if (!impl) return nullptr;
  NSKeyedUnarchiver coder(std::move(impl));
  return coder.decodeObjectForKey(kRootKey);
}

std::optional<std::map<std::string, std::shared_ptr<NSCoding>>>
NSKeyedUnarchiver::unarchiveDictionaryWithData(ByteView data) {
  auto impl = Impl::open(data);
  if (!impl) return std::nullopt;
  NSKeyedUnarchiver coder(std::move(impl));
  return coder.decodeDictionaryForKey(kRootKey);
}

bool NSKeyedUnarchiver::containsValueForKey(std::string_view key) const {
  return impl_->valueForKey(key).has_value();
}

std::int64_t NSKeyedUnarchiver::decodeInt64ForKey(std::string_view key) {
  const auto value = impl_->valueForKey(key);
  if (!value || impl_->plist.type(*value) != bplist::Type::Integer) return 0;
  return impl_->plist.integer(*value);
}

std::optional<std::string> NSKeyedUnarchiver::decodeStringForKey(std::string_view key) {
  const auto value = impl_->valueForKey(key);
  const auto object = value ? impl_->referencedObject(*value) : std::nullopt;
  if (!object) return std::nullopt;
  return impl_->stringOf(*object);
}

std::optional<Data> NSKeyedUnarchiver::decodeDataForKey(std::string_view key) {
  const auto value = impl_->valueForKey(key);
  const auto object = value ? impl_->referencedObject(*value) : std::nullopt;
  if (!object) return std::nullopt;
  return impl_->dataOf(*object);
}

std::shared_ptr<NSCoding> NSKeyedUnarchiver::decodeObjectForKey(std::string_view key) {
  const auto value = impl_->valueForKey(key);
  if (!value) return nullptr;
  return impl_->decodeObject(*value, *this);
}

std::optional<std::map<std::string, std::shared_ptr<NSCoding>>>
NSKeyedUnarchiver::decodeDictionaryForKey(std::string_view key) {
  const auto value = impl_->valueForKey(key);
  if (!value) return std::nullopt;
  return impl_->decodeDictionary(*value, *this);
}

bool NSKeyedUnarchiver::decodeDictionaryEntriesForKey(
    std::string_view key,
    const std::function<void(std::string&& key, std::shared_ptr<NSCoding>&& value)>& visit) {
  const auto value = impl_->valueForKey(key);
  if (!value) return false;
  return impl_->decodeDictionaryEntries(*value, *this, visit);
}

}  // namespace orvane
