// What a photo application does to show a folder of photographs at once: a
// thumbnail cache on the storage manager.
//
//   orvane_demo make DIR          decodes every file under DIR, shrinks it to
//                                 fit 256 x 256 pixels, encodes the thumbnail
//                                 as JPEG at quality 0.8 and stores it in the
//                                 manager's default store under the MD5 digest
//                                 of the file's path. Files that are no image
//                                 the library reads are skipped and counted.
//   orvane_demo serve DIR SHEET   a later process: restores the manager,
//                                 serves each file's thumbnail from the store,
//                                 decodes it, draws it into a contact sheet
//                                 and writes the sheet to SHEET as PNG.
//
// The manager keeps its stores under $XDG_DATA_HOME and its state in the user
// defaults under $XDG_CONFIG_HOME; scripts/demo.sh points both into demo/ in
// the checkout.
#include <orvane/Orvane.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;
using orvane::Data;
using Clock = std::chrono::steady_clock;

constexpr const char* kApplicationIdentifier = "org.orvane.demo";
constexpr double kThumbnailSide = 256;
constexpr double kJpegQuality = 0.8;
constexpr std::size_t kSheetGap = 8;  // pixels around each contact-sheet cell

// Every regular file under `dir`, as an absolute path, in a stable order.
std::optional<std::vector<fs::path>> filesUnder(const fs::path& dir) {
  std::error_code ec;
  if (!fs::is_directory(dir, ec)) return std::nullopt;
  std::vector<fs::path> files;
  for (auto it = fs::recursive_directory_iterator(
           fs::absolute(dir).lexically_normal(), fs::directory_options::skip_permission_denied, ec);
       !ec && it != fs::recursive_directory_iterator(); it.increment(ec)) {
    if (it->is_regular_file(ec)) files.push_back(it->path());
  }
  std::sort(files.begin(), files.end());
  return files;
}

std::shared_ptr<const Data> readFile(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  if (!in) return nullptr;
  return std::make_shared<const Data>(std::istreambuf_iterator<char>(in),
                                      std::istreambuf_iterator<char>());
}

// The cache key of a photograph: the MD5 digest of its path.
std::string cacheKey(const fs::path& file) {
  return orvane::NSStringMd5::md5Value(file.string()).value_or("");
}

double millisecondsSince(Clock::time_point start) {
  return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

std::string byteCount(std::uint64_t bytes) {
  char text[32];
  const auto n = static_cast<double>(bytes);
  if (bytes < (1u << 20))
    std::snprintf(text, sizeof text, "%.1f KiB", n / (1 << 10));
  else
    std::snprintf(text, sizeof text, "%.1f MiB", n / (1 << 20));
  return text;
}

// One line on standard error, rewritten in place, while that is a terminal.
class Progress {
 public:
  explicit Progress(std::size_t total) : total_(total), shown_(isatty(STDERR_FILENO) == 1) {}

  void update(std::size_t done) {
    if (!shown_) return;
    const double seconds = millisecondsSince(start_) / 1000;
    const double rate = static_cast<double>(done) / seconds;
    if (done == 0)
      std::fprintf(stderr, "\r0 of %zu files", total_);
    else
      std::fprintf(stderr, "\r%zu of %zu files, %.1f per second, %.0f s left ", done, total_, rate,
                   static_cast<double>(total_ - done) / rate);
  }
  // Clears the line, so that other output starts at its beginning.
  void clear() const {
    if (shown_) std::fprintf(stderr, "\r%60s\r", "");
  }

 private:
  std::size_t total_;
  bool shown_;
  Clock::time_point start_ = Clock::now();
};

int make(const std::vector<fs::path>& files) {
  auto manager = orvane::OVStorageManager::shareStorageManager();
  Progress progress(files.size());
  std::size_t made = 0, skipped = 0;
  std::uint64_t photoBytes = 0, thumbnailBytes = 0;
  double shrinkMilliseconds = 0, encodeMilliseconds = 0, storeMilliseconds = 0;
  for (std::size_t i = 0; i < files.size(); ++i) {
    progress.update(i);
    const auto bytes = readFile(files[i]);
    auto start = Clock::now();
    orvane::CGImageRef thumbnail;
    if (bytes) {
      const auto image = orvane::HXImageUtility::readImageFromData(bytes);
      thumbnail =
          orvane::HXImageUtility::createThumbnailFromImage({kThumbnailSide, kThumbnailSide}, image);
    }
    shrinkMilliseconds += millisecondsSince(start);
    start = Clock::now();
    const auto jpeg = thumbnail ? orvane::HXImageUtility::saveImageWithFormatQualityProperty(
                                      thumbnail, orvane::kUTTypeJPEG, kJpegQuality, nullptr)
                                : std::nullopt;
    encodeMilliseconds += millisecondsSince(start);
    if (!jpeg || jpeg->empty()) {
      progress.clear();
      std::fprintf(stderr, "skipped %s: not an image the library reads\n", files[i].c_str());
      ++skipped;
      continue;
    }
    start = Clock::now();
    manager->updateDataWithIdentifier(*jpeg, cacheKey(files[i]));
    storeMilliseconds += millisecondsSince(start);
    ++made;
    photoBytes += bytes->size();
    thumbnailBytes += jpeg->size();
  }
  progress.clear();
  std::printf("make:  %zu thumbnails made, %zu skipped, from %s of images\n", made, skipped,
              byteCount(photoBytes).c_str());
  std::printf("       %s of JPEG stored in %s\n", byteCount(thumbnailBytes).c_str(),
              manager->defStorage()->destinationPath().c_str());
  if (made > 0) {
    const auto n = static_cast<double>(made);
    std::printf(
        "       %.2f ms per thumbnail made: decode and shrink %.2f, JPEG encode %.2f, store %.2f\n",
        (shrinkMilliseconds + encodeMilliseconds + storeMilliseconds) / n, shrinkMilliseconds / n,
        encodeMilliseconds / n, storeMilliseconds / n);
  }
  return 0;
}

bool writeFile(const fs::path& path, const Data& bytes) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out.write(reinterpret_cast<const char*>(bytes.data()),
            static_cast<std::streamsize>(bytes.size()));
  return static_cast<bool>(out.flush());
}

int serve(const std::vector<fs::path>& files, const fs::path& sheetPath) {
  auto start = Clock::now();
  auto manager = orvane::OVStorageManager::shareStorageManager();
  const double restoreMilliseconds = millisecondsSince(start);

  // Serve: the thumbnails' bytes from the store.
  std::vector<std::shared_ptr<const Data>> thumbnails;
  std::uint64_t bytes = 0;
  start = Clock::now();
  for (const auto& file : files) {
    if (auto data = manager->dataWithIdentifier(cacheKey(file))) {
      bytes += data->size();
      thumbnails.push_back(std::make_shared<const Data>(std::move(*data)));
    }
  }
  const double readMilliseconds = millisecondsSince(start);
  if (thumbnails.empty()) {
    std::fprintf(stderr, "serve: no thumbnails stored; run `orvane_demo make` first\n");
    return 1;
  }

  // Show: decode each one and draw it, centred in a cell of its own, into an
  // opaque sheet, row by row from the top.
  const std::size_t count = thumbnails.size();
  const auto columns = static_cast<std::size_t>(std::ceil(std::sqrt(static_cast<double>(count))));
  const std::size_t rows = (count + columns - 1) / columns;
  const auto cell = static_cast<std::size_t>(kThumbnailSide) + kSheetGap;
  const std::size_t width = columns * cell + kSheetGap, height = rows * cell + kSheetGap;
  const auto sheet = orvane::CGBitmapContextCreate(
      nullptr, width, height, 8, 0, orvane::CGColorSpaceCreateWithName(orvane::kCGColorSpaceSRGB),
      orvane::kCGImageAlphaNoneSkipFirst);
  orvane::CGContextSetRGBFillColor(sheet, 0.15, 0.15, 0.15, 1);
  orvane::CGContextFillRect(sheet, {{0, 0}, {double(width), double(height)}});
  std::size_t broken = 0;
  start = Clock::now();
  for (std::size_t i = 0; i < count; ++i) {
    const auto image = orvane::HXImageUtility::readImageFromData(thumbnails[i]);
    const auto w = orvane::CGImageGetWidth(image), h = orvane::CGImageGetHeight(image);
    if (!image || w > kThumbnailSide || h > kThumbnailSide) {
      ++broken;
      continue;
    }
    const std::size_t left = kSheetGap + (i % columns) * cell + (cell - kSheetGap - w) / 2;
    const std::size_t top = kSheetGap + (i / columns) * cell + (cell - kSheetGap - h) / 2;
    orvane::CGContextDrawImage(
        sheet, {{double(left), double(height - top - h)}, {double(w), double(h)}}, image);
  }
  const double drawMilliseconds = millisecondsSince(start);
  start = Clock::now();
  const auto png = orvane::HXImageUtility::saveImageAsFormat(
      orvane::CGBitmapContextCreateImage(sheet), orvane::kUTTypePNG);
  const bool written = png && writeFile(sheetPath, *png);
  const double pngMilliseconds = millisecondsSince(start);

  const auto n = static_cast<double>(count);
  std::printf(
      "serve: %zu thumbnails served, %s; files without a thumbnail: %zu, undecodable: %zu\n", count,
      byteCount(bytes).c_str(), files.size() - count, broken);
  std::printf(
      "       restore %.2f ms; %.3f ms per thumbnail served: store read %.3f, "
      "JPEG decode and draw %.3f\n",
      restoreMilliseconds, (readMilliseconds + drawMilliseconds) / n, readMilliseconds / n,
      drawMilliseconds / n);
  if (written)
    std::printf("       contact sheet %zu x %zu pixels (PNG written in %.0f ms): %s\n", width,
                height, pngMilliseconds, sheetPath.c_str());
  else
    std::fprintf(stderr, "serve: cannot write the contact sheet %s\n", sheetPath.c_str());
  return written && broken == 0 ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
  const bool makeMode = argc == 3 && std::strcmp(argv[1], "make") == 0;
  const bool serveMode = argc == 4 && std::strcmp(argv[1], "serve") == 0;
  if (!makeMode && !serveMode) {
    std::fprintf(stderr, "usage: %s make DIRECTORY | serve DIRECTORY SHEET.png\n", argv[0]);
    return 2;
  }
  const auto files = filesUnder(argv[2]);
  if (!files) {
    std::fprintf(stderr, "%s is not a directory\n", argv[2]);
    return 2;
  }
  orvane::Environment::setApplicationIdentifier(kApplicationIdentifier);
  return makeMode ? make(*files) : serve(*files, argv[3]);
}
