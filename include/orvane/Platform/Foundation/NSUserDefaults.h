#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "orvane/Export.h"
#include "orvane/Platform/Foundation/Data.h"

namespace orvane {

/// Persistent settings of an application: byte values under text keys, kept
/// in one SQLite database (WAL mode). Every set or remove is committed when it
/// returns, and several processes of one application may use the same
/// database at once: writers wait for each other instead of failing.
///
/// A database that SQLite reports damaged (not a database, damaged pages), or
/// something other than a file at its place, is moved aside next to itself
/// under a ".damaged-<time>" name, never deleted; one line is logged and the
/// defaults start empty in a fresh database. When not even that is possible
/// they live in memory for the rest of the process. Any other failure to open
/// the database (no file descriptors left, a file-size limit, no permission,
/// no room) leaves the file where it is: that call answers nothing (or false)
/// and logs one line, and the next call tries again. Callers never see an
/// error beyond such an answer.
///
/// All operations are thread-safe.
class ORVANE_EXPORT NSUserDefaults {
 public:
  /// The defaults of the application, in Environment::userDefaultsFile().
  /// The instance follows the environment: when the file named there changes
  /// (another config home or application identifier), the next call answers
  /// an instance for the new file.
  static std::shared_ptr<NSUserDefaults> standardUserDefaults();
  /// Forgets the standard instance; the next standardUserDefaults() opens the
  /// database again. Holders of the old instance may go on using it.
  static void resetStandardUserDefaults();

  /// Defaults kept in the database at `path`, created with its directory
  /// when missing. Never null.
  static std::shared_ptr<NSUserDefaults> initWithPath(const std::filesystem::path& path);

  ~NSUserDefaults();
  NSUserDefaults(const NSUserDefaults&) = delete;
  NSUserDefaults& operator=(const NSUserDefaults&) = delete;

  /// The database file.
  const std::filesystem::path& path() const;

  /// The value under the key, or nothing when there is none.
  std::optional<Data> dataForKey(std::string_view key);
  /// Sets (or replaces) the value under the key. True once committed.
  bool setObjectForKey(ByteView value, std::string_view key);
  /// Removes the value under the key, if any. True once committed (also when
  /// there was nothing to remove).
  bool removeObjectForKey(std::string_view key);
  /// Every key that holds a value, in ascending byte order.
  std::vector<std::string> allKeys();
  /// Nothing to do: every change is committed when it returns. Answers true.
  bool synchronize() { return true; }

 private:
  struct Impl;
  explicit NSUserDefaults(const std::filesystem::path& path);
  std::unique_ptr<Impl> impl_;
};

}  // namespace orvane
