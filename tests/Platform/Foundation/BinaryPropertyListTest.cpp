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
  const std::int64_t integers[] = {0, 1, 255, 256, 65535, 65536, 0xFFFFFFFFll, 0x100000000ll,
                                   INT64_MAX, -1, INT64_MIN};
  const std::string texts[] = {"", "short", "exactly fifteen", std::string(300, 'x'),
                               "caf\xC3\xA9 \xE2\x82\xAC \xF0\x9F\x93\xB7", "a\xFF" "b\xC3"};
  Writer w;
  std::vector<ObjectRef> refs;
  for (auto v : integers) refs.push_back(w.addInteger(v));
  for (const auto& t : texts) refs.push_back(w.addString(t));
  const Data blob(70000, 0xAB);
  refs.push_back(w.addData(blob));
  refs.push_back(w.addData({}));
  refs.push_back(w.addUID(0));
  refs.push_back(w.addUID(0x1234567890ull));
  const Data bytes = w.finish(w.addArray(refs));  // the reader keeps a view of it
  const auto r = Reader::parse(bytes);
  ASSERT_TRUE(r);
  ASSERT_EQ(r->count(r->top()), refs.size());
  auto item = [&](std::size_t i) { return r->item(r->top(), i); };
  std::size_t i = 0;
  for (auto v : integers) {
    EXPECT_EQ(r->type(item(i)), Type::Integer);
    EXPECT_EQ(r->integer(item(i++)), v);
  }
  for (std::size_t t = 0; t + 1 < std::size(texts); ++t, ++i) {
    EXPECT_EQ(r->string(item(i)), texts[t]);
    EXPECT_TRUE(r->stringEquals(item(i), texts[t]));
  }
  EXPECT_EQ(r->type(item(i - 1)), Type::Utf16String);
  EXPECT_EQ(r->count(item(i - 1)), 9u);  // code units: the emoji counts two
  // Invalid UTF-8 is written as replacement characters.
  EXPECT_EQ(r->string(item(i++)), "a\xEF\xBF\xBD" "b\xEF\xBF\xBD");
  const ByteView readBlob = r->bytes(item(i++));
  EXPECT_EQ(Data(readBlob.begin(), readBlob.end()), blob);
  EXPECT_EQ(r->bytes(item(i++)).size(), 0u);
  EXPECT_EQ(r->uid(item(i++)), 0u);
  EXPECT_EQ(r->uid(item(i)), 0x1234567890ull);
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
  p.objects = {arrayOf({1, 2, 3, 4, 5, 6}), {0x00}, {0x09}, {0x23, 0x3F, 0xF0, 0, 0, 0, 0, 0, 0},
               {0x33, 0, 0, 0, 0, 0, 0, 0, 1},
               {0x14, 0, 0, 0, 0, 0, 0, 0, 0, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF}, {0xC1, 1}};
  const Data bytes = p.build();
  const auto r = Reader::parse(bytes);
  ASSERT_TRUE(r);
  EXPECT_EQ(r->type(1), Type::Null);
  EXPECT_TRUE(r->boolean(2));
  EXPECT_EQ(r->type(3), Type::Real);
  EXPECT_EQ(r->type(4), Type::Date);
  EXPECT_EQ(r->integer(3), 0x3FF0000000000000);  // the bit patterns of 1.0 and of the date
  EXPECT_EQ(r->integer(4), 1);
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
  cases.push_back({"extended count of 16 bytes",
                   simple({{0x5F, 0x14, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1, 'a'}})});
  cases.push_back({"unknown marker", simple({{0x70}})});
  cases.push_back({"fill byte as an object", simple({{0x0F}})});
  cases.push_back({"integer of 32 bytes", simple({{0x15, 0}})});
  cases.push_back({"128-bit integer beyond 64 bits",
                   simple({{0x14, 0, 0, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0, 0}})});
  cases.push_back({"UID of 9 bytes", simple({{0x88, 0, 0, 0, 0, 0, 0, 0, 0, 1}})});
  auto one = [&](const char* what, auto change) {
    RawPlist p = simple({{0x10, 1}});
    change(p);
    cases.push_back({what, p});
  };
  one("top object out of range", [](RawPlist& p) { p.top = 1; });
  one("more objects than the offset table holds", [](RawPlist& p) { p.countDelta = 1000; });
  one("offset inside the header", [](RawPlist& p) { p.offsetOverride = {2}; });
  one("offset at the offset table", [](RawPlist& p) { p.offsetOverride = {10}; });
  one("offset table past the end", [](RawPlist& p) { p.tableOffsetDelta = 100; });
  one("reference size 0", [](RawPlist& p) { p.refSize = 0; });
  one("offset size 9", [](RawPlist& p) { p.offsetSize = 9; });
  {
    // Many offsets naming the same array: the objects claim more bytes than
    // the file holds, which would make reading quadratic.
    RawPlist p = simple({arrayOf({1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1}), {0x10, 1}});
    p.offsetOverride.assign(40, 8);
    p.offsetOverride[1] = 8 + 15;
    cases.push_back({"offsets sharing one array", p});
  }
  cases.push_back({"nesting beyond the depth limit", chain(Reader::kMaxDepth + 1, false)});
  cases.push_back({"nesting beyond the limit, inner first", chain(Reader::kMaxDepth + 1, true)});
  for (const auto& c : cases) EXPECT_FALSE(Reader::parse(c.plist.build())) << c.what;

  EXPECT_FALSE(Reader::parse(dataOf("bplist01" + std::string(40, '\0'))));
  EXPECT_FALSE(Reader::parse(dataOf("bplist00")));
}

TEST(BinaryPropertyListTest, AcceptsSharedObjectsAndNestingAtTheLimit) {
  RawPlist shared;  // the same string under two arrays: shared, not a cycle
  shared.objects = {arrayOf({1, 2}), arrayOf({3}), arrayOf({3}), {0x51, 'x'}};
  EXPECT_TRUE(Reader::parse(shared.build()));
  EXPECT_TRUE(Reader::parse(chain(Reader::kMaxDepth, false).build()));
  EXPECT_TRUE(Reader::parse(chain(Reader::kMaxDepth, true).build()));
}

}  // namespace
}  // namespace orvane::bplist
