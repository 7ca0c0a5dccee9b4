// Keyed archiving of a 100 000-item dictionary (text key -> object of two
// 64-bit integers, shaped like a store's chunk index) beside libplist's binary
// writer and reader on the same archive, in the same run. Compare the
// time_per_item column of the *_Orvane rows with the *_libplist rows:
//   Encode_Orvane        archivedDataWithRootDictionary, objects to bytes
//   Encode_libplist      the same keyed-archive tree built with libplist's
//                        nodes, then plist_to_bin
//   Write_libplist       plist_to_bin alone, on a tree built beforehand
//   Decode_Orvane        unarchiveDictionaryWithData, bytes to objects
//   Read_libplist        plist_from_bin of our archive to libplist's tree
// and two rows for a dictionary handed over as a flat list in no key order
// (as a store hands over its hashed index):
//   EncodeList_Orvane    encodeDictionaryForKey with the list
//   DecodeUnordered_Orvane  decoding that archive, whose keys are not sorted
#include <benchmark/benchmark.h>
#include <plist/plist.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <random>

#include "orvane/Platform/Foundation/NSKeyedArchiver.h"

namespace {

using namespace orvane;

constexpr int kItems = 100000;

class BenchChunk : public NSCoding {
 public:
  BenchChunk(std::int64_t offset, std::int64_t length) : offset(offset), length(length) {}
  std::string archiveClassName() const override { return "OVStorageChunk"; }
  void encodeWithCoder(NSKeyedArchiver& coder) const override {
    coder.encodeInt64ForKey(offset, "offset");
    coder.encodeInt64ForKey(length, "length");
  }
  std::int64_t offset, length;
};

// Item identifiers like the store's digest texts: 32 upper-case hex digits.
std::string identifier(int i) {
  char text[33];
  std::snprintf(text, sizeof text, "%08X%08X%08X%08X", i * 2654435761u, i, ~i, i * 40503u);
  return text;
}

const NSCodingDictionary& index() {
  static const NSCodingDictionary d = [] {
    NSCodingDictionary m;
    std::int64_t offset = 0;
    for (int i = 0; i < kItems; ++i) {
      const std::int64_t length = 1000 + (i * 7919) % 60000;
      m.emplace(identifier(i), std::make_shared<BenchChunk>(offset, length));
      offset += length;
    }
    return m;
  }();
  return d;
}

const Data& archive() {
  static const Data a = NSKeyedArchiver::archivedDataWithRootDictionary(index());
  return a;
}

void registerChunk() {
  static const bool done = [] {
    NSKeyedUnarchiver::registerClass("OVStorageChunk", [](NSKeyedUnarchiver& coder) {
      return std::make_shared<BenchChunk>(coder.decodeInt64ForKey("offset"),
                                          coder.decodeInt64ForKey("length"));
    });
    return true;
  }();
  (void)done;
}

void perItem(benchmark::State& state) {
  state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations()) * kItems);
  // Seconds per item, shown with an SI prefix (n for nanoseconds).
  state.counters["time_per_item"] = benchmark::Counter(
      kItems, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
  state.counters["archive_bytes"] = static_cast<double>(archive().size());
}

// The archive's tree in libplist's nodes, laid out as our archiver lays it out.
plist_t libplistTree() {
  plist_t objects = plist_new_array();
  plist_array_append_item(objects, plist_new_string("$null"));
  plist_t root = plist_new_dict();
  plist_array_append_item(objects, root);
  plist_t keys = plist_new_array();
  plist_t values = plist_new_array();
  std::uint64_t uid = 2;
  for (const auto& entry : index()) {
    plist_array_append_item(objects, plist_new_string(entry.first.c_str()));
    plist_array_append_item(keys, plist_new_uid(uid++));
  }
  const std::uint64_t chunkClass = uid + kItems;
  for (const auto& entry : index()) {
    const auto& chunk = static_cast<const BenchChunk&>(*entry.second);
    plist_t object = plist_new_dict();
    plist_dict_set_item(object, "offset", plist_new_uint(static_cast<std::uint64_t>(chunk.offset)));
    plist_dict_set_item(object, "length", plist_new_uint(static_cast<std::uint64_t>(chunk.length)));
    plist_dict_set_item(object, "$class", plist_new_uid(chunkClass));
    plist_array_append_item(objects, object);
    plist_array_append_item(values, plist_new_uid(uid++));
  }
  auto classRecord = [](const char* name, std::initializer_list<const char*> chain) {
    plist_t record = plist_new_dict();
    plist_t classes = plist_new_array();
    for (const char* c : chain) plist_array_append_item(classes, plist_new_string(c));
    plist_dict_set_item(record, "$classname", plist_new_string(name));
    plist_dict_set_item(record, "$classes", classes);
    return record;
  };
  plist_array_append_item(objects, classRecord("OVStorageChunk", {"OVStorageChunk", "NSObject"}));
  plist_array_append_item(
      objects,
      classRecord("NSMutableDictionary", {"NSMutableDictionary", "NSDictionary", "NSObject"}));
  plist_dict_set_item(root, "NS.keys", keys);
  plist_dict_set_item(root, "NS.objects", values);
  plist_dict_set_item(root, "$class", plist_new_uid(chunkClass + 1));

  plist_t top = plist_new_dict();
  plist_dict_set_item(top, "root", plist_new_uid(1));
  plist_t archiveDict = plist_new_dict();
  plist_dict_set_item(archiveDict, "$version", plist_new_uint(100000));
  plist_dict_set_item(archiveDict, "$archiver", plist_new_string("NSKeyedArchiver"));
  plist_dict_set_item(archiveDict, "$top", top);
  plist_dict_set_item(archiveDict, "$objects", objects);
  return archiveDict;
}

void BM_Encode_Orvane(benchmark::State& state) {
  const auto& d = index();
  for (auto _ : state) benchmark::DoNotOptimize(NSKeyedArchiver::archivedDataWithRootDictionary(d));
  perItem(state);
}

void BM_Decode_Orvane(benchmark::State& state) {
  registerChunk();
  const Data& a = archive();
  for (auto _ : state) {
    auto decoded = NSKeyedUnarchiver::unarchiveDictionaryWithData(a);
    if (!decoded || decoded->size() != kItems) state.SkipWithError("decoding failed");
    benchmark::DoNotOptimize(decoded);
  }
  perItem(state);
}

void BM_Encode_libplist(benchmark::State& state) {
  index();
  for (auto _ : state) {
    plist_t tree = libplistTree();
    char* bytes = nullptr;
    std::uint32_t length = 0;
    plist_to_bin(tree, &bytes, &length);
    benchmark::DoNotOptimize(bytes);
    plist_to_bin_free(bytes);
    plist_free(tree);
  }
  perItem(state);
}

void BM_Write_libplist(benchmark::State& state) {
  index();
  plist_t tree = libplistTree();
  for (auto _ : state) {
    char* bytes = nullptr;
    std::uint32_t length = 0;
    plist_to_bin(tree, &bytes, &length);
    benchmark::DoNotOptimize(bytes);
    plist_to_bin_free(bytes);
  }
  plist_free(tree);
  perItem(state);
}

void BM_Read_libplist(benchmark::State& state) {
  const Data& a = archive();
  for (auto _ : state) {
    plist_t tree = nullptr;
    plist_from_bin(reinterpret_cast<const char*>(a.data()), static_cast<std::uint32_t>(a.size()),
                   &tree);
    if (!tree) state.SkipWithError("libplist could not read the archive");
    benchmark::DoNotOptimize(tree);
    plist_free(tree);
  }
  perItem(state);
}

// An object holding the index as a flat list in no particular order.
class ListHolder : public NSCoding {
 public:
  static ListHolder shuffledIndex() {
    ListHolder h;
    for (const auto& [key, value] : index()) h.list.push_back({key, value.get()});
    std::shuffle(h.list.begin(), h.list.end(), std::mt19937(1));
    return h;
  }
  std::string archiveClassName() const override { return "BenchListHolder"; }
  void encodeWithCoder(NSKeyedArchiver& coder) const override {
    coder.encodeDictionaryForKey(list, "index");
  }
  std::vector<NSCodingDictionaryEntry> list;
};

void BM_EncodeList_Orvane(benchmark::State& state) {
  const ListHolder holder = ListHolder::shuffledIndex();
  for (auto _ : state)
    benchmark::DoNotOptimize(NSKeyedArchiver::archivedDataWithRootObject(holder));
  perItem(state);
}

void BM_DecodeUnordered_Orvane(benchmark::State& state) {
  registerChunk();
  NSKeyedUnarchiver::registerClass("BenchListHolder", [](NSKeyedUnarchiver& coder) {
    const auto decoded = coder.decodeDictionaryForKey("index");
    return decoded && decoded->size() == kItems ? std::make_shared<ListHolder>() : nullptr;
  });
  const Data a = NSKeyedArchiver::archivedDataWithRootObject(ListHolder::shuffledIndex());
  for (auto _ : state) {
    if (!NSKeyedUnarchiver::unarchiveObjectWithData(a)) state.SkipWithError("decoding failed");
  }
  perItem(state);
}

BENCHMARK(BM_Encode_Orvane)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Encode_libplist)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Write_libplist)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Decode_Orvane)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Read_libplist)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_EncodeList_Orvane)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_DecodeUnordered_Orvane)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
