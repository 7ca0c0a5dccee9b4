// The chunk store beside its peers, on the same items in the same run: raw
// pwrite/pread of the same bytes at the same offsets, an SQLite blob table
// (WAL, synchronous=OFF, prepared statements, one statement per item), LMDB
// (MDB_NOSYNC, one transaction per item) and one file per item. Two workloads:
// 10 000 items of 10 KiB and 200 items of 1 MiB; each iteration saves,
// updates in place, or reads every item once. Files live in a fresh directory
// under $TMPDIR (default /tmp), so everything runs against a warm page cache.
// The table printed at the end gives each peer's throughput as a ratio of the
// store's. Reads run once more over items recorded without checksums
// (OrvaneUnchecked), which prices the check every read makes.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <lmdb.h>
#include <sqlite3.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "orvane/Storage/OVStorage.h"
#include "support/ItemBytes.h"

namespace {

using orvane::Data;
namespace stdfs = std::filesystem;

struct Workload {
  std::size_t count;
  std::size_t size;
};
constexpr Workload kSmall{10000, 10 << 10};
constexpr Workload kLarge{200, 1 << 20};

const Workload& workload(const benchmark::State& state) {
  return state.range(0) == 0 ? kSmall : kLarge;
}

// Two generations of item bytes (for save and for update) and the identifiers.
struct Items {
  std::vector<std::string> ids;
  std::vector<Data> first;
  std::vector<Data> second;
};

const Items& items(const Workload& w) {
  static std::map<std::size_t, Items> cache;
  auto& it = cache[w.size];
  if (it.ids.empty()) {
    std::uint32_t seed = 12345;
    auto fill = [&](Data& d) { d = orvane::testing::itemBytes(w.size, seed++); };
    it.ids.resize(w.count);
    it.first.resize(w.count);
    it.second.resize(w.count);
    for (std::size_t i = 0; i < w.count; ++i) {
      it.ids[i] = orvane::OVStorage::makeIdentifierWithString("item-" + std::to_string(i));
      fill(it.first[i]);
      fill(it.second[i]);
    }
  }
  return it;
}

stdfs::path freshDirectory(const char* name) {
  const char* base = getenv("TMPDIR");
  std::string pattern =
      (stdfs::path(base ? base : "/tmp") / (std::string("orvane-bench-") + name + "-XXXXXX"))
          .string();
  if (!mkdtemp(pattern.data())) throw std::runtime_error("mkdtemp failed");
  return pattern;
}

struct ScopedDirectory {
  explicit ScopedDirectory(const char* name) : path(freshDirectory(name)) {}
  ~ScopedDirectory() { stdfs::remove_all(path); }
  stdfs::path path;
};

void setBytes(benchmark::State& state, const Workload& w) {
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * w.count * w.size));
  state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * w.count));
}

enum class Op { Save, Update, Read };

// ---------------------------------------------------------------- the store

// `checked`: items saved as a host saves them, each with the checksum that
// every read verifies. Without it, items are recorded through the lower
// operations, which record no checksum, so that their reads are the same
// reads unchecked: the two side by side give the cost of the check.
void BM_Orvane(benchmark::State& state, Op op, bool checked = true) {
  const auto& w = workload(state);
  const auto& it = items(w);
  ScopedDirectory dir("store");
  auto store =
      orvane::OVStorage::initWithDestinationIdentifierError(dir.path.string(), "bench", nullptr);
  if (op != Op::Save) {
    for (std::size_t i = 0; i < w.count; ++i) {
      if (checked) {
        store->saveDataWithIdentifier(it.first[i], it.ids[i]);
      } else if (auto chunk = store->saveStorageChunkDataWithIdentifier(it.first[i], it.ids[i])) {
        store->addStorageChunkItemWithIdentifier(*chunk, it.ids[i]);
      }
    }
  }
  for (auto _ : state) {
    if (op == Op::Save) {
      state.PauseTiming();
      store->cleanStorage();
      state.ResumeTiming();
      for (std::size_t i = 0; i < w.count; ++i) {
        if (!store->saveDataWithIdentifier(it.first[i], it.ids[i])) state.SkipWithError("save");
      }
    } else if (op == Op::Update) {
      for (std::size_t i = 0; i < w.count; ++i)
        store->updateDataWithIdentifier(it.second[i], it.ids[i]);
    } else {
      for (std::size_t i = 0; i < w.count; ++i) {
        auto bytes = store->dataWithIdentifier(it.ids[i]);
        benchmark::DoNotOptimize(bytes);
      }
    }
  }
  setBytes(state, w);
}

// ------------------------------------------------------- raw pwrite / pread

// Reads go into a fresh buffer per item (the store hands each item back in a
// buffer of its own) or, for the lower bound, into one reused buffer.
void BM_Raw(benchmark::State& state, Op op, bool freshBuffer) {
  const auto& w = workload(state);
  const auto& it = items(w);
  ScopedDirectory dir("raw");
  const int fd = ::open((dir.path / "chunk").c_str(), O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
  auto offset = [&](std::size_t i) { return static_cast<off_t>(i * w.size); };
  if (op != Op::Save) {
    for (std::size_t i = 0; i < w.count; ++i) {
      if (::pwrite(fd, it.first[i].data(), w.size, offset(i)) != ssize_t(w.size)) std::abort();
    }
  }
  Data reused(w.size);
  for (auto _ : state) {
    if (op == Op::Save) {
      state.PauseTiming();
      if (::ftruncate(fd, 0) != 0) std::abort();
      state.ResumeTiming();
      for (std::size_t i = 0; i < w.count; ++i) {
        if (::pwrite(fd, it.first[i].data(), w.size, offset(i)) != ssize_t(w.size)) std::abort();
      }
    } else if (op == Op::Update) {
      for (std::size_t i = 0; i < w.count; ++i) {
        if (::pwrite(fd, it.second[i].data(), w.size, offset(i)) != ssize_t(w.size)) std::abort();
      }
    } else {
      for (std::size_t i = 0; i < w.count; ++i) {
        if (freshBuffer) {
          Data bytes(w.size);
          if (::pread(fd, bytes.data(), w.size, offset(i)) != ssize_t(w.size)) std::abort();
          benchmark::DoNotOptimize(bytes);
        } else {
          if (::pread(fd, reused.data(), w.size, offset(i)) != ssize_t(w.size)) std::abort();
          benchmark::DoNotOptimize(reused.data());
        }
      }
    }
  }
  ::close(fd);
  setBytes(state, w);
}

// ---------------------------------------------------------------- SQLite

struct Sqlite {
  explicit Sqlite(const stdfs::path& path) {
    if (sqlite3_open((path / "items.db").c_str(), &db) != SQLITE_OK) std::abort();
    exec("PRAGMA journal_mode=WAL");
    exec("PRAGMA synchronous=OFF");
    exec("CREATE TABLE items(id TEXT PRIMARY KEY, data BLOB NOT NULL) WITHOUT ROWID");
    prepare("INSERT INTO items(id, data) VALUES(?1, ?2)", &insert);
    prepare("UPDATE items SET data = ?2 WHERE id = ?1", &update);
    prepare("SELECT data FROM items WHERE id = ?1", &select);
  }
  ~Sqlite() {
    sqlite3_finalize(insert);
    sqlite3_finalize(update);
    sqlite3_finalize(select);
    sqlite3_close(db);
  }
  void exec(const char* sql) {
    if (sqlite3_exec(db, sql, nullptr, nullptr, nullptr) != SQLITE_OK) std::abort();
  }
  void prepare(const char* sql, sqlite3_stmt** stmt) {
    if (sqlite3_prepare_v2(db, sql, -1, stmt, nullptr) != SQLITE_OK) std::abort();
  }
  void write(sqlite3_stmt* stmt, const std::string& id, const Data& data) {
    sqlite3_bind_text(stmt, 1, id.data(), int(id.size()), SQLITE_STATIC);
    sqlite3_bind_blob(stmt, 2, data.data(), int(data.size()), SQLITE_STATIC);
    if (sqlite3_step(stmt) != SQLITE_DONE) std::abort();
    sqlite3_reset(stmt);
  }
  Data read(const std::string& id) {
    sqlite3_bind_text(select, 1, id.data(), int(id.size()), SQLITE_STATIC);
    if (sqlite3_step(select) != SQLITE_ROW) std::abort();
    const auto* bytes = static_cast<const std::uint8_t*>(sqlite3_column_blob(select, 0));
    Data out(bytes, bytes + sqlite3_column_bytes(select, 0));
    sqlite3_reset(select);
    return out;
  }
  sqlite3* db = nullptr;
  sqlite3_stmt* insert = nullptr;
  sqlite3_stmt* update = nullptr;
  sqlite3_stmt* select = nullptr;
};

void BM_SQLite(benchmark::State& state, Op op) {
  const auto& w = workload(state);
  const auto& it = items(w);
  ScopedDirectory dir("sqlite");
  Sqlite db(dir.path);
  if (op != Op::Save) {
    for (std::size_t i = 0; i < w.count; ++i) db.write(db.insert, it.ids[i], it.first[i]);
  }
  for (auto _ : state) {
    if (op == Op::Save) {
      state.PauseTiming();
      db.exec("DELETE FROM items");
      state.ResumeTiming();
      for (std::size_t i = 0; i < w.count; ++i) db.write(db.insert, it.ids[i], it.first[i]);
    } else if (op == Op::Update) {
      for (std::size_t i = 0; i < w.count; ++i) db.write(db.update, it.ids[i], it.second[i]);
    } else {
      for (std::size_t i = 0; i < w.count; ++i) benchmark::DoNotOptimize(db.read(it.ids[i]));
    }
  }
  setBytes(state, w);
}

// ---------------------------------------------------------------- LMDB

struct Lmdb {
  explicit Lmdb(const stdfs::path& path) {
    check(mdb_env_create(&env));
    check(mdb_env_set_mapsize(env, std::size_t{4} << 30));
    check(mdb_env_open(env, path.c_str(), MDB_NOSYNC, 0644));
    MDB_txn* txn;
    check(mdb_txn_begin(env, nullptr, 0, &txn));
    check(mdb_dbi_open(txn, nullptr, 0, &dbi));
    check(mdb_txn_commit(txn));
    check(mdb_txn_begin(env, nullptr, MDB_RDONLY, &reader));
    mdb_txn_reset(reader);
  }
  ~Lmdb() {
    mdb_txn_abort(reader);
    mdb_env_close(env);
  }
  static void check(int rc) {
    if (rc != MDB_SUCCESS) {
      std::fprintf(stderr, "lmdb: %s\n", mdb_strerror(rc));
      std::abort();
    }
  }
  void put(const std::string& id, const Data& data) {
    MDB_txn* txn;
    check(mdb_txn_begin(env, nullptr, 0, &txn));
    MDB_val key{id.size(), const_cast<char*>(id.data())};
    MDB_val value{data.size(), const_cast<std::uint8_t*>(data.data())};
    check(mdb_put(txn, dbi, &key, &value, 0));
    check(mdb_txn_commit(txn));
  }
  Data get(const std::string& id) {
    check(mdb_txn_renew(reader));
    MDB_val key{id.size(), const_cast<char*>(id.data())};
    MDB_val value;
    check(mdb_get(reader, dbi, &key, &value));
    const auto* bytes = static_cast<const std::uint8_t*>(value.mv_data);
    Data out(bytes, bytes + value.mv_size);
    mdb_txn_reset(reader);
    return out;
  }
  void clear() {
    MDB_txn* txn;
    check(mdb_txn_begin(env, nullptr, 0, &txn));
    check(mdb_drop(txn, dbi, 0));
    check(mdb_txn_commit(txn));
  }
  MDB_env* env = nullptr;
  MDB_dbi dbi = 0;
  MDB_txn* reader = nullptr;
};

void BM_LMDB(benchmark::State& state, Op op) {
  const auto& w = workload(state);
  const auto& it = items(w);
  ScopedDirectory dir("lmdb");
  Lmdb db(dir.path);
  if (op != Op::Save) {
    for (std::size_t i = 0; i < w.count; ++i) db.put(it.ids[i], it.first[i]);
  }
  for (auto _ : state) {
    if (op == Op::Save) {
      state.PauseTiming();
      db.clear();
      state.ResumeTiming();
      for (std::size_t i = 0; i < w.count; ++i) db.put(it.ids[i], it.first[i]);
    } else if (op == Op::Update) {
      for (std::size_t i = 0; i < w.count; ++i) db.put(it.ids[i], it.second[i]);
    } else {
      for (std::size_t i = 0; i < w.count; ++i) benchmark::DoNotOptimize(db.get(it.ids[i]));
    }
  }
  setBytes(state, w);
}

// -------------------------------------------------------- one file per item

void writeFile(const stdfs::path& path, const Data& data, int flags) {
  const int fd = ::open(path.c_str(), O_WRONLY | O_CLOEXEC | flags, 0644);
  if (fd < 0 || ::pwrite(fd, data.data(), data.size(), 0) != ssize_t(data.size())) std::abort();
  ::close(fd);
}

Data readFile(const stdfs::path& path) {
  const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  struct stat st {};
  if (fd < 0 || ::fstat(fd, &st) != 0) std::abort();
  Data out(static_cast<std::size_t>(st.st_size));
  if (::pread(fd, out.data(), out.size(), 0) != ssize_t(out.size())) std::abort();
  ::close(fd);
  return out;
}

void BM_FilePerItem(benchmark::State& state, Op op) {
  const auto& w = workload(state);
  const auto& it = items(w);
  ScopedDirectory dir("files");
  std::vector<stdfs::path> paths;
  for (const auto& id : it.ids) paths.push_back(dir.path / id);
  if (op != Op::Save) {
    for (std::size_t i = 0; i < w.count; ++i) writeFile(paths[i], it.first[i], O_CREAT | O_TRUNC);
  }
  for (auto _ : state) {
    if (op == Op::Save) {
      state.PauseTiming();
      for (const auto& p : paths) ::unlink(p.c_str());
      state.ResumeTiming();
      for (std::size_t i = 0; i < w.count; ++i) {
        writeFile(paths[i], it.first[i], O_CREAT | O_EXCL);
      }
    } else if (op == Op::Update) {
      for (std::size_t i = 0; i < w.count; ++i) writeFile(paths[i], it.second[i], 0);
    } else {
      for (std::size_t i = 0; i < w.count; ++i) benchmark::DoNotOptimize(readFile(paths[i]));
    }
  }
  setBytes(state, w);
}

// ------------------------------------------------------------ registration

// Each iteration touches every item once. The store and raw I/O, whose ratio
// is the figure that matters, run 3 repetitions of 5 passes and are compared
// by their medians (the page cache makes single runs bimodal); the far slower
// or far faster peers run one repetition of 3 passes.
constexpr int kClosePasses = 5;
constexpr int kCloseRepetitions = 3;
constexpr int kPeerPasses = 3;

void registerAll() {
  struct Named {
    const char* op;
    Op value;
  };
  const Named ops[] = {{"Save", Op::Save}, {"Update", Op::Update}, {"Read", Op::Read}};
  for (int workloadIndex = 0; workloadIndex < 2; ++workloadIndex) {
    const std::string size = workloadIndex == 0 ? "10KiB" : "1MiB";
    for (const auto& [name, op] : ops) {
      auto add = [&](const std::string& peer, bool close, auto fn) {
        auto* b =
            benchmark::RegisterBenchmark((std::string(name) + "/" + size + "/" + peer).c_str(), fn)
                ->Arg(workloadIndex)
                ->Unit(benchmark::kMillisecond)
                ->UseRealTime();
        if (close) {
          b->Iterations(kClosePasses)->Repetitions(kCloseRepetitions)->ReportAggregatesOnly(true);
        } else {
          b->Iterations(kPeerPasses);
        }
      };
      add("Orvane", true, [op](benchmark::State& s) { BM_Orvane(s, op); });
      add("Raw", true, [op](benchmark::State& s) { BM_Raw(s, op, false); });
      if (op == Op::Read) {
        add("RawFreshBuffer", true, [](benchmark::State& s) { BM_Raw(s, Op::Read, true); });
        add("OrvaneUnchecked", true,
            [](benchmark::State& s) { BM_Orvane(s, Op::Read, /*checked=*/false); });
      }
      add("SQLite", false, [op](benchmark::State& s) { BM_SQLite(s, op); });
      add("LMDB", false, [op](benchmark::State& s) { BM_LMDB(s, op); });
      add("FilePerItem", false, [op](benchmark::State& s) { BM_FilePerItem(s, op); });
    }
  }
}

// Prints the usual table, then every peer's throughput as a ratio: the
// store's throughput divided by the peer's, from wall-clock time and, since
// page-cache I/O is CPU work, from the thread's CPU time (steadier when other
// processes compete for the cores).
class RatioReporter : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run>& runs) override {
    ConsoleReporter::ReportRuns(runs);
    for (const auto& run : runs) {
      // Name: Op/Size/Peer/...
      if (run.run_type == Run::RT_Aggregate && run.aggregate_name != "median") continue;
      const auto parts = split(run.benchmark_name());
      const double real = run.GetAdjustedRealTime(), cpu = run.GetAdjustedCPUTime();
      if (parts.size() < 3 || real <= 0 || cpu <= 0) continue;
      auto& rate = rates_[parts[0] + "/" + parts[1]][parts[2]];
      rate.real = 1 / real;  // passes per unit of time
      rate.cpu = 1 / cpu;
    }
  }
  void Finalize() override {
    ConsoleReporter::Finalize();
    std::printf(
        "\nStore throughput / peer throughput (> 1: the store is faster), "
        "wall clock [CPU time]:\n");
    for (const auto& [group, peers] : rates_) {
      auto store = peers.find("Orvane");
      if (store == peers.end()) continue;
      std::printf("  %-13s", group.c_str());
      for (const auto& [peer, rate] : peers) {
        if (peer == "Orvane") continue;
        std::printf("  %s %.2f [%.2f]", peer.c_str(), store->second.real / rate.real,
                    store->second.cpu / rate.cpu);
      }
      std::printf("\n");
    }
  }

 private:
  struct Rate {
    double real = 0;
    double cpu = 0;
  };
  static std::vector<std::string> split(const std::string& name) {
    std::vector<std::string> parts;
    std::size_t start = 0;
    for (;;) {
      auto slash = name.find('/', start);
      parts.push_back(name.substr(start, slash - start));
      if (slash == std::string::npos) break;
      start = slash + 1;
    }
    return parts;
  }
  std::map<std::string, std::map<std::string, Rate>> rates_;
};

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  registerAll();
  RatioReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  benchmark::Shutdown();
  return 0;
}
