// The storage manager's update path, split into its parts, beside an SQLite
// table holding the same items, in the same run:
//
//   BM_Update_StoreWrite/N      the default store writes a 10 KiB item (in place)
//   BM_Update_Archive/N         archiving the store with N items (fsyncs the chunk file)
//   BM_Update_DefaultsWrite/N   writing that archive into the user defaults
//   BM_Update_Manager/N         the whole updateDataWithIdentifier: all three
//   BM_Update_SqliteUpsert*/N   the peer: upsert of the same 10 KiB blob into a
//                               table of N such blobs (WAL; NORMAL and FULL sync)
//   BM_Restore_*/N              start-up: defaults read, unarchiving, both
//
// The per_item counter is the wall-clock time divided by N (the number of
// items already stored): the figure to hold against 300 ns per update
// (archive + defaults write) and 500 ns per item at restore. Wall-clock,
// because the archive's fsync and the defaults' writes are time spent waiting
// for the disk; the CPU column shows the computing part.
#include <benchmark/benchmark.h>
#include <sqlite3.h>
#include <stdlib.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <map>
#include <memory>
#include <string>

#include "Storage/OVStorageManagerTesting.h"
#include "support/ItemBytes.h"
#include "orvane/Platform/Foundation/Environment.h"
#include "Platform/Foundation/EnvironmentOverrides.h"
#include "orvane/Platform/Foundation/NSKeyedArchiver.h"
#include "orvane/Platform/Foundation/NSUserDefaults.h"
#include "orvane/Storage/OVStorageManager.h"

namespace {

using namespace orvane;

constexpr std::size_t kItemSize = 10 << 10;

Data itemBytes(std::uint32_t seed) { return testing::itemBytes(kItemSize, seed); }

std::string itemName(std::int64_t i) {
  char name[32];
  std::snprintf(name, sizeof name, "thumb-%07lld", static_cast<long long>(i));
  return name;
}

// Everything below one temporary directory, removed at exit.
const std::filesystem::path& benchRoot() {
  static const std::filesystem::path root = [] {
    std::string pattern =
        (std::filesystem::temp_directory_path() / "orvane-bench-manager-XXXXXX").string();
    if (!mkdtemp(pattern.data())) std::abort();
    std::atexit([] {
      std::error_code ec;
      std::filesystem::remove_all(benchRoot(), ec);
    });
    return std::filesystem::path(pattern);
  }();
  return root;
}

struct SqliteTable {
  sqlite3* db = nullptr;
  sqlite3_stmt* upsert = nullptr;
  ~SqliteTable() {
    sqlite3_finalize(upsert);
    sqlite3_close(db);
  }
};

// N items stored through a manager of its own (and the same items in an
// SQLite table), in a directory and defaults of its own.
struct Fixture {
  std::filesystem::path dir;
  std::shared_ptr<OVStorageManager> manager;
  std::shared_ptr<NSUserDefaults> defaults;
  SqliteTable sqlite;
  std::int64_t count = 0;
  Data hot = itemBytes(1234567);

  explicit Fixture(std::int64_t n) : dir(benchRoot() / std::to_string(n)), count(n) {
    useEnvironment();
    manager = OVStorageManagerTesting::make();
    defaults = NSUserDefaults::standardUserDefaults();
    for (std::int64_t i = 0; i < n; ++i)
      manager->defStorage()->updateDataWithIdentifier(itemBytes(static_cast<std::uint32_t>(i)),
                                                      itemName(i));
    manager->saveDefaultStorage();

    sqlite3_open((dir / "peer.sqlite3").c_str(), &sqlite.db);
    sqlite3_exec(sqlite.db,
                 "PRAGMA journal_mode=WAL; PRAGMA synchronous=NORMAL;"
                 "CREATE TABLE items(key TEXT PRIMARY KEY NOT NULL, value BLOB NOT NULL);"
                 "BEGIN",
                 nullptr, nullptr, nullptr);
    sqlite3_prepare_v2(sqlite.db,
                       "INSERT INTO items(key, value) VALUES(?1, ?2) "
                       "ON CONFLICT(key) DO UPDATE SET value = excluded.value",
                       -1, &sqlite.upsert, nullptr);
    for (std::int64_t i = 0; i < n; ++i)
      upsertPeer(itemName(i), itemBytes(static_cast<std::uint32_t>(i)));
    sqlite3_exec(sqlite.db, "COMMIT; PRAGMA wal_checkpoint(TRUNCATE)", nullptr, nullptr, nullptr);
    // The set-up wrote a lot; none of it may be flushed inside a timed loop.
    ::sync();
  }

  void useEnvironment() const {
    EnvironmentOverrides o;
    o.applicationIdentifier = "org.orvane.bench";
    o.dataHome = dir / "data";
    o.cacheHome = dir / "cache";
    o.configHome = dir / "config";
    setEnvironmentOverrides(o);
  }

  void upsertPeer(const std::string& key, const Data& value) {
    sqlite3_bind_text(sqlite.upsert, 1, key.data(), static_cast<int>(key.size()), SQLITE_STATIC);
    sqlite3_bind_blob(sqlite.upsert, 2, value.data(), static_cast<int>(value.size()),
                      SQLITE_STATIC);
    if (sqlite3_step(sqlite.upsert) != SQLITE_DONE) std::abort();
    sqlite3_reset(sqlite.upsert);
  }

  // An existing item, a different one each call.
  std::string nextName() { return itemName(next++ % count); }
  std::int64_t next = 0;
};

Fixture& fixture(std::int64_t n) {
  static std::map<std::int64_t, std::unique_ptr<Fixture>> fixtures;
  auto& f = fixtures[n];
  if (!f) f = std::make_unique<Fixture>(n);
  f->useEnvironment();
  return *f;
}

void perItem(benchmark::State& state) {
  state.counters["per_item"] = benchmark::Counter(
      static_cast<double>(state.range(0)),
      benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

void BM_Update_StoreWrite(benchmark::State& state) {
  Fixture& f = fixture(state.range(0));
  for (auto _ : state) f.manager->defStorage()->updateDataWithIdentifier(f.hot, f.nextName());
  perItem(state);
}

void BM_Update_Archive(benchmark::State& state) {
  Fixture& f = fixture(state.range(0));
  std::size_t size = 0;
  for (auto _ : state) {
    Data archive = NSKeyedArchiver::archivedDataWithRootObject(*f.manager->defStorage());
    size = archive.size();
    benchmark::DoNotOptimize(archive.data());
  }
  state.counters["archive_bytes"] = static_cast<double>(size);
  perItem(state);
}

void BM_Update_DefaultsWrite(benchmark::State& state) {
  Fixture& f = fixture(state.range(0));
  const Data archive = NSKeyedArchiver::archivedDataWithRootObject(*f.manager->defStorage());
  const std::string key = f.manager->keyForDefaultStorage();
  for (auto _ : state)
    if (!f.defaults->setObjectForKey(archive, key)) state.SkipWithError("defaults write failed");
  perItem(state);
}

void BM_Update_Manager(benchmark::State& state) {
  Fixture& f = fixture(state.range(0));
  for (auto _ : state) f.manager->updateDataWithIdentifier(f.hot, f.nextName());
  perItem(state);
}

void upsertPeerBench(benchmark::State& state, const char* synchronous) {
  Fixture& f = fixture(state.range(0));
  sqlite3_exec(f.sqlite.db, synchronous, nullptr, nullptr, nullptr);
  for (auto _ : state) f.upsertPeer(f.nextName(), f.hot);
  sqlite3_exec(f.sqlite.db, "PRAGMA synchronous=NORMAL", nullptr, nullptr, nullptr);
  perItem(state);
}

void BM_Update_SqliteUpsertNormal(benchmark::State& state) {
  upsertPeerBench(state, "PRAGMA synchronous=NORMAL");
}

void BM_Update_SqliteUpsertFull(benchmark::State& state) {
  upsertPeerBench(state, "PRAGMA synchronous=FULL");
}

void BM_Restore_DefaultsRead(benchmark::State& state) {
  Fixture& f = fixture(state.range(0));
  f.manager->saveDefaultStorage();
  const std::string key = f.manager->keyForDefaultStorage();
  for (auto _ : state) benchmark::DoNotOptimize(f.defaults->dataForKey(key));
  perItem(state);
}

void BM_Restore_Unarchive(benchmark::State& state) {
  Fixture& f = fixture(state.range(0));
  const Data archive = NSKeyedArchiver::archivedDataWithRootObject(*f.manager->defStorage());
  for (auto _ : state) {
    auto storage = NSKeyedUnarchiver::unarchivedObjectOfClassFromData<OVStorage>(archive);
    if (!storage) state.SkipWithError("no store decoded");
    benchmark::DoNotOptimize(storage.get());
  }
  perItem(state);
}

void BM_Restore_Manager(benchmark::State& state) {
  Fixture& f = fixture(state.range(0));
  f.manager->saveDefaultStorage();
  for (auto _ : state) {
    auto storage = f.manager->restoreDefaultStorage();
    if (!storage) state.SkipWithError("no store restored");
    benchmark::DoNotOptimize(storage.get());
  }
  perItem(state);
}

#define SIZES ->Arg(1000)->Arg(10000)->Arg(100000)->Unit(benchmark::kMicrosecond)->UseRealTime()
BENCHMARK(BM_Update_StoreWrite) SIZES;
BENCHMARK(BM_Update_Archive) SIZES;
BENCHMARK(BM_Update_DefaultsWrite) SIZES;
BENCHMARK(BM_Update_Manager) SIZES;
BENCHMARK(BM_Update_SqliteUpsertNormal) SIZES;
BENCHMARK(BM_Update_SqliteUpsertFull) SIZES;
BENCHMARK(BM_Restore_DefaultsRead) SIZES;
BENCHMARK(BM_Restore_Unarchive) SIZES;
BENCHMARK(BM_Restore_Manager) SIZES;

}  // namespace

BENCHMARK_MAIN();
