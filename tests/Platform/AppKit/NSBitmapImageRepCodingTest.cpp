// Bitmap representations and images against files another library (Pillow,
// run by the system's /usr/bin/python3) writes and reads.
#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
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

command, path = sys.argv[1], sys.argv[2]
if command == 'png':
    pattern(5, 3).save(path, 'PNG')
elif command == 'tiff2':
    pattern(4, 2).save(path, 'TIFF', save_all=True, append_images=[pattern(3, 3)])
elif command == 'read':
    img = Image.open(path)
    frames = getattr(img, 'n_frames', 1)
    rgb = img.convert('RGB')
    out = ['%s %d %d %d' % (img.format, img.size[0], img.size[1], frames)]
    out += ['%d %d %d' % p for p in rgb.getdata()]
    sys.stdout.write('\n'.join(out) + '\n')
)";

using Rgb = std::array<int, 3>;

// The colour Pillow's pattern gives (column x, row y from the top).
Rgb patternAt(std::size_t x, std::size_t y) {
  return {int(30 * x + 20), int(40 * y + 10), int(200 - 10 * (x + y))};
}

CGImageRef patternImage(std::size_t width, std::size_t height) {
  Data bytes;
  for (std::size_t y = 0; y < height; ++y)
    for (std::size_t x = 0; x < width; ++x)
      for (int c : patternAt(x, y)) bytes.push_back(static_cast<std::uint8_t>(c));
  return CGImageCreate(width, height, 8, 24, width * 3,
                       CGColorSpaceCreateWithName(kCGColorSpaceSRGB), kCGImageAlphaNone,
                       CGDataProviderCreateWithData(bytes), nullptr, false,
                       kCGRenderingIntentDefault);
}

class Pillow {
 public:
  Pillow() {
    std::ofstream(dir_ / "pillow.py") << kPillowScript;
  }

  // Bytes of a file Pillow wrote with `command`.
  Data make(const std::string& command) {
    run(command + " '" + (dir_ / "made").string() + "'");
    std::ifstream in(dir_ / "made", std::ios::binary);
    return Data(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
  }

  struct Reading {
    std::string format;
    std::size_t width = 0, height = 0, frames = 0;
    std::vector<Rgb> pixels;  // of the first frame, rows from the top
  };
  // What Pillow reads from `bytes`.
  Reading read(const Data& bytes) {
    std::ofstream(dir_ / "file", std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    run("read '" + (dir_ / "file").string() + "' > '" + (dir_ / "reading").string() + "'");
    std::ifstream in(dir_ / "reading");
    Reading r;
    in >> r.format >> r.width >> r.height >> r.frames;
    Rgb p;
    while (in >> p[0] >> p[1] >> p[2]) r.pixels.push_back(p);
    return r;
  }

 private:
  void run(const std::string& arguments) {
    const std::string line =
        "/usr/bin/python3 '" + (dir_ / "pillow.py").string() + "' " + arguments;
    ASSERT_EQ(std::system(line.c_str()), 0) << line;
  }
  testing::TempDir dir_;
};

// The largest difference of any component from the pattern.
int worstError(const Pillow::Reading& r) {
  int worst = 0;
  for (std::size_t i = 0; i < r.pixels.size(); ++i)
    for (int c = 0; c < 3; ++c)
      worst = std::max(worst, std::abs(r.pixels[i][c] - patternAt(i % r.width, i / r.width)[c]));
  return worst;
}

// The pixels of `rep` drawn 1:1 into an RGBA bitmap, as RGB.
std::vector<Rgb> drawnPixels(const NSImageRep& rep) {
  const auto w = static_cast<std::size_t>(rep.pixelsWide());
  const auto h = static_cast<std::size_t>(rep.pixelsHigh());
  auto bitmap = CGBitmapContextCreate(nullptr, w, h, 8, 0,
                                      CGColorSpaceCreateWithName(kCGColorSpaceSRGB),
                                      kCGImageAlphaPremultipliedLast);
  NSGraphicsContext::saveGraphicsState();
  NSGraphicsContext::setCurrentContext(
      NSGraphicsContext::graphicsContextWithCGContextFlipped(bitmap, false));
  rep.drawInRect(CGRectMake(0, 0, double(w), double(h)));
  NSGraphicsContext::restoreGraphicsState();
  std::vector<Rgb> out;
  const auto* p = static_cast<const std::uint8_t*>(CGBitmapContextGetData(bitmap));
  for (std::size_t i = 0; i < w * h; ++i) out.push_back({p[4 * i], p[4 * i + 1], p[4 * i + 2]});
  return out;
}

TEST(NSBitmapImageRepCodingTest, ReadsFilesAnotherLibraryWrote) {
  Pillow pillow;
  const auto rep = NSBitmapImageRep::initWithData(pillow.make("png"));
  ASSERT_NE(rep, nullptr);
  EXPECT_EQ(rep->pixelsWide(), 5);
  EXPECT_EQ(rep->pixelsHigh(), 3);
  EXPECT_EQ(rep->size(), (CGSize{5, 3}));
  const auto pixels = drawnPixels(*rep);
  for (std::size_t i = 0; i < pixels.size(); ++i)
    EXPECT_EQ(pixels[i], patternAt(i % 5, i / 5)) << i;

  const auto pages = NSImage::initWithData(pillow.make("tiff2"));
  ASSERT_NE(pages, nullptr);
  ASSERT_FALSE(pages->representations().empty());
  EXPECT_EQ(pages->size(), (CGSize{4, 2}));

  const Data garbage = dataOf("not an image at all");
  EXPECT_EQ(NSBitmapImageRep::initWithData(garbage), nullptr);
  EXPECT_EQ(NSBitmapImageRep::imageRepWithData({}), nullptr);
  EXPECT_TRUE(NSBitmapImageRep::imageRepsWithData(garbage).empty());
  EXPECT_EQ(NSImage::initWithData(garbage), nullptr);
}

TEST(NSBitmapImageRepCodingTest, WritesEveryFileTypeAnotherLibraryReads) {
  Pillow pillow;
  const auto rep = NSBitmapImageRep::initWithCGImage(patternImage(5, 3));
  const NSDictionary best{{std::string(NSImageCompressionFactor), NSPropertyValue(1.0f)}};
  struct Case {
    NSBitmapImageFileType type;
    const char* format;
    int tolerance;
  };
  for (const Case c : {Case{NSBitmapImageFileTypeTIFF, "TIFF", 0},
                       Case{NSBitmapImageFileTypeBMP, "BMP", 0},
                       Case{NSBitmapImageFileTypeGIF, "GIF", 0},
                       // Chroma at half resolution on a 5 x 3 picture whose colour moves 30
                       // levels a pixel.
                       Case{NSBitmapImageFileTypeJPEG, "JPEG", 32},
                       Case{NSBitmapImageFileTypePNG, "PNG", 0},
                       Case{NSBitmapImageFileTypeJPEG2000, "JPEG2000", 2}}) {
    SCOPED_TRACE(c.format);
    const auto data = rep->representationUsingTypeProperties(c.type, best);
    ASSERT_TRUE(data.has_value());
    const auto reading = pillow.read(*data);
    EXPECT_EQ(reading.format, c.format);
    ASSERT_EQ(reading.width, 5u);
    ASSERT_EQ(reading.height, 3u);
    EXPECT_LE(worstError(reading), c.tolerance);
  }
  EXPECT_FALSE(rep->representationUsingTypeProperties(6, best).has_value());

  const auto tiff = rep->TIFFRepresentation();
  ASSERT_TRUE(tiff.has_value());
  EXPECT_EQ(pillow.read(*tiff).format, "TIFF");
  EXPECT_EQ(worstError(pillow.read(*tiff)), 0);
}

TEST(NSBitmapImageRepCodingTest, CompressionFactorSetsTheLossyQualityOnly) {
  Pillow pillow;
  const auto rep = NSBitmapImageRep::initWithCGImage(patternImage(5, 3));
  const NSDictionary best{{std::string(NSImageCompressionFactor), NSPropertyValue(1.0f)}};
  const NSDictionary worst{{std::string(NSImageCompressionFactor), NSPropertyValue(0.0f)}};
  for (const NSBitmapImageFileType lossy : {NSBitmapImageFileTypeJPEG, NSBitmapImageFileTypeJPEG2000}) {
    const auto fine = rep->representationUsingTypeProperties(lossy, best);
    const auto coarse = rep->representationUsingTypeProperties(lossy, worst);
    ASSERT_TRUE(fine && coarse);
    EXPECT_LT(coarse->size(), fine->size()) << lossy;
    EXPECT_LT(worstError(pillow.read(*fine)), worstError(pillow.read(*coarse))) << lossy;
  }
  EXPECT_EQ(rep->representationUsingTypeProperties(NSBitmapImageFileTypePNG, best),
            rep->representationUsingTypeProperties(NSBitmapImageFileTypePNG, worst));
}

TEST(NSBitmapImageRepCodingTest, TIFFOfTheFirstBitmapAnotherLibraryReads) {
  Pillow pillow;
  auto image = NSImage::imageWithSizeFlippedDrawingHandler({5, 3}, false,
                                                           [](CGRect) { return true; });
  EXPECT_TRUE(image->TIFFRepresentation().empty()) << "a drawing handler is not rasterised";
  image->addRepresentation(NSBitmapImageRep::initWithCGImage(patternImage(5, 3)));
  image->addRepresentation(NSBitmapImageRep::initWithCGImage(patternImage(3, 3)));
  const Data tiff = image->TIFFRepresentation();
  const auto reading = pillow.read(tiff);
  EXPECT_EQ(reading.format, "TIFF");
  ASSERT_EQ(reading.width, 5u);
  EXPECT_EQ(worstError(reading), 0);

  const auto back = NSImage::initWithData(tiff);
  ASSERT_NE(back, nullptr);
  const auto pixels = drawnPixels(*back->representations().at(0));
  for (std::size_t i = 0; i < pixels.size(); ++i) EXPECT_EQ(pixels[i], patternAt(i % 5, i / 5));
}

}  // namespace
}  // namespace orvane
