"""Pictures by somebody who means it ill, each with the statuses that it may be answered with."""

import struct
import zlib


def chunk(kind, data):
    return struct.pack(">I", len(data)) + kind + data + struct.pack(">I", zlib.crc32(kind + data))


def png(width, height, rows, extra=b""):
    """Grey, one byte a pixel; `rows` is the pixels, each row behind a zero."""
    header = struct.pack(">IIBBBBB", width, height, 8, 0, 0, 0, 0)
    parts = [chunk(b"IHDR", header), extra, chunk(b"IDAT", zlib.compress(rows, 9)), chunk(b"IEND", b"")]
    return b"\x89PNG\r\n\x1a\n" + b"".join(parts)


def finder_patterns(number):
    """As many squares of a QR code in each direction; the search for three that belong together is cubic."""
    dark = ["1111111", "1000001", "1011101", "1011101", "1011101", "1000001", "1111111", "0000000", "0000000"]
    lines = [b"\0" + b"".join(bytes(0 if dot == "1" else 255 for dot in line + "00") for _ in range(number)) for line in dark]
    return png(9 * number, 9 * number, b"".join(lines) * number)


def white(width, height, extra=b""):
    return png(width, height, (b"\0" + b"\xff" * width) * height, extra)


def hostile_pictures():
    texts = b"".join(chunk(b"zTXt", b"a\0\0" + zlib.compress(bytes(1_000_000), 9)) for _ in range(100))
    return [
        (finder_patterns(77), {200, 422}),  # more than the time allows
        (finder_patterns(12), {200}),
        (white(100, 100, texts), {200}),  # 100 MB that no pixel comes from
        (white(8192, 8192), {200, 422}),  # 64 megapixels, the most there may be
        (png(60000, 60000, b""), {413}),
        (png(300, 300, b""), {422}),
    ]
