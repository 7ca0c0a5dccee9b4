#include "orvane/Platform/Foundation/NSKeyedArchiver.h"

#include <gtest/gtest.h>

#include <atomic>
#include <limits>
#include <thread>

#include "ArchiverTestClasses.h"
#include "Platform/Foundation/BinaryPropertyList.h"

namespace orvane {
namespace {

using bplist::ObjectRef;
using testing::TestPoint;
using testing::TestRecord;

class NSKeyedArchiverTest : public ::testing::Test {
 protected:
  void SetUp() override { testing::registerArchiverTestClasses(); }
};

const TestPoint* asPoint(const std::shared_ptr<NSCoding>& object) {
  return dynamic_cast<const TestPoint*>(object.get());
}
std::shared_ptr<TestPoint> point(std::int64_t x, std::int64_t y) {
  return std::make_shared<TestPoint>(x, y);
}

// Archives in the platform archiver's layout built by hand, for variations our
// archiver never writes.
struct HandArchive {
  bplist::Writer w;
  std::vector<ObjectRef> objects{w.addString("$null")};

  std::uint64_t add(ObjectRef object) {
    objects.push_back(object);
    return objects.size() - 1;
  }
  ObjectRef dictionary(const std::vector<std::pair<std::string, ObjectRef>>& entries) {
    std::vector<ObjectRef> keys, values;
    for (const auto& [k, v] : entries) keys.push_back(w.addUniqueString(k)), values.push_back(v);
    return w.addDictionary(keys.data(), values.data(), keys.size());
  }
  std::uint64_t classRecord(const std::string& name, std::vector<std::string> chain = {}) {
    if (chain.empty()) chain = {name, "NSObject"};
    std::vector<ObjectRef> names;
    for (const auto& c : chain) names.push_back(w.addUniqueString(c));
    return add(dictionary({{"$classname", w.addUniqueString(name)}, {"$classes", w.addArray(names)}}));
  }
  std::uint64_t point(std::int64_t x, std::int64_t y, std::uint64_t cls) {
    return add(dictionary({{"x", w.addInteger(x)}, {"y", w.addInteger(y)}, {"$class", w.addUID(cls)}}));
  }
  ObjectRef uids(const std::vector<std::uint64_t>& list) {
    std::vector<ObjectRef> refs;
    for (auto u : list) refs.push_back(w.addUID(u));
    return w.addArray(refs);
  }
  std::uint64_t nsDictionary(ObjectRef keys, ObjectRef values, std::uint64_t cls) {
    return add(dictionary({{"NS.keys", keys}, {"NS.objects", values}, {"$class", w.addUID(cls)}}));
  }
  Data finish(std::uint64_t rootUid, const std::string& archiver = "NSKeyedArchiver") {
    const ObjectRef top = dictionary({{"root", w.addUID(rootUid)}});
    const ObjectRef objectsArray = w.addArray(objects);
    return w.finish(dictionary({{"$archiver", w.addString(archiver)},
                                {"$version", w.addInteger(100000)},
                                {"$top", top},
                                {"$objects", objectsArray}}));
  }
};

TEST_F(NSKeyedArchiverTest, DictionariesAndObjectGraphsRoundTrip) {
  NSCodingDictionary dictionary;
  for (int i = 0; i < 1000; ++i) dictionary["item-" + std::to_string(i)] = point(i * 4096, i);
  dictionary[""] = point(0, 0);
  dictionary["caf\xC3\xA9-\xF0\x9F\x93\xB7"] = point(-1, 7);
  dictionary["big"] = point(INT64_MAX, INT64_MIN);
  const auto decoded = NSKeyedUnarchiver::unarchiveDictionaryWithData(
      NSKeyedArchiver::archivedDataWithRootDictionary(dictionary));
  ASSERT_TRUE(decoded);
  ASSERT_EQ(decoded->size(), dictionary.size());
  for (const auto& [key, value] : dictionary) {
    const TestPoint* p = decoded->count(key) ? asPoint(decoded->at(key)) : nullptr;
    ASSERT_TRUE(p) << key;
    EXPECT_EQ(p->x, static_cast<const TestPoint&>(*value).x) << key;
    EXPECT_EQ(p->y, static_cast<const TestPoint&>(*value).y) << key;
  }
  const auto empty = NSKeyedUnarchiver::unarchiveDictionaryWithData(
      NSKeyedArchiver::archivedDataWithRootDictionary({}));
  ASSERT_TRUE(empty);
  EXPECT_TRUE(empty->empty());

  TestRecord record;
  record.name = "\xC3\x9C" "bersicht";
  record.blob = Data(100000);
  for (std::size_t i = 0; i < record.blob->size(); ++i) (*record.blob)[i] = static_cast<std::uint8_t>(i * 7);
  record.count = -42;
  record.children = NSCodingDictionary{{"a", point(1, 2)}};
  auto inner = std::make_shared<TestRecord>();
  inner->name = "";
  inner->blob = Data{};
  record.inner = inner;
  record.selfReference = true;  // written as a back reference, never followed
  const auto r = NSKeyedUnarchiver::unarchivedObjectOfClassFromData<TestRecord>(
      NSKeyedArchiver::archivedDataWithRootObject(record));
  ASSERT_TRUE(r);
  EXPECT_EQ(r->name, record.name);
  EXPECT_EQ(r->blob, record.blob);
  EXPECT_EQ(r->count, -42);
  ASSERT_TRUE(r->decodedChildren);
  ASSERT_EQ(r->decodedChildren->size(), 1u);
  EXPECT_EQ(asPoint(r->decodedChildren->at("a"))->y, 2);
  EXPECT_TRUE(r->hadInner);
  EXPECT_FALSE(r->decodedSelf);
  const auto in = std::dynamic_pointer_cast<TestRecord>(r->decodedInner);
  ASSERT_TRUE(in);
  // Empty text and data are values; absent keys give nothing and 0.
  EXPECT_EQ(in->name, std::optional<std::string>(""));
  EXPECT_EQ(in->blob, std::optional<Data>(Data{}));
  EXPECT_FALSE(in->hadInner || in->decodedChildren || in->decodedInner || in->count);
}

TEST_F(NSKeyedArchiverTest, WrongRootsAndUnknownClassesGiveNothing) {
  const Data pointArchive = NSKeyedArchiver::archivedDataWithRootObject(TestPoint(1, 2));
  EXPECT_TRUE(NSKeyedUnarchiver::unarchivedObjectOfClassFromData<TestPoint>(pointArchive));
  EXPECT_FALSE(NSKeyedUnarchiver::unarchivedObjectOfClassFromData<TestRecord>(pointArchive));
  EXPECT_FALSE(NSKeyedUnarchiver::unarchiveDictionaryWithData(pointArchive));
  EXPECT_FALSE(NSKeyedUnarchiver::unarchiveObjectWithData(
      NSKeyedArchiver::archivedDataWithRootDictionary({{"a", point(1, 2)}})));
  EXPECT_FALSE(NSKeyedUnarchiver::unarchiveObjectWithData({}));
  EXPECT_FALSE(NSKeyedUnarchiver::unarchiveObjectWithData(bytesOf("bplist00 and then nonsense......")));

  struct Unregistered : TestPoint {
    using TestPoint::TestPoint;
    std::string archiveClassName() const override { return "ArchiverTestNeverRegistered"; }
  };
  EXPECT_FALSE(NSKeyedUnarchiver::unarchiveObjectWithData(
      NSKeyedArchiver::archivedDataWithRootObject(Unregistered(1, 2))));
  // Entries of unregistered classes and nil entries are left out of a dictionary.
  const auto mixed = NSKeyedUnarchiver::unarchiveDictionaryWithData(
      NSKeyedArchiver::archivedDataWithRootDictionary(
          {{"known", point(1, 2)}, {"unknown", std::make_shared<Unregistered>(3, 4)}, {"nil", nullptr}}));
  ASSERT_TRUE(mixed);
  EXPECT_EQ(mixed->size(), 1u);
  EXPECT_TRUE(mixed->count("known"));

  HandArchive other;
  const Data wrongArchiver = other.finish(other.point(1, 2, other.classRecord("ArchiverTestPoint")), "NSArchiver");
  EXPECT_FALSE(NSKeyedUnarchiver::unarchiveObjectWithData(wrongArchiver));
}

TEST_F(NSKeyedArchiverTest, NestingIsCutAtAFixedDepth) {
  auto depthAfterRoundTrip = [](int length) {
    std::shared_ptr<TestRecord> head;
    for (int i = 0; i < length; ++i) {
      auto node = std::make_shared<TestRecord>();
      node->inner = head;
      head = node;
    }
    std::shared_ptr<NSCoding> node =
        NSKeyedUnarchiver::unarchiveObjectWithData(NSKeyedArchiver::archivedDataWithRootObject(*head));
    int depth = 0;
    while (auto r = std::dynamic_pointer_cast<TestRecord>(node)) ++depth, node = r->decodedInner;
    return depth;
  };
  EXPECT_EQ(depthAfterRoundTrip(40), 40);
  const int cut = depthAfterRoundTrip(1000);
  EXPECT_GE(cut, 40);
  EXPECT_LT(cut, 1000);
}

TEST_F(NSKeyedArchiverTest, DecodesThePlatformArchiversVariations) {
  HandArchive a;
  const auto pointClass = a.classRecord("ArchiverTestPoint");
  const auto immutable = a.classRecord("NSDictionary");
  const auto mutableString = a.classRecord("NSMutableString", {"NSMutableString", "NSString", "NSObject"});
  const auto shared = a.add(a.w.addString("shared"));
  const auto wide = a.add(a.w.addString("\xE2\x82\xAC"));
  const auto wrapped = a.add(
      a.dictionary({{"NS.string", a.w.addString("wrapped")}, {"$class", a.w.addUID(mutableString)}}));
  const auto p1 = a.point(1, 2, pointClass), p2 = a.point(3, 4, pointClass);
  // Keys: a shared text twice (the first entry wins), a UTF-16 text, an
  // NSMutableString, a UID past $objects and $null (both left out).
  const auto root = a.nsDictionary(a.uids({shared, wide, wrapped, shared, 999, 0}),
                                   a.uids({p1, p2, p1, p2, p1, p1}), immutable);
  const auto decoded = NSKeyedUnarchiver::unarchiveDictionaryWithData(a.finish(root));
  ASSERT_TRUE(decoded);
  ASSERT_EQ(decoded->size(), 3u);
  EXPECT_EQ(asPoint(decoded->at("shared"))->x, 1);
  EXPECT_EQ(asPoint(decoded->at("\xE2\x82\xAC"))->x, 3);
  EXPECT_EQ(decoded->at("wrapped"), decoded->at("shared"));  // one UID, one object

  HandArchive b;
  const auto cls = b.classRecord("NSMutableDictionary", {"NSMutableDictionary", "NSDictionary", "NSObject"});
  const auto uneven = b.nsDictionary(b.uids({b.add(b.w.addString("k"))}), b.uids({}), cls);
  EXPECT_FALSE(NSKeyedUnarchiver::unarchiveDictionaryWithData(b.finish(uneven)));
}

// Every key refers to one text object with thousands of keys of its own,
// "$class" and "NS.string" last: decoding walks keys in proportion to the
// archive's size, not to references times keys.
TEST_F(NSKeyedArchiverTest, DecodingWorkStaysInProportionToTheArchive) {
  constexpr int kKeys = 20000, kReferences = 20000;
  HandArchive a;
  const auto textClass = a.classRecord("NSString");
  const auto dictionaryClass = a.classRecord("NSDictionary");
  const auto pointClass = a.classRecord("ArchiverTestPoint");
  std::vector<std::pair<std::string, ObjectRef>> padded;
  const ObjectRef zero = a.w.addInteger(0);
  for (int i = 0; i < kKeys; ++i) padded.emplace_back("pad" + std::to_string(i), zero);
  padded.emplace_back("NS.string", a.w.addString("key"));
  padded.emplace_back("$class", a.w.addUID(textClass));
  const auto key = a.add(a.dictionary(padded));
  const auto value = a.point(1, 2, pointClass);
  const Data archive = a.finish(a.nsDictionary(a.uids(std::vector<std::uint64_t>(kReferences, key)),
                                               a.uids(std::vector<std::uint64_t>(kReferences, value)),
                                               dictionaryClass));
  const std::uint64_t before = bplist::Reader::keysExaminedOnThisThread();
  const auto decoded = NSKeyedUnarchiver::unarchiveDictionaryWithData(archive);
  const std::uint64_t examined = bplist::Reader::keysExaminedOnThisThread() - before;
  ASSERT_TRUE(decoded);
  EXPECT_EQ(asPoint(decoded->at("key"))->x, 1);
  EXPECT_LE(examined, 64 * archive.size()) << "archive of " << archive.size() << " bytes";
}

TEST_F(NSKeyedArchiverTest, DamagedArchivesNeverCrash) {
  TestRecord record;
  record.name = "name";
  record.blob = Data(40, 3);
  record.children = NSCodingDictionary{{"a", point(1, 2)}, {"b", point(3, 4)}};
  const Data archive = NSKeyedArchiver::archivedDataWithRootObject(record);
  ASSERT_TRUE(NSKeyedUnarchiver::unarchiveObjectWithData(archive));
  for (std::size_t n = 0; n < archive.size(); ++n)
    EXPECT_FALSE(NSKeyedUnarchiver::unarchiveObjectWithData(ByteView(archive).first(n))) << n;
  for (std::size_t i = 0; i < archive.size(); ++i) {
    for (std::uint8_t flip : {0x01, 0x10, 0x80, 0xFF}) {
      Data damaged = archive;
      damaged[i] ^= flip;
      (void)NSKeyedUnarchiver::unarchiveObjectWithData(damaged);
      (void)NSKeyedUnarchiver::unarchiveDictionaryWithData(damaged);
    }
  }
}

TEST_F(NSKeyedArchiverTest, ConcurrencyRegistrationAndDecodingFromManyThreads) {
  const Data archive =
      NSKeyedArchiver::archivedDataWithRootDictionary({{"a", point(1, 2)}, {"b", point(3, 4)}});
  std::atomic<int> failures{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&, t] {
      for (int i = 0; i < 200; ++i) {
        if (t % 2 == 0) testing::registerArchiverTestClasses();
        const auto d = NSKeyedUnarchiver::unarchiveDictionaryWithData(archive);
        if (!d || d->size() != 2) ++failures;
        (void)NSKeyedArchiver::archivedDataWithRootObject(TestPoint(t, i));
      }
    });
  }
  for (auto& t : threads) t.join();
  EXPECT_EQ(failures, 0);
}

// A dictionary handed over as a flat list is written exactly as the same
// dictionary handed over as a tree, nil values included.
TEST_F(NSKeyedArchiverTest, DictionaryGivenAsAListIsWrittenLikeTheTree) {
  struct Holder : NSCoding {
    NSCodingDictionary dictionary;
    bool asList = false;
    std::string archiveClassName() const override { return "Holder"; }
    void encodeWithCoder(NSKeyedArchiver& coder) const override {
      coder.encodeInt64ForKey(7, "before");
      std::vector<NSCodingDictionaryEntry> entries;
      for (const auto& [key, value] : dictionary) entries.push_back({key, value.get()});
      if (asList) coder.encodeDictionaryForKey(entries, "d");
      else coder.encodeDictionaryForKey(dictionary, "d");
      coder.encodeStringForKey("after", "s");
    }
  };
  Holder holder;
  for (int i = 0; i < 300; ++i) holder.dictionary["k" + std::to_string(i)] = point(i, -i);
  holder.dictionary["nil"] = nullptr;
  holder.dictionary["$dollar"] = point(1, 2);
  for (int round = 0; round < 2; ++round) {
    holder.asList = false;
    const Data fromTree = NSKeyedArchiver::archivedDataWithRootObject(holder);
    holder.asList = true;
    EXPECT_EQ(NSKeyedArchiver::archivedDataWithRootObject(holder), fromTree);
    holder.dictionary.clear();
  }
}

// This program names no storage symbol, so the linker keeps no storage object
// file for its own sake: the storage classes must still decode.
TEST(NSKeyedUnarchiverRegistration, StorageClassesDecodeInAProgramThatOnlyUnarchives) {
  struct Chunk : NSCoding {
    std::string archiveClassName() const override { return "OVStorageChunk"; }
    void encodeWithCoder(NSKeyedArchiver& coder) const override {
      coder.encodeInt64ForKey(7, "offset");
      coder.encodeInt64ForKey(9, "length");
    }
  };
  const auto decoded =
      NSKeyedUnarchiver::unarchiveObjectWithData(NSKeyedArchiver::archivedDataWithRootObject(Chunk{}));
  ASSERT_NE(decoded, nullptr);
  EXPECT_EQ(decoded->archiveClassName(), "OVStorageChunk");
}

}  // namespace
}  // namespace orvane
