#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <string>
#include <thread>
#include <vector>

#include "Platform/Foundation/BinaryPropertyList.h"

namespace orvane::bplist {
namespace {

// A binary property list assembled byte by byte: objects, then an offset table
// and trailer whose fields a test may falsify.
struct RawPlist {
  std::vector<Data> objects;
  unsigned refSize = 1;
  unsigned offsetSize = 1;
  std::uint64_t top = 0;
  std::int64_t countDelta = 0;        // added to the object count in the trailer
  std::int64_t tableOffsetDelta = 0;  // added to the offset-table position
  std::vector<std::uint64_t> offsetOverride;

  Data build() const {
    Data out = dataOf("bplist00");
    std::vector<std::uint64_t> offsets;
    for (const Data& o : objects) {
      offsets.push_back(out.size());
      out.insert(out.end(), o.begin(), o.end());
    }
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
    for (unsigned i = n; i-- > 0;)
      out.push_back(i < 8 ? static_cast<std::uint8_t>(v >> (8 * i)) : 0);
  }
};

Data arrayOf(std::vector<std::uint8_t> refs) {
  refs.insert(refs.begin(), static_cast<std::uint8_t>(0xA0 | refs.size()));
  return refs;
}

TEST(BinaryPropertyListTest, IntegersRoundTripAtEveryWidth) {
  const std::int64_t values[] = {0,
                                 1,
                                 255,
                                 256,
                                 65535,
                                 65536,
                                 0xFFFFFFFFll,
                                 0x100000000ll,
                                 std::numeric_limits<std::int64_t>::max(),
                                 -1,
                                 std::numeric_limits<std::int64_t>::min()};
  Writer w;
  std::vector<ObjectRef> refs;
  for (auto v : values) refs.push_back(w.addInteger(v));
  const Data bytes = w.finish(w.addArray(refs));
  const auto r = Reader::parse(bytes);
  ASSERT_TRUE(r);
  ASSERT_EQ(r->type(r->top()), Type::Array);
  ASSERT_EQ(r->count(r->top()), std::size(values));
  for (std::size_t i = 0; i < std::size(values); ++i) {
    const ObjectRef item = r->item(r->top(), i);
    EXPECT_EQ(r->type(item), Type::Integer);
    EXPECT_EQ(r->integer(item), values[i]) << i;
  }
}

TEST(BinaryPropertyListTest, StringsDataAndUidsRoundTrip) {
  const std::string texts[] = {
      "", "short",
      "exactly fifteen",  // first length that needs an extended count
      std::string(300, 'x'),
      "caf\xC3\xA9 \xE2\x82\xAC \xF0\x9F\x93\xB7"};  // é € and a surrogate pair
  Writer w;
  std::vector<ObjectRef> refs;
  for (const auto& t : texts) refs.push_back(w.addString(t));
  const Data blob(70000, 0xAB);
  refs.push_back(w.addData(blob));
  refs.push_back(w.addData({}));
  refs.push_back(w.addUID(0));
  refs.push_back(w.addUID(0x1234567890ull));
  const Data bytes = w.finish(w.addArray(refs));
  const auto r = Reader::parse(bytes);
  ASSERT_TRUE(r);
  for (std::size_t i = 0; i < std::size(texts); ++i) {
    const ObjectRef item = r->item(r->top(), i);
    EXPECT_EQ(r->string(item), texts[i]);
    EXPECT_TRUE(r->stringEquals(item, texts[i]));
  }
  EXPECT_EQ(r->type(r->item(r->top(), 4)), Type::Utf16String);
  EXPECT_EQ(r->count(r->item(r->top(), 4)), 9u);  // code units: the emoji counts two
  const ByteView readBlob = r->bytes(r->item(r->top(), 5));
  EXPECT_EQ(Data(readBlob.begin(), readBlob.end()), blob);
  EXPECT_EQ(r->bytes(r->item(r->top(), 6)).size(), 0u);
  EXPECT_EQ(r->uid(r->item(r->top(), 7)), 0u);
  EXPECT_EQ(r->uid(r->item(r->top(), 8)), 0x1234567890ull);
}

// The writer keeps its tables' room for the thread's next property list, but
// not the room of a large one: a thread that once wrote an archive of a
// million objects does not hold tens of MiB for the rest of its life.
TEST(BinaryPropertyListTest, ThreadKeepsAtMostAFewMebibytesForTheNextWriter) {
  std::thread([] {
    for (const std::size_t objects : {std::size_t{1000}, std::size_t{1} << 20}) {
      {
        bplist::Writer writer;
        std::vector<bplist::ObjectRef> items;
        for (std::size_t i = 0; i < objects; ++i) items.push_back(writer.addInteger(i));
        writer.finish(writer.addArray(items));
      }
      EXPECT_LE(bplist::Writer::spareBytesOnThisThread(), std::size_t{4} << 20) << objects;
      if (objects == 1000) {
        EXPECT_GT(bplist::Writer::spareBytesOnThisThread(), 0u);
      }
    }
  }).join();
}

TEST(BinaryPropertyListTest, InvalidUtf8IsWrittenAsReplacementCharacters) {
  Writer w;
  const Data bytes =
      w.finish(w.addString("a\xFF"
                           "b\xC3"));
  const auto r = Reader::parse(bytes);
  ASSERT_TRUE(r);
  EXPECT_EQ(r->string(r->top()),
            "a\xEF\xBF\xBD"
            "b\xEF\xBF\xBD");
}

TEST(BinaryPropertyListTest, UniqueStringsAreSharedAndReferenceWidthGrows) {
  // 70000 objects need 4-byte references; the shared key is one object.
  Writer w;
  std::vector<ObjectRef> keys, values;
  for (int i = 0; i < 35000; ++i) {
    keys.push_back(w.addUniqueString("k" + std::to_string(i % 7)));
    values.push_back(w.addInteger(i));
  }
  for (int i = 0; i < 35000; ++i) values.push_back(w.addInteger(-i));
  std::vector<ObjectRef> dicts;
  for (std::size_t i = 0; i < 35000; ++i) {
    const ObjectRef k[2] = {keys[i], w.addUniqueString("other")};
    const ObjectRef v[2] = {values[i], values[35000 + i]};
    dicts.push_back(w.addDictionary(k, v, 2));
  }
  const std::size_t expectedObjects = 7 + 1 + 70000 + 35000 + 1;
  const Data bytes = w.finish(w.addArray(dicts));
  const auto r = Reader::parse(bytes);
  ASSERT_TRUE(r);
  EXPECT_EQ(r->objectCount(), expectedObjects);
  EXPECT_EQ(bytes[bytes.size() - 25], 4u);  // reference size in the trailer
  const ObjectRef last = r->item(r->top(), 34999);
  EXPECT_EQ(r->integer(*r->lookup(last, "k6")), 34999);
  EXPECT_EQ(r->integer(*r->lookup(last, "other")), -34999);
  EXPECT_FALSE(r->lookup(last, "k0"));
}

TEST(BinaryPropertyListTest, AcceptsHandMadeListsWithOtherTypes) {
  RawPlist p;
  p.objects = {arrayOf({1, 2, 3, 4, 5, 6}),
               {0x00},
               {0x09},
               {0x23, 0x3F, 0xF0, 0, 0, 0, 0, 0, 0},
               {0x33, 0, 0, 0, 0, 0, 0, 0, 0},
               {0x14, 0, 0, 0, 0, 0, 0, 0, 0, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF},
               {0xC1, 1}};
  const Data bytes = p.build();
  const auto r = Reader::parse(bytes);
  ASSERT_TRUE(r);
  EXPECT_EQ(r->type(1), Type::Null);
  EXPECT_TRUE(r->boolean(2));
  EXPECT_EQ(r->type(3), Type::Real);
  EXPECT_EQ(r->type(4), Type::Date);
  EXPECT_EQ(static_cast<std::uint64_t>(r->integer(5)), ~std::uint64_t{0});
  EXPECT_EQ(r->type(6), Type::Set);
}

// Each case breaks one rule of the format; the reader must refuse it.
TEST(BinaryPropertyListTest, RefusesMalformedLists) {
  struct Case {
    const char* what;
    RawPlist plist;
  };
  auto simple = [](std::vector<Data> objects) {
    RawPlist p;
    p.objects = std::move(objects);
    return p;
  };
  std::vector<Case> cases;
  cases.push_back({"array containing itself", simple({arrayOf({0})})});
  cases.push_back({"two arrays containing each other", simple({arrayOf({1}), arrayOf({0})})});
  cases.push_back({"dictionary whose value is itself", simple({{0xD1, 0, 0}})});
  cases.push_back({"reference past the last object", simple({arrayOf({1})})});
  cases.push_back({"string running past the objects", simple({{0x55, 'a', 'b'}})});
  cases.push_back({"UTF-16 string running past the objects", simple({{0x62, 0, 'a', 0}})});
  cases.push_back({"non-ASCII byte in an ASCII string", simple({{0x51, 0xE9}})});
  cases.push_back({"huge extended count",
                   simple({{0x4F, 0x13, 0x7F, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF}})});
  cases.push_back({"extended count that is no integer", simple({{0x4F, 0x51, 'a'}})});
  cases.push_back({"unknown marker", simple({{0x70}})});
  cases.push_back({"fill byte as an object", simple({{0x0F}})});
  cases.push_back({"integer of 32 bytes", simple({{0x15, 0}})});
  cases.push_back({"128-bit integer beyond 64 bits",
                   simple({{0x14, 0, 0, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0, 0}})});
  cases.push_back({"UID of 9 bytes", simple({{0x88, 0, 0, 0, 0, 0, 0, 0, 0, 1}})});
  {
    RawPlist p = simple({{0x10, 1}});
    p.top = 1;
    cases.push_back({"top object out of range", p});
  }
  {
    RawPlist p = simple({{0x10, 1}});
    p.countDelta = 1000;
    cases.push_back({"more objects than the offset table holds", p});
  }
  {
    RawPlist p = simple({{0x10, 1}});
    p.offsetOverride = {2};
    cases.push_back({"offset inside the header", p});
  }
  {
    RawPlist p = simple({{0x10, 1}});
    p.offsetOverride = {10};
    cases.push_back({"offset at the offset table", p});
  }
  {
    RawPlist p = simple({{0x10, 1}});
    p.tableOffsetDelta = 100;
    cases.push_back({"offset table past the end", p});
  }
  {
    RawPlist p = simple({{0x10, 1}});
    p.refSize = 0;
    cases.push_back({"reference size 0", p});
  }
  {
    RawPlist p = simple({{0x10, 1}});
    p.offsetSize = 9;
    cases.push_back({"offset size 9", p});
  }
  {
    // Many offsets naming the same array: the objects claim more bytes than
    // the file holds, which would make reading quadratic.
    RawPlist p = simple({arrayOf({1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1}), {0x10, 1}});
    p.offsetOverride.assign(40, 8);
    p.offsetOverride[1] = 8 + 15;
    cases.push_back({"offsets sharing one array", p});
  }
  {
    // A chain of arrays one deeper than allowed.
    RawPlist p;
    const std::size_t n = Reader::kMaxDepth + 1;
    p.refSize = 2;
    for (std::size_t i = 0; i < n; ++i) {
      if (i + 1 < n)
        p.objects.push_back(
            {0xA1, static_cast<std::uint8_t>((i + 1) >> 8), static_cast<std::uint8_t>(i + 1)});
      else
        p.objects.push_back({0xA0});
    }
    p.offsetSize = 2;
    cases.push_back({"nesting beyond the depth limit", p});
  }
  {
    // The same chain with the innermost array first in the object table.
    RawPlist p;
    const std::size_t n = Reader::kMaxDepth + 1;
    p.refSize = 2;
    p.offsetSize = 2;
    p.objects.push_back({0xA0});
    for (std::size_t i = 1; i < n; ++i)
      p.objects.push_back(
          {0xA1, static_cast<std::uint8_t>((i - 1) >> 8), static_cast<std::uint8_t>(i - 1)});
    p.top = n - 1;
    cases.push_back({"nesting beyond the depth limit, inner objects first", p});
  }
  for (const auto& c : cases) EXPECT_FALSE(Reader::parse(c.plist.build())) << c.what;

  EXPECT_FALSE(Reader::parse(dataOf("bplist01" + std::string(40, '\0'))));
  EXPECT_FALSE(Reader::parse(dataOf("bplist00")));
}

TEST(BinaryPropertyListTest, AcceptsSharedObjectsAndNestingAtTheLimit) {
  {
    // The same string under two arrays: shared, not a cycle.
    RawPlist p;
    p.objects = {arrayOf({1, 2}), arrayOf({3}), arrayOf({3}), {0x51, 'x'}};
    EXPECT_TRUE(Reader::parse(p.build()));
  }
  {
    RawPlist p;
    const std::size_t n = Reader::kMaxDepth;
    p.refSize = 2;
    p.offsetSize = 2;
    for (std::size_t i = 0; i + 1 < n; ++i)
      p.objects.push_back(
          {0xA1, static_cast<std::uint8_t>((i + 1) >> 8), static_cast<std::uint8_t>(i + 1)});
    p.objects.push_back({0xA0});
    EXPECT_TRUE(Reader::parse(p.build()));
  }
}

}  // namespace
}  // namespace orvane::bplist
