#!/usr/bin/env python3
"""Writes the environment sphere's sample textures: 8 x 4 pixels in vertical bands, blue in the
two outer columns on each side (the far side of the sphere from a camera on +Z) and red in the
four middle ones (the near side). bands_rgba.png has an alpha channel (opaque), bands_rgb.png
has none. Only the standard library is used."""
import struct
import zlib


def png(path, width, height, rows, channels):
    def chunk(kind, data):
        body = kind + data
        return struct.pack(">I", len(data)) + body + struct.pack(">I", zlib.crc32(body) & 0xFFFFFFFF)

    colour_type = 6 if channels == 4 else 2
    raw = b"".join(b"\x00" + bytes(row) for row in rows)
    with open(path, "wb") as f:
        f.write(b"\x89PNG\r\n\x1a\n")
        f.write(chunk(b"IHDR", struct.pack(">IIBBBBB", width, height, 8, colour_type, 0, 0, 0)))
        f.write(chunk(b"IDAT", zlib.compress(raw, 9)))
        f.write(chunk(b"IEND", b""))


def bands(channels):
    blue, red = (0, 0, 255, 255), (255, 0, 0, 255)
    row = []
    for x in range(8):
        row.extend((red if 2 <= x <= 5 else blue)[:channels])
    return [row] * 4


if __name__ == "__main__":
    png("bands_rgba.png", 8, 4, bands(4), 4)
    png("bands_rgb.png", 8, 4, bands(3), 3)
