// What a photo application does with the storage manager, end to end.
//
//   orvane_demo store [DIR]    puts every file under DIR into the manager's
//                              default store under its relative path; without
//                              DIR, a set of buffers made here (thumbnail-sized
//                              ones and a few above 3 MiB)
//   orvane_demo verify [DIR]   a later process: restores the manager, reads
//                              every item back and checks its bytes (against
//                              DIR's files or the same made buffers) and its
//                              MD5 digest (against the one noted at store time)
//
// The manager keeps its stores under $XDG_DATA_HOME and its state in the user
// defaults under $XDG_CONFIG_HOME; scripts/demo.sh points both into demo/ in
// the checkout. The digests noted at store time live in a customised store
// named "demo-manifest", which the manager persists as well.
#include <orvane/Orvane.h>

#include <chrono>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "support/ItemBytes.h"

namespace {

using orvane::Data;
using Clock = std::chrono::steady_clock;

constexpr const char* kApplicationIdentifier = "org.orvane.demo";
constexpr const char* kManifestStore = "demo-manifest";

// One item to store: its name and where its bytes come from.
struct Source {
  std::string name;
  std::filesystem::path file;  // empty for a made buffer
  std::uint32_t seed = 0;
  std::size_t size = 0;
};

std::optional<Data> readFile(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  if (!in) return std::nullopt;
  return Data(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

std::optional<Data> bytesOf(const Source& source) {
  if (source.file.empty()) return orvane::testing::itemBytes(source.size, source.seed);
  return readFile(source.file);
}

// Without a directory: 240 thumbnails of 6 to 48 KiB and three photos above
// the 3 MiB limit, which the store keeps in files of their own.
std::vector<Source> madeSources() {
  std::vector<Source> sources;
  for (std::uint32_t i = 1; i <= 240; ++i) {
    char name[32];
    std::snprintf(name, sizeof name, "thumb-%04u", i);
    sources.push_back({name, {}, i, (6u << 10) + (i * 7919u) % (42u << 10)});
  }
  for (std::uint32_t i = 1; i <= 3; ++i)
    sources.push_back({"photo-" + std::to_string(i), {}, 1000 + i, (3u << 20) + i * (600u << 10)});
  return sources;
}

std::optional<std::vector<Source>> fileSources(const std::filesystem::path& dir) {
  std::error_code ec;
  if (!std::filesystem::is_directory(dir, ec)) return std::nullopt;
  std::vector<Source> sources;
  for (auto it = std::filesystem::recursive_directory_iterator(
           dir, std::filesystem::directory_options::skip_permission_denied, ec);
       !ec && it != std::filesystem::recursive_directory_iterator(); it.increment(ec)) {
    if (!it->is_regular_file(ec)) continue;
    sources.push_back(
        {std::filesystem::relative(it->path(), dir).generic_string(), it->path(), 0, 0});
  }
  return sources;
}

double millisecondsSince(Clock::time_point start) {
  return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

std::string mebibytes(std::uint64_t bytes) {
  char text[32];
  std::snprintf(text, sizeof text, "%.1f MiB", static_cast<double>(bytes) / (1 << 20));
  return text;
}

int store(const std::vector<Source>& sources) {
  auto manager = orvane::OVStorageManager::shareStorageManager();
  auto manifest = manager->createCustomiszeStorageWithIdentifier(kManifestStore);
  std::uint64_t total = 0;
  double putMilliseconds = 0;
  std::size_t count = 0;
  for (const Source& source : sources) {
    auto bytes = bytesOf(source);
    if (!bytes) {
      std::fprintf(stderr, "skipped %s: cannot be read\n", source.name.c_str());
      continue;
    }
    const auto digest = orvane::NSDataMd5::md5Value(*bytes).value_or("");
    const auto start = Clock::now();
    manager->updateDataWithIdentifier(*bytes, source.name);
    putMilliseconds += millisecondsSince(start);
    manifest->updateDataWithIdentifier(
        orvane::bytesOf(digest + " " + std::to_string(bytes->size())), source.name);
    total += bytes->size();
    ++count;
  }
  manager->saveCustomizeStorage();
  std::printf("store:  %zu items, %s into %s\n", count, mebibytes(total).c_str(),
              manager->defStorage()->destinationPath().c_str());
  if (count > 0)
    std::printf("        put %.3f ms per item (store write, archive, defaults write)\n",
                putMilliseconds / static_cast<double>(count));
  return count == sources.size() ? 0 : 1;
}

int verify(const std::vector<Source>& sources) {
  const auto start = Clock::now();
  auto manager = orvane::OVStorageManager::shareStorageManager();
  const double restoreMilliseconds = millisecondsSince(start);
  auto manifest = manager->customizeStorageWithIdentifier(kManifestStore);
  if (!manifest) {
    std::fprintf(stderr, "verify: nothing stored yet; run `orvane_demo store` first\n");
    return 1;
  }
  std::size_t good = 0, bad = 0;
  std::uint64_t total = 0;
  double getMilliseconds = 0;
  for (const Source& source : sources) {
    const auto noted = manifest->dataWithIdentifier(source.name);
    const auto getStart = Clock::now();
    const auto stored = manager->dataWithIdentifier(source.name);
    getMilliseconds += millisecondsSince(getStart);
    const auto original = bytesOf(source);
    std::string problem;
    if (!stored)
      problem = "not in the store";
    else if (!original || *stored != *original)
      problem = "bytes differ from the original";
    else if (!noted || orvane::NSDataMd5::md5Value(*stored).value_or("") + " " +
                               std::to_string(stored->size()) !=
                           std::string(noted->begin(), noted->end()))
      problem = "MD5 digest differs from the one noted when stored";
    if (problem.empty()) {
      ++good;
      total += stored->size();
    } else {
      ++bad;
      std::fprintf(stderr, "verify: %s: %s\n", source.name.c_str(), problem.c_str());
    }
  }
  const auto listed = manager->defStorage()->allStorageItemIdentifiers().size();
  std::printf("verify: %zu of %zu items, %s read back with matching bytes and MD5 digests\n", good,
              sources.size(), mebibytes(total).c_str());
  std::printf("        restore %.3f ms (%zu items listed), get %.3f ms per item\n",
              restoreMilliseconds, listed,
              sources.empty() ? 0.0 : getMilliseconds / static_cast<double>(sources.size()));
  return bad == 0 && good == sources.size() ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
  const bool storeMode = argc >= 2 && std::strcmp(argv[1], "store") == 0;
  const bool verifyMode = argc >= 2 && std::strcmp(argv[1], "verify") == 0;
  if (!(storeMode || verifyMode) || argc > 3) {
    std::fprintf(stderr, "usage: %s store|verify [DIRECTORY]\n", argv[0]);
    return 2;
  }
  orvane::Environment::setApplicationIdentifier(kApplicationIdentifier);
  std::vector<Source> sources;
  if (argc == 3) {
    auto found = fileSources(argv[2]);
    if (!found) {
      std::fprintf(stderr, "%s is not a directory\n", argv[2]);
      return 2;
    }
    sources = std::move(*found);
  } else {
    sources = madeSources();
  }
  return storeMode ? store(sources) : verify(sources);
}
