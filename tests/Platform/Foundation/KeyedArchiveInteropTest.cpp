// Archives we write, read by Python's plistlib; archives plistlib writes in the
// platform archiver's layout, read by our unarchiver.
#include <gtest/gtest.h>

#include "ArchiverTestClasses.h"
#include "support/KeyedArchiveScript.h"
#include "orvane/Platform/Foundation/NSKeyedArchiver.h"

namespace orvane {
namespace {

using testing::TestPoint;
using testing::TestRecord;

class KeyedArchiveInteropTest : public ::testing::Test {
 protected:
  void SetUp() override { testing::registerArchiverTestClasses(); }
};

TEST_F(KeyedArchiveInteropTest, PlistlibReadsOurArchive) {
  TestRecord record;
  record.name = "caf\xC3\xA9 \xF0\x9F\x93\xB7";
  record.blob = Data{0x00, 0xFF, 0x10};
  record.count = -42;
  record.children =
      NSCodingDictionary{{"b", std::make_shared<TestPoint>(1, 2)},
                         {"\xC3\xA9", std::make_shared<TestPoint>(1099511627776, -1)}};
  auto inner = std::make_shared<TestRecord>();
  inner->name = "";
  record.inner = inner;

  const auto described =
      testing::describeKeyedArchive(NSKeyedArchiver::archivedDataWithRootObject(record));
  ASSERT_TRUE(described);
  EXPECT_EQ(
      *described,
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
}

TEST_F(KeyedArchiveInteropTest, PlistlibReadsALargeArchive) {
  // Over 65536 objects: four-byte references and offsets.
  NSCodingDictionary dictionary;
  for (int i = 0; i < 25000; ++i)
    dictionary["id-" + std::to_string(i)] = std::make_shared<TestPoint>(i * 3, -i);
  const auto described =
      testing::describeKeyedArchive(NSKeyedArchiver::archivedDataWithRootDictionary(dictionary));
  ASSERT_TRUE(described);
  EXPECT_NE(
      described->find(R"("classRecords": {"ArchiverTestPoint": [1, "NSObject"], "NSMutableDictionary": [1, )"),
      std::string::npos);
  EXPECT_NE(described->find(R"("id-0": {"$class": "ArchiverTestPoint", "x": 0, "y": 0})"),
            std::string::npos);
  EXPECT_NE(
      described->find(R"("id-24999": {"$class": "ArchiverTestPoint", "x": 74997, "y": -24999})"),
      std::string::npos);
}

TEST_F(KeyedArchiveInteropTest, OurUnarchiverReadsPlistlibArchives) {
  // An NSDictionary whose first key text is shared by two references (the
  // first entry wins), a UTF-16 key, values shared between keys.
  const auto dictionaryArchive = testing::encodeKeyedArchive(R"([
    "$null",
    {"NS.keys": [{"$uid": 2}, {"$uid": 3}, {"$uid": 2}, {"$uid": 8}],
     "NS.objects": [{"$uid": 4}, {"$uid": 6}, {"$uid": 6}, {"$uid": 6}],
     "$class": {"$uid": 7}},
    "thumb-1",
    "caf\u00e9 \ud83d\udcf7",
    {"x": 0, "y": 10240, "$class": {"$uid": 5}},
    {"$classname": "ArchiverTestPoint", "$classes": ["ArchiverTestPoint", "NSObject"]},
    {"x": -9223372036854775808, "y": 9223372036854775807, "$class": {"$uid": 5}},
    {"$classname": "NSDictionary", "$classes": ["NSDictionary", "NSObject"]},
    {"NS.string": "mutable key", "$class": {"$uid": 9}},
    {"$classname": "NSMutableString", "$classes": ["NSMutableString", "NSString", "NSObject"]}
  ])");
  ASSERT_TRUE(dictionaryArchive);
  const auto decoded = NSKeyedUnarchiver::unarchiveDictionaryWithData(*dictionaryArchive);
  ASSERT_TRUE(decoded);
  ASSERT_EQ(decoded->size(), 3u);
  const auto* first = dynamic_cast<const TestPoint*>(decoded->at("thumb-1").get());
  const auto* second =
      dynamic_cast<const TestPoint*>(decoded->at("caf\xC3\xA9 \xF0\x9F\x93\xB7").get());
  ASSERT_TRUE(first && second);
  EXPECT_EQ(first->y, 10240);
  EXPECT_EQ(second->x, INT64_MIN);
  EXPECT_EQ(second->y, INT64_MAX);
  EXPECT_EQ(decoded->at("mutable key"), decoded->at("caf\xC3\xA9 \xF0\x9F\x93\xB7"));

  // An object with text, wrapped data, an escaped key, a nested
  // NSMutableDictionary and a nested object.
  const auto recordArchive = testing::encodeKeyedArchive(R"([
    "$null",
    {"name": {"$uid": 2}, "blob": {"$uid": 3}, "$$count": 7, "children": {"$uid": 5},
     "inner": {"$uid": 9}, "$class": {"$uid": 10}},
    "\u00dcbersicht",
    {"NS.data": {"$data": "0102030405"}, "$class": {"$uid": 4}},
    {"$classname": "NSMutableData", "$classes": ["NSMutableData", "NSData", "NSObject"]},
    {"NS.keys": [{"$uid": 6}], "NS.objects": [{"$uid": 7}], "$class": {"$uid": 11}},
    "k",
    {"x": 1, "y": 2, "$class": {"$uid": 8}},
    {"$classname": "ArchiverTestPoint", "$classes": ["ArchiverTestPoint", "NSObject"]},
    {"blob": {"$uid": 12}, "$class": {"$uid": 10}},
    {"$classname": "ArchiverTestRecord", "$classes": ["ArchiverTestRecord", "NSObject"]},
    {"$classname": "NSMutableDictionary", "$classes": ["NSMutableDictionary", "NSDictionary", "NSObject"]},
    {"$data": ""}
  ])");
  ASSERT_TRUE(recordArchive);
  const auto record =
      NSKeyedUnarchiver::unarchivedObjectOfClassFromData<TestRecord>(*recordArchive);
  ASSERT_TRUE(record);
  EXPECT_EQ(record->name,
            "\xC3\x9C"
            "bersicht");
  EXPECT_EQ(record->blob, (Data{1, 2, 3, 4, 5}));
  EXPECT_EQ(record->count, 7);
  ASSERT_TRUE(record->decodedChildren);
  ASSERT_EQ(record->decodedChildren->size(), 1u);
  EXPECT_EQ(dynamic_cast<const TestPoint&>(*record->decodedChildren->at("k")).y, 2);
  const auto inner = std::dynamic_pointer_cast<TestRecord>(record->decodedInner);
  ASSERT_TRUE(inner);
  EXPECT_FALSE(inner->name);
  EXPECT_EQ(inner->blob, Data{});
}

}  // namespace
}  // namespace orvane
