// Bitmap representations and images against files another library (Pillow,
// run by the system's /usr/bin/python3) writes and reads.
#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <sstream>
#include <vector>

#include "orvane/Platform/AppKit/NSImage.h"
#include "support/TempDir.h"

namespace orvane {
namespace {

constexpr const char* kPillowScript = R"(
import sys
from PIL import Image
def pattern(w, h):
    img = Image.new('RGB', (w, h))
    img.putdata([(30 * x + 20, 40 * y + 10, 200 - 10 * (x + y)) for y in range(h) for x in range(w)])
    return img
command, path = sys.argv[1:]
if command == 'png':
    pattern(5, 3).save(path, 'PNG')
elif command == 'tiff2':
    pattern(4, 2).save(path, 'TIFF', save_all=True, append_images=[pattern(3, 3)])
else:
    img = Image.open(path)
    print(img.format, *img.size, *[c for p in img.convert('RGB').getdata() for c in p])
)";

using Rgb = std::array<int, 3>;

// The colour of Pillow's pattern at column x, row y from the top.
Rgb patternAt(std::size_t x, std::size_t y) {
  return {int(30 * x + 20), int(40 * y + 10), int(200 - 10 * (x + y))};
}

CGImageRef patternImage(std::size_t width, std::size_t height) {
  Data bytes;
  for (std::size_t i = 0; i < width * height; ++i)
    for (int c : patternAt(i % width, i / width)) bytes.push_back(static_cast<std::uint8_t>(c));
  return CGImageCreate(width, height, 8, 24, width * 3, CGColorSpaceCreateWithName(kCGColorSpaceSRGB),
                       kCGImageAlphaNone, CGDataProviderCreateWithData(bytes), nullptr, false,
                       kCGRenderingIntentDefault);
}

struct Reading {
  std::string format;
  std::size_t width = 0, height = 0;
  std::vector<Rgb> pixels;  // rows from the top
  // The largest difference of any component from the pattern.
  int worstError() const {
    int worst = pixels.size() == width * height ? 0 : 999;
    for (std::size_t i = 0; i < pixels.size(); ++i)
      for (int c = 0; c < 3; ++c)
        worst = std::max(worst, std::abs(pixels[i][c] - patternAt(i % width, i / width)[c]));
    return worst;
  }
};

class Pillow {
 public:
  Pillow() { std::ofstream(dir_ / "pillow.py") << kPillowScript; }
  // Bytes of a file Pillow wrote with `command`.
  Data make(const std::string& command) {
    run(command);
    std::ifstream in(dir_ / "file", std::ios::binary);
    return Data(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
  }
  // What Pillow reads from `bytes`, its first frame.
  Reading read(const Data& bytes) {
    std::ofstream(dir_ / "file", std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()), std::streamsize(bytes.size()));
    std::istringstream in(run("read"));
    Reading r;
    in >> r.format >> r.width >> r.height;
    for (Rgb p; in >> p[0] >> p[1] >> p[2];) r.pixels.push_back(p);
    return r;
  }

 private:
  std::string run(const std::string& command) {
    const std::string line = "/usr/bin/python3 '" + (dir_ / "pillow.py").string() + "' " +
                             command + " '" + (dir_ / "file").string() + "'";
    FILE* pipe = popen(line.c_str(), "r");
    std::string out;
    char buffer[4096];
    for (std::size_t n; (n = std::fread(buffer, 1, sizeof buffer, pipe)) > 0;) out.append(buffer, n);
    EXPECT_EQ(pclose(pipe), 0) << line;
    return out;
  }
  testing::TempDir dir_;
};

// The pixels of `rep` drawn 1:1 into an RGBA bitmap.
Reading drawn(const NSImageRep& rep) {
  Reading r{"drawn", std::size_t(rep.pixelsWide()), std::size_t(rep.pixelsHigh()), {}};
  auto bitmap = CGBitmapContextCreate(nullptr, r.width, r.height, 8, 0,
                                      CGColorSpaceCreateWithName(kCGColorSpaceSRGB),
                                      kCGImageAlphaPremultipliedLast);
  NSGraphicsContext::saveGraphicsState();
  NSGraphicsContext::setCurrentContext(
      NSGraphicsContext::graphicsContextWithCGContextFlipped(bitmap, false));
  rep.drawInRect(CGRectMake(0, 0, double(r.width), double(r.height)));
  NSGraphicsContext::restoreGraphicsState();
  const auto* p = static_cast<const std::uint8_t*>(CGBitmapContextGetData(bitmap));
  for (std::size_t i = 0; i < r.width * r.height; ++i) r.pixels.push_back({p[4 * i], p[4 * i + 1], p[4 * i + 2]});
  return r;
}

TEST(NSBitmapImageRepCodingTest, ReadsFilesAnotherLibraryWroteAndTheTIFFOfItsFirstBitmap) {
  Pillow pillow;
  const auto rep = NSBitmapImageRep::initWithData(pillow.make("png"));
  ASSERT_NE(rep, nullptr);
  EXPECT_EQ(rep->size(), (CGSize{5, 3}));
  const Reading pixels = drawn(*rep);
  EXPECT_EQ(pixels.width * pixels.height, 15u);
  EXPECT_EQ(pixels.worstError(), 0);
  const auto pages = NSImage::initWithData(pillow.make("tiff2"));
  ASSERT_NE(pages, nullptr);
  ASSERT_FALSE(pages->representations().empty());
  EXPECT_EQ(pages->size(), (CGSize{4, 2}));

  const Data garbage = dataOf("not an image at all");
  EXPECT_EQ(NSBitmapImageRep::initWithData(garbage), nullptr);
  EXPECT_EQ(NSBitmapImageRep::imageRepWithData({}), nullptr);
  EXPECT_TRUE(NSBitmapImageRep::imageRepsWithData(garbage).empty());
  EXPECT_EQ(NSImage::initWithData(garbage), nullptr);

  auto image = NSImage::imageWithSizeFlippedDrawingHandler({5, 3}, false, [](CGRect) { return true; });
  EXPECT_TRUE(image->TIFFRepresentation().empty()) << "a drawing handler is not rasterised";
  image->addRepresentation(NSBitmapImageRep::initWithCGImage(patternImage(5, 3)));
  image->addRepresentation(NSBitmapImageRep::initWithCGImage(patternImage(3, 3)));
  const Data tiff = image->TIFFRepresentation();
  const Reading reading = pillow.read(tiff);
  EXPECT_EQ(reading.format, "TIFF");
  EXPECT_EQ(reading.width, 5u);
  EXPECT_EQ(reading.worstError(), 0);
  const auto back = NSImage::initWithData(tiff);
  ASSERT_NE(back, nullptr);
  EXPECT_EQ(drawn(*back->representations().at(0)).worstError(), 0);
}

TEST(NSBitmapImageRepCodingTest, WritesEveryFileTypeAnotherLibraryReadsAtTheQualityAsked) {
  Pillow pillow;
  const auto rep = NSBitmapImageRep::initWithCGImage(patternImage(5, 3));
  const auto factor = [](float f) {
    return NSDictionary{{std::string(NSImageCompressionFactor), NSPropertyValue(f)}};
  };
  const NSDictionary best = factor(1.0f), worst = factor(0.0f);
  const std::tuple<NSBitmapImageFileType, const char*, int> cases[] = {
      {NSBitmapImageFileTypeTIFF, "TIFF", 0}, {NSBitmapImageFileTypeBMP, "BMP", 0},
      {NSBitmapImageFileTypeGIF, "GIF", 0},   {NSBitmapImageFileTypePNG, "PNG", 0},
      // Chroma at half resolution on a picture whose colour moves 30 levels a pixel.
      {NSBitmapImageFileTypeJPEG, "JPEG", 32}, {NSBitmapImageFileTypeJPEG2000, "JPEG2000", 2}};
  for (const auto& [type, format, tolerance] : cases) {
    SCOPED_TRACE(format);
    const auto data = rep->representationUsingTypeProperties(type, best);
    ASSERT_TRUE(data.has_value());
    const Reading reading = pillow.read(*data);
    EXPECT_EQ(reading.format, format);
    EXPECT_EQ(reading.width * 10 + reading.height, 53u);
    EXPECT_LE(reading.worstError(), tolerance);
    // The compression factor sets the quality of the lossy types only.
    const auto coarse = rep->representationUsingTypeProperties(type, worst);
    if (tolerance == 0) {
      EXPECT_EQ(coarse, data);
    } else {
      ASSERT_TRUE(coarse.has_value());
      EXPECT_LT(coarse->size(), data->size());
      EXPECT_LT(reading.worstError(), pillow.read(*coarse).worstError());
    }
  }
  EXPECT_FALSE(rep->representationUsingTypeProperties(6, best).has_value());
  const auto tiff = rep->TIFFRepresentation();
  ASSERT_TRUE(tiff.has_value());
  EXPECT_EQ(pillow.read(*tiff).format, "TIFF");
  EXPECT_EQ(pillow.read(*tiff).worstError(), 0);
}

}  // namespace
}  // namespace orvane
