"""Images for load: a symbol that is read, in a picture of about as many bytes as wanted."""

import random
import struct
import zlib

PNG_SIGNATURE = b"\x89PNG\r\n\x1a\n"


def chunks(png):
    """The (type, data) pairs of a PNG file."""
    at = len(PNG_SIGNATURE)
    while at < len(png):
        length, kind = struct.unpack(">I4s", png[at:at + 8])
        yield kind, png[at + 8:at + 8 + length]
        at += 12 + length


def unfilter(kind, row, above, step):
    """One row of a PNG, with what its filter took out; `step` is the bytes of a pixel."""
    for i in range(len(row)):
        left = row[i - step] if i >= step else 0
        corner = above[i - step] if i >= step else 0
        up = above[i]
        if kind == 4:
            guess = left + up - corner
            predicted = min((left, up, corner), key=lambda value: abs(guess - value))
        else:
            predicted = (0, left, up, (left + up) // 2)[kind]
        row[i] = (row[i] + predicted) & 0xFF
    return row


def symbol_rows(png):
    """The dark pixels of a PNG with one bit a pixel, as rows of booleans."""
    parts = list(chunks(png))
    width, height, depth = struct.unpack(">IIB", dict(parts)[b"IHDR"][:9])
    if depth != 1:
        raise ValueError("not one bit a pixel")
    palette = dict(parts).get(b"PLTE", b"\0\0\0\xff\xff\xff")
    packed = zlib.decompress(b"".join(data for kind, data in parts if kind == b"IDAT"))
    stride = (width + 7) // 8
    above = bytearray(stride)
    rows = []
    for y in range(height):
        line = packed[y * (stride + 1):(y + 1) * (stride + 1)]
        above = unfilter(line[0], bytearray(line[1:]), above, 1)
        rows.append([palette[3 * ((above[x >> 3] >> (7 - x % 8)) & 1)] < 128 for x in range(width)])
    return rows


def png_of(rows):
    """A grey PNG with 8 bits a pixel."""
    def chunk(kind, data):
        return struct.pack(">I", len(data)) + kind + data + struct.pack(">I", zlib.crc32(kind + data))
    header = struct.pack(">IIBBBBB", len(rows[0]), len(rows), 8, 0, 0, 0, 0)
    pixels = zlib.compress(b"".join(b"\0" + row for row in rows), 6)
    return PNG_SIGNATURE + chunk(b"IHDR", header) + chunk(b"IDAT", pixels) + chunk(b"IEND", b"")


def image_of(size, sample):
    """The symbol of `sample` in the corner of a grainy light picture; the file has about `size` bytes. The grain
    is the same each time."""
    grain = random.Random(size)
    symbol = symbol_rows(sample)
    side = max(int((size * 8 / 6.1) ** 0.5), len(symbol))
    rows = []
    for y in range(side):
        row = bytearray(192 + (value & 63) for value in grain.randbytes(side))
        if y < len(symbol):
            for x, dark in enumerate(symbol[y]):
                if dark:
                    row[x] -= 160
        rows.append(bytes(row))
    return png_of(rows)
