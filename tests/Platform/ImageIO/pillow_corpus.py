#!/usr/bin/python3
"""Image files and their independent readings, for the ImageIO codec tests.

  pillow_corpus.py make DIR   writes a corpus of small files into DIR (some by
                              Pillow, some by the small writers below, for the
                              layouts Pillow cannot write) and, per file, the
                              pixels Pillow decodes (or the generator's own
                              values where Pillow cannot read the depth), plus
                              DIR/manifest.txt describing each case.
  pillow_corpus.py read DIR   reads every file listed in DIR/written.txt (files
                              the library wrote) with Pillow and dumps the pixels.

Raw dumps: rows top to bottom, samples interleaved; 16-bit samples little-endian.
"""
import io
import os
import struct
import sys
import zlib

from PIL import Image, TiffImagePlugin

W, H = 37, 23  # odd sizes catch stride and padding mistakes


def pattern(x, y, c, maxv):
    return ((x * 7 + y * 13 + c * 71) * (maxv // 37 + 1) + (x * y) % 5) % (maxv + 1)


def samples(channels, maxv, w=W, h=H):
    return [[[pattern(x, y, c, maxv) for c in range(channels)] for x in range(w)] for y in range(h)]


# ---- a minimal PNG writer: every colour type and depth, Adam7 interlacing

def png_chunk(kind, data):
    return struct.pack(">I", len(data)) + kind + data + struct.pack(">I", zlib.crc32(kind + data) & 0xFFFFFFFF)


def pack_row(pixels, depth):
    flat = [s for px in pixels for s in px]
    if depth == 16:
        return b"".join(struct.pack(">H", s) for s in flat)
    if depth == 8:
        return bytes(flat)
    out, acc, nbits = bytearray(), 0, 0
    for s in flat:
        acc = (acc << depth) | s
        nbits += depth
        if nbits == 8:
            out.append(acc)
            acc, nbits = 0, 0
    if nbits:
        out.append(acc << (8 - nbits))
    return bytes(out)


ADAM7 = [(0, 0, 8, 8), (4, 0, 8, 8), (0, 4, 4, 8), (2, 0, 4, 4), (0, 2, 2, 4), (1, 0, 2, 2), (0, 1, 1, 2)]


def make_png(rows, colour_type, depth, interlace=False, extra=b"", width=None, height=None):
    h = len(rows)
    w = len(rows[0]) if h else 0
    raw = bytearray()
    if interlace:
        for x0, y0, dx, dy in ADAM7:
            for y in range(y0, h, dy):
                sub = [rows[y][x] for x in range(x0, w, dx)]
                if sub:
                    raw += b"\0" + pack_row(sub, depth)
    else:
        for r in rows:
            raw += b"\0" + pack_row(r, depth)
    ihdr = struct.pack(">IIBBBBB", width or w, height or h, depth, colour_type, 0, 0, 1 if interlace else 0)
    return (b"\x89PNG\r\n\x1a\n" + png_chunk(b"IHDR", ihdr) + extra + png_chunk(b"IDAT", zlib.compress(bytes(raw)))
            + png_chunk(b"IEND", b""))


# ---- a minimal TIFF writer: strips or tiles, contiguous or planar, uncompressed

def make_tiff(rows, bits, photometric, tile=None, planar=False, extra_samples=None, extra_tags=()):
    h, w, spp = len(rows), len(rows[0]), len(rows[0][0])
    fmt = "<H" if bits == 16 else "<B"

    def plane_bytes(y0, y1, x0, x1, s):
        out = bytearray()
        for y in range(y0, y1):
            for x in range(x0, x1):
                px = rows[y][x] if (y < h and x < w) else [0] * spp
                chans = [px[s]] if s is not None else px
                for v in chans:
                    out += struct.pack(fmt, v)
        return bytes(out)

    blocks = []
    planes = range(spp) if planar else [None]
    if tile:
        tw, th = tile
        for s in planes:
            for ty in range(0, h, th):
                for tx in range(0, w, tw):
                    blocks.append(plane_bytes(ty, ty + th, tx, tx + tw, s))
    else:
        rps = 5
        for s in planes:
            for y0 in range(0, h, rps):
                blocks.append(plane_bytes(y0, min(h, y0 + rps), 0, w, s))
    data = bytearray(b"II*\0" + b"\0" * 4)
    offsets = []
    for b in blocks:
        offsets.append(len(data))
        data += b
    tags = []

    def tag(code, typ, values):
        tags.append((code, typ, values))

    tag(256, 3, [w])
    tag(257, 3, [h])
    tag(258, 3, [bits] * spp)
    tag(259, 3, [1])
    tag(262, 3, [photometric])
    tag(277, 3, [spp])
    tag(284, 3, [2 if planar else 1])
    if extra_samples is not None:
        tag(338, 3, [extra_samples])
    if tile:
        tag(322, 3, [tile[0]])
        tag(323, 3, [tile[1]])
        tag(324, 4, offsets)
        tag(325, 4, [len(b) for b in blocks])
    else:
        tag(273, 4, offsets)
        tag(278, 3, [5])
        tag(279, 4, [len(b) for b in blocks])
    tags.extend(extra_tags)
    tags.sort()
    # values that do not fit in four bytes go after the directory
    ifd_offset = len(data) + (len(data) % 2)
    data += b"\0" * (ifd_offset - len(data))
    extra_area = ifd_offset + 2 + 12 * len(tags) + 4
    ifd = bytearray(struct.pack("<H", len(tags)))
    tail = bytearray()
    for code, typ, values in tags:
        payload = b"".join(struct.pack({3: "<H", 7: "<B"}.get(typ, "<I"), v) for v in values)
        if len(payload) <= 4:
            ifd += struct.pack("<HHI", code, typ, len(values)) + payload.ljust(4, b"\0")
        else:
            ifd += struct.pack("<HHII", code, typ, len(values), extra_area + len(tail))
            tail += payload
    ifd += b"\0\0\0\0"
    data += ifd + tail
    data[4:8] = struct.pack("<I", ifd_offset)
    return bytes(data)


# ---- BMP writer for the variants Pillow does not write

def make_bmp(width, height, bits, pixel_rows, palette=None, compression=0, masks=None, header=40,
             top_down=False):
    """pixel_rows: the pixel array bytes exactly as stored (already padded / RLE)."""
    body = b"".join(pixel_rows)
    pal = b""
    if palette:
        pal = b"".join((bytes([b, g, r]) if header == 12 else bytes([b, g, r, 0])) for r, g, b in palette)
    mask_bytes = b"".join(struct.pack("<I", m) for m in masks) if masks and header == 40 else b""
    if header == 12:
        dib = struct.pack("<IHHHH", 12, width, height, 1, bits)
    else:
        dib = struct.pack("<IiiHHIIiiII", header, width, -height if top_down else height, 1, bits, compression,
                          len(body), 2835, 2835, len(palette or []), 0)
        if header > 40:  # masks in the header: three from V2 (52 bytes), alpha too from V3 (56)
            m = list(masks or [0, 0, 0]) + [0] * 4
            dib += struct.pack("<IIII", *m[:4])[:header - 40] + b"\0" * (header - 56)
    offset = 14 + len(dib) + len(mask_bytes) + len(pal)
    return b"BM" + struct.pack("<IHHI", offset + len(body), 0, 0, offset) + dib + mask_bytes + pal + body


def pad4(b):
    return b + b"\0" * ((4 - len(b) % 4) % 4)


# ---- dumping what a reader produced

def dump_pil(im, channels, bits):
    """Pixels of a Pillow image in our layout."""
    if bits == 16:
        if channels == 1:
            im = im if im.mode in ("I", "I;16") else im.convert("I")
            return b"".join(struct.pack("<H", v) for v in im.getdata())
        raise ValueError("Pillow has no 16-bit colour")
    mode = {1: "L", 2: "LA", 3: "RGB", 4: "RGBA"}[channels]
    return im.convert(mode).tobytes()


def dump_values(rows, bits):
    fmt = "<H" if bits == 16 else "B"
    return b"".join(struct.pack(fmt, v) for r in rows for px in r for v in px)


class Corpus:
    def __init__(self, directory):
        self.dir = directory
        self.lines = []

    def add(self, name, ext, data, channels, bits, expected, tolerance=0, orientation=1, expect_dpi=None, icc=0,
            reduced=None):
        """expected: raw bytes, or a callable giving them from the written file.
        expect_dpi: None takes the resolution Pillow reports."""
        path = os.path.join(self.dir, name + "." + ext)
        with open(path, "wb") as f:
            f.write(data)
        if expect_dpi is None:
            try:
                im = Image.open(path)
                expect_dpi = round(float(im.info.get("dpi", (0, 0))[0]), 3)
                if ext == "tif" and (282 not in im.tag_v2 or im.tag_v2.get(296, 2) == 1):
                    expect_dpi = 0  # a resolution without a unit says nothing about inches
            except Exception:
                expect_dpi = 0
        raw = expected(path) if callable(expected) else expected
        with open(os.path.join(self.dir, name + ".raw"), "wb") as f:
            f.write(raw or b"")
        rw, rh, rname = 0, 0, "-"
        if reduced:
            rw, rh, rraw = reduced(path)
            rname = name + ".reduced"
            with open(os.path.join(self.dir, rname), "wb") as f:
                f.write(rraw)
        self.lines.append(f"{name} {name}.{ext} {channels} {bits} {tolerance} {orientation} {expect_dpi} {icc} "
                          f"{rw} {rh} {rname}")

    def pillow(self, name, ext, im, channels, bits=8, tolerance=0, orientation=1, expect_dpi=None, icc=0,
               reduced=None, **save):
        buf = io.BytesIO()
        im.save(buf, format={"jpg": "JPEG", "tif": "TIFF", "jp2": "JPEG2000", "j2k": "JPEG2000"}.get(ext, ext.upper()),
                **save)
        self.add(name, ext, buf.getvalue(), channels, bits, lambda p: dump_pil(Image.open(p), channels, bits),
                 tolerance, orientation, expect_dpi, icc, reduced)

    def pillow_read(self, name, ext, data, channels, bits=8, tolerance=0, **kw):
        self.add(name, ext, data, channels, bits, lambda p: dump_pil(Image.open(p), channels, bits), tolerance, **kw)

    def write_manifest(self):
        with open(os.path.join(self.dir, "manifest.txt"), "w") as f:
            f.write("\n".join(self.lines) + "\n")


def pil_image(mode, w=W, h=H):
    bands = {"L": 1, "LA": 2, "RGB": 3, "RGBA": 4, "CMYK": 4, "P": 1, "1": 1, "I;16": 1}[mode]
    maxv = 65535 if mode == "I;16" else 255
    vals = samples(bands, maxv, w, h)
    if mode == "I;16":
        im = Image.new("I;16", (w, h))
        im.frombytes(dump_values(vals, 16))
        return im
    if mode == "1":
        return Image.frombytes("L", (w, h), bytes(v[0] for r in vals for v in r)).point(lambda v: 255 * (v > 127)).convert("1")
    if mode == "P":
        im = Image.frombytes("L", (w, h), bytes(v[0] % 16 for r in vals for v in r)).convert("P")
        im.putpalette([c for i in range(16) for c in (i * 16, 255 - i * 9, (i * 77) % 256)] + [0] * (3 * 240))
        return im
    return Image.frombytes(mode, (w, h), bytes(s for r in vals for px in r for s in px))


def smooth_rgb(w, h):
    """A smooth picture: JPEG's error on it stays small."""
    return Image.frombytes("RGB", (w, h), bytes(
        s for y in range(h) for x in range(w)
        for s in ((x * 255) // max(1, w - 1), (y * 255) // max(1, h - 1), ((x + y) * 127) // max(1, w + h))))


def make(directory):
    os.makedirs(directory, exist_ok=True)
    c = Corpus(directory)

    # PNG: every colour type and depth, interlaced or not, with transparency.
    for depth in (1, 2, 4, 8, 16):
        maxv = (1 << depth) - 1
        rows = samples(1, maxv)
        for inter in (False, True):
            name = f"png_gray{depth}{'_i' if inter else ''}"
            c.pillow_read(name, "png", make_png(rows, 0, depth, inter), 1, 16 if depth == 16 else 8)
    trns_gray = samples(1, 255)
    c.pillow_read("png_gray8_trns", "png", make_png(trns_gray, 0, 8, extra=png_chunk(b"tRNS", struct.pack(">H", 20))),
                  2)
    for depth in (1, 2, 4, 8):
        n = 1 << depth
        palette = bytes((i * 37 + k * 91) % 256 for i in range(n) for k in range(3))
        alpha = bytes((i * 53) % 256 for i in range(n // 2))
        rows = samples(1, n - 1)
        for inter in (False, True):
            name = f"png_pal{depth}{'_i' if inter else ''}"
            c.pillow_read(name, "png", make_png(rows, 3, depth, inter, png_chunk(b"PLTE", palette)), 3)
        c.pillow_read(f"png_pal{depth}_trns", "png",
                      make_png(rows, 3, depth, False, png_chunk(b"PLTE", palette) + png_chunk(b"tRNS", alpha)), 4)
    for ctype, ch in ((2, 3), (4, 2), (6, 4)):
        for depth in (8, 16):
            maxv = (1 << depth) - 1
            rows = samples(ch, maxv)
            for inter in (False, True):
                name = f"png_ct{ctype}_{depth}{'_i' if inter else ''}"
                data = make_png(rows, ctype, depth, inter)
                if depth == 8:
                    c.pillow_read(name, "png", data, ch)
                else:
                    # Pillow reads 16-bit colour as 8 bits: the generator's values are the reference.
                    c.add(name, "png", data, ch, 16, dump_values(rows, 16))
    c.pillow_read("png_rgb8_trns", "png", make_png(samples(3, 255), 2, 8, extra=png_chunk(b"tRNS", struct.pack(">HHH", 7, 20, 33))), 4)
    c.pillow("png_meta", "png", pil_image("RGB"), 3, expect_dpi=300, icc=len(SRGB_ICC), icc_profile=SRGB_ICC,
             dpi=(300, 300))

    # JPEG: gray, RGB (4:2:0 and 4:4:4), progressive, CMYK (Adobe, inverted), EXIF orientation.
    photo = smooth_rgb(61, 45)
    c.pillow("jpeg_gray", "jpg", photo.convert("L"), 1, tolerance=1, quality=90)
    c.pillow("jpeg_rgb420", "jpg", photo, 3, tolerance=1, quality=90,
             reduced=lambda p: jpeg_reduced(p, 4))
    c.pillow("jpeg_rgb444", "jpg", photo, 3, tolerance=1, quality=90, subsampling=0)
    c.pillow("jpeg_progressive", "jpg", photo, 3, tolerance=1, quality=90, progressive=True)
    c.pillow("jpeg_cmyk", "jpg", photo.convert("CMYK"), 3, tolerance=1, quality=95)
    exif = Image.Exif()
    exif[0x0112] = 6
    c.pillow("jpeg_exif", "jpg", photo, 3, tolerance=1, orientation=6, expect_dpi=150, quality=90,
             exif=exif.tobytes(), dpi=(150, 150))

    # TIFF: modes and compressions Pillow writes; tiles and planes by hand.
    for mode, ch, bits in (("1", 1, 8), ("L", 1, 8), ("LA", 2, 8), ("P", 3, 8), ("RGB", 3, 8), ("RGBA", 4, 8),
                           ("I;16", 1, 16), ("CMYK", 3, 8)):
        for comp in (None, "tiff_lzw", "tiff_adobe_deflate", "packbits"):
            name = f"tiff_{mode.replace(';', '')}_{comp or 'raw'}"
            im = pil_image(mode)
            kwargs = {"compression": comp} if comp else {}
            c.pillow(name, "tif", im, ch, bits, **kwargs)
    c.pillow("tiff_jpeg", "tif", smooth_rgb(64, 48), 3, tolerance=1, compression="jpeg", quality=90)
    c.pillow("tiff_meta", "tif", pil_image("RGB"), 3, expect_dpi=200, icc=len(SRGB_ICC), icc_profile=SRGB_ICC,
             dpi=(200, 200))
    rgb8 = samples(3, 255)
    rgb16 = samples(3, 65535)
    c.pillow_read("tiff_tiled", "tif", make_tiff(rgb8, 8, 2, tile=(16, 16)), 3)
    c.pillow_read("tiff_planar", "tif", make_tiff(rgb8, 8, 2, planar=True), 3)
    c.pillow_read("tiff_tiled_planar", "tif", make_tiff(rgb8, 8, 2, tile=(16, 16), planar=True), 3)
    c.add("tiff_rgb16", "tif", make_tiff(rgb16, 16, 2), 3, 16, dump_values(rgb16, 16))
    c.add("tiff_rgba16_tiled", "tif", make_tiff(samples(4, 65535), 16, 2, tile=(16, 16), extra_samples=2), 4, 16,
          dump_values(samples(4, 65535), 16))
    gray4 = samples(1, 15)
    c.add("tiff_gray4", "tif", make_tiff_packed(gray4, 4), 1, 8, bytes(v[0] * 17 for r in gray4 for v in r))
    c.pillow_read("tiff_miniswhite", "tif", make_tiff(samples(1, 255), 8, 0), 1)
    # YCbCr goes through libtiff's RGBA reader; the reference is the conversion
    # libtiff documents (BT.601 luma, default reference black and white).
    ycc = samples(3, 255)
    def ycc_to_rgba(px):
        y, cb, cr = px
        r = y + 1.402 * (cr - 128)
        b = y + 1.772 * (cb - 128)
        g = (y - 0.299 * r - 0.114 * b) / 0.587
        return [max(0, min(255, round(v))) for v in (r, g, b)] + [255]
    c.add("tiff_ycbcr", "tif", make_tiff(ycc, 8, 6, extra_tags=[(530, 3, [1, 1]), (34675, 7, list(SRGB_ICC))]),
          4, 8, bytes(v for r in ycc for px in r for v in ycc_to_rgba(px)), tolerance=2, expect_dpi=0,
          icc=len(SRGB_ICC))

    # BMP: Pillow's own files, and hand-made variants.
    for mode, ch in (("1", 3), ("L", 3), ("P", 3), ("RGB", 3)):
        c.pillow(f"bmp_{mode}", "bmp", pil_image(mode), ch)
    add_bmp_variants(c)

    # GIF: palette, transparency, interlacing.
    c.pillow("gif_pal", "gif", pil_image("P"), 3, interlace=False)
    c.pillow("gif_pal_interlaced", "gif", pil_image("P"), 3, interlace=True)
    c.pillow("gif_transparent", "gif", pil_image("P"), 4, transparency=3, interlace=False)
    two = [pil_image("P"), pil_image("P").transpose(Image.FLIP_LEFT_RIGHT)]
    buf = io.BytesIO()
    two[0].save(buf, format="GIF", save_all=True, append_images=[two[1]], interlace=False)
    c.pillow_read("gif_two_frames", "gif", buf.getvalue(), 3)

    # JPEG 2000: lossless JP2 and bare codestreams; reduced resolution.
    for mode, ch, bits in (("L", 1, 8), ("RGB", 3, 8), ("RGBA", 4, 8), ("I;16", 1, 16)):
        im = pil_image(mode, 67, 41)
        c.pillow(f"jp2_{mode.replace(';', '')}", "jp2", im, ch, bits, irreversible=False,
                 reduced=(lambda p, b=bits, k=ch: jp2_reduced(p, 1, k, b)) if bits == 8 else None)
    c.pillow("j2k_rgb", "j2k", pil_image("RGB", 67, 41), 3, irreversible=False, no_jp2=True)

    # Files every decoder must refuse (sizes beyond the limits).
    c.add("reject_png_wide", "png", make_png([[[0]]], 0, 8, width=70000, height=1), 0, 8, b"")
    c.add("reject_png_area", "png", make_png([[[0]]], 0, 8, width=20000, height=20000), 0, 8, b"")
    c.add("reject_bmp_wide", "bmp", make_bmp(70000, 1, 24, [b"\0" * 12]), 0, 8, b"")
    # Separated samples of inks other than CMYK.
    c.add("reject_tiff_multiink", "tif", make_tiff(samples(4, 255), 8, 5, extra_tags=[(332, 3, [2])]), 0, 8, b"")
    c.write_manifest()


def make_tiff_packed(rows, bits):
    """Gray at 1, 2 or 4 bits per sample: rows packed by hand."""
    h, w = len(rows), len(rows[0])
    packed = b"".join(pack_row(r, bits) for r in rows)
    entries = [(256, 3, w), (257, 3, h), (258, 3, bits), (259, 3, 1), (262, 3, 1), (273, 4, 8), (277, 3, 1),
               (278, 3, h), (279, 4, len(packed))]
    ifd_offset = 8 + len(packed) + (len(packed) % 2)
    out = bytearray(b"II*\0" + struct.pack("<I", ifd_offset)) + packed + b"\0" * (len(packed) % 2)
    out += struct.pack("<H", len(entries))
    for code, typ, value in entries:
        out += struct.pack("<HHI", code, typ, 1) + (struct.pack("<HH", value, 0) if typ == 3 else struct.pack("<I", value))
    out += b"\0\0\0\0"
    return bytes(out)


def add_bmp_variants(c):
    w, h = W, H
    rgb = samples(3, 255)
    # 24-bit top-down
    rows = [pad4(bytes(s for px in r for s in reversed(px))) for r in rgb]
    c.pillow_read("bmp_24_topdown", "bmp", make_bmp(w, h, 24, rows, top_down=True), 3)
    # 16-bit 5-5-5 and 5-6-5 (bit fields)
    for name, masks, shifts in (("bmp_16_555", None, (10, 5, 0, 31, 31, 31)),
                                ("bmp_16_565", [0xF800, 0x07E0, 0x001F], (11, 5, 0, 31, 63, 31))):
        px_rows = []
        for r in reversed(rgb):
            row = b""
            for p in r:
                v = ((p[0] * shifts[3] // 255) << shifts[0]) | ((p[1] * shifts[4] // 255) << shifts[1]) | \
                    (p[2] * shifts[5] // 255)
                row += struct.pack("<H", v)
            px_rows.append(pad4(row))
        c.pillow_read(name, "bmp", make_bmp(w, h, 16, px_rows, compression=3 if masks else 0, masks=masks), 3)
        if masks:  # the same masks in a V2 header, which Pillow cannot read
            c.add(name + "_v2", "bmp", make_bmp(w, h, 16, px_rows, compression=3, masks=masks, header=52), 3, 8,
                  lambda p, n=name: dump_pil(Image.open(os.path.join(c.dir, n + ".bmp")), 3, 8), expect_dpi=72)
    # 32-bit with alpha in a V4 header (bit fields)
    rgba = samples(4, 255)
    px_rows = [b"".join(bytes([p[2], p[1], p[0], p[3]]) for p in r) for r in reversed(rgba)]
    c.pillow_read("bmp_32_alpha", "bmp", make_bmp(w, h, 32, px_rows, compression=3, header=108,
                                                  masks=[0xFF0000, 0xFF00, 0xFF, 0xFF000000]), 4)
    # the same in a V3 header, the first with an alpha mask, which Pillow cannot read
    c.add("bmp_32_alpha_v3", "bmp", make_bmp(w, h, 32, px_rows, compression=3, header=56,
                                             masks=[0xFF0000, 0xFF00, 0xFF, 0xFF000000]), 4, 8,
          lambda p: dump_pil(Image.open(os.path.join(c.dir, "bmp_32_alpha.bmp")), 4, 8), expect_dpi=72)
    # 4-bit palette (uncompressed and RLE4), 8-bit RLE8, OS/2 core header
    pal16 = [((i * 16) % 256, (255 - i * 13) % 256, (i * 71) % 256) for i in range(16)]
    idx = [[(x * 3 + y) % 16 for x in range(w)] for y in range(h)]
    rows4 = [pad4(pack_row([[v] for v in r], 4)) for r in reversed(idx)]
    c.pillow_read("bmp_4", "bmp", make_bmp(w, h, 4, rows4, palette=pal16), 3)
    c.pillow_read("bmp_core_4", "bmp", make_bmp(w, h, 4, rows4, palette=pal16, header=12), 3)
    rle8 = b""
    for r in reversed(idx):
        x = 0
        while x < w:  # runs of equal values, then a literal block
            run = 1
            while x + run < w and r[x + run] == r[x] and run < 255:
                run += 1
            if run > 1:
                rle8 += bytes([run, r[x]])
                x += run
            else:
                lit = r[x:x + min(3, w - x)]
                if len(lit) >= 3:
                    rle8 += bytes([0, len(lit)]) + bytes(lit) + (b"\0" if len(lit) % 2 else b"")
                else:
                    rle8 += b"".join(bytes([1, v]) for v in lit)
                x += len(lit)
        rle8 += b"\0\0"
    rle8 += b"\0\1"
    pal256 = pal16 + [(0, 0, 0)] * 240
    c.pillow_read("bmp_rle8", "bmp", make_bmp(w, h, 8, [rle8], palette=pal256, compression=1), 3)
    rle4 = b""
    for r in reversed(idx):
        for x in range(0, w, 2):
            pair = r[x:x + 2]
            rle4 += bytes([len(pair), (pair[0] << 4) | (pair[1] if len(pair) > 1 else 0)])
        rle4 += b"\0\0"
    rle4 += b"\0\1"
    c.pillow_read("bmp_rle4", "bmp", make_bmp(w, h, 4, [rle4], palette=pal16, compression=2), 3)


def jpeg_reduced(path, denom):
    im = Image.open(path)
    im.draft("RGB", ((im.width + denom - 1) // denom, (im.height + denom - 1) // denom))
    return im.width, im.height, im.convert("RGB").tobytes()


def jp2_reduced(path, factor, channels, bits):
    """Pillow's reduced level, each sample then moved (2^f - 1) / 2 full-size
    pixels toward its next neighbour (right, then down; the last repeated), to
    the centre of the area it stands for. 8-bit samples only."""
    im = Image.open(path)
    im.reduce = factor
    im.load()
    w, h, step = im.width, im.height, 1 << factor
    v = list(dump_pil(im, channels, bits))
    mix = lambda a, b: a + (((b - a) * (step - 1) + step) >> (factor + 1))
    for y in range(h):
        for x in range(w - 1):
            for c in range(channels):
                i = (y * w + x) * channels + c
                v[i] = mix(v[i], v[i + channels])
    for y in range(h - 1):
        for i in range(y * w * channels, (y + 1) * w * channels):
            v[i] = mix(v[i], v[i + w * channels])
    return w, h, bytes(v)


def read(directory):
    """Dumps Pillow's reading of each file the library wrote."""
    with open(os.path.join(directory, "written.txt")) as f:
        for line in f:
            if not line.strip():
                continue
            name, channels, bits = line.split()
            channels, bits = int(channels), int(bits)
            im = Image.open(os.path.join(directory, name))
            if bits == 16 and channels > 1:
                bits = 8  # Pillow keeps 8 bits of 16-bit colour
            raw = dump_pil(im, channels, bits)
            with open(os.path.join(directory, name + ".pillow"), "wb") as out:
                out.write(f"{im.width} {im.height} {channels} {bits}\n".encode() + raw)


def srgb_profile():
    from PIL import ImageCms
    return ImageCms.ImageCmsProfile(ImageCms.createProfile("sRGB")).tobytes()


SRGB_ICC = srgb_profile()

if __name__ == "__main__":
    if sys.argv[1] == "make":
        make(sys.argv[2])
    else:
        read(sys.argv[2])
