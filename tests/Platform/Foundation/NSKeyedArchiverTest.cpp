#include "orvane/Platform/Foundation/NSKeyedArchiver.h"

#include <gtest/gtest.h>

#include <atomic>
#include <limits>
#include <set>
#include <thread>

#include "ArchiverTestClasses.h"
#include "Platform/Foundation/BinaryPropertyList.h"

namespace orvane {
namespace {

using bplist::ObjectRef;
using bplist::Reader;
using testing::TestPoint;
using testing::TestRecord;

class NSKeyedArchiverTest : public ::testing::Test {
 protected:
  void SetUp() override { testing::registerArchiverTestClasses(); }
};

const TestPoint* asPoint(const std::shared_ptr<NSCoding>& object) {
  return dynamic_cast<const TestPoint*>(object.get());
}

// Builds archives in the platform archiver's layout directly, for variations
// our archiver never writes.
struct HandArchive {
  bplist::Writer w;
  std::vector<ObjectRef> objects;

  HandArchive() { objects.push_back(w.addString("$null")); }
  std::uint64_t add(ObjectRef object) {
    objects.push_back(object);
    return objects.size() - 1;
  }
  ObjectRef dictionary(const std::vector<std::pair<std::string, ObjectRef>>& entries) {
    std::vector<ObjectRef> keys, values;
    for (const auto& [k, v] : entries) {
      keys.push_back(w.addUniqueString(k));
      values.push_back(v);
    }
    return w.addDictionary(keys.data(), values.data(), keys.size());
  }
  std::uint64_t classRecord(const std::string& name, const std::vector<std::string>& chain) {
    std::vector<ObjectRef> names;
    for (const auto& c : chain) names.push_back(w.addUniqueString(c));
    return add(
        dictionary({{"$classname", w.addUniqueString(name)}, {"$classes", w.addArray(names)}}));
  }
  std::uint64_t point(std::int64_t x, std::int64_t y, std::uint64_t classUid) {
    return add(dictionary(
        {{"x", w.addInteger(x)}, {"y", w.addInteger(y)}, {"$class", w.addUID(classUid)}}));
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

TEST_F(NSKeyedArchiverTest, DictionaryOfObjectsRoundTrips) {
  NSCodingDictionary dictionary;
  for (int i = 0; i < 1000; ++i)
    dictionary["item-" + std::to_string(i)] = std::make_shared<TestPoint>(i * 4096, i);
  dictionary[""] = std::make_shared<TestPoint>(0, 0);
  dictionary["caf\xC3\xA9-\xF0\x9F\x93\xB7"] = std::make_shared<TestPoint>(-1, 7);
  dictionary["big"] = std::make_shared<TestPoint>(std::numeric_limits<std::int64_t>::max(),
                                                  std::numeric_limits<std::int64_t>::min());

  const Data archive = NSKeyedArchiver::archivedDataWithRootDictionary(dictionary);
  const auto decoded = NSKeyedUnarchiver::unarchiveDictionaryWithData(archive);
  ASSERT_TRUE(decoded);
  ASSERT_EQ(decoded->size(), dictionary.size());
  for (const auto& [key, value] : dictionary) {
    const auto it = decoded->find(key);
    ASSERT_NE(it, decoded->end()) << key;
    const TestPoint* p = asPoint(it->second);
    ASSERT_TRUE(p) << key;
    const auto& expected = static_cast<const TestPoint&>(*value);
    EXPECT_EQ(p->x, expected.x) << key;
    EXPECT_EQ(p->y, expected.y) << key;
  }

  const auto empty = NSKeyedUnarchiver::unarchiveDictionaryWithData(
      NSKeyedArchiver::archivedDataWithRootDictionary({}));
  ASSERT_TRUE(empty);
  EXPECT_TRUE(empty->empty());
}

TEST_F(NSKeyedArchiverTest, ObjectGraphWithEveryKindOfValueRoundTrips) {
  TestRecord record;
  record.name =
      "\xC3\x9C"
      "bersicht \xE2\x80\x94 2026";
  record.blob = Data(100000);
  for (std::size_t i = 0; i < record.blob->size(); ++i)
    (*record.blob)[i] = static_cast<std::uint8_t>(i * 7);
  record.count = -42;
  record.children = NSCodingDictionary{{"a", std::make_shared<TestPoint>(1, 2)}};
  auto inner = std::make_shared<TestRecord>();
  inner->name = "";
  inner->blob = Data{};
  record.inner = inner;

  const auto decoded = NSKeyedUnarchiver::unarchivedObjectOfClassFromData<TestRecord>(
      NSKeyedArchiver::archivedDataWithRootObject(record));
  ASSERT_TRUE(decoded);
  EXPECT_EQ(decoded->name, record.name);
  EXPECT_EQ(decoded->blob, record.blob);
  EXPECT_EQ(decoded->count, -42);
  ASSERT_TRUE(decoded->decodedChildren);
  ASSERT_EQ(decoded->decodedChildren->size(), 1u);
  EXPECT_EQ(asPoint(decoded->decodedChildren->at("a"))->y, 2);
  EXPECT_TRUE(decoded->hadInner);
  const auto decodedInner = std::dynamic_pointer_cast<TestRecord>(decoded->decodedInner);
  ASSERT_TRUE(decodedInner);
  // Empty text and empty data are values, not absences.
  EXPECT_EQ(decodedInner->name, std::optional<std::string>(""));
  EXPECT_EQ(decodedInner->blob, std::optional<Data>(Data{}));
  // Absent keys: no text, no data, 0, no dictionary, no object.
  EXPECT_FALSE(decodedInner->hadInner);
  EXPECT_FALSE(decodedInner->decodedChildren);
  EXPECT_FALSE(decodedInner->decodedInner);
  EXPECT_EQ(decodedInner->count, 0);
}

TEST_F(NSKeyedArchiverTest, ArchiveHasThePlatformsKeyedLayout) {
  NSCodingDictionary dictionary;
  for (int i = 0; i < 3; ++i)
    dictionary["k" + std::to_string(i)] = std::make_shared<TestPoint>(i, 10 + i);
  const Data archive = NSKeyedArchiver::archivedDataWithRootDictionary(dictionary);
  const auto r = Reader::parse(archive);
  ASSERT_TRUE(r);
  const ObjectRef top = r->top();
  EXPECT_EQ(r->count(top), 4u);
  EXPECT_TRUE(r->stringEquals(*r->lookup(top, "$archiver"), "NSKeyedArchiver"));
  EXPECT_EQ(r->integer(*r->lookup(top, "$version")), 100000);
  const ObjectRef topDictionary = *r->lookup(top, "$top");
  ASSERT_EQ(r->count(topDictionary), 1u);
  EXPECT_EQ(r->uid(*r->lookup(topDictionary, "root")), 1u);
  const ObjectRef objects = *r->lookup(top, "$objects");
  EXPECT_TRUE(r->stringEquals(r->item(objects, 0), "$null"));

  auto object = [&](ObjectRef uidValue) { return r->item(objects, r->uid(uidValue)); };
  const ObjectRef root = r->item(objects, 1);
  const ObjectRef rootClass = object(*r->lookup(root, "$class"));
  EXPECT_TRUE(r->stringEquals(*r->lookup(rootClass, "$classname"), "NSMutableDictionary"));
  const ObjectRef chain = *r->lookup(rootClass, "$classes");
  ASSERT_EQ(r->count(chain), 3u);
  EXPECT_TRUE(r->stringEquals(r->item(chain, 0), "NSMutableDictionary"));
  EXPECT_TRUE(r->stringEquals(r->item(chain, 1), "NSDictionary"));
  EXPECT_TRUE(r->stringEquals(r->item(chain, 2), "NSObject"));

  const ObjectRef keys = *r->lookup(root, "NS.keys");
  const ObjectRef values = *r->lookup(root, "NS.objects");
  ASSERT_EQ(r->count(keys), 3u);
  ASSERT_EQ(r->count(values), 3u);
  std::set<std::uint64_t> pointClasses;
  for (std::uint64_t i = 0; i < 3; ++i) {
    EXPECT_EQ(r->string(object(r->item(keys, i))), "k" + std::to_string(i));
    const ObjectRef point = object(r->item(values, i));
    // Integers stand inline in the object; text and objects are UIDs.
    EXPECT_EQ(r->type(*r->lookup(point, "x")), bplist::Type::Integer);
    EXPECT_EQ(r->integer(*r->lookup(point, "y")), 10 + static_cast<std::int64_t>(i));
    pointClasses.insert(r->uid(*r->lookup(point, "$class")));
  }
  // One class record for all three points, with the default class chain.
  ASSERT_EQ(pointClasses.size(), 1u);
  const ObjectRef pointClass = r->item(objects, *pointClasses.begin());
  EXPECT_TRUE(r->stringEquals(*r->lookup(pointClass, "$classname"), "ArchiverTestPoint"));
  EXPECT_EQ(r->count(*r->lookup(pointClass, "$classes")), 2u);
  // $null, dictionary, 3 keys, 3 points, 2 class records.
  EXPECT_EQ(r->count(objects), 10u);
}

TEST_F(NSKeyedArchiverTest, KeysStartingWithDollarAreEscaped) {
  TestRecord record;
  record.count = 5;
  const Data archive = NSKeyedArchiver::archivedDataWithRootObject(record);
  const auto r = Reader::parse(archive);
  ASSERT_TRUE(r);
  const ObjectRef rootObject = r->item(*r->lookup(r->top(), "$objects"), 1);
  EXPECT_EQ(r->integer(*r->lookup(rootObject, "$$count")), 5);
  EXPECT_FALSE(r->lookup(rootObject, "$count"));
  EXPECT_EQ(NSKeyedUnarchiver::unarchivedObjectOfClassFromData<TestRecord>(archive)->count, 5);
}

TEST_F(NSKeyedArchiverTest, WrongKindsOfRootGiveNothing) {
  TestPoint point(1, 2);
  const Data pointArchive = NSKeyedArchiver::archivedDataWithRootObject(point);
  const Data dictionaryArchive =
      NSKeyedArchiver::archivedDataWithRootDictionary({{"a", std::make_shared<TestPoint>(1, 2)}});
  EXPECT_TRUE(NSKeyedUnarchiver::unarchivedObjectOfClassFromData<TestPoint>(pointArchive));
  EXPECT_FALSE(NSKeyedUnarchiver::unarchivedObjectOfClassFromData<TestRecord>(pointArchive));
  EXPECT_FALSE(NSKeyedUnarchiver::unarchiveDictionaryWithData(pointArchive));
  EXPECT_FALSE(NSKeyedUnarchiver::unarchiveObjectWithData(dictionaryArchive));

  struct Unregistered : TestPoint {
    using TestPoint::TestPoint;
    std::string archiveClassName() const override { return "ArchiverTestNeverRegistered"; }
  };
  EXPECT_FALSE(NSKeyedUnarchiver::unarchiveObjectWithData(
      NSKeyedArchiver::archivedDataWithRootObject(Unregistered(1, 2))));
  // Entries of unregistered classes are left out of a dictionary.
  const auto mixed = NSKeyedUnarchiver::unarchiveDictionaryWithData(
      NSKeyedArchiver::archivedDataWithRootDictionary(
          {{"known", std::make_shared<TestPoint>(1, 2)},
           {"unknown", std::make_shared<Unregistered>(3, 4)},
           {"nil", nullptr}}));
  ASSERT_TRUE(mixed);
  EXPECT_EQ(mixed->size(), 1u);
  EXPECT_TRUE(mixed->count("known"));

  EXPECT_FALSE(NSKeyedUnarchiver::unarchiveObjectWithData({}));
  EXPECT_FALSE(
      NSKeyedUnarchiver::unarchiveObjectWithData(bytesOf("bplist00 and then nonsense.........")));
  HandArchive other;
  const std::uint64_t cls =
      other.classRecord("ArchiverTestPoint", {"ArchiverTestPoint", "NSObject"});
  const Data wrongArchiver = other.finish(other.point(1, 2, cls), "NSArchiver");
  EXPECT_FALSE(NSKeyedUnarchiver::unarchiveObjectWithData(wrongArchiver));
}

TEST_F(NSKeyedArchiverTest, ReferenceCyclesAreWrittenButNotFollowed) {
  TestRecord record;
  record.selfReference = true;
  record.count = 9;
  const Data archive = NSKeyedArchiver::archivedDataWithRootObject(record);
  const auto r = Reader::parse(archive);
  ASSERT_TRUE(r);
  const ObjectRef rootObject = r->item(*r->lookup(r->top(), "$objects"), 1);
  EXPECT_EQ(r->uid(*r->lookup(rootObject, "self")), 1u);  // a back reference to itself

  const auto decoded = NSKeyedUnarchiver::unarchivedObjectOfClassFromData<TestRecord>(archive);
  ASSERT_TRUE(decoded);
  EXPECT_EQ(decoded->count, 9);
  EXPECT_FALSE(decoded->decodedSelf);
}

TEST_F(NSKeyedArchiverTest, NestingIsCutAtAFixedDepth) {
  auto chain = [](int length) {
    std::shared_ptr<TestRecord> head;
    for (int i = 0; i < length; ++i) {
      auto node = std::make_shared<TestRecord>();
      node->count = i;
      node->inner = head;
      head = node;
    }
    return head;
  };
  auto depthOf = [](std::shared_ptr<NSCoding> node) {
    int depth = 0;
    while (auto r = std::dynamic_pointer_cast<TestRecord>(node)) {
      ++depth;
      node = r->decodedInner;
    }
    return depth;
  };
  EXPECT_EQ(depthOf(NSKeyedUnarchiver::unarchiveObjectWithData(
                NSKeyedArchiver::archivedDataWithRootObject(*chain(40)))),
            40);
  const int cut = depthOf(NSKeyedUnarchiver::unarchiveObjectWithData(
      NSKeyedArchiver::archivedDataWithRootObject(*chain(1000))));
  EXPECT_GE(cut, 40);
  EXPECT_LT(cut, 1000);
}

TEST_F(NSKeyedArchiverTest, DecodesThePlatformArchiversVariations) {
  HandArchive a;
  const std::uint64_t pointClass =
      a.classRecord("ArchiverTestPoint", {"ArchiverTestPoint", "NSObject"});
  const std::uint64_t immutable = a.classRecord("NSDictionary", {"NSDictionary", "NSObject"});
  const std::uint64_t mutableString =
      a.classRecord("NSMutableString", {"NSMutableString", "NSString", "NSObject"});
  const std::uint64_t shared = a.add(a.w.addString("shared"));
  const std::uint64_t wide = a.add(a.w.addString("\xE2\x82\xAC"));
  const std::uint64_t wrapped = a.add(a.dictionary(
      {{"NS.string", a.w.addString("wrapped")}, {"$class", a.w.addUID(mutableString)}}));
  const std::uint64_t p1 = a.point(1, 2, pointClass);
  const std::uint64_t p2 = a.point(3, 4, pointClass);
  auto uids = [&](std::vector<std::uint64_t> list) {
    std::vector<ObjectRef> refs;
    for (auto u : list) refs.push_back(a.w.addUID(u));
    return a.w.addArray(refs);
  };
  // Keys: a shared text (twice: the first entry wins), a UTF-16 text, an
  // NSMutableString, a UID past $objects and $null (both left out).
  const std::uint64_t root = a.add(a.dictionary({
      {"NS.keys", uids({shared, wide, wrapped, shared, 999, 0})},
      {"NS.objects", uids({p1, p2, p1, p2, p1, p1})},
      {"$class", a.w.addUID(immutable)},
  }));
  const auto decoded = NSKeyedUnarchiver::unarchiveDictionaryWithData(a.finish(root));
  ASSERT_TRUE(decoded);
  ASSERT_EQ(decoded->size(), 3u);
  EXPECT_EQ(asPoint(decoded->at("shared"))->x, 1);
  EXPECT_EQ(asPoint(decoded->at("\xE2\x82\xAC"))->x, 3);
  // One UID is one object, however often it is referred to.
  EXPECT_EQ(decoded->at("wrapped"), decoded->at("shared"));

  HandArchive b;
  const std::uint64_t cls =
      b.classRecord("NSMutableDictionary", {"NSMutableDictionary", "NSDictionary", "NSObject"});
  const std::uint64_t key = b.add(b.w.addString("k"));
  const std::uint64_t uneven = b.add(b.dictionary({
      {"NS.keys", b.w.addArray({b.w.addUID(key)})},
      {"NS.objects", b.w.addArray(std::vector<ObjectRef>{})},
      {"$class", b.w.addUID(cls)},
  }));
  EXPECT_FALSE(NSKeyedUnarchiver::unarchiveDictionaryWithData(b.finish(uneven)));
}

// Every key of a dictionary refers to one text object that has thousands of
// keys of its own, "$class" and "NS.string" last: decoding walks keys in
// proportion to the archive's size, not to references times keys.
TEST_F(NSKeyedArchiverTest, DecodingWorkStaysInProportionToTheArchive) {
  constexpr int kKeys = 20000, kReferences = 20000;
  HandArchive a;
  const std::uint64_t textClass = a.classRecord("NSString", {"NSString", "NSObject"});
  const std::uint64_t dictionaryClass = a.classRecord("NSDictionary", {"NSDictionary", "NSObject"});
  const std::uint64_t pointClass =
      a.classRecord("ArchiverTestPoint", {"ArchiverTestPoint", "NSObject"});
  std::vector<std::pair<std::string, ObjectRef>> padded;
  const ObjectRef zero = a.w.addInteger(0);
  for (int i = 0; i < kKeys; ++i) padded.emplace_back("pad" + std::to_string(i), zero);
  padded.emplace_back("NS.string", a.w.addString("key"));
  padded.emplace_back("$class", a.w.addUID(textClass));
  const ObjectRef keyReference = a.w.addUID(a.add(a.dictionary(padded)));
  const ObjectRef pointReference = a.w.addUID(a.point(1, 2, pointClass));
  const std::uint64_t root = a.add(a.dictionary({
      {"NS.keys", a.w.addArray(std::vector<ObjectRef>(kReferences, keyReference))},
      {"NS.objects", a.w.addArray(std::vector<ObjectRef>(kReferences, pointReference))},
      {"$class", a.w.addUID(dictionaryClass)},
  }));
  const Data archive = a.finish(root);

  const std::uint64_t before = Reader::keysExaminedOnThisThread();
  const auto decoded = NSKeyedUnarchiver::unarchiveDictionaryWithData(archive);
  const std::uint64_t examined = Reader::keysExaminedOnThisThread() - before;
  ASSERT_TRUE(decoded);
  EXPECT_EQ(asPoint(decoded->at("key"))->x, 1);
  EXPECT_LE(examined, 64 * archive.size()) << "archive of " << archive.size() << " bytes";
}

TEST_F(NSKeyedArchiverTest, DamagedArchivesNeverCrash) {
  TestRecord record;
  record.name = "name";
  record.blob = Data(40, 3);
  record.children = NSCodingDictionary{{"a", std::make_shared<TestPoint>(1, 2)},
                                       {"b", std::make_shared<TestPoint>(3, 4)}};
  const Data archive = NSKeyedArchiver::archivedDataWithRootObject(record);
  ASSERT_TRUE(NSKeyedUnarchiver::unarchiveObjectWithData(archive));
  for (std::size_t n = 0; n < archive.size(); ++n)
    EXPECT_FALSE(NSKeyedUnarchiver::unarchiveObjectWithData(ByteView(archive).first(n))) << n;
  // Every single-byte change: any answer is fine, as long as it is an answer.
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
  const Data archive = NSKeyedArchiver::archivedDataWithRootDictionary(
      {{"a", std::make_shared<TestPoint>(1, 2)}, {"b", std::make_shared<TestPoint>(3, 4)}});
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
      if (asList) {
        std::vector<NSCodingDictionaryEntry> entries;
        for (const auto& [key, value] : dictionary) entries.push_back({key, value.get()});
        coder.encodeDictionaryForKey(entries, "d");
      } else {
        coder.encodeDictionaryForKey(dictionary, "d");
      }
      coder.encodeStringForKey("after", "s");
    }
  };
  Holder holder;
  for (int i = 0; i < 300; ++i)
    holder.dictionary["k" + std::to_string(i)] = std::make_shared<TestPoint>(i, -i);
  holder.dictionary["nil"] = nullptr;
  holder.dictionary["$dollar"] = std::make_shared<TestPoint>(1, 2);
  const Data fromTree = NSKeyedArchiver::archivedDataWithRootObject(holder);
  holder.asList = true;
  EXPECT_EQ(NSKeyedArchiver::archivedDataWithRootObject(holder), fromTree);
  holder.dictionary.clear();
  const Data emptyFromList = NSKeyedArchiver::archivedDataWithRootObject(holder);
  holder.asList = false;
  EXPECT_EQ(NSKeyedArchiver::archivedDataWithRootObject(holder), emptyFromList);
}

}  // namespace
}  // namespace orvane

namespace orvane {
namespace {

// This program names no storage symbol, so the linker keeps no storage object
// file for its own sake: the storage classes must still decode.
TEST(NSKeyedUnarchiverRegistration, StorageClassesDecodeInAProgramThatOnlyUnarchives) {
  class Chunk : public NSCoding {
   public:
    std::string archiveClassName() const override { return "OVStorageChunk"; }
    void encodeWithCoder(NSKeyedArchiver& coder) const override {
      coder.encodeInt64ForKey(7, "offset");
      coder.encodeInt64ForKey(9, "length");
    }
  };
  const auto decoded = NSKeyedUnarchiver::unarchiveObjectWithData(
      NSKeyedArchiver::archivedDataWithRootObject(Chunk{}));
  ASSERT_NE(decoded, nullptr);
  EXPECT_EQ(decoded->archiveClassName(), "OVStorageChunk");
}

}  // namespace
}  // namespace orvane
