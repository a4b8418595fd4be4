#!/usr/bin/env python3
"""Draws label_page.png: a label for a two-colour printer, 4 x 6 inches at 203 dpi.

It contains text, a bar code, a picture in shades of grey and colour, and a red mark with soft edges, to
show how a page is reduced, dithered and split. Only Python is required.

    python3 examples/make_label_page.py [OUT.png]
"""
import math
import pathlib
import struct
import sys
import zlib

WIDTH, HEIGHT = 812, 1218
WHITE, BLACK, RED = (255, 255, 255), (0, 0, 0), (224, 32, 32)

# Letters of 5 x 7 dots; each group is one row.
LETTERS = {
    "A": "01110 10001 10001 11111 10001 10001 10001", "B": "11110 10001 11110 10001 10001 10001 11110",
    "C": "01111 10000 10000 10000 10000 10000 01111", "D": "11110 10001 10001 10001 10001 10001 11110",
    "E": "11111 10000 11110 10000 10000 10000 11111", "F": "11111 10000 11110 10000 10000 10000 10000",
    "G": "01111 10000 10000 10011 10001 10001 01111", "H": "10001 10001 11111 10001 10001 10001 10001",
    "I": "01110 00100 00100 00100 00100 00100 01110", "K": "10001 10010 11100 10010 10001 10001 10001",
    "L": "10000 10000 10000 10000 10000 10000 11111", "M": "10001 11011 10101 10101 10001 10001 10001",
    "N": "10001 11001 10101 10011 10001 10001 10001", "O": "01110 10001 10001 10001 10001 10001 01110",
    "P": "11110 10001 10001 11110 10000 10000 10000", "R": "11110 10001 10001 11110 10010 10001 10001",
    "S": "01111 10000 01110 00001 00001 00001 11110", "T": "11111 00100 00100 00100 00100 00100 00100",
    "U": "10001 10001 10001 10001 10001 10001 01110", "W": "10001 10001 10001 10101 10101 11011 10001",
    "X": "10001 01010 00100 00100 01010 10001 10001", "Y": "10001 01010 00100 00100 00100 00100 00100",
    "0": "01110 10011 10101 10101 11001 10001 01110", "1": "00100 01100 00100 00100 00100 00100 01110",
    "2": "01110 10001 00001 00110 01000 10000 11111", "3": "11110 00001 01110 00001 00001 00001 11110",
    "4": "00010 00110 01010 10010 11111 00010 00010", "5": "11111 10000 11110 00001 00001 00001 11110",
    "6": "01110 10000 11110 10001 10001 10001 01110", "7": "11111 00001 00010 00100 01000 01000 01000",
    "8": "01110 10001 01110 10001 10001 10001 01110", "9": "01110 10001 10001 01111 00001 00001 01110",
    "-": "00000 00000 00000 01110 00000 00000 00000", ".": "00000 00000 00000 00000 00000 01100 01100",
    ":": "00000 01100 01100 00000 01100 01100 00000", " ": "00000 00000 00000 00000 00000 00000 00000",
}

# Code 39: nine elements per character, starting with a bar; w is wide, n is narrow.
CODE39 = {
    "0": "nnnwwnwnn", "1": "wnnwnnnnw", "2": "nnwwnnnnw", "3": "wnwwnnnnn", "4": "nnnwwnnnw",
    "5": "wnnwwnnnn", "6": "nnwwwnnnn", "7": "nnnwnnwnw", "8": "wnnwnnwnn", "9": "nnwwnnwnn",
    "*": "nwnnwnwnn", "L": "nnnnwnnww", "X": "nwnnwnnnw",
}


class Page:
    def __init__(self):
        self.rows = [bytearray(b"\xff" * (3 * WIDTH)) for _ in range(HEIGHT)]

    def put(self, x, y, colour):
        self.rows[y][3 * x:3 * x + 3] = bytes(colour)

    def box(self, x, y, width, height, colour):
        for row in range(y, y + height):
            self.rows[row][3 * x:3 * (x + width)] = bytes(colour) * width

    def blend(self, x, y, colour, share):
        old = self.rows[y][3 * x:3 * x + 3]
        self.put(x, y, [round(o + (c - o) * share) for o, c in zip(old, colour)])

    def text(self, x, y, text, size, colour=BLACK):
        for letter in text:
            for row, dots in enumerate(LETTERS[letter].split()):
                for column, dot in enumerate(dots):
                    if dot == "1":
                        self.box(x + column * size, y + row * size, size, size, colour)
            x += 6 * size

    def barcode(self, x, y, text, height, narrow=3):
        for character in "*" + text + "*":
            for index, element in enumerate(CODE39[character]):
                width = narrow * (3 if element == "w" else 1)
                if index % 2 == 0:
                    self.box(x, y, width, height, BLACK)
                x += width
            x += narrow

    def picture(self, left, top, width, height):
        """Draws a sun over hills: smooth shades that a printer can only reproduce with dots."""
        for y in range(height):
            for x in range(width):
                sky = y / height
                sun = max(0.0, 1 - math.hypot(x - width * 0.7, y - height * 0.3) / (width * 0.25))
                hill = height * (0.62 + 0.12 * math.sin(x / width * 7) + 0.05 * math.cos(x / 23))
                if y > hill:
                    depth = (y - hill) / height
                    colour = (70 - 90 * depth, 130 - 200 * depth, 60 - 60 * depth)
                else:
                    colour = (120 + 90 * sky + 130 * sun, 160 + 60 * sky + 80 * sun, 215 - 30 * sky)
                self.put(left + x, top + y, [min(255, max(0, round(c))) for c in colour])

    def mark(self, centre_x, centre_y, radius):
        """Draws a ring around a five-pointed star; the edges fade over two pixels."""
        for y in range(centre_y - radius - 3, centre_y + radius + 4):
            for x in range(centre_x - radius - 3, centre_x + radius + 4):
                distance = math.hypot(x - centre_x, y - centre_y)
                ring = radius * 0.08 - abs(distance - radius * 0.92)
                angle = (math.atan2(x - centre_x, centre_y - y) / math.tau * 5) % 1
                point = abs(angle - 0.5) * 2  # 1 at a point, 0 between two
                star = radius * (0.30 + 0.45 * point ** 1.6) - distance
                share = min(1.0, max(0.0, max(ring, star) / 2 + 0.5))
                if share > 0:
                    self.blend(x, y, RED, share)

    def save(self, path):
        def chunk(kind, data):
            body = kind + data
            return struct.pack(">I", len(data)) + body + struct.pack(">I", zlib.crc32(body))

        header = struct.pack(">IIBBBBB", WIDTH, HEIGHT, 8, 2, 0, 0, 0)
        previous = bytes(3 * WIDTH)
        data = bytearray()
        for row in self.rows:  # filter type 2: each row minus the one above
            data += b"\x02" + bytes((a - b) & 255 for a, b in zip(row, previous))
            previous = row
        path.write_bytes(b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", header) +
                         chunk(b"IDAT", zlib.compress(bytes(data), 9)) + chunk(b"IEND", b""))


def main():
    page = Page()
    page.mark(130, 140, 90)
    page.text(250, 70, "NORTH HARBOUR", 6)
    page.text(250, 130, "COLD STORE 7", 4)
    page.text(250, 180, "KEEP BELOW 4 C", 4, RED)
    page.box(40, 260, 732, 4, BLACK)
    for line, text in enumerate(["TO: A. BRANDT", "    HAFENWEG 12", "    24103 KIEL", "",
                                 "NET 12.5 KG   LOT 2093-18"]):
        page.text(40, 290 + 44 * line, text, 4)
    page.picture(40, 540, 732, 360)
    page.box(40, 930, 732, 4, BLACK)
    page.barcode(60, 960, "LX2093184", 140)
    page.text(190, 1120, "LX 2093 184", 6)
    page.box(640, 1110, 132, 60, RED)
    page.text(662, 1122, "FRESH", 3, WHITE)
    out = sys.argv[1] if len(sys.argv) > 1 else pathlib.Path(__file__).with_name("label_page.png")
    page.save(pathlib.Path(out))


if __name__ == "__main__":
    main()
