#!/usr/bin/python3
"""make DIR: image files with Pillow's reading of each (name.raw) and DIR/manifest.txt; read DIR: Pillow's
reading of each file listed in DIR/written.txt. Raw: rows from the top, samples interleaved, 16 bits LE."""
import io
import os
import struct
import sys
import zlib

from PIL import Image, ImageCms

W, H = 37, 23  # odd sizes catch stride and padding mistakes
SRGB_ICC = ImageCms.ImageCmsProfile(ImageCms.createProfile("sRGB")).tobytes()


def samples(channels, maxv, w=W, h=H):
    return [[[((x * 7 + y * 13 + c * 71) * (maxv // 37 + 1) + (x * y) % 5) % (maxv + 1) for c in range(channels)]
             for x in range(w)] for y in range(h)]


def dump_values(rows, bits):
    return b"".join(struct.pack("<H" if bits == 16 else "B", v) for r in rows for px in r for v in px)


def png_chunk(kind, data):
    return struct.pack(">I", len(data)) + kind + data + struct.pack(">I", zlib.crc32(kind + data))


def pack_row(pixels, depth):
    flat = [s for px in pixels for s in px]
    if depth >= 8:
        return b"".join(struct.pack(">H" if depth == 16 else "B", s) for s in flat)
    flat += [0] * (-len(flat) % (8 // depth))
    return bytes(sum(s << (8 - depth * (k + 1)) for k, s in enumerate(flat[i:i + 8 // depth]))
                 for i in range(0, len(flat), 8 // depth))


def make_png(rows, colour_type, depth, interlace=False, extra=b"", width=None, height=None):
    h, w = len(rows), len(rows[0])
    passes = [(0, 0, 8, 8), (4, 0, 8, 8), (0, 4, 4, 8), (2, 0, 4, 4), (0, 2, 2, 4), (1, 0, 2, 2), (0, 1, 1, 2)]
    raw = b"".join(b"\0" + pack_row(rows[y][x0::dx], depth) for x0, y0, dx, dy in (passes if interlace else [(0, 0, 1, 1)])
                   for y in range(y0, h, dy) if x0 < w)
    ihdr = struct.pack(">IIBBBBB", width or w, height or h, depth, colour_type, 0, 0, int(interlace))
    return (b"\x89PNG\r\n\x1a\n" + png_chunk(b"IHDR", ihdr) + extra + png_chunk(b"IDAT", zlib.compress(raw))
            + png_chunk(b"IEND", b""))


def make_tiff(rows, bits, photometric, tile=None, planar=False, extra_samples=None, extra_tags=()):
    """Uncompressed strips (of 5 rows) or tiles, contiguous or planar."""
    h, w, spp = len(rows), len(rows[0]), len(rows[0][0])

    def block(y0, y1, x0, x1, s):
        if bits == 4:
            return b"".join(pack_row(rows[y], 4) for y in range(y0, y1))
        px = [(rows[y][x] if y < h and x < w else [0] * spp) for y in range(y0, y1) for x in range(x0, x1)]
        return b"".join(struct.pack("<H" if bits == 16 else "<B", v) for p in px for v in (p if s is None else [p[s]]))

    th, tw = (tile[1], tile[0]) if tile else (5, w)
    blocks = [block(ty, min(ty + th, h) if not tile else ty + th, tx, tx + tw, s)
              for s in (range(spp) if planar else [None]) for ty in range(0, h, th) for tx in range(0, w, tw)]
    data = bytearray(b"II*\0\0\0\0\0")
    offsets = []
    for b in blocks:
        offsets.append(len(data))
        data += b
    tags = [(256, 3, [w]), (257, 3, [h]), (258, 3, [bits] * spp), (259, 3, [1]), (262, 3, [photometric]),
            (277, 3, [spp]), (284, 3, [2 if planar else 1]), *extra_tags]
    tags += [(338, 3, [extra_samples])] if extra_samples is not None else []
    tags += ([(322, 3, [tw]), (323, 3, [th]), (324, 4, offsets), (325, 4, [len(b) for b in blocks])] if tile else
             [(273, 4, offsets), (278, 3, [5]), (279, 4, [len(b) for b in blocks])])
    data += b"\0" * (len(data) % 2)
    ifd_offset, tail = len(data), bytearray()
    data[4:8] = struct.pack("<I", ifd_offset)
    data += struct.pack("<H", len(tags))
    for code, typ, values in sorted(tags):  # values longer than four bytes follow the directory
        payload = b"".join(struct.pack({3: "<H", 7: "<B"}.get(typ, "<I"), v) for v in values)
        where = payload.ljust(4, b"\0") if len(payload) <= 4 else struct.pack("<I", ifd_offset + 6 + 12 * len(tags) + len(tail))
        tail += payload if len(payload) > 4 else b""
        data += struct.pack("<HHI", code, typ, len(values)) + where
    return bytes(data + b"\0\0\0\0" + tail)


def make_bmp(width, height, bits, body, palette=None, compression=0, masks=None, header=40, top_down=False):
    """body: the pixel array exactly as stored (padded rows, or RLE)."""
    pal = b"".join(bytes([b, g, r] + [0] * (header != 12)) for r, g, b in palette or [])
    mask_bytes = b"".join(struct.pack("<I", m) for m in masks) if masks and header == 40 else b""
    if header == 12:
        dib = struct.pack("<IHHHH", 12, width, height, 1, bits)
    else:
        dib = struct.pack("<IiiHHIIiiII", header, width, -height if top_down else height, 1, bits, compression,
                          len(body), 2835, 2835, len(palette or []), 0)
        if header > 40:  # masks in the header: three from V2 (52 bytes), alpha too from V3 (56)
            dib += struct.pack("<IIII", *(list(masks or [0, 0, 0]) + [0] * 4)[:4])[:header - 40] + b"\0" * (header - 56)
    offset = 14 + len(dib) + len(mask_bytes) + len(pal)
    return b"BM" + struct.pack("<IHHI", offset + len(body), 0, 0, offset) + dib + mask_bytes + pal + body


def pad4(b):
    return b + b"\0" * (-len(b) % 4)


def dump_pil(im, channels, bits):
    if bits == 16:
        return b"".join(struct.pack("<H", v) for v in (im if im.mode in ("I", "I;16") else im.convert("I")).getdata())
    return im.convert({1: "L", 2: "LA", 3: "RGB", 4: "RGBA"}[channels]).tobytes()


class Corpus:
    def __init__(self, directory):
        self.dir, self.lines = directory, []

    def path(self, name, data=None):
        if data is not None:
            with open(os.path.join(self.dir, name), "wb") as f:
                f.write(data)
        return os.path.join(self.dir, name)

    def add(self, name, ext, data, channels, bits=8, expected=None, tolerance=0, orientation=1, dpi=None, icc=0,
            reduced=None):
        """expected: raw bytes, or None for Pillow's reading; dpi None: the resolution Pillow reports."""
        path = self.path(f"{name}.{ext}", data)
        if dpi is None:
            try:
                im = Image.open(path)
                dpi = round(float(im.info.get("dpi", (0, 0))[0]), 3)
                if ext == "tif" and (282 not in im.tag_v2 or im.tag_v2.get(296, 2) == 1):
                    dpi = 0  # a resolution without a unit says nothing about inches
            except Exception:
                dpi = 0
        self.path(name + ".raw", dump_pil(Image.open(path), channels, bits) if expected is None else expected)
        rw, rh, rname = 0, 0, "-"
        if reduced:
            rw, rh, rraw = reduced(path)
            self.path(rname := name + ".reduced", rraw)
        fmt = ["tif", "bmp", "gif", "jpg", "png", "jp2", "j2k"].index(ext)  # numbered as ImageFormat is
        self.lines.append(f"{name} {name}.{ext} {min(fmt, 5)} {channels} {bits} {tolerance} {orientation} {dpi} {icc} {rw} {rh} {rname}")

    def pillow(self, name, ext, im, channels, bits=8, tolerance=0, orientation=1, dpi=None, icc=0, reduced=None, **save):
        buf = io.BytesIO()
        if dpi:
            save["dpi"] = (dpi, dpi)
        im.save(buf, format={"jpg": "JPEG", "tif": "TIFF", "jp2": "JPEG2000", "j2k": "JPEG2000"}.get(ext, ext.upper()), **save)
        self.add(name, ext, buf.getvalue(), channels, bits, None, tolerance, orientation, dpi, icc, reduced)


def pil_image(mode, w=W, h=H):
    vals = samples(4 if mode == "CMYK" else len(mode) if mode in ("LA", "RGB", "RGBA") else 1,
                   65535 if mode == "I;16" else 255, w, h)
    if mode == "I;16":
        im = Image.new("I;16", (w, h))
        im.frombytes(dump_values(vals, 16))
        return im
    if mode in ("1", "P"):
        im = Image.frombytes("L", (w, h), bytes(v[0] % 16 if mode == "P" else v[0] for r in vals for v in r))
        if mode == "1":
            return im.point(lambda v: 255 * (v > 127)).convert("1")
        im = im.convert("P")
        im.putpalette([c for i in range(16) for c in (i * 16, 255 - i * 9, (i * 77) % 256)] + [0] * 720)
        return im
    return Image.frombytes(mode, (w, h), dump_values(vals, 8))


def smooth_rgb(w, h):
    return Image.frombytes("RGB", (w, h), bytes(s for y in range(h) for x in range(w) for s in (
        x * 255 // (w - 1), y * 255 // (h - 1), (x + y) * 127 // (w + h))))


def jpeg_reduced(path, denom):
    im = Image.open(path)
    im.draft("RGB", ((im.width + denom - 1) // denom, (im.height + denom - 1) // denom))
    return im.width, im.height, im.convert("RGB").tobytes()


def jp2_reduced(path, factor, channels):
    """Pillow's reduced level, each sample then moved (2^f - 1) / 2 full-size pixels toward its next
    neighbour (right, then down; the last repeated), to the centre of the area it stands for."""
    im = Image.open(path)
    im.reduce = factor
    im.load()
    w, h, step, v = im.width, im.height, 1 << factor, list(dump_pil(im, channels, 8))
    mix = lambda a, b: a + (((b - a) * (step - 1) + step) >> (factor + 1))
    for i in range(len(v)):
        if (i // channels) % w != w - 1:
            v[i] = mix(v[i], v[i + channels])
    for i in range((h - 1) * w * channels):
        v[i] = mix(v[i], v[i + w * channels])
    return w, h, bytes(v)


def make(directory):
    os.makedirs(directory, exist_ok=True)
    c = Corpus(directory)
    i_ = lambda inter: "_i" if inter else ""
    for inter in (False, True):  # PNG: every colour type and depth, interlaced or not
        for depth in (1, 2, 4, 8, 16):
            c.add(f"png_gray{depth}{i_(inter)}", "png", make_png(samples(1, (1 << depth) - 1), 0, depth, inter), 1,
                  16 if depth == 16 else 8)
        for depth in (1, 2, 4, 8):
            palette = png_chunk(b"PLTE", bytes((i * 37 + k * 91) % 256 for i in range(1 << depth) for k in range(3)))
            c.add(f"png_pal{depth}{i_(inter)}", "png", make_png(samples(1, (1 << depth) - 1), 3, depth, inter, palette), 3)
            if not inter:
                trns = png_chunk(b"tRNS", bytes((i * 53) % 256 for i in range(1 << (depth - 1))))
                c.add(f"png_pal{depth}_trns", "png", make_png(samples(1, (1 << depth) - 1), 3, depth, False, palette + trns), 4)
        for ctype, ch in ((2, 3), (4, 2), (6, 4)):
            for depth in (8, 16):  # Pillow reads 16-bit colour as 8 bits: the generator's values are the reference
                rows = samples(ch, (1 << depth) - 1)
                c.add(f"png_ct{ctype}_{depth}{i_(inter)}", "png", make_png(rows, ctype, depth, inter), ch, depth,
                      dump_values(rows, 16) if depth == 16 else None)
    c.add("png_gray8_trns", "png", make_png(samples(1, 255), 0, 8, extra=png_chunk(b"tRNS", struct.pack(">H", 20))), 2)
    c.add("png_rgb8_trns", "png", make_png(samples(3, 255), 2, 8, extra=png_chunk(b"tRNS", struct.pack(">HHH", 7, 20, 33))), 4)
    c.pillow("png_meta", "png", pil_image("RGB"), 3, dpi=300, icc=len(SRGB_ICC), icc_profile=SRGB_ICC)

    photo = smooth_rgb(61, 45)
    c.pillow("jpeg_gray", "jpg", photo.convert("L"), 1, tolerance=1, quality=90)
    c.pillow("jpeg_rgb420", "jpg", photo, 3, tolerance=1, quality=90, reduced=lambda p: jpeg_reduced(p, 4))
    c.pillow("jpeg_progressive", "jpg", photo, 3, tolerance=1, quality=90, progressive=True)
    c.pillow("jpeg_cmyk", "jpg", photo.convert("CMYK"), 3, tolerance=1, quality=95)
    cmyk_icc = open("/usr/share/color/icc/ghostscript/ps_cmyk.icc", "rb").read()  # lcms2 takes these to sRGB
    for name, ext, im in (("jpeg_cmyk_icc", "jpg", photo), ("tiff_cmyk_icc", "tif", pil_image("RGB"))):
        buf = io.BytesIO()
        im.convert("CMYK").save(buf, {"jpg": "JPEG", "tif": "TIFF"}[ext], quality=95, icc_profile=cmyk_icc)
        srgb = ImageCms.profileToProfile(Image.open(buf), ImageCms.ImageCmsProfile(io.BytesIO(cmyk_icc)),
                                         ImageCms.createProfile("sRGB"), ImageCms.Intent.RELATIVE_COLORIMETRIC, "RGB")
        c.add(name, ext, buf.getvalue(), 3, expected=srgb.tobytes(), tolerance=1)
    exif = Image.Exif()
    exif[0x0112] = 6
    c.pillow("jpeg_exif", "jpg", photo, 3, tolerance=1, orientation=6, dpi=150, quality=90, exif=exif.tobytes())
    big_icc = SRGB_ICC + bytes(140000)  # three APP2 chunks, put back together in order
    c.pillow("jpeg_icc", "jpg", photo, 3, tolerance=1, quality=90, icc=len(big_icc), icc_profile=big_icc)

    # TIFF: modes and compressions Pillow writes; tiles, planes and depths it cannot, by hand.
    for mode, ch, bits in (("1", 1, 8), ("L", 1, 8), ("LA", 2, 8), ("P", 3, 8), ("RGB", 3, 8), ("RGBA", 4, 8),
                           ("I;16", 1, 16), ("CMYK", 3, 8)):
        for comp in (None, "tiff_lzw", "tiff_adobe_deflate", "packbits"):
            c.pillow(f"tiff_{mode.replace(';', '')}_{comp or 'raw'}", "tif", pil_image(mode), ch, bits,
                     **({"compression": comp} if comp else {}))
    c.pillow("tiff_jpeg", "tif", smooth_rgb(64, 48), 3, tolerance=1, compression="jpeg", quality=90)
    c.pillow("tiff_meta", "tif", pil_image("RGB"), 3, dpi=200, icc=len(SRGB_ICC), icc_profile=SRGB_ICC)
    rgb8, rgba16, gray4 = samples(3, 255), samples(4, 65535), samples(1, 15)
    c.add("tiff_tiled", "tif", make_tiff(rgb8, 8, 2, tile=(16, 16)), 3)
    c.add("tiff_planar", "tif", make_tiff(rgb8, 8, 2, planar=True), 3)
    c.add("tiff_rgb16_planar", "tif", make_tiff(samples(3, 65535), 16, 2, planar=True), 3, 16, dump_values(samples(3, 65535), 16))
    c.add("tiff_rgba16_tiled", "tif", make_tiff(rgba16, 16, 2, tile=(16, 16), extra_samples=2), 4, 16, dump_values(rgba16, 16))
    ga = samples(2, 255)  # white is zero, alpha unassociated
    c.add("tiff_miniswhite_alpha", "tif", make_tiff(ga, 8, 0, extra_samples=2), 2, 8,
          bytes(v for r in ga for g, a in r for v in (255 - g, a)))
    c.add("tiff_gray4", "tif", make_tiff(gray4, 4, 1), 1, 8, bytes(v[0] * 17 for r in gray4 for v in r))
    c.add("tiff_miniswhite", "tif", make_tiff(samples(1, 255), 8, 0), 1)
    # YCbCr: the reference is the conversion libtiff documents (BT.601, default reference black and white).
    def ycc_to_rgba(y, cb, cr):
        r, b = y + 1.402 * (cr - 128), y + 1.772 * (cb - 128)
        return [max(0, min(255, round(v))) for v in (r, (y - 0.299 * r - 0.114 * b) / 0.587, b)] + [255]
    c.add("tiff_ycbcr", "tif", make_tiff(rgb8, 8, 6, extra_tags=[(530, 3, [1, 1]), (34675, 7, list(SRGB_ICC))]), 4, 8,
          bytes(v for r in rgb8 for px in r for v in ycc_to_rgba(*px)), tolerance=2, dpi=0, icc=len(SRGB_ICC))

    for mode in ("1", "L", "P", "RGB"):
        c.pillow(f"bmp_{mode}", "bmp", pil_image(mode), 3)
    c.add("bmp_24_topdown", "bmp", make_bmp(W, H, 24, b"".join(pad4(bytes(s for px in r for s in px[::-1])) for r in rgb8),
                                           top_down=True), 3)
    for name, masks, (rs, gs, rm, gm) in (("bmp_16_555", None, (10, 5, 31, 31)),
                                          ("bmp_16_565", [0xF800, 0x07E0, 0x001F], (11, 5, 31, 63))):
        body = b"".join(pad4(b"".join(struct.pack("<H", (p[0] * rm // 255) << rs | (p[1] * gm // 255) << gs | p[2] * 31 // 255)
                                      for p in r)) for r in reversed(rgb8))
        c.add(name, "bmp", make_bmp(W, H, 16, body, compression=3 if masks else 0, masks=masks), 3)
        if masks:  # the same bit fields in a V2 header, which Pillow cannot read
            c.add(name + "_v2", "bmp", make_bmp(W, H, 16, body, compression=3, masks=masks, header=52), 3, 8,
                  dump_pil(Image.open(c.path(name + ".bmp")), 3, 8), dpi=72)
    body = b"".join(bytes([p[2], p[1], p[0], p[3]]) for r in reversed(samples(4, 255)) for p in r)
    argb = [0xFF0000, 0xFF00, 0xFF, 0xFF000000]
    c.add("bmp_32_alpha", "bmp", make_bmp(W, H, 32, body, compression=3, header=108, masks=argb), 4)
    c.add("bmp_32_alpha_v3", "bmp", make_bmp(W, H, 32, body, compression=3, header=56, masks=argb), 4, 8,
          dump_pil(Image.open(c.path("bmp_32_alpha.bmp")), 4, 8), dpi=72)
    pal16 = [((i * 16) % 256, (255 - i * 13) % 256, (i * 71) % 256) for i in range(16)]
    idx = [[(x * 3 + y) % 16 for x in range(W)] for y in reversed(range(H))]  # bottom row first; no runs
    rows4 = b"".join(pad4(pack_row([[v] for v in r], 4)) for r in idx)
    c.add("bmp_4", "bmp", make_bmp(W, H, 4, rows4, palette=pal16), 3)
    c.add("bmp_core_4", "bmp", make_bmp(W, H, 4, rows4, palette=pal16, header=12), 3)
    # RLE8: literal blocks of three in absolute mode, the rest as runs of one; RLE4: runs of pairs.
    rle8 = b"".join(b"".join(bytes([0, 3, *r[x:x + 3], 0]) if x + 3 <= W else b"".join(bytes([1, v]) for v in r[x:])
                             for x in range(0, W, 3)) + b"\0\0" for r in idx) + b"\0\1"
    c.add("bmp_rle8", "bmp", make_bmp(W, H, 8, rle8, palette=pal16 + [(0, 0, 0)] * 240, compression=1), 3)
    # A jump to (5, 3) over pixels left at index 0, then runs to the end. Our values: Pillow 9 reads a jump as four bytes.
    delta = b"\0\2\5\3" + b"".join(bytes([W - x, y % 16, 0, 0]) for y, x in [(3, 5)] + [(y, 0) for y in range(4, H)]) + b"\0\1"
    c.add("bmp_rle8_delta", "bmp", make_bmp(W, H, 8, delta, palette=pal16 + [(0, 0, 0)] * 240, compression=1), 3,
          expected=bytes(v for y in reversed(range(H)) for x in range(W) for v in pal16[0 if (y, x) < (3, 5) else y % 16]))
    rle4 = b"".join(b"".join(bytes([len(r[x:x + 2]), r[x] << 4 | (r[x + 1] if x + 1 < W else 0)]) for x in range(0, W, 2))
                    + b"\0\0" for r in idx) + b"\0\1"
    c.add("bmp_rle4", "bmp", make_bmp(W, H, 4, rle4, palette=pal16, compression=2), 3)

    c.pillow("gif_pal", "gif", pil_image("P"), 3, interlace=False)
    c.pillow("gif_pal_interlaced", "gif", pil_image("P"), 3, interlace=True)
    c.pillow("gif_transparent", "gif", pil_image("P"), 4, transparency=3, interlace=False)
    c.pillow("gif_two_frames", "gif", pil_image("P"), 3, save_all=True, interlace=False,
             append_images=[pil_image("P").transpose(Image.FLIP_LEFT_RIGHT)])

    for mode, ch, bits in (("L", 1, 8), ("RGB", 3, 8), ("RGBA", 4, 8), ("I;16", 1, 16)):
        c.pillow(f"jp2_{mode.replace(';', '')}", "jp2", pil_image(mode, 67, 41), ch, bits, irreversible=False,
                 reduced=(lambda p, k=ch: jp2_reduced(p, 1, k)) if bits == 8 else None)
    c.pillow("j2k_rgb", "j2k", pil_image("RGB", 67, 41), 3, irreversible=False, no_jp2=True)

    # Files every decoder must refuse: sizes beyond the limits, inks other than CMYK, a thousand and one scans.
    photo.save(buf := io.BytesIO(), "JPEG", progressive=True)
    scans = buf.getvalue()[:-2]  # the last scan a thousand times more, then the end marker
    for name, data in (("reject_jpeg_scans.jpg", scans + scans[scans.rindex(b"\xff\xda"):] * 1000 + b"\xff\xd9"),
                       ("reject_png_wide.png", make_png([[[0]]], 0, 8, width=70000, height=1)),
                       ("reject_png_area.png", make_png([[[0]]], 0, 8, width=20000, height=20000)),
                       ("reject_bmp_wide.bmp", make_bmp(70000, 1, 24, b"\0" * 12)),
                       ("reject_tiff_multiink.tif", make_tiff(samples(4, 255), 8, 5, extra_tags=[(332, 3, [2])]))):
        c.add(name[:-4], name[-3:], data, 0, 8, b"")
    c.path("manifest.txt", ("\n".join(c.lines) + "\n").encode())


def read(directory):
    for line in open(os.path.join(directory, "written.txt")).read().split("\n"):
        if line.strip():
            name, channels, bits = line.split()  # Pillow keeps 8 bits of colour
            im = Image.open(os.path.join(directory, name))
            with open(os.path.join(directory, name + ".pillow"), "wb") as out:
                out.write(dump_pil(im, int(channels), int(bits) if channels == "1" else 8))


if __name__ == "__main__":
    (make if sys.argv[1] == "make" else read)(sys.argv[2])
