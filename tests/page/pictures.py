"""Pictures for the test of the page: drawn, written and read without a library for images."""

import struct
import subprocess
import zlib


class Picture:
    """Grey pixels, white at first."""

    def __init__(self, width, height, pixels=None):
        self.width, self.height = width, height
        self.pixels = pixels or bytearray(b"\xff" * (width * height))

    def draw(self, text, x, y, dot):
        """Draws the QR code of the text with its corner at x, y, and returns how wide it is."""
        rows = modules(text)
        for row, line in enumerate(rows):
            for column, dark in enumerate(line):
                if dark:
                    self._fill(x + column * dot, y + row * dot, dot)
        return len(rows) * dot

    def _fill(self, x, y, size):
        for row in range(y, y + size):
            start = row * self.width + x
            self.pixels[start : start + size] = bytes(size)

    def png(self):
        rows = (self.pixels[y * self.width : (y + 1) * self.width] for y in range(self.height))
        return png_file(self.width, self.height, 0, b"".join(b"\0" + row for row in rows))

    def video(self):
        """A film of two frames, for the camera that is none."""
        colours = b"\x80" * (self.width * self.height // 2)
        head = f"YUV4MPEG2 W{self.width} H{self.height} F10:1 Ip A1:1 C420jpeg\n".encode()
        return head + 2 * (b"FRAME\n" + bytes(self.pixels) + colours)

    def ink_box(self):
        """Left, top, right and bottom of what is dark."""
        columns, rows = [], []
        for y in range(self.height):
            line = self.pixels[y * self.width : (y + 1) * self.width]
            dark = [x for x, grey in enumerate(line) if grey < 96]
            if dark:
                rows.append(y)
                columns += [dark[0], dark[-1]]
        return min(columns), rows[0], max(columns) + 1, rows[-1] + 1


def modules(text):
    """The QR code of the text, one list of booleans a row."""
    drawn = subprocess.run(["qrencode", "-t", "ASCII", "-m", "0", "-o", "-", "--", text],
                           check=True, capture_output=True, text=True).stdout
    return [[line[at] == "#" for at in range(0, len(line), 2)] for line in drawn.splitlines()]


def chunk(kind, data):
    return struct.pack(">I", len(data)) + kind + data + struct.pack(">I", zlib.crc32(kind + data))


def png_file(width, height, colour_type, rows):
    header = struct.pack(">IIBBBBB", width, height, 8, colour_type, 0, 0, 0)
    return b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", header) + chunk(b"IDAT", zlib.compress(rows)) + chunk(b"IEND", b"")


def read_png(file):
    """A screenshot as a Picture. Knows what a browser writes: 8 bits a channel, RGB or RGBA."""
    width, height, colour_type = *struct.unpack(">II", file[16:24]), file[25]
    channels = {2: 3, 6: 4}[colour_type]
    packed, at = b"", 8
    while at < len(file):
        length, kind = struct.unpack(">I4s", file[at : at + 8])
        if kind == b"IDAT":
            packed += file[at + 8 : at + 8 + length]
        at += 12 + length
    return Picture(width, height, greys(zlib.decompress(packed), width, height, channels))


def greys(rows, width, height, channels):
    pixels, size = bytearray(), width * channels
    before = bytearray(size)
    for y in range(height):
        at = y * (size + 1)
        line = unfiltered(rows[at], bytearray(rows[at + 1 : at + 1 + size]), before, channels)
        pixels += line[1::channels]  # green stands for all three
        before = line
    return pixels


def unfiltered(kind, line, before, channels):
    if kind == 2:
        return bytearray((a + b) & 255 for a, b in zip(line, before))
    for at in range(len(line) if kind else 0):
        left = line[at - channels] if at >= channels else 0
        if kind == 1:
            guess = left
        elif kind == 3:
            guess = (left + before[at]) // 2
        else:
            guess = paeth(left, before[at], before[at - channels] if at >= channels else 0)
        line[at] = (line[at] + guess) & 255
    return line


def paeth(left, above, corner):
    guess = left + above - corner
    return min((abs(guess - left), 0, left), (abs(guess - above), 1, above), (abs(guess - corner), 2, corner))[2]


def with_orientation(jpeg, orientation):
    """A JPEG file as a camera writes it that was held another way."""
    segment = b"Exif\0\0" + exif(orientation)
    return jpeg[:2] + b"\xff\xe1" + struct.pack(">H", len(segment) + 2) + segment + jpeg[2:]


def png_with_orientation(png, orientation):
    """The same for a PNG file."""
    end_of_header = 33
    return png[:end_of_header] + chunk(b"eXIf", exif(orientation)) + png[end_of_header:]


def exif(orientation):
    return b"MM\0*" + struct.pack(">IHHHIHHI", 8, 1, 0x0112, 3, 1, orientation, 0, 0)
