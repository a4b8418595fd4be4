#!/usr/bin/env python3
"""Draws the pages of the test vectors: conformance/make_pages.py, in any folder. Needs Python 3 and nothing else."""

import os
import struct
import zlib

FOLDER = os.path.join(os.path.dirname(os.path.abspath(__file__)), "pages")


def grey(value):
    return (value, value, value)


def save(name, width, height, colour):
    """Writes an image of 8-bit RGB; `colour` returns the colour of a column and a row."""
    def chunk(kind, data):
        return struct.pack(">I", len(data)) + kind + data + struct.pack(">I", zlib.crc32(kind + data))
    rows = b"".join(b"\0" + b"".join(bytes(colour(x, y)) for x in range(width)) for y in range(height))
    with open(os.path.join(FOLDER, name + ".png"), "wb") as file:
        file.write(b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", struct.pack(">IIBBBBB", width, height, 8, 2, 0, 0, 0)) +
                   chunk(b"IDAT", zlib.compress(rows, 9)) + chunk(b"IEND", b""))


def noise(x, y):
    """Any colour, the same in each run."""
    state = (x * 65 + y * 8191 + 7) & 0x7FFFFFFF
    for _ in range(3):
        state = (state * 1103515245 + 12345) & 0x7FFFFFFF
    return (state >> 8 & 255, state >> 15 & 255, state >> 22 & 255)


def mixed(colour, share):
    """A colour with white, `share` of 16 parts."""
    return tuple(255 - (255 - channel) * share // 16 for channel in colour)


PATCHES = [(255, 0, 0), (0, 255, 0), (0, 0, 255), (0, 255, 255), (255, 0, 255), (255, 255, 0), (255, 128, 0),
           (224, 32, 32), (128, 64, 32), (0, 0, 0), (128, 128, 128), (255, 255, 255)]
RED = (224, 32, 32)
EXTREMES = [(255, 255, 255), (254, 255, 255), (255, 254, 255), (254, 254, 254), (253, 255, 255), (255, 255, 253),
            (0, 0, 0), (1, 0, 0), (1, 1, 1), (2, 1, 1), (0, 0, 2), (0, 3, 0)]


def label(x, y):
    """Black letters, a red bar with soft edges, and an orange corner."""
    if x < 12 and (x // 2 + y // 3) % 3 == 0:
        return grey(0)
    if 12 <= x < 28:
        return mixed(RED, min(16, 4 * min(x - 11, 28 - x)))
    return (255, 128, 0) if x >= 29 and y < 8 else grey(255)


def main():
    os.makedirs(FOLDER, exist_ok=True)
    save("ramp", 37, 9, lambda x, y: grey(x * 255 // 36))
    save("wide", 129, 3, lambda x, y: grey(255 - x))
    save("tall", 3, 40, lambda x, y: grey(y * 255 // 39))
    save("tones", 18, 16, lambda x, y: grey((0, 1, 2, 126, 127, 128, 129, 254, 255)[x // 2]))
    save("patches", 24, 8, lambda x, y: PATCHES[x // 4 + 6 * (y // 4)])
    save("extremes", 12, 5, lambda x, y: EXTREMES[x])
    save("noise", 65, 33, noise)
    save("label", 33, 17, label)
    save("tints", 17, 6, lambda x, y: mixed(RED, x))
    save("white", 9, 3, lambda x, y: grey(255))
    save("black", 8, 2, lambda x, y: grey(0))
    save("dot", 1, 1, lambda x, y: grey(127))
    save("last-dot", 19, 7, lambda x, y: grey(0 if (x, y) == (18, 6) else 255))
    save("inner", 19, 7, lambda x, y: grey(0 if 3 <= x <= 16 and 2 <= y <= 4 else 255))


main()
