#include "orvane/Platform/Foundation/NSUserDefaults.h"

#include <fcntl.h>
#include <sqlite3.h>
#include <stdio.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <ctime>
#include <mutex>
#include <string>
#include <system_error>

#include "orvane/Platform/Foundation/Environment.h"
#include "orvane/Platform/Foundation/NSLog.h"

namespace orvane {

namespace {

// How long one statement waits for another process's write lock before it
// gives up, and how often a statement that still found the database busy is
// tried again after that.
constexpr int kBusyTimeoutMilliseconds = 5000;
constexpr int kBusyAttempts = 4;

constexpr const char* kSchema =
    "CREATE TABLE IF NOT EXISTS defaults("
    "key TEXT PRIMARY KEY NOT NULL, value BLOB NOT NULL)";

bool isBusy(int code) {
  code &= 0xff;
  return code == SQLITE_BUSY || code == SQLITE_LOCKED;
}

// Errors by which SQLite says the file itself is damaged or no database, as
// opposed to a full disk, a file-size limit, no descriptors left, a lock held
// too long or a missing permission: only these move a file aside.
bool isDamage(int code) {
  code &= 0xff;
  return code == SQLITE_CORRUPT || code == SQLITE_NOTADB;
}

struct StatementDeleter {
  void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
};
using Statement = std::unique_ptr<sqlite3_stmt, StatementDeleter>;

std::string utcStamp() {
  std::time_t now = std::time(nullptr);
  std::tm utc{};
  gmtime_r(&now, &utc);
  char text[32];
  std::strftime(text, sizeof text, "%Y%m%dT%H%M%SZ", &utc);
  return text;
}

// Renames `from` to `to` unless something already exists at `to`.
bool renameWithoutReplacing(const std::filesystem::path& from, const std::filesystem::path& to) {
  if (renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0) return true;
  if (errno != EINVAL && errno != ENOSYS) return false;
  // A file system without the flag: test first, then rename.
  struct stat st {};
  if (::lstat(to.c_str(), &st) == 0) {
    errno = EEXIST;
    return false;
  }
  return std::rename(from.c_str(), to.c_str()) == 0;
}

// Moves an unreadable database, with its write-ahead log and shared-memory
// index, to a free "<name>.damaged-<time>[-n]" name beside it. The log must go
// with it: left behind, it would be replayed into the fresh database.
std::optional<std::filesystem::path> moveAside(const std::filesystem::path& path) {
  const std::string stamp = utcStamp();
  for (int n = 1; n < 1000; ++n) {
    std::string name = path.filename().string();
    name.append(".damaged-").append(stamp);
    if (n > 1) name.append("-").append(std::to_string(n));
    const std::filesystem::path aside = path.parent_path() / name;
    if (renameWithoutReplacing(path, aside)) {
      for (const char* companion : {"-wal", "-shm"}) {
        std::filesystem::path from = path, to = aside;
        from += companion;
        to += companion;
        renameWithoutReplacing(from, to);
      }
      return aside;
    }
    if (errno != EEXIST && errno != ENOTEMPTY) return std::nullopt;
  }
  return std::nullopt;
}

}  // namespace

struct NSUserDefaults::Impl {
  std::filesystem::path path;
  std::mutex mutex;
  sqlite3* db = nullptr;
  Statement select, upsert, erase, keys;
  bool inMemory = false;
  // Why the last attempt to open the file failed, when it failed for a
  // reason other than damage; the call that needed it logs this.
  std::string openFailure;
  dev_t device = 0;
  ino_t inode = 0;

  explicit Impl(std::filesystem::path p) : path(std::move(p)) {}
  ~Impl() { close(); }

  void close() {
    select.reset();
    upsert.reset();
    erase.reset();
    keys.reset();
    if (db) sqlite3_close_v2(db);
    db = nullptr;
  }

  std::string message(int code) const { return db ? sqlite3_errmsg(db) : sqlite3_errstr(code); }

  // Runs a statement to its end, answering the text of its first row's first
  // column in `firstRow` when asked. Retries while another process holds the
  // lock beyond the busy timeout.
  int exec(const char* sql, std::string* firstRow = nullptr) {
    sqlite3_stmt* raw = nullptr;
    int rc = sqlite3_prepare_v2(db, sql, -1, &raw, nullptr);
    Statement statement(raw);
    if (rc != SQLITE_OK) return rc;
    for (int attempt = 0; attempt < kBusyAttempts; ++attempt) {
      bool first = true;
      while ((rc = sqlite3_step(raw)) == SQLITE_ROW) {
        if (first && firstRow) {
          const unsigned char* text = sqlite3_column_text(raw, 0);
          *firstRow = text ? reinterpret_cast<const char*>(text) : "";
        }
        first = false;
      }
      if (!isBusy(rc)) break;
      sqlite3_reset(raw);
    }
    return rc == SQLITE_DONE ? SQLITE_OK : rc;
  }

  Statement prepare(const char* sql, int* rc) {
    sqlite3_stmt* raw = nullptr;
    *rc = sqlite3_prepare_v3(db, sql, -1, SQLITE_PREPARE_PERSISTENT, &raw, nullptr);
    return Statement(raw);
  }

  int prepareStatements() {
    int rc = SQLITE_OK;
    select = prepare("SELECT value FROM defaults WHERE key = ?1", &rc);
    if (rc == SQLITE_OK)
      upsert = prepare(
          "INSERT INTO defaults(key, value) VALUES(?1, ?2) "
          "ON CONFLICT(key) DO UPDATE SET value = excluded.value",
          &rc);
    if (rc == SQLITE_OK) erase = prepare("DELETE FROM defaults WHERE key = ?1", &rc);
    if (rc == SQLITE_OK) keys = prepare("SELECT key FROM defaults ORDER BY key", &rc);
    return rc;
  }

  // Opens the database file and checks it; on failure `reason` says why and
  // the connection is closed.
  int openFile(std::string* reason) {
    std::error_code ec;
    std::filesystem::create_directories(path.parent_path(), ec);
    // Something other than a file at the path (a directory, a device) is no
    // database; SQLite would only say it cannot open it.
    struct stat existing {};
    if (::stat(path.c_str(), &existing) == 0 && !S_ISREG(existing.st_mode)) {
      *reason = "not a regular file";
      return SQLITE_NOTADB;
    }
    int rc =
        sqlite3_open_v2(path.c_str(), &db,
                        SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX, nullptr);
    if (rc == SQLITE_OK) {
      sqlite3_extended_result_codes(db, 1);
      sqlite3_busy_timeout(db, kBusyTimeoutMilliseconds);
      // The check reads every page before anything writes to the file, so a
      // damaged file is moved aside exactly as it was found.
      std::string verdict;
      rc = exec("PRAGMA quick_check(1)", &verdict);
      if (rc == SQLITE_OK && verdict != "ok") {
        rc = SQLITE_CORRUPT;
        *reason = verdict;
      }
    }
    std::string mode;
    if (rc == SQLITE_OK) rc = exec("PRAGMA journal_mode=WAL", &mode);
    if (rc == SQLITE_OK) rc = exec("PRAGMA synchronous=NORMAL");
    if (rc == SQLITE_OK) rc = exec(kSchema);
    if (rc == SQLITE_OK) rc = prepareStatements();
    struct stat st {};
    if (rc == SQLITE_OK && ::stat(path.c_str(), &st) != 0) rc = SQLITE_CANTOPEN;
    if (rc != SQLITE_OK) {
      if (reason->empty()) *reason = message(rc);
      close();
      return rc;
    }
    device = st.st_dev;
    inode = st.st_ino;
    inMemory = false;
    return SQLITE_OK;
  }

  void openMemory() {
    inMemory = true;
    if (sqlite3_open_v2(":memory:", &db, SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX, nullptr) !=
            SQLITE_OK ||
        exec(kSchema) != SQLITE_OK || prepareStatements() != SQLITE_OK)
      close();
  }

  // SQLite says the file is damaged: move it aside and start again with an
  // empty one, or in memory when that fails too. Logs exactly one line.
  void recover(std::string reason) {
    close();
    // SQLite's integrity report spans lines; the log gets one.
    for (char& c : reason)
      if (c == '\n' || c == '\r') c = ' ';
    const std::string what = "The user defaults database " + path.string();
    auto aside = moveAside(path);
    if (!aside) {
      NSLog(what + " cannot be read (" + reason + ") nor moved aside (" + std::strerror(errno) +
            "); the defaults are kept in memory.");
      openMemory();
      return;
    }
    std::string again;
    if (openFile(&again) == SQLITE_OK) {
      NSLog(what + " cannot be read (" + reason + "); moved it to " + aside->string() +
            " and started empty.");
      return;
    }
    NSLog(what + " cannot be read (" + reason + "); moved it to " + aside->string() +
          ", but a new one cannot be made (" + again + "); the defaults are kept in memory.");
    openMemory();
  }

  // Makes sure a connection is open on the file now at `path`. Another
  // process may have moved a damaged file aside; then the file now there is
  // opened instead of going on with the old one. Any failure other than
  // damage (no descriptors left, a file-size limit, no permission, no room)
  // leaves the file where it is and no connection open: the call that needed
  // it answers nothing, and the next call tries again.
  void ensureOpen() {
    if (db) {
      if (inMemory) return;
      struct stat st {};
      if (::stat(path.c_str(), &st) == 0 && st.st_dev == device && st.st_ino == inode) return;
      close();
    }
    std::string reason;
    int rc = SQLITE_BUSY;
    for (int attempt = 0; attempt < kBusyAttempts && isBusy(rc); ++attempt) {
      reason.clear();
      rc = openFile(&reason);
    }
    openFailure.clear();
    if (rc == SQLITE_OK) return;
    if (!isDamage(rc)) {
      openFailure = reason.empty() ? sqlite3_errstr(rc) : reason;
      return;
    }
    recover(reason);
  }

  // Runs `step` (which binds, steps and resets statements of the open
  // connection) with the retries for a busy database, and recovers once when
  // the database turns out to be damaged.
  template <class Step>
  int run(Step&& step) {
    ensureOpen();
    int rc = SQLITE_CANTOPEN;
    for (int round = 0; round < 2 && db; ++round) {
      for (int attempt = 0; attempt < kBusyAttempts; ++attempt) {
        rc = step();
        if (!isBusy(rc)) break;
      }
      if (!isDamage(rc) || inMemory) break;
      recover(message(rc));
    }
    return rc;
  }

  void logFailure(const char* action, int rc) {
    const std::string reason = !db && !openFailure.empty() ? openFailure : message(rc);
    NSLog("The user defaults database " + path.string() + " cannot " + action + " (" + reason +
          ").");
  }
};

namespace {

struct StandardSlot {
  std::mutex mutex;
  std::shared_ptr<NSUserDefaults> defaults;
};

StandardSlot& standardSlot() {
  static StandardSlot slot;
  return slot;
}

// Binds the key as text; an empty key is the empty text, not NULL.
void bindKey(sqlite3_stmt* statement, std::string_view key) {
  sqlite3_bind_text64(statement, 1, key.empty() ? "" : key.data(), key.size(), SQLITE_STATIC,
                      SQLITE_UTF8);
}

// Resets a statement and clears its bindings when leaving a scope.
struct StatementUse {
  sqlite3_stmt* statement;
  ~StatementUse() {
    sqlite3_reset(statement);
    sqlite3_clear_bindings(statement);
  }
};

}  // namespace

std::shared_ptr<NSUserDefaults> NSUserDefaults::standardUserDefaults() {
  std::filesystem::path path = Environment::userDefaultsFile();
  StandardSlot& slot = standardSlot();
  std::lock_guard<std::mutex> lock(slot.mutex);
  if (!slot.defaults || slot.defaults->path() != path) slot.defaults = initWithPath(path);
  return slot.defaults;
}

void NSUserDefaults::resetStandardUserDefaults() {
  std::shared_ptr<NSUserDefaults> old;
  StandardSlot& slot = standardSlot();
  std::lock_guard<std::mutex> lock(slot.mutex);
  old.swap(slot.defaults);
}

std::shared_ptr<NSUserDefaults> NSUserDefaults::initWithPath(const std::filesystem::path& path) {
  std::shared_ptr<NSUserDefaults> defaults(new NSUserDefaults(path));
  std::lock_guard<std::mutex> lock(defaults->impl_->mutex);
  defaults->impl_->ensureOpen();
  return defaults;
}

NSUserDefaults::NSUserDefaults(const std::filesystem::path& path)
    : impl_(std::make_unique<Impl>(path)) {}

NSUserDefaults::~NSUserDefaults() = default;

const std::filesystem::path& NSUserDefaults::path() const { return impl_->path; }

std::optional<Data> NSUserDefaults::dataForKey(std::string_view key) {
  Impl& d = *impl_;
  std::lock_guard<std::mutex> lock(d.mutex);
  std::optional<Data> result;
  int rc = d.run([&] {
    result.reset();
    sqlite3_stmt* s = d.select.get();
    StatementUse use{s};
    bindKey(s, key);
    int step = sqlite3_step(s);
    if (step == SQLITE_ROW) {
      const auto* bytes = static_cast<const std::uint8_t*>(sqlite3_column_blob(s, 0));
      int size = sqlite3_column_bytes(s, 0);
      result.emplace(bytes, bytes + size);
      return SQLITE_OK;
    }
    return step == SQLITE_DONE ? SQLITE_OK : step;
  });
  if (rc != SQLITE_OK) {
    d.logFailure("be read", rc);
    return std::nullopt;
  }
  return result;
}

bool NSUserDefaults::setObjectForKey(ByteView value, std::string_view key) {
  Impl& d = *impl_;
  std::lock_guard<std::mutex> lock(d.mutex);
  int rc = d.run([&] {
    sqlite3_stmt* s = d.upsert.get();
    StatementUse use{s};
    bindKey(s, key);
    // An empty value is an empty blob, not NULL: it is still a value.
    if (value.empty())
      sqlite3_bind_zeroblob(s, 2, 0);
    else
      sqlite3_bind_blob64(s, 2, value.data(), value.size(), SQLITE_STATIC);
    int step = sqlite3_step(s);
    return step == SQLITE_DONE ? SQLITE_OK : step;
  });
  if (rc != SQLITE_OK) d.logFailure("be written", rc);
  return rc == SQLITE_OK;
}

bool NSUserDefaults::removeObjectForKey(std::string_view key) {
  Impl& d = *impl_;
  std::lock_guard<std::mutex> lock(d.mutex);
  int rc = d.run([&] {
    sqlite3_stmt* s = d.erase.get();
    StatementUse use{s};
    bindKey(s, key);
    int step = sqlite3_step(s);
    return step == SQLITE_DONE ? SQLITE_OK : step;
  });
  if (rc != SQLITE_OK) d.logFailure("be written", rc);
  return rc == SQLITE_OK;
}

std::vector<std::string> NSUserDefaults::allKeys() {
  Impl& d = *impl_;
  std::lock_guard<std::mutex> lock(d.mutex);
  std::vector<std::string> result;
  int rc = d.run([&] {
    result.clear();
    sqlite3_stmt* s = d.keys.get();
    StatementUse use{s};
    int step;
    while ((step = sqlite3_step(s)) == SQLITE_ROW) {
      const auto* text = static_cast<const char*>(sqlite3_column_blob(s, 0));
      result.emplace_back(text ? text : "", static_cast<std::size_t>(sqlite3_column_bytes(s, 0)));
    }
    return step == SQLITE_DONE ? SQLITE_OK : step;
  });
  if (rc != SQLITE_OK) d.logFailure("be read", rc);
  return result;
}

}  // namespace orvane
