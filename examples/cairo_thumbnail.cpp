// A thumbnail drawn straight into a cairo image surface: the library draws
// into cairo's own pixels, so a GTK application shows them without a copy.
//
//   cairo_thumbnail PHOTO OUT.png [SIDE]   fits PHOTO into SIDE x SIDE pixels
//                                          (default 256) and writes it as PNG
//
// cairo's CAIRO_FORMAT_ARGB32 is premultiplied ARGB in a native-endian 32-bit
// word: on little-endian machines the bytes B, G, R, A, which is a bitmap
// context with premultiplied-first alpha and kCGBitmapByteOrder32Little.
#include <cairo.h>
#include <orvane/Orvane.h>

#include <algorithm>
#include <bit>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <memory>

namespace {

constexpr orvane::CGBitmapInfo kCairoByteOrder = std::endian::native == std::endian::little
                                                     ? orvane::kCGBitmapByteOrder32Little
                                                     : orvane::kCGBitmapByteOrder32Big;

// Draws `image` over the whole of `surface` through a bitmap context on the
// surface's own pixels and row stride.
bool drawInto(cairo_surface_t* surface, const orvane::CGImageRef& image) {
  cairo_surface_flush(surface);  // cairo has finished with the pixels
  const int width = cairo_image_surface_get_width(surface);
  const int height = cairo_image_surface_get_height(surface);
  const auto context =
      orvane::CGBitmapContextCreate(cairo_image_surface_get_data(surface), width, height, 8,
                                    cairo_image_surface_get_stride(surface),
                                    orvane::CGColorSpaceCreateWithName(orvane::kCGColorSpaceSRGB),
                                    orvane::kCGImageAlphaPremultipliedFirst | kCairoByteOrder);
  if (!context) return false;
  orvane::CGContextDrawImage(context, {{0, 0}, {double(width), double(height)}}, image);
  cairo_surface_mark_dirty(surface);  // tell cairo its pixels changed
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 3 || argc > 4) {
    std::fprintf(stderr, "usage: %s PHOTO OUT.png [SIDE]\n", argv[0]);
    return 2;
  }
  const double side = argc == 4 ? std::atof(argv[3]) : 256;
  std::ifstream in(argv[1], std::ios::binary);
  const auto bytes = std::make_shared<const orvane::Data>(std::istreambuf_iterator<char>(in),
                                                          std::istreambuf_iterator<char>());
  const auto image = orvane::HXImageUtility::readImageFromData(bytes);
  if (!image || side < 1) {
    std::fprintf(stderr, "%s: not an image the library reads\n", argv[1]);
    return 1;
  }
  const auto fitted = orvane::HXMathUtility::fitSizeIntoSize(
      {double(orvane::CGImageGetWidth(image)), double(orvane::CGImageGetHeight(image))},
      {side, side});
  const int width = std::max(1, int(fitted.width)), height = std::max(1, int(fitted.height));

  cairo_surface_t* surface = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, width, height);
  const bool drawn = drawInto(surface, image);
  const bool ok = drawn && cairo_surface_write_to_png(surface, argv[2]) == CAIRO_STATUS_SUCCESS;
  cairo_surface_destroy(surface);
  if (!ok) {
    std::fprintf(stderr, "cannot write %s\n", argv[2]);
    return 1;
  }
  std::printf("%d x %d thumbnail of %s drawn into a cairo surface, written to %s\n", width, height,
              argv[1], argv[2]);
  return 0;
}
