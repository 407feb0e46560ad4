#!/usr/bin/env python3
"""Writes the three cursor pictures of res/ byte for byte.

    python3 tools/gen_cursors.py [OUTPUT_DIR]      (default: res/ of the source tree)

The pictures are 16-bit RGB565 BMPs with bit-field masks, so every pixel
value below lands in the toolkit's bitmap unchanged (the colour keys must
match exactly). The toolkit puts the cursor's hot spot at the picture's
centre, so the busy hourglass is drawn centred and the two arrows have
their tip on the centre pixel, using only the lower right quarter.

  cursor_busy.bmp           20x20 hourglass, transparent colour 0x7119
  cursor_pointer.bmp        32x32 arrow, transparent colour 0xF33A
  cursor_pointer_busy.bmp   32x32 arrow with a small hourglass, transparent 0xF33A
"""

import os
import struct
import sys

BUSY_KEY = 0x7119
POINTER_KEY = 0xF33A

BLACK = 0x0000
WHITE = 0xFFFF
SAND = 0xFD20     # orange
WOOD = 0x8A22     # dark brown caps of the hourglass
GLASS = 0xDF1F    # light blue, the empty part of the glass

# The arrow, tip first: X outline, o fill, blank transparent.
ARROW = [
    "X",
    "XX",
    "XoX",
    "XooX",
    "XoooX",
    "XooooX",
    "XoooooX",
    "XooooooX",
    "XoooooooX",
    "XooooooooX",
    "XoooooXXXXX",
    "XooXooX",
    "XoX XooX",
    "XX  XooX",
    "     XooX",
    "      XX",
]

# The small hourglass of the pointer-busy picture: K outline, g glass, s sand.
SMALL_GLASS = [
    "KKKKKKK",
    "KgggggK",
    " KsssK ",
    "  KsK  ",
    "   K   ",
    "  KgK  ",
    " KgsgK ",
    "KsssssK",
    "KKKKKKK",
]

PATTERN_COLOURS = {"X": BLACK, "o": WHITE, "K": BLACK, "g": GLASS, "s": SAND}


class Picture:
    def __init__(self, width, height, key):
        self.width = width
        self.height = height
        self.pixels = [[key] * width for _ in range(height)]

    def put(self, x, y, colour):
        if 0 <= x < self.width and 0 <= y < self.height:
            self.pixels[y][x] = colour

    def pattern(self, left, top, rows):
        for dy, row in enumerate(rows):
            for dx, ch in enumerate(row):
                if ch != " ":
                    self.put(left + dx, top + dy, PATTERN_COLOURS[ch])

    def bmp(self):
        """The picture as a BMP: info header, RGB565 masks, rows bottom-up."""
        row_bytes = (self.width * 2 + 3) & ~3
        data_offset = 14 + 40 + 12
        image_size = row_bytes * self.height
        out = bytearray()
        out += b"BM"
        out += struct.pack("<IHHI", data_offset + image_size, 0, 0, data_offset)
        out += struct.pack("<IiiHHIIiiII", 40, self.width, self.height, 1, 16, 3, image_size,
                           2835, 2835, 0, 0)
        out += struct.pack("<III", 0xF800, 0x07E0, 0x001F)
        for y in range(self.height - 1, -1, -1):
            row = b"".join(struct.pack("<H", p) for p in self.pixels[y])
            out += row + b"\0" * (row_bytes - len(row))
        return bytes(out)


def busy():
    """A 20x20 hourglass centred on the picture: wooden caps, a glass with
    sand running from the upper bulb into the lower one."""
    pic = Picture(20, 20, BUSY_KEY)
    # Caps: three rows at the top and at the bottom, outlined in black.
    for y, outer in ((0, True), (1, False), (2, False), (17, False), (18, False), (19, True)):
        for x in range(2, 18):
            pic.put(x, y, BLACK if outer or x in (2, 17) else WOOD)
    # The glass between the caps, rows 3 to 16, symmetric about the
    # picture's centre (the hot spot), with a two-pixel neck at rows 8 to 11.
    for y in range(3, 17):
        a = min(3 + min(y - 3, 16 - y), 8)    # left outline column
        b = 19 - a                            # right outline column
        pic.put(a, y, BLACK)
        pic.put(b, y, BLACK)
        for x in range(a + 1, b):
            if y <= 5:
                colour = GLASS                # the emptied top of the upper bulb
            elif y <= 10:
                colour = SAND                 # sand left above, running through the neck
            elif y <= 13:
                colour = SAND if x in (9, 10) else GLASS   # the falling stream
            else:
                colour = SAND                 # the heap below
            pic.put(x, y, colour)
    return pic


def pointer(with_hourglass):
    pic = Picture(32, 32, POINTER_KEY)
    pic.pattern(16, 16, ARROW)
    if with_hourglass:
        pic.pattern(25, 22, SMALL_GLASS)
    return pic


def main():
    here = os.path.dirname(os.path.abspath(__file__))
    out_dir = sys.argv[1] if len(sys.argv) > 1 else os.path.join(here, "..", "res")
    os.makedirs(out_dir, exist_ok=True)
    pictures = {
        "cursor_busy.bmp": busy(),
        "cursor_pointer.bmp": pointer(False),
        "cursor_pointer_busy.bmp": pointer(True),
    }
    for name, pic in pictures.items():
        with open(os.path.join(out_dir, name), "wb") as f:
            f.write(pic.bmp())
    return 0


if __name__ == "__main__":
    sys.exit(main())
