#include "support/DirectCodecs.h"

#include <benchmark/benchmark.h>
#include <gif_lib.h>
#include <jpeglib.h>
#include <png.h>

#include <algorithm>
#include <cstring>
#include <vector>

namespace bench {

Decoded jpegDecode(ByteView in, unsigned scaleDenom) {
  jpeg_decompress_struct c{};
  jpeg_error_mgr err{};
  c.err = jpeg_std_error(&err);
  jpeg_create_decompress(&c);
  jpeg_mem_src(&c, in.data(), in.size());
  jpeg_read_header(&c, TRUE);
  c.out_color_space = JCS_RGB;
  c.scale_num = 1;
  c.scale_denom = scaleDenom;
  jpeg_start_decompress(&c);
  const std::size_t rowBytes = std::size_t{c.output_width} * 3;
  auto out = buffer(rowBytes * c.output_height);
  while (c.output_scanline < c.output_height) {
    JSAMPROW rows[16];
    for (unsigned i = 0; i < 16; ++i) {
      rows[i] = out.get() + std::min(c.output_scanline + i, c.output_height - 1) * rowBytes;
    }
    jpeg_read_scanlines(&c, rows, std::min(16u, c.output_height - c.output_scanline));
  }
  const Decoded size{c.output_width, c.output_height};
  jpeg_finish_decompress(&c);
  jpeg_destroy_decompress(&c);
  benchmark::DoNotOptimize(out.get());
  return size;
}

namespace {
struct PngReader {
  ByteView in;
  std::size_t at = 0;
};
}  // namespace

Decoded pngDecode(ByteView in) {
  png_structp png = png_create_read_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
  png_infop info = png_create_info_struct(png);
  PngReader r{in};
  png_set_read_fn(png, &r, [](png_structp p, png_bytep out, png_size_t n) {
    auto* rr = static_cast<PngReader*>(png_get_io_ptr(p));
    std::memcpy(out, rr->in.data() + rr->at, std::min(n, rr->in.size() - rr->at));
    rr->at += n;
  });
  png_read_info(png, info);
  png_set_expand(png);
  png_set_strip_16(png);
  png_read_update_info(png, info);
  const std::uint32_t w = png_get_image_width(png, info), h = png_get_image_height(png, info);
  const std::size_t rowBytes = png_get_rowbytes(png, info);
  auto out = buffer(rowBytes * h);
  for (std::uint32_t y = 0; y < h; ++y) png_read_row(png, out.get() + y * rowBytes, nullptr);
  png_read_end(png, nullptr);
  png_destroy_read_struct(&png, &info, nullptr);
  benchmark::DoNotOptimize(out.get());
  return {w, h};
}

TIFF* openTiff(TiffMemory& m, const char* mode) {
  auto size = [](thandle_t h) -> toff_t {
    auto* mm = static_cast<TiffMemory*>(h);
    return mm->writing ? mm->bytes.size() : mm->in.size();
  };
  return TIFFClientOpen(
      "bench", mode, &m,
      [](thandle_t h, void* b, tmsize_t n) -> tmsize_t {
        auto* mm = static_cast<TiffMemory*>(h);
        const std::size_t total = mm->writing ? mm->bytes.size() : mm->in.size();
        const std::uint8_t* base = mm->writing ? mm->bytes.data() : mm->in.data();
        const std::size_t k =
            std::min<std::size_t>(static_cast<std::size_t>(n), total - std::min<std::size_t>(mm->at, total));
        std::memcpy(b, base + mm->at, k);
        mm->at += k;
        return static_cast<tmsize_t>(k);
      },
      [](thandle_t h, void* b, tmsize_t n) -> tmsize_t {
        auto* mm = static_cast<TiffMemory*>(h);
        if (mm->at + n > mm->bytes.size()) mm->bytes.resize(mm->at + n);
        std::memcpy(mm->bytes.data() + mm->at, b, static_cast<std::size_t>(n));
        mm->at += n;
        return n;
      },
      [](thandle_t h, toff_t off, int whence) -> toff_t {
        auto* mm = static_cast<TiffMemory*>(h);
        const std::uint64_t total = mm->writing ? mm->bytes.size() : mm->in.size();
        mm->at = whence == SEEK_SET ? off : whence == SEEK_CUR ? mm->at + off : total + off;
        return mm->at;
      },
      [](thandle_t) { return 0; }, size,
      [](thandle_t h, void** base, toff_t* n) {
        auto* mm = static_cast<TiffMemory*>(h);
        if (mm->writing) return 0;
        *base = const_cast<std::uint8_t*>(mm->in.data());
        *n = mm->in.size();
        return 1;
      },
      [](thandle_t, void*, toff_t) {});
}

Decoded tiffDecode(ByteView in) {
  TiffMemory m;
  m.in = in;
  TIFF* tif = openTiff(m, "rm");
  std::uint32_t w = 0, h = 0;
  TIFFGetField(tif, TIFFTAG_IMAGEWIDTH, &w);
  TIFFGetField(tif, TIFFTAG_IMAGELENGTH, &h);
  const std::size_t total = static_cast<std::size_t>(TIFFScanlineSize64(tif)) * h;
  auto out = buffer(total);
  const tstrip_t strips = TIFFNumberOfStrips(tif);
  std::size_t at = 0;
  for (tstrip_t s = 0; s < strips && at < total; ++s) {
    const tmsize_t n = TIFFReadEncodedStrip(tif, s, out.get() + at, static_cast<tmsize_t>(total - at));
    if (n < 0) break;
    at += static_cast<std::size_t>(n);
  }
  TIFFClose(tif);
  benchmark::DoNotOptimize(out.get());
  return {w, h};
}

namespace {
struct GifReader {
  ByteView in;
  std::size_t at = 0;
};
}  // namespace

Decoded gifDecode(ByteView in) {
  GifReader r{in};
  int error = 0;
  GifFileType* gif = DGifOpen(&r, [](GifFileType* g, GifByteType* b, int n) {
    auto* rr = static_cast<GifReader*>(g->UserData);
    const std::size_t k = std::min<std::size_t>(static_cast<std::size_t>(n), rr->in.size() - rr->at);
    std::memcpy(b, rr->in.data() + rr->at, k);
    rr->at += k;
    return static_cast<int>(k);
  }, &error);
  GifRecordType type;
  do {
    DGifGetRecordType(gif, &type);
  } while (type != IMAGE_DESC_RECORD_TYPE);
  DGifGetImageDesc(gif);
  const int w = gif->Image.Width, h = gif->Image.Height;
  const ColorMapObject* map = gif->Image.ColorMap ? gif->Image.ColorMap : gif->SColorMap;
  auto out = buffer(std::size_t(w) * h * 3);
  std::vector<GifPixelType> line(static_cast<std::size_t>(w));
  for (int y = 0; y < h; ++y) {
    DGifGetLine(gif, line.data(), w);
    std::uint8_t* o = out.get() + std::size_t(y) * w * 3;
    for (int x = 0; x < w; ++x) {
      const GifColorType& c = map->Colors[line[static_cast<std::size_t>(x)]];
      o[x * 3] = c.Red, o[x * 3 + 1] = c.Green, o[x * 3 + 2] = c.Blue;
    }
  }
  DGifCloseFile(gif, &error);
  benchmark::DoNotOptimize(out.get());
  return {static_cast<std::uint32_t>(w), static_cast<std::uint32_t>(h)};
}

opj_stream_t* opjStream(OpjMemory& m, bool input) {
  opj_stream_t* s = opj_stream_create(1 << 16, input);
  opj_stream_set_user_data(s, &m, nullptr);
  if (input) {
    opj_stream_set_user_data_length(s, m.in.size());
    opj_stream_set_read_function(s, [](void* b, OPJ_SIZE_T n, void* u) -> OPJ_SIZE_T {
      auto* mm = static_cast<OpjMemory*>(u);
      if (mm->at >= mm->in.size()) return static_cast<OPJ_SIZE_T>(-1);
      const std::size_t k = std::min<std::uint64_t>(n, mm->in.size() - mm->at);
      std::memcpy(b, mm->in.data() + mm->at, k);
      mm->at += k;
      return k;
    });
  } else {
    opj_stream_set_write_function(s, [](void* b, OPJ_SIZE_T n, void* u) -> OPJ_SIZE_T {
      auto* mm = static_cast<OpjMemory*>(u);
      if (mm->at + n > mm->out->size()) mm->out->resize(mm->at + n);
      std::memcpy(mm->out->data() + mm->at, b, n);
      mm->at += n;
      return n;
    });
  }
  opj_stream_set_skip_function(s, [](OPJ_OFF_T n, void* u) -> OPJ_OFF_T {
    static_cast<OpjMemory*>(u)->at += static_cast<std::uint64_t>(n);
    return n;
  });
  opj_stream_set_seek_function(s, [](OPJ_OFF_T n, void* u) -> OPJ_BOOL {
    static_cast<OpjMemory*>(u)->at = static_cast<std::uint64_t>(n);
    return OPJ_TRUE;
  });
  return s;
}

Decoded jp2Decode(ByteView in, unsigned reduce) {
  OpjMemory m{in};
  opj_stream_t* s = opjStream(m, true);
  opj_codec_t* codec = opj_create_decompress(OPJ_CODEC_JP2);
  opj_dparameters_t p;
  opj_set_default_decoder_parameters(&p);
  p.cp_reduce = reduce;
  opj_setup_decoder(codec, &p);
  opj_image_t* image = nullptr;
  opj_read_header(s, codec, &image);
  opj_decode(codec, s, image);
  opj_end_decompress(codec, s);
  const Decoded size{image->comps[0].w, image->comps[0].h};
  const std::size_t n = std::size_t{size.width} * size.height;
  auto out = buffer(n * 3);
  for (std::size_t i = 0; i < n; ++i) {
    for (int c = 0; c < 3; ++c) out[i * 3 + c] = static_cast<std::uint8_t>(image->comps[c].data[i]);
  }
  opj_image_destroy(image);
  opj_destroy_codec(codec);
  opj_stream_destroy(s);
  benchmark::DoNotOptimize(out.get());
  return size;
}

}  // namespace bench
