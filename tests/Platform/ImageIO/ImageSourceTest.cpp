// CGImageSource and CGImageDestination: every format written and read back through the public
// calls, the pixel layouts images hand to encoders, lazy decoding, the decoder seam drawing uses,
// thumbnails.

#include <gtest/gtest.h>

#include "Image/ImageTestSupport.h"
#include "Platform/CoreGraphics/ImageInternal.h"
#include "Platform/ImageIO/ImageCodec.h"
#include "orvane/Platform/ImageIO/CGImageDestination.h"
#include "orvane/Platform/ImageIO/CGImageSource.h"

namespace orvane {
namespace {

using namespace testing;
constexpr std::size_t kW = 48, kH = 20;

std::shared_ptr<Data> write(const CGImageRef& image, std::string_view type) {
  auto data = std::make_shared<Data>();
  auto destination = CGImageDestinationCreateWithData(data, type, 1);
  EXPECT_TRUE(destination);
  CGImageDestinationAddImage(destination, image);
  EXPECT_TRUE(CGImageDestinationFinalize(destination));
  EXPECT_FALSE(CGImageDestinationFinalize(destination)) << "a destination writes once";
  return data;
}

CGImageRef readBack(const CGImageRef& image, std::string_view type) {
  return CGImageSourceCreateImageAtIndex(CGImageSourceCreateWithData(*write(image, type)), 0);
}

TEST(ImageSource, EveryLayoutIsWrittenStraightAndEveryFormatReadsBack) {
  Data rgba;  // straight RGBA with a few distinct colours and alphas
  for (std::size_t i = 0; i < kW * kH; ++i) {
    const std::size_t x = i % kW, y = i / kW;
    rgba.insert(rgba.end(), {std::uint8_t(x / 8 * 51), std::uint8_t(y / 5 * 85), std::uint8_t((x + y) / 6 % 3 * 127),
                             std::uint8_t(x / 16 == 1 ? 128 : 255)});
  }
  const CGImageRef straight = image8(kW, kH, 4, kCGImageAlphaLast, rgba);
  for (const std::string_view type : {kUTTypePNG, kUTTypeTIFF, kUTTypeBMP, kUTTypeJPEG2000, kUTTypeGIF}) {
    SCOPED_TRACE(std::string(type));
    const auto source = CGImageSourceCreateWithData(std::shared_ptr<const Data>(write(straight, type)));
    EXPECT_EQ(CGImageSourceGetType(source), type);
    EXPECT_EQ(CGImageSourceGetCount(source), 1u);
    EXPECT_FALSE(CGImageSourceCreateImageAtIndex(source, 1));
    const CGImageRef back = CGImageSourceCreateImageAtIndex(source, 0);
    ASSERT_EQ(dims(back), (Dims{kW, kH}));
    // GIF keeps alpha only as on or off: with no alpha below half, it has none.
    const bool gif = type == kUTTypeGIF;
    EXPECT_EQ(CGImageGetBitsPerPixel(back), gif ? 24u : 32u);
    EXPECT_EQ(CGImageGetAlphaInfo(back), gif ? kCGImageAlphaNone : kCGImageAlphaLast);
    Data expected;
    for (std::size_t i = 0; i < rgba.size(); i += 4) expected.insert(expected.end(), &rgba[i], &rgba[i] + (gif ? 3 : 4));
    EXPECT_EQ(pixelBytes(back), expected);
  }

  // The same straight pixels in the other layouts images can have: encoders take them straightened.
  auto premultiply = [](unsigned c, unsigned a) { return std::uint8_t((c * a + 127) / 255); };
  Data premultipliedFirstLittle, premultipliedLast, skipFirst, rgb16big;
  for (std::size_t i = 0; i < rgba.size(); i += 4) {
    const std::uint8_t *p = &rgba[i], a = p[3], r = premultiply(p[0], a), g = premultiply(p[1], a), b = premultiply(p[2], a);
    premultipliedFirstLittle.insert(premultipliedFirstLittle.end(), {b, g, r, a});  // cairo's layout
    premultipliedLast.insert(premultipliedLast.end(), {r, g, b, a});
    skipFirst.insert(skipFirst.end(), {0x5A, p[0], p[1], p[2]});
    rgb16big.insert(rgb16big.end(), {p[0], 0x80, p[1], 0x80, p[2], 0x80});
  }
  const struct {
    const char* name;
    Data bytes;
    std::size_t bpc, bpp;
    CGBitmapInfo info;
    bool alpha;          // the written file keeps alpha
    unsigned tolerance;  // premultiplying loses precision where alpha is small
  } layouts[] = {
      {"premultiplied first, 32-bit little", premultipliedFirstLittle, 8, 32,
       kCGImageAlphaPremultipliedFirst | kCGBitmapByteOrder32Little, true, 1},
      {"premultiplied last", premultipliedLast, 8, 32, kCGImageAlphaPremultipliedLast, true, 1},
      {"skip first", skipFirst, 8, 32, kCGImageAlphaNoneSkipFirst, false, 0},
      {"16-bit big-endian RGB", rgb16big, 16, 48, kCGImageAlphaNone, false, 0},
  };
  for (const auto& l : layouts) {
    SCOPED_TRACE(l.name);
    const CGImageRef img = image(kW, kH, l.bpc, l.bpp, l.info, l.bytes);
    const Data got = pixelBytes(readBack(img, kUTTypePNG));
    const std::size_t channels = l.alpha ? 4 : 3, sample = l.bpc / 8;
    ASSERT_EQ(got.size(), kW * kH * channels * sample);
    for (std::size_t i = 0; i < kW * kH * channels; ++i) {
      // 16-bit samples come back little-endian: the high byte is the second.
      ASSERT_NEAR(got[i * sample + sample - 1], rgba[i / channels * 4 + i % channels], l.tolerance) << i;
    }
    EXPECT_EQ(pixelBytes(img), l.bytes) << "the caller's pixels changed";
  }
}

TEST(ImageSource, DecodesLazilyAndOffersCheaperDecodesToDrawing) {
  Data gray(kW * 8 * kH * 8);  // a JPEG big enough for 1/8 scaling, and a PNG for row streaming
  for (std::size_t i = 0; i < gray.size(); ++i) gray[i] = std::uint8_t(i % 251);
  const CGImageRef big = image8(kW * 8, kH * 8, 1, kCGImageAlphaNone, gray, CGColorSpaceCreateWithName(kCGColorSpaceGenericGrayGamma2_2));
  const auto jpeg = readBack(big, kUTTypeJPEG);
  ASSERT_TRUE(jpeg);
  const CGDataProvider& provider = *CGImageGetDataProvider(jpeg);
  ASSERT_NE(provider.decoder(), nullptr);
  EXPECT_FALSE(provider.ready()) << "made without decoding";
  EXPECT_EQ(dims(provider.decoder()->decodeReduced(kW, kH)), (Dims{kW, kH}));
  EXPECT_FALSE(provider.decoder()->decodeReduced(kW * 8, kH * 8)) << "no smaller decode has that many pixels";
  EXPECT_FALSE(provider.decoder()->canStreamRows());
  EXPECT_EQ(pixelBytes(jpeg).size(), gray.size());
  EXPECT_TRUE(provider.ready());

  struct Collect final : ImageRowSink {
    explicit Collect(std::size_t limit) : limit(limit) {}
    bool consumeRow(const std::uint8_t* row) override {
      bytes.insert(bytes.end(), row, row + kW * 8);
      return ++rows < limit;
    }
    Data bytes;
    std::size_t limit, rows = 0;
  };
  const auto png = readBack(big, kUTTypePNG);
  ASSERT_TRUE(png);
  const ImageDecoder* decoder = CGImageGetDataProvider(png)->decoder();
  ASSERT_TRUE(decoder && decoder->canStreamRows());
  Collect all(SIZE_MAX), some(3);
  EXPECT_TRUE(decoder->streamRows(all));
  EXPECT_EQ(all.bytes, gray);
  EXPECT_TRUE(decoder->streamRows(some));
  EXPECT_EQ(some.rows, 3u) << "the sink may stop early";
}

TEST(ImageSource, ThumbnailsTurnEveryExifOrientationUpright) {
  // 3 x 2 stored pixels of distinct colours; where stored pixel (u, v) (from the top left) must
  // appear once turned upright, as EXIF defines the tags.
  constexpr std::uint32_t W = 3, H = 2;
  Data stored;
  for (std::uint32_t i = 0; i < W * H; ++i)
    stored.insert(stored.end(), {std::uint8_t(40 * i), std::uint8_t(250 - 40 * i), std::uint8_t(i % 2 ? 230 : 20)});
  auto upright = [&](int orientation, std::uint32_t u, std::uint32_t v) -> std::array<std::uint32_t, 2> {
    switch (orientation) {
      case 2: return {W - 1 - u, v};
      case 3: return {W - 1 - u, H - 1 - v};
      case 4: return {u, H - 1 - v};
      case 5: return {v, u};
      case 6: return {H - 1 - v, u};
      case 7: return {H - 1 - v, W - 1 - u};
      case 8: return {v, W - 1 - u};
      default: return {u, v};
    }
  };
  for (int orientation = 1; orientation <= 8; ++orientation) {
    SCOPED_TRACE("orientation " + std::to_string(orientation));
    imageio::PixelsView view;
    view.width = W, view.height = H, view.channels = 3, view.bitsPerComponent = 8, view.bytesPerRow = W * 3;
    view.data = stored.data();
    view.orientation = std::uint16_t(orientation);
    Data png;
    ASSERT_TRUE(imageio::pngCodec().encode(view, {}, png));
    const auto source = CGImageSourceCreateWithData(png);
    EXPECT_EQ(CGImageSourceCopyPropertiesAtIndex(source, 0)->doubleForKey(kCGImagePropertyOrientation), orientation);
    const NSDictionary onlyTransform{{kCGImageSourceCreateThumbnailWithTransform, true}};
    EXPECT_FALSE(CGImageSourceCreateThumbnailAtIndex(source, 0, &onlyTransform)) << "no embedded thumbnail";
    const NSDictionary options{{kCGImageSourceCreateThumbnailWithTransform, true},
                               {kCGImageSourceCreateThumbnailFromImageAlways, true}};
    const CGImageRef thumb = CGImageSourceCreateThumbnailAtIndex(source, 0, &options);
    ASSERT_EQ(dims(thumb), orientation >= 5 ? (Dims{H, W}) : (Dims{W, H}));
    const Data got = pixelBytes(thumb);
    for (std::uint32_t i = 0; i < W * H * 3; ++i) {
      const auto [x, y] = upright(orientation, i / 3 % W, i / 3 / W);
      EXPECT_NEAR(got[y * CGImageGetBytesPerRow(thumb) + x * 4 + i % 3], stored[i], 2) << i;
    }
    // Without the transform the stored layout comes back.
    const NSDictionary plain{{kCGImageSourceCreateThumbnailFromImageAlways, true}};
    EXPECT_EQ(dims(CGImageSourceCreateThumbnailAtIndex(source, 0, &plain)), (Dims{W, H}));
  }
}

TEST(ImageSource, ThumbnailsKeepWithinTheMaximumSide) {
  Data gray(400 * 200);
  for (std::size_t i = 0; i < gray.size(); ++i) gray[i] = std::uint8_t(i % 400 * 255 / 399);
  const CGImageRef wide = image8(400, 200, 1, kCGImageAlphaNone, gray, CGColorSpaceCreateWithName(kCGColorSpaceGenericGrayGamma2_2));
  for (const std::string_view type : {kUTTypeJPEG, kUTTypePNG, kUTTypeJPEG2000}) {
    SCOPED_TRACE(std::string(type));
    const auto source = CGImageSourceCreateWithData(*write(wide, type));
    const auto properties = CGImageSourceCopyPropertiesAtIndex(source, 0);
    ASSERT_TRUE(properties);
    EXPECT_EQ(properties->doubleForKey(kCGImagePropertyPixelWidth), 400.0);
    EXPECT_EQ(properties->doubleForKey(kCGImagePropertyPixelHeight), 200.0);
    EXPECT_EQ(properties->boolForKey(kCGImagePropertyHasAlpha), false);
    EXPECT_EQ(*properties->objectForKey(kCGImagePropertyColorModel)->stringValue(), "Gray");
    EXPECT_EQ(properties->objectForKey(kCGImagePropertyDPIWidth), nullptr) << "no resolution in the file";
    const NSDictionary options{{kCGImageSourceThumbnailMaxPixelSize, 100}, {kCGImageSourceCreateThumbnailFromImageAlways, true}};
    const CGImageRef thumb = CGImageSourceCreateThumbnailAtIndex(source, 0, &options);
    ASSERT_EQ(dims(thumb), (Dims{100, 50}));
    // A horizontal ramp: each thumbnail pixel averages four source columns.
    const Data got = pixelBytes(thumb);
    for (std::size_t x = 0; x < 100; x += 33) EXPECT_NEAR(got[25 * CGImageGetBytesPerRow(thumb) + x], (4 * x + 1.5) * 255.0 / 399.0, 3.0) << x;
    const NSDictionary large{{kCGImageSourceThumbnailMaxPixelSize, 1000.0}, {kCGImageSourceCreateThumbnailFromImageAlways, true}};
    EXPECT_EQ(dims(CGImageSourceCreateThumbnailAtIndex(source, 0, &large)), (Dims{400, 200})) << "never enlarged";
  }
}

TEST(ImageSource, AnswersNothingForBadArguments) {
  EXPECT_FALSE(CGImageSourceCreateWithData(std::shared_ptr<const Data>()));
  EXPECT_FALSE(CGImageSourceCreateWithData(bytesOf("not an image at all")));
  EXPECT_EQ(CGImageSourceGetCount(nullptr), 0u);
  EXPECT_FALSE(CGImageSourceGetType(nullptr));
  EXPECT_FALSE(CGImageSourceCreateImageAtIndex(nullptr, 0));
  EXPECT_FALSE(CGImageSourceCopyPropertiesAtIndex(nullptr, 0));
  EXPECT_FALSE(CGImageSourceCreateThumbnailAtIndex(nullptr, 0, nullptr));
  auto data = std::make_shared<Data>();
  EXPECT_FALSE(CGImageDestinationCreateWithData(data, "public.webp", 1));
  EXPECT_FALSE(CGImageDestinationCreateWithData(data, kUTTypePNG, 0));
  EXPECT_FALSE(CGImageDestinationCreateWithData(nullptr, kUTTypePNG, 1));
  EXPECT_FALSE(CGImageDestinationFinalize(CGImageDestinationCreateWithData(data, kUTTypePNG, 1))) << "no image";
  EXPECT_TRUE(data->empty());
  EXPECT_EQ(CGImageSourceCopyTypeIdentifiers().size(), 6u);
  EXPECT_EQ(CGImageDestinationCopyTypeIdentifiers().size(), 6u);
}

}  // namespace
}  // namespace orvane
