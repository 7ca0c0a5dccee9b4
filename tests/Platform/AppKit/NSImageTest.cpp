#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <sstream>
#include <thread>
#include <vector>

#include "Platform/Foundation/EnvironmentOverrides.h"
#include "orvane/Platform/AppKit/NSGraphicsContext.h"
#include "orvane/Platform/AppKit/NSImage.h"
#include "support/TempDir.h"

namespace orvane {
namespace {

using Pixel = std::array<std::uint8_t, 4>;  // R G B A, premultiplied
constexpr Pixel kClear{0, 0, 0, 0}, kRed{255, 0, 0, 255}, kBlue{0, 0, 255, 255};

// Sets the main screen alone for the object's lifetime; no scale: no screen.
struct Screen : ScopedEnvironmentOverrides {
  explicit Screen(std::optional<double> scale)
      : ScopedEnvironmentOverrides([&] {
          EnvironmentOverrides o;
          o.mainScreen = scale ? MainScreenOverride{true, {72, 72}, *scale} : MainScreenOverride{};
          return o;
        }()) {}
};

CGContextRef rgbaBitmap(std::size_t width, std::size_t height) {
  return CGBitmapContextCreate(nullptr, width, height, 8, 0,
                               CGColorSpaceCreateWithName(kCGColorSpaceSRGB),
                               kCGImageAlphaPremultipliedLast);
}

Pixel at(const CGContextRef& bitmap, std::size_t col, std::size_t row) {
  const auto* p = static_cast<const std::uint8_t*>(CGBitmapContextGetData(bitmap)) +
                  row * CGBitmapContextGetBytesPerRow(bitmap) + col * 4;
  return {p[0], p[1], p[2], p[3]};
}

// A pixel of an 8-bit RGBA or ARGB image, as R G B A.
Pixel at(const CGImageRef& image, std::size_t col, std::size_t row) {
  const auto bytes = CGDataProviderCopyData(CGImageGetDataProvider(image));
  const std::uint8_t* p = bytes->data() + row * CGImageGetBytesPerRow(image) + col * 4;
  if (CGImageGetAlphaInfo(image) == kCGImageAlphaPremultipliedFirst) return {p[1], p[2], p[3], p[0]};
  return {p[0], p[1], p[2], p[3]};
}

// An 8-bit sRGB image of `channels` 3 (RGB) or 4 (RGBA, premultiplied), made
// by `colour(column, row from the top)`.
template <class Colour>
CGImageRef imageOf(std::size_t width, std::size_t height, std::size_t channels, Colour colour) {
  Data bytes;
  for (std::size_t i = 0; i < width * height; ++i)
    for (std::size_t c = 0; c < channels; ++c) bytes.push_back(std::uint8_t(colour(i % width, i / width)[c]));
  return CGImageCreate(width, height, 8, 8 * channels, width * channels,
                       CGColorSpaceCreateWithName(kCGColorSpaceSRGB),
                       channels == 4 ? kCGImageAlphaPremultipliedLast : kCGImageAlphaNone,
                       CGDataProviderCreateWithData(bytes), nullptr, false, kCGRenderingIntentDefault);
}
CGImageRef solid(std::size_t width, std::size_t height, Pixel colour) {
  return imageOf(width, height, 4, [&](std::size_t, std::size_t) { return colour; });
}
// Makes `bitmap` current for the scope, wrapped as `flipped`.
struct Current {
  Current(const CGContextRef& bitmap, bool flipped) {
    NSGraphicsContext::saveGraphicsState();
    NSGraphicsContext::setCurrentContext(
        NSGraphicsContext::graphicsContextWithCGContextFlipped(bitmap, flipped));
  }
  ~Current() { NSGraphicsContext::restoreGraphicsState(); }
};

bool fillRed(CGRect rect) {
  const auto& cg = NSGraphicsContext::currentContext()->CGContext();
  CGContextSetRGBFillColor(cg, 1, 0, 0, 1);
  CGContextFillRect(cg, rect);
  return true;
}

TEST(NSImageTest, SizesAndTheOrderedRepresentationList) {
  EXPECT_TRUE(NSImage::initWithSize({133, 200})->representations().empty());
  EXPECT_EQ(NSImage::initWithCGImageSize(solid(64, 48, kRed), CGSizeZero)->size(), (CGSize{64, 48}));
  EXPECT_EQ(NSImage::initWithCGImageSize(nullptr, CGSizeZero), nullptr);
  const auto points = NSImage::initWithCGImageSize(solid(64, 48, kRed), {32, 24});
  EXPECT_EQ(points->size(), (CGSize{32, 24}));
  ASSERT_EQ(points->representations().size(), 1u);
  const auto& rep = points->representations()[0];
  EXPECT_EQ(rep->size(), (CGSize{32, 24}));
  EXPECT_EQ(rep->pixelsWide() * 100 + rep->pixelsHigh(), 6448);

  const auto custom = NSImage::imageWithSizeFlippedDrawingHandler({10, 5}, false, fillRed);
  ASSERT_NE(custom, nullptr);
  const auto customRep = custom->representations().at(0);
  EXPECT_EQ(customRep->pixelsWide() + customRep->pixelsHigh(), 0);
  EXPECT_EQ(NSImage::imageWithSizeFlippedDrawingHandler({10, 5}, false, nullptr), nullptr);
  for (const auto& added : {rep, rep, std::shared_ptr<NSImageRep>()}) custom->addRepresentation(added);
  EXPECT_EQ(custom->representations(), (std::vector{customRep, rep}));
  custom->removeRepresentation(customRep);
  EXPECT_EQ(custom->representations(), (std::vector{rep}));
}

TEST(NSImageTest, DrawingHandlersDrawInTheirOwnSpaceMappedOntoTheRectangle) {
  // The image is drawn into the 8 x 4 band at the bottom of an 8 x 8 bitmap
  // (rows 4-7), or, in a flipped context, into the band at the top (rows 0-3);
  // its lower-left (or, flipped, upper-left) quarter fills 2 rows from firstRow.
  for (const auto& [repFlipped, contextFlipped, firstRow] :
       {std::tuple{false, false, 6u}, {true, false, 4u}, {false, true, 2u}, {true, true, 0u}}) {
    SCOPED_TRACE(::testing::Message() << repFlipped << contextFlipped);
    auto bitmap = rgbaBitmap(8, 8);
    if (contextFlipped) CGContextTranslateCTM(bitmap, 0, 8), CGContextScaleCTM(bitmap, 1, -1);
    CGRect given = CGRectNull;
    bool handlerSawFlipped = !repFlipped;
    const auto image =
        NSImage::imageWithSizeFlippedDrawingHandler({4, 2}, repFlipped, [&](CGRect dst) {
          given = dst;
          handlerSawFlipped = NSGraphicsContext::currentContext()->isFlipped();
          return fillRed(CGRectMake(0, 0, 2, 1));
        });
    {
      Current current(bitmap, contextFlipped);
      image->drawInRect(CGRectMake(0, 0, 8, 4));
      EXPECT_EQ(NSGraphicsContext::currentContext()->isFlipped(), contextFlipped) << "restored";
    }
    EXPECT_EQ(given, CGRectMake(0, 0, 4, 2));
    EXPECT_EQ(handlerSawFlipped, repFlipped);
    for (std::size_t row = 0; row < CGBitmapContextGetHeight(bitmap); ++row)
      for (std::size_t col = 0; col < CGBitmapContextGetWidth(bitmap); ++col)
        ASSERT_EQ(at(bitmap, col, row),
                  col < 4 && row >= firstRow && row < firstRow + 2 ? kRed : kClear) << col << "," << row;
  }
}

TEST(NSImageTest, LockFocusDrawsIntoAScreenScaledBitmapThatBecomesTheFirstRepresentation) {
  for (const auto& [scale, size, wide, high] :
       {std::tuple{std::optional(2.0), CGSize{10.5, 4}, 21, 8}, {std::nullopt, {3, 3}, 3, 3},
        {1.5, {3, 3}, 5, 5}, {1.0, {100, 50}, 100, 50}}) {
    Screen screen(scale);
    auto outside = rgbaBitmap(1, 1);
    Current current(outside, false);
    const auto before = NSGraphicsContext::currentContext();
    auto image = NSImage::imageWithSizeFlippedDrawingHandler(size, false, [](CGRect) { return true; });
    image->lockFocus();
    ASSERT_NE(NSGraphicsContext::currentContext(), before);
    fillRed(CGRectMake(0, 0, 2, 1));  // in points
    image->unlockFocus();
    EXPECT_EQ(NSGraphicsContext::currentContext(), before);
    ASSERT_EQ(image->representations().size(), 2u);
    const auto bitmap = std::dynamic_pointer_cast<NSBitmapImageRep>(image->representations()[0]);
    ASSERT_NE(bitmap, nullptr);
    EXPECT_EQ(bitmap->pixelsWide() * 1000 + bitmap->pixelsHigh(), wide * 1000 + high);
    EXPECT_EQ(bitmap->size(), size);
    // The 2 x 1 points cover 2s x s pixels from the lower-left corner; a pixel
    // on the edge is covered in part.
    const double s = scale.value_or(1.0);
    const auto cover = [](double extent, double from) { return std::clamp(extent - from, 0.0, 1.0); };
    for (int row = 0; row < high; ++row)
      for (int col = 0; col < wide; ++col)
        ASSERT_NEAR(at(bitmap->CGImage(), col, row)[3],
                    255 * cover(2 * s, col) * cover(s, high - 1 - row), 1) << col << "," << row;
  }
}

TEST(NSImageTest, LockFocusKeepsWhatTheImageShowedAndWithoutPixelsDrawsNowhere) {
  Screen screen(std::nullopt);
  auto image = NSImage::initWithCGImageSize(solid(4, 4, kBlue), CGSizeZero);
  image->lockFocus();
  fillRed(CGRectMake(0, 0, 4, 2));
  image->unlockFocus();
  const auto pixels = std::dynamic_pointer_cast<NSBitmapImageRep>(image->representations()[0])->CGImage();
  EXPECT_EQ(at(pixels, 0, 0), kBlue);
  EXPECT_EQ(at(pixels, 3, 3), kRed);

  auto empty = NSImage::initWithSize({0, 10});
  empty->lockFocus();
  EXPECT_EQ(NSGraphicsContext::currentContext(), nullptr);
  empty->unlockFocus();
  empty->unlockFocus();  // unbalanced: nothing happens
  EXPECT_TRUE(empty->representations().empty());
}

TEST(NSImageTest, DrawInRectPicksTheBitmapThatFitsTheDestinationPixels) {
  auto image = NSImage::initWithCGImageSize(solid(4, 4, kRed), {4, 4});
  auto large = NSBitmapImageRep::initWithCGImage(solid(16, 16, kBlue));
  large->setSize({4, 4});
  image->addRepresentation(large);
  // Bitmap side, scale, rectangle side: which of the two is drawn.
  for (const auto& [side, ctm, rect, expected] :
       {std::tuple{4u, 1.0, 4.0, kRed}, {2u, 1.0, 2.0, kRed}, {8u, 1.0, 8.0, kBlue},
        {16u, 4.0, 4.0, kBlue}, {32u, 1.0, 32.0, kBlue}}) {
    auto bitmap = rgbaBitmap(side, side);
    CGContextScaleCTM(bitmap, ctm, ctm);
    Current current(bitmap, false);
    image->drawInRect(CGRectMake(0, 0, rect, rect));
    EXPECT_EQ(at(bitmap, 0, 0), expected) << side << " " << ctm;
  }
  auto none = rgbaBitmap(2, 2);
  {
    Current current(none, false);
    NSImage::initWithSize({2, 2})->drawInRect(CGRectMake(0, 0, 2, 2));
  }
  NSImage::initWithCGImageSize(solid(2, 2, kRed), CGSizeZero)->drawInRect(CGRectMake(0, 0, 2, 2));
  for (std::size_t i = 0; i < 4; ++i) EXPECT_EQ(at(none, i % 2, i / 2), kClear);
}

TEST(NSBitmapImageRepTest, BitmapDataIsAPrivateWritableCopy) {
  const CGImageRef original = solid(3, 2, kRed);
  auto rep = NSBitmapImageRep::initWithCGImage(original);
  ASSERT_NE(rep, nullptr);
  EXPECT_EQ(NSBitmapImageRep::initWithCGImage(nullptr), nullptr);
  EXPECT_EQ(rep->CGImage(), original) << "shared until written";
  EXPECT_EQ(rep->bytesPerRow() * 10000 + rep->bitsPerPixel() * 100 + rep->bitsPerSample(), 123208);
  std::uint8_t* data = rep->bitmapData();
  ASSERT_NE(data, nullptr);
  data[rep->bytesPerRow() + 4 + 2] = 255;  // row 1, column 1: add blue
  const CGImageRef changed = rep->CGImage();
  EXPECT_NE(changed, original);
  EXPECT_EQ(at(changed, 1, 1), (Pixel{255, 0, 255, 255}));
  EXPECT_EQ(at(changed, 0, 0), kRed);
  EXPECT_EQ(at(original, 1, 1), kRed) << "the caller's image is never changed";
  EXPECT_EQ(rep->bitmapData(), data) << "one copy";
}

TEST(NSGraphicsContextTest, StateStackRestoresTheContextAndItsGraphicsState) {
  EXPECT_EQ(NSGraphicsContext::graphicsContextWithCGContextFlipped(nullptr, false), nullptr);
  const auto a = NSGraphicsContext::graphicsContextWithCGContextFlipped(rgbaBitmap(2, 2), true);
  const auto b = NSGraphicsContext::graphicsContextWithCGContextFlipped(rgbaBitmap(2, 2), false);
  EXPECT_TRUE(a->isFlipped());
  EXPECT_FALSE(b->isFlipped());
  EXPECT_EQ(NSGraphicsContext::currentContext(), nullptr);
  NSGraphicsContext::saveGraphicsState();  // saves "none"
  NSGraphicsContext::setCurrentContext(a);
  NSGraphicsContext::saveGraphicsState();
  CGContextTranslateCTM(a->CGContext(), 5, 7);
  NSGraphicsContext::setCurrentContext(b);
  NSGraphicsContext::restoreGraphicsState();
  EXPECT_EQ(NSGraphicsContext::currentContext(), a);
  EXPECT_EQ(CGContextGetCTM(a->CGContext()), CGAffineTransformIdentity);
  std::thread([&] {
    EXPECT_EQ(NSGraphicsContext::currentContext(), nullptr) << "each thread has its own";
    NSGraphicsContext::setCurrentContext(b);
    NSGraphicsContext::restoreGraphicsState();  // its stack is empty
    EXPECT_EQ(NSGraphicsContext::currentContext(), b);
  }).join();
  EXPECT_EQ(NSGraphicsContext::currentContext(), a);
  NSGraphicsContext::restoreGraphicsState();
  EXPECT_EQ(NSGraphicsContext::currentContext(), nullptr);
  NSGraphicsContext::restoreGraphicsState();  // nothing saved: no change
  EXPECT_EQ(NSGraphicsContext::currentContext(), nullptr);
}

// Bitmap representations and images against files another library (Pillow,
// run by the system's /usr/bin/python3) writes and reads.
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

CGImageRef patternImage(std::size_t width, std::size_t height) { return imageOf(width, height, 3, patternAt); }

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
  auto bitmap = rgbaBitmap(r.width, r.height);
  {
    Current current(bitmap, false);
    rep.drawInRect(CGRectMake(0, 0, double(r.width), double(r.height)));
  }
  for (std::size_t i = 0; i < r.width * r.height; ++i) {
    const Pixel p = at(bitmap, i % r.width, i / r.width);
    r.pixels.push_back({p[0], p[1], p[2]});
  }
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
