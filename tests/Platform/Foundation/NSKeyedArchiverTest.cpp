// Keyed archives and the binary property lists below them: round trips, plistlib interop, damaged input.
#include "orvane/Platform/Foundation/NSKeyedArchiver.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <thread>

#include "Platform/Foundation/BinaryPropertyList.h"
#include "support/KeyedArchiveScript.h"

namespace orvane {
namespace {

using bplist::ObjectRef;
using bplist::Reader;
using bplist::Type;
using bplist::Writer;

// A point of two integers, shaped like a storage chunk.
struct TestPoint : NSCoding {
  TestPoint(std::int64_t x, std::int64_t y) : x(x), y(y) {}
  std::string archiveClassName() const override { return "ArchiverTestPoint"; }
  void encodeWithCoder(NSKeyedArchiver& coder) const override {
    coder.encodeInt64ForKey(x, "x");
    coder.encodeInt64ForKey(y, "y");
  }
  std::int64_t x, y;
};

// A record that uses every kind of value; the members after selfReference are filled by decoding only.
struct TestRecord : NSCoding {
  std::string archiveClassName() const override { return "ArchiverTestRecord"; }
  std::vector<std::string> archiveClassHierarchy() const override {
    return {"ArchiverTestRecord", "ArchiverTestBase", "NSObject"};
  }
  void encodeWithCoder(NSKeyedArchiver& coder) const override {
    if (name) coder.encodeStringForKey(*name, "name");
    if (blob) coder.encodeDataForKey(*blob, "blob");
    coder.encodeInt64ForKey(count, "$count");
    if (children) coder.encodeDictionaryForKey(*children, "children");
    if (inner) coder.encodeObjectForKey(*inner, "inner");
    if (selfReference) coder.encodeObjectForKey(*this, "self");  // a back reference
  }
  std::optional<std::string> name;
  std::optional<Data> blob;
  std::int64_t count = 0;
  std::optional<NSCodingDictionary> children;
  std::shared_ptr<const NSCoding> inner;
  bool selfReference = false, hadInner = false;
  std::optional<std::map<std::string, std::shared_ptr<NSCoding>>> decodedChildren;
  std::shared_ptr<NSCoding> decodedInner, decodedSelf;
};

class NSKeyedArchiverTest : public ::testing::Test {
 protected:
  void SetUp() override {
    NSKeyedUnarchiver::registerClass("ArchiverTestPoint", [](NSKeyedUnarchiver& coder) {
      return std::make_shared<TestPoint>(coder.decodeInt64ForKey("x"), coder.decodeInt64ForKey("y"));
    });
    NSKeyedUnarchiver::registerClass("ArchiverTestRecord", [](NSKeyedUnarchiver& coder) {
      auto r = std::make_shared<TestRecord>();
      r->name = coder.decodeStringForKey("name");
      r->blob = coder.decodeDataForKey("blob");
      r->count = coder.decodeInt64ForKey("$count");
      r->decodedChildren = coder.decodeDictionaryForKey("children");
      r->hadInner = coder.containsValueForKey("inner");
      r->decodedInner = coder.decodeObjectForKey("inner");
      r->decodedSelf = coder.decodeObjectForKey("self");
      return r;
    });
  }
};

const TestPoint* asPoint(const std::shared_ptr<NSCoding>& object) {
  return dynamic_cast<const TestPoint*>(object.get());
}
std::shared_ptr<TestPoint> point(std::int64_t x, std::int64_t y) { return std::make_shared<TestPoint>(x, y); }

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
  const auto mixed = NSKeyedUnarchiver::unarchiveDictionaryWithData(NSKeyedArchiver::archivedDataWithRootDictionary(
      {{"known", point(1, 2)}, {"unknown", std::make_shared<Unregistered>(3, 4)}, {"nil", nullptr}}));
  ASSERT_TRUE(mixed);
  EXPECT_EQ(mixed->size(), 1u);
  EXPECT_TRUE(mixed->count("known"));
}

TEST_F(NSKeyedArchiverTest, NestingIsCutAtAFixedDepth) {
  auto depthAfterRoundTrip = [](int length) {
    std::shared_ptr<TestRecord> head;
    for (int i = 0; i < length; ++i) {
      auto node = std::make_shared<TestRecord>();
      node->inner = std::exchange(head, node);
    }
    std::shared_ptr<NSCoding> node =
        NSKeyedUnarchiver::unarchiveObjectWithData(NSKeyedArchiver::archivedDataWithRootObject(*head));
    int depth = 0;
    while (auto r = std::dynamic_pointer_cast<TestRecord>(node)) ++depth, node = r->decodedInner;
    return depth;
  };
  EXPECT_EQ(depthAfterRoundTrip(40), 40);
  const int cut = depthAfterRoundTrip(1000);
  EXPECT_TRUE(cut >= 40 && cut < 1000) << cut;
}

// Every key refers to one text object with 20000 keys of its own: decoding work stays in proportion to the size.
TEST_F(NSKeyedArchiverTest, DecodingWorkStaysInProportionToTheArchive) {
  std::string pads, keys, values;
  for (int i = 0; i < 20000; ++i)
    pads += "\"pad" + std::to_string(i) + "\": 0, ", keys += R"({"$uid": 2}, )", values += R"({"$uid": 3}, )";
  const auto archive = testing::encodeKeyedArchive(R"(["$null",
    {"NS.keys": [)" + keys + R"({"$uid": 2}], "NS.objects": [)" + values + R"({"$uid": 3}], "$class": {"$uid": 4}},
    {)" + pads + R"("NS.string": "key", "$class": {"$uid": 5}},
    {"x": 1, "y": 2, "$class": {"$uid": 6}},
    {"$classname": "NSDictionary", "$classes": ["NSDictionary", "NSObject"]},
    {"$classname": "NSString", "$classes": ["NSString", "NSObject"]},
    {"$classname": "ArchiverTestPoint", "$classes": ["ArchiverTestPoint", "NSObject"]}])");
  ASSERT_TRUE(archive);
  const std::uint64_t before = Reader::keysExaminedOnThisThread();
  const auto decoded = NSKeyedUnarchiver::unarchiveDictionaryWithData(*archive);
  const std::uint64_t examined = Reader::keysExaminedOnThisThread() - before;
  ASSERT_TRUE(decoded);
  EXPECT_EQ(asPoint(decoded->at("key"))->x, 1);
  EXPECT_LE(examined, 64 * archive->size()) << "archive of " << archive->size() << " bytes";
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
  for (std::size_t i = 0; i < archive.size(); ++i)
    for (std::uint8_t flip : {0x01, 0x10, 0x80, 0xFF}) {
      Data damaged = archive;
      damaged[i] ^= flip;
      (void)NSKeyedUnarchiver::unarchiveObjectWithData(damaged);
      (void)NSKeyedUnarchiver::unarchiveDictionaryWithData(damaged);
    }
}

TEST_F(NSKeyedArchiverTest, ConcurrencyRegistrationAndDecodingFromManyThreads) {
  const Data archive = NSKeyedArchiver::archivedDataWithRootDictionary({{"a", point(1, 2)}, {"b", point(3, 4)}});
  std::atomic<int> failures{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t)
    threads.emplace_back([&, t] {
      for (int i = 0; i < 200; ++i) {
        if (t % 2 == 0) SetUp();
        const auto d = NSKeyedUnarchiver::unarchiveDictionaryWithData(archive);
        if (!d || d->size() != 2) ++failures;
        (void)NSKeyedArchiver::archivedDataWithRootObject(TestPoint(t, i));
      }
    });
  for (auto& t : threads) t.join();
  EXPECT_EQ(failures, 0);
}

// This program names no storage symbol, so the linker keeps no storage object for it: they must still decode.
TEST(NSKeyedUnarchiverRegistration, StorageClassesDecodeInAProgramThatOnlyUnarchives) {
  struct Chunk : NSCoding {
    std::string archiveClassName() const override { return "OVStorageChunk"; }
    void encodeWithCoder(NSKeyedArchiver& coder) const override {
      coder.encodeInt64ForKey(7, "offset");
      coder.encodeInt64ForKey(9, "length");
    }
  };
  const auto decoded = NSKeyedUnarchiver::unarchiveObjectWithData(NSKeyedArchiver::archivedDataWithRootObject(Chunk{}));
  ASSERT_NE(decoded, nullptr);
  EXPECT_EQ(decoded->archiveClassName(), "OVStorageChunk");
}

using KeyedArchiveInteropTest = NSKeyedArchiverTest;

TEST_F(KeyedArchiveInteropTest, PlistlibReadsOurArchives) {
  TestRecord record;
  record.name = "caf\xC3\xA9 \xF0\x9F\x93\xB7";
  record.blob = Data{0x00, 0xFF, 0x10};
  record.count = -42;
  record.children = NSCodingDictionary{{"b", point(1, 2)}, {"\xC3\xA9", point(1099511627776, -1)}};
  auto inner = std::make_shared<TestRecord>();
  inner->name = "";
  record.inner = inner;
  const auto described = testing::describeKeyedArchive(NSKeyedArchiver::archivedDataWithRootObject(record));
  ASSERT_TRUE(described);
  EXPECT_EQ(*described,
            R"({"$archiver": "NSKeyedArchiver", "$version": 100000, )"
            R"("classRecords": {"ArchiverTestPoint": [1, "NSObject"], )"
            R"("ArchiverTestRecord": [1, "ArchiverTestBase", "NSObject"], )"
            R"("NSMutableDictionary": [1, "NSDictionary", "NSObject"]}, )"
            R"("root": {"$$count": -42, "$class": "ArchiverTestRecord", "blob": {"$data": "00ff10"}, )"
            R"("children": {"$class": "NSMutableDictionary", "entries": {)"
            R"("b": {"$class": "ArchiverTestPoint", "x": 1, "y": 2}, )"
            R"("\u00e9": {"$class": "ArchiverTestPoint", "x": 1099511627776, "y": -1}}}, )"
            R"("inner": {"$$count": 0, "$class": "ArchiverTestRecord", "name": ""}, )"
            R"("name": "caf\u00e9 \ud83d\udcf7"}})");
  record.selfReference = true;  // a back reference, never followed
  const auto r =
      NSKeyedUnarchiver::unarchivedObjectOfClassFromData<TestRecord>(NSKeyedArchiver::archivedDataWithRootObject(record));
  ASSERT_TRUE(r && r->decodedChildren && r->decodedChildren->size() == 2);
  EXPECT_EQ(std::tuple(r->name, r->blob, r->count), std::tuple(record.name, record.blob, -42));
  EXPECT_EQ(asPoint(r->decodedChildren->at("\xC3\xA9"))->x, 1099511627776);
  EXPECT_TRUE(r->hadInner && !r->decodedSelf);
  const auto in = std::dynamic_pointer_cast<TestRecord>(r->decodedInner);
  ASSERT_TRUE(in);
  // Empty text is a value; absent keys give nothing and 0.
  EXPECT_EQ(std::pair(in->name, in->blob), std::pair(std::optional<std::string>(""), std::optional<Data>()));
  EXPECT_FALSE(in->hadInner || in->decodedChildren || in->decodedInner || in->count);

  // Over 65536 objects: four-byte references and offsets.
  NSCodingDictionary dictionary;
  for (int i = 0; i < 25000; ++i) dictionary["id-" + std::to_string(i)] = point(i * 3, -i);
  const auto large = testing::describeKeyedArchive(NSKeyedArchiver::archivedDataWithRootDictionary(dictionary));
  ASSERT_TRUE(large);
  for (const char* part : {R"("classRecords": {"ArchiverTestPoint": [1, "NSObject"], "NSMutableDictionary": [1, )",
                           R"("id-0": {"$class": "ArchiverTestPoint", "x": 0, "y": 0})",
                           R"("id-24999": {"$class": "ArchiverTestPoint", "x": 74997, "y": -24999})"})
    EXPECT_NE(large->find(part), std::string::npos) << part;
}

TEST_F(KeyedArchiveInteropTest, OurUnarchiverReadsPlistlibArchives) {
  // A key text under two references (the first entry wins), UTF-16 and NSMutableString keys, shared values;
  // a UID past $objects and $null as keys are left out.
  const auto dictionaryArchive = testing::encodeKeyedArchive(R"([
    "$null",
    {"NS.keys": [{"$uid": 2}, {"$uid": 3}, {"$uid": 2}, {"$uid": 8}, {"$uid": 999}, {"$uid": 0}],
     "NS.objects": [{"$uid": 4}, {"$uid": 6}, {"$uid": 6}, {"$uid": 6}, {"$uid": 4}, {"$uid": 4}], "$class": {"$uid": 7}},
    "thumb-1", "caf\u00e9 \ud83d\udcf7", {"x": 0, "y": 10240, "$class": {"$uid": 5}},
    {"$classname": "ArchiverTestPoint", "$classes": ["ArchiverTestPoint", "NSObject"]},
    {"x": -9223372036854775808, "y": 9223372036854775807, "$class": {"$uid": 5}},
    {"$classname": "NSDictionary", "$classes": ["NSDictionary", "NSObject"]},
    {"NS.string": "mutable key", "$class": {"$uid": 9}},
    {"$classname": "NSMutableString", "$classes": ["NSMutableString", "NSString", "NSObject"]}
  ])");
  ASSERT_TRUE(dictionaryArchive);
  const auto decoded = NSKeyedUnarchiver::unarchiveDictionaryWithData(*dictionaryArchive);
  ASSERT_TRUE(decoded && decoded->size() == 3);
  const auto *first = asPoint(decoded->at("thumb-1")), *second = asPoint(decoded->at("caf\xC3\xA9 \xF0\x9F\x93\xB7"));
  ASSERT_TRUE(first && second);
  EXPECT_EQ(first->y, 10240);
  EXPECT_EQ(std::pair(second->x, second->y), std::pair(INT64_MIN, INT64_MAX));
  EXPECT_EQ(decoded->at("mutable key"), decoded->at("caf\xC3\xA9 \xF0\x9F\x93\xB7"));  // one UID, one object

  // An object with text, data wrapped in NSMutableData and an escaped key.
  const auto recordArchive = testing::encodeKeyedArchive(R"(["$null",
    {"name": {"$uid": 2}, "blob": {"$uid": 3}, "$$count": 7, "$class": {"$uid": 5}}, "\u00dcbersicht",
    {"NS.data": {"$data": "0102030405"}, "$class": {"$uid": 4}},
    {"$classname": "NSMutableData", "$classes": ["NSMutableData", "NSData", "NSObject"]},
    {"$classname": "ArchiverTestRecord", "$classes": ["ArchiverTestRecord", "NSObject"]}])");
  ASSERT_TRUE(recordArchive);
  const auto record = NSKeyedUnarchiver::unarchivedObjectOfClassFromData<TestRecord>(*recordArchive);
  ASSERT_TRUE(record);
  EXPECT_EQ(std::tuple(record->name, record->blob, record->count),
            std::tuple(std::optional<std::string>("\xC3\x9C" "bersicht"), std::optional(Data{1, 2, 3, 4, 5}), 7));

  // Keys and objects of different lengths: no dictionary.
  const auto uneven = testing::encodeKeyedArchive(R"(["$null",
    {"NS.keys": [{"$uid": 2}], "NS.objects": [], "$class": {"$uid": 3}}, "k",
    {"$classname": "NSMutableDictionary", "$classes": ["NSMutableDictionary", "NSDictionary", "NSObject"]}])");
  ASSERT_TRUE(uneven);
  EXPECT_FALSE(NSKeyedUnarchiver::unarchiveDictionaryWithData(*uneven));
}

// A binary property list assembled byte by byte, with trailer fields a test may falsify.
struct RawPlist {
  explicit RawPlist(std::vector<Data> objects = {}) : objects(std::move(objects)) {}
  std::vector<Data> objects;
  unsigned refSize = 1, offsetSize = 1;
  std::uint64_t top = 0;
  std::int64_t countDelta = 0, tableOffsetDelta = 0;  // added to the trailer's fields
  std::vector<std::uint64_t> offsetOverride;

  Data build() const {
    Data out = dataOf("bplist00");
    std::vector<std::uint64_t> offsets;
    for (const Data& o : objects) offsets.push_back(out.size()), out.insert(out.end(), o.begin(), o.end());
    if (!offsetOverride.empty()) offsets = offsetOverride;
    const std::uint64_t table = out.size();
    for (std::uint64_t off : offsets) put(out, off, offsetSize);
    out.insert(out.end(), 6, 0);
    out.push_back(static_cast<std::uint8_t>(offsetSize));
    out.push_back(static_cast<std::uint8_t>(refSize));
    put(out, offsets.size() + countDelta, 8);
    put(out, top, 8);
    put(out, table + tableOffsetDelta, 8);
    return out;
  }
  static void put(Data& out, std::uint64_t v, unsigned n) {
    for (unsigned i = n; i-- > 0;) out.push_back(i < 8 ? static_cast<std::uint8_t>(v >> (8 * i)) : 0);
  }
};

Data arrayOf(std::vector<std::uint8_t> refs) {
  refs.insert(refs.begin(), static_cast<std::uint8_t>(0xA0 | refs.size()));
  return refs;
}

// A chain of n arrays each holding the next, outermost first or last in the table.
RawPlist chain(std::size_t n, bool innerFirst) {
  RawPlist p;
  p.refSize = p.offsetSize = 2;
  for (std::size_t i = 0; i < n; ++i) {
    const std::size_t next = innerFirst ? i - 1 : i + 1;
    if (innerFirst ? i == 0 : i + 1 == n) p.objects.push_back({0xA0});
    else p.objects.push_back({0xA1, static_cast<std::uint8_t>(next >> 8), static_cast<std::uint8_t>(next)});
  }
  if (innerFirst) p.top = n - 1;
  return p;
}

TEST(BinaryPropertyListTest, ValuesRoundTripAtEveryWidth) {
  const std::int64_t integers[] = {0, 1, 255, 256, 65535, 65536, 0xFFFFFFFFll, 0x100000000ll, INT64_MAX, -1, INT64_MIN};
  const std::string texts[] = {"", "short", "exactly fifteen", std::string(300, 'x'),
                               "caf\xC3\xA9 \xE2\x82\xAC \xF0\x9F\x93\xB7"};
  Writer w;
  std::vector<ObjectRef> refs;
  for (auto v : integers) refs.push_back(w.addInteger(v));
  for (const auto& t : texts) refs.push_back(w.addString(t));
  const Data blob(70000, 0xAB);
  for (ObjectRef ref : {w.addString("a\xFF" "b\xC3"), w.addData(blob), w.addData({}), w.addUID(0), w.addUID(0x1234567890ull)})
    refs.push_back(ref);
  const Data bytes = w.finish(w.addArray(refs));  // the reader keeps a view of it
  const auto r = Reader::parse(bytes);
  ASSERT_TRUE(r);
  ASSERT_EQ(r->count(r->top()), refs.size());
  std::size_t i = 0;
  auto next = [&] { return r->item(r->top(), i++); };
  for (auto v : integers) EXPECT_EQ(r->integer(next()), v);
  for (const auto& t : texts) {
    const auto item = next();
    EXPECT_TRUE(r->string(item) == t && r->stringEquals(item, t)) << t;
  }
  EXPECT_EQ(r->type(r->item(r->top(), i - 1)), Type::Utf16String);
  EXPECT_EQ(r->count(r->item(r->top(), i - 1)), 9u);  // code units: the emoji counts two
  EXPECT_EQ(r->string(next()), "a\xEF\xBF\xBD" "b\xEF\xBF\xBD");  // invalid UTF-8: replacement characters
  EXPECT_TRUE(std::ranges::equal(r->bytes(next()), blob));
  EXPECT_EQ(r->bytes(next()).size(), 0u);
  EXPECT_EQ((std::pair{r->uid(next()), r->uid(next())}), std::pair(std::uint64_t{0}, std::uint64_t{0x1234567890}));
}

// Each case breaks one rule of the format; the reader must refuse it.
TEST(BinaryPropertyListTest, RefusesMalformedLists) {
  auto changed = [](void (*change)(RawPlist&)) {
    RawPlist p = RawPlist({{0x10, 1}});
    change(p);
    return p;
  };
  // Many offsets naming one array claim more bytes than the file holds: reading would be quadratic.
  RawPlist sharing = RawPlist({arrayOf({1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1}), {0x10, 1}});
  sharing.offsetOverride.assign(40, 8);
  sharing.offsetOverride[1] = 8 + 15;
  const std::pair<const char*, RawPlist> cases[] = {
      {"two arrays containing each other", RawPlist({arrayOf({1}), arrayOf({0})})},
      {"dictionary whose value is itself", RawPlist({{0xD1, 0, 0}})},
      {"reference past the last object", RawPlist({arrayOf({1})})},
      {"string running past the objects", RawPlist({{0x55, 'a', 'b'}})},
      {"non-ASCII byte in an ASCII string", RawPlist({{0x51, 0xE9}})},
      {"huge extended count", RawPlist({{0x4F, 0x13, 0x7F, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF}})},
      {"extended count that is no integer", RawPlist({{0x4F, 0x51, 'a'}})},
      {"unknown marker", RawPlist({Data{0x70}})},
      {"128-bit integer beyond 64 bits", RawPlist({{0x14, 0, 0, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0, 0}})},
      {"top object out of range", changed([](RawPlist& p) { p.top = 1; })},
      {"more objects than the offset table holds", changed([](RawPlist& p) { p.countDelta = 1000; })},
      {"offset inside the header", changed([](RawPlist& p) { p.offsetOverride = {2}; })},
      {"offset table past the end", changed([](RawPlist& p) { p.tableOffsetDelta = 100; })},
      {"reference size 0", changed([](RawPlist& p) { p.refSize = 0; })},
      {"offset size 9", changed([](RawPlist& p) { p.offsetSize = 9; })},
      {"offsets sharing one array", sharing},
      {"nesting beyond the depth limit", chain(Reader::kMaxDepth + 1, false)},
      {"nesting beyond the limit, inner first", chain(Reader::kMaxDepth + 1, true)},
  };
  for (const auto& [what, plist] : cases) EXPECT_FALSE(Reader::parse(plist.build())) << what;
  // Nesting at the limit and one string under two arrays (shared, not a cycle) are accepted.
  EXPECT_TRUE(Reader::parse(chain(Reader::kMaxDepth, false).build()));
  EXPECT_TRUE(Reader::parse(chain(Reader::kMaxDepth, true).build()));
  EXPECT_TRUE(Reader::parse(RawPlist({arrayOf({1, 2}), arrayOf({3}), arrayOf({3}), {0x51, 'x'}}).build()));
  EXPECT_FALSE(Reader::parse(dataOf("bplist01" + std::string(40, '\0'))));
  EXPECT_FALSE(Reader::parse(dataOf("bplist00")));
}

}  // namespace
}  // namespace orvane
