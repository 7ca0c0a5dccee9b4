// CGImageSource and CGImageDestination: every format written and read back
// through the public calls, the pixel layouts images hand to encoders, lazy
// decoding and the decoder seam drawing uses.

#include <gtest/gtest.h>

#include <cstring>

#include "Platform/CoreGraphics/ImageInternal.h"
#include "Platform/ImageIO/ImageCodec.h"
#include "orvane/Platform/CoreGraphics/CGDataProvider.h"
#include "orvane/Platform/ImageIO/CGImageDestination.h"
#include "orvane/Platform/ImageIO/CGImageSource.h"

namespace orvane {
namespace {

constexpr std::size_t kW = 48, kH = 20;

// Straight RGBA with a few distinct colours and alphas.
Data straightRgba() {
  Data d(kW * kH * 4);
  for (std::size_t y = 0; y < kH; ++y)
    for (std::size_t x = 0; x < kW; ++x) {
      std::uint8_t* p = &d[(y * kW + x) * 4];
      p[0] = static_cast<std::uint8_t>((x / 8) * 51);
      p[1] = static_cast<std::uint8_t>((y / 5) * 85);
      p[2] = static_cast<std::uint8_t>(((x + y) / 6 % 3) * 127);
      p[3] = (x / 16) == 0 ? 255 : (x / 16) == 1 ? 128 : 255;
    }
  return d;
}

CGImageRef makeImage(Data bytes, std::size_t bpc, std::size_t bpp, CGBitmapInfo info, std::string_view space) {
  const std::size_t stride = kW * bpp / 8;
  return CGImageCreate(kW, kH, bpc, bpp, stride, CGColorSpaceCreateWithName(space), info,
                       CGDataProviderCreateWithData(std::move(bytes)), nullptr, true, kCGRenderingIntentDefault);
}

Data pixelsOf(const CGImageRef& image) {
  const auto bytes = CGDataProviderCopyData(CGImageGetDataProvider(image));
  return bytes ? *bytes : Data{};
}

std::shared_ptr<Data> write(const CGImageRef& image, std::string_view type) {
  auto data = std::make_shared<Data>();
  auto destination = CGImageDestinationCreateWithData(data, type, 1);
  EXPECT_TRUE(destination);
  CGImageDestinationAddImage(destination, image);
  EXPECT_TRUE(CGImageDestinationFinalize(destination));
  EXPECT_FALSE(CGImageDestinationFinalize(destination)) << "a destination writes once";
  return data;
}

TEST(ImageSource, LosslessFormatsRoundTripThroughThePublicCalls) {
  const Data rgba = straightRgba();
  const CGImageRef image = makeImage(rgba, 8, 32, kCGImageAlphaLast, kCGColorSpaceSRGB);
  ASSERT_TRUE(image);
  struct Row {
    std::string_view type;
    std::size_t bitsPerPixel;  // what reading back gives
  };
  for (const Row& row : {Row{kUTTypePNG, 32}, Row{kUTTypeTIFF, 32}, Row{kUTTypeBMP, 32}, Row{kUTTypeJPEG2000, 32},
                         Row{kUTTypeGIF, 24}}) {
    SCOPED_TRACE(std::string(row.type));
    const auto data = write(image, row.type);
    const auto source = CGImageSourceCreateWithData(std::shared_ptr<const Data>(data));
    ASSERT_TRUE(source);
    EXPECT_EQ(CGImageSourceGetType(source), row.type);
    EXPECT_EQ(CGImageSourceGetCount(source), 1u);
    EXPECT_FALSE(CGImageSourceCreateImageAtIndex(source, 1));
    const CGImageRef back = CGImageSourceCreateImageAtIndex(source, 0);
    ASSERT_TRUE(back);
    EXPECT_EQ(CGImageGetWidth(back), kW);
    EXPECT_EQ(CGImageGetHeight(back), kH);
    EXPECT_EQ(CGImageGetBitsPerPixel(back), row.bitsPerPixel);
    EXPECT_EQ(CGImageGetAlphaInfo(back), row.bitsPerPixel == 32 ? kCGImageAlphaLast : kCGImageAlphaNone);
    Data got = pixelsOf(back);
    if (row.type == kUTTypeGIF) {
      // GIF keeps alpha only as on or off: with no alpha below half, it has none.
      Data expected;
      for (std::size_t i = 0; i < rgba.size(); i += 4) expected.insert(expected.end(), &rgba[i], &rgba[i] + 3);
      EXPECT_EQ(got, expected);
    } else {
      EXPECT_EQ(got, rgba);
    }
  }
}

TEST(ImageSource, EncodersTakeEveryImageLayoutStraightened) {
  // The same straight pixels, presented in the layouts images can have.
  const Data rgba = straightRgba();
  auto premultiply = [](unsigned c, unsigned a) { return static_cast<std::uint8_t>((c * a + 127) / 255); };
  Data premultipliedFirstLittle(rgba.size()), premultipliedLast(rgba.size()), skipFirst(rgba.size());
  Data rgb16big(kW * kH * 6);
  for (std::size_t i = 0; i < kW * kH; ++i) {
    const std::uint8_t* p = &rgba[i * 4];
    const std::uint8_t pm[4] = {premultiply(p[0], p[3]), premultiply(p[1], p[3]), premultiply(p[2], p[3]), p[3]};
    // B G R A in memory: premultiplied-first ARGB as a little-endian word (cairo's layout).
    std::uint8_t* q = &premultipliedFirstLittle[i * 4];
    q[0] = pm[2], q[1] = pm[1], q[2] = pm[0], q[3] = pm[3];
    std::memcpy(&premultipliedLast[i * 4], pm, 4);
    std::uint8_t* s = &skipFirst[i * 4];
    s[0] = 0x5A, s[1] = p[0], s[2] = p[1], s[3] = p[2];
    for (int c = 0; c < 3; ++c) rgb16big[i * 6 + c * 2] = p[c], rgb16big[i * 6 + c * 2 + 1] = 0x80;
  }
  struct Row {
    const char* name;
    Data bytes;
    std::size_t bpc, bpp;
    CGBitmapInfo info;
    bool alpha;        // the written file keeps alpha
    unsigned tolerance;  // premultiplying loses precision where alpha is small
  };
  const Row rows[] = {
      {"premultiplied first, 32-bit little", premultipliedFirstLittle, 8, 32,
       kCGImageAlphaPremultipliedFirst | kCGBitmapByteOrder32Little, true, 1},
      {"premultiplied last", premultipliedLast, 8, 32, kCGImageAlphaPremultipliedLast, true, 1},
      {"skip first", skipFirst, 8, 32, kCGImageAlphaNoneSkipFirst, false, 0},
      {"16-bit big-endian RGB", rgb16big, 16, 48, kCGImageAlphaNone, false, 0},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    const CGImageRef image = makeImage(row.bytes, row.bpc, row.bpp, row.info, kCGColorSpaceSRGB);
    ASSERT_TRUE(image);
    const auto data = write(image, kUTTypePNG);
    const CGImageRef back = CGImageSourceCreateImageAtIndex(CGImageSourceCreateWithData(std::shared_ptr<const Data>(data)), 0);
    ASSERT_TRUE(back);
    const Data got = pixelsOf(back);
    const std::size_t channels = row.alpha ? 4 : 3, sample = row.bpc / 8;
    ASSERT_EQ(got.size(), kW * kH * channels * sample);
    for (std::size_t i = 0; i < kW * kH; ++i) {
      for (std::size_t c = 0; c < channels; ++c) {
        const unsigned want = rgba[i * 4 + c];
        // 16-bit samples come back little-endian: the high byte is the second.
        const unsigned have = got[(i * channels + c) * sample + (sample - 1)];
        ASSERT_LE(static_cast<unsigned>(std::abs(int(want) - int(have))), row.tolerance) << i << ' ' << c;
      }
    }
    EXPECT_EQ(pixelsOf(image), row.bytes) << "the caller's pixels changed";
  }
}

TEST(ImageSource, DecodesLazilyAndOffersCheaperDecodesToDrawing) {
  // A JPEG big enough for 1/8 scaling, and a PNG for row streaming.
  Data gray(kW * 8 * kH * 8);
  for (std::size_t i = 0; i < gray.size(); ++i) gray[i] = static_cast<std::uint8_t>(i % 251);
  const CGImageRef big = CGImageCreate(kW * 8, kH * 8, 8, 8, kW * 8, CGColorSpaceCreateWithName(kCGColorSpaceGenericGrayGamma2_2),
                                       kCGImageAlphaNone, CGDataProviderCreateWithData(gray), nullptr, true,
                                       kCGRenderingIntentDefault);
  ASSERT_TRUE(big);
  const auto jpeg = CGImageSourceCreateImageAtIndex(CGImageSourceCreateWithData(*write(big, kUTTypeJPEG)), 0);
  ASSERT_TRUE(jpeg);
  const CGDataProvider& provider = *CGImageGetDataProvider(jpeg);
  ASSERT_NE(provider.decoder(), nullptr);
  EXPECT_FALSE(provider.ready()) << "made without decoding";
  const CGImageRef eighth = provider.decoder()->decodeReduced(kW, kH);
  ASSERT_TRUE(eighth);
  EXPECT_EQ(CGImageGetWidth(eighth), kW);
  EXPECT_EQ(CGImageGetHeight(eighth), kH);
  EXPECT_FALSE(provider.decoder()->decodeReduced(kW * 8, kH * 8)) << "no smaller decode has that many pixels";
  EXPECT_FALSE(provider.decoder()->canStreamRows());
  EXPECT_EQ(pixelsOf(jpeg).size(), gray.size());
  EXPECT_TRUE(provider.ready());

  struct Collect final : ImageRowSink {
    Data bytes;
    std::size_t rowBytes = 0, limit = SIZE_MAX, rows = 0;
    bool consumeRow(const std::uint8_t* row) override {
      bytes.insert(bytes.end(), row, row + rowBytes);
      return ++rows < limit;
    }
  };
  const auto png = CGImageSourceCreateImageAtIndex(CGImageSourceCreateWithData(*write(big, kUTTypePNG)), 0);
  ASSERT_TRUE(png);
  const ImageDecoder* decoder = CGImageGetDataProvider(png)->decoder();
  ASSERT_TRUE(decoder && decoder->canStreamRows());
  Collect all;
  all.rowBytes = kW * 8;
  EXPECT_TRUE(decoder->streamRows(all));
  EXPECT_EQ(all.bytes, gray);
  Collect some;
  some.rowBytes = kW * 8;
  some.limit = 3;
  EXPECT_TRUE(decoder->streamRows(some));
  EXPECT_EQ(some.rows, 3u) << "the sink may stop early";
}

TEST(ImageSource, ThumbnailsTurnEveryExifOrientationUpright) {
  // 3 x 2 stored pixels of distinct colours; where stored pixel (u, v) (from
  // the top left) must appear once turned upright, as EXIF defines the tags.
  constexpr std::uint32_t W = 3, H = 2;
  Data stored(W * H * 3);
  for (std::uint32_t i = 0; i < W * H; ++i) {
    stored[i * 3] = static_cast<std::uint8_t>(40 * i), stored[i * 3 + 1] = static_cast<std::uint8_t>(250 - 40 * i);
    stored[i * 3 + 2] = static_cast<std::uint8_t>(i % 2 ? 230 : 20);
  }
  struct Where {
    std::uint32_t x, y;
  };
  auto upright = [&](int orientation, std::uint32_t u, std::uint32_t v) -> Where {
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
    view.orientation = static_cast<std::uint16_t>(orientation);
    Data png;
    ASSERT_TRUE(imageio::pngCodec().encode(view, {}, png));
    const auto source = CGImageSourceCreateWithData(png);
    const auto properties = CGImageSourceCopyPropertiesAtIndex(source, 0);
    ASSERT_TRUE(properties);
    EXPECT_EQ(properties->doubleForKey(kCGImagePropertyOrientation), orientation);
    const NSDictionary onlyTransform{{kCGImageSourceCreateThumbnailWithTransform, true}};
    EXPECT_FALSE(CGImageSourceCreateThumbnailAtIndex(source, 0, &onlyTransform)) << "no embedded thumbnail";
    const NSDictionary options{{kCGImageSourceCreateThumbnailWithTransform, true},
                               {kCGImageSourceCreateThumbnailFromImageAlways, true}};
    const CGImageRef thumb = CGImageSourceCreateThumbnailAtIndex(source, 0, &options);
    ASSERT_TRUE(thumb);
    const bool turned = orientation >= 5;
    ASSERT_EQ(CGImageGetWidth(thumb), turned ? H : W);
    ASSERT_EQ(CGImageGetHeight(thumb), turned ? W : H);
    const Data got = pixelsOf(thumb);
    const std::size_t stride = CGImageGetBytesPerRow(thumb);
    for (std::uint32_t v = 0; v < H; ++v)
      for (std::uint32_t u = 0; u < W; ++u) {
        const Where at = upright(orientation, u, v);
        for (int c = 0; c < 3; ++c) {
          EXPECT_NEAR(got[at.y * stride + at.x * 4 + c], stored[(v * W + u) * 3 + c], 2) << u << ',' << v;
        }
      }
    // Without the transform the stored layout comes back.
    const NSDictionary stored{{kCGImageSourceCreateThumbnailFromImageAlways, true}};
    const CGImageRef plain = CGImageSourceCreateThumbnailAtIndex(source, 0, &stored);
    ASSERT_TRUE(plain);
    EXPECT_EQ(CGImageGetWidth(plain), W);
  }
}

TEST(ImageSource, ThumbnailsKeepWithinTheMaximumSide) {
  Data gray(400 * 200);
  for (std::size_t i = 0; i < gray.size(); ++i) gray[i] = static_cast<std::uint8_t>((i % 400) * 255 / 399);
  const CGImageRef wide = CGImageCreate(400, 200, 8, 8, 400, CGColorSpaceCreateWithName(kCGColorSpaceGenericGrayGamma2_2),
                                        kCGImageAlphaNone, CGDataProviderCreateWithData(gray), nullptr, true,
                                        kCGRenderingIntentDefault);
  for (std::string_view type : {kUTTypeJPEG, kUTTypePNG, kUTTypeJPEG2000}) {
    SCOPED_TRACE(std::string(type));
    const auto source = CGImageSourceCreateWithData(*write(wide, type));
    const auto properties = CGImageSourceCopyPropertiesAtIndex(source, 0);
    ASSERT_TRUE(properties);
    EXPECT_EQ(properties->doubleForKey(kCGImagePropertyPixelWidth), 400.0);
    EXPECT_EQ(properties->doubleForKey(kCGImagePropertyPixelHeight), 200.0);
    EXPECT_EQ(properties->boolForKey(kCGImagePropertyHasAlpha), false);
    EXPECT_EQ(*properties->objectForKey(kCGImagePropertyColorModel)->stringValue(), "Gray");
    EXPECT_EQ(properties->objectForKey(kCGImagePropertyDPIWidth), nullptr) << "no resolution in the file";
    const NSDictionary options{{kCGImageSourceThumbnailMaxPixelSize, 100},
                               {kCGImageSourceCreateThumbnailFromImageAlways, true}};
    const CGImageRef thumb = CGImageSourceCreateThumbnailAtIndex(source, 0, &options);
    ASSERT_TRUE(thumb);
    EXPECT_EQ(CGImageGetWidth(thumb), 100u);
    EXPECT_EQ(CGImageGetHeight(thumb), 50u);
    // A horizontal ramp: each thumbnail pixel averages four source columns.
    const Data got = pixelsOf(thumb);
    const std::size_t stride = CGImageGetBytesPerRow(thumb);
    for (std::size_t x = 0; x < 100; x += 33) {
      const double expected = (4 * x + 1.5) * 255.0 / 399.0;
      EXPECT_NEAR(got[25 * stride + x], expected, 3.0) << x;
    }
    const NSDictionary large{{kCGImageSourceThumbnailMaxPixelSize, 1000.0},
                             {kCGImageSourceCreateThumbnailFromImageAlways, true}};
    const CGImageRef same = CGImageSourceCreateThumbnailAtIndex(source, 0, &large);
    ASSERT_TRUE(same);
    EXPECT_EQ(CGImageGetWidth(same), 400u) << "never enlarged";
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
