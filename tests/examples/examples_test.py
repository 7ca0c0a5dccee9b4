"""Runs an example program on images made here and checks what it wrote.

examples_test.py demo PROGRAM    the thumbnail-cache demo: make, then serve
examples_test.py cairo PROGRAM   the cairo interop example
"""
import os
import re
import subprocess
import sys
import tempfile

from PIL import Image


def near(actual, expected, tolerance):
    assert all(abs(a - e) <= tolerance for a, e in zip(actual, expected)), (actual, expected)


def run(args, env=None):
    result = subprocess.run(args, env=env, capture_output=True, text=True)
    assert result.returncode == 0, (args, result.returncode, result.stdout, result.stderr)
    return result.stdout


def demo(program, tmp):
    # Three images (one in a subfolder) and a file that is none. The serve run (a second process)
    # lists them in path order, so the sheet's cells are red, blue, green.
    photos = os.path.join(tmp, "photos")
    os.makedirs(os.path.join(photos, "sub"))
    colours = [(200, 30, 30), (30, 30, 200), (30, 200, 30)]
    Image.new("RGB", (600, 400), colours[0]).save(os.path.join(photos, "a.jpg"))
    Image.new("RGBA", (300, 500), colours[1] + (255,)).save(os.path.join(photos, "b.png"))
    Image.new("RGB", (512, 512), colours[2]).save(os.path.join(photos, "sub", "c.jpg"))
    with open(os.path.join(photos, "notes.txt"), "w") as f:
        f.write("not a photograph\n")
    env = dict(os.environ, HOME=tmp, **{f"XDG_{k.upper()}_HOME": os.path.join(tmp, k) for k in ("config", "data", "cache")})
    made = run([program, "make", photos], env)
    assert re.search(r"\b3 thumbnails made, 1 skipped\b", made), made
    served = run([program, "serve", photos, os.path.join(tmp, "sheet.png")], env)
    assert re.search(r"\b3 thumbnails served\b.* without a thumbnail: 1, undecodable: 0", served), served
    with Image.open(os.path.join(tmp, "sheet.png")) as image:
        image = image.convert("RGB")
        assert image.size == (2 * 264 + 8, 2 * 264 + 8), image.size
        for cell, colour in enumerate(colours):
            near(image.getpixel((8 + cell % 2 * 264 + 128, 8 + cell // 2 * 264 + 128)), colour, 8)
        near(image.getpixel((2, 2)), (38, 38, 38), 1)  # the background


def cairo(program, tmp):
    # Quadrants: opaque red and blue above, half-transparent azure and opaque green below.
    # Swapped bytes or unpremultiplied pixels change the colours.
    source, out = os.path.join(tmp, "in.png"), os.path.join(tmp, "out.png")
    quadrants = [(255, 0, 0, 255), (0, 0, 255, 255), (0, 128, 255, 128), (0, 255, 0, 255)]
    image = Image.new("RGBA", (400, 200))
    for i, colour in enumerate(quadrants):
        image.paste(colour, (i % 2 * 200, i // 2 * 100, i % 2 * 200 + 200, i // 2 * 100 + 100))
    image.save(source)
    run([program, source, out, "100"])
    with Image.open(out) as written:
        assert written.size == (100, 50) and written.mode == "RGBA", (written.size, written.mode)
        for i, colour in enumerate(quadrants):
            near(written.getpixel((i % 2 * 50 + 25, i // 2 * 25 + 12)), colour, 2)


if __name__ == "__main__":
    with tempfile.TemporaryDirectory() as tmp:
        {"demo": demo, "cairo": cairo}[sys.argv[1]](sys.argv[2], tmp)
